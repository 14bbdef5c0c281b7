/* SPDX-License-Identifier: MIT
 * What our own protocol library offers beyond zvprotocol.h. A replacement does not have it, so the
 * library proper never calls it; the tool does. */
#ifndef ZVPROTOCOL_EXT_H
#define ZVPROTOCOL_EXT_H

#include "zv_api.h"
#include "zvprotocol.h"

ZV_BEGIN_DECLS

/* The socket of an open datagram source, for those who wait for many sources at once, and who take
 * more than one datagram a call. It is non-blocking and stays the library's: close closes it.
 * context  in  may be null
 * -> the descriptor; -1 when it is not open for reading as "udp" or "rtp" */
ZV_API int zvptc_ext_getSocket(const ZvptcUrlContext* context);

ZV_END_DECLS

#endif
