// Checked accessors of one payload, and a media's in-band DTMF flag.
#include <string.h>

#include "guard.h"

using namespace zv;

namespace {

// A payload setter: started (no message), a payload given, the payload
// writable; then `change`, whose result is the setter's.
template <class Change>
uint32_t changeIfWritable(CPayload *payloadHndl, const char *function, Change change)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_IF(!payloadHndl, ZVSDP_RC_INVALID, ZV_LOGD_AS, kModApi, function,
                 "Invalid parameter detected: payloadHndl=%p", vp(payloadHndl));
    ZV_RETURN_IF_READ_ONLY(zvSdpPayloadObjGetAccessRights(payloadHndl));
    return change();
}

// The plain setters: the checks above, then the object operation.
template <class Value>
uint32_t setIfWritable(CPayload *payloadHndl, const char *function, void (*set)(CPayload *, Value), Value value)
{
    return changeIfWritable(payloadHndl, function, [&] {
        set(payloadHndl, value);
        return ZVSDP_RC_OK;
    });
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpPayloadAddFmtp(CPayload *payloadHndl, const char *format_specifier)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!payloadHndl || !format_specifier || !*format_specifier,
                         "Invalid parameter detected: payloadHndl=%p, &format_specifier=%p", vp(payloadHndl),
                         vp(format_specifier));
    ClassLock lock(g_payloadModule);
    ZV_RETURN_IF_READ_ONLY(payloadHndl->rights);
    payloadSetFmtp(payloadHndl, format_specifier);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpPayloadResetFmtp(CPayload *payloadHndl)
{
    return setIfWritable<const char *>(payloadHndl, __func__, zvSdpPayloadObjSetFmtp, nullptr);
}

ZVSDP_API uint32_t zvSdpPayloadSetPayloadType(CPayload *payloadHndl, uint32_t payloadType)
{
    return setIfWritable(payloadHndl, __func__, zvSdpPayloadObjSetPayloadType, payloadType);
}

ZVSDP_API uint32_t zvSdpPayloadSetRtpMap(CPayload *payloadHndl, uint32_t enable)
{
    return changeIfWritable(payloadHndl, __func__, [&] {
        // A dynamic payload cannot be described without its rtpmap line.
        if (zvSdpPayloadObjGetPayloadType(payloadHndl) >= 96 && enable == 0)
            return ZVSDP_RC_INVALID;
        zvSdpPayloadObjSetEnableRtpMap(payloadHndl, enable);
        return ZVSDP_RC_OK;
    });
}

ZVSDP_API uint32_t zvSdpPayloadSetPtime(CPayload *payloadHndl, uint32_t ptime)
{
    return setIfWritable(payloadHndl, __func__, zvSdpPayloadObjSetPtime, ptime);
}

ZVSDP_API uint32_t zvSdpPayloadGetPtime(CPayload *payloadHndl, uint32_t *ptime)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!payloadHndl || !ptime, "Invalid parameter detected : \n");
    // Own value, then the table's default for the name, then 20 ms.
    *ptime = zvSdpPayloadObjGetPtime(payloadHndl);
    if (*ptime != 0)
        return ZVSDP_RC_OK;
    if (zvSdpPayloadGetDefaultPtime(payloadHndl, ptime) != ZVSDP_RC_OK)
        *ptime = 20;
    return ZVSDP_RC_OK;
}

ZV_CHECKED_GET(zvSdpPayloadGetClock, CPayload, uint32_t, zvSdpPayloadObjGetClock, ZV_RETURN_IF_NOT_STARTED_QUIETLY,
               "Invalid parameter detected: objHndl=%p, &clock=%p")
// The same text as the clock's, "&clock" and all.
ZV_CHECKED_GET(zvSdpPayloadGetChannels, CPayload, uint32_t, zvSdpPayloadObjGetChannels, ZV_RETURN_IF_NOT_STARTED_QUIETLY,
               "Invalid parameter detected: objHndl=%p, &clock=%p")

ZV_CHECKED_TEXT_GET(zvSdpPayloadGetFmtp, CPayload, zvSdpPayloadObjGetFmtp, kFirstByteCleared, kCutBeforeLast,
                    "Invalid parameter detected: objHndl=%p, &buf=%p, &buflen=%p")

ZVSDP_API uint32_t zvSdpMediaGetInbandDtmf(CMedia *mediaObj, uint32_t *inbandDtmf)
{
    ZV_RETURN_IF_NOT_STARTED();
    if (!mediaObj)
        return ZVSDP_RC_INVALID;
    *inbandDtmf = zvSdpMediaObjGetInbandDtmf(mediaObj);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaSetInbandDtmf(CMedia *mediaObj, uint32_t inbandDtmf)
{
    ZV_RETURN_IF_NOT_STARTED();
    if (!mediaObj)
        return ZVSDP_RC_INVALID;
    // The flag is the caller's own note: it may be set on a read-only media.
    zvSdpMediaObjSetInbandDtmf(mediaObj, inbandDtmf);
    return ZVSDP_RC_OK;
}

}  // extern "C"
