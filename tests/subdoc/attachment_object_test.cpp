// The attachment body object, made through VwDoSpecial request 0 from
// AttachRecords placed in an open document's list: the Opens it makes, what
// it reads, its seeks and tells, its GetInfo answers, its dead state and its
// Close.
#include <gtest/gtest.h>

#include <cstring>

#include "filter/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/subdoc/stage_host.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

namespace {

IoObject* const kPreset = reinterpret_cast<IoObject*>(~uintptr_t{0});
constexpr size_t kNameBuffer = 513;  // what a host gives GetInfo 3 on the filter's objects

// A document with an attachment body at a known place.
const std::string kHead = "Subject: files\r\n\r\n";
const std::string kBody = "Hello attachment, raw bytes 0123456789.\r\n";
const std::string kTail = "--end--\r\n";
const std::string kDocument = kHead + kBody + kTail;
const uint32_t kBodyOffset = static_cast<uint32_t>(kHead.size());
const uint32_t kBodyLength = static_cast<uint32_t>(kBody.size());

constexpr uint32_t kOuterCode = TC_BASE64;  // only passed on; the stage host decodes hex
constexpr uint32_t kInnerCode = TC_UUENCODE;

AttachRecord Record(uint32_t offset, uint32_t length, uint32_t transferCode = 0) {
    AttachRecord record{};
    record.offset = offset;
    record.length = length;
    record.transferCode = transferCode;
    return record;
}

std::string NameOf(IoObject* object, uint32_t what = 3) {
    char name[kNameBuffer] = {};
    if (object->GetInfo(object, what, name) != 0) return "<refused>";
    return name;
}

uint32_t TellOf(IoObject* object) {
    uint32_t pos = 0xDEAD;
    EXPECT_EQ(object->Tell(object, &pos), 0);
    return pos;
}

class AttachmentObject : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(session_.proc(), nullptr);
        ASSERT_EQ(session_.Open(mail_.get(), FI_INTERNET_MAIL), 0);
        ASSERT_NE(session_.proc()->attachments, nullptr);
    }

    // Adds a record (with an owned copy of `name`) and answers its index.
    uint32_t Add(AttachRecord record, const char* name = nullptr) {
        if (name) record.name = StringDup(static_cast<uint32_t>(std::strlen(name)),
                                          &record.nameBlock, name);
        return static_cast<uint32_t>(ListAdd(session_.proc()->attachments, &record));
    }

    IoObject* Request(IoObject* stream, uint32_t a, uint32_t b, int16_t* code = nullptr) {
        IoObject* object = nullptr;
        int16_t result = VwDoSpecial(stream, a, &object, b, 0, 0, session_.proc());
        if (code) *code = result;
        return object;
    }

    RecordingHost host_;
    MemoryObject mail_{"Subject: x\r\n\r\nbody\r\n"};
    FilterSession session_{host_};
};

TEST_F(AttachmentObject, RawAttachmentReadsItsRangeAndStartsAtTheEnd) {
    StageHost stage(kDocument);
    const uint32_t index = Add(Record(kBodyOffset, kBodyLength));
    const size_t callsBefore = host_.Calls().size();
    int16_t code = 1;
    IoObject* object = Request(stage.document(), 0, index, &code);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(host_.Calls().size(), callsBefore) << "no host routine is called";

    // One Open: the range of the document, marked 9, last offset inclusive.
    const auto opens = StageHost::Opens();
    ASSERT_EQ(opens.size(), 1u);
    EXPECT_EQ(opens[0].openKind, 8u);
    EXPECT_EQ(opens[0].base, 1u);
    EXPECT_EQ(opens[0].first, kBodyOffset);
    EXPECT_EQ(opens[0].second, kBodyOffset + kBodyLength - 1);
    EXPECT_EQ(opens[0].flags, 9u);

    // The object's shape: Write null, Open the document's.
    EXPECT_EQ(object->Write, nullptr);
    EXPECT_EQ(object->Open, stage.document()->Open);

    EXPECT_EQ(TellOf(object), kBodyLength) << "a raw attachment stands at its end";
    EXPECT_EQ(ReadRest(object), "");
    EXPECT_EQ(NameOf(object), "mimeattachbody.tmp");
    EXPECT_EQ(NameOf(object, 6), "mimeattachbody.tmp");

    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    EXPECT_EQ(ReadRest(object, 7), kBody);
    object->Close(object);
    EXPECT_EQ(StageHost::Closed(), std::vector<uint32_t>{2});
    EXPECT_EQ(StageHost::LiveObjects(), 0u);
}

TEST_F(AttachmentObject, SeeksTellsAndAReadOfTheLargestCount) {
    StageHost stage(kDocument);
    IoObject* object = Request(stage.document(), 0, Add(Record(kBodyOffset, kBodyLength)));
    ASSERT_NE(object, nullptr);

    // The largest count a host asks for at once: the whole body in one call.
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    std::string buffer(65535, '\0');
    uint32_t got = 0xFFFFFFFF;
    ASSERT_EQ(object->Read(object, buffer.data(), 65535, &got), 0);
    ASSERT_EQ(got, kBodyLength);
    EXPECT_EQ(buffer.substr(0, got), kBody);

    ASSERT_EQ(object->Seek(object, 0, 6), 0);
    EXPECT_EQ(TellOf(object), 6u);
    ASSERT_EQ(object->Seek(object, 1, 4), 0);
    EXPECT_EQ(TellOf(object), 10u);
    ASSERT_EQ(object->Seek(object, 1, -3), 0);
    EXPECT_EQ(TellOf(object), 7u);
    ASSERT_EQ(object->Seek(object, 2, -4), 0);
    EXPECT_EQ(TellOf(object), kBodyLength - 4);
    EXPECT_EQ(ReadRest(object), kBody.substr(kBodyLength - 4));

    // A whence outside 0..2 does nothing and succeeds.
    ASSERT_EQ(object->Seek(object, 0, 3), 0);
    EXPECT_EQ(object->Seek(object, 3, 20), 0);
    EXPECT_EQ(object->Seek(object, 0xFFFF, -1), 0);
    EXPECT_EQ(TellOf(object), 3u);
    object->Close(object);
}

TEST_F(AttachmentObject, GetInfoAnswersAndTheRecordsName) {
    StageHost stage(kDocument);
    const uint32_t named = Add(Record(kBodyOffset, kBodyLength), "report.txt");
    const std::string longName(600, 'n');
    const uint32_t longNamed = Add(Record(kBodyOffset, kBodyLength), longName.c_str());

    IoObject* object = Request(stage.document(), 0, named);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(NameOf(object), "report.txt");
    EXPECT_EQ(NameOf(object, 6), "report.txt");
    uint32_t kind = 0;
    EXPECT_EQ(object->GetInfo(object, 14, &kind), 0);
    EXPECT_EQ(kind, 2u);
    uint32_t untouched = 0x5A5A5A5A;
    EXPECT_EQ(object->GetInfo(object, 15, &untouched), 0);
    EXPECT_EQ(untouched, 0x5A5A5A5Au);
    for (uint32_t what : {0u, 1u, 2u, 5u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 16u, 0xFFFFFFFFu}) {
        EXPECT_EQ(object->GetInfo(object, what, &untouched), -10) << "what " << what;
    }
    EXPECT_EQ(untouched, 0x5A5A5A5Au);
    object->Close(object);

    // A name longer than the 513-byte buffer is cut to 512 bytes and its NUL.
    IoObject* longObject = Request(stage.document(), 0, longNamed);
    ASSERT_NE(longObject, nullptr);
    std::string buffer(600, '\x7F');
    ASSERT_EQ(longObject->GetInfo(longObject, 3, buffer.data()), 0);
    EXPECT_EQ(std::strlen(buffer.c_str()), 512u);
    EXPECT_EQ(buffer[513], '\x7F') << "nothing written past the 513 bytes";
    longObject->Close(longObject);
}

TEST_F(AttachmentObject, RangesToTheEndAndEmptyRanges) {
    StageHost stage(kDocument);
    IoObject* toEnd = Request(stage.document(), 0, Add(Record(kBodyOffset, 0xFFFFFFFE)));
    ASSERT_NE(toEnd, nullptr);
    EXPECT_EQ(StageHost::Opens().back().second, 0xFFFFFFFEu);
    ASSERT_EQ(toEnd->Seek(toEnd, 0, 0), 0);
    EXPECT_EQ(ReadRest(toEnd), kBody + kTail);
    toEnd->Close(toEnd);

    // Length 0 asks for a last offset one before the first: nothing to read.
    IoObject* empty = Request(stage.document(), 0, Add(Record(kBodyOffset, 0)));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(StageHost::Opens().back().second, kBodyOffset - 1);
    ASSERT_EQ(empty->Seek(empty, 0, 0), 0);
    EXPECT_EQ(ReadRest(empty), "");
    empty->Close(empty);
}

TEST_F(AttachmentObject, DecodedAttachmentStartsAtItsBeginning) {
    const std::string payload = "decoded payload \x01\x02\xFF";
    const std::string document = kHead + HexOf(payload) + "\r\n";
    StageHost stage(document);
    const uint32_t length = static_cast<uint32_t>(document.size()) - kBodyOffset;
    IoObject* object = Request(stage.document(), 0, Add(Record(kBodyOffset, length, kOuterCode)));
    ASSERT_NE(object, nullptr);

    const auto opens = StageHost::Opens();
    ASSERT_EQ(opens.size(), 2u);
    EXPECT_EQ(opens[0].openKind, 8u);
    EXPECT_EQ(opens[0].flags, 9u);
    EXPECT_EQ(opens[1].openKind, 19u);
    EXPECT_EQ(opens[1].base, opens[0].label) << "the decoding reads the range";
    EXPECT_EQ(opens[1].first, 0u);
    EXPECT_EQ(opens[1].second, kOuterCode);
    EXPECT_EQ(opens[1].flags, 1u);

    EXPECT_EQ(TellOf(object), 0u);
    EXPECT_EQ(ReadRest(object, 5), payload);
    EXPECT_EQ(NameOf(object), "tnefbody.tmp") << "every unnamed encoded attachment";
    object->Close(object);
    EXPECT_EQ(StageHost::Closed(), (std::vector<uint32_t>{opens[1].label, opens[0].label}));
}

TEST_F(AttachmentObject, InnerStagesInsideDecodedData) {
    // Outer data: hex of (prefix, hex of the inner payload, suffix).
    const std::string payload = "inner file";
    const std::string prefix = "TNEF-ish header ";
    const std::string outer = prefix + HexOf(payload) + " trailer";
    const std::string document = kHead + HexOf(outer);
    StageHost stage(document);
    AttachRecord record = Record(kBodyOffset, 0xFFFFFFFE, kOuterCode);
    record.innerTransfer = kInnerCode;
    record.innerOffset = static_cast<uint32_t>(prefix.size());
    record.innerLength = static_cast<uint32_t>(HexOf(payload).size());
    IoObject* object = Request(stage.document(), 0, Add(record, "inner.bin"));
    ASSERT_NE(object, nullptr);

    const auto opens = StageHost::Opens();
    ASSERT_EQ(opens.size(), 4u);
    EXPECT_EQ(opens[2].openKind, 8u);
    EXPECT_EQ(opens[2].base, opens[1].label) << "the inner range lies in the decoded data";
    EXPECT_EQ(opens[2].first, record.innerOffset);
    EXPECT_EQ(opens[2].second, record.innerOffset + record.innerLength - 1);
    EXPECT_EQ(opens[2].flags, 1u);
    EXPECT_EQ(opens[3].openKind, 19u);
    EXPECT_EQ(opens[3].base, opens[2].label);
    EXPECT_EQ(opens[3].second, kInnerCode);
    EXPECT_EQ(opens[3].flags, 9u);

    EXPECT_EQ(TellOf(object), 0u);
    EXPECT_EQ(ReadRest(object), payload);
    EXPECT_EQ(NameOf(object), "inner.bin");
    object->Close(object);
    EXPECT_EQ(StageHost::Closed(), (std::vector<uint32_t>{opens[3].label, opens[2].label,
                                                         opens[1].label, opens[0].label}));
}

TEST_F(AttachmentObject, InnerRangeWithoutSecondDecoding) {
    const std::string outer = "skip these|the wanted slice|and the rest";
    StageHost stage(kHead + HexOf(outer));
    AttachRecord record = Record(kBodyOffset, 0xFFFFFFFE, kOuterCode);
    record.innerOffset = 11;
    record.innerLength = 16;
    IoObject* object = Request(stage.document(), 0, Add(record));
    ASSERT_NE(object, nullptr);
    const auto opens = StageHost::Opens();
    ASSERT_EQ(opens.size(), 3u);
    EXPECT_EQ(opens[2].openKind, 8u);
    EXPECT_EQ(opens[2].base, opens[1].label);
    EXPECT_EQ(opens[2].flags, 9u) << "the range that ends the chain is marked";
    EXPECT_EQ(TellOf(object), 0u);
    EXPECT_EQ(ReadRest(object), "the wanted slice");
    object->Close(object);
    EXPECT_EQ(StageHost::LiveObjects(), 0u);
}

TEST_F(AttachmentObject, DeadObjectWhenTheRangeFails) {
    for (bool leaveObject : {false, true}) {
        StageHost stage(kDocument, StageFailure{1, leaveObject});
        int16_t code = 1;
        IoObject* object = Request(stage.document(), 0, Add(Record(kBodyOffset, kBodyLength)),
                                   &code);
        ASSERT_NE(object, nullptr) << "the host gets the object all the same";
        EXPECT_EQ(code, 0);
        EXPECT_EQ(StageHost::LiveObjects(), 0u) << "what a failed Open left is closed";
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
        const size_t closesBefore = StageHost::Closed().size();
        object->Close(object);
        EXPECT_EQ(StageHost::Closed().size(), closesBefore) << "a dead object closes no stream";
    }
}

// A failed decoding leaves the object reading the encoded range without a
// name; a failed inner stage leaves it reading the same, with its name. What
// a failing Open left in the out-pointer is closed at once.
TEST_F(AttachmentObject, FailedStagesFallBackToTheEncodedRange) {
    const std::string outer = "head " + HexOf("inner") + " tail";
    const std::string encoded = HexOf(outer);
    // Opens: 1 outer range, 2 outer decoding, 3 inner range, 4 inner decoding.
    for (uint32_t failAt : {2u, 3u, 4u}) {
        StageHost stage(kHead + encoded, StageFailure{failAt, true});
        AttachRecord record = Record(kBodyOffset, 0xFFFFFFFE, kOuterCode);
        record.innerTransfer = kInnerCode;
        record.innerOffset = 5;
        record.innerLength = 10;
        IoObject* object = Request(stage.document(), 0, Add(record, "kept.name"));
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(StageHost::LiveObjects(), failAt - 1) << "failing at open " << failAt;
        EXPECT_EQ(NameOf(object), failAt == 2 ? "" : "kept.name");
        ASSERT_EQ(object->Seek(object, 0, 0), 0);
        EXPECT_EQ(ReadRest(object), encoded);
        object->Close(object);
        EXPECT_EQ(StageHost::LiveObjects(), 0u);
    }
}

TEST_F(AttachmentObject, SignatureCheck) {
    const std::string compound = std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + "rest";
    StageHost stage(kHead + compound + "|" + compound.substr(0, 7) + "|" +
                    "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE0 near miss");
    const uint32_t first = kBodyOffset;
    const uint32_t shortAt = first + static_cast<uint32_t>(compound.size()) + 1;

    // A raw attachment stands at its end; the check seeks for itself and
    // puts the position back.
    IoObject* object = Request(stage.document(), 0,
                               Add(Record(first, static_cast<uint32_t>(compound.size()))));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->GetInfo(object, 4, nullptr), 0);
    EXPECT_EQ(TellOf(object), compound.size());
    ASSERT_EQ(object->Seek(object, 0, 3), 0);
    EXPECT_EQ(object->GetInfo(object, 4, nullptr), 0);
    EXPECT_EQ(TellOf(object), 3u);
    object->Close(object);

    // Seven bytes of the signature, and eight with the last one wrong.
    for (AttachRecord record : {Record(shortAt, 7), Record(shortAt + 8, 0xFFFFFFFE)}) {
        IoObject* other = Request(stage.document(), 0, Add(record));
        ASSERT_NE(other, nullptr);
        EXPECT_EQ(other->GetInfo(other, 4, nullptr), -10) << "at " << record.offset;
        other->Close(other);
    }
}

TEST_F(AttachmentObject, NothingForAnIndexOutsideTheList) {
    StageHost stage(kDocument);
    Add(Record(kBodyOffset, kBodyLength));
    const uint32_t count = ListCount(session_.proc()->attachments);
    const size_t callsBefore = host_.Calls().size();
    for (uint32_t index : {count, count + 1, 0x10000u, 0xFFFFFFFFu}) {
        IoObject* object = kPreset;
        EXPECT_EQ(VwDoSpecial(stage.document(), 0, &object, index, 0, 0, session_.proc()), -2);
        EXPECT_EQ(object, kPreset) << "index " << index;
    }
    EXPECT_TRUE(StageHost::Opens().empty());
    EXPECT_EQ(host_.Calls().size(), callsBefore);
}

TEST_F(AttachmentObject, ObjectOutlivesTheDocument) {
    StageHost stage(kDocument);
    IoObject* object = Request(stage.document(), 0, Add(Record(kBodyOffset, kBodyLength), "x.txt"));
    ASSERT_NE(object, nullptr);
    session_.Close();  // VwStreamClose frees the records and their names
    EXPECT_EQ(NameOf(object), "x.txt");
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    EXPECT_EQ(ReadRest(object), kBody);
    object->Close(object);
}

}  // namespace
