// SPDX-License-Identifier: MIT
// Implementation of json_report.h: what all formats have in common.
#include "json_report.h"

#include "bitStream.h"
#include "json_parts.h"

namespace zvprobe {
namespace {

constexpr int kIndent = 2;

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

}  // namespace

Json to_json(const SourceReport& report) {
    Json source;
    source["source"] = report.name;
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
    // Names from streams and of files need not be UTF-8.
    out << root.dump(kIndent, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace zvprobe
