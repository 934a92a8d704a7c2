// The lock of one object class. Every object operation takes its class's
// lock, often while an enclosing operation of the same thread holds it
// already, and usually with no other thread in the way: so a repeated
// acquisition by the holder costs a compare and an increment, a free lock one
// compare-and-swap, and only a lock held elsewhere goes to the kernel (a
// futex wait on Linux, yielding elsewhere).
#pragma once

#include <stdint.h>

#include "lock_word.h"

namespace zv {

class ClassMutex {
public:
    // Static storage, ready before any constructor runs: the CSdp lock is
    // never created or destroyed explicitly.
    constexpr explicit ClassMutex(bool recursive) : recursive_(recursive) {}
    ClassMutex(const ClassMutex &) = delete;
    ClassMutex &operator=(const ClassMutex &) = delete;

    // A non-recursive lock taken again by its holder waits for ever, as a
    // default mutex does. 0, or an errno value (nothing is waited for).
    int lock()
    {
        uintptr_t self = selfTag();
        if (recursive_ && __atomic_load_n(&owner_, __ATOMIC_RELAXED) == self) {
            ++depth_;
            return 0;
        }
        annotatePreLock();
        if (!zvplatform::takeWord(&state_))
            lockContended();
        __atomic_store_n(&owner_, self, __ATOMIC_RELAXED);
        depth_ = 1;
        annotatePostLock();
        return 0;
    }

    // 0, or EPERM when the calling thread does not hold the lock.
    int unlock()
    {
        if (__atomic_load_n(&owner_, __ATOMIC_RELAXED) != selfTag())
            return notHeld();
        if (--depth_ != 0)
            return 0;
        annotatePreUnlock();
        __atomic_store_n(&owner_, uintptr_t{0}, __ATOMIC_RELAXED);
        if (zvplatform::giveWord(&state_))
            wake();
        annotatePostUnlock();
        return 0;
    }

    // Marks the lock as made (for ThreadSanitizer) and free; for the class
    // modules' starts, which make their recursive locks afresh.
    void reset();

private:
    // Any per-thread address tells threads apart, and this one costs no call.
    static uintptr_t selfTag() { return reinterpret_cast<uintptr_t>(&t_self); }
    static __thread char t_self __attribute__((tls_model("initial-exec")));

    void lockContended();
    void wake();
    int notHeld();

#if defined(__SANITIZE_THREAD__)
#define ZV_TSAN_MUTEX 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZV_TSAN_MUTEX 1
#endif
#endif
#ifdef ZV_TSAN_MUTEX
    void annotatePreLock();
    void annotatePostLock();
    void annotatePreUnlock();
    void annotatePostUnlock();
#else
    void annotatePreLock() {}
    void annotatePostLock() {}
    void annotatePreUnlock() {}
    void annotatePostUnlock() {}
#endif

    // A waiter spins reading the state, so the state has a cache line of its
    // own: the holder's count and tag, which it writes at every nested
    // acquisition, would otherwise be pulled away from it by each read.
    alignas(64) uint32_t state_ = 0;  // 0 free, 1 held, 2 held and somebody may wait
    alignas(64) uint32_t depth_ = 0;  // the holder's own count, read by the holder only
    uintptr_t owner_ = 0;             // selfTag() of the holder, 0 when free
    bool recursive_;
};

}  // namespace zv
