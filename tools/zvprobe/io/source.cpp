// SPDX-License-Identifier: MIT
// Chooses the reader: regular files are mapped, everything else is read through the protocol
// library.
#include "io/source.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "io/mapped_source.h"
#include "io/stream_source.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

constexpr char kStandardInput[] = "-";

// -> the path when `name` is a path or a file URL. Names too long for a URL can only be paths.
std::optional<std::string> path_of(const std::string& name) {
    if (name == kStandardInput) return std::nullopt;
    ZvptcUrlInfo info{};
    const int split = zvptc_api_urlSplit_urlinfo(&info, name.c_str());
    if (split == -ENAMETOOLONG) return name;
    if (split < 0 || info.ptc_index != ZVPTC_INDEX_FILE) return std::nullopt;
    return info.path;
}

}  // namespace

std::string Source::error() const {
    const std::string why = reason();
    if (why.empty()) return {};
    return "byte " + std::to_string(position()) + ": reading stopped: " + why;
}

std::unique_ptr<Source> open_source(const std::string& name) {
    if (const auto path = path_of(name)) {
        struct stat status {};
        if (stat(path->c_str(), &status) != 0) throw SourceError(std::strerror(errno));
        if (S_ISDIR(status.st_mode)) throw SourceError(std::strerror(EISDIR));
        // Files that claim to be empty may still have bytes to read, as below /proc.
        if (S_ISREG(status.st_mode) && status.st_size > 0) {
            if (auto mapped = MappedSource::open(*path)) return mapped;
        }
    }
    return std::make_unique<StreamSource>(name);
}

}  // namespace zvprobe
