// SPDX-License-Identifier: MIT
// The data of the HTML report: what the JSON report says of a source, of lists the first or the worst
// entries, and its history. The scripts of the page read it.
#pragma once

#include "base/json.h"
#include "render/media_record.h"
#include "render/page/page_bounds.h"
#include "render/source_report.h"

namespace zvprobe {

Json page_data(const SourceReport& report, const PageBounds& bounds);

// The parts about one format.
Json page_data(const TsReport& report, const PageBounds& bounds);
void add_media(Json& part, const MediaRecord& record, const PageBounds& bounds);

// Cuts lists and texts, at any depth, to what the bounds allow.
void cut_to(Json& json, const PageBounds& bounds);

// -> the same with fractions of no more than that many decimals, at any depth
Json rounded(Json json, int decimals);

}  // namespace zvprobe
