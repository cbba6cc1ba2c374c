// rtf_tokenizer.h - cuts an RTF byte stream into groups, control words,
// control symbols, \'hh bytes and text bytes. The stream arrives in chunks
// of any size, so a token cut at a chunk end waits in the tokenizer's state
// for the rest. \binN data is skipped here, never read as RTF: the reader
// only hears where it lay.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

class RtfTokenSink {
public:
    virtual ~RtfTokenSink() = default;
    virtual void GroupOpen() = 0;
    virtual void GroupClose() = 0;
    virtual void ControlWord(std::string_view name, bool hasParam, int32_t param) = 0;
    virtual void ControlSymbol(uint8_t symbol) = 0;
    virtual void HexByte(uint8_t byte) = 0;
    virtual void TextByte(uint8_t byte) = 0;
    // All `length` bytes of a \bin run, from `offset` of the stream, have
    // passed. A run cut short by the end of the stream is never reported.
    virtual void Binary(uint32_t offset, uint32_t length) = 0;
};

class RtfTokenizer {
public:
    explicit RtfTokenizer(RtfTokenSink& sink) : sink_(sink) {}
    void Feed(const uint8_t* bytes, size_t length);
    // The stream ended: a control word that ran up to the end still counts.
    void Finish();

private:
    enum class State : uint8_t { Text, Escape, Word, Param, Hex, Binary };
    static constexpr size_t kNameMax = 32;  // longer names are cut; no RTF word is that long

    // Answers false when `byte` ended a token without being part of it.
    bool Step(uint8_t byte);
    void StepText(uint8_t byte);
    void StepEscape(uint8_t byte);
    bool StepWord(uint8_t byte);
    bool StepParam(uint8_t byte);
    bool StepHex(uint8_t byte);
    void EndWord();

    RtfTokenSink& sink_;
    State state_ = State::Text;
    char name_[kNameMax] = {};
    size_t nameLength_ = 0;
    bool negative_ = false;
    bool hasParam_ = false;
    int64_t param_ = 0;
    uint8_t hexValue_ = 0;
    uint8_t hexDigits_ = 0;
    uint32_t position_ = 0;  // bytes of the stream taken so far
    uint32_t binaryStart_ = 0;
    uint32_t binaryLength_ = 0;
    uint32_t binaryLeft_ = 0;
};
