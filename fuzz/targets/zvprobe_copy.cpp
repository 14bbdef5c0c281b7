// SPDX-License-Identifier: MIT
// The tool's commands that write files, over whole files: a command that fails leaves nothing, one
// that succeeds leaves what it was asked for under its final name only, a copy that flv-meta or mp3-fix
// has made is a sound file that it copies as it is, and what extract writes is of its source. What
// remap is to leave alone it leaves alone.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "base/exit_status.h"
#include "commands/commands.h"
#include "flv.h"
#include "maker/survey_maker.h"
#include "parts/input.h"
#include "parts/packets.h"
#include "parts/remap_check.h"

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

// -> the bytes after the first tag
std::string after_first_tag(const std::string& file) {
    constexpr size_t kStart = ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
    size_t body = 0;
    for (size_t i = 1; i <= 3; ++i)
        body = body << 8 | static_cast<uint8_t>(file.at(kStart + i));
    return file.substr(kStart + ZV_FLV_TAG_HEADER_SIZE + body + ZV_FLV_PREVIOUS_TAG_SIZE);
}

// The first copy may still take a number from the onMetaData that it replaces; what follows
// that must not change any more.
void copy_flv(const std::string& in, bool rebase) {
    const std::string first = folder() / "first", second = folder() / "second";
    const auto copy = [rebase](const std::string& from, const std::string& to) {
        return convert(zvprobe::FlvMetaOptions{{from, to}, false, rebase});
    };
    if (!copy(in, first)) return;
    const std::string before = get(first);
    fuzz::require(copy(first, second) && copy(second, first), "a copy can be copied");
    const std::string after = get(first);
    fuzz::require(after == get(second), "a copy of a copy is the same");
    fuzz::require(after_first_tag(before) == after_first_tag(after),
                  "the first copy has sound tags");
}

// What the first copy has left out, the second does not miss, and what it keeps is sound.
void fix_mp3(const std::string& in) {
    const std::string first = folder() / "first", second = folder() / "second";
    const auto copy = [](const std::string& from, const std::string& to) {
        return convert(zvprobe::Mp3FixOptions{{from, to}});
    };
    if (!copy(in, first)) return;
    fuzz::require(copy(first, second), "a copy can be copied");
    fuzz::require(get(first) == get(second), "a copy of a copy is the same");
}

void remap(const std::string& in, size_t streams) {
    const std::string pids = "0x201,0x202,0x203,0x204";
    zvprobe::RemapOptions options;
    options.in = in;
    options.out = folder() / "first";
    options.programs = {"7"};
    options.pmt = "0x1ffe";
    options.pcr = "0x201";
    options.es = pids.substr(0, 6 * streams - 1);
    convert(options);
}

void remap_anything(const std::string& in, const std::vector<uint8_t>& stream,
                    fuzz::RemapChoice choice) {
    put(in, stream);
    choice.options.in = in;
    choice.options.out = folder() / "first";
    if (!convert(choice.options)) return;
    const std::string copy = get(choice.options.out);
    fuzz::check_remap(choice, stream, {reinterpret_cast<const uint8_t*>(copy.data()), copy.size()});
}

// sections: tables, too; chosen: not all there is
void extract(const std::string& in, bool sections, bool chosen) {
    const std::string out = folder() / "streams";
    zvprobe::ExtractOptions options{in, out};
    options.sections = sections;
    if (chosen) {
        options.pids = {"0x100", "0"};
        options.programs = {"2"};
    }
    const int status = run(options);
    if (!fs::exists(out)) return;
    fuzz::require(status == zvprobe::kExitOk, "a failure leaves nothing");
    uintmax_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(out)) {
        const std::string name = entry.path().filename();
        fuzz::require(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-.") == name.npos,
                      "names have no character of the stream's choice");
        fuzz::require(name.starts_with("0x"), "only finished files are left");
        bytes += entry.file_size();
    }
    fuzz::require(bytes > 0 && bytes <= 2 * fs::file_size(in),
                  "units and sections are of what came");
    fs::remove_all(out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = in.u8();
    const std::string source = folder() / "in";
    if (mode & 1) {
        put(source, in.rest());
        copy_flv(source, mode & 2);
        return 0;
    }
    if (mode & 0x20) {
        put(source, in.rest());
        fix_mp3(source);
        return 0;
    }
    if (mode & 0x40) {
        const auto choices = in.take(16);
        const auto stream = mode & 0x80 ? fuzz::make_survey_stream(in.rest())
                            : mode & 4  ? fuzz::make_stream(in)
                                        : fuzz::whole_packets(in.rest(), 188, true);
        fuzz::ByteSource choose(choices);
        remap_anything(source, stream, fuzz::choose_remap(choose, stream));
        return 0;
    }
    put(source, mode & 4 ? fuzz::make_stream(in) : fuzz::whole_packets(in.rest(), 188, true));
    if (mode & 2)
        remap(source, 1 + (mode >> 3) % 4);
    else
        extract(source, (mode & 8) != 0, (mode & 16) != 0);
    return 0;
}
