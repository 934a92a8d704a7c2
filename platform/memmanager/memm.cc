#include "memm.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

namespace {

constexpr uint32_t kMagic = 0x4d454d4du;  // "MEMM"
constexpr uint32_t kGrowMin = 16;
// Blocks of all pools together. Pools grow by half their size, so even a pool
// grown from 16 to millions of records holds only a few dozen blocks.
constexpr uint32_t kMaxBlocks = 4096;

enum SlotState : uint16_t { kFree = 0, kLive = 1, kReleasing = 2 };

// Sits in front of every record; 8 bytes, so records keep 8-byte alignment.
struct Header {
    uint32_t magic;
    uint16_t pool;
    uint16_t state;
};
static_assert(sizeof(Header) == 8, "record header must keep records 8-byte aligned");

// Everything but `next` is fixed before the block is published.
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

// Every block ever made, so that any pointer can be placed without touching
// memory that may not be ours. Appended under g_tableLock; entries below
// g_blockCount never change and are read without a lock.
Block *g_blockDir[kMaxBlocks];
uint32_t g_blockCount;  // __atomic only

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
    uint32_t n = __atomic_load_n(&g_blockCount, __ATOMIC_ACQUIRE);
    for (uint32_t i = 0; i < n; ++i) {
        const Block *b = g_blockDir[i];
        uintptr_t begin = reinterpret_cast<uintptr_t>(b->slots);
        if (slot < begin || slot - begin >= static_cast<uintptr_t>(b->count) * b->slot)
            continue;
        uintptr_t offset = slot - begin;
        if (offset % b->slot != 0)
            return nullptr;
        if (index)
            *index = static_cast<uint32_t>(offset / b->slot);
        return b;
    }
    return nullptr;
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

    pthread_mutex_lock(&g_tableLock);
    uint32_t n = __atomic_load_n(&g_blockCount, __ATOMIC_RELAXED);
    bool room = n < kMaxBlocks;
    if (room) {
        g_blockDir[n] = b;
        __atomic_store_n(&g_blockCount, n + 1, __ATOMIC_RELEASE);
    }
    pthread_mutex_unlock(&g_tableLock);
    if (!room) {
        free(b->slots);
        free(b);
        return false;
    }

    // Thread the free list so that the lowest addresses are handed out first.
    for (uint32_t i = count; i-- > 0;) {
        uint8_t *slot = b->slots + static_cast<size_t>(i) * pool->slot;
        Header *h = reinterpret_cast<Header *>(slot);
        h->magic = kMagic;
        h->pool = static_cast<uint16_t>(handle);
        h->state = kFree;
        *static_cast<void **>(recordOf(slot)) = pool->freeList;
        pool->freeList = recordOf(slot);
    }
    if (pool->lastBlock)
        pool->lastBlock->next = b;
    else
        pool->blocks = b;
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
    headerOf(record)->state = kLive;
    pool->inUse++;
    uint32_t index = 0;
    const Block *b = blockOf(record, &index);
    if (b && b->ordinalBase + index < pool->firstLiveHint)
        pool->firstLiveHint = b->ordinalBase + index;
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
    pthread_mutex_lock(&pool->lock);
    if (h->state != kLive) {
        pthread_mutex_unlock(&pool->lock);
        return;
    }
    // From here on no other free of this record gets past the test above, so
    // the hook may free anything, this pool's records included.
    h->state = kReleasing;
    pthread_mutex_unlock(&pool->lock);

    if (pool->hook)
        pool->hook(record, memm_free);

    memset(record, 0, pool->size);
    pthread_mutex_lock(&pool->lock);
    h->state = kFree;
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
                if (reinterpret_cast<Header *>(slot)->state == kLive) {
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
    const Block *b = blockOf(record, nullptr);
    if (!pool || !b || b->pool != handle)
        return 0;
    pthread_mutex_lock(&pool->lock);
    int valid = headerOf(record)->state == kLive;
    pthread_mutex_unlock(&pool->lock);
    return valid;
}

__attribute__((visibility("default"))) int memm_instanceof(int handle, const void *record)
{
    const Block *b = blockOf(record, nullptr);
    return poolAt(handle) && b && b->pool == handle;
}

__attribute__((visibility("default"))) const char *memm_poolname(int handle)
{
    Pool *pool = poolAt(handle);
    return pool ? pool->name : nullptr;
}

}  // extern "C"
