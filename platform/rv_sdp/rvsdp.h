/*
 * librv_sdp: the gateway's SDP message stack (RFC 4566).
 *
 * A message (RvSdpMsg) is parsed from text or built call by call, read
 * through accessors and encoded back to text. It is a complete type so that a
 * caller can keep one on its stack; every item it holds (media descriptions,
 * attributes, formats, connections, ...) lives in storage owned by the
 * message, first inside the record itself and on the heap only beyond that.
 * Items are never freed one by one: everything goes with rvSdpMsgDestruct.
 *
 * Memory:
 *  - Parsing a text of at most RVSDP_NOHEAP_TEXT_LEN bytes never touches the
 *    heap, so a message that is never destructed after such a parse leaks
 *    nothing.
 *  - Beyond the record, a parsed message holds at most
 *    RVSDP_HEAP_PER_BYTE * length + RVSDP_CHUNK_SIZE bytes of heap.
 *  - Removing or clearing items unlinks them; their storage comes back only
 *    with rvSdpMsgDestruct.
 *  - A message must not be copied bitwise: its items point into the record.
 *
 * Texts handed in are copied. Texts handed out stay valid until the message is
 * destructed. A message is not locked: one thread at a time per message.
 * Every function accepts NULL pointers and answers them with its failure
 * value.
 */
#ifndef RVSDP_H
#define RVSDP_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define RVSDP_API __attribute__((visibility("default")))

/* ---- status values ------------------------------------------------------ */

/* Status of rvSdpMsgConstructParse and result of the other int functions. */
#define RVSDP_OK 0
/* A NULL or invalid argument, a limit reached or memory short. */
#define RVSDP_ERROR (-1)
/* Parse: text parsed in part; the lines in question were skipped (a line
 * that does not follow its RFC 4566 grammar, an unknown type letter, a
 * repeated v/o/s/i/u/k/z line, an r= line before any t= line, a line longer
 * than RVSDP_MAX_LINE_LEN, media or formats beyond the limits, storage
 * short). An m-line whose port is not a number of 0..65535, or whose number
 * of ports is not one of 1..65535, is no such line: it is kept with port 0
 * and no number of ports (a rejected stream), its section with it, so that
 * the m-lines after it keep their places; the status is still -2. */
#define RVSDP_PARSE_PARTIAL (-2)
/* Parse: not SDP at all: no line of the text is an SDP line (includes the
 * empty text). The consumed length is then 0. */
#define RVSDP_PARSE_NOT_SDP (-3)

/* rvSdpMediaDescrGetPayload: the format is not a number (e.g. "t38"). */
#define RVSDP_PAYLOAD_NOT_NUMBER (-3)

/* ---- limits ----------------------------------------------------------- */

/* Formats (payload numbers or texts) of one media description. Further
 * formats of an m-line are cut (status -2); adding one more fails. */
#define RVSDP_MAX_FORMATS 32
/* Media descriptions of one message. Further m-sections are skipped with
 * their lines (status -2); adding one more fails. */
#define RVSDP_MAX_MEDIA 32
/* Longest line the parser takes, line end excluded; longer lines are
 * skipped (status -2). */
#define RVSDP_MAX_LINE_LEN 4096
/* Largest format number; longer digit strings count as not a number. */
#define RVSDP_MAX_FORMAT_NUMBER 999999999
/* Longest encoding name rvSdpAddRtpMap2 takes. */
#define RVSDP_MAX_ENCODING_NAME 127
/* Texts of up to this many bytes parse without any heap memory. */
#define RVSDP_NOHEAP_TEXT_LEN 1023
/* Storage inside the message record: a byte of text costs at most one byte of
 * copy plus one pointer of records, a media description some more (13 KB on
 * 64-bit targets, 7 KB on 32-bit ones). */
#define RVSDP_MSG_INLINE_SIZE \
    (1024 + 1024 * sizeof(void *) + RVSDP_MAX_MEDIA * 16 * sizeof(void *))
/* Heap taken at a time once the record's storage is used up. */
#define RVSDP_CHUNK_SIZE 4096
/* Bound of heap bytes per input byte for parsed messages (see above). */
#define RVSDP_HEAP_PER_BYTE (4 + 4 * sizeof(void *))

/* ---- codes -------------------------------------------------------------- */

/* Media types (rvSdpMediaTypeTxt2Val). Texts match without regard to case. */
enum {
    RVSDP_MEDIATYPE_AUDIO = 1,       /* "audio" */
    RVSDP_MEDIATYPE_NAS = 2,         /* "nas" */
    RVSDP_MEDIATYPE_VIDEO = 3,       /* "video" */
    RVSDP_MEDIATYPE_APP = 4,         /* "application", also "app" */
    RVSDP_MEDIATYPE_DATA = 5,        /* "data" */
    RVSDP_MEDIATYPE_IMAGE = 6,       /* "image" */
    RVSDP_MEDIATYPE_CONTROL = 7,     /* "control" */
    RVSDP_MEDIATYPE_UNKNOWN = 9      /* any other text; printed "unknown" */
};

/* Transport protocols (rvSdpMediaProtoTxt2Val). Texts match without regard
 * to case. */
enum {
    RVSDP_PROTOCOL_RTP = 1,              /* "RTP/AVP" */
    RVSDP_PROTOCOL_RTP_SAVP = 2,         /* "RTP/SAVP" */
    RVSDP_PROTOCOL_RTP_AVPF = 3,         /* "RTP/AVPF" */
    RVSDP_PROTOCOL_RTP_SAVPF = 4,        /* "RTP/SAVPF" */
    RVSDP_PROTOCOL_UDP = 5,              /* "udp" */
    RVSDP_PROTOCOL_UDPTL = 6,            /* "udptl" */
    RVSDP_PROTOCOL_TCP = 7,              /* "TCP" */
    RVSDP_PROTOCOL_TCP_RTP_AVP = 8,      /* "TCP/RTP/AVP" */
    RVSDP_PROTOCOL_UDP_TLS_RTP_SAVP = 9, /* "UDP/TLS/RTP/SAVP" */
    RVSDP_PROTOCOL_UDP_TLS_RTP_SAVPF = 10, /* "UDP/TLS/RTP/SAVPF" */
    RVSDP_PROTOCOL_TCP_TLS = 11,         /* "TCP/TLS" */
    RVSDP_PROTOCOL_UDP_TLS_UDPTL = 12,   /* "UDP/TLS/UDPTL" */
    RVSDP_PROTOCOL_TCP_MSRP = 13,        /* "TCP/MSRP" */
    RVSDP_PROTOCOL_TCP_TLS_MSRP = 14,    /* "TCP/TLS/MSRP" */
    RVSDP_PROTOCOL_TCP_BFCP = 20,        /* "TCP/BFCP" */
    RVSDP_PROTOCOL_TCP_TLS_BFCP = 21,    /* "TCP/TLS/BFCP" */
    RVSDP_PROTOCOL_UDP_BFCP = 22,        /* "UDP/BFCP" */
    RVSDP_PROTOCOL_UNKNOWN = 23          /* any other text; printed "unknown" */
};

/* Kinds of special attributes. Every attribute line is in its list in text
 * order; rtpmap and fmtp lines are also marked with their kind. */
enum {
    RVSDP_SPEC_ATTR_NONE = 0,    /* a plain attribute */
    RVSDP_SPEC_ATTR_RTPMAP = 16, /* "rtpmap" */
    RVSDP_SPEC_ATTR_FMTP = 21    /* "fmtp" */
};

/* ---- types ------------------------------------------------------------ */

/* Items of a message; read them through the functions below. */
typedef struct RvSdpMediaDescr RvSdpMediaDescr;
typedef struct RvSdpAttribute RvSdpAttribute;
typedef struct RvSdpAttribute RvSdpRtpMap; /* an attribute of kind 16 */
typedef struct RvSdpConnection RvSdpConnection;
typedef struct RvSdpBandwidth RvSdpBandwidth;
typedef struct RvSdpSessionTime RvSdpSessionTime;
typedef struct RvSdpText RvSdpText; /* a line of free text (e=, p=, r=) */
/* Accepted where a call takes an allocator; storage always comes from the
 * message the item belongs to, so NULL will do. */
typedef struct RvAlloc RvAlloc;

/* An ordered list of items of one kind. Fields are private. */
typedef struct RvSdpList {
    void *_first;
    void *_last;
    uint32_t _count;
} RvSdpList;

/* The o= line. Fields are private. */
typedef struct RvSdpOrigin {
    const char *_user, *_sessionId, *_version, *_netType, *_addrType, *_address;
} RvSdpOrigin;

/* A message. Fields are private; its size is part of the interface. */
typedef struct RvSdpMsg {
    uint32_t _magic;
    const char *_version;
    RvSdpOrigin _origin;
    const char *_sessionName, *_info, *_uri, *_key, *_timeZone;
    RvSdpList _emails, _phones, _connections, _bandwidths, _times;
    RvSdpList _attributes, _media;
    unsigned char *_arena;
    size_t _arenaLow, _arenaHigh;
    void *_chunks;
    size_t _heapBytes;
    union {
        uint64_t _align;
        void *_ptr;
        unsigned char _bytes[RVSDP_MSG_INLINE_SIZE];
    } _store;
} RvSdpMsg;

/* ---- manager ------------------------------------------------------------ */

/* Starts the stack: 0. Counted: each construct needs one destruct. */
RVSDP_API int RvSdpMgrConstruct(void);
/* 0, or -1 when there was no construct left to undo. */
RVSDP_API int RvSdpMgrDestruct(void);

/* ---- lists ---------------------------------------------------------------
 * Every list holds items of one type, as its getter says. */

RVSDP_API void *rvSdpListGetFirst(const RvSdpList *list);
/* The item after `current` (an item of this list), or NULL at the end. */
RVSDP_API void *rvSdpListGetNext(const RvSdpList *list, const void *current);
/* The item at `index` (0 is the first), or NULL. */
RVSDP_API void *rvSdpListGetByIndex(const RvSdpList *list, size_t index);
RVSDP_API size_t rvSdpListGetSize(const RvSdpList *list);
/* Empties the list; its items are gone for the caller. */
RVSDP_API void rvSdpListClear(RvSdpList *list);

/* ---- message ------------------------------------------------------------ */

/* An empty message in place of `msg`, whatever it held (not destructed).
 * Returns msg. */
RVSDP_API RvSdpMsg *rvSdpMsgConstruct(RvSdpMsg *msg);

/* Parses `*length` bytes of `text` into `msg`, constructed in place. A NUL
 * byte ends the text early. Line ends are LF or CRLF. Every line is
 * optional: a text of media sections only is a message. Lines before the
 * first m= line are session-level, the others belong to the m-line before
 * them.
 * `length` (in: bytes of text; NULL: text is NUL-terminated; out: bytes
 * consumed, 0 when nothing could be parsed) and `status` (RVSDP_OK,
 * RVSDP_PARSE_PARTIAL, RVSDP_PARSE_NOT_SDP, or RVSDP_ERROR for a NULL text)
 * may be NULL.
 * The message is constructed whatever the status and must be destructed.
 * Returns msg, or NULL for status -3 or -1 (and for a NULL msg). */
RVSDP_API RvSdpMsg *rvSdpMsgConstructParse(RvSdpMsg *msg, const char *text, uint32_t *length,
                                           int *status);

/* Frees what the message holds and leaves it empty and unconstructed. Safe
 * on a failed parse, on a zero-filled record and a second time. */
RVSDP_API void rvSdpMsgDestruct(RvSdpMsg *msg);

/* Prints the message as RFC 4566 text into buf: lines in RFC order (v, o, s,
 * i, u, e, p, c, b, t with its r lines, z, k, a, then each media: m, i, c, b,
 * k, a), each ended by CRLF. Only lines the message holds are printed; a
 * media-only message prints media sections only.
 * Returns the length of the whole text (the NUL excluded) like snprintf. The
 * text is in buf, NUL-terminated, only when the result is below `size`;
 * otherwise buf holds the empty string (size > 0) so that no cut text is ever
 * sent. buf may be NULL when size is 0 (to learn the length). -1 for a NULL
 * message or a NULL buf with a nonzero size. */
RVSDP_API int rvSdpMsgEncodeToBuf(const RvSdpMsg *msg, char *buf, uint32_t size);

/* Heap bytes the message holds (0 while its own record suffices). */
RVSDP_API size_t rvSdpMsgGetHeapSize(const RvSdpMsg *msg);
RVSDP_API RvAlloc *rvSdpMsgGetAllocator(RvSdpMsg *msg);

/* Session-level texts: NULL when absent. The setters copy the text (NULL
 * removes the line) and return 0, or -1 for a text with CR or LF or when
 * storage is short. Version is the v= text ("0"). */
RVSDP_API const char *rvSdpMsgGetVersion(const RvSdpMsg *msg);
RVSDP_API int rvSdpMsgSetVersion(RvSdpMsg *msg, const char *version);
RVSDP_API const char *rvSdpMsgGetSessionName(const RvSdpMsg *msg);
RVSDP_API int rvSdpMsgSetSessionName(RvSdpMsg *msg, const char *name);
RVSDP_API const char *rvSdpMsgGetSessionInformation(const RvSdpMsg *msg);
RVSDP_API int rvSdpMsgSetSessionInformation(RvSdpMsg *msg, const char *info);
RVSDP_API const char *rvSdpMsgGetUri(const RvSdpMsg *msg);
RVSDP_API int rvSdpMsgSetUri(RvSdpMsg *msg, const char *uri);
/* k= text as it stands ("method" or "method:key"). */
RVSDP_API const char *rvSdpMsgGetKey(const RvSdpMsg *msg);
RVSDP_API int rvSdpMsgSetKey(RvSdpMsg *msg, const char *key);
/* z= text as it stands. */
RVSDP_API const char *rvSdpMsgGetTimeZone(const RvSdpMsg *msg);
RVSDP_API int rvSdpMsgSetTimeZone(RvSdpMsg *msg, const char *zones);

/* o= line: NULL when absent. The setter takes six blank-free texts. */
RVSDP_API const RvSdpOrigin *rvSdpMsgGetOrigin(const RvSdpMsg *msg);
RVSDP_API int rvSdpMsgSetOrigin(RvSdpMsg *msg, const char *user, const char *sessionId,
                                const char *version, const char *netType,
                                const char *addrType, const char *address);
RVSDP_API const char *rvSdpOriginGetUsername(const RvSdpOrigin *origin);
RVSDP_API const char *rvSdpOriginGetSessionId(const RvSdpOrigin *origin);
RVSDP_API const char *rvSdpOriginGetVersion(const RvSdpOrigin *origin);
RVSDP_API const char *rvSdpOriginGetNetType(const RvSdpOrigin *origin);
RVSDP_API const char *rvSdpOriginGetAddressType(const RvSdpOrigin *origin);
RVSDP_API const char *rvSdpOriginGetAddress(const RvSdpOrigin *origin);

/* e= and p= lines: lists of RvSdpText. */
RVSDP_API RvSdpList *rvSdpMsgGetEmailList(RvSdpMsg *msg);
RVSDP_API RvSdpList *rvSdpMsgGetPhoneList(RvSdpMsg *msg);
RVSDP_API RvSdpText *rvSdpMsgAddEmail(RvSdpMsg *msg, const char *email);
RVSDP_API RvSdpText *rvSdpMsgAddPhone(RvSdpMsg *msg, const char *phone);
RVSDP_API const char *rvSdpTextGetValue(const RvSdpText *text);

/* Session-level c= lines: list of RvSdpConnection. */
RVSDP_API RvSdpList *rvSdpMsgGetConnectionList(RvSdpMsg *msg);
/* The first c= line, or NULL. */
RVSDP_API RvSdpConnection *rvSdpMsgGetConnection(RvSdpMsg *msg);
RVSDP_API RvSdpConnection *rvSdpMsgAddConnection(RvSdpMsg *msg, const char *netType,
                                                 const char *addrType, const char *address);

/* Session-level b= lines: list of RvSdpBandwidth. */
RVSDP_API RvSdpList *rvSdpMsgGetBandwidthList(RvSdpMsg *msg);
RVSDP_API RvSdpBandwidth *rvSdpMsgAddBandwidth(RvSdpMsg *msg, const char *type, uint32_t value);

/* t= lines: list of RvSdpSessionTime. Each holds the r= lines that follow
 * it: list of RvSdpText. */
RVSDP_API RvSdpList *rvSdpMsgGetSessionTimeList(RvSdpMsg *msg);
RVSDP_API RvSdpSessionTime *rvSdpMsgAddSessionTime(RvSdpMsg *msg, uint64_t start, uint64_t stop);
RVSDP_API uint64_t rvSdpSessionTimeGetStart(const RvSdpSessionTime *time);
RVSDP_API uint64_t rvSdpSessionTimeGetEnd(const RvSdpSessionTime *time);
RVSDP_API RvSdpList *rvSdpSessionTimeGetRepeatList(RvSdpSessionTime *time);
/* `time` must be an item of msg. */
RVSDP_API RvSdpText *rvSdpMsgAddRepeat(RvSdpMsg *msg, RvSdpSessionTime *time, const char *text);

/* Session-level a= lines: list of RvSdpAttribute. */
RVSDP_API RvSdpList *rvSdpMsgGetAttributeList(RvSdpMsg *msg);
RVSDP_API RvSdpAttribute *rvSdpMsgAddAttr(RvSdpMsg *msg, const char *name, const char *value);

/* Media descriptions: list of RvSdpMediaDescr, in text order. */
RVSDP_API RvSdpList *rvSdpMsgGetMediaDescrList(RvSdpMsg *msg);
RVSDP_API size_t rvSdpMsgGetNumOfMediaDescr(const RvSdpMsg *msg);
RVSDP_API RvSdpMediaDescr *rvSdpMsgGetMediaDescr(const RvSdpMsg *msg, size_t index);
/* Appends "m=<type> <port> <protocol>" without formats, from the codes above
 * (type 1..7 or 9, protocol one of the listed codes). NULL for another code,
 * a port above 65535, RVSDP_MAX_MEDIA reached or storage short. */
RVSDP_API RvSdpMediaDescr *rvSdpMsgAddMediaDescr(RvSdpMsg *msg, int mediaType, int port,
                                                 int protocol);
/* The same from texts (no blanks, CR or LF). */
RVSDP_API RvSdpMediaDescr *rvSdpMsgAddMediaDescrTxt(RvSdpMsg *msg, const char *mediaType,
                                                    int port, const char *protocol);

/* ---- codes and texts -------------------------------------------------- */

/* Code of a media-type text; 9 for any other text or NULL. */
RVSDP_API int rvSdpMediaTypeTxt2Val(const char *text);
/* Text of a code ("application" for 4, "unknown" for 9), NULL for others. */
RVSDP_API const char *rvSdpMediaTypeVal2Txt(int mediaType);
/* Code of a protocol text; 23 for any other text or NULL. */
RVSDP_API int rvSdpMediaProtoTxt2Val(const char *text);
/* Text of a code ("unknown" for 23), NULL for others. */
RVSDP_API const char *rvSdpMediaProtoVal2Txt(int protocol);

/* ---- media description ------------------------------------------------ */

RVSDP_API const char *rvSdpMediaDescrGetMediaTypeStr(const RvSdpMediaDescr *descr);
RVSDP_API int rvSdpMediaDescrGetMediaType(const RvSdpMediaDescr *descr); /* code, 9 for NULL */
RVSDP_API const char *rvSdpMediaDescrGetProtocolStr(const RvSdpMediaDescr *descr);
RVSDP_API int rvSdpMediaDescrGetProtocol(const RvSdpMediaDescr *descr); /* code, 23 for NULL */
/* Port 0..65535; -1 for NULL. */
RVSDP_API int rvSdpMediaDescrGetPort(const RvSdpMediaDescr *descr);
RVSDP_API int rvSdpMediaDescrSetPort(RvSdpMediaDescr *descr, int port);
/* The m-line's "/<number of ports>"; 0 when not given. */
RVSDP_API int rvSdpMediaDescrGetNumOfPorts(const RvSdpMediaDescr *descr);
RVSDP_API int rvSdpMediaDescrSetNumOfPorts(RvSdpMediaDescr *descr, int numOfPorts);
/* i= and k= texts of the media, NULL when absent; setters as the message's. */
RVSDP_API const char *rvSdpMediaDescrGetInformation(const RvSdpMediaDescr *descr);
RVSDP_API int rvSdpMediaDescrSetInformation(RvSdpMediaDescr *descr, const char *info);
RVSDP_API const char *rvSdpMediaDescrGetKey(const RvSdpMediaDescr *descr);
RVSDP_API int rvSdpMediaDescrSetKey(RvSdpMediaDescr *descr, const char *key);

/* Formats of the m-line (its "format array", at most RVSDP_MAX_FORMATS). */
RVSDP_API uint16_t rvSdpMediaDescrGetNumOfPayloads(const RvSdpMediaDescr *descr);
/* The format at index as a number; RVSDP_PAYLOAD_NOT_NUMBER (-3) when it is
 * not one (e.g. "t38"); -1 for a bad index or NULL. */
RVSDP_API int rvSdpMediaDescrGetPayload(const RvSdpMediaDescr *descr, int index);
/* The format text at index, or NULL. */
RVSDP_API const char *rvSdpMediaDescrGetFormat(const RvSdpMediaDescr *descr, int index);
/* Appends a payload number (0..RVSDP_MAX_FORMAT_NUMBER): 0, or -1 when the
 * array is full, the number is out of range or storage is short. */
RVSDP_API int rvSdpMediaDescrAddPayloadNumber(RvSdpMediaDescr *descr, int payload);
/* Appends a format text (no blanks, CR or LF): 0 or -1 as above. */
RVSDP_API int rvSdpAddTextToArray(RvSdpMediaDescr *descr, const char *format);
/* Removes the format at index: 0, or -1 for a bad index. */
RVSDP_API int rvSdpRemoveTextFromArray(RvSdpMediaDescr *descr, int index);

/* The media's a= lines in text order: list of RvSdpAttribute (rtpmap and
 * fmtp lines included). */
RVSDP_API RvSdpList *rvSdpMediaDescrGetAttributeList(RvSdpMediaDescr *descr);
RVSDP_API size_t rvSdpMediaDescrGetNumOfAttr(const RvSdpMediaDescr *descr);
RVSDP_API RvSdpAttribute *rvSdpMediaDescrGetAttribute(const RvSdpMediaDescr *descr, size_t index);
/* Appends "a=name" (value NULL or "") or "a=name:value". The name must be
 * non-empty without ':'; neither text may hold CR or LF. "rtpmap" and "fmtp"
 * become special attributes as they would by parsing. NULL on failure. */
RVSDP_API RvSdpAttribute *rvSdpMediaDescrAddAttr(RvSdpMediaDescr *descr, const char *name,
                                                 const char *value);

/* The media's c= lines: list of RvSdpConnection. */
RVSDP_API RvSdpList *rvSdpMediaDescrGetConnectionList(RvSdpMediaDescr *descr);
RVSDP_API RvSdpConnection *rvSdpMediaDescrGetConnection(const RvSdpMediaDescr *descr);
RVSDP_API RvSdpConnection *rvSdpMediaDescrAddConnection(RvSdpMediaDescr *descr,
                                                        const char *netType,
                                                        const char *addrType,
                                                        const char *address);
/* The media's b= lines: list of RvSdpBandwidth. */
RVSDP_API RvSdpList *rvSdpMediaDescrGetBandwidthList(RvSdpMediaDescr *descr);
RVSDP_API RvSdpBandwidth *rvSdpMediaDescrAddBandwidth(RvSdpMediaDescr *descr,
                                                      const char *type, uint32_t value);

/* ---- attributes ----------------------------------------------------------- */

/* Name: the text between "a=" and the first colon. Value: the rest, NULL for
 * a flag attribute ("a=sendrecv"). */
RVSDP_API const char *rvSdpAttributeGetName(const RvSdpAttribute *attr);
RVSDP_API const char *rvSdpAttributeGetValue(const RvSdpAttribute *attr);
/* RVSDP_SPEC_ATTR_* kind; 0 for a plain attribute or NULL. */
RVSDP_API int rvSdpAttributeGetSpecialKind(const RvSdpAttribute *attr);
RVSDP_API int rvSdpAttributeIsSpecial(const RvSdpAttribute *attr);
/* The value text of any attribute, "" when it has none (never NULL): for an
 * fmtp line the whole text after "fmtp:" ("101 0-15"). */
RVSDP_API const char *rvSdpSpecAttrGetValue(const RvSdpAttribute *attr);

/* Special attributes of a media description, by kind, in text order. */
RVSDP_API size_t rvSdpGetNumOfSpecialAttr(const RvSdpMediaDescr *descr, int kind);
RVSDP_API RvSdpAttribute *rvSdpGetSpecialAttr(const RvSdpMediaDescr *descr, size_t index,
                                              int kind);
RVSDP_API RvSdpAttribute *rvSdpGetFirstSpecialAttr(const RvSdpMediaDescr *descr, int kind);
/* The next attribute of `kind` after `current`, or NULL. */
RVSDP_API RvSdpAttribute *rvSdpGetNextSpecialAttr(const RvSdpAttribute *current, int kind);
/* Appends an attribute of `kind` with `value`: kind 16 and 21 are named
 * "rtpmap" and "fmtp" (`name` is ignored), kind 0 is a plain attribute named
 * `name`. Rules as rvSdpMediaDescrAddAttr. `alloc` may be NULL. */
RVSDP_API RvSdpAttribute *rvSdpSpecialAttrAdd(RvAlloc *alloc, RvSdpMediaDescr *descr, int kind,
                                              const char *value, const char *name);

/* rtpmap: "a=rtpmap:<payload> <encoding name>[/<clock rate>[/<channels>]]".
 * Parts that are missing or malformed read as: payload -1, name NULL, clock
 * rate -1, channels 0. Non-rtpmap attributes read the same way. */
RVSDP_API int rvSdpRtpMapGetPayload(const RvSdpRtpMap *rtpMap);
RVSDP_API const char *rvSdpRtpMapGetEncodingName(const RvSdpRtpMap *rtpMap);
RVSDP_API int rvSdpRtpMapGetClockRate(const RvSdpRtpMap *rtpMap);
RVSDP_API int rvSdpRtpMapGetChannels(const RvSdpRtpMap *rtpMap);
/* Appends an rtpmap line; clockRate < 0 leaves the rate out, channels < 1
 * leaves the channels out. `alloc` may be NULL. NULL on failure (payload
 * out of range, name empty, longer than RVSDP_MAX_ENCODING_NAME or with a
 * blank, '/', CR or LF). */
RVSDP_API RvSdpRtpMap *rvSdpAddRtpMap2(RvAlloc *alloc, RvSdpMediaDescr *descr, int payload,
                                       const char *encodingName, int clockRate, int channels);

/* ---- connections and bandwidths ----------------------------------------- */

/* "c=<net type> <address type> <address>"; the address is kept whole
 * ("224.2.1.1/127/3"). */
RVSDP_API const char *rvSdpConnectionGetNetType(const RvSdpConnection *conn);
RVSDP_API const char *rvSdpConnectionGetAddrType(const RvSdpConnection *conn);
RVSDP_API const char *rvSdpConnectionGetAddress(const RvSdpConnection *conn);
/* "b=<type>:<value>". */
RVSDP_API const char *rvSdpBandwidthGetType(const RvSdpBandwidth *bw);
RVSDP_API uint32_t rvSdpBandwidthGetValue(const RvSdpBandwidth *bw);

#ifdef __cplusplus
}
#endif

#endif /* RVSDP_H */
