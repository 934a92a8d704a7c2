// The simple capability declaration attributes "sqn", "cdsc" and "cpar"
// (RFC 3407) for a media's own payloads and an optional T.38 capability.
#include <stdio.h>
#include <string.h>

#include "fmtp_parameter.h"
#include "guard.h"

using namespace zv;

namespace {

// Every value stays at most this long; longer lists are cut short.
constexpr size_t kValueLimit = 199;

// Appends `piece` to `text` (a buffer of kValueLimit + 1 bytes) within the limit.
void appendBounded(char *text, const char *piece)
{
    size_t used = strlen(text);
    if (used < kValueLimit)
        strncat(text, piece, kValueLimit - used);
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpMediaAddCdscCparAttributes(CMedia **hMedia, uint32_t addT38)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!hMedia, "Invalid parameter detected: hMedia = %p", vp(hMedia));
    CMedia *media = *hMedia;
    uint32_t rc = zvSdpMediaAddAttribute(media, "sqn", " 0", nullptr);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    ZvSdpMediaType type = ZVSDP_MT_UNKNOWN;
    rc = zvSdpMediaGetMediaType(media, &type);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    // Other media keep their "sqn" and get nothing more.
    if (type != ZVSDP_MT_AUDIO && type != ZVSDP_MT_VIDEO)
        return ZVSDP_RC_OK;

    char capability[kValueLimit + 1] = {0};
    appendBounded(capability, type == ZVSDP_MT_VIDEO ? "1 video RTP/AVP" : "1 audio RTP/AVP");
    int count = 0;
    CPayload *payload = nullptr;
    zvSdpMediaGetFirstPayload(media, &payload);
    while (payload) {
        uint32_t number = 0;
        if (zvSdpPayloadGetPayloadType(payload, &number) != ZVSDP_RC_OK)
            number = 0;
        char piece[kValueLimit + 1];
        snprintf(piece, sizeof piece, " %d", static_cast<int>(number));
        // A text search, as it always was: after " 96", 9 counts as listed.
        if (!strstr(capability, piece)) {
            appendBounded(capability, piece);
            ++count;  // counted even when the limit cut the piece
        }
        zvSdpMediaGetNextPayload(media, payload, &payload);
    }
    rc = zvSdpMediaAddAttribute(media, "cdsc", capability, nullptr);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));

    char written[kValueLimit + 1] = {0};
    zvSdpMediaGetFirstPayload(media, &payload);
    while (payload) {
        char line[kValueLimit + 1] = "a=fmtp: ";
        uint32_t number = 0;
        if (zvSdpPayloadGetPayloadType(payload, &number) != ZVSDP_RC_OK)
            number = 0;
        char piece[100];
        snprintf(piece, sizeof piece, " %d", static_cast<int>(number));
        if (!strstr(written, piece)) {
            appendBounded(written, piece);
            char parameter[256];
            if (fmtpParameter(payload, number, parameter)) {
                appendBounded(line, parameter);
                rc = zvSdpMediaAddAttribute(media, "cpar", line, nullptr);
                ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
            }
        }
        zvSdpMediaGetNextPayload(media, payload, &payload);
    }

    if (addT38 != 1)
        return ZVSDP_RC_OK;
    snprintf(capability, sizeof capability, "%d image udptl t38", count + 1);
    rc = zvSdpMediaAddAttribute(media, "cdsc", capability, nullptr);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpRemoveCdscCparAttributes(CSdp *sdp)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!sdp, "Invalid parameter detected: zvSdp = %p", vp(sdp));
    CMedia *media = nullptr;
    uint32_t rc = zvSdpGetFirstMediaDescriptor(sdp, &media);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    uint32_t (*const tests[])(CAttribute *, uint32_t *) = {zvSdpAttrIsSqn, zvSdpAttrIsCdsc, zvSdpAttrIsCpar};
    while (media) {
        CAttribute *attribute = nullptr;
        rc = zvSdpMediaGetFirstAttribute(media, &attribute);
        while (rc == ZVSDP_RC_OK && attribute) {
            // Fetched first, so that removing this one keeps the walk going.
            CAttribute *next = nullptr;
            rc = zvSdpMediaGetNextAttribute(media, attribute, &next);
            for (auto test : tests) {
                if (rc != ZVSDP_RC_OK)
                    break;
                uint32_t matches = 0;
                rc = test(attribute, &matches);
                if (rc == ZVSDP_RC_OK && matches) {
                    rc = zvSdpMediaRemoveAttribute(media, &attribute);
                    break;
                }
            }
            attribute = next;
        }
        if (rc != ZVSDP_RC_OK)
            ZV_LOGE(kModApi, "%s\n", ZV_RC_TEXT(rc));
        rc = zvSdpGetNextMediaDescriptor(sdp, media, &media);
        ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGC, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    }
    return ZVSDP_RC_OK;
}

}  // extern "C"
