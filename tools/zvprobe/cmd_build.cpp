// SPDX-License-Identifier: MIT
// `build`: packets that hold a table, or nothing.
#include <CLI/CLI.hpp>
#include <memory>

#include "exit_status.h"
#include "help.h"
#include "numbers.h"
#include "out_file.h"
#include "session.h"
#include "table_builder.h"

namespace zvprobe {
namespace {

constexpr uint32_t kMostNumber = 0xFFFF;
constexpr uint32_t kMostPid = 0x1FFF;

struct BuildOptions {
    std::vector<std::string> programs;  // for a PAT: number:pid
    std::string program = "1";
    std::string pmt;
    std::string pcr;
    std::vector<std::string> streams;  // type:pid[:descriptors]
    std::string service = "1";
    std::string provider;
    std::string name;
    std::string count = "1";
    std::string out;
};

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
        throw UsageError("stream \"" + text + "\" is not TYPE:PID[:DESCRIPTORS]");
    MPEGTSStream stream{};
    stream.stream_type = static_cast<uint8_t>(number_from(parts[0], 0, 0xFF, "stream type"));
    stream.pid = pid_from(parts[1], "stream");
    if (parts.size() == 3) read_descriptors(parts[2], stream);
    return stream;
}

ProgramEntry program_of(const std::string& text) {
    const auto parts = split(text, ':');
    if (parts.size() != 2) throw UsageError("programme \"" + text + "\" is not NUMBER:PID");
    return {number_from(parts[0], 0, kMostNumber, "programme"), pid_from(parts[1], "PMT")};
}

Packet pat(const BuildOptions& options) {
    std::vector<ProgramEntry> programs;
    for (const std::string& text : options.programs)
        programs.push_back(program_of(text));
    return build_pat(programs);
}

Packet pmt(const BuildOptions& options) {
    ProgramMap map = {number_from(options.program, 1, kMostNumber, "programme"),
                      pid_from(options.pmt, "PMT"),
                      number_from(options.pcr, 0, kMostPid, "PCR"),
                      {}};
    for (const std::string& text : options.streams)
        map.streams.push_back(stream_of(text));
    return build_pmt(map);
}

Packet sdt(const BuildOptions& options) {
    return build_sdt(
        {number_from(options.service, 0, kMostNumber, "service"), options.provider, options.name});
}

Packet null_packet(const BuildOptions&) {
    return build_null_packet();
}

using Build = Packet (*)(const BuildOptions&);

int run_build(const BuildOptions& options, Build build) {
    try {
        const Packet packet = build(options);
        const auto count = parse_number(options.count, UINT32_MAX);
        if (!count) throw UsageError("count \"" + options.count + "\" is no number");
        OutFile out(options.out);
        for (uint32_t i = 0; i < *count; ++i)
            out.write(packet);
        out.commit();
        return kExitOk;
    } catch (const UsageError& error) {
        complain("build", error.what());
        return kExitUsage;
    } catch (const OutputError& error) {
        complain(options.out, std::string("cannot be written: ") + error.what());
        return kExitCannotOpen;
    }
}

using Options = std::shared_ptr<BuildOptions>;

// A sort of packet becomes a command below `build`.
CLI::App& add_kind(CLI::App& build, Session& session, const char* name, const char* description,
                   const Options& options, Build make) {
    CLI::App& kind = *build.add_subcommand(name, description);
    kind.add_option("OUT", options->out, "File to write; - for standard output")->required();
    kind.callback([options, make, &session] {
        session.run = [options, make] { return run_build(*options, make); };
    });
    return kind;
}

// One value each, so that OUT may follow.
void add_list(CLI::App& app, const char* name, std::vector<std::string>& list, const char* type,
              const char* description) {
    app.add_option(name, list, description)
        ->type_name(type)
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->required();
}

}  // namespace

void add_build_command(CLI::App& root, Session& session) {
    const auto options = std::make_shared<BuildOptions>();
    CLI::App& build = *root.add_subcommand("build", "Write a table, or null packets, of 188 bytes");
    build.require_subcommand(1);
    add_exit_help(build, {kExitOk, kExitUsage, kExitCannotOpen});

    CLI::App& pat_app = add_kind(build, session, "pat", "A programme list", options, pat);
    add_list(pat_app, "--program", options->programs, "N:PID",
             "Programme and PID of its PMT; repeat for more");

    CLI::App& pmt_app = add_kind(build, session, "pmt", "A programme map", options, pmt);
    pmt_app.add_option("--program", options->program, "Programme number (default 1)")
        ->type_name("N");
    pmt_app.add_option("--pmt", options->pmt, "PID of the table")->type_name("PID")->required();
    pmt_app.add_option("--pcr", options->pcr, "PID with the PCR, 0x1fff for none")
        ->type_name("PID")
        ->required();
    add_list(pmt_app, "--stream", options->streams, "TYPE:PID[:HEX]",
             "Type, PID, descriptors; repeat for more");

    CLI::App& sdt_app = add_kind(build, session, "sdt", "A service description", options, sdt);
    sdt_app.add_option("--service", options->service, "Service number (default 1)")->type_name("N");
    sdt_app.add_option("--provider", options->provider, "Name of the provider");
    sdt_app.add_option("--name", options->name, "Name of the service");

    CLI::App& null_app =
        add_kind(build, session, "null", "Packets without contents", options, null_packet);
    null_app.add_option("--count", options->count, "How many (default 1)")->type_name("N");
}

}  // namespace zvprobe
