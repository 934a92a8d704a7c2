/* The typical answer of a gateway, against an installed libzvsdp: parse the
 * remote offer given on the command line, answer it from local capabilities
 * of PCMU, PCMA and telephone events, print the answer. */
#include <stdio.h>
#include <stdlib.h>

#include "zvsdp.h"

static char *readFile(const char *path)
{
    FILE *in = fopen(path, "rb");
    if (!in)
        return NULL;
    char *text = malloc(4096);
    size_t n = text ? fread(text, 1, 4095, in) : 0;
    fclose(in);
    if (text)
        text[n] = '\0';
    return text;
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: consumer OFFER\n");
        return 2;
    }
    char *offer = readFile(argv[1]);
    if (!offer || zvSdpAppInit(4) != ZVSDP_RC_OK)
        return 1;
    CSdp *remote = NULL, *local = NULL, *answer = NULL;
    CMedia *media = NULL;
    uint32_t rc = zvSdpConstructFromString(offer, &remote);
    free(offer);
    if (rc != ZVSDP_RC_OK) {
        fprintf(stderr, "offer refused: %u\n", rc);
        return 1;
    }
    zvSdpConstruct(&local);
    zvSdpAddMediaDescriptor(local, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &media);
    zvSdpMediaSetPort(media, 5004);
    zvSdpMediaAddStaticPayloadType(media, ZVSDP_PT_PCMU, NULL);
    zvSdpMediaAddStaticPayloadType(media, ZVSDP_PT_PCMA, NULL);
    CPayload *events = NULL;
    zvSdpMediaAddTelephoneEvent(media, &events);
    zvSdpPayloadAddFmtp(events, "0-15");
    zvSdpMediaAddAttrPtime(media, 20, NULL);
    zvSdpConstruct(&answer);
    rc = zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local, answer, 1);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer);
    char text[1024];
    uint32_t length = sizeof text;
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpToString(answer, text, &length);
    if (rc == ZVSDP_RC_OK)
        fwrite(text, 1, length, stdout);
    zvSdpDestruct(&remote);
    zvSdpDestruct(&local);
    zvSdpDestruct(&answer);
    zvSdpAppDestroy();
    return rc == ZVSDP_RC_OK ? 0 : 1;
}
