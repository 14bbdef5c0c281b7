// SPDX-License-Identifier: MIT
// The configuration of MPEG-4 audio (ISO/IEC 14496-3, 1.6.2.1), as FLV and LATM carry it, and what
// AAC in other wrappings shares with it.
#pragma once

#include "survey/codecs/audio/audio.h"
#include "survey/codecs/bit_reader.h"

namespace zv::survey {

struct AacConfig {
    uint32_t object_type = 0;       // of the core coder; 2 = LC
    uint32_t core_sample_rate = 0;  // Hz
    uint32_t sample_rate = 0;       // Hz, with spectral band replication (SBR)
    uint8_t channels = 0;           // of the core coder; 0 unknown
    bool sbr = false;               // said to be there
    bool ps = false;                // parametric stereo makes two channels of one
};

// -> nothing when the bytes are no such configuration. What follows the members of the core coder
//    is not looked at, where no end of the configuration is known.
std::optional<AacConfig> read_aac_config(BitReader& reader);

// The whole of a configuration: SBR told after the core coder's members is found, too.
std::optional<AacConfig> read_whole_aac_config(BitReader config);

// What players show: sampling rate and channels after decoding, "LC", "HE-AAC", "HE-AACv2".
AudioDetails aac_details(const AacConfig& config);

// -> "LC", "ELD"; nullptr for a type without a name
const char* aac_object_name(uint32_t object_type);

// -> true for a core coder whose rate leaves room for SBR, although none is told
bool may_have_implicit_sbr(const AacConfig& config);

// -> Hz; 0 for an index without one
uint32_t aac_sample_rate(uint32_t sampling_frequency_index);
// -> channels of a channel_configuration; 0 when they are described elsewhere or reserved
uint8_t aac_channels(uint32_t channel_configuration);
// -> channels of a program_config_element(), id_syn_ele already read; 0 when it is cut off
uint8_t read_program_config_channels(BitReader& reader);

// SBR and parametric stereo as the AAC and MPEG-4 audio descriptors declare them.
struct DeclaredAac {
    bool sbr = false;
    bool ps = false;
};
DeclaredAac declared_aac(std::span<const uint8_t> descriptors);
// Doubles the rate where SBR was declared and the core's rate leaves room for it.
void apply_declared_aac(DeclaredAac declared, AudioDetails& details);

}  // namespace zv::survey
