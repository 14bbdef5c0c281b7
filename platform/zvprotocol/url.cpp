// SPDX-License-Identifier: MIT
// Implementation of url.h.
#include "zvprotocol/url.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>

#include "zvprotocol.h"

namespace zvptc {
namespace {

constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;

constexpr bool is_alpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool is_scheme_character(char c) {
    return is_alpha(c) || is_digit(c) || c == '+' || c == '-' || c == '.';
}

// Characters that would make a host name something else to a resolver or to a log reader.
constexpr bool is_host_character(char c) {
    const auto code = static_cast<unsigned char>(c);
    constexpr std::string_view kForbidden = "[]<>\"\\^`{|}@:";
    return code > 0x20 && code != 0x7F && kForbidden.find(c) == std::string_view::npos;
}

// Removes and returns what stands before the first of `stops`, or everything.
std::string_view take_until(std::string_view& text, std::string_view stops) noexcept {
    const size_t end = std::min(text.find_first_of(stops), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end);
    return taken;
}

bool is_ipv6_literal(std::string_view host) noexcept {
    const std::string_view address = host.substr(0, host.find('%'));  // %zone names an interface
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.size() >= text.size()) return false;
    std::copy(address.begin(), address.end(), text.begin());
    in6_addr parsed;
    return inet_pton(AF_INET6, text.data(), &parsed) == 1 &&
           std::all_of(host.begin() + static_cast<std::ptrdiff_t>(address.size()), host.end(),
                       is_host_character);
}

bool split_port(std::string_view text, UrlParts& parts) noexcept {
    if (text.empty()) return true;
    if (text.front() != ':') return false;
    text.remove_prefix(1);
    int port = 0;
    if (!text.empty() && !parse_number(text, 1, kMaxPort, port)) return false;
    parts.port = port;
    return true;
}

bool split_host_and_port(std::string_view text, UrlParts& parts) noexcept {
    if (!text.empty() && text.front() == '[') {
        const size_t end = text.find(']');
        if (end == std::string_view::npos) return false;
        parts.host = text.substr(1, end - 1);
        return is_ipv6_literal(parts.host) && split_port(text.substr(end + 1), parts);
    }
    parts.host = take_until(text, ":");
    return std::all_of(parts.host.begin(), parts.host.end(), is_host_character) &&
           split_port(text, parts);
}

bool split_authority(std::string_view text, UrlParts& parts) noexcept {
    const size_t at = text.rfind('@');
    if (at != std::string_view::npos) {
        parts.userinfo = text.substr(0, at);
        text.remove_prefix(at + 1);
    }
    return split_host_and_port(text, parts);
}

int split_file(std::string_view rest, UrlParts& parts) noexcept {
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        if (rest.starts_with("localhost/"))
            rest.remove_prefix(std::string_view("localhost").size());
        parts.percent_encoded = true;
    }
    parts.path = rest;
    return rest.empty() ? -EINVAL : 0;
}

int split_network(std::string_view rest, UrlParts& parts) noexcept {
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        if (!split_authority(take_until(rest, "/?#"), parts)) return -EINVAL;
    }
    if (parts.port == 0 && parts.index == ZVPTC_INDEX_HTTP)
        parts.port =
            parts.scheme.size() == std::string_view("https").size() ? kHttpsPort : kHttpPort;
    parts.path = take_until(rest, "?#");
    if (rest.starts_with('?')) parts.query = take_until(rest, "#").substr(1);
    return 0;
}

}  // namespace

bool parse_number(std::string_view text, int minimum, int maximum, int& value) noexcept {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < minimum || number > maximum) return false;
    value = number;
    return true;
}

bool split_scheme(std::string_view url, UrlParts& parts, std::string_view& rest) noexcept {
    const auto scheme_end = std::find_if_not(url.begin(), url.end(), is_scheme_character);
    const auto length = static_cast<size_t>(scheme_end - url.begin());
    if (length > 0 && length < url.size() && is_alpha(url.front()) && url[length] == ':') {
        parts.scheme = url.substr(0, length);
        parts.index = scheme_index(parts.scheme);
        rest = url.substr(length + 1);
        if (parts.index >= 0 || rest.starts_with("//")) return true;
    }
    parts.scheme = "file";
    parts.index = ZVPTC_INDEX_FILE;
    rest = url;
    return false;
}

int split_url(std::string_view url, UrlParts& parts) noexcept {
    if (url.empty()) return -EINVAL;
    std::string_view rest;
    if (!split_scheme(url, parts, rest)) {
        parts.path = rest;
        return 0;
    }
    return parts.index == ZVPTC_INDEX_FILE ? split_file(rest, parts) : split_network(rest, parts);
}

}  // namespace zvptc
