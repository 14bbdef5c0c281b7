// SPDX-License-Identifier: MIT
// Implementation of model.h.
#include "survey/model/model.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zv::survey {
namespace {

constexpr size_t kPatEntrySize = 4;
constexpr size_t kMostPatEntries = 8192;  // looked at whenever a section of the PAT changes

std::vector<uint16_t> stream_pids(const std::vector<uint8_t>& pmt) {
    std::vector<uint16_t> pids;
    if (pmt.empty()) return pids;
    PmtView(pmt).for_each_stream([&](const PmtStream& stream) { pids.push_back(stream.pid); });
    std::ranges::sort(pids);
    pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
    return pids;
}

// -> every PID that a programme names, ascending, each once
std::vector<uint16_t> names_of(uint16_t pmt_pid, const std::vector<uint8_t>& section) {
    std::vector<uint16_t> pids = {pmt_pid};
    if (!section.empty()) {
        const PmtView pmt(section);
        const auto add_ca = [&](uint16_t, uint16_t pid) { pids.push_back(pid); };
        if (pmt.pcr_pid() != kPidNull) pids.push_back(pmt.pcr_pid());
        for_each_ca(pmt.descriptors(), add_ca);
        pmt.for_each_stream([&](const PmtStream& stream) {
            pids.push_back(stream.pid);
            for_each_ca(stream.descriptors, add_ca);
        });
    }
    std::ranges::sort(pids);
    pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
    return pids;
}

std::optional<PmtStream> find_stream(const Program& program, uint16_t pid) {
    std::optional<PmtStream> found;
    if (!program.has_pmt()) return found;
    program.view().for_each_stream([&](const PmtStream& stream) {
        if (stream.pid == pid && !found) found = stream;
    });
    return found;
}

}  // namespace

std::optional<uint16_t> Program::pcr_pid() const {
    if (!has_pmt() || view().pcr_pid() == kPidNull) return std::nullopt;
    return view().pcr_pid();
}

StreamCodec declared_codec_of(const PmtView& pmt, const PmtStream& stream) {
    const DeclaredStream declared = {stream.stream_type, stream.descriptors, pmt.is_hdmv()};
    const Codec codec = declared_codec(declared);
    return {codec, kind_of(codec, declared)};
}

StreamCodec codec_of(const PmtView& pmt, const PmtStream& stream, const Pids& pids) {
    const auto& detail = pids[stream.pid].detail;
    if (!detail || !detail->facts || detail->facts->codec == Codec::kUnknown)
        return declared_codec_of(pmt, stream);
    const Codec codec = detail->facts->codec;
    return {codec, kind_of(codec, {stream.stream_type, stream.descriptors, pmt.is_hdmv()})};
}

Model::Model(Pids& pids, Timing& timing) : pids_(pids), timing_(timing) {
    for (const uint16_t pid : kTablePids)
        pids_.watch(pid);
}

void Model::see(uint16_t pid, const Section& section, uint64_t offset) {
    if (!section.is_long()) {
        const bool has_time =
            section.table_id() == kTableIdTdt || section.table_id() == kTableIdTot;
        if (pid == kPidTdt && has_time) see_utc(section);
        return;
    }
    switch (section.table_id()) {
        case kTableIdPat:
            if (pid == kPidPat) see_pat(section, offset);
            break;
        case kTableIdCat:
            if (pid == kPidCat) see_cat(section, offset);
            break;
        case kTableIdPmt:
            see_pmt(pid, section, offset);
            break;
        case kTableIdNitActual:
            if (pid == kPidNit || std::ranges::binary_search(network_pids_, pid))
                store(nit_, section);
            break;
        case kTableIdSdtActual:
            if (pid == kPidSdt) see_sdt(section, offset);
            break;
        case kTableIdEitActual:
            if (pid == kPidEit && section.number() < 2) see_event(section);
            break;
        case kTableIdTerrestrialVct:
            if (pid == kPidPsip) store(terrestrial_vct_, section);
            break;
        case kTableIdCableVct:
            if (pid == kPidPsip) store(cable_vct_, section);
            break;
        default:
            break;
    }
}

StoredTable::Change Model::store(StoredTable& table, const Section& section) {
    const StoredTable::Change change = table.store(section);
    if (change != StoredTable::Change::kNone) ++generation_;
    return change;
}

void Model::see_pat(const Section& section, uint64_t offset) {
    const StoredTable::Change change = store(pat_, section);
    if (change == StoredTable::Change::kNone) return;
    if (change == StoredTable::Change::kFirst) timing_.push(FirstPat{offset});
    if (change == StoredTable::Change::kNewVersion) {
        timing_.tell({.kind = EventKind::kPatChanged,
                      .pid = kPidPat,
                      .offset = offset,
                      .a = section.version(),
                      .b = section.extension()});
    }
    rebuild_programs(offset);
}

// The programmes of the PAT in force, in its order; what is known of those that stay is kept.
void Model::rebuild_programs(uint64_t offset) {
    std::vector<Program> before = std::exchange(programs_, {});
    const auto index_before = std::exchange(program_index_, {});
    const std::vector<uint16_t> network_before = std::exchange(network_pids_, {});
    programs_left_out_ = 0;
    size_t entries = 0;
    pat_.for_each([&](const Section& section) {
        if (entries > kMostPatEntries) {
            programs_left_out_ += section.body().size() / kPatEntrySize;
            return;
        }
        for_each_pat_entry(section, [&](uint16_t number, uint16_t pid) {
            ++entries;
            pids_.watch(pid);
            if (number == 0) {
                network_pids_.push_back(pid);
            } else if (program_index_.size() >= kMostPrograms) {
                ++programs_left_out_;
            } else if (program_index_.try_emplace(number, programs_.size()).second) {
                programs_.push_back({number, pid, {}});
            }
        });
    });
    std::ranges::sort(network_pids_);
    network_pids_.erase(std::unique(network_pids_.begin(), network_pids_.end()),
                        network_pids_.end());
    for (const uint16_t pid : network_pids_)
        ask(pid, Role::kNamed, offset);
    std::vector<bool> stays(before.size());
    for (Program& program : programs_) {
        const auto known = index_before.find(program.number);
        const bool same =
            known != index_before.end() && before[known->second].pmt_pid == program.pmt_pid;
        if (same) {
            stays[known->second] = true;
            program.pmt = std::move(before[known->second].pmt);
        } else {
            begin_program(program, offset);
        }
    }
    for (size_t i = 0; i < before.size(); ++i)
        if (!stays[i]) end_program(before[i], offset);
    for (const uint16_t pid : network_before)
        release(pid, Role::kNamed, offset);
}

void Model::begin_program(const Program& program, uint64_t offset) {
    tell_program(EventKind::kProgramAdded, program, offset);
    ask(program.pmt_pid, Role::kNamed, offset);
    ask(program.pmt_pid, Role::kPmt, offset);
    change_names(program, {}, names_of(program.pmt_pid, {}));
    timing_.push(ProgramChange{offset, program.number, program.pmt_pid, true});
}

void Model::end_program(const Program& program, uint64_t offset) {
    tell_program(EventKind::kProgramRemoved, program, offset);
    const bool moved = find_program(program.number) != nullptr;
    if (!moved) timing_.push(ProgramChange{offset, program.number, program.pmt_pid, false});
    if (program.has_pmt()) change_streams(program.pmt, offset, &Model::release);
    change_names(program, names_of(program.pmt_pid, program.pmt), {});
    release(program.pmt_pid, Role::kPmt, offset);
    release(program.pmt_pid, Role::kNamed, offset);
}

// Asks something of a PID, or asks it no longer.
void Model::ask(uint16_t pid, Role role, uint64_t offset) {
    if (pids_.detail(pid).roles[static_cast<size_t>(role)]++ == 0)
        change_role(pid, role, true, offset);
}

void Model::release(uint16_t pid, Role role, uint64_t offset) {
    if (--pids_.detail(pid).roles[static_cast<size_t>(role)] == 0)
        change_role(pid, role, false, offset);
}

// What was read of a stream that is another one now says nothing of it.
void Model::declare(uint16_t pid, Codec codec) {
    PidDetail& detail = pids_.detail(pid);
    if (detail.declared != codec) detail.facts.reset();
    detail.declared = codec;
    detail.es.reset();
}

// What came so far is judged by the role it had.
void Model::change_role(uint16_t pid, Role role, bool begins, uint64_t offset) {
    if (role == Role::kNamed && !begins) declare(pid, Codec::kUnknown);
    timing_.end_segment(pid);
    timing_.push(RoleChange{offset, pid, role, begins});
}

// Asks for, or releases, everything that a programme map names.
void Model::change_streams(const std::vector<uint8_t>& section, uint64_t offset,
                           void (Model::*change)(uint16_t, Role, uint64_t)) {
    const PmtView pmt(section);
    const auto name = [&](uint16_t pid) { (this->*change)(pid, Role::kNamed, offset); };
    const auto name_ca = [&](uint16_t, uint16_t pid) { name(pid); };
    if (pmt.pcr_pid() != kPidNull) {
        name(pmt.pcr_pid());
        (this->*change)(pmt.pcr_pid(), Role::kPresence, offset);
    }
    for_each_ca(pmt.descriptors(), name_ca);
    pmt.for_each_stream([&](const PmtStream& stream) {
        name(stream.pid);
        for_each_ca(stream.descriptors, name_ca);
        const Kind kind = declared_codec_of(pmt, stream).kind;
        if (kind == Kind::kVideo || kind == Kind::kAudio) {
            (this->*change)(stream.pid, Role::kPresence, offset);
            (this->*change)(stream.pid, Role::kPts, offset);
        }
    });
}

// Notes which PIDs a programme names now, and which no longer. Each is noted once, however often it
// is mentioned.
void Model::change_names(const Program& program, const std::vector<uint16_t>& before,
                         const std::vector<uint16_t>& now) {
    std::vector<uint16_t> changed;
    std::ranges::set_difference(now, before, std::back_inserter(changed));
    for (const uint16_t pid : changed)
        pids_.detail(pid).programs.push_back(program.number);
    changed.clear();
    std::ranges::set_difference(before, now, std::back_inserter(changed));
    for (const uint16_t pid : changed)
        std::erase(pids_.detail(pid).programs, program.number);
}

// -> the first programme in the PAT's order that names a PID
const Program* Model::first_program(uint16_t pid, bool as_stream) const {
    const Program* first = nullptr;
    for (const uint16_t number : pids_[pid].detail->programs) {
        const Program* const program = find_program(number);
        if (!program || (first && first <= program)) continue;
        if (!as_stream || find_stream(*program, pid)) first = program;
    }
    return first;
}

void Model::find_reference(uint16_t pid, PidDetail& detail) const {
    const Program* const first = first_program(pid, false);
    detail.reference_pid = first ? first->pcr_pid() : std::nullopt;
    detail.reference_generation = generation_;
}

std::optional<DeclaredStream> Model::declared_stream(uint16_t pid) const {
    const Program* const first = first_program(pid, true);
    if (!first) return std::nullopt;
    const PmtStream stream = *find_stream(*first, pid);
    return DeclaredStream{stream.stream_type, stream.descriptors, first->view().is_hdmv()};
}

void Model::tell_program(EventKind kind, const Program& program, uint64_t offset) {
    timing_.tell({.kind = kind,
                  .pid = kPidPat,
                  .offset = offset,
                  .a = program.number,
                  .b = program.pmt_pid});
}

const Program* Model::find_program(uint16_t number) const {
    const auto found = program_index_.find(number);
    return found == program_index_.end() ? nullptr : &programs_[found->second];
}

void Model::see_cat(const Section& section, uint64_t offset) {
    StoredTable::Sections replaced;
    if (cat_.store(section, &replaced) == StoredTable::Change::kNone) return;
    ++generation_;
    for_each_ca(section.body(), [&](uint16_t, uint16_t pid) {
        pids_.watch(pid);
        ask(pid, Role::kNamed, offset);
    });
    for (const auto& [number, bytes] : replaced) {
        for_each_ca(Section(bytes).body(),
                    [&](uint16_t, uint16_t pid) { release(pid, Role::kNamed, offset); });
    }
}

void Model::see_sdt(const Section& section, uint64_t offset) {
    if (store(sdt_, section) != StoredTable::Change::kNewVersion) return;
    timing_.tell({.kind = EventKind::kSdtChanged,
                  .pid = kPidSdt,
                  .offset = offset,
                  .a = section.version(),
                  .b = section.extension()});
}

void Model::see_pmt(uint16_t pid, const Section& section, uint64_t offset) {
    const auto found = program_index_.find(section.extension());
    if (found == program_index_.end()) return;
    Program& program = programs_[found->second];
    if (program.pmt_pid != pid || std::ranges::equal(program.pmt, section.bytes())) return;
    const std::vector<uint8_t> before = std::exchange(
        program.pmt, std::vector<uint8_t>(section.bytes().begin(), section.bytes().end()));
    ++generation_;
    watch_pmt_pids(program.view());
    change_names(program, names_of(pid, before), names_of(pid, program.pmt));
    change_streams(program.pmt, offset, &Model::ask);
    if (!before.empty()) change_streams(before, offset, &Model::release);
    if (before.empty()) return;
    if (Section(before).version() != section.version()) {
        timing_.tell({.kind = EventKind::kPmtChanged,
                      .pid = pid,
                      .offset = offset,
                      .a = program.number,
                      .b = section.version()});
    }
    tell_stream_changes(program, before, offset);
}

void Model::watch_pmt_pids(const PmtView& pmt) {
    const auto watch_ca = [&](uint16_t, uint16_t ca_pid) { pids_.watch(ca_pid); };
    for_each_ca(pmt.descriptors(), watch_ca);
    pmt.for_each_stream([&](const PmtStream& stream) {
        for_each_ca(stream.descriptors, watch_ca);
        declare(stream.pid, declared_codec_of(pmt, stream).codec);
        if (carried_in_sections(pmt, stream))
            pids_.watch(stream.pid);
        else
            pids_.read_codec_of(stream.pid);
    });
}

void Model::tell_stream_changes(const Program& program, const std::vector<uint8_t>& before,
                                uint64_t offset) {
    const std::vector<uint16_t> pids_before = stream_pids(before);
    const std::vector<uint16_t> pids_now = stream_pids(program.pmt);
    program.view().for_each_stream([&](const PmtStream& stream) {
        if (std::ranges::binary_search(pids_before, stream.pid)) return;
        timing_.tell({.kind = EventKind::kStreamAppeared,
                      .pid = stream.pid,
                      .offset = offset,
                      .a = program.number,
                      .b = stream.stream_type});
    });
    for (const uint16_t pid : pids_before) {
        if (std::ranges::binary_search(pids_now, pid)) continue;
        timing_.tell({.kind = EventKind::kStreamVanished,
                      .pid = pid,
                      .offset = offset,
                      .a = program.number});
    }
}

void Model::see_utc(const Section& section) {
    const std::string utc = read_utc(section.bytes().subspan(kSectionHeadSize));
    if (utc.empty()) return;
    if (utc_first_.empty()) utc_first_ = utc;
    utc_last_ = utc;
}

void Model::see_event(const Section& section) {
    const std::pair key(section.extension(), section.number());
    const uint32_t crc = load_be32(&section.bytes()[section.bytes().size() - kCrcSize]);
    const auto known = events_.find(key);
    if (known == events_.end() && events_.size() >= kMostEvents) {
        ++service_events_left_out_;
        return;
    }
    if (known != events_.end() && known->second.crc == crc) return;
    ++generation_;
    events_.insert_or_assign(key, KnownEvent{crc, read_first_event(section)});
}

std::optional<std::string> Model::network_name() const {
    std::optional<std::string> name;
    nit_.for_each([&](const Section& nit) {
        if (!name) name = read_network_name(nit);
    });
    return name;
}

std::vector<Service> Model::services() const {
    ServiceList services;
    sdt_.for_each([&](const Section& sdt) { read_sdt(sdt, services); });
    terrestrial_vct_.for_each([&](const Section& vct) { read_vct(vct, services); });
    cable_vct_.for_each([&](const Section& vct) { read_vct(vct, services); });
    return std::move(services).sorted();
}

std::optional<ServiceEvent> Model::service_event(uint16_t service_id, uint8_t number) const {
    const auto found = events_.find({service_id, number});
    return found == events_.end() ? std::nullopt : found->second.event;
}

}  // namespace zv::survey
