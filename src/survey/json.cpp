// SPDX-License-Identifier: MIT
// Implementation of json.h. Entries of lists are written one at a time, so that a stream of any shape
// needs little memory.
#include "survey/json.h"

#include <array>

#include "survey/codecs/subtitles.h"
#include "survey/json_history.h"
#include "survey/json_object.h"
#include "survey/json_text.h"
#include "survey/psi/names.h"

namespace zv::survey {

namespace {

std::string hex(Bytes bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

template <typename T>
Json or_null(const std::optional<T>& value) {
    return value ? Json(*value) : Json();
}

Json text_or_null(const char* text) {
    return text ? Json(text) : Json();
}

Json text_or_null(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

// How many entries the list at the end of an object lacks.
void add_left_out(Json& object, uint64_t count) {
    if (count > 0) object.add("left_out", count);
}

Json sync_json(const Survey& survey) {
    const FramingCounts& framing = survey.framing();
    Json losses = Json::array();
    for (const SyncLoss& loss : survey.sync_loss_list())
        losses.push_back({{"offset", loss.offset}, {"skipped_bytes", loss.skipped_bytes}});
    Json sync = {{"first_sync_offset", framing.first_sync_offset},
                 {"skipped_bytes", framing.skipped_bytes},
                 {"byte_errors", framing.byte_errors},
                 {"losses", framing.losses},
                 {"loss_list", losses}};
    add_left_out(sync, framing.losses - survey.sync_loss_list().size());
    return sync;
}

Json clock_json(const Survey& survey) {
    const Clock& clock = survey.timing().clock();
    const bool live = survey.timing().live();
    const bool known = live || clock.rate_known();
    return {{"source", live    ? "arrival"
                       : known ? "pcr"
                               : "none"},
            {"pcr_pid", live ? Json() : or_null(clock.pid())},
            {"duration_s", or_null(survey.duration_s())},
            {"bit_rate_bps", or_null(survey.bit_rate_bps())},
            {"constant_rate", live ? Json() : or_null(clock.constant_rate())}};
}

Json extremes_json(const Extremes& values, double unit) {
    if (values.empty()) return nullptr;
    return {{"min", values.least() * unit},
            {"mean", values.mean() * unit},
            {"max", values.most() * unit}};
}

Json bounds_json(const Extremes& values, double unit) {
    if (values.empty()) return nullptr;
    return {{"min", values.least() * unit}, {"max", values.most() * unit}};
}

constexpr double kMilliseconds = 1e3;  // of seconds

Json pts_json(const PidDetail& detail) {
    constexpr double kPtsHz = 90e3;
    if (detail.pts.count == 0) return nullptr;
    return {{"count", detail.pts.count},
            {"dts_count", detail.pts.dts_count},
            {"first_s", static_cast<double>(detail.pts.first) / kPtsHz},
            {"last_s", static_cast<double>(detail.pts.last) / kPtsHz},
            {"interval_ms", extremes_json(detail.timing.pts_intervals_s, kMilliseconds)},
            {"ahead_ms", bounds_json(detail.timing.ahead_s, kMilliseconds)}};
}

Json network_json(const Model& model) {
    if (!model.network_id()) return nullptr;
    return {{"network_id", *model.network_id()}, {"name", or_null(model.network_name())}};
}

Json utc_json(const Model& model) {
    if (model.utc_first().empty()) return nullptr;
    return {{"first", model.utc_first()}, {"last", model.utc_last()}};
}

Json service_json(const Service& service) {
    return {{"name", service.name},
            {"provider", or_null(service.provider)},
            {"type", service.type},
            {"type_name", text_or_null(service.type_name)}};
}

Json event_json(const std::optional<ServiceEvent>& event) {
    if (!event) return nullptr;
    return {{"title", event->title},
            {"start", text_or_null(event->start)},
            {"duration_s", or_null(event->duration_s)}};
}

// What is empty or 0 is not known.
Json number_if_known(auto number) {
    return number == 0 ? Json() : Json(number);
}

Json details_json(const VideoDetails& video) {
    return {{"width", number_if_known(video.width)},
            {"height", number_if_known(video.height)},
            {"frame_rate", number_if_known(video.frame_rate)},
            {"profile", text_or_null(std::string(video.profile))},
            {"level", text_or_null(std::string(video.level))},
            {"interlaced", video.interlaced < 0 ? Json() : Json(video.interlaced != 0)},
            {"bit_depth", number_if_known(video.bit_depth)},
            {"chroma", text_or_null(video.chroma)}};
}

Json details_json(const AudioDetails& audio) {
    return {{"sample_rate", number_if_known(audio.sample_rate)},
            {"channels", number_if_known(audio.channels)},
            {"bit_rate_bps", number_if_known(audio.bit_rate_bps)},
            {"profile", text_or_null(std::string(audio.profile))}};
}

Json details_json(const PidDetail* detail) {
    if (!detail || !detail->facts) return {};
    if (detail->facts->video) return details_json(*detail->facts->video);
    if (detail->facts->audio) return details_json(*detail->facts->audio);
    return {};
}

Json page_json(const SubtitlePage& page) {
    return {{"page", page.page},
            {"language", language_text(page.language)},
            {"use", page.subtitle ? "subtitle" : "teletext"},
            {"hearing_impaired", page.hearing_impaired}};
}

Json stream_json(const PmtView& pmt, const PmtStream& stream, const Pids& pids) {
    const StreamCodec codec = codec_of(pmt, stream, pids);
    Json json = {{"pid", stream.pid},
                 {"stream_type", stream.stream_type},
                 {"codec", text_or_null(codec_name(codec.codec))},
                 {"kind", kind_name(codec.kind)},
                 {"languages", languages_of(stream.descriptors)},
                 {"descriptors", hex(stream.descriptors)},
                 {"details", details_json(pids[stream.pid].detail.get())}};
    std::array<SubtitlePage, kMaxSubtitlePages> pages;
    const size_t count =
        codec.kind == Kind::kSubtitle ? declared_subtitles(stream.descriptors, pages) : 0;
    if (count == 0) return json;
    Json list = Json::array();
    for (size_t page = 0; page < count; ++page)
        list.push_back(page_json(pages[page]));
    json.add("pages", list);
    return json;
}

class SurveyWriter {
  public:
    SurveyWriter(const Survey& survey, const Description& description, const WriteText& write)
        : survey_(survey), model_(survey.model()), description_(description), out_(write) {}

    void write() {
        write_framing();
        write_model();
        write_pids();
        write_tables();
        write_crc_errors();
        write_indicators();
        out_.member("events", events_json());
        if (survey_.timing().history()) write_history(survey_, out_);
        out_.end();
    }

  private:
    void write_framing() {
        const FramingCounts& framing = survey_.framing();
        out_.member("packet_size", framing.packet_size ? Json(framing.packet_size) : Json());
        out_.member("bytes", survey_.bytes());
        out_.member("packets", framing.packets);
        out_.member("trailing_bytes", framing.trailing_bytes);
        out_.member("null_packets", survey_.null_packets());
        out_.member("transport_errors", survey_.transport_errors());
        out_.member("sync", sync_json(survey_));
        out_.member("clock", clock_json(survey_));
    }

    void write_model() {
        out_.member("transport_stream_id", or_null(model_.transport_stream_id()));
        out_.member("network", network_json(model_));
        out_.member("utc", utc_json(model_));
        out_.list("programs", [this](auto add) {
            for (const Program& program : model_.programs())
                add(program_json(program));
        });
        out_.left_out("programs_left_out", model_.programs_left_out());
        out_.left_out("service_events_left_out", model_.service_events_left_out());
    }

    Json program_json(const Program& program) const {
        const Service* const service = description_.service(program.number);
        Json version, descriptors = "", ca_system_ids = Json::array(), streams = Json::array();
        if (program.has_pmt()) {
            const PmtView pmt = program.view();
            version = Section(program.pmt).version();
            descriptors = hex(pmt.descriptors());
            ca_system_ids = ca_system_ids_of(pmt);
            pmt.for_each_stream([&](const PmtStream& stream) {
                streams.push_back(stream_json(pmt, stream, survey_.pids()));
            });
        }
        return {{"program_number", program.number},
                {"pmt_pid", program.pmt_pid},
                {"pmt_version", version},
                {"pcr_pid", or_null(program.pcr_pid())},
                {"service", service ? service_json(*service) : Json()},
                {"descriptors", descriptors},
                {"ca_system_ids", ca_system_ids},
                {"scrambled", is_scrambled(program, survey_.pids())},
                {"bit_rate_bps", or_null(survey_.bit_rate_of(packets_of(program, survey_.pids())))},
                {"now", event_json(model_.service_event(program.number, 0))},
                {"next", event_json(model_.service_event(program.number, 1))},
                {"streams", streams}};
    }

    void write_pids() {
        out_.list("pids", [this](auto add) {
            survey_.pids().for_each_seen(
                [&](uint16_t pid, const PidRecord& record) { add(pid_json(pid, record)); });
        });
    }

    Json pid_json(uint16_t pid, const PidRecord& record) const {
        const PidNaming& naming = description_.naming[pid];
        const PidDetail& detail = *record.detail;
        return {
            {"pid", pid},
            {"use", description_.naming.use(pid)},
            {"programs", naming.programs},
            {"stream_type", or_null(naming.stream_type)},
            {"codec", naming.stream_type ? text_or_null(codec_name(naming.codec.codec)) : Json()},
            {"packets", record.packets},
            {"bit_rate_bps", or_null(survey_.bit_rate_of(record.packets))},
            {"scrambled_packets", detail.scrambled_packets},
            {"transport_errors", detail.transport_errors},
            {"unit_starts", detail.unit_starts},
            {"random_access_points", detail.random_access_points},
            {"crc_errors", detail.crc_errors},
            {"continuity", continuity_json(pid, detail.continuity)},
            {"pcr", pid == kPidNull ? Json() : pcr_json(detail)},
            {"pts", pid == kPidNull ? Json() : pts_json(detail)},
            {"first_s", number_or_null(detail.timing.first_s)},
            {"last_s", number_or_null(detail.timing.last_s)}};
    }

    Json pcr_json(const PidDetail& detail) const {
        if (!detail.pcr) return nullptr;
        const bool constant = survey_.constant_rate();
        const Extremes none;
        return {
            {"count", detail.pcr->count()},
            {"interval_ms", extremes_json(detail.pcr->intervals_ticks(), kMilliseconds / kPcrHz)},
            {"jumps", detail.pcr->jumps()},
            {"signalled", detail.pcr->signalled()},
            {"accuracy_ns", bounds_json(constant ? detail.timing.deviations_ns : none, 1)},
            {"drift_ppm", constant ? or_null(survey_.drift_ppm(detail)) : Json()}};
    }

    static Json continuity_json(uint16_t pid, const ContinuityCounts& counts) {
        if (pid == kPidNull) return nullptr;
        return {{"errors", counts.errors},
                {"lost", counts.lost},
                {"duplicates", counts.duplicates},
                {"signalled", counts.signalled}};
    }

    void write_tables() {
        out_.list("tables", [this](auto add) {
            for (const auto& [key, record] : survey_.tables().records())
                add(table_json(key, record));
        });
        out_.left_out("tables_left_out", survey_.tables().sections_left_out());
        out_.left_out("sections_left_out", survey_.pids().sections_left_out());
    }

    static Json table_json(const TableKey& key, const TableRecord& record) {
        Json versions = Json::array();
        for (const uint8_t version : record.versions())
            versions.push_back(version);
        return {{"pid", key.pid},
                {"table_id", key.table_id},
                {"name", text_or_null(table_name(key.table_id))},
                {"extension", or_null(key.extension)},
                {"version", or_null(record.version())},
                {"versions", versions},
                {"sections", record.sections()},
                {"last_section_number", or_null(record.last_section_number())},
                {"interval_ms", extremes_json(record.timing.intervals_s, kMilliseconds)}};
    }

    void write_crc_errors() {
        out_.member("crc_errors", survey_.crc_errors());
        out_.list("crc_error_list", [this](auto add) {
            for (const CrcError& error : survey_.crc_error_list())
                add({{"offset", error.offset}, {"pid", error.pid}, {"table_id", error.table_id}});
        });
        out_.left_out("crc_error_list_left_out",
                      survey_.crc_errors() - survey_.crc_error_list().size());
    }

    void write_indicators() {
        out_.list("tr101290", [this](auto add) {
            for (size_t i = 0; i < kIndicators.size(); ++i)
                add(indicator_json(static_cast<Indicator>(i)));
        });
        out_.left_out("sub_tables_left_out", survey_.timing().judge().sub_tables_left_out());
        out_.left_out("tr101290_left_out", survey_.timing().unjudged());
    }

    Json indicator_json(Indicator indicator) const {
        const IndicatorName& name = kIndicators[static_cast<size_t>(indicator)];
        const IndicatorCount& counted = survey_.counted(indicator);
        const bool measured = survey_.measures(indicator);
        return {{"id", name.id},
                {"name", name.name},
                {"priority", name.priority()},
                {"measured", measured},
                {"count", measured ? Json(counted.count) : Json()},
                {"first_s", measured ? number_or_null(counted.first_s) : Json()},
                {"last_s", measured ? number_or_null(counted.last_s) : Json()}};
    }

    Json events_json() const {
        Json list = Json::array();
        const std::vector<Event> listed = survey_.events();
        const uint64_t total = survey_.event_count();
        for (const Event& event : listed) {
            const EventName name = name_of(event.kind);
            list.push_back({{"time_s", number_or_null(event.time_s)},
                            {"offset", event.offset},
                            {"pid", event.pid == kNoPid ? Json() : Json(event.pid)},
                            {"kind", name.name},
                            {"indicator", text_or_null(name.indicator)},
                            {"message", message_of(event)}});
        }
        Json events = {{"total", total}, {"list", list}};
        add_left_out(events, total - listed.size());
        return events;
    }

    const Survey& survey_;
    const Model& model_;
    const Description& description_;
    ObjectWriter out_;
};

}  // namespace

void write_json(const Survey& survey, const Description& description, const WriteText& write) {
    SurveyWriter(survey, description, write).write();
}

}  // namespace zv::survey
