// SPDX-License-Identifier: MIT
// Complete single-packet tables and null packets. Sections carry version 2, transport stream 1 and
// a fresh CRC_32; none is checked for fitting the packet (mpegts.h says how much room it takes).
#include <algorithm>
#include <cstring>

#include "mpeg/mpegts/psi_layout.h"
#include "mpeg/ts_packet/ts_packet.h"
#include "zvcommon.h"

namespace {

constexpr uint8_t kSyntaxAndReserved = 0xB0;           // section_syntax_indicator, '0', '11'
constexpr uint8_t kSyntaxAndReservedFutureUse = 0xF0;  // the private bit set too
constexpr uint8_t kVersionAndCurrent = 0xC5;           // version_number 2, current_next_indicator 1
constexpr uint16_t kTransportStreamId = 0x0001;
constexpr uint16_t kOriginalNetworkId = 0xFF01;
constexpr uint8_t kReservedFutureUse = 0xFF;
constexpr uint8_t kServiceDescriptorTag = 0x48;
constexpr int kDescriptorHeadSize = 2;  // tag and length
constexpr uint8_t kServiceTypeDigitalTv = 0x01;
constexpr uint16_t kReservedNibble = 0xF000;  // in front of a 12-bit length
constexpr int kProgramCountMask = 0x3FFF;

// What stands in section_length: everything after it.
constexpr int size_after_length(int header_size, int loop_size) {
    return header_size - zv::kSectionHeadSize + loop_size + zv::kCrcSize;
}

// Writes a section byte by byte after its pointer_field.
class SectionWriter {
  public:
    // at: where the pointer_field goes
    explicit SectionWriter(uint8_t* at) : begin_(at + 1), at_(at) { u8(0); }

    void u8(int value) { *at_++ = static_cast<uint8_t>(value); }
    void be16(int value) {
        u8(value >> 8);
        u8(value);
    }
    void pid(uint16_t value) {  // three reserved bits set
        u8(0xE0 | ((value >> 8) & 0x1F));
        u8(value);
    }
    void bytes(const void* data, size_t size) {
        if (size == 0) return;
        memcpy(at_, data, size);
        at_ += size;
    }
    // What every section has between its length and its own fields.
    void identity(uint16_t id) {
        be16(id);
        u8(kVersionAndCurrent);
        be16(0);  // section_number, last_section_number
    }
    // The CRC covers section_length - 1 bytes, wherever the writing ended.
    void crc(int section_length) {
        const uint32_t value = zvcrc_api_CRC32(begin_, section_length - 1);
        be16(static_cast<int>(value >> 16));
        be16(static_cast<int>(value & 0xFFFF));
    }

  private:
    const uint8_t* begin_;
    uint8_t* at_;
};

// Clears the buffer, makes an empty packet. -> where the pointer_field goes, null for nowhere
uint8_t* start_packet(uint8_t* buffer, uint8_t buffer_size, uint16_t pid, uint8_t afc,
                      uint16_t section_length) {
    if (buffer_size > zv::kTsPacketSize) memset(buffer, 0, buffer_size);
    memset(buffer, 0xFF, zv::kTsPacketSize);
    zvsi_api_tsHeaderBuild(pid, afc, 0, buffer);
    return zvsi_api_setAdaptationFieldLen(afc, section_length, &buffer);
}

// es_info beyond what the record holds is written as 0xFF.
void write_es_info(SectionWriter& section, const MPEGTSStream& stream, int size) {
    const int kept = std::min(size, zv::kMaxEsInfo);
    section.bytes(stream.es_info, static_cast<size_t>(kept));
    for (int i = kept; i < size; ++i)
        section.u8(0xFF);
}

uint8_t text_length(const char* text) {
    return text != nullptr ? static_cast<uint8_t>(strlen(text)) : uint8_t{0};
}

}  // namespace

void mpegts_api_buildPat(uint8_t* buffer, uint8_t adaptation_field_control, uint8_t buffer_size,
                         uint16_t count, const uint16_t* program_numbers,
                         const uint16_t* pmt_pids) {
    if (buffer == nullptr) return;
    const bool has_programs = program_numbers != nullptr && pmt_pids != nullptr;
    const int program_count = has_programs ? count & kProgramCountMask : 0;
    const auto length = static_cast<uint16_t>(
        size_after_length(zv::kPatHeaderSize, program_count * zv::kPatEntrySize));
    uint8_t* at = start_packet(buffer, buffer_size, zv::kPidPat, adaptation_field_control, length);
    if (at == nullptr) return;
    SectionWriter section(at);
    section.u8(zv::kTableIdPat);
    section.u8(kSyntaxAndReserved | ((length >> 8) & 0x0F));
    section.u8(length);
    section.identity(kTransportStreamId);
    for (int i = 0; i < program_count; ++i) {
        section.be16(program_numbers[i]);
        section.pid(pmt_pids[i]);
    }
    section.crc(length);
}

void mpegts_api_buildPmtEs(uint8_t* buffer, uint8_t adaptation_field_control,
                           uint16_t program_number, uint16_t pmt_pid, uint16_t pcr_pid,
                           int8_t es_count, const MPEGTSStream* streams, uint8_t buffer_size) {
    if (buffer == nullptr) return;
    if (streams == nullptr) es_count = 0;
    uint8_t loop_size = 0;  // eight bits wide: hosts see the wrapped section_length
    for (int i = 0; i < es_count; ++i)
        loop_size =
            static_cast<uint8_t>(loop_size + (streams[i].es_info_len & 0xFF) + zv::kPmtEntrySize);
    const auto length = static_cast<uint16_t>(size_after_length(zv::kPmtHeaderSize, loop_size));
    uint8_t* at = start_packet(buffer, buffer_size, pmt_pid, adaptation_field_control, length);
    if (at == nullptr) return;
    SectionWriter section(at);
    section.u8(zv::kTableIdPmt);
    section.u8(kSyntaxAndReserved | (length >> 8));
    section.u8(length);
    section.identity(program_number);
    section.pid(pcr_pid);
    section.be16(kReservedNibble);  // program_info_length 0
    for (int i = 0; i < es_count; ++i) {
        const int info_size = streams[i].es_info_len & 0xFF;
        section.u8(streams[i].stream_type);
        section.pid(streams[i].pid);
        section.be16(kReservedNibble | info_size);
        write_es_info(section, streams[i], info_size);
    }
    section.crc(length);
}

void mpegts_api_buildSdt(uint8_t* buffer, uint8_t adaptation_field_control, uint16_t service_id,
                         const char* provider, const char* service_name, uint8_t buffer_size) {
    if (buffer == nullptr) return;
    const uint8_t provider_len = text_length(provider);
    const uint8_t name_len = text_length(service_name);
    const int descriptor_size = zv::kServiceDescriptorFixedSize + provider_len + name_len;
    const auto length = static_cast<uint16_t>(
        size_after_length(zv::kSdtHeaderSize, zv::kSdtEntrySize + descriptor_size));
    uint8_t* at = start_packet(buffer, buffer_size, zv::kPidSdt, adaptation_field_control, length);
    if (at == nullptr) return;
    SectionWriter section(at);
    section.u8(zv::kTableIdSdt);
    section.u8(kSyntaxAndReservedFutureUse | (length >> 8));
    section.u8(length);
    section.identity(kTransportStreamId);
    section.be16(kOriginalNetworkId);
    section.u8(kReservedFutureUse);
    section.be16(service_id);
    section.u8(0);                  // no EIT, its reserved bits clear
    section.be16(descriptor_size);  // not running, not scrambled; descriptors_loop_length
    section.u8(kServiceDescriptorTag);
    section.u8(descriptor_size - kDescriptorHeadSize);
    section.u8(kServiceTypeDigitalTv);
    section.u8(provider_len);
    section.bytes(provider, provider_len);
    section.u8(name_len);
    section.bytes(service_name, name_len);
    section.crc(length);
}

void mpegts_api_buildNullPkt(uint8_t* buffer, uint8_t buffer_size) {
    if (buffer == nullptr) return;
    start_packet(buffer, buffer_size, zv::kPidNull, zv::kAfcPayloadOnly, 0);
}

int mpegts_api_isEsPid(uint16_t pid, int8_t es_count, const MPEGTSStream* streams) {
    for (int i = 0; streams != nullptr && i < es_count; ++i) {
        if (streams[i].pid == pid) return 1;
    }
    return es_count;  // so every PID counts as present beside a non-empty list; hosts rely on it
}
