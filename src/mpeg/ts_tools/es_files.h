// SPDX-License-Identifier: MIT
// Elementary streams into files: which PIDs are streams, as the analyser learns it, and one file
// for each. PesPayload unwraps them, ResultFile writes them.
#pragma once

#include <cstdint>
#include <span>

#include "mpeg/mpegts/context.h"
#include "mpeg/ts_tools/pes_payload.h"
#include "mpeg/ts_tools/result_file.h"

namespace zv {

class EsFiles {
  public:
    // directory  borrowed for the object's life; null: nothing is written
    void set_directory(const char* directory) { directory_ = directory; }

    bool wanted() const { return directory_ != nullptr; }

    // Adds the streams of every programme whose PMT is known by now.
    void learn(const MPEGTSContext& context);

    // Writes what whole packets hold of the known streams; a file begins with its first byte.
    // -> false, logged, when a file cannot be written
    bool take(std::span<const uint8_t> packets, size_t packet_size);

    // Gives all files their names. -> false as above
    bool commit();

  private:
    static constexpr int kMaxFiles = kMaxPrograms * kMaxStreams;

    struct Stream {
        uint16_t pid;
        uint16_t program_number;
        char type_name[64];
        uint8_t next_of_pid;  // programmes may share a stream; as first_of_pid_
        PesPayload payload;
        ResultFile file;
    };

    bool knows(uint16_t program_number, uint16_t pid) const;
    void add(uint16_t program_number, const MPEGTSStream& stream);
    bool write(Stream& stream, std::span<const uint8_t> bytes);
    bool open(Stream& stream);

    const char* directory_ = nullptr;
    int count_ = 0;
    bool has_programme_[kMaxPrograms] = {};
    uint8_t first_of_pid_[kPidCount] = {};  // index + 1 into streams_, 0 for none
    Stream streams_[kMaxFiles];
};

}  // namespace zv
