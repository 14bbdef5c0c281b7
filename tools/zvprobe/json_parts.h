// SPDX-License-Identifier: MIT
// What the JSON of all formats is made of.
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace zvprobe {

using Json = nlohmann::ordered_json;

inline constexpr char kJsonSchema[] = "zvprobe/1";

inline Json text_or_null(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

}  // namespace zvprobe
