// SPDX-License-Identifier: MIT
// What the tables in force say: programmes, services, network, time. Takes sound, current sections,
// has further PIDs watched, and tells what changed.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "survey/codecs/codec.h"
#include "survey/model/stored_table.h"
#include "survey/psi/psi.h"
#include "survey/records/pids.h"
#include "survey/timing/timing.h"

namespace zv::survey {

struct Program {
    uint16_t number;
    uint16_t pmt_pid;
    std::vector<uint8_t> pmt;  // the latest programme map section; empty before the first

    bool has_pmt() const { return !pmt.empty(); }
    PmtView view() const { return PmtView(pmt); }
    // -> the PCR_PID; nothing before the first PMT and where it names none
    std::optional<uint16_t> pcr_pid() const;
};

struct StreamCodec {
    Codec codec;
    Kind kind;
};
// Codec and kind as the tables declare them; as the stream's own bytes say, where they do.
StreamCodec declared_codec_of(const PmtView& pmt, const PmtStream& stream);

StreamCodec codec_of(const PmtView& pmt, const PmtStream& stream, const Pids& pids);

class Model {
  public:
    static constexpr size_t kMostPrograms = 2048;
    static constexpr size_t kMostEvents = 2048;

    Model(Pids& pids, Timing& timing);

    // Takes a sound section whose current_next_indicator is 1.
    // offset  in  of the packet that completed it
    void see(uint16_t pid, const Section& section, uint64_t offset);

    // -> a number that is another one after every change
    uint64_t generation() const { return generation_; }
    void note_codec_read() { ++generation_; }

    const Pids& pids() const { return pids_; }

    // In the order of the PAT.
    const std::vector<Program>& programs() const { return programs_; }
    size_t programs_left_out() const { return programs_left_out_; }
    // -> sections of EIT present/following of services that are too many
    uint64_t service_events_left_out() const { return service_events_left_out_; }

    std::optional<uint16_t> transport_stream_id() const { return pat_.extension(); }
    std::optional<uint16_t> network_id() const { return nit_.extension(); }
    std::optional<std::string> network_name() const;
    const std::vector<uint16_t>& network_pids() const { return network_pids_; }
    const std::string& utc_first() const { return utc_first_; }
    const std::string& utc_last() const { return utc_last_; }

    // -> true when a PID carries the map of this programme
    bool is_pmt_of(uint16_t pid, uint16_t program_number) const {
        const Program* const program = find_program(program_number);
        return program && program->pmt_pid == pid;
    }

    // -> the PCR_PID of the first programme in the PAT's order that names a PID
    std::optional<uint16_t> pcr_pid_for(uint16_t pid, PidDetail& detail) {
        if (detail.reference_generation != generation_) find_reference(pid, detail);
        return detail.reference_pid;
    }

    // -> a stream as the first programme in the PAT's order declares it that lists it
    std::optional<DeclaredStream> declared_stream(uint16_t pid) const;

    // Described by SDT or virtual channel table, ascending by id.
    std::vector<Service> services() const;

    // -> what EIT present/following says of a service, number 0 or 1
    std::optional<ServiceEvent> service_event(uint16_t service_id, uint8_t number) const;

    // Calls see(ca_pid) for each EMM PID of the CAT.
    template <typename See>
    void for_each_emm_pid(See see) const {
        cat_.for_each([&](const Section& cat) {
            for_each_ca(cat.body(), [&](uint16_t, uint16_t ca_pid) { see(ca_pid); });
        });
    }

  private:
    void see_pat(const Section& section, uint64_t offset);
    void see_cat(const Section& section, uint64_t offset);
    void see_pmt(uint16_t pid, const Section& section, uint64_t offset);
    void see_sdt(const Section& section, uint64_t offset);
    void see_utc(const Section& section);
    void see_event(const Section& section);
    void rebuild_programs(uint64_t offset);
    void tell_program(EventKind kind, const Program& program, uint64_t offset);
    void tell_stream_changes(const Program& program, const std::vector<uint8_t>& before,
                             uint64_t offset);
    void watch_pmt_pids(const PmtView& pmt);
    void ask(uint16_t pid, Role role, uint64_t offset);
    void release(uint16_t pid, Role role, uint64_t offset);
    void change_role(uint16_t pid, Role role, bool begins, uint64_t offset);
    void change_streams(const std::vector<uint8_t>& section, uint64_t offset,
                        void (Model::*change)(uint16_t, Role, uint64_t));
    void change_names(const Program& program, const std::vector<uint16_t>& before,
                      const std::vector<uint16_t>& now);
    void declare(uint16_t pid, Codec codec);
    StoredTable::Change store(StoredTable& table, const Section& section);
    void begin_program(const Program& program, uint64_t offset);
    void end_program(const Program& program, uint64_t offset);
    const Program* find_program(uint16_t number) const;
    void find_reference(uint16_t pid, PidDetail& detail) const;
    const Program* first_program(uint16_t pid, bool as_stream) const;

    Pids& pids_;
    Timing& timing_;
    uint64_t generation_ = 1;
    StoredTable pat_, cat_, nit_, sdt_, terrestrial_vct_, cable_vct_;
    std::vector<Program> programs_;
    std::unordered_map<uint16_t, size_t> program_index_;  // by number
    size_t programs_left_out_ = 0;
    uint64_t service_events_left_out_ = 0;
    std::vector<uint16_t> network_pids_;
    struct KnownEvent {
        uint32_t crc = 0;  // of the section that told it
        std::optional<ServiceEvent> event;
    };
    std::map<std::pair<uint16_t, uint8_t>, KnownEvent> events_;  // by service_id and number
    std::string utc_first_, utc_last_;
};

}  // namespace zv::survey
