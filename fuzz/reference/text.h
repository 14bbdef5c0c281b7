// SPDX-License-Identifier: MIT
// Texts of tables as UTF-8, by way of the C library's character sets.
#pragma once

#include <string>

#include "packets.h"

namespace fuzz::reference {

// By ETSI EN 300 468, annex A.
std::string dvb_text(Bytes text);
// UTF-16 up to the first NUL (ATSC A/65 short_name).
std::string utf16_text(Bytes text);
std::string latin1_text(Bytes text);

}  // namespace fuzz::reference
