// SPDX-License-Identifier: MIT
// Implementation of section_rewrite.h. A length that runs over its section is cut at the end of it.
#include "ts/remap/section_rewrite.h"

#include <algorithm>

namespace zvprobe {
namespace {

using namespace zv::survey;
using Rewritten = std::optional<std::vector<uint8_t>>;

constexpr size_t kSdtHeadSize = 3;  // original_network_id and a reserved byte
constexpr size_t kCaPidAt = 2;
constexpr size_t kChannelHeadSize = 32;  // of a virtual channel, up to its descriptors
constexpr size_t kChannelNumberAt = 24;
constexpr uint8_t kTagServiceLocation = 0xA1;
constexpr size_t kLocationHeadSize = 3;  // PCR_PID and the number of elements
constexpr size_t kLocationSize = 6;      // of an element: stream_type, PID, language

void store16(std::span<uint8_t> at, size_t value) {
    zv::store_big_endian(at.first(2), value);
}

// Stores 13 bits, after the reserved bits that are there.
void store_pid(std::span<uint8_t> at, uint16_t pid) {
    store16(at, (at[0] & 0xE0u) << 8 | pid);
}

// A section as it grows: its head first, its length and CRC last.
class SectionWriter {
  public:
    explicit SectionWriter(const Section& like) { add(like.bytes().first(kLongHeadSize)); }

    void set_extension(uint16_t value) { store16(std::span(bytes_).subspan(3), value); }
    void add(Bytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void add16(unsigned value) {
        bytes_.push_back(static_cast<uint8_t>(value >> 8));
        bytes_.push_back(static_cast<uint8_t>(value));
    }
    // 13 bits, after the reserved bits that came before the old ones.
    void add_pid(uint16_t old_field, uint16_t pid) { add16((old_field & 0xE000u) | pid); }

    // Adds a loop after its length, whose four bits in front stay.
    template <typename Fill>
    void add_loop(uint16_t old_length, Fill fill) {
        const size_t at = bytes_.size();
        add16(old_length);
        fill();
        store_length(at, bytes_.size() - at - 2);
    }

    std::vector<uint8_t> finish() && {
        store_length(1, bytes_.size() - kSectionHeadSize + kCrcSize);
        const uint32_t crc = crc32(bytes_);
        add16(crc >> 16);
        add16(crc & 0xFFFF);
        return std::move(bytes_);
    }

  private:
    void store_length(size_t at, size_t length) {
        const auto field = std::span(bytes_).subspan(at);
        store16(field, (zv::load_be16(field.data()) & 0xF000u) | length);
    }

    std::vector<uint8_t> bytes_;
};

// Descriptors are copied; those of conditional access name PIDs.
void add_descriptors(SectionWriter& out, Bytes loop, const Identifiers& ids) {
    BodyReader reader(loop);
    while (reader.left() >= 2) {
        const uint8_t head[] = {reader.u8(), reader.u8()};
        const Bytes bytes = reader.take(head[1]);
        if (head[0] != kTagCa || bytes.size() < kCaPidAt + 2) {
            out.add(head);
            out.add(bytes);
            continue;
        }
        const uint16_t field = zv::load_be16(&bytes[kCaPidAt]);
        if (ids.dropped[zv::pid_in(field)]) continue;
        out.add(head);
        out.add(bytes.first(kCaPidAt));
        out.add_pid(field, ids.pids[zv::pid_in(field)]);
        out.add(bytes.subspan(kCaPidAt + 2));
    }
    out.add(reader.take(reader.left()));
}

Rewritten rewrite_pat(const Section& section, const Identifiers& ids) {
    SectionWriter out(section);
    BodyReader reader(section.body());
    while (reader.left() >= 4) {
        const uint16_t number = reader.u16();
        const uint16_t field = reader.u16();
        if (ids.dropped[zv::pid_in(field)]) continue;
        if (number != 0 && !ids.keeps_number(number)) continue;
        out.add16(number == 0 ? 0 : ids.new_number(number));
        out.add_pid(field, ids.pids[zv::pid_in(field)]);
    }
    return std::move(out).finish();
}

Rewritten rewrite_cat(const Section& section, const Identifiers& ids) {
    SectionWriter out(section);
    add_descriptors(out, section.body(), ids);
    return std::move(out).finish();
}

// -> the bytes of a loop, and the field of its length in `length`
Bytes read_loop(BodyReader& reader, uint16_t& length) {
    length = reader.u16();
    return reader.take(length & 0xFFF);
}

Rewritten rewrite_pmt(const Section& section, const Identifiers& ids) {
    if (!ids.keeps_number(section.extension())) return std::nullopt;
    SectionWriter out(section);
    out.set_extension(ids.new_number(section.extension()));
    BodyReader reader(section.body());
    const uint16_t pcr = reader.u16();
    out.add_pid(pcr, ids.new_pcr_pid(zv::pid_in(pcr)));
    uint16_t length = 0;
    const Bytes descriptors = read_loop(reader, length);
    out.add_loop(length, [&] { add_descriptors(out, descriptors, ids); });
    while (reader.left() >= 5) {
        const uint8_t type[] = {reader.u8()};
        const uint16_t field = reader.u16();
        const Bytes of_stream = read_loop(reader, length);
        if (ids.dropped[zv::pid_in(field)]) continue;
        out.add(type);
        out.add_pid(field, ids.pids[zv::pid_in(field)]);
        out.add_loop(length, [&] { add_descriptors(out, of_stream, ids); });
    }
    return std::move(out).finish();
}

Rewritten rewrite_sdt(const Section& section, const Identifiers& ids) {
    SectionWriter out(section);
    BodyReader reader(section.body());
    out.add(reader.take(kSdtHeadSize));
    while (reader.left() >= 5) {
        const uint16_t id = reader.u16();
        const uint8_t flags[] = {reader.u8()};
        uint16_t length = 0;
        const Bytes descriptors = read_loop(reader, length);
        if (!ids.keeps_number(id)) continue;
        out.add16(ids.new_number(id));
        out.add(flags);
        out.add_loop(length, [&] { out.add(descriptors); });
    }
    return std::move(out).finish();
}

Rewritten rewrite_eit(const Section& section, const Identifiers& ids) {
    if (!ids.keeps_number(section.extension())) return std::nullopt;
    SectionWriter out(section);
    out.set_extension(ids.new_number(section.extension()));
    out.add(section.body());
    return std::move(out).finish();
}

// ATSC A/65: where the streams of a channel are.
void rewrite_location(std::span<uint8_t> descriptor, const Identifiers& ids) {
    if (descriptor.size() < kLocationHeadSize) return;
    store_pid(descriptor, ids.new_pcr_pid(zv::load_pid(descriptor.data())));
    auto rest = descriptor.subspan(kLocationHeadSize);
    for (; rest.size() >= kLocationSize; rest = rest.subspan(kLocationSize))
        store_pid(rest.subspan(1), ids.pids[zv::load_pid(&rest[1])]);
}

void rewrite_channel(std::span<uint8_t> channel, const Identifiers& ids) {
    const auto number = channel.subspan(kChannelNumberAt);
    store16(number, ids.new_number(zv::load_be16(number.data())));
    auto rest = channel.subspan(kChannelHeadSize);
    while (rest.size() >= 2) {
        const auto bytes = rest.subspan(2, std::min<size_t>(rest[1], rest.size() - 2));
        if (rest[0] == kTagServiceLocation) rewrite_location(bytes, ids);
        rest = rest.subspan(2 + bytes.size());
    }
}

// Nothing can be taken out of it, so it is copied only with the whole stream.
Rewritten rewrite_vct(const Section& section, const Identifiers& ids) {
    std::vector<uint8_t> bytes(section.bytes().begin(), section.bytes().end() - kCrcSize);
    auto rest = std::span(bytes).subspan(std::min(bytes.size(), kLongHeadSize + 2));
    for (int left = section.body().size() < 2 ? 0 : section.body()[1];
         left > 0 && rest.size() >= kChannelHeadSize; --left) {
        const size_t descriptors = zv::load_be16(&rest[kChannelHeadSize - 2]) & 0x3FF;
        const size_t size = std::min(rest.size(), kChannelHeadSize + descriptors);
        rewrite_channel(rest.first(size), ids);
        rest = rest.subspan(size);
    }
    const uint32_t crc = crc32(bytes);
    for (const int shift : {24, 16, 8, 0})
        bytes.push_back(static_cast<uint8_t>(crc >> shift));
    return bytes;
}

std::vector<uint8_t> as_it_came(const Section& section) {
    return {section.bytes().begin(), section.bytes().end()};
}

// A table about other streams is copied only when all of this one is.
Rewritten unless_cut(const Section& section, const Identifiers& ids) {
    if (ids.only) return std::nullopt;
    return as_it_came(section);
}

Rewritten rewrite_service_description(const Section& section, const Identifiers& ids) {
    const uint8_t id = section.table_id();
    if (id == kTableIdSdtActual) return rewrite_sdt(section, ids);
    const bool of_others = id == kTableIdSdtOther || id == kTableIdBat;
    return of_others ? unless_cut(section, ids) : as_it_came(section);
}

Rewritten rewrite_event_information(const Section& section, const Identifiers& ids) {
    const uint8_t id = section.table_id();
    if (id < kTableIdEitActual || id > kTableIdEitLast) return as_it_came(section);
    return is_eit_actual(id) ? rewrite_eit(section, ids) : unless_cut(section, ids);
}

}  // namespace

Rewritten rewrite_section(const Section& section, uint16_t pid, bool carries_pmt,
                          const Identifiers& ids) {
    if (!section.is_long() || !section.is_sound()) return as_it_came(section);
    const uint8_t id = section.table_id();
    if (carries_pmt && id == kTableIdPmt) return rewrite_pmt(section, ids);
    if (pid == zv::kPidPat && id == kTableIdPat) return rewrite_pat(section, ids);
    if (pid == zv::kPidCat && id == kTableIdCat) return rewrite_cat(section, ids);
    const bool is_vct = id == kTableIdTerrestrialVct || id == kTableIdCableVct;
    if (pid == zv::kPidPsip && is_vct) return rewrite_vct(section, ids);
    if (pid == zv::kPidSdt) return rewrite_service_description(section, ids);
    if (pid == zv::kPidEit) return rewrite_event_information(section, ids);
    return as_it_came(section);
}

}  // namespace zvprobe
