// How the filter drives support filters, under a filter-access service of
// this program's own (it defines DelegateOpen, DelegateSwitch and
// DelegateClose, so the filter reaches these instead of the platform's). The
// fake support filters log each entry call with what the slot hands them and
// write "<id>:<bytes of the body>" to the host.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "host/constants.h"
#include "host/services.h"
#include "input/host_table.h"
#include "input/support_slot.h"
#include "tests/support/filter_session.h"
#include "tests/tnef/tnef_builder.h"

namespace {

struct Fake {
    std::set<uint16_t> available{FI_HTML_FILTER, FI_RTF};
    std::vector<std::string> log;
    int stopsLeft = 0;  // reads that stop before the body is done
} g_fake;

template <typename Slot>
uint16_t IdOf() {
    return sizeof(Slot::image) == kImage1028Size ? FI_RTF : FI_HTML_FILTER;
}

template <typename Slot>
int32_t Begin(uint32_t, void*) {
    g_fake.log.push_back("begin " + std::to_string(IdOf<Slot>()));
    return 0;
}

template <typename Slot>
std::string Lists(const Slot* slot) {
    std::string text = " locators=" + std::to_string(ListCount(slot->locators));
    if constexpr (sizeof(Slot::image) == kImage1028Size)
        text += " ranges=" + std::to_string(slot->ranges ? ListCount(slot->ranges) : 0);
    return text;
}

template <typename Slot>
int32_t Read(uint32_t, void* image) {
    auto* slot = static_cast<Slot*>(image);
    g_fake.log.push_back("read " + std::to_string(IdOf<Slot>()) + Lists(slot));
    const size_t at = sizeof(Slot::image) == kImage1028Size ? kImage1028ReadPos : kImage1101ReadPos;
    uint32_t position = 1;
    std::memcpy(slot->image + at, &position, sizeof position);
    const HostTable host{slot->routines, slot->user1, slot->user2};
    if (g_fake.stopsLeft > 0) {
        --g_fake.stopsLeft;
        return host::PutBreak(host, BRK_PARAGRAPH) == 1 ? 0 : -1;
    }
    auto* reader = static_cast<ByteReader*>(slot->stream);
    size_t bytes = 0;
    while (ReaderGet(reader) != kReaderEnd) ++bytes;
    for (char c : std::to_string(IdOf<Slot>()) + ":" + std::to_string(bytes)) host::PutChar(host, c);
    host::PutBreak(host, BRK_PARAGRAPH);
    return -1;
}

template <typename Slot>
int32_t End(uint32_t, void*) {
    g_fake.log.push_back("end " + std::to_string(IdOf<Slot>()));
    return 0;
}

template <typename Slot>
void Fill(VwRoutine entries[5]) {
    entries[0] = reinterpret_cast<VwRoutine>(&Begin<Slot>);
    entries[1] = reinterpret_cast<VwRoutine>(&Read<Slot>);
    entries[4] = reinterpret_cast<VwRoutine>(&End<Slot>);
}

}  // namespace

extern "C" {

uintptr_t DelegateOpen(IoObject*, uint16_t filterId, VwRoutine entries[5], uint16_t*, uint16_t* status) {
    g_fake.log.push_back("open " + std::to_string(filterId));
    *status = g_fake.available.count(filterId) ? 0 : 1;
    if (filterId == FI_RTF) Fill<SupportSlot1028>(entries);
    if (filterId == FI_HTML_FILTER) Fill<SupportSlot1101>(entries);
    return filterId;
}

FilterProc* DelegateSwitch(void* context, void*) {
    // context and owner lie the same distance apart in both slots.
    constexpr size_t gap = offsetof(SupportSlot1101, context) - offsetof(SupportSlot1101, owner);
    return *reinterpret_cast<FilterProc**>(static_cast<uint8_t*>(context) - gap);
}

void DelegateClose(uintptr_t handle) { g_fake.log.push_back("close " + std::to_string(handle)); }

}  // extern "C"

namespace {

using namespace tnef_test;

std::string RunLogged(const std::string& bytes, uint16_t formatId, RecordingHost& host) {
    g_fake.log.clear();
    EXPECT_EQ(RunDocument(host, bytes, formatId), 0);
    std::string log;
    for (const std::string& line : g_fake.log) log += line + "\n";
    return log;
}

std::string TnefWithBodies(bool html, bool rtf) {
    std::string props;
    if (html) props += SizedProperty(258, kPrBodyHtml, "<p>hi</p>");
    if (rtf) props += SizedProperty(258, kPrRtfCompressed, std::string(24, '\0'));
    return Header() + Attribute(kMessage, kAttMsgProps, PropertyBlock(html + rtf, props));
}

TEST(SupportRuns, TnefBodiesGoToTheFilterThatCanRunThem) {
    RecordingHost both;
    EXPECT_EQ(RunLogged(TnefWithBodies(true, true), FI_TNEF, both),
              "open 1181\nopen 1028\nbegin 1028\nread 1028 locators=0 ranges=2\n"
              "end 1028\nclose 1028\nend 1181\nclose 1181\n");
    EXPECT_NE(both.Text().find("1028:"), std::string::npos) << both.Text();

    // An HTML body with only the RTF filter open: nothing runs, nothing shows.
    g_fake.available = {FI_RTF};
    RecordingHost none;
    EXPECT_EQ(RunLogged(TnefWithBodies(true, false), FI_TNEF, none), "open 1181\n");
    EXPECT_EQ(none.Text().find("1181"), std::string::npos);
    g_fake.available = {FI_HTML_FILTER, FI_RTF};
}

TEST(SupportRuns, AnHtmlPartRunsOnceAndResumesWithoutBeginningAgain) {
    const std::string mail = "From: a@example.org\r\nContent-Type: text/html\r\nContent-ID: <body@x>\r\n\r\n<p>12345</p>";
    RecordingHost host;
    host.StopAtEveryParagraph();
    g_fake.stopsLeft = 1;
    EXPECT_EQ(RunLogged(mail, FI_INTERNET_MAIL, host),
              "open 1181\nbegin 1181\nread 1181 locators=1\nread 1181 locators=1\nend 1181\nclose 1181\n");
    EXPECT_NE(host.Text().find("1181:12\n"), std::string::npos) << host.Text();

    // Without a support filter the body is passed over in silence.
    g_fake.available.clear();
    RecordingHost silent;
    EXPECT_EQ(RunLogged(mail, FI_INTERNET_MAIL, silent), "open 1181\n");
    EXPECT_EQ(silent.Text().find("1181"), std::string::npos);
    EXPECT_NE(silent.Text().find("text/html"), std::string::npos) << "the header still shows";
    g_fake.available = {FI_HTML_FILTER, FI_RTF};
}

// The RTF filter is told the way to the body it runs: a part range and its
// decoding stage, never the steps of the parts before it.
TEST(SupportRuns, TheRtfFilterGetsTheWayToItsOwnBody) {
    const std::string mail =
        "From: a@example.org\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
        "--b\r\nContent-Type: text/plain\r\nContent-Transfer-Encoding: base64\r\n\r\naGVsbG8=\r\n"
        "--b\r\nContent-Type: application/rtf\r\nContent-Transfer-Encoding: base64\r\n\r\ne1xydGYxIGhpfQ==\r\n"
        "--b--\r\n";
    RecordingHost host;
    const std::string log = RunLogged(mail, FI_INTERNET_MAIL, host);
    EXPECT_NE(log.find("read 1028 locators=0 ranges=2\n"), std::string::npos) << log;
    EXPECT_NE(host.Text().find("1028:10\n"), std::string::npos) << host.Text();
}

}  // namespace
