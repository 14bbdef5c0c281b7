// SPDX-License-Identifier: MIT
// Everything the reference survey found out about a stream, and how it becomes JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <set>

#include "indicators.h"

namespace fuzz::reference {

using Json = nlohmann::ordered_json;

// {min, mean, max}, or null without values.
Json statistics_json(const std::vector<double>& values);

// What the last tables say of a PID.
struct Naming {
    std::set<uint16_t> programs;
    bool pmt = false, ecm = false, pcr = false;
    const Stream* stream = nullptr;  // the first in the order of the PAT
    const Pmt* stream_of = nullptr;
};

class Report {
  public:
    explicit Report(Framing framing)
        : framing_(std::move(framing)),
          pids_(watch_continuity(framing_.packets)),
          sections_(gather_sections(framing_.packets)),
          clock_(framing_, pids_),
          accuracy_(measure_accuracy(framing_, pids_, clock_)),
          losses_(places_of_losses(framing_)),
          findings_(replay(framing_, pids_, sections_, clock_)) {
        list_names();
    }

    Json json() const;

  private:
    const Tables& tables() const { return findings_.tables; }
    double ms_at(uint64_t offset) const { return clock_.ticks_at(offset) / 27000; }
    Json rate_json(uint64_t packets) const {
        if (!clock_.known()) return nullptr;
        const auto all = static_cast<double>(framing_.packets.size());
        return clock_.bit_rate() * static_cast<double>(packets) / all;
    }
    Json seconds_json(double ticks) const {
        if (!clock_.known()) return nullptr;
        return ticks / static_cast<double>(kTicksPerSecond);
    }

    void list_names();
    Json sync_json() const;
    Json clock_json() const;
    Json network_json() const;
    Json utc_json() const;
    uint64_t packets_of(const Program& program) const;
    Json program_json(const Program& program) const;
    Json service_json(uint16_t program_number) const;
    Json pid_json(uint16_t pid, const PidFacts& facts) const;
    Json pcr_json(uint16_t pid, const PidFacts& facts) const;
    Json pts_json(uint16_t pid, const PidFacts& facts) const;
    std::optional<std::string> use(uint16_t pid) const;
    Json tables_json() const;
    Json crc_errors_json() const;
    Json indicators_json() const;

    Framing framing_;
    Pids pids_;
    std::vector<Section> sections_;
    Clock clock_;
    std::map<uint16_t, Accuracy> accuracy_;
    std::vector<uint64_t> losses_;
    Findings findings_;
    std::map<uint16_t, Naming> names_;
    std::map<uint16_t, uint64_t> crc_errors_;
};

}  // namespace fuzz::reference
