// classify_fixture.h - classifies the parts of a message over the fake stream,
// under the scripted service, and checks that nothing was left open.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/constants.h"
#include "tests/encoded/classify_walk.h"
#include "tests/encoded_fake/fake_services.h"

namespace encoded_test {

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

    std::vector<Classified> Classify(const std::string& message, uint32_t documentFormat = FI_INTERNET_MAIL,
                                     void (*edit)(MessagePart*) = nullptr) {
        IoObject* stream = fake::FakeStreamOpen(message, log);
        std::vector<Classified> out = ClassifyWalked(stream, &line, documentFormat, edit);
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
