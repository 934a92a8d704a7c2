// RFC 2833 telephone events must run at the clock of a voice codec of the
// same media: events at a rate no codec uses are removed.
#include <stdio.h>
#include <string.h>

#include "guard.h"

using namespace zv;

namespace {

// Removes `payload` from `media`: 1, or 0 when it cannot be done.
int removePayloadFromSdpMedia(CMedia *media, CPayload *payload)
{
    uint32_t number = 0;
    uint32_t rc = zvSdpPayloadGetPayloadType(payload, &number);
    if (rc == ZVSDP_RC_OK) {
        ZV_LOGD(kModHelper, "remove payloadType(%d)", static_cast<int>(number));
        rc = zvSdpMediaRemovePayload(media, &payload);
    }
    if (rc != ZVSDP_RC_OK) {
        ZV_LOGC(kModHelper, "%s", ZV_RC_TEXT(rc));
        return 0;
    }
    return 1;
}

uint32_t correctStepByStep(CMedia *mediaObj);

struct Presence {
    bool codec8k, codec16k, event8k, event16k;
};

// The answers of the four searches without removal (codecs at 8000 and
// 16000 Hz, then telephone events at both), from one walk of a locked media,
// with the lines each search writes, in the order it writes them.
Presence presentAt(CMedia *media)
{
    Presence p = {false, false, false, false};
    for (void *item = llist_getnext(media->payloads, nullptr); item; item = llist_getnext(media->payloads, item)) {
        const CPayload *payload = static_cast<CPayload *>(item);
        bool isEvent = dynstr_strcmp2(payload->name, "telephone-event") == 0;
        bool &at8k = isEvent ? p.event8k : p.codec8k;
        bool &at16k = isEvent ? p.event16k : p.codec16k;
        at8k = at8k || payload->clockRate == 8000;
        at16k = at16k || payload->clockRate == 16000;
    }
    const struct {
        uint32_t rate;
        bool found;
    } searches[] = {{8000, p.codec8k}, {16000, p.codec16k}, {8000, p.event8k}, {16000, p.event16k}};
    for (const auto &search : searches) {
        ZV_LOGD_AS(kModHelper, "zvSdpMediaHandleTelephoneEventForClockRate", "clockRate(%d)",
                   static_cast<int>(search.rate));
        if (!search.found)
            ZV_LOGD_AS(kModHelper, "zvSdpMediaHandleTelephoneEventForClockRate", "clockRate(%d) is not needed",
                       static_cast<int>(search.rate));
    }
    return p;
}

// 1 when the media holds a payload at `rate` that is a telephone event
// (wantEvents) or anything else (!wantEvents); the first one found is
// removed when asked.
int zvSdpMediaHandleTelephoneEventForClockRate(CMedia *media, uint32_t rate, bool wantEvents, bool remove)
{
    ZV_LOGD(kModHelper, "clockRate(%d)", static_cast<int>(rate));
    CPayload *payload = nullptr;
    uint32_t rc = zvSdpMediaGetFirstPayload(media, &payload);
    if (rc != ZVSDP_RC_OK) {
        ZV_LOGC(kModHelper, "%s", ZV_RC_TEXT(rc));
        return 0;
    }
    while (payload) {
        // The name is read in place; one too long for the 100 bytes it was
        // once read into is no telephone event either way.
        bool isEvent = dynstr_strcmp2(payload->name, "telephone-event") == 0;
        if (isEvent == wantEvents) {
            uint32_t clock = 0;
            rc = zvSdpPayloadGetClock(payload, &clock);
            if (rc != ZVSDP_RC_OK)
                break;
            if (clock == rate)
                return remove ? removePayloadFromSdpMedia(media, payload) : 1;
        }
        rc = zvSdpMediaGetNextPayload(media, payload, &payload);
        if (rc != ZVSDP_RC_OK)
            break;
    }
    if (rc != ZVSDP_RC_OK)
        ZV_LOGC(kModHelper, "%s", ZV_RC_TEXT(rc));
    ZV_LOGD(kModHelper, "clockRate(%d) is not needed", static_cast<int>(rate));
    return 0;
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpMediaDumpAllPayloads(CMedia *mediaObj)
{
    // Written at HelperAPI level 3 only: at 4 and above the one-line session
    // dumps say it all.
    if (!mediaObj || g_traceLevel[kModHelper] >= 4)
        return ZVSDP_RC_OK;
    // Below level 3 the walk would write nothing (an initialised library's
    // walk calls log nothing on success), so it is not made.
    if (g_traceLevel[kModHelper] < 3 && g_apiInitialised)
        return ZVSDP_RC_OK;
    char text[256] = "payloads:";
    CPayload *payload = nullptr;
    uint32_t rc = zvSdpMediaGetFirstPayload(mediaObj, &payload);
    while (rc == ZVSDP_RC_OK && payload) {
        uint32_t number = 0;
        rc = zvSdpPayloadGetPayloadType(payload, &number);
        if (rc != ZVSDP_RC_OK)
            break;
        char piece[10];
        snprintf(piece, sizeof piece, " %d", static_cast<int>(number));
        size_t used = strlen(text);
        if (used < sizeof text - 1)
            strncat(text, piece, sizeof text - 1 - used);
        rc = zvSdpMediaGetNextPayload(mediaObj, payload, &payload);
    }
    if (rc != ZVSDP_RC_OK)
        ZV_LOGD(kModHelper, "%s", ZV_RC_TEXT(rc));
    ZV_LOGD(kModHelper, "%s", text);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaCorrectForRfc2833DtmfClockRate(CMedia *mediaObj)
{
    // Before the library is started every walk fails on its first step;
    // that path logs what each step reports, so it keeps to the steps.
    if (!g_apiInitialised || !mediaObj)
        return correctStepByStep(mediaObj);
    // One operation on the media and its payloads: the locks are taken once
    // for the four searches and the removals, and the searches, which change
    // nothing, share one walk.
    ClassLock mediaLock(g_mediaModule);
    ClassLock payloadLock(g_payloadModule);
    zvSdpMediaDumpAllPayloads(mediaObj);
    Presence found = presentAt(mediaObj);
    if (found.event8k && !found.codec8k) {
        ZV_LOGD(kModHelper, "Removing Telephone event %d", 8000);
        zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 8000, true, true);
    }
    if (found.event16k && !found.codec16k) {
        ZV_LOGD(kModHelper, "Removing Telephone event %d", 16000);
        zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 16000, true, true);
    }
    zvSdpMediaDumpAllPayloads(mediaObj);
    return ZVSDP_RC_OK;
}

}  // extern "C"

namespace {

uint32_t correctStepByStep(CMedia *mediaObj)
{
    zvSdpMediaDumpAllPayloads(mediaObj);
    int codec8k = zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 8000, false, false);
    int codec16k = zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 16000, false, false);
    int event8k = zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 8000, true, false);
    int event16k = zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 16000, true, false);
    if (event8k && !codec8k) {
        ZV_LOGD(kModHelper, "Removing Telephone event %d", 8000);
        zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 8000, true, true);
    }
    if (event16k && !codec16k) {
        ZV_LOGD(kModHelper, "Removing Telephone event %d", 16000);
        zvSdpMediaHandleTelephoneEventForClockRate(mediaObj, 16000, true, true);
    }
    zvSdpMediaDumpAllPayloads(mediaObj);
    return ZVSDP_RC_OK;
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpFilterTelephoneEventsForAdvertisedCodecs(CSdp *sdp)
{
    if (!sdp)
        return ZVSDP_RC_INVALID;
    zvSdpHelperLogSdp(sdp, __func__);
    uint32_t rc = forEachMedia(sdp, zvSdpMediaCorrectForRfc2833DtmfClockRate);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGC, kModHelper, "%s", ZV_RC_TEXT(rc));
    return ZVSDP_RC_OK;
}

}  // extern "C"
