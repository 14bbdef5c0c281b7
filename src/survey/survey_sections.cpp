// SPDX-License-Identifier: MIT
// Part of survey.h: sections out of packets, on to tables and model, and the errors of sections.
#include "survey/survey.h"

#include "survey/records/splice_event.h"
#include "survey/records/table_rules.h"

namespace zv::survey {

void Survey::see_sections(const Packet& packet, PidDetail& detail, uint64_t offset) {
    const uint16_t pid = packet.pid();
    detail.sections.take(
        packet.payload(), packet.starts_unit(), offset,
        [&] {
            timing_.push(SectionBegun{offset, pid});
        },
        [&](const Section& section, uint64_t first_offset) {
            see_section(pid, section, first_offset, offset);
        });
}

void Survey::see_section(uint16_t pid, const Section& section, uint64_t first_offset,
                         uint64_t offset) {
    if (section.is_sound()) {
        note_section(pid, section, offset);
        if (section.table_id() == kTableIdSplice) see_splice(pid, section, first_offset);
        if (!section.is_current()) return;
        check_table_id(pid, section.table_id(), first_offset);
        return model_.see(pid, section, offset);
    }
    ++pids_.detail(pid).crc_errors;
    if (crc_errors_++ < kMostCrcErrors)
        crc_error_list_.push_back({first_offset, pid, section.table_id()});
    if (!is_crc_error_2_2(section.table_id())) return;
    timing_.tell_of_section({.kind = event_of(Indicator::kCrcError),
                             .pid = pid,
                             .offset = first_offset,
                             .a = section.table_id()});
}

// A splice information section is short, and yet it has a CRC_32.
void Survey::see_splice(uint16_t pid, const Section& section, uint64_t offset) {
    if (pids_.detail(pid).declared != Codec::kScte35 || crc32(section.bytes()) != 0) return;
    if (const auto command = read_splice_command(section.bytes()))
        timing_.tell(splice_event(*command, pid, offset));
}

void Survey::note_section(uint16_t pid, const Section& section, uint64_t offset) {
    SectionDone done = {};
    done.offset = offset;
    done.pid = pid;
    done.table_id = section.table_id();
    done.record = tables_.see(pid, section);
    done.is_long = section.is_long();
    done.is_current = section.is_current();
    if (section.is_long()) {
        done.number = section.number();
        done.extension = section.extension();
        done.of_program =
            section.table_id() == kTableIdPmt && model_.is_pmt_of(pid, section.extension());
    }
    timing_.push(done);
}

// On the PIDs of tables nothing but their tables belongs.
void Survey::check_table_id(uint16_t pid, uint8_t table_id, uint64_t offset) {
    const auto indicator = misplaced(pid, table_id);
    if (!indicator) return;
    timing_.tell_of_section({.kind = event_of(*indicator),
                             .clause = Clause::kTableId,
                             .pid = pid,
                             .offset = offset,
                             .a = table_id});
}

}  // namespace zv::survey
