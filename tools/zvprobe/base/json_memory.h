// SPDX-License-Identifier: MIT
// Memory of JSON values where it is short. In two places the JSON library ends the process when there
// is none: when a value is destroyed it lists its parts in a vector, within a destructor, and a null
// becomes a list before it has one. For these some is set aside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zvprobe {

// For the list itself, not for what is in it: soon something else fails, and is told.
void* take_json_list(size_t size);
void give_json_list_back(void* place) noexcept;

template <typename T>
struct JsonAllocator {
    using value_type = T;
    static constexpr bool kIsList = requires(const T& value) { value.capacity(); };

    JsonAllocator() = default;
    template <typename Other>
    JsonAllocator(const JsonAllocator<Other>&) noexcept {}

    T* allocate(size_t count) {
        if (count > SIZE_MAX / sizeof(T)) throw std::bad_array_new_length();
        const size_t size = count * sizeof(T);
        return static_cast<T*>(kIsList ? take_json_list(size) : ::operator new(size));
    }
    void deallocate(T* place, size_t) noexcept {
        kIsList ? give_json_list_back(place) : ::operator delete(place);
    }

    bool operator==(const JsonAllocator&) const = default;
};

using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, int64_t,
                                  uint64_t, double, JsonAllocator>;

}  // namespace zvprobe

// The vector of a destructor has this one, and nothing else in a value. Where there is no other
// memory, threads take turns with what is set aside: so a vector of Json must not be kept, because it
// would have the others wait.
template <>
struct std::allocator<zvprobe::Json> {
    using value_type = zvprobe::Json;

    allocator() = default;
    template <typename Other>
    allocator(const std::allocator<Other>&) noexcept {}

    zvprobe::Json* allocate(size_t count);
    void deallocate(zvprobe::Json* place, size_t) noexcept;

    bool operator==(const allocator&) const = default;
};
