// The attachment body object, made through VwDoSpecial request 0 from
// AttachRecords placed in an open document's list: the Opens it makes, what
// it reads, its seeks and tells, its GetInfo answers, its dead state and its
// Close.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <tuple>

#include "core/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/subdoc/stage_host.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

namespace {

const std::string kHead = "Subject: files\r\n\r\n";
const std::string kBody = "Hello attachment, raw bytes 0123456789.\r\n";
const std::string kTail = "--end--\r\n";
const std::string kDocument = kHead + kBody + kTail;
const uint32_t kBodyOffset = static_cast<uint32_t>(kHead.size());
const uint32_t kBodyLength = static_cast<uint32_t>(kBody.size());

constexpr uint32_t kOuterCode = TC_BASE64;  // only passed on; the stage host decodes hex
constexpr uint32_t kInnerCode = TC_UUENCODE;

AttachRecord Record(uint32_t offset, uint32_t length, uint32_t transferCode = 0, uint32_t innerTransfer = 0,
                    uint32_t innerOffset = 0, uint32_t innerLength = 0) {
    AttachRecord record{};
    record.offset = offset;
    record.length = length;
    record.transferCode = transferCode;
    record.innerTransfer = innerTransfer;
    record.innerOffset = innerOffset;
    record.innerLength = innerLength;
    return record;
}

class AttachmentObject : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(session_.Open(mail_.get(), FI_INTERNET_MAIL), 0);
        ASSERT_NE(session_.proc()->attachments, nullptr);
    }

    // Adds a record (with an owned copy of `name`) and answers its index.
    uint32_t Add(AttachRecord record, const char* name = nullptr) {
        if (name) record.name = StringDup(static_cast<uint32_t>(std::strlen(name)), &record.nameBlock, name);
        return static_cast<uint32_t>(ListAdd(session_.proc()->attachments, &record));
    }

    IoObject* Request(IoObject* stream, uint32_t index, int16_t* code = nullptr) {
        IoObject* object = nullptr;
        const int16_t result = VwDoSpecial(stream, 0, &object, index, 0, 0, session_.proc());
        if (code) *code = result;
        return object;
    }

    RecordingHost host_;
    MemoryObject mail_{"Subject: x\r\n\r\nbody\r\n"};
    FilterSession session_{host_};
};

TEST_F(AttachmentObject, RawAttachmentReadsItsRangeSeeksAndTells) {
    StageHost stage(kDocument);
    const size_t callsBefore = host_.Calls().size();
    int16_t code = 1;
    IoObject* object = Request(stage.document(), Add(Record(kBodyOffset, kBodyLength)), &code);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(host_.Calls().size(), callsBefore) << "no host routine is called";

    // One Open: the range of the document, marked 9, last offset inclusive.
    ASSERT_EQ(Stages().opens.size(), 1u);
    const OpenRequest r = Stages().opens[0];
    EXPECT_EQ((std::array{r.kind, r.base, r.first, r.second, r.flags}),
              (std::array{8u, 1u, kBodyOffset, kBodyOffset + kBodyLength - 1, 9u}));
    EXPECT_EQ(object->Write, nullptr);
    EXPECT_EQ(object->Open, stage.document()->Open);

    EXPECT_EQ(TellOf(object), kBodyLength) << "a raw attachment stands at its end";
    EXPECT_EQ(ReadRest(object), "");
    EXPECT_EQ(NameOf(object), "mimeattachbody.tmp");
    EXPECT_EQ(NameOf(object, 6), "mimeattachbody.tmp");
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    EXPECT_EQ(ReadRest(object, 7), kBody);

    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    std::string buffer(65535, '\0');
    uint32_t got = 0;
    ASSERT_EQ(object->Read(object, buffer.data(), 65535, &got), 0);
    EXPECT_EQ(buffer.substr(0, got), kBody) << "the largest count a host asks for, in one call";

    // A whence outside 0..2 does nothing and succeeds.
    const struct { uint16_t whence; int32_t offset; uint32_t tell; } seeks[] = {
        {0, 6, 6}, {1, 4, 10}, {1, -3, 7}, {2, -4, kBodyLength - 4}, {0, 3, 3}, {3, 20, 3}, {0xFFFF, -1, 3}};
    for (const auto& seek : seeks) {
        EXPECT_EQ(object->Seek(object, seek.whence, seek.offset), 0) << seek.whence << " " << seek.offset;
        EXPECT_EQ(TellOf(object), seek.tell) << seek.whence << " " << seek.offset;
    }
    EXPECT_EQ(ReadRest(object), kBody.substr(3));
    object->Close(object);
    EXPECT_EQ(Stages().closed, std::vector<uint32_t>{2});
    EXPECT_EQ(Stages().live, 0u);
}

// The object keeps its name after VwStreamClose has freed the records.
TEST_F(AttachmentObject, GetInfoAnswersAndTheRecordsName) {
    StageHost stage(kDocument);
    IoObject* object = Request(stage.document(), Add(Record(kBodyOffset, kBodyLength), "report.txt"));
    const std::string longName(600, 'n');
    IoObject* longObject = Request(stage.document(), Add(Record(kBodyOffset, kBodyLength), longName.c_str()));
    ASSERT_NE(object, nullptr);
    ASSERT_NE(longObject, nullptr);
    session_.Close();

    EXPECT_EQ(NameOf(object), "report.txt");
    EXPECT_EQ(NameOf(object, 6), "report.txt");
    uint32_t kind = 0;
    EXPECT_EQ(object->GetInfo(object, 14, &kind), 0);
    EXPECT_EQ(kind, 2u);
    uint32_t untouched = 0x5A5A5A5A;
    EXPECT_EQ(object->GetInfo(object, 15, &untouched), 0);
    for (uint32_t what : {0u, 1u, 2u, 5u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 16u, 0xFFFFFFFFu}) {
        EXPECT_EQ(object->GetInfo(object, what, &untouched), -10) << "what " << what;
    }
    EXPECT_EQ(untouched, 0x5A5A5A5Au);
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    EXPECT_EQ(ReadRest(object), kBody);
    object->Close(object);

    // A name longer than the 513-byte buffer is cut to 512 bytes and its NUL.
    std::string buffer(600, '\x7F');
    ASSERT_EQ(longObject->GetInfo(longObject, 3, buffer.data()), 0);
    EXPECT_EQ(std::strlen(buffer.c_str()), 512u);
    EXPECT_EQ(buffer[513], '\x7F') << "nothing written past the 513 bytes";
    longObject->Close(longObject);
}

// To the end of the document, and length 0: a last offset one before the
// first, nothing to read.
TEST_F(AttachmentObject, RangesToTheEndAndEmptyRanges) {
    StageHost stage(kDocument);
    for (const auto& [length, last, content] : {std::tuple{0xFFFFFFFEu, 0xFFFFFFFEu, kBody + kTail},
                                                std::tuple{0u, kBodyOffset - 1, std::string()}}) {
        IoObject* object = Request(stage.document(), Add(Record(kBodyOffset, length)));
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(Stages().opens.back().second, last);
        ASSERT_EQ(object->Seek(object, 0, 0), 0);
        EXPECT_EQ(ReadRest(object), content);
        object->Close(object);
    }
}

// Every stage opens on the one before it; the object starts at the beginning
// of the innermost data and closes the stages innermost first.
TEST_F(AttachmentObject, StagesChainAndTheInnermostIsRead) {
    const std::string payload = "decoded payload \x01\x02\xFF";
    const std::string prefix = "TNEF-ish header ";
    const std::string nested = prefix + HexOf("inner file") + " trailer";
    const std::string sliced = "skip these|the wanted slice|and the rest";
    const uint32_t innerAt = static_cast<uint32_t>(prefix.size());
    const uint32_t innerLength = static_cast<uint32_t>(HexOf("inner file").size());
    using Stage = std::array<uint32_t, 4>;  // kind, first, second, flags
    const struct {
        std::string encoded;
        uint32_t innerTransfer, innerOffset, innerLength;
        const char* name;
        std::vector<Stage> opens;
        std::string content, shownName;
    } cases[] = {
        {HexOf(payload), 0, 0, 0, nullptr,
         {{8, kBodyOffset, kBodyOffset + 2 * uint32_t(payload.size()) - 1, 9}, {19, 0, kOuterCode, 1}},
         payload, "tnefbody.tmp"},
        {HexOf(nested), kInnerCode, innerAt, innerLength, "inner.bin",
         {{8, kBodyOffset, 0xFFFFFFFE, 9}, {19, 0, kOuterCode, 1},
          {8, innerAt, innerAt + innerLength - 1, 1}, {19, 0, kInnerCode, 9}},
         "inner file", "inner.bin"},
        // Without a second decoding the range that ends the chain is marked.
        {HexOf(sliced), 0, 11, 16, nullptr,
         {{8, kBodyOffset, 0xFFFFFFFE, 9}, {19, 0, kOuterCode, 1}, {8, 11, 26, 9}},
         "the wanted slice", "tnefbody.tmp"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        StageHost stage(kHead + c.encoded);
        const uint32_t length = c.innerLength ? 0xFFFFFFFE : uint32_t(c.encoded.size());
        IoObject* object = Request(stage.document(), Add(Record(kBodyOffset, length, kOuterCode, c.innerTransfer,
                                                                c.innerOffset, c.innerLength), c.name));
        ASSERT_NE(object, nullptr);

        const std::vector<OpenRequest> opens = Stages().opens;
        ASSERT_EQ(opens.size(), c.opens.size());
        std::vector<uint32_t> innermostFirst;
        for (size_t i = 0; i < opens.size(); ++i) {
            EXPECT_EQ(opens[i].base, i == 0 ? 1u : opens[i - 1].label) << "open " << i;
            EXPECT_EQ((std::array{opens[i].kind, opens[i].first, opens[i].second, opens[i].flags}), c.opens[i])
                << "open " << i;
            innermostFirst.insert(innermostFirst.begin(), opens[i].label);
        }
        EXPECT_EQ(TellOf(object), 0u);
        EXPECT_EQ(ReadRest(object, 5), c.content);
        EXPECT_EQ(NameOf(object), c.shownName);
        object->Close(object);
        EXPECT_EQ(Stages().closed, innermostFirst);
    }
}

TEST_F(AttachmentObject, DeadObjectWhenTheRangeFails) {
    for (bool leaveObject : {false, true}) {
        StageHost stage(kDocument, StageFailure{1, leaveObject});
        int16_t code = 1;
        IoObject* object = Request(stage.document(), Add(Record(kBodyOffset, kBodyLength)), &code);
        ASSERT_NE(object, nullptr) << "the host gets the object all the same";
        EXPECT_EQ(code, 0);
        EXPECT_EQ(Stages().live, 0u) << "what a failed Open left is closed";
        char buf[16];
        uint32_t got = 77;
        EXPECT_EQ(object->Read(object, buf, sizeof buf, &got), -4);
        EXPECT_EQ(got, 0u);
        EXPECT_EQ(object->Seek(object, 0, 0), -4);
        EXPECT_EQ(object->Seek(object, 9, 0), -4);
        uint32_t pos = 0;
        EXPECT_EQ(object->Tell(object, &pos), -4);
        EXPECT_EQ(NameOf(object), "");
        EXPECT_EQ(object->GetInfo(object, 4, nullptr), -10);
        const size_t closesBefore = Stages().closed.size();
        object->Close(object);
        EXPECT_EQ(Stages().closed.size(), closesBefore) << "a dead object closes no stream";
    }
}

// A failed decoding leaves the object reading the encoded range without a
// name; a failed inner stage leaves it reading the same, with its name. What
// a failing Open left in the out-pointer is closed at once.
TEST_F(AttachmentObject, FailedStagesFallBackToTheEncodedRange) {
    const std::string encoded = HexOf("head " + HexOf("inner") + " tail");
    // Opens: 1 outer range, 2 outer decoding, 3 inner range, 4 inner decoding.
    for (uint32_t failAt : {2u, 3u, 4u}) {
        StageHost stage(kHead + encoded, StageFailure{failAt, true});
        IoObject* object =
            Request(stage.document(), Add(Record(kBodyOffset, 0xFFFFFFFE, kOuterCode, kInnerCode, 5, 10), "kept.name"));
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(Stages().live, failAt - 1) << "failing at open " << failAt;
        EXPECT_EQ(NameOf(object), failAt == 2 ? "" : "kept.name");
        ASSERT_EQ(object->Seek(object, 0, 0), 0);
        EXPECT_EQ(ReadRest(object), encoded);
        object->Close(object);
        EXPECT_EQ(Stages().live, 0u);
    }
}

TEST_F(AttachmentObject, SignatureCheck) {
    const std::string compound = std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + "rest";
    StageHost stage(kHead + compound + "|" + compound.substr(0, 7) + "|" +
                    "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE0 near miss");
    const uint32_t shortAt = kBodyOffset + static_cast<uint32_t>(compound.size()) + 1;

    // A raw attachment stands at its end; the check seeks for itself and
    // puts the position back.
    IoObject* object = Request(stage.document(), Add(Record(kBodyOffset, uint32_t(compound.size()))));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->GetInfo(object, 4, nullptr), 0);
    EXPECT_EQ(TellOf(object), compound.size());
    ASSERT_EQ(object->Seek(object, 0, 3), 0);
    EXPECT_EQ(object->GetInfo(object, 4, nullptr), 0);
    EXPECT_EQ(TellOf(object), 3u);
    object->Close(object);

    // Seven bytes of the signature, and eight with the last one wrong.
    for (AttachRecord record : {Record(shortAt, 7), Record(shortAt + 8, 0xFFFFFFFE)}) {
        IoObject* other = Request(stage.document(), Add(record));
        ASSERT_NE(other, nullptr);
        EXPECT_EQ(other->GetInfo(other, 4, nullptr), -10) << "at " << record.offset;
        other->Close(other);
    }
}

}  // namespace
