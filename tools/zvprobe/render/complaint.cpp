// SPDX-License-Identifier: MIT
// Implementation of complaint.h.
#include "render/complaint.h"

#include <iostream>

#include "base/printable.h"
#include "render/progress.h"

namespace zvprobe {

void complain(const std::string& name, const std::string& message) {
    wipe_progress();
    std::cerr << "zvprobe: " << (name.empty() ? "\"\"" : printable(name)) << ": " << message
              << '\n';
}

}  // namespace zvprobe
