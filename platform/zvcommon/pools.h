// Internal: the process-wide pools behind libzvcommon.
#pragma once

#include <stdint.h>

#include "memm.h"

namespace zvcommon {

// Record sizes and release hooks of the string and list records.
uint32_t dynstrRecordSize();
int dynstrReleaseHook(void *record, memm_release_fn release);
uint32_t listRecordSize();
int listReleaseHook(void *record, memm_release_fn release);

// Set once, when every pool exists.
extern bool g_poolsReady;
extern int g_dynstrPool;
extern int g_listPool;
bool createPools();

// Creates the pools on first use; false when they cannot be created.
inline bool ensurePools()
{
    return __builtin_expect(__atomic_load_n(&g_poolsReady, __ATOMIC_ACQUIRE), 1) || createPools();
}

inline int dynstrPool()
{
    return ensurePools() ? g_dynstrPool : MEMM_POOL_NONE;
}

inline int listPool()
{
    return ensurePools() ? g_listPool : MEMM_POOL_NONE;
}

// The handles again, published only once every pool exists (kNotReady
// before, which equals no handle, MEMM_POOL_NONE included): whoever holds a
// pool handle got it after that, so the hot paths test a handle with one
// comparison and without making the pools.
constexpr int kNotReady = INT32_MIN;
extern int g_readyDynstrPool;  // __atomic
extern int g_readyListPool;    // __atomic

inline bool isDynstrPool(int pool)
{
    return pool == __atomic_load_n(&g_readyDynstrPool, __ATOMIC_RELAXED);
}

inline bool isListPool(int pool)
{
    return pool == __atomic_load_n(&g_readyListPool, __ATOMIC_RELAXED);
}

// Character storage of at least `bytes` bytes from the size-class pools,
// zero-filled, or NULL when it is larger than the largest class or memory
// is short.
char *charAlloc(uint32_t bytes);
// The usable size charAlloc gives for `bytes` (0: too large).
uint32_t charClassSize(uint32_t bytes);
void charFree(char *storage);
// True for live storage that charAlloc handed out.
bool isCharStorage(const char *storage);

}  // namespace zvcommon
