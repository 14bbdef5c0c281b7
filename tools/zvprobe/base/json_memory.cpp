// SPDX-License-Identifier: MIT
// Implementation of json_memory.h.
#include "base/json_memory.h"

#include <functional>
#include <mutex>

namespace zvprobe {
namespace {

// Memory that is there from the beginning, and all free again when all pieces have been given back.
// Nothing is written there until it is needed, so that it takes no more than addresses.
template <size_t kSize>
class Spare {
  public:
    // size: a multiple of what is to be aligned. -> null when it does not suffice
    void* take(size_t size) {
        if (size > kSize - used_) return nullptr;
        ++pieces_;
        used_ += size;
        return bytes_ + used_ - size;
    }

    // -> true for the last piece
    bool give_back() {
        if (--pieces_ > 0) return false;
        used_ = 0;
        return true;
    }

    bool has(const void* place) const {
        const std::less<const void*> before;
        return !before(place, bytes_) && before(place, bytes_ + kSize);
    }

  private:
    size_t used_ = 0;
    size_t pieces_ = 0;
    alignas(std::max_align_t) std::byte bytes_[kSize];
};

Spare<size_t{64} << 10> lists;
std::mutex for_lists;

// The longest list of a report has 16384 tables; a vector that grows takes four times as many.
Spare<(size_t{128} << 10) * sizeof(Json)> parts;
std::mutex for_parts;  // held by the thread that has pieces of it
thread_local bool has_parts = false;

Json* take_parts(size_t size) {
    if (!has_parts) for_parts.lock();
    void* const place = parts.take(size);
    if (place == nullptr && !has_parts) for_parts.unlock();
    if (place == nullptr) throw std::bad_alloc();
    has_parts = true;
    return static_cast<Json*>(place);
}

}  // namespace

void* take_json_list(size_t size) {
    if (void* const place = ::operator new(size, std::nothrow)) return place;
    const std::lock_guard lock(for_lists);
    if (void* const place = lists.take(size)) return place;
    throw std::bad_alloc();
}

void give_json_list_back(void* place) noexcept {
    if (!lists.has(place)) return ::operator delete(place);
    const std::lock_guard lock(for_lists);
    lists.give_back();
}

}  // namespace zvprobe

zvprobe::Json* std::allocator<zvprobe::Json>::allocate(size_t count) {
    using zvprobe::Json;
    if (count > SIZE_MAX / sizeof(Json)) throw std::bad_array_new_length();
    if (void* const place = ::operator new(count * sizeof(Json), std::nothrow))
        return static_cast<Json*>(place);
    return zvprobe::take_parts(count * sizeof(Json));
}

void std::allocator<zvprobe::Json>::deallocate(zvprobe::Json* place, size_t) noexcept {
    using namespace zvprobe;
    if (!parts.has(place)) return ::operator delete(place);
    if (!parts.give_back()) return;
    has_parts = false;
    for_parts.unlock();
}
