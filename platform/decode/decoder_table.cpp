// decoder_table.cpp - which decoder serves which TransferCode, behind one
// table of plain routines that the stream adapter drives.
#include "platform/decode/decoders.h"

namespace {

template <typename State, void (*Init)(State*),
          DecodeStep (*Decode)(State*, const uint8_t*, size_t, bool, uint8_t*, size_t)>
constexpr DecoderKind MakeKind() {
    return {sizeof(State), [](void* state) { Init(static_cast<State*>(state)); },
            [](void* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out, size_t room) {
                return Decode(static_cast<State*>(state), in, n, atEnd, out, room);
            }};
}

void UuInitPlain(UuState* state) { UuInit(state, false); }
void UuInitXx(UuState* state) { UuInit(state, true); }

constexpr DecoderKind kBase64 = MakeKind<Base64State, Base64Init, Base64Decode>();
constexpr DecoderKind kAscii85 = MakeKind<Ascii85State, Ascii85Init, Ascii85Decode>();
constexpr DecoderKind kUu = MakeKind<UuState, UuInitPlain, UuDecode>();
constexpr DecoderKind kXx = MakeKind<UuState, UuInitXx, UuDecode>();
constexpr DecoderKind kBinHex = MakeKind<BinHexState, BinHexInit, BinHexDecode>();
constexpr DecoderKind kYenc = MakeKind<YencState, YencInit, YencDecode>();
constexpr DecoderKind kBtoa = MakeKind<BtoaState, BtoaInit, BtoaDecode>();
constexpr DecoderKind kQp = MakeKind<QpState, QpInit, QpDecode>();
constexpr DecoderKind kUtf7 = MakeKind<Utf7State, Utf7Init, Utf7Decode>();
constexpr DecoderKind kRtf = MakeKind<RtfState, RtfInit, RtfDecode>();
constexpr DecoderKind kDetect = MakeKind<DetectState, DetectInit, DetectDecode>();

}  // namespace

const DecoderKind* DecoderKindFor(uint32_t transferCode) {
    switch (transferCode) {
    case 2: return &kBase64;
    case 4: return &kAscii85;
    case 15: return &kUu;
    case 16: return &kXx;
    case 17: return &kBinHex;
    case 18: return &kYenc;
    case 19: return &kBtoa;
    case 20: return &kQp;
    case 21: return &kUtf7;
    case 22: return &kRtf;
    case 255: return &kDetect;
    default: return nullptr;
    }
}
