// The text rendering of paragraph formats and attributes: the filter's calls
// fed to DocumentRender straight, the text output read back.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/constants.h"
#include "hostkit/document_render.h"
#include "hostkit/text_output.h"

namespace {

constexpr uint32_t kStep = 720;

// Renders through a TextOutput of `width` columns; `feed` makes the calls.
template <typename Feed>
std::string Render(Feed feed, unsigned width = 20, bool terminal = false) {
    char* data = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&data, &size);
    {
        OutputBuffer out(file);
        TextOutput text(out, TextStyle{width, terminal});
        DocumentRender render(text);
        feed(render);
        render.Finish();
        text.Finish();
    }
    std::fclose(file);
    const std::string result(data, size);
    std::free(data);
    return result;
}

// Characters, with '\n' as a paragraph break.
void Put(DocumentRender& render, const std::string& text) {
    for (char c : text) c == '\n' ? render.PutBreak(BRK_PARAGRAPH, 0) : render.PutChar(static_cast<uint8_t>(c));
}

// The state a rich text writer sends at the start of a run.
void Indents(DocumentRender& render, uint32_t left, uint32_t right, uint32_t first) {
    render.SetProperty(PROP_INDENT, 0, 0, left);
    render.SetProperty(PROP_INDENT, 1, 0, right);
    render.SetProperty(PROP_INDENT, 2, 2, first);
}

void Align(DocumentRender& render, uint32_t alignment) { render.SetProperty(PROP_ALIGNMENT, alignment, 0, 0); }

TEST(TextLayout, AlignmentPlacesLinesInTheWidthAndTheDefaultLeavesTextAsItCame) {
    const std::string text = "a   line  wider than twenty columns, kept whole\n\n  lead\n";
    EXPECT_EQ(Render([&](DocumentRender& r) {
                  Indents(r, 0, 0, 0), Align(r, 0), Put(r, text);
                  Align(r, kAlignLeft), Put(r, text);
              }),
              text + text);
    EXPECT_EQ(Render([](DocumentRender& r) {
                  Align(r, kAlignCentre), Put(r, "Title\n");
                  Align(r, kAlignRight), Put(r, "right side\nthe second paragraphs\n");
                  Align(r, kAlignEnd), Put(r, "left\n");
                  Indents(r, 0, kStep, 0), Align(r, kAlignRight), Put(r, "end\n");  // right edge in
              }),
              "       Title\n          right side\n          the second\n          paragraphs\nleft\n" +
                  std::string(15, ' ') + "end\n");
}

TEST(TextLayout, IndentsAreTwoColumnsAStepAndWrappedLinesKeepThem) {
    EXPECT_EQ(Render([](DocumentRender& r) {
                  Indents(r, 2 * kStep, 0, 0), Put(r, "aaaa bbbb cccc dddd eeee\n\n");
                  Indents(r, kStep, 0, kStep), Put(r, "aaaa bbbb cccc dddd eeee\n");  // first line further in
              }),
              "    aaaa bbbb cccc\n    dddd eeee\n\n    aaaa bbbb cccc\n  dddd eeee\n");
    // An indent opened in the middle of a line leaves that line's start alone
    // (the first-line indent cancels the left one), and the line's text goes
    // on; later first lines keep that negative indent until it is reset.
    EXPECT_EQ(Render([](DocumentRender& r) {
                  Put(r, "abc ");
                  Indents(r, kStep, 0, static_cast<uint32_t>(-static_cast<int32_t>(kStep)));
                  Put(r, "defg hijk lmno pqrs\nnext\n");
                  Indents(r, 0, 0, 0), Put(r, "out\n");
              }),
              "abc defg hijk lmno\n  pqrs\nnext\nout\n");
    // A word wider than the room is cut; indents deeper than the width leave room.
    EXPECT_EQ(Render([](DocumentRender& r) {
                  Indents(r, kStep, 0, 0), Put(r, "x 123456789012345678901234\n");
                  Indents(r, 40 * kStep, 0, 0), Put(r, "deep\n");
              }),
              "  x\n  123456789012345678\n  901234\n" + std::string(10, ' ') + "deep\n");
}

TEST(TextLayout, AttributesAreTerminalCodesOnATerminalOnly) {
    const auto feed = [](DocumentRender& r) {
        Put(r, "a ");
        r.SetProperty(PROP_ATTRIBUTE, ATTR_BOLD, 1, 0), Put(r, "b ");
        r.SetProperty(PROP_ATTRIBUTE, ATTR_UNDERLINE, 1, 0), Put(r, "c");
        r.SetProperty(PROP_ATTRIBUTE, ATTR_BOLD, 0, 0), r.SetProperty(PROP_ATTRIBUTE, ATTR_UNDERLINE, 0, 0);
        Put(r, "\n"), Align(r, kAlignCentre);
        r.SetProperty(PROP_ATTRIBUTE, ATTR_ITALIC, 1, 0), Put(r, "it ok\n");
    };
    EXPECT_EQ(Render(feed), "a b c\n       it ok\n");
    // Padding stays plain: the attributes open after it and close at the line end.
    EXPECT_EQ(Render(feed, 20, true),
              "a \x1b[0;1mb \x1b[0;1;4mc\x1b[0;4m\x1b[0m\n       \x1b[0;3mit ok\x1b[0m\n\x1b[0m");
}

TEST(TextLayout, FormatsEndWithTheirBodyAndStayOutOfTables) {
    EXPECT_EQ(Render([](DocumentRender& r) {
                  Align(r, kAlignCentre), Put(r, "mid\n");
                  r.PutBreak(BRK_SECTION_END, 0);
                  r.BeginTable(), Indents(r, 4 * kStep, 0, 0);
                  Put(r, "Subject"), r.PutBreak(BRK_CELL_END, 0), Put(r, "hi"), r.PutBreak(BRK_CELL_END, 0);
                  r.PutBreak(BRK_ROW_END, 0), r.EndTable(), Put(r, "body\n");
              }),
              "        mid\n\n" + std::string(60, '-') + "\nSubject: hi\nbody\n");
}

}  // namespace
