// host_event.h - one host call as data, its one-line text form (the `events`
// format), and EventSink, a HostSink that turns every call into a HostEvent.
//
// Header-only: the hosts print these lines as the filter calls, and the tests'
// recording host stores the same events, so both speak one format. Records
// passed by pointer are copied at the call (the filter may reuse them), sized
// as the interface fixes them; texts are copied by their stated length.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "hostkit/host_sink.h"
#include "mailtext/utf8.h"

// Words in the records the filter hands over by pointer.
constexpr uint32_t kObjectRecordWords = 40;
constexpr uint32_t kRuleRecordWords = 8;
constexpr uint32_t kCellRecordWords = 32;
constexpr uint32_t kRowRecordWords = 7;

struct EventArg {
    enum Kind : uint8_t { Number, Record, Null, Text } kind = Number;
    uint32_t number = 0;
    std::vector<uint32_t> words;  // Record
    std::u16string text;          // Text
};

struct HostEvent {
    int id = 0;
    std::vector<EventArg> args;  // without the user words and out-pointers
    bool hasResult = false;      // for calls whose answer is read or written back
    uint32_t result = 0;
};

// --- Building events -----------------------------------------------------

inline EventArg EventNumber(uint32_t value) {
    EventArg arg;
    arg.number = value;
    return arg;
}

inline EventArg EventRecord(const uint32_t* record, uint32_t words) {
    EventArg arg;
    if (record == nullptr) {
        arg.kind = EventArg::Null;
        return arg;
    }
    arg.kind = EventArg::Record;
    arg.words.assign(record, record + words);
    return arg;
}

inline EventArg EventText(const uint16_t* text, uint32_t length) {
    EventArg arg;
    if (text == nullptr) {
        arg.kind = EventArg::Null;
        return arg;
    }
    arg.kind = EventArg::Text;
    arg.text.assign(reinterpret_cast<const char16_t*>(text), length);
    return arg;
}

// The record of SoBeginTag is as long as the low 16 bits of its kind say.
inline uint32_t TagRecordWords(uint32_t kind) { return ((kind & 0xFFFFu) + 3) / 4; }

// --- Formatting ----------------------------------------------------------

inline const char* HostRoutineName(int id) {
    switch (id) {
    case SO_PUTCHAR: return "SoPutChar";
    case SO_PUTSPECIALCHAR: return "SoPutSpecialChar";
    case SO_SETFONTSIZE: return "SoSetFontSize";
    case SO_PUTBREAK: return "SoPutBreak";
    case SO_BEGINSECTION: return "SoBeginSection";
    case SO_BAILOUT: return "SoBailOut";
    case SO_SETPARASPACING: return "SoSetParaSpacing";
    case SO_BEGINTABLE: return "SoBeginTable";
    case SO_ENDTABLE: return "SoEndTable";
    case SO_PUTOBJECT: return "SoPutObject";
    case SO_PUTRULE: return "SoPutRule";
    case SO_BEGINTAG: return "SoBeginTag";
    case SO_ENDTAG: return "SoEndTag";
    case SO_REGISTERTEXT: return "SoRegisterText";
    case SO_DECLARESUBTEXT: return "SoDeclareSubText";
    case SO_PUTROWFORMAT: return "SoPutRowFormat";
    case SO_SETTEXTCOLOR: return "SoSetTextColor";
    case SO_SETSECONDCOLOR: return "SoSetSecondColor";
    case SO_SETCHARSET: return "SoSetCharset";
    case SO_NEWSUBDOC: return "SoNewSubdoc";
    case SO_PUTSTRINGID: return "SoPutStringId";
    case SO_PUTCELLFORMAT: return "SoPutCellFormat";
    case SO_SETPROPERTY: return "SoSetProperty";
    case SO_SETSECTIONNAME: return "SoSetSectionName";
    default: return "SoUnknown";
    }
}

// Decimal below 65536, upper-case hex from there on.
inline void AppendEventNumber(std::string& out, uint32_t value) {
    char buf[16];
    if (value < 65536)
        std::snprintf(buf, sizeof buf, "%u", value);
    else
        std::snprintf(buf, sizeof buf, "0x%X", value);
    out += buf;
}

// A JSON string of UTF-8 text: quotes, backslashes and controls escaped.
inline void AppendJsonEscaped(std::string& out, const char* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        const unsigned char c = static_cast<unsigned char>(data[i]);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20 || c == 0x7F) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04X", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
}

// A 16-bit text as a JSON string: surrogate pairs joined, a lone surrogate
// kept visible as its escape.
inline void AppendJsonText(std::string& out, const std::u16string& text) {
    out += '"';
    std::string utf8;
    for (size_t i = 0; i < text.size(); ++i) {
        const uint32_t unit = text[i];
        const bool high = unit >= 0xD800 && unit <= 0xDBFF;
        if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            AppendUtf8(utf8, 0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00u));
            ++i;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            AppendJsonEscaped(out, utf8.data(), utf8.size());
            utf8.clear();
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04X", unit);
            out += buf;
        } else {
            AppendUtf8(utf8, unit);
        }
    }
    AppendJsonEscaped(out, utf8.data(), utf8.size());
    out += '"';
}

// One line of the `events` format, without the line end:
//   SoBeginTag 0x8003000C 3 [0,3,7]      SoPutBreak 1 0 => 0
inline std::string FormatHostEvent(const HostEvent& event) {
    std::string line = HostRoutineName(event.id);
    for (const EventArg& arg : event.args) {
        line += ' ';
        switch (arg.kind) {
        case EventArg::Number: AppendEventNumber(line, arg.number); break;
        case EventArg::Null: line += "null"; break;
        case EventArg::Text: AppendJsonText(line, arg.text); break;
        case EventArg::Record:
            line += '[';
            for (size_t i = 0; i < arg.words.size(); ++i) {
                if (i) line += ',';
                AppendEventNumber(line, arg.words[i]);
            }
            line += ']';
            break;
        }
    }
    if (event.hasResult) {
        line += " => ";
        AppendEventNumber(line, event.result);
    }
    return line;
}

// --- EventSink -------------------------------------------------------------

// Turns every host call into a HostEvent and hands it to Record. Sub-document
// and text numbers are handed out counting up from 1 (0 and -1 mean "none" in
// the filter's records); the answer to a break comes from BreakAnswer.
class EventSink : public HostSink {
public:
    uint32_t subdocsIssued() const { return nextSubdoc_ - 1; }
    uint32_t textsIssued() const { return nextText_ - 1; }

protected:
    virtual void Record(HostEvent& event) = 0;
    virtual uint16_t BreakAnswer(uint32_t /*kind*/) { return 0; }

private:
    template <typename... Args>
    int32_t Emit(int id, Args... args) {
        HostEvent event;
        event.id = id;
        event.args = {args...};
        Record(event);
        return 0;
    }

public:
    int32_t PutChar(uint32_t ch) override { return Emit(SO_PUTCHAR, EventNumber(ch & 0xFFFFu)); }
    int32_t PutSpecialChar(uint32_t kind) override {
        return Emit(SO_PUTSPECIALCHAR, EventNumber(kind));
    }
    int32_t SetFontSize(int32_t size) override {
        return Emit(SO_SETFONTSIZE, EventNumber(static_cast<uint32_t>(size)));
    }
    int32_t PutBreak(uint32_t kind, uint32_t zero) override {
        HostEvent event;
        event.id = SO_PUTBREAK;
        event.args = {EventNumber(kind), EventNumber(zero)};
        event.hasResult = true;
        event.result = BreakAnswer(kind);
        Record(event);
        return static_cast<int32_t>(event.result);
    }
    int32_t BeginSection(uint32_t a, uint32_t b, uint32_t c) override {
        return Emit(SO_BEGINSECTION, EventNumber(a), EventNumber(b), EventNumber(c));
    }
    int32_t BailOut(uint32_t code) override { return Emit(SO_BAILOUT, EventNumber(code)); }
    int32_t SetParaSpacing(uint32_t kind, uint32_t amount, uint32_t before,
                           uint32_t after) override {
        return Emit(SO_SETPARASPACING, EventNumber(kind), EventNumber(amount),
                    EventNumber(before), EventNumber(after));
    }
    int32_t BeginTable() override { return Emit(SO_BEGINTABLE); }
    int32_t EndTable() override { return Emit(SO_ENDTABLE); }
    int32_t PutObject(const uint32_t* record) override {
        return Emit(SO_PUTOBJECT, EventRecord(record, kObjectRecordWords));
    }
    int32_t PutRule(const uint32_t* record, uint32_t a, uint32_t b, uint32_t c,
                    uint32_t d) override {
        return Emit(SO_PUTRULE, EventRecord(record, kRuleRecordWords), EventNumber(a),
                    EventNumber(b), EventNumber(c), EventNumber(d));
    }
    int32_t BeginTag(uint32_t kind, uint32_t id, const uint32_t* record) override {
        return Emit(SO_BEGINTAG, EventNumber(kind), EventNumber(id),
                    EventRecord(record, TagRecordWords(kind)));
    }
    int32_t EndTag(uint32_t kind, uint32_t id) override {
        return Emit(SO_ENDTAG, EventNumber(kind), EventNumber(id));
    }
    int32_t RegisterText(const uint16_t* text, uint32_t charset, uint32_t length,
                         uint32_t* number) override {
        HostEvent event;
        event.id = SO_REGISTERTEXT;
        event.args = {EventText(text, length), EventNumber(charset), EventNumber(length)};
        event.hasResult = true;
        event.result = nextText_++;
        if (number) *number = event.result;
        Record(event);
        return 0;
    }
    int32_t DeclareSubText(uint32_t kind, uint32_t number) override {
        return Emit(SO_DECLARESUBTEXT, EventNumber(kind), EventNumber(number));
    }
    int32_t PutRowFormat(const uint32_t* row) override {
        return Emit(SO_PUTROWFORMAT, EventRecord(row, kRowRecordWords));
    }
    int32_t SetTextColor(uint32_t which, uint32_t colour) override {
        return Emit(SO_SETTEXTCOLOR, EventNumber(which), EventNumber(colour));
    }
    int32_t SetSecondColor(uint32_t which, uint32_t colour) override {
        return Emit(SO_SETSECONDCOLOR, EventNumber(which), EventNumber(colour));
    }
    int32_t SetCharset(uint32_t charset) override {
        return Emit(SO_SETCHARSET, EventNumber(charset));
    }
    int32_t NewSubdoc(uint32_t* number) override {
        HostEvent event;
        event.id = SO_NEWSUBDOC;
        event.hasResult = true;
        event.result = nextSubdoc_++;
        if (number) *number = event.result;
        Record(event);
        return 0;
    }
    int32_t PutStringId(uint32_t number) override {
        return Emit(SO_PUTSTRINGID, EventNumber(number));
    }
    int32_t PutCellFormat(const uint32_t* cell) override {
        return Emit(SO_PUTCELLFORMAT, EventRecord(cell, kCellRecordWords));
    }
    int32_t SetProperty(uint32_t form, uint32_t a, uint32_t b, uint32_t c) override {
        return Emit(SO_SETPROPERTY, EventNumber(form), EventNumber(a), EventNumber(b),
                    EventNumber(c));
    }
    int32_t SetSectionName(uint32_t number, uint32_t one) override {
        return Emit(SO_SETSECTIONNAME, EventNumber(number), EventNumber(one));
    }

private:
    uint32_t nextSubdoc_ = 1;
    uint32_t nextText_ = 1;
};
