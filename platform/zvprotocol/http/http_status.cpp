// SPDX-License-Identifier: MIT
// Implementation of http_status.h. A server's own words are not taken: they may be anything, and HTTP/2
// has none.
#include "zvprotocol/http/http_status.h"

#include <algorithm>
#include <cstdio>

namespace zvptc {
namespace {

struct Reason {
    long status;
    const char* text;
};

constexpr Reason kReasons[] = {
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {407, "Proxy Authentication Required"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {410, "Gone"},
    {414, "URI Too Long"},
    {416, "Range Not Satisfiable"},
    {421, "Misdirected Request"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
    {505, "HTTP Version Not Supported"},
};

}  // namespace

const char* http_status_text(long status, std::span<char> room) noexcept {
    const auto* const reason = std::ranges::find(kReasons, status, &Reason::status);
    const bool known = reason != std::end(kReasons);
    snprintf(room.data(), room.size(), "HTTP %ld%s%s", status, known ? " " : "",
             known ? reason->text : "");
    return room.data();
}

}  // namespace zvptc
