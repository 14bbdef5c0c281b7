// SPDX-License-Identifier: MIT
// Implementation of complaint.h.
#include "render/complaint.h"

#include <iostream>

#include "base/printable.h"
#include "render/progress.h"

namespace zvprobe {

void complain(const std::string& name, const std::string& message) {
    wipe_progress();
    // In one piece: other threads may complain at the same time.
    const std::string shown = name.empty() ? "\"\"" : printable(name);
    std::cerr << "zvprobe: " + shown + ": " + message + '\n';
}

}  // namespace zvprobe
