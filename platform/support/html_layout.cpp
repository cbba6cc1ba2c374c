// html_layout.cpp - text, breaks and attributes of an HTML body.
#include "platform/support/html_layout.h"

#include "host/constants.h"

namespace {

bool IsHtmlSpace(char32_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

}  // namespace

void TextLayout::Text(std::string_view utf8) {
    ForEachCodePoint(utf8, [this](char32_t c) {
        if (preDepth_ > 0) {
            const bool skip = skipNewline_ && c == '\n';
            skipNewline_ = skipNewline_ && c == '\r';
            if (skip || c == '\r') return;
            if (c == '\n') {
                LineBreak();
            } else if (c == '\t') {
                out_->Tab();
                line_ = Line::Text;
            } else {
                PutChar(c);
            }
            return;
        }
        if (IsHtmlSpace(c)) {
            pendingSpace_ = line_ == Line::Text;
            return;
        }
        if (pendingSpace_) out_->Char(' ');
        PutChar(c);
    });
}

void TextLayout::Literal(std::string_view utf8) {
    ForEachCodePoint(utf8, [this](char32_t c) { PutChar(c); });
    pendingSpace_ = false;
}

// A block that opens inside an item (<li><p>) stays on the bullet's line.
void TextLayout::Marker(std::string_view utf8) {
    Literal(utf8);
    line_ = Line::Marked;
}

void TextLayout::PutChar(char32_t c) {
    out_->Char(c);
    pendingSpace_ = false;
    skipNewline_ = false;
    line_ = Line::Text;
}

void TextLayout::BlockBoundary() {
    pendingSpace_ = false;
    if (line_ != Line::Text) return;
    out_->Break();
    line_ = Line::Empty;
}

void TextLayout::LineBreak() {
    pendingSpace_ = false;
    out_->Break();
    line_ = Line::Empty;
}

void TextLayout::CellSeparator() {
    if (line_ == Line::Empty) return;
    pendingSpace_ = false;
    out_->Tab();
    line_ = Line::Marked;
}

void TextLayout::Picture(uint32_t subdoc) {
    pendingSpace_ = false;
    out_->Object(subdoc, 0);
    LineBreak();
}

void TextLayout::EnterPre() {
    BlockBoundary();
    ++preDepth_;
    skipNewline_ = true;
}

void TextLayout::LeavePre() {
    if (preDepth_ > 0) --preDepth_;
    skipNewline_ = false;
    BlockBoundary();
}

void TextLayout::Open(Style style) {
    if (depth_[style]++ == 0) Switch(style, true);
}

void TextLayout::Close(Style style) {
    if (depth_[style] > 0 && --depth_[style] == 0) Switch(style, false);
}

void TextLayout::CloseAll() {
    for (int style = 0; style < kStyles; ++style) {
        if (depth_[style] == 0) continue;
        depth_[style] = 0;
        Switch(static_cast<Style>(style), false);
    }
}

// A link is underlined and coloured; an underline inside it stays on after it.
void TextLayout::Switch(Style style, bool on) {
    switch (style) {
        case kBold: out_->Attribute(ATTR_BOLD, on); return;
        case kItalic: out_->Attribute(ATTR_ITALIC, on); return;
        case kUnderline:
            if (depth_[kLink] == 0) out_->Attribute(ATTR_UNDERLINE, on);
            return;
        case kLink:
            out_->TextColor(on ? 0xFF0000 : 0);
            if (depth_[kUnderline] == 0) out_->Attribute(ATTR_UNDERLINE, on);
            return;
        case kStyles: return;
    }
}
