// SPDX-License-Identifier: MIT
// Implementation of html.h.
#include "watch/http/html.h"

#include <cctype>
#include <cstdio>

namespace zvprobe {
namespace {

constexpr char kStyle[] =
    "body{font:15px sans-serif;margin:1em;color:#222}"
    "table{border-collapse:collapse}"
    "th,td{padding:.2em .8em;text-align:right;border-bottom:1px solid #ddd}"
    "th:first-child,td:first-child,th:last-child,td:last-child{text-align:left}"
    ".up{color:#070}.away{color:#b00}.totals{font-size:1.6em}";
constexpr char kRenewed_s[] = "5";

}  // namespace

std::string html_text(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '"')
            out += "&quot;";
        else
            out += c;
    }
    return out;
}

std::string path_part(std::string_view text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0 || c == '-' || c == '_' || c == '~') {
            out += c;
            continue;
        }
        char escaped[4];
        std::snprintf(escaped, sizeof escaped, "%%%02X", byte);
        out += escaped;
    }
    return out;
}

std::string html_page(std::string_view title, std::string_view body) {
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">";
    out.append("<meta http-equiv=\"refresh\" content=\"").append(kRenewed_s).append("\">");
    out.append("<title>").append(html_text(title)).append("</title>");
    out.append("<style>").append(kStyle).append("</style></head>\n<body>");
    return out.append(body).append("</body></html>\n");
}

}  // namespace zvprobe
