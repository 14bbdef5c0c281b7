// SPDX-License-Identifier: MIT
// Implementation of request_line.h.
#include "watch/http/request_line.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace zvprobe {
namespace {

static_assert(kMostOfRequestLine == CPPHTTPLIB_REQUEST_URI_MAX_LENGTH);

constexpr std::string_view kScheme = "http://";

// The library answers any other with status 400, as if the request were damaged.
constexpr std::array<std::string_view, 10> kKnownMethods = {
    "GET", "HEAD", "POST", "PUT", "DELETE", "CONNECT", "OPTIONS", "TRACE", "PATCH", "PRI"};
constexpr std::string_view kNeitherGetNorHead = "OPTIONS";

bool is_method(std::string_view text) {
    constexpr std::string_view kCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#$%&'*+-.^_`|~";
    return !text.empty() && text.find_first_not_of(kCharacters) == text.npos;
}

bool is_absolute(std::string_view target) {
    return target.size() > kScheme.size() &&
           std::ranges::equal(target.substr(0, kScheme.size()), kScheme, [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == b;
           });
}

}  // namespace

RequestLine rewritten(std::string line) {
    if (line.size() > kMostOfRequestLine) return {line + "\r\n\r\n", {}, true};
    RequestLine result = {std::move(line)};
    const size_t space = result.text.find(' ');
    if (space == std::string::npos) return result;
    const std::string_view target = std::string_view(result.text).substr(space + 1);
    if (is_absolute(target)) {
        const size_t end = std::min(target.find_first_of("/? \r\n", kScheme.size()), target.size());
        const bool names_path = end < target.size() && target[end] == '/';
        result.host = target.substr(kScheme.size(), end - kScheme.size());
        result.text.replace(space + 1, end, names_path ? "" : "/");
    }
    const std::string method = result.text.substr(0, space);
    if (is_method(method) && std::ranges::find(kKnownMethods, method) == kKnownMethods.end())
        result.text.replace(0, space, kNeitherGetNorHead);
    return result;
}

}  // namespace zvprobe
