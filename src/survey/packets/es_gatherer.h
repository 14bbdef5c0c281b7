// SPDX-License-Identifier: MIT
// Gathers the beginning of an elementary stream: the payloads of its first PES packets, joined, for
// the codec readers. Headers of PES packets are passed over, over any number of packets.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace zv::survey {

// What the streams that are gathered may hold together.
struct EsBudget {
    size_t left = size_t{2} << 20;
};

class EsGatherer {
  public:
    static constexpr size_t kMostBytes = 65536;
    static constexpr unsigned kMostUnits = 32;

    explicit EsGatherer(EsBudget& budget) : budget_(budget) {}
    ~EsGatherer() { forget(); }
    EsGatherer(const EsGatherer&) = delete;
    EsGatherer& operator=(const EsGatherer&) = delete;

    // Takes a payload, in order.
    // starts_unit  in  it begins with a PES header
    void take(std::span<const uint8_t> payload, bool starts_unit);

    // What follows is not gathered, up to a unit that is.
    void pause() { state_ = State::kBetweenUnits; }
    bool paused() const { return state_ == State::kBetweenUnits; }

    // Packets are missing: what was gathered does not go on.
    void lose() {
        forget();
        pause();
    }

    std::span<const uint8_t> bytes() const { return bytes_; }

    // -> true when there is twice as much as when it was read last, so that reading again and again
    // costs no more than the bytes do
    bool worth_reading() const { return bytes_.size() >= 2 * read_size_ && !bytes_.empty(); }
    void note_read() { read_size_ = bytes_.size(); }

    // -> true when there is no use in more
    bool full() const { return bytes_.size() >= kMostBytes || units_ >= kMostUnits; }

  private:
    enum class State { kBetweenUnits, kInHeader, kInPayload };

    std::span<const uint8_t> pass_header(std::span<const uint8_t> payload);
    void forget() {
        budget_.left += held_;
        held_ = read_size_ = 0;
        bytes_ = std::vector<uint8_t>();  // = {} would keep the room
    }

    EsBudget& budget_;
    State state_ = State::kBetweenUnits;
    unsigned units_ = 0;
    size_t held_ = 0;       // of the budget
    size_t read_size_ = 0;  // how much there was when it was read last
    std::vector<uint8_t> header_;
    std::vector<uint8_t> bytes_;
};

}  // namespace zv::survey
