// Checked attribute accessors, and the ptime and silenceSupp attributes.
#include <stdio.h>
#include <string.h>

#include "guard.h"

using namespace zv;

namespace {

// The name tests: 1 when the attribute's name is exactly `name`.
uint32_t isNamed(CAttribute *attrHndl, uint32_t *result, const char *name, bool critical, const char *function)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    if (!attrHndl || !result) {
        if (critical)
            ZV_LOGC_AS(kModApi, function, "Invalid parameter detected: attrHndl=%p, &result=%p", vp(attrHndl),
                       vp(result));
        else
            ZV_LOGD_AS(kModApi, function, "Invalid parameter detected: attrHndl=%p, &result=%p", vp(attrHndl),
                       vp(result));
        return ZVSDP_RC_INVALID;
    }
    *result = dynstr_strcmp2(zvSdpAttrObjGetName(attrHndl), name) == 0 ? 1 : 0;
    return ZVSDP_RC_OK;
}

// Appends a new attribute made from the pool string `text` (released here)
// to the media; the out handle gets it. 2 when it cannot be made.
uint32_t addAttributeFromText(CMedia *media, const char *name, dynstr_t text, CAttribute **out, bool nullIsHarmless)
{
    char *copy = dynstr_strdup(text);
    uint32_t rc = ZVSDP_RC_OK;
    CAttribute *attribute = nullptr;
    if (copy) {
        attribute = zvSdpAttrObjConstruct(name, copy);
        if (attribute)
            zvSdpMediaObjAddAttribute(media, attribute);
        else
            rc = ZVSDP_RC_NO_RESOURCE;
    } else if (!nullIsHarmless) {
        rc = ZVSDP_RC_NO_RESOURCE;
    } else {
        // A lost copy adds nothing and is not reported; appending NULL is
        // ignored by the media.
        zvSdpMediaObjAddAttribute(media, nullptr);
    }
    dynstr_strfree(copy);
    dynstr_release(text);
    if (out)
        *out = attribute;
    if (rc != ZVSDP_RC_OK)
        zvSdpAttrObjDestruct(attribute);
    return rc;
}

}  // namespace

extern "C" {

// The name tests; the two packet-time ones report a bad argument as critical.
#define ZV_NAME_TEST(function, name, critical)                           \
    ZVSDP_API uint32_t function(CAttribute *attrHndl, uint32_t *result) \
    {                                                                    \
        return isNamed(attrHndl, result, name, critical, __func__);     \
    }
ZV_NAME_TEST(zvSdpAttrIsSilenceSupp, "silenceSupp", false)
ZV_NAME_TEST(zvSdpAttrIsPtime, "ptime", true)
ZV_NAME_TEST(zvSdpAttrIsMaxPtime, "maxptime", true)
ZV_NAME_TEST(zvSdpAttrIsFmtp, "fmtp", false)
ZV_NAME_TEST(zvSdpAttrIsCdsc, "cdsc", false)
ZV_NAME_TEST(zvSdpAttrIsCpar, "cpar", false)
ZV_NAME_TEST(zvSdpAttrIsSqn, "sqn", false)

ZV_CHECKED_TEXT_GET(zvSdpAttrGetName, CAttribute, zvSdpAttrObjGetName, kWholeBufferCleared, kCutBeforeLast,
                    "Invalid parameter detected: attrObj=%p, &name=%p, &length=%p")
// The full size is handed on, so the copy may write size + 1 bytes: callers
// of this operation pass a buffer one byte larger.
ZV_CHECKED_TEXT_GET(zvSdpAttrGetValueStr, CAttribute, zvSdpAttrObjGetValue, kFirstByteCleared, kFullSize,
                    "Invalid parameter detected: attrObj=%p, &value=%p, &length=%p")

ZVSDP_API uint32_t zvSdpAttrGetValueInt(CAttribute *attrObj, uint32_t *value)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!attrObj || !value, "Invalid parameter detected: attrObj=%p, &value=%p", vp(attrObj),
                         vp(value));
    long number = 0;
    // Held to 32 bits so that a 64-bit host answers as the gateways do.
    if (dynstr_getlong(zvSdpAttrObjGetValue(attrObj), &number) != 0 || number < INT32_MIN || number > INT32_MAX)
        return ZVSDP_RC_EXTERNAL;
    *value = static_cast<uint32_t>(number);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpAttrSetValueInt(CAttribute *attrObj, int32_t value)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!attrObj, "Invalid parameter detected: attrObj=%p, &value=%d", vp(attrObj),
                         static_cast<int>(value));
    char text[16];
    snprintf(text, sizeof text, "%d", static_cast<int>(value));
    zvSdpAttrObjSetValue(attrObj, text);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpAttrSetValueStr(CAttribute *attrObj, const char *value)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!attrObj || !value, "Invalid parameter detected: attrObj=%p, &value=%p", vp(attrObj),
                         vp(value));
    zvSdpAttrObjSetValue(attrObj, value);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaAddAttrPtime(CMedia *mediaHndl, uint32_t ptime, CAttribute **attrHndl)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!mediaHndl, "Invalid parameter detected: mediaHndl=%p", vp(mediaHndl));
    ZV_RETURN_IF_READ_ONLY(zvSdpMediaObjGetAccessRights(mediaHndl));
    if (attrHndl)
        *attrHndl = nullptr;
    // A second call adds a second ptime line: nothing is looked up first.
    return addAttributeFromText(mediaHndl, "ptime", dynstr_fromuint32(g_apiDynstrPool, ptime), attrHndl, false);
}

ZVSDP_API uint32_t zvSdpMediaGetPtime(CMedia *mediaHndl, CPayload *payloadHndl, uint32_t *ptime)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!mediaHndl || !payloadHndl || !ptime, "Invalid parameter detected: mediaHndl=%p",
                         vp(mediaHndl));
    *ptime = 0;
    // The media's first ptime attribute decides; then the table's default
    // for the payload's name; there is no fixed fallback here.
    for (CAttribute *a = zvSdpMediaObjGetAttribute(mediaHndl, nullptr); a;
         a = zvSdpMediaObjGetAttribute(mediaHndl, a)) {
        uint32_t isPtime = 0;
        uint32_t rc = zvSdpAttrIsPtime(a, &isPtime);
        ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "zvSdpAttrIsPtime failed with error: %s\n",
                     ZV_RC_TEXT(rc));
        if (!isPtime)
            continue;
        rc = zvSdpAttrGetValueInt(a, ptime);
        ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "zvSdpAttrGetValueInt failed with error: %s\n",
                     ZV_RC_TEXT(rc));
        return ZVSDP_RC_OK;
    }
    char *name = dynstr_strdup(zvSdpPayloadObjGetName(payloadHndl));
    uint32_t rc = ZVSDP_RC_INVALID;
    if (name) {
        for (const ZvSdpCodecEntry &row : zvSdpCodecTable) {
            if (!sameCodecName(row.encodingName, name))
                continue;
            if (row.defaultPtime != 0) {
                *ptime = row.defaultPtime;
                rc = ZVSDP_RC_OK;
            }
            break;
        }
    }
    dynstr_strfree(name);
    return rc;
}

ZVSDP_API uint32_t zvSdpMediaIsPtimePresent(CMedia *mediaHndl, uint32_t *present)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGD, kModApi, "API not initialised!\r\n");
    ZV_RETURN_INVALID_IF(!mediaHndl || !present, "Invalid Parameters detected \r\n");
    *present = 0;
    CAttribute *attribute = nullptr;
    uint32_t rc = zvSdpMediaGetFirstAttribute(mediaHndl, &attribute);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "zvSdpMediaGetFirstAttribute returned error!  %s \r\n",
                 ZV_RC_TEXT(rc));
    while (attribute) {
        rc = zvSdpAttrIsPtime(attribute, present);
        ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
        if (*present == 1)
            return ZVSDP_RC_OK;
        rc = zvSdpMediaGetNextAttribute(mediaHndl, attribute, &attribute);
        ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    }
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaAddAttrSilenceSupp(CMedia *mediaHndl, uint32_t enable, uint32_t silenceTimer,
                                                uint32_t preference, uint32_t sidUse, uint32_t fixedNoiseLevel,
                                                CAttribute **attrHndl)
{
    // The out handle is null after every failure, the early ones included.
    if (attrHndl)
        *attrHndl = nullptr;
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!mediaHndl, "Invalid parameter detected: mediaHndl=%p", vp(mediaHndl));
    ZV_RETURN_IF_READ_ONLY(zvSdpMediaObjGetAccessRights(mediaHndl));
    dynstr_t text = nullptr;
    if (enable == 0) {
        text = dynstr_fromstr(g_apiDynstrPool, "off - - - -");
    } else if (enable == 1) {
        static const char *const preferences[] = {"-", "standard", "custom"};
        static const char *const sidUses[] = {"-", "No SID", "Fixed Noise", "Sampled Noise"};
        if (preference > 2 || sidUse > 3)
            return ZVSDP_RC_INVALID;
        int timer = static_cast<int>(silenceTimer);
        if (sidUse == 2) {
            // Narrower than the protocol's 0..127 on purpose: what the
            // gateway's DSPs accept.
            if ((fixedNoiseLevel < 30 || fixedNoiseLevel > 78) && fixedNoiseLevel != 127)
                return ZVSDP_RC_INVALID;
            text = dynstr_fromprintf(g_apiDynstrPool, "on %d %s %s %d", timer, preferences[preference],
                                     sidUses[sidUse], static_cast<int>(fixedNoiseLevel));
        } else {
            text = dynstr_fromprintf(g_apiDynstrPool, "on %d %s %s -", timer, preferences[preference],
                                     sidUses[sidUse]);
        }
    } else {
        return ZVSDP_RC_INVALID;
    }
    return addAttributeFromText(mediaHndl, "silenceSupp", text, attrHndl, true);
}

ZVSDP_API uint32_t zvSdpMediaIsSilenceSuppressionEnabled(CSdp *sdpHndl, uint32_t *result)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!sdpHndl || !result, "Invalid Parameters detected : %p ", vp(sdpHndl));
    *result = 0;
    // One byte more than the size handed out: the value copy terminates after
    // the full size. The size is deliberately not reset between attributes.
    char value[64 + 1];
    uint32_t size = 64;
    CMedia *media = nullptr;
    uint32_t rc = zvSdpGetFirstMediaDescriptor(sdpHndl, &media);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    while (media) {
        CAttribute *attribute = nullptr;
        rc = zvSdpMediaGetFirstAttribute(media, &attribute);
        ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "zvSdpMediaGetFirstAttribute returned error! \r\n");
        while (attribute) {
            uint32_t isSilenceSupp = 0;
            rc = zvSdpAttrIsSilenceSupp(attribute, &isSilenceSupp);
            if (rc != ZVSDP_RC_OK) {
                ZV_LOGE(kModApi, "%s\r\n", ZV_RC_TEXT(rc));
                break;
            }
            if (isSilenceSupp) {
                rc = zvSdpAttrGetValueStr(attribute, value, &size);
                if (rc != ZVSDP_RC_OK) {
                    ZV_LOGC(kModApi, "%s\r\n", ZV_RC_TEXT(rc));
                    break;
                }
                ZV_LOGD(kModApi, "attribute content = %s \r\n", value);
                if (strstr(value, "off")) {
                    ZV_LOGD(kModApi, "silenceSupp attribute content contains 'off'! \r\n");
                    *result = 1;
                    return ZVSDP_RC_OK;
                }
            }
            rc = zvSdpMediaGetNextAttribute(media, attribute, &attribute);
            if (rc != ZVSDP_RC_OK) {
                ZV_LOGE(kModApi, "%s\r\n", ZV_RC_TEXT(rc));
                break;
            }
        }
        rc = zvSdpGetNextMediaDescriptor(sdpHndl, media, &media);
        ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    }
    return ZVSDP_RC_OK;
}

}  // extern "C"
