// SPDX-License-Identifier: MIT
// Implementation of datagram_source.h.
#include "io/datagram_source.h"

#include <cerrno>
#include <cstring>

#include "base/interrupt.h"
#include "io/source.h"

namespace zvprobe {
namespace {

constexpr int kWait_ms = 20;
constexpr size_t kMostBytes = size_t{64} << 10;
constexpr std::chrono::milliseconds kLongestSilence{ZVPTC_DEFAULT_TIMEOUT_MS};

}  // namespace

bool sends_datagrams(const std::string& url) {
    const int index = zvptc_api_getPtcindex(url.c_str(), 0, 0);
    return index == ZVPTC_INDEX_UDP || index == ZVPTC_INDEX_RTP;
}

DatagramSource::DatagramSource(const std::string& url)
    : url_(kWait_ms), buffer_(new uint8_t[kMostBytes]) {
    const std::string error = url_.open(url, UrlHandle::For::kReading);
    if (!error.empty()) throw SourceError(error);
    url_says_timeout_ = std::strstr(url_.query(), "timeout=") != nullptr;
}

std::span<const uint8_t> DatagramSource::next() {
    if (interrupted()) at_end_ = true;
    if (at_end_) return {};
    const int got = url_.read({buffer_.get(), kMostBytes});
    now_ = Clock::now();
    if (got <= 0) {
        look_at_failure(-got);
        return {};
    }
    last_ = now_;
    return {buffer_.get(), static_cast<size_t>(got)};
}

void DatagramSource::look_at_failure(int error) {
    if (error == EINTR) return;
    if (error == ETIMEDOUT) {
        at_end_ = url_says_timeout_ || now_ - last_ >= kLongestSilence;
        return;
    }
    at_end_ = true;
    if (error != 0) error_ = url_.text_of(error);
}

}  // namespace zvprobe
