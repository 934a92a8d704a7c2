// Message storage, lists, the item model and its builders and accessors.
#include "rvsdp_internal.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

using namespace rvsdp;

namespace {

// A heap block of a message; its bytes follow the header.
struct Chunk {
    Chunk *next;
    size_t size;
};
constexpr size_t kChunkHeader = (sizeof(Chunk) + 15) & ~size_t(15);

int g_mgrRefs = 0;

inline bool constructed(const RvSdpMsg *msg) { return msg && msg->_magic == kMsgMagic; }

void resetStorage(RvSdpMsg *msg) {
    msg->_arena = msg->_store._bytes;
    msg->_arenaLow = 0;
    msg->_arenaHigh = sizeof(msg->_store._bytes);
    msg->_chunks = nullptr;
    msg->_heapBytes = 0;
}

unsigned char *newChunk(RvSdpMsg *msg, size_t size) {
    Chunk *c = static_cast<Chunk *>(malloc(kChunkHeader + size));
    if (!c) return nullptr;
    c->next = static_cast<Chunk *>(msg->_chunks);
    c->size = size;
    msg->_chunks = c;
    msg->_heapBytes += kChunkHeader + size;
    return reinterpret_cast<unsigned char *>(c) + kChunkHeader;
}

// Room for `size` bytes in the current block, opening a new block when it is
// full. A request of more than half a chunk gets a block of its own so that
// switching blocks never wastes more than half of one.
bool reserve(RvSdpMsg *msg, size_t size, unsigned char **own) {
    *own = nullptr;
    if (msg->_arenaHigh - msg->_arenaLow >= size) return true;
    if (size > RVSDP_CHUNK_SIZE / 2) {
        *own = newChunk(msg, size);
        return *own != nullptr;
    }
    unsigned char *block = newChunk(msg, RVSDP_CHUNK_SIZE);
    if (!block) return false;
    msg->_arena = block;
    msg->_arenaLow = 0;
    msg->_arenaHigh = RVSDP_CHUNK_SIZE;
    return true;
}

bool hasLineBreak(const char *s) { return strpbrk(s, "\r\n") != nullptr; }

// A token of an m=, o= or c= line: non-empty, no blank or line break.
bool validToken(const char *s) { return s && *s && !strpbrk(s, " \t\r\n"); }

int setText(RvSdpMsg *msg, const char **field, const char *text) {
    if (!constructed(msg)) return RVSDP_ERROR;
    if (!text) {
        *field = nullptr;
        return RVSDP_OK;
    }
    if (hasLineBreak(text)) return RVSDP_ERROR;
    const char *copy = allocText(msg, text, strlen(text));
    if (!copy) return RVSDP_ERROR;
    *field = copy;
    return RVSDP_OK;
}

RvSdpText *addText(RvSdpMsg *msg, RvSdpList *list, const char *text) {
    if (!constructed(msg) || !text || hasLineBreak(text)) return nullptr;
    RvSdpText *t = static_cast<RvSdpText *>(allocRecord(msg, sizeof(RvSdpText)));
    if (!t || !(t->text = allocText(msg, text, strlen(text)))) return nullptr;
    listAppend(list, t);
    return t;
}

RvSdpBandwidth *addBandwidth(RvSdpMsg *msg, RvSdpList *list, const char *type, uint32_t value) {
    if (!constructed(msg) || !validToken(type) || strchr(type, ':')) return nullptr;
    RvSdpBandwidth *b = static_cast<RvSdpBandwidth *>(allocRecord(msg, sizeof(RvSdpBandwidth)));
    if (!b || !(b->type = allocText(msg, type, strlen(type)))) return nullptr;
    b->value = value;
    listAppend(list, b);
    return b;
}

RvSdpConnection *addConnection(RvSdpMsg *msg, RvSdpList *list, const char *net,
                               const char *addrType, const char *addr) {
    if (!constructed(msg) || !validToken(net) || !validToken(addrType) || !validToken(addr))
        return nullptr;
    RvSdpConnection *c = newConnection(msg, net, strlen(net), addrType, strlen(addrType), addr,
                                       strlen(addr));
    if (c) listAppend(list, c);
    return c;
}

RvSdpAttribute *addAttr(RvSdpMsg *msg, RvSdpList *list, const char *name, const char *value) {
    if (!constructed(msg) || !name || !*name || strchr(name, ':') || hasLineBreak(name))
        return nullptr;
    if (value && hasLineBreak(value)) return nullptr;
    if (value && !*value) value = nullptr;
    RvSdpAttribute *a =
        newAttribute(msg, name, strlen(name), value, value ? strlen(value) : 0);
    if (a) listAppend(list, a);
    return a;
}

inline bool isBlank(char c) { return c == ' ' || c == '\t'; }

inline unsigned digitOf(char c) { return static_cast<unsigned>(static_cast<unsigned char>(c)) - '0'; }

// Reads a number of an rtpmap value from p: the piece up to `stop` (or the
// value's end), blanks cut from its end, as parseNumber reads it (1 to 9
// digits, else -1). p is left at the stop or the end. The value ends in a
// NUL and holds none before, so the loops need no bound: one pass sums the
// digits while it looks for the stop.
inline int readNumber(const char *&p, char stop) {
    const char *start = p;
    unsigned value = 0;
    for (unsigned d; (d = digitOf(*p)) < 10; ++p) value = value * 10 + d;
    size_t digits = static_cast<size_t>(p - start);
    while (isBlank(*p)) ++p;
    if (digits - 1 < 9 && (*p == stop || *p == '\0')) return static_cast<int>(value);
    while (*p != stop && *p != '\0') ++p;
    return -1;
}

int caseEqual(const char *a, const char *b) {
    for (;; ++a, ++b) {
        unsigned char ca = static_cast<unsigned char>(*a), cb = static_cast<unsigned char>(*b);
        if (ca >= 'A' && ca <= 'Z') ca = static_cast<unsigned char>(ca + 32);
        if (cb >= 'A' && cb <= 'Z') cb = static_cast<unsigned char>(cb + 32);
        if (ca != cb) return 0;
        if (!ca) return 1;
    }
}

struct Code {
    const char *text;
    int value;
};

// The first text of a code is the one printed.
const Code kMediaTypes[] = {
    {"audio", RVSDP_MEDIATYPE_AUDIO},     {"nas", RVSDP_MEDIATYPE_NAS},
    {"video", RVSDP_MEDIATYPE_VIDEO},     {"application", RVSDP_MEDIATYPE_APP},
    {"app", RVSDP_MEDIATYPE_APP},         {"data", RVSDP_MEDIATYPE_DATA},
    {"image", RVSDP_MEDIATYPE_IMAGE},     {"control", RVSDP_MEDIATYPE_CONTROL},
    {"unknown", RVSDP_MEDIATYPE_UNKNOWN},
};

const Code kProtocols[] = {
    {"RTP/AVP", RVSDP_PROTOCOL_RTP},
    {"RTP/SAVP", RVSDP_PROTOCOL_RTP_SAVP},
    {"RTP/AVPF", RVSDP_PROTOCOL_RTP_AVPF},
    {"RTP/SAVPF", RVSDP_PROTOCOL_RTP_SAVPF},
    {"udp", RVSDP_PROTOCOL_UDP},
    {"udptl", RVSDP_PROTOCOL_UDPTL},
    {"TCP", RVSDP_PROTOCOL_TCP},
    {"TCP/RTP/AVP", RVSDP_PROTOCOL_TCP_RTP_AVP},
    {"UDP/TLS/RTP/SAVP", RVSDP_PROTOCOL_UDP_TLS_RTP_SAVP},
    {"UDP/TLS/RTP/SAVPF", RVSDP_PROTOCOL_UDP_TLS_RTP_SAVPF},
    {"TCP/TLS", RVSDP_PROTOCOL_TCP_TLS},
    {"UDP/TLS/UDPTL", RVSDP_PROTOCOL_UDP_TLS_UDPTL},
    {"TCP/MSRP", RVSDP_PROTOCOL_TCP_MSRP},
    {"TCP/TLS/MSRP", RVSDP_PROTOCOL_TCP_TLS_MSRP},
    {"TCP/BFCP", RVSDP_PROTOCOL_TCP_BFCP},
    {"TCP/TLS/BFCP", RVSDP_PROTOCOL_TCP_TLS_BFCP},
    {"UDP/BFCP", RVSDP_PROTOCOL_UDP_BFCP},
    {"unknown", RVSDP_PROTOCOL_UNKNOWN},
};

template <size_t N>
int txt2Val(const Code (&table)[N], const char *text, int other) {
    if (!text) return other;
    for (const Code &c : table)
        if (caseEqual(c.text, text)) return c.value;
    return other;
}

template <size_t N>
const char *val2Txt(const Code (&table)[N], int value) {
    for (const Code &c : table)
        if (c.value == value) return c.text;
    return nullptr;
}

RvSdpFormat *formatAt(const RvSdpMediaDescr *d, int index) {
    if (!d || index < 0 || static_cast<uint32_t>(index) >= d->formats._count) return nullptr;
    // A message is read by one thread at a time: its records may remember.
    RvSdpMediaDescr *m = const_cast<RvSdpMediaDescr *>(d);
    RvSdpFormat *f = static_cast<RvSdpFormat *>(m->formats._first);
    int at = 0;
    if (m->seenFormat && index >= m->seenIndex) {
        f = m->seenFormat;
        at = m->seenIndex;
    }
    for (; at < index; ++at) f = reinterpret_cast<RvSdpFormat *>(f->node.next);
    m->seenFormat = f;
    m->seenIndex = index;
    return f;
}

const RvSdpRtpMapRec *asRtpMap(const RvSdpRtpMap *a) {
    return a && a->kind == RVSDP_SPEC_ATTR_RTPMAP ? reinterpret_cast<const RvSdpRtpMapRec *>(a)
                                                  : nullptr;
}

}  // namespace

// ---- storage and shared constructors -------------------------------------

namespace rvsdp {

void *allocRecordSlow(RvSdpMsg *msg, size_t size) {
    unsigned char *own;
    if (!reserve(msg, size, &own)) return nullptr;
    if (own) return own;
    unsigned char *p = msg->_arena + msg->_arenaLow;
    msg->_arenaLow += size;
    return p;
}

char *allocTextSlow(RvSdpMsg *msg, size_t size) {
    unsigned char *own;
    if (!reserve(msg, size, &own)) return nullptr;
    if (own) return reinterpret_cast<char *>(own);
    msg->_arenaHigh -= size;
    return reinterpret_cast<char *>(msg->_arena + msg->_arenaHigh);
}


bool parseU64(const char *text, size_t len, uint64_t *value) {
    if (len == 0 || len > 20) return false;
    uint64_t v = 0;
    for (size_t i = 0; i < len; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        unsigned d = static_cast<unsigned>(text[i] - '0');
        if (v > (UINT64_MAX - d) / 10) return false;
        v = v * 10 + d;
    }
    *value = v;
    return true;
}


// Fills the rtpmap fields from "<payload> <name>[/<rate>[/<channels>]]". The
// value is a text of the message (it ends in a NUL); len is its length.
void parseRtpMap(RvSdpMsg *msg, RvSdpRtpMapRec *r, const char *v, size_t len) {
    r->payload = -1;
    r->clockRate = -1;
    r->channels = 0;
    r->encodingName = nullptr;
    if (!v) return;
    // The payload is the piece up to the first blank.
    const char *p = v;
    unsigned payload = 0;
    for (unsigned d; (d = digitOf(*p)) < 10; ++p) payload = payload * 10 + d;
    if (isBlank(*p) || *p == '\0') {
        if (static_cast<size_t>(p - v) - 1 < 9) r->payload = static_cast<int>(payload);
    } else {
        while (!isBlank(*p) && *p != '\0') ++p;
    }
    while (isBlank(*p)) ++p;
    const char *name = p;
    p = findInText<'/'>(p, v + len);
    const char *nameEnd = p;
    while (nameEnd > name && isBlank(nameEnd[-1])) --nameEnd;
    if (nameEnd > name) r->encodingName = allocText(msg, name, static_cast<size_t>(nameEnd - name));
    if (*p == '\0') return;
    ++p;
    r->clockRate = readNumber(p, '/');
    if (*p == '\0') return;
    ++p;
    // The channels run to the end, '/' included.
    int channels = readNumber(p, '\0');
    r->channels = channels > 0 ? channels : 0;
}

RvSdpAttribute *newAttribute(RvSdpMsg *msg, const char *name, size_t nameLen, const char *value,
                             size_t valueLen) {
    if (value && value == name + nameLen + 1) {
        // "name:value" as the line has it: one copy, cut at the colon.
        char *text = allocText(msg, name, nameLen + 1 + valueLen);
        if (!text) return nullptr;
        text[nameLen] = '\0';
        return attributeOf(msg, text, nameLen, text + nameLen + 1, valueLen);
    }
    const char *nameText = allocText(msg, name, nameLen);
    const char *valueText = value ? allocText(msg, value, valueLen) : nullptr;
    if (!nameText || (value && !valueText)) return nullptr;
    return attributeOf(msg, nameText, nameLen, valueText, valueLen);
}

RvSdpMediaDescr *mediaDescrOf(RvSdpMsg *msg, const char *type, int port, const char *proto) {
    if (msg->_media._count >= RVSDP_MAX_MEDIA) return nullptr;
    RvSdpMediaDescr *d = static_cast<RvSdpMediaDescr *>(allocRecord(msg, sizeof(RvSdpMediaDescr)));
    if (!d) return nullptr;
    d->msg = msg;
    d->port = port;
    d->mediaType = type;
    d->protocol = proto;
    listAppend(&msg->_media, d);
    return d;
}

RvSdpMediaDescr *newMediaDescr(RvSdpMsg *msg, const char *type, size_t typeLen, int port,
                               const char *proto, size_t protoLen) {
    if (msg->_media._count >= RVSDP_MAX_MEDIA) return nullptr;
    const char *typeText = allocText(msg, type, typeLen);
    const char *protoText = typeText ? allocText(msg, proto, protoLen) : nullptr;
    return protoText ? mediaDescrOf(msg, typeText, port, protoText) : nullptr;
}

RvSdpConnection *connectionOf(RvSdpMsg *msg, const char *net, const char *addrType,
                              const char *addr) {
    RvSdpConnection *c = static_cast<RvSdpConnection *>(allocRecord(msg, sizeof(RvSdpConnection)));
    if (!c) return nullptr;
    c->netType = net;
    c->addrType = addrType;
    c->address = addr;
    return c;
}

RvSdpConnection *newConnection(RvSdpMsg *msg, const char *net, size_t netLen,
                               const char *addrType, size_t addrTypeLen, const char *addr,
                               size_t addrLen) {
    const char *netText = allocText(msg, net, netLen);
    const char *addrTypeText = netText ? allocText(msg, addrType, addrTypeLen) : nullptr;
    const char *addrText = addrTypeText ? allocText(msg, addr, addrLen) : nullptr;
    return addrText ? connectionOf(msg, netText, addrTypeText, addrText) : nullptr;
}

int addFormat(RvSdpMediaDescr *d, const char *text, size_t len) {
    if (d->formats._count >= RVSDP_MAX_FORMATS) return RVSDP_ERROR;
    const char *copy = allocText(d->msg, text, len);
    return copy ? formatOf(d, copy) : RVSDP_ERROR;
}

}  // namespace rvsdp

// ---- manager ---------------------------------------------------------------

extern "C" {

int RvSdpMgrConstruct(void) {
    __atomic_add_fetch(&g_mgrRefs, 1, __ATOMIC_SEQ_CST);
    return RVSDP_OK;
}

int RvSdpMgrDestruct(void) {
    int refs = __atomic_load_n(&g_mgrRefs, __ATOMIC_SEQ_CST);
    while (refs > 0) {
        if (__atomic_compare_exchange_n(&g_mgrRefs, &refs, refs - 1, false, __ATOMIC_SEQ_CST,
                                        __ATOMIC_SEQ_CST))
            return RVSDP_OK;
    }
    return RVSDP_ERROR;
}

// ---- lists -------------------------------------------------------------------

void *rvSdpListGetFirst(const RvSdpList *list) { return list ? list->_first : nullptr; }

void *rvSdpListGetNext(const RvSdpList *list, const void *current) {
    if (!list || !current) return nullptr;
    return static_cast<const RvSdpListNode *>(current)->next;
}

void *rvSdpListGetByIndex(const RvSdpList *list, size_t index) {
    if (!list || index >= list->_count) return nullptr;
    RvSdpListNode *n = static_cast<RvSdpListNode *>(list->_first);
    while (index-- && n) n = n->next;
    return n;
}

size_t rvSdpListGetSize(const RvSdpList *list) { return list ? list->_count : 0; }

void rvSdpListClear(RvSdpList *list) {
    if (!list) return;
    list->_first = list->_last = nullptr;
    list->_count = 0;
}

// ---- message -------------------------------------------------------------

RvSdpMsg *rvSdpMsgConstruct(RvSdpMsg *msg) {
    if (!msg) return nullptr;
    // Only the header: the storage behind it is written as it is used.
    memset(msg, 0, offsetof(RvSdpMsg, _store));
    resetStorage(msg);
    msg->_magic = kMsgMagic;
    return msg;
}

void rvSdpMsgDestruct(RvSdpMsg *msg) {
    if (!constructed(msg)) return;
    Chunk *c = static_cast<Chunk *>(msg->_chunks);
    while (c) {
        Chunk *next = c->next;
        free(c);
        c = next;
    }
    memset(msg, 0, offsetof(RvSdpMsg, _store));
}

size_t rvSdpMsgGetHeapSize(const RvSdpMsg *msg) { return constructed(msg) ? msg->_heapBytes : 0; }

RvAlloc *rvSdpMsgGetAllocator(RvSdpMsg *msg) { return reinterpret_cast<RvAlloc *>(msg); }

const char *rvSdpMsgGetVersion(const RvSdpMsg *m) { return constructed(m) ? m->_version : nullptr; }
int rvSdpMsgSetVersion(RvSdpMsg *m, const char *v) {
    if (v && (!*v || strspn(v, "0123456789") != strlen(v))) return RVSDP_ERROR;
    return constructed(m) ? setText(m, &m->_version, v) : RVSDP_ERROR;
}
const char *rvSdpMsgGetSessionName(const RvSdpMsg *m) {
    return constructed(m) ? m->_sessionName : nullptr;
}
int rvSdpMsgSetSessionName(RvSdpMsg *m, const char *t) {
    return constructed(m) ? setText(m, &m->_sessionName, t) : RVSDP_ERROR;
}
const char *rvSdpMsgGetSessionInformation(const RvSdpMsg *m) {
    return constructed(m) ? m->_info : nullptr;
}
int rvSdpMsgSetSessionInformation(RvSdpMsg *m, const char *t) {
    return constructed(m) ? setText(m, &m->_info, t) : RVSDP_ERROR;
}
const char *rvSdpMsgGetUri(const RvSdpMsg *m) { return constructed(m) ? m->_uri : nullptr; }
int rvSdpMsgSetUri(RvSdpMsg *m, const char *t) {
    return constructed(m) ? setText(m, &m->_uri, t) : RVSDP_ERROR;
}
const char *rvSdpMsgGetKey(const RvSdpMsg *m) { return constructed(m) ? m->_key : nullptr; }
int rvSdpMsgSetKey(RvSdpMsg *m, const char *t) {
    return constructed(m) ? setText(m, &m->_key, t) : RVSDP_ERROR;
}
const char *rvSdpMsgGetTimeZone(const RvSdpMsg *m) {
    return constructed(m) ? m->_timeZone : nullptr;
}
int rvSdpMsgSetTimeZone(RvSdpMsg *m, const char *t) {
    return constructed(m) ? setText(m, &m->_timeZone, t) : RVSDP_ERROR;
}

const RvSdpOrigin *rvSdpMsgGetOrigin(const RvSdpMsg *m) {
    return constructed(m) && m->_origin._user ? &m->_origin : nullptr;
}

int rvSdpMsgSetOrigin(RvSdpMsg *m, const char *user, const char *sessionId, const char *version,
                      const char *netType, const char *addrType, const char *address) {
    const char *in[6] = {user, sessionId, version, netType, addrType, address};
    const char *out[6];
    if (!constructed(m)) return RVSDP_ERROR;
    for (int i = 0; i < 6; ++i)
        if (!validToken(in[i])) return RVSDP_ERROR;
    for (int i = 0; i < 6; ++i)
        if (!(out[i] = allocText(m, in[i], strlen(in[i])))) return RVSDP_ERROR;
    m->_origin = RvSdpOrigin{out[0], out[1], out[2], out[3], out[4], out[5]};
    return RVSDP_OK;
}

const char *rvSdpOriginGetUsername(const RvSdpOrigin *o) { return o ? o->_user : nullptr; }
const char *rvSdpOriginGetSessionId(const RvSdpOrigin *o) { return o ? o->_sessionId : nullptr; }
const char *rvSdpOriginGetVersion(const RvSdpOrigin *o) { return o ? o->_version : nullptr; }
const char *rvSdpOriginGetNetType(const RvSdpOrigin *o) { return o ? o->_netType : nullptr; }
const char *rvSdpOriginGetAddressType(const RvSdpOrigin *o) { return o ? o->_addrType : nullptr; }
const char *rvSdpOriginGetAddress(const RvSdpOrigin *o) { return o ? o->_address : nullptr; }

RvSdpList *rvSdpMsgGetEmailList(RvSdpMsg *m) { return constructed(m) ? &m->_emails : nullptr; }
RvSdpList *rvSdpMsgGetPhoneList(RvSdpMsg *m) { return constructed(m) ? &m->_phones : nullptr; }
RvSdpText *rvSdpMsgAddEmail(RvSdpMsg *m, const char *t) {
    return constructed(m) ? addText(m, &m->_emails, t) : nullptr;
}
RvSdpText *rvSdpMsgAddPhone(RvSdpMsg *m, const char *t) {
    return constructed(m) ? addText(m, &m->_phones, t) : nullptr;
}
const char *rvSdpTextGetValue(const RvSdpText *t) { return t ? t->text : nullptr; }

RvSdpList *rvSdpMsgGetConnectionList(RvSdpMsg *m) {
    return constructed(m) ? &m->_connections : nullptr;
}
RvSdpConnection *rvSdpMsgGetConnection(RvSdpMsg *m) {
    return static_cast<RvSdpConnection *>(rvSdpListGetFirst(rvSdpMsgGetConnectionList(m)));
}
RvSdpConnection *rvSdpMsgAddConnection(RvSdpMsg *m, const char *net, const char *addrType,
                                       const char *addr) {
    return constructed(m) ? addConnection(m, &m->_connections, net, addrType, addr) : nullptr;
}

RvSdpList *rvSdpMsgGetBandwidthList(RvSdpMsg *m) {
    return constructed(m) ? &m->_bandwidths : nullptr;
}
RvSdpBandwidth *rvSdpMsgAddBandwidth(RvSdpMsg *m, const char *type, uint32_t value) {
    return constructed(m) ? addBandwidth(m, &m->_bandwidths, type, value) : nullptr;
}

RvSdpList *rvSdpMsgGetSessionTimeList(RvSdpMsg *m) {
    return constructed(m) ? &m->_times : nullptr;
}
RvSdpSessionTime *rvSdpMsgAddSessionTime(RvSdpMsg *m, uint64_t start, uint64_t stop) {
    if (!constructed(m)) return nullptr;
    // As wide as the piecewise copy of a short text may read (allocText).
    char a[32], b[32];
    int na = snprintf(a, sizeof a, "%llu", static_cast<unsigned long long>(start));
    int nb = snprintf(b, sizeof b, "%llu", static_cast<unsigned long long>(stop));
    RvSdpSessionTime *t =
        static_cast<RvSdpSessionTime *>(allocRecord(m, sizeof(RvSdpSessionTime)));
    if (!t || !(t->start = allocText(m, a, static_cast<size_t>(na))) ||
        !(t->stop = allocText(m, b, static_cast<size_t>(nb))))
        return nullptr;
    listAppend(&m->_times, t);
    return t;
}
static uint64_t timeValue(const char *text) {
    uint64_t v = 0;
    return text && parseU64(text, strlen(text), &v) ? v : 0;
}
uint64_t rvSdpSessionTimeGetStart(const RvSdpSessionTime *t) {
    return t ? timeValue(t->start) : 0;
}
uint64_t rvSdpSessionTimeGetEnd(const RvSdpSessionTime *t) { return t ? timeValue(t->stop) : 0; }
RvSdpList *rvSdpSessionTimeGetRepeatList(RvSdpSessionTime *t) { return t ? &t->repeats : nullptr; }
RvSdpText *rvSdpMsgAddRepeat(RvSdpMsg *m, RvSdpSessionTime *t, const char *text) {
    return constructed(m) && t ? addText(m, &t->repeats, text) : nullptr;
}

RvSdpList *rvSdpMsgGetAttributeList(RvSdpMsg *m) {
    return constructed(m) ? &m->_attributes : nullptr;
}
RvSdpAttribute *rvSdpMsgAddAttr(RvSdpMsg *m, const char *name, const char *value) {
    return constructed(m) ? addAttr(m, &m->_attributes, name, value) : nullptr;
}

RvSdpList *rvSdpMsgGetMediaDescrList(RvSdpMsg *m) { return constructed(m) ? &m->_media : nullptr; }
size_t rvSdpMsgGetNumOfMediaDescr(const RvSdpMsg *m) { return constructed(m) ? m->_media._count : 0; }
RvSdpMediaDescr *rvSdpMsgGetMediaDescr(const RvSdpMsg *m, size_t index) {
    return constructed(m) ? static_cast<RvSdpMediaDescr *>(rvSdpListGetByIndex(&m->_media, index))
                          : nullptr;
}

RvSdpMediaDescr *rvSdpMsgAddMediaDescrTxt(RvSdpMsg *m, const char *type, int port,
                                          const char *proto) {
    if (!constructed(m) || !validToken(type) || !validToken(proto) || port < 0 || port > 65535)
        return nullptr;
    return newMediaDescr(m, type, strlen(type), port, proto, strlen(proto));
}

RvSdpMediaDescr *rvSdpMsgAddMediaDescr(RvSdpMsg *m, int mediaType, int port, int protocol) {
    const char *type = rvSdpMediaTypeVal2Txt(mediaType);
    const char *proto = rvSdpMediaProtoVal2Txt(protocol);
    if (!type || !proto) return nullptr;
    return rvSdpMsgAddMediaDescrTxt(m, type, port, proto);
}

// ---- codes -----------------------------------------------------------------

int rvSdpMediaTypeTxt2Val(const char *text) {
    return txt2Val(kMediaTypes, text, RVSDP_MEDIATYPE_UNKNOWN);
}
const char *rvSdpMediaTypeVal2Txt(int v) { return val2Txt(kMediaTypes, v); }
int rvSdpMediaProtoTxt2Val(const char *text) {
    return txt2Val(kProtocols, text, RVSDP_PROTOCOL_UNKNOWN);
}
const char *rvSdpMediaProtoVal2Txt(int v) { return val2Txt(kProtocols, v); }

// ---- media description -------------------------------------------------------

const char *rvSdpMediaDescrGetMediaTypeStr(const RvSdpMediaDescr *d) {
    return d ? d->mediaType : nullptr;
}
int rvSdpMediaDescrGetMediaType(const RvSdpMediaDescr *d) {
    return rvSdpMediaTypeTxt2Val(rvSdpMediaDescrGetMediaTypeStr(d));
}
const char *rvSdpMediaDescrGetProtocolStr(const RvSdpMediaDescr *d) {
    return d ? d->protocol : nullptr;
}
int rvSdpMediaDescrGetProtocol(const RvSdpMediaDescr *d) {
    return rvSdpMediaProtoTxt2Val(rvSdpMediaDescrGetProtocolStr(d));
}
int rvSdpMediaDescrGetPort(const RvSdpMediaDescr *d) { return d ? d->port : -1; }
int rvSdpMediaDescrSetPort(RvSdpMediaDescr *d, int port) {
    if (!d || port < 0 || port > 65535) return RVSDP_ERROR;
    d->port = port;
    return RVSDP_OK;
}
int rvSdpMediaDescrGetNumOfPorts(const RvSdpMediaDescr *d) { return d ? d->numOfPorts : 0; }
int rvSdpMediaDescrSetNumOfPorts(RvSdpMediaDescr *d, int n) {
    if (!d || n < 0 || n > 65535) return RVSDP_ERROR;
    d->numOfPorts = n;
    return RVSDP_OK;
}
const char *rvSdpMediaDescrGetInformation(const RvSdpMediaDescr *d) {
    return d ? d->info : nullptr;
}
int rvSdpMediaDescrSetInformation(RvSdpMediaDescr *d, const char *t) {
    return d ? setText(d->msg, &d->info, t) : RVSDP_ERROR;
}
const char *rvSdpMediaDescrGetKey(const RvSdpMediaDescr *d) { return d ? d->key : nullptr; }
int rvSdpMediaDescrSetKey(RvSdpMediaDescr *d, const char *t) {
    return d ? setText(d->msg, &d->key, t) : RVSDP_ERROR;
}

uint16_t rvSdpMediaDescrGetNumOfPayloads(const RvSdpMediaDescr *d) {
    return d ? static_cast<uint16_t>(d->formats._count) : 0;
}
int rvSdpMediaDescrGetPayload(const RvSdpMediaDescr *d, int index) {
    const RvSdpFormat *f = formatAt(d, index);
    if (!f) return -1;
    int n = parseNumber(f->text, strlen(f->text));
    return n < 0 ? RVSDP_PAYLOAD_NOT_NUMBER : n;
}
const char *rvSdpMediaDescrGetFormat(const RvSdpMediaDescr *d, int index) {
    const RvSdpFormat *f = formatAt(d, index);
    return f ? f->text : nullptr;
}
int rvSdpMediaDescrAddPayloadNumber(RvSdpMediaDescr *d, int payload) {
    if (!d || payload < 0 || payload > RVSDP_MAX_FORMAT_NUMBER) return RVSDP_ERROR;
    char text[32];  // as wide as the piecewise copy of a short text may read (allocText)
    int n = snprintf(text, sizeof text, "%d", payload);
    return addFormat(d, text, static_cast<size_t>(n));
}
int rvSdpAddTextToArray(RvSdpMediaDescr *d, const char *format) {
    if (!d || !validToken(format)) return RVSDP_ERROR;
    return addFormat(d, format, strlen(format));
}
int rvSdpRemoveTextFromArray(RvSdpMediaDescr *d, int index) {
    RvSdpFormat *f = formatAt(d, index);
    if (!f) return RVSDP_ERROR;
    RvSdpListNode *prev = index ? &formatAt(d, index - 1)->node : nullptr;
    if (prev)
        prev->next = f->node.next;
    else
        d->formats._first = f->node.next;
    if (d->formats._last == f) d->formats._last = prev;
    --d->formats._count;
    d->seenFormat = nullptr;
    return RVSDP_OK;
}

RvSdpList *rvSdpMediaDescrGetAttributeList(RvSdpMediaDescr *d) {
    return d ? &d->attributes : nullptr;
}
size_t rvSdpMediaDescrGetNumOfAttr(const RvSdpMediaDescr *d) {
    return d ? d->attributes._count : 0;
}
RvSdpAttribute *rvSdpMediaDescrGetAttribute(const RvSdpMediaDescr *d, size_t index) {
    return d ? static_cast<RvSdpAttribute *>(rvSdpListGetByIndex(&d->attributes, index))
             : nullptr;
}
RvSdpAttribute *rvSdpMediaDescrAddAttr(RvSdpMediaDescr *d, const char *name, const char *value) {
    return d ? addAttr(d->msg, &d->attributes, name, value) : nullptr;
}

RvSdpList *rvSdpMediaDescrGetConnectionList(RvSdpMediaDescr *d) {
    return d ? &d->connections : nullptr;
}
RvSdpConnection *rvSdpMediaDescrGetConnection(const RvSdpMediaDescr *d) {
    return d ? static_cast<RvSdpConnection *>(d->connections._first) : nullptr;
}
RvSdpConnection *rvSdpMediaDescrAddConnection(RvSdpMediaDescr *d, const char *net,
                                              const char *addrType, const char *addr) {
    return d ? addConnection(d->msg, &d->connections, net, addrType, addr) : nullptr;
}
RvSdpList *rvSdpMediaDescrGetBandwidthList(RvSdpMediaDescr *d) {
    return d ? &d->bandwidths : nullptr;
}
RvSdpBandwidth *rvSdpMediaDescrAddBandwidth(RvSdpMediaDescr *d, const char *type,
                                            uint32_t value) {
    return d ? addBandwidth(d->msg, &d->bandwidths, type, value) : nullptr;
}

// ---- attributes ----------------------------------------------------------------

const char *rvSdpAttributeGetName(const RvSdpAttribute *a) { return a ? a->name : nullptr; }
const char *rvSdpAttributeGetValue(const RvSdpAttribute *a) { return a ? a->value : nullptr; }
int rvSdpAttributeGetSpecialKind(const RvSdpAttribute *a) {
    return a ? a->kind : RVSDP_SPEC_ATTR_NONE;
}
int rvSdpAttributeIsSpecial(const RvSdpAttribute *a) {
    return rvSdpAttributeGetSpecialKind(a) != RVSDP_SPEC_ATTR_NONE;
}
const char *rvSdpSpecAttrGetValue(const RvSdpAttribute *a) {
    return a && a->value ? a->value : "";
}

size_t rvSdpGetNumOfSpecialAttr(const RvSdpMediaDescr *d, int kind) {
    size_t n = 0;
    for (const RvSdpAttribute *a = rvSdpGetFirstSpecialAttr(d, kind); a;
         a = rvSdpGetNextSpecialAttr(a, kind))
        ++n;
    return n;
}

RvSdpAttribute *rvSdpGetSpecialAttr(const RvSdpMediaDescr *d, size_t index, int kind) {
    RvSdpAttribute *a = rvSdpGetFirstSpecialAttr(d, kind);
    while (a && index--) a = rvSdpGetNextSpecialAttr(a, kind);
    return a;
}

RvSdpAttribute *rvSdpGetFirstSpecialAttr(const RvSdpMediaDescr *d, int kind) {
    if (!d || kind == RVSDP_SPEC_ATTR_NONE) return nullptr;
    RvSdpAttribute *a = static_cast<RvSdpAttribute *>(d->attributes._first);
    while (a && a->kind != kind) a = reinterpret_cast<RvSdpAttribute *>(a->node.next);
    return a;
}

RvSdpAttribute *rvSdpGetNextSpecialAttr(const RvSdpAttribute *cur, int kind) {
    if (!cur || kind == RVSDP_SPEC_ATTR_NONE) return nullptr;
    RvSdpAttribute *a = reinterpret_cast<RvSdpAttribute *>(cur->node.next);
    while (a && a->kind != kind) a = reinterpret_cast<RvSdpAttribute *>(a->node.next);
    return a;
}

RvSdpAttribute *rvSdpSpecialAttrAdd(RvAlloc *, RvSdpMediaDescr *d, int kind, const char *value,
                                    const char *name) {
    switch (kind) {
    case RVSDP_SPEC_ATTR_RTPMAP: name = "rtpmap"; break;
    case RVSDP_SPEC_ATTR_FMTP: name = "fmtp"; break;
    case RVSDP_SPEC_ATTR_NONE: break;
    default: return nullptr;
    }
    return rvSdpMediaDescrAddAttr(d, name, value);
}

int rvSdpRtpMapGetPayload(const RvSdpRtpMap *a) {
    const RvSdpRtpMapRec *r = asRtpMap(a);
    return r ? r->payload : -1;
}
const char *rvSdpRtpMapGetEncodingName(const RvSdpRtpMap *a) {
    const RvSdpRtpMapRec *r = asRtpMap(a);
    return r ? r->encodingName : nullptr;
}
int rvSdpRtpMapGetClockRate(const RvSdpRtpMap *a) {
    const RvSdpRtpMapRec *r = asRtpMap(a);
    return r ? r->clockRate : -1;
}
int rvSdpRtpMapGetChannels(const RvSdpRtpMap *a) {
    const RvSdpRtpMapRec *r = asRtpMap(a);
    return r ? r->channels : 0;
}

RvSdpRtpMap *rvSdpAddRtpMap2(RvAlloc *, RvSdpMediaDescr *d, int payload, const char *name,
                             int clockRate, int channels) {
    if (!d || payload < 0 || payload > RVSDP_MAX_FORMAT_NUMBER || !validToken(name) ||
        strchr(name, '/') || strlen(name) > RVSDP_MAX_ENCODING_NAME)
        return nullptr;
    char value[RVSDP_MAX_ENCODING_NAME + 48];
    int n;
    if (clockRate < 0)
        n = snprintf(value, sizeof value, "%d %s", payload, name);
    else if (channels < 1)
        n = snprintf(value, sizeof value, "%d %s/%d", payload, name, clockRate);
    else
        n = snprintf(value, sizeof value, "%d %s/%d/%d", payload, name, clockRate, channels);
    if (n < 0 || static_cast<size_t>(n) >= sizeof value) return nullptr;
    return rvSdpMediaDescrAddAttr(d, "rtpmap", value);
}

const char *rvSdpConnectionGetNetType(const RvSdpConnection *c) { return c ? c->netType : nullptr; }
const char *rvSdpConnectionGetAddrType(const RvSdpConnection *c) {
    return c ? c->addrType : nullptr;
}
const char *rvSdpConnectionGetAddress(const RvSdpConnection *c) { return c ? c->address : nullptr; }
const char *rvSdpBandwidthGetType(const RvSdpBandwidth *b) { return b ? b->type : nullptr; }
uint32_t rvSdpBandwidthGetValue(const RvSdpBandwidth *b) { return b ? b->value : 0; }

}  // extern "C"
