// SPDX-License-Identifier: MIT
// Standard output as reports are written to it: the stream's own buffer gives up where a
// non-blocking descriptor has no room, and does not say why it failed.
#pragma once

#include <streambuf>
#include <vector>

namespace zvprobe {

// std::cout goes through it while it lives.
class StandardOutput : public std::streambuf {
  public:
    StandardOutput();
    ~StandardOutput() override;
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // -> the errno of the first write that failed, 0 when none did
    int error() const { return error_; }

  protected:
    int_type overflow(int_type c) override;
    int sync() override;

  private:
    std::vector<char> buffer_;
    std::streambuf* before_;
    int error_ = 0;
};

}  // namespace zvprobe
