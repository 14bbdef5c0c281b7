// SPDX-License-Identifier: MIT
// Which bytes of an FLV file go into a copy with a new onMetaData block, where its key frames come to
// stand, and how its time stamps move.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "flv/flv_probe.h"
#include "flv/flv_report.h"

namespace zvprobe {

// A value of the old onMetaData block, as it stands there.
struct OldValue {
    std::string key;
    std::vector<uint8_t> bytes;
};

// Everything but the onMetaData tags and what belongs to no tag. A wrong size word is put right.
class FlvCopyList {
  public:
    struct Piece {
        uint64_t offset;
        uint64_t length;
        std::optional<uint32_t> size_word;  // written after the piece, in place of a wrong one
    };
    struct KeyFrame {
        uint64_t position;  // of the tag, in the copied bytes
        int64_t time;       // ms
    };

    // From that place on a stamp of 0 stands for that time.
    struct TimeBase {
        uint64_t position;
        int64_t time;  // ms
    };

    void add(const FlvTag& tag, const FlvTagFacts& facts);

    const std::vector<Piece>& pieces() const { return pieces_; }
    const std::vector<KeyFrame>& key_frames() const { return key_frames_; }
    const std::vector<TimeBase>& time_bases() const { return time_bases_; }  // one at least
    const std::vector<OldValue>& old_values() const { return old_values_; }  // of the first block
    uint64_t tags() const { return tags_; }
    uint64_t bytes() const { return bytes_; }              // of the copy
    uint64_t audio_bytes() const { return audio_bytes_; }  // of its tags, without size words
    uint64_t video_bytes() const { return video_bytes_; }

    // -> true when some of the old block cannot be kept: it is damaged, or larger than a megabyte
    bool loses_old_values() const { return loses_old_values_; }

  private:
    void keep_old_values(const FlvTag& tag);

    std::vector<Piece> pieces_;
    std::vector<KeyFrame> key_frames_;
    std::vector<TimeBase> time_bases_ = {{0, 0}};
    std::vector<OldValue> old_values_;
    bool seen_block_ = false;
    bool loses_old_values_ = false;
    uint64_t tags_ = 0;
    uint64_t bytes_ = 0;
    uint64_t audio_bytes_ = 0;
    uint64_t video_bytes_ = 0;
};

// Steps over the tags of a copy while it is written: what was listed must come out.
class FlvTagCounter {
  public:
    // Takes the next bytes, cut anywhere.
    void take(std::span<const uint8_t> bytes);

    uint64_t tags() const { return tags_; }  // begun
    bool is_between_tags() const { return left_ == 0 && head_size_ == 0; }

  private:
    static constexpr size_t kHeadSize = 4;  // type and length of the body

    std::array<uint8_t, kHeadSize> head_ = {};
    size_t head_size_ = 0;
    uint64_t left_ = 0;  // of the tag, after its head
    uint64_t tags_ = 0;
};

// Moves the time stamps so that the first frame is at 0, and takes wraps out.
class FlvTimeShift {
  public:
    // None: nothing moves.
    FlvTimeShift() = default;
    // list: must outlive this object
    FlvTimeShift(const FlvTimes& times, const FlvCopyList& list)
        : list_(&list), first_(times.first()), span_(times.last() - times.first()) {}

    bool moves() const { return list_ != nullptr; }
    int64_t moved_time(int64_t time) const { return time - first_; }

    // position: of the tag, in the copied bytes; never less than before
    // -> configurations and script data before the first frame come to 0 with it
    uint32_t moved_stamp(uint64_t position, uint32_t stamp);

    // -> true when all frames have a place within 32 bits
    bool fits() const { return span_ >> 32 == 0; }

  private:
    const FlvCopyList* list_ = nullptr;
    size_t base_ = 0;  // which of the list's holds
    int64_t first_ = 0;
    int64_t span_ = 0;
};

// The start of the new file, script tag included: the library's block with the facts of the report,
// where its own probe has fixed values too, as an ECMA array; beside it what seeking needs, and what
// the old block has beyond that. What is not known is 0.
std::vector<uint8_t> make_flv_start(const FlvReport& report, const FlvCopyList& list,
                                    const FlvTimeShift& shift);

}  // namespace zvprobe
