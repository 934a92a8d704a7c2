// The exported face of a session's media list.
#include "guard.h"

using namespace zv;

extern "C" {

ZVSDP_API uint32_t zvSdpClearMedia(CSdp *sdp)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    if (!sdp)
        return ZVSDP_RC_INVALID;
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(sdp));
    while (CMedia *media = zvSdpObjGetMedia(sdp, nullptr))
        zvSdpObjRemoveMedia(sdp, media);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpAddMediaDescriptor(CSdp *sdp, uint32_t mediaType, uint32_t transport, CMedia **mediaObj)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!sdp, "Invalid parameter detected: sdpObj=%p", vp(sdp));
    if (mediaObj)
        *mediaObj = nullptr;
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(sdp));
    // The object constructor takes transport first.
    CMedia *media = zvSdpMediaObjConstruct(transport, mediaType);
    if (!media)
        return ZVSDP_RC_NO_RESOURCE;
    zvSdpObjAddMedia(sdp, media);
    if (mediaObj)
        *mediaObj = media;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpRemoveMediaDescriptor(CSdp *sdp, CMedia **mediaObj)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!sdp || !mediaObj, "Invalid parameter detected: sdpObj=%p, &mediaObj=%p", vp(sdp),
                         vp(mediaObj));
    ZV_RETURN_INVALID_IF(!*mediaObj, "Invalid parameter detected: mediaObj=NULL");
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(sdp));
    if (!zvSdpObjHasMedia(sdp, *mediaObj))
        return ZVSDP_RC_INVALID;
    zvSdpObjRemoveMedia(sdp, *mediaObj);
    *mediaObj = nullptr;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpRemoveMediaDescriptorByMediaType(CSdp *sdp, uint32_t mediaType, uint32_t mode)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!sdp, "Invalid parameter detected: sdpObj=%p\r\n", vp(sdp));
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(sdp));
    // Mode 1 drops the type, mode 0 keeps only it, any other mode changes
    // nothing (the whole list is still walked).
    CMedia *previous = nullptr;
    CMedia *media = zvSdpObjGetMedia(sdp, nullptr);
    while (media) {
        uint32_t type = zvSdpMediaObjGetMediaType(media);
        bool drop = (mode == 1 && type == mediaType) || (mode == 0 && type != mediaType);
        if (drop) {
            zvSdpObjRemoveMedia(sdp, media);
            media = zvSdpObjGetMedia(sdp, previous);
        } else {
            previous = media;
            media = zvSdpObjGetMedia(sdp, media);
        }
    }
    return ZVSDP_RC_OK;
}

ZV_CHECKED_WALK(zvSdpGetFirstMediaDescriptor, zvSdpGetNextMediaDescriptor, CSdp, CMedia, zvSdpObjGetMedia,
                ZV_RETURN_IF_NOT_STARTED_QUIETLY, "Invalid parameter detected: sdpObj=%p, &mediaObj=%p",
                "Invalid parameter detected: sdpObj=%p, mediaObj=%p, &nextObj=%p")

ZVSDP_API uint32_t zvSdpIsMediaDescriptorsListPresent(CSdp *sdp, uint32_t *present)
{
    ZV_RETURN_IF(!sdp || !present, ZVSDP_RC_INVALID, ZV_LOGE, kModApi, "%s\n", ZV_RC_TEXT(ZVSDP_RC_INVALID));
    *present = 0;
    CMedia *first = nullptr;
    uint32_t rc = zvSdpGetFirstMediaDescriptor(sdp, &first);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModApi, "%s\r\n", ZV_RC_TEXT(rc));
    *present = first ? 1 : 0;
    return ZVSDP_RC_OK;
}

}  // extern "C"
