// SPDX-License-Identifier: MIT
// The text about the PIDs that are no programme's stream.
#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kMostOfOneUse = 8;
constexpr size_t kIndent = 4;

// The order in which people look for them; what is not listed stands before null packets.
constexpr std::array<std::string_view, 19> kOrder = {
    "pat", "cat", "nit", "sdt_bat",  "eit",  "tdt_tot",  "rst", "tsdt", "psip",        "pmt",
    "ecm", "emm", "pcr", "sections", "data", "reserved", "",    "null", "unreferenced"};

size_t rank_of(const Json& pid) {
    const auto use = pid["use"].get<std::string_view>();
    const auto found = std::ranges::find(kOrder, use);
    return static_cast<size_t>((found == kOrder.end() ? std::ranges::find(kOrder, "") : found) -
                               kOrder.begin());
}

std::set<uint16_t> stream_pids(const Json& survey) {
    std::set<uint16_t> pids;
    for (const Json& program : survey["programs"])
        for (const Json& stream : program["streams"])
            pids.insert(stream["pid"].get<uint16_t>());
    return pids;
}

class OtherPids {
  public:
    OtherPids(const Json& survey, const Style& style) : survey_(survey), style_(style) {
        for (const Json& table : survey["tables"])
            if (table["name"].is_string()) tables_[table["pid"]].insert(table["name"]);
    }

    void print(std::ostream& out) {
        const std::vector<const Json*> pids = sorted();
        if (pids.empty()) return;
        table_.add_line("\n  " + style_.heading("other PIDs"));
        for (size_t i = 0; i < pids.size();)
            i = add_use(pids, i);
        table_.print(out, style_);
    }

  private:
    // By use; unreferenced ones by how much they carry.
    std::vector<const Json*> sorted() const {
        const std::set<uint16_t> streams = stream_pids(survey_);
        std::vector<const Json*> pids;
        for (const Json& pid : survey_["pids"])
            if (!streams.contains(pid["pid"].get<uint16_t>())) pids.push_back(&pid);
        std::ranges::stable_sort(pids, [](const Json* a, const Json* b) {
            const size_t rank = rank_of(*a);
            if (rank != rank_of(*b)) return rank < rank_of(*b);
            return rank == kOrder.size() - 1 && (*a)["packets"] > (*b)["packets"];
        });
        return pids;
    }

    // Adds the PIDs of one use; -> where the next use begins
    size_t add_use(const std::vector<const Json*>& pids, size_t begin) {
        const Json& use = (*pids[begin])["use"];
        size_t end = begin;
        uint64_t packets = 0;  // of those that are not shown
        for (; end < pids.size() && (*pids[end])["use"] == use; ++end) {
            if (end < begin + kMostOfOneUse)
                add_pid(*pids[end]);
            else
                packets += (*pids[end])["packets"].get<uint64_t>();
        }
        if (end > begin + kMostOfOneUse)
            table_.add_line(std::string(kIndent, ' ') + "and " +
                            std::to_string(end - begin - kMostOfOneUse) + " more " +
                            use.get<std::string>() + ", " + counted(packets, "packet", "packets") +
                            ", " + share(packets));
        return end;
    }

    void add_pid(const Json& pid) {
        const auto packets = pid["packets"].get<uint64_t>();
        table_.add({pid_text(pid["pid"]), text_of(pid, "use"), std::to_string(packets),
                    share(packets), rate_text(pid), errors_cell(pid), contents(pid)});
    }

    std::string share(uint64_t packets) const {
        const auto all = survey_["packets"].get<double>();
        const double percent = all > 0 ? 100 * static_cast<double>(packets) / all : 0;
        constexpr double kLeast = 0.05;  // is shown as 0.1
        return packets > 0 && percent < kLeast ? "<0.1%" : fixed(percent, 1) + "%";
    }

    // Programmes that name the PID, and tables on it.
    std::string contents(const Json& pid) const {
        std::string text;
        const auto add = [&text](const std::string& part) {
            text += (text.empty() ? "" : ", ") + part;
        };
        if (pid["scrambled_packets"] != 0) add("scrambled");
        for (const Json& number : pid["programs"])
            add("programme " + number.dump());
        const auto found = tables_.find(pid["pid"].get<uint16_t>());
        if (found != tables_.end() && pid["use"] != "pat" && pid["use"] != "pmt")
            for (const std::string& name : found->second)
                add(printable(name));
        return text;
    }

    const Json& survey_;
    const Style& style_;
    std::map<uint16_t, std::set<std::string>> tables_;
    TextTable table_{{{"PID"},
                      {"use"},
                      {"packets", true},
                      {"share", true},
                      {"bit rate", true},
                      {"errors"},
                      {"contents"}},
                     kIndent};
};

}  // namespace

void print_other_pids(std::ostream& out, const TsReport& report, const Style& style) {
    OtherPids(report.survey, style).print(out);
}

}  // namespace zvprobe
