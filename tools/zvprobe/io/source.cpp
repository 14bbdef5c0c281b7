// SPDX-License-Identifier: MIT
// Chooses the reader: files and standard input are read by the tool itself, everything else through
// the protocol library.
#include "io/source.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "io/file_source.h"
#include "io/stream_source.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

constexpr std::string_view kFileScheme = "file:";

bool names_scheme(const std::string& name) {
    return name.size() >= kFileScheme.size() &&
           strncasecmp(name.c_str(), kFileScheme.data(), kFileScheme.size()) == 0;
}

// Plain paths may be longer than a URL.
std::string path_of_url(const std::string& url) {
    ZvptcUrlInfo info{};
    const int split = zvptc_api_urlSplit_urlinfo(&info, url.c_str());
    if (split < 0) throw SourceError(std::strerror(-split));
    return info.path;
}

}  // namespace

std::string Source::error() const {
    const std::string why = reason();
    if (why.empty()) return {};
    return "byte " + std::to_string(position()) + ": reading stopped: " + why;
}

std::unique_ptr<Source> open_source(const std::string& name) {
    if (name == "-") return std::make_unique<FileSource>(STDIN_FILENO);
    if (name.empty() || zvptc_api_getPtcindex(name.c_str(), 0, 0) != ZVPTC_INDEX_FILE)
        return std::make_unique<StreamSource>(name);
    return std::make_unique<FileSource>(names_scheme(name) ? path_of_url(name) : name);
}

}  // namespace zvprobe
