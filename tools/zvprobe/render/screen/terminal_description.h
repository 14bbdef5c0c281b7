// SPDX-License-Identifier: MIT
// What the terminal database says of the terminal, without drawing on it.
#pragma once

#include <string>

namespace zvprobe {

// -> true when its cursor can be moved and its screen be cleared
bool can_be_drawn_on(int fd);

// -> the text that ends drawing: keys, colours, cursor and screen as they were; empty when unknown
std::string leaving_text(int fd);

}  // namespace zvprobe
