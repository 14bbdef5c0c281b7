// SPDX-License-Identifier: MIT
// Streams kept in memory and fed to the resolver in one manner: what the parse benchmarks measure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bitStream.h"
#include "synth_stream.h"

namespace zvbench {

constexpr size_t kBeyondCaches = size_t{600} << 20;
constexpr size_t kInL2 = size_t{512} << 10;  // some cores have no more than 1 MB
constexpr size_t kMegabyte = size_t{1} << 20;

struct ParseCase {
    const char* name;
    StreamShape shape;
    size_t bytes;
    size_t chunk_bytes;            // about this many bytes a call, in whole packets; 0: all at once
    const char* sample = nullptr;  // a file of tests/media that is repeated instead of a shape
};

// -> the stream of a case; the large ones would not all fit a small machine, so one is kept
SynthStream& stream_of(const ParseCase& test);

// -> seconds that touching one cache line of each packet took
double touch(const SynthStream& stream, int packet_size);

double median(std::vector<double> values);

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
    double touch() const { return zvbench::touch(stream_, test_.shape.packet_size); }

  private:
    void feed(void* context, size_t chunk_bytes, uint32_t options) const;
    void prove() const;

    const ParseCase& test_;
    const SynthStream& stream_;
    void* context_ = nullptr;
};

}  // namespace zvbench
