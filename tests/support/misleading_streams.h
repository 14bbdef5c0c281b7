// SPDX-License-Identifier: MIT
// Streams that make readers disagree where packets start, beside the same streams without what
// misleads.
#pragma once

#include <string>
#include <vector>

#include "support/test_media.h"

namespace zvtest {

struct MisleadingStream {
    const char* name;
    size_t packet_size;
    std::string clean;
    std::vector<std::string> parts;  // of the one that misleads

    static constexpr size_t kPackets = 160;

    std::string bytes() const {
        std::string all;
        for (const std::string& part : parts)
            all += part;
        return all;
    }

    // -> seven packets a datagram, parts without packets in their own
    std::vector<std::string> datagrams() const { return datagrams_of(parts); }
    std::vector<std::string> clean_datagrams() const { return datagrams_of({clean}); }

  private:
    std::vector<std::string> datagrams_of(const std::vector<std::string>& all) const {
        std::vector<std::string> datagrams;
        for (const std::string& part : all)
            for (size_t at = 0; at < part.size(); at += 7 * packet_size)
                datagrams.push_back(part.substr(at, 7 * packet_size));
        return datagrams;
    }
};

inline std::string first_packets_of(const char* name, size_t packet_size) {
    return read_file(std::string(ZV_TEST_MEDIA "/") + name)
        .substr(0, MisleadingStream::kPackets * packet_size);
}

// A reader that takes the first of two columns of sync bytes is four bytes early throughout.
inline MisleadingStream time_codes_like_sync_bytes() {
    const std::string clean = first_packets_of("single-192.m2ts", 192);
    std::string misleading = clean;
    for (size_t at = 0; at < misleading.size(); at += 192)
        misleading[at] = 0x47;
    return {"time codes begin with 0x47", 192, clean, {misleading}};
}

// Three false starts at the packet size's distance, and more at others.
inline MisleadingStream junk_with_sync_bytes() {
    const std::string clean = first_packets_of("single.ts", 188);
    std::string junk(600, '\x55');
    for (const size_t at : {10u, 198u, 386u, 390u, 578u, 599u})
        junk[at] = 0x47;
    const size_t middle = size_t{70} * 188;
    return {"junk with false sync bytes",
            188,
            clean,
            {clean.substr(0, middle), junk, clean.substr(middle)}};
}

inline std::vector<MisleadingStream> misleading_streams() {
    return {time_codes_like_sync_bytes(), junk_with_sync_bytes()};
}

}  // namespace zvtest
