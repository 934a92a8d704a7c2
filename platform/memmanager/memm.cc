#include "memm.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

namespace {

constexpr uint32_t kGrowMin = 16;
// Blocks of all pools together. Pools grow by half their size, so even a pool
// grown from 16 to millions of records holds only a few dozen blocks.
constexpr uint32_t kMaxBlocks = 4096;

enum SlotState : uint16_t { kFree = 0, kLive = 1, kReleasing = 2 };

// Sits in front of every record; 8 bytes, so records keep 8-byte alignment.
// `state` changes with __atomic operations only: a free claims its record
// with one compare-and-swap before it takes any lock.
struct Header {
    uint32_t ordinal;  // the slot's position within its pool
    uint16_t pool;
    uint16_t state;
};
static_assert(sizeof(Header) == 8, "record header must keep records 8-byte aligned");

// Everything but `next` is fixed before the block is published; `next` and
// a pool's `blocks` are written once, with __atomic stores.
struct Block {
    Block *next;
    uint8_t *slots;
    uint32_t count;
    uint32_t slot;         // bytes per slot, a copy of the pool's
    uint32_t ordinalBase;  // ordinal of this block's first slot within the pool
    int pool;
};

struct Pool {
    int used;      // read without the table lock: __atomic only
    bool claimed;  // under g_tableLock: taken by a creation under way or done
    bool expandable;
    char name[32];
    uint32_t size;  // record bytes as asked
    uint32_t slot;  // header + record, rounded up
    memm_release_hook hook;
    pthread_mutex_t lock;
    Block *blocks;
    Block *lastBlock;
    void *freeList;  // free records, linked through their first word
    uint32_t inUse;
    uint32_t capacity;
    uint32_t growBy;
    uint32_t firstLiveHint;  // no live record has a lower ordinal
};

Pool g_pools[MEMM_MAX_POOLS];
pthread_mutex_t g_tableLock = PTHREAD_MUTEX_INITIALIZER;

// Every block ever made, sorted by address, so that any pointer can be
// placed by a binary search without touching memory that may not be ours.
// Changed under g_tableLock; readers take no lock but check g_dirVersion
// (odd while an insertion is under way) before and after their search and
// fall back to the lock when it moved. Blocks are never freed, so an entry
// read during an insertion still points at a block. Every access to the
// entries, the count and the version is __atomic.
Block *g_blockDir[kMaxBlocks];
uint32_t g_blockCount;
uint32_t g_dirVersion;

inline Header *headerOf(const void *record)
{
    return reinterpret_cast<Header *>(const_cast<uint8_t *>(static_cast<const uint8_t *>(record)) - sizeof(Header));
}

inline void *recordOf(uint8_t *slot)
{
    return slot + sizeof(Header);
}

Pool *poolAt(int handle)
{
    if (handle < 0 || handle >= MEMM_MAX_POOLS || !__atomic_load_n(&g_pools[handle].used, __ATOMIC_ACQUIRE))
        return nullptr;
    return &g_pools[handle];
}

inline uint16_t stateOf(const Header *h)
{
    return __atomic_load_n(&h->state, __ATOMIC_ACQUIRE);
}

inline void setState(Header *h, uint16_t state)
{
    __atomic_store_n(&h->state, state, __ATOMIC_RELEASE);
}

// The last block whose slots begin at or below `slot`, or NULL.
const Block *searchDirectory(uintptr_t slot)
{
    uint32_t low = 0, high = __atomic_load_n(&g_blockCount, __ATOMIC_ACQUIRE);
    while (low < high) {
        uint32_t mid = low + (high - low) / 2;
        const Block *b = __atomic_load_n(&g_blockDir[mid], __ATOMIC_ACQUIRE);
        if (reinterpret_cast<uintptr_t>(b->slots) <= slot)
            low = mid + 1;
        else
            high = mid;
    }
    return low ? __atomic_load_n(&g_blockDir[low - 1], __ATOMIC_ACQUIRE) : nullptr;
}

// The block that holds `record` exactly at a record position, or NULL. Reads
// only the directory, never the memory around `record`.
const Block *blockOf(const void *record, uint32_t *index)
{
    if (!record)
        return nullptr;
    uintptr_t p = reinterpret_cast<uintptr_t>(record);
    if (p < sizeof(Header))
        return nullptr;
    uintptr_t slot = p - sizeof(Header);
    uint32_t version = __atomic_load_n(&g_dirVersion, __ATOMIC_ACQUIRE);
    const Block *b = nullptr;
    if (version & 1u) {
        pthread_mutex_lock(&g_tableLock);
        b = searchDirectory(slot);
        pthread_mutex_unlock(&g_tableLock);
    } else {
        b = searchDirectory(slot);
        // The entry loads above are acquire loads, so this one follows them.
        if (__atomic_load_n(&g_dirVersion, __ATOMIC_RELAXED) != version) {
            pthread_mutex_lock(&g_tableLock);
            b = searchDirectory(slot);
            pthread_mutex_unlock(&g_tableLock);
        }
    }
    if (!b)
        return nullptr;
    uintptr_t begin = reinterpret_cast<uintptr_t>(b->slots);
    if (slot - begin >= static_cast<uintptr_t>(b->count) * b->slot)
        return nullptr;
    uintptr_t offset = slot - begin;
    if (offset % b->slot != 0)
        return nullptr;
    if (index)
        *index = static_cast<uint32_t>(offset / b->slot);
    return b;
}

// The block of `pool` that holds `record` exactly at a record position, or
// NULL. A pool has few blocks, so asking one pool is cheaper than placing
// the pointer among all of them. The chain only grows, and its links are
// __atomic, so no lock is needed.
const Block *blockOfPool(const Pool *pool, const void *record)
{
    uintptr_t p = reinterpret_cast<uintptr_t>(record);
    if (p < sizeof(Header))
        return nullptr;
    uintptr_t slot = p - sizeof(Header);
    for (const Block *b = __atomic_load_n(&pool->blocks, __ATOMIC_ACQUIRE); b;
         b = __atomic_load_n(&b->next, __ATOMIC_ACQUIRE)) {
        uintptr_t begin = reinterpret_cast<uintptr_t>(b->slots);
        if (slot < begin || slot - begin >= static_cast<uintptr_t>(b->count) * b->slot)
            continue;
        return (slot - begin) % b->slot == 0 ? b : nullptr;
    }
    return nullptr;
}

// Inserts `b` into the directory in address order; g_tableLock is held.
bool publishBlock(Block *b)
{
    uint32_t n = __atomic_load_n(&g_blockCount, __ATOMIC_RELAXED);
    if (n >= kMaxBlocks)
        return false;
    uint32_t version = __atomic_load_n(&g_dirVersion, __ATOMIC_RELAXED);
    __atomic_store_n(&g_dirVersion, version + 1, __ATOMIC_RELAXED);
    // Release stores: a reader that sees any of them sees the odd version.
    uint32_t i = n;
    for (; i > 0; --i) {
        Block *before = __atomic_load_n(&g_blockDir[i - 1], __ATOMIC_RELAXED);
        if (before->slots < b->slots)
            break;
        __atomic_store_n(&g_blockDir[i], before, __ATOMIC_RELEASE);
    }
    __atomic_store_n(&g_blockDir[i], b, __ATOMIC_RELEASE);
    __atomic_store_n(&g_blockCount, n + 1, __ATOMIC_RELEASE);
    __atomic_store_n(&g_dirVersion, version + 2, __ATOMIC_RELEASE);
    return true;
}

// Adds a block of `count` free slots; called with the pool lock held (or
// before the pool is published).
bool addBlock(Pool *pool, int handle, uint32_t count)
{
    if (__atomic_load_n(&g_blockCount, __ATOMIC_RELAXED) >= kMaxBlocks || pool->capacity + count < count)
        return false;
    Block *b = static_cast<Block *>(malloc(sizeof(Block)));
    if (!b)
        return false;
    b->slots = static_cast<uint8_t *>(calloc(count, pool->slot));
    if (!b->slots) {
        free(b);
        return false;
    }
    b->count = count;
    b->slot = pool->slot;
    b->next = nullptr;
    b->ordinalBase = pool->capacity;
    b->pool = handle;

    // The slots are threaded before the block is published: from then on a
    // lock-free memm_free may look at their headers.
    for (uint32_t i = count; i-- > 0;) {
        uint8_t *slot = b->slots + static_cast<size_t>(i) * pool->slot;
        Header *h = reinterpret_cast<Header *>(slot);
        h->ordinal = b->ordinalBase + i;
        h->pool = static_cast<uint16_t>(handle);
        h->state = kFree;
        *static_cast<void **>(recordOf(slot)) = i + 1 < count ? recordOf(slot + pool->slot) : pool->freeList;
    }
    pthread_mutex_lock(&g_tableLock);
    bool room = publishBlock(b);
    pthread_mutex_unlock(&g_tableLock);
    if (!room) {
        free(b->slots);
        free(b);
        return false;
    }

    // The lowest addresses are handed out first.
    pool->freeList = recordOf(b->slots);
    if (pool->lastBlock)
        __atomic_store_n(&pool->lastBlock->next, b, __ATOMIC_RELEASE);
    else
        __atomic_store_n(&pool->blocks, b, __ATOMIC_RELEASE);
    pool->lastBlock = b;
    pool->capacity += count;
    return true;
}

uint32_t nextGrowth(const Pool *pool)
{
    uint32_t half = pool->capacity / 2;
    return half > pool->growBy ? half : pool->growBy;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int memm_initpool3(const char *name, uint32_t count, uint32_t size,
                                                          uint32_t flags, memm_release_hook hook)
{
    (void)flags;
    if (count == 0 || size == 0 || size > (1u << 24))
        return MEMM_POOL_NONE;
    int handle = MEMM_POOL_NONE;
    pthread_mutex_lock(&g_tableLock);
    for (int i = 0; i < MEMM_MAX_POOLS; ++i) {
        if (!g_pools[i].claimed) {
            handle = i;
            g_pools[i].claimed = true;
            break;
        }
    }
    pthread_mutex_unlock(&g_tableLock);
    if (handle == MEMM_POOL_NONE)
        return MEMM_POOL_NONE;

    Pool *pool = &g_pools[handle];
    if (name)
        strncpy(pool->name, name, sizeof pool->name - 1);
    uint32_t record = size < sizeof(void *) ? static_cast<uint32_t>(sizeof(void *)) : size;
    pool->size = size;
    pool->slot = (static_cast<uint32_t>(sizeof(Header)) + record + 7u) & ~7u;
    pool->hook = hook;
    pool->expandable = true;
    pool->growBy = count < kGrowMin ? kGrowMin : count;
    pthread_mutex_init(&pool->lock, nullptr);
    bool ok = addBlock(pool, handle, count);

    pthread_mutex_lock(&g_tableLock);
    if (ok) {
        __atomic_store_n(&pool->used, 1, __ATOMIC_RELEASE);
    } else {
        pthread_mutex_destroy(&pool->lock);
        memset(pool, 0, sizeof *pool);
        handle = MEMM_POOL_NONE;
    }
    pthread_mutex_unlock(&g_tableLock);
    return handle;
}

__attribute__((visibility("default"))) int memm_disallow_expansion(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return -1;
    pthread_mutex_lock(&pool->lock);
    pool->expandable = false;
    pthread_mutex_unlock(&pool->lock);
    return 0;
}

__attribute__((visibility("default"))) void *memm_alloc(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return nullptr;
    pthread_mutex_lock(&pool->lock);
    if (!pool->freeList && (!pool->expandable || !addBlock(pool, handle, nextGrowth(pool)))) {
        pthread_mutex_unlock(&pool->lock);
        return nullptr;
    }
    void *record = pool->freeList;
    pool->freeList = *static_cast<void **>(record);
    Header *h = headerOf(record);
    setState(h, kLive);
    pool->inUse++;
    if (h->ordinal < pool->firstLiveHint)
        pool->firstLiveHint = h->ordinal;
    pthread_mutex_unlock(&pool->lock);
    memset(record, 0, pool->size);
    return record;
}

__attribute__((visibility("default"))) void memm_free(void *record)
{
    const Block *b = blockOf(record, nullptr);
    if (!b)
        return;
    Pool *pool = poolAt(b->pool);
    if (!pool)
        return;
    Header *h = headerOf(record);
    // Only one free of a live record wins this; the hook may then free
    // anything, this pool's records included.
    uint16_t expected = kLive;
    if (!__atomic_compare_exchange_n(&h->state, &expected, static_cast<uint16_t>(kReleasing), false,
                                     __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE))
        return;

    if (pool->hook)
        pool->hook(record, memm_free);

    memset(record, 0, pool->size);
    pthread_mutex_lock(&pool->lock);
    setState(h, kFree);
    *static_cast<void **>(record) = pool->freeList;
    pool->freeList = record;
    pool->inUse--;
    pthread_mutex_unlock(&pool->lock);
}

__attribute__((visibility("default"))) void *memm_getfirst(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return nullptr;
    void *found = nullptr;
    pthread_mutex_lock(&pool->lock);
    if (pool->inUse > 0) {
        for (Block *b = pool->blocks; b && !found; b = b->next) {
            if (b->ordinalBase + b->count <= pool->firstLiveHint)
                continue;
            uint32_t i = pool->firstLiveHint > b->ordinalBase ? pool->firstLiveHint - b->ordinalBase : 0;
            for (; i < b->count; ++i) {
                uint8_t *slot = b->slots + static_cast<size_t>(i) * pool->slot;
                if (stateOf(reinterpret_cast<Header *>(slot)) == kLive) {
                    found = recordOf(slot);
                    pool->firstLiveHint = b->ordinalBase + i;
                    break;
                }
            }
        }
    }
    if (!found)
        pool->firstLiveHint = pool->capacity;
    pthread_mutex_unlock(&pool->lock);
    return found;
}

__attribute__((visibility("default"))) int memm_get_stats(int handle, uint32_t *in_use, uint32_t *available,
                                                          uint32_t *capacity)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return -1;
    pthread_mutex_lock(&pool->lock);
    if (in_use)
        *in_use = pool->inUse;
    if (available)
        *available = pool->capacity - pool->inUse;
    if (capacity)
        *capacity = pool->capacity;
    pthread_mutex_unlock(&pool->lock);
    return 0;
}

__attribute__((visibility("default"))) int memm_isvalidobjfrompool(int handle, const void *record)
{
    Pool *pool = poolAt(handle);
    const Block *b = pool ? blockOfPool(pool, record) : nullptr;
    if (!b)
        return 0;
    // The answer is as old as the load, as it would be under the lock once
    // the lock is given back.
    return stateOf(headerOf(record)) == kLive;
}

__attribute__((visibility("default"))) int memm_instanceof(int handle, const void *record)
{
    Pool *pool = poolAt(handle);
    return pool && blockOfPool(pool, record) != nullptr;
}

__attribute__((visibility("default"))) const char *memm_poolname(int handle)
{
    Pool *pool = poolAt(handle);
    return pool ? pool->name : nullptr;
}

}  // extern "C"
