#include "memm.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

namespace {

constexpr uint32_t kMagic = 0x4d454d4du;  // "MEMM"
constexpr uint32_t kGrowMin = 16;

enum SlotState : uint16_t { kFree = 0, kLive = 1, kReleasing = 2 };

// Sits in front of every record; 8 bytes, so records keep 8-byte alignment.
struct Header {
    uint32_t magic;
    uint16_t pool;
    uint16_t state;
};
static_assert(sizeof(Header) == 8, "record header must keep records 8-byte aligned");

struct Block {
    Block *next;
    uint8_t *slots;
    uint32_t count;
    uint32_t ordinalBase;  // ordinal of this block's first slot within the pool
};

struct Pool {
    bool used;
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
    if (handle < 0 || handle >= MEMM_MAX_POOLS || !g_pools[handle].used)
        return nullptr;
    return &g_pools[handle];
}

// The block of `pool` that holds `record` at a slot boundary, or NULL.
Block *blockHolding(const Pool *pool, const void *record, uint32_t *index)
{
    const uint8_t *slot = static_cast<const uint8_t *>(record) - sizeof(Header);
    for (Block *b = pool->blocks; b; b = b->next) {
        if (slot < b->slots || slot >= b->slots + static_cast<size_t>(b->count) * pool->slot)
            continue;
        size_t offset = static_cast<size_t>(slot - b->slots);
        if (offset % pool->slot != 0)
            return nullptr;
        if (index)
            *index = static_cast<uint32_t>(offset / pool->slot);
        return b;
    }
    return nullptr;
}

// Adds a block of `count` free slots; called with the pool lock held.
bool addBlock(Pool *pool, int handle, uint32_t count)
{
    Block *b = static_cast<Block *>(malloc(sizeof(Block)));
    if (!b)
        return false;
    b->slots = static_cast<uint8_t *>(calloc(count, pool->slot));
    if (!b->slots) {
        free(b);
        return false;
    }
    b->count = count;
    b->next = nullptr;
    b->ordinalBase = pool->capacity;
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

uint32_t ordinalOf(const Pool *pool, const void *record)
{
    uint32_t index = 0;
    Block *b = blockHolding(pool, record, &index);
    return b ? b->ordinalBase + index : 0;
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
        if (!g_pools[i].used) {
            handle = i;
            break;
        }
    }
    if (handle != MEMM_POOL_NONE) {
        Pool *pool = &g_pools[handle];
        memset(pool, 0, sizeof *pool);
        if (name) {
            strncpy(pool->name, name, sizeof pool->name - 1);
            pool->name[sizeof pool->name - 1] = '\0';
        }
        uint32_t record = size < sizeof(void *) ? static_cast<uint32_t>(sizeof(void *)) : size;
        pool->size = size;
        pool->slot = (static_cast<uint32_t>(sizeof(Header)) + record + 7u) & ~7u;
        pool->hook = hook;
        pool->expandable = true;
        pool->growBy = count < kGrowMin ? kGrowMin : count;
        pthread_mutex_init(&pool->lock, nullptr);
        if (addBlock(pool, handle, count)) {
            pool->used = true;
        } else {
            pthread_mutex_destroy(&pool->lock);
            handle = MEMM_POOL_NONE;
        }
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
    if (!pool->freeList && (!pool->expandable || !addBlock(pool, handle, pool->growBy))) {
        pthread_mutex_unlock(&pool->lock);
        return nullptr;
    }
    void *record = pool->freeList;
    pool->freeList = *static_cast<void **>(record);
    headerOf(record)->state = kLive;
    pool->inUse++;
    uint32_t ordinal = ordinalOf(pool, record);
    if (ordinal < pool->firstLiveHint)
        pool->firstLiveHint = ordinal;
    pthread_mutex_unlock(&pool->lock);
    memset(record, 0, pool->size);
    return record;
}

__attribute__((visibility("default"))) void memm_free(void *record)
{
    if (!record)
        return;
    Header *h = headerOf(record);
    if (h->magic != kMagic)
        return;
    Pool *pool = poolAt(h->pool);
    if (!pool)
        return;
    pthread_mutex_lock(&pool->lock);
    if (!blockHolding(pool, record, nullptr) || h->state != kLive) {
        pthread_mutex_unlock(&pool->lock);
        return;
    }
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
    if (!pool || !record)
        return 0;
    pthread_mutex_lock(&pool->lock);
    int valid = blockHolding(pool, record, nullptr) && headerOf(record)->state == kLive;
    pthread_mutex_unlock(&pool->lock);
    return valid;
}

__attribute__((visibility("default"))) int memm_instanceof(int handle, const void *record)
{
    Pool *pool = poolAt(handle);
    if (!pool || !record)
        return 0;
    pthread_mutex_lock(&pool->lock);
    int is = blockHolding(pool, record, nullptr) != nullptr;
    pthread_mutex_unlock(&pool->lock);
    return is;
}

__attribute__((visibility("default"))) const char *memm_poolname(int handle)
{
    Pool *pool = poolAt(handle);
    return pool ? pool->name : nullptr;
}

}  // extern "C"
