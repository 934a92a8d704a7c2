#include "class_mutex.h"

#include <errno.h>
#include <sched.h>

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>
// The kernel's numbers, spelled out: not every C library ships the kernel
// headers that name them.
#define ZV_FUTEX_WAIT_PRIVATE 128
#define ZV_FUTEX_WAKE_PRIVATE 129
#endif

#ifdef ZV_TSAN_MUTEX
#include <sanitizer/tsan_interface.h>
#endif

namespace zv {

__thread char ClassMutex::t_self;

namespace {

// Object operations hold a class lock for a few hundred instructions at
// most, so a short spin usually sees it given back before a sleep would pay.
constexpr int kSpins = 100;

inline void cpuRelax()
{
#if defined(__i386__) || defined(__x86_64__)
    __builtin_ia32_pause();
#else
    __asm__ __volatile__("" ::: "memory");
#endif
}

}  // namespace

void ClassMutex::lockContended()
{
    for (int i = 0; i < kSpins; ++i) {
        cpuRelax();
        uint32_t expected = 0;
        if (__atomic_load_n(&state_, __ATOMIC_RELAXED) == 0 &&
            __atomic_compare_exchange_n(&state_, &expected, 1u, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
            return;
    }
    // From here on the state says 2 whenever this thread may sleep, so the
    // holder's unlock knows to wake somebody.
    while (__atomic_exchange_n(&state_, 2u, __ATOMIC_ACQUIRE) != 0) {
#if defined(__linux__)
        syscall(SYS_futex, &state_, ZV_FUTEX_WAIT_PRIVATE, 2u, nullptr, nullptr, 0);
#else
        sched_yield();
#endif
    }
}

void ClassMutex::wake()
{
#if defined(__linux__)
    syscall(SYS_futex, &state_, ZV_FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
#endif
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
