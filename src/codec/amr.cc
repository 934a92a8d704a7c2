// AMR and AMR-WB format parameters (RFC 4867): fmtp text to a record and back.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "guard.h"
#include "text_sink.h"

using namespace zv;

namespace {

constexpr uint32_t kFmtpBuffer = 512;
constexpr uint32_t kFullNarrowBand = 0xFF;  // modes 0..7
constexpr uint32_t kFullWideBand = 0x1FF;   // modes 0..8

bool isSingleDigit(const char *value)
{
    return value[0] >= '0' && value[0] <= '9' && value[1] == '\0';
}

// The keys of an AMR fmtp, in the order a piece is tested for them.
enum Key { kModeSet, kOctetAlign, kChannels, kModeChangePeriod, kMaxRed, kModeChangeNeighbor, kModeChangeCapability,
           kKeyCount, kNoKey = kKeyCount };

struct KeyText {
    const char *text;
    size_t length;
};

constexpr KeyText kKeys[kKeyCount] = {
    {"mode-set=", 9}, {"octet-align=", 12}, {"channels=", 9}, {"mode-change-period=", 19},
    {"max-red=", 8},  {"mode-change-neighbor=", 21}, {"mode-change-capability=", 23},
};

// The first key, in table order, that occurs anywhere in the piece (so
// leading blanks do no harm), and the text after it. Every key ends in "=",
// so in the usual piece with one "=" a key can only end there, and one
// comparison per key tells; other pieces are searched key by key.
Key findKey(const char *piece, const char **value)
{
    const char *equals = strchr(piece, '=');
    if (!equals)
        return kNoKey;
    if (!strchr(equals + 1, '=')) {
        // No key is the end of another, so at most one ends here, and its
        // last letter names it (but for the two that end in "d").
        size_t before = static_cast<size_t>(equals + 1 - piece);
        Key k = kNoKey;
        switch (before >= 2 ? equals[-1] : '\0') {
        case 't': k = kModeSet; break;
        case 'n': k = kOctetAlign; break;
        case 's': k = kChannels; break;
        case 'd': k = before >= 3 && equals[-2] == 'o' ? kModeChangePeriod : kMaxRed; break;
        case 'r': k = kModeChangeNeighbor; break;
        case 'y': k = kModeChangeCapability; break;
        default: return kNoKey;
        }
        size_t n = kKeys[k].length;
        if (n > before || memcmp(equals + 1 - n, kKeys[k].text, n - 1) != 0)
            return kNoKey;
        *value = equals + 1;
        return k;
    }
    for (int k = 0; k < kKeyCount; ++k) {
        if (const char *found = strstr(piece, kKeys[k].text)) {
            *value = found + kKeys[k].length;
            return static_cast<Key>(k);
        }
    }
    return kNoKey;
}

// The kind named by an encoding name; AMR names are told apart exactly.
ZvSdpAmrType kindOfName(const char *name)
{
    if (!name || name[0] != 'A' || name[1] != 'M' || name[2] != 'R')
        return ZVSDP_AMR_TYPE_NONE;
    if (name[3] == '\0')
        return ZVSDP_AMR_TYPE_NB;
    return strcmp(name + 3, "-WB") == 0 ? ZVSDP_AMR_TYPE_WB : ZVSDP_AMR_TYPE_NONE;
}

// Appends "key value" items to the fmtp text, with ";" before every item but
// the first, cut at the buffer's end as a bounded print would cut it.
class FmtpWriter {
public:
    FmtpWriter(char *buffer, uint32_t size) : out_(buffer, size) {}

    void item(const char *key, size_t keyLength, int value)
    {
        if (out_.length() != 0)
            out_.appendChar(';');
        out_.append(key, keyLength);
        out_.appendInt(value);
    }

    void more(int value)
    {
        out_.appendChar(',');
        out_.appendInt(value);
    }

    uint32_t length() const { return out_.length(); }

private:
    TextSink out_;
};

#define ZV_KEY(text) text, sizeof text - 1

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpPayloadAmrGetType(CPayload *objHndl, ZvSdpAmrType *type)
{
    if (!objHndl || !type)
        return ZVSDP_RC_INVALID;
    // Reading the name fails only before the library is started.
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGE, kModApi, "Error in getting the encoding name!");
    *type = amrKind(objHndl);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpMediaPayloadParseAmrFmtp(CPayload *objHndl, ZvSdpAmrConfig *retval)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGE, kModApi, "API not initialised!");
    ZV_RETURN_IF(!objHndl || !retval, ZVSDP_RC_INVALID, ZV_LOGE, kModApi,
                 "Invalid parameter detected: objHndl=%p, &retval=%p", vp(objHndl), vp(retval));
    // Name, fmtp, channels and the table's packet time are read under one
    // acquisition of the payload lock.
    ClassLock lock(g_payloadModule);
    ZvSdpAmrType kind = amrKindOf(objHndl);
    if (kind == ZVSDP_AMR_TYPE_NONE)
        return ZVSDP_RC_INVALID;
    // The text is cut up in place, so it is copied (as much as 512 bytes hold).
    char fmtp[kFmtpBuffer];
    dynstr_strncpy(fmtp, objHndl->fmtp, kFmtpBuffer - 1);
    memset(retval, 0, sizeof *retval);

    char modeSet[32] = {0};
    bool modeSetSeen = false;
    for (char *piece = fmtp; piece && *piece;) {
        char *end = strchr(piece, ';');
        if (end)
            *end = '\0';
        const char *value = nullptr;
        // Flags and small counts take a value of exactly one digit.
        auto digit = [&value](auto &field) {
            if (isSingleDigit(value))
                field = static_cast<decltype(+field)>(value[0] - '0');  // the field's own type
        };
        switch (findKey(piece, &value)) {
        case kModeSet: {
            size_t n = strnlen(value, sizeof modeSet - 1);
            memcpy(modeSet, value, n);
            modeSet[n] = '\0';
            modeSetSeen = true;
            break;
        }
        case kMaxRed: {
            long red = strtol(value, nullptr, 10);
            if (red < 241 && red >= INT32_MIN)
                retval->maxRed = static_cast<int32_t>(red);
            break;
        }
        case kOctetAlign: digit(retval->octetAlign); break;
        case kChannels: digit(retval->channels); break;
        case kModeChangePeriod: digit(retval->modeChangePeriod); break;
        case kModeChangeNeighbor: digit(retval->modeChangeNeighbor); break;
        case kModeChangeCapability: digit(retval->modeChangeCapability); break;
        default:
            break;
        }
        piece = end ? end + 1 : nullptr;
    }

    if (modeSetSeen && modeSet[0]) {
        // Each piece between commas counts when it is one digit.
        for (const char *mode = modeSet;;) {
            if (mode[0] >= '0' && mode[0] <= '9' && (mode[1] == ',' || mode[1] == '\0'))
                retval->modeSet |= 1u << (mode[0] - '0');
            while (*mode && *mode != ',')
                ++mode;
            if (!*mode)
                break;
            ++mode;
        }
    } else {
        retval->modeSet = kind == ZVSDP_AMR_TYPE_WB ? kFullWideBand : kFullNarrowBand;
    }
    if (retval->channels == 0)
        retval->channels = static_cast<int32_t>(objHndl->channels);
    retval->ptime = defaultPtimeOf(objHndl);
    // Parsed records always write max-red back (see the writer).
    retval->maxRedLimit = 0;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpPayloadAmrTranslateConfigToFmtp(CPayload *objHndl, const ZvSdpAmrConfig *config,
                                                        char *buffer, uint32_t *length)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGE, kModApi, "API not initialised!");
    ZV_RETURN_IF(!objHndl || !config || !buffer || !length || *length == 0, ZVSDP_RC_INVALID, ZV_LOGE, kModApi,
                 "Invalid parameter detected: objHndl=%p", vp(objHndl));
    ZvSdpAmrType kind = amrKind(objHndl);
    if (kind == ZVSDP_AMR_TYPE_NONE)
        return ZVSDP_RC_INVALID;

    FmtpWriter out(buffer, *length);
    bool wide = kind == ZVSDP_AMR_TYPE_WB;
    // A full set (or a mode beyond the band) is what no mode-set means.
    if (config->modeSet != 0 && config->modeSet < (wide ? 511u : 255u)) {
        int highest = wide ? 8 : 7;
        bool first = true;
        for (int mode = 0; mode <= highest; ++mode) {
            if (!(config->modeSet & (1u << mode)))
                continue;
            if (first)
                out.item(ZV_KEY("mode-set="), mode);
            else
                out.more(mode);
            first = false;
        }
    }
    if (config->octetAlign == 1)
        out.item(ZV_KEY("octet-align="), 1);
    if (config->channels != 0)
        out.item(ZV_KEY("channels="), config->channels);
    if (config->modeChangeNeighbor == 1)
        out.item(ZV_KEY("mode-change-neighbor="), 1);
    out.item(ZV_KEY("mode-change-capability="), static_cast<int>(config->modeChangeCapability));
    if (config->modeChangePeriod == 2)
        out.item(ZV_KEY("mode-change-period="), 2);
    if (config->maxRedLimit < 241u)
        out.item(ZV_KEY("max-red="), config->maxRed);
    *length = out.length();
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpPayloadUpdateAmrParams(CPayload *objHndl, uint32_t selector, uint32_t value)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGE, kModApi, "API not initialised!");
    ZV_RETURN_IF(!objHndl, ZVSDP_RC_INVALID, ZV_LOGE, kModApi, "Invalid parameter detected: objHndl=%p", vp(objHndl));
    ZvSdpAmrConfig config;
    memset(&config, 0, sizeof config);
    uint32_t rc = zvSdpMediaPayloadParseAmrFmtp(objHndl, &config);
    if (rc != ZVSDP_RC_OK)
        return rc;
    // No selector reaches modeChangeCapability: callers pass these numbers.
    switch (selector) {
    case ZVSDP_AMR_PARAM_MODE_SET: config.modeSet |= 1u << (value % 32); break;
    case ZVSDP_AMR_PARAM_OCTET_ALIGN: config.octetAlign = value; break;
    case ZVSDP_AMR_PARAM_MODE_CHANGE_NEIGHBOR: config.modeChangeNeighbor = value; break;
    case ZVSDP_AMR_PARAM_MODE_CHANGE_PERIOD: config.modeChangePeriod = value; break;
    case ZVSDP_AMR_PARAM_PTIME: config.ptime = value; break;
    case ZVSDP_AMR_PARAM_SPARE: config.spare = value; break;
    case ZVSDP_AMR_PARAM_MAX_RED_LIMIT: config.maxRedLimit = value; break;
    case ZVSDP_AMR_PARAM_MAX_RED: config.maxRed = static_cast<int32_t>(value); break;
    default: break;  // still rewritten in canonical form
    }
    char fmtp[kFmtpBuffer];
    uint32_t length = sizeof fmtp;
    rc = zvSdpPayloadAmrTranslateConfigToFmtp(objHndl, &config, fmtp, &length);
    if (rc != ZVSDP_RC_OK)
        return rc;
    return zvSdpPayloadAddFmtp(objHndl, fmtp);
}

ZVSDP_API uint32_t zvSdpMediaPayloadAmrGetCommonModes(uint32_t modes1, uint32_t modes2)
{
    return modes1 & modes2 & kFullWideBand;
}

}  // extern "C"

namespace zv {

ZvSdpAmrType amrKindOf(const CPayload *payload)
{
    return kindOfName(dynstr_cstr(payload->name));
}

ZvSdpAmrType amrKind(CPayload *payload)
{
    ClassLock lock(g_payloadModule);
    return amrKindOf(payload);
}

}  // namespace zv
