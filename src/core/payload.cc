// CPayload: one payload format of a media description.
#include <string.h>
#include <strings.h>

#include "objects.h"
#include "object_text.h"

ZV_CLASS_MODULE(g_payloadModule, kModPayload, true)

using namespace zv;

namespace {

bool instanceCheck(const CPayload *p)
{
    return p && isSoundName(p->name);
}

// The "no" test of CheckVad: whole text, deliberately not the key's value.
int32_t vadAnswer(const char *fmtp)
{
    return strstr(fmtp, "no") ? 0 : 1;
}

// Only a failed lock is reported; the pools fail without a word.
void startFailed(StartStep step, uint32_t)
{
    if (step == StartStep::kLock)
        ZV_LOGE_AS(M.log, "zvSdpPayloadObjApiInit", "Mutex creation failed\n");
}

}  // namespace

extern "C" {

ZV_MODULE_OPERATIONS(zvSdpPayloadObjApiInit, zvSdpPayloadObjApiDestroy, zvSdpPayloadObjApiSetTraceLevel,
                     {"zvsdppayloadobj", sizeof(CPayload), releaseOwned<CPayload, &CPayload::name, &CPayload::fmtp>,
                      ClassStart::kNoListPool, startFailed})

ZVSDP_API CPayload *zvSdpPayloadObjConstructEx(uint32_t payloadType, const char *name, uint32_t clockRate,
                                               uint32_t channels)
{
    ClassLock lock(M);
    return payloadConstructEx(payloadType, name, clockRate, channels);
}

ZVSDP_API CPayload *zvSdpPayloadObjConstruct(uint32_t payloadType, const char *name)
{
    return zvSdpPayloadObjConstructEx(payloadType, name, 0, 0);
}

ZVSDP_API CPayload *zvSdpPayloadObjConstructCopy(CPayload *source)
{
    ClassLock lock(M);
    return payloadConstructCopy(source);
}

ZV_DESTRUCT(CPayload, zvSdpPayloadObjDestruct)
ZV_FIELD_GET_SET(CPayload, uint32_t, payloadType, zvSdpPayloadObjGetPayloadType, zvSdpPayloadObjSetPayloadType)
ZV_FIELD_GET_SET(CPayload, uint32_t, clockRate, zvSdpPayloadObjGetClock, zvSdpPayloadObjSetClock)
ZV_FIELD_GET_SET(CPayload, uint32_t, channels, zvSdpPayloadObjGetChannels, zvSdpPayloadObjSetChannels)
ZV_FIELD_GET_SET(CPayload, uint32_t, rights, zvSdpPayloadObjGetAccessRights, zvSdpPayloadObjSetAccessRights)
ZV_FIELD_GET(CPayload, struct dynstr_s *, name, zvSdpPayloadObjGetName)
ZV_FIELD_GET(CPayload, struct dynstr_s *, fmtp, zvSdpPayloadObjGetFmtp)

// NULL reads as 0 here, unlike every other payload operation.
ZVSDP_API uint32_t zvSdpPayloadObjGetPtime(CPayload *objHndl)
{
    if (!objHndl)
        return 0;
    ClassLock lock(M);
    return objHndl->ptime;
}

ZVSDP_API void zvSdpPayloadObjSetPtime(CPayload *objHndl, uint32_t ptime)
{
    ClassLock lock(M);
    objHndl->ptime = ptime;
}

ZVSDP_API void zvSdpPayloadObjSetFmtp(CPayload *objHndl, const char *fmtp)
{
    ClassLock lock(M);
    payloadSetFmtp(objHndl, fmtp);
}

ZVSDP_API uint32_t zvSdpPayloadObjGetEnableRtpMap(CPayload *objHndl)
{
    ClassLock lock(M);
    return objHndl->payloadType < 96 ? objHndl->rtpmapEnabled : 1;
}

ZVSDP_API void zvSdpPayloadObjSetEnableRtpMap(CPayload *objHndl, uint32_t enable)
{
    ClassLock lock(M);
    if (objHndl->payloadType < 96)
        objHndl->rtpmapEnabled = enable;
}

ZVSDP_API struct dynstr_s *zvSdpPayloadObjCreateRtpmap(CPayload *objHndl, struct dynstr_s *out)
{
    ClassLock lock(M);
    if (!objHndl->name)
        return out;
    // An ordinary line is put together on the stack and assigned in one go;
    // only a name too long for that goes through the formatter.
    char line[128];
    TextSink text(line, sizeof line);
    appendRtpmap(text, objHndl);
    if (text.length() < sizeof line - 1)
        dynstr_assign(out, line);
    else if (objHndl->channels < 2)
        dynstr_printf(out, "%d %s/%d", static_cast<int>(objHndl->payloadType), dynstr_cstr(objHndl->name),
                      static_cast<int>(objHndl->clockRate));
    else
        dynstr_printf(out, "%d %s/%d/%d", static_cast<int>(objHndl->payloadType), dynstr_cstr(objHndl->name),
                      static_cast<int>(objHndl->clockRate), static_cast<int>(objHndl->channels));
    return out;
}

// Takes no lock: it reads the two strings once each and decides on copies.
ZVSDP_API int32_t zvSdpPayloadCheckVad(CPayload *objHndl)
{
    char *fmtp = dynstr_strdup(objHndl->fmtp);
    if (!fmtp)
        return -1;
    int32_t answer = -1;
    if (dynstr_strcmpi2(objHndl->name, "G723") == 0 && strstr(fmtp, "annexa"))
        answer = vadAnswer(fmtp);
    else if (dynstr_strcmpi2(objHndl->name, "G729") == 0 && strstr(fmtp, "annexb"))
        answer = vadAnswer(fmtp);
    else if (strstr(fmtp, "vad"))
        answer = vadAnswer(fmtp);
    dynstr_strfree(fmtp);
    return answer;
}

ZVSDP_API uint32_t zvSdpPayloadObjCompare(CPayload *a, CPayload *b)
{
    ClassLock lock(M);
    bool equal = a->channels == b->channels && a->clockRate == b->clockRate && dynstr_strcmpi(a->name, b->name) == 0;
    return equal ? 0 : 1;
}

}  // extern "C"

namespace zv {

CPayload *payloadConstructEx(uint32_t payloadType, const char *name, uint32_t clockRate, uint32_t channels)
{
    return buildRecord<CPayload>(M, nullptr, instanceCheck, [=](CPayload *p) {
        p->payloadType = payloadType;
        p->name = dynstr_fromstr(M.dynstrPool, name);
        p->channels = channels;
        p->clockRate = clockRate;
        p->rtpmapEnabled = payloadType >= 96 ? 1 : 0;
    });
}

CPayload *payloadConstructCopy(const CPayload *source)
{
    return buildRecord<CPayload>(M, nullptr, instanceCheck, [source](CPayload *p) {
        p->name = dynstr_dup(M.dynstrPool, source->name);
        p->channels = source->channels;
        p->clockRate = source->clockRate;
        p->payloadType = source->payloadType;
        p->rtpmapEnabled = source->rtpmapEnabled;
        p->ptime = source->ptime;
        p->fmtp = source->fmtp ? dynstr_dup(M.dynstrPool, source->fmtp) : nullptr;
    });
}

void payloadSetFmtp(CPayload *payload, const char *fmtp)
{
    dynstr_release(payload->fmtp);
    payload->fmtp = fmtp ? dynstr_fromstr(M.dynstrPool, fmtp) : nullptr;
}

}  // namespace zv
