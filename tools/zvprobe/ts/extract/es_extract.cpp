// SPDX-License-Identifier: MIT
// Implementation of es_extract.h.
#include "ts/extract/es_extract.h"

#include <algorithm>
#include <utility>

namespace zvprobe {

using zv::survey::Codec;
using zv::survey::Continuity;
using zv::survey::Packet;
using zv::survey::Section;

namespace {

// What tells the codec of a stream by its own bytes.
constexpr size_t kMostToReadCodec = size_t{64} << 10;

bool begins_with_start_code(std::span<const uint8_t> payload) {
    return payload.size() >= 3 && payload[0] == 0 && payload[1] == 0 && payload[2] == 1;
}

}  // namespace

EsExtract::EsExtract(ExtractRequest request, OutFileSet& out)
    : request_(std::move(request)),
      out_(out),
      map_({[this](uint16_t pid, uint16_t program) {
                gather_tables(pid);
                want_tables(pid, program);
                release_held(pid);
            },
            [this](uint16_t pid, uint16_t program) {
                want_tables(pid, program);
                release_held(pid);
            },
            [this](const auto& pmt, const auto& stream, uint16_t program) {
                see_listed(pmt, stream, program);
            }}),
      pids_(zv::kPidCount) {
    gather_tables(zv::kPidPat);
    if (request_.sections) gather_tables(zv::kPidCat);
    for (const uint16_t pid : zv::survey::kTablePids)
        want_tables(pid, 0);
    for (const uint16_t pid : request_.pids)
        switch_stream(watch(pid), Codec::kUnknown);
}

bool EsExtract::wants(uint16_t pid, uint16_t program) const {
    if (request_.pids.empty() && request_.programs.empty()) return true;
    return request_.pids.contains(pid) || request_.programs.contains(program);
}

EsExtract::Pid& EsExtract::watch(uint16_t pid) {
    auto& watched = pids_[pid];
    if (!watched) watched = std::make_unique<Pid>();
    return *watched;
}

EsExtract::Tables& EsExtract::gather_tables(uint16_t pid) {
    auto& tables = watch(pid).tables;
    if (!tables) tables = std::make_unique<Tables>(budget_);
    return *tables;
}

void EsExtract::want_tables(uint16_t pid, uint16_t program) {
    if (!request_.sections || !wants(pid, program)) return;
    gather_tables(pid).wanted = true;
    if (program != 0) watch(pid).programs.insert(program);
}

// What came of a PID before it was known to matter.
void EsExtract::release_held(uint16_t pid) {
    if (pids_[pid]) held_.release(pid, [&](const Packet& packet) { take_packet(packet); });
}

void EsExtract::see_listed(const zv::survey::PmtView& pmt, const zv::survey::PmtStream& listed,
                           uint16_t program) {
    if (!wants(listed.pid, program) || listed.pid == zv::kPidNull) return;
    Declared declared;
    declared.stream_type = listed.stream_type;
    declared.descriptors.assign(listed.descriptors.begin(), listed.descriptors.end());
    declared.hdmv = pmt.is_hdmv();
    declared.in_sections = carried_in_sections(pmt, listed);
    declared.codec = zv::survey::declared_codec(declared.stream());
    if (declared.in_sections) want_tables(listed.pid, program);
    declare(listed.pid, declared, program);
    release_held(listed.pid);
}

// A programme may change what it says of a PID; of two programmes that disagree the first counts.
void EsExtract::declare(uint16_t number, const Declared& declared, uint16_t program) {
    Pid& pid = watch(number);
    const bool again = pid.stream != nullptr && pid.stream->listed;
    if (again && pid.declared_by != program) {
        pid.stream->programs.insert(program);
        return;
    }
    pid.declared_by = program;
    if (pid.stream == nullptr) switch_stream(pid, declared.codec);
    const Codec before = pid.stream->declared.codec;
    const bool both_known = before != Codec::kUnknown && declared.codec != Codec::kUnknown;
    if (both_known && before != declared.codec) {
        codec_changes_.add({offset_, number, before, declared.codec});
        pid.stream->units.cut_off();
        switch_stream(pid, declared.codec);
    }
    Stream& stream = *pid.stream;
    stream.programs.insert(program);
    const bool told_codec = stream.listed && stream.declared.codec != Codec::kUnknown;
    const bool told_language = !language_part(stream.declared.descriptors).empty();
    const bool tells_codec = declared.codec != Codec::kUnknown;
    if (!told_codec || (!told_language && tells_codec)) stream.declared = declared;
    stream.listed = true;
}

// A codec that comes back goes on in its file.
void EsExtract::switch_stream(Pid& pid, Codec codec) {
    const auto found = std::ranges::find(pid.streams, codec,
                                         [](const auto& stream) { return stream->declared.codec; });
    if (found != pid.streams.end()) {
        pid.stream = found->get();
        return;
    }
    pid.stream = pid.streams.emplace_back(std::make_unique<Stream>()).get();
    pid.stream->declared.codec = codec;
}

void EsExtract::take(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset) {
    for (size_t at = 0; at + zv::kTsPacketSize <= packets.size(); at += packet_size) {
        offset_ = offset + at;
        take_packet(Packet(packets.data() + at));
        // A stream that a later PMT adds is not one that came all the time.
        if (map_.is_complete()) held_.clear();
    }
}

void EsExtract::take_packet(const Packet& packet) {
    if (packet.head().transport_error_indicator() || packet.pid() == zv::kPidNull) return;
    if (Pid* const pid = pids_[packet.pid()].get()) return see_packet(*pid, packet);
    if (!map_.is_complete()) held_.take(packet);
}

void EsExtract::see_packet(Pid& pid, const Packet& packet) {
    if (pid.stream != nullptr) ++pid.stream->packets;
    if (!see_continuity(pid, packet)) return;
    if (packet.scrambled()) return see_scrambled(pid, packet.starts_unit());
    if (!packet.payload().empty()) see_payload(pid, packet);
}

// -> false when what the packet carries is known already
bool EsExtract::see_continuity(Pid& pid, const Packet& packet) {
    const uint64_t lost_before = pid.continuity.lost;
    const Continuity step = judge_continuity(packet, pid.before, pid.continuity);
    std::copy_n(packet.bytes(), pid.kept.size(), pid.kept.begin());
    pid.before.bytes = pid.kept.data();
    pid.before.counter = packet.head().continuity_counter();
    const uint64_t lost = pid.continuity.lost - lost_before;
    if (pid.stream != nullptr) {
        pid.stream->packets_lost += lost;
        if (step == Continuity::kError) pid.stream->units.lose();
        if (step == Continuity::kRestarted) pid.stream->units.cut_off();
    }
    if (pid.tables) {
        pid.tables->packets_lost += lost;
        if (step == Continuity::kError || step == Continuity::kRestarted)
            pid.tables->gatherer.drop();
    }
    return step != Continuity::kDuplicate;
}

void EsExtract::see_scrambled(Pid& pid, bool starts_unit) {
    if (pid.tables) {
        ++pid.tables->scrambled_packets;
        pid.tables->gatherer.drop();
    }
    if (pid.stream == nullptr) return;
    ++pid.stream->scrambled_packets;
    if (!starts_unit) pid.stream->units.lose();
    pid.stream->units.cut_off();
}

void EsExtract::see_payload(Pid& pid, const Packet& packet) {
    const auto payload = packet.payload();
    // What is on a PID that no table names is seen where a unit begins.
    const bool unlisted = pid.stream != nullptr && !pid.stream->listed;
    if (unlisted && packet.starts_unit() && !begins_with_start_code(payload))
        want_tables(packet.pid(), 0);
    if (pid.stream != nullptr && !pid.stream->declared.in_sections)
        write(pid.stream->file, pid.stream->units.take(payload, packet.starts_unit()));
    if (!pid.tables) return;
    Tables& tables = *pid.tables;
    tables.gatherer.take(
        payload, packet.starts_unit(), offset_, [] {},
        [&](const Section& section, uint64_t) { write_section(packet.pid(), tables, section); });
}

void EsExtract::write(std::optional<OutFileSet::Id>& file, std::span<const uint8_t> bytes) {
    if (bytes.empty()) return;
    if (!file) file = out_.add();
    out_.write(*file, bytes);
}

void EsExtract::write_section(uint16_t pid, Tables& tables, const Section& section) {
    map_.take(pid, section);
    if (!tables.wanted) return;
    ++tables.sections;
    tables.crc_errors += section.is_sound() ? 0U : 1U;
    write(tables.file, section.bytes());
}

std::vector<Extracted> EsExtract::finish(const std::function<std::string(uint16_t pid)>& use_of) {
    std::vector<Extracted> results;
    for (uint16_t number = 0; number < zv::kPidCount; ++number) {
        if (!pids_[number]) continue;
        Pid& pid = *pids_[number];
        const bool has_tables = pid.tables && pid.tables->sections > 0;
        for (const auto& stream : pid.streams) {
            stream->units.finish();
            // Of a stream that is carried in sections, those are the result.
            const bool told = stream->file || !has_tables;
            if (told) results.push_back(result_of(number, *stream));
        }
        const bool scrambled =
            pid.tables && pid.tables->wanted && pid.tables->scrambled_packets > 0;
        if (has_tables || scrambled) results.push_back(result_of(number, pid, use_of(number)));
    }
    return results;
}

// What the bytes say overrules what a PMT does.
Extracted EsExtract::result_of(uint16_t number, Stream& stream) {
    const zv::survey::DeclaredStream declared = stream.declared.stream();
    Codec codec = stream.declared.codec;
    if (stream.file) {
        const auto bytes = out_.beginning(*stream.file, kMostToReadCodec);
        const Codec read = zv::survey::read_codec(declared, bytes).codec;
        if (read != Codec::kUnknown) codec = read;
    }
    Extracted result;
    result.pid = number;
    result.programs = stream.programs;
    result.units = stream.units.counts();
    result.packets = stream.packets;
    result.packets_lost = stream.packets_lost;
    result.scrambled_packets = stream.scrambled_packets;
    result.sections_not_wanted = stream.declared.in_sections && !request_.sections;
    const char* const named = zv::survey::codec_name(codec);
    if (named != nullptr) result.what = named;
    if (!stream.file) return result;
    result.file = *stream.file;
    result.bytes = out_.written(result.file);
    result.name =
        free_name(stream_file_name({number, codec, kind_of(codec, declared), stream.listed,
                                    language_part(stream.declared.descriptors)}));
    return result;
}

Extracted EsExtract::result_of(uint16_t number, const Pid& pid, const std::string& use) {
    const Tables& tables = *pid.tables;
    Extracted result;
    result.pid = number;
    result.what = use;
    result.programs = pid.programs;
    result.sections = true;
    result.units.units = tables.sections;
    result.units.damaged = tables.crc_errors;
    result.packets_lost = tables.packets_lost;
    result.scrambled_packets = tables.scrambled_packets;
    if (!tables.file) return result;
    result.file = *tables.file;
    result.bytes = out_.written(result.file);
    result.name = free_name(sections_file_name(number, use));
    return result;
}

// Two codecs that were declared may turn out to be one.
std::string EsExtract::free_name(const FileName& name) {
    std::string free = name.stem + name.extension;
    for (int number = 2; !names_.insert(free).second; ++number)
        free = name.stem + "-" + std::to_string(number) + name.extension;
    return free;
}

}  // namespace zvprobe
