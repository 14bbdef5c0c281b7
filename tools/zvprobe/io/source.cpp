// SPDX-License-Identifier: MIT
// Chooses the reader: files and standard input are read by the tool itself, network URLs through the
// protocol library.
#include "io/source.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "io/file_source.h"
#include "io/read_source.h"
#include "io/url_handle.h"
#include "rtp/rtp_header.h"
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

// -> what a datagram of an rtp URL carries: one that is no RTP as it is, RTCP nothing
std::span<const uint8_t> payload_of(std::span<const uint8_t> datagram) {
    if (zv::is_rtcp(datagram)) return {};
    const auto packet = zv::parse_rtp(datagram);
    return packet ? packet->payload : datagram;
}

// A network URL.
class StreamSource : public ReadSource {
  public:
    explicit StreamSource(const std::string& url);  // throws SourceError
    void expect_live() override;
    Origin origin() const override { return Origin::kNetwork; }
    std::optional<uint64_t> size() const override { return std::nullopt; }

  protected:
    int read_once(std::span<uint8_t> room) override;
    std::string text_of(int error) const override { return url_.text_of(error); }

  private:
    UrlHandle url_;
    size_t most_ = SIZE_MAX;  // bytes to wait for at once
};

// A connection gives as much as is asked for, however long that takes: of a slow stream, seconds.
constexpr size_t kLivePiece = size_t{7} * 188;

StreamSource::StreamSource(const std::string& url) {
    const std::string error = url_.open(url, UrlHandle::For::kReading);
    if (!error.empty()) throw SourceError(error);
}

void StreamSource::expect_live() {
    ReadSource::expect_live();
    if (url_.socket() < 0) most_ = kLivePiece;  // no datagrams
}

int StreamSource::read_once(std::span<uint8_t> room) {
    const int got = url_.read(room.first(std::min(room.size(), most_)));
    if (got <= 0 || url_.protocol() != ZVPTC_INDEX_RTP) return got;
    const auto payload = payload_of(room.first(static_cast<size_t>(got)));
    if (payload.empty()) return -EINTR;
    std::memmove(room.data(), payload.data(), payload.size());
    return static_cast<int>(payload.size());
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
