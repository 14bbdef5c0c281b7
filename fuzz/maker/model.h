// SPDX-License-Identifier: MIT
// What a made stream is about: programmes, services, versions. And the sections that say so.
#pragma once

#include <string>
#include <vector>

#include "../tests/support/ts_builder.h"
#include "chooser.h"

namespace fuzz::maker {

using zvtest::append;
using zvtest::append16;
using zvtest::Bytes;

struct Stream {
    uint16_t pid;
    uint8_t type;
    Bytes descriptors;
    bool timed;  // carries PES packets with time stamps
};

struct Program {
    uint16_t number;
    uint16_t pmt_pid;
    uint16_t pcr_pid;
    int version = 0;
    bool listed = true;  // in the PAT
    Bytes descriptors;
    std::vector<Stream> streams;
};

struct Model {
    uint16_t transport_stream_id = 1;
    uint16_t network_pid = 0x10;
    int pat_version = 0, cat_version = 0, nit_version = 0, sdt_version = 0, eit_version = 0;
    bool pat_in_parts = false;
    std::vector<uint16_t> emm_pids;
    std::vector<Program> programs;
    std::string network_name = "Network";
};

Model make_model(Chooser& choose);
// One change of programmes, streams or names, with a new version of the table that tells it.
void change(Model& model, Chooser& choose);

struct SectionHead {
    int table_id;
    int extension;
    int version = 0;
    int number = 0;
    int last_number = 0;
    bool in_force = true;
};
Bytes long_section(const SectionHead& head, const Bytes& contents);
Bytes short_section(int table_id, const Bytes& contents);

std::vector<Bytes> pat_sections(const Model& model, bool in_force);
Bytes pmt_section(const Program& program, bool in_force);
Bytes cat_section(const Model& model);
std::vector<Bytes> nit_sections(const Model& model, bool actual);
std::vector<Bytes> sdt_sections(const Model& model, bool actual);
Bytes bat_section(int bouquet_id);
Bytes eit_section(const Model& model, int table_id, int service_id, int number);
Bytes vct_section(const Model& model);
Bytes tdt_section(uint32_t seconds);
Bytes tot_section(uint32_t seconds);
Bytes rst_section(const Model& model);
Bytes private_section(int table_id, size_t size, uint8_t filling);

}  // namespace fuzz::maker
