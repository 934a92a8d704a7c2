// Records behind the opaque item types of rvsdp.h and the message's storage.
#pragma once

#include "rvsdp.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include "short_copy.h"

// Every item starts with this link, so one list implementation serves all.
struct RvSdpListNode {
    RvSdpListNode *next;
};

struct RvSdpText {
    RvSdpListNode node;
    const char *text;
};

struct RvSdpConnection {
    RvSdpListNode node;
    const char *netType;
    const char *addrType;
    const char *address;
};

struct RvSdpBandwidth {
    RvSdpListNode node;
    const char *type;
    uint32_t value;
};

// The times stay text (checked decimal) rather than two 64-bit words: that
// keeps the record within the parser's heap-free bound on 32-bit targets.
struct RvSdpSessionTime {
    RvSdpListNode node;
    const char *start;
    const char *stop;
    RvSdpList repeats;  // RvSdpText
};

struct RvSdpAttribute {
    RvSdpListNode node;
    const char *name;
    const char *value;  // NULL for a flag attribute
    int kind;           // RVSDP_SPEC_ATTR_*
};

// An rtpmap is an attribute with its parsed fields in the same allocation.
struct RvSdpRtpMapRec {
    RvSdpAttribute attr;
    const char *encodingName;
    int payload;
    int clockRate;
    int channels;
};

struct RvSdpFormat {
    RvSdpListNode node;
    const char *text;
};

struct RvSdpMediaDescr {
    RvSdpListNode node;
    RvSdpMsg *msg;  // builders on a description allocate from its message
    const char *mediaType;
    const char *protocol;
    const char *info;
    const char *key;
    int port;
    int numOfPorts;
    RvSdpList formats;
    RvSdpList attributes;
    RvSdpList connections;
    RvSdpList bandwidths;
    // The format last found by index, so that reads in order cost one step
    // each; NULL after a removal.
    RvSdpFormat *seenFormat;
    int seenIndex;
};

namespace rvsdp {

constexpr uint32_t kMsgMagic = 0x52565344u;  // "RVSD"

// Storage of a message: records are taken from the low end of the current
// block, texts from the high end, so records need no alignment padding
// between texts. Returns NULL when memory is short. The common case, room in
// the current block, is inline; the parse makes a few dozen of these calls
// per line.
void *allocRecordSlow(RvSdpMsg *msg, size_t size);
char *allocTextSlow(RvSdpMsg *msg, size_t size);

inline void *allocRecord(RvSdpMsg *msg, size_t size)
{
    size = (size + 7) & ~size_t(7);
    unsigned char *p;
    if (msg->_arenaHigh - msg->_arenaLow >= size) {
        p = msg->_arena + msg->_arenaLow;
        msg->_arenaLow += size;
    } else if (!(p = static_cast<unsigned char *>(allocRecordSlow(msg, size)))) {
        return nullptr;
    }
    memset(p, 0, size);
    return p;
}

// Room for `size` bytes of text.
inline char *reserveText(RvSdpMsg *msg, size_t size)
{
    if (msg->_arenaHigh - msg->_arenaLow >= size) {
        msg->_arenaHigh -= size;
        return reinterpret_cast<char *>(msg->_arena + msg->_arenaHigh);
    }
    return allocTextSlow(msg, size);
}

// The eight bytes at p as one word, the first byte lowest.
inline uint64_t wordAt(const char *p)
{
    uint64_t w;
    memcpy(&w, p, 8);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    w = __builtin_bswap64(w);
#endif
    return w;
}

// The high bit of each byte of w that equals c. Bits above the lowest such
// byte may be wrong, the lowest one is not: the first match is exact.
template <char C>
inline uint64_t bytesOf(uint64_t w)
{
    constexpr uint64_t kOnes = 0x0101010101010101ull, kHighs = 0x8080808080808080ull;
    uint64_t x = w ^ (kOnes * static_cast<unsigned char>(C));
    return (x - kOnes) & ~x & kHighs;
}

// The first byte at or after p that is A or B, or e. Eight bytes at a time
// while eight are left: the fields of SDP lines are short, so the byte is
// usually found in the first word.
template <char A, char B>
inline const char *findEither(const char *p, const char *e)
{
    for (; e - p >= 8; p += 8) {
        uint64_t w = wordAt(p);
        if (uint64_t found = bytesOf<A>(w) | bytesOf<B>(w))
            return p + (__builtin_ctzll(found) >> 3);
    }
    while (p < e && *p != A && *p != B)
        ++p;
    return p;
}

// The first `c` in the NUL-terminated text at p, or its NUL. Eight bytes at
// a time while the text lasts that long: p + 8 <= end, end being the NUL.
template <char C>
inline const char *findInText(const char *p, const char *end)
{
    for (; end - p >= 8; p += 8)
        if (uint64_t found = bytesOf<C>(wordAt(p)))
            return p + (__builtin_ctzll(found) >> 3);
    while (*p != C && *p != '\0')
        ++p;
    return p;
}

inline char *allocText(RvSdpMsg *msg, const char *text, size_t len)
{
    char *p = reserveText(msg, len + 1);
    if (!p)
        return nullptr;
    zvplatform::copyShort(p, text, len);
    p[len] = '\0';
    return p;
}

inline void listAppend(RvSdpList *list, void *item)
{
    RvSdpListNode *node = static_cast<RvSdpListNode *>(item);
    node->next = nullptr;
    if (list->_last)
        static_cast<RvSdpListNode *>(list->_last)->next = node;
    else
        list->_first = node;
    list->_last = node;
    ++list->_count;
}

// Items made from texts the message holds already (NUL-terminated): the
// parser cuts them in place from its copy of the whole text.
RvSdpMediaDescr *mediaDescrOf(RvSdpMsg *msg, const char *type, int port, const char *proto);
RvSdpConnection *connectionOf(RvSdpMsg *msg, const char *net, const char *addrType,
                              const char *addr);

inline int formatOf(RvSdpMediaDescr *d, const char *text)
{
    if (d->formats._count >= RVSDP_MAX_FORMATS)
        return RVSDP_ERROR;
    RvSdpFormat *f = static_cast<RvSdpFormat *>(allocRecord(d->msg, sizeof(RvSdpFormat)));
    if (!f)
        return RVSDP_ERROR;
    f->text = text;
    listAppend(&d->formats, f);
    return RVSDP_OK;
}

// Reads the rtpmap fields of a record from its value.
void parseRtpMap(RvSdpMsg *msg, RvSdpRtpMapRec *r, const char *value, size_t len);

inline RvSdpAttribute *attributeOf(RvSdpMsg *msg, const char *name, size_t nameLen, const char *value,
                                   size_t valueLen)
{
    int kind = RVSDP_SPEC_ATTR_NONE;
    if (nameLen == 6 && memcmp(name, "rtpmap", 6) == 0)
        kind = RVSDP_SPEC_ATTR_RTPMAP;
    else if (nameLen == 4 && memcmp(name, "fmtp", 4) == 0)
        kind = RVSDP_SPEC_ATTR_FMTP;
    // Sizes known here, so the clearing of the record needs no call.
    RvSdpAttribute *a = kind == RVSDP_SPEC_ATTR_RTPMAP
                            ? static_cast<RvSdpAttribute *>(allocRecord(msg, sizeof(RvSdpRtpMapRec)))
                            : static_cast<RvSdpAttribute *>(allocRecord(msg, sizeof(RvSdpAttribute)));
    if (!a)
        return nullptr;
    a->name = name;
    a->value = value;
    a->kind = kind;
    if (kind == RVSDP_SPEC_ATTR_RTPMAP)
        parseRtpMap(msg, reinterpret_cast<RvSdpRtpMapRec *>(a), value, valueLen);
    return a;
}

// The same from texts that are copied; the texts are taken as they are (the
// builders validate before calling).
RvSdpAttribute *newAttribute(RvSdpMsg *msg, const char *name, size_t nameLen,
                             const char *value, size_t valueLen);
RvSdpMediaDescr *newMediaDescr(RvSdpMsg *msg, const char *type, size_t typeLen, int port,
                               const char *proto, size_t protoLen);
RvSdpConnection *newConnection(RvSdpMsg *msg, const char *net, size_t netLen,
                               const char *addrType, size_t addrTypeLen, const char *addr,
                               size_t addrLen);
int addFormat(RvSdpMediaDescr *descr, const char *text, size_t len);

// Parses a format or rtpmap payload number: digits only, at most
// RVSDP_MAX_FORMAT_NUMBER; -1 otherwise.
inline int parseNumber(const char *text, size_t len)
{
    if (len == 0 || len > 9)
        return -1;
    int v = 0;
    for (size_t i = 0; i < len; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return -1;
        v = v * 10 + (text[i] - '0');
    }
    return v;
}
// Decimal of at most 20 digits that fits 64 bits.
bool parseU64(const char *text, size_t len, uint64_t *value);

}  // namespace rvsdp
