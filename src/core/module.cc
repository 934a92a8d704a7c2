#include <string.h>

#include "objects.h"

namespace zv {

namespace {
// strerror_r comes in a POSIX (int) and a GNU (char *) flavour.
[[maybe_unused]] inline const char *errorText(int rc, const char *buf) { return rc == 0 ? buf : "unknown error"; }
[[maybe_unused]] inline const char *errorText(const char *text, const char *) { return text; }
}  // namespace

uint32_t g_apiInitialised;
int g_apiDynstrPool = MEMM_POOL_NONE;

void ClassModule::lockFailed(bool unlocking, int rc)
{
    if (!logsLockErrors)
        return;
    char err[128];
    const char *text = errorText(strerror_r(rc, err, sizeof err), err);
    if (unlocking)
        ZV_LOGE_AS(log, "varRelease", "Error unlocking mutex: %s\n", text);
    else
        ZV_LOGE_AS(log, "varLock", "Error locking mutex: %s\n", text);
}

void ClassModule::freeAll()
{
    uint32_t inUse = 0;
    if (memm_get_stats(pool, &inUse, nullptr, nullptr) != 0 || inUse == 0)
        return;
    while (void *object = memm_getfirst(pool))
        memm_free(object);
}

void ClassModule::cleanUp()
{
    initialised = 0;
    freeAll();
    dynstrPool = MEMM_POOL_NONE;
    if (recursive && lockReady)
        lockReady = false;
}

bool createRecursiveLock(ClassModule &m)
{
    m.lock.reset();
    m.lockReady = true;
    return true;
}

}  // namespace zv
