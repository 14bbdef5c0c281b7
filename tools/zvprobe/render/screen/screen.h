// SPDX-License-Identifier: MIT
// The terminal as a screen: draws lines in place and reads keys. The terminal is as it was before
// when the object is gone, and also when a signal ends or stops the process.
#pragma once

#include <memory>
#include <vector>

#include "render/screen/layout.h"
#include "render/screen/view_state.h"

namespace zvprobe {

class Screen {
  public:
    virtual ~Screen() = default;

    virtual ScreenSize size() const = 0;
    virtual void draw(const std::vector<Line>& lines) = 0;

    // -> true and the next key that was pressed; false when none was. A change of size is
    //    Key::kOther, and so is that the process goes on after a stop. Never waits.
    virtual bool next_key(Key& key) = 0;
};

// -> true when standard output is the terminal of this process, in the foreground, and can be drawn
//    on
bool can_open_screen();

// At most one is open at a time. -> null when it cannot be opened after all
std::unique_ptr<Screen> open_screen();

}  // namespace zvprobe
