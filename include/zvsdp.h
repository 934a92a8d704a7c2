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
 * must renumber only while no other call (and no bus dispatch) is running. */
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

/* ---- bus object ---------------------------------------------------------- */

/* Registers the "zvpbx.media.codec" object (method "get") on the process's
 * bus connection. 0, or 8 when registration fails. Called by zvSdpAppInit. */
ZVSDP_API uint32_t zvSdpBusInit(void);
/* Does nothing: the object stays registered until the process leaves the
 * bus, and a later zvSdpBusInit registers it again. */
ZVSDP_API void zvSdpBusDestroy(void);

#ifdef __cplusplus
}
#endif

#endif
