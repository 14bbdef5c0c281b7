// SPDX-License-Identifier: MIT
// Implementation of small_file.h.
#include "io/small_file.h"

#include <fstream>

#include "base/numbers.h"

namespace zvprobe {

std::string text_of_file(const std::string& path, size_t most) {
    std::ifstream in(path, std::ios::binary);
    std::string text(most + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!in.is_open() || in.bad()) throw UsageError("cannot be read");
    text.resize(static_cast<size_t>(in.gcount()));
    if (text.size() > most) throw UsageError("is too large for a file of settings");
    return text;
}

}  // namespace zvprobe
