// SPDX-License-Identifier: MIT
// The head of the process-wide list of resolvers.
#pragma once

#include "bitStream.h"

extern "C" {
extern AVParser* first_parser;
}
