// SPDX-License-Identifier: MIT
// The FLV probe over pieces of any size, its description, and the writer over what the probe found
// and over whatever a host may have put into the record.
#include "flv.h"
#include "parts/input.h"
#include "parts/log_double.h"

namespace {

constexpr size_t kInfoRoom = ZV_FLV_INFO_MAX;
constexpr unsigned kShortestHeader = 185;

void describe(const FLVProbe& probe) {
    fuzz::ExactBytes text(kInfoRoom);
    text.text()[0] = '\0';
    flv_api_getInfo(&probe, text.text());
    fuzz::require(memchr(text.data(), 0, text.size()) != nullptr, "the text is terminated");

    fuzz::ExactBytes header(ZV_FLV_HEADER_SCRIPT_MAX);
    const unsigned written = flv_api_setFlvHeaderScript(&probe, header.data());
    fuzz::require(written >= kShortestHeader && written <= header.size(),
                  "the writer keeps to its bounds");
}

// -> the next piece's size: arbitrary, or that of the tag which starts here
size_t piece_size(std::span<const uint8_t> rest, uint8_t wanted, bool by_tag) {
    if (!by_tag || rest.size() < ZV_FLV_TAG_HEADER_SIZE) return std::max<size_t>(wanted, 1);
    const size_t body = size_t{rest[1]} << 16 | size_t{rest[2]} << 8 | rest[3];
    return ZV_FLV_TAG_HEADER_SIZE + body + ZV_FLV_PREVIOUS_TAG_SIZE;
}

// Later pieces of a tag are counted, not read: a second probe, which gets none of their bytes, must
// agree with the first.
void probe_pieces(fuzz::ByteSource& in, bool by_tag) {
    FLVProbe probe, counting;
    memset(&probe, 0, sizeof probe);
    memset(&counting, 0, sizeof counting);
    fuzz::PieceSizes sizes(in);
    std::span<const uint8_t> rest = in.rest();
    while (!rest.empty()) {
        const size_t wanted = piece_size(rest, sizes.next(), by_tag && probe.taggot == 0);
        const auto piece = rest.first(std::min(wanted, rest.size()));
        fuzz::ExactBytes block(piece);
        const auto size = static_cast<uint32_t>(block.size());
        const uint8_t* const first_bytes = probe.taggot == 0 ? block.data() : nullptr;
        const int result = flv_api_check(&probe, block.data(), size);
        fuzz::require(result == 0 || result == 1, "check answers yes or no");
        fuzz::require(flv_api_check(&counting, first_bytes, size) == result &&
                          memcmp(&probe, &counting, sizeof probe) == 0,
                      "later pieces are counted, not read");
        rest = rest.subspan(piece.size());
    }
    describe(probe);
}

// Any values in every member; texts stay terminated, as the header demands.
void describe_any_record(fuzz::ByteSource& in) {
    FLVProbe probe;
    memset(&probe, 0, sizeof probe);
    const auto bytes = in.take(sizeof probe);
    memcpy(&probe, bytes.data(), bytes.size());
    probe.metadata.creationdate[sizeof probe.metadata.creationdate - 1] = '\0';
    describe(probe);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = fuzz::take_mode(in);
    if (mode & 1)
        describe_any_record(in);
    else
        probe_pieces(in, (mode & 2) != 0);
    return 0;
}
