// Offer/answer: the answer's capabilities from a remote offer and the
// local capabilities, with AMR parameters carried over.
#include <string.h>

#include "guard.h"

using namespace zv;

namespace {

constexpr uint32_t kFmtpBuffer = 512;

uint32_t getNumberOfMediaDescriptors(CSdp *sdp, uint32_t *count)
{
    // A started library's walk over a session cannot fail and visits each
    // media once, so it counts what the list holds: one look at the list.
    if (g_apiInitialised && sdp) {
        *count = mediaCount(sdp);
        return ZVSDP_RC_OK;
    }
    *count = 0;
    uint32_t rc = forEachMedia(sdp, [count](CMedia *) {
        ++*count;
        return ZVSDP_RC_OK;
    });
    if (rc != ZVSDP_RC_OK)
        ZV_LOGD(kModHelper, "%s", ZV_RC_TEXT(rc));
    return rc;
}

// Payload equality of the negotiation, for locked payloads: payloads of one
// AMR band are one codec, whatever their parameters; others are equal as the
// payload compare has it (channels, clock, name without regard to case).
bool payloadsEqual(const CPayload *a, const CPayload *b)
{
    ZvSdpAmrType kind = amrKindOf(a);
    if (kind != ZVSDP_AMR_TYPE_NONE && kind == amrKindOf(b))
        return true;
    return a->channels == b->channels && a->clockRate == b->clockRate && dynstr_strcmpi(a->name, b->name) == 0;
}

// The name test of the walks that read names into a buffer of their own; a
// name too long for it cannot be "telephone-event" either way. The caller
// holds the payload lock.
bool isTelephoneEvent(const CPayload *payload)
{
    return dynstr_strcmp2(payload->name, "telephone-event") == 0;
}

// Merges the remote common payload's AMR parameters (k) into a payload of
// the answer (p).
uint32_t updateAmrParamsWithCommonPayload(CPayload *p, CPayload *k)
{
    ZvSdpAmrConfig mine, theirs;
    uint32_t rc = zvSdpMediaPayloadParseAmrFmtp(p, &mine);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpMediaPayloadParseAmrFmtp(k, &theirs);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModHelper, "Parse Amr Fmtp fail %s", ZV_RC_TEXT(rc));
    if (theirs.modeSet != 0)
        mine.modeSet = zvSdpMediaPayloadAmrGetCommonModes(mine.modeSet, theirs.modeSet);
    if (theirs.octetAlign != 0)
        mine.octetAlign = theirs.octetAlign;
    if (theirs.modeChangeNeighbor != 0)
        mine.modeChangeNeighbor = theirs.modeChangeNeighbor;
    if (theirs.modeChangePeriod > mine.modeChangePeriod)
        mine.modeChangePeriod = theirs.modeChangePeriod;
    if (theirs.modeChangeCapability > mine.modeChangeCapability)
        mine.modeChangeCapability = theirs.modeChangeCapability;
    if (theirs.maxRed != 0 && static_cast<uint32_t>(theirs.maxRed) < static_cast<uint32_t>(mine.maxRed))
        mine.maxRed = theirs.maxRed;
    char fmtp[kFmtpBuffer];
    uint32_t length = sizeof fmtp;
    rc = zvSdpPayloadAmrTranslateConfigToFmtp(p, &mine, fmtp, &length);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGE, kModHelper, "Translate config to Fmtp fail %s", ZV_RC_TEXT(rc));
    rc = zvSdpPayloadAddFmtp(p, fmtp);
    if (rc != ZVSDP_RC_OK)
        ZV_LOGE(kModHelper, "Payload add Fmtp fail %s", ZV_RC_TEXT(rc));
    return rc;
}

// Carries the common payload's AMR parameters into every payload of its
// band in the answer's first media. Failures are logged, never returned.
void matchAmrParamsWithCommonPayload(CSdp *newCaps, CPayload *common)
{
    ZvSdpAmrType kind = ZVSDP_AMR_TYPE_NONE;
    uint32_t rc = zvSdpPayloadAmrGetType(common, &kind);
    if (rc != ZVSDP_RC_OK || kind == ZVSDP_AMR_TYPE_NONE) {
        ZV_LOGD(kModHelper, "Not AMR type %s", ZV_RC_TEXT(rc));
        return;
    }
    // A failed step logs what failed, then the code's text, and ends the merge.
    const char *const self = __func__;
    auto failed = [self](uint32_t code, const char *step) {
        if (code == ZVSDP_RC_OK)
            return false;
        ZV_LOGE_AS(kModHelper, self, "%s fail %s", step, ZV_RC_TEXT(code));
        ZV_LOGD_AS(kModHelper, self, "%s", ZV_RC_TEXT(code));
        return true;
    };
    CMedia *media = nullptr;
    if (failed(zvSdpGetFirstMediaDescriptor(newCaps, &media), "Get first media"))
        return;
    // A copy cut short by full pools can leave the answer without a media:
    // the first step then fails, as it always has.
    CPayload *first = nullptr;
    if (failed(zvSdpMediaGetFirstPayload(media, &first), "Get payload"))
        return;
    // Past that step the library is started and the media present: stepping
    // through the payloads and comparing cannot fail, only the merge can.
    ClassLock mediaLock(g_mediaModule);
    ClassLock payloadLock(g_payloadModule);
    for (void *p = first; p; p = llist_getnext(media->payloads, p)) {
        CPayload *payload = static_cast<CPayload *>(p);
        if (!payloadsEqual(payload, common))
            continue;
        rc = updateAmrParamsWithCommonPayload(payload, common);
        if (rc != ZVSDP_RC_OK) {
            ZV_LOGC(kModHelper, "Compare payload fail %s", ZV_RC_TEXT(rc));
            ZV_LOGD(kModHelper, "%s", ZV_RC_TEXT(rc));
            return;
        }
    }
}

// Appends a rejected stream of the remote's type and transport.
uint32_t appendUnsupported(CSdp *newCaps, ZvSdpMediaType type, ZvSdpTransportProtocol transport)
{
    CMedia *media = nullptr;
    uint32_t rc = zvSdpAddMediaDescriptor(newCaps, type, transport, &media);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpMediaMarkUnsupported(media);
    return rc;
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpPayloadComparePayloads(CPayload *objHndl, CPayload *objHndl2, uint32_t *equal)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!objHndl || !objHndl2 || !equal, "Invalid parameter detected: objHndl=%p, objHndl2=%p",
                         vp(objHndl), vp(objHndl2));
    ClassLock lock(g_payloadModule);
    *equal = payloadsEqual(objHndl, objHndl2) ? 1 : 0;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpHelperGetFirstCommonPayload(CMedia *first, CMedia *second, CPayload **outFirst,
                                                    CPayload **outSecond)
{
    if (!first || !second || !outFirst)
        return ZVSDP_RC_INVALID;
    *outFirst = nullptr;
    uint32_t supported1 = 0, supported2 = 0;
    ZvSdpMediaType type1 = ZVSDP_MT_UNKNOWN, type2 = ZVSDP_MT_UNKNOWN;
    uint32_t rc = zvSdpMediaIsSupported(first, &supported1);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpMediaIsSupported(second, &supported2);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpMediaGetMediaType(first, &type1);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpMediaGetMediaType(second, &type2);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGC, kModHelper, "%s", ZV_RC_TEXT(rc));
    ZV_RETURN_IF(!supported1, ZVSDP_RC_OK, ZV_LOGI, kModHelper, "First media descriptor is marked unsupported");
    ZV_RETURN_IF(!supported2, ZVSDP_RC_OK, ZV_LOGI, kModHelper, "Second media descriptor is marked unsupported");
    ZV_RETURN_IF(type1 != type2, ZVSDP_RC_OK, ZV_LOGI, kModHelper, "Media descriptors have different media types");

    // The first media's order decides; the second's picks the partner. The
    // search is one operation on the two media and their payloads.
    // Past the queries above the library is started and both media are
    // present, so no step of the walks can fail: they read the lists and
    // compare under the locks directly.
    ClassLock mediaLock(g_mediaModule);
    ClassLock payloadLock(g_payloadModule);
    for (void *p = llist_getnext(first->payloads, nullptr); p; p = llist_getnext(first->payloads, p)) {
        // Telephone events are never what a stream is served with.
        if (isTelephoneEvent(static_cast<CPayload *>(p)))
            continue;
        for (void *q = llist_getnext(second->payloads, nullptr); q; q = llist_getnext(second->payloads, q)) {
            if (payloadsEqual(static_cast<CPayload *>(p), static_cast<CPayload *>(q))) {
                *outFirst = static_cast<CPayload *>(p);
                if (outSecond)
                    *outSecond = static_cast<CPayload *>(q);
                return ZVSDP_RC_OK;
            }
        }
    }
    return ZVSDP_RC_OK;
}

// Note on AMR: RFC 4867 has an answerer return an offered mode-set unchanged
// or reject the payload. This negotiation intersects the two mode sets and
// takes the smaller max-red instead, as session border controllers do, so
// that a stream is served whenever the two sides share a mode.
ZVSDP_API uint32_t zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(CSdp *remoteCapabilities,
                                                                               CSdp *localCapabilities,
                                                                               CSdp *newCapabilities,
                                                                               uint32_t markIfNoCommon)
{
    ZV_RETURN_IF(!remoteCapabilities, ZVSDP_RC_INVALID, ZV_LOGD, kModHelper,
                 "Invalid parameter detected: remoteCapabilities=%p", vp(remoteCapabilities));
    ZV_RETURN_IF(!localCapabilities, ZVSDP_RC_INVALID, ZV_LOGD, kModHelper,
                 "Invalid parameter detected: localCapabilities=%p", vp(localCapabilities));
    ZV_RETURN_IF(!newCapabilities, ZVSDP_RC_INVALID, ZV_LOGD, kModHelper, "%s", ZV_RC_TEXT(ZVSDP_RC_OK));
    uint32_t count = 0;
    uint32_t rc = getNumberOfMediaDescriptors(remoteCapabilities, &count);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModHelper, "%s", ZV_RC_TEXT(rc));
    ZV_RETURN_IF(count == 0, ZVSDP_RC_MISSING, ZV_LOGD, kModHelper,
                 "At least one media descriptor was expected in the remote capabilities !!!");
    rc = getNumberOfMediaDescriptors(localCapabilities, &count);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModHelper, "%s", ZV_RC_TEXT(rc));
    ZV_RETURN_IF(count == 0, ZVSDP_RC_MISSING, ZV_LOGD, kModHelper,
                 "At least one media descriptor was expected in the local capabilities !!!");
    ZV_RETURN_IF(count > 1, ZVSDP_RC_NOT_FOUND, ZV_LOGD, kModHelper,
                 "Currently this is not supported to  multiple mediaLines for the local capabilities !!!");

    CMedia *local = nullptr;
    ZvSdpMediaType localType = ZVSDP_MT_UNKNOWN;
    ZvSdpTransportProtocol localTransport = ZVSDP_TP_UNKNOWN;
    rc = zvSdpGetFirstMediaDescriptor(localCapabilities, &local);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpMediaGetMediaType(local, &localType);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpMediaGetTransportProtocol(local, &localTransport);

    CMedia *remote = nullptr;
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpGetFirstMediaDescriptor(remoteCapabilities, &remote);
    while (rc == ZVSDP_RC_OK && remote) {
        ZvSdpMediaType type = ZVSDP_MT_UNKNOWN;
        ZvSdpTransportProtocol transport = ZVSDP_TP_UNKNOWN;
        rc = zvSdpMediaGetMediaType(remote, &type);
        if (rc == ZVSDP_RC_OK)
            rc = zvSdpMediaGetTransportProtocol(remote, &transport);
        if (rc != ZVSDP_RC_OK)
            break;
        if (type != localType || transport != localTransport) {
            ZV_LOGD(kModHelper, "MARK UNSUPPORTED because mediatype and/or transport differs (%s %s)",
                    zvSdpGetMediaTypeString(type), zvSdpGetMediaTypeString(localType));
            rc = appendUnsupported(newCapabilities, type, transport);
        } else {
            CPayload *common = nullptr;
            rc = zvSdpHelperGetFirstCommonPayload(remote, local, &common, nullptr);
            if (rc != ZVSDP_RC_OK)
                break;
            if (!common && markIfNoCommon) {
                ZV_LOGD(kModHelper, "MARK UNSUPPORTED because no common payloadType (%s)",
                        zvSdpGetMediaTypeString(type));
                rc = appendUnsupported(newCapabilities, type, transport);
            } else {
                // Replaces whatever earlier rounds appended: one served
                // stream answers with the local description.
                ZV_LOGD(kModHelper, "Copy all capabilites for media type %s", zvSdpGetMediaTypeString(type));
                rc = zvSdpCopyMediaCapabilities(newCapabilities, localCapabilities);
                if (rc == ZVSDP_RC_OK && common)
                    matchAmrParamsWithCommonPayload(newCapabilities, common);
            }
        }
        if (rc == ZVSDP_RC_OK)
            rc = zvSdpGetNextMediaDescriptor(remoteCapabilities, remote, &remote);
    }
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModHelper, "%s", ZV_RC_TEXT(rc));
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpHelperCopyMediaCapabilitiesUnsupported(CSdp *destination, CSdp *source)
{
    ZV_RETURN_IF(!destination || !source, ZVSDP_RC_INVALID, ZV_LOGD, kModHelper,
                 "Invalid parameter detected: destination=%p, source=%p", vp(destination), vp(source));
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(destination));
    zvSdpObjDeepCopy(destination, source);
    uint32_t rc = forEachMedia(destination, [](CMedia *media) {
        CPayload *payload = nullptr;
        uint32_t step = zvSdpMediaGetFirstPayload(media, &payload);
        while (step == ZVSDP_RC_OK && payload) {
            step = zvSdpMediaRemovePayload(media, &payload);
            if (step == ZVSDP_RC_OK)
                step = zvSdpMediaGetFirstPayload(media, &payload);
        }
        return step == ZVSDP_RC_OK ? zvSdpMediaMarkUnsupported(media) : step;
    });
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModHelper, "%s", ZV_RC_TEXT(rc));
    return ZVSDP_RC_OK;
}

}  // extern "C"
