// html_layout.h - how an HTML body's text reaches the sink: whitespace
// collapsed as a browser does (kept inside <pre>), one paragraph break per
// run of block boundaries, and character attributes kept balanced however
// the tags that switch them nest.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/support/support_filter.h"

class TextLayout {
public:
    explicit TextLayout(RenderSink* out) : out_(out) {}

    void Text(std::string_view utf8);  // well-formed UTF-8 from the parser
    void Literal(std::string_view utf8);  // text we add ([alt]): never collapsed away
    void Marker(std::string_view utf8);   // a list item's bullet or number
    void BlockBoundary();              // a break unless the line holds no text
    void LineBreak();                  // always a break: <br><br> is an empty line
    void CellSeparator();              // a tab, unless the cell opens a line
    void Picture(uint32_t subdoc);     // an object, then a break
    void EnterPre();
    void LeavePre();

    // Nesting counts of bold / italic / underline and of links; the host sees
    // an attribute go on at the first and off at the last.
    enum Style { kBold, kItalic, kUnderline, kLink, kStyles };
    void Open(Style style);
    void Close(Style style);
    void CloseAll();  // the body ends: everything still on goes off

private:
    enum class Line { Empty, Marked, Text };  // Marked: a bullet or tab, no text yet
    void PutChar(char32_t c);
    void Switch(Style style, bool on);

    RenderSink* out_;
    Line line_ = Line::Empty;
    bool pendingSpace_ = false;
    bool skipNewline_ = false;  // the newline right after <pre> isn't shown
    uint32_t preDepth_ = 0;
    uint32_t depth_[kStyles] = {};
};

// The code points of well-formed UTF-8.
template <typename Visit>
void ForEachCodePoint(std::string_view utf8, Visit visit) {
    const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
    for (size_t i = 0; i < utf8.size();) {
        char32_t c = p[i];
        size_t n = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
        if (i + n > utf8.size()) n = utf8.size() - i;
        if (n > 1) c &= 0x3F >> (n - 1);
        for (size_t k = 1; k < n; ++k) c = (c << 6) | (p[i + k] & 0x3F);
        visit(c);
        i += n;
    }
}
