/* SPDX-License-Identifier: MIT
 * A host of the installed library in C11: builds a table, feeds it to the resolver, asks for a file
 * that does not exist. Prints what a host would check. */
#include <stdio.h>

#include "bitStream.h"
#include "mpegts.h"
#include "ts_tools.h"

int main(void) {
    uint8_t packet[188];
    const uint16_t program = 1, pid = 0x100;
    mpegts_api_buildPat(packet, 1, sizeof packet, 1, &program, &pid);

    void* context = NULL;
    ffurl_mpegts_parser.init(&context, "installed", NULL);
    if (!context) return 1;
    const int parsed = ffurl_mpegts_parser.parse(context, packet, (int)sizeof packet, 0);
    ffurl_mpegts_parser.deinit(&context);

    printf("version %s parsed %d mpegts %d missing %d\n", zvbitStream_api_version(), parsed,
           mpegts_api_isMpeg("mpegts", 0),
           mpegts_api_getTsPktSize("file:///missing.ts", NULL, 0, 0));
    return 0;
}
