// SPDX-License-Identifier: MIT
// Implementation of page_report.h.
#include "render/page/page_report.h"

#include <string_view>

#include "bitStream.h"
#include "render/page/page_data.h"
#include "render/page/page_parts.h"

namespace zvprobe {
namespace {

// What a page that renews itself may do besides: ask where it came from.
constexpr std::string_view kMayAsk = "; connect-src 'self'";

constexpr size_t kRoomForFrame = 512;  // of the data: what stands around the sources

// The JSON with no character that a reader of HTML or of scripts takes for anything but text. They
// can stand only in its strings, where the escapes mean the same.
std::string escaped(const std::string& json) {
    constexpr std::string_view kLineSeparators = "\xE2\x80";  // U+2028 and U+2029, less one byte
    std::string out;
    out.reserve(json.size() + json.size() / 16);
    for (size_t i = 0; i < json.size(); ++i) {
        const char c = json[i];
        const bool separates = json.compare(i, 2, kLineSeparators) == 0 && i + 2 < json.size() &&
                               (json[i + 2] == '\xA8' || json[i + 2] == '\xA9');
        if (separates) {
            out += json[i + 2] == '\xA8' ? "\\u2028" : "\\u2029";
            i += 2;
        } else if (c == '<' || c == '>' || c == '&') {
            out += c == '<' ? "\\u003c" : c == '>' ? "\\u003e" : "\\u0026";
        } else {
            out += c;
        }
    }
    return out;
}

// -> as much about the source as there is room for, empty when that is nothing
std::string source_text(const SourceReport& report, size_t room) {
    for (unsigned level = 0; level <= PageBounds::kLastLevel; ++level) {
        std::string text = escaped(json_text(page_data(report, PageBounds::at(level)), -1));
        if (text.size() <= room) return text;
    }
    return {};
}

}  // namespace

std::string page_of(std::span<const SourceReport> reports, const Json& live) {
    const std::string live_text = escaped(json_text(live, -1));
    size_t room = kMostOfPage - kPageBeforeData.size() - kPageAfterData.size() - kRoomForFrame -
                  live_text.size();
    std::string sources;
    size_t left_out = 0;
    for (size_t i = 0; i < reports.size(); ++i) {
        const size_t share = room / (reports.size() - i);
        const std::string text = share > 0 ? source_text(reports[i], share - 1) : "";
        if (text.empty()) {
            ++left_out;
            continue;
        }
        room -= text.size() + 1;
        sources += (sources.empty() ? "" : ",") + text;
    }
    std::string page(kPageBeforeData);
    if (!live.is_null()) page.insert(page.find(kPagePolicy) + kPagePolicy.size(), kMayAsk);
    page += "{\"library_version\":\"" + std::string(zvbitStream_api_version()) +
            "\",\"live\":" + live_text + ",\"sources_left_out\":" + std::to_string(left_out) +
            ",\"sources\":[" + sources + "]}";
    return page += kPageAfterData;
}

std::string live_page_policy() {
    return std::string(kPagePolicy).append(kMayAsk);
}

}  // namespace zvprobe
