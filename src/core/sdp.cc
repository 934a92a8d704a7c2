// CSdp: a session description, an ordered list of media descriptions.
#include <string.h>

#include "objects.h"

ZV_CLASS_MODULE(g_sdpModule, kModSdp, false)

using namespace zv;

namespace {

bool instanceCheck(const CSdp *s)
{
    return s != nullptr;
}

// Appends copies of every media of `from`; the caller holds the lock.
void appendMediaCopies(CSdp *to, CSdp *from)
{
    appendCopies<CMedia>(M, &to->media, from->media, g_mediaModule, zvSdpMediaObjConstructCopy, zvSdpMediaObjDestruct);
}

void startFailed(StartStep step, uint32_t)
{
    if (step == StartStep::kObjectPool)
        ZV_LOGC_AS(M.log, "zvSdpObjApiInit", "Failed to initialise the data pool!");
    else if (step == StartStep::kListPool)
        ZV_LOGC_AS(M.log, "zvSdpObjApiInit", "Failed to get global linked list pool!");
}

}  // namespace

extern "C" {

ZV_MODULE_OPERATIONS(zvSdpObjApiInit, zvSdpObjApiDestroy, zvSdpObjApiSetTraceLevel,
                     {"zvsdpsdpobj", sizeof(CSdp), releaseOwned<CSdp, &CSdp::media>,
                      ClassStart::kListPoolLast, startFailed})

ZVSDP_API CSdp *zvSdpObjConstruct(void)
{
    ClassLock lock(M);
    return buildRecord<CSdp>(M, nullptr, instanceCheck, [](CSdp *) {});
}

ZVSDP_API CSdp *zvSdpObjConstructCopy(CSdp *source)
{
    ClassLock lock(M);
    return buildRecord<CSdp>(M, __func__, instanceCheck, [source](CSdp *s) {
        // A session copy keeps the source's rights; its media copies are read-write.
        s->rights = source->rights;
        appendMediaCopies(s, source);
    });
}

ZVSDP_API void zvSdpObjDeepCopy(CSdp *destination, CSdp *source)
{
    ClassLock lock(M);
    while (void *m = llist_getnext(destination->media, nullptr)) {
        llist_removeobject(destination->media, m);
        zvSdpMediaObjDestruct(static_cast<CMedia *>(m));
    }
    llist_release(destination->media);
    destination->media = nullptr;
    appendMediaCopies(destination, source);
}

ZV_LIST_OPERATIONS(CSdp, media, CMedia, zvSdpObjAddMedia, zvSdpObjGetMedia, zvSdpObjHasMedia, zvSdpObjRemoveMedia,
                   zvSdpMediaObjDestruct)
ZV_DESTRUCT(CSdp, zvSdpObjDestruct)
ZV_FIELD_GET(CSdp, uint32_t, rights, zvSdpObjGetAccessRights)

ZVSDP_API char *zvSdpObjToString(CSdp *objHndl, char *buffer, uint32_t *length)
{
    if (*length == 0)
        return buffer;
    ClassLock lock(M);
    ClassLock mediaLock(g_mediaModule);
    uint32_t size = *length;
    uint32_t remaining = size;
    char *position = buffer;
    for (void *m = llist_getnext(objHndl->media, nullptr); m; m = llist_getnext(objHndl->media, m)) {
        uint32_t written = remaining;
        zvSdpMediaObjToString(static_cast<CMedia *>(m), position, &written);
        remaining -= written;
        position += written;
        // A media that does not fit is cut one byte short of the room it
        // had, so this only guards against a media that over-reports.
        if (remaining == 0) {
            ZV_LOGC(M.log, "streamBuffer overflow!");
            break;
        }
    }
    *length = static_cast<uint32_t>(position - buffer);
    // The whole buffer ends up zero-filled past the text, as if it had been
    // cleared first; clearing only what the text left is the same in less.
    memset(position, 0, size - *length);
    return buffer;
}

ZVSDP_API void zvSdpObjSetAccessRights(CSdp *objHndl, uint32_t rights)
{
    ClassLock lock(M);
    objHndl->rights = rights;
    for (void *m = llist_getnext(objHndl->media, nullptr); m; m = llist_getnext(objHndl->media, m))
        zvSdpMediaObjSetAccessRights(static_cast<CMedia *>(m), rights);
}

}  // extern "C"

namespace zv {

uint32_t mediaCount(CSdp *session)
{
    ClassLock lock(M);
    return llist_count(session->media);
}

}  // namespace zv
