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

/* Why the last open of the calling thread failed, in words, where its errno value says less: an http
 * server's status ("HTTP 404 Not Found"), what the resolver says of a host name, or what libcurl says
 * of TLS.
 * -> the text, until the thread opens something again; empty when the errno value says all, and after
 *    an open that did not fail. Any thread. */
ZV_API const char* zvptc_ext_getOpenFailure(void);

ZV_END_DECLS

#endif
