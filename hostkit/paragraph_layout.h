// paragraph_layout.h - lays body text out in paragraphs of a given format:
// indents, wrapping at a width, left, right or centred lines, and terminal
// attributes that stay on the text and off the padding.
//
// Indents arrive in the filter's units, 720 to a step; a step is two columns.
// The filter's first-line indent is relative to the left one and may be
// negative (it keeps a line under way in place when an indent opens in its
// middle), so the first line of a paragraph stands at left + first.
//
// Only whole words move; a word wider than the line is cut at the line's
// width, so what is held stays one line long whatever the input. Leading
// blanks of a line, and blanks before a line end, are dropped: padding does
// the placing. Widths count characters; wide East Asian characters count as
// one, as elsewhere in the text output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "hostkit/document_render.h"

// The terminal's code for a set of TextAttribute bits (a reset first, so one
// code says the whole state).
std::string SgrCode(unsigned attributes);

// True when text in `format` needs no layout: flush left, no indents.
bool PlainParagraph(const ParagraphFormat& format);

class ParagraphLayout {
public:
    explicit ParagraphLayout(unsigned width) : width_(width) {}

    // Takes effect from the next line written out.
    void SetFormat(const ParagraphFormat& format) { format_ = format; }
    // Text goes on a line of which `column` columns are already out, placed
    // by someone else; 0 starts a paragraph.
    void Resume(size_t column, unsigned attributes);
    void SetAttributes(unsigned attributes);
    // Appends the lines completed by `utf8` to `out`.
    void Put(std::string_view utf8, std::string& out);
    // Appends the line under way, placed but without a line end, and answers
    // the column where it ends.
    size_t Flush(std::string& out);

private:
    size_t Indent() const;
    size_t Room() const;
    void AddByte(char c, std::string& out);
    void EndWord(std::string& out);
    size_t EmitLine(bool lineEnd, std::string& out);

    unsigned width_;
    ParagraphFormat format_;
    bool firstLine_ = true;   // the line under way opens its paragraph
    size_t resumed_ = 0;      // columns already out on the line under way
    std::string line_;        // words placed on the line under way
    size_t lineWidth_ = 0;
    size_t blanks_ = 0;       // blanks between the line and the word
    std::string word_;
    size_t wordWidth_ = 0;
    unsigned active_ = 0;         // attributes at the end of the word
    unsigned lineStart_ = 0;      // attributes at the start of the line
    unsigned lineEnd_ = 0;        // attributes at the end of the line's last word
};
