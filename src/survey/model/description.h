// SPDX-License-Identifier: MIT
// What the tables in force say, read out for a report: services by programme, languages, access
// systems, what each PID is for.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "survey/model/naming.h"

namespace zv::survey {

// Made from a model as it is now.
struct Description {
    explicit Description(const Model& model) : naming(model), services(model.services()) {}

    // -> the service of a programme, null when none is described
    const Service* service(uint16_t program_number) const {
        const auto found = std::ranges::lower_bound(services, program_number, {}, &Service::id);
        return found != services.end() && found->id == program_number ? &*found : nullptr;
    }

    Naming naming;
    std::vector<Service> services;  // ascending by id
};

// -> a language such as "deu"; a byte that is no letter is U+FFFD
std::string language_text(const Language& language);

// -> languages of a stream
std::vector<std::string> languages_of(Bytes descriptors);

// -> CA_system_ids of a programme and its streams, ascending
std::vector<uint16_t> ca_system_ids_of(const PmtView& pmt);

// Was any packet of the programme's streams?
bool is_scrambled(const Program& program, const Pids& pids);

// -> packets of its PMT, PCR and stream PIDs, each PID once
uint64_t packets_of(const Program& program, const Pids& pids);

}  // namespace zv::survey
