// One pass over the text, line by line; each line is split in place by a
// cursor. The whole text is copied into the message's storage once, and each
// field is cut from that copy by a NUL written where its delimiter stands
// (only where the storage cannot take the copy is each field copied by
// itself); records are allocated only for lines that are taken.
#include "rvsdp_internal.h"

#include <string.h>

using namespace rvsdp;

namespace {

inline bool blank(char c) { return c == ' ' || c == '\t'; }

// The first blank at or after p, or e.
inline const char *tokenEnd(const char *p, const char *e) { return findEither<' ', '\t'>(p, e); }

struct Piece {
    const char *p = nullptr;
    size_t n = 0;
};

struct Cursor {
    const char *p;
    const char *e;

    bool next(Piece *out) {
        while (p < e && blank(*p)) ++p;
        if (p == e) return false;
        out->p = p;
        p = tokenEnd(p, e);
        out->n = static_cast<size_t>(p - out->p);
        return true;
    }
    bool atEnd() {
        while (p < e && blank(*p)) ++p;
        return p == e;
    }
    // Exactly `count` blank-separated tokens.
    bool tokens(Piece *out, int count) {
        for (int i = 0; i < count; ++i)
            if (!next(&out[i])) return false;
        return atEnd();
    }
};

class Parser {
public:
    // `copy` holds the text from `base` on, or is NULL.
    Parser(RvSdpMsg *msg, const char *base, char *copy) : msg_(msg), base_(base), copy_(copy) {}

    void line(const char *p, const char *e) {
        if (p == e) return;  // blank lines between sections are common; not an error
        bool ok = false;
        if (e - p > RVSDP_MAX_LINE_LEN || e - p < 2 || p[1] != '=') {
            if (e - p >= 2 && p[0] == 'm' && p[1] == '=') enterMedia(false);
        } else if (p[0] == 'm') {
            ok = media(p + 2, e);
            enterMedia(ok);
        } else if (inMedia_) {
            ok = media_ && mediaLine(p[0], p + 2, e);
        } else {
            ok = sessionLine(p[0], p + 2, e);
        }
        if (ok)
            ++parsed_;
        else
            partial_ = true;
    }

    bool anyParsed() const { return parsed_ != 0; }
    bool partial() const { return partial_; }

private:
    void enterMedia(bool ok) {
        inMedia_ = true;
        // The lines of a refused m-section go with it, rather than onto the
        // description before it.
        if (!ok) media_ = nullptr;
    }

    // The n characters at p as a text of the message, or NULL when storage
    // is short. Once cut, the copy's byte after them is gone for good: the
    // fields of one line never overlap.
    const char *keep(const char *p, size_t n) {
        if (__builtin_expect(copy_ != nullptr, 1)) {
            char *q = copy_ + (p - base_);
            q[n] = '\0';
            return q;
        }
        return allocText(msg_, p, n);
    }
    const char *keep(const Piece &t) { return keep(t.p, t.n); }

    bool setOnce(const char **field, const char *p, const char *e) {
        if (*field) return false;
        *field = keep(p, static_cast<size_t>(e - p));
        return *field != nullptr;
    }

    bool text(RvSdpList *list, const char *p, const char *e) {
        RvSdpText *t = static_cast<RvSdpText *>(allocRecord(msg_, sizeof(RvSdpText)));
        if (!t || !(t->text = keep(p, static_cast<size_t>(e - p)))) return false;
        listAppend(list, t);
        return true;
    }

    bool connection(RvSdpList *list, const char *p, const char *e) {
        Piece t[3];
        Cursor c{p, e};
        if (!c.tokens(t, 3)) return false;
        RvSdpConnection *conn;
        if (copy_) {
            conn = connectionOf(msg_, keep(t[0]), keep(t[1]), keep(t[2]));
        } else {
            conn = newConnection(msg_, t[0].p, t[0].n, t[1].p, t[1].n, t[2].p, t[2].n);
        }
        if (!conn) return false;
        listAppend(list, conn);
        return true;
    }

    bool bandwidth(RvSdpList *list, const char *p, const char *e) {
        const char *colon = static_cast<const char *>(memchr(p, ':', static_cast<size_t>(e - p)));
        uint64_t value;
        if (!colon || colon == p) return false;
        for (const char *q = p; q < colon; ++q)
            if (blank(*q)) return false;
        if (!parseU64(colon + 1, static_cast<size_t>(e - colon - 1), &value) || value > UINT32_MAX)
            return false;
        RvSdpBandwidth *b = static_cast<RvSdpBandwidth *>(allocRecord(msg_, sizeof(RvSdpBandwidth)));
        if (!b || !(b->type = keep(p, static_cast<size_t>(colon - p)))) return false;
        b->value = static_cast<uint32_t>(value);
        listAppend(list, b);
        return true;
    }

    bool attribute(RvSdpList *list, const char *p, const char *e) {
        // Names are a few letters: looking for the colon costs less than a
        // call, and the two names of most media lines are known at once.
        const char *colon;
        size_t n = static_cast<size_t>(e - p);
        if (n >= 7 && memcmp(p, "rtpmap:", 7) == 0) {
            colon = p + 6;
        } else if (n >= 5 && memcmp(p, "fmtp:", 5) == 0) {
            colon = p + 4;
        } else {
            colon = p;
            while (colon < e && *colon != ':') ++colon;
            if (colon == e) colon = nullptr;
        }
        const char *nameEnd = colon ? colon : e;
        if (nameEnd == p) return false;
        size_t nameLen = static_cast<size_t>(nameEnd - p);
        size_t valueLen = colon ? static_cast<size_t>(e - colon - 1) : 0;
        RvSdpAttribute *a = copy_ ? attributeOf(msg_, keep(p, nameLen), nameLen,
                                                colon ? keep(colon + 1, valueLen) : nullptr, valueLen)
                                  : copiedAttribute(p, nameLen, colon, valueLen);
        if (!a) return false;
        listAppend(list, a);
        return true;
    }

    __attribute__((noinline)) RvSdpAttribute *copiedAttribute(const char *p, size_t nameLen, const char *colon,
                                                              size_t valueLen) {
        return newAttribute(msg_, p, nameLen, colon ? colon + 1 : nullptr, valueLen);
    }

    bool timing(const char *p, const char *e) {
        Piece t[2];
        Cursor c{p, e};
        uint64_t v;
        if (!c.tokens(t, 2) || !parseU64(t[0].p, t[0].n, &v) || !parseU64(t[1].p, t[1].n, &v))
            return false;
        RvSdpSessionTime *time =
            static_cast<RvSdpSessionTime *>(allocRecord(msg_, sizeof(RvSdpSessionTime)));
        if (!time || !(time->start = keep(t[0])) || !(time->stop = keep(t[1])))
            return false;
        listAppend(&msg_->_times, time);
        lastTime_ = time;
        return true;
    }

    bool origin(const char *p, const char *e) {
        Piece t[6];
        Cursor c{p, e};
        if (msg_->_origin._user || !c.tokens(t, 6)) return false;
        const char *f[6];
        for (int i = 0; i < 6; ++i)
            if (!(f[i] = keep(t[i]))) return false;
        msg_->_origin = RvSdpOrigin{f[0], f[1], f[2], f[3], f[4], f[5]};
        return true;
    }

    bool sessionLine(char type, const char *p, const char *e) {
        switch (type) {
        case 'v':
            if (p == e) return false;
            for (const char *q = p; q < e; ++q)
                if (*q < '0' || *q > '9') return false;
            return setOnce(&msg_->_version, p, e);
        case 'o': return origin(p, e);
        case 's': return setOnce(&msg_->_sessionName, p, e);
        case 'i': return setOnce(&msg_->_info, p, e);
        case 'u': return setOnce(&msg_->_uri, p, e);
        case 'e': return text(&msg_->_emails, p, e);
        case 'p': return text(&msg_->_phones, p, e);
        case 'c': return connection(&msg_->_connections, p, e);
        case 'b': return bandwidth(&msg_->_bandwidths, p, e);
        case 't': return timing(p, e);
        case 'r': return lastTime_ && text(&lastTime_->repeats, p, e);
        case 'z': return setOnce(&msg_->_timeZone, p, e);
        case 'k': return setOnce(&msg_->_key, p, e);
        case 'a': return attribute(&msg_->_attributes, p, e);
        default: return false;
        }
    }

    bool mediaLine(char type, const char *p, const char *e) {
        switch (type) {
        case 'i': return setOnce(&media_->info, p, e);
        case 'c': return connection(&media_->connections, p, e);
        case 'b': return bandwidth(&media_->bandwidths, p, e);
        case 'k': return setOnce(&media_->key, p, e);
        case 'a': return attribute(&media_->attributes, p, e);
        default: return false;
        }
    }

    // "<media> <port>[/<number of ports>] <proto> [<fmt> ...]"
    bool media(const char *p, const char *e) {
        Piece type, port, proto, fmt;
        Cursor c{p, e};
        if (!c.next(&type) || !c.next(&port) || !c.next(&proto)) return false;
        const char *slash = static_cast<const char *>(memchr(port.p, '/', port.n));
        size_t portLen = slash ? static_cast<size_t>(slash - port.p) : port.n;
        int portValue = parseNumber(port.p, portLen);
        int numOfPorts = slash ? parseNumber(slash + 1, port.n - portLen - 1) : 0;
        if (portValue < 0 || portValue > 65535 || (slash && (numOfPorts < 1 || numOfPorts > 65535))) {
            // Kept as a rejected stream rather than dropped: an answer owes
            // every offered m-line one of its own, in the offer's order.
            portValue = 0;
            numOfPorts = 0;
            partial_ = true;
        }
        RvSdpMediaDescr *d =
            copy_ ? (msg_->_media._count < RVSDP_MAX_MEDIA ? mediaDescrOf(msg_, keep(type), portValue, keep(proto))
                                                            : nullptr)
                  : newMediaDescr(msg_, type.p, type.n, portValue, proto.p, proto.n);
        if (!d) return false;
        d->numOfPorts = numOfPorts;
        media_ = d;
        while (c.next(&fmt)) {
            if ((copy_ ? formatOf(d, keep(fmt)) : addFormat(d, fmt.p, fmt.n)) != RVSDP_OK) {
                partial_ = true;  // formats beyond the limit are cut; the m-line stays
                break;
            }
        }
        return true;
    }

    RvSdpMsg *msg_;
    const char *base_;
    char *copy_;
    RvSdpMediaDescr *media_ = nullptr;
    RvSdpSessionTime *lastTime_ = nullptr;
    bool inMedia_ = false;
    bool partial_ = false;
    unsigned parsed_ = 0;
};

}  // namespace

extern "C" RvSdpMsg *rvSdpMsgConstructParse(RvSdpMsg *msg, const char *text, uint32_t *length,
                                            int *status) {
    int st = RVSDP_ERROR;
    uint32_t consumed = 0;
    if (msg) rvSdpMsgConstruct(msg);
    if (msg && text) {
        size_t len = length ? *length : strlen(text);
        const char *nul = static_cast<const char *>(memchr(text, '\0', len));
        if (nul) len = static_cast<size_t>(nul - text);

        // Room for the copy and a NUL behind it: the last field may end the text.
        char *copy = reserveText(msg, len + 1);
        if (copy) zvplatform::copyShort(copy, text, len);
        Parser parser(msg, text, copy);
        const char *pos = text;
        const char *end = text + len;
        while (pos < end) {
            const char *lf = static_cast<const char *>(memchr(pos, '\n', static_cast<size_t>(end - pos)));
            const char *lineEnd = lf ? lf : end;
            const char *next = lf ? lf + 1 : end;
            if (lineEnd > pos && lineEnd[-1] == '\r') --lineEnd;
            parser.line(pos, lineEnd);
            pos = next;
        }
        if (!parser.anyParsed()) {
            st = RVSDP_PARSE_NOT_SDP;
        } else {
            st = parser.partial() ? RVSDP_PARSE_PARTIAL : RVSDP_OK;
            consumed = static_cast<uint32_t>(len);
        }
    }
    if (length) *length = consumed;
    if (status) *status = st;
    return st == RVSDP_OK || st == RVSDP_PARSE_PARTIAL ? msg : nullptr;
}
