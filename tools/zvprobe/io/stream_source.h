// SPDX-License-Identifier: MIT
// Everything that is read rather than mapped: standard input, pipes, devices and network URLs,
// through the protocol library.
#pragma once

#include <memory>
#include <vector>

#include "io/source.h"
#include "zvprotocol.h"

namespace zvprobe {

class StreamSource : public Source {
  public:
    explicit StreamSource(const std::string& url);  // throws SourceError
    ~StreamSource() override;
    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    std::span<const uint8_t> next(size_t keep) override;
    void expect_live() override;
    bool at_end() const override { return at_end_; }
    Origin origin() const override {
        return handler_->ptc_index == ZVPTC_INDEX_FILE ? Origin::kPipe : Origin::kNetwork;
    }
    std::optional<uint64_t> size() const override { return std::nullopt; }

  protected:
    std::string reason() const override { return error_; }
    uint64_t position() const override { return read_; }

  private:
    // -> bytes read; 0 for no more now: at the end of the source, of the user's patience, or, live,
    //    of a wait
    size_t read_some(std::span<uint8_t> room);
    int read_once(std::span<uint8_t> room);

    struct FreeMemory {
        void operator()(uint8_t* memory) const;
    };

    ZvptcUrlContext context_{};
    const ZvptcHandler* handler_ = nullptr;
    std::unique_ptr<uint8_t, FreeMemory> buffer_;
    size_t filled_ = 0;  // bytes of the current window behind the room for kept bytes
    size_t wanted_;      // bytes to gather for the next window
    size_t most_;        // bytes to ask for at once
    uint64_t read_ = 0;  // bytes, all in all
    bool live_ = false;
    bool at_end_ = false;
    std::string error_;
};

}  // namespace zvprobe
