// SPDX-License-Identifier: MIT
// Owns the two exported splits: copies the parts of a URL into the fixed texts of the records,
// never beyond them, and decodes the path of a "file://" URL on the way.
#include "zvprotocol.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "zvprotocol/io.h"
#include "zvprotocol/url.h"

namespace zvptc {
namespace {

constexpr size_t kUrlRoom = sizeof(ZvptcUrlContext::url);
static_assert(sizeof(ZvptcUrlInfo::path) >= kUrlRoom && sizeof(ZvptcUrlInfo::query) >= kUrlRoom);

// The texts of a record that the parts go to.
struct Destination {
    std::span<char> scheme, userinfo, hostname, path, query;
    int32_t& port;
    int32_t& index;
};

constexpr char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

void store_scheme(std::string_view scheme, std::span<char> out) noexcept {
    const size_t length = std::min(scheme.size(), out.size() - 1);
    std::transform(scheme.begin(), scheme.begin() + static_cast<std::ptrdiff_t>(length),
                   out.begin(), to_lower);
}

int store_text(std::string_view text, std::span<char> out) noexcept {
    if (text.size() >= out.size()) return -ENAMETOOLONG;
    std::copy(text.begin(), text.end(), out.begin());
    return 0;
}

int hex_value(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = to_lower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Decodes %XX in place; a "%" that begins no such triple stands for itself. A decoded NUL would
// silently name another file.
int decode_path(std::span<char> path) noexcept {
    size_t out = 0;
    for (size_t in = 0; in < path.size() && path[in] != '\0'; ++out) {
        const int high = path[in] == '%' && in + 2 < path.size() ? hex_value(path[in + 1]) : -1;
        const int low = high >= 0 ? hex_value(path[in + 2]) : -1;
        if (low < 0) {
            path[out] = path[in++];
            continue;
        }
        if (high == 0 && low == 0) return -EINVAL;
        path[out] = static_cast<char>(high * 16 + low);
        in += 3;
    }
    std::fill(path.begin() + static_cast<std::ptrdiff_t>(out), path.end(), '\0');
    return 0;
}

int store_parts(const UrlParts& parts, const Destination& to) noexcept {
    int result = store_text(parts.userinfo, to.userinfo);
    if (result == 0) result = store_text(parts.host, to.hostname);
    if (result == 0) result = store_text(parts.path, to.path);
    if (result == 0) result = store_text(parts.query, to.query);
    if (result == 0 && parts.percent_encoded) result = decode_path(to.path);
    if (result == 0) to.port = parts.port;
    return result;
}

void clear_parts(const Destination& to) noexcept {
    for (const std::span<char> text : {to.userinfo, to.hostname, to.path, to.query})
        std::fill(text.begin(), text.end(), '\0');
    to.port = 0;
}

int split(const char* url, const Destination& to) noexcept {
    std::fill(to.scheme.begin(), to.scheme.end(), '\0');
    clear_parts(to);
    const std::string_view text(url, strnlen(url, kUrlRoom));
    UrlParts parts;
    int result = split_url(text, parts);
    if (text.size() == kUrlRoom) result = -ENAMETOOLONG;
    store_scheme(parts.scheme, to.scheme);
    to.index = parts.index;
    if (result == 0) result = store_parts(parts, to);
    if (result == 0) return 0;
    clear_parts(to);
    return failure(-result);
}

}  // namespace

}  // namespace zvptc

int zvptc_api_urlSplit_urlctt(ZvptcUrlContext* context) {
    if (!context) return zvptc::failure(EINVAL);
    return zvptc::split(context->url,
                        {context->protocol, context->userinfo, context->hostname, context->path,
                         context->query, context->port, context->ptc_index});
}

int zvptc_api_urlSplit_urlinfo(ZvptcUrlInfo* info, const char* url) {
    if (!info || !url) return zvptc::failure(EINVAL);
    return zvptc::split(url, {info->scheme, info->userinfo, info->hostname, info->path, info->query,
                              info->port, info->ptc_index});
}
