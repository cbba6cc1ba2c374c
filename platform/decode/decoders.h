// decoders.h - the pure decoders behind the decoding stage, and the contract
// that the stream adapter (decode_object.cpp) drives them by.
//
// Every decoder is an incremental state machine over chunks of encoded input.
// Its whole state is a plain struct (no pointers), so a checkpoint is a byte
// copy. A decoder call takes what it can of the input and writes what it can
// to the output; it never keeps a pointer into either between calls.
//
// The contract, which makes the output independent of how the input is cut:
// - Line-oriented decoders consume whole lines only (LineNext). A line longer
//   than kLineMax comes in pieces of kLineMax bytes.
// - The caller passes at least kMinInput bytes unless the input ends there
//   (atEnd), and at least kMinRoom bytes of output room. Given that, a call
//   consumes or produces something, or reports finished.
// - A call that consumes and produces nothing without finishing asks for
//   more input (only possible when fewer than kMinInput bytes were passed).
// Malformed input is data: a decoder decodes what it can and never fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr size_t kLineMax = 4096;        // longest line looked at as a whole
constexpr size_t kMinInput = 16384;      // at least kLineMax + a terminator
constexpr size_t kMinRoom = 4 * kLineMax + 64;  // a btoa line of 'z's, a UTF-7 line

struct DecodeStep {
    size_t consumed;
    size_t produced;
    bool finished;  // nothing more will come, whatever follows in the input
};

// --- Lines -------------------------------------------------------------------

struct LineSpan {
    size_t length;  // bytes of the line without its terminator
    size_t next;    // offset behind the terminator
    bool whole;     // false: a kLineMax piece of a longer line
};

// Finds the line at in[0..n): ends at LF, CR LF or a lone CR. False when
// more input is needed to tell where it ends (never with atEnd and n > 0).
bool LineNext(const uint8_t* in, size_t n, bool atEnd, LineSpan* line);

// Whether the line starts with `prefix` (exactly, with case).
bool LineStartsWith(const uint8_t* line, size_t length, std::string_view prefix);

// Blanks that transports add at line ends.
size_t TrimTrailingBlanks(const uint8_t* line, size_t length);

// --- base64 (2) --------------------------------------------------------------

struct Base64State {
    uint32_t phase;     // 0 before the first data line, 1 in data, 2 skipping a long header line
    uint32_t bits;      // pending sextets, most recent lowest
    uint32_t count;     // sextets pending (0..3)
    uint32_t midLine;   // the next input continues a long line
};
void Base64Init(Base64State* state);
DecodeStep Base64Decode(Base64State* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                        size_t room);

// --- Ascii85 (4) -------------------------------------------------------------

struct Ascii85State {
    uint32_t phase;     // 0 looking for "<~", 1 after '<', 2 in data
    uint32_t value;
    uint32_t count;     // digits of the group so far
};
void Ascii85Init(Ascii85State* state);
DecodeStep Ascii85Decode(Ascii85State* state, const uint8_t* in, size_t n, bool atEnd,
                         uint8_t* out, size_t room);

// --- uuencode (15) and xxencode (16) -----------------------------------------

struct UuState {
    uint32_t xx;          // 1: the xxencode alphabet
    uint32_t inBlock;     // between a begin line and its end line
    uint32_t afterData;   // the line before was a data line
    uint32_t midLine;     // skipping the rest of a long line
};
void UuInit(UuState* state, bool xx);
DecodeStep UuDecode(UuState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                    size_t room);
// Decodes one data line (length character first); -1 when it is no data line.
// Exposed for detection, which tells the alphabets apart with it.
int UuLineDecode(const uint8_t* line, size_t length, bool xx, uint8_t* out);

// --- BinHex 4.0 (17) ---------------------------------------------------------

struct BinHexState {
    uint32_t phase;       // 0 looking, 1 the banner seen, 2 in data, 3 done
    uint32_t skipping;    // the next input continues a long line, which is no data
    uint32_t bits;        // pending bits of the 6-bit layer
    uint32_t nbits;
    uint32_t runMarker;   // the byte before was the run marker 0x90
    uint32_t lastByte;    // last byte of the run-length layer, repeated by a run
    uint32_t repeatLeft;  // copies of lastByte still to deliver
    uint32_t headerAt;    // bytes of the header seen
    uint32_t headerSize;  // 1 until the name length is known
    uint32_t forkLeft;    // data fork bytes still to deliver
};
void BinHexInit(BinHexState* state);
DecodeStep BinHexDecode(BinHexState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                        size_t room);

// --- yEnc (18) ---------------------------------------------------------------

struct YencState {
    uint32_t inBlock;
    uint32_t midLine;  // the next input continues a long data line
};
void YencInit(YencState* state);
DecodeStep YencDecode(YencState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                      size_t room);

// --- btoa (19) ---------------------------------------------------------------

struct BtoaState {
    uint32_t phase;        // 0 looking for the opening, 1 in data, 2 done
    uint32_t midLine;      // the next input continues a long line
    uint32_t value;
    uint32_t count;        // digits of the group so far
    uint32_t pendingFull;  // 1: `pending` holds a decoded word not yet delivered
    uint32_t pending;
    uint64_t delivered;    // bytes delivered so far
};
void BtoaInit(BtoaState* state);
DecodeStep BtoaDecode(BtoaState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                      size_t room);

// --- quoted-printable (20) ---------------------------------------------------

struct QpState {
    uint32_t midLine;  // the next input continues a long line
};
void QpInit(QpState* state);
DecodeStep QpDecode(QpState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                    size_t room);

// --- UTF-7 (21) --------------------------------------------------------------

struct Utf7State {
    uint32_t shifted;    // inside a '+' run
    uint32_t justShift;  // the '+' was the byte before
    uint32_t bits;
    uint32_t nbits;
};
void Utf7Init(Utf7State* state);
DecodeStep Utf7Decode(Utf7State* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                      size_t room);

// --- compressed RTF (22) -----------------------------------------------------

constexpr size_t kRtfDictionarySize = 4096;

struct RtfState {
    uint32_t headerAt;   // header bytes seen (16 in all)
    uint8_t header[16];
    uint32_t kind;       // 0 unknown, 1 compressed, 2 stored
    uint32_t storedLeft;
    uint32_t control;    // flag byte of the current run
    uint32_t flagsLeft;  // flags of `control` still unread
    uint32_t tokenHigh;  // first byte of a reference, 0x100 when none pending
    uint32_t writeAt;    // dictionary write position
    uint32_t finished;
    uint8_t dictionary[kRtfDictionarySize];
};
void RtfInit(RtfState* state);
DecodeStep RtfDecode(RtfState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                     size_t room);

// --- detection (255) ---------------------------------------------------------

constexpr size_t kDetectWindow = 65536;  // bytes looked at before falling back to uuencode

struct DetectState {
    uint32_t code;  // 0 while undecided, then 15, 16, 17 or 18
    union {
        UuState uu;
        BinHexState binHex;
        YencState yenc;
    };
};
void DetectInit(DetectState* state);
DecodeStep DetectDecode(DetectState* state, const uint8_t* in, size_t n, bool atEnd,
                        uint8_t* out, size_t room);
// What detection makes of a stretch of data: 15, 16, 17, 18, or 0 for nothing
// decisive (with atEnd, or once kDetectWindow bytes were seen, 15).
uint32_t DetectEncoding(const uint8_t* in, size_t n, bool atEnd);

// --- the table the adapter uses ----------------------------------------------

struct DecoderKind {
    size_t stateSize;
    void (*init)(void* state);
    DecodeStep (*decode)(void* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                         size_t room);
};

// Null for a TransferCode that is not decoded here.
const DecoderKind* DecoderKindFor(uint32_t transferCode);
