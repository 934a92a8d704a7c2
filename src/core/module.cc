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

void ClassModule::acquire()
{
    int rc = pthread_mutex_lock(&lock);
    if (rc != 0 && logsLockErrors) {
        char err[128];
        ZV_LOGE_AS(log, "varLock", "Error locking mutex: %s\n", errorText(strerror_r(rc, err, sizeof err), err));
    }
}

void ClassModule::release()
{
    int rc = pthread_mutex_unlock(&lock);
    if (rc != 0 && logsLockErrors) {
        char err[128];
        ZV_LOGE_AS(log, "varRelease", "Error unlocking mutex: %s\n",
                   errorText(strerror_r(rc, err, sizeof err), err));
    }
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
    if (recursive && lockReady) {
        pthread_mutex_destroy(&lock);
        lockReady = false;
    }
}

bool createRecursiveLock(ClassModule &m)
{
    pthread_mutexattr_t attr;
    if (pthread_mutexattr_init(&attr) != 0)
        return false;
    bool ok = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0 &&
              pthread_mutex_init(&m.lock, &attr) == 0;
    pthread_mutexattr_destroy(&attr);
    m.lockReady = ok;
    return ok;
}

bool isPooledInstance(const ClassModule &m, const void *object)
{
    return object && memm_isvalidobjfrompool(m.pool, object) && memm_instanceof(m.pool, object);
}

bool isSoundName(dynstr_t name)
{
    return name && dynstr_isdynstring(name) && dynstr_len(name) > 0;
}

}  // namespace zv
