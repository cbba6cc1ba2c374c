// Multipart mail through the exported routines: which bodies are shown, the
// rules and sections between them, and restoring an earlier part.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"
#include "tests/support/recording_host.h"

namespace {

std::string Mail(const std::string& type, const std::string& parts) {
    return "From: a@example.org\r\nSubject: the subject\r\nMIME-Version: 1.0\r\nContent-Type: multipart/" + type +
           "; boundary=\"b\"\r\n\r\n" + parts + "--b--\r\n";
}

std::string Part(const std::string& header, const std::string& body) {
    return "--b\r\n" + (header.empty() ? "" : header + "\r\n") + "\r\n" + body + "\r\n";
}

const std::string kPlain = "Content-Type: text/plain";
const std::string kPng("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\x01\0\0\0\x01\x08\x06\0\0\0\x1F\x15\xC4\x89", 33);
const std::string kMixed = Mail("mixed", Part(kPlain, "FIRSTPART line") + Part(kPlain, "SECONDPART line"));

TEST(Multipart, WhatIsShownInWhichOrder) {
    const struct {
        std::string mail;
        std::vector<std::string> shown;  // in this order
        std::vector<std::string> hidden;
        size_t rules, sections, sectionEnds;
    } cases[] = {
        {Mail("alternative", Part(kPlain, "PLAINSIDE") + Part("Content-Type: text/html",
                                                              "<html><body><p>HTMLSIDE</p></body></html>")),
         {"the subject"}, {"PLAINSIDE"}, 0, 1, 0},
        // One rule between the two texts, in one section.
        {kMixed, {"FIRSTPART", "SECONDPART"}, {}, 1, 1, 0},
        // A digest ends a section behind each entry but the last.
        {Mail("digest", Part("", "From: one@example.org\r\nSubject: ENTRYONE\r\n\r\nfirst entry") +
                            Part("", "From: two@example.org\r\nSubject: ENTRYTWO\r\n\r\nsecond entry")),
         {"ENTRYONE", "ENTRYTWO"}, {}, 0, 2, 1},
        // An attachment is named in the header table, never shown inline, by
        // its disposition's file name before the type's name; a picture sent
        // as it is, without a disposition, is an attachment too.
        {Mail("mixed", Part(kPlain, "see attached") +
                           Part("Content-Type: application/pdf; name=\"by-type.pdf\"\r\n"
                                "Content-Disposition: attachment; filename=\"report.pdf\"\r\n"
                                "Content-Transfer-Encoding: base64",
                                "JVBERi0xLjQKJcfsj6IKNSAwIG9iago8PC9MZW5ndGggNiAwIFI+PgpzdHJlYW0K") +
                           Part("Content-Type: image/png; name=\"dot.png\"", kPng)),
         {"report.pdf", "dot.png", "see attached"}, {"JVBER", "by-type", "PNG"}, 0, 1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mail);
        RecordingHost host;
        ASSERT_EQ(RunDocument(host, c.mail, FI_INTERNET_MAIL), 0);
        std::string text = host.Text();
        size_t at = 0;
        for (const std::string& piece : c.shown) {
            size_t found = text.find(piece, at);
            ASSERT_NE(found, std::string::npos) << piece << " in " << text;
            at = found;
        }
        for (const std::string& hidden : c.hidden) EXPECT_EQ(text.find(hidden), std::string::npos) << text;
        EXPECT_EQ(host.Count(SO_PUTRULE), c.rules);
        EXPECT_EQ(host.Count(SO_BEGINSECTION), c.sections);
        const auto& calls = host.Calls();
        EXPECT_EQ(std::count_if(calls.begin(), calls.end(), [](const HostEvent& e) {
                      return e.id == SO_PUTBREAK && e.args[0].number == BRK_SECTION_END;
                  }), static_cast<long>(c.sectionEnds));
        const std::string transcript = host.Transcript();
        if (c.rules == 1) {
            size_t rule = transcript.find("SoPutRule");
            EXPECT_LT(transcript.find("SoPutChar 70"), rule);                              // 'F'
            EXPECT_GT(transcript.find("SoPutChar 83\nSoPutChar 69\nSoPutChar 67"), rule);  // "SEC"
        }
    }
}

TEST(Multipart, RestoringAnEarlierPartReopensItsRange) {
    RecordingHost host;
    host.StopAtEveryParagraph();
    MemoryObject object(kMixed);
    FilterSession session(host);
    ASSERT_EQ(session.Open(object.get(), FI_INTERNET_MAIL), 0);
    std::vector<uint8_t> inFirst;
    for (int i = 0; i < 40 && inFirst.empty(); ++i) {
        size_t mark = host.Calls().size();
        ASSERT_NE(session.Step(), FilterSession::Stop::Failed);
        if (host.Text(mark).find("FIRSTPART") != std::string::npos) inFirst = session.Save();
    }
    ASSERT_FALSE(inFirst.empty());
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    EXPECT_EQ(session.proc()->currentPart, 2);
    session.Restore(inFirst);
    size_t mark = host.Calls().size();
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    std::string again = host.Text(mark);
    EXPECT_EQ(again.find("FIRSTPART"), std::string::npos) << "it goes on behind the stop";
    EXPECT_NE(again.find("SECONDPART"), std::string::npos) << again;
}

}  // namespace
