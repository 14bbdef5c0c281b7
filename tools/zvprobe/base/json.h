// SPDX-License-Identifier: MIT
// What the JSON of all formats is made of.
#pragma once

#include <string>
#include <string_view>

#include "base/capped_list.h"
#include "base/json_memory.h"

namespace zvprobe {

inline constexpr char kJsonSchema[] = "zvprobe/2";

inline Json text_or_null(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

// -> what was kept of a list
template <typename Item, typename ToJson>
Json list_json(const CappedList<Item>& list, ToJson to_json) {
    Json array = Json::array();
    for (const Item& item : list.kept())
        array.push_back(to_json(item));
    return array;
}

inline Json loss_json(const Gap& loss) {
    return {{"offset", loss.offset}, {"skipped_bytes", loss.bytes}};
}

// -> the text of it. Names from streams and of sources need not be UTF-8, and may hold characters
//    that control a terminal: those become U+FFFD, these are escaped.
// indent  spaces a level; -1 for one line
std::string json_text(const Json& json, int indent);

}  // namespace zvprobe
