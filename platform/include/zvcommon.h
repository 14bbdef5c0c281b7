/* SPDX-License-Identifier: MIT
 * The common library that a host supplies: tagged memory, monotonic time, CRC-32, text, network
 * and buffer helpers. These are all the functions a replacement has to offer; what our own library
 * adds for tools and tests is declared in zvmem_ext.h. */
#ifndef ZVCOMMON_H
#define ZVCOMMON_H

#include <stddef.h>
#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

/* Prepares the allocator. Blocks may be allocated and freed before it and after deinit, too.
 * reserved  in  ignored
 * -> 0. Any thread. */
ZV_API int zvmem_api_init(int reserved);

/* Reports on stderr the blocks that are still allocated: a total, then count and bytes per place
 * of allocation. The blocks stay valid and may still be freed. Prints nothing when there is none.
 * Any thread. */
ZV_API void zvmem_api_deinit(void);

/* Allocates a block, aligned for any type, of undefined contents.
 * size        in  bytes; 0 gives a block without bytes
 * tag         in  what the block is, at most 23 characters are kept; null reads as ""
 * sub_tag     in  whose it is, likewise
 * file, line  in  where it was asked for; the last 35 characters of the name are kept
 * -> the block, to be freed with zvmem_api_free; null when memory is short
 * Any thread. Constant time beside the system's own malloc. */
ZV_API void* zvmem_api_malloc(size_t size, const char* tag, const char* sub_tag, const char* file,
                              int line);

/* Frees the block that a pointer variable holds and sets the variable to null.
 * slot  in/out  address of the pointer variable; a null slot or a slot that holds null is left
 *               alone. A block that did not come from zvmem_api_malloc is reported on stderr and
 *               not freed
 * Any thread. */
ZV_API void zvmem_api_free(void* slot);

/* -> microseconds on a clock that never goes back, counted from an arbitrary start.
 * Any thread. */
ZV_API uint64_t zvtime_api_upUs(void);

/* CRC-32 of PSI sections, ISO/IEC 13818-1 Annex A: polynomial 0x04C11DB7, start value 0xFFFFFFFF,
 * no reflection, no final inversion.
 * data    in  `length` bytes
 * length  in  bytes; a whole section including its own CRC_32 gives 0
 * -> the CRC; 0xFFFFFFFF when data is null or length is 0 or less. Any thread. */
ZV_API uint32_t zvcrc_api_CRC32(const uint8_t* data, int length);

/* Tells whether a text contains a word, ignoring ASCII case.
 * text, word  in  NUL-terminated
 * -> 1 yes (an empty word is contained in every text), 0 no or a null argument. Any thread. */
ZV_API uint8_t zvstr_api_isCasestr(const char* text, const char* word);

/* Tells whether a host is written as a multicast address: IPv4 224.0.0.0/4 or IPv6 ff00::/8, with
 * or without a leading '@', brackets or a zone ("@[ff02::1%eth0]"). Names are not resolved.
 * host  in  address as a URL holds it
 * -> 1 yes, 0 no or null. Any thread. */
ZV_API int zvnet_api_isMulticast(const char* host);

/* Removes the first bytes of a span by moving the rest down; the freed tail keeps its bytes.
 * buf    in/out  `span` bytes
 * count  in      bytes to remove
 * span   in      bytes in all
 * -> bytes left: span - count; span when nothing is to be removed (count of 0 or less, null buf);
 *    0 when count reaches span, or span is 0 or less, with nothing moved
 * Any thread, one at a time per buffer. */
ZV_API int zvt_innerapi_bufOffset(uint8_t* buf, int count, int span);

ZV_END_DECLS

#endif
