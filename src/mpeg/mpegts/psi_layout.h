// SPDX-License-Identifier: MIT
// The parts of PAT, PMT (ISO/IEC 13818-1, 2.4.4) and SDT (ETSI EN 300 468, 5.2.3) whose size is
// fixed, as the filters read and the builders write them.
#pragma once

#include <cstdint>

#include "mpegts.h"

namespace zv {

constexpr uint8_t kTableIdPat = 0x00;
constexpr uint8_t kTableIdPmt = 0x02;
constexpr uint8_t kTableIdSdt = 0x42;

constexpr int kSectionHeadSize = 3;  // up to and including section_length
constexpr int kCrcSize = 4;

// From table_id to the loop, or to the first descriptors of a PMT.
constexpr int kPatHeaderSize = 8;
constexpr int kPmtHeaderSize = 12;
constexpr int kSdtHeaderSize = 11;

// One entry of the loop, its descriptors apart.
constexpr int kPatEntrySize = 4;
constexpr int kPmtEntrySize = 5;
constexpr int kSdtEntrySize = 5;

constexpr int kServiceDescriptorFixedSize = 5;  // tag, length, service_type and two name lengths

constexpr int kMaxEsInfo = sizeof(MPEGTSStream::es_info);  // descriptors kept of a stream

}  // namespace zv
