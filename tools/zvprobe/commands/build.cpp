// SPDX-License-Identifier: MIT
// `build`: packets that hold a table, or nothing.
#include <functional>
#include <string>
#include <vector>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "base/numbers.h"
#include "base/printable.h"
#include "commands/commands.h"
#include "io/output/out_file.h"
#include "render/progress.h"
#include "ts/table_builder.h"

namespace zvprobe {
namespace {

constexpr uint32_t kMostNumber = 0xFFFF;
constexpr uint32_t kMostPid = 0x1FFF;

void read_descriptors(std::string_view digits, MPEGTSStream& stream) {
    if (digits.size() % 2 != 0 || digits.size() / 2 > sizeof stream.es_info)
        throw UsageError("descriptors are up to 128 bytes, two hexadecimal digits each");
    for (; !digits.empty(); digits.remove_prefix(2)) {
        const std::string byte = "0x" + std::string(digits.substr(0, 2));
        stream.es_info[stream.es_info_len++] =
            static_cast<uint8_t>(number_from(byte, 0, 0xFF, "descriptor byte"));
    }
}

MPEGTSStream stream_of(const std::string& text) {
    const auto parts = split(text, ':');
    if (parts.size() < 2 || parts.size() > 3)
        throw UsageError("stream " + in_quotes(text) + " is not TYPE:PID[:DESCRIPTORS]");
    MPEGTSStream stream{};
    stream.stream_type = static_cast<uint8_t>(number_from(parts[0], 0, 0xFF, "stream type"));
    stream.pid = pid_from(parts[1], "stream");
    if (parts.size() == 3) read_descriptors(parts[2], stream);
    return stream;
}

ProgramEntry program_of(const std::string& text) {
    const auto parts = split(text, ':');
    if (parts.size() != 2) throw UsageError("programme " + in_quotes(text) + " is not NUMBER:PID");
    return {number_from(parts[0], 0, kMostNumber, "programme"), pid_from(parts[1], "PMT")};
}

Packet packet_of(const BuildPatOptions& options) {
    std::vector<ProgramEntry> programs;
    for (const std::string& text : options.programs)
        programs.push_back(program_of(text));
    return build_pat(programs);
}

Packet packet_of(const BuildPmtOptions& options) {
    PmtContent map = {number_from(options.program, 1, kMostNumber, "programme"),
                      pid_from(options.pmt, "PMT"),
                      number_from(options.pcr, 0, kMostPid, "PCR"),
                      {}};
    for (const std::string& text : options.streams)
        map.streams.push_back(stream_of(text));
    return build_pmt(map);
}

Packet packet_of(const BuildSdtOptions& options) {
    return build_sdt(
        {number_from(options.service, 0, kMostNumber, "service"), options.provider, options.name});
}

void write_packets(const std::string& out_name, const Packet& packet, uint32_t count) {
    OutFile out(out_name);
    for (uint32_t i = 0; i < count; ++i) {
        if (interrupted()) throw OutputError("interrupted");
        out.write(packet);
    }
    out.commit();
}

int run_build(const std::string& out_name, const std::function<void()>& build) {
    try {
        build();
        return kExitOk;
    } catch (const UsageError& error) {
        complain("build", error.what());
        return kExitUsage;
    } catch (const OutputError& error) {
        complain(out_name, std::string("cannot be written: ") + error.what());
        return kExitCannotOpen;
    }
}

template <typename Options>
int build_table(const Options& options) {
    return run_build(options.out, [&] { write_packets(options.out, packet_of(options), 1); });
}

}  // namespace

int run_command(const BuildPatOptions& options, const Session&) {
    return build_table(options);
}

int run_command(const BuildPmtOptions& options, const Session&) {
    return build_table(options);
}

int run_command(const BuildSdtOptions& options, const Session&) {
    return build_table(options);
}

int run_command(const BuildNullOptions& options, const Session&) {
    return run_build(options.out, [&] {
        const auto count = parse_number(options.count, UINT32_MAX);
        if (!count)
            throw UsageError("count " + in_quotes(options.count) +
                             " is no number from 0 to 4294967295");
        write_packets(options.out, build_null_packet(), *count);
    });
}

}  // namespace zvprobe
