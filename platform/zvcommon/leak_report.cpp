// SPDX-License-Identifier: MIT
// The report of blocks that are still allocated. It allocates nothing: places are gathered in a
// table of fixed size, and what finds no room there is summed up in one more line.

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "zvcommon/live_blocks.h"

namespace zvmem {

namespace {

constexpr size_t kMaxPlaces = 32;

// What was allocated at one line of source under one tag.
struct Place {
    char tag[kTagSize];
    char sub_tag[kTagSize];
    char file[kFileSize];
    int line;
    ZvmemCounters live;

    explicit Place(const Block& block) : line(block.line), live{} {
        std::memcpy(tag, block.tag, sizeof tag);
        std::memcpy(sub_tag, block.sub_tag, sizeof sub_tag);
        std::memcpy(file, block.file, sizeof file);
    }
    Place() : tag{}, sub_tag{}, file{}, line(0), live{} {}

    bool holds(const Block& block) const {
        return line == block.line && std::strcmp(tag, block.tag) == 0 &&
               std::strcmp(sub_tag, block.sub_tag) == 0 && std::strcmp(file, block.file) == 0;
    }
};

void add_to(ZvmemCounters& counters, const Block& block) {
    ++counters.blocks;
    counters.bytes += block.size;
}

class Report {
  public:
    void add(const Block& block) {
        add_to(total_, block);
        const auto end = places_.begin() + static_cast<std::ptrdiff_t>(count_);
        auto place = std::find_if(places_.begin(), end,
                                  [&](const Place& known) { return known.holds(block); });
        if (place == places_.end()) {
            add_to(others_, block);
            return;
        }
        if (place == end) {
            *place = Place(block);
            ++count_;
        }
        add_to(place->live, block);
    }

    void print() const {
        if (total_.blocks == 0) return;
        std::fprintf(stderr, "zvmem: still allocated: %" PRIu64 " blocks, %" PRIu64 " bytes\n",
                     total_.blocks, total_.bytes);
        for (size_t i = 0; i < count_; ++i) {
            const Place& place = places_[i];
            std::fprintf(stderr, "zvmem:   %" PRIu64 " blocks, %" PRIu64 " bytes [%s][%s] %s:%d\n",
                         place.live.blocks, place.live.bytes, place.tag, place.sub_tag, place.file,
                         place.line);
        }
        if (others_.blocks != 0) {
            std::fprintf(stderr, "zvmem:   %" PRIu64 " blocks, %" PRIu64 " bytes elsewhere\n",
                         others_.blocks, others_.bytes);
        }
    }

  private:
    std::array<Place, kMaxPlaces> places_;
    size_t count_ = 0;
    ZvmemCounters total_{};
    ZvmemCounters others_{};
};

}  // namespace

void print_leak_report() {
    Report report;
    live_blocks().for_each([&](const Block& block) { report.add(block); });
    report.print();
}

}  // namespace zvmem
