// Start and stop of the whole interface, trace levels, and the session-level
// entry points. Every guarded operation of the library follows the pattern
// here: initialised, arguments present, then write access.
#include "guard.h"
#include "objects.h"
#include "rvsdp.h"

using namespace zv;

namespace {

// Stops the four modules and the SDP stack manager and clears the flag.
void staticCleanUp()
{
    zvSdpObjApiDestroy();
    zvSdpMediaObjApiDestroy();
    zvSdpPayloadObjApiDestroy();
    zvSdpAttrObjApiDestroy();
    RvSdpMgrDestruct();
    g_apiInitialised = 0;
}

uint32_t setSessionRights(CSdp *objHndl, uint32_t rights, const char *function)
{
    ZV_RETURN_IF(!g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGD_AS, kModApi, function, "API not initialised!");
    ZV_RETURN_IF(!objHndl, ZVSDP_RC_INVALID, ZV_LOGD_AS, kModApi, function, "Invalid parameter detected: objHndl=NULL");
    zvSdpObjSetAccessRights(objHndl, rights);
    return ZVSDP_RC_OK;
}

}  // namespace

extern "C" {

ZVSDP_API uint32_t zvSdpSetTraceLevel(uint32_t level)
{
    // The HelperAPI level is deliberately left alone: it has its own setter.
    g_traceLevel[kModApi] = level;
    zvSdpObjApiSetTraceLevel(level);
    zvSdpAttrObjApiSetTraceLevel(level);
    zvSdpMediaObjApiSetTraceLevel(level);
    zvSdpPayloadObjApiSetTraceLevel(level);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpAppInit(uint32_t n)
{
    ZV_RETURN_IF(g_apiInitialised == 1, ZVSDP_RC_OK, ZV_LOGD, kModApi,
                 "API already initialised, ignore initialisation request.");
    uint32_t code = zvPbxCommonGetGlobalDynstrPool(&g_apiDynstrPool);
    if (code == ZVSDP_RC_OK) {
        if (!zvSdpObjApiInit(n) || !zvSdpMediaObjApiInit(5 * n) || !zvSdpPayloadObjApiInit(10 * n) ||
            !zvSdpAttrObjApiInit(20 * n) || zvSdpBusInit() != ZVSDP_RC_OK)
            code = ZVSDP_RC_NO_RESOURCE;
    }
    if (code != ZVSDP_RC_OK) {
        ZV_LOGC(kModApi, "API Initialisation failed, all API functions are unusable!");
        staticCleanUp();
        return code;
    }
    if (RvSdpMgrConstruct() != 0) {
        // Reported as success on purpose: the flag stays clear, so every
        // guarded call answers 3, and a later init runs the sequence again.
        ZV_LOGC(kModApi, "Failed to initialise RadVision SDP API!");
        return ZVSDP_RC_OK;
    }
    g_apiInitialised = 1;
    return ZVSDP_RC_OK;
}

ZVSDP_API void zvSdpAppDestroy(void)
{
    if (g_apiInitialised == 0) {
        ZV_LOGD(kModApi, "API not initialised, ignore destroy request.");
        return;
    }
    zvSdpBusDestroy();
    staticCleanUp();
    g_apiDynstrPool = MEMM_POOL_NONE;
}

ZVSDP_API uint32_t zvSdpAppSetReadOnly(CSdp *objHndl)
{
    return setSessionRights(objHndl, ZVSDP_READ_ONLY, __func__);
}

ZVSDP_API uint32_t zvSdpAppSetReadWrite(CSdp *objHndl)
{
    return setSessionRights(objHndl, ZVSDP_READ_WRITE, __func__);
}

ZVSDP_API uint32_t zvSdpConstruct(CSdp **objHndl)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!objHndl, "Invalid parameter detected: &objHndl=%p", static_cast<void *>(objHndl));
    *objHndl = nullptr;
    CSdp *session = zvSdpObjConstruct();
    if (!session)
        return ZVSDP_RC_NO_RESOURCE;
    *objHndl = session;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpDestruct(CSdp **objHndl)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!objHndl || !*objHndl, "Invalid parameter detected: &objHndl=%p",
                         static_cast<void *>(objHndl));
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(*objHndl));
    zvSdpObjDestruct(*objHndl);
    *objHndl = nullptr;
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpCopyMediaCapabilities(CSdp *destination, CSdp *source)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!destination || !source, "Invalid parameter detected: destination=%p, source=%p",
                         static_cast<void *>(destination), static_cast<void *>(source));
    ZV_RETURN_IF_READ_ONLY(zvSdpObjGetAccessRights(destination));
    zvSdpObjDeepCopy(destination, source);
    return ZVSDP_RC_OK;
}

ZVSDP_API uint32_t zvSdpCompare(CSdp *objHndl1, CSdp *objHndl2, uint32_t *equal)
{
    ZV_RETURN_IF_NOT_STARTED();
    ZV_RETURN_INVALID_IF(!objHndl1 || !objHndl2 || !equal,
                         "Invalid parameter detected: objHndl1=%p, objHndl2=%p, equal=%p",
                         static_cast<void *>(objHndl1), static_cast<void *>(objHndl2), static_cast<void *>(equal));
    *equal = 1;
    CMedia *a = zvSdpObjGetMedia(objHndl1, nullptr);
    CMedia *b = zvSdpObjGetMedia(objHndl2, nullptr);
    while (a && b) {
        *equal = zvSdpMediaObjCompare(a, b);
        if (*equal == 0)
            return ZVSDP_RC_OK;
        a = zvSdpObjGetMedia(objHndl1, a);
        b = zvSdpObjGetMedia(objHndl2, b);
    }
    if (a || b)
        *equal = 0;
    return ZVSDP_RC_OK;
}

}  // extern "C"
