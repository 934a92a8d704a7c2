// The offer as the answerer reads it: straight from the text, or from a stack
// message the host parsed. Both readers fill one OfferMedia per m-line and
// hand it to the builder at once, so nothing of the offer is copied.
//
// The text reader does not go through the stack's parser on purpose: the
// stack skips lines it finds malformed (lines with a leading blank, an
// m-line without a transport), keeps at most 32 m-lines and 32 formats, and
// takes heap memory beyond 1023 bytes. Any of these would cost the answer an
// m-line the offer has, and RFC 3264 wants one answer line per offered line.
#include <string.h>
#include <strings.h>

#include "answer.h"
#include "rvsdp.h"

namespace zv {
namespace answer {

Span spanOf(const char *text)
{
    return text ? span(text, strlen(text)) : span("", 0);
}

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool equals(Span s, const char *word, size_t n)
{
    return s.n == n && memcmp(s.p, word, n) == 0;
}

// The next blank-separated token of *rest, which moves past it.
Span token(Span *rest)
{
    const char *p = rest->p, *end = rest->p + rest->n;
    while (p < end && isBlank(*p))
        ++p;
    const char *start = p;
    while (p < end && !isBlank(*p))
        ++p;
    rest->n = static_cast<uint32_t>(end - p);
    rest->p = p;
    return span(start, static_cast<size_t>(p - start));
}

int32_t payloadType(Span text)
{
    int32_t n = number(text);
    return n > 127 ? -1 : n;
}

// "<port>" or "<port>/<count>"; -1 when it is no port.
int32_t port(Span text)
{
    const char *slash = static_cast<const char *>(memchr(text.p, '/', text.n));
    if (slash) {
        if (number(span(slash + 1, static_cast<size_t>(text.p + text.n - slash - 1))) < 0)
            return -1;
        text.n = static_cast<uint32_t>(slash - text.p);
    }
    int32_t n = number(text);
    return n > 65535 ? -1 : n;
}

}  // namespace

int32_t number(Span text)
{
    if (text.n == 0 || text.n > 9)
        return -1;
    int32_t value = 0;
    for (uint32_t i = 0; i < text.n; ++i) {
        if (!isDigit(text.p[i]))
            return -1;
        value = value * 10 + (text.p[i] - '0');
    }
    return value;
}

uint8_t directionOf(Span name)
{
    if (name.n != 8)
        return kDirNone;
    if (memcmp(name.p, "sendrecv", 8) == 0)
        return kDirSendRecv;
    if (memcmp(name.p, "sendonly", 8) == 0)
        return kDirSend;
    if (memcmp(name.p, "recvonly", 8) == 0)
        return kDirRecv;
    if (memcmp(name.p, "inactive", 8) == 0)
        return kDirInactive;
    return kDirNone;
}

bool isNullAddress(Span address)
{
    return equals(trimmed(address), "0.0.0.0", 7);
}

bool splitFmtp(Span value, int32_t *pt, Span *params)
{
    Span rest = value;
    *pt = payloadType(token(&rest));
    *params = trimmed(rest);
    return *pt >= 0;
}

bool splitRtpmap(Span value, int32_t *pt, Span *name, int32_t *clock, int32_t *channels)
{
    Span rest = value;
    *pt = payloadType(token(&rest));
    Span encoding = token(&rest);
    const char *end = encoding.p + encoding.n;
    const char *slash = static_cast<const char *>(memchr(encoding.p, '/', encoding.n));
    *name = span(encoding.p, static_cast<size_t>((slash ? slash : end) - encoding.p));
    *clock = -1;
    *channels = 0;
    if (slash) {
        const char *second = static_cast<const char *>(memchr(slash + 1, '/', static_cast<size_t>(end - slash - 1)));
        *clock = number(span(slash + 1, static_cast<size_t>((second ? second : end) - slash - 1)));
        if (second)
            *channels = number(span(second + 1, static_cast<size_t>(end - second - 1)));
        if (*channels < 0)
            *clock = -1;  // a malformed rtpmap names no codec for sure
    }
    return *pt >= 0 && name->n > 0;
}

void OfferMedia::reset()
{
    type = proto = firstFormat = span("", 0);
    port = -1;
    formatCount = 0;
    direction = kDirNone;
    hasConnection = nullConnection = false;
}

OfferFormat *OfferMedia::format(int32_t pt)
{
    for (uint32_t i = 0; i < formatCount; ++i)
        if (formats[i].pt == pt)
            return &formats[i];
    return nullptr;
}

void OfferMedia::addRtpmap(int32_t pt, Span name, int32_t clock, int32_t channels)
{
    OfferFormat *f = format(pt);
    if (!f)
        return;
    if (f->name.n == 0) {
        f->name = name;
        f->clock = clock;
        f->channels = channels;
    } else if (f->clock != clock || f->channels != channels || f->name.n != name.n ||
               strncasecmp(f->name.p, name.p, name.n) != 0) {
        f->conflict = true;
    }
}

void OfferMedia::addFmtp(int32_t pt, Span params)
{
    OfferFormat *f = format(pt);
    if (!f)
        return;
    if (!f->hasFmtp) {
        f->hasFmtp = true;
        f->fmtp = params;
    } else if (f->fmtp.n != params.n || memcmp(f->fmtp.p, params.p, params.n) != 0) {
        f->conflict = true;
    }
}

namespace {

// Appends one format of the m-line; the first is kept as text for a
// rejection, the first kMaxFormats as payload types for serving.
void addFormat(OfferMedia *m, Span text, bool first)
{
    if (first)
        m->firstFormat = text;
    if (m->formatCount == kMaxFormats)
        return;
    OfferFormat &f = m->formats[m->formatCount++];
    f.pt = payloadType(text);
    f.name = span("", 0);
    f.clock = -1;
    f.channels = 0;
    f.fmtp = span("", 0);
    f.hasFmtp = false;
    f.conflict = false;
}

// "m=<type> <port> <proto> <formats>": false when there is no proto.
bool readMediaLine(Span value, OfferMedia *m)
{
    m->reset();
    Span rest = value;
    m->type = token(&rest);
    Span portText = token(&rest);
    m->proto = token(&rest);
    if (m->proto.n == 0)
        return false;
    m->port = port(portText);
    for (bool first = true;; first = false) {
        Span f = token(&rest);
        if (f.n == 0)
            break;
        addFormat(m, f, first);
    }
    return true;
}

// The value of an a= line as name and value: the value is empty for a flag
// attribute.
void splitAttribute(Span line, Span *name, Span *value)
{
    const char *colon = static_cast<const char *>(memchr(line.p, ':', line.n));
    if (!colon) {
        *name = trimmed(line);
        *value = span("", 0);
        return;
    }
    *name = span(line.p, static_cast<size_t>(colon - line.p));
    *value = span(colon + 1, static_cast<size_t>(line.p + line.n - colon - 1));
}

// The address of a c= value "<net> <type> <address>".
Span connectionAddress(Span value)
{
    Span rest = value;
    token(&rest);
    token(&rest);
    return token(&rest);
}

}  // namespace

uint32_t readText(const char *text, size_t length, Builder &builder)
{
    OfferMedia m;
    OfferSession session;
    enum { kSession, kMedia, kSkipped } where = kSession;
    bool anyMedia = false;
    bool afterTime = false;  // r= lines belong to the t= line before them
    const char *p = text, *end = text + length;
    while (p < end) {
        // A line ends at CR, LF or both; blanks before its type letter are
        // tolerated, as real phones send them.
        const char *lineEnd = p;
        while (lineEnd < end && *lineEnd != '\n' && *lineEnd != '\r')
            ++lineEnd;
        const char *q = p;
        p = lineEnd + 1;
        while (q < lineEnd && isBlank(*q))
            ++q;
        if (lineEnd - q < 2 || q[1] != '=')
            continue;
        Span value = span(q + 2, static_cast<size_t>(lineEnd - q - 2));
        char kind = q[0];
        if (kind == 'm') {
            if (where == kMedia)
                builder.media(m, session);
            else if (where == kSession)
                builder.endHeader();
            // An m-line without a transport is no media line: its section is
            // passed over, as a line of another type would be.
            where = readMediaLine(value, &m) ? kMedia : kSkipped;
            anyMedia = anyMedia || where == kMedia;
            continue;
        }
        if (where == kSkipped)
            continue;
        if (kind == 'a') {
            Span name, attrValue;
            splitAttribute(value, &name, &attrValue);
            uint8_t dir = attrValue.n == 0 ? directionOf(name) : kDirNone;
            if (where == kSession) {
                if (dir != kDirNone)
                    session.direction = dir;
                continue;
            }
            if (dir != kDirNone) {
                m.direction = dir;
            } else if (equals(name, "rtpmap", 6)) {
                int32_t pt, clock, channels;
                Span encoding;
                if (splitRtpmap(attrValue, &pt, &encoding, &clock, &channels))
                    m.addRtpmap(pt, encoding, clock, channels);
            } else if (equals(name, "fmtp", 4)) {
                int32_t pt;
                Span params;
                if (splitFmtp(attrValue, &pt, &params))
                    m.addFmtp(pt, params);
            }
        } else if (kind == 'c') {
            bool null = isNullAddress(connectionAddress(value));
            if (where == kSession) {
                session.nullConnection = null;
            } else {
                m.hasConnection = true;
                m.nullConnection = null;
            }
        } else if (where == kSession && builder.wantsBody()) {
            if (kind == 't')
                builder.timeLine(trimmed(value));
            else if (kind == 'r' && afterTime)
                builder.repeatLine(trimmed(value));
            afterTime = kind == 't' || (afterTime && kind == 'r');
        }
    }
    if (where == kMedia)
        builder.media(m, session);
    return anyMedia ? ZVSDP_RC_OK : ZVSDP_RC_INVALID;
}

uint32_t readMessage(RvSdpMsg *message, Builder &builder)
{
    OfferSession session;
    RvSdpList *attributes = rvSdpMsgGetAttributeList(message);
    for (void *a = rvSdpListGetFirst(attributes); a; a = rvSdpListGetNext(attributes, a)) {
        RvSdpAttribute *attr = static_cast<RvSdpAttribute *>(a);
        const char *value = rvSdpAttributeGetValue(attr);
        uint8_t dir = !value || !*value ? directionOf(spanOf(rvSdpAttributeGetName(attr))) : kDirNone;
        if (dir != kDirNone)
            session.direction = dir;
    }
    RvSdpConnection *connection = rvSdpMsgGetConnection(message);
    session.nullConnection = connection && isNullAddress(spanOf(rvSdpConnectionGetAddress(connection)));
    if (builder.wantsBody()) {
        RvSdpList *times = rvSdpMsgGetSessionTimeList(message);
        for (void *t = rvSdpListGetFirst(times); t; t = rvSdpListGetNext(times, t)) {
            RvSdpSessionTime *time = static_cast<RvSdpSessionTime *>(t);
            builder.timeLine(rvSdpSessionTimeGetStart(time), rvSdpSessionTimeGetEnd(time));
            RvSdpList *repeats = rvSdpSessionTimeGetRepeatList(time);
            for (void *r = rvSdpListGetFirst(repeats); r; r = rvSdpListGetNext(repeats, r))
                builder.repeatLine(spanOf(rvSdpTextGetValue(static_cast<RvSdpText *>(r))));
        }
    }
    builder.endHeader();

    RvSdpList *media = rvSdpMsgGetMediaDescrList(message);
    if (!rvSdpListGetFirst(media))
        return ZVSDP_RC_INVALID;
    OfferMedia m;
    for (void *d = rvSdpListGetFirst(media); d; d = rvSdpListGetNext(media, d)) {
        RvSdpMediaDescr *descr = static_cast<RvSdpMediaDescr *>(d);
        m.reset();
        m.type = spanOf(rvSdpMediaDescrGetMediaTypeStr(descr));
        m.proto = spanOf(rvSdpMediaDescrGetProtocolStr(descr));
        m.port = rvSdpMediaDescrGetPort(descr);
        int formats = rvSdpMediaDescrGetNumOfPayloads(descr);
        for (int i = 0; i < formats; ++i)
            addFormat(&m, spanOf(rvSdpMediaDescrGetFormat(descr, i)), i == 0);
        RvSdpList *attrs = rvSdpMediaDescrGetAttributeList(descr);
        for (void *a = rvSdpListGetFirst(attrs); a; a = rvSdpListGetNext(attrs, a)) {
            RvSdpAttribute *attr = static_cast<RvSdpAttribute *>(a);
            int kind = rvSdpAttributeGetSpecialKind(attr);
            if (kind == RVSDP_SPEC_ATTR_RTPMAP) {
                Span name = spanOf(rvSdpRtpMapGetEncodingName(attr));
                int32_t pt = rvSdpRtpMapGetPayload(attr);
                if (pt >= 0 && pt <= 127 && name.n)
                    m.addRtpmap(pt, name, rvSdpRtpMapGetClockRate(attr), rvSdpRtpMapGetChannels(attr));
            } else if (kind == RVSDP_SPEC_ATTR_FMTP) {
                int32_t pt;
                Span params;
                if (splitFmtp(spanOf(rvSdpSpecAttrGetValue(attr)), &pt, &params))
                    m.addFmtp(pt, params);
            } else {
                const char *value = rvSdpAttributeGetValue(attr);
                uint8_t dir = !value || !*value ? directionOf(spanOf(rvSdpAttributeGetName(attr))) : kDirNone;
                if (dir != kDirNone)
                    m.direction = dir;
            }
        }
        RvSdpConnection *own = rvSdpMediaDescrGetConnection(descr);
        if (own) {
            m.hasConnection = true;
            m.nullConnection = isNullAddress(spanOf(rvSdpConnectionGetAddress(own)));
        }
        builder.media(m, session);
    }
    return ZVSDP_RC_OK;
}

}  // namespace answer
}  // namespace zv
