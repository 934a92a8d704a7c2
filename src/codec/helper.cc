// The negotiation module's own services: its trace level, one-line session
// logging, and payload copies through handle references.
#include <string.h>

#include "guard.h"

using namespace zv;

extern "C" {

ZVSDP_API void zvSdpHelperSetTraceLevel(uint32_t level)
{
    g_traceLevel[kModHelper] = level;
}

ZVSDP_API void zvSdpHelperLogSdp(CSdp *sdp, const char *title)
{
    if (title)
        ZV_LOGI(kModHelper, "%s", title);
    if (!sdp) {
        ZV_LOGI(kModHelper, "NONE");
        return;
    }
    // The session is printed only for the line below; printing has no
    // other effect, so it is skipped when the line would not be written.
    if (g_traceLevel[kModHelper] < 4)
        return;
    char text[1024];
    uint32_t length = sizeof text;
    if (zvSdpToString(sdp, text, &length) != ZVSDP_RC_OK)
        return;
    // One log line: each line feed becomes "\n " written out.
    char line[1024];
    size_t out = 0;
    for (uint32_t i = 0; i < length && out < sizeof line - 1; ++i) {
        if (text[i] != '\n') {
            line[out++] = text[i];
            continue;
        }
        for (const char *p = "\\n "; *p && out < sizeof line - 1; ++p)
            line[out++] = *p;
    }
    line[out] = '\0';
    ZV_LOGI(kModHelper, "%s", line);
}

ZVSDP_API uint32_t zvSdpHelperCopyPTime(CPayload **dst, CPayload **src)
{
    if (!dst || !src || !*dst || !*src)
        return ZVSDP_RC_INVALID;
    zvSdpPayloadObjSetPtime(*dst, zvSdpPayloadObjGetPtime(*src));
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpHelperCopyConstructPayload(CPayload **out, CPayload **src)
{
    if (!out || !src || !*src)
        return ZVSDP_RC_INVALID;
    // An exhausted pool gives a NULL copy, and still 0.
    *out = zvSdpPayloadObjConstructCopy(*src);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpHelperDestructPayload(CPayload **payload)
{
    if (!payload || !*payload)
        return ZVSDP_RC_INVALID;
    zvSdpPayloadObjDestruct(*payload);
    *payload = nullptr;
    return ZVSDP_RC_OK;
}

}  // extern "C"
