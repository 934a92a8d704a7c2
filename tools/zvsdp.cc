// zvsdp: what the library makes of SDP, from the command line.
#include <stdio.h>
#include <string.h>

#include "zvsdp.h"

namespace {

int usage(FILE *out)
{
    fprintf(out,
            "usage: zvsdp codecs          print the codec table\n"
            "       zvsdp --help | --version\n");
    return out == stdout ? 0 : 2;
}

int codecs()
{
    printf("%-4s %-3s %3s %-16s %-5s %6s %2s %7s %5s\n", "row", "dyn", "pt", "name", "media", "clock", "ch",
           "bitrate", "ptime");
    for (int i = 0; i < ZVSDP_CODEC_TABLE_ROWS; ++i) {
        const ZvSdpCodecEntry &row = zvSdpCodecTable[i];
        printf("%-4d %-3u %3u %-16s %-5s %6u %2u %7u %5u\n", i, row.isDynamic, row.payloadType, row.encodingName,
               row.mediaType == ZVSDP_MT_AUDIO ? "audio" : row.mediaType == ZVSDP_MT_VIDEO ? "video" : "image",
               row.clockRate, row.channels, row.bitRate, row.defaultPtime);
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return usage(stderr);
    if (!strcmp(argv[1], "--help") || !strcmp(argv[1], "-h"))
        return usage(stdout);
    if (!strcmp(argv[1], "--version")) {
        printf("zvsdp 1.0.0\n");
        return 0;
    }
    if (!strcmp(argv[1], "codecs"))
        return codecs();
    fprintf(stderr, "zvsdp: unknown command '%s'\n", argv[1]);
    return usage(stderr);
}
