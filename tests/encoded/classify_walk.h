// classify_walk.h - walks a message and classifies each leaf the way section
// planning does, answering the two fields of every part.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

#include "encoded/encoded.h"
#include "filter/frame.h"
#include "message/message.h"

namespace encoded_test {

struct Classified {
    uint32_t formatId;
    uint32_t transferCode;
    bool operator==(const Classified&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Classified& c) {
    return out << "{" << c.formatId << ", " << c.transferCode << "}";
}

// formatId and transferCode of every part of the message in `stream`, a
// multipart keeping {0, 0}; `edit` may change a part before it is classified.
inline std::vector<Classified> ClassifyWalked(IoObject* stream, TextBuffer* line, uint32_t documentFormat,
                                              void (*edit)(MessagePart*) = nullptr) {
    ByteReader* reader = ReaderOpen(stream);
    PartList* parts = ListCreate(0, 0, sizeof(MessagePart), 4, 4);
    EXPECT_EQ(WalkMessage(reader, nullptr, parts, 0, line), 0);
    ReaderClose(reader);
    std::vector<Classified> out;
    for (uint16_t i = 0; i < ListCount(parts); ++i) {
        MessagePart* part = ListAt<MessagePart>(parts, i);
        if (edit) edit(part);
        if (!part->isMultipart) ClassifyPart(stream, part, line, documentFormat);
        out.push_back({part->formatId, part->transferCode});
    }
    PartsDestroy(parts);
    return out;
}

}  // namespace encoded_test
