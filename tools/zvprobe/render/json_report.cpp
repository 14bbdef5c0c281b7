// SPDX-License-Identifier: MIT
// Implementation of json_report.h: what all formats have in common.
#include "render/json_report.h"

#include <cstdio>
#include <utility>

#include "base/json.h"
#include "base/passwords.h"
#include "bitStream.h"

namespace zvprobe {
namespace {

constexpr int kIndent = 2;
constexpr int kOneLine = -1;

// Adds the format's name and, under that name, what is known.
struct ContentWriter {
    Json& source;

    void operator()(const std::monostate&) const { source["format"] = nullptr; }
    void operator()(const TsReport& report) const {
        source["format"] = "mpegts";
        source["mpegts"] = to_json(report);
    }
    void operator()(const FlvReport& report) const {
        source["format"] = "flv";
        source["flv"] = to_json(report);
    }
    void operator()(const MpegAudioReport& report) const {
        source["format"] = "mpeg_audio";
        source["mpeg_audio"] = to_json(report);
    }
};

// C1 control characters take two bytes, of which this is the first.
constexpr char kC1Lead = '\xC2';

bool is_delete_or_c1(std::string_view text) {
    return text[0] == '\x7F' || (text.size() > 1 && text[0] == kC1Lead && text[1] < '\xA0');
}

}  // namespace

// The JSON library escapes what is below U+0020. Outside of strings there are no such characters.
std::string json_text(const Json& json, int indent) {
    const std::string plain = json.dump(indent, ' ', false, Json::error_handler_t::replace);
    std::string out;
    for (std::string_view rest = plain; !rest.empty(); rest.remove_prefix(1)) {
        if (is_delete_or_c1(rest)) {
            if (rest[0] == kC1Lead) rest.remove_prefix(1);
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<uint8_t>(rest[0]));
            out += escaped;
        } else {
            out += rest[0];
        }
    }
    return out;
}

Json to_json(const SourceReport& report) {
    Json source;
    source["source"] = without_passwords(report.name);
    source["interrupted"] = report.interrupted;
    if (report.failure) {
        source["error"] = {{"kind", report.failure->kind}, {"message", report.failure->message}};
    } else {
        source["error"] = nullptr;
    }
    std::visit(ContentWriter{source}, report.content);
    return source;
}

void print_json(std::ostream& out, const std::vector<SourceReport>& reports) {
    Json root;
    root["schema"] = kJsonSchema;
    root["library_version"] = zvbitStream_api_version();
    root["sources"] = Json::array();
    for (const SourceReport& report : reports)
        root["sources"].push_back(to_json(report));
    out << json_text(root, kIndent) << '\n';
}

std::string json_line(const SourceReport& report, size_t index, ExitStatus status) {
    Json line = {{"schema", kJsonSchema},
                 {"library_version", zvbitStream_api_version()},
                 {"index", index},
                 {"status", static_cast<int>(status)}};
    Json source = to_json(report);
    for (auto& [name, value] : source.items())
        line[name] = std::move(value);  // update() would copy all of it
    return json_text(line, kOneLine);
}

}  // namespace zvprobe
