// Sessions out again: as SDP text, as an SDP stack message, and the RTP
// figures of a media.
#include <stdio.h>
#include <string.h>

#include "fmtp_parameter.h"
#include "guard.h"
#include "rvsdp.h"

using namespace zv;

namespace {

int vendorMediaType(ZvSdpMediaType type)
{
    switch (type) {
    case ZVSDP_MT_AUDIO: return RVSDP_MEDIATYPE_AUDIO;
    case ZVSDP_MT_VIDEO: return RVSDP_MEDIATYPE_VIDEO;
    case ZVSDP_MT_APP: return RVSDP_MEDIATYPE_APP;
    case ZVSDP_MT_IMAGE: return RVSDP_MEDIATYPE_IMAGE;
    default: return RVSDP_MEDIATYPE_UNKNOWN;
    }
}

int vendorProtocol(ZvSdpTransportProtocol transport)
{
    switch (transport) {
    case ZVSDP_TP_RTPAVP: return RVSDP_PROTOCOL_RTP;
    case ZVSDP_TP_UDP: return RVSDP_PROTOCOL_UDP;
    case ZVSDP_TP_UDPTL: return RVSDP_PROTOCOL_UDPTL;
    case ZVSDP_TP_TCP: return RVSDP_PROTOCOL_TCP;
    case ZVSDP_TP_UDPBFCP: return RVSDP_PROTOCOL_UDP_BFCP;
    default: return RVSDP_PROTOCOL_UNKNOWN;
    }
}

// The payloads of one media as formats, rtpmap and fmtp lines.
void mirrorPayloads(RvSdpMsg *rvSdp, RvSdpMediaDescr *descr, CMedia *media)
{
    CPayload *payload = nullptr;
    zvSdpMediaGetFirstPayload(media, &payload);
    while (payload) {
        uint32_t number = 0;
        zvSdpPayloadGetPayloadType(payload, &number);
        rvSdpMediaDescrAddPayloadNumber(descr, static_cast<int>(number));
        if (zvSdpPayLoadIsRtpmapGenerationRequired(payload)) {
            char name[512];
            uint32_t nameLength = sizeof name;
            uint32_t clock = 0;
            zvSdpPayloadGetEncodingName(payload, name, &nameLength);
            zvSdpPayloadGetClock(payload, &clock);
            rvSdpAddRtpMap2(rvSdpMsgGetAllocator(rvSdp), descr, static_cast<int>(number), name,
                            static_cast<int>(clock), 0);
        }
        char line[256];
        if (fmtpParameter(payload, number, line))
            rvSdpSpecialAttrAdd(rvSdpMsgGetAllocator(rvSdp), descr, RVSDP_SPEC_ATTR_FMTP, line, nullptr);
        zvSdpMediaGetNextPayload(media, payload, &payload);
    }
}

void mirrorAttributes(RvSdpMediaDescr *descr, CMedia *media)
{
    CAttribute *attribute = nullptr;
    zvSdpMediaGetFirstAttribute(media, &attribute);
    while (attribute) {
        // 32 characters of each, deliberately; the value copy may take one
        // byte beyond the size it is given.
        char name[32 + 1];
        char value[32 + 1];
        uint32_t nameLength = 32;
        uint32_t valueLength = 32;
        zvSdpAttrGetName(attribute, name, &nameLength);
        zvSdpAttrGetValueStr(attribute, value, &valueLength);
        rvSdpMediaDescrAddAttr(descr, name, value);
        zvSdpMediaGetNextAttribute(media, attribute, &attribute);
    }
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpToString(CSdp *sdpObj, char *streamBuffer, uint32_t *length)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!sdpObj || !streamBuffer || !length || *length == 0,
                         "Invalid parameter detected: sdpObj=%p, &streamBuffer=%p, &length=%p", vp(sdpObj),
                         vp(streamBuffer), vp(length));
    // The session's print zero-fills whatever its text leaves of the buffer,
    // which is all the clearing the buffer needs.
    zvSdpObjToString(sdpObj, streamBuffer, length);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpAppGetRvSdp(CSdp *objHndl, RvSdpMsg *rvSdp)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!objHndl || !rvSdp, "Invalid parameter detected: &objHndl=%p ; &rvSdp=%p", vp(objHndl),
                         vp(rvSdp));
    // The print clears what its text leaves of the buffer.
    char text[1024];
    uint32_t length = sizeof text;
    zvSdpObjToString(objHndl, text, &length);
    ZV_RETURN_IF(length == 0, ZVSDP_RC_EXTERNAL, ZV_LOGC, kModApi,
                 "zvSdpObjToString failed, invalid SDP construction!");
    int status = 0;
    rvSdpMsgConstructParse(rvSdp, text, &length, &status);
    // Stricter than the string parser: a partly parsed text fails here.
    ZV_RETURN_IF(status == RVSDP_PARSE_NOT_SDP || status == RVSDP_PARSE_PARTIAL, ZVSDP_RC_EXTERNAL, ZV_LOGC, kModApi,
                 "rvSdpMsgConstructParse failed, invalid SDP message (parser error = %d)", status);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpRvMediaCopy(RvSdpMsg *rvSdp, CSdp *sdp)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!rvSdp || !sdp, "Invalid parameter detected: rvSdp=%p, zvSdp=%p", vp(rvSdp), vp(sdp));
    rvSdpListClear(rvSdpMsgGetMediaDescrList(rvSdp));
    CMedia *media = nullptr;
    zvSdpGetFirstMediaDescriptor(sdp, &media);
    while (media) {
        ZvSdpMediaType type = ZVSDP_MT_UNKNOWN;
        ZvSdpTransportProtocol transport = ZVSDP_TP_UNKNOWN;
        zvSdpMediaGetMediaType(media, &type);
        zvSdpMediaGetTransportProtocol(media, &transport);
        int vendorType = vendorMediaType(type);
        int protocol = vendorProtocol(transport);
        // What the stack cannot carry is marked in the caller's session (only
        // where it is writable: the marking checks rights).
        if (vendorType == RVSDP_MEDIATYPE_UNKNOWN || protocol == RVSDP_PROTOCOL_UNKNOWN)
            (void)zvSdpMediaMarkUnsupported(media);
        // Port 0 always: the host fills in its own transport addresses.
        RvSdpMediaDescr *descr = rvSdpMsgAddMediaDescr(rvSdp, vendorType, 0, protocol);
        ZV_RETURN_IF(!descr, ZVSDP_RC_EXTERNAL, ZV_LOGE, kModApi, "rvSdpMsgAddMediaDescr returned NULL\n");
        if (protocol == RVSDP_PROTOCOL_UDPTL)
            rvSdpAddTextToArray(descr, "t38");
        else
            mirrorPayloads(rvSdp, descr, media);
        CPayload *first = nullptr;
        zvSdpMediaGetFirstPayload(media, &first);
        if (!first && vendorType == RVSDP_MEDIATYPE_APP)
            rvSdpMediaDescrAddPayloadNumber(descr, 100);
        if (!first && vendorType == RVSDP_MEDIATYPE_VIDEO)
            rvSdpMediaDescrAddPayloadNumber(descr, 31);
        mirrorAttributes(descr, media);
        zvSdpGetNextMediaDescriptor(sdp, media, &media);
    }
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpRvMediaGetConnection(RvSdpMsg *rvSdp, RvSdpMediaDescr *rvMedia,
                                             RvSdpConnection **rvConnection)
{
    ZV_RETURN_INVALID_IF(!rvSdp || !rvConnection, "Invalid parameter: rvSdp=%p, &rvConnection=%p", vp(rvSdp),
                         vp(rvConnection));
    RvSdpConnection *connection = nullptr;
    if (rvMedia)
        connection = static_cast<RvSdpConnection *>(rvSdpListGetByIndex(rvSdpMediaDescrGetConnectionList(rvMedia), 0));
    if (!connection)
        connection = static_cast<RvSdpConnection *>(rvSdpListGetByIndex(rvSdpMsgGetConnectionList(rvSdp), 0));
    *rvConnection = connection;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpGetRtpInfo(CSdp *sdp, CMedia *media, RtpInfo *info)
{
    ZV_RETURN_IF_NOT_STARTED();
    if (!sdp || !media || !info)
        return ZVSDP_RC_INVALID;
    info->packetsPerSecond = 0;
    info->packetSize = 0;
    info->bandwidth = 0;
    uint32_t ptime = 20;
    for (CAttribute *a = zvSdpMediaObjGetAttribute(media, nullptr); a; a = zvSdpMediaObjGetAttribute(media, a)) {
        if (dynstr_strcmp2(zvSdpAttrObjGetName(a), "ptime") == 0) {
            ptime = static_cast<uint32_t>(zvSdpAttrObjGetValueInt(a));
            break;
        }
    }
    uint32_t clock = 0;
    for (CPayload *p = zvSdpMediaObjGetPayload(media, nullptr); p; p = zvSdpMediaObjGetPayload(media, p)) {
        uint32_t rate = zvSdpPayloadObjGetClock(p);
        if (rate > clock)
            clock = rate;
    }
    // A ptime of 0 or above 1000 ms would divide by zero below; a remote
    // offer must not be able to stop the gateway that way.
    if (ptime == 0 || ptime > 1000)
        return ZVSDP_RC_INVALID;
    uint32_t packets = 1000u / ptime;
    uint32_t samples = clock / packets;
    info->packetsPerSecond = packets;
    info->packetSize = samples + 40u;
    info->bandwidth = packets * 5u * (samples + 40u) / 100u;
    return ZVSDP_RC_OK;
}

}  // extern "C"
