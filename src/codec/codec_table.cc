// The built-in codec and payload-type table and every question answered from it.
#include <string.h>

#include "guard.h"

using namespace zv;

extern "C" {

// Row order is behaviour: lookups take the first (or, in one case, the last)
// matching row, and several names deliberately appear more than once.
ZVSDP_API ZvSdpCodecEntry zvSdpCodecTable[ZVSDP_CODEC_TABLE_ROWS] = {
    {0, 0, "PCMU", ZVSDP_MT_AUDIO, 8000, 1, 64000, 0, 20},
    {0, 3, "GSM", ZVSDP_MT_AUDIO, 8000, 1, 64000, 0, 20},
    {0, 4, "G723", ZVSDP_MT_AUDIO, 8000, 1, 6300, 0, 30},
    {0, 5, "DVI4", ZVSDP_MT_AUDIO, 8000, 1, 64000, 0, 20},
    {0, 6, "DVI4", ZVSDP_MT_AUDIO, 16000, 1, 64000, 0, 20},
    {0, 16, "DVI4", ZVSDP_MT_AUDIO, 11025, 1, 64000, 0, 20},
    {0, 17, "DVI4", ZVSDP_MT_AUDIO, 22050, 1, 64000, 0, 20},
    {0, 7, "LPC", ZVSDP_MT_AUDIO, 8000, 1, 5600, 0, 20},
    {0, 8, "PCMA", ZVSDP_MT_AUDIO, 8000, 1, 64000, 0, 20},
    {0, 9, "G722", ZVSDP_MT_AUDIO, 8000, 1, 64000, 0, 20},
    {0, 10, "L16", ZVSDP_MT_AUDIO, 44100, 2, 64000, 0, 20},
    {0, 11, "L16", ZVSDP_MT_AUDIO, 44100, 1, 64000, 0, 20},
    {0, 12, "QCELP", ZVSDP_MT_AUDIO, 8000, 1, 6800, 0, 20},
    {0, 13, "CN", ZVSDP_MT_AUDIO, 8000, 1, 64000, 0, 20},
    {0, 14, "MPA", ZVSDP_MT_AUDIO, 90000, 1, 64000, 0, 20},
    {0, 15, "G728", ZVSDP_MT_AUDIO, 8000, 1, 16000, 0, 20},
    {0, 18, "G729", ZVSDP_MT_AUDIO, 8000, 1, 8000, 0, 20},
    {0, 25, "CelB", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {0, 26, "JPEG", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {0, 28, "nv", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {0, 31, "H261", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {0, 32, "MPV", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {0, 33, "MP2T", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {0, 34, "H263", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {1, 96, "telephone-event", ZVSDP_MT_AUDIO, 8000, 1, 64000, 0, 20},
    {1, 97, "G726-16", ZVSDP_MT_AUDIO, 8000, 1, 16000, 0, 20},
    {1, 98, "G726-24", ZVSDP_MT_AUDIO, 8000, 1, 24000, 0, 20},
    {1, 99, "G726-32", ZVSDP_MT_AUDIO, 8000, 1, 32000, 0, 20},
    {1, 100, "G726-40", ZVSDP_MT_AUDIO, 8000, 1, 40000, 0, 20},
    {1, 101, "G729D", ZVSDP_MT_AUDIO, 8000, 1, 6400, 0, 20},
    {1, 102, "G729E", ZVSDP_MT_AUDIO, 8000, 1, 11800, 0, 20},
    {1, 103, "GSM-EFR", ZVSDP_MT_AUDIO, 8000, 1, 12200, 0, 20},
    {1, 104, "H263-1998", ZVSDP_MT_VIDEO, 90000, 0, 0, 0, 0},
    {1, 105, "T38", ZVSDP_MT_IMAGE, 90000, 0, 0, 0, 0},
    {1, 106, "AMR", ZVSDP_MT_AUDIO, 8000, 1, 12200, 0, 20},
    {1, 107, "AMR-WB", ZVSDP_MT_AUDIO, 16000, 1, 23850, 0, 20},
    {1, 108, "telephone-event", ZVSDP_MT_AUDIO, 16000, 1, 0, 0, 20},
    {1, 109, "ILBC", ZVSDP_MT_AUDIO, 8000, 1, 15200, 0, 20},
};

}  // extern "C"

namespace {

struct EnumName {
    uint32_t value;
    const char *name;
};

#define ZV_ENUM_NAME(e) {e, #e}

constexpr EnumName kMediaTypes[] = {
    ZV_ENUM_NAME(ZVSDP_MT_UNKNOWN), ZV_ENUM_NAME(ZVSDP_MT_AUDIO), ZV_ENUM_NAME(ZVSDP_MT_NAS),
    ZV_ENUM_NAME(ZVSDP_MT_VIDEO),   ZV_ENUM_NAME(ZVSDP_MT_APP),   ZV_ENUM_NAME(ZVSDP_MT_DATA),
    ZV_ENUM_NAME(ZVSDP_MT_IMAGE),   ZV_ENUM_NAME(ZVSDP_MT_CONTROL), {ZVSDP_MT_END, "INVALID VALUE"},
};

constexpr EnumName kTransports[] = {
    ZV_ENUM_NAME(ZVSDP_TP_UNKNOWN), ZV_ENUM_NAME(ZVSDP_TP_RTPAVP), ZV_ENUM_NAME(ZVSDP_TP_UDP),
    ZV_ENUM_NAME(ZVSDP_TP_UDPTL),   ZV_ENUM_NAME(ZVSDP_TP_TCP),    ZV_ENUM_NAME(ZVSDP_TP_UDPBFCP),
};

constexpr EnumName kStaticTypes[] = {
    ZV_ENUM_NAME(ZVSDP_PT_PCMU),    ZV_ENUM_NAME(ZVSDP_PT_GSM),     ZV_ENUM_NAME(ZVSDP_PT_G723),
    ZV_ENUM_NAME(ZVSDP_PT_DVI4_8),  ZV_ENUM_NAME(ZVSDP_PT_DVI4_16), ZV_ENUM_NAME(ZVSDP_PT_LPC),
    ZV_ENUM_NAME(ZVSDP_PT_PCMA),    ZV_ENUM_NAME(ZVSDP_PT_G722),    ZV_ENUM_NAME(ZVSDP_PT_L16_2),
    ZV_ENUM_NAME(ZVSDP_PT_L16_1),   ZV_ENUM_NAME(ZVSDP_PT_QCELP),   ZV_ENUM_NAME(ZVSDP_PT_CN),
    ZV_ENUM_NAME(ZVSDP_PT_MPA),     ZV_ENUM_NAME(ZVSDP_PT_G728),    ZV_ENUM_NAME(ZVSDP_PT_DVI4_11),
    ZV_ENUM_NAME(ZVSDP_PT_DVI4_22), ZV_ENUM_NAME(ZVSDP_PT_G729),    ZV_ENUM_NAME(ZVSDP_PT_CELB),
    ZV_ENUM_NAME(ZVSDP_PT_JPEG),    ZV_ENUM_NAME(ZVSDP_PT_NV),      ZV_ENUM_NAME(ZVSDP_PT_H261),
    ZV_ENUM_NAME(ZVSDP_PT_MPV),     ZV_ENUM_NAME(ZVSDP_PT_MP2T),    ZV_ENUM_NAME(ZVSDP_PT_H263),
};

constexpr EnumName kDynamicTypes[] = {
    ZV_ENUM_NAME(ZVSDP_PT_NTE),     ZV_ENUM_NAME(ZVSDP_PT_G726_16), ZV_ENUM_NAME(ZVSDP_PT_G726_24),
    ZV_ENUM_NAME(ZVSDP_PT_G726_32), ZV_ENUM_NAME(ZVSDP_PT_G726_40), ZV_ENUM_NAME(ZVSDP_PT_G729D),
    ZV_ENUM_NAME(ZVSDP_PT_G729E),   ZV_ENUM_NAME(ZVSDP_PT_GSMEFR),  ZV_ENUM_NAME(ZVSDP_PT_H263V2),
    ZV_ENUM_NAME(ZVSDP_PT_T38),     ZV_ENUM_NAME(ZVSDP_PT_AMR),     ZV_ENUM_NAME(ZVSDP_PT_AMRWB),
    ZV_ENUM_NAME(ZVSDP_PT_NTE_16K), ZV_ENUM_NAME(ZVSDP_PT_ILBC),
};

template <size_t N>
const char *nameOf(const EnumName (&names)[N], uint32_t value, const char *unknown)
{
    for (const EnumName &e : names)
        if (e.value == value)
            return e.name;
    return unknown;
}

const ZvSdpCodecEntry *firstRowByName(const char *name)
{
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable)
        if (sameCodecName(row.encodingName, name))
            return &row;
    return nullptr;
}

const ZvSdpCodecEntry *firstRowByType(uint32_t payloadType)
{
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable)
        if (row.payloadType == payloadType)
            return &row;
    return nullptr;
}

}  // namespace

namespace zv {

// A payload needs its rtpmap line unless it is exactly the static entry of
// the table that its number names: same number, name, clock and channels.
bool rtpmapRequired(const CPayload *payload)
{
    if (payload->payloadType >= 96 || payload->rtpmapEnabled)
        return true;
    const ZvSdpCodecEntry *row = firstRowByType(payload->payloadType);
    if (!row || row->payloadType != payload->payloadType)
        return true;
    if (payload->name && strcmp(row->encodingName, dynstr_cstr(payload->name)) != 0)
        return true;
    return row->clockRate != payload->clockRate || row->channels != payload->channels;
}

uint32_t defaultPtimeOf(const CPayload *payload)
{
    const ZvSdpCodecEntry *row = payload->name ? firstRowByName(dynstr_cstr(payload->name)) : nullptr;
    return row ? row->defaultPtime : 0;
}

}  // namespace zv

namespace {

// The row of the payload's own name, through a copy of that name.
// 0 and the column's value, or 5 for no copy, no row or a 0 in the column.
uint32_t columnOfPayloadName(CPayload *payload, uint32_t ZvSdpCodecEntry::*column, uint32_t *out)
{
    char *name = dynstr_strdup(zvSdpPayloadObjGetName(payload));
    if (!name)
        return ZVSDP_RC_INVALID;
    const ZvSdpCodecEntry *row = firstRowByName(name);
    dynstr_strfree(name);
    if (!row || row->*column == 0)
        return ZVSDP_RC_INVALID;
    *out = row->*column;
    return ZVSDP_RC_OK;
}

}  // namespace

extern "C" {

ZVSDP_API const char *zvSdpGetMediaTypeString(ZvSdpMediaType type)
{
    return nameOf(kMediaTypes, type, "Unknown ZvSdpMediaType value");
}

ZVSDP_API const char *zvSdpGetTransportProtocolString(ZvSdpTransportProtocol proto)
{
    return nameOf(kTransports, proto, "Unknown ZvSdpTransportProtocol value");
}

ZVSDP_API const char *zvSdpMediaGetStaticPayloadTypeString(ZvSdpStaticPayloadType pt)
{
    return nameOf(kStaticTypes, pt, "Unknown ZvSdpStaticPayloadType value");
}

ZVSDP_API const char *zvSdpMediaGetDynamicPayloadTypeString(ZvSdpDynamicPayloadType pt)
{
    return nameOf(kDynamicTypes, pt, "Unknown ZvSdpDynamicPayloadType value");
}

ZVSDP_API uint32_t zvSdpPayloadGetDefaultPtime(CPayload *objHndl, uint32_t *ptime)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!objHndl || !ptime, "Invalid parameter detected: objHndl=%p, ptimevalue=%p",
                         vp(objHndl), vp(ptime));
    return columnOfPayloadName(objHndl, &ZvSdpCodecEntry::defaultPtime, ptime);
}

ZVSDP_API uint32_t zvSdpPayloadGetDefaultBitRate(CPayload *objHndl, uint32_t *bitRate)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!objHndl || !bitRate, "Invalid parameter detected: objHndl=%p, bitRate=%p",
                         vp(objHndl), vp(bitRate));
    return columnOfPayloadName(objHndl, &ZvSdpCodecEntry::bitRate, bitRate);
}

ZVSDP_API uint32_t zvSdpPayloadGetEncodingName(CPayload *objHndl, char *buffer, uint32_t *length)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!objHndl || !buffer || !length || *length == 0,
                         "Invalid parameter detected: objHndl=%p, buffer=%p, &buflen=%p", vp(objHndl),
                         vp(buffer), vp(length));
    return copyOut(buffer, length, zvSdpPayloadObjGetName(objHndl), TextOut::kWholeBufferCleared,
                   TextOut::kCutBeforeLast);
}

ZVSDP_API uint32_t zvSdpPayloadGetPayloadType(CPayload *objHndl, uint32_t *pt)
{
    ZV_RETURN_IF_NOT_STARTED_QUIETLY();
    ZV_RETURN_INVALID_IF(!objHndl || !pt, "Invalid parameter detected: objHndl=%p, &pt=%p, pt=%d",
                         vp(objHndl), vp(pt), pt ? static_cast<int>(*pt) : 0);
    *pt = zvSdpPayloadObjGetPayloadType(objHndl);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpPayloadGetBitRateFromPayloadType(uint32_t payloadType, uint32_t *bitRate)
{
    ZV_RETURN_IF_NOT_STARTED();
    if (!bitRate)
        return ZVSDP_RC_INVALID;
    *bitRate = 0;
    if (const ZvSdpCodecEntry *row = firstRowByType(payloadType))
        *bitRate = row->bitRate;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaGetBitRateFromEncodingName(const char *encodingName, uint32_t *bitRate)
{
    ZV_RETURN_IF_NOT_STARTED();
    if (!encodingName || !bitRate)
        return ZVSDP_RC_INVALID;
    *bitRate = 0;
    // The last row of the name wins here, unlike every other lookup.
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable)
        if (sameCodecName(row.encodingName, encodingName))
            *bitRate = row.bitRate;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpIsValidCodecName(const char *encodingName, uint32_t *valid)
{
    ZV_RETURN_IF(!encodingName || !valid, ZVSDP_RC_INVALID, ZV_LOGE, kModApi, "%s",
                 zvPbxGetErrorString(ZVSDP_RC_INVALID));
    *valid = firstRowByName(encodingName) ? 1 : 0;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpIsDynamicPayLoadFromEncodingName(const char *encodingName, uint32_t *dynamic)
{
    ZV_RETURN_IF(!encodingName || !dynamic, ZVSDP_RC_INVALID, ZV_LOGE, kModApi, "%s",
                 zvPbxGetErrorString(ZVSDP_RC_INVALID));
    const ZvSdpCodecEntry *row = firstRowByName(encodingName);
    *dynamic = row && row->isDynamic == 1 ? 1 : 0;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(uint32_t clockRate,
                                                                          const char *encodingName, uint32_t *pt)
{
    if (!encodingName || !pt)
        return ZVSDP_RC_INVALID;
    *pt = 0;
    // Telephone events exist at two rates; every other name ignores the clock.
    bool byRate = strncmp(encodingName, "telephone-event", 15) == 0;
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable) {
        if (!sameCodecName(row.encodingName, encodingName) || (byRate && row.clockRate != clockRate))
            continue;
        *pt = row.payloadType;
        break;
    }
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaGetEncodingNameFromPayloadType(uint32_t payloadType, char *buffer, uint32_t *length)
{
    if (!buffer || !length || *length == 0 || payloadType >= 128)
        return ZVSDP_RC_INVALID;
    const ZvSdpCodecEntry *row = firstRowByType(payloadType);
    if (!row)
        return ZVSDP_RC_NOT_FOUND;
    strncpy(buffer, row->encodingName, *length);
    buffer[*length - 1] = '\0';
    *length = static_cast<uint32_t>(strlen(buffer));
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpUpdateDynamicCodecPayloadType(const char *encodingName)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!encodingName, "Encoding name was not set !");
    uint32_t freeType = 0;
    for (uint32_t pt = 96; pt <= 126 && freeType == 0; ++pt) {
        char scratch[20];
        uint32_t len = sizeof scratch;
        if (zvSdpMediaGetEncodingNameFromPayloadType(pt, scratch, &len) == ZVSDP_RC_NOT_FOUND)
            freeType = pt;
    }
    if (freeType == 0)
        return ZVSDP_RC_INVALID;
    for (ZvSdpCodecEntry &row : zvSdpCodecTable) {
        if (sameCodecName(row.encodingName, encodingName)) {
            row.payloadType = freeType;
            break;
        }
    }
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpPayLoadIsRtpmapGenerationRequired(CPayload *objHndl)
{
    ClassLock lock(g_payloadModule);
    return rtpmapRequired(objHndl) ? 1 : 0;
}

}  // extern "C"
