// SPDX-License-Identifier: MIT
// Streams kept in memory and fed to the resolver in one manner: what the parse benchmarks measure.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bitStream.h"
#include "synth_stream.h"

namespace zvbench {

constexpr size_t kBeyondCaches = size_t{600} << 20;
constexpr size_t kInL2 = size_t{1} << 20;
constexpr size_t kMegabyte = size_t{1} << 20;

struct ParseCase {
    const char* name;
    StreamShape shape;
    size_t bytes;
    size_t chunk_bytes;  // about this many bytes a call, in whole packets; 0: all at once
};

// A context that is fed one case, again and again.
class FedStream {
  public:
    // stream: of test.shape, outlives this. Proves its answer first: every programme known and
    // every planned loss counted, or the process ends.
    FedStream(const ParseCase& test, const SynthStream& stream);
    ~FedStream();
    FedStream(const FedStream&) = delete;
    FedStream& operator=(const FedStream&) = delete;

    // -> seconds a pass over the stream took
    double parse(uint32_t options);
    // -> seconds that touching one cache line of each packet took
    double touch() const;

  private:
    void feed(void* context, size_t chunk_bytes, uint32_t options) const;
    void prove() const;

    const ParseCase& test_;
    const SynthStream& stream_;
    void* context_ = nullptr;
};

}  // namespace zvbench
