// SPDX-License-Identifier: MIT
// The continuity counter of one PID (ISO/IEC 13818-1, 2.4.3.3): order, repeats, losses.
#include "bitStream/log.h"
#include "mpeg/ts_packet/ts_packet.h"

int zv::count_discontinuity(CCState& st, uint8_t cc) {
    if (cc == st.last_cc) return -1;
    const int expected = (st.last_cc + 1) & 15;
    // The wrap counts with 15, one fewer than modulo 16 would; hosts rely on these figures.
    const int lost = cc > expected ? cc - expected : 15 - expected + cc;
    st.errnum += 1;
    st.lostnum += static_cast<uint32_t>(lost);
    st.last_cc = cc;
    return lost;
}

int zvsi_api_CCCheck(const char* label, CCState* st, uint8_t cc, uint8_t mode) {
    if (zv::accept_continuity(*st, cc, mode)) return 0;
    const uint8_t last = st->last_cc;
    if (zv::count_discontinuity(*st, cc) < 0) {
        LOG(zv::kLogWarning, "zvsi", "[%s]Maybe send data again. Last_CC %02d got %02d", label,
            last, cc);
        return 0;
    }
    LOG(zv::kLogWarning, "zvsi",
        "[%s]Continuity check failed! Expected %02d got %02d,errnum,lostnum:%d %d", label,
        (last + 1) & 15, cc, st->errnum, st->lostnum);
    return -1;
}
