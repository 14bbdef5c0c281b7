// SPDX-License-Identifier: MIT
// Spectral band replication (SBR) that no header tells: it stands in a fill element of each raw
// data block (ISO/IEC 14496-3, 4.4.2.7), after coded spectra that only a decoder can walk. The end
// of a block is known, though, and fill elements are walked back from there.
#pragma once

#include <cstdint>
#include <span>

namespace zv::survey {

// raw_data_block: whole. By chance the answer is yes for about one block in a hundred without SBR,
// so several are to be asked.
bool has_sbr_fill_element(std::span<const uint8_t> raw_data_block);

}  // namespace zv::survey
