// SPDX-License-Identifier: MIT
// A table in force: the sections of its latest version, as they came.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "survey/psi/section.h"

namespace zv::survey {

class StoredTable {
  public:
    enum class Change {
        kNone,        // these bytes were known
        kFirst,       // the first section of all
        kNewVersion,  // another version, or another extension: what was stored is gone
        kContent,     // another section of the version, or other bytes
    };

    using Sections = std::map<uint8_t, std::vector<uint8_t>>;

    // replaced  out  the sections that this one replaces; may be null
    Change store(const Section& section, Sections* replaced = nullptr) {
        const Change change = change_by(section);
        if (change == Change::kNone) return change;
        Sections before;
        if (change == Change::kNewVersion)
            before.swap(sections_);
        else if (auto node = sections_.extract(section.number()))
            before.insert(std::move(node));
        version_ = section.version();
        extension_ = section.extension();
        // Copied first: without memory there is no entry, rather than one without bytes.
        const auto bytes = section.bytes();
        sections_.insert_or_assign(section.number(),
                                   std::vector<uint8_t>(bytes.begin(), bytes.end()));
        if (replaced) replaced->swap(before);
        return change;
    }

    bool empty() const { return sections_.empty(); }
    std::optional<uint16_t> extension() const { return extension_; }
    std::optional<uint8_t> version() const { return version_; }

    // Calls see(section) for each section, by number.
    template <typename See>
    void for_each(See see) const {
        for (const auto& [number, bytes] : sections_)
            see(Section(bytes));
    }

  private:
    Change change_by(const Section& section) const {
        if (empty()) return Change::kFirst;
        if (version_ != section.version() || extension_ != section.extension())
            return Change::kNewVersion;
        const auto known = sections_.find(section.number());
        if (known == sections_.end()) return Change::kContent;
        return std::ranges::equal(known->second, section.bytes()) ? Change::kNone
                                                                  : Change::kContent;
    }

    std::optional<uint8_t> version_;
    std::optional<uint16_t> extension_;
    Sections sections_;
};

}  // namespace zv::survey
