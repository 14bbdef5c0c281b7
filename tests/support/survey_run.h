// SPDX-License-Identifier: MIT
// Surveys a stream and gives what a host would read of it: the JSON, parsed.
#pragma once

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "zvsurvey.h"

namespace zvtest {

class SurveyRun {
  public:
    SurveyRun() : SurveyRun(nullptr) {}
    explicit SurveyRun(const ZvSurveyOptions* options) : survey_(zvsurvey_new(options)) {
        if (!survey_) throw std::bad_alloc();
    }
    ~SurveyRun() { zvsurvey_free(survey_); }
    SurveyRun(const SurveyRun&) = delete;
    SurveyRun& operator=(const SurveyRun&) = delete;

    SurveyRun& feed(std::span<const uint8_t> bytes) {
        if (zvsurvey_feed(survey_, bytes.data(), bytes.size()) != 0)
            throw std::runtime_error("the survey refuses bytes");
        return *this;
    }
    // In pieces of so many bytes, each in a block of its own that is gone when the next one comes.
    SurveyRun& feed(std::span<const uint8_t> bytes, size_t piece) {
        for (size_t at = 0; at < bytes.size(); at += piece) {
            const auto part = bytes.subspan(at, std::min(piece, bytes.size() - at));
            feed(std::vector<uint8_t>(part.begin(), part.end()));
        }
        return *this;
    }
    SurveyRun& finish() { return zvsurvey_finish(survey_), *this; }

    std::string text() const {
        std::string text;
        const auto add = [](void* to, const char* piece, size_t size) {
            static_cast<std::string*>(to)->append(piece, size);
            return 0;
        };
        if (zvsurvey_json(survey_, add, &text) != 0) throw std::runtime_error("no JSON");
        return text;
    }
    nlohmann::json json() const { return nlohmann::json::parse(text()); }
    ZvSurvey* operator*() const { return survey_; }

  private:
    ZvSurvey* survey_;
};

inline nlohmann::json survey_of(const std::vector<uint8_t>& bytes) {
    return SurveyRun().feed(bytes).finish().json();
}

// -> the entry of a list whose members have these values; null when there is none
inline nlohmann::json entry(const nlohmann::json& list, const nlohmann::json& wanted) {
    for (const auto& candidate : list) {
        const bool found = std::ranges::all_of(wanted.items(), [&](const auto& member) {
            return candidate.at(member.key()) == member.value();
        });
        if (found) return candidate;
    }
    return nullptr;
}

inline nlohmann::json pid_of(const nlohmann::json& survey, int pid) {
    return entry(survey.at("pids"), {{"pid", pid}});
}

inline std::vector<std::string> event_kinds(const nlohmann::json& survey) {
    std::vector<std::string> kinds;
    for (const auto& event : survey.at("events").at("list"))
        kinds.push_back(event.at("kind"));
    return kinds;
}

}  // namespace zvtest
