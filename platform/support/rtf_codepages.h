// rtf_codepages.h - bytes of an RTF document's Windows code pages as Unicode.
// RTF names its 8-bit text by code page (\ansicpgN) or by a font's
// character set (\fcharsetN); both end up here as a code page number.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>

constexpr uint32_t kDefaultCodePage = 1252;

// The code page a font's \fcharsetN stands for; 0 for "the document's".
uint32_t CodePageOfFontCharset(int32_t charset);

class CodePages {
public:
    CodePages();
    ~CodePages();
    CodePages(const CodePages&) = delete;
    CodePages& operator=(const CodePages&) = delete;

    // Pages whose characters may take two bytes (932, 936, 949, 950).
    static bool IsDoubleByte(uint32_t page);
    static bool IsLeadByte(uint32_t page, uint8_t byte);
    char32_t Single(uint32_t page, uint8_t byte);
    char32_t Double(uint32_t page, uint8_t lead, uint8_t trail);

private:
    struct Page;
    Page& Find(uint32_t page);

    std::map<uint32_t, std::unique_ptr<Page>> pages_;
};
