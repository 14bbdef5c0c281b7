// SPDX-License-Identifier: MIT
// Which bytes of an FLV file go into a copy with a new onMetaData block, and what that block says.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "flv/flv_report.h"

namespace zvprobe {

// Everything but the onMetaData tags and what belongs to no tag. A wrong size word is put right.
class FlvCopyList {
  public:
    struct Piece {
        uint64_t offset;
        uint64_t length;
        std::optional<uint32_t> size_word;  // written behind the piece, in place of a wrong one
    };

    void add(const FlvTag& tag);

    const std::vector<Piece>& pieces() const { return pieces_; }
    uint64_t tags() const { return tags_; }
    uint64_t bytes() const { return bytes_; }  // of the copy

  private:
    std::vector<Piece> pieces_;
    uint64_t tags_ = 0;
    uint64_t bytes_ = 0;
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

// The start of the new file, script tag included: the facts of the report, where the library's own
// probe has fixed values too. What is not known is 0.
// copied  bytes that follow
std::vector<uint8_t> make_flv_start(const FlvReport& report, uint64_t copied);

}  // namespace zvprobe
