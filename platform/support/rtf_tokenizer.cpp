#include "platform/support/rtf_tokenizer.h"

#include <algorithm>

namespace {

// Beyond this a parameter stops growing: RTF numbers are 16 or 32 bits, and
// a run of digits in junk must not overflow.
constexpr int64_t kParamLimit = int64_t{1} << 31;

bool IsLetter(uint8_t byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }
bool IsDigit(uint8_t byte) { return byte >= '0' && byte <= '9'; }

int HexValue(uint8_t byte) {
    if (IsDigit(byte)) return byte - '0';
    if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
    if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
    return -1;
}

}  // namespace

void RtfTokenizer::Feed(const uint8_t* bytes, size_t length) {
    size_t i = 0;
    while (i < length) {
        if (state_ == State::Binary) {
            const uint32_t take = static_cast<uint32_t>(std::min<size_t>(binaryLeft_, length - i));
            binaryLeft_ -= take;
            position_ += take;
            i += take;
            if (binaryLeft_ == 0) {
                state_ = State::Text;
                sink_.Binary(binaryStart_, binaryLength_);
            }
            continue;
        }
        // A byte that only ended a token is looked at again, in the state
        // the end left behind (Text, or Binary when it is the first data byte).
        if (Step(bytes[i])) {
            ++position_;
            ++i;
        }
    }
}

void RtfTokenizer::Finish() {
    if (state_ == State::Word || state_ == State::Param) EndWord();
    state_ = State::Text;
}

bool RtfTokenizer::Step(uint8_t byte) {
    switch (state_) {
        case State::Text: StepText(byte); return true;
        case State::Escape: StepEscape(byte); return true;
        case State::Word: return StepWord(byte);
        case State::Param: return StepParam(byte);
        case State::Hex: return StepHex(byte);
        case State::Binary: return false;  // Feed takes binary bytes itself
    }
    return true;
}

void RtfTokenizer::StepText(uint8_t byte) {
    switch (byte) {
        case '{': sink_.GroupOpen(); break;
        case '}': sink_.GroupClose(); break;
        case '\\': state_ = State::Escape; break;
        case '\r':
        case '\n': break;  // line ends of the file are not text
        default: sink_.TextByte(byte);
    }
}

void RtfTokenizer::StepEscape(uint8_t byte) {
    state_ = State::Text;
    if (IsLetter(byte)) {
        state_ = State::Word;
        nameLength_ = 0;
        name_[nameLength_++] = static_cast<char>(byte);
        negative_ = false;
        hasParam_ = false;
        param_ = 0;
    } else if (byte == '\'') {
        state_ = State::Hex;
        hexValue_ = 0;
        hexDigits_ = 0;
    } else if (byte == '\r' || byte == '\n') {
        sink_.ControlWord("par", false, 0);  // an escaped line end is a paragraph
    } else {
        sink_.ControlSymbol(byte);
    }
}

bool RtfTokenizer::StepWord(uint8_t byte) {
    if (IsLetter(byte)) {
        if (nameLength_ < kNameMax) name_[nameLength_++] = static_cast<char>(byte);
        return true;
    }
    if (IsDigit(byte) || byte == '-') {
        state_ = State::Param;
        negative_ = byte == '-';
        hasParam_ = !negative_;
        param_ = negative_ ? 0 : byte - '0';
        return true;
    }
    EndWord();
    return byte == ' ';  // the delimiting space belongs to the word
}

bool RtfTokenizer::StepParam(uint8_t byte) {
    if (IsDigit(byte)) {
        hasParam_ = true;
        param_ = std::min(param_ * 10 + (byte - '0'), kParamLimit);
        return true;
    }
    EndWord();
    if (state_ == State::Binary && byte == ' ') binaryStart_ = position_ + 1;
    return byte == ' ';
}

bool RtfTokenizer::StepHex(uint8_t byte) {
    const int value = HexValue(byte);
    if (value < 0) {  // a broken \'h: dropped, the byte read as usual
        state_ = State::Text;
        return false;
    }
    hexValue_ = static_cast<uint8_t>(hexValue_ * 16 + value);
    if (++hexDigits_ == 2) {
        state_ = State::Text;
        sink_.HexByte(hexValue_);
    }
    return true;
}

void RtfTokenizer::EndWord() {
    state_ = State::Text;
    const int64_t value = negative_ ? -param_ : param_;
    const int32_t param = static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
    const std::string_view name(name_, nameLength_);
    if (name == "bin") {
        // The data begins behind the word's delimiter: the space if there is
        // one, else the byte that ended the number is already data.
        if (hasParam_ && param > 0) {
            state_ = State::Binary;
            binaryStart_ = position_;
            binaryLength_ = static_cast<uint32_t>(param);
            binaryLeft_ = binaryLength_;
        }
        return;
    }
    sink_.ControlWord(name, hasParam_, param);
}
