// SPDX-License-Identifier: MIT
// Implementation of read_source.h. One buffer: room for kept bytes, then page-aligned room for what
// is read, so that reads always go to the same aligned place.
#include "io/read_source.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/interrupt.h"

namespace zvprobe {
namespace {

constexpr size_t kReadSize = size_t{256} << 10;
// The first window is what formats are told by; a datagram alone would be too little.
constexpr size_t kFirstWindow = size_t{64} << 10;
constexpr size_t kAlignment = Source::kMaxKept;

}  // namespace

void ReadSource::FreeMemory::operator()(uint8_t* memory) const {
    std::free(memory);
}

ReadSource::ReadSource() : wanted_(kFirstWindow), most_(kReadSize) {
    void* const memory = std::aligned_alloc(kAlignment, kMaxKept + kReadSize);
    if (memory == nullptr) throw std::bad_alloc();
    buffer_.reset(static_cast<uint8_t*>(memory));
}

void ReadSource::expect_live() {
    live_ = true;
    most_ = kMaxDatagram;
    wanted_ = kMaxKept;
}

std::string ReadSource::text_of(int error) const {
    return std::strerror(error);
}

// The time-out of a live source ends nothing: its sender may come back.
size_t ReadSource::read_some(std::span<uint8_t> room) {
    while (!interrupted()) {
        const int got = read_once(room.first(std::min(room.size(), most_)));
        at_end_ = got == 0;
        if (got >= 0) return static_cast<size_t>(got);
        if (live_ && (got == -EINTR || got == -ETIMEDOUT)) return 0;
        if (got == -EINTR) continue;
        error_ = text_of(-got);
        break;
    }
    stopped_ = error_.empty();
    at_end_ = true;
    return 0;
}

std::span<const uint8_t> ReadSource::next(size_t keep) {
    uint8_t* const read_at = buffer_.get() + kMaxKept;
    uint8_t* const kept_at = read_at - keep;
    std::memmove(kept_at, read_at + filled_ - keep, keep);
    filled_ = 0;
    while (!at_end_ && filled_ < wanted_ && kReadSize - filled_ >= kMaxDatagram) {
        const size_t got = read_some({read_at + filled_, kReadSize - filled_});
        filled_ += got;
        position_ += got;
        if (got == 0 && wanted_ == 1) break;
    }
    wanted_ = 1;
    return {kept_at, keep + filled_};
}

}  // namespace zvprobe
