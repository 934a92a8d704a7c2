// CMedia: one media description with its payloads and attributes.
#include <string.h>

#include "objects.h"

namespace zv {
ClassModule g_mediaModule = {kModMedia, true, true, false, 0, MEMM_POOL_NONE, MEMM_POOL_NONE, MEMM_POOL_NONE,
                             PTHREAD_MUTEX_INITIALIZER};
}  // namespace zv

using namespace zv;

namespace {

ClassModule &M = g_mediaModule;

int releaseMedia(void *record, memm_release_fn release)
{
    CMedia *m = static_cast<CMedia *>(record);
    release(m->payloads);
    release(m->attributes);
    memset(m, 0, sizeof *m);
    return 0;
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpMediaObjApiInit(uint32_t count)
{
    if (M.initialised == 1)
        return 1;
    if (!createRecursiveLock(M)) {
        ZV_LOGC(M.log, "Failed to create data protection mutex!");
        M.cleanUp();
        return 0;
    }
    if (zvPbxCommonGetGlobalDynstrPool(&M.dynstrPool) != 0) {
        ZV_LOGC(M.log, "Failed to get global dynstring pool!");
        M.cleanUp();
        return 0;
    }
    if (zvPbxCommonGetGlobalLinkedListPool(&M.listPool) != 0) {
        ZV_LOGC(M.log, "Failed to get global linked list pool!");
        M.cleanUp();
        return 0;
    }
    if (M.pool == MEMM_POOL_NONE)
        M.pool = memm_initpool3("zvsdpmediaobj", count, sizeof(CMedia), 0, releaseMedia);
    if (M.pool == MEMM_POOL_NONE) {
        ZV_LOGC(M.log, "Failed to initialise the data pool!");
        M.cleanUp();
        return 0;
    }
    memm_disallow_expansion(M.pool);
    M.initialised = 1;
    return 1;
}

ZVSDP_API void zvSdpMediaObjApiDestroy(void)
{
    if (M.initialised == 1)
        M.cleanUp();
}

ZVSDP_API void zvSdpMediaObjApiSetTraceLevel(uint32_t level)
{
    g_traceLevel[M.log] = level;
}

ZVSDP_API void zvSdpMediaObjDestruct(CMedia *objHndl)
{
    if (!objHndl)
        return;
    ClassLock lock(M);
    memm_free(objHndl);
}

ZVSDP_API void zvSdpMediaObjSetAccessRights(CMedia *objHndl, uint32_t rights)
{
    ClassLock lock(M);
    objHndl->rights = rights;
    for (void *p = llist_getnext(objHndl->payloads, nullptr); p; p = llist_getnext(objHndl->payloads, p))
        zvSdpPayloadObjSetAccessRights(static_cast<CPayload *>(p), rights);
    for (void *a = llist_getnext(objHndl->attributes, nullptr); a; a = llist_getnext(objHndl->attributes, a))
        zvSdpAttrObjSetAccessRights(static_cast<CAttribute *>(a), rights);
}

ZVSDP_API uint32_t zvSdpMediaObjGetAccessRights(CMedia *objHndl)
{
    ClassLock lock(M);
    return objHndl->rights;
}

}  // extern "C"
