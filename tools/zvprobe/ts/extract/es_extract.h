// SPDX-License-Identifier: MIT
// Takes a transport stream apart: each elementary stream, and each PID's tables where they are
// wanted, into a file of its own. What a file is called is known at the end.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "base/capped_list.h"
#include "io/output/out_file_set.h"
#include "survey/codecs/codec.h"
#include "survey/packets/continuity.h"
#include "survey/psi/section_gatherer.h"
#include "ts/extract/es_names.h"
#include "ts/extract/held_packets.h"
#include "ts/extract/pes_units.h"
#include "ts/extract/program_map.h"

namespace zvprobe {

// What is to be extracted. Without PIDs and programmes: all that the tables name.
struct ExtractRequest {
    std::set<uint16_t> pids;      // these, listed or not
    std::set<uint16_t> programs;  // and what belongs to these
    bool sections = false;        // tables, too
};

// What became of one stream, or of the tables of one PID.
struct Extracted {
    uint16_t pid = 0;
    std::string name;         // of the file; empty when there is none
    OutFileSet::Id file = 0;  // where there is one
    std::string what;         // codec or use; empty when unknown
    std::set<uint16_t> programs;
    uint64_t bytes = 0;
    bool sections = false;             // units are sections, not PES packets
    PesCounts units;                   // of sections: how many, and those with a wrong CRC_32
    uint64_t packets = 0;              // that came
    uint64_t packets_lost = 0;         // as far as the counters tell
    uint64_t scrambled_packets = 0;    // left out
    bool sections_not_wanted = false;  // it is carried in sections, which were not asked for
};

// A stream that a PMT declares to be of another codec than before.
struct CodecChange {
    uint64_t offset;  // of the packet that completes the PMT
    uint16_t pid;
    zv::survey::Codec before, now;
};

class EsExtract {
  public:
    EsExtract(ExtractRequest request, OutFileSet& out);
    EsExtract(const EsExtract&) = delete;
    EsExtract& operator=(const EsExtract&) = delete;

    // Takes packets in sync, as the survey gives them. Throws OutputError.
    void take(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset);

    // Ends the stream.
    // use_of  in  tells what a PID is for, as a report would
    // -> everything that was wanted, by PID. Throws OutputError.
    std::vector<Extracted> finish(const std::function<std::string(uint16_t pid)>& use_of);

    const CappedList<CodecChange>& codec_changes() const { return codec_changes_; }
    bool has_program(uint16_t number) const { return map_.has_program(number); }

  private:
    struct Declared {
        zv::survey::Codec codec = zv::survey::Codec::kUnknown;
        uint8_t stream_type = 0;
        std::vector<uint8_t> descriptors;
        bool hdmv = false;
        bool in_sections = false;

        zv::survey::DeclaredStream stream() const { return {stream_type, descriptors, hdmv}; }
    };
    // What goes into one file.
    struct Stream {
        Declared declared;
        bool listed = false;  // by a PMT
        std::set<uint16_t> programs;
        PesUnits units;
        uint64_t packets = 0;
        uint64_t packets_lost = 0;
        uint64_t scrambled_packets = 0;
        std::optional<OutFileSet::Id> file;  // made for the first bytes
    };
    struct Tables {
        explicit Tables(zv::survey::SectionBudget& budget) : gatherer(budget) {}

        zv::survey::SectionGatherer gatherer;
        bool gathered = true;
        bool wanted = false;  // to be written
        uint64_t sections = 0;
        uint64_t crc_errors = 0;
        uint64_t packets_lost = 0;
        uint64_t scrambled_packets = 0;
        std::optional<OutFileSet::Id> file;
    };
    // A PID of interest.
    struct Pid {
        zv::survey::PacketBefore before;
        std::array<uint8_t, zv::kTsPacketSize> kept;  // its bytes
        zv::survey::ContinuityCounts continuity;
        std::set<uint16_t> programs;                   // that tables are wanted for
        std::vector<std::unique_ptr<Stream>> streams;  // one for each codec that was declared
        Stream* stream = nullptr;                      // whose units come now
        uint16_t declared_by = 0;                      // the programme that says which
        std::unique_ptr<Tables> tables;
    };

    bool wants(uint16_t pid, uint16_t program) const;
    Pid& watch(uint16_t pid);
    Tables& gather_tables(uint16_t pid);
    void want_tables(uint16_t pid, uint16_t program);
    void see_listed(const zv::survey::PmtView& pmt, const zv::survey::PmtStream& listed,
                    uint16_t program);
    void declare(uint16_t number, const Declared& declared, uint16_t program);
    static void switch_stream(Pid& pid, zv::survey::Codec codec);
    void release_held(uint16_t pid);

    void take_packet(const zv::survey::Packet& packet);
    void see_packet(Pid& pid, const zv::survey::Packet& packet);
    bool see_continuity(Pid& pid, const zv::survey::Packet& packet);
    static void see_scrambled(Pid& pid, bool starts_unit);
    void see_payload(Pid& pid, const zv::survey::Packet& packet);
    void write(std::optional<OutFileSet::Id>& file, std::span<const uint8_t> bytes);
    void write_section(uint16_t pid, Tables& tables, const zv::survey::Section& section);

    Extracted result_of(uint16_t number, Stream& stream);
    Extracted result_of(uint16_t number, const Pid& pid, const std::string& use);
    std::string free_name(const FileName& name);

    const ExtractRequest request_;
    OutFileSet& out_;
    ProgramMap map_;
    HeldPackets held_;
    zv::survey::SectionBudget budget_;
    std::vector<std::unique_ptr<Pid>> pids_;
    std::set<std::string> names_;  // taken
    CappedList<CodecChange> codec_changes_;
    uint64_t offset_ = 0;  // of the current packet
};

}  // namespace zvprobe
