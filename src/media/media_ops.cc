// Checked operations on one media description, and the codec-table adders.
#include <string.h>

#include "guard.h"

using namespace zv;

namespace {

enum class RowKind { Static, Dynamic, Any };

// The media's first payload of that number, or NULL.
CPayload *payloadOfType(CMedia *media, uint32_t payloadType)
{
    for (CPayload *p = zvSdpMediaObjGetPayload(media, nullptr); p; p = zvSdpMediaObjGetPayload(media, p))
        if (zvSdpPayloadObjGetPayloadType(p) == payloadType)
            return p;
    return nullptr;
}

const ZvSdpCodecEntry *findRow(uint32_t payloadType, RowKind kind)
{
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable) {
        if (row.payloadType != payloadType)
            continue;
        if (kind == RowKind::Any || (kind == RowKind::Static) == (row.isDynamic == 0))
            return &row;
    }
    return nullptr;
}

// Builds a payload from a table row under `payloadType` and appends it.
uint32_t addFromRow(CMedia *media, uint32_t payloadType, const ZvSdpCodecEntry &row, CPayload **out)
{
    CPayload *payload = zvSdpPayloadObjConstructEx(payloadType, row.encodingName, row.clockRate, row.channels);
    if (!payload) {
        zvSdpPayloadObjDestruct(payload);
        return ZVSDP_RC_NO_RESOURCE;
    }
    zvSdpMediaObjAddPayload(media, payload);
    if (out)
        *out = payload;
    return ZVSDP_RC_OK;
}

uint32_t addTablePayload(CMedia *mediaObj, uint32_t payloadType, CPayload **ptHndl, bool dynamic,
                         const char *function)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGD_AS, kModApi, function, "API not initialised!");
    if (!mediaObj) {
        if (dynamic)
            ZV_LOGD_AS(kModApi, function, "Invalid parameter detected: mediaObj=%p ; &ptHndl=%p", vp(mediaObj),
                       vp(ptHndl));
        else
            ZV_LOGD_AS(kModApi, function, "Invalid parameter detected: mediaObj=%p", vp(mediaObj));
        return ZVSDP_RC_INVALID;
    }
    if (ptHndl)
        *ptHndl = nullptr;
    ZV_RETURN_IF_READ_ONLY(zvSdpMediaObjGetAccessRights(mediaObj));
    const ZvSdpCodecEntry *row = findRow(payloadType, dynamic ? RowKind::Dynamic : RowKind::Static);
    if (!row) {
        if (dynamic)
            ZV_LOGD_AS(kModApi, function, "Requested dynamic payload type: %d not found in tables.",
                       static_cast<int>(payloadType));
        else
            ZV_LOGD_AS(kModApi, function, "Requested static payload type: %d not found in tables.",
                       static_cast<int>(payloadType));
        return ZVSDP_RC_INVALID;
    }
    return addFromRow(mediaObj, payloadType, *row, ptHndl);
}

}  // namespace

extern "C" {

ZV_CHECKED_GET(zvSdpMediaIsSupported, CMedia, uint32_t, zvSdpMediaObjIsSupported, ZV_RETURN_IF_NOT_STARTED,
               "Invalid parameter detected: mediaObj=%p, val=%p")
ZV_CHECKED_GET(zvSdpMediaGetMediaType, CMedia, ZvSdpMediaType, zvSdpMediaObjGetMediaType, ZV_RETURN_IF_NOT_STARTED,
               "Invalid parameter detected: mediaObj=%p, &type=%p")
ZV_CHECKED_GET(zvSdpMediaGetTransportProtocol, CMedia, ZvSdpTransportProtocol, zvSdpMediaObjGetTransport,
               ZV_RETURN_IF_NOT_STARTED, "Invalid parameter detected: mediaObj=%p, &proto=%p")
ZV_CHECKED_GET(zvSdpMediaGetPort, CMedia, uint32_t, zvSdpMediaObjGetPort, ZV_RETURN_IF_NOT_STARTED,
               "Invalid parameter detected: objHndl=%p, port=%p")
ZV_CHECKED_WALK(zvSdpMediaGetFirstPayload, zvSdpMediaGetNextPayload, CMedia, CPayload, zvSdpMediaObjGetPayload,
                ZV_RETURN_IF_NOT_STARTED, "Invalid parameter detected: objHndl=%p, ptHndl=%p",
                "Invalid parameter detected: objHndl=%p, ptHndl=%p, &nextPtHndl=%p")
ZV_CHECKED_WALK(zvSdpMediaGetFirstAttribute, zvSdpMediaGetNextAttribute, CMedia, CAttribute, zvSdpMediaObjGetAttribute,
                ZV_RETURN_IF_NOT_STARTED, "Invalid parameter detected: objHndl=%p, attrHndl=%p",
                "Invalid parameter detected: objHndl=%p, attrHndl=%p, &nextAttrHndl=%p")
ZV_CHECKED_REMOVE(zvSdpMediaRemovePayload, CMedia, CPayload, zvSdpMediaObjGetAccessRights, zvSdpMediaObjHasPayload,
                  zvSdpMediaObjRemovePayload, ZV_RETURN_IF_NOT_STARTED,
                  "Invalid parameter detected: objHndl=%p, &ptHndl=%p, ptHndl=%p")
ZV_CHECKED_REMOVE(zvSdpMediaRemoveAttribute, CMedia, CAttribute, zvSdpMediaObjGetAccessRights,
                  zvSdpMediaObjHasAttribute, zvSdpMediaObjRemoveAttribute, ZV_RETURN_IF_NOT_STARTED,
                  "Invalid parameter detected: objHndl=%p, &attrHndl=%p, attrHndl=%p")

ZVSDP_API uint32_t zvSdpMediaMarkUnsupported(CMedia *mediaObj)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj, "Invalid parameter detected: mediaObj=%p", vp(mediaObj));
    ZV_RETURN_IF_READ_ONLY(zvSdpMediaObjGetAccessRights(mediaObj));
    // Port 0 is how offer/answer marks a rejected stream.
    zvSdpMediaObjSetPort(mediaObj, 0);
    zvSdpMediaObjSetSupported(mediaObj, 0);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaSetPort(CMedia *objHndl, uint32_t port)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!objHndl, "Invalid parameter detected: objHndl=%p", vp(objHndl));
    // A rejected stream keeps port 0: nothing sets it supported again.
    if (!zvSdpMediaObjIsSupported(objHndl) || zvSdpMediaObjGetAccessRights(objHndl) == ZVSDP_READ_ONLY)
        return ZVSDP_RC_NOT_ALLOWED;
    zvSdpMediaObjSetPort(objHndl, port);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaAddAttribute(CMedia *mediaObj, const char *name, const char *value,
                                          CAttribute **attrHndl)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj || !name, "Invalid parameter detected: mediaObj=%p, name=%p", vp(mediaObj),
                         vp(name));
    if (attrHndl)
        *attrHndl = nullptr;
    // The rights test, the construction and the append are one operation on
    // the media.
    ClassLock mediaLock(g_mediaModule);
    ZV_RETURN_IF_READ_ONLY(mediaObj->rights);
    CAttribute *attribute;
    {
        ClassLock attributeLock(g_attrModule);
        attribute = attrConstructChecked(name, value);
    }
    if (!attribute)
        return ZVSDP_RC_NO_RESOURCE;
    mediaAddAttribute(mediaObj, attribute);
    if (attrHndl)
        *attrHndl = attribute;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaGetPayloadFromPayloadType(CMedia *mediaObj, uint32_t payloadType, CPayload **retval)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj || !retval, "Invalid parameter detected: mediaObj=%p, &retval=%p", vp(mediaObj),
                         vp(retval));
    *retval = payloadOfType(mediaObj, payloadType);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaPayloadTypeExists(CMedia *mediaObj, uint32_t payloadType, uint32_t *retval)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj || !retval, "Invalid parameter detected: mediaObj=%p, &retval=%p", vp(mediaObj),
                         vp(retval));
    *retval = payloadOfType(mediaObj, payloadType) ? 1 : 0;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaAddStaticPayloadType(CMedia *mediaObj, uint32_t payloadType, CPayload **ptHndl)
{
    return addTablePayload(mediaObj, payloadType, ptHndl, false, __func__);
}

ZVSDP_API uint32_t zvSdpMediaAddDynamicPayload(CMedia *mediaObj, uint32_t payloadType, CPayload **ptHndl)
{
    return addTablePayload(mediaObj, payloadType, ptHndl, true, __func__);
}

ZVSDP_API uint32_t zvSdpMediaAddPayloadFromPayloadType(CMedia *mediaObj, uint32_t payloadType, CPayload **ptHndl)
{
    // The table is asked before anything else: an unknown number is refused
    // even before the library is started, and the out handle is left alone.
    const ZvSdpCodecEntry *row = findRow(payloadType, RowKind::Any);
    if (!row)
        return ZVSDP_RC_INVALID;
    if (row->isDynamic)
        return zvSdpMediaAddDynamicPayload(mediaObj, payloadType, ptHndl);
    return zvSdpMediaAddStaticPayloadType(mediaObj, payloadType, ptHndl);
}

ZVSDP_API uint32_t zvSdpMediaAddDynamicPayloadBasedOnName(CMedia *mediaObj, const char *encodingName,
                                                          CPayload **ptHndl)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj, "Invalid parameter detected: mediaObj=%p ; &ptHndl=%p", vp(mediaObj), vp(ptHndl));
    if (ptHndl)
        *ptHndl = nullptr;
    ZV_RETURN_IF_READ_ONLY(zvSdpMediaObjGetAccessRights(mediaObj));
    if (!encodingName)
        return ZVSDP_RC_INVALID;
    // Static rows count too, and the first row of a name wins.
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable)
        if (sameCodecName(row.encodingName, encodingName))
            return addFromRow(mediaObj, row.payloadType, row, ptHndl);
    return ZVSDP_RC_INVALID;
}

ZVSDP_API uint32_t zvSdpMediaAddPayload(CMedia *mediaObj, uint32_t payloadType, const char *encodingName,
                                        uint32_t clockRate, uint32_t channels, const char *fmtp, CPayload **ptHndl)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!mediaObj || !encodingName || !*encodingName,
                         "Invalid parameter detected: mediaObj=%p, name=%p", vp(mediaObj), vp(encodingName));
    if (ptHndl)
        *ptHndl = nullptr;
    // The rights test, the construction, the append and the fmtp are one
    // operation on the media and its new payload.
    ClassLock mediaLock(g_mediaModule);
    ZV_RETURN_IF_READ_ONLY(mediaObj->rights);
    ClassLock payloadLock(g_payloadModule);
    CPayload *payload = payloadConstructEx(payloadType, encodingName, clockRate, channels);
    if (!payload)
        return ZVSDP_RC_NO_RESOURCE;
    mediaAddPayload(mediaObj, payload);
    if (ptHndl)
        *ptHndl = payload;
    if (fmtp)
        payloadSetFmtp(payload, fmtp);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaGetFirstSupportedPayload(CMedia *mediaObj, const char *const *names, uint32_t count,
                                                      CPayload **ptHndl)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGC, kModApi, "%s\n", ZV_RC_TEXT(ZVSDP_RC_NOT_ALLOWED));
    ZV_RETURN_IF(!mediaObj || !names || count == 0 || !ptHndl, ZVSDP_RC_INVALID, ZV_LOGE, kModApi, "%s\n",
                 ZV_RC_TEXT(ZVSDP_RC_INVALID));
    *ptHndl = nullptr;
    // The media's order decides, not the order of the names.
    for (CPayload *p = zvSdpMediaObjGetPayload(mediaObj, nullptr); p; p = zvSdpMediaObjGetPayload(mediaObj, p)) {
        dynstr_t name = zvSdpPayloadObjGetName(p);
        for (uint32_t i = 0; i < count; ++i) {
            if (dynstr_strcmpi2(name, names[i]) == 0) {
                *ptHndl = p;
                return ZVSDP_RC_OK;
            }
        }
    }
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaSortPayloads(CMedia *mediaObj, void *sortArg, ZvSdpPayloadCompareFn compare)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGC, kModApi, "%s\n", ZV_RC_TEXT(ZVSDP_RC_NOT_ALLOWED));
    ZV_RETURN_IF(!mediaObj || !compare, ZVSDP_RC_INVALID, ZV_LOGE, kModApi, "%s\n", ZV_RC_TEXT(ZVSDP_RC_INVALID));
    // Sorting is no change of content: read-only media may be sorted, and
    // the sort's own result is not reported.
    (void)zvSdpMediaObjSortPayloads(mediaObj, sortArg, compare);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpFindMedia(CSdp *sdpObj, ZvSdpMediaType mediaType, uint32_t supported, CMedia **mediaObj)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGC, kModApi, "%s\n", ZV_RC_TEXT(ZVSDP_RC_NOT_ALLOWED));
    ZV_RETURN_IF(!sdpObj || !mediaObj, ZVSDP_RC_INVALID, ZV_LOGE, kModApi, "%s\n", ZV_RC_TEXT(ZVSDP_RC_INVALID));
    *mediaObj = nullptr;
    CMedia *media = nullptr;
    uint32_t rc = zvSdpGetFirstMediaDescriptor(sdpObj, &media);
    // The first media is used without a NULL test: a session without media
    // answers 5 from the type query below.
    while (rc == ZVSDP_RC_OK) {
        ZvSdpMediaType type = ZVSDP_MT_UNKNOWN;
        rc = zvSdpMediaGetMediaType(media, &type);
        if (rc != ZVSDP_RC_OK)
            break;
        if (type == mediaType) {
            uint32_t isSupported = 0;
            rc = zvSdpMediaIsSupported(media, &isSupported);
            if (rc != ZVSDP_RC_OK)
                break;
            if (isSupported == supported) {
                *mediaObj = media;
                return ZVSDP_RC_OK;
            }
        }
        rc = zvSdpGetNextMediaDescriptor(sdpObj, media, &media);
        if (rc == ZVSDP_RC_OK && !media)
            return ZVSDP_RC_OK;
    }
    ZV_LOGE(kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    return rc;
}

}  // extern "C"
