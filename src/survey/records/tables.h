// SPDX-License-Identifier: MIT
// One record a table: what came of it, by PID, table_id and table_id_extension.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>

#include "survey/psi/section.h"
#include "survey/records/indicators.h"
#include "survey/time/extremes.h"

namespace zv::survey {

struct TableKey {
    uint16_t pid;
    uint8_t table_id;
    std::optional<uint16_t> extension;  // nothing in short sections

    auto operator<=>(const TableKey&) const = default;
};

// When the sections of a table came.
struct TableTiming {
    double last_begin_s = kNoTime;  // of number 0; of any short section
    double last_end_s = kNoTime;
    Extremes intervals_s;
};

class TableRecord {
  public:
    TableTiming timing;

    void count(const Section& section) {
        ++sections_;
        if (!section.is_long()) return;
        version_ = section.version();
        last_section_number_ = section.last_number();
        const uint32_t bit = uint32_t{1} << section.version();
        if (!(versions_seen_ & bit)) versions_[version_count_++] = section.version();
        versions_seen_ |= bit;
    }

    uint64_t sections() const { return sections_; }
    std::optional<uint8_t> version() const { return version_; }
    std::optional<uint8_t> last_section_number() const { return last_section_number_; }

    // In the order of their first coming.
    std::span<const uint8_t> versions() const { return {versions_.data(), version_count_}; }

  private:
    uint64_t sections_ = 0;
    std::optional<uint8_t> version_;
    std::optional<uint8_t> last_section_number_;
    uint32_t versions_seen_ = 0;
    uint8_t version_count_ = 0;
    std::array<uint8_t, 32> versions_{};
};

class Tables {
  public:
    static constexpr size_t kMostTables = 16384;

    // Counts a sound section. -> its table's record; null when there are too many tables
    TableRecord* see(uint16_t pid, const Section& section) {
        TableKey key = {pid, section.table_id(), std::nullopt};
        if (section.is_long()) key.extension = section.extension();
        auto found = records_.find(key);
        if (found == records_.end()) {
            if (records_.size() >= kMostTables) {
                ++sections_left_out_;
                return nullptr;
            }
            found = records_.emplace(key, TableRecord{}).first;
        }
        found->second.count(section);
        return &found->second;
    }

    const std::map<TableKey, TableRecord>& records() const { return records_; }

    // Some sections were not timed: what comes next is compared with none before.
    void forget_times() {
        for (auto& [key, record] : records_)
            record.timing.last_begin_s = record.timing.last_end_s = kNoTime;
    }

    // -> sections of tables that have no record
    uint64_t sections_left_out() const { return sections_left_out_; }

  private:
    std::map<TableKey, TableRecord> records_;
    uint64_t sections_left_out_ = 0;
};

}  // namespace zv::survey
