// SPDX-License-Identifier: MIT
// The type markers of AMF0 values, as script data has them. Both readers of script data use these:
// the library's flat table and the tool's tree.
#pragma once

#include <cstdint>

namespace zv::flv {

enum AmfType : uint8_t {
    kAmfNumber = 0,
    kAmfBoolean = 1,
    kAmfString = 2,
    kAmfObject = 3,
    kAmfMovieClip = 4,
    kAmfNull = 5,
    kAmfUndefined = 6,
    kAmfReference = 7,
    kAmfEcmaArray = 8,
    kAmfObjectEnd = 9,
    kAmfStrictArray = 10,
    kAmfDate = 11,
    kAmfLongString = 12,
    kAmfUnsupported = 13,
    kAmfXmlDocument = 15,
    kAmfTypedObject = 16,
};

}  // namespace zv::flv
