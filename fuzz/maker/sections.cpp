// SPDX-License-Identifier: MIT
// Sections of a made stream (ISO/IEC 13818-1, ETSI EN 300 468, ATSC A/65).
#include "model.h"

namespace fuzz::maker {
namespace {

constexpr int kOriginalNetwork = 0x20FA;

void append_loop(Bytes& to, int flags, const Bytes& loop) {
    append16(to, flags | static_cast<int>(loop.size()));
    append(to, loop);
}

void append_text(Bytes& to, const std::string& text) {
    to.push_back(static_cast<uint8_t>(text.size()));
    to.insert(to.end(), text.begin(), text.end());
}

Bytes service_descriptor(int type, const std::string& provider, const std::string& name) {
    Bytes data{static_cast<uint8_t>(type)};
    append_text(data, provider);
    append_text(data, name);
    Bytes out{0x48, static_cast<uint8_t>(data.size())};
    append(out, data);
    return out;
}

// The same name in several of the character tables of EN 300 468, annex A.
std::string service_name(int number) {
    switch (number % 4) {
        case 0:
            return std::string("\x15") + "Kan\xC3\xA5l " + std::to_string(number);
        case 1:
            return "Channel " + std::to_string(number);
        case 2:
            return std::string("\x01\xB0\xBD\xBE") + std::to_string(number);
        default:
            return std::string("\x10\x00\x02", 3) + "\x86T\x87\xE1\x8A" + std::to_string(number);
    }
}

Bytes utc(uint32_t seconds) {
    const auto bcd = [](uint32_t value) {
        return static_cast<uint8_t>(value / 10 << 4 | value % 10);
    };
    const uint32_t days = 61365 + seconds / 86400;  // from 21 November 2026
    Bytes out;
    append16(out, static_cast<int>(days));
    append(out, {bcd(seconds / 3600 % 24), bcd(seconds / 60 % 60), bcd(seconds % 60)});
    return out;
}

}  // namespace

Bytes long_section(const SectionHead& head, const Bytes& contents) {
    Bytes body;
    append16(body, head.extension);
    append(body, {static_cast<uint8_t>(0xC0 | head.version << 1 | head.in_force),
                  static_cast<uint8_t>(head.number), static_cast<uint8_t>(head.last_number)});
    append(body, contents);
    return zvtest::Section(head.table_id, body);
}

Bytes short_section(int table_id, const Bytes& contents) {
    Bytes out{static_cast<uint8_t>(table_id)};
    append_loop(out, 0x7000, contents);
    return out;
}

std::vector<Bytes> pat_sections(const Model& model, bool in_force) {
    const int last = model.pat_in_parts ? 1 : 0;
    std::vector<Bytes> contents(static_cast<size_t>(last) + 1);
    append16(contents[0], 0);
    append16(contents[0], 0xE000 | model.network_pid);
    for (const Program& program : model.programs) {
        if (!program.listed) continue;
        Bytes& part = contents[model.pat_in_parts ? program.number % 2 : 0];
        append16(part, program.number);
        append16(part, 0xE000 | program.pmt_pid);
    }
    std::vector<Bytes> sections;
    for (int i = 0; i <= last; ++i) {
        const int version = (model.pat_version + (in_force ? 0 : 1)) % 32;
        sections.push_back(
            long_section({0x00, model.transport_stream_id, version, i, last, in_force},
                         contents[static_cast<size_t>(i)]));
    }
    return sections;
}

Bytes pmt_section(const Program& program, bool in_force) {
    Bytes contents;
    append16(contents, 0xE000 | program.pcr_pid);
    append_loop(contents, 0xF000, program.descriptors);
    for (const Stream& stream : program.streams) {
        contents.push_back(stream.type);
        append16(contents, 0xE000 | stream.pid);
        append_loop(contents, 0xF000, stream.descriptors);
    }
    const int version = (program.version + (in_force ? 0 : 1)) % 32;
    return long_section({0x02, program.number, version, 0, 0, in_force}, contents);
}

Bytes cat_section(const Model& model) {
    Bytes contents;
    for (const uint16_t pid : model.emm_pids) {
        append(contents, {0x09, 4, 0x0B, 0x00});
        append16(contents, 0xE000 | pid);
    }
    return long_section({0x01, 0xFFFF, model.cat_version}, contents);
}

std::vector<Bytes> nit_sections(const Model& model, bool actual) {
    Bytes name{0x40};
    append_text(name, model.network_name);
    // Long enough for several packets.
    Bytes streams;
    for (int i = 0; i < 20; ++i) {
        append16(streams, i);
        append16(streams, kOriginalNetwork);
        append_loop(streams, 0xF000, {0x44, 11, 0x03, 0x06, 0, 0, 0xFF, 0xF2, 4, 0, 0x69, 0, 0});
    }
    std::vector<Bytes> sections;
    for (int number = 0; number < 2; ++number) {
        Bytes contents;
        append_loop(contents, 0xF000, number == 0 ? name : Bytes{});
        append_loop(contents, 0xF000, number == 0 ? streams : Bytes{});
        const int table_id = actual ? 0x40 : 0x41;
        sections.push_back(long_section(
            {table_id, actual ? 0x3001 : 0x3002, model.nit_version, number, 1}, contents));
    }
    return sections;
}

std::vector<Bytes> sdt_sections(const Model& model, bool actual) {
    std::vector<Bytes> sections;
    const auto count = static_cast<int>(model.programs.size());
    for (int i = 0; i < count; ++i) {
        const int number = model.programs[static_cast<size_t>(i)].number;
        Bytes contents;
        append16(contents, kOriginalNetwork);
        contents.push_back(0xFF);
        append16(contents, actual ? number : number + 100);
        contents.push_back(0xFC);
        append_loop(contents, 0x8000, service_descriptor(number, "Maker", service_name(number)));
        const int table_id = actual ? 0x42 : 0x46;
        const int stream = model.transport_stream_id + (actual ? 0 : 10);
        sections.push_back(
            long_section({table_id, stream, model.sdt_version, i, count - 1}, contents));
    }
    return sections;
}

Bytes bat_section(int bouquet_id) {
    return long_section({0x4A, bouquet_id}, {0xF0, 0x06, 0x47, 4, 'B', 'o', 'u', 'q', 0xF0, 0});
}

Bytes eit_section(const Model& model, int table_id, int service_id, int number) {
    Bytes contents;
    append16(contents, model.transport_stream_id);
    append16(contents, kOriginalNetwork);
    append(contents, {1, 0x4E});
    append16(contents, number);
    append(contents, utc(static_cast<uint32_t>(number) * 1800));
    append(contents, {0, 0x30, 0});
    append_loop(contents, 0x8000, {0x4D, 8, 'e', 'n', 'g', 3, 'N', 'o', 'w', 0});
    return long_section({table_id, service_id, model.eit_version, number, 1}, contents);
}

Bytes vct_section(const Model& model) {
    Bytes contents{0, static_cast<uint8_t>(model.programs.size())};
    for (const Program& program : model.programs) {
        const std::string name = "VC" + std::to_string(program.number);
        for (size_t i = 0; i < 7; ++i)
            append16(contents, i < name.size() ? name[i] : 0);
        append(contents, {0xF0, 0x04, 0x01, 4, 0, 0, 0, 0});
        append16(contents, model.transport_stream_id);
        append16(contents, program.number);
        append16(contents, 0x0DC2);
        append16(contents, program.number);
        append16(contents, 0xFC00);
    }
    append16(contents, 0xFC00);
    return long_section({0xC8, model.transport_stream_id}, contents);
}

Bytes tdt_section(uint32_t seconds) {
    return short_section(0x70, utc(seconds));
}

Bytes tot_section(uint32_t seconds) {
    Bytes body = utc(seconds);
    append16(body, 0xF000);
    Bytes section = zvtest::Section(0x73, body);
    // Its CRC_32 is there without section_syntax_indicator, and covers that bit.
    section.resize(section.size() - 4);
    section[1] &= 0x7F;
    zvtest::append32(section, zvcrc_api_CRC32(section.data(), static_cast<int>(section.size())));
    return section;
}

Bytes rst_section(const Model& model) {
    Bytes event;
    append16(event, model.transport_stream_id);
    append16(event, kOriginalNetwork);
    append16(event, 1);
    append16(event, 1);
    event.push_back(0xFC);
    return short_section(0x71, event);
}

Bytes private_section(int table_id, size_t size, uint8_t filling) {
    return short_section(table_id, Bytes(size, filling));
}

}  // namespace fuzz::maker
