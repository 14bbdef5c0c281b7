// SPDX-License-Identifier: MIT
// What sections say (ISO/IEC 13818-1, 2.4.4; ETSI EN 300 468; ATSC A/65): readers of their bodies.
// A length that runs over the section is cut at its end.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "survey/codecs/descriptors.h"
#include "survey/psi/section.h"

namespace zv::survey {

constexpr uint8_t kTableIdPat = 0x00;
constexpr uint8_t kTableIdCat = 0x01;
constexpr uint8_t kTableIdPmt = 0x02;
constexpr uint8_t kTableIdNitActual = 0x40;
constexpr uint8_t kTableIdNitOther = 0x41;
constexpr uint8_t kTableIdSdtActual = 0x42;
constexpr uint8_t kTableIdSdtOther = 0x46;
constexpr uint8_t kTableIdBat = 0x4A;
constexpr uint8_t kTableIdEitActual = 0x4E;  // present/following
constexpr uint8_t kTableIdEitOther = 0x4F;
constexpr uint8_t kTableIdEitLast = 0x6F;  // of the schedules
constexpr uint8_t kTableIdTdt = 0x70;
constexpr uint8_t kTableIdRst = 0x71;
constexpr uint8_t kTableIdStuffing = 0x72;
constexpr uint8_t kTableIdTerrestrialVct = 0xC8;
constexpr uint8_t kTableIdCableVct = 0xC9;
constexpr uint8_t kTableIdSplice = 0xFC;  // ANSI/SCTE 35

// Where tables are by standard: EN 300 468, table 1; A/65.
constexpr uint16_t kTablePids[] = {kPidPat, kPidCat, 0x0002, kPidNit, kPidSdt, kPidEit,
                                   kPidRst, kPidTdt, 0x001E, 0x001F,  kPidPsip};

constexpr uint8_t kTagCa = 0x09;
constexpr uint8_t kTagNetworkName = 0x40;
constexpr uint8_t kTagService = 0x48;
constexpr uint8_t kTagShortEvent = 0x4D;

// Cuts pieces off the front of a section's body; what is not there reads as empty or 0.
class BodyReader {
  public:
    explicit BodyReader(Bytes bytes) : rest_(bytes) {}

    size_t left() const { return rest_.size(); }
    Bytes take(size_t count) {
        const Bytes taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }
    uint8_t u8() {
        const Bytes b = take(1);
        return b.empty() ? 0 : b[0];
    }
    uint16_t u16() {
        const Bytes b = take(2);
        return b.size() < 2 ? 0 : load_be16(b.data());
    }
    uint16_t pid() { return pid_in(u16()); }
    // A loop's bytes after its length of 12 bits.
    Bytes loop() {
        const size_t length = u16() & 0xFFF;
        return take(length);
    }

  private:
    Bytes rest_;
};

// Calls see(tag, bytes) for each descriptor of a loop.
template <typename See>
void for_each_descriptor(Bytes loop, See see) {
    Descriptors descriptors(loop);
    while (const auto descriptor = descriptors.next())
        see(descriptor->tag, descriptor->body);
}

// Calls see(program_number, pid) for each entry; number 0 is the network's PID.
template <typename See>
void for_each_pat_entry(const Section& pat, See see) {
    BodyReader reader(pat.body());
    while (reader.left() >= 4) {
        const uint16_t number = reader.u16();
        const uint16_t pid = reader.pid();
        see(number, pid);
    }
}

// Calls see(ca_system_id, ca_pid) for each CA descriptor of a loop.
template <typename See>
void for_each_ca(Bytes loop, See see) {
    for_each_descriptor(loop, [&](uint8_t tag, Bytes bytes) {
        if (tag != kTagCa || bytes.size() < 4) return;
        see(load_be16(bytes.data()), load_pid(bytes.data() + 2));
    });
}

struct PmtStream {
    uint16_t pid;
    uint8_t stream_type;
    Bytes descriptors;
};

// A programme map section: its fields, borrowed from its bytes.
class PmtView {
  public:
    explicit PmtView(Bytes section) : streams_(Section(section).body()) {
        pcr_pid_ = streams_.left() < 2 ? kPidNull : streams_.pid();
        descriptors_ = streams_.loop();
    }

    uint16_t pcr_pid() const { return pcr_pid_; }
    Bytes descriptors() const { return descriptors_; }
    // Is the programme registered as "HDMV"?
    bool is_hdmv() const {
        if (!hdmv_) hdmv_ = registered_as("HDMV");
        return *hdmv_;
    }

    template <typename See>
    void for_each_stream(See see) const {
        BodyReader reader = streams_;
        while (reader.left() >= 5) {
            PmtStream stream;
            stream.stream_type = reader.u8();
            stream.pid = reader.pid();
            stream.descriptors = reader.loop();
            see(stream);
        }
    }

  private:
    bool registered_as(const char (&name)[5]) const;

    BodyReader streams_;
    uint16_t pcr_pid_;
    Bytes descriptors_;
    mutable std::optional<bool> hdmv_;  // each stream asks, and the descriptors may be a thousand
};

// -> true for streams that are carried in sections, not in PES packets
bool carried_in_sections(const PmtView& pmt, const PmtStream& stream);

struct Service {
    uint16_t id;
    std::string name;
    std::optional<std::string> provider;
    uint8_t type;
    const char* type_name;
};

// The services of tables, each by its first description.
class ServiceList {
  public:
    // -> false when the service is described already
    bool lacks(uint16_t id) const { return !described_[id]; }
    void add(Service service) {
        described_[service.id] = true;
        services_.push_back(std::move(service));
    }

    // -> ascending by id
    std::vector<Service> sorted() &&;

  private:
    std::vector<Service> services_;
    std::vector<bool> described_ = std::vector<bool>(65536);
};

// Adds the services that a section of an SDT or of a virtual channel table describes.
void read_sdt(const Section& sdt, ServiceList& out);
void read_vct(const Section& vct, ServiceList& out);

// -> the name in a network information section; nothing where it has none
std::optional<std::string> read_network_name(const Section& nit);

struct ServiceEvent {
    std::string title;
    std::string start;  // "2026-11-21T12:00:00Z", empty when undefined
    std::optional<uint32_t> duration_s;
};

// -> the first event of an event information section
std::optional<ServiceEvent> read_first_event(const Section& eit);

// -> the time that five bytes hold (EN 300 468, annex C: a day's number and BCD digits), as
// "2026-11-21T12:00:00Z"; empty when they hold none
std::string read_utc(Bytes bytes);

}  // namespace zv::survey
