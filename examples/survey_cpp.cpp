// SPDX-License-Identifier: MIT
// A host in C++: what survey_c.c tells, or all that is known as JSON. It is built without exceptions
// and RTTI, which the survey's own use of them does not mind.
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <vector>

#include "zvsurvey.h"

namespace {

struct Free {
    void operator()(ZvSurvey* survey) const { zvsurvey_free(survey); }
};
using Survey = std::unique_ptr<ZvSurvey, Free>;

void print_event(void*, const ZvSurveyEvent* event) {
    std::printf("byte %" PRIu64, event->offset);
    if (event->pid != ZV_SURVEY_NONE) std::printf(", PID 0x%x", static_cast<unsigned>(event->pid));
    std::printf(": %s: %s\n", event->kind, event->message);
}

int write_json(void*, const char* text, size_t size) {
    return std::fwrite(text, 1, size, stdout) == size ? 0 : 1;
}

// Calls see(record, index) for each record that `get` has.
template <typename Record, typename See>
void for_each(int (*get)(const ZvSurvey*, size_t, Record*, size_t), const Survey& survey, See see) {
    Record record;
    for (size_t i = 0; get(survey.get(), i, &record, sizeof record); ++i)
        see(record, i);
}

void print_streams(const Survey& survey, size_t program) {
    ZvSurveyStream stream;
    for (size_t i = 0; zvsurvey_stream(survey.get(), program, i, &stream, sizeof stream); ++i) {
        std::printf("  0x%x %s %s", stream.pid, stream.kind,
                    stream.codec ? stream.codec : "unknown");
        if (stream.languages[0]) std::printf(" (%s)", stream.languages);
        std::puts("");
    }
}

void print_programs(const Survey& survey) {
    for_each(zvsurvey_service, survey, [](const ZvSurveyService& service, size_t) {
        std::printf("service %u \"%s\", %s\n", service.service_id, service.name, service.type_name);
    });
    for_each(zvsurvey_program, survey, [&](const ZvSurveyProgram& program, size_t index) {
        std::printf("program %u, PMT 0x%x", program.program_number, program.pmt_pid);
        if (program.pcr_pid != ZV_SURVEY_NONE)
            std::printf(", PCR 0x%x", static_cast<unsigned>(program.pcr_pid));
        std::puts("");
        print_streams(survey, index);
    });
}

void print_damage(const Survey& survey) {
    for_each(zvsurvey_pid, survey, [](const ZvSurveyPid& pid, size_t) {
        if (pid.continuity_errors == 0 && pid.transport_errors == 0) return;
        std::printf("PID 0x%x: continuity errors %" PRIu64 ", lost %" PRIu64
                    ", transport errors %" PRIu64 "\n",
                    pid.pid, pid.continuity_errors, pid.packets_lost, pid.transport_errors);
    });
    for_each(zvsurvey_sync_loss, survey, [](const ZvSurveySyncLoss& loss, size_t) {
        std::printf("sync lost at byte %" PRIu64 " for %" PRIu64 " bytes\n", loss.offset,
                    loss.skipped_bytes);
    });
    for_each(zvsurvey_crc_error, survey, [](const ZvSurveyCrcError& error, size_t) {
        std::printf("wrong CRC at byte %" PRIu64 ", PID 0x%x, table 0x%02x\n", error.offset,
                    error.pid, error.table_id);
    });
}

}  // namespace

int main(int argc, char** argv) {
    const bool json = argc == 3 && std::strcmp(argv[1], "--json") == 0;
    std::ifstream file(argc == 2 || json ? argv[argc - 1] : "", std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "usage: %s [--json] FILE\n", argv[0]);
        return 2;
    }
    ZvSurveyOptions options = {};
    options.size = sizeof options;
    if (!json) options.on_event = print_event;
    const Survey survey(zvsurvey_new(&options));

    bool whole = survey != nullptr;
    std::vector<char> chunk(1 << 18);
    while (whole &&
           (file.read(chunk.data(), static_cast<std::streamsize>(chunk.size())), file.gcount() > 0))
        whole = zvsurvey_feed(survey.get(), chunk.data(), static_cast<size_t>(file.gcount())) == 0;
    zvsurvey_finish(survey.get());

    if (json) return whole && zvsurvey_json(survey.get(), write_json, nullptr) == 0 ? 0 : 1;
    ZvSurveyTotals totals;
    if (!whole || !zvsurvey_totals(survey.get(), &totals, sizeof totals)) return 1;
    std::printf("%" PRIu32 "-byte packets: %" PRIu64 " in %" PRIu64 " bytes\n", totals.packet_size,
                totals.packets, totals.bytes);
    print_programs(survey);
    print_damage(survey);
    return 0;
}
