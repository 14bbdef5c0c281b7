// SPDX-License-Identifier: MIT
// Implementation of psi_section.h.
#include "ts/psi_section.h"

#include "base/bytes.h"
#include "zvcommon.h"

namespace zvprobe {
namespace {

constexpr size_t kLengthEnd = 3;  // table_id and section_length
constexpr size_t kHeaderSize = 8;
constexpr size_t kCrcSize = 4;
constexpr size_t kPatEntrySize = 4;
constexpr size_t kPmtHeaderSize = 4;  // PCR PID and program_info_length
constexpr size_t kPmtEntrySize = 5;

size_t be16(std::span<const uint8_t> bytes, size_t at) {
    return big_endian(bytes.subspan(at, 2));
}

size_t be12(std::span<const uint8_t> bytes, size_t at) {
    return be16(bytes, at) & 0x0FFF;
}

PsiSection section_at(std::span<const uint8_t> rest, size_t size) {
    const bool complete = size <= rest.size();
    const auto bytes = rest.first(std::min(size, rest.size()));
    const bool whole = complete && zvcrc_api_CRC32(bytes.data(), static_cast<int>(size)) == 0;
    return {bytes[0], static_cast<uint16_t>(be16(bytes, kLengthEnd)), bytes, whole};
}

}  // namespace

std::span<const uint8_t> PsiSection::contents() const {
    return bytes.subspan(kHeaderSize, bytes.size() - kHeaderSize - kCrcSize);
}

std::vector<PsiSection> sections_in(PacketBytes packet) {
    std::vector<PsiSection> found;
    const auto payload = payload_of(packet);
    if ((packet[1] & kPayloadUnitStart) == 0 || payload.empty()) return found;
    for (size_t at = size_t{1} + payload[0]; at + kHeaderSize <= payload.size();) {
        const auto rest = payload.subspan(at);
        if (rest[0] == kTableStuffing) break;
        const size_t size = kLengthEnd + be12(rest, 1);
        const bool in_force = (rest[5] & 1) != 0;
        if (in_force && size >= kHeaderSize + kCrcSize) found.push_back(section_at(rest, size));
        at += size;
    }
    return found;
}

std::vector<ProgramEntry> read_pat(const PsiSection& section) {
    std::vector<ProgramEntry> programs;
    const auto contents = section.contents();
    for (size_t at = 0; at + kPatEntrySize <= contents.size(); at += kPatEntrySize) {
        programs.push_back({static_cast<uint16_t>(be16(contents, at)),
                            static_cast<uint16_t>(be16(contents, at + 2) & (kPidCount - 1))});
    }
    return programs;
}

PmtOutline read_pmt_outline(const PsiSection& section) {
    PmtOutline outline;
    const auto contents = section.contents();
    if (contents.size() < kPmtHeaderSize) return outline;
    outline.program_info_size = be12(contents, 2);
    for (size_t at = kPmtHeaderSize + outline.program_info_size;
         at + kPmtEntrySize <= contents.size();) {
        const size_t info_size = be12(contents, at + 3);
        ++outline.streams;
        outline.longest_es_info = std::max(outline.longest_es_info, info_size);
        at += kPmtEntrySize + info_size;
    }
    return outline;
}

}  // namespace zvprobe
