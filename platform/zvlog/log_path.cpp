// SPDX-License-Identifier: MIT
// Implementation of log_path.h.

#include "zvlog/log_path.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zvlog {

namespace {

constexpr mode_t kDirectoryMode = 0755;

bool is_set(const char* text) {
    return text != nullptr && *text != '\0';
}

const char* choose_directory(const char* dir) {
    const char* override_dir = std::getenv("ZVLOG_DIR");
    if (is_set(override_dir)) return override_dir;
    return is_set(dir) ? dir : ".";
}

}  // namespace

bool build_path(Path& path, const char* dir, const char* file) {
    const int length = *file == '/'
                           ? std::snprintf(path, sizeof path, "%s", file)
                           : std::snprintf(path, sizeof path, "%s/%s", choose_directory(dir), file);
    if (length >= 0 && static_cast<size_t>(length) < sizeof path) return true;
    errno = ENAMETOOLONG;
    return false;
}

void make_parent_directories(const Path& path) {
    Path parent;
    std::memcpy(parent, path, sizeof parent);
    for (char* slash = std::strchr(parent + 1, '/'); slash != nullptr;
         slash = std::strchr(slash + 1, '/')) {
        *slash = '\0';
        ::mkdir(parent, kDirectoryMode);
        *slash = '/';
    }
}

}  // namespace zvlog
