// Prints a message as RFC 4566 text. The writer keeps counting past the end
// of the buffer so that a caller learns the size it needs.
#include "rvsdp_internal.h"

#include <limits.h>
#include <stdio.h>
#include <string.h>

namespace {

// The primitives stay out of line: inlined into every line printer they
// tripled the encoder's size for no measurable gain.
#define RVSDP_NOINLINE __attribute__((noinline))

class Writer {
public:
    Writer(char *buf, size_t size) : buf_(buf), size_(size) {}

    RVSDP_NOINLINE void put(const char *s, size_t n) {
        if (pos_ < size_) memcpy(buf_ + pos_, s, n < size_ - pos_ ? n : size_ - pos_);
        pos_ += n;
    }
    RVSDP_NOINLINE void str(const char *s) {
        if (s) put(s, strlen(s));
    }
    void ch(char c) {
        if (pos_ < size_) buf_[pos_] = c;
        ++pos_;
    }
    RVSDP_NOINLINE void num(long long v) {
        char tmp[24];
        int n = snprintf(tmp, sizeof tmp, "%lld", v);
        put(tmp, static_cast<size_t>(n));
    }
    void end() { put("\r\n", 2); }

    // "<type>=<text>\r\n" when the text is present.
    RVSDP_NOINLINE void textLine(char type, const char *text) {
        if (!text) return;
        ch(type);
        ch('=');
        str(text);
        end();
    }
    size_t length() const { return pos_; }

private:
    char *buf_;
    size_t size_;
    size_t pos_ = 0;
};

template <class T, class F>
void each(const RvSdpList &list, F f) {
    for (const RvSdpListNode *n = static_cast<const RvSdpListNode *>(list._first); n; n = n->next)
        f(*reinterpret_cast<const T *>(n));
}

void texts(Writer &w, char type, const RvSdpList &list) {
    each<RvSdpText>(list, [&](const RvSdpText &t) { w.textLine(type, t.text); });
}

void connections(Writer &w, const RvSdpList &list) {
    each<RvSdpConnection>(list, [&](const RvSdpConnection &c) {
        w.str("c=");
        w.str(c.netType);
        w.ch(' ');
        w.str(c.addrType);
        w.ch(' ');
        w.str(c.address);
        w.end();
    });
}

void bandwidths(Writer &w, const RvSdpList &list) {
    each<RvSdpBandwidth>(list, [&](const RvSdpBandwidth &b) {
        w.str("b=");
        w.str(b.type);
        w.ch(':');
        w.num(b.value);
        w.end();
    });
}

void attributes(Writer &w, const RvSdpList &list) {
    each<RvSdpAttribute>(list, [&](const RvSdpAttribute &a) {
        w.str("a=");
        w.str(a.name);
        if (a.value) {
            w.ch(':');
            w.str(a.value);
        }
        w.end();
    });
}

void media(Writer &w, const RvSdpMediaDescr &d) {
    w.str("m=");
    w.str(d.mediaType);
    w.ch(' ');
    w.num(d.port);
    if (d.numOfPorts > 0) {
        w.ch('/');
        w.num(d.numOfPorts);
    }
    w.ch(' ');
    w.str(d.protocol);
    each<RvSdpFormat>(d.formats, [&](const RvSdpFormat &f) {
        w.ch(' ');
        w.str(f.text);
    });
    w.end();
    w.textLine('i', d.info);
    connections(w, d.connections);
    bandwidths(w, d.bandwidths);
    w.textLine('k', d.key);
    attributes(w, d.attributes);
}

}  // namespace

extern "C" int rvSdpMsgEncodeToBuf(const RvSdpMsg *msg, char *buf, uint32_t size) {
    if (!msg || msg->_magic != rvsdp::kMsgMagic || (!buf && size)) return RVSDP_ERROR;
    Writer w(buf, size);
    w.textLine('v', msg->_version);
    const RvSdpOrigin &o = msg->_origin;
    if (o._user) {
        const char *f[6] = {o._user, o._sessionId, o._version, o._netType, o._addrType, o._address};
        w.str("o=");
        for (int i = 0; i < 6; ++i) {
            if (i) w.ch(' ');
            w.str(f[i]);
        }
        w.end();
    }
    w.textLine('s', msg->_sessionName);
    w.textLine('i', msg->_info);
    w.textLine('u', msg->_uri);
    texts(w, 'e', msg->_emails);
    texts(w, 'p', msg->_phones);
    connections(w, msg->_connections);
    bandwidths(w, msg->_bandwidths);
    each<RvSdpSessionTime>(msg->_times, [&](const RvSdpSessionTime &t) {
        w.str("t=");
        w.str(t.start);
        w.ch(' ');
        w.str(t.stop);
        w.end();
        texts(w, 'r', t.repeats);
    });
    w.textLine('z', msg->_timeZone);
    w.textLine('k', msg->_key);
    attributes(w, msg->_attributes);
    each<RvSdpMediaDescr>(msg->_media, [&](const RvSdpMediaDescr &d) { media(w, d); });

    size_t len = w.length();
    if (len < size) {
        buf[len] = '\0';
    } else if (size) {
        buf[0] = '\0';  // never leave a cut text behind
    }
    return len > static_cast<size_t>(INT_MAX) ? RVSDP_ERROR : static_cast<int>(len);
}
