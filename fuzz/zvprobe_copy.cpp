// SPDX-License-Identifier: MIT
// The tool's commands that write files, over whole files: a command that fails leaves nothing, one
// that succeeds leaves what it was asked for under its final name only, and a copy that flv-meta
// has made is a sound file that it copies as it is.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "base/exit_status.h"
#include "commands/commands.h"
#include "flv.h"
#include "input.h"
#include "packets.h"

namespace {

namespace fs = std::filesystem;

// Everything that is written lies here, until the process ends.
class Folder {
  public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "zvprobe_copy.XXXXXX").string();
        fuzz::require(mkdtemp(name.data()) != nullptr, "there is room for files");
        path_ = name;
    }
    ~Folder() { fs::remove_all(path_); }

    std::string operator/(const char* name) const { return path_ / name; }
    size_t files() const {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
    }

  private:
    fs::path path_;
};

const Folder& folder() {
    static const Folder it;
    return it;
}

void put(const std::string& name, std::span<const uint8_t> bytes) {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

std::string get(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// -> the exit status; what the command prints is of no interest
template <typename Options>
int run(const Options& options) {
    static std::ostringstream sink;
    sink.str("");
    std::streambuf* const out = std::cout.rdbuf(sink.rdbuf());
    std::streambuf* const errors = std::cerr.rdbuf(sink.rdbuf());
    const int status = zvprobe::run_command(options, zvprobe::Session());
    std::cout.rdbuf(out);
    std::cerr.rdbuf(errors);
    return status;
}

// -> whether the command succeeded
template <typename Options>
bool convert(const Options& options) {
    fs::remove(options.out);
    const size_t before = folder().files();
    const int status = run(options);
    const bool done = status == zvprobe::kExitOk;
    // A wrong use is what remap calls other streams than were named.
    fuzz::require(done || status == zvprobe::kExitUsage || status == zvprobe::kExitCannotOpen ||
                      status == zvprobe::kExitUnknownFormat,
                  "the command succeeds or says why not");
    fuzz::require(fs::exists(options.out) == done, "only what is complete has its name");
    fuzz::require(folder().files() == before + (done ? 1 : 0), "nothing else is left");
    return done;
}

// The first copy may still take its duration from the onMetaData that it replaces; what follows
// that must not change any more.
void copy_flv(const std::string& in) {
    const std::string first = folder() / "first", second = folder() / "second";
    const auto copy = [](const std::string& from, const std::string& to) {
        return convert(zvprobe::FlvMetaOptions{{from, to}});
    };
    if (!copy(in, first)) return;
    const std::string before = get(first);
    fuzz::require(copy(first, second) && copy(second, first), "a copy can be copied");
    const std::string after = get(first);
    fuzz::require(after == get(second), "a copy of a copy is the same");
    const size_t start = std::min({before.size(), after.size(), size_t{ZV_FLV_HEADER_SCRIPT_MAX}});
    fuzz::require(before.ends_with(after.substr(start)), "the first copy has sound tags");
}

void remap(const std::string& in, size_t streams) {
    const std::string pids = "0x201,0x202,0x203,0x204";
    zvprobe::RemapOptions options{{in, folder() / "first"}, {}, "7", "0x1ffe", "0x201", {}};
    options.es = pids.substr(0, 6 * streams - 1);
    convert(options);
}

void extract(const std::string& in) {
    const std::string out = folder() / "streams";
    run(zvprobe::ExtractOptions{in, out});
    if (!fs::exists(out)) return;
    for (const auto& entry : fs::directory_iterator(out))
        fuzz::require(entry.path().extension() == ".es", "only finished files are left");
    fs::remove_all(out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = in.u8();
    const std::string source = folder() / "in";
    if (mode & 1) {
        put(source, in.rest());
        copy_flv(source);
        return 0;
    }
    put(source, mode & 4 ? fuzz::make_stream(in) : fuzz::whole_packets(in.rest(), 188, true));
    if (mode & 2)
        remap(source, 1 + (mode >> 3) % 4);
    else
        extract(source);
    return 0;
}
