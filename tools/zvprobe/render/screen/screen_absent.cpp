// SPDX-License-Identifier: MIT
// Implementation of screen.h where ncurses is missing.
#include "render/screen/screen.h"

namespace zvprobe {

bool can_open_screen() {
    return false;
}

std::unique_ptr<Screen> open_screen() {
    return nullptr;
}

}  // namespace zvprobe
