// paragraph_layout.cpp - see paragraph_layout.h.
#include "hostkit/paragraph_layout.h"

#include <algorithm>

#include "mailtext/utf8.h"

namespace {

constexpr long kIndentUnitsPerColumn = 720 / 2;  // a step of 720 is two columns
// Indents deeper than the width leave this much room, so words still fit
// and the text stays inside the width.
constexpr long kLeastRoom = 10;

long Columns(int32_t amount) { return amount > 0 ? amount / kIndentUnitsPerColumn : 0; }

}  // namespace

std::string SgrCode(unsigned attributes) {
    std::string code = "\x1b[0";
    if (attributes & kAttrBold) code += ";1";
    if (attributes & kAttrItalic) code += ";3";
    if (attributes & kAttrUnderline) code += ";4";
    return code + "m";
}

bool PlainParagraph(const ParagraphFormat& format) {
    return format.leftIndent == 0 && format.rightIndent == 0 && format.firstIndent == 0 &&
           format.alignment != kAlignRight && format.alignment != kAlignCentre;
}

void ParagraphLayout::Resume(size_t column, unsigned attributes) {
    line_.clear();
    word_.clear();
    lineWidth_ = wordWidth_ = blanks_ = 0;
    resumed_ = column;
    firstLine_ = column == 0;
    active_ = lineStart_ = lineEnd_ = attributes;
}

// At a line's start the attributes belong to the line; elsewhere they open
// the next word.
void ParagraphLayout::SetAttributes(unsigned attributes) {
    active_ = attributes;
    if (lineWidth_ == 0 && word_.empty())
        lineStart_ = lineEnd_ = attributes;
    else
        word_ += SgrCode(attributes);
}

size_t ParagraphLayout::Indent() const {
    const long first = firstLine_ ? format_.firstIndent : 0;
    const long indent = Columns(format_.leftIndent) + first / kIndentUnitsPerColumn;
    const long deepest = std::max(0L, static_cast<long>(width_) - kLeastRoom);
    return static_cast<size_t>(std::clamp(indent, 0L, deepest));
}

size_t ParagraphLayout::Room() const {
    const long used = resumed_ ? static_cast<long>(resumed_) : static_cast<long>(Indent());
    const long room = static_cast<long>(width_) - used - Columns(format_.rightIndent);
    return static_cast<size_t>(std::max(room, std::min(static_cast<long>(width_), kLeastRoom)));
}

void ParagraphLayout::Put(std::string_view utf8, std::string& out) {
    for (char c : utf8) AddByte(c, out);
}

void ParagraphLayout::AddByte(char c, std::string& out) {
    switch (c) {
    case '\n':
        EndWord(out);
        EmitLine(true, out);
        firstLine_ = true;
        return;
    case ' ':
    case '\t':
        EndWord(out);
        if (lineWidth_ > 0) ++blanks_;
        return;
    case '\r': return;
    default: break;
    }
    const bool starts = !Utf8IsContinuation(static_cast<uint8_t>(c));
    if (starts && wordWidth_ >= Room()) {
        // A word as wide as a line: the line before it goes, then the word is cut.
        if (lineWidth_ > 0) EmitLine(true, out);
        if (wordWidth_ >= Room()) {
            line_.swap(word_);
            lineWidth_ = wordWidth_;
            lineEnd_ = active_;
            word_.clear();
            wordWidth_ = 0;
            EmitLine(true, out);
        }
    }
    word_ += c;
    if (starts) ++wordWidth_;
}

void ParagraphLayout::EndWord(std::string& out) {
    if (word_.empty()) return;
    if (lineWidth_ > 0 && lineWidth_ + blanks_ + wordWidth_ > Room()) EmitLine(true, out);
    if (lineWidth_ > 0) line_.append(blanks_, ' ');
    lineWidth_ += (lineWidth_ > 0 ? blanks_ : 0) + wordWidth_;
    line_ += word_;
    lineEnd_ = active_;
    blanks_ = 0;
    word_.clear();
    wordWidth_ = 0;
}

// A line with no characters is written as a bare line end: the attributes
// it would set carry over to the next line anyway. Answers the column where
// the line ends.
size_t ParagraphLayout::EmitLine(bool lineEnd, std::string& out) {
    size_t pad = 0;
    if (lineWidth_ > 0 && resumed_ == 0) {
        pad = Indent();
        const size_t room = Room();
        const size_t slack = room > lineWidth_ ? room - lineWidth_ : 0;
        if (format_.alignment == kAlignRight) pad += slack;
        if (format_.alignment == kAlignCentre) pad += slack / 2;
    }
    if (lineWidth_ > 0) {
        out.append(pad, ' ');
        if (lineStart_) out += SgrCode(lineStart_);
        out += line_;
        if (lineEnd && lineEnd_) out += SgrCode(0);
    }
    if (lineEnd) out += '\n';
    const size_t column = resumed_ + (lineWidth_ > 0 ? pad + lineWidth_ : 0);
    line_.clear();
    lineWidth_ = blanks_ = 0;
    resumed_ = 0;
    firstLine_ = false;
    lineStart_ = lineEnd_;
    return column;
}

size_t ParagraphLayout::Flush(std::string& out) {
    EndWord(out);
    return EmitLine(false, out);
}
