// CAttribute: one attribute line (a=name or a=name:value) of a media.
#include <string.h>

#include "objects.h"

namespace zv {
ClassModule g_attrModule = {kModAttr, true, true, false, 0, MEMM_POOL_NONE, MEMM_POOL_NONE, MEMM_POOL_NONE,
                            PTHREAD_MUTEX_INITIALIZER};
}  // namespace zv

using namespace zv;

namespace {

ClassModule &M = g_attrModule;

int releaseAttribute(void *record, memm_release_fn release)
{
    CAttribute *a = static_cast<CAttribute *>(record);
    release(a->name);
    release(a->value);
    memset(a, 0, sizeof *a);
    return 0;
}

uint32_t failStart(const char *function)
{
    ZV_LOGC_AS(M.log, function, "API initialisation failed, bailing out ...");
    M.cleanUp();
    return 0;
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpAttrObjApiInit(uint32_t count)
{
    if (M.initialised == 1) {
        ZV_LOGD(M.log, "API already initialised, ignore initialisation request.");
        return 1;
    }
    if (!createRecursiveLock(M)) {
        ZV_LOGC(M.log, "Failed to create data mutex!");
        return failStart(__func__);
    }
    if (zvPbxCommonGetGlobalDynstrPool(&M.dynstrPool) != 0) {
        ZV_LOGC(M.log, "Failed to fetch Global Dynstring pool!");
        return failStart(__func__);
    }
    if (M.pool == MEMM_POOL_NONE)
        M.pool = memm_initpool3("zvsdpattrobj", count, sizeof(CAttribute), 0, releaseAttribute);
    if (M.pool == MEMM_POOL_NONE) {
        ZV_LOGC(M.log, "Failed to initialise data storage pool for %d objects!", static_cast<int>(count));
        return failStart(__func__);
    }
    memm_disallow_expansion(M.pool);
    M.initialised = 1;
    return 1;
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

ZVSDP_API void zvSdpAttrObjDestruct(CAttribute *objHndl)
{
    if (!objHndl)
        return;
    ClassLock lock(M);
    memm_free(objHndl);
}

ZVSDP_API void zvSdpAttrObjSetAccessRights(CAttribute *objHndl, uint32_t rights)
{
    ClassLock lock(M);
    objHndl->rights = rights;
}

}  // extern "C"
