// SPDX-License-Identifier: MIT
// Implementation of remap_plan.h.
#include "ts/remap_plan.h"

#include <cstring>

#include "base/numbers.h"
#include "base/texts.h"
#include "ts/psi_section.h"

namespace zvprobe {
namespace {

// ETSI EN 300 468, 5.1.3: the PIDs of service information end here.
constexpr uint16_t kFirstStreamPid = 0x0020;
constexpr std::string_view kBuiltServiceType = "digital_tv";

std::string program_text(uint16_t number) {
    return "programme " + std::to_string(number);
}

const StreamInfoProgram& choose_program(const ResolverAccount& account,
                                        std::optional<uint16_t> from) {
    const auto programs = account.programs();
    if (programs.empty()) throw UsageError("no programme is completely described");
    if (!from && programs.size() == 1) return programs[0];
    if (!from)
        throw UsageError(std::to_string(programs.size()) +
                         " programmes: choose one with --from NUMBER");
    for (const StreamInfoProgram& program : programs) {
        if (program.program_number == *from) return program;
    }
    throw UsageError("there is no " + program_text(*from));
}

std::optional<PsiSection> find_section(std::span<const uint8_t, 204> packet, uint8_t table_id,
                                       std::optional<uint16_t> id) {
    for (const PsiSection& section : sections_in(packet.first<kPacketSize>())) {
        if (section.whole && section.table_id == table_id && id.value_or(section.id) == section.id)
            return section;
    }
    return std::nullopt;
}

class Planner {
  public:
    Planner(const ResolverAccount& account, const PidInventory& inventory, const RemapWish& wish)
        : account_(account),
          inventory_(inventory),
          wish_(wish),
          program_(choose_program(account, wish.from)) {}

    RemapPlan make() {
        plan_.old_program_number = program_.program_number;
        plan_.old_pmt_pid = program_.pmt_pid;
        plan_.old_pcr_pid = program_.pcr_pid;
        plan_.new_pcr_pid = wish_.pcr_pid;
        check_pmt();
        check_wish();
        settle_pids();
        check_collisions();
        check_pcr();
        build_tables();
        return std::move(plan_);
    }

  private:
    // The builder writes neither descriptors of the programme nor more than the library knows.
    void check_pmt() {
        const auto section =
            find_section(program_.pmt_packet, kTableIdPmt, program_.program_number);
        if (!section) throw UsageError("the PMT does not lie whole in one packet");
        const PmtOutline outline = read_pmt_outline(*section);
        if (outline.streams > ZV_TS_MAX_STREAMS)
            throw UsageError("the programme has " + std::to_string(outline.streams) +
                             " streams; four can be given new PIDs");
        if (outline.longest_es_info > sizeof MPEGTSStream::es_info)
            throw UsageError("a stream has more than 128 bytes of descriptors");
        if (outline.program_info_size != 0)
            plan_.warnings.emplace_back("the descriptors of the whole programme are left out");
    }

    void check_wish() const {
        const size_t streams = streams_of(program_).size();
        if (wish_.es_pids.size() != streams)
            throw UsageError("the programme has " + std::to_string(streams) + " streams, --es " +
                             std::to_string(wish_.es_pids.size()));
        std::vector<uint16_t> pids = wish_.es_pids;
        pids.push_back(wish_.pmt_pid);
        for (size_t i = 0; i < pids.size(); ++i) {
            if (std::count(pids.begin(), pids.end(), pids[i]) > 1)
                throw UsageError(hex(pids[i]) + " cannot be two things at once");
        }
        pids.push_back(wish_.pcr_pid);
        if (wish_.pcr_pid == wish_.pmt_pid) throw UsageError("the PCR cannot share the PMT's PID");
        if (std::count(pids.begin(), pids.end(), kPidSdt) != 0)
            throw UsageError(hex(kPidSdt) + " belongs to the SDT");
    }

    void settle_pids() {
        if (account_.programs().size() > 1) {
            for (uint16_t pid = kFirstStreamPid; pid < kPidNull; ++pid)
                plan_.by_pid[pid].fate = Fate::kDrop;
        }
        plan_.by_pid[kPidPat].fate = Fate::kPat;
        plan_.by_pid[kPidSdt].fate = Fate::kSdt;
        move(program_.pcr_pid, wish_.pcr_pid);
        const auto streams = streams_of(program_);
        for (size_t i = 0; i < streams.size(); ++i)
            move(streams[i].pid, wish_.es_pids[i]);
        plan_.by_pid[program_.pmt_pid].fate = Fate::kPmt;
    }

    void move(uint16_t from, uint16_t to) { plan_.by_pid[from % kPidCount] = {Fate::kMove, to}; }

    void check_collisions() const {
        std::vector<uint16_t> pids = wish_.es_pids;
        pids.insert(pids.end(), {wish_.pmt_pid, wish_.pcr_pid});
        for (const uint16_t pid : pids) {
            if (inventory_.of(pid).seen && plan_.by_pid[pid].fate == Fate::kKeep)
                throw UsageError(hex(pid) + " carries other packets of the stream");
        }
    }

    // Packets of a PCR PID of its own go into a stream only when they carry nothing else.
    void check_pcr() {
        const auto streams = streams_of(program_);
        const auto is_old = [&](const StreamInfoEs& es) { return es.pid == program_.pcr_pid; };
        const bool was_alone = std::none_of(streams.begin(), streams.end(), is_old);
        for (size_t i = 0; i < streams.size(); ++i) {
            if (wish_.es_pids[i] != wish_.pcr_pid) continue;
            plan_.pcr_joins_stream = was_alone;
            plan_.pcr_counter_before = inventory_.of(streams[i].pid).counter_before;
            if (was_alone && inventory_.of(program_.pcr_pid).has_payload)
                throw UsageError(
                    "the PCR's packets carry a payload: --pcr has to be a PID of "
                    "its own");
        }
    }

    void build_tables() {
        plan_.pat = build_pat(pat_entries());
        ProgramMap map = {wish_.program_number, wish_.pmt_pid, wish_.pcr_pid, {}};
        const auto streams = streams_of(program_);
        for (size_t i = 0; i < streams.size(); ++i) {
            MPEGTSStream stream{};
            stream.pid = wish_.es_pids[i];
            stream.stream_type = streams[i].stream_type;
            stream.es_info_len = streams[i].es_info_len;
            std::memcpy(stream.es_info, streams[i].es_info, sizeof stream.es_info);
            map.streams.push_back(stream);
        }
        plan_.pmt = build_pmt(map);
        if (program_.has_service != 0) build_service();
    }

    std::vector<ProgramEntry> pat_entries() const {
        std::vector<ProgramEntry> entries;
        if (const auto pat = find_section(account_.info->packet, kTableIdPat, std::nullopt)) {
            for (const ProgramEntry& entry : read_pat(*pat)) {
                if (entry.program_number == 0) entries.push_back(entry);
            }
        }
        entries.push_back({wish_.program_number, wish_.pmt_pid});
        return entries;
    }

    void build_service() {
        ServiceText text = {wish_.program_number, std::string(bounded(program_.service_provider)),
                            std::string(bounded(program_.service_name))};
        if (text.name.size() + text.provider.size() > kMostServiceText) {
            text.name.resize(std::min(text.name.size(), kMostServiceText));
            text.provider.resize(
                std::min(text.provider.size(), kMostServiceText - text.name.size()));
            plan_.warnings.emplace_back("the service's texts are shortened to fit one packet");
        }
        plan_.sdt = build_sdt(text);
        const std::string_view type = bounded(program_.service_type);
        if (type != kBuiltServiceType)
            plan_.warnings.push_back("the service type becomes digital_tv, was " +
                                     std::string(type));
    }

    const ResolverAccount& account_;
    const PidInventory& inventory_;
    const RemapWish& wish_;
    const StreamInfoProgram& program_;
    RemapPlan plan_{};
};

}  // namespace

RemapPlan make_remap_plan(const ResolverAccount& account, const PidInventory& inventory,
                          const RemapWish& wish) {
    return Planner(account, inventory, wish).make();
}

}  // namespace zvprobe
