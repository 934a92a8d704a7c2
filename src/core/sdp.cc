// CSdp: a session description, an ordered list of media descriptions.
#include <string.h>

#include "objects.h"

namespace zv {
// The CSdp lock is a plain static mutex that is never created or destroyed,
// and it reports no lock errors.
ClassModule g_sdpModule = {kModSdp, false, false, false, 0, MEMM_POOL_NONE, MEMM_POOL_NONE, MEMM_POOL_NONE,
                           PTHREAD_MUTEX_INITIALIZER};
}  // namespace zv

using namespace zv;

namespace {

ClassModule &M = g_sdpModule;

int releaseSdp(void *record, memm_release_fn release)
{
    CSdp *s = static_cast<CSdp *>(record);
    release(s->media);
    memset(s, 0, sizeof *s);
    return 0;
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpObjApiInit(uint32_t count)
{
    if (M.initialised == 1)
        return 1;
    if (zvPbxCommonGetGlobalDynstrPool(&M.dynstrPool) != 0) {
        M.cleanUp();
        return 0;
    }
    if (M.pool == MEMM_POOL_NONE)
        M.pool = memm_initpool3("zvsdpsdpobj", count, sizeof(CSdp), 0, releaseSdp);
    if (M.pool == MEMM_POOL_NONE) {
        ZV_LOGC(M.log, "Failed to initialise the data pool!");
        M.cleanUp();
        return 0;
    }
    if (zvPbxCommonGetGlobalLinkedListPool(&M.listPool) != 0) {
        ZV_LOGC(M.log, "Failed to get global linked list pool!");
        M.cleanUp();
        return 0;
    }
    memm_disallow_expansion(M.pool);
    M.initialised = 1;
    return 1;
}

ZVSDP_API void zvSdpObjApiDestroy(void)
{
    if (M.initialised == 1)
        M.cleanUp();
}

ZVSDP_API void zvSdpObjApiSetTraceLevel(uint32_t level)
{
    g_traceLevel[M.log] = level;
}

ZVSDP_API void zvSdpObjDestruct(CSdp *objHndl)
{
    if (!objHndl)
        return;
    ClassLock lock(M);
    memm_free(objHndl);
}

ZVSDP_API void zvSdpObjSetAccessRights(CSdp *objHndl, uint32_t rights)
{
    ClassLock lock(M);
    objHndl->rights = rights;
    for (void *m = llist_getnext(objHndl->media, nullptr); m; m = llist_getnext(objHndl->media, m))
        zvSdpMediaObjSetAccessRights(static_cast<CMedia *>(m), rights);
}

ZVSDP_API uint32_t zvSdpObjGetAccessRights(CSdp *objHndl)
{
    ClassLock lock(M);
    return objHndl->rights;
}

}  // extern "C"
