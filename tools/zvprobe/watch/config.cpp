// SPDX-License-Identifier: MIT
// Implementation of config.h. The TOML reader is given a line at a time, below the head of its
// section: it does not tell which line an item came from.
#include "watch/config.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "base/numbers.h"
#include "base/passwords.h"
#include "base/printable.h"
#include "io/small_file.h"
#include "ts/indicator_limits.h"
#include "watch/toml_text.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

constexpr size_t kLargestFile = size_t{4} << 20;
constexpr size_t kMostSources = 4096;
constexpr size_t kMostLabels = 16;
constexpr size_t kLongestName = 64;
constexpr size_t kLongestUrl = 1023;
constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr char kDigits[] = "0123456789";

// Labels that the metrics have themselves.
const std::set<std::string> kOwnLabels = {
    "source",   "pid",  "table_id", "priority",       "indicator", "use", "codec",
    "language", "name", "provider", "program_number", "instance",  "job"};

bool is_made_of(std::string_view text, const std::string& characters) {
    return text.find_first_not_of(characters) == text.npos;
}

void check_source_name(const std::string& name) {
    if (name.empty() || name.size() > kLongestName ||
        !is_made_of(name, std::string(kLetters) + kDigits + "_-"))
        throw UsageError("section " + in_quotes(name) +
                         ": a name has 1 to 64 letters, digits, _ and -");
}

void check_label(const std::string& name) {
    const bool good = name.size() <= kLongestName && !name.starts_with("__") &&
                      !is_made_of(name.substr(0, 1), kDigits) &&
                      is_made_of(name, std::string(kLetters) + kDigits + "_");
    if (!good) throw UsageError("label " + in_quotes(name) + ": no name of a label");
    if (kOwnLabels.contains(name))
        throw UsageError("label " + in_quotes(name) + " is one that metrics have themselves");
}

// A token of a web server may be in the query; that of any other URL is for the protocol library.
std::string shown(const std::string& url) {
    const bool asks = zvptc_api_matchByUrlAndIndex(url.c_str(), ZVPTC_INDEX_HTTP) != 0;
    return without_passwords(asks ? without_query_values(url) : url);
}

// -> what an address needs and does not have, without which it can never be opened; null: nothing
const char* missing_in(const ZvptcUrlInfo& url) {
    const bool is_http = url.ptc_index == ZVPTC_INDEX_HTTP;
    if (url.ptc_index == ZVPTC_INDEX_FILE) return nullptr;
    if ((is_http || url.ptc_index == ZVPTC_INDEX_TCP) && url.hostname[0] == '\0') return "no host";
    return is_http || url.port > 0 ? nullptr : "no port";
}

// Standard input cannot be opened again, and the next file read would be another one.
void check_url(const std::string& url) {
    if (url.empty() || url == "-" || url.size() > kLongestUrl)
        throw UsageError("url " + in_quotes(shown(url)) + ": no URL that can be watched");
    ZvptcUrlInfo info{};
    if (zvptc_api_urlSplit_urlinfo(&info, url.c_str()) < 0)
        throw UsageError("url " + in_quotes(shown(url)) + ": malformed");
    if (info.ptc_index < 0)
        throw UsageError("url " + in_quotes(without_passwords(without_query_values(url))) +
                         ": unknown protocol " + in_quotes(info.scheme));
    if (const char* const missing = missing_in(info))
        throw UsageError("url " + in_quotes(shown(url)) + " has " + missing);
}

class Reader {
  public:
    explicit Reader(const ZvSurveyLimits& defaults) : defaults_(defaults) {}

    // Throws UsageError.
    void take(const std::string& line) {
        ++line_;
        const std::string text = CLI::detail::trim_copy(line);
        if (text.empty() || text.front() == '#' || text.front() == ';') return;
        if (text.front() == '[') return begin_section(text);
        // The reader would take a key alone for one that is "true".
        if (text.substr(0, text.find('#')).find('=') == text.npos)
            throw UsageError("not understood: " + in_quotes(text));
        take_value(text, CLI::detail::trim_copy(text.substr(text.find('=') + 1)));
    }

    // Throws UsageError when something is missing.
    std::vector<SourceSettings> finish() {
        for (size_t i = 0; i < sources_.size(); ++i) {
            if (!sources_[i].url.empty()) continue;
            line_ = first_lines_[i];
            throw UsageError("source " + in_quotes(sources_[i].name) + " has no url");
        }
        return std::move(sources_);
    }

    // -> number of the line that was taken last, or that has what finish() threw for
    size_t line() const { return line_; }

  private:
    // line: has the value at its end. A text in quotation marks stays out of the reader's sight.
    void take_value(const std::string& line, const std::string& value) {
        const std::optional<std::string> quoted = quoted_text(value);
        const std::string key = line.substr(0, line.find('=') + 1);
        const CLI::ConfigItem item = item_of(quoted ? key + " text" : line);
        if (quoted) return set(item.parents, item.name, *quoted);
        if (value.empty() || value[0] == '#')
            throw UsageError(in_quotes(item.name) + " has no value");
        if (item.parents.size() == 1 && item.name == "url" && is_other_than_text(value))
            throw UsageError("url " + in_quotes(value) + " is no text");
        if (item.inputs.size() != 1 || value.starts_with('[') ||
            item.inputs[0].find('"') != std::string::npos)
            throw UsageError(in_quotes(item.name) + " is not one value");
        set(item.parents, item.name, item.inputs[0]);
    }

    // "[name]", with a comment after it perhaps.
    void begin_section(const std::string& text) {
        const size_t end = text.find(']');
        const std::string rest =
            end == text.npos ? "" : CLI::detail::trim_copy(text.substr(end + 1));
        if (end == text.npos || text.starts_with("[[") || (!rest.empty() && rest[0] != '#'))
            throw UsageError("no head of a section: " + in_quotes(text));
        head_ = text.substr(0, end + 1);
        const std::vector<std::string> path = item_of("any = 1").parents;
        if (path.empty())
            throw UsageError("section " + in_quotes(head_) +
                             (CLI::detail::to_lower(head_).find("default") != head_.npos
                                  ? ": the name default is reserved"
                                  : " has no name"));
        check_source_name(path[0]);
        if (path.size() > 2 || (path.size() == 2 && path[1] != "labels" && path[1] != "limits"))
            throw UsageError("section " + in_quotes(head_) +
                             ": a source has the parts labels and limits");
        if (!heads_.insert(path).second)
            throw UsageError("section " + in_quotes(head_) + " stands there twice");
        add_source(path[0]);
    }

    void add_source(const std::string& name) {
        if (source_of(name) != sources_.end()) return;
        if (sources_.size() >= kMostSources) throw UsageError("more than 4096 sources");
        sources_.push_back({name, "", {}, defaults_});
        first_lines_.push_back(line_);
    }

    std::vector<SourceSettings>::iterator source_of(const std::string& name) {
        return std::ranges::find(sources_, name, &SourceSettings::name);
    }

    // "limits.pat = 1" in [name] is "pat = 1" in [name.limits].
    void set(const std::vector<std::string>& path, const std::string& name,
             const std::string& value) {
        if (head_.empty()) throw UsageError(in_quotes(name) + " stands before the first section");
        if (path.size() > 2)
            throw UsageError(in_quotes(name) + " stands below " + in_quotes(path[2]) +
                             ", which is one value");
        const std::string part = path.size() > 1 ? path[1] : "";
        if (!seen_.insert(path[0] + '.' + part + '.' + name).second)
            throw UsageError(in_quotes(name) + " is set twice");
        SourceSettings& source = *source_of(path[0]);
        if (part == "labels")
            set_label(source, name, value);
        else if (part == "limits")
            set_limit(source.limits, name, value);
        else if (path.size() == 1 && name == "url")
            check_url(source.url = value);
        else
            throw UsageError("no key " + in_quotes(name) + "; a source has url, labels and limits");
    }

    static void set_label(SourceSettings& source, const std::string& name,
                          const std::string& value) {
        check_label(name);
        if (source.labels.size() >= kMostLabels) throw UsageError("more than 16 labels");
        if (as_name(value) != value || without_passwords(value) != value)
            throw UsageError("label " + in_quotes(name) + " has a value that cannot be printed");
        source.labels[name] = value;
    }

    CLI::ConfigItem item_of(const std::string& line) const {
        std::istringstream in(head_ + '\n' + line + '\n');
        // The reader also tells where sections begin and end.
        for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(in))
            if (item.name != "++" && item.name != "--") return item;
        throw UsageError("not understood: " + in_quotes(line));
    }

    const ZvSurveyLimits defaults_;
    std::string head_;  // of the section
    std::set<std::vector<std::string>> heads_;
    std::set<std::string> seen_;  // keys, with their sources and parts
    std::vector<SourceSettings> sources_;
    std::vector<size_t> first_lines_;  // of each source
    size_t line_ = 0;
};

}  // namespace

std::vector<SourceSettings> sources_of_text(std::string_view text, const std::string& name,
                                            const ZvSurveyLimits& defaults) {
    Reader reader(defaults);
    constexpr std::string_view kByteOrderMark = "\uFEFF";
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    std::istringstream in{std::string(text)};
    try {
        for (std::string line; std::getline(in, line);)
            reader.take(line);
        return reader.finish();
    } catch (const UsageError& error) {
        throw UsageError(printable(name) + ":" + std::to_string(reader.line()) + ": " +
                         error.what());
    } catch (const CLI::Error& error) {
        throw UsageError(printable(name) + ":" + std::to_string(reader.line()) + ": " +
                         printable(error.what()));
    }
}

std::vector<SourceSettings> sources_of_file(const std::string& path,
                                            const ZvSurveyLimits& defaults) {
    std::string text;
    try {
        text = text_of_regular_file(path, kLargestFile);
    } catch (const UsageError& error) {
        throw UsageError(printable(path) + ": " + error.what());
    }
    std::vector<SourceSettings> sources = sources_of_text(text, path, defaults);
    if (sources.empty()) throw UsageError(printable(path) + ": names no source");
    return sources;
}

std::vector<SourceSettings> sources_of_urls(const std::vector<std::string>& urls,
                                            const ZvSurveyLimits& limits) {
    std::vector<SourceSettings> sources;
    std::set<std::string> seen, names;
    std::map<std::string, int> counts;
    for (const std::string& url : urls) {
        check_url(url);
        if (!seen.insert(url).second)
            throw UsageError("source " + in_quotes(shown(url)) + " comes twice");
        // Those that differ only in what is hidden are told apart by their number.
        const std::string base = as_name(shown(url));
        std::string name = base;
        for (int& count = counts[base]; !names.insert(name).second;)
            name = base + " (" + std::to_string(++count + 1) + ")";
        sources.push_back({name, url, {}, limits});
    }
    return sources;
}

}  // namespace zvprobe
