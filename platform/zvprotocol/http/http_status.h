// SPDX-License-Identifier: MIT
// The statuses by which an HTTP server refuses, in words.
#pragma once

#include <span>

namespace zvptc {

// -> "HTTP 404 Not Found", in `room`; the number alone of a status that RFC 9110 and RFC 6585 do not name
const char* http_status_text(long status, std::span<char> room) noexcept;

}  // namespace zvptc
