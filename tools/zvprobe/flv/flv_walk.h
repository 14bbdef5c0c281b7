// SPDX-License-Identifier: MIT
// From the bytes of an FLV source to its tags: keeps step by the size words, finds the next tag
// after damage, and accounts for every byte. Bodies are passed over, not read.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "base/capped_list.h"
#include "flv/tag_fields.h"
#include "io/byte_cursor.h"

namespace zvprobe {

struct FlvTag {
    uint64_t offset = 0;  // of its header
    uint8_t type = 0;
    bool filtered = false;   // the body is encrypted
    uint32_t timestamp = 0;  // ms, extension byte included
    uint32_t data_len = 0;
    uint32_t stream_id = 0;      // always 0
    uint32_t size_word = 0;      // the one after it
    std::vector<uint8_t> bytes;  // header, and of the body as much as its type calls for

    uint32_t size() const;  // header and body
    std::span<const uint8_t> body() const;
};

// A size word that does not say how large the tag before it is.
struct SizeMismatch {
    uint64_t offset;
    uint32_t expected;
    uint32_t found;
};

struct TruncatedTag {
    uint64_t offset;
    uint8_t type;
    uint64_t size;  // whole, size word included
};

// How a source fell into tags.
struct FlvReading {
    uint8_t version = 0;
    uint8_t flags = 0;  // of the file header
    uint32_t header_length = 0;
    uint64_t bytes = 0;
    uint64_t tags = 0;
    uint64_t tag_bytes = 0;       // with their size words
    uint64_t stream_id_tags = 0;  // that have a stream id
    CappedList<SizeMismatch> mismatches;
    CappedList<Gap> losses;      // places where no tag stands, up to the next one or the end
    uint64_t skipped_bytes = 0;  // of these
    std::optional<TruncatedTag> truncated;
    uint64_t trailing_bytes = 0;  // after the last whole tag

    bool claims_audio() const { return (flags & zv::flv::kHasAudioBit) != 0; }
    bool claims_video() const { return (flags & zv::flv::kHasVideoBit) != 0; }

    // -> bytes that have a place in the above; all of them, once the source is read to its end and
    //    that lies after the first size word
    uint64_t accounted_bytes() const;
};

// One thing that is wrong, told where it is found.
struct FlvFinding {
    enum class Kind {
        kSizeWord,  // says `found` after a tag of `expected` bytes
        kNoTag,     // `found` bytes skipped
        kCutOff,    // the last tag
        kStreamId,  // the first tag with one, `found`
        kStepBack,  // the time stamp `found` ms after `expected` of the same track
        kJump,      // likewise, of all tracks
        kWrap,      // likewise
        kNoConfig,  // the first frame before its configuration
        kConfigChanged,
        kSecondMetaData,
    };

    uint64_t offset;
    Kind kind;
    uint64_t found = 0;
    uint64_t expected = 0;
};
using FlvFindings = std::function<void(const FlvFinding&)>;

// -> ms, from a tag's header: three bytes, and the most significant one after them
uint32_t flv_timestamp(std::span<const uint8_t> header);

// -> true when the bytes begin like an FLV file
bool starts_like_flv(std::span<const uint8_t> bytes);

class FlvWalk {
  public:
    // on_finding: called with what is wrong; may be empty
    FlvWalk(ByteCursor& cursor, const FlvFindings& on_finding)
        : cursor_(cursor), on_finding_(on_finding) {}

    // Reads the file header; the source must start like one.
    void begin();

    // Reads the next whole tag. -> false at the end
    bool next(FlvTag& tag);

    const FlvReading& reading() const { return reading_; }

  private:
    bool is_tag(std::span<const uint8_t> header) const;
    bool may_be_tag(std::span<const uint8_t> bytes) const;
    bool read_tag(FlvTag& tag);
    void check_size_word(uint64_t offset, uint32_t expected, uint32_t found);
    void find_tag();
    void note_cut_off(const FlvTag& tag);
    void tell(const FlvFinding& finding) const;
    void end(uint64_t trailing);

    ByteCursor& cursor_;
    const FlvFindings& on_finding_;
    FlvReading reading_;
    bool in_step_ = true;  // the last size word was right
    uint32_t last_timestamp_ = 0;
};

}  // namespace zvprobe
