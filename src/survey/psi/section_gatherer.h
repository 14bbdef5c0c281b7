// SPDX-License-Identifier: MIT
// Puts the sections of one PID together from its payloads, over any number of packets. A section that
// is whole in one packet is not copied.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "survey/psi/section.h"

namespace zv::survey {

// What the unfinished sections of all PIDs may hold together.
struct SectionBudget {
    size_t left = size_t{12} << 20;
    uint64_t refused = 0;  // sections that were not gathered for it
};

class SectionGatherer {
  public:
    explicit SectionGatherer(SectionBudget& budget) : budget_(budget) {}
    ~SectionGatherer() { forget(); }
    SectionGatherer(const SectionGatherer&) = delete;
    SectionGatherer& operator=(const SectionGatherer&) = delete;

    // Takes a payload.
    // starts_unit  in  it begins with a pointer_field
    // offset       in  of the packet
    // begun()                      is called when a section begins
    // see(section, first_offset)   for each that is whole now; first_offset: of the packet in which
    //                              it begins
    template <typename Begun, typename See>
    void take(Bytes payload, bool starts_unit, uint64_t offset, Begun begun, See see) {
        if (payload.empty()) return;
        if (!starts_unit) return append(payload, offset, begun, see);
        const size_t pointer = payload[0];
        payload = payload.subspan(1);
        // What stands before the next start can only complete the section under way.
        if (is_open()) complete(payload.first(std::min(pointer, payload.size())), see);
        drop();
        if (pointer >= payload.size()) return;
        follows_ = true;
        append(payload.subspan(pointer), offset, begun, see);
    }

    // Forgets the section that is not whole yet: packets are missing.
    void drop() {
        forget();
        follows_ = false;
    }

    bool is_open() const { return !gathered_.empty(); }

  private:
    // -> how many bytes a section has; 0 when too few are there to tell
    static size_t size_of(Bytes bytes) {
        if (bytes.size() < kSectionHeadSize) return 0;
        return kSectionHeadSize + (load_be16(&bytes[1]) & 0xFFF);
    }

    template <typename Begun, typename See>
    void append(Bytes bytes, uint64_t offset, Begun begun, See see) {
        while (follows_ && !bytes.empty()) {
            if (is_open()) {
                bytes = bytes.subspan(complete(bytes, see));
                continue;
            }
            if (bytes[0] == kStuffing) return drop();
            begun();
            const size_t size = size_of(bytes);
            if (size > kLongestSection) return drop();
            if (size == 0 || size > bytes.size()) {
                first_offset_ = offset;
                gathered_.assign(bytes.begin(), bytes.end());
                if (!hold()) drop();
                return;
            }
            see(Section(bytes.first(size)), offset);
            bytes = bytes.subspan(size);
        }
    }

    // Goes on with the section under way. -> bytes taken
    template <typename See>
    size_t complete(Bytes bytes, See see) {
        size_t taken = add_up_to(kSectionHeadSize, bytes);
        const size_t size = size_of(gathered_);
        if (size > kLongestSection || (size != 0 && !hold())) {
            drop();
            return bytes.size();
        }
        taken += add_up_to(size, bytes.subspan(taken));
        if (size != 0 && gathered_.size() == size) {
            see(Section(gathered_), first_offset_);
            forget();
        }
        return taken;
    }

    size_t add_up_to(size_t size, Bytes bytes) {
        const size_t wanted = size - std::min(size, gathered_.size());
        const Bytes piece = bytes.first(std::min(wanted, bytes.size()));
        gathered_.insert(gathered_.end(), piece.begin(), piece.end());
        return piece.size();
    }

    // Makes room for the whole section. -> false when too much is held for others
    bool hold() {
        const size_t size = std::max(size_of(gathered_), gathered_.size());
        if (size <= held_) return true;
        if (size - held_ > budget_.left) {
            ++budget_.refused;
            return false;
        }
        budget_.left -= size - held_;
        held_ = size;
        gathered_.reserve(size);
        return true;
    }

    void forget() {
        if (!is_open()) return;
        budget_.left += held_;
        held_ = 0;
        gathered_ = std::vector<uint8_t>();  // = {} would keep the room
    }

    SectionBudget& budget_;
    std::vector<uint8_t> gathered_;
    size_t held_ = 0;  // of the budget
    uint64_t first_offset_ = 0;
    bool follows_ = false;  // what comes next belongs to a section, or begins one
};

}  // namespace zv::survey
