// SPDX-License-Identifier: MIT
// Implementation of view_state.h.
#include "render/screen/view_state.h"

#include <algorithm>

namespace zvprobe {
namespace {

constexpr size_t kPage = 10;

SortBy next_order(SortBy order) {
    switch (order) {
        case SortBy::kPid:
            return SortBy::kRate;
        case SortBy::kRate:
            return SortBy::kErrors;
        case SortBy::kErrors:
            break;
    }
    return SortBy::kPid;
}

}  // namespace

void ViewState::press(Key key) {
    switch (key) {
        case Key::kSort:
            sort_by = next_order(sort_by);
            first_pid = 0;
            break;
        case Key::kFreeze:
            frozen = !frozen;
            break;
        case Key::kHelp:
            help = !help;
            break;
        case Key::kUp:
            first_pid -= std::min<size_t>(first_pid, 1);
            break;
        case Key::kDown:
            ++first_pid;
            break;
        case Key::kPageUp:
            first_pid -= std::min(first_pid, kPage);
            break;
        case Key::kPageDown:
            first_pid += kPage;
            break;
        case Key::kHome:
            first_pid = 0;
            break;
        case Key::kReset:
        case Key::kQuit:
        case Key::kOther:
            break;
    }
}

}  // namespace zvprobe
