// html_markup_fixes.h - markup that browsers and libxml2 read differently,
// taken out of the text before the parser sees it.
//
// - </body> and </html>: browsers show what follows them (concatenated
//   pages, spam that appends a second document) as more of the body, while
//   libxml2's push parser drops everything after the root element closes.
//   Without them the parse stays in the body and the parser closes what is
//   open at the end.
// - Bogus comments, "<!" not followed by "--" or DOCTYPE, and "<?": browsers
//   hide them up to the next ">", libxml2 shows them as text. Outlook's
//   <![if !supportLists]> ... <![endif]> around list bullets are the common
//   case.
#pragma once

#include <string>
#include <string_view>

class MarkupFixes {
public:
    // `text` is UTF-8 from the decoder; a tag cut by the chunk's end waits
    // for the next call unless `last`.
    void Apply(std::string& text, bool last);

private:
    size_t Scan(std::string_view text, std::string& out);

    std::string held_;
    bool inComment_ = false;  // inside <!-- ... -->, where nothing is dropped
};
