// SPDX-License-Identifier: MIT
// Implementation of description.h.
#include "survey/model/description.h"

#include <array>
#include <set>

namespace zv::survey {

std::string language_text(const Language& language) {
    std::string text;
    for (const char c : language)
        c > ' ' && c < 0x7F ? text += c : text += "\uFFFD";
    return text;
}

std::vector<std::string> languages_of(Bytes descriptors) {
    std::array<Language, kMaxLanguages> languages;
    const size_t count = declared_languages(descriptors, languages);
    std::vector<std::string> texts(count);
    std::ranges::transform(std::span(languages).first(count), texts.begin(), language_text);
    return texts;
}

std::vector<uint16_t> ca_system_ids_of(const PmtView& pmt) {
    std::set<uint16_t> ids;
    const auto add = [&](uint16_t id, uint16_t) { ids.insert(id); };
    for_each_ca(pmt.descriptors(), add);
    pmt.for_each_stream([&](const PmtStream& stream) { for_each_ca(stream.descriptors, add); });
    return {ids.begin(), ids.end()};
}

bool is_scrambled(const Program& program, const Pids& pids) {
    bool scrambled = false;
    if (!program.has_pmt()) return false;
    program.view().for_each_stream([&](const PmtStream& stream) {
        const auto& detail = pids[stream.pid].detail;
        scrambled = scrambled || (detail && detail->scrambled_packets > 0);
    });
    return scrambled;
}

uint64_t packets_of(const Program& program, const Pids& pids) {
    std::set<uint16_t> of_program = {program.pmt_pid};
    if (const auto pcr_pid = program.pcr_pid()) of_program.insert(*pcr_pid);
    if (program.has_pmt())
        program.view().for_each_stream(
            [&](const PmtStream& stream) { of_program.insert(stream.pid); });
    uint64_t packets = 0;
    for (const uint16_t pid : of_program)
        packets += pids[pid].packets;
    return packets;
}

}  // namespace zv::survey
