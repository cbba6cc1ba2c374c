#include "platform/support/rtf_codepages.h"

#include <iconv.h>

#include <string>

namespace {

constexpr char32_t kReplacement = 0xFFFD;
const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

// glibc's names where "CPnnn" is not one.
std::string IconvName(uint32_t page) {
    switch (page) {
        case 936: return "GBK";
        case 950: return "BIG5";
        case 10000: return "MACINTOSH";
        default: return "CP" + std::to_string(page);
    }
}

}  // namespace

uint32_t CodePageOfFontCharset(int32_t charset) {
    switch (charset) {
        case 0: return 1252;
        case 2: return 1252;  // symbol fonts: their glyphs have no better reading
        case 77: return 10000;
        case 128: return 932;
        case 129: return 949;
        case 134: return 936;
        case 136: return 950;
        case 161: return 1253;
        case 162: return 1254;
        case 163: return 1258;
        case 177: return 1255;
        case 178: return 1256;
        case 186: return 1257;
        case 204: return 1251;
        case 222: return 874;
        case 238: return 1250;
        case 255: return 437;
        default: return 0;
    }
}

// One converter per page, and the page's single bytes once converted.
struct CodePages::Page {
    iconv_t converter = kNoConverter;
    std::array<char32_t, 256> singles{};
    bool singlesReady = false;
};

CodePages::CodePages() = default;

CodePages::~CodePages() {
    for (auto& [number, page] : pages_)
        if (page->converter != kNoConverter) iconv_close(page->converter);
}

bool CodePages::IsDoubleByte(uint32_t page) { return page == 932 || page == 936 || page == 949 || page == 950; }

bool CodePages::IsLeadByte(uint32_t page, uint8_t byte) {
    if (!IsDoubleByte(page)) return false;
    if (page == 932) return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
    return byte >= 0x81 && byte <= 0xFE;
}

// A page glibc doesn't know reads as 1252, and if even that fails, as Latin-1.
CodePages::Page& CodePages::Find(uint32_t number) {
    auto found = pages_.find(number);
    if (found != pages_.end()) return *found->second;
    auto page = std::make_unique<Page>();
    page->converter = iconv_open("UTF-32LE", IconvName(number).c_str());
    if (page->converter == kNoConverter && number != kDefaultCodePage)
        page->converter = iconv_open("UTF-32LE", IconvName(kDefaultCodePage).c_str());
    return *pages_.emplace(number, std::move(page)).first->second;
}

namespace {

char32_t Convert(iconv_t converter, const uint8_t* bytes, size_t length) {
    if (converter == kNoConverter) return length == 1 ? bytes[0] : kReplacement;
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    char in[2] = {static_cast<char>(bytes[0]), length > 1 ? static_cast<char>(bytes[1]) : '\0'};
    unsigned char out[8] = {};
    char* inPtr = in;
    char* outPtr = reinterpret_cast<char*>(out);
    size_t inLeft = length;
    size_t outLeft = sizeof out;
    if (iconv(converter, &inPtr, &inLeft, &outPtr, &outLeft) == static_cast<size_t>(-1) || outLeft != 4)
        return kReplacement;
    return static_cast<char32_t>(out[0] | out[1] << 8 | out[2] << 16 | static_cast<uint32_t>(out[3]) << 24);
}

}  // namespace

char32_t CodePages::Single(uint32_t number, uint8_t byte) {
    if (byte < 0x80) return byte;
    Page& page = Find(number);
    if (!page.singlesReady) {
        for (unsigned b = 0; b < 256; ++b) {
            const uint8_t one = static_cast<uint8_t>(b);
            page.singles[b] = Convert(page.converter, &one, 1);
        }
        page.singlesReady = true;
    }
    return page.singles[byte];
}

char32_t CodePages::Double(uint32_t number, uint8_t lead, uint8_t trail) {
    const uint8_t pair[2] = {lead, trail};
    return Convert(Find(number).converter, pair, 2);
}
