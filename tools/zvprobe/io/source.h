// SPDX-License-Identifier: MIT
// Where bytes come from: a file, standard input or a URL, seen through windows. What the bytes mean
// is left to others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

namespace zvprobe {

// A source that cannot be opened; the text says why, without naming the source.
class SourceError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Source {
  public:
    // The most bytes of a window that can be asked for again.
    static constexpr size_t kMaxKept = 4096;

    virtual ~Source() = default;

    // The next window: the last `keep` bytes of the previous one (at most kMaxKept) followed by new
    // bytes. It is valid until the next call. At the end there are no new bytes.
    virtual std::span<const uint8_t> next(size_t keep) = 0;

    // The reader wants bytes as they come: a window may be small, and but for the first may have no
    // new bytes when a signal came or nothing else did for long.
    virtual void expect_live() {}

    // Passes over the bytes after the current window without reading them. Then next(0) goes on.
    // -> bytes passed: `count`, fewer at the end; 0 where all must be read
    virtual uint64_t skip(uint64_t /*count*/) { return 0; }

    // -> true when nothing follows the current window
    virtual bool at_end() const = 0;

    // -> true when a signal ended the reading here: more may have followed, and what the
    //    last window cuts off is no damage of the source
    virtual bool stopped() const { return false; }

    // -> where and why reading ended early, for the user; empty when it did not
    std::string error() const;

    // What the bytes come from. A file is read at any speed; others give bytes as they are sent.
    enum class Origin { kFile, kPipe, kNetwork };
    virtual Origin origin() const { return Origin::kFile; }

    // -> bytes in all, where that is known
    virtual std::optional<uint64_t> size() const = 0;

  protected:
    // -> why reading ended early; empty when it did not
    virtual std::string reason() const = 0;

    // -> bytes read or passed over
    virtual uint64_t position() const = 0;
};

// Opens a path, "-" or a URL. Throws SourceError.
std::unique_ptr<Source> open_source(const std::string& name);

}  // namespace zvprobe
