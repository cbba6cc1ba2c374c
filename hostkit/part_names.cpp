// part_names.cpp - naming attachments from their part's header; see
// part_names.h.
#include "hostkit/part_names.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

#include "mailtext/charset_ids.h"
#include "mailtext/charset_names.h"
#include "mailtext/encoded_words.h"
#include "mailtext/utf8.h"

namespace {

// NAME_MAX less room for a "-NNNN" suffix that keeps a name unique.
constexpr size_t kLongestName = 240;
// An extension longer than this is no extension worth keeping when a name is cut.
constexpr size_t kLongestExtension = 16;
// How much of the document in front of a body its header block may take.
constexpr uint32_t kHeaderReach = 65536;
// A caller asks the filter's objects for at most this much at a time.
constexpr uint32_t kReadChunk = 65535;

std::string Latin1ToUtf8(std::string_view bytes) {
    std::string out;
    for (char c : bytes) AppendUtf8(out, static_cast<unsigned char>(c));
    return out;
}

// A raw byte as the filter hands it to the host: sign-extended to 16 bits.
uint32_t SignExtended(uint8_t byte) {
    return static_cast<uint16_t>(static_cast<int16_t>(static_cast<int8_t>(byte)));
}

bool IsBlank(uint8_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// A word's characters into the converter.
class ConverterChars final : public WordCharSink {
public:
    explicit ConverterChars(CharsetConverter& converter) : converter_(converter) {}
    void Charset(uint32_t announced) override { converter_.SetCharset(announced); }
    void Char(uint32_t value) override { converter_.Put(value); }

private:
    CharsetConverter& converter_;
};

}  // namespace

std::string ReadAt(IoObject* object, uint32_t offset, uint32_t size) {
    std::string bytes(size, '\0');
    uint32_t total = 0, got = 0;
    if (object->Seek(object, 0, static_cast<int32_t>(offset)) != 0) return {};
    while (total < size) {
        const uint32_t ask = std::min(size - total, kReadChunk);
        if (object->Read(object, bytes.data() + total, ask, &got) != 0 || got == 0 || got > ask) break;
        total += got;
    }
    bytes.resize(total);
    return bytes;
}

std::string NameDecoder::Take() {
    converter_.Flush();
    std::string out(converter_.text());
    converter_.Consume();
    return out;
}

std::string NameDecoder::BytesToUtf8(std::string_view bytes, uint32_t charset) {
    if (charset == CharsetPlain) {
        // No set named: raw bytes, as the filter passes them outside a word.
        converter_.SetCharset(CharsetPlain);
        for (char c : bytes) converter_.Put(SignExtended(static_cast<uint8_t>(c)));
        return Take();
    }
    // UTF-7 runs give fewer units than they have symbols.
    std::vector<uint16_t> units(bytes.size() + 2);
    ConverterChars chars(converter_);
    PutWordChars(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()),
                 charset, units.data(), static_cast<uint32_t>(units.size() - 1), chars);
    std::string out = Take();
    converter_.SetCharset(CharsetPlain);
    return out;
}

std::string NameDecoder::HeaderText(std::string_view text) {
    // The walk hands on raw bytes and words; words of one charset that
    // follow each other with only blanks between are one text (RFC 2047,
    // section 6.2), so a character split over two words comes out whole.
    struct Collect final : EncodedTextSink {
        NameDecoder& decoder;
        std::string out, raw, wordBytes, blanks;
        uint32_t wordCharset = CharsetPlain;
        bool afterWord = false;
        explicit Collect(NameDecoder& d) : decoder(d) {}
        void FlushWords() {
            if (!wordBytes.empty()) out += decoder.BytesToUtf8(wordBytes, wordCharset);
            wordBytes.clear();
        }
        void FlushRaw() {
            raw += blanks;
            blanks.clear();
            if (!raw.empty()) out += decoder.BytesToUtf8(raw, CharsetPlain);
            raw.clear();
        }
        void Raw(uint8_t byte) override {
            if (afterWord && IsBlank(byte)) {
                blanks += static_cast<char>(byte);
                return;
            }
            FlushWords();
            afterWord = false;
            raw += static_cast<char>(byte);
        }
        bool Word(const EncodedWordHead& head, uint32_t encodedLength) override {
            std::string copy(head.encoded, encodedLength);
            if (head.encoding == 'B' || head.encoding == 'b') DecodeB(copy.data(), encodedLength);
            else DecodeQ(copy.data(), encodedLength);
            copy.resize(std::strlen(copy.c_str()));  // "=00" ends the text, as in the filter
            const uint32_t charset = ResolveCharset(head.charsetName);
            blanks.clear();
            if (!raw.empty() || charset != wordCharset) {
                FlushWords();
                FlushRaw();
            }
            wordCharset = charset;
            wordBytes += copy;
            afterWord = true;
            return true;
        }
    } collect(*this);
    const std::string zeroEnded(text.substr(0, std::min(text.find('\0'), text.size())));
    WalkEncodedText(zeroEnded.c_str(), collect);
    collect.FlushWords();
    collect.FlushRaw();
    return collect.out;
}

std::string NameDecoder::Parameter(const ParameterValue& value) {
    if (!value.extended) return HeaderText(value.bytes);
    return BytesToUtf8(value.bytes, ResolveCharset(value.charset));
}

std::string NameDecoder::LinkName(std::u16string_view units) {
    bool bytesOnly = true;
    for (char16_t unit : units) bytesOnly = bytesOnly && unit <= 0xFF;
    if (!bytesOnly) {  // 16-bit text from a support filter: already decoded
        converter_.SetCharset(CharsetPlain);
        for (char16_t unit : units) converter_.Put(unit);
        return Take();
    }
    std::string bytes;
    for (char16_t unit : units) bytes += static_cast<char>(unit);
    // Surrounding blanks and quotes are not part of a name.
    const size_t start = bytes.find_first_not_of(" \t\"");
    const size_t end = bytes.find_last_not_of(" \t\"");
    if (start == std::string::npos) return "";
    bytes = bytes.substr(start, end - start + 1);
    if (auto extended = ExtendedValueOf(bytes)) return Parameter(*extended);
    return HeaderText(bytes);
}

std::optional<std::string> NameDecoder::PartName(IoObject* document, uint32_t bodyOffset) {
    if (!document) return std::nullopt;
    // The block in front of the body: one read of what may hold it.
    const uint32_t reach = std::min(bodyOffset, kHeaderReach);
    if (reach < 2) return std::nullopt;
    const std::string before = ReadAt(document, bodyOffset - reach, reach);
    const auto block = HeaderBlockEndingAt(before);
    if (!block) return std::nullopt;
    const std::vector<HeaderField> fields = HeaderFieldsOf(*block);
    // A TNEF part's header names the envelope (winmail.dat), never one of
    // the files inside it, which are all that is handed out of it: those go
    // by their own titles.
    for (const HeaderField& field : fields)
        if (AsciiLower(field.name) == "content-type" && AsciiLower(field.value).find("ms-tnef") != std::string::npos)
            return std::nullopt;
    auto parameter = FileNameParameter(fields);
    if (!parameter) return std::nullopt;
    return Parameter(*parameter);
}

std::string SanitizeFileName(std::string_view utf8) {
    std::string name;
    for (size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        if (c < 0x20 || c == 0x7F) continue;
        // C1 controls, U+0080..U+009F, are C2 80..C2 9F in UTF-8.
        if (c == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0) {
            ++i;
            continue;
        }
        name += c == '/' || c == '\\' ? '_' : static_cast<char>(c);
    }
    if (!Utf8IsValid(name)) name = Latin1ToUtf8(name);
    // No hidden files, no "." or "..", no blanks at either end.
    const size_t start = name.find_first_not_of(" .");
    if (start == std::string::npos) return "";
    name.erase(0, start);
    name.erase(name.find_last_not_of(' ') + 1);
    if (name.size() <= kLongestName) return name;
    // Too long: cut the stem, keep a short extension.
    std::string extension;
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos && name.size() - dot <= kLongestExtension)
        extension = name.substr(dot);
    size_t cut = kLongestName - extension.size();
    while (cut > 0 && Utf8IsContinuation(static_cast<uint8_t>(name[cut]))) --cut;
    return name.substr(0, cut) + extension;
}

std::string_view ExtensionForMimeType(std::string_view type) {
    struct Entry {
        std::string_view type, extension;
    };
    static const Entry kExtensions[] = {
        {"application/pdf", ".pdf"},        {"application/zip", ".zip"},
        {"application/gzip", ".gz"},        {"application/x-gzip", ".gz"},
        {"application/x-bzip2", ".bz2"},    {"application/x-xz", ".xz"},
        {"application/x-tar", ".tar"},      {"application/x-7z-compressed", ".7z"},
        {"application/x-rar", ".rar"},      {"application/vnd.rar", ".rar"},
        {"application/msword", ".doc"},     {"application/vnd.ms-excel", ".xls"},
        {"application/vnd.ms-powerpoint", ".ppt"},
        {"application/vnd.ms-outlook", ".msg"},
        {"application/vnd.ms-tnef", ".tnef"},
        {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", ".docx"},
        {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", ".xlsx"},
        {"application/vnd.openxmlformats-officedocument.presentationml.presentation", ".pptx"},
        {"application/vnd.oasis.opendocument.text", ".odt"},
        {"application/postscript", ".ps"},  {"application/rtf", ".rtf"},
        {"application/json", ".json"},      {"application/xml", ".xml"},
        {"application/x-empty", ".txt"},    {"application/pgp-signature", ".asc"},
        {"image/gif", ".gif"},              {"image/jpeg", ".jpg"},
        {"image/png", ".png"},              {"image/bmp", ".bmp"},
        {"image/x-ms-bmp", ".bmp"},         {"image/tiff", ".tif"},
        {"image/webp", ".webp"},            {"image/vnd.microsoft.icon", ".ico"},
        {"image/svg+xml", ".svg"},          {"audio/mpeg", ".mp3"},
        {"audio/x-wav", ".wav"},            {"video/mp4", ".mp4"},
        {"text/plain", ".txt"},             {"text/html", ".html"},
        {"text/xml", ".xml"},               {"text/rtf", ".rtf"},
        {"text/x-c", ".c"},                 {"text/calendar", ".ics"},
        {"text/csv", ".csv"},               {"message/rfc822", ".eml"},
        {"message/news", ".eml"},
    };
    for (const Entry& entry : kExtensions)
        if (entry.type == type) return entry.extension;
    if (type.starts_with("text/")) return ".txt";
    return ".bin";
}
