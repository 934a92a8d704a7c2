// The lock word behind the pool manager's locks and libzvsdp's class locks:
// 0 free, 1 held, 2 held and somebody may sleep on it. Header-only, so each
// library keeps its own copy of the code.
#pragma once

#include <stdint.h>

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>
#else
#include <sched.h>
#endif

namespace zvplatform {

inline void cpuRelax()
{
#if defined(__i386__) || defined(__x86_64__)
    __builtin_ia32_pause();
#else
    __asm__ __volatile__("" ::: "memory");
#endif
}

// Takes a free word: one compare-and-swap.
inline bool takeWord(uint32_t *word)
{
    uint32_t expected = 0;
    return __atomic_compare_exchange_n(word, &expected, 1u, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
}

// Takes a word another thread holds. Its holders keep it for a few hundred
// instructions at most, so a short spin usually sees it given back before a
// sleep would pay; then it sleeps on a futex (yields where there is none).
inline void takeWordContended(uint32_t *word)
{
    for (int i = 0; i < 100; ++i) {
        cpuRelax();
        if (__atomic_load_n(word, __ATOMIC_RELAXED) == 0 && takeWord(word))
            return;
    }
    // From here on the word says 2 whenever this thread may sleep, so the
    // holder's give knows to wake somebody.
    while (__atomic_exchange_n(word, 2u, __ATOMIC_ACQUIRE) != 0) {
#if defined(__linux__)
        // The kernel's FUTEX_WAIT_PRIVATE, spelled out: not every C library
        // ships the kernel headers that name it.
        syscall(SYS_futex, word, 128, 2u, nullptr, nullptr, 0);
#else
        sched_yield();
#endif
    }
}

// Gives the word back; true when a thread may sleep on it (wakeOne then).
inline bool giveWord(uint32_t *word)
{
    return __atomic_exchange_n(word, 0u, __ATOMIC_RELEASE) == 2u;
}

inline void wakeOne(uint32_t *word)
{
#if defined(__linux__)
    syscall(SYS_futex, word, 129, 1, nullptr, nullptr, 0);  // FUTEX_WAKE_PRIVATE
#else
    (void)word;
#endif
}

}  // namespace zvplatform
