// SDP text and the SDP stack's messages into the object model.
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "guard.h"
#include "rvsdp.h"

using namespace zv;

namespace {

constexpr uint32_t kTextLimit = 1023;  // longer offers are cut, not refused
constexpr uint32_t kFmtpLimit = 127;

// Media type codes of the stack as the string parser takes them.
bool mediaTypeFromText(int code, uint32_t *type)
{
    if (code < RVSDP_MEDIATYPE_AUDIO || code > RVSDP_MEDIATYPE_CONTROL)
        return false;
    *type = static_cast<uint32_t>(code);  // the stack's codes 1..7 are ours
    return true;
}

// A stack code and the value it stands for here.
struct CodeMap {
    int code;
    uint32_t value;
};

// Looks `code` up in the first `rows` rows of the map.
template <size_t N>
bool mapped(const CodeMap (&map)[N], int code, uint32_t *value, size_t rows = N)
{
    for (size_t i = 0; i < rows && i < N; ++i)
        if (map[i].code == code) {
            *value = map[i].value;
            return true;
        }
    return false;
}

// Transports of the stack. The string parser knows only RTP/AVP, but
// recognises the first four so that it can refuse the whole text for the
// other three; the copy knows all five.
constexpr CodeMap kTransports[] = {
    {RVSDP_PROTOCOL_RTP, ZVSDP_TP_RTPAVP},          {RVSDP_PROTOCOL_UDP, ZVSDP_TP_UDP},
    {RVSDP_PROTOCOL_UDPTL, ZVSDP_TP_UDPTL},         {RVSDP_PROTOCOL_TCP, ZVSDP_TP_TCP},
    {RVSDP_PROTOCOL_UDP_BFCP, ZVSDP_TP_UDPBFCP},
};
constexpr size_t kTextTransportRows = 4;
// The copy knows fewer media types than the string parser.
constexpr CodeMap kCopyMediaTypes[] = {
    {RVSDP_MEDIATYPE_AUDIO, ZVSDP_MT_AUDIO},
    {RVSDP_MEDIATYPE_VIDEO, ZVSDP_MT_VIDEO},
    {RVSDP_MEDIATYPE_APP, ZVSDP_MT_APP},
    {RVSDP_MEDIATYPE_IMAGE, ZVSDP_MT_IMAGE},
};

const char *orEmpty(const char *text)
{
    return text ? text : "";
}

// The value of a stack attribute as the object model keeps it.
const char *attributeValue(const RvSdpAttribute *attribute)
{
    if (rvSdpAttributeIsSpecial(attribute))
        return rvSdpSpecAttrGetValue(attribute);
    return orEmpty(rvSdpAttributeGetValue(attribute));
}

// sscanf(text, "%u", out) == 1, which this replaces on the parse path:
// blanks, then a number as strtoul reads it (sign and wrap included),
// stored as unsigned int. Short plain numbers skip strtoul.
bool scanUnsigned(const char *text, unsigned *out)
{
    const char *p = text;
    while (isspace(static_cast<unsigned char>(*p)))
        ++p;
    unsigned value = 0;
    int digits = 0;
    for (; digits < 9 && *p >= '0' && *p <= '9'; ++digits, ++p)
        value = value * 10u + static_cast<unsigned>(*p - '0');
    if (digits > 0 && !(*p >= '0' && *p <= '9')) {
        *out = value;
        return true;
    }
    p -= digits;
    char *end = nullptr;
    unsigned long wide = strtoul(p, &end, 10);
    if (end == p)
        return false;
    *out = static_cast<unsigned>(wide);
    return true;
}

bool isPayloadLine(const char *name)
{
    return (name[0] == 'r' && strcmp(name, "rtpmap") == 0) || (name[0] == 'f' && strcmp(name, "fmtp") == 0);
}

// Calls each(line) for every special line of a kind, in text order; false,
// logged as `nullText`, when the stack hands out a NULL line.
template <class Each>
bool forEachSpecial(const RvSdpMediaDescr *descr, int kind, const char *nullText, Each each)
{
    size_t count = rvSdpGetNumOfSpecialAttr(descr, kind);
    for (size_t i = 0; i < count; ++i) {
        const RvSdpAttribute *line = rvSdpGetSpecialAttr(descr, i, kind);
        if (!line) {
            ZV_LOGD_AS(kModApi, "addPayload", "%s", nullText);
            return false;
        }
        each(line);
    }
    return true;
}

// The rtpmap and fmtp entries of one stack media description, read once and
// chained by payload number, so that finding those of a number costs a look
// into a table instead of a walk of the description for every number.
// Numbers outside the RTP range, which a few offers write, are looked for in
// the arrays one by one.
class PayloadLines {
public:
    struct Rtpmap {
        int number;
        const char *name;
        int clock;
        int channels;
    };
    struct Fmtp {
        unsigned number;
        const char *text;
    };
    static constexpr int kMax = 64;
    static constexpr int kNumbers = 128;
    static constexpr uint8_t kNone = 0xFF;

    explicit PayloadLines(const RvSdpMediaDescr *descr) : descr_(descr)
    {
        for (const RvSdpRtpMap *r = rvSdpGetFirstSpecialAttr(descr, RVSDP_SPEC_ATTR_RTPMAP); r;
             r = rvSdpGetNextSpecialAttr(r, RVSDP_SPEC_ATTR_RTPMAP)) {
            if (rtpmapCount_ == kMax) {
                gathered_ = false;
                return;
            }
            rtpmaps_[rtpmapCount_++] = {rvSdpRtpMapGetPayload(r), rvSdpRtpMapGetEncodingName(r),
                                        rvSdpRtpMapGetClockRate(r), rvSdpRtpMapGetChannels(r)};
        }
        for (const RvSdpAttribute *f = rvSdpGetFirstSpecialAttr(descr, RVSDP_SPEC_ATTR_FMTP); f;
             f = rvSdpGetNextSpecialAttr(f, RVSDP_SPEC_ATTR_FMTP)) {
            // Only entries named "fmtp" whose text starts with a number count.
            const char *name = orEmpty(rvSdpAttributeGetName(f));
            if (name[0] != 'f' || strcmp(name, "fmtp") != 0)
                continue;
            if (fmtpCount_ == kMax) {
                gathered_ = false;
                return;
            }
            Fmtp &e = fmtps_[fmtpCount_];
            e.text = attributeValue(f);
            if (scanUnsigned(e.text, &e.number))
                ++fmtpCount_;
        }
        memset(firstRtpmap_, kNone, sizeof firstRtpmap_);
        memset(firstFmtp_, kNone, sizeof firstFmtp_);
        // Chained from the back, so each chain runs in line order.
        for (int i = rtpmapCount_; i-- > 0;) {
            int n = rtpmaps_[i].number;
            if (n >= 0 && n < kNumbers) {
                nextRtpmap_[i] = firstRtpmap_[n];
                firstRtpmap_[n] = static_cast<uint8_t>(i);
            }
        }
        for (int i = fmtpCount_; i-- > 0;) {
            unsigned n = fmtps_[i].number;
            if (n < kNumbers) {
                nextFmtp_[i] = firstFmtp_[n];
                firstFmtp_[n] = static_cast<uint8_t>(i);
            }
        }
    }

    CPayload *addPayload(CMedia *media, int payloadNumber) const;

private:
    // addPayload as it reads the stack when a description has more entries
    // than the arrays hold.
    CPayload *addPayloadFromStack(CMedia *media, int payloadNumber) const;

    const RvSdpMediaDescr *descr_;
    bool gathered_ = true;
    int rtpmapCount_ = 0;
    int fmtpCount_ = 0;
    Rtpmap rtpmaps_[kMax];
    Fmtp fmtps_[kMax];
    uint8_t nextRtpmap_[kMax];
    uint8_t nextFmtp_[kMax];
    uint8_t firstRtpmap_[kNumbers];
    uint8_t firstFmtp_[kNumbers];
};

void addRtpmapPayload(CMedia *media, int payloadNumber, const char *name, int clock, int channels,
                      CPayload **payload)
{
    zvSdpMediaAddPayload(media, static_cast<uint32_t>(payloadNumber), orEmpty(name),
                         clock == -1 ? 8000u : static_cast<uint32_t>(clock),
                         channels < 1 ? 1u : static_cast<uint32_t>(channels), nullptr, payload);
}

void applyFmtp(CPayload *payload, const char *text)
{
    char parameters[kFmtpLimit + 1];
    parameters[0] = '\0';
    if (const char *blank = strchr(text, ' ')) {
        size_t n = strnlen(blank + 1, kFmtpLimit);
        memcpy(parameters, blank + 1, n);
        parameters[n] = '\0';
    }
    // An fmtp line without parameters hands on "", which is refused.
    zvSdpPayloadAddFmtp(payload, parameters);
}

// One payload number of a stack media description into a payload of `media`:
// every rtpmap naming the number adds one (the last is kept), else the codec
// table supplies it; then every fmtp naming it is applied.
CPayload *PayloadLines::addPayload(CMedia *media, int payloadNumber) const
{
    if (!gathered_)
        return addPayloadFromStack(media, payloadNumber);
    CPayload *payload = nullptr;
    bool inTable = payloadNumber >= 0 && payloadNumber < kNumbers;
    if (inTable) {
        for (uint8_t i = firstRtpmap_[payloadNumber]; i != kNone; i = nextRtpmap_[i])
            addRtpmapPayload(media, payloadNumber, rtpmaps_[i].name, rtpmaps_[i].clock, rtpmaps_[i].channels,
                             &payload);
    } else {
        for (int i = 0; i < rtpmapCount_; ++i) {
            const Rtpmap &r = rtpmaps_[i];
            if (r.number == payloadNumber)
                addRtpmapPayload(media, payloadNumber, r.name, r.clock, r.channels, &payload);
        }
    }
    if (!payload)
        zvSdpMediaAddPayloadFromPayloadType(media, static_cast<uint32_t>(payloadNumber), &payload);
    if (inTable) {
        for (uint8_t i = firstFmtp_[payloadNumber]; i != kNone; i = nextFmtp_[i])
            applyFmtp(payload, fmtps_[i].text);
    } else {
        for (int i = 0; i < fmtpCount_; ++i)
            if (fmtps_[i].number == static_cast<unsigned>(payloadNumber))
                applyFmtp(payload, fmtps_[i].text);
    }
    return payload;
}

CPayload *PayloadLines::addPayloadFromStack(CMedia *media, int payloadNumber) const
{
    CPayload *payload = nullptr;
    bool whole = forEachSpecial(descr_, RVSDP_SPEC_ATTR_RTPMAP, "rvSdpMediaDescrGetRtpMap returned NULL\n",
                                [&](const RvSdpRtpMap *rtpmap) {
                                    if (rvSdpRtpMapGetPayload(rtpmap) == payloadNumber)
                                        addRtpmapPayload(media, payloadNumber, rvSdpRtpMapGetEncodingName(rtpmap),
                                                         rvSdpRtpMapGetClockRate(rtpmap),
                                                         rvSdpRtpMapGetChannels(rtpmap), &payload);
                                });
    if (!whole)
        return nullptr;
    if (!payload)
        zvSdpMediaAddPayloadFromPayloadType(media, static_cast<uint32_t>(payloadNumber), &payload);
    whole = forEachSpecial(descr_, RVSDP_SPEC_ATTR_FMTP, "rvSdpMediaDescrGetFmtp returned NULL\n",
                           [&](const RvSdpAttribute *fmtp) {
                               if (strcmp(orEmpty(rvSdpAttributeGetName(fmtp)), "fmtp") != 0)
                                   return;
                               const char *text = attributeValue(fmtp);
                               unsigned number = 0;
                               if (scanUnsigned(text, &number) && number == static_cast<unsigned>(payloadNumber))
                                   applyFmtp(payload, text);
                           });
    return whole ? payload : nullptr;
}

// Copies the stack's attribute lines (bar rtpmap and fmtp) onto the media.
void addAttributes(CMedia *media, RvSdpMediaDescr *descr)
{
    RvSdpList *list = rvSdpMediaDescrGetAttributeList(descr);
    for (void *item = rvSdpListGetFirst(list); item; item = rvSdpListGetNext(list, item)) {
        const RvSdpAttribute *attribute = static_cast<const RvSdpAttribute *>(item);
        const char *name = orEmpty(rvSdpAttributeGetName(attribute));
        if (isPayloadLine(name))
            continue;
        zvSdpMediaAddAttribute(media, name, attributeValue(attribute), nullptr);
    }
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpConstructFromString(const char *sdpBuffer, CSdp **objHndl)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!objHndl || !sdpBuffer || !*sdpBuffer,
                         "Invalid parameter detected: &objHndl=%p ; &sdpBuffer=%p ; sdpBuffer length=%d bytes",
                         vp(objHndl), vp(sdpBuffer), sdpBuffer ? static_cast<int>(strlen(sdpBuffer)) : 0);
    *objHndl = nullptr;

    char work[kTextLimit + 1];
    uint32_t length = static_cast<uint32_t>(strnlen(sdpBuffer, kTextLimit));
    memcpy(work, sdpBuffer, length);
    work[length] = '\0';
    int status = 0;
    // A text of this size keeps the message free of heap memory, so the two
    // failure paths below that leave it undestructed lose nothing.
    RvSdpMsg message;
    rvSdpMsgConstructParse(&message, work, &length, &status);
    ZV_RETURN_IF(status == RVSDP_PARSE_NOT_SDP || length == 0, ZVSDP_RC_INVALID, ZV_LOGC, kModApi,
                 "rvSdpMsgConstructParse failed, invalid SDP message (parser error = %d)", status);

    CSdp *session = zvSdpObjConstruct();
    if (!session) {
        rvSdpMsgDestruct(&message);
        return ZVSDP_RC_NO_RESOURCE;
    }

    RvSdpList *mediaList = rvSdpMsgGetMediaDescrList(&message);
    for (void *item = rvSdpListGetFirst(mediaList); item; item = rvSdpListGetNext(mediaList, item)) {
        RvSdpMediaDescr *descr = static_cast<RvSdpMediaDescr *>(item);
        uint32_t mediaType = 0, transport = 0;
        if (!mediaTypeFromText(rvSdpMediaTypeTxt2Val(rvSdpMediaDescrGetMediaTypeStr(descr)), &mediaType) ||
            !mapped(kTransports, rvSdpMediaProtoTxt2Val(rvSdpMediaDescrGetProtocolStr(descr)), &transport,
                    kTextTransportRows)) {
            ZV_LOGD_AS(kModApi, "createRvSdpMirror", "MediaDescriptor(%s, %s) ignored.",
                       orEmpty(rvSdpMediaDescrGetMediaTypeStr(descr)), orEmpty(rvSdpMediaDescrGetProtocolStr(descr)));
            continue;
        }
        CMedia *media = zvSdpMediaObjConstruct(transport, mediaType);
        zvSdpObjAddMedia(session, media);
        if (!media)
            continue;
        if (transport != ZVSDP_TP_RTPAVP) {
            // One such line fails the whole offer: the host answers it whole.
            ZV_LOGE_AS(kModApi, "createRvSdpMirror", "We don't support this transport-protocol yet\r\n");
            zvSdpObjDestruct(session);
            return ZVSDP_RC_TRANSPORT;
        }
        // Each step takes its class locks for itself alone: holding them for
        // the whole media would make every other host thread wait for it.
        int port = rvSdpMediaDescrGetPort(descr);
        zvSdpMediaObjSetPort(media, port < 0 ? 0u : static_cast<uint32_t>(port));
        zvSdpMediaObjSetSupported(media, port > 0 ? 1 : 0);
        PayloadLines lines(descr);
        uint16_t formats = rvSdpMediaDescrGetNumOfPayloads(descr);
        for (uint16_t i = 0; i < formats; ++i)
            lines.addPayload(media, rvSdpMediaDescrGetPayload(descr, i));
        addAttributes(media, descr);
    }
    rvSdpMsgDestruct(&message);

    // Print check: a session that prints nothing is no offer. Every media
    // prints at least its m-line, and no object's print logs or keeps
    // anything, so a session prints nothing exactly when it has no media.
    if (!zvSdpObjGetMedia(session, nullptr)) {
        ZV_LOGC(kModApi, "zvSdpConstructFromString failed, invalid SDP construction!");
        zvSdpObjDestruct(session);
        return ZVSDP_RC_INVALID;
    }
    *objHndl = session;
    ZV_LOGI(kModApi, "SDP message parsed successfully.  CSdp object = %p", vp(session));
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpCopyRvMedia(CSdp *sdp, RvSdpMsg *rvSdp)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!sdp || !rvSdp, "Invalid parameter detected: zvSdp=%p, rvSdp=%p", vp(sdp), vp(rvSdp));
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(sdp));
    CMedia *old = nullptr;
    while (zvSdpGetFirstMediaDescriptor(sdp, &old) == ZVSDP_RC_OK && old)
        if (zvSdpRemoveMediaDescriptor(sdp, &old) != ZVSDP_RC_OK)
            break;

    RvSdpList *mediaList = rvSdpMsgGetMediaDescrList(rvSdp);
    for (void *item = rvSdpListGetFirst(mediaList); item; item = rvSdpListGetNext(mediaList, item)) {
        RvSdpMediaDescr *descr = static_cast<RvSdpMediaDescr *>(item);
        uint32_t mediaType = 0, transport = 0;
        bool typeKnown = mapped(kCopyMediaTypes, rvSdpMediaDescrGetMediaType(descr), &mediaType);
        if (!typeKnown)
            ZV_LOGC(kModApi, "Illegal condition: Unsupported Media type! (%s)",
                    orEmpty(rvSdpMediaDescrGetMediaTypeStr(descr)));
        if (!mapped(kTransports, rvSdpMediaDescrGetProtocol(descr), &transport)) {
            ZV_LOGC(kModApi, "Illegal condition: Unsupported Media protocol! (%s)",
                    orEmpty(rvSdpMediaDescrGetProtocolStr(descr)));
            continue;
        }
        if (!typeKnown)
            continue;

        CMedia *media = nullptr;
        zvSdpAddMediaDescriptor(sdp, mediaType, transport, &media);
        int port = rvSdpMediaDescrGetPort(descr);
        ZV_LOGD(kModApi, "!!!!!!!!! MEDIA PORT NUMBER = %d", port);
        // The port itself stays at the media's default here, on purpose.
        if (port == 0 && zvSdpMediaMarkUnsupported(media) != ZVSDP_RC_OK)
            ZV_LOGD(kModApi, "Failed to set media to unsupported");

        // Telephone events go last in the caller's message, and so in ours.
        // The number is -1 when no rtpmap names them; it is logged either way.
        int event = -1;
        for (const RvSdpRtpMap *rtpmap = rvSdpGetFirstSpecialAttr(descr, RVSDP_SPEC_ATTR_RTPMAP); rtpmap;
             rtpmap = rvSdpGetNextSpecialAttr(rtpmap, RVSDP_SPEC_ATTR_RTPMAP)) {
            if (strcasecmp(orEmpty(rvSdpRtpMapGetEncodingName(rtpmap)), "telephone-event") == 0) {
                event = rvSdpRtpMapGetPayload(rtpmap);
                break;
            }
        }
        ZV_LOGD(kModApi, "zvSdpCopyRvMedia: Telephone Event payload = %d\r\n", event);
        if (event != -1) {
            int count = rvSdpMediaDescrGetNumOfPayloads(descr);
            for (int i = 0; i < count; ++i) {
                if (rvSdpMediaDescrGetPayload(descr, i) == event) {
                    rvSdpRemoveTextFromArray(descr, i);
                    break;
                }
            }
            rvSdpMediaDescrAddPayloadNumber(descr, event);
        }

        PayloadLines lines(descr);
        int formats = rvSdpMediaDescrGetNumOfPayloads(descr);
        for (int i = 0; i < formats; ++i) {
            int number = rvSdpMediaDescrGetPayload(descr, i);
            if (number == RVSDP_PAYLOAD_NOT_NUMBER) {
                const char *format = orEmpty(rvSdpMediaDescrGetFormat(descr, i));
                if (strcmp(format, "t38") == 0) {
                    // 105 is the T.38 row of the table as shipped.
                    if (zvSdpMediaAddDynamicPayload(media, ZVSDP_PT_T38, nullptr) != ZVSDP_RC_OK)
                        ZV_LOGD(kModApi, "Failed to add T38 payloadtype");
                } else {
                    ZV_LOGE(kModApi, "unsupported  payloadtype %s\r\n", format);
                }
                continue;
            }
            if (!lines.addPayload(media, number))
                ZV_LOGD(kModApi, "Failed to add payloadtype (index=%d, id=%d)", i, number);
        }

        RvSdpList *attributes = rvSdpMediaDescrGetAttributeList(descr);
        size_t count = rvSdpMediaDescrGetNumOfAttr(descr);
        for (size_t i = 0; i < count; ++i) {
            const RvSdpAttribute *attribute = static_cast<const RvSdpAttribute *>(rvSdpListGetByIndex(attributes, i));
            ZV_RETURN_IF(!attribute, ZVSDP_RC_EXTERNAL, ZV_LOGD, kModApi,
                         "rvSdpMediaDescrGetAttribute returned NULL\n");
            const char *name = orEmpty(rvSdpAttributeGetName(attribute));
            if (isPayloadLine(name))
                continue;
            zvSdpMediaAddAttribute(media, name, attributeValue(attribute), nullptr);
        }
    }
    return ZVSDP_RC_OK;
}

}  // extern "C"
