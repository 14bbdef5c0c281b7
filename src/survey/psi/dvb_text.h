// SPDX-License-Identifier: MIT
// Texts of broadcast tables as UTF-8: those of DVB (ETSI EN 300 468 annex A) and UTF-16 names of
// ATSC A/65. Owns selectors, control codes and what becomes of undecodable bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace zv::survey {

// A text field with its character table selector, if it has one, decoded.
//
// Emphasis codes become nothing and line breaks (0x8A, U+E08A) a space; all other control codes
// (0x00 to 0x1F, 0x7F to 0x9F, U+E080 to U+E09F) are left out. A first byte 0x00 selects nothing.
//
// Undecodable is U+FFFD, once for each
// - byte without character in a one-byte table, and accent of table 00 without a letter after it;
// - 16-bit unit that is half of a surrogate pair (0x11, 0x14), and odd last byte;
// - pair without character in KS X 1001 and GB 2312, which are read as in EUC: bytes below 0x80 are
//   ASCII, and a byte that begins no pair is undecodable alone;
// - maximal subpart of an ill-formed sequence in UTF-8;
// - byte after a reserved selector or an encoding_type_id.
//
// Any thread, linear time. -> well-formed UTF-8 of at most 3 bytes for each byte given
std::string decode_dvb_text(std::span<const uint8_t> bytes);

// Big-endian UTF-16 up to the first zero unit or the end, control characters left out. A lone
// surrogate and an odd last byte become U+FFFD each.
//
// Any thread, linear time. -> well-formed UTF-8 of at most 3 bytes for each byte given
std::string utf16be_to_utf8(std::span<const uint8_t> bytes);

}  // namespace zv::survey
