// SPDX-License-Identifier: MIT
// Implementation of html.h.
#include "watch/http/html.h"

#include <cctype>
#include <cstdio>

#include "render/page/page_parts.h"

namespace zvprobe {
namespace {

constexpr char kStyle[] =
    "body{font:15px sans-serif;margin:1em;color:#222}"
    "table{border-collapse:collapse}"
    "th,td{padding:.2em .8em;text-align:right;border-bottom:1px solid #ddd}"
    "th:first-child,td:first-child,th:nth-last-child(-n+2),td:nth-last-child(-n+2){text-align:left}"
    ".up{color:#070}.away{color:#b00}.totals{font-size:1.6em}"
    "#note{position:sticky;top:0;z-index:1;margin:0;background:#b00;color:#fff;font-size:1.6em}"
    "#note:not(:empty){padding:.3em .5em}#note:not(:empty)~*{opacity:.5}";
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
    out.append("<noscript><meta http-equiv=\"refresh\" content=\"").append(kRenewed_s);
    out.append("\"></noscript><link rel=\"icon\" href=\"data:,\">");
    out.append("<title>").append(html_text(title)).append("</title>");
    out.append("<style>").append(kStyle).append("</style></head>\n<body>");
    out.append("<p id=\"note\" role=\"status\"></p>").append(body);
    out.append("<script>").append(kOverviewScript);
    return out.append("</script></body></html>\n");
}

std::string html_page_policy() {
    return "default-src 'none'; style-src 'unsafe-inline'; img-src data:; script-src 'sha256-" +
           std::string(kOverviewScriptHash) + "'; connect-src 'self'; base-uri 'none'; " +
           "form-action 'none'; frame-ancestors 'none'";
}

}  // namespace zvprobe
