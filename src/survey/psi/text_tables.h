// SPDX-License-Identifier: MIT
// The character tables of broadcast text (ETSI EN 300 468 annex A) that are data: ISO/IEC 8859, the
// accents of ISO/IEC 6937, KS X 1001 and GB 2312. Unassigned places hold U+FFFD, so that a look-up
// already gives what an undecodable byte becomes.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace zv::survey {

// Characters of the bytes 0xA0 to 0xFF, by part; empty where there is no such part (0, 12).
inline constexpr std::size_t kIso8859Size = 96;
extern const std::array<std::u16string_view, 17> kIso8859;

// What the accents 0xC0 to 0xCF make of a letter: letter and result in turn, a row an accent.
extern const std::array<std::u16string_view, 16> kCompositions;

// 94 rows of up to 94 characters, by the two bytes less 0xA1; what a row lacks at its end is
// unassigned.
inline constexpr std::size_t kTextRows = 94;
using TextRows = std::array<std::u16string_view, kTextRows>;
extern const TextRows kKsX1001;
extern const TextRows kGb2312;

}  // namespace zv::survey
