// SPDX-License-Identifier: MIT
// Implementation of survey_compare.h.
#include "parts/survey_compare.h"

#include <cmath>
#include <optional>

#include "reference/survey_reference.h"
#include "support/history_check.h"
#include "zvsurvey.h"

namespace fuzz {
namespace {

using Json = nlohmann::ordered_json;

// How far numbers of a member may be apart: a part of the value, and not less than so much.
struct Tolerance {
    double relative = 1e-6;
    double least = 1e-6;
};

Tolerance tolerance_of(const std::string& member, Tolerance outer) {
    if (member == "accuracy_ns") return {0.02, 0.01};
    if (member == "drift_ppm") return {0.02, 1e-3};
    if (member.ends_with("_ms")) return {1e-6, 1e-3};
    return outer;
}

std::string differ(const Json& reference, const Json& survey) {
    return ": reference " + reference.dump().substr(0, 200) + ", survey " +
           survey.dump().substr(0, 200);
}

// A finished survey.
class Surveyed {
  public:
    // span_s  in  what a history keeps of the latest time, 0 for all of it; nothing: none is kept
    Surveyed(std::span<const uint8_t> bytes, PieceSizes sizes, size_t scale,
             std::optional<uint32_t> span_s) {
        ZvSurveyOptions options = {};
        options.size = sizeof options;
        options.history = span_s.has_value();
        options.history_span_s = span_s.value_or(0);
        survey_ = zvsurvey_new(&options);
        require(survey_, "there is memory");
        for (size_t pieces = 0; !bytes.empty(); ++pieces) {
            const size_t size = std::min(bytes.size(), sizes.next() * scale + (pieces & 1));
            ExactBytes piece(bytes.first(size));
            require(zvsurvey_feed(survey_, piece.data(), piece.size()) == 0, "any bytes are taken");
            bytes = bytes.subspan(size);
        }
        zvsurvey_finish(survey_);
    }
    ~Surveyed() { zvsurvey_free(survey_); }
    Surveyed(const Surveyed&) = delete;
    Surveyed& operator=(const Surveyed&) = delete;

    ZvSurvey* operator*() const { return survey_; }

    std::string json() const {
        std::string text;
        const auto add = [](void* to, const char* part, size_t size) {
            static_cast<std::string*>(to)->append(part, size);
            return 0;
        };
        require(zvsurvey_json(survey_, add, &text) == 0, "JSON can be written");
        return text;
    }

  private:
    ZvSurvey* survey_ = nullptr;
};

std::string difference(const Json& reference, const Json& survey, Tolerance tolerance);

std::string differing_member(const Json& reference, const Json& survey, Tolerance tolerance) {
    for (const auto& [name, value] : reference.items()) {
        if (!survey.contains(name)) return "." + name + " is missing";
        const auto found = difference(value, survey[name], tolerance_of(name, tolerance));
        if (!found.empty()) return "." + name + found;
    }
    return "";
}

std::string differing_entry(const Json& reference, const Json& survey, Tolerance tolerance) {
    for (size_t i = 0; i < reference.size(); ++i) {
        const auto found = difference(reference[i], survey[i], tolerance);
        if (!found.empty()) return "[" + std::to_string(i) + "]" + found;
    }
    return "";
}

bool close(double reference, double survey, Tolerance tolerance) {
    const double most = std::max(tolerance.least, tolerance.relative * std::abs(reference));
    return std::abs(reference - survey) <= most;
}

// What becomes of bytes that are no characters is left to the text decoder's own test.
bool is_undecodable(const Json& text) {
    return text.is_string() &&
           text.get_ref<const std::string&>().find("\xEF\xBF\xBD") != std::string::npos;
}

std::string difference(const Json& reference, const Json& survey, Tolerance tolerance) {
    if (is_undecodable(reference) && survey.is_string()) return "";
    if (reference.is_object() && survey.is_object())
        return differing_member(reference, survey, tolerance);
    if (reference.is_array() && survey.is_array() && reference.size() == survey.size())
        return differing_entry(reference, survey, tolerance);
    const bool exact = !reference.is_number_float() && !survey.is_number_float();
    const bool equal = exact || !reference.is_number() || !survey.is_number()
                           ? reference == survey
                           : close(reference.get<double>(), survey.get<double>(), tolerance);
    return equal ? "" : differ(reference, survey);
}

void require_clock(const ZvSurveyTotals& survey, const ReferenceTiming& reference) {
    require((survey.clock_source[0] == 'p') == reference.has_clock, "both find a clock or none");
    if (!reference.has_clock) return require(std::isnan(survey.bit_rate_bps), "no clock, no rate");
    const int constant = reference.constant_rate ? *reference.constant_rate : ZV_SURVEY_NONE;
    require(survey.clock_pcr_pid == reference.pcr_pid, "the clock is the same PID's");
    require(survey.constant_rate == constant, "both find the rate constant or not");
    require(close(reference.bit_rate_bps, survey.bit_rate_bps, {}), "the rate is the same");
    require(close(reference.duration_s, survey.duration_s, {}), "the duration is the same");
}

void require_indicator(const ZvSurveyIndicator& survey, const ReferenceTiming& reference) {
    const auto found = reference.indicators.find(survey.id);
    if (!survey.measured) return;
    const uint64_t count = found == reference.indicators.end() ? 0 : found->second.count;
    require(survey.count == count, survey.name);
    if (count == 0 || !reference.has_clock) return require(std::isnan(survey.first_s), survey.name);
    require(close(found->second.first_s, survey.first_s, {}), survey.name);
    require(close(found->second.last_s, survey.last_s, {}), survey.name);
}

// A history of the latest time is the end of the whole one.
void require_window(const nlohmann::json& whole, std::span<const uint8_t> bytes, PieceSizes sizes,
                    size_t scale) {
    constexpr uint32_t kSpan = 1;
    const auto latest = nlohmann::json::parse(Surveyed(bytes, sizes, scale, kSpan).json());
    std::string wrong = zvtest::HistoryCheck(latest, kSpan).run();
    require(wrong.empty(), ("the latest history adds up: " + wrong).c_str());
    wrong = zvtest::WindowCheck(latest.at("history"), whole.at("history"), false).run();
    require(wrong.empty(), ("the latest history is the end of all: " + wrong).c_str());
}

}  // namespace

std::string difference(const Json& reference, const Json& survey) {
    if (reference.is_null()) return survey["packet_size"].is_null() ? "" : ": no transport stream";
    return difference(reference, survey, Tolerance{});
}

Json survey_in_pieces(std::span<const uint8_t> bytes, PieceSizes sizes, size_t scale) {
    const std::string text = Surveyed(bytes, sizes, scale, 0).json();
    // What the reference does not have: it adds up to what both have.
    const nlohmann::json made = nlohmann::json::parse(text);
    const std::string wrong = zvtest::HistoryCheck(made).run();
    require(wrong.empty(), ("the history adds up to the totals: " + wrong).c_str());
    // Of shorter streams nothing is dropped.
    if (made.at("history").at("step_s") > 0.1) require_window(made, bytes, sizes, scale);
    return Json::parse(text);
}

void require_as_reference(std::span<const uint8_t> bytes, PieceSizes sizes, size_t scale) {
    const std::string found =
        difference(survey_reference(bytes), survey_in_pieces(bytes, sizes, scale));
    if (!found.empty() && survey_reference_timing(bytes)->undecided) return;
    require(found.empty(), ("the survey says what the reference says" + found).c_str());
}

bool require_timing_as_reference(std::span<const uint8_t> bytes, PieceSizes sizes, size_t scale) {
    const auto reference = survey_reference_timing(bytes);
    if (reference && reference->undecided) return false;
    const Surveyed survey(bytes, sizes, scale, std::nullopt);
    ZvSurveyTotals totals;
    require(zvsurvey_totals(*survey, &totals, sizeof totals) == 1, "there are totals");
    require((totals.packet_size > 0) == reference.has_value(), "both find packets or none");
    if (!reference) return true;
    require_clock(totals, *reference);
    ZvSurveyIndicator indicator;
    for (size_t i = 0; zvsurvey_indicator(*survey, i, &indicator, sizeof indicator) == 1; ++i)
        require_indicator(indicator, *reference);
    return true;
}

}  // namespace fuzz
