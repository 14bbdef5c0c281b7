// SPDX-License-Identifier: MIT
// Implementation of standard_output.h.
#include "cli/standard_output.h"

#include <unistd.h>

#include <iostream>

#include "base/descriptors.h"

namespace zvprobe {
namespace {

constexpr size_t kBufferSize = size_t{64} << 10;

}  // namespace

StandardOutput::StandardOutput() : buffer_(kBufferSize), before_(std::cout.rdbuf(this)) {
    setp(buffer_.data(), buffer_.data() + buffer_.size());
}

StandardOutput::~StandardOutput() {
    std::cout.flush();
    std::cout.rdbuf(before_);
}

StandardOutput::int_type StandardOutput::overflow(int_type c) {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

// The report so far is what a signal asks for: it ends no write of it.
int StandardOutput::sync() {
    const auto size = static_cast<size_t>(pptr() - pbase());
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    const int error =
        write_all(STDOUT_FILENO, {reinterpret_cast<const uint8_t*>(buffer_.data()), size},
                  [] { return false; });
    if (error_ == 0) error_ = error;
    return error == 0 ? 0 : -1;
}

}  // namespace zvprobe
