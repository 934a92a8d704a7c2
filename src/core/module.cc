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

uint32_t ClassModule::start(uint32_t count, const ClassStart &how)
{
    if (initialised == 1)
        return 1;
    StartStep failedStep;
    if (recursive) {
        // A start makes the lock afresh: it cannot fail.
        lock.reset();
        lockReady = true;
    }
    if (zvPbxCommonGetGlobalDynstrPool(&dynstrPool) != 0) {
        failedStep = StartStep::kStringPool;
    } else if (how.listPool == ClassStart::kListPoolFirst && zvPbxCommonGetGlobalLinkedListPool(&listPool) != 0) {
        failedStep = StartStep::kListPool;
    } else {
        // Created once per process; a later start keeps it, whatever count
        // it is given.
        if (pool == MEMM_POOL_NONE)
            pool = memm_initpool3(how.poolName, count, how.recordSize, 0, how.hook);
        if (pool == MEMM_POOL_NONE) {
            failedStep = StartStep::kObjectPool;
        } else if (how.listPool == ClassStart::kListPoolLast && zvPbxCommonGetGlobalLinkedListPool(&listPool) != 0) {
            failedStep = StartStep::kListPool;
        } else {
            memm_disallow_expansion(pool);
            initialised = 1;
            return 1;
        }
    }
    how.failed(failedStep, count);
    cleanUp();
    return 0;
}

}  // namespace zv
