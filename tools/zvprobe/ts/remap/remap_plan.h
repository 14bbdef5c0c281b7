// SPDX-License-Identifier: MIT
// What a remap is to change, and the new identifiers of the whole stream that follow from it and
// from what a first reading found; or why it cannot be done.
#pragma once

#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ts/remap/identifiers.h"
#include "ts/remap/stream_facts.h"

namespace zvprobe {

// What the user asks for.
struct RemapRequest {
    using Pair = std::pair<uint16_t, uint16_t>;  // old, new

    std::optional<uint16_t> from;  // the one programme to copy
    std::vector<Pair> programs;
    std::vector<Pair> pids;
    std::vector<uint16_t> dropped;

    // Of the one programme that there is, or is copied.
    std::optional<uint16_t> program;
    std::optional<uint16_t> pmt_pid;
    std::optional<uint16_t> pcr_pid;
    std::vector<uint16_t> es_pids;  // in the order of the PMT; empty: not asked for

    bool is_about_one() const { return program || pmt_pid || pcr_pid || !es_pids.empty(); }
};

// The stream changes in a way that the request does not cover; the text says how.
class RemapError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws UsageError when the stream cannot be given these identifiers, RemapError when it can only
// be for a while.
Identifiers make_remap_plan(const StreamFacts& facts, const RemapRequest& request);

}  // namespace zvprobe
