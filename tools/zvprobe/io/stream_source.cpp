// SPDX-License-Identifier: MIT
// One buffer: room for kept bytes, then page-aligned room for what is read, so that reads always go
// to the same aligned place.
#include "io/stream_source.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/interrupt.h"
#include "io/rtp_payload.h"

namespace zvprobe {
namespace {

constexpr size_t kReadSize = size_t{1} << 20;
constexpr size_t kMaxDatagram = size_t{64} << 10;
// The first window is what formats are told by; a datagram alone would be too little.
constexpr size_t kFirstWindow = size_t{64} << 10;
constexpr size_t kAlignment = Source::kMaxKept;

std::string unknown_scheme(const char* scheme) {
    return std::string("unknown protocol \"") + scheme + "\"";
}

}  // namespace

void StreamSource::FreeMemory::operator()(uint8_t* memory) const {
    std::free(memory);
}

StreamSource::StreamSource(const std::string& url) : wanted_(kFirstWindow), most_(kReadSize) {
    if (url.size() >= sizeof context_.url) throw SourceError(std::strerror(ENAMETOOLONG));
    url.copy(context_.url, url.size());
    const int split = zvptc_api_urlSplit_urlctt(&context_);
    if (split < 0) throw SourceError(std::strerror(-split));
    handler_ = zvptc_api_matchByName(context_.protocol);
    if (handler_ == nullptr) throw SourceError(unknown_scheme(context_.protocol));

    void* const memory = std::aligned_alloc(kAlignment, kMaxKept + kReadSize);
    if (memory == nullptr) throw std::bad_alloc();
    buffer_.reset(static_cast<uint8_t*>(memory));

    zvptc_api_init();
    const int opened = handler_->open(&context_);
    if (opened < 0) {
        zvptc_api_deinit();
        throw SourceError(std::strerror(-opened));
    }
}

StreamSource::~StreamSource() {
    handler_->close(&context_);
    zvptc_api_deinit();
}

// The time-out of a live source ends nothing: its sender may come back.
void StreamSource::expect_live() {
    live_ = true;
    most_ = kMaxDatagram;
    wanted_ = kMaxKept;
}

int StreamSource::read_once(std::span<uint8_t> room) {
    const auto size = static_cast<int>(std::min(room.size(), most_));
    const int got = handler_->read(&context_, room.data(), size);
    if (got <= 0 || handler_->ptc_index != ZVPTC_INDEX_RTP) return got;
    const auto payload = rtp_payload(room.first(static_cast<size_t>(got)));
    std::memmove(room.data(), payload.data(), payload.size());
    return payload.empty() ? -EINTR : static_cast<int>(payload.size());
}

size_t StreamSource::read_some(std::span<uint8_t> room) {
    while (!interrupted()) {
        const int got = read_once(room);
        at_end_ = got == 0;
        if (got >= 0) return static_cast<size_t>(got);
        if (live_ && (got == -EINTR || got == -ETIMEDOUT)) return 0;
        if (got == -EINTR) continue;
        error_ = std::strerror(-got);
        break;
    }
    at_end_ = true;
    return 0;
}

std::span<const uint8_t> StreamSource::next(size_t keep) {
    uint8_t* const read_at = buffer_.get() + kMaxKept;
    uint8_t* const kept_at = read_at - keep;
    std::memmove(kept_at, read_at + filled_ - keep, keep);
    filled_ = 0;
    while (!at_end_ && filled_ < wanted_ && kReadSize - filled_ >= kMaxDatagram) {
        const size_t got = read_some({read_at + filled_, kReadSize - filled_});
        filled_ += got;
        read_ += got;
        if (got == 0 && wanted_ == 1) break;
    }
    wanted_ = 1;
    return {kept_at, keep + filled_};
}

}  // namespace zvprobe
