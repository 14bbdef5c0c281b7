// SPDX-License-Identifier: MIT
// The per-topic debug switches, as they stand when the library is loaded.
#include "mpeg/mpegts/context.h"

uint8_t DBG_PAT = 1;
uint8_t DBG_SDT = 1;
uint8_t DBG_PMT = 1;
uint8_t DBG_TSHEAD_MODE = 0;
uint8_t DBG_PESHEAD = 0;
uint8_t DBG_COMMON = 0;
uint8_t DBG_PCR = 0;
uint8_t DBG_CC = 0;
uint8_t DBG_AV = 0;
uint8_t DBG_PES = 0;
uint8_t DBG_PES_PTSDTS = 0;
uint8_t DBG_FIND_INFO = 0;
