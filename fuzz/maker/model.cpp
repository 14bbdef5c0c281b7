// SPDX-License-Identifier: MIT
// Programmes of a made stream, and how they change.
#include "model.h"

namespace fuzz::maker {
namespace {

struct Kind {
    uint8_t type;
    bool timed;
    Bytes descriptors;
};

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> kKinds = {
        {0x02, true, {}},
        {0x1B, true, {0x28, 4, 0x64, 0, 0x28, 0x3F}},
        {0x24, true, {0x05, 4, 'H', 'E', 'V', 'C'}},
        {0x03, true, {0x0A, 4, 'd', 'e', 'u', 0}},
        {0x0F, true, {0x0A, 8, 'e', 'n', 'g', 0, 'f', 'r', 'a', 3}},
        {0x11, true, {}},
        {0x81, true, {0x05, 4, 'A', 'C', '-', '3', 0x0A, 4, 'e', 'n', 'g', 0}},
        {0x06, true, {0x6A, 1, 0, 0x0A, 4, 's', 'p', 'a', 0}},
        {0x06, true, {0x56, 10, 'd', 'e', 'u', 9, 0, 'd', 'e', 'u', 0x11, 0x50}},
        {0x06, true, {0x59, 8, 'n', 'o', 'r', 0x10, 0, 1, 0, 2}},
        {0x15, true, {}},
        {0x05, false, {}},
        {0x0B, false, {}},
        {0x86, false, {0x05, 4, 'C', 'U', 'E', 'I'}},
        {0xC0, false, {}},
        {0x06, true, {0x52, 1, 7}},
    };
    return kKinds;
}

Bytes ca_descriptor(int system, uint16_t pid) {
    Bytes out{0x09, 4};
    append16(out, system);
    append16(out, 0xE000 | pid);
    return out;
}

Stream make_stream(Chooser& choose, uint16_t pid) {
    // The usual ones come more often.
    const auto count = static_cast<uint32_t>(kinds().size());
    const Kind& kind = kinds()[choose.one_in(2) ? choose.below(8) : choose.below(count)];
    Stream stream{pid, kind.type, kind.descriptors, kind.timed};
    if (choose.one_in(12))
        append(stream.descriptors, ca_descriptor(0x0B00, static_cast<uint16_t>(pid + 0x800)));
    return stream;
}

void give_clock(Program& program, Chooser& choose, uint16_t first_pid) {
    switch (choose.below(10)) {
        case 0:
            program.pcr_pid = static_cast<uint16_t>(first_pid + 0xF);
            break;
        case 1:
            program.pcr_pid = choose.one_in(2) ? 0x1FFF : 0x10F;  // none, or one for several
            break;
        default:
            program.pcr_pid = program.streams.empty() ? first_pid : program.streams[0].pid;
    }
}

Program make_program(Chooser& choose, int index) {
    const auto first_pid = static_cast<uint16_t>(0x100 + 0x10 * index);
    Program program{};
    program.number = static_cast<uint16_t>(index + 1);
    program.pmt_pid = static_cast<uint16_t>(choose.one_in(6) ? 0x40 : 0x40 + index);
    program.listed = !choose.one_in(10);
    program.version = choose.between(0, 31);
    if (choose.one_in(5))
        program.descriptors = ca_descriptor(0x0500 + index, static_cast<uint16_t>(0x600 + index));
    if (choose.one_in(12)) program.descriptors = {0x05, 4, 'H', 'D', 'M', 'V'};
    const int streams = choose.between(1, 4);
    for (int i = 0; i < streams; ++i)
        program.streams.push_back(make_stream(choose, static_cast<uint16_t>(first_pid + i)));
    give_clock(program, choose, first_pid);
    return program;
}

void change_program(Program& program, Chooser& choose) {
    program.version = (program.version + 1) % 32;
    switch (choose.below(4)) {
        case 0:
            if (!program.streams.empty()) program.streams.pop_back();
            break;
        case 1:
            program.streams.push_back(make_stream(
                choose, static_cast<uint16_t>(0x100 + 0x10 * (program.number - 1) +
                                              static_cast<int>(program.streams.size()))));
            break;
        case 2:
            give_clock(program, choose, static_cast<uint16_t>(0x100 + 0x10 * (program.number - 1)));
            break;
        default:
            program.descriptors =
                ca_descriptor(0x1800, static_cast<uint16_t>(0x700 + choose.below(4)));
    }
}

}  // namespace

Model make_model(Chooser& choose) {
    Model model;
    model.transport_stream_id = static_cast<uint16_t>(choose.between(1, 3));
    model.network_pid = choose.one_in(6) ? 0x30 : 0x10;
    model.pat_in_parts = choose.one_in(6);
    const int programs = choose.between(1, 4);
    for (int i = 0; i < programs; ++i)
        model.programs.push_back(make_program(choose, i));
    if (choose.one_in(2)) model.emm_pids = {0x500};
    return model;
}

void change(Model& model, Chooser& choose) {
    Program& program = model.programs[choose.below(static_cast<uint32_t>(model.programs.size()))];
    switch (choose.below(7)) {
        case 0:
            program.listed = !program.listed;
            model.pat_version = (model.pat_version + 1) % 32;
            break;
        case 1:
            program.pmt_pid = static_cast<uint16_t>(0x40 + choose.below(8));
            model.pat_version = (model.pat_version + 1) % 32;
            break;
        case 2:
            model.sdt_version = (model.sdt_version + 1) % 32;
            break;
        case 3:
            model.nit_version = (model.nit_version + 1) % 32;
            model.network_name = "Other network";
            break;
        case 4:
            model.cat_version = (model.cat_version + 1) % 32;
            model.emm_pids = {static_cast<uint16_t>(0x500 + choose.below(3))};
            break;
        case 5:
            model.transport_stream_id = static_cast<uint16_t>(choose.between(1, 3));
            break;
        default:
            change_program(program, choose);
    }
}

}  // namespace fuzz::maker
