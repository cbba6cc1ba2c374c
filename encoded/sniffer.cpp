// sniffer.cpp - tells whether a text is, as a whole, one block of a transfer
// encoding, and which one. It looks only at the text, never at a header: the
// openings and closings of uuencode, xxencode, yEnc, BinHex 4.0, btoa, base64
// with a header and Ascii85, the run of bare base64 lines, and the hexadecimal
// '=' escapes of quoted-printable.
//
// It decodes nothing and keeps no text. In strict mode (a message part) any
// text outside the block spoils it and ordinary text is given up early; in
// lenient mode (a whole encoded document) text around one block is allowed.
// Two blocks are never one encoding.
#include <cstring>

#include "charset/charset.h"
#include "encoded/encoded.h"
#include "core/emit.h"
#include "host/constants.h"
#include "host/services.h"
#include "message/message.h"

namespace {

constexpr uint16_t kEnd = kReaderEnd;
// A run of more than this many base64 symbols, or a line of more, is base64.
constexpr uint16_t kBase64RunFloor = 12;

constexpr char kBinHexSentence[] = "This file must be converted with BinHex 4.0)";

bool IsBlank(uint16_t c) { return c == ' ' || c == '\t'; }
bool IsLineEnd(uint16_t c) { return c == '\r' || c == '\n'; }
bool IsWhite(uint16_t c) { return IsBlank(c) || IsLineEnd(c); }
bool IsDigit(uint16_t c) { return c >= '0' && c <= '9'; }
bool IsHexDigit(uint16_t c) {
    return IsDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
constexpr bool IsBase64Symbol(uint16_t c) { return c < 0x80 && Base64Value(static_cast<uint8_t>(c)) != kBase64Invalid; }

// Base64 symbols that open nothing: 'b' and 'x' may start an opening.
struct PlainSymbols {
    bool is[256];
    constexpr PlainSymbols() : is() {
        for (int c = 0; c < 256; ++c) is[c] = IsBase64Symbol(static_cast<uint16_t>(c)) && c != 'b' && c != 'x';
    }
};
constexpr PlainSymbols kPlain;

// 1 when the bytes at the reader equal `key`; the reader does not move.
bool BytesAt(ByteReader* reader, const char* key) {
    uint32_t start = ReaderTell(reader);
    bool same = true;
    for (const char* k = key; *k && same; ++k) same = ReaderGet(reader) == static_cast<uint8_t>(*k);
    ReaderSeek(reader, static_cast<int32_t>(start), 0);
    return same;
}

// Remembers, per searched key, the outcome of the last forward search: where
// it started and where it found its key (0: it ran to the end of the stream).
// A later search for the same key that starts inside that stretch has the
// same answer unless the key stands right where it starts, since every place
// it would look at was looked at before. Without this a text full of
// openings that have no closing costs a search to its end per opening.
class SearchMemo {
public:
    struct Entry {
        const char* key;
        uint32_t from;
        uint32_t foundAt;
    };

    // The entry whose stretch covers `from`, or null.
    const Entry* Covering(const char* key, uint32_t from) const {
        for (uint32_t i = 0; i < used_; ++i) {
            const Entry& e = entries_[i];
            if (e.key == key && e.from <= from && (e.foundAt == 0 || from <= e.foundAt)) return &e;
        }
        return nullptr;
    }

    void Remember(const char* key, uint32_t from, uint32_t foundAt) {
        for (uint32_t i = 0; i < used_; ++i) {
            if (entries_[i].key == key) {
                entries_[i] = {key, from, foundAt};
                return;
            }
        }
        if (used_ < kKeys) entries_[used_++] = {key, from, foundAt};
    }

private:
    static constexpr uint32_t kKeys = 8;
    Entry entries_[kKeys] = {};
    uint32_t used_ = 0;
};

// The keys searched for, one object each: the memo compares them by address.
constexpr char kUuEnd[] = "end";
constexpr char kAscii85End[] = "~>";
constexpr char kYencEnd[] = "=yend";
constexpr char kBase64End[] = "====";
constexpr char kBtoaEnd[] = "x";
constexpr char kBinHexEnd[] = ":";

// One run of the sniffer. Each routine below that handles a byte answers how
// the pass over it ends.
class Sniffer {
public:
    Sniffer(ByteReader* reader, uint32_t limit, uint32_t qpHint, uint32_t strict, TextBuffer* scratch)
        : reader_(reader), scratch_(scratch), limit_(limit), qpHint_(qpHint), strict_(strict) {}

    uint32_t Run();

private:
    enum class Flow {
        kTake,      // take the next byte, then the next pass
        kSame,      // the next pass works on the byte now in c_
        kContinue,  // the base64 watch is done; look the byte up in the table
        kFinish,    // the text is over: decide
        kDone,      // the result is settled: result_
    };

    Flow Pass();
    bool SkimSymbols();
    Flow WatchBase64();
    Flow WatchPadding();
    Flow WatchBlanks();
    void CountLine();
    Flow Examine();
    Flow Blanks();
    Flow Ordinary();
    Flow OpenBinHex();
    Flow OpenAscii85();
    Flow OpenYencOrEscape();
    Flow OpenYenc(uint32_t opener);
    Flow OpenBegin();
    Flow OpenUuencode(uint32_t opener);
    Flow OpenBtoa();
    Flow Accept(uint32_t code);
    Flow Mismatch();
    Flow Back(uint32_t opener);
    Flow Done(uint32_t result);
    uint32_t Finish() const;
    bool Hopeless() const;

    void Take();
    bool SearchLine(const char* prefix);
    bool SearchColon();

    ByteReader* reader_;
    TextBuffer* scratch_;
    SearchMemo memo_;
    uint32_t limit_;
    uint32_t qpHint_;
    uint32_t strict_;
    uint32_t found_ = 0;      // TransferCode of the block recognised
    uint32_t other_ = 0;      // text outside a block was seen (strict only)
    uint32_t notBase64_ = 0;  // the bare-base64 reading is given up
    uint16_t run_ = 0;        // base64 symbols since the last counted line
    uint16_t lines_ = 0;      // lines that counted as base64 lines
    uint32_t qpPairs_ = 0;    // '=' escapes with two hexadecimal digits
    uint16_t c_ = '\n';       // LF at the start: the first byte stands at a line start
    uint16_t prev_ = '\n';
    uint32_t pos_ = 0;        // the reader's position behind c_
    uint32_t result_ = 0;
};

uint32_t Sniffer::Run() {
    do Take(); while (IsWhite(c_) && pos_ < limit_);
    if (pos_ >= limit_) return 0;
    for (;;) {
        if (SkimSymbols()) {
            if (Hopeless()) return 0;
            if (pos_ >= limit_) return Finish();
            continue;
        }
        Flow flow = Pass();
        if (flow == Flow::kDone) return result_;
        if (flow == Flow::kFinish) return Finish();
        if (Hopeless()) return 0;
        if (flow == Flow::kSame) continue;
        Take();
        if (pos_ >= limit_) return Finish();
    }
}

void Sniffer::Take() {
    prev_ = c_;
    c_ = ReaderGet(reader_);
    pos_ = ReaderTell(reader_);
}

// Most bytes of a base64 body, and of words, are symbols that open nothing;
// before any block is found their pass does no more than count the run and
// mark text. A run of them is taken here straight from the reader's buffer,
// with the same effect as passing over each. True when c_ was such a symbol;
// c_ is then the byte behind the run.
bool Sniffer::SkimSymbols() {
    if (found_ || c_ == kEnd || !kPlain.is[c_]) return false;
    uint32_t more = 0;
    // Bytes behind c_ whose pass still lies below the limit.
    uint32_t room = pos_ < limit_ ? limit_ - pos_ - 1 : 0;
    int32_t buffered = reader_->remaining > 0 ? reader_->remaining : 0;
    const uint8_t* next = reader_->next;
    while (more < static_cast<uint32_t>(buffered) && more < room && kPlain.is[next[more]]) ++more;
    if (!notBase64_) run_ = static_cast<uint16_t>(run_ + 1 + more);
    other_ = strict_;
    if (more > 0) {
        c_ = next[more - 1];
        reader_->next += more;
        reader_->remaining = static_cast<int16_t>(reader_->remaining - more);
    }
    Take();
    return true;
}

// A part that has shown text and given up base64, with no quoted-printable
// hint, can only end in 0 whatever follows: ordinary text stops here.
bool Sniffer::Hopeless() const { return strict_ && !qpHint_ && other_ && notBase64_; }

Sniffer::Flow Sniffer::Pass() {
    if (c_ == 0) {
        // One zero byte is passed over as if it were not there.
        c_ = ReaderGet(reader_);
        pos_ = ReaderTell(reader_);
    }
    if (c_ == kEnd) return Flow::kFinish;
    if (!notBase64_) {
        Flow flow = WatchBase64();
        if (flow != Flow::kContinue) return flow;
    }
    if (c_ == kEnd) return Flow::kFinish;
    return Examine();
}

Sniffer::Flow Sniffer::WatchBase64() {
    if (found_) notBase64_ = 1;
    if (IsBase64Symbol(c_)) {
        ++run_;
    } else if (c_ == '=') {
        return WatchPadding();
    } else if (IsLineEnd(c_)) {
        CountLine();
    } else if (IsBlank(c_) && pos_ < limit_) {
        return WatchBlanks();
    } else {
        notBase64_ = 1;
    }
    return Flow::kContinue;
}

// '=' followed by '=' or white space is padding and ends the data; anything
// else behind it can't be base64.
Sniffer::Flow Sniffer::WatchPadding() {
    uint16_t next = ReaderPeek(reader_, 1);
    if (next == '=' || IsWhite(next)) {
        do Take(); while (IsWhite(c_) && pos_ < limit_);
        return pos_ >= limit_ ? Flow::kContinue : Flow::kSame;
    }
    if (next != kEnd) notBase64_ = 1;
    return Flow::kContinue;
}

// Blanks at the end of a line are allowed, but that line is not counted;
// blanks inside a line are not base64.
Sniffer::Flow Sniffer::WatchBlanks() {
    do Take(); while (IsBlank(c_) && pos_ < limit_);
    if (IsLineEnd(c_)) return Flow::kContinue;
    if (c_ == kEnd) return Flow::kFinish;
    notBase64_ = 1;
    return Flow::kContinue;
}

// Short lines add up: a line counts once the run since the last counted line
// is long enough.
void Sniffer::CountLine() {
    if (run_ > kBase64RunFloor) {
        ++lines_;
        run_ = 0;
    }
}

Sniffer::Flow Sniffer::Examine() {
    switch (c_) {
        case ' ': case '\t': return Blanks();
        case '\r': case '\n': return Flow::kTake;
        case '(': return OpenBinHex();
        case '<': return OpenAscii85();
        case '=': return OpenYencOrEscape();
        case 'b': return OpenBegin();
        case 'x': return OpenBtoa();
        default: return Ordinary();
    }
}

Sniffer::Flow Sniffer::Blanks() {
    do Take(); while (IsWhite(c_) && pos_ < limit_);
    if (c_ == kEnd || pos_ >= limit_) return Flow::kFinish;
    if (!qpHint_ && strict_) return Done(0);
    return Flow::kSame;
}

Sniffer::Flow Sniffer::Ordinary() {
    if (c_ < 0x20 || (c_ & 0x80)) return Done(0);
    if (strict_ && found_) return Done(0);
    other_ = strict_;
    return Flow::kTake;
}

// "(This file must be converted with BinHex 4.0)", at most one blank line
// (read as a line of its own), then the stream from ':' to ':'.
Sniffer::Flow Sniffer::OpenBinHex() {
    uint32_t opener = pos_ - 1;
    if (!MatchLiteral(reader_, kBinHexSentence)) return Mismatch();
    ReadLine(reader_, scratch_, 0);
    Take();
    if (IsLineEnd(c_)) {
        ReadLine(reader_, scratch_, 0);
        Take();
    }
    if (c_ != ':') {
        other_ = strict_;
        return Flow::kTake;
    }
    if (!SearchColon()) {
        other_ = strict_;
        return Back(opener);
    }
    Take();
    return Accept(TC_BINHEX);
}

// "<~" at a line start, closed by a line that begins with "~>".
Sniffer::Flow Sniffer::OpenAscii85() {
    uint32_t opener = pos_ - 1;
    if (!IsLineEnd(prev_) || !MatchLiteral(reader_, "~")) return Mismatch();
    if (!SearchLine(kAscii85End)) {
        other_ = strict_;
        return Back(opener);
    }
    return Accept(TC_ASCII85);
}

Sniffer::Flow Sniffer::OpenYencOrEscape() {
    uint32_t opener = pos_ - 1;
    if (MatchLiteral(reader_, "ybegin ")) return OpenYenc(opener);
    if (qpHint_) {
        if (IsHexDigit(ReaderPeek(reader_, 1)) && IsHexDigit(ReaderPeek(reader_, 2))) ++qpPairs_;
        other_ = strict_;
    }
    return Flow::kTake;
}

// A yEnc block whose "=ypart" line ends before the declared size is a piece
// of a bigger file: it is passed over without being taken as the encoding.
Sniffer::Flow Sniffer::OpenYenc(uint32_t opener) {
    uint32_t size = NumberAfter("size=", ReadLine(reader_, scratch_, 0));
    bool piece = false;
    if (MatchLiteral(reader_, "=ypart ")) piece = NumberAfter("end=", ReadLine(reader_, scratch_, 0)) < size;
    if (!SearchLine(kYencEnd)) {
        other_ = strict_;
        return Back(opener);
    }
    if (other_ || found_) return Done(0);
    if (!piece) found_ = TC_YENC;
    return Flow::kTake;
}

// "begin " at a line start opens uuencode or xxencode, told apart by the
// identification service; "begin-base64 ### " opens base64 anywhere.
Sniffer::Flow Sniffer::OpenBegin() {
    uint32_t opener = pos_ - 1;
    if (IsLineEnd(prev_) && MatchLiteral(reader_, "egin ")) return OpenUuencode(opener);
    if (!MatchLiteral(reader_, "egin-base64 ### ")) return Mismatch();
    if (!SearchLine(kBase64End)) {
        other_ = strict_;
        return Back(opener);
    }
    return Accept(TC_BASE64);
}

Sniffer::Flow Sniffer::OpenUuencode(uint32_t opener) {
    if (!SearchLine(kUuEnd)) {
        other_ = strict_;
        return Back(opener);
    }
    uint16_t answer = IdentifyBlock(reader_, opener, ReaderTell(reader_));
    if (answer != FI_UUE && answer != FI_UUE_PIECE && answer != FI_XXE) {
        other_ = strict_;
        return Back(opener);
    }
    if (other_ || found_) return Done(0);
    found_ = answer == FI_XXE ? TC_XXENCODE : TC_UUENCODE;
    return Flow::kTake;
}

// "xbtoa5 ## " anywhere, closed by the next line that begins with 'x'; the
// search starts on the opening line itself.
Sniffer::Flow Sniffer::OpenBtoa() {
    uint32_t opener = pos_ - 1;
    if (!MatchLiteral(reader_, "btoa5 ## ")) return Mismatch();
    if (!SearchLine(kBtoaEnd)) {
        other_ = strict_;
        return Back(opener);
    }
    return Accept(TC_BTOA);
}

// A closing found: a second block, or a block behind text in strict mode,
// is no single encoding.
Sniffer::Flow Sniffer::Accept(uint32_t code) {
    if (other_ || found_) return Done(0);
    found_ = code;
    return Flow::kTake;
}

// An opening byte whose pattern doesn't follow is ordinary text.
Sniffer::Flow Sniffer::Mismatch() {
    other_ = strict_;
    return Flow::kTake;
}

// An opening without its closing: the bytes behind the opening byte are read
// again as text.
Sniffer::Flow Sniffer::Back(uint32_t opener) {
    ReaderSeek(reader_, static_cast<int32_t>(opener + 1), 0);
    pos_ = opener + 1;
    return Flow::kTake;
}

Sniffer::Flow Sniffer::Done(uint32_t result) {
    result_ = result;
    return Flow::kDone;
}

uint32_t Sniffer::Finish() const {
    if (found_ && !other_) return found_;
    if (!found_ && !notBase64_ && (run_ > kBase64RunFloor || lines_ > 0)) return TC_BASE64;
    if (qpPairs_) return TC_QUOTED_PRINTABLE;
    return 0;
}

// SkipToLine through the memo: true when a line that starts with `prefix`
// was found, with the reader behind it.
bool Sniffer::SearchLine(const char* prefix) {
    uint32_t from = ReaderTell(reader_);
    if (const SearchMemo::Entry* known = memo_.Covering(prefix, from)) {
        if (!BytesAt(reader_, prefix)) {
            if (known->foundAt == 0) {
                scratch_->text[0] = '\0';
                return false;
            }
            ReaderSeek(reader_, static_cast<int32_t>(known->foundAt), 0);
        }
        return SkipToLine(reader_, scratch_, prefix) != 0;
    }
    uint32_t found = SkipToLine(reader_, scratch_, prefix);
    // 1 also stands for a line at 0, so it can't be remembered as a place.
    if (found != 1) memo_.Remember(prefix, from, found);
    return found != 0;
}

// The ':' that closes a BinHex stream: true with the reader standing at it.
bool Sniffer::SearchColon() {
    uint32_t from = ReaderTell(reader_);
    if (BytesAt(reader_, kBinHexEnd)) return true;
    if (const SearchMemo::Entry* known = memo_.Covering(kBinHexEnd, from)) {
        if (known->foundAt == 0) return false;
        ReaderSeek(reader_, static_cast<int32_t>(known->foundAt), 0);
        return true;
    }
    uint16_t index = 0;
    ReadUntil(reader_, scratch_, &index, kBinHexEnd, 0);
    uint32_t at = ReaderTell(reader_);
    bool found = ReaderPeek(reader_, 1) == ':';
    memo_.Remember(kBinHexEnd, from, found ? at : 0);
    if (found) ReaderSeek(reader_, static_cast<int32_t>(at), 0);
    return found;
}

}  // namespace

uint32_t SniffEncoded(ByteReader* reader, uint32_t limit, uint32_t qpHint, uint32_t strict,
                      TextBuffer* scratch) {
    return Sniffer(reader, limit, qpHint, strict, scratch).Run();
}

uint16_t IdentifyBlock(ByteReader* reader, uint32_t first, uint32_t last) {
    IoObject* object = reinterpret_cast<IoObject*>(~uintptr_t{0});
    IoRangeRequest range{reader->file, first, last};
    int32_t opened = reader->file->Open(&object, IO_OPEN_RANGE, &range, 1);
    if (opened != 0 || !IsOpenObject(object)) {
        if (IsOpenObject(object)) object->Close(object);
        return 0;
    }
    uint16_t answer = IdentifySpecial(object, FI_UUE);
    object->Close(object);
    return answer;
}

uint32_t MatchLiteral(ByteReader* reader, const char* pattern) {
    uint32_t start = ReaderTell(reader);
    for (const char* p = pattern; *p; ++p) {
        uint16_t c = ReaderGet(reader);
        bool same = *p == '#' ? IsDigit(c) : c == static_cast<uint8_t>(*p);
        if (!same) {
            ReaderSeek(reader, static_cast<int32_t>(start), 0);
            return 0;
        }
    }
    return 1;
}

uint32_t ParseDigits(const char* text) {
    uint32_t value = 0;
    if (!text) return 0;
    for (; IsDigit(static_cast<uint8_t>(*text)); ++text)
        value = value * 10u + static_cast<uint32_t>(*text - '0');
    return value;
}

uint32_t NumberAfter(const char* key, const char* text) {
    if (!key || !text) return 0;
    const char* at = std::strstr(text, key);
    return at ? ParseDigits(at + std::strlen(key)) : 0;
}
