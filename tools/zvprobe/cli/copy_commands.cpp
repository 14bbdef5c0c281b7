// SPDX-License-Identifier: MIT
// The commands that write streams.
#include "base/numbers.h"
#include "cli/declare.h"
#include "cli/help.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

// -> what is wrong with it
std::string check_destination(const std::string& url) {
    const int index = zvptc_api_getPtcindex(url.c_str(), 0, 0);
    const bool known =
        index == ZVPTC_INDEX_UDP || index == ZVPTC_INDEX_RTP || index == ZVPTC_INDEX_TCP;
    return known ? "" : "\"" + url + "\" is no udp://, rtp:// or tcp://host:port";
}

// -> what is wrong with it; the command line library says "true" when no value is given
std::string check_loop(const std::string& text) {
    const auto times = parse_number(text, UINT32_MAX);
    const bool known = text == "true" || (times && *times > 0);
    return known ? "" : "\"" + text + "\" is no number from 1 to 4294967295";
}

void add_copy_files(CLI::App& command, CopyFiles& files, const std::string& what_in) {
    command.add_option("IN", files.in, what_in)->required();
    command.add_option("OUT", files.out, "The copy, which may replace IN; - for standard output")
        ->required();
}

// A sort of packet is a command below `build`.
template <typename Options>
CLI::App& add_kind(CLI::App& build, CommandLine& line, const char* name, const char* description,
                   const std::shared_ptr<Options>& options) {
    CLI::App& kind = *build.add_subcommand(name, description);
    kind.add_option("OUT", options->out, "File to write; - for standard output")->required();
    when_named(kind, line, options);
    return kind;
}

void add_build_pat(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildPatOptions>();
    CLI::App& pat = add_kind(build, line, "pat", "A programme list", options);
    add_values(pat, "--program", options->programs, "N:PID",
               "Programme and PID of its PMT; repeat for more")
        ->required();
}

void add_build_pmt(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildPmtOptions>();
    CLI::App& pmt = add_kind(build, line, "pmt", "A programme map", options);
    pmt.add_option("--program", options->program, "Programme number (default 1)")->type_name("N");
    pmt.add_option("--pmt", options->pmt, "PID of the table")->type_name("PID")->required();
    pmt.add_option("--pcr", options->pcr, "PID with the PCR, 0x1fff for none")
        ->type_name("PID")
        ->required();
    add_values(pmt, "--stream", options->streams, "TYPE:PID[:HEX]",
               "Type, PID, descriptors; repeat for more")
        ->required();
}

void add_build_sdt(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildSdtOptions>();
    CLI::App& sdt = add_kind(build, line, "sdt", "A service description", options);
    sdt.add_option("--service", options->service, "Service number (default 1)")->type_name("N");
    sdt.add_option("--provider", options->provider, "Name of the provider");
    sdt.add_option("--name", options->name, "Name of the service");
}

void add_build_null(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildNullOptions>();
    CLI::App& null = add_kind(build, line, "null", "Packets without contents", options);
    null.add_option("--count", options->count, "How many (default 1)")->type_name("N");
}

// What is no kind of packet falls through to the sources of the root.
void check_kind(const CLI::App& build, const CLI::Option& fallen_through) {
    if (!build.get_subcommands().empty()) return;
    constexpr char kKinds[] = "pat, pmt, sdt, null";
    if (fallen_through.count() == 0)
        throw CLI::ValidationError("build", std::string("name one of ") + kKinds);
    throw CLI::ValidationError("build",
                               "\"" + fallen_through.results().front() + "\" is none of " + kKinds);
}

}  // namespace

void add_extract(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<ExtractOptions>();
    CLI::App& command = *root.add_subcommand(
        "extract", "Write the elementary streams of a transport stream to files");
    command.add_option("SOURCE", options->source, "File, URL, or - for standard input")->required();
    command.add_option("DIR", options->directory, "Directory for the files, made when missing")
        ->required();
    add_values(command, "--pid", options->pids, "PID",
               "Only this PID, listed or not; repeat for more");
    add_values(command, "--program", options->programs, "N",
               "Only this programme; repeat for more");
    command.add_flag("--sections", options->sections, "Tables as well, as they came");
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    when_named(command, line, options);
}

void add_rtp(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<RtpOptions>();
    CLI::App& command =
        *root.add_subcommand("rtp", "Take a transport stream out of RTP, and count losses");
    command.add_option("SOURCE", options->source, "URL such as rtp://@239.1.1.1:5004")->required();
    command.add_option("OUT", options->out, "File for the transport stream; - for standard output");
    command
        .add_option("--reorder-packets", options->window.packets,
                    "Packets that may overtake one in time (default 128)")
        ->type_name("N")
        ->check(CLI::Range(0, RtpWindow::kMostPackets));
    command
        .add_option("--reorder-ms", options->window.time_ms,
                    "How long a packet is waited for, in ms (default 200)")
        ->type_name("MS")
        ->check(CLI::Range(0, RtpWindow::kMostTime_ms));
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    when_named(command, line, options);
}

void add_pace(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<PaceOptions>();
    CLI::App& command = *root.add_subcommand("pace", "Send a transport stream in real time");
    command.add_option("SOURCE", options->source, "File, URL, or - for standard input")->required();
    command
        .add_option("--to", options->to,
                    "udp:// or rtp://host:port for datagrams of seven packets, or\n"
                    "tcp://host:port; without it standard output, if no terminal")
        ->type_name("URL")
        ->check(check_destination);
    command.add_option("--by", options->by, "The clock to follow: pcr (default) or pts")
        ->option_text(" CLOCK")
        ->check(CLI::IsMember({"pcr", "pts"}));
    command
        .add_flag("--loop", options->loop, "Send a file N times, or without an end, as one stream")
        ->option_text("[=N]")
        ->check(check_loop);
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    when_named(command, line, options);
}

void add_remap(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<RemapOptions>();
    CLI::App& command = *root.add_subcommand(
        "remap", "Copy a stream under other numbers and PIDs, or a part of it");
    add_copy_files(command, *options, "The transport stream, a file");
    command
        .add_option("--from", options->from, "Copy only this programme; others become null packets")
        ->type_name("N");
    add_values(command, "--program", options->programs, "[OLD:]N",
               "New programme number; repeat for more");
    add_values(command, "--map", options->maps, "OLD:NEW", "New PID; repeat for more");
    command.add_option("--pmt", options->pmt, "New PID of the programme's PMT")->type_name("PID");
    command
        .add_option("--pcr", options->pcr, "New PID of its PCR: one of its streams', or its own")
        ->type_name("PID");
    command.add_option("--es", options->es, "New PIDs of its streams, in the order of the PMT")
        ->type_name("PID,PID");
    add_values(command, "--drop", options->drops, "PID",
               "Leave a PID out, in the tables as well; repeat for more");
    command.add_flag("--drop-nulls", options->drop_nulls, "Leave null packets out");
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat},
                  "PIDs and numbers are decimal, or hexadecimal after 0x. A number without\n"
                  "OLD, and --pmt, --pcr, --es, are of the only programme, or that of --from.\n");
    when_named(command, line, options);
}

void add_build(CLI::App& root, CommandLine& line) {
    CLI::App& build = *root.add_subcommand("build", "Write a table, or null packets, of 188 bytes");
    build.callback([&] { check_kind(build, *root.get_option("SOURCE")); });
    add_exit_help(build, {kExitOk, kExitUsage, kExitCannotOpen});
    add_build_pat(build, line);
    add_build_pmt(build, line);
    add_build_sdt(build, line);
    add_build_null(build, line);
}

void add_flv_meta(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<FlvMetaOptions>();
    CLI::App& command =
        *root.add_subcommand("flv-meta", "Copy an FLV file with a fresh onMetaData block");
    command.add_option("IN", options->in, "The FLV file")->required();
    CLI::Option* const out = command.add_option(
        "OUT", options->out, "The copy, which may replace IN; - for standard output");
    CLI::Option* const update =
        command.add_flag("--update", options->update, "Replace IN by the copy, once that is whole");
    update->excludes(out);
    command.add_flag("--rebase", options->rebase, "Move the time stamps so that they begin at 0");
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    command.callback([options, &line] {
        if (options->update)
            options->out = options->in;
        else if (options->out.empty())
            throw CLI::RequiredError("OUT or --update");
        choose(line, options);
    });
}

void add_mp3_fix(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<Mp3FixOptions>();
    CLI::App& command = *root.add_subcommand("mp3-fix", "Copy an MPEG audio file without damage");
    add_copy_files(command, *options, "The MPEG audio file");
    add_exit_help(
        command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat},
        "Tags are kept, what belongs to no frame is left out; nothing is encoded anew.\n");
    when_named(command, line, options);
}

}  // namespace zvprobe
