// SPDX-License-Identifier: MIT
// The C interface of zvsurvey.h: what a survey knows, as plain records.
#include <algorithm>
#include <optional>

#include "survey/api.h"
#include "survey/psi/names.h"

using namespace zv::survey;

namespace {

const char* text_or_null(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

template <typename T>
int32_t number_or_none(const std::optional<T>& number) {
    return number ? static_cast<int32_t>(*number) : ZV_SURVEY_NONE;
}

double value_or_nan(const std::optional<double>& value) {
    return value.value_or(kNoTime);
}

struct Bounds {
    double least, mean, most;
};

Bounds bounds_of(const Extremes& values, double unit) {
    if (values.empty()) return {kNoTime, kNoTime, kNoTime};
    return {values.least() * unit, values.mean() * unit, values.most() * unit};
}

const char* known_text(const char* text) {
    return text && text[0] ? text : nullptr;
}

// What the stream's own bytes say; the texts are the survey's.
void fill_details(const PidDetail* detail, ZvSurveyStream& out) {
    out.interlaced = ZV_SURVEY_NONE;
    if (!detail || !detail->facts) return;
    if (detail->facts->video) {
        const VideoDetails& video = *detail->facts->video;
        out.width = video.width;
        out.height = video.height;
        out.frame_rate = video.frame_rate;
        out.profile = known_text(video.profile);
        out.level = known_text(video.level);
        if (video.interlaced >= 0) out.interlaced = video.interlaced != 0;
        out.bit_depth = video.bit_depth;
        out.chroma = video.chroma;
    } else if (detail->facts->audio) {
        const AudioDetails& audio = *detail->facts->audio;
        out.profile = known_text(audio.profile);
        out.sample_rate = audio.sample_rate;
        out.channels = audio.channels;
        out.audio_bit_rate_bps = audio.bit_rate_bps;
    }
}

// A damaged code must not look like two.
std::string without_commas(std::string language) {
    std::ranges::replace(language, ',', '?');
    return language;
}

struct EventFields {
    const char* title = nullptr;
    const char* start = nullptr;
    int64_t duration_s = ZV_SURVEY_NONE;
};

EventFields fields_of(const std::optional<ServiceEvent>& event) {
    if (!event) return {};
    return {event->title.c_str(), known_text(event->start.c_str()),
            event->duration_s ? int64_t{*event->duration_s} : ZV_SURVEY_NONE};
}

// The clock's part of a PID's record.
void fill_times(const Survey& survey, const PidDetail& detail, ZvSurveyPid& out) {
    constexpr double kPtsHz = 90e3;
    const bool constant = survey.constant_rate();
    out.first_s = detail.timing.first_s;
    out.last_s = detail.timing.last_s;
    out.pcrs = detail.pcr ? detail.pcr->count() : 0;
    out.pcr_jumps = detail.pcr ? detail.pcr->jumps() : 0;
    out.pcr_signalled = detail.pcr ? detail.pcr->signalled() : 0;
    const Bounds pcr =
        bounds_of(detail.pcr ? detail.pcr->intervals_ticks() : Extremes(), 1 / kPcrHz);
    out.pcr_interval_min_s = pcr.least;
    out.pcr_interval_mean_s = pcr.mean;
    out.pcr_interval_max_s = pcr.most;
    const Bounds off = bounds_of(constant ? detail.timing.deviations_ns : Extremes(), 1);
    out.pcr_accuracy_min_ns = off.least;
    out.pcr_accuracy_max_ns = off.most;
    out.pcr_drift_ppm = constant ? value_or_nan(survey.drift_ppm(detail)) : kNoTime;
    out.pts = detail.pts.count;
    out.dts = detail.pts.dts_count;
    const bool has_pts = detail.pts.count > 0;
    out.pts_first_s = has_pts ? static_cast<double>(detail.pts.first) / kPtsHz : kNoTime;
    out.pts_last_s = has_pts ? static_cast<double>(detail.pts.last) / kPtsHz : kNoTime;
    const Bounds pts = bounds_of(detail.timing.pts_intervals_s, 1);
    out.pts_interval_min_s = pts.least;
    out.pts_interval_mean_s = pts.mean;
    out.pts_interval_max_s = pts.most;
    const Bounds ahead = bounds_of(detail.timing.ahead_s, 1);
    out.pts_ahead_min_s = ahead.least;
    out.pts_ahead_max_s = ahead.most;
}

}  // namespace

ZvSurveyEvent zv::survey::to_record(const Event& event, const std::string& message) {
    const EventName name = name_of(event.kind);
    return {event.time_s, event.offset, event.pid, name.name, name.indicator, message.c_str()};
}

int zvsurvey_totals(const ZvSurvey* survey, ZvSurveyTotals* out, size_t size) {
    if (!survey || !out) return 0;
    return guarded(0, [&] {
        const Survey& s = survey->survey;
        const zv::FramingCounts& framing = s.framing();
        survey->network_name = s.model().network_name();
        ZvSurveyTotals totals = {};
        totals.packet_size = static_cast<uint32_t>(framing.packet_size);
        totals.bytes = s.bytes();
        totals.packets = framing.packets;
        totals.trailing_bytes = framing.trailing_bytes;
        totals.null_packets = s.null_packets();
        totals.transport_errors = s.transport_errors();
        totals.first_sync_offset = framing.first_sync_offset;
        totals.skipped_bytes = framing.skipped_bytes;
        totals.byte_errors = framing.byte_errors;
        totals.sync_losses = framing.losses;
        totals.crc_errors = s.crc_errors();
        s.pids().for_each_seen([&](uint16_t, const PidRecord& record) {
            totals.continuity_errors += record.detail->continuity.errors;
            totals.packets_lost += record.detail->continuity.lost;
            ++totals.pids;
        });
        totals.transport_stream_id = number_or_none(s.model().transport_stream_id());
        totals.network_id = number_or_none(s.model().network_id());
        totals.network_name = text_or_null(survey->network_name);
        const bool has_utc = !s.model().utc_first().empty();
        totals.utc_first = has_utc ? s.model().utc_first().c_str() : nullptr;
        totals.utc_last = has_utc ? s.model().utc_last().c_str() : nullptr;
        totals.programs = s.model().programs().size();
        totals.services = survey->description().services.size();
        totals.tables = s.tables().records().size();
        totals.events = s.event_count();
        const Clock& clock = s.timing().clock();
        const bool live = s.timing().live();
        totals.clock_source = live ? "arrival" : clock.rate_known() ? "pcr" : "none";
        totals.clock_pcr_pid = live ? ZV_SURVEY_NONE : number_or_none(clock.pid());
        totals.constant_rate = live ? ZV_SURVEY_NONE : number_or_none(clock.constant_rate());
        totals.duration_s = value_or_nan(s.duration_s());
        totals.bit_rate_bps = value_or_nan(s.bit_rate_bps());
        totals.indicators = kIndicators.size();
        totals.unjudged = s.timing().unjudged();
        return fill(out, size, totals);
    });
}

int zvsurvey_program(const ZvSurvey* survey, size_t index, ZvSurveyProgram* out, size_t size) {
    if (!survey || !out || index >= survey->survey.model().programs().size()) return 0;
    return guarded(0, [&] {
        const Program& program = survey->survey.model().programs()[index];
        ZvSurveyProgram record = {};
        record.program_number = program.number;
        record.pmt_pid = program.pmt_pid;
        record.pmt_version = ZV_SURVEY_NONE;
        record.pcr_pid = number_or_none(program.pcr_pid());
        record.service_type = ZV_SURVEY_NONE;
        record.bit_rate_bps =
            value_or_nan(survey->survey.bit_rate_of(packets_of(program, survey->survey.pids())));
        if (const Service* const service = survey->description().service(program.number)) {
            record.service_name = service->name.c_str();
            record.service_provider = text_or_null(service->provider);
            record.service_type = service->type;
            record.service_type_name = service->type_name;
        }
        const Model& model = survey->survey.model();
        survey->now = model.service_event(program.number, 0);
        survey->next = model.service_event(program.number, 1);
        const EventFields now = fields_of(survey->now);
        const EventFields next = fields_of(survey->next);
        record.now_title = now.title;
        record.now_start = now.start;
        record.now_duration_s = now.duration_s;
        record.next_title = next.title;
        record.next_start = next.start;
        record.next_duration_s = next.duration_s;
        if (program.has_pmt()) {
            const PmtView pmt = program.view();
            record.pmt_version = Section(program.pmt).version();
            record.descriptors = pmt.descriptors().data();
            record.descriptors_size = pmt.descriptors().size();
            survey->ca_system_ids = ca_system_ids_of(pmt);
            record.ca_system_ids = survey->ca_system_ids.data();
            record.ca_system_id_count = survey->ca_system_ids.size();
            record.scrambled = is_scrambled(program, survey->survey.pids());
            pmt.for_each_stream([&](const PmtStream&) { ++record.streams; });
        }
        return fill(out, size, record);
    });
}

int zvsurvey_stream(const ZvSurvey* survey, size_t program, size_t index, ZvSurveyStream* out,
                    size_t size) {
    if (!survey || !out || program >= survey->survey.model().programs().size()) return 0;
    const Program& of = survey->survey.model().programs()[program];
    if (!of.has_pmt()) return 0;
    return guarded(0, [&] {
        const PmtView pmt = of.view();
        std::optional<PmtStream> wanted;
        size_t at = 0;
        pmt.for_each_stream([&](const PmtStream& stream) {
            if (at++ == index) wanted = stream;
        });
        if (!wanted) return 0;
        const StreamCodec found = codec_of(pmt, *wanted, survey->survey.pids());
        survey->languages.clear();
        for (const std::string& language : languages_of(wanted->descriptors))
            survey->languages += (survey->languages.empty() ? "" : ",") + without_commas(language);
        ZvSurveyStream record = {};
        record.pid = wanted->pid;
        record.stream_type = wanted->stream_type;
        record.codec = codec_name(found.codec);
        record.kind = kind_name(found.kind);
        record.languages = survey->languages.c_str();
        record.descriptors = wanted->descriptors.data();
        record.descriptors_size = wanted->descriptors.size();
        fill_details(survey->survey.pids()[wanted->pid].detail.get(), record);
        return fill(out, size, record);
    });
}

int zvsurvey_service(const ZvSurvey* survey, size_t index, ZvSurveyService* out, size_t size) {
    if (!survey || !out) return 0;
    return guarded(0, [&] {
        const std::vector<Service>& services = survey->description().services;
        if (index >= services.size()) return 0;
        const Service& service = services[index];
        const ZvSurveyService record = {service.id, service.name.c_str(),
                                        text_or_null(service.provider), service.type,
                                        service.type_name};
        return fill(out, size, record);
    });
}

int zvsurvey_pid_by_number(const ZvSurvey* survey, uint16_t pid, ZvSurveyPid* out, size_t size) {
    if (!survey || !out || pid >= zv::kPidCount || !survey->survey.pids().seen(pid)) return 0;
    return guarded(0, [&] {
        const PidRecord& record = survey->survey.pids()[pid];
        const PidDetail& detail = *record.detail;
        const PidNaming& naming = survey->description().naming[pid];
        ZvSurveyPid filled = {};
        filled.pid = pid;
        filled.use = survey->description().naming.use(pid);
        filled.stream_type = number_or_none(naming.stream_type);
        filled.codec = naming.stream_type ? codec_name(naming.codec.codec) : nullptr;
        filled.packets = record.packets;
        filled.scrambled_packets = detail.scrambled_packets;
        filled.transport_errors = detail.transport_errors;
        filled.unit_starts = detail.unit_starts;
        filled.random_access_points = detail.random_access_points;
        filled.crc_errors = detail.crc_errors;
        filled.continuity_errors = detail.continuity.errors;
        filled.packets_lost = detail.continuity.lost;
        filled.duplicates = detail.continuity.duplicates;
        filled.signalled = detail.continuity.signalled;
        filled.bit_rate_bps = value_or_nan(survey->survey.bit_rate_of(record.packets));
        fill_times(survey->survey, detail, filled);
        return fill(out, size, filled);
    });
}

int zvsurvey_pid(const ZvSurvey* survey, size_t index, ZvSurveyPid* out, size_t size) {
    if (!survey) return 0;
    const int found = guarded(-1, [&] {
        int at = -1;
        survey->survey.pids().for_each_seen([&](uint16_t pid, const PidRecord&) {
            if (index-- == 0) at = pid;
        });
        return at;
    });
    return found < 0 ? 0 : zvsurvey_pid_by_number(survey, static_cast<uint16_t>(found), out, size);
}

int zvsurvey_table(const ZvSurvey* survey, size_t index, ZvSurveyTable* out, size_t size) {
    if (!survey || !out) return 0;
    return guarded(0, [&] {
        const auto& records = survey->survey.tables().records();
        auto& order = survey->table_order;
        if (order.size() != records.size()) {
            order.clear();
            for (const auto& entry : records)
                order.push_back(&entry);
        }
        if (index >= order.size()) return 0;
        const auto& [key, record] = *order[index];
        const Bounds intervals = bounds_of(record.timing.intervals_s, 1);
        const ZvSurveyTable filled = {key.pid,
                                      key.table_id,
                                      table_name(key.table_id),
                                      number_or_none(key.extension),
                                      number_or_none(record.version()),
                                      number_or_none(record.last_section_number()),
                                      record.sections(),
                                      intervals.least,
                                      intervals.mean,
                                      intervals.most};
        return fill(out, size, filled);
    });
}

int zvsurvey_indicator(const ZvSurvey* survey, size_t index, ZvSurveyIndicator* out, size_t size) {
    if (!survey || !out || index >= kIndicators.size()) return 0;
    const auto indicator = static_cast<Indicator>(index);
    const IndicatorName& name = kIndicators[index];
    const IndicatorCount& counted = survey->survey.counted(indicator);
    const bool measured = survey->survey.measures(indicator);
    return fill(out, size,
                ZvSurveyIndicator{
                    name.id, name.name, name.priority(), measured, measured ? counted.count : 0,
                    measured ? counted.first_s : kNoTime, measured ? counted.last_s : kNoTime});
}

int zvsurvey_crc_error(const ZvSurvey* survey, size_t index, ZvSurveyCrcError* out, size_t size) {
    if (!survey || !out || index >= survey->survey.crc_error_list().size()) return 0;
    const CrcError& error = survey->survey.crc_error_list()[index];
    return fill(out, size, ZvSurveyCrcError{error.offset, error.pid, error.table_id});
}

int zvsurvey_sync_loss(const ZvSurvey* survey, size_t index, ZvSurveySyncLoss* out, size_t size) {
    if (!survey || !out || index >= survey->survey.sync_loss_list().size()) return 0;
    const SyncLoss& loss = survey->survey.sync_loss_list()[index];
    return fill(out, size, ZvSurveySyncLoss{loss.offset, loss.skipped_bytes});
}

int zvsurvey_event(const ZvSurvey* survey, size_t index, ZvSurveyEvent* out, size_t size) {
    if (!survey || !out || index >= EventLog::kMostListed) return 0;
    return guarded(0, [&] {
        const std::vector<Event> events = survey->survey.events();
        if (index >= events.size()) return 0;
        survey->event_message = message_of(events[index]);
        return fill(out, size, to_record(events[index], survey->event_message));
    });
}
