// SPDX-License-Identifier: MIT
// Sections of the reference survey: gathered from the PIDs that carry some (ISO/IEC 13818-1,
// 2.4.4), checked, and their descriptors.
#include <algorithm>
#include <utility>

#include "tables.h"

namespace fuzz::reference {
namespace {

constexpr size_t kHeaderBytes = 3;  // table_id and section_length
constexpr size_t kMaxSection = 4096;
constexpr size_t kMinLongSection = 12;
constexpr uint8_t kFilling = 0xFF;

uint32_t crc32(Bytes bytes) {
    uint32_t crc = 0xFFFFFFFF;
    for (const uint8_t byte : bytes) {
        crc ^= static_cast<uint32_t>(byte) << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80000000) != 0 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
    }
    return crc;
}

bool is_sound(const Section& section) {
    if (section.is_long() && section.bytes.size() < kMinLongSection) return false;
    const bool has_crc = section.is_long() || section.table_id() == kTableTot;
    return !has_crc || crc32(section.bytes) == 0;
}

// Gathers the sections of one PID.
class Gatherer {
  public:
    explicit Gatherer(std::vector<Section>& out) : out_(out) {}

    void drop() {
        bytes_.clear();
        in_sections_ = false;
    }

    void take(const Packet& packet, size_t index) {
        if (packet.payload.empty()) return;
        if (!packet.unit_start) {
            read(packet.payload, packet, index);
            return;
        }
        const size_t pointer_field = packet.payload[0];
        const Bytes rest = packet.payload.subspan(1);
        if (!bytes_.empty()) finish(up_to(rest, pointer_field), packet, index);
        drop();
        in_sections_ = pointer_field < rest.size();
        read(from(rest, pointer_field), packet, index);
    }

  private:
    size_t missing() const {
        if (bytes_.size() < kHeaderBytes) return kHeaderBytes - bytes_.size();
        return kHeaderBytes + (be16(bytes_, 1) & 0x0FFFu) - bytes_.size();
    }

    // Appends to the open section up to its end. -> bytes taken
    size_t append(Bytes bytes) {
        size_t taken = 0;
        while (taken < bytes.size() && missing() > 0) {
            const size_t size = std::min(missing(), bytes.size() - taken);
            bytes_.insert(bytes_.end(), bytes.begin() + static_cast<ptrdiff_t>(taken),
                          bytes.begin() + static_cast<ptrdiff_t>(taken + size));
            taken += size;
        }
        return taken;
    }

    size_t finish(Bytes bytes, const Packet& packet, size_t index) {
        const size_t taken = append(bytes);
        if (missing() > 0) return taken;
        Section section{};
        section.pid = packet.pid;
        section.bytes = std::exchange(bytes_, {});
        section.first_offset = first_offset_;
        section.last_offset = packet.offset;
        section.last_packet = index;
        section.sound = is_sound(section);
        if (section.bytes.size() <= kMaxSection) {
            out_.push_back(std::move(section));
        } else {
            drop();
        }
        return taken;
    }

    void read(Bytes bytes, const Packet& packet, size_t index) {
        while (in_sections_ && !bytes.empty()) {
            if (bytes_.empty() && bytes[0] == kFilling) return drop();
            if (bytes_.empty()) first_offset_ = packet.offset;
            bytes = bytes.subspan(finish(bytes, packet, index));
        }
    }

    std::vector<Section>& out_;
    std::vector<uint8_t> bytes_;
    bool in_sections_ = false;  // what comes next belongs to a section or begins one
    uint64_t first_offset_ = 0;
};

PidSet always_watched() {
    PidSet pids;
    constexpr uint16_t kPids[] = {0, 1, 2, 0x10, 0x11, 0x12, 0x13, 0x14, 0x1E, 0x1F, kPidPsip};
    for (const uint16_t pid : kPids)
        pids.set(pid);
    return pids;
}

}  // namespace

Bytes up_to(Bytes bytes, size_t size) {
    return bytes.first(std::min(size, bytes.size()));
}

Bytes from(Bytes bytes, size_t at) {
    return bytes.subspan(std::min(at, bytes.size()));
}

uint16_t be16(Bytes bytes, size_t at) {
    return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::vector<Descriptor> descriptors_in(Bytes loop) {
    std::vector<Descriptor> found;
    while (loop.size() >= 2) {
        const size_t size = loop[1];
        found.push_back({loop[0], up_to(loop.subspan(2), size)});
        loop = from(loop, 2 + size);
    }
    return found;
}

std::vector<Section> gather_sections(const std::vector<Packet>& packets) {
    std::vector<Section> sections;
    std::map<uint16_t, Gatherer> gatherers;
    Tables tables;
    PidSet watched = always_watched();
    for (size_t i = 0; i < packets.size(); ++i) {
        const Packet& packet = packets[i];
        if (packet.transport_error || packet.pid == kNullPid || !watched[packet.pid]) continue;
        Gatherer& gatherer = gatherers.try_emplace(packet.pid, sections).first->second;
        if (packet.drops_section) gatherer.drop();
        if (packet.duplicate || packet.scrambled) continue;
        size_t known = sections.size();
        gatherer.take(packet, i);
        for (; known < sections.size(); ++known) {
            if (sections[known].sound && tables.take(sections[known])) {
                watched |= tables.section_pids();
            }
        }
    }
    return sections;
}

}  // namespace fuzz::reference
