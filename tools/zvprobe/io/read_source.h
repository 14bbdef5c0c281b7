// SPDX-License-Identifier: MIT
// What all sources share that are read piece by piece: one buffer, its windows, and when reading
// ends. Where a piece comes from is left to file_source.h and source.cpp.
#pragma once

#include <memory>

#include "io/source.h"

namespace zvprobe {

class ReadSource : public Source {
  public:
    ReadSource(const ReadSource&) = delete;
    ReadSource& operator=(const ReadSource&) = delete;

    std::span<const uint8_t> next(size_t keep) override;
    void expect_live() override;
    bool at_end() const override { return at_end_; }
    bool stopped() const override { return stopped_; }

  protected:
    // Room for the longest datagram, however the buffer is cut.
    static constexpr size_t kMaxDatagram = size_t{64} << 10;

    ReadSource();

    // Reads once. -> bytes read, 0 at the end of the source, or a negated errno: -EINTR for nothing
    //    yet, -ETIMEDOUT for nothing in a long time
    virtual int read_once(std::span<uint8_t> room) = 0;

    // -> what an errno means here
    virtual std::string text_of(int error) const;

    std::string reason() const override { return error_; }
    uint64_t position() const override { return position_; }

    // Notes that bytes were passed over. Who passes over much looks at little: the next window is
    // small.
    void pass(uint64_t count);

  private:
    // -> bytes read; 0 for no more now: the source is at its end, a signal came, or, live, nothing
    //    came in a while
    size_t read_some(std::span<uint8_t> room);

    struct FreeMemory {
        void operator()(uint8_t* memory) const;
    };

    std::unique_ptr<uint8_t, FreeMemory> buffer_;
    size_t filled_ = 0;      // new bytes of the current window
    size_t wanted_;          // bytes to gather for the next window
    size_t most_;            // bytes to ask for at once
    uint64_t position_ = 0;  // bytes read or passed over
    bool passed_ = false;    // bytes before the next window
    bool live_ = false;
    bool at_end_ = false;
    bool stopped_ = false;
    std::string error_;
};

}  // namespace zvprobe
