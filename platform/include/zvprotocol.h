/* SPDX-License-Identifier: MIT
 * Protocol library: finds the handler of a URL, splits URLs, and opens, reads, writes and closes
 * sources. What the bytes mean (transport stream, RTP framing, FLV) is left to the caller.
 *
 * A host's way to the bytes of a URL:
 *
 *     ZvptcUrlContext context;
 *     memset(&context, 0, sizeof context);
 *     strcpy(context.url, "udp://@239.1.1.1:1234");        (at most 1023 characters)
 *     zvptc_api_urlSplit_urlctt(&context);
 *     const ZvptcHandler* handler = zvptc_api_matchByName(context.protocol);
 *     if (handler && handler->open(&context) >= 0) n = handler->read(&context, buffer, size);
 *     if (handler) handler->close(&context);
 *
 * Sources: a path, "file:path", "file:///path" and "-" (standard input, or output when writing);
 * "udp://" and "rtp://" datagrams, unicast or multicast; "tcp://"; "http://" and "https://" when
 * the library was built with libcurl. "@" in front of the address of a datagram source stands for
 * "listen here" and may be left out; "udp://source@group:port" accepts that one sender only.
 *
 * Options after the "?" of a udp, rtp or tcp URL, joined by "&" (unknown ones are ignored):
 *     timeout=ms                    longest wait of one call, 0 not at all, -1 for ever
 *     localaddr=x, interface=x      interface for multicast, by name or address; an address is
 *                                   also where datagrams are sent from, and where a URL without
 *                                   a host listens
 *     rcvbuf=bytes                  receive buffer to ask the kernel for
 *     ttl=n                         time to live (hop limit) of datagrams sent, 0 to 255
 *     pkt_size=bytes                longest datagram that write accepts, 1 to 65507
 *     listen=1                      tcp: wait for one peer to connect instead of connecting
 * An option of the URL goes before the member of the context with the same purpose. The query of
 * an http URL belongs to the server: only the members count there. */
#ifndef ZVPROTOCOL_H
#define ZVPROTOCOL_H

#include <stddef.h>
#include <stdint.h>

#include "zv_api.h"

ZV_BEGIN_DECLS

enum {
    ZVPTC_INDEX_FILE = 0, /* "file:", a plain path, "-" */
    ZVPTC_INDEX_HTTP = 1, /* "http:" and "https:" */
    ZVPTC_INDEX_UDP = 2,
    ZVPTC_INDEX_TCP = 3,
    ZVPTC_INDEX_RTP = 4
};

/* Bits of ZvptcUrlContext.open_flags. Without ZVPTC_OPEN_WRITE a source is opened for reading. */
enum {
    ZVPTC_OPEN_READ = 0x10,    /* what hosts state for files; reading is the default everywhere */
    ZVPTC_OPEN_WRITE = 0x20,   /* write only; a tcp connection carries both ways regardless */
    ZVPTC_OPEN_CREATE = 0x40,  /* with WRITE: a file that is missing is created (mode 0666) */
    ZVPTC_OPEN_TRUNCATE = 0x80 /* with WRITE: a file that exists is emptied */
};

/* Longest wait of one call on a network source when neither URL nor context says otherwise. */
enum { ZVPTC_DEFAULT_TIMEOUT_MS = 10000 };

/* One source. The host zero-fills it, writes the members marked "in" and passes it on; it may live
 * anywhere, but must stay where it is between open and close. Exactly 5760 bytes; hosts rely on the
 * offsets given. Texts are NUL-terminated. */
typedef struct ZvptcUrlContext {
    int32_t ptc_index;      /* out, by the split: ZVPTC_INDEX_*, -1 for an unknown scheme */
    uint32_t open_flags;    /* in, offset 4: ZVPTC_OPEN_* */
    int32_t timeout_ms;     /* in: longest wait of one call; 0 default (10 s; files and standard
                               input: for ever), negative for ever */
    int32_t receive_buffer; /* in: bytes of socket receive buffer to ask for, 0 default (1 MiB for
                               datagrams); the kernel may grant less */
    uint8_t reserved_a[56]; /* zero */
    union {
        const char* interface_in; /* in, offset 72: interface for multicast by name or address;
                                     borrowed, may be null */
        uint64_t interface_in_room;
    };
    char path[1024];          /* out, by the split: see ZvptcUrlInfo */
    char query[1024];         /* out, by the split */
    char userinfo[128];       /* out, by the split */
    uint8_t reserved_b[8];    /* zero */
    char url[1024];           /* in, offset 2264: 1023 characters at most */
    uint8_t reserved_c[4];    /* zero: ends a url that a host has filled to the brim */
    uint8_t reserved_d[1024]; /* zero */
    char protocol[32];        /* out, by the split, offset 4316: the scheme in lower case */
    char hostname[256];       /* out, by the split, offset 4348 */
    int32_t port;             /* out, by the split */
    union {
        const void* opened_by; /* null while not open; the handlers' own, as all that follows */
        uint64_t opened_by_room;
    };
    union {
        uint8_t private_state[1144];
        uint64_t private_state_aligned;
    };
} ZvptcUrlContext;

/* The parts of a URL. */
typedef struct ZvptcUrlInfo {
    char scheme[32];    /* lower case; "file" for a plain path; a longer one is cut to 31 */
    char userinfo[128]; /* what stands before "@" */
    char hostname[256]; /* without the brackets of an IPv6 literal; empty for files */
    int32_t port;       /* 1..65535; 0 when absent; 80 and 443 for http and https */
    int32_t ptc_index;  /* ZVPTC_INDEX_*, -1 for an unknown scheme */
    char path[1024];    /* files: the path to open, otherwise from the first "/" on */
    char query[1024];   /* after the "?", without it and without a "#fragment"; empty for files */
} ZvptcUrlInfo;

/* Operations of one protocol. Every member is set. All of them take a null context, and answer it
 * with -EINVAL (close: 0). A negative result is a negated errno value, and errno is set to match.
 * One thread at a time per context; different contexts are independent. No operation raises
 * SIGPIPE. */
typedef struct ZvptcHandler {
    const char* name; /* the scheme: "file", "http", "https", "udp", "tcp", "rtp" */

    /* Opens context->url, which it splits again: a split beforehand is not needed.
     * -> 0 open
     *    -EINVAL the URL is malformed, another protocol's, lacks a host or port, or an option
     *    is out of range
     *    -ENAMETOOLONG the URL fills its member without a NUL or a part is longer than its member
     *    -EBUSY the context is open already
     *    -EISDIR a directory; -ENOENT, -EACCES, ... as the system says; of an http server 404 and
     *      410 are -ENOENT, 401 and 403 -EACCES, any other refusal -EIO;
     *      -EPROTO the server does not answer in HTTP/1 or later, -EPROTONOSUPPORT it redirects to
     *      something else than http
     *    -EHOSTUNREACH the name does not resolve or no route leads there; -ECONNREFUSED
     *    -ENODEV the interface does not exist
     *    -ETIMEDOUT, -EINTR as for read (a name look-up is outside the time-out)
     *    -EOPNOTSUPP http for writing; -ENOSYS http when built without it (said on stderr too)
     * After a failure nothing is left open; close may be called but need not. */
    int (*open)(ZvptcUrlContext* context);

    /* Reads up to `size` bytes into `buffer`, waiting for them.
     * udp, rtp: one datagram as it came; an rtp datagram keeps its RTP header. Empty datagrams are
     * passed over. file, tcp, http: fills the buffer, and gives less only at the end of the stream,
     * at the time-out or when a signal arrives, so that a reader may ask for an exact count.
     * -> > 0 bytes read
     *    0 end of stream
     *    -ETIMEDOUT nothing came within the time-out; reading may go on
     *    -EINTR a signal handler ran while the call waited; bytes that had come before are
     *           returned first, then -EINTR by the next call; reading may go on
     *    -EMSGSIZE the datagram was longer than `size`; the rest of it is lost
     *    -EBADF not open, open for writing only, or open under another handler
     *    -EBADMSG http: the reply is damaged, as by a wrong chunk size
     *    -EINVAL null buffer or size < 1; -ECONNRESET, -EIO, ... as the system says */
    int (*read)(ZvptcUrlContext* context, uint8_t* buffer, int size);

    /* Writes `size` bytes; udp, rtp: as one datagram, rtp with the RTP header the caller made.
     * A write into a full pipe may outlast the time-out, which bounds the wait for room to begin.
     * -> bytes written: `size`, or fewer when an error cut it short (the next call reports it)
     *    -EMSGSIZE longer than pkt_size or than the network takes; nothing was sent
     *    -EPIPE the reader has gone; -EBADF not open for writing; -ETIMEDOUT, -EINTR, -EINVAL as
     *    for read; -EOPNOTSUPP http; -ENOSPC, ... as the system says */
    int (*write)(ZvptcUrlContext* context, const uint8_t* buffer, int size);

    /* Closes and frees what open took. A context that is not open, whose open failed or was never
     * called is accepted, and closing twice is harmless.
     * -> 0, or the error of the last write that the system reports only now (closed all the same),
     *    -EBADF open under another handler (left open) */
    int (*close)(ZvptcUrlContext* context);

    int32_t ptc_index; /* ZVPTC_INDEX_* */
} ZvptcHandler;

/* Starts the library: counts one user. Look-ups, splits and handlers work without it; a host that
 * calls it balances it with zvptc_api_deinit.
 * -> 0
 * Any thread. */
ZV_API int zvptc_api_init(void);

/* Makes the built-in handlers ready to use. In this implementation they always are; the http client
 * is loaded and started by the first http open.
 * -> 0. Any thread; repeating it is harmless. */
ZV_API int zvptc_api_register(void);

/* Ends the use that zvptc_api_init began; the last one releases the process-wide state of the http
 * client unless http sources are still open. Without an init before it does nothing.
 * Any thread. */
ZV_API void zvptc_api_deinit(void);

/* Handler of a scheme.
 * scheme  in  a scheme as the splits give it ("file", "udp", ...), in any case
 * -> the handler (constant, never freed), null when `scheme` is null, empty or unknown
 * Any thread, as all functions below. */
ZV_API const ZvptcHandler* zvptc_api_matchByName(const char* scheme);

/* Handler of a protocol index.
 * index  in  ZVPTC_INDEX_*
 * -> the handler (1: that of "http", which also opens https URLs), null for any other index */
ZV_API const ZvptcHandler* zvptc_api_matchByPtcindex(int index);

/* Whether a URL belongs to a protocol.
 * url    in  URL or path; only its scheme is looked at
 * index  in  ZVPTC_INDEX_*
 * -> 1 yes; 0 no, unknown scheme or null url */
ZV_API int zvptc_api_matchByUrlAndIndex(const char* url, int index);

/* Protocol index of a URL.
 * url  in  URL or path; only its scheme is looked at
 * a3, a4   in  hints that hosts pass through for other implementations; no effect here
 * -> ZVPTC_INDEX_*; -1 for an unknown scheme, an empty or a null url */
ZV_API int zvptc_api_getPtcindex(const char* url, int a3, uint8_t a4);

/* Splits context->url into the members of the context marked "by the split".
 * context  in/out  its url is set
 *
 * The scheme is what stands before "://", known or not, or a known scheme before ":". Any other
 * text is a plain path, whatever colons it holds ("c:foo", "a:b"), and so is "-". "file://" URLs
 * are percent-decoded; "file:path" and plain paths are taken as they stand.
 * -> 0 split (an unknown scheme too: ptc_index is -1)
 *    -EINVAL null context, empty url, a malformed host or a port outside 1..65535
 *    -ENAMETOOLONG the url has no NUL within its 1024 bytes, or a part does not fit its member
 * After a failure `protocol` and `ptc_index` hold what was found, the other members are empty. */
ZV_API int zvptc_api_urlSplit_urlctt(ZvptcUrlContext* context);

/* Splits a URL by the rules of zvptc_api_urlSplit_urlctt.
 * info  out  overwritten
 * url   in   at most 1023 characters
 * -> as there; a null argument is -EINVAL */
ZV_API int zvptc_api_urlSplit_urlinfo(ZvptcUrlInfo* info, const char* url);

/* Both languages have a name of their own for it; undefined again below. */
#ifdef __cplusplus
#define ZVPTC_ASSERT static_assert
#else
#define ZVPTC_ASSERT _Static_assert
#endif
ZVPTC_ASSERT(sizeof(ZvptcUrlContext) == 5760, "hosts reserve 5760 bytes");
ZVPTC_ASSERT(offsetof(ZvptcUrlContext, open_flags) == 4, "hosts write it at 4");
ZVPTC_ASSERT(offsetof(ZvptcUrlContext, interface_in) == 72, "hosts write it at 72");
ZVPTC_ASSERT(offsetof(ZvptcUrlContext, url) == 2264, "hosts write it at 2264");
ZVPTC_ASSERT(offsetof(ZvptcUrlContext, protocol) == 4316, "hosts read it at 4316");
ZVPTC_ASSERT(offsetof(ZvptcUrlContext, hostname) == 4348, "hosts read it at 4348");
ZVPTC_ASSERT(offsetof(ZvptcHandler, open) == 1 * sizeof(void*), "second member");
ZVPTC_ASSERT(offsetof(ZvptcHandler, read) == 2 * sizeof(void*), "third member");
ZVPTC_ASSERT(offsetof(ZvptcHandler, close) == 4 * sizeof(void*), "fifth member");
#undef ZVPTC_ASSERT

ZV_END_DECLS

#endif
