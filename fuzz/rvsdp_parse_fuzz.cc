// Any bytes through rvSdpMsgConstructParse, every reader, the encoder and
// destruct. Beyond the sanitizers it checks the promises callers build on:
// the status and length contract, no heap for short texts, the heap bound,
// and that encoded text parses cleanly back to the same text.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz_check.h"
#include "rvsdp.h"


namespace {

// Reads everything a caller could read; the values only have to be sane.
void walk(RvSdpMsg *msg) {
    RvSdpList *media = rvSdpMsgGetMediaDescrList(msg);
    FUZZ_CHECK(rvSdpListGetSize(media) <= RVSDP_MAX_MEDIA);
    for (void *it = rvSdpListGetFirst(media); it; it = rvSdpListGetNext(media, it)) {
        auto *d = static_cast<RvSdpMediaDescr *>(it);
        FUZZ_CHECK(rvSdpMediaTypeTxt2Val(rvSdpMediaDescrGetMediaTypeStr(d)) == rvSdpMediaDescrGetMediaType(d));
        FUZZ_CHECK(rvSdpMediaDescrGetProtocol(d) >= 1 && rvSdpMediaDescrGetProtocol(d) <= 23);
        FUZZ_CHECK(rvSdpMediaDescrGetPort(d) >= 0 && rvSdpMediaDescrGetPort(d) <= 65535);
        int n = rvSdpMediaDescrGetNumOfPayloads(d);
        FUZZ_CHECK(n <= RVSDP_MAX_FORMATS);
        for (int i = 0; i < n; ++i) {
            int pt = rvSdpMediaDescrGetPayload(d, i);
            FUZZ_CHECK(pt == RVSDP_PAYLOAD_NOT_NUMBER || (pt >= 0 && pt <= RVSDP_MAX_FORMAT_NUMBER));
            FUZZ_CHECK(rvSdpMediaDescrGetFormat(d, i) != nullptr);
        }
        FUZZ_CHECK(rvSdpMediaDescrGetPayload(d, n) == -1);
        size_t rtpmaps = rvSdpGetNumOfSpecialAttr(d, RVSDP_SPEC_ATTR_RTPMAP);
        for (size_t i = 0; i < rtpmaps; ++i) {
            RvSdpRtpMap *r = rvSdpGetSpecialAttr(d, i, RVSDP_SPEC_ATTR_RTPMAP);
            FUZZ_CHECK(r != nullptr);
            FUZZ_CHECK(rvSdpRtpMapGetPayload(r) >= -1 && rvSdpRtpMapGetClockRate(r) >= -1);
            FUZZ_CHECK(rvSdpRtpMapGetChannels(r) >= 0);
            const char *name = rvSdpRtpMapGetEncodingName(r);
            FUZZ_CHECK(!name || strlen(name) > 0);
        }
        for (RvSdpAttribute *a = rvSdpGetFirstSpecialAttr(d, RVSDP_SPEC_ATTR_FMTP); a;
             a = rvSdpGetNextSpecialAttr(a, RVSDP_SPEC_ATTR_FMTP)) {
            unsigned pt;
            (void)sscanf(rvSdpSpecAttrGetValue(a), "%u", &pt);  // what the object model does
        }
        size_t attrs = rvSdpMediaDescrGetNumOfAttr(d);
        for (size_t i = 0; i < attrs; ++i) {
            RvSdpAttribute *a = rvSdpMediaDescrGetAttribute(d, i);
            FUZZ_CHECK(a && rvSdpAttributeGetName(a) && *rvSdpAttributeGetName(a));
        }
        RvSdpConnection *c = rvSdpMediaDescrGetConnection(d);
        if (!c) c = rvSdpMsgGetConnection(msg);
        if (c) FUZZ_CHECK(rvSdpConnectionGetAddress(c) != nullptr);
    }
}

// Encodes into a fresh heap buffer of exactly the needed size (so that ASan
// sees any write past it).
char *encode(RvSdpMsg *msg, int *length) {
    int n = rvSdpMsgEncodeToBuf(msg, nullptr, 0);
    FUZZ_CHECK(n >= 0);
    char *buf = static_cast<char *>(malloc(static_cast<size_t>(n) + 1));
    FUZZ_CHECK(buf);
    if (n > 0) {
        FUZZ_CHECK(rvSdpMsgEncodeToBuf(msg, buf, static_cast<uint32_t>(n)) == n);
        FUZZ_CHECK(buf[0] == '\0');
    }
    FUZZ_CHECK(rvSdpMsgEncodeToBuf(msg, buf, static_cast<uint32_t>(n) + 1) == n);
    FUZZ_CHECK(strlen(buf) == static_cast<size_t>(n));
    *length = n;
    return buf;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > UINT32_MAX) return 0;
    // Held by value as the gateway's callers do.
    RvSdpMsg msg;
    uint32_t length = static_cast<uint32_t>(size);
    int status = 12345;
    RvSdpMsg *result =
        rvSdpMsgConstructParse(&msg, reinterpret_cast<const char *>(data), &length, &status);

    FUZZ_CHECK(status == RVSDP_OK || status == RVSDP_PARSE_PARTIAL || status == RVSDP_PARSE_NOT_SDP);
    FUZZ_CHECK(length <= size);
    FUZZ_CHECK((status == RVSDP_PARSE_NOT_SDP) == (length == 0));
    FUZZ_CHECK(result == (status == RVSDP_PARSE_NOT_SDP ? nullptr : &msg));
    if (size <= RVSDP_NOHEAP_TEXT_LEN) FUZZ_CHECK(rvSdpMsgGetHeapSize(&msg) == 0);
    FUZZ_CHECK(rvSdpMsgGetHeapSize(&msg) <= RVSDP_HEAP_PER_BYTE * size + RVSDP_CHUNK_SIZE);

    walk(&msg);
    int n1;
    char *text1 = encode(&msg, &n1);
    rvSdpMsgDestruct(&msg);
    rvSdpMsgDestruct(&msg);

    // What the library prints is SDP it takes back whole.
    RvSdpMsg again;
    uint32_t length2 = static_cast<uint32_t>(n1);
    int status2;
    rvSdpMsgConstructParse(&again, text1, &length2, &status2);
    if (n1 == 0) {
        FUZZ_CHECK(status2 == RVSDP_PARSE_NOT_SDP);
    } else {
        FUZZ_CHECK(status2 == RVSDP_OK);
        FUZZ_CHECK(length2 == static_cast<uint32_t>(n1));
    }
    int n2;
    char *text2 = encode(&again, &n2);
    FUZZ_CHECK(n1 == n2 && memcmp(text1, text2, static_cast<size_t>(n1)) == 0);
    rvSdpMsgDestruct(&again);
    free(text1);
    free(text2);
    return 0;
}
