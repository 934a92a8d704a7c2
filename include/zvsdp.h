/*
 * libzvsdp: SDP session descriptions (RFC 4566) as pooled objects, with the
 * codec knowledge of a telephony gateway.
 *
 * Conventions of every function below:
 * - Result codes are uint32_t (ZVSDP_RC_*); their texts come from
 *   zvPbxGetErrorString() of libzvcommon.
 * - Handles are pointers to opaque pooled objects. A session (CSdp) owns its
 *   media descriptions (CMedia), a media description owns its payloads
 *   (CPayload) and attributes (CAttribute).
 * - The unguarded object operations (zvSdpObj*, zvSdpMediaObj*,
 *   zvSdpPayloadObj*, zvSdpAttrObj*) trust their handles: NULL is the
 *   caller's fault unless a comment says otherwise. Everything else checks
 *   that the library is initialised and that its arguments are present.
 * - Text out is a caller buffer plus a uint32_t in/out length: in, the
 *   buffer's size; out, the length of the text written.
 * - Messages go to syslog(3) at priority 7, gated by per-module trace levels
 *   (0 = silent, 1 critical, 2 error, 3 debug, 4 information).
 *
 * Sections below, and the source folder that implements each:
 *   result codes, enumerations, records, handles      this header only
 *   the codec table                                   src/codec
 *   object modules; payload, attribute, media and
 *   session objects; lifecycle and sessions           src/core
 *   payload operations; media operations;
 *   attributes, ptime and silence suppression         src/media
 *   the session's media list; SDP text in and out;
 *   capability declarations; telephone events         src/text
 *   AMR format parameters; negotiation; the RFC 3264
 *   answer; telephone-event corrections               src/codec
 *   bus object                                        src/bus
 * The README's "Where things live" names the file of each family.
 */
#ifndef ZVSDP_H
#define ZVSDP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZVSDP_API __attribute__((visibility("default")))
#else
#define ZVSDP_API
#endif

/* ---- result codes -------------------------------------------------------- */

#define ZVSDP_RC_OK 0u             /* success */
#define ZVSDP_RC_NO_RESOURCE 2u    /* an object, pool, string or module could not be created */
#define ZVSDP_RC_NOT_ALLOWED 3u    /* library not initialised, or the object is read-only */
#define ZVSDP_RC_INVALID 5u        /* invalid or missing argument, out of range, or absent */
#define ZVSDP_RC_MISSING 8u        /* bus registration failed; no media where one is required */
#define ZVSDP_RC_EXTERNAL 9u       /* SDP stack call failed or printed text empty; value not an integer */
#define ZVSDP_RC_TRANSPORT 11u     /* a recognised transport other than RTP/AVP */
#define ZVSDP_RC_NOT_FOUND 12u     /* payload type not in the codec table; more than one local media */

/* Access rights of every object. */
#define ZVSDP_READ_ONLY 0u
#define ZVSDP_READ_WRITE 1u

/* ---- enumerations -------------------------------------------------------- */

typedef enum ZvSdpMediaType {
    ZVSDP_MT_UNKNOWN = 0,
    ZVSDP_MT_AUDIO = 1,
    ZVSDP_MT_NAS = 2,
    ZVSDP_MT_VIDEO = 3,
    ZVSDP_MT_APP = 4,
    ZVSDP_MT_DATA = 5,
    ZVSDP_MT_IMAGE = 6,
    ZVSDP_MT_CONTROL = 7,
    ZVSDP_MT_END = 8 /* end marker */
} ZvSdpMediaType;

typedef enum ZvSdpTransportProtocol {
    ZVSDP_TP_UNKNOWN = 0,
    ZVSDP_TP_RTPAVP = 1,
    ZVSDP_TP_UDP = 2,
    ZVSDP_TP_UDPTL = 3,
    ZVSDP_TP_TCP = 4,
    ZVSDP_TP_UDPBFCP = 5
} ZvSdpTransportProtocol;

typedef enum ZvSdpStaticPayloadType {
    ZVSDP_PT_PCMU = 0,
    ZVSDP_PT_GSM = 3,
    ZVSDP_PT_G723 = 4,
    ZVSDP_PT_DVI4_8 = 5,
    ZVSDP_PT_DVI4_16 = 6,
    ZVSDP_PT_LPC = 7,
    ZVSDP_PT_PCMA = 8,
    ZVSDP_PT_G722 = 9,
    ZVSDP_PT_L16_2 = 10,
    ZVSDP_PT_L16_1 = 11,
    ZVSDP_PT_QCELP = 12,
    ZVSDP_PT_CN = 13,
    ZVSDP_PT_MPA = 14,
    ZVSDP_PT_G728 = 15,
    ZVSDP_PT_DVI4_11 = 16,
    ZVSDP_PT_DVI4_22 = 17,
    ZVSDP_PT_G729 = 18,
    ZVSDP_PT_CELB = 25,
    ZVSDP_PT_JPEG = 26,
    ZVSDP_PT_NV = 28,
    ZVSDP_PT_H261 = 31,
    ZVSDP_PT_MPV = 32,
    ZVSDP_PT_MP2T = 33,
    ZVSDP_PT_H263 = 34
} ZvSdpStaticPayloadType;

typedef enum ZvSdpDynamicPayloadType {
    ZVSDP_PT_NTE = 96,
    ZVSDP_PT_G726_16 = 97,
    ZVSDP_PT_G726_24 = 98,
    ZVSDP_PT_G726_32 = 99,
    ZVSDP_PT_G726_40 = 100,
    ZVSDP_PT_G729D = 101,
    ZVSDP_PT_G729E = 102,
    ZVSDP_PT_GSMEFR = 103,
    ZVSDP_PT_H263V2 = 104,
    ZVSDP_PT_T38 = 105,
    ZVSDP_PT_AMR = 106,
    ZVSDP_PT_AMRWB = 107,
    ZVSDP_PT_NTE_16K = 108,
    ZVSDP_PT_ILBC = 109
} ZvSdpDynamicPayloadType;

/* Kind of an AMR payload. */
typedef enum ZvSdpAmrType {
    ZVSDP_AMR_TYPE_NONE = 0, /* not AMR */
    ZVSDP_AMR_TYPE_NB = 1,   /* "AMR" */
    ZVSDP_AMR_TYPE_WB = 2    /* "AMR-WB" */
} ZvSdpAmrType;

/* Selector of zvSdpPayloadUpdateAmrParams. There is deliberately no selector
 * for modeChangeCapability: PTIME addresses the word after it. */
typedef enum ZvSdpAmrParam {
    ZVSDP_AMR_PARAM_MODE_SET = 0, /* adds mode (value mod 32) to the mode set */
    ZVSDP_AMR_PARAM_OCTET_ALIGN = 1,
    ZVSDP_AMR_PARAM_MODE_CHANGE_NEIGHBOR = 2,
    ZVSDP_AMR_PARAM_MODE_CHANGE_PERIOD = 3,
    ZVSDP_AMR_PARAM_PTIME = 4,
    ZVSDP_AMR_PARAM_SPARE = 5,
    ZVSDP_AMR_PARAM_MAX_RED_LIMIT = 6,
    ZVSDP_AMR_PARAM_MAX_RED = 7
} ZvSdpAmrParam;

/* ---- records ------------------------------------------------------------- */

/* One row of the codec table. */
typedef struct ZvSdpCodecEntry {
    uint32_t isDynamic;       /* 0 static payload type, 1 dynamic */
    uint32_t payloadType;     /* RTP payload type number */
    const char *encodingName; /* as written in a=rtpmap, exact case */
    uint32_t mediaType;       /* ZvSdpMediaType */
    uint32_t clockRate;       /* Hz */
    uint32_t channels;        /* 0 for video and image */
    uint32_t bitRate;         /* bit/s; 0 where none is known */
    uint32_t reserved;        /* always 0 */
    uint32_t defaultPtime;    /* ms; 0 where none applies */
} ZvSdpCodecEntry;

/* Parsed AMR/AMR-WB format parameters (RFC 4867). */
typedef struct ZvSdpAmrConfig {
    uint32_t octetAlign;
    uint32_t modeSet; /* bit n set: codec mode n allowed */
    uint32_t modeChangeNeighbor;
    uint32_t modeChangePeriod;
    uint32_t modeChangeCapability;
    uint32_t ptime;
    uint32_t spare;
    uint32_t maxRedLimit; /* max-red is written only while this is below 241 */
    int32_t maxRed;
    int32_t channels;
} ZvSdpAmrConfig;

/* Packet figures of one media, from zvSdpGetRtpInfo. */
typedef struct RtpInfo {
    uint32_t packetsPerSecond; /* 1000 / ptime */
    uint32_t packetSize;       /* samples per packet + 40 header bytes */
    uint32_t bandwidth;        /* packetsPerSecond * 5 * packetSize / 100 */
} RtpInfo;

/* ---- handles ------------------------------------------------------------- */

typedef struct CSdp CSdp;             /* session description */
typedef struct CMedia CMedia;         /* media description (m= section) */
typedef struct CPayload CPayload;     /* payload format */
typedef struct CAttribute CAttribute; /* attribute line */

/* A dynamic string of libzvcommon (dynstr_t there), owned by the object that
 * hands it out. */
struct dynstr_s;

/* ---- the codec table ----------------------------------------------------- */

#define ZVSDP_CODEC_TABLE_ROWS 38

/* The process-wide codec table, in lookup order. It is plain, unlocked
 * memory: zvSdpUpdateDynamicCodecPayloadType rewrites payload numbers, and
 * the bus "get" handler reads it on the bus dispatch thread, so the host
 * must renumber only while no other call (and no bus dispatch) is running:
 * between zvUbusLockDispatch and zvUbusUnlockDispatch (zvubus.h) when
 * libzvubus dispatches, on its own dispatching thread when the host handed
 * libzvubus its bus connection. */
ZVSDP_API extern ZvSdpCodecEntry zvSdpCodecTable[ZVSDP_CODEC_TABLE_ROWS];

/* Enumerator names for logs; constant texts, never NULL. */
ZVSDP_API const char *zvSdpGetMediaTypeString(ZvSdpMediaType type);
ZVSDP_API const char *zvSdpGetTransportProtocolString(ZvSdpTransportProtocol proto);
ZVSDP_API const char *zvSdpMediaGetStaticPayloadTypeString(ZvSdpStaticPayloadType pt);
ZVSDP_API const char *zvSdpMediaGetDynamicPayloadTypeString(ZvSdpDynamicPayloadType pt);

/* Default packet time / bit rate of the payload's encoding name (first
 * table row of that name). 0; 3 not initialised; 5 NULL argument, no row, or
 * a 0 in the column (output untouched). */
ZVSDP_API uint32_t zvSdpPayloadGetDefaultPtime(CPayload *objHndl, uint32_t *ptime);
ZVSDP_API uint32_t zvSdpPayloadGetDefaultBitRate(CPayload *objHndl, uint32_t *bitRate);
/* The payload's own name, cut to *length - 1 characters; the whole buffer is
 * cleared first. 0; 3; 5 for NULL arguments or *length 0. */
ZVSDP_API uint32_t zvSdpPayloadGetEncodingName(CPayload *objHndl, char *buffer, uint32_t *length);
/* The payload's own payload type number. 0; 3; 5. */
ZVSDP_API uint32_t zvSdpPayloadGetPayloadType(CPayload *objHndl, uint32_t *pt);
/* Bit rate of the first row with that number; 0 for an unknown number.
 * 0; 3; 5. */
ZVSDP_API uint32_t zvSdpPayloadGetBitRateFromPayloadType(uint32_t payloadType, uint32_t *bitRate);
/* Bit rate of the LAST row with that name (so "telephone-event" gives 0);
 * 0 for an unknown name. 0; 3; 5. */
ZVSDP_API uint32_t zvSdpMediaGetBitRateFromEncodingName(const char *encodingName, uint32_t *bitRate);
/* *valid = 1 when some row has exactly that name (case-sensitive). 0; 5.
 * Needs no initialisation. */
ZVSDP_API uint32_t zvSdpIsValidCodecName(const char *encodingName, uint32_t *valid);
/* *dynamic = 1 when the first row of that name is dynamic. 0; 5. */
ZVSDP_API uint32_t zvSdpIsDynamicPayLoadFromEncodingName(const char *encodingName, uint32_t *dynamic);
/* Payload number of the first row with that name; for "telephone-event" the
 * clock rate must match too. *pt stays 0 when nothing matches (result 0).
 * 0; 5. Needs no initialisation. */
ZVSDP_API uint32_t zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(uint32_t clockRate,
                                                                          const char *encodingName,
                                                                          uint32_t *pt);
/* Name of the first row with that number, cut so that it fits *length
 * bytes with its terminator; *length becomes its length. 0; 5 for NULL
 * arguments, *length 0 or a number of 128 or more; 12 when no row has it. */
ZVSDP_API uint32_t zvSdpMediaGetEncodingNameFromPayloadType(uint32_t payloadType, char *buffer, uint32_t *length);
/* Moves the first row of that name to the lowest number of 96..126 that no
 * row carries. The change is process-wide. 0 (also for a name in no row);
 * 3; 5 for NULL or when 96..126 are all taken. */
ZVSDP_API uint32_t zvSdpUpdateDynamicCodecPayloadType(const char *encodingName);
/* 1 when an a=rtpmap line must be printed for the payload (its flag is set,
 * or it differs from its table row in number, name, clock or channels), else
 * 0. Not a result code; the handle must not be NULL. */
ZVSDP_API uint32_t zvSdpPayLoadIsRtpmapGenerationRequired(CPayload *objHndl);

/* ---- object modules ------------------------------------------------------ */

/* Start a class module with a pool of `count` objects: 1 started (or
 * already started), 0 failed. A module's pool is created by its first start
 * and keeps that size for the life of the process. Stopping frees every
 * object of the class. */
ZVSDP_API uint32_t zvSdpObjApiInit(uint32_t count);
ZVSDP_API uint32_t zvSdpMediaObjApiInit(uint32_t count);
ZVSDP_API uint32_t zvSdpPayloadObjApiInit(uint32_t count);
ZVSDP_API uint32_t zvSdpAttrObjApiInit(uint32_t count);
ZVSDP_API void zvSdpObjApiDestroy(void);
ZVSDP_API void zvSdpMediaObjApiDestroy(void);
ZVSDP_API void zvSdpPayloadObjApiDestroy(void);
ZVSDP_API void zvSdpAttrObjApiDestroy(void);
ZVSDP_API void zvSdpObjApiSetTraceLevel(uint32_t level);
ZVSDP_API void zvSdpMediaObjApiSetTraceLevel(uint32_t level);
ZVSDP_API void zvSdpPayloadObjApiSetTraceLevel(uint32_t level);
ZVSDP_API void zvSdpAttrObjApiSetTraceLevel(uint32_t level);

/* Rights (ZVSDP_READ_ONLY / ZVSDP_READ_WRITE). Setting them on a session or
 * media passes them down to everything it holds. */
ZVSDP_API void zvSdpObjSetAccessRights(CSdp *objHndl, uint32_t rights);
ZVSDP_API uint32_t zvSdpObjGetAccessRights(CSdp *objHndl);
ZVSDP_API void zvSdpMediaObjSetAccessRights(CMedia *objHndl, uint32_t rights);
ZVSDP_API uint32_t zvSdpMediaObjGetAccessRights(CMedia *objHndl);
ZVSDP_API void zvSdpPayloadObjSetAccessRights(CPayload *objHndl, uint32_t rights);
ZVSDP_API uint32_t zvSdpPayloadObjGetAccessRights(CPayload *objHndl);
ZVSDP_API void zvSdpAttrObjSetAccessRights(CAttribute *objHndl, uint32_t rights);

/* Destroy an object and everything it owns; NULL is ignored. A contained
 * object must be removed from its container first. */
ZVSDP_API void zvSdpObjDestruct(CSdp *objHndl);
ZVSDP_API void zvSdpMediaObjDestruct(CMedia *objHndl);
ZVSDP_API void zvSdpPayloadObjDestruct(CPayload *objHndl);
ZVSDP_API void zvSdpAttrObjDestruct(CAttribute *objHndl);

/* ---- payload objects ----------------------------------------------------- */

/* A read-write payload; the rtpmap flag starts 1 for types of 96 and above.
 * NULL when the pool is exhausted or the name is NULL or empty. */
ZVSDP_API CPayload *zvSdpPayloadObjConstructEx(uint32_t payloadType, const char *name, uint32_t clockRate,
                                               uint32_t channels);
ZVSDP_API CPayload *zvSdpPayloadObjConstruct(uint32_t payloadType, const char *name);
/* A read-write copy of everything but the rights. */
ZVSDP_API CPayload *zvSdpPayloadObjConstructCopy(CPayload *source);
ZVSDP_API uint32_t zvSdpPayloadObjGetPayloadType(CPayload *objHndl);
/* Leaves the rtpmap flag as it is. */
ZVSDP_API void zvSdpPayloadObjSetPayloadType(CPayload *objHndl, uint32_t payloadType);
ZVSDP_API uint32_t zvSdpPayloadObjGetClock(CPayload *objHndl);
ZVSDP_API void zvSdpPayloadObjSetClock(CPayload *objHndl, uint32_t clockRate);
ZVSDP_API uint32_t zvSdpPayloadObjGetChannels(CPayload *objHndl);
ZVSDP_API void zvSdpPayloadObjSetChannels(CPayload *objHndl, uint32_t channels);
/* Milliseconds, 0 = not set. GetPtime of NULL gives 0. */
ZVSDP_API uint32_t zvSdpPayloadObjGetPtime(CPayload *objHndl);
ZVSDP_API void zvSdpPayloadObjSetPtime(CPayload *objHndl, uint32_t ptime);
/* The object's own strings: valid until the payload changes or dies. */
ZVSDP_API struct dynstr_s *zvSdpPayloadObjGetName(CPayload *objHndl);
ZVSDP_API struct dynstr_s *zvSdpPayloadObjGetFmtp(CPayload *objHndl); /* NULL: none */
/* Replaces the fmtp text; NULL removes it. */
ZVSDP_API void zvSdpPayloadObjSetFmtp(CPayload *objHndl, const char *fmtp);
/* The flag counts for types below 96 only: types of 96 and above always
 * answer 1 and ignore a new value. */
ZVSDP_API uint32_t zvSdpPayloadObjGetEnableRtpMap(CPayload *objHndl);
ZVSDP_API void zvSdpPayloadObjSetEnableRtpMap(CPayload *objHndl, uint32_t enable);
/* Writes "pt name/clock" (or "pt name/clock/channels" for 2 and more
 * channels) into `out`, replacing its text; returns out. */
ZVSDP_API struct dynstr_s *zvSdpPayloadObjCreateRtpmap(CPayload *objHndl, struct dynstr_s *out);
/* Whether the fmtp switches voice activity detection on: 1, 0 ("no"
 * anywhere in the text), or -1 (no fmtp, or no annexa/annexb/vad key). */
ZVSDP_API int32_t zvSdpPayloadCheckVad(CPayload *objHndl);
/* 0 when EQUAL (same channels, clock rate and name ignoring case), 1 when
 * different. Payload number, fmtp, ptime and flag are not compared. */
ZVSDP_API uint32_t zvSdpPayloadObjCompare(CPayload *a, CPayload *b);

/* ---- attribute objects --------------------------------------------------- */

/* A read-write attribute "a=name:value"; a NULL or empty value makes a flag
 * attribute ("a=name"). NULL when the pool is exhausted or the name is NULL
 * or empty. */
ZVSDP_API CAttribute *zvSdpAttrObjConstruct(const char *name, const char *value);
/* A read-write copy of name and value. */
ZVSDP_API CAttribute *zvSdpAttrObjConstructCopy(CAttribute *source);
/* The object's own strings: valid until the attribute changes or dies. */
ZVSDP_API struct dynstr_s *zvSdpAttrObjGetName(CAttribute *objHndl);
ZVSDP_API void zvSdpAttrObjSetName(CAttribute *objHndl, const char *name);
ZVSDP_API struct dynstr_s *zvSdpAttrObjGetValue(CAttribute *objHndl); /* NULL: flag attribute */
/* The value as a number; 0 when absent or not a number. */
ZVSDP_API int32_t zvSdpAttrObjGetValueInt(CAttribute *objHndl);
/* NULL makes a flag attribute; an empty text stays an empty value. */
ZVSDP_API void zvSdpAttrObjSetValue(CAttribute *objHndl, const char *value);
/* "a=name:value" or "a=name" without line end, cut to *length - 1
 * characters; *length becomes the text's length. Returns buffer. */
ZVSDP_API char *zvSdpAttrObjToString(CAttribute *objHndl, char *buffer, uint32_t *length);
/* 1 when EQUAL (same name and value, case-sensitive), 0 when different. */
ZVSDP_API uint32_t zvSdpAttrObjCompare(CAttribute *a, CAttribute *b);

/* ---- media objects -------------------------------------------------------- */

/* Order of payloads for zvSdpMediaSortPayloads / zvSdpMediaObjSortPayloads:
 * called with two CPayload handles and the caller's sortArg; returns
 * negative, 0 or positive as a sorts before, with or after b. The sort is
 * stable. */
typedef int (*ZvSdpPayloadCompareFn)(const void *a, const void *b, void *sortArg);

/* A read-write, supported media with port 0. NULL when the pool is exhausted
 * or transport is not 1..5 or media type not 1..7. */
ZVSDP_API CMedia *zvSdpMediaObjConstruct(uint32_t transport, uint32_t mediaType);
/* A read-write copy with copies of every payload and attribute; the in-band
 * DTMF flag is not copied (0). */
ZVSDP_API CMedia *zvSdpMediaObjConstructCopy(CMedia *source);
ZVSDP_API uint32_t zvSdpMediaObjGetPort(CMedia *objHndl);
ZVSDP_API void zvSdpMediaObjSetPort(CMedia *objHndl, uint32_t port);
ZVSDP_API uint32_t zvSdpMediaObjIsSupported(CMedia *objHndl);
ZVSDP_API void zvSdpMediaObjSetSupported(CMedia *objHndl, uint32_t supported);
ZVSDP_API uint32_t zvSdpMediaObjGetTransport(CMedia *objHndl);
ZVSDP_API void zvSdpMediaObjSetTransport(CMedia *objHndl, uint32_t transport);
ZVSDP_API uint32_t zvSdpMediaObjGetMediaType(CMedia *objHndl);
ZVSDP_API void zvSdpMediaObjSetMediaType(CMedia *objHndl, uint32_t mediaType);
ZVSDP_API uint32_t zvSdpMediaObjGetInbandDtmf(CMedia *objHndl);
ZVSDP_API void zvSdpMediaObjSetInbandDtmf(CMedia *objHndl, uint32_t inbandDtmf);
/* Appends; the media owns the payload from then on. NULL is ignored. */
ZVSDP_API void zvSdpMediaObjAddPayload(CMedia *objHndl, CPayload *payload);
/* The payload after `previous` (the first for NULL); NULL at the end or when
 * `previous` is not in this media. */
ZVSDP_API CPayload *zvSdpMediaObjGetPayload(CMedia *objHndl, CPayload *previous);
ZVSDP_API uint32_t zvSdpMediaObjHasPayload(CMedia *objHndl, CPayload *payload);
/* Unlinks the payload and destroys it, even when it was not in this media
 * (ask zvSdpMediaObjHasPayload first). NULL is ignored. */
ZVSDP_API void zvSdpMediaObjRemovePayload(CMedia *objHndl, CPayload *payload);
ZVSDP_API void zvSdpMediaObjAddAttribute(CMedia *objHndl, CAttribute *attribute);
ZVSDP_API CAttribute *zvSdpMediaObjGetAttribute(CMedia *objHndl, CAttribute *previous);
ZVSDP_API uint32_t zvSdpMediaObjHasAttribute(CMedia *objHndl, CAttribute *attribute);
ZVSDP_API void zvSdpMediaObjRemoveAttribute(CMedia *objHndl, CAttribute *attribute);
/* Stable sort of the payloads; takes no lock. 0, or -1 for a NULL compare. */
ZVSDP_API int32_t zvSdpMediaObjSortPayloads(CMedia *objHndl, void *sortArg, ZvSdpPayloadCompareFn compare);
/* The media's SDP lines, each ended by "\n": the m-line, every rtpmap line,
 * every fmtp line, then the attribute lines (each cut at 127 characters).
 * The text is cut to *length - 1 characters; *length becomes its length. */
ZVSDP_API char *zvSdpMediaObjToString(CMedia *objHndl, char *buffer, uint32_t *length);
/* 1 when EQUAL, 0 when different. The port is not compared. Attributes are
 * walked as this library always has: the second media's next attribute is
 * looked up in the first media's list, so two media with two or more
 * attributes each compare different, and with one attribute in the first
 * media only the first pair counts. */
ZVSDP_API uint32_t zvSdpMediaObjCompare(CMedia *a, CMedia *b);

/* ---- session objects ------------------------------------------------------ */

/* A read-write session without media; NULL when the pool is exhausted. */
ZVSDP_API CSdp *zvSdpObjConstruct(void);
/* A copy with the SOURCE's rights and read-write copies of every media. */
ZVSDP_API CSdp *zvSdpObjConstructCopy(CSdp *source);
/* Replaces the destination's media by copies of the source's; the
 * destination's rights are not looked at or changed. */
ZVSDP_API void zvSdpObjDeepCopy(CSdp *destination, CSdp *source);
/* Appends; the session owns the media from then on. NULL is ignored. */
ZVSDP_API void zvSdpObjAddMedia(CSdp *objHndl, CMedia *media);
/* The media after `previous` (the first for NULL); NULL at the end. */
ZVSDP_API CMedia *zvSdpObjGetMedia(CSdp *objHndl, CMedia *previous);
ZVSDP_API uint32_t zvSdpObjHasMedia(CSdp *objHndl, CMedia *media);
/* Unlinks and destroys the media, even when it was not in this session. */
ZVSDP_API void zvSdpObjRemoveMedia(CSdp *objHndl, CMedia *media);
/* The media sections one after another. The whole buffer is cleared first;
 * a too-small buffer gets the text cut to *length - 1 characters. *length 0
 * returns at once. */
ZVSDP_API char *zvSdpObjToString(CSdp *objHndl, char *buffer, uint32_t *length);

/* ---- lifecycle and sessions ---------------------------------------------- */

/* Sets the trace level of the API and the four object modules (not the
 * HelperAPI one). Always 0. */
ZVSDP_API uint32_t zvSdpSetTraceLevel(uint32_t level);
/* Starts the library with pools of n sessions, 5n media, 10n payloads and
 * 20n attributes (the pools keep the size of their first start), registers
 * the bus object and starts the SDP stack manager. 0; 2 when a module or the
 * bus registration fails; or the code of the failed string-pool fetch. A
 * second call changes nothing and returns 0. When the SDP stack manager
 * fails to start the result is still 0, but the library stays uninitialised
 * (every guarded call answers 3) and a later call tries again. */
ZVSDP_API uint32_t zvSdpAppInit(uint32_t n);
/* Stops the library; every object still held becomes invalid. */
ZVSDP_API void zvSdpAppDestroy(void);
/* Sets a session, its media, payloads and attributes read-only / read-write.
 * 0; 3 not initialised; 5 NULL. */
ZVSDP_API uint32_t zvSdpAppSetReadOnly(CSdp *objHndl);
ZVSDP_API uint32_t zvSdpAppSetReadWrite(CSdp *objHndl);
/* A new empty session in *objHndl (NULL on failure). 0; 2 pool exhausted;
 * 3; 5. */
ZVSDP_API uint32_t zvSdpConstruct(CSdp **objHndl);
/* Destroys *objHndl and sets it NULL. 0; 3 not initialised or read-only (the
 * session stays); 5 NULL pointer or handle. */
ZVSDP_API uint32_t zvSdpDestruct(CSdp **objHndl);
/* Replaces destination's media by read-write copies of source's. 0; 3 not
 * initialised or destination read-only; 5. */
ZVSDP_API uint32_t zvSdpCopyMediaCapabilities(CSdp *destination, CSdp *source);
/* *equal = 1 when both sessions hold pairwise equal media in the same order.
 * 0; 3; 5. */
ZVSDP_API uint32_t zvSdpCompare(CSdp *objHndl1, CSdp *objHndl2, uint32_t *equal);

/* ---- payload operations (checked) ----------------------------------------- */
/* Each returns 0; 3 while not initialised (no message) or, for changes, when
 * the payload is read-only; 5 for a NULL handle or argument. */

/* Replaces the fmtp text; an empty text is refused (5). */
ZVSDP_API uint32_t zvSdpPayloadAddFmtp(CPayload *payloadHndl, const char *format_specifier);
/* Removes the fmtp text. */
ZVSDP_API uint32_t zvSdpPayloadResetFmtp(CPayload *payloadHndl);
/* Renumbers the payload; the rtpmap flag stays as it is. */
ZVSDP_API uint32_t zvSdpPayloadSetPayloadType(CPayload *payloadHndl, uint32_t payloadType);
/* Switching the rtpmap line off is refused (5) for types of 96 and above. */
ZVSDP_API uint32_t zvSdpPayloadSetRtpMap(CPayload *payloadHndl, uint32_t enable);
/* The payload's own packet time in milliseconds (0: not set). */
ZVSDP_API uint32_t zvSdpPayloadSetPtime(CPayload *payloadHndl, uint32_t ptime);
/* The payload's own ptime, else the table's default for its name, else 20. */
ZVSDP_API uint32_t zvSdpPayloadGetPtime(CPayload *payloadHndl, uint32_t *ptime);
/* The payload's clock rate and channel count. */
ZVSDP_API uint32_t zvSdpPayloadGetClock(CPayload *objHndl, uint32_t *clock);
ZVSDP_API uint32_t zvSdpPayloadGetChannels(CPayload *objHndl, uint32_t *channels);
/* The fmtp text cut to *buflen - 1 characters ("" when none). A buffer of
 * size 0 is not written at all (result 0, length 0). */
ZVSDP_API uint32_t zvSdpPayloadGetFmtp(CPayload *objHndl, char *buf, uint32_t *buflen);
/* The media's in-band DTMF flag, kept for the caller; settable on read-only
 * media. 0; 3 (logged); 5 for a NULL media. */
ZVSDP_API uint32_t zvSdpMediaGetInbandDtmf(CMedia *mediaObj, uint32_t *inbandDtmf);
ZVSDP_API uint32_t zvSdpMediaSetInbandDtmf(CMedia *mediaObj, uint32_t inbandDtmf);

/* ---- the session's media list --------------------------------------------- */

/* Removes and destroys every media. 0; 3; 5. */
ZVSDP_API uint32_t zvSdpClearMedia(CSdp *sdp);
/* Appends a new media (mediaObj optional: receives it). 0; 2; 3; 5. */
ZVSDP_API uint32_t zvSdpAddMediaDescriptor(CSdp *sdp, uint32_t mediaType, uint32_t transport, CMedia **mediaObj);
/* Removes and destroys *mediaObj and sets it NULL; 5 when it is not in this
 * session. */
ZVSDP_API uint32_t zvSdpRemoveMediaDescriptor(CSdp *sdp, CMedia **mediaObj);
/* mode 1 removes every media of that type, mode 0 every media of another
 * type; other modes change nothing. */
ZVSDP_API uint32_t zvSdpRemoveMediaDescriptorByMediaType(CSdp *sdp, uint32_t mediaType, uint32_t mode);
/* The walk of the session's media: the first one, then the one after
 * mediaObj; NULL (result 0) at the end. The session keeps owning them. */
ZVSDP_API uint32_t zvSdpGetFirstMediaDescriptor(CSdp *sdp, CMedia **mediaObj);
ZVSDP_API uint32_t zvSdpGetNextMediaDescriptor(CSdp *sdp, CMedia *mediaObj, CMedia **nextObj);
/* *present = 1 when the session holds a media. */
ZVSDP_API uint32_t zvSdpIsMediaDescriptorsListPresent(CSdp *sdp, uint32_t *present);

/* ---- media operations (checked) ------------------------------------------- */
/* 0; 3 not initialised or (for changes) read-only; 5 bad argument or not
 * found; 2 when an object cannot be made. Optional out handles are cleared
 * before the rights check. */

/* The media's supported flag, type, transport and port. */
ZVSDP_API uint32_t zvSdpMediaIsSupported(CMedia *mediaObj, uint32_t *val);
/* Port 0 and unsupported: a rejected stream. */
ZVSDP_API uint32_t zvSdpMediaMarkUnsupported(CMedia *mediaObj);
ZVSDP_API uint32_t zvSdpMediaGetMediaType(CMedia *mediaObj, ZvSdpMediaType *type);
ZVSDP_API uint32_t zvSdpMediaGetTransportProtocol(CMedia *mediaObj, ZvSdpTransportProtocol *proto);
/* 3 also for an unsupported media: a rejected stream keeps port 0. */
ZVSDP_API uint32_t zvSdpMediaSetPort(CMedia *objHndl, uint32_t port);
ZVSDP_API uint32_t zvSdpMediaGetPort(CMedia *objHndl, uint32_t *port);
/* The walk of the media's payloads in their order; NULL (result 0) at the
 * end. The media keeps owning them. */
ZVSDP_API uint32_t zvSdpMediaGetFirstPayload(CMedia *objHndl, CPayload **ptHndl);
ZVSDP_API uint32_t zvSdpMediaGetNextPayload(CMedia *objHndl, CPayload *ptHndl, CPayload **nextPtHndl);
/* Destroys *ptHndl and sets it NULL; 5 when it is not in this media. */
ZVSDP_API uint32_t zvSdpMediaRemovePayload(CMedia *objHndl, CPayload **ptHndl);
/* Appends "a=name:value" (a NULL or empty value: "a=name"); *attrHndl
 * (optional) receives it, owned by the media. */
ZVSDP_API uint32_t zvSdpMediaAddAttribute(CMedia *mediaObj, const char *name, const char *value,
                                          CAttribute **attrHndl);
/* Destroys *attrHndl and sets it NULL; 5 when it is not in this media. */
ZVSDP_API uint32_t zvSdpMediaRemoveAttribute(CMedia *objHndl, CAttribute **attrHndl);
/* The walk of the media's attributes in their order; NULL (result 0) at the
 * end. */
ZVSDP_API uint32_t zvSdpMediaGetFirstAttribute(CMedia *objHndl, CAttribute **attrHndl);
ZVSDP_API uint32_t zvSdpMediaGetNextAttribute(CMedia *objHndl, CAttribute *attrHndl, CAttribute **nextAttrHndl);
/* The first payload of that number (NULL when none); always 0 after the
 * guard. */
ZVSDP_API uint32_t zvSdpMediaGetPayloadFromPayloadType(CMedia *mediaObj, uint32_t payloadType, CPayload **retval);
/* *retval = 1 when a payload has that number, else 0. */
ZVSDP_API uint32_t zvSdpMediaPayloadTypeExists(CMedia *mediaObj, uint32_t payloadType, uint32_t *retval);
/* Payloads from the codec table (name, clock, channels of the row). Adding a
 * number twice gives two payloads. 5 when no static / dynamic row has it. */
ZVSDP_API uint32_t zvSdpMediaAddStaticPayloadType(CMedia *mediaObj, uint32_t payloadType, CPayload **ptHndl);
ZVSDP_API uint32_t zvSdpMediaAddDynamicPayload(CMedia *mediaObj, uint32_t payloadType, CPayload **ptHndl);
/* Either of the two by the row's kind. A number in no row gives 5 at once,
 * even before initialisation, and leaves *ptHndl alone. */
ZVSDP_API uint32_t zvSdpMediaAddPayloadFromPayloadType(CMedia *mediaObj, uint32_t payloadType, CPayload **ptHndl);
/* The first row of exactly that name, static or dynamic ("telephone-event"
 * gives 96 at 8000 Hz). 5 for a name in no row. */
ZVSDP_API uint32_t zvSdpMediaAddDynamicPayloadBasedOnName(CMedia *mediaObj, const char *encodingName,
                                                          CPayload **ptHndl);
/* A payload described by the caller; fmtp may be NULL. */
ZVSDP_API uint32_t zvSdpMediaAddPayload(CMedia *mediaObj, uint32_t payloadType, const char *encodingName,
                                        uint32_t clockRate, uint32_t channels, const char *fmtp, CPayload **ptHndl);
/* The media's first payload whose name is one of names[0..count-1]
 * (ignoring case); NULL and 0 when none is. */
ZVSDP_API uint32_t zvSdpMediaGetFirstSupportedPayload(CMedia *mediaObj, const char *const *names, uint32_t count,
                                                      CPayload **ptHndl);
/* Sorts the payloads with compare(a, b, sortArg) (see ZvSdpPayloadCompareFn);
 * also on read-only media. 0; 3; 5 for a NULL media or compare. */
ZVSDP_API uint32_t zvSdpMediaSortPayloads(CMedia *mediaObj, void *sortArg, ZvSdpPayloadCompareFn compare);
/* The session's first media of that type whose supported flag equals
 * `supported`; NULL and 0 when none. 5 for a session without media. */
ZVSDP_API uint32_t zvSdpFindMedia(CSdp *sdpObj, ZvSdpMediaType mediaType, uint32_t supported, CMedia **mediaObj);

/* ---- attributes, ptime and silence suppression ---------------------------- */
/* 0; 3 while not initialised (no message); 5 for NULL arguments. The
 * attribute operations make no rights check. */

/* *result = 1 when the attribute has exactly that name. */
ZVSDP_API uint32_t zvSdpAttrIsSilenceSupp(CAttribute *attrHndl, uint32_t *result);
ZVSDP_API uint32_t zvSdpAttrIsPtime(CAttribute *attrHndl, uint32_t *result);
ZVSDP_API uint32_t zvSdpAttrIsMaxPtime(CAttribute *attrHndl, uint32_t *result);
ZVSDP_API uint32_t zvSdpAttrIsFmtp(CAttribute *attrHndl, uint32_t *result);
ZVSDP_API uint32_t zvSdpAttrIsCdsc(CAttribute *attrHndl, uint32_t *result);
ZVSDP_API uint32_t zvSdpAttrIsCpar(CAttribute *attrHndl, uint32_t *result);
ZVSDP_API uint32_t zvSdpAttrIsSqn(CAttribute *attrHndl, uint32_t *result);
/* The name cut to *length - 1 characters (whole buffer cleared first). A
 * buffer of size 0 is not written at all (result 0, length 0). */
ZVSDP_API uint32_t zvSdpAttrGetName(CAttribute *attrObj, char *name, uint32_t *length);
/* The value cut to *length characters: this writes up to *length + 1
 * bytes, so pass a buffer one byte larger than *length. "" when none. A
 * buffer of size 0 is not written at all (result 0, length 0). */
ZVSDP_API uint32_t zvSdpAttrGetValueStr(CAttribute *attrObj, char *value, uint32_t *length);
/* 9 when the value is not an integer (output unchanged). */
ZVSDP_API uint32_t zvSdpAttrGetValueInt(CAttribute *attrObj, uint32_t *value);
ZVSDP_API uint32_t zvSdpAttrSetValueInt(CAttribute *attrObj, int32_t value);
ZVSDP_API uint32_t zvSdpAttrSetValueStr(CAttribute *attrObj, const char *value);
/* Appends "a=ptime:N" (another one if one exists). 0; 2; 3 also read-only; 5. */
ZVSDP_API uint32_t zvSdpMediaAddAttrPtime(CMedia *mediaHndl, uint32_t ptime, CAttribute **attrHndl);
/* The media's first ptime attribute, else the table's default for the
 * payload's name; 5 when neither gives one, 9 for a non-numeric ptime. */
ZVSDP_API uint32_t zvSdpMediaGetPtime(CMedia *mediaHndl, CPayload *payloadHndl, uint32_t *ptime);
/* *present = 1 when the media carries a ptime attribute. */
ZVSDP_API uint32_t zvSdpMediaIsPtimePresent(CMedia *mediaHndl, uint32_t *present);
/* Appends "a=silenceSupp:..." (RFC 3108): enable 0 gives "off - - - -";
 * enable 1 "on <timer> <pref> <sidUse> <level>" with preference 0 "-",
 * 1 "standard", 2 "custom"; sidUse 0 "-", 1 "No SID", 2 "Fixed Noise" (level
 * 30..78 or 127), 3 "Sampled Noise". 5 for any other value. */
ZVSDP_API uint32_t zvSdpMediaAddAttrSilenceSupp(CMedia *mediaHndl, uint32_t enable, uint32_t silenceTimer,
                                                uint32_t preference, uint32_t sidUse, uint32_t fixedNoiseLevel,
                                                CAttribute **attrHndl);
/* NOTE the inverted sense: *result = 1 when some media carries a silenceSupp
 * attribute whose value contains "off", else 0. */
ZVSDP_API uint32_t zvSdpMediaIsSilenceSuppressionEnabled(CSdp *sdpHndl, uint32_t *result);

/* ---- SDP text in and out --------------------------------------------------- */

/* Messages of the gateway's SDP stack (librv_sdp, rvsdp.h). */
struct RvSdpMsg;
struct RvSdpMediaDescr;
struct RvSdpConnection;

/* Parses SDP text (its first 1023 characters) into a new session in
 * *objHndl, which the caller destroys with zvSdpDestruct. Media of an unknown
 * type or transport are skipped; a media with port 0 is marked unsupported.
 * 0; 2 pool exhausted; 3; 5 bad argument (*objHndl untouched), text that is
 * no SDP or yields no media; 11 a UDP, udptl or TCP media (the whole text
 * fails). After the argument checks *objHndl is NULL on every failure. */
ZVSDP_API uint32_t zvSdpConstructFromString(const char *sdpBuffer, CSdp **objHndl);
/* Replaces the session's media by those of a stack message (audio, video,
 * application, image over RTP/AVP, UDP, udptl, TCP, UDP/BFCP). Moves
 * telephone-event to the end of each of the message's format lists. 0; 3 also
 * read-only; 5; 9 the message lacks an attribute it counts. */
ZVSDP_API uint32_t zvSdpCopyRvMedia(CSdp *sdp, struct RvSdpMsg *rvSdp);
/* The session's media sections, each line ended by "\n". *length: in the
 * buffer's size, out the text's length. 0; 3 (no message); 5 for NULL or
 * *length 0. A too-small buffer gets the text cut. */
ZVSDP_API uint32_t zvSdpToString(CSdp *sdpObj, char *streamBuffer, uint32_t *length);
/* Parses the session's printed text into *rvSdp (the caller destructs it with
 * rvSdpMsgDestruct). 0; 3; 5; 9 for an empty session or text the stack only
 * parses in part. */
ZVSDP_API uint32_t zvSdpAppGetRvSdp(CSdp *objHndl, struct RvSdpMsg *rvSdp);
/* Replaces the message's media by the session's, port 0 each, udptl media as
 * format "t38" without payloads, attribute names and values cut at 32
 * characters. Media the stack cannot carry are marked unsupported in the
 * session. 0; 3; 5; 9 when the stack refuses a media. */
ZVSDP_API uint32_t zvSdpRvMediaCopy(struct RvSdpMsg *rvSdp, CSdp *sdp);
/* The media's first connection, else the session's first (may be NULL).
 * Needs no initialisation. 0; 5. */
ZVSDP_API uint32_t zvSdpRvMediaGetConnection(struct RvSdpMsg *rvSdp, struct RvSdpMediaDescr *rvMedia,
                                             struct RvSdpConnection **rvConnection);
/* Packet figures from the media's first ptime (20 when none) and its largest
 * payload clock rate. 0; 3; 5 for NULL arguments or a ptime outside 1..1000. */
ZVSDP_API uint32_t zvSdpGetRtpInfo(CSdp *sdp, CMedia *media, RtpInfo *info);

/* ---- capability declarations (RFC 3407) ------------------------------------ */

/* Adds "sqn", a "cdsc" listing the media's payload numbers, a "cpar" per
 * payload with fmtp and, for addT38 1, a "cdsc" for T.38 (audio and video
 * media; other media get "sqn" only). Values are cut at 199 characters.
 * 0; 3; 5; or the code of the failed addition (no roll-back). */
ZVSDP_API uint32_t zvSdpMediaAddCdscCparAttributes(CMedia **hMedia, uint32_t addT38);
/* Removes every "sqn", "cdsc" and "cpar" attribute of every media. */
ZVSDP_API uint32_t zvSdpRemoveCdscCparAttributes(CSdp *sdp);

/* ---- telephone events ------------------------------------------------------- */

/* Appends the table's payload 96 (telephone-event/8000); *ptHndl receives it.
 * 0; 2; 3; 5 (ptHndl is required). */
ZVSDP_API uint32_t zvSdpMediaAddTelephoneEvent(CMedia *mediaObj, CPayload **ptHndl);
/* *supported = 1 when a payload is named exactly "telephone-event"
 * (case-sensitive); *payloadType (optional) gets the first one's number. */
ZVSDP_API uint32_t zvSdpMediaIsTelephoneEventSupportedEx(CMedia *mediaObj, uint32_t *supported,
                                                         uint32_t *payloadType);
ZVSDP_API uint32_t zvSdpMediaIsTelephoneEventSupported(CMedia *mediaObj, uint32_t *supported);

/* ---- AMR format parameters (RFC 4867) --------------------------------------- */

/* The payload's AMR kind from its exact name ("AMR", "AMR-WB"). 0; 5 for NULL
 * arguments; or the error of reading the name. */
ZVSDP_API uint32_t zvSdpPayloadAmrGetType(CPayload *objHndl, ZvSdpAmrType *type);
/* Parses the payload's fmtp into *retval: keys mode-set, octet-align,
 * channels, mode-change-period, max-red (taken below 241),
 * mode-change-neighbor, mode-change-capability; single-digit values only;
 * no mode-set means all modes of the band. channels and ptime are filled in
 * from the payload and the table; maxRedLimit is always 0. 0; 3; 5 also for
 * a payload that is not AMR. */
ZVSDP_API uint32_t zvSdpMediaPayloadParseAmrFmtp(CPayload *objHndl, ZvSdpAmrConfig *retval);
/* Writes *config as fmtp text in the order mode-set (only for a partial
 * set), octet-align, channels, mode-change-neighbor, mode-change-capability,
 * mode-change-period, max-red (while maxRedLimit < 241). *length: buffer
 * size in, text length out. 0; 3; 5. */
ZVSDP_API uint32_t zvSdpPayloadAmrTranslateConfigToFmtp(CPayload *objHndl, const ZvSdpAmrConfig *config,
                                                        char *buffer, uint32_t *length);
/* Changes one parameter (ZvSdpAmrParam selector) and rewrites the fmtp in
 * canonical form; selector 0 ADDS a mode. 0; 3; 5; or a parse/write error
 * (the fmtp is then unchanged). */
ZVSDP_API uint32_t zvSdpPayloadUpdateAmrParams(CPayload *objHndl, uint32_t selector, uint32_t value);
/* Modes 0..8 set in both masks. */
ZVSDP_API uint32_t zvSdpMediaPayloadAmrGetCommonModes(uint32_t modes1, uint32_t modes2);

/* ---- negotiation ------------------------------------------------------------ */
/* Messages of these go under "[ZVSDP::HelperAPI]" with its own trace level. */

/* The HelperAPI trace level (not changed by zvSdpSetTraceLevel). */
ZVSDP_API void zvSdpHelperSetTraceLevel(uint32_t level);
/* Logs the title and the session's text on one line (line feeds written as
 * "\n "), cut at 1023 characters; at HelperAPI level 4 and above. */
ZVSDP_API void zvSdpHelperLogSdp(CSdp *sdp, const char *title);
/* Copies the source payload's ptime into the destination. 0; 5. */
ZVSDP_API uint32_t zvSdpHelperCopyPTime(CPayload **dst, CPayload **src);
/* *out = a copy of *src (NULL when the pool is exhausted, still 0). 0; 5. */
ZVSDP_API uint32_t zvSdpHelperCopyConstructPayload(CPayload **out, CPayload **src);
/* Destroys *payload and sets it NULL. 0; 5 for NULL. */
ZVSDP_API uint32_t zvSdpHelperDestructPayload(CPayload **payload);
/* *equal = 1 for two payloads of one AMR band, or the same name (ignoring
 * case), clock and channels. 0; 3; 5. */
ZVSDP_API uint32_t zvSdpPayloadComparePayloads(CPayload *objHndl, CPayload *objHndl2, uint32_t *equal);
/* The first payload of `first` (in its order; telephone-event never counts)
 * that has an equal payload in `second`; *outSecond (optional) gets that
 * partner. NULL and 0 when the media differ in type, one is unsupported, or
 * none is common. */
ZVSDP_API uint32_t zvSdpHelperGetFirstCommonPayload(CMedia *first, CMedia *second, CPayload **outFirst,
                                                    CPayload **outSecond);
/* Builds the answer's capabilities in newCapabilities from a remote offer
 * and a local session of exactly one media. Each remote media of another
 * type or transport, or (with markIfNoCommon) without a common payload,
 * appends a rejected stream of its own type; a served one replaces the whole
 * of newCapabilities by a copy of the local media (so one served stream
 * answers with the local description, payload numbers unchanged) and merges
 * the remote AMR parameters into the local AMR payloads: mode sets are
 * INTERSECTED and the smaller max-red taken, as session border controllers
 * do, rather than returning the offered mode-set unmodified as RFC 4867 asks
 * of an answerer. 0; 5; 8 a session without media; 12 a local session with
 * more than one media; or the code of a failed step (newCapabilities stays
 * partly built). */
ZVSDP_API uint32_t zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(CSdp *remoteCapabilities,
                                                                               CSdp *localCapabilities,
                                                                               CSdp *newCapabilities,
                                                                               uint32_t markIfNoCommon);
/* Copies source into destination with every payload removed and every media
 * marked unsupported: the answer that rejects every stream. 0; 3; 5. */
ZVSDP_API uint32_t zvSdpHelperCopyMediaCapabilitiesUnsupported(CSdp *destination, CSdp *source);

/* ---- the RFC 3264 answer -----------------------------------------------------
 * Beside the capability builder above (which answers a served stream with
 * the local description as it stands), these write the answer a standards-
 * following offerer accepts, as text, from the whole offer and the same
 * one-media local capabilities. For every offered m= line, in order, one
 * answer m= line with the offered media type and transport text:
 * - The first stream of the local media's type and transport that has a
 *   port and shares a codec with the local media is served: the local port,
 *   the common codecs in the offer's order under the offer's payload numbers
 *   (an offered rtpmap is echoed; static types the offer did not map get
 *   none), then the local attributes (ptime and the rest) and the answered
 *   direction: sendonly gets recvonly, recvonly sendonly, inactive inactive,
 *   as far as the local media's own direction allows; a media without a
 *   direction takes the session's; an offer whose connection is 0.0.0.0
 *   receives nothing.
 * - Codecs match by name (any case), clock rate and channels; a static type
 *   without rtpmap is the codec table's. Each local payload answers one
 *   offered payload at most. Codecs other than AMR keep the local fmtp.
 *   Only RTP payload types are matched: a local udptl (T.38) media, whose
 *   format is the text "t38", serves nothing.
 * - telephone-event and CN are answered only at the clock rate of a chosen
 *   codec and never serve a stream alone; telephone-event with the events
 *   both sides list (RFC 4733; no fmtp means 0-15).
 * - AMR and AMR-WB (RFC 4867): octet-align, crc, robust-sorting and
 *   interleaving must be the same on both sides; mode-set is the modes both
 *   sides allow (quoted values read), the payload dropped when there is
 *   none; the local mode-change-period, mode-change-capability (1 or 2),
 *   mode-change-neighbor and max-red are declared.
 * - Every other stream (other type or transport, port 0, no common codec, a
 *   second stream of the served type, or a local media that is unsupported
 *   or has port 0) is rejected: "m=<type> 0 <transport> <first format>" and
 *   nothing else ("0" for an RTP transport that offered no format, "t38"
 *   for udptl, else "*").
 * The text has LF line ends, like every text of the library. With session
 * NULL it holds the media sections only; otherwise it is a complete body:
 * v=0, o= and s= from session, c=IN <type> <address>, the offer's t= and r=
 * lines ("t=0 0" when it has none), then the media sections.
 * *length: in, the buffer's size; out, the text's length. Results: 0; 3;
 * 5 for a NULL argument, *length 0, unusable session values, an offer that
 * is not SDP (not one m= line with a transport can be read) or longer than
 * 64 KiB, and for a buffer too small: the buffer then holds "" and *length
 * the length the answer needs (plus one for its terminator); 8 a local
 * session without media; 12 one with more than one. On every failure but
 * the last *length is 0 and the buffer holds "". Nothing is allocated. */
typedef struct ZvSdpAnswerSession {
    const char *user;        /* o= user name; NULL: "-" */
    const char *sessionId;   /* o= session id; NULL: "0" */
    const char *version;     /* o= session version; NULL: "0" */
    const char *address;     /* o= and c= address; required */
    const char *addressType; /* NULL: "IP6" when the address holds ':', else "IP4" */
    const char *sessionName; /* s= text; NULL: "-" */
} ZvSdpAnswerSession;
/* The offer as text (read whole, up to 64 KiB, CRLF or LF line ends, blanks
 * before a line's type letter tolerated). */
ZVSDP_API uint32_t zvSdpHelperAnswerOffer(const char *offer, CSdp *localCapabilities,
                                          const ZvSdpAnswerSession *session, char *answer, uint32_t *length);
/* The offer as a stack message the host parsed (not changed). It holds what
 * the stack could read: lines the stack skipped are not answered. */
ZVSDP_API uint32_t zvSdpHelperAnswerRvOffer(struct RvSdpMsg *offer, CSdp *localCapabilities,
                                            const ZvSdpAnswerSession *session, char *answer, uint32_t *length);

/* ---- telephone-event corrections --------------------------------------------- */

/* Corrects every media of the session (see below). 0; 5; or a walk error. */
ZVSDP_API uint32_t zvSdpFilterTelephoneEventsForAdvertisedCodecs(CSdp *sdp);
/* Removes the first telephone-event at 8000 Hz when no other payload runs
 * at 8000 Hz, and likewise at 16000 Hz. Always 0. */
ZVSDP_API uint32_t zvSdpMediaCorrectForRfc2833DtmfClockRate(CMedia *mediaObj);
/* Logs the media's payload numbers (HelperAPI level 3 only). Always 0. */
ZVSDP_API uint32_t zvSdpMediaDumpAllPayloads(CMedia *mediaObj);

/* ---- bus object ---------------------------------------------------------- */

/* Registers the "zvpbx.media.codec" object (method "get") on the process's
 * bus connection (zvubus.h says which). 0 when the object is registered as
 * the call returns, else 8. Called by zvSdpAppInit. */
ZVSDP_API uint32_t zvSdpBusInit(void);
/* Does nothing: the object stays registered until the process leaves the
 * bus, and a later zvSdpBusInit registers it again. */
ZVSDP_API void zvSdpBusDestroy(void);

#ifdef __cplusplus
}
#endif

#endif
