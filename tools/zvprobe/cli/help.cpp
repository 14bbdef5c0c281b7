// SPDX-License-Identifier: MIT
// Implementation of help.h.
#include "cli/help.h"

#include <algorithm>

namespace zvprobe {
namespace {

constexpr size_t kColumnWidth = 20;
constexpr int kScreenLines = 24;

bool is_root(const CLI::App* app) {
    return app->get_parent() == nullptr;
}

class ShortFormatter : public CLI::Formatter {
  public:
    ShortFormatter() { column_width(kColumnWidth); }

    // There is no room for blank lines in the longest ones.
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
        const bool is_long = std::ranges::count(text, '\n') >= kScreenLines;
        while (is_long && text.find("\n\n") != text.npos)
            text = CLI::detail::find_and_replace(text, "\n\n", "\n");
        return text;
    }

    std::string make_group(std::string group, bool is_positional,
                           std::vector<const CLI::Option*> options) const override {
        if (group == kNotInHelp) return {};
        return CLI::Formatter::make_group(std::move(group), is_positional, std::move(options));
    }

    std::string make_usage(const CLI::App* app, std::string name) const override {
        // A command that has others below it needs one of them.
        if (!is_root(app))
            return CLI::detail::find_and_replace(CLI::Formatter::make_usage(app, std::move(name)),
                                                 "[SUBCOMMAND]", "SUBCOMMAND");
        return "Usage: zvprobe [OPTIONS] SOURCE... (files, URLs, or -) | zvprobe COMMAND --help\n";
    }

    std::string make_positionals(const CLI::App* app) const override {
        return is_root(app) ? std::string() : CLI::Formatter::make_positionals(app);
    }

    // Names and types only: the rest follows the description.
    std::string make_option_opts(const CLI::Option* option) const override {
        if (option->get_positional()) return {};
        if (!option->get_option_text().empty()) return option->get_option_text();
        const std::string type = option->get_type_name();
        return option->get_type_size() == 0 || type.empty() ? std::string() : ' ' + type;
    }

    std::string make_option_desc(const CLI::Option* option) const override {
        const bool say_required = option->get_required() && !option->get_positional();
        return option->get_description() + (say_required ? " (required)" : "");
    }
};

const char* meaning_of(ExitStatus status) {
    switch (status) {
        case kExitOk:
            return "0 ok";
        case kExitFindings:
            return "1 errors (--strict)";
        case kExitUsage:
            return "2 usage";
        case kExitCannotOpen:
            return "3 I/O error";
        case kExitUnknownFormat:
            return "4 unknown format";
    }
    return "";
}

}  // namespace

void use_short_help(CLI::App& root) {
    root.formatter(std::make_shared<ShortFormatter>());
    root.get_help_ptr()->description("Print this help");
}

void add_exit_help(CLI::App& command, std::initializer_list<ExitStatus> statuses,
                   const std::string& before) {
    std::string line = "Exit status";
    const char* separator = ": ";
    for (const ExitStatus status : statuses) {
        line.append(separator).append(meaning_of(status));
        separator = ", ";
    }
    command.footer(before + line);
}

}  // namespace zvprobe
