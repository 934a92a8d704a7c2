#include "class_mutex.h"

#include <errno.h>

#ifdef ZV_TSAN_MUTEX
#include <sanitizer/tsan_interface.h>
#endif

namespace zv {

__thread char ClassMutex::t_self;

void ClassMutex::lockContended()
{
    zvplatform::takeWordContended(&state_);
}

void ClassMutex::wake()
{
    zvplatform::wakeOne(&state_);
}

int ClassMutex::notHeld()
{
    return EPERM;
}

void ClassMutex::reset()
{
    __atomic_store_n(&owner_, uintptr_t{0}, __ATOMIC_RELAXED);
    depth_ = 0;
    __atomic_store_n(&state_, 0u, __ATOMIC_RELEASE);
#ifdef ZV_TSAN_MUTEX
    __tsan_mutex_create(this, recursive_ ? __tsan_mutex_write_reentrant : 0);
#endif
}

#ifdef ZV_TSAN_MUTEX
// ThreadSanitizer sees the class locks as the mutexes they are, so it checks
// lock order and the data the locks guard on the real lock.
void ClassMutex::annotatePreLock()
{
    __tsan_mutex_pre_lock(this, 0);
}

void ClassMutex::annotatePostLock()
{
    __tsan_mutex_post_lock(this, 0, 0);
}

void ClassMutex::annotatePreUnlock()
{
    __tsan_mutex_pre_unlock(this, 0);
}

void ClassMutex::annotatePostUnlock()
{
    __tsan_mutex_post_unlock(this, 0);
}
#endif

}  // namespace zv
