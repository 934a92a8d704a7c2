// The RFC 3264 answer: one answer m-line per offered m-line, written from
// the offer and the local capabilities straight into the caller's buffer.
//
// This sits beside the capability builder, which stays what it is (one
// served stream yields the local description): the host picks the answer it
// wants. Rules, per offered m-line in order:
// - served: the first stream of the local media's type and transport that
//   has a port and shares a codec with the local media; it lists the common
//   codecs in the offer's order under the offer's payload numbers, with the
//   local port, the local attributes and the answered direction;
// - telephone-event and CN only beside a chosen codec of their clock rate;
// - AMR and AMR-WB by RFC 4867: octet-align, crc, robust-sorting and
//   interleaving must agree, the mode-set is the common part of both sets;
// - every other stream: port 0 and its first format, nothing else.
#include <string.h>
#include <strings.h>

#include "answer.h"
#include "guard.h"
#include "rvsdp.h"

using namespace zv;
using namespace zv::answer;

namespace {

// Largest offer text read; SIP bodies stay far below.
constexpr size_t kMaxOfferText = 64 * 1024;

bool sameWord(Span s, const char *word)
{
    size_t n = strlen(word);
    return s.n == n && strncasecmp(s.p, word, n) == 0;
}

// Offered media-type texts of the library's media types.
bool typeMatches(uint32_t mediaType, Span type)
{
    switch (mediaType) {
    case ZVSDP_MT_AUDIO: return sameWord(type, "audio");
    case ZVSDP_MT_NAS: return sameWord(type, "nas");
    case ZVSDP_MT_VIDEO: return sameWord(type, "video");
    case ZVSDP_MT_APP: return sameWord(type, "application") || sameWord(type, "app");
    case ZVSDP_MT_DATA: return sameWord(type, "data");
    case ZVSDP_MT_IMAGE: return sameWord(type, "image");
    case ZVSDP_MT_CONTROL: return sameWord(type, "control");
    default: return false;
    }
}

bool transportMatches(uint32_t transport, Span proto)
{
    switch (transport) {
    case ZVSDP_TP_RTPAVP: return sameWord(proto, "RTP/AVP");
    case ZVSDP_TP_UDP: return sameWord(proto, "udp");
    case ZVSDP_TP_UDPTL: return sameWord(proto, "udptl");
    case ZVSDP_TP_TCP: return sameWord(proto, "TCP");
    case ZVSDP_TP_UDPBFCP: return sameWord(proto, "UDP/BFCP");
    default: return false;
    }
}

// A format for a rejected m-line that offered none: SDP wants one.
const char *placeholderFormat(Span proto)
{
    for (uint32_t i = 0; i + 3 <= proto.n; ++i)
        if (strncasecmp(proto.p + i, "RTP", 3) == 0)
            return "0";
    return sameWord(proto, "udptl") ? "t38" : "*";
}

const char *directionWord(uint8_t direction)
{
    switch (direction) {
    case kDirSend: return "sendonly";
    case kDirRecv: return "recvonly";
    case kDirInactive: return "inactive";
    default: return "sendrecv";
    }
}

// A text that fits one blank-separated field of an o= or c= line.
bool isField(const char *text)
{
    if (!text || !*text)
        return false;
    for (const char *p = text; *p; ++p)
        if (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n')
            return false;
    return true;
}

bool isLineText(const char *text)
{
    return text && *text && !strpbrk(text, "\r\n");
}

const ZvSdpCodecEntry *staticRow(int32_t pt)
{
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable)
        if (!row.isDynamic && static_cast<int32_t>(row.payloadType) == pt)
            return &row;
    return nullptr;
}

bool sameName(Span a, Span b)
{
    return a.n == b.n && strncasecmp(a.p, b.p, a.n) == 0;
}

uint32_t atLeastOne(int32_t channels)
{
    return channels < 1 ? 1u : static_cast<uint32_t>(channels);
}

bool hasEvent(const EventSet &set, int e)
{
    return set.bits[e >> 5] & (1u << (e & 31));
}

// One common codec of the served stream.
struct Choice {
    const OfferFormat *offered;
    const LocalCodec *local;
    uint32_t clock;
    uint16_t modes;       // AMR: the modes of the answer...
    bool writeModes;      // ...written when either side restricts them
    EventSet events;      // telephone-event: the events of both sides
};

void putEvents(Builder &out, const EventSet &events)
{
    bool first = true;
    for (int e = 0; e < 256; ++e) {
        if (!(e & 31) && !events.bits[e >> 5]) {
            e += 31;  // an empty word of events
            continue;
        }
        if (!hasEvent(events, e))
            continue;
        int last = e;
        while (last < 255 && hasEvent(events, last + 1))
            ++last;
        if (!first)
            out.putChar(',');
        out.putUint(static_cast<uint32_t>(e));
        if (last > e) {
            out.putChar('-');
            out.putUint(static_cast<uint32_t>(last));
        }
        first = false;
        e = last;
    }
}

// The answer's AMR parameters: the common modes, the payload format the two
// sides agree on, and what the local side declares of itself.
void putAmr(Builder &out, const Choice &c)
{
    const AmrParams &l = c.local->amr;
    const char *separator = "";
    auto item = [&](const char *key) {
        out.put(separator);
        out.put(key);
        separator = ";";
    };
    if (c.writeModes) {
        item("mode-set=");
        const char *comma = "";
        for (uint32_t mode = 0; mode <= 8; ++mode) {
            if (c.modes & (1u << mode)) {
                out.put(comma);
                out.putUint(mode);
                comma = ",";
            }
        }
    }
    if (l.octetAlign)
        item("octet-align=1");
    if (l.crc)
        item("crc=1");
    if (l.robustSorting)
        item("robust-sorting=1");
    if (l.interleaving >= 0) {
        item("interleaving=");
        out.putUint(static_cast<uint32_t>(l.interleaving));
    }
    if (l.modeChangePeriod) {
        item("mode-change-period=");
        out.putUint(l.modeChangePeriod);
    }
    if (l.modeChangeCapability) {
        item("mode-change-capability=");
        out.putUint(l.modeChangeCapability);
    }
    if (l.modeChangeNeighbor)
        item("mode-change-neighbor=1");
    if (l.maxRed >= 0) {
        item("max-red=");
        out.putUint(static_cast<uint32_t>(l.maxRed));
    }
}

bool hasAmrItems(const Choice &c)
{
    const AmrParams &l = c.local->amr;
    return c.writeModes || l.octetAlign || l.crc || l.robustSorting || l.interleaving >= 0 || l.modeChangePeriod ||
           l.modeChangeCapability || l.modeChangeNeighbor || l.maxRed >= 0;
}

// The fmtp line of one answered payload, under the offer's number. Codecs
// other than AMR and telephone events carry the local parameters: they say
// what this side receives.
void putFmtp(Builder &out, const Choice &c)
{
    CodecKind kind = c.local->kind;
    bool amr = kind == kAmrNb || kind == kAmrWb;
    if (amr ? !hasAmrItems(c) : kind != kEvent && c.local->fmtp.n == 0)
        return;
    out.put("a=fmtp:", 7);
    out.putUint(static_cast<uint32_t>(c.offered->pt));
    out.putChar(' ');
    if (kind == kEvent)
        putEvents(out, c.events);
    else if (amr)
        putAmr(out, c);
    else
        out.put(c.local->fmtp);
    out.putChar('\n');
}

}  // namespace

Builder::Builder(char *buffer, uint32_t size)
    : buf_(buffer), size_(size), len_(0), body_(false), timeWritten_(false), served_(false), index_(0)
{
    buf_[0] = '\0';
}

void Builder::put(const char *p, size_t n)
{
    // Past the end nothing more is written, only counted: the caller learns
    // the size the whole answer needs.
    if (len_ + n < size_)
        memcpy(buf_ + len_, p, n);
    len_ += n;
}

void Builder::put(const char *text)
{
    put(text, strlen(text));
}

void Builder::putUint(uint64_t value)
{
    char digits[20];
    char *end = digits + sizeof digits, *p = end;
    do {
        *--p = static_cast<char>('0' + value % 10u);
        value /= 10u;
    } while (value);
    put(p, static_cast<size_t>(end - p));
}

uint32_t Builder::readLocal(CSdp *local)
{
    CMedia *media = nullptr, *second = nullptr;
    uint32_t rc = zvSdpGetFirstMediaDescriptor(local, &media);
    if (rc == ZVSDP_RC_OK && media)
        rc = zvSdpGetNextMediaDescriptor(local, media, &second);
    ZV_RETURN_IF(rc != ZVSDP_RC_OK, rc, ZV_LOGD, kModHelper, "%s", ZV_RC_TEXT(rc));
    ZV_RETURN_IF(!media, ZVSDP_RC_MISSING, ZV_LOGD, kModHelper,
                 "At least one media descriptor was expected in the local capabilities !!!");
    ZV_RETURN_IF(second, ZVSDP_RC_NOT_FOUND, ZV_LOGD, kModHelper,
                 "Currently this is not supported to  multiple mediaLines for the local capabilities !!!");
    LocalMedia &l = local_;
    l.media = media;
    l.port = zvSdpMediaObjGetPort(media);
    l.mediaType = zvSdpMediaObjGetMediaType(media);
    l.transport = zvSdpMediaObjGetTransport(media);
    l.serves = zvSdpMediaObjIsSupported(media) && l.port != 0 && l.port <= 65535;
    l.direction = kDirSendRecv;
    for (CAttribute *a = zvSdpMediaObjGetAttribute(media, nullptr); a; a = zvSdpMediaObjGetAttribute(media, a)) {
        if (zvSdpAttrObjGetValue(a))
            continue;
        uint8_t dir = directionOf(spanOf(dynstr_cstr(zvSdpAttrObjGetName(a))));
        if (dir != kDirNone) {
            l.direction = dir;
            break;
        }
    }
    l.count = 0;
    for (CPayload *p = zvSdpMediaObjGetPayload(media, nullptr); p && l.count < kMaxLocalCodecs;
         p = zvSdpMediaObjGetPayload(media, p)) {
        LocalCodec &c = l.codecs[l.count++];
        c.name = spanOf(dynstr_cstr(zvSdpPayloadObjGetName(p)));
        c.clock = zvSdpPayloadObjGetClock(p);
        c.channels = atLeastOne(static_cast<int32_t>(zvSdpPayloadObjGetChannels(p)));
        dynstr_t fmtp = zvSdpPayloadObjGetFmtp(p);
        c.fmtp = fmtp ? spanOf(dynstr_cstr(fmtp)) : span("", 0);
        c.kind = kindOf(c.name, c.clock);
        if (c.kind == kAmrNb || c.kind == kAmrWb)
            parseAmr(c.fmtp, c.kind == kAmrWb, &c.amr);
        else if (c.kind == kEvent)
            parseEvents(c.fmtp, fmtp != nullptr, &c.events);
    }
    return ZVSDP_RC_OK;
}

uint32_t Builder::start(CSdp *local, const ZvSdpAnswerSession *session)
{
    if (session) {
        bool usable = isField(session->address) && (!session->user || isField(session->user)) &&
                      (!session->sessionId || isField(session->sessionId)) &&
                      (!session->version || isField(session->version)) &&
                      (!session->addressType || isField(session->addressType)) &&
                      (!session->sessionName || isLineText(session->sessionName));
        ZV_RETURN_IF(!usable, ZVSDP_RC_INVALID, ZV_LOGD, kModHelper, "Invalid session values: address=%s",
                     session->address ? session->address : "(none)");
    }
    uint32_t rc = readLocal(local);
    if (rc != ZVSDP_RC_OK || !session)
        return rc;
    body_ = true;
    const char *addressType = session->addressType ? session->addressType
                              : strchr(session->address, ':') ? "IP6"
                                                              : "IP4";
    put("v=0\no=", 6);
    put(session->user ? session->user : "-");
    putChar(' ');
    put(session->sessionId ? session->sessionId : "0");
    putChar(' ');
    put(session->version ? session->version : "0");
    put(" IN ", 4);
    put(addressType);
    putChar(' ');
    put(session->address);
    put("\ns=", 3);
    put(session->sessionName ? session->sessionName : "-");
    put("\nc=IN ", 6);
    put(addressType);
    putChar(' ');
    put(session->address);
    putChar('\n');
    return ZVSDP_RC_OK;
}

void Builder::timeLine(Span startStop)
{
    put("t=", 2);
    put(startStop);
    putChar('\n');
    timeWritten_ = true;
}

void Builder::timeLine(uint64_t start, uint64_t stop)
{
    put("t=", 2);
    putUint(start);
    putChar(' ');
    putUint(stop);
    putChar('\n');
    timeWritten_ = true;
}

void Builder::repeatLine(Span text)
{
    put("r=", 2);
    put(text);
    putChar('\n');
}

void Builder::endHeader()
{
    if (body_ && !timeWritten_)
        put("t=0 0\n", 6);
    timeWritten_ = true;
}

void Builder::reject(const OfferMedia &offered, const char *why)
{
    ZV_LOGD(kModHelper, "m-line %u (%.*s %.*s) rejected: %s", index_, static_cast<int>(offered.type.n),
            offered.type.p, static_cast<int>(offered.proto.n), offered.proto.p, why);
    put("m=", 2);
    put(offered.type);
    put(" 0 ", 3);
    put(offered.proto);
    putChar(' ');
    if (offered.firstFormat.n)
        put(offered.firstFormat);
    else
        put(placeholderFormat(offered.proto));
    putChar('\n');
}

void Builder::localAttributes()
{
    for (CAttribute *a = zvSdpMediaObjGetAttribute(local_.media, nullptr); a;
         a = zvSdpMediaObjGetAttribute(local_.media, a)) {
        const char *name = dynstr_cstr(zvSdpAttrObjGetName(a));
        dynstr_t value = zvSdpAttrObjGetValue(a);
        Span n = spanOf(name);
        // The direction is the answer's own; rtpmap and fmtp lines would
        // name the local payload numbers.
        if ((!value && directionOf(n) != kDirNone) || sameWord(n, "rtpmap") || sameWord(n, "fmtp"))
            continue;
        put("a=", 2);
        put(n);
        if (value) {
            putChar(':');
            put(dynstr_cstr(value));
        }
        putChar('\n');
    }
}

void Builder::media(const OfferMedia &offered, const OfferSession &session)
{
    ++index_;
    if (!local_.serves)
        return reject(offered, "the local media serves nothing");
    if (!typeMatches(local_.mediaType, offered.type) || !transportMatches(local_.transport, offered.proto))
        return reject(offered, "other media type or transport than the local one");
    if (offered.port <= 0)
        return reject(offered, offered.port == 0 ? "port 0" : "no usable port");
    if (served_)
        return reject(offered, "a stream of this type is served already");

    Choice choices[kMaxFormats];
    uint32_t count = 0;
    uint32_t seenPt[4] = {0, 0, 0, 0};
    uint32_t usedLocal = 0;
    for (uint32_t i = 0; i < offered.formatCount; ++i) {
        const OfferFormat &f = offered.formats[i];
        if (f.pt < 0 || f.conflict || (seenPt[f.pt >> 5] & (1u << (f.pt & 31))))
            continue;
        seenPt[f.pt >> 5] |= 1u << (f.pt & 31);
        // The codec behind the number: the offer's rtpmap, or for a static
        // type without one, the codec table.
        Span name;
        uint32_t clock, channels;
        if (f.name.n) {
            if (f.clock <= 0)
                continue;
            name = f.name;
            clock = static_cast<uint32_t>(f.clock);
            channels = atLeastOne(f.channels);
        } else {
            const ZvSdpCodecEntry *row = f.pt < 96 ? staticRow(f.pt) : nullptr;
            if (!row)
                continue;
            name = spanOf(row->encodingName);
            clock = row->clockRate;
            channels = atLeastOne(static_cast<int32_t>(row->channels));
        }
        CodecKind kind = kindOf(name, clock);
        AmrParams amr;
        EventSet events;
        if (kind == kAmrNb || kind == kAmrWb)
            parseAmr(f.fmtp, kind == kAmrWb, &amr);
        else if (kind == kEvent)
            parseEvents(f.fmtp, f.hasFmtp, &events);
        for (uint32_t j = 0; j < local_.count; ++j) {
            const LocalCodec &l = local_.codecs[j];
            if ((usedLocal & (1u << j)) || l.kind != kind || l.clock != clock || l.channels != channels)
                continue;
            Choice &c = choices[count];
            c.offered = &f;
            c.local = &l;
            c.clock = clock;
            c.modes = 0;
            c.writeModes = false;
            if (kind == kAmrNb || kind == kAmrWb) {
                // RFC 4867 8.3.1: these make the payload format; they must
                // agree or the payload is not common.
                if (amr.octetAlign != l.amr.octetAlign || amr.crc != l.amr.crc ||
                    amr.robustSorting != l.amr.robustSorting || amr.interleaving != l.amr.interleaving)
                    continue;
                uint16_t all = kind == kAmrWb ? 0x1FF : 0xFF;
                uint16_t modes = static_cast<uint16_t>((amr.hasModeSet ? amr.modes : all) &
                                                       (l.amr.hasModeSet ? l.amr.modes : all));
                if (!modes)
                    continue;
                c.modes = modes;
                c.writeModes = amr.hasModeSet || l.amr.hasModeSet;
            } else if (kind == kEvent) {
                bool any = false;
                for (int w = 0; w < 8; ++w) {
                    c.events.bits[w] = events.bits[w] & l.events.bits[w];
                    any = any || c.events.bits[w];
                }
                if (!any)
                    continue;
            } else if (!sameName(name, l.name)) {
                continue;
            }
            usedLocal |= 1u << j;
            ++count;
            break;
        }
    }

    // Telephone events and comfort noise go with a codec of their rate
    // (RFC 4733, RFC 3389); without any such codec the stream is not served.
    uint32_t kept = 0;
    bool voice = false;
    for (uint32_t i = 0; i < count; ++i)
        voice = voice || (choices[i].local->kind != kEvent && choices[i].local->kind != kComfortNoise);
    if (!voice)
        return reject(offered, "no common codec");
    for (uint32_t i = 0; i < count; ++i) {
        CodecKind kind = choices[i].local->kind;
        bool keep = kind != kEvent && kind != kComfortNoise;
        for (uint32_t j = 0; !keep && j < count; ++j) {
            CodecKind other = choices[j].local->kind;
            keep = other != kEvent && other != kComfortNoise && choices[j].clock == choices[i].clock;
        }
        if (keep)
            choices[kept++] = choices[i];
    }
    served_ = true;
    ZV_LOGD(kModHelper, "m-line %u (%.*s %.*s) served with %u payloads", index_, static_cast<int>(offered.type.n),
            offered.type.p, static_cast<int>(offered.proto.n), offered.proto.p, kept);

    put("m=", 2);
    put(offered.type);
    putChar(' ');
    putUint(local_.port);
    putChar(' ');
    put(offered.proto);
    for (uint32_t i = 0; i < kept; ++i) {
        putChar(' ');
        putUint(static_cast<uint32_t>(choices[i].offered->pt));
    }
    putChar('\n');
    for (uint32_t i = 0; i < kept; ++i) {
        const OfferFormat &f = *choices[i].offered;
        if (!f.name.n)
            continue;  // a static type the offer did not map either
        put("a=rtpmap:", 9);
        putUint(static_cast<uint32_t>(f.pt));
        putChar(' ');
        put(f.name);
        putChar('/');
        putUint(static_cast<uint32_t>(f.clock));
        if (f.channels > 0) {
            putChar('/');
            putUint(static_cast<uint32_t>(f.channels));
        }
        putChar('\n');
    }
    for (uint32_t i = 0; i < kept; ++i)
        putFmtp(*this, choices[i]);
    localAttributes();
    uint8_t offeredDir = offered.direction != kDirNone   ? offered.direction
                         : session.direction != kDirNone ? session.direction
                                                         : kDirSendRecv;
    // An RFC 2543 hold (c= 0.0.0.0) receives nothing, whatever it says.
    if (offered.hasConnection ? offered.nullConnection : session.nullConnection)
        offeredDir &= static_cast<uint8_t>(~kDirRecv);
    uint8_t answered = static_cast<uint8_t>(((offeredDir & kDirRecv) && (local_.direction & kDirSend) ? kDirSend : 0) |
                                            ((offeredDir & kDirSend) && (local_.direction & kDirRecv) ? kDirRecv : 0));
    put("a=", 2);
    put(directionWord(answered));
    putChar('\n');
}

uint32_t Builder::finish(uint32_t rc, uint32_t *length)
{
    if (rc == ZVSDP_RC_OK && len_ >= size_) {
        ZV_LOGD(kModHelper, "The answer needs %u bytes, the buffer has %u", static_cast<unsigned>(len_ + 1), size_);
        buf_[0] = '\0';
        *length = static_cast<uint32_t>(len_);
        return ZVSDP_RC_INVALID;
    }
    if (rc != ZVSDP_RC_OK) {
        buf_[0] = '\0';
        *length = 0;
        return rc;
    }
    buf_[len_] = '\0';
    *length = static_cast<uint32_t>(len_);
    return ZVSDP_RC_OK;
}

extern "C" {

ZVSDP_API uint32_t zvSdpHelperAnswerOffer(const char *offer, CSdp *localCapabilities,
                                          const ZvSdpAnswerSession *session, char *answer, uint32_t *length)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_IF(!offer || !localCapabilities || !answer || !length || *length == 0, ZVSDP_RC_INVALID, ZV_LOGD,
                 kModHelper, "Invalid parameter detected: offer=%p, localCapabilities=%p, answer=%p, &length=%p",
                 vp(offer), vp(localCapabilities), vp(answer), vp(length));
    size_t n = strnlen(offer, kMaxOfferText + 1);
    Builder builder(answer, *length);
    uint32_t rc = ZVSDP_RC_INVALID;
    if (n > kMaxOfferText)
        ZV_LOGD(kModHelper, "Offer longer than %u bytes", static_cast<unsigned>(kMaxOfferText));
    else if ((rc = builder.start(localCapabilities, session)) == ZVSDP_RC_OK &&
             (rc = readText(offer, n, builder)) != ZVSDP_RC_OK)
        ZV_LOGD(kModHelper, "Offer refused: not one m= line could be read");
    return builder.finish(rc, length);
}

ZVSDP_API uint32_t zvSdpHelperAnswerRvOffer(RvSdpMsg *offer, CSdp *localCapabilities,
                                            const ZvSdpAnswerSession *session, char *answer, uint32_t *length)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_IF(!offer || !localCapabilities || !answer || !length || *length == 0, ZVSDP_RC_INVALID, ZV_LOGD,
                 kModHelper, "Invalid parameter detected: offer=%p, localCapabilities=%p, answer=%p, &length=%p",
                 vp(offer), vp(localCapabilities), vp(answer), vp(length));
    Builder builder(answer, *length);
    uint32_t rc = builder.start(localCapabilities, session);
    if (rc == ZVSDP_RC_OK && (rc = readMessage(offer, builder)) != ZVSDP_RC_OK)
        ZV_LOGD(kModHelper, "Offer refused: the message holds no media description");
    return builder.finish(rc, length);
}

}  // extern "C"
