// SPDX-License-Identifier: MIT
// The text about programmes and their streams.
#include <algorithm>
#include <map>

#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kMostPrograms = 100;
constexpr size_t kMostStreams = 32;  // of one programme
constexpr size_t kIndent = 4;
constexpr size_t kWidestName = 40;

std::string short_name(const Json& object, const char* name) {
    return cut_to(printable(text_of(object, name)), kWidestName);
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
        for (const char* const when : {"now", "next"})
            if (const Json& event = program[when]; !event.is_null())
                parts.push_back(std::string(when) + " \"" + short_name(event, "title") + '"');
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
        table_.add({pid_text(stream["pid"]), text_of(stream, "kind"),
                    pid == nullptr ? std::string() : rate_text(*pid),
                    pid == nullptr ? Cell("no packet") : errors_cell(*pid),
                    stream_text(stream, pid != nullptr && (*pid)["scrambled_packets"] != 0)});
    }

    const Json& survey_;
    const Style& style_;
    std::map<uint16_t, const Json*> pids_;
    TextTable table_{{{"PID"}, {"kind"}, {"bit rate", true}, {"errors"}, {"stream"}}, kIndent};
};

}  // namespace

void print_programs(std::ostream& out, const TsReport& report, const Style& style) {
    Programs(report.survey, style).print(out);
}

}  // namespace zvprobe
