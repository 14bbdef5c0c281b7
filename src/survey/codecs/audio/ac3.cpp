// SPDX-License-Identifier: MIT
// AC-3 and E-AC-3 (ETSI TS 102 366): frame headers, and the dependent substreams that add channels
// to the frame before them. Members are read under their names in the standard.
#include <array>
#include <bit>

#include "bitStream/big_endian.h"
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"
#include "survey/codecs/bit_reader.h"

namespace zv::survey {
namespace {

constexpr uint32_t kSyncWord = 0x0B77;
constexpr uint32_t kMaxAc3Id = 10;  // bsid: 9 and 10 are at a half and a quarter of the rate
constexpr uint32_t kMaxEac3Id = 16;
constexpr uint32_t kDependent = 1;  // strmtyp

constexpr std::array<uint32_t, 3> kSampleRates = {48000, 44100, 32000};
constexpr std::array<uint32_t, 19> kBitRates = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                192, 224, 256, 320, 384, 448, 512, 576, 640};

// Places of channels as chanmap counts them (Table E.1.7), the first one in the highest bit.
constexpr uint16_t kLeft = 0x8000;
constexpr uint16_t kCentre = 0x4000;
constexpr uint16_t kRight = 0x2000;
constexpr uint16_t kLeftSurround = 0x1000;
constexpr uint16_t kRightSurround = 0x0800;
constexpr uint16_t kCentreSurround = 0x0100;
constexpr uint16_t kLfe = 0x0001;
constexpr uint16_t kPairs = 0x0400 | 0x0200 | 0x0040 | 0x0020 | 0x0010 | 0x0004;

// By acmod; of two single channels (0) and of one alone.
constexpr std::array<uint16_t, 8> kModeChannels = {
    kLeft | kRight,
    kCentre,
    kLeft | kRight,
    kLeft | kCentre | kRight,
    kLeft | kRight | kCentreSurround,
    kLeft | kCentre | kRight | kCentreSurround,
    kLeft | kRight | kLeftSurround | kRightSurround,
    kLeft | kCentre | kRight | kLeftSurround | kRightSurround,
};

struct Frame {
    bool enhanced;
    bool dependent;
    uint32_t substreamid;
    uint32_t sample_rate;
    uint32_t bit_rate;
    uint32_t size;  // bytes
    uint16_t channels;
};

uint16_t mode_channels(uint32_t acmod, bool lfe) {
    return static_cast<uint16_t>(kModeChannels[acmod] | (lfe ? kLfe : 0));
}

std::optional<Frame> read_ac3_frame(BitReader reader, uint32_t bsid) {
    reader.skip(16);  // crc1
    const uint32_t fscod = reader.bits(2);
    const uint32_t frmsizecod = reader.bits(6);
    reader.skip(5 + 3);  // bsid, bsmod
    const uint32_t acmod = reader.bits(3);
    if ((acmod & 1) != 0 && acmod != 1) reader.skip(2);  // cmixlev
    if ((acmod & 4) != 0) reader.skip(2);                // surmixlev
    if (acmod == 2) reader.skip(2);                      // dsurmod
    const bool lfe = reader.flag();
    if (reader.overrun() || fscod >= kSampleRates.size() || frmsizecod / 2 >= kBitRates.size())
        return std::nullopt;
    const uint32_t rate = kBitRates[frmsizecod / 2];
    const uint32_t odd = fscod == 1 ? frmsizecod & 1 : 0;
    const uint32_t words = rate * 96000 / kSampleRates[fscod] + odd;
    const uint32_t shift = bsid > 8 ? bsid - 8 : 0;
    return Frame{false,
                 false,
                 0,
                 kSampleRates[fscod] >> shift,
                 rate * 1000 >> shift,
                 words * 2,
                 mode_channels(acmod, lfe)};
}

// What of E-AC-3 lies between bsid and chanmap.
uint16_t read_channel_map(BitReader& reader, uint32_t acmod, uint16_t otherwise) {
    for (int programs = acmod == 0 ? 2 : 1; programs > 0; --programs) {
        reader.skip(5);                     // dialnorm
        if (reader.flag()) reader.skip(8);  // compr
    }
    if (!reader.flag()) return otherwise;
    return static_cast<uint16_t>(reader.bits(16));
}

std::optional<Frame> read_eac3_frame(BitReader reader) {
    constexpr std::array<uint32_t, 4> kBlocks = {1, 2, 3, 6};
    constexpr uint32_t kReserved = 3;
    const uint32_t strmtyp = reader.bits(2);
    const uint32_t substreamid = reader.bits(3);
    const uint32_t size = (reader.bits(11) + 1) * 2;
    const uint32_t fscod = reader.bits(2);
    const uint32_t next = reader.bits(2);  // fscod2 or numblkscod
    const bool reduced = fscod == 3;
    const uint32_t acmod = reader.bits(3);
    const bool lfe = reader.flag();
    reader.skip(5);  // bsid
    uint16_t channels = mode_channels(acmod, lfe);
    if (strmtyp == kDependent) channels = read_channel_map(reader, acmod, channels);
    if (reader.overrun() || strmtyp == kReserved || (reduced && next == 3)) return std::nullopt;
    const uint32_t rate = reduced ? kSampleRates[next] / 2 : kSampleRates[fscod];
    const uint32_t samples = 256 * (reduced ? 6 : kBlocks[next]);
    const auto bit_rate = static_cast<uint32_t>(uint64_t{size} * 8 * rate / samples);
    return Frame{true, strmtyp == kDependent, substreamid, rate, bit_rate, size, channels};
}

std::optional<Frame> read_frame(std::span<const uint8_t> bytes) {
    if (bytes.size() < 2 || load_be16(bytes) != kSyncWord) return std::nullopt;
    BitReader reader(header_room(bytes));
    reader.skip(16);
    BitReader ahead = reader;
    ahead.skip(24);
    const uint32_t bsid = ahead.bits(5);
    if (ahead.overrun() || bsid > kMaxEac3Id) return std::nullopt;
    return bsid <= kMaxAc3Id ? read_ac3_frame(reader, bsid) : read_eac3_frame(reader);
}

std::optional<AudioFrame> parse_frame(std::span<const uint8_t> bytes) {
    const auto frame = read_frame(bytes);
    if (!frame) return std::nullopt;
    return AudioFrame{frame->size, frame->sample_rate};
}

uint8_t count_channels(uint16_t places) {
    return static_cast<uint8_t>(std::popcount(places) +
                                std::popcount(static_cast<uint16_t>(places & kPairs)));
}

// The first program: one independent frame and the dependent ones up to the next.
struct Program {
    uint16_t channels = 0;
    uint32_t bit_rate = 0;
    uint32_t sample_rate = 0;
    bool enhanced = false;
    bool whole = false;
};

Program read_program(std::span<const uint8_t> bytes) {
    Program program;
    bool own = true;  // the frame belongs to the first program, not to another independent one
    while (const auto frame = read_frame(bytes)) {
        const bool starts_program = !frame->dependent && frame->substreamid == 0;
        if (program.channels != 0 && starts_program) {
            program.whole = true;
            break;
        }
        own = frame->dependent ? own : starts_program || program.channels == 0;
        program.enhanced |= frame->enhanced;
        if (own) {
            if (program.sample_rate == 0) program.sample_rate = frame->sample_rate;
            program.channels |= frame->channels;
            program.bit_rate += frame->bit_rate;
        }
        if (frame->size >= bytes.size()) break;
        bytes = bytes.subspan(frame->size);
    }
    return program;
}

}  // namespace

std::optional<AudioFacts> read_ac3(std::span<const uint8_t> es) {
    const auto run = find_audio_frames(es, parse_frame);
    if (!run) return std::nullopt;
    const Program program = read_program(es.subspan(run->offset));
    AudioFacts facts;
    facts.codec = program.enhanced ? Codec::kEac3 : Codec::kAc3;
    facts.details.sample_rate = program.sample_rate;
    facts.details.channels = count_channels(program.channels);
    facts.details.bit_rate_bps = program.bit_rate;
    facts.frames = run->frames;
    facts.sure = run->sure();
    facts.settled = facts.sure && program.whole;
    return facts;
}

}  // namespace zv::survey
