// SPDX-License-Identifier: MIT
// The text about programmes and their streams.
#include <algorithm>
#include <map>

#include "ts_text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kMostPrograms = 100;
constexpr size_t kMostStreams = 32;  // of one programme
constexpr size_t kIndent = 4;
constexpr size_t kWidestName = 40;

std::string short_name(const Json& object, const char* name) {
    return cut_to(printable(text_of(object, name)), kWidestName);
}

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : " ") + part;
    return text;
}

// -> "1920x1080i", "25 fps", ...
std::vector<std::string> video_details(const Json& details) {
    std::vector<std::string> parts;
    const auto width = figure(details, "width");
    const auto height = figure(details, "height");
    if (width && height)
        parts.push_back(number_text(*width) + "x" + number_text(*height) +
                        (details["interlaced"] == true ? "i" : ""));
    if (const auto rate = figure(details, "frame_rate"))
        parts.push_back(number_text(std::round(*rate * 1000) / 1000) + " fps");
    std::string profile = printable(text_of(details, "profile"));
    if (const std::string level = printable(text_of(details, "level")); !level.empty())
        profile += "@" + level;
    if (!profile.empty()) parts.push_back(profile);
    // What nearly every stream has needs no words.
    if (const auto depth = figure(details, "bit_depth"); depth && *depth != 8)
        parts.push_back(number_text(*depth) + " bit");
    const std::string chroma = printable(text_of(details, "chroma"));
    if (!chroma.empty() && chroma != "4:2:0") parts.push_back(chroma);
    return parts;
}

// -> "48 kHz", "stereo", ...
std::vector<std::string> audio_details(const Json& details) {
    std::vector<std::string> parts;
    if (const auto rate = figure(details, "sample_rate"))
        parts.push_back(number_text(*rate / 1000) + " kHz");
    if (const auto channels = figure(details, "channels"))
        parts.push_back(*channels == 1   ? "mono"
                        : *channels == 2 ? "stereo"
                                         : number_text(*channels) + " channels");
    if (const std::string profile = printable(text_of(details, "profile")); !profile.empty())
        parts.push_back(profile);
    return parts;
}

std::string details_text(const Json& stream, const Json* pid) {
    std::vector<std::string> parts;
    if (pid != nullptr && (*pid)["scrambled_packets"] != 0) parts.emplace_back("scrambled");
    const Json& details = stream["details"];
    if (!details.is_null()) {
        const auto more =
            details.contains("width") ? video_details(details) : audio_details(details);
        parts.insert(parts.end(), more.begin(), more.end());
    }
    return joined(parts);
}

std::string languages_text(const Json& stream) {
    std::string text;
    for (const Json& language : stream["languages"])
        text += (text.empty() ? "" : ",") + language.get<std::string>();
    return cut_to(printable(text), 11);
}

class Programs {
  public:
    Programs(const Json& survey, const Style& style) : survey_(survey), style_(style) {
        for (const Json& pid : survey["pids"])
            pids_[pid["pid"]] = &pid;
    }

    void print(std::ostream& out) {
        const Json& programs = survey_["programs"];
        out << '\n';
        if (programs.empty()) {
            begin_line(out, style_, "programmes")
                << (survey_["transport_stream_id"].is_null() ? "none: no PAT came\n"
                                                             : "none: the PAT names none\n");
            return;
        }
        const size_t shown = std::min(programs.size(), kMostPrograms);
        for (size_t i = 0; i < shown; ++i)
            add_program(programs[i]);
        const uint64_t left_out = survey_.value("programs_left_out", uint64_t{0});
        if (const uint64_t more = programs.size() - shown + left_out; more > 0)
            table_.add_line("  and " + counted(more, "more programme", "more programmes"));
        table_.print(out, style_);
    }

  private:
    void add_program(const Json& program) {
        const std::string title = "  programme " + program["program_number"].dump() + "  ";
        table_.add_line(style_.heading(title) +
                        wrapped(parts_of(program), title.size(), kLabelEnd));
        const Json& streams = program["streams"];
        const size_t shown = std::min(streams.size(), kMostStreams);
        for (size_t i = 0; i < shown; ++i)
            add_stream(streams[i]);
        if (streams.size() > shown)
            table_.add_line(std::string(kIndent, ' ') + "and " +
                            counted(streams.size() - shown, "more stream", "more streams"));
    }

    static std::vector<std::string> parts_of(const Json& program) {
        std::vector<std::string> parts;
        if (const Json& service = program["service"]; !service.is_null()) {
            parts.push_back('"' + short_name(service, "name") + '"');
            if (!text_of(service, "provider").empty())
                parts.push_back(short_name(service, "provider"));
            const std::string type = short_name(service, "type_name");
            parts.push_back(type.empty() ? "service type " + service["type"].dump() : type);
        }
        if (const std::string rate = rate_text(program); !rate.empty()) parts.push_back(rate);
        if (program["scrambled"] == true) parts.emplace_back("scrambled");
        add_pids(program, parts);
        for (const Json& system : program["ca_system_ids"])
            parts.push_back("CA system " + hex(system.get<uint32_t>()));
        if (const Json& now = program["now"]; !now.is_null())
            parts.push_back("now \"" + short_name(now, "title") + '"');
        return parts;
    }

    static void add_pids(const Json& program, std::vector<std::string>& parts) {
        parts.push_back("PMT " + pid_text(program["pmt_pid"]));
        const bool has_pmt = !program["pmt_version"].is_null();
        if (!has_pmt) parts.back() += ", which did not come";
        if (!program["pcr_pid"].is_null())
            parts.back() += ", PCR " + pid_text(program["pcr_pid"]);
        else if (has_pmt)
            parts.back() += ", no PCR";
    }

    void add_stream(const Json& stream) {
        const auto found = pids_.find(stream["pid"].get<uint16_t>());
        const Json* const pid = found == pids_.end() ? nullptr : found->second;
        std::string codec = text_of(stream, "codec");
        if (codec.empty()) codec = "type " + hex_byte(stream["stream_type"]);
        table_.add({pid_text(stream["pid"]), text_of(stream, "kind"), codec, languages_text(stream),
                    pid == nullptr ? std::string() : rate_text(*pid),
                    pid == nullptr ? Cell("no packet") : errors_cell(*pid),
                    details_text(stream, pid)});
    }

    const Json& survey_;
    const Style& style_;
    std::map<uint16_t, const Json*> pids_;
    TextTable table_{
        {{"PID"}, {"kind"}, {"codec"}, {"language"}, {"bit rate", true}, {"errors"}, {"details"}},
        kIndent};
};

}  // namespace

void print_programs(std::ostream& out, const TsReport& report, const Style& style) {
    Programs(report.survey, style).print(out);
}

}  // namespace zvprobe
