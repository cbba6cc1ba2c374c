// html_bench - HTML body to text through the filter and its HTML support
// filter, beside libxml2's own HTML parse of the same body: its push parser
// with no callbacks at all (what our renderer drives, so the ratio ours /
// parse is the cost of everything around the parse), and
// `xmllint --html --noout`; with the peak memory of each run. Runs alternate
// and each side keeps its best time. Memory must stay flat: the 20 MB body
// may not cost more than the 1 MB one.
//
// Not `xmllint --html --noout --sax`: xmllint 2.9.14 runs its XML parser
// under --sax whatever --html says, and that stops at the first markup
// error of an HTML page, so it measures nothing. Plain --html builds a
// tree: its time includes that, and its memory grows with the body.
//
//   html_bench [MB ...]     (default: 1 20)
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <libxml/HTMLparser.h>

#include "bench/bench_host.h"

extern char** environ;

namespace {

constexpr int kRounds = 3;

// A newsletter-like body: styles in the head, then sections of paragraphs,
// lists, a table and links, with entities and non-ASCII text.
void WriteBody(FILE* out, unsigned megabytes) {
    std::fputs("<html><head><meta charset=\"utf-8\"><title>News</title>"
               "<style>p { margin: 0 } td { padding: 2px }</style></head><body>\n", out);
    const std::string section =
        "<h2>Caf\xC3\xA9 news &amp; notes</h2>\n<p>The <b>quick</b> brown <i>fox</i> jumps over the "
        "<a href=\"https://example.org/dog\">lazy dog</a>, again &mdash; and again.<br>\nSecond line "
        "of the paragraph, with &lt;angle&gt; brackets and &#8364;10.</p>\n<ul><li>first point</li>"
        "<li>second <u>point</u></li></ul>\n<table><tr><td>cell one</td><td>cell two</td></tr>"
        "<tr><td>cell three</td><td>cell four</td></tr></table>\n<div><div><p>nested text</p></div></div>\n";
    WriteRepeated(out, section, uint64_t{megabytes} << 20);
    std::fputs("</body></html>\n", out);
}

bool WriteInputs(unsigned megabytes, const std::string& mail, const std::string& html) {
    FILE* a = std::fopen(mail.c_str(), "wb");
    FILE* b = std::fopen(html.c_str(), "wb");
    if (a)
        std::fputs("From: bench@example.org\r\nSubject: html\r\nMIME-Version: 1.0\r\n"
                   "Content-Type: text/html; charset=utf-8\r\n\r\n", a);
    if (a) WriteBody(a, megabytes);
    if (b) WriteBody(b, megabytes);
    const bool ok = a && b;
    if (a) std::fclose(a);
    if (b) std::fclose(b);
    return ok;
}

struct Run {
    double seconds = 1e30;
    long peakKiB = 0;
    bool ok = false;
};

// Waits for `child` and keeps the run if it is the fastest so far.
void Collect(pid_t child, std::chrono::steady_clock::time_point start, Run& best) {
    int status = 0;
    rusage usage{};
    if (child <= 0 || wait4(child, &status, 0, &usage) != child) return;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const bool ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    best.ok = ok;
    best.peakKiB = std::max(best.peakKiB, usage.ru_maxrss);
    if (ok) best.seconds = std::min(best.seconds, seconds);
}

void RunOurs(const std::string& mail, Run& best) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) _exit(RunThroughFilter(mail, FI_INTERNET_MAIL).ended ? 0 : 1);
    Collect(child, start, best);
}

// libxml2's HTML push parser fed as the support filter feeds it, with a SAX
// handler that has no callbacks: the parse alone.
void RunBareParse(const std::string& html, Run& best) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        FILE* in = std::fopen(html.c_str(), "rb");
        if (!in) _exit(1);
        htmlSAXHandler sax{};
        htmlParserCtxtPtr parser = htmlCreatePushParserCtxt(&sax, nullptr, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8);
        if (!parser) _exit(1);
        htmlCtxtUseOptions(parser, HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET);
        char chunk[16384];
        for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, in)) > 0;)
            htmlParseChunk(parser, chunk, static_cast<int>(got), 0);
        htmlParseChunk(parser, nullptr, 0, 1);
        htmlFreeParserCtxt(parser);
        _exit(0);
    }
    Collect(child, start, best);
}

void RunXmllint(const std::string& html, Run& best) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::string args[] = {"xmllint", "--html", "--noout", html};
    char* argv[] = {args[0].data(), args[1].data(), args[2].data(), args[3].data(), nullptr};
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (posix_spawnp(&child, "xmllint", &actions, nullptr, argv, environ) != 0) child = 0;
    posix_spawn_file_actions_destroy(&actions);
    Collect(child, start, best);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<unsigned> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(static_cast<unsigned>(std::atoi(argv[i])));
    if (sizes.empty()) sizes = {1, 20};
    std::printf("HTML body to text (best of %d alternating runs) beside libxml2's bare push parse and "
                "xmllint --html --noout of the same body\n", kRounds);
    for (unsigned mb : sizes) {
        const std::string mail = "/tmp/mailsift_html_" + std::to_string(mb) + "mb.eml";
        const std::string html = "/tmp/mailsift_html_" + std::to_string(mb) + "mb.html";
        if (!WriteInputs(mb, mail, html)) return 1;
        Run ours, parse, xmllint;
        for (int round = 0; round < kRounds; ++round) {
            RunOurs(mail, ours);
            RunBareParse(html, parse);
            RunXmllint(html, xmllint);
        }
        std::remove(mail.c_str());
        std::remove(html.c_str());
        if (!ours.ok || !parse.ok || !xmllint.ok) {
            std::printf("%4u MB: a run failed (ours %s, xmllint %s)\n", mb, ours.ok ? "ok" : "failed",
                        xmllint.ok ? "ok" : "failed; is libxml2-utils installed?");
            continue;
        }
        std::printf("%4u MB: ours %6.3f s %5.1f MB/s %6ld KiB | parse %6.3f s %6ld KiB | xmllint %6.3f s %6ld KiB"
                    " | ours/parse %.2f, ours/xmllint %.2f\n",
                    mb, ours.seconds, mb / ours.seconds, ours.peakKiB, parse.seconds, parse.peakKiB, xmllint.seconds,
                    xmllint.peakKiB, ours.seconds / parse.seconds, ours.seconds / xmllint.seconds);
    }
    return 0;
}
