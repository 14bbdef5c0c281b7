// SPDX-License-Identifier: MIT
// Implementation of text_report.h: what all formats have in common.
#include "render/text_report.h"
#include "base/printable.h"

namespace zvprobe {
namespace {

struct ContentPrinter {
    std::ostream& out;
    const TextOptions& options;

    void operator()(const std::monostate&) const {}
    template <typename Report>
    void operator()(const Report& report) const {
        print_text(out, report, options);
    }
};

}  // namespace

TextOptions text_options_for(int fd, bool statistics, bool resolver) {
    return {Style(wants_colour(fd)), resolver, statistics, is_terminal(fd)};
}

void print_text(std::ostream& out, const SourceReport& report, const TextOptions& options) {
    if (!report.has_content()) return;
    out << options.style.heading(printable(report.name)) << '\n';
    if (report.interrupted)
        out << "  " << options.style.bad("interrupted: the report so far") << '\n';
    std::visit(ContentPrinter{out, options}, report.content);
}

}  // namespace zvprobe
