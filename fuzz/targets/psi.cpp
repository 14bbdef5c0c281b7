// SPDX-License-Identifier: MIT
// Tables whose every byte is the fuzzer's but the checksum, which is made right afterwards: PAT,
// PMT and SDT, of one packet and of several, through the resolver and through the helpers that run
// a single table.
#include <string>
#include <vector>

#include "parts/analyser.h"
#include "parts/log_double.h"
#include "parts/packets.h"

namespace {

constexpr uint16_t kPmtPid = 0x100;
constexpr uint8_t kTableIds[] = {0x00, 0x02, 0x42};

struct TablePacket {
    uint8_t bytes[zv::kTsPacketSize];
    uint16_t pid;
};

// A record: the table; header bits; how the section begins; its bytes.
TablePacket read_packet(fuzz::ByteSource& in) {
    TablePacket packet;
    const uint8_t what = in.u8();
    const uint8_t head = in.u8();
    const size_t table = what % std::size(kTableIds);
    const uint16_t pids[] = {zv::kPidPat, static_cast<uint16_t>(kPmtPid + (what >> 6)),
                             zv::kPidSdt};
    packet.pid = pids[table];
    memset(packet.bytes, head & 0x01 ? 0xFF : 0x00, sizeof packet.bytes);
    zvsi_api_tsHeaderBuild(packet.pid, (head >> 4) & 3, what & 15, packet.bytes);
    if (head & 0x80) packet.bytes[1] &= 0x1F;  // goes on with what began before

    uint8_t* at = packet.bytes + zv::kTsHeaderSize;
    if (head & 0x20) *at++ = in.u8();  // adaptation_field_length
    if (head & 0x08) *at++ = 0;        // pointer_field
    if (!(head & 0x04)) {
        *at++ = kTableIds[table];
        *at++ = static_cast<uint8_t>(0xB0 | (in.u8() & 0x0F));
        *at++ = in.u8();
    }
    const auto room = static_cast<size_t>(packet.bytes + sizeof packet.bytes - at);
    const auto body = in.take(std::min<size_t>(in.u8(), room));
    std::copy(body.begin(), body.end(), at);
    if (!(head & 0x02)) fuzz::repair_crc(packet.bytes);
    return packet;
}

// As a host would look at one table; no context outlives the call.
void parse_alone(const TablePacket& packet) {
    fuzz::ExactBytes block(packet.bytes);
    const auto length = static_cast<int>(block.size());
    mpegts_api_parsePat(block.data(), length);
    mpegts_api_parsePmt(block.data(), packet.pid, length);
    mpegts_api_parseSdt(block.data(), length);
    fuzz::require(block.equals(packet.bytes), "parse leaves the buffer alone");
}

void require_within_capacities(MPEGTSContext& ctx) {
    fuzz::require(ctx.totalnum_program <= ZV_TS_MAX_PROGRAMS, "at most 30 programmes are kept");
    fuzz::require(ctx.sdt.service_count <= ZV_TS_MAX_PROGRAMS, "at most 30 services are kept");
    for (const MPEGTSProgram& program : ctx.program) {
        fuzz::require(program.es_count >= 0 && program.es_count <= ZV_TS_MAX_STREAMS,
                      "at most four streams of a programme are kept");
        for (const MPEGTSStream& stream : program.streams)
            fuzz::require(stream.es_info_len <= sizeof stream.es_info, "descriptors fit");
    }
    for (const MPEGTSService& service : ctx.sdt.services)
        fuzz::require(memchr(service.service_name, 0, sizeof service.service_name) &&
                          memchr(service.provider_name, 0, sizeof service.provider_name),
                      "service texts are terminated");
}

// -> the PCR PID of the PMT in a packet, -1 when part of it would lie past the packet
int pcr_pid_inside(const TablePacket& packet) {
    const uint8_t* const body = packet.bytes + zv::kTsHeaderSize;
    int start = zvsi_api_getAdaptationFieldLen((packet.bytes[3] >> 4) & 3, body);
    if (start + 10 > zv::kTsBodySize) return -1;
    if (body[start] != 0x02 || !(body[start + 1] & 0x80)) ++start;  // past a pointer_field
    if (start + 10 > zv::kTsBodySize) return -1;
    return (body[start + 8] & 0x1F) << 8 | body[start + 9];
}

std::vector<uint16_t> pcr_pids(const MPEGTSContext& ctx) {
    std::vector<uint16_t> pids;
    for (const MPEGTSProgram& program : ctx.program)
        pids.push_back(program.pcr_pid);
    return pids;
}

void require_whole_pcr_pids(const std::vector<uint16_t>& before, const MPEGTSContext& ctx,
                            const TablePacket& packet) {
    const std::vector<uint16_t> after = pcr_pids(ctx);
    for (size_t i = 0; i < after.size(); ++i)
        fuzz::require(after[i] == before[i] || after[i] == pcr_pid_inside(packet),
                      "a PCR PID is read whole or not at all");
}

// The name of a context follows the bytes that are gathered for the SDT.
void require_same_services(const MPEGTSContext& one, const MPEGTSContext& other) {
    fuzz::require(memcmp(&one.sdt, &other.sdt, sizeof one.sdt) == 0,
                  "services are read from the gathered bytes only");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    fuzz::set_log(in);
    const uint8_t options = in.u8();
    fuzz::Analyser analyser("fuzz"), other(std::string(255, 'n').c_str());
    analyser.context()->pkt_size = other.context()->pkt_size = zv::kTsPacketSize;
    for (int i = 0; i < 64 && !in.empty(); ++i) {
        const TablePacket packet = read_packet(in);
        if (i == 0) parse_alone(packet);
        const auto pids_before = pcr_pids(*analyser.context());
        analyser.parse(packet.bytes, options);
        require_whole_pcr_pids(pids_before, *analyser.context(), packet);
        other.parse(packet.bytes, options);
        require_within_capacities(*analyser.context());
        require_same_services(*analyser.context(), *other.context());
    }
    analyser.report();
    return 0;
}
