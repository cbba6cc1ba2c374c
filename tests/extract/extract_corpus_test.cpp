// Extraction checked against an independent reference: Python's email
// package decodes every leaf part of every corpus mail it parses
// (payloads.py, run once for the whole corpus), and each file that
// `mailsift extract` writes must equal one of those payloads byte for byte.
// A part without transfer encoding, or quoted-printable, may carry one more
// line end: the filter counts the line end in front of a delimiter into the
// part, the reference drops it. An attached message is written whole, as the
// byte range of the mail it is; the reference marks where it saw one. Every
// base64 part with a file name must be written under the name the reference
// decodes, once made safe. Among them are Thunderbird's layouts (mixed, then
// alternative, then related, then an attachment behind the closing lines of
// two levels: test-alt-rel-with-attach.eml, the 08, 09, 10 and 20 mails of
// comm-central's mailnews data), whose attachments must come out decoded.
//
// The parts where the two disagree for a known reason are listed below with
// it; any other disagreement fails the test.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "hostkit/part_names.h"
#include "tests/cli/cli_run.h"

namespace {

namespace fs = std::filesystem;

// The parts where extraction and the reference differ, each with the reason:
// a file written that matches no payload (by the name it was written under),
// or a named base64 payload not written under its name ("name:" and the
// reference's name). The list is exact: a difference not listed fails, and so
// does a listed one that no longer happens.
constexpr const char* kInsideMessage = "lies inside an attached message, which is written whole as one file";
constexpr const char* kShownAsText = "a text part without an attachment disposition is shown in the body, not written as a file";
constexpr const char* kNotChosen = "an alternative not chosen for display is not offered as a file";
constexpr const char* kTnefEnvelope = "a TNEF envelope is read for what it holds, not written as winmail.dat";
constexpr const char* kInsideTnef = "lies inside a TNEF envelope, which the reference does not open";
constexpr const char* kInlinePicture = "a picture shown inline without Content-ID or Content-Location gets no sub-document";
constexpr const char* kTooShortForBase64 =
    "the data is judged by its bytes, not by Content-Transfer-Encoding: too short or irregular to pass as base64, so written as it stands";
constexpr const char* kTextDeclaredBase64 = "declared base64 but holds plain text, which is written as it stands";
constexpr const char* kQuotedPrintableAsText = "quoted-printable judged by its bytes passes as text, and is written as it stands";
constexpr const char* kEmptyBody = "an empty body: the line end in front of the delimiter is written, the reference writes nothing";
constexpr const char* kReferenceKeepsRaw = "the reference does not decode BinHex or xxencode and keeps the encoded lines";
constexpr const char* kDamagedClosing =
    "the closing delimiter is damaged, so the part runs over the epilogue to the next outer delimiter and no longer passes as base64";
constexpr const char* kNoInnerDelimiter = "a nested multipart without any delimiter is one part that runs to the end of the mail";
constexpr const char* kNoMacCyrillic = "the reference has no converter named x-mac-cyrillic and reads the name as garbage";
constexpr const char* kInlineSegment =
    "an encoded block inside a text part, written decoded; the reference sees only the text part (inline_blocks_test checks these against uudeview)";
constexpr const char* kSetOfOne =
    "its numbered neighbour exists but is no piece of it: a split set of one, whose one link is the file itself";
constexpr const char* kWordsInQuotes = "the name holds encoded words inside a quoted string: decoded here, kept as they stand by the reference";

struct Difference {
    const char* mail;
    const char* parts;  // one or more, split by '|'
    const char* reason;
};

const Difference kDifferences[] = {
    {"mimekit/tnef/rich-text.eml", "Build a train table|Christmas Celebration!|kitten-playing-with-a-christmas-tree.jpg", kInsideTnef},
    {"names/mac-cyrillic.eml", "name:\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD.txt", kNoMacCyrillic},
    {"names/mac-cyrillic.eml", "\xD0\xBE\xD1\x82\xD1\x87\xD1\x91\xD1\x82.txt", kTooShortForBase64},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/nestedMessageNoContentDispositionHeader.eml", "name:greenPixel.png|name:redPixel.png|name:whitePixel.png", kInsideMessage},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/nestedMessages.eml", "name:greenPixel.png|name:redPixel.png|name:whitePixel.png", kInsideMessage},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/nestedMessagesUnusualMultipart.eml", "name:greenPixel.png|name:redPixel.png|name:whitePixel.png", kInsideMessage},
    {"comm-central/mail/test/browser/composition/data/attachment-in-multipart-alternative.eml", "name:report.pdf", kNotChosen},
    {"comm-central/mail/test/browser/message-window/data/test-alt-rogue2.eml", "name:blue.png", kNotChosen},
    {"comm-central/mailnews/mime/jsmime/test/unit/data/multipart-complex1", "part-1.txt", kTooShortForBase64},
    {"comm-central/mailnews/test/data/bodystructurebug244741", "image001.jpg|name:.pdf|name:image001.jpg|pdf|pdf-1", kEmptyBody},
    {"comm-central/mailnews/test/data/mime-torture", "name:Alices_PDP-10", kInsideMessage},
    {"cpython-email/msg_15.txt", "xx.gif", "the nested multipart reuses the outer boundary; the reference loses the picture part, whose body is one line of text"},
    {"enmime/testdata/low-quality/bad-header-wrap.raw", "7DDA4_foo_9E5D72.zip", "a header line without its folding blank ends the header for the reference, whose payload then holds the rest of the header; here the short base64 is written as it stands"},
    {"enmime/testdata/low-quality/unk-charset-part.raw", "foo_9E5D72.zip|name:foo_9E5D72.zip", kTooShortForBase64},
    {"enmime/testdata/low-quality/unk-encoding-part.raw", "foo_9E5D72.zip", "an unknown transfer encoding: both keep the bytes, ours with the line end in front of the delimiter"},
    {"enmime/testdata/mail/attachment.raw", "name:test.html|test.html", kTooShortForBase64},
    {"enmime/testdata/parts/multibase64.raw", "name:test.html|test.html", kTooShortForBase64},
    {"gmime/data/partial/input/photo-discuss/message-partial.0.eml", "name:earrings.jpg", kInsideMessage},
    {"kmime/mails/x-pkcs7.mbox", "name:smime.p7m|smime.p7m", kTooShortForBase64},
    {"mhtml-parser/demos/mdn.mhtml", "part-6.txt", kQuotedPrintableAsText},
    {"mhtml-parser/demos/wikipedia.mhtml", "part-14.txt", kQuotedPrintableAsText},
    {"mikel-mail/emails/attachment_emails/attachment_message_rfc822.eml", "name:broken.pdf", kInsideMessage},
    {"mikel-mail/emails/error_emails/content_transfer_encoding_x_uuencode.eml", "PGP_Cmts_on_12-14-01_Pkg.doc", kEmptyBody},
    {"mime-tools/testin/multi-igor.msg", "name:Makefile|name:Parser.n.out|name:multi-nested.msg", kShownAsText},
    {"mime-tools/testmsgs/double-content-disposition.msg", "part-1.txt", kTooShortForBase64},
    {"mime-tools/testmsgs/double-content-id.msg", "part-1.txt", kTooShortForBase64},
    {"mime-tools/testmsgs/double-content-type.msg", "part-1.txt", kTooShortForBase64},
    {"mime-tools/testmsgs/frag.msg", "name:aprilfools.jpg", kInsideMessage},
    {"mime-tools/testmsgs/multi-2evil.msg", "name:/evil/because:ofpath3d-=?ISO-8859-1?Q?=63?=om=?US-ASCII*EN?Q?pr?=ess.gif", kWordsInQuotes},
    {"mime-tools/testmsgs/multi-frag.msg", "3d-eye.gif|name:3d-eye.gif", kDamagedClosing},
    {"mime4j/mimetools-testmsgs/attachment-filename-encoding-UTF8.msg", "attachment.äöü|name:attachment.äöü", kTooShortForBase64},
    {"mime4j/mimetools-testmsgs/attachment-filename-encoding-UTF8.out", "attachment.äöü|name:attachment.äöü", kTooShortForBase64},
    {"mime4j/mimetools-testmsgs/double-bound.out", "name:3d-eye.gif", kInlinePicture},
    {"mime4j/mimetools-testmsgs/infinite.msg", "name:109f53c446c8882f4318316ecf4480ce", kShownAsText},
    {"mime4j/mimetools-testmsgs/infinite.out", "name:109f53c446c8882f4318316ecf4480ce", kShownAsText},
    {"mime4j/mimetools-testmsgs/multi-2evil.msg", "name:/evil/because:ofpath3d-=?ISO-8859-1?Q?=63?=om=?US-ASCII*EN?Q?pr?=ess.gif", kWordsInQuotes},
    {"mime4j/mimetools-testmsgs/multi-2evil.out", "name:/evil/because:ofpath3d-=?ISO-8859-1?Q?=63?=om=?US-ASCII*EN?Q?pr?=ess.gif", kWordsInQuotes},
    {"mime4j/mimetools-testmsgs/multi-frag.msg", "3d-eye.gif|name:3d-eye.gif", kDamagedClosing},
    {"mime4j/mimetools-testmsgs/multi-igor.msg", "name:Makefile|name:Parser.n.out|name:multi-nested.msg", kShownAsText},
    {"mime4j/mimetools-testmsgs/multi-igor.out", "name:Makefile|name:Parser.n.out|name:multi-nested.msg", kShownAsText},
    {"mime4j/misc/james-utils/src/test/resources/sampleMail.msg", "name:Sprint-2015-05-18.ods", kInsideMessage},
    {"mime4j/testmsgs/example.msg", "rhubarb.txt", kQuotedPrintableAsText},
    {"mime4j/testmsgs/example.out", "rhubarb.txt", kQuotedPrintableAsText},
    {"mime4j/testmsgs/missing-inner-boundary.msg", "part-1.txt", kNoInnerDelimiter},
    {"mimekit/messages/empty-multipart.txt", "part-1.txt", kNoInnerDelimiter},
    {"mimekit/messages/epilogue.txt", "part-1.bin", kEmptyBody},
    {"mimekit/tnef/rich-text.eml", "name:winmail.dat", kTnefEnvelope},
    {"mimekit/tnef/ukr.eml", "name:winmail.dat", kTnefEnvelope},
    {"spamassassin/nice/cjk/iso-2022-jp.1", "name:test-archive.txt", kShownAsText},
    {"spamassassin/nice/mime4", "part-1.txt", "one base64 line followed by plain text passes as text, and is written as it stands"},
    {"spamassassin/nice/mime9", "name:NeverlandUniversity.jpg", kInsideMessage},
    {"spamassassin/spam/utf16.eml", "jhoq3.jpg|name:jhoq3.jpg|name:x9pji0tnw4sl3w.jpg|x9pji0tnw4sl3w.jpg", kEmptyBody},
    {"stalwart-mail-parser/eml/legacy/016.eml", "HasenundFrösche.txt|blueball.png", kReferenceKeepsRaw},
    {"stalwart-mail-parser/eml/malformed/017.eml", "image001.png", "the parameters lack their ';': the reference sees no multipart, the boundary is found here by its name"},
    {"stalwart-mail-parser/eml/rfc/000.eml", "part-1.txt|part-2.txt", kTextDeclaredBase64},
    {"stalwart-mail-parser/eml/rfc/002.eml", "name:map_of_Argentina.gif", kInsideMessage},
    {"stalwart-mail-parser/eml/rfc/007.eml", "part-3.txt", "closing delimiters with blanks behind them are ordinary delimiters here, so the nested levels are cut differently"},
    {"stalwart-mail-parser/eml/rfc/008.eml", "attached_email.eml", "a base64-encoded attached message is written decoded; the reference takes its encoded lines as the message"},
    {"uudeview/test/mime-xxencode.good.msg", "test.txt", kReferenceKeepsRaw},
    {"mime-tools/testin/andreas-1296.txt", "MP.fails.for.this", kInlineSegment},
    {"mime-tools/testmsgs/uu-zeegee.msg", "up.gif|zeegee.gif", kInlineSegment},
    {"mime4j/mimetools-testmsgs/sig-uu.msg", "part-2.gif|signature", kInlineSegment},
    {"mime4j/mimetools-testmsgs/sig-uu.out", "part-2.gif|signature", kInlineSegment},
    {"mime4j/mimetools-testmsgs/uu-zeegee.msg", "up.gif|zeegee.gif", kInlineSegment},
    {"mimekit/yenc/00000020.ntx", "joystick.jpg", kInlineSegment},
    {"mimekit/yenc/simple.msg", "testfile.txt", kInlineSegment},
    {"newsreap/5nl7kahf6idkev93a8qu5k9m4095nt5p2i@4ax-2.com.msg", "5nl7kahf6idkev93a8qu5k9m4095nt5p2i@4ax-2.com.msg",
     kSetOfOne},
    {"newsreap/headers.test01.msg", "headers.test01.msg", kSetOfOne},
    {"newsreap/headers.test02.msg", "headers.test02.msg", kSetOfOne},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample01.eml", "sample01.eml", kSetOfOne},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample04.eml", "sample04.eml", kSetOfOne},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample05.eml", "sample05.eml", kSetOfOne},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample06.eml", "sample06.eml", kSetOfOne},
    {"stalwart-mail-parser/eml/legacy/049.eml", "blueball.png|greenball.png|redball.png", kInlineSegment},
    {"usenet-yenc/yenc/multipart/test_1.2.ntx", "test (1.2).txt", kInlineSegment},
    {"usenet-yenc/yenc/singlepart/00000005_checksum_mismatch.ntx", "testfile.txt", kInlineSegment},
    {"usenet-yenc/yenc/singlepart/00000005_missing_checksum.ntx", "testfile.txt", kInlineSegment},
    {"usenet-yenc/yenc/singlepart/00000005_size_mismatch.ntx", "testfile.txt", kInlineSegment},
    {"uudeview/test/filename-from-subject.good.msg", "644", kInlineSegment},
    {"uudeview/test/uuencode-mac-cr.good.msg", "test.txt", kInlineSegment},
    {"uudeview/test/uuencode-suid-permissions.good.msg", "1477", kInlineSegment},
};

struct Payload {
    std::string encoding;  // as the part's header says, "-" for none
    std::string name;      // decoded file name, empty for none
    std::string bytes;
};

std::string HexToBytes(const std::string& hex) {
    std::string out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return out;
}

// Runs the reference over `mails` once; payloads by the mail's index.
std::map<size_t, std::vector<Payload>> ReferencePayloads(const std::vector<fs::path>& mails,
                                                         const fs::path& work) {
    const fs::path list = work / "mails.txt", out = work / "reference";
    {
        std::ofstream listing(list);
        for (const fs::path& mail : mails) listing << mail.string() << "\n";
    }
    const std::string command = "python3 " + std::string(MAILSIFT_SOURCE_DIR) +
                                "/tests/extract/payloads.py '" + list.string() + "' '" +
                                out.string() + "'";
    const int status = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
    std::map<size_t, std::vector<Payload>> payloads;
    std::ifstream manifest(out / "manifest.tsv");
    std::string line;
    while (std::getline(manifest, line)) {
        std::istringstream fields(line);
        std::string mail, part, encoding, name, path;
        for (std::string* field : {&mail, &part, &encoding, &name}) std::getline(fields, *field, '\t');
        std::getline(fields, path);
        payloads[std::stoul(mail)].push_back(
            {encoding, name == "-" ? "" : HexToBytes(name), path == "-" ? "" : ReadWholeFile(path)});
    }
    return payloads;
}

bool MayEndInOneMoreLine(const std::string& encoding) {
    return encoding == "-" || encoding == "7bit" || encoding == "8bit" || encoding == "binary" ||
           encoding == "quoted-printable";
}

// An attached message is written whole: a byte range of the mail itself that
// starts with a header field, where the reference saw an attached message.
bool IsAttachedMessage(const std::string& data, const std::string& mail) {
    size_t lineEnd = data.find('\n');
    size_t colon = data.find(':');
    return !data.empty() && colon != std::string::npos && colon < lineEnd &&
           mail.find(data) != std::string::npos;
}

bool MatchesSomePayload(const std::string& data, const std::vector<Payload>& payloads,
                        const std::string& mail) {
    for (const Payload& payload : payloads) {
        if (payload.encoding == "attached-message") {
            if (IsAttachedMessage(data, mail)) return true;
            continue;
        }
        if (data == payload.bytes) return true;
        if (MayEndInOneMoreLine(payload.encoding) &&
            (data == payload.bytes + "\n" || data == payload.bytes + "\r\n"))
            return true;
    }
    return false;
}

// The file written for `payload`: its safe name, or that name with a suffix.
bool WrittenUnderItsName(const Payload& payload, const std::map<std::string, std::string>& files) {
    const std::string name = SanitizeFileName(payload.name);
    const size_t dot = name.rfind('.');
    const std::string stem = dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
    const std::string extension = stem.size() == name.size() ? "" : name.substr(stem.size());
    for (const auto& [file, bytes] : files) {
        const bool named = file == name || (file.starts_with(stem + "-") && file.ends_with(extension));
        if (named && bytes == payload.bytes) return true;
    }
    return false;
}

std::vector<fs::path> CorpusFiles() {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(MAILSIFT_DATA_DIR))
        if (entry.is_regular_file() && entry.path().extension() != ".md")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    // A later copy of a file's bytes would only repeat that file's checks.
    std::set<std::string> seen;
    std::erase_if(files, [&](const fs::path& file) { return !seen.insert(ReadWholeFile(file.string())).second; });
    return files;
}

TEST(ExtractCorpus, WritesWhatAnIndependentDecoderFindsInEveryMail) {
    const std::vector<fs::path> mails = CorpusFiles();
    const fs::path work = OwnTempFolder() / "extract-corpus";
    fs::remove_all(work);
    fs::create_directories(work);
    const auto reference = ReferencePayloads(mails, work);
    ASSERT_GT(reference.size(), 700u) << "the reference parsed too few mails";

    int extracted = 0, compared = 0, named = 0;
    std::set<std::pair<std::string, std::string>> found;
    for (const auto& [index, payloads] : reference) {
        const std::string relative = fs::relative(mails[index], MAILSIFT_DATA_DIR).string();
        const fs::path out = work / std::to_string(index);
        const CliResult run = RunCli({"extract", "-o", out.string(), mails[index].string()});
        ASSERT_EQ(run.signal, 0) << relative;
        if (run.status == 1) {  // refused: no mail this filter reads, said in one line
            EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << relative << run.err;
            continue;
        }
        // 3: a sub-document could not be opened; the others are still written.
        EXPECT_TRUE(run.status == 0 || run.status == 3) << relative << "\n" << run.err;
        ++extracted;
        std::map<std::string, std::string> files;
        if (fs::exists(out))
            for (const auto& entry : fs::directory_iterator(out))
                files[entry.path().filename().string()] = ReadWholeFile(entry.path().string());
        EXPECT_EQ(static_cast<size_t>(std::count(run.out.begin(), run.out.end(), '\n')), files.size())
            << relative << ": one line per file written";

        const std::string original = ReadWholeFile(mails[index].string());
        for (const auto& [file, bytes] : files) {
            ++compared;
            if (!MatchesSomePayload(bytes, payloads, original)) found.insert({relative, file});
        }
        for (const Payload& payload : payloads) {
            if (payload.encoding != "base64" || payload.name.empty()) continue;
            ++named;
            if (!WrittenUnderItsName(payload, files)) found.insert({relative, "name:" + payload.name});
        }
        fs::remove_all(out);
    }
    EXPECT_GT(extracted, 600);
    EXPECT_GT(compared, 350);
    EXPECT_GT(named, 250);
    std::set<std::pair<std::string, std::string>> listed;
    for (const Difference& difference : kDifferences) {
        std::istringstream parts(difference.parts);
        for (std::string part; std::getline(parts, part, '|');) listed.insert({difference.mail, part});
    }
    for (const auto& [mail, part] : found)
        EXPECT_TRUE(listed.count({mail, part})) << mail << ": " << part << " differs from the reference";
    for (const auto& [mail, part] : listed)
        EXPECT_TRUE(found.count({mail, part})) << mail << ": " << part << " now agrees: take it off the list";
    fs::remove_all(work);
}

}  // namespace
