// SPDX-License-Identifier: MIT
// Implementation of psi.h.
#include "survey/psi/psi.h"

#include <algorithm>
#include <cstdio>

#include "survey/psi/dvb_text.h"
#include "survey/psi/names.h"

namespace zv::survey {
namespace {

constexpr size_t kUtcSize = 5;

constexpr uint8_t kStreamTypeScte35 = 0x86;
// ISO/IEC 13818-1, table 2-34: private sections, DSM-CC types A to D, its synchronized download,
// metadata in sections; and the DCII text of SCTE 57.
constexpr uint8_t kTypesInSections[] = {0x05, 0x0A, 0x0B, 0x0C, 0x0D, 0x14, 0x16, 0xC0};

std::optional<unsigned> bcd(uint8_t byte) {
    const unsigned tens = byte >> 4;
    const unsigned ones = byte & 15;
    if (tens > 9 || ones > 9) return std::nullopt;
    return tens * 10 + ones;
}

struct ClockTime {
    unsigned hours, minutes, seconds;
};

std::optional<ClockTime> read_clock_time(Bytes bytes) {
    const auto hours = bcd(bytes[0]);
    const auto minutes = bcd(bytes[1]);
    const auto seconds = bcd(bytes[2]);
    if (!hours || !minutes || !seconds) return std::nullopt;
    return ClockTime{*hours, *minutes, *seconds};
}

struct Date {
    int year;
    unsigned month, day;
};

// From a Modified Julian Date, counted from 1858-11-17. The years begin in March here, so that the
// leap day is their last.
Date date_of(unsigned mjd) {
    const unsigned days = mjd + 678881;  // since 0000-03-01
    const unsigned era = days / 146097;
    const unsigned day_of_era = days % 146097;
    const unsigned year_of_era =
        (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    const unsigned day_of_year =
        day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const unsigned march_month = (5 * day_of_year + 2) / 153;
    const unsigned month = march_month < 10 ? march_month + 3 : march_month - 9;
    const int year = static_cast<int>(year_of_era + era * 400) + (month <= 2 ? 1 : 0);
    return {year, month, day_of_year - (153 * march_month + 2) / 5 + 1};
}

Service read_service_descriptor(uint16_t id, Bytes bytes) {
    BodyReader reader(bytes);
    const uint8_t type = reader.u8();
    const size_t provider_length = reader.u8();
    const Bytes provider = reader.take(provider_length);
    const size_t name_length = reader.u8();
    const Bytes name = reader.take(name_length);
    return {id, decode_dvb_text(name), decode_dvb_text(provider), type, service_type_name(type)};
}

}  // namespace

bool PmtView::registered_as(const char (&name)[5]) const {
    bool found = false;
    for_each_descriptor(descriptors_, [&](uint8_t tag, Bytes bytes) {
        found = found || (tag == kTagRegistration && bytes.size() >= 4 &&
                          load_be32(bytes) == four_letters(name));
    });
    return found;
}

bool carried_in_sections(const PmtView& pmt, const PmtStream& stream) {
    if (stream.stream_type == kStreamTypeScte35) return !pmt.is_hdmv();
    return std::ranges::find(kTypesInSections, stream.stream_type) != std::end(kTypesInSections);
}

std::string read_utc(Bytes bytes) {
    if (bytes.size() < kUtcSize) return {};
    const auto time = read_clock_time(bytes.subspan(2));
    if (!time || time->hours > 23 || time->minutes > 59 || time->seconds > 59) return {};
    const Date date = date_of(load_be16(bytes.data()));
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02u:%02u:%02uZ", date.year, date.month,
                  date.day, time->hours, time->minutes, time->seconds);
    return text;
}

std::vector<Service> ServiceList::sorted() && {
    std::ranges::sort(services_, {}, &Service::id);
    return std::move(services_);
}

void read_sdt(const Section& sdt, ServiceList& out) {
    BodyReader reader(sdt.body());
    reader.take(3);  // original_network_id, reserved
    while (reader.left() >= 5) {
        const uint16_t id = reader.u16();
        reader.u8();  // EIT flags
        const Bytes descriptors = reader.loop();
        for_each_descriptor(descriptors, [&](uint8_t tag, Bytes bytes) {
            if (tag == kTagService && out.lacks(id)) out.add(read_service_descriptor(id, bytes));
        });
    }
}

void read_vct(const Section& vct, ServiceList& out) {
    constexpr size_t kNameSize = 14;
    constexpr size_t kChannelSize = 32;  // with the length of its descriptors
    BodyReader reader(vct.body());
    reader.u8();  // protocol_version
    const unsigned channels = reader.u8();
    for (unsigned i = 0; i < channels && reader.left() >= kChannelSize; ++i) {
        const Bytes name = reader.take(kNameSize);
        reader.take(10);  // channel numbers, modulation, carrier, channel_TSID
        const uint16_t program_number = reader.u16();
        const uint8_t type = reader.u16() & 0x3F;
        reader.u16();  // source_id
        const size_t descriptors_length = reader.u16() & 0x3FF;
        reader.take(descriptors_length);
        if (out.lacks(program_number))
            out.add({program_number, utf16be_to_utf8(name), std::nullopt, type,
                     atsc_service_type_name(type)});
    }
}

std::optional<std::string> read_network_name(const Section& nit) {
    BodyReader reader(nit.body());
    std::optional<std::string> name;
    for_each_descriptor(reader.loop(), [&](uint8_t tag, Bytes bytes) {
        if (tag == kTagNetworkName && !name) name = decode_dvb_text(bytes);
    });
    return name;
}

std::optional<ServiceEvent> read_first_event(const Section& eit) {
    BodyReader reader(eit.body());
    reader.take(6);  // transport_stream_id, original_network_id, segment, last table_id
    if (reader.left() < 12) return std::nullopt;
    reader.u16();  // event_id
    ServiceEvent event;
    event.start = read_utc(reader.take(kUtcSize));
    if (const auto time = read_clock_time(reader.take(3)))
        event.duration_s = time->hours * 3600 + time->minutes * 60 + time->seconds;
    bool described = false;
    for_each_descriptor(reader.loop(), [&](uint8_t tag, Bytes bytes) {
        if (tag != kTagShortEvent || described || bytes.size() < 4) return;
        described = true;
        const size_t length = bytes[3];
        event.title = decode_dvb_text(bytes.subspan(4, std::min(length, bytes.size() - 4)));
    });
    return event;
}

}  // namespace zv::survey
