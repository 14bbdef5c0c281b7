// SPDX-License-Identifier: MIT
// Implementation of passwords.h.
#include "base/passwords.h"

#include <algorithm>

#include "base/numbers.h"

namespace zvprobe {
namespace {

constexpr std::string_view kHidden = "***";
constexpr std::string_view kAuthority = "://";
constexpr std::string_view kDigits = "0123456789";
constexpr size_t kLongestUrl = 4096;

// What stands before the "@" of these is the sender of a group, or an interface.
bool takes_sender(std::string_view before) {
    return before.ends_with("udp") || before.ends_with("rtp") || before.ends_with("UDP") ||
           before.ends_with("RTP");
}

// rest: from the end of the "://" on
// -> where the "@" is; npos when there is none
size_t end_of_user(std::string_view rest) {
    rest = rest.substr(0, kLongestUrl);
    const size_t at = rest.substr(0, rest.find_first_of("/?#")).rfind('@');
    if (at != rest.npos) return at;
    // A password that holds one of those, which should have been escaped: no port is like that.
    const size_t colon = rest.find(':');
    const size_t after_port = rest.find_first_not_of(kDigits, colon == rest.npos ? 0 : colon + 1);
    const size_t slash = rest.find_first_of("/?#");
    if (colon == rest.npos || slash == rest.npos || colon > slash || rest.starts_with('[') ||
        after_port == slash)
        return rest.npos;
    return rest.substr(0, rest.find(' ')).rfind('@');
}

}  // namespace

std::string without_passwords(std::string_view text) {
    std::string out;
    for (size_t found; (found = text.find(kAuthority)) != text.npos;) {
        const std::string_view before = text.substr(0, found);
        out.append(before).append(kAuthority);
        text.remove_prefix(found + kAuthority.size());
        const size_t at = takes_sender(before) ? text.npos : end_of_user(text);
        if (at == text.npos) continue;
        out.append(kHidden);
        text.remove_prefix(at);
    }
    return out.append(text);
}

std::string without_query_values(std::string_view url) {
    const size_t fragment = std::min(url.find('#'), url.size());
    const size_t query = url.substr(0, fragment).find('?');
    if (query == url.npos) return std::string(url);
    std::string out(url.substr(0, query));
    char before = '?';
    for (const std::string_view part : split(url.substr(query + 1, fragment - query - 1), '&')) {
        const size_t equals = part.find('=');
        out += before;
        if (equals != part.npos) out.append(part.substr(0, equals + 1));
        if (!part.empty()) out.append(kHidden);
        before = '&';
    }
    return out.append(url.substr(fragment));
}

}  // namespace zvprobe
