// SPDX-License-Identifier: MIT
// What is done with a parsed script table: its entries into the log, and the well-known onMetaData
// values into the summary.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "bitStream/log.h"
#include "flv/script.h"
#include "zvcommon.h"

namespace zv::flv {
namespace {

// One summary field; the value goes to the member that is set, or to creationdate.
struct SummaryField {
    const char* word;
    double FLVMetadata::*number;
    uint8_t FLVMetadata::*byte;
};

// The first word that a key contains decides, whatever the type of its value, so the order counts.
constexpr SummaryField kSummaryFields[] = {
    {"audiocodecid", &FLVMetadata::audiocodecid, nullptr},
    {"audiodatarate", &FLVMetadata::audiodatarate, nullptr},
    {"audiodelay", &FLVMetadata::audiodelay, nullptr},
    {"audiosamplerate", &FLVMetadata::audiosamplerate, nullptr},
    {"audiosamplesize", &FLVMetadata::audiosamplesize, nullptr},
    {"stereo", nullptr, &FLVMetadata::stereo},
    {"canSeekToEnd", nullptr, &FLVMetadata::canSeekToEnd},
    {"creationdate", nullptr, nullptr},
    {"duration", &FLVMetadata::duration, nullptr},
    {"filesize", &FLVMetadata::filesize, nullptr},
    {"videocodecid", &FLVMetadata::videocodecid, nullptr},
    {"videodatarate", &FLVMetadata::videodatarate, nullptr},
    {"framerate", &FLVMetadata::framerate, nullptr},
    {"width", &FLVMetadata::width, nullptr},
    {"height", &FLVMetadata::height, nullptr},
};

uint32_t stored_entries(const AMFTable& table) {
    return std::min<uint32_t>(table.count, ZV_FLV_AMF_ENTRIES);
}

double number_of(const uint8_t* slot) {
    double number;
    memcpy(&number, slot, sizeof number);
    return number;
}

void log_entry(const AMFTable& table, uint32_t i) {
    const char* key = table.keys[i];
    const uint8_t* slot = table.values[i];
    if (table.types[i] == kAmfString) {
        // A text that fills its slot has no terminator.
        LOG(kLogDebug, "FLV", "-%.*s=%.*s", ZV_FLV_AMF_SLOT, key, ZV_FLV_AMF_SLOT,
            reinterpret_cast<const char*>(slot));
    } else if (table.types[i] != kAmfNumber) {
        LOG(kLogDebug, "FLV", "-%.*s=%d", ZV_FLV_AMF_SLOT, key, *slot);
    } else {
        LOG(kLogDebug, "FLV", "-%.*s=%f", ZV_FLV_AMF_SLOT, key, number_of(slot));
    }
}

void summarise_entry(const char* key, const uint8_t* slot, FLVMetadata* metadata) {
    const auto field = std::find_if(
        std::begin(kSummaryFields), std::end(kSummaryFields),
        [key](const SummaryField& f) { return zvstr_api_isCasestr(key, f.word) != 0; });
    if (field == std::end(kSummaryFields)) return;
    if (field->number != nullptr) {
        metadata->*field->number = number_of(slot);
    } else if (field->byte != nullptr) {
        metadata->*field->byte = *slot;
    } else {
        snprintf(metadata->creationdate, sizeof metadata->creationdate, "%.*s", ZV_FLV_AMF_SLOT,
                 reinterpret_cast<const char*>(slot));
    }
}

}  // namespace

void log_script(const AMFTable& table) {
    LOG(kLogDebug, "FLV", "--------------------------");
    for (uint32_t i = 0; i < stored_entries(table); ++i)
        log_entry(table, i);
    LOG(kLogDebug, "FLV", "--------------------------");
}

void summarise_script(const AMFTable& table, FLVMetadata* metadata) {
    for (uint32_t i = 0; i < stored_entries(table); ++i)
        summarise_entry(table.keys[i], table.values[i], metadata);
}

}  // namespace zv::flv
