// Telephone-event (RFC 4733 named events) payloads of a media.
#include <string.h>

#include "guard.h"

using namespace zv;

extern "C" {

ZVSDP_API uint32_t zvSdpMediaAddTelephoneEvent(CMedia *mediaObj, CPayload **ptHndl)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj || !ptHndl, "Invalid parameter detected: mediaObj=%p, ptHndl=%p", vp(mediaObj),
                         vp(ptHndl));
    // 96 is the 8000 Hz row of the table as shipped; a renumbering of that
    // row does not change this number.
    return zvSdpMediaAddDynamicPayload(mediaObj, ZVSDP_PT_NTE, ptHndl);
}

ZVSDP_API uint32_t zvSdpMediaIsTelephoneEventSupportedEx(CMedia *mediaObj, uint32_t *supported,
                                                         uint32_t *payloadType)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj || !supported, "Invalid parameter detected: mediaObj=%p ; supported=%p",
                         vp(mediaObj), vp(supported));
    *supported = 0;
    CPayload *payload = nullptr;
    uint32_t rc = zvSdpMediaGetFirstPayload(mediaObj, &payload);
    while (rc == ZVSDP_RC_OK && payload) {
        char name[256];
        uint32_t length = sizeof name;
        rc = zvSdpPayloadGetEncodingName(payload, name, &length);
        if (rc != ZVSDP_RC_OK)
            break;
        // Exact case here, unlike the reorder of the stack-message copy.
        if (strcmp(name, "telephone-event") == 0) {
            *supported = 1;
            if (payloadType)
                zvSdpPayloadGetPayloadType(payload, payloadType);
            return ZVSDP_RC_OK;
        }
        rc = zvSdpMediaGetNextPayload(mediaObj, payload, &payload);
    }
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModApi, "%s\n", ZV_RC_TEXT(rc));
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaIsTelephoneEventSupported(CMedia *mediaObj, uint32_t *supported)
{
    return zvSdpMediaIsTelephoneEventSupportedEx(mediaObj, supported, nullptr);
}

}  // extern "C"
