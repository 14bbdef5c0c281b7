// SPDX-License-Identifier: MIT
// The tables in force of the reference survey (ISO/IEC 13818-1, ETSI EN 300 468, ATSC A/65).
#include "tables.h"

#include <algorithm>
#include <string_view>

#include "text.h"

namespace fuzz::reference {
namespace {

constexpr uint8_t kTagNetworkName = 0x40, kTagService = 0x48;
constexpr uint8_t kTableTerrestrialChannels = 0xC8, kTableCableChannels = 0xC9;

uint16_t pid_at(Bytes bytes, size_t at) {
    return be16(bytes, at) & 0x1FFF;
}

std::vector<uint8_t> copy(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

// A loop that is preceded by its length of 12 bits. Moves `bytes` past it; a length that runs over
// the section ends with it.
Bytes take_loop(Bytes& bytes) {
    if (bytes.size() < 2) return bytes = {};
    const size_t size = be16(bytes, 0) & 0x0FFFu;
    const Bytes loop = up_to(bytes.subspan(2), size);
    bytes = from(bytes, 2 + size);
    return loop;
}

void add_ca_pids(Bytes loop, std::vector<uint16_t>& pids) {
    for (const Descriptor& descriptor : descriptors_in(loop)) {
        if (descriptor.tag == kTagCa && descriptor.data.size() >= 4)
            pids.push_back(pid_at(descriptor.data, 2));
    }
}

void set_all(PidSet& set, const std::vector<uint16_t>& pids) {
    for (const uint16_t pid : pids)
        set.set(pid);
}

std::optional<Pmt> read_pmt(const Section& section) {
    Bytes contents = section.contents();
    if (contents.size() < 4) return std::nullopt;
    Pmt pmt{};
    pmt.section = section.bytes;
    pmt.version = section.version();
    pmt.pcr_pid = pid_at(contents, 0);
    contents = contents.subspan(2);
    pmt.descriptors = copy(take_loop(contents));
    while (contents.size() >= 5) {
        Stream stream{};
        stream.type = contents[0];
        stream.pid = pid_at(contents, 1);
        contents = contents.subspan(3);
        stream.descriptors = copy(take_loop(contents));
        pmt.streams.push_back(std::move(stream));
    }
    return pmt;
}

std::optional<Service> read_service(Bytes descriptors) {
    for (const Descriptor& descriptor : descriptors_in(descriptors)) {
        const Bytes data = descriptor.data;
        if (descriptor.tag != kTagService || data.size() < 3) continue;
        const Bytes provider = up_to(data.subspan(2), data[1]);
        const Bytes rest = from(data, size_t{2} + data[1]);
        const Bytes name = rest.empty() ? rest : up_to(rest.subspan(1), rest[0]);
        return Service{dvb_text(name), dvb_text(provider), data[0]};
    }
    return std::nullopt;
}

std::optional<Service> find_service(Bytes sdt, uint16_t service_id) {
    sdt = from(sdt, 3);
    while (sdt.size() >= 5) {
        const uint16_t id = be16(sdt, 0);
        sdt = sdt.subspan(3);
        const Bytes descriptors = take_loop(sdt);
        if (id != service_id) continue;
        if (auto service = read_service(descriptors)) return service;
    }
    return std::nullopt;
}

// num_channels_in_section, then for each channel 32 bytes and its descriptors.
std::optional<Service> find_channel(Bytes channels, uint16_t program_number) {
    if (channels.size() < 2) return std::nullopt;
    size_t left = channels[1];
    channels = channels.subspan(2);
    for (; left > 0 && channels.size() >= 32; --left) {
        const uint16_t number = be16(channels, 24);
        if (number == program_number)
            return Service{utf16_text(channels.first(14)), std::nullopt,
                           static_cast<uint8_t>(channels[27] & 0x3F)};
        const size_t size = be16(channels, 30) & 0x03FFu;
        channels = from(channels, 32 + size);
    }
    return std::nullopt;
}

}  // namespace

bool carries_sections(const Stream& stream, const Pmt& pmt) {
    const uint8_t type = stream.type;
    if (type == 0x86) return !pmt.is_hdmv();
    return type == 0x05 || (type >= 0x0A && type <= 0x0D) || type == 0x14 || type == 0x16 ||
           type == 0xC0;
}

bool Pmt::is_hdmv() const {
    for (const Descriptor& descriptor : descriptors_in(this->descriptors)) {
        constexpr uint8_t kHdmv[] = {'H', 'D', 'M', 'V'};
        const Bytes data = up_to(descriptor.data, sizeof kHdmv);
        if (descriptor.tag == kTagRegistration && std::ranges::equal(data, kHdmv)) return true;
    }
    return false;
}

std::vector<uint16_t> Pmt::ca_pids() const {
    std::vector<uint16_t> pids;
    add_ca_pids(descriptors, pids);
    for (const Stream& stream : streams)
        add_ca_pids(stream.descriptors, pids);
    return pids;
}

std::vector<uint16_t> pids_of(const Program& program) {
    if (program.pmt == nullptr) return {program.pmt_pid};
    std::vector<uint16_t> pids = program.pmt->ca_pids();
    pids.push_back(program.pmt_pid);
    if (program.pmt->pcr_pid != kNullPid) pids.push_back(program.pmt->pcr_pid);
    for (const Stream& stream : program.pmt->streams)
        pids.push_back(stream.pid);
    return pids;
}

bool Tables::Table::take(const Section& section) {
    if (extension != section.extension() || version != section.version()) sections.clear();
    extension = section.extension();
    version = section.version();
    std::vector<uint8_t>& place = sections[section.number()];
    if (place == section.bytes) return false;
    place = section.bytes;
    return true;
}

std::vector<Bytes> Tables::Table::contents() const {
    std::vector<Bytes> all;
    for (const auto& [number, bytes] : sections)
        all.push_back(Bytes(bytes).subspan(8, bytes.size() - 12));
    return all;
}

bool Tables::take(const Section& section) {
    if (!section.is_long() || !section.in_force()) return false;
    const uint16_t pid = section.pid;
    switch (section.table_id()) {
        case kTablePat:
            return pid == kPidPat && take_pat(section);
        case kTableCat:
            return pid == kPidCat && cat_.take(section);
        case kTablePmt:
            return take_pmt(section);
        case kTableNitActual:
            return (pid == kPidNit || network_pids()[pid]) && nit_.take(section);
        case kTableSdtActual:
            return pid == kPidSdt && sdt_.take(section);
        case kTableTerrestrialChannels:
            return pid == kPidPsip && terrestrial_channels_.take(section);
        case kTableCableChannels:
            return pid == kPidPsip && cable_channels_.take(section);
        default:
            return false;
    }
}

bool Tables::take_pat(const Section& section) {
    if (!pat_.take(section)) return false;
    pat_entries_.clear();
    for (const Bytes contents : pat_.contents()) {
        for (size_t at = 0; at + 4 <= contents.size(); at += 4)
            pat_entries_.emplace_back(be16(contents, at), pid_at(contents, at + 2));
    }
    list_programs();
    // A programme that is gone, or elsewhere, takes its PMT with it.
    std::erase_if(pmts_, [this](const auto& entry) {
        return find_program(entry.first.first, entry.first.second) == nullptr;
    });
    list_programs();
    return true;
}

bool Tables::take_pmt(const Section& section) {
    if (find_program(section.extension(), section.pid) == nullptr) return false;
    auto pmt = read_pmt(section);
    if (!pmt) return false;
    Pmt& place = pmts_[{section.extension(), section.pid}];
    if (place.section == pmt->section) return false;
    place = std::move(*pmt);
    list_programs();
    return true;
}

void Tables::list_programs() {
    programs_.clear();
    places_.clear();
    for (const auto& [number, pid] : pat_entries_) {
        if (number == 0 || !places_.emplace(number, programs_.size()).second) continue;
        const auto pmt = pmts_.find({number, pid});
        programs_.push_back({number, pid, pmt == pmts_.end() ? nullptr : &pmt->second});
    }
}

const Program* Tables::find_program(uint16_t number, uint16_t pmt_pid) const {
    const auto place = places_.find(number);
    if (place == places_.end() || programs_[place->second].pmt_pid != pmt_pid) return nullptr;
    return &programs_[place->second];
}

std::optional<Network> Tables::network() const {
    if (!nit_.extension) return std::nullopt;
    for (Bytes contents : nit_.contents()) {
        for (const Descriptor& descriptor : descriptors_in(take_loop(contents))) {
            if (descriptor.tag == kTagNetworkName)
                return Network{*nit_.extension, dvb_text(descriptor.data)};
        }
    }
    return Network{*nit_.extension, std::nullopt};
}

std::optional<Service> Tables::service(uint16_t program_number) const {
    for (const Bytes contents : sdt_.contents()) {
        if (auto found = find_service(contents, program_number)) return found;
    }
    for (const Table* table : {&terrestrial_channels_, &cable_channels_}) {
        for (const Bytes contents : table->contents()) {
            if (auto found = find_channel(contents, program_number)) return found;
        }
    }
    return std::nullopt;
}

PidSet Tables::network_pids() const {
    PidSet pids;
    for (const auto& [number, pid] : pat_entries_) {
        if (number == 0) pids.set(pid);
    }
    return pids;
}

PidSet Tables::emm_pids() const {
    std::vector<uint16_t> found;
    for (const Bytes contents : cat_.contents())
        add_ca_pids(contents, found);
    PidSet pids;
    set_all(pids, found);
    return pids;
}

PidSet Tables::section_pids() const {
    PidSet pids = network_pids() | emm_pids();
    for (const Program& program : programs_) {
        pids.set(program.pmt_pid);
        if (program.pmt == nullptr) continue;
        set_all(pids, program.pmt->ca_pids());
        for (const Stream& stream : program.pmt->streams) {
            if (carries_sections(stream, *program.pmt)) pids.set(stream.pid);
        }
    }
    return pids;
}

PidSet Tables::named_pids() const {
    PidSet pids = section_pids();
    for (const Program& program : programs_)
        set_all(pids, pids_of(program));
    return pids;
}

}  // namespace fuzz::reference
