// html_markup_fixes.cpp - dropping </body>, </html> and bogus comments from
// the text stream.
#include "platform/support/html_markup_fixes.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace {

// A tag longer than this isn't one we drop; it needn't wait for its end.
constexpr size_t kLongestDropped = 1024;

bool StartsNoCase(std::string_view text, size_t at, std::string_view lower) {
    if (text.size() - at < lower.size()) return false;
    for (size_t i = 0; i < lower.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(text[at + i])) != lower[i]) return false;
    return true;
}

bool IsEndTagAt(std::string_view text, size_t at, std::string_view name) {
    if (!StartsNoCase(text, at, name)) return false;
    const size_t after = at + name.size();
    return after == text.size() || text[after] == '>' || std::isspace(static_cast<unsigned char>(text[after]));
}

bool DroppedAt(std::string_view text, size_t at) {
    if (IsEndTagAt(text, at, "</body") || IsEndTagAt(text, at, "</html")) return true;
    if (StartsNoCase(text, at, "<?")) return true;
    return StartsNoCase(text, at, "<!") && !StartsNoCase(text, at, "<!--") && !StartsNoCase(text, at, "<!doctype");
}

// Where the tag at `at` ends, looking no further than a dropped one may run.
size_t CloseOf(std::string_view text, size_t at) {
    const size_t close = text.substr(at, kLongestDropped).find('>');
    return close == std::string_view::npos ? close : at + close;
}

// The length of a dropped construct at `at` ('<' there), 0 when there is none.
size_t DroppedLengthAt(std::string_view text, size_t at) {
    if (!DroppedAt(text, at)) return 0;
    const size_t close = CloseOf(text, at);
    return close == std::string_view::npos ? 0 : close - at + 1;
}

}  // namespace

void MarkupFixes::Apply(std::string& text, bool last) {
    std::string input = std::move(held_);
    input += text;
    held_.clear();
    text.clear();
    const size_t done = Scan(input, text);
    if (last || done == input.size()) {
        text.append(input, done);
        return;
    }
    held_ = input.substr(done);
}

// Copies `text` to `out` less what is dropped; answers where it stopped: at a
// construct the next chunk may complete, or at the end.
size_t MarkupFixes::Scan(std::string_view text, std::string& out) {
    size_t at = 0;
    while (at < text.size()) {
        if (inComment_) {
            const size_t close = text.find("-->", at);
            const size_t upTo = close == std::string_view::npos ? std::max(at, text.size() - std::min<size_t>(text.size(), 2)) : close + 3;
            out.append(text.substr(at, upTo - at));
            at = upTo;
            inComment_ = close == std::string_view::npos;
            if (inComment_) return at;
            continue;
        }
        const size_t next = text.find('<', at);
        if (next == std::string_view::npos) {
            out.append(text.substr(at));
            return text.size();
        }
        out.append(text.substr(at, next - at));
        if (text.size() - next < 4 || (CloseOf(text, next) == std::string_view::npos && text.size() - next < kLongestDropped))
            return next;  // too short to tell yet
        if (StartsNoCase(text, next, "<!--")) {
            out.append("<!--");
            at = next + 4;
            inComment_ = true;
            continue;
        }
        const size_t skip = DroppedLengthAt(text, next);
        if (skip == 0) out.push_back('<');
        at = next + (skip ? skip : 1);
    }
    return at;
}
