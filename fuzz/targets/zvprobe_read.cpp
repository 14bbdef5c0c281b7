// SPDX-License-Identifier: MIT
// The tool's readers on whole files: the probe command over a file and over standard input.
// Both must print the same, the JSON must be JSON, and no byte of the stream may reach a terminal
// as a control character.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "base/exit_status.h"
#include "commands/commands.h"
#include "parts/input.h"
#include "parts/packets.h"

namespace {

// A file in memory, for as long as the object lives.
class MemoryFile {
  public:
    explicit MemoryFile(std::span<const uint8_t> bytes) : fd_(memfd_create("fuzz", MFD_CLOEXEC)) {
        fuzz::require(fd_ >= 0, "there is memory for the file");
        fuzz::require(write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                      "the file can be written");
    }
    ~MemoryFile() { close(fd_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

  private:
    int fd_;
};

// Takes what is written to a standard stream.
class Capture {
  public:
    explicit Capture(std::ostream& stream)
        : stream_(stream), before_(stream.rdbuf(text_.rdbuf())) {}
    ~Capture() { stream_.rdbuf(before_); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    std::string text() const { return text_.str(); }

  private:
    std::ostream& stream_;
    std::ostringstream text_;
    std::streambuf* before_;
};

// -> what the command prints, then its exit status
std::string probe(zvprobe::ProbeOptions options, const std::string& source) {
    options.sources = {source};
    const Capture out(std::cout);
    const Capture errors(std::cerr);
    const int status = zvprobe::run_command(options, zvprobe::Session());
    fuzz::require(status == zvprobe::kExitOk || status == zvprobe::kExitFindings ||
                      status == zvprobe::kExitUnknownFormat,
                  "a file in memory can be read");
    return out.text() + errors.text() + std::to_string(status);
}

// What is passed over in a file is read from standard input.
std::string probe_standard_input(zvprobe::ProbeOptions options, const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    dup2(fd, STDIN_FILENO);
    close(fd);
    return probe(options, "-");
}

// The source is named in what is printed, and a stream may spell that name itself: both runs get
// the same name for it, wherever it stands.
std::string without_path(std::string text, const std::string& path) {
    for (size_t at = 0; (at = text.find(path, at)) != std::string::npos; ++at)
        text.replace(at, path.size(), "-");
    return text;
}

void require_printable(const std::string& text) {
    for (const char c : text)
        fuzz::require(c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F),
                      "control characters are escaped");
}

void require_json(const std::string& text) {
    const size_t end = text.rfind('}');
    fuzz::require(end != std::string::npos && nlohmann::json::accept(text.substr(0, end + 1)),
                  "the report is JSON");
}

std::vector<uint8_t> read_file(fuzz::ByteSource& in, uint8_t mode) {
    if (mode & 1) return fuzz::make_stream(in);
    if (mode & 2) return fuzz::whole_packets(in.rest(), 188, true);
    return fuzz::any_bytes(in.rest());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = in.u8();
    const MemoryFile file(read_file(in, mode));
    zvprobe::ProbeOptions options;
    options.strict = mode & 4;
    options.json = !options.strict;

    const std::string report = probe(options, file.path());
    const std::string streamed = probe_standard_input(options, file.path());
    fuzz::require(without_path(report, file.path()) == without_path(streamed, file.path()),
                  "a file reads the same as standard input");
    require_printable(report);
    if (options.json) require_json(report);
    return 0;
}
