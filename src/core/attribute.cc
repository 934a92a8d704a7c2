// CAttribute: one attribute line (a=name or a=name:value) of a media.
#include <stdio.h>
#include <string.h>

#include "objects.h"
#include "object_text.h"

ZV_CLASS_MODULE(g_attrModule, kModAttr, true)

using namespace zv;

namespace zv {
CAttribute *attrConstruct(const char *name, const char *value);
}  // namespace zv

namespace {

bool instanceCheck(const CAttribute *a)
{
    return a && isSoundName(a->name);
}

// The check runs after the lock is given back; a failed record is freed.
CAttribute *checked(CAttribute *a, const char *function)
{
    if (instanceCheck(a))
        return a;
    ZV_LOGC_AS(M.log, function, "Object construction failed! %s", "object sanity check failed.");
    memm_free(a);
    return nullptr;
}

void startFailed(StartStep step, uint32_t count)
{
    const char *const function = "zvSdpAttrObjApiInit";
    if (step == StartStep::kLock)
        ZV_LOGC_AS(M.log, function, "Failed to create data mutex!");
    else if (step == StartStep::kStringPool)
        ZV_LOGC_AS(M.log, function, "Failed to fetch Global Dynstring pool!");
    else
        ZV_LOGC_AS(M.log, function, "Failed to initialise data storage pool for %d objects!", static_cast<int>(count));
    ZV_LOGC_AS(M.log, function, "API initialisation failed, bailing out ...");
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpAttrObjApiInit(uint32_t count)
{
    if (M.initialised == 1) {
        ZV_LOGD(M.log, "API already initialised, ignore initialisation request.");
        return 1;
    }
    return M.start(count, {"zvsdpattrobj", sizeof(CAttribute),
                           releaseOwned<CAttribute, &CAttribute::name, &CAttribute::value>, ClassStart::kNoListPool,
                           startFailed});
}

ZVSDP_API void zvSdpAttrObjApiDestroy(void)
{
    if (M.initialised != 1) {
        ZV_LOGD(M.log, "API not initialised, ignore destroy request.");
        return;
    }
    M.cleanUp();
}

ZVSDP_API void zvSdpAttrObjApiSetTraceLevel(uint32_t level)
{
    g_traceLevel[M.log] = level;
}

ZVSDP_API CAttribute *zvSdpAttrObjConstruct(const char *name, const char *value)
{
    CAttribute *a;
    {
        ClassLock lock(M);
        a = attrConstruct(name, value);
        if (!a)
            return nullptr;
    }
    return checked(a, __func__);
}

ZVSDP_API CAttribute *zvSdpAttrObjConstructCopy(CAttribute *source)
{
    CAttribute *a;
    {
        ClassLock lock(M);
        a = newRecord<CAttribute>(M);
        if (!a)
            return nullptr;
        a->name = dynstr_dup(M.dynstrPool, source->name);
        a->value = source->value ? dynstr_dup(M.dynstrPool, source->value) : nullptr;
    }
    return checked(a, __func__);
}

ZV_FIELD_GET(CAttribute, struct dynstr_s *, name, zvSdpAttrObjGetName)
ZV_FIELD_GET(CAttribute, struct dynstr_s *, value, zvSdpAttrObjGetValue)
ZV_DESTRUCT(CAttribute, zvSdpAttrObjDestruct)

ZVSDP_API void zvSdpAttrObjSetName(CAttribute *objHndl, const char *name)
{
    ClassLock lock(M);
    dynstr_release(objHndl->name);
    objHndl->name = dynstr_fromstr(M.dynstrPool, name);
}

ZVSDP_API int32_t zvSdpAttrObjGetValueInt(CAttribute *objHndl)
{
    ClassLock lock(M);
    int32_t result = 0;
    if (objHndl->value && dynstr_getint32(objHndl->value, &result) != 0)
        result = 0;
    return result;
}

ZVSDP_API void zvSdpAttrObjSetValue(CAttribute *objHndl, const char *value)
{
    ClassLock lock(M);
    dynstr_release(objHndl->value);
    // Unlike construction, an empty text stays an empty value here.
    objHndl->value = value ? dynstr_fromstr(M.dynstrPool, value) : nullptr;
}

ZVSDP_API char *zvSdpAttrObjToString(CAttribute *objHndl, char *buffer, uint32_t *length)
{
    ClassLock lock(M);
    if (*length == 0)
        return buffer;
    TextSink out(buffer, *length);
    appendAttribute(out, objHndl);
    *length = out.length();
    return buffer;
}

ZVSDP_API uint32_t zvSdpAttrObjCompare(CAttribute *a, CAttribute *b)
{
    ClassLock lock(M);
    return dynstr_strcmp(a->name, b->name) == 0 && dynstr_strcmp(a->value, b->value) == 0 ? 1 : 0;
}

// Attributes have no rights getter: the checked operations never ask.
ZVSDP_API void zvSdpAttrObjSetAccessRights(CAttribute *objHndl, uint32_t rights)
{
    ClassLock lock(M);
    objHndl->rights = rights;
}

}  // extern "C"

namespace zv {

CAttribute *attrConstruct(const char *name, const char *value)
{
    CAttribute *a = newRecord<CAttribute>(M);
    if (!a)
        return nullptr;
    a->name = dynstr_fromstr(M.dynstrPool, name);
    // An empty value makes a flag attribute, as "a=sendrecv" is.
    a->value = value && *value ? dynstr_fromstr(M.dynstrPool, value) : nullptr;
    return a;
}

CAttribute *attrConstructChecked(const char *name, const char *value)
{
    CAttribute *a = attrConstruct(name, value);
    return a ? checked(a, "zvSdpAttrObjConstruct") : nullptr;
}

}  // namespace zv
