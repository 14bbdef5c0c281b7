// SPDX-License-Identifier: MIT
// Implementation of source_names.h.
#include "commands/source_names.h"

#include <new>
#include <utility>

#include "base/patience.h"

namespace zvprobe {

SourceNames::SourceNames(const std::vector<std::string>& given, const std::string& list,
                         char separator)
    : given_(given) {
    if (!list.empty()) list_.emplace(list, separator);
}

std::optional<NamedSource> SourceNames::next() noexcept {
    if (!error_.empty()) return std::nullopt;
    try {
        if (auto name = patiently([this] { return next_name(); }))
            return NamedSource{index_++, std::move(*name)};
    } catch (const std::bad_alloc&) {
        error_ = "out of memory";  // so short that it needs none
    }
    return std::nullopt;
}

std::optional<std::string> SourceNames::next_name() {
    if (index_ < given_.size()) return given_[index_];
    if (!list_) return std::nullopt;
    std::optional<std::string> name = list_->next();
    if (!name) error_ = list_->error();
    return name;
}

}  // namespace zvprobe
