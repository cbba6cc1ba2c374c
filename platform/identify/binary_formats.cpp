// binary_formats.cpp - binary formats: TNEF and the embeddable pictures by
// their signatures, the rest through libmagic's MIME type and the table of
// FormatIds 1300..1399 below.
//
// libmagic handles are per thread, loaded once on first use with the default
// database; a thread that can't load one simply gets no answers from it. Text
// formats are not decided here: a MIME type that libmagic gives to text
// (text/*, message/*, JSON ...) is deliberately absent from the table.
#include <cstring>

#include <magic.h>

#include "platform/identify/identify.h"

namespace {

struct MimeFormat {
    const char* mimeType;
    uint16_t formatId;
};

// One FormatId per kind of file. The numbers are ours and stay stable: add
// rows, never renumber. Kinds that libmagic can only guess at (TGA, PCX, dBase
// have no real signature, and junk passes for them) are left out on purpose;
// 1346, 1376 and 1377 stay unused for that reason. Pictures map to the embeddable range 1500..1506 too,
// for the variants the signatures below don't catch.
constexpr MimeFormat kMimeFormats[] = {
    {"image/gif", 1500},
    {"image/jpeg", 1501},
    {"image/png", 1502},
    {"image/bmp", 1503},
    {"image/x-ms-bmp", 1503},
    {"image/tiff", 1504},
    {"image/webp", 1505},
    {"image/vnd.microsoft.icon", 1506},
    {"image/x-icon", 1506},
    {"application/pdf", 1300},
    {"application/zip", 1301},
    {"application/x-ole-storage", 1302},
    {"application/CDFV2", 1302},
    {"application/CDFV2-unknown", 1302},
    {"application/CDFV2-corrupt", 1302},
    {"application/msword", 1303},
    {"application/vnd.ms-excel", 1304},
    {"application/vnd.ms-powerpoint", 1305},
    {"application/vnd.ms-outlook", 1306},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", 1307},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", 1308},
    {"application/vnd.openxmlformats-officedocument.presentationml.presentation", 1309},
    {"application/vnd.oasis.opendocument.text", 1310},
    {"application/vnd.oasis.opendocument.spreadsheet", 1311},
    {"application/vnd.oasis.opendocument.presentation", 1312},
    {"application/gzip", 1313},
    {"application/x-gzip", 1313},
    {"application/x-bzip2", 1314},
    {"application/x-xz", 1315},
    {"application/zstd", 1316},
    {"application/x-7z-compressed", 1317},
    {"application/x-rar", 1318},
    {"application/vnd.rar", 1318},
    {"application/x-tar", 1319},
    {"application/x-compress", 1320},
    {"application/x-lzma", 1321},
    {"application/x-lz4", 1322},
    {"application/vnd.ms-cab-compressed", 1323},
    {"application/java-archive", 1324},
    {"application/epub+zip", 1325},
    {"application/x-archive", 1326},
    {"application/x-rpm", 1327},
    {"application/vnd.debian.binary-package", 1328},
    {"application/x-iso9660-image", 1329},
    {"application/x-executable", 1330},
    {"application/x-sharedlib", 1331},
    {"application/x-pie-executable", 1331},
    {"application/x-object", 1332},
    {"application/x-dosexec", 1333},
    {"application/vnd.microsoft.portable-executable", 1333},
    {"application/x-mach-binary", 1334},
    {"application/x-java-applet", 1335},
    {"application/x-shockwave-flash", 1336},
    {"application/vnd.sqlite3", 1337},
    {"application/x-sqlite3", 1337},
    {"application/vnd.ms-opentype", 1338},
    {"font/sfnt", 1338},
    {"font/ttf", 1339},
    {"font/otf", 1340},
    {"font/woff", 1341},
    {"font/woff2", 1342},
    {"application/x-font-ttf", 1339},
    {"application/pgp-encrypted", 1343},
    {"application/pgp-signature", 1344},
    {"application/pgp-keys", 1345},
    {"application/vnd.ms-access", 1347},
    {"application/vnd.visio", 1348},
    {"application/vnd.ms-htmlhelp", 1349},
    {"audio/mpeg", 1350},
    {"audio/x-wav", 1351},
    {"audio/wav", 1351},
    {"audio/ogg", 1352},
    {"application/ogg", 1352},
    {"audio/flac", 1353},
    {"audio/x-flac", 1353},
    {"audio/midi", 1354},
    {"audio/x-aiff", 1355},
    {"audio/x-m4a", 1356},
    {"audio/mp4", 1356},
    {"audio/basic", 1357},
    {"audio/amr", 1358},
    {"audio/x-ms-wma", 1359},
    {"video/mp4", 1360},
    {"video/quicktime", 1361},
    {"video/x-msvideo", 1362},
    {"video/mpeg", 1363},
    {"video/webm", 1364},
    {"video/x-matroska", 1365},
    {"video/x-ms-asf", 1366},
    {"video/x-flv", 1367},
    {"video/3gpp", 1368},
    {"video/mp2t", 1369},
    {"image/vnd.adobe.photoshop", 1370},
    {"image/heic", 1371},
    {"image/heif", 1371},
    {"image/avif", 1372},
    {"image/jp2", 1373},
    {"image/x-portable-bitmap", 1374},
    {"image/x-portable-greymap", 1374},
    {"image/x-portable-pixmap", 1374},
    {"image/x-xcf", 1375},
    {"image/x-icns", 1378},
    {"image/x-win-bitmap", 1379},
    {"image/x-xpmi", 1380},
    {"image/jxl", 1381},
    {"application/x-bittorrent", 1382},
    {"application/x-123", 1383},
    {"application/vnd.lotus-1-2-3", 1383},
    {"application/x-hwp", 1384},
    {"application/vnd.wordperfect", 1385},
    {"application/x-wordperfect", 1385},
};

constexpr uint16_t kTnef = 1197;
constexpr uint16_t kPdf = 1300;
constexpr uint16_t kGif = 1500, kJpeg = 1501, kPng = 1502, kBmp = 1503, kTiff = 1504,
                   kWebp = 1505, kIco = 1506;

bool Begins(const uint8_t* data, size_t length, const void* signature, size_t n) {
    return length >= n && memcmp(data, signature, n) == 0;
}

uint32_t Le32(const uint8_t* p) {
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

uint16_t Le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

// "BM" alone starts ordinary words, so the DIB header size must be a real one.
bool IsBmp(const uint8_t* data, size_t length) {
    if (length < 18 || data[0] != 'B' || data[1] != 'M') return false;
    uint32_t headerSize = Le32(data + 14);
    return headerSize == 12 || headerSize == 40 || headerSize == 52 || headerSize == 56 ||
           headerSize == 64 || headerSize == 108 || headerSize == 124;
}

// An icon directory: reserved 0, type 1, at least one entry whose reserved
// byte is 0 and whose planes and bit count are plausible.
bool IsIco(const uint8_t* data, size_t length) {
    if (length < 22 || Le16(data) != 0 || Le16(data + 2) != 1 || Le16(data + 4) == 0) return false;
    const uint8_t* entry = data + 6;
    uint16_t planes = Le16(entry + 4);
    uint16_t bits = Le16(entry + 6);
    bool plausibleBits = bits == 0 || bits == 1 || bits == 4 || bits == 8 || bits == 16 ||
                         bits == 24 || bits == 32;
    return entry[3] == 0 && planes <= 1 && plausibleBits;
}

uint16_t PictureSignature(const uint8_t* data, size_t length) {
    if (Begins(data, length, "GIF87a", 6) || Begins(data, length, "GIF89a", 6)) return kGif;
    if (Begins(data, length, "\xFF\xD8\xFF", 3)) return kJpeg;
    if (Begins(data, length, "\x89PNG\r\n\x1A\n", 8)) return kPng;
    if (IsBmp(data, length)) return kBmp;
    if (Begins(data, length, "II*\0", 4) || Begins(data, length, "MM\0*", 4) ||
        Begins(data, length, "II+\0", 4) || Begins(data, length, "MM\0+", 4)) {
        return kTiff;
    }
    if (length >= 12 && memcmp(data, "RIFF", 4) == 0 && memcmp(data + 8, "WEBP", 4) == 0) return kWebp;
    if (IsIco(data, length)) return kIco;
    return 0;
}

// Identification asks libmagic only about data that isn't text, so its text,
// encoding, token, CSV and JSON checks would only cost time (they make an
// unnamed binary ten times slower). Listings want text types named too.
constexpr int kBinaryFlags = MAGIC_MIME_TYPE | MAGIC_NO_CHECK_COMPRESS | MAGIC_NO_CHECK_APPTYPE |
                             MAGIC_NO_CHECK_ELF | MAGIC_NO_CHECK_TEXT | MAGIC_NO_CHECK_CSV |
                             MAGIC_NO_CHECK_TOKENS | MAGIC_NO_CHECK_ENCODING | MAGIC_NO_CHECK_JSON;
constexpr int kListingFlags = MAGIC_MIME_TYPE | MAGIC_NO_CHECK_COMPRESS;

// One libmagic cookie, opened and loaded on first use by this thread.
class MagicHandle {
public:
    explicit MagicHandle(int flags) : flags_(flags) {}
    ~MagicHandle() {
        if (cookie_ != nullptr) magic_close(cookie_);
    }
    MagicHandle(const MagicHandle&) = delete;
    MagicHandle& operator=(const MagicHandle&) = delete;

    magic_t Get() {
        if (!tried_) {
            tried_ = true;
            cookie_ = magic_open(flags_);
            if (cookie_ != nullptr && magic_load(cookie_, nullptr) != 0) {
                magic_close(cookie_);
                cookie_ = nullptr;
            }
        }
        return cookie_;
    }

private:
    int flags_;
    magic_t cookie_ = nullptr;
    bool tried_ = false;
};

const char* MimeTypeWith(MagicHandle& handle, const uint8_t* data, size_t length) {
    magic_t cookie = handle.Get();
    return cookie == nullptr ? nullptr : magic_buffer(cookie, data, length);
}

thread_local MagicHandle binaryMagic(kBinaryFlags);
thread_local MagicHandle listingMagic(kListingFlags);

}  // namespace

uint16_t IdentifySignature(const uint8_t* data, size_t length) {
    if (Begins(data, length, "\x78\x9F\x3E\x22", 4)) return kTnef;
    if (uint16_t picture = PictureSignature(data, length)) return picture;
    // A PDF may be all ASCII and would then pass for text.
    if (Begins(data, length, "%PDF-", 5)) return kPdf;
    return 0;
}

const char* MagicMimeType(const uint8_t* data, size_t length) {
    return MimeTypeWith(listingMagic, data, length);
}

uint16_t FormatOfMimeType(const char* mimeType) {
    if (mimeType == nullptr) return 0;
    for (const MimeFormat& row : kMimeFormats) {
        if (strcmp(row.mimeType, mimeType) == 0) return row.formatId;
    }
    return 0;
}

uint16_t IdentifyByMagic(const uint8_t* data, size_t length) {
    return FormatOfMimeType(MimeTypeWith(binaryMagic, data, length));
}
