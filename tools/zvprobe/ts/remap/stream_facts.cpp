// SPDX-License-Identifier: MIT
// Implementation of stream_facts.h.
#include "ts/remap/stream_facts.h"

#include "ts/remap/section_rewrite.h"

namespace zvprobe {

using namespace zv::survey;

void StreamFacts::see(const FramedPacket& framed) {
    const Packet packet(framed.body.data());
    const uint16_t pid = packet.pid();
    PidFacts& facts = pids_[pid];
    ++packets_;
    if (!facts.seen) {
        const int before = packet.head().continuity_counter() - (packet.has_payload() ? 1 : 0);
        facts.counter_before = static_cast<uint8_t>(before & 15);
    }
    facts.seen = true;
    facts.has_payload = facts.has_payload || packet.has_payload();
    if (!is_watched(pid) || packet.head().transport_error_indicator()) return;
    auto& sections = sections_[pid];
    if (!sections) sections = std::make_unique<PidSections>(budget_);
    sections->take(packet, [&](const Section& section) {
        if (section.is_sound() && section.is_current()) see_section(pid, section);
    });
}

bool StreamFacts::is_watched(uint16_t pid) const {
    return pid == zv::kPidPat || pid == zv::kPidCat || pid == zv::kPidSdt || pid == zv::kPidEit ||
           tables_.carries_pmt(pid);
}

void StreamFacts::see_section(uint16_t pid, const Section& section) {
    const bool changed = tables_.see(pid, section);
    if (pid == zv::kPidPat && changed) return see_pat();
    if (pid == zv::kPidCat && changed) return see_cat();
    if (tables_.carries_pmt(pid) && section.is_long() && section.table_id() == kTableIdPmt)
        return see_pmt(pid, section);
    see_services(pid, section);
}

void StreamFacts::keep_first(uint16_t pid, const WholeTable& table, bool& kept) {
    if (kept) return;
    kept = true;
    for (const auto& bytes : table.sections())
        first_tables_.emplace_back(pid, bytes);
}

void StreamFacts::see_pat() {
    keep_first(zv::kPidPat, tables_.pat(), has_pat_);
    for (const auto& bytes : tables_.pat().sections()) {
        for_each_pat_entry(Section(bytes), [&](uint16_t number, uint16_t pid) {
            if (number == 0) pids_[pid].named = true;
        });
    }
    for (const auto& [number, pid] : tables_.programs()) {
        pids_[pid].named = true;
        numbers_[number] = true;
        if (!listed_[number] && listed_count_++ == 0) {
            first_.number = number;
            first_.pmt_pid = pid;
        }
        listed_[number] = true;
        if (number == first_.number && pid != first_.pmt_pid) first_.pmt_moves = true;
    }
}

void StreamFacts::see_cat() {
    keep_first(zv::kPidCat, tables_.cat(), has_cat_);
    for (const auto& bytes : tables_.cat().sections())
        for_each_ca(Section(bytes).body(),
                    [&](uint16_t, uint16_t pid) { pids_[pid].named = true; });
}

void StreamFacts::see_pmt(uint16_t pid, const Section& section) {
    if (only_ && section.extension() != *only_) return;
    for_each_pid_of_pmt(section, [&](uint16_t named) { pids_[named].named = true; });
    pids_[PmtView(section.bytes()).pcr_pid()].clock = true;
    if (section.extension() != first_.number || listed_count_ == 0) return;
    if (!first_.described)
        first_tables_.emplace_back(
            pid, std::vector<uint8_t>(section.bytes().begin(), section.bytes().end()));
    see_first_pmt(section);
}

void StreamFacts::see_first_pmt(const Section& section) {
    const PmtView pmt(section.bytes());
    std::vector<uint16_t> streams;
    pmt.for_each_stream([&](const PmtStream& stream) { streams.push_back(stream.pid); });
    if (!first_.described) {
        first_.described = true;
        first_.pcr_pid = pmt.pcr_pid();
        first_.streams = std::move(streams);
        return;
    }
    first_.pcr_moves = first_.pcr_moves || first_.pcr_pid != pmt.pcr_pid();
    first_.streams_change = first_.streams_change || first_.streams != streams;
}

void StreamFacts::see_services(uint16_t pid, const Section& section) {
    const uint8_t id = section.table_id();
    if (only_ || !section.is_long()) return;
    if (pid == zv::kPidEit && is_eit_actual(id)) numbers_[section.extension()] = true;
    if (pid != zv::kPidSdt || id != kTableIdSdtActual) return;
    BodyReader reader(section.body());
    reader.take(3);  // original_network_id and a reserved byte
    while (reader.left() >= 5) {
        numbers_[reader.u16()] = true;
        reader.u8();
        reader.loop();
    }
}

}  // namespace zvprobe
