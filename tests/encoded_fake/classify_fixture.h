// classify_fixture.h - walks a message over the fake stream and classifies
// each leaf the way section planning does, under the scripted service.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoded/encoded.h"
#include "filter/frame.h"
#include "host/constants.h"
#include "message/message.h"
#include "tests/encoded_fake/fake_services.h"

namespace encoded_test {

struct Classified {
    uint32_t formatId;
    uint32_t transferCode;
    bool operator==(const Classified&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Classified& c) {
    return out << "{" << c.formatId << ", " << c.transferCode << "}";
}

class ClassifyTest : public ::testing::Test {
protected:
    void SetUp() override {
        fake::ResetService();
        log = std::make_shared<fake::StreamLog>();
        TextBufferAlloc(&line, 1024);
    }
    void TearDown() override {
        // Every object the classifier opened was closed, and the service
        // was always asked in mode 1.
        EXPECT_EQ(log->alive, 0);
        for (uint32_t mode : fake::Service().handleModes) EXPECT_EQ(mode, 1u);
        StringFree(line.block);
    }

    // The formatId and transferCode of every part of `message`, a multipart
    // keeping {0, 0}; `edit` may change a part before it is classified.
    std::vector<Classified> Classify(const std::string& message, uint32_t documentFormat = FI_INTERNET_MAIL,
                                     void (*edit)(MessagePart*) = nullptr) {
        IoObject* stream = fake::FakeStreamOpen(message, log);
        ByteReader* reader = ReaderOpen(stream);
        PartList* parts = ListCreate(0, 0, sizeof(MessagePart), 4, 4);
        EXPECT_EQ(WalkMessage(reader, nullptr, parts, 0, &line), 0);
        ReaderClose(reader);
        std::vector<Classified> out;
        for (uint16_t i = 0; i < ListCount(parts); ++i) {
            MessagePart* part = ListAt<MessagePart>(parts, i);
            if (edit) edit(part);
            if (!part->isMultipart) ClassifyPart(stream, part, &line, documentFormat);
            out.push_back({part->formatId, part->transferCode});
        }
        PartsDestroy(parts);
        stream->Close(stream);
        return out;
    }

    // The one part of a message without multipart.
    Classified ClassifyOne(const std::string& message, uint32_t documentFormat = FI_INTERNET_MAIL,
                           void (*edit)(MessagePart*) = nullptr) {
        std::vector<Classified> all = Classify(message, documentFormat, edit);
        EXPECT_EQ(all.size(), 1u);
        return all.empty() ? Classified{0, 0} : all[0];
    }

    std::shared_ptr<fake::StreamLog> log;
    TextBuffer line{};
};

}  // namespace encoded_test
