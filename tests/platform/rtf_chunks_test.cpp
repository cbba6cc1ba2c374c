// The RTF renderer alone, fed as the support session feeds it: the body in
// chunks of any size.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/support/support_filter.h"

namespace {

using Events = std::vector<std::vector<uint32_t>>;

// Everything the renderer makes of `rtf` fed `step` bytes at a time.
Events Render(const std::string& rtf, size_t step) {
    RenderSink sink;
    RenderContext context;
    context.out = &sink;
    auto renderer = MakeRtfRenderer(context);
    for (size_t at = 0; at < rtf.size(); at += step)
        renderer->Feed(reinterpret_cast<const uint8_t*>(rtf.data()) + at, std::min(step, rtf.size() - at), false);
    renderer->Feed(nullptr, 0, true);
    Events out;
    while (!sink.Empty()) {
        const SupportEvent e = sink.Take();
        out.push_back({e.kind, e.a, e.b, e.c});
    }
    return out;
}

// A token may straddle any chunk end: byte by byte gives what one piece gives.
TEST(RtfRenderer, ChunkEndsAnywhere) {
    const std::string rtf = "{\\rtf1\\ansi\\ansicpg932{\\fonttbl{\\f1\\fcharset204 A;}}\\uc1 x\\u-10179?\\u-8704?"
                            "{\\b\\f1 \\'cf\\'f0}\\'93\\'fa\\par\\tab{\\*\\shppict{\\pict\\pngblip\\bin4 {}\\x}}y\\par ";
    const Events whole = Render(rtf, rtf.size());
    // x, U+1F600, bold on, two Cyrillic letters, bold off, one kanji, break,
    // tab, the picture, y, break.
    ASSERT_EQ(whole.size(), 12u);
    const std::vector<uint32_t> picture = {SupportEvent::kDataObject, static_cast<uint32_t>(rtf.find("{}\\x}}")), 4, 1502};
    EXPECT_EQ(whole[9], picture);
    for (size_t step : {1, 2, 3, 7}) EXPECT_EQ(Render(rtf, step), whole) << step;
}

// Junk: pieces of RTF and random bytes in any order. Nothing crashes or
// hangs, and the chunking still changes nothing.
TEST(RtfRenderer, JunkRendersAlikeInAnyChunks) {
    const char* pieces[] = {"{", "}", "\\", "\\par ", "\\b", "0", "-", "\\'", "e9", "\\u", "\\uc9",
                            "\\bin", "\\fromhtml1", "\\htmlrtf", "{\\*", "\\pict\\pngblip", " ", "x"};
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        std::string rtf = "{\\rtf1 ";
        while (rtf.size() < 600)
            rtf += random() % 3 ? std::string(pieces[random() % std::size(pieces)])
                                : std::string(1, static_cast<char>(random() % 256));
        EXPECT_EQ(Render(rtf, 1 + random() % 13), Render(rtf, rtf.size())) << round;
    }
}

}  // namespace
