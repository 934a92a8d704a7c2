// CMedia: one media description with its payloads and attributes.
#include <string.h>

#include "objects.h"
#include "object_text.h"

ZV_CLASS_MODULE(g_mediaModule, kModMedia, true)

using namespace zv;

namespace {

bool instanceCheck(const CMedia *m)
{
    return m && m->transport >= ZVSDP_TP_RTPAVP && m->transport <= ZVSDP_TP_UDPBFCP && m->mediaType >= ZVSDP_MT_AUDIO &&
           m->mediaType <= ZVSDP_MT_CONTROL && m->supported <= 1;
}

const char *mediaTypeWord(uint32_t type)
{
    static const char *const words[] = {"unknown", "audio", "nas", "video", "app", "data", "image", "control"};
    return type < sizeof words / sizeof words[0] ? words[type] : "unknown";
}

const char *transportWord(uint32_t transport)
{
    static const char *const words[] = {"unknown", "RTP/AVP", "UDP", "udptl", "TCP", "UDP/BFCP"};
    return transport < sizeof words / sizeof words[0] ? words[transport] : "unknown";
}

// Walks two lists side by side; false at the first pair that does not
// match or when one list runs out first. b's next item is looked up in
// `bSteps`, which is b itself except in the attribute compare.
template <class Match>
bool pairwise(llist_t a, llist_t b, llist_t bSteps, Match match)
{
    void *x = llist_getnext(a, nullptr);
    void *y = llist_getnext(b, nullptr);
    for (; x; x = llist_getnext(a, x), y = llist_getnext(bSteps, y)) {
        if (!y || !match(x, y))
            return false;
    }
    return !y;
}

// Attribute lines are cut here, whatever room the caller's buffer has.
constexpr uint32_t kAttrLine = 128;
// Payloads of one media that the printer keeps at hand between its passes.
constexpr uint32_t kPrintedPayloads = 32;

void startFailed(StartStep step, uint32_t)
{
    static const char *const texts[] = {
        "Failed to create data protection mutex!", "Failed to get global dynstring pool!",
        "Failed to get global linked list pool!", "Failed to initialise the data pool!"};
    ZV_LOGC_AS(M.log, "zvSdpMediaObjApiInit", "%s", texts[static_cast<int>(step)]);
}

}  // namespace

extern "C" {

ZV_MODULE_OPERATIONS(zvSdpMediaObjApiInit, zvSdpMediaObjApiDestroy, zvSdpMediaObjApiSetTraceLevel,
                     {"zvsdpmediaobj", sizeof(CMedia), releaseOwned<CMedia, &CMedia::payloads, &CMedia::attributes>,
                      ClassStart::kListPoolFirst, startFailed})

ZVSDP_API CMedia *zvSdpMediaObjConstruct(uint32_t transport, uint32_t mediaType)
{
    ClassLock lock(M);
    return buildRecord<CMedia>(M, __func__, instanceCheck, [=](CMedia *m) {
        m->transport = transport;
        m->mediaType = mediaType;
        m->supported = 1;
    });
}

ZVSDP_API CMedia *zvSdpMediaObjConstructCopy(CMedia *source)
{
    ClassLock lock(M);
    return buildRecord<CMedia>(M, __func__, instanceCheck, [source](CMedia *m) {
        m->transport = source->transport;
        m->mediaType = source->mediaType;
        m->supported = source->supported;
        m->port = source->port;
        // The in-band DTMF flag belongs to the call that set it: a copy keeps
        // the new record's 0.
        appendCopies<CPayload>(M, &m->payloads, source->payloads, g_payloadModule, payloadConstructCopy,
                               zvSdpPayloadObjDestruct);
        appendCopies<CAttribute>(M, &m->attributes, source->attributes, g_attrModule, zvSdpAttrObjConstructCopy,
                                 zvSdpAttrObjDestruct);
    });
}

ZV_FIELD_GET_SET(CMedia, uint32_t, port, zvSdpMediaObjGetPort, zvSdpMediaObjSetPort)
ZV_FIELD_GET_SET(CMedia, uint32_t, supported, zvSdpMediaObjIsSupported, zvSdpMediaObjSetSupported)
ZV_FIELD_GET_SET(CMedia, uint32_t, transport, zvSdpMediaObjGetTransport, zvSdpMediaObjSetTransport)
ZV_FIELD_GET_SET(CMedia, uint32_t, mediaType, zvSdpMediaObjGetMediaType, zvSdpMediaObjSetMediaType)
ZV_FIELD_GET(CMedia, uint32_t, rights, zvSdpMediaObjGetAccessRights)
ZV_LIST_OPERATIONS(CMedia, payloads, CPayload, zvSdpMediaObjAddPayload, zvSdpMediaObjGetPayload,
                   zvSdpMediaObjHasPayload, zvSdpMediaObjRemovePayload, zvSdpPayloadObjDestruct)
ZV_LIST_OPERATIONS(CMedia, attributes, CAttribute, zvSdpMediaObjAddAttribute, zvSdpMediaObjGetAttribute,
                   zvSdpMediaObjHasAttribute, zvSdpMediaObjRemoveAttribute, zvSdpAttrObjDestruct)
ZV_DESTRUCT(CMedia, zvSdpMediaObjDestruct)

ZVSDP_API uint32_t zvSdpMediaObjGetInbandDtmf(CMedia *objHndl)
{
    ClassLock lock(M);
    return __atomic_load_n(&objHndl->inbandDtmf, __ATOMIC_RELAXED);
}

ZVSDP_API void zvSdpMediaObjSetInbandDtmf(CMedia *objHndl, uint32_t inbandDtmf)
{
    // Stored before the lock is taken, as the flag always has been; the
    // lock is then taken and given back with nothing between.
    __atomic_store_n(&objHndl->inbandDtmf, inbandDtmf, __ATOMIC_RELAXED);
    ClassLock lock(M);
}

// Takes no lock: the comparison is the caller's and may call back into the
// payload operations.
ZVSDP_API int32_t zvSdpMediaObjSortPayloads(CMedia *objHndl, void *sortArg, ZvSdpPayloadCompareFn compare)
{
    return llist_sort_ex(objHndl->payloads, sortArg, compare);
}

ZVSDP_API char *zvSdpMediaObjToString(CMedia *objHndl, char *buffer, uint32_t *length)
{
    ClassLock lock(M);
    TextSink out(buffer, *length);
    // The m-line, then every rtpmap line, then every fmtp line, each group in
    // payload order: three passes over the payloads write it straight into
    // the caller's buffer, piece by piece rather than through printf.
    out.append("m=", 2);
    out.append(mediaTypeWord(objHndl->mediaType));
    out.appendChar(' ');
    out.appendInt(static_cast<int>(objHndl->port));
    out.appendChar(' ');
    out.append(transportWord(objHndl->transport));
    {
        ClassLock payloadLock(g_payloadModule);
        // One walk of the list serves the three passes; a media with more
        // payloads than fit here is walked for each pass.
        CPayload *listed[kPrintedPayloads];
        uint32_t count = 0;
        bool whole = true;
        for (void *p = llist_getnext(objHndl->payloads, nullptr); p; p = llist_getnext(objHndl->payloads, p)) {
            out.appendChar(' ');
            out.appendInt(static_cast<int>(static_cast<CPayload *>(p)->payloadType));
            if (count < kPrintedPayloads)
                listed[count++] = static_cast<CPayload *>(p);
            else
                whole = false;
        }
        out.appendChar('\n');
        auto eachPayload = [&](auto print) {
            if (whole) {
                for (uint32_t i = 0; i < count; ++i)
                    print(listed[i]);
            } else {
                for (void *p = llist_getnext(objHndl->payloads, nullptr); p; p = llist_getnext(objHndl->payloads, p))
                    print(static_cast<CPayload *>(p));
            }
        };
        eachPayload([&](const CPayload *payload) {
            if (!rtpmapRequired(payload))
                return;
            out.append("a=rtpmap:", 9);
            appendRtpmap(out, payload);
            out.appendChar('\n');
        });
        eachPayload([&](const CPayload *payload) {
            if (!payload->fmtp)
                return;
            out.append("a=fmtp:", 7);
            out.appendInt(static_cast<int>(payload->payloadType));
            out.appendChar(' ');
            out.append(dynstr_cstr(payload->fmtp), dynstr_len(payload->fmtp));
            out.appendChar('\n');
        });
    }
    ClassLock attributeLock(g_attrModule);
    for (void *a = llist_getnext(objHndl->attributes, nullptr); a; a = llist_getnext(objHndl->attributes, a)) {
        // Each attribute line is cut where a 128-byte buffer would cut it.
        TextSink line = out.piece(kAttrLine);
        appendAttribute(line, static_cast<CAttribute *>(a));
        out.take(line);
        out.appendChar('\n');
    }
    *length = out.length();
    return buffer;
}

ZVSDP_API uint32_t zvSdpMediaObjCompare(CMedia *a, CMedia *b)
{
    ClassLock lock(M);
    if (a->mediaType != b->mediaType || a->supported != b->supported || a->transport != b->transport)
        return 0;
    // Attributes: b's walk steps through a's list, as it always has, which
    // finds nothing unless both lists hold the same attribute object; so two
    // or more attributes in a make the media different.
    bool attributesMatch = pairwise(a->attributes, b->attributes, a->attributes, [](void *x, void *y) {
        return zvSdpAttrObjCompare(static_cast<CAttribute *>(x), static_cast<CAttribute *>(y)) == 1;
    });
    return attributesMatch && pairwise(a->payloads, b->payloads, b->payloads, [](void *x, void *y) {
               return zvSdpPayloadObjCompare(static_cast<CPayload *>(x), static_cast<CPayload *>(y)) == 0;
           })
               ? 1
               : 0;
}

ZVSDP_API void zvSdpMediaObjSetAccessRights(CMedia *objHndl, uint32_t rights)
{
    ClassLock lock(M);
    objHndl->rights = rights;
    {
        ClassLock payloadLock(g_payloadModule);
        for (void *p = llist_getnext(objHndl->payloads, nullptr); p; p = llist_getnext(objHndl->payloads, p))
            zvSdpPayloadObjSetAccessRights(static_cast<CPayload *>(p), rights);
    }
    ClassLock attributeLock(g_attrModule);
    for (void *a = llist_getnext(objHndl->attributes, nullptr); a; a = llist_getnext(objHndl->attributes, a))
        zvSdpAttrObjSetAccessRights(static_cast<CAttribute *>(a), rights);
}

}  // extern "C"

namespace zv {

void mediaAddPayload(CMedia *media, CPayload *payload)
{
    llist_addobject(&media->payloads, payload, M.listPool);
}

void mediaAddAttribute(CMedia *media, CAttribute *attribute)
{
    llist_addobject(&media->attributes, attribute, M.listPool);
}

}  // namespace zv
