#include "memm.h"

#include <pthread.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>
// The kernel's numbers, spelled out: not every C library ships the kernel
// headers that name them.
#define MEMM_FUTEX_WAIT_PRIVATE 128
#define MEMM_FUTEX_WAKE_PRIVATE 129
#endif

#if defined(__SANITIZE_THREAD__)
#define MEMM_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define MEMM_TSAN 1
#endif
#endif
#ifdef MEMM_TSAN
#include <sanitizer/tsan_interface.h>
#endif

// How it is laid out, and why:
//
// Placement. Blocks of records start on kChunk boundaries, so every chunk of
// address space holds the start of at most one of them, and a two-level map
// from chunk number to block places any pointer with a few loads and no
// lock. The map only ever gains entries; the memory around a pointer is
// never read before the map has said it is a record slot.
//
// Free records. Each thread keeps a small cache of free records per pool, so
// that alloc and free in the steady state touch only that thread's cache and
// the record itself. A record's state word decides who owns it: a free claims
// a live record with one compare-and-swap (a double free loses it), and an
// alloc claims a cached record the same way, so a cache entry is only a
// hint. Other threads may claim the records of a cache: a thread that finds
// the pool's shared free list empty scans every cache under the pool lock,
// and reports the pool exhausted (or grows it) only once the counts below
// say that no record is cached anywhere, which keeps the exhaustion point of
// a closed pool exact. A cache can therefore hold stale entries (records
// that were claimed elsewhere); they are skipped.
//
// Accounting. Each cache counts the records it moved into and out of the
// cached state; a sequence number, odd while the owner changes the cache,
// lets memm_get_stats read all counts as of one moment without stopping the
// owners.

namespace {

constexpr uint32_t kGrowMin = 16;
constexpr unsigned kChunkBits = 12;
constexpr uintptr_t kChunk = uintptr_t{1} << kChunkBits;
constexpr unsigned kLeafBits = 10;
constexpr uintptr_t kLeafSize = uintptr_t{1} << kLeafBits;
// Leaves of the map; each covers 4 MB of address space. On 32-bit targets
// the whole address space needs exactly this many, so no two keys collide.
constexpr uint32_t kRoots = 1024;
constexpr uint32_t kCacheSlots = 32;
// Blocks larger than this are refused, so offsets within a block fit 32 bits.
constexpr uint64_t kMaxBlockBytes = uint64_t{1} << 31;

// Record states. A new block's slots are zero, hence on the shared list.
enum : uint32_t { kShared = 0, kCached = 1, kLive = 2, kReleasing = 3 };

// Sits in front of every record; 8 bytes, so records keep 8-byte alignment.
struct Header {
    uint32_t state;    // __atomic only
    uint32_t ordinal;  // the slot's position within its pool; fixed
};
static_assert(sizeof(Header) == 8, "record header must keep records 8-byte aligned");

inline void cpuRelax()
{
#if defined(__i386__) || defined(__x86_64__)
    __builtin_ia32_pause();
#else
    __asm__ __volatile__("" ::: "memory");
#endif
}

// Static storage only: zero is free, and nothing runs at load time.
// A pool's lock guards only the slow paths (the shared free list, growth,
// stealing and the counts), which hold it for a short while: spin briefly,
// then sleep on a futex (yield where there is none).
class SpinLock {
public:
    void lock()
    {
#ifdef MEMM_TSAN
        __tsan_mutex_pre_lock(this, __tsan_mutex_linker_init);
#endif
        uint32_t expected = 0;
        if (!__atomic_compare_exchange_n(&word_, &expected, 1u, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
            contended();
#ifdef MEMM_TSAN
        __tsan_mutex_post_lock(this, __tsan_mutex_linker_init, 0);
#endif
    }

    void unlock()
    {
#ifdef MEMM_TSAN
        __tsan_mutex_pre_unlock(this, __tsan_mutex_linker_init);
#endif
        if (__atomic_exchange_n(&word_, 0u, __ATOMIC_RELEASE) == 2u) {
#if defined(__linux__)
            syscall(SYS_futex, &word_, MEMM_FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
#endif
        }
#ifdef MEMM_TSAN
        __tsan_mutex_post_unlock(this, __tsan_mutex_linker_init);
#endif
    }

private:
    void contended()
    {
        for (int i = 0; i < 100; ++i) {
            cpuRelax();
            uint32_t expected = 0;
            if (__atomic_load_n(&word_, __ATOMIC_RELAXED) == 0 &&
                __atomic_compare_exchange_n(&word_, &expected, 1u, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
                return;
        }
        // 2 whenever a thread may sleep, so that the unlock wakes one.
        while (__atomic_exchange_n(&word_, 2u, __ATOMIC_ACQUIRE) != 0) {
#if defined(__linux__)
            syscall(SYS_futex, &word_, MEMM_FUTEX_WAIT_PRIVATE, 2u, nullptr, nullptr, 0);
#else
            sched_yield();
#endif
        }
    }

    uint32_t word_;  // 0 free, 1 held, 2 held with possible sleepers
};

class Guard {
public:
    explicit Guard(SpinLock &lock) : lock_(lock) { lock_.lock(); }
    ~Guard() { lock_.unlock(); }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;

private:
    SpinLock &lock_;
};

// Fixed once published; only `next` changes (from NULL, once).
struct Block {
    uintptr_t begin;   // first slot, on a chunk boundary
    uint32_t bytes;    // count * slot
    uint32_t slot;     // bytes per slot
    uint64_t divisor;  // ceil(2^64 / slot): (offset * divisor <= divisor - 1) <=> slot divides offset
    uint32_t count;
    uint32_t ordinalBase;
    int pool;
    Block *next;  // the pool's next block, __atomic
};

// One thread's free records of one pool. The owner changes `top`, `slots`
// and `delta` with __atomic stores (others read them); stealers never write
// here, they claim records through the records' states.
struct Cache {
    uint32_t seq;     // odd while the owner changes the cache outside the pool lock
    uint32_t top;     // entries in use: slots[0, top)
    intptr_t delta;   // records this cache moved into the cached state minus those it took out
    uint32_t seen;    // memm_get_stats' scratch, under the pool lock
    void *slots[kCacheSlots];
};

struct ThreadState {
    ThreadState *next;  // registry chain, __atomic; states are never unlinked
    bool taken;         // under g_threadLock
    Cache *caches[MEMM_MAX_POOLS];  // made on first use, __atomic
};

struct alignas(64) Pool {
    // Fixed before `used` is published, or changed seldom: read on every call.
    int used;  // __atomic
    uint32_t size;
    uint32_t slot;
    uint32_t batch;  // records a refill moves into a cache
    memm_release_hook hook;
    Block *blocks;     // __atomic
    uint32_t lowLive;  // __atomic: no live record has a lower ordinal

    // Under `lock`, apart from the name.
    alignas(64) SpinLock lock;
    char name[32];
    bool expandable;  // __atomic
    void *shared;  // free records, linked through their first word
    uint32_t sharedCount;
    uint32_t capacity;
    uint32_t growBy;
    intptr_t folded;  // `delta` of the caches of threads that have ended
    Block *lastBlock;
};

Pool g_pools[MEMM_MAX_POOLS];
bool g_claimed[MEMM_MAX_POOLS];  // under g_tableLock: a creation under way or done
SpinLock g_tableLock;            // the pool table and the map's writers

struct Root {
    uintptr_t key;  // written before `leaf` is published
    Block **leaf;   // kLeafSize entries, __atomic
};
Root g_roots[kRoots];

// Registry of per-thread states; a state of an ended thread is taken again
// by the next new thread, so threads that come and go do not add up.
ThreadState *g_threads;  // __atomic
SpinLock g_threadLock;
pthread_key_t g_threadKey;
// Made with the first pool, so before any thread can want a cache.
bool g_keyTried;  // under g_tableLock
bool g_haveKey;   // fixed before the first pool is published

// Stands for "no caches": threads whose state could not be made, and threads
// past their exit clean-up, go to the shared lists directly.
ThreadState g_noCaches;
__thread ThreadState *t_state __attribute__((tls_model("initial-exec")));

inline Header *headerOf(const void *record)
{
    return reinterpret_cast<Header *>(const_cast<uint8_t *>(static_cast<const uint8_t *>(record)) - sizeof(Header));
}

inline void *recordAt(uintptr_t slot)
{
    return reinterpret_cast<void *>(slot + sizeof(Header));
}

inline uint32_t loadState(const Header *h)
{
    return __atomic_load_n(&h->state, __ATOMIC_ACQUIRE);
}

inline bool claim(void *record, uint32_t from, uint32_t to)
{
    return __atomic_compare_exchange_n(&headerOf(record)->state, &from, to, false, __ATOMIC_ACQUIRE,
                                       __ATOMIC_RELAXED);
}

Pool *poolAt(int handle)
{
    if (handle < 0 || handle >= MEMM_MAX_POOLS || !__atomic_load_n(&g_pools[handle].used, __ATOMIC_ACQUIRE))
        return nullptr;
    return &g_pools[handle];
}

// ---- placement ---------------------------------------------------------------

Block **probeLeaf(uintptr_t key, uint32_t at)
{
    for (uint32_t i = 1; i < kRoots; ++i) {
        at = (at + 1) & (kRoots - 1);
        Block **leaf = __atomic_load_n(&g_roots[at].leaf, __ATOMIC_ACQUIRE);
        if (!leaf || g_roots[at].key == key)
            return leaf;
    }
    return nullptr;
}

// The leaf of `key`, or NULL. A key's first slot almost always holds it.
inline Block **leafOf(uintptr_t key)
{
    uint32_t at = static_cast<uint32_t>(key) & (kRoots - 1);
    Block **leaf = __atomic_load_n(&g_roots[at].leaf, __ATOMIC_ACQUIRE);
    if (__builtin_expect(!leaf || g_roots[at].key == key, 1))
        return leaf;
    return probeLeaf(key, at);
}

// The block whose slot begins exactly at `slot`, or NULL. Reads only the map
// and the block records.
inline const Block *blockAt(uintptr_t slot)
{
    uintptr_t chunk = slot >> kChunkBits;
    Block **leaf = leafOf(chunk >> kLeafBits);
    if (!leaf)
        return nullptr;
    const Block *b = __atomic_load_n(&leaf[chunk & (kLeafSize - 1)], __ATOMIC_ACQUIRE);
    if (!b)
        return nullptr;
    uintptr_t offset = slot - b->begin;  // the chunk's start lies in the block, so slot >= begin
    if (offset >= b->bytes)
        return nullptr;
    return static_cast<uint64_t>(offset) * b->divisor <= b->divisor - 1 ? b : nullptr;
}

inline const Block *blockOf(const void *record)
{
    uintptr_t p = reinterpret_cast<uintptr_t>(record);
    return p >= sizeof(Header) ? blockAt(p - sizeof(Header)) : nullptr;
}

// A new leaf for `key`, or NULL when the map is full or memory is short;
// g_tableLock is held.
Block **newLeaf(uintptr_t key)
{
    for (uint32_t i = 0, at = static_cast<uint32_t>(key); i < kRoots; ++i, ++at) {
        Root &root = g_roots[at & (kRoots - 1)];
        if (__atomic_load_n(&root.leaf, __ATOMIC_RELAXED))
            continue;
        Block **leaf = static_cast<Block **>(calloc(kLeafSize, sizeof(Block *)));
        if (leaf) {
            root.key = key;
            __atomic_store_n(&root.leaf, leaf, __ATOMIC_RELEASE);
        }
        return leaf;
    }
    return nullptr;
}

// Enters `b` for every chunk it covers; g_tableLock is held. false when the
// map is full or memory is short: the chunks entered so far keep the block,
// whose slots are then never handed out (and never given back).
bool enterBlock(Block *b)
{
    for (uintptr_t chunk = b->begin >> kChunkBits; chunk <= (b->begin + b->bytes - 1) >> kChunkBits; ++chunk) {
        Block **leaf = leafOf(chunk >> kLeafBits);
        if (!leaf && !(leaf = newLeaf(chunk >> kLeafBits)))
            return false;
        __atomic_store_n(&leaf[chunk & (kLeafSize - 1)], b, __ATOMIC_RELEASE);
    }
    return true;
}

// Adds a block of `count` free slots to the shared list; the pool lock is
// held (or the pool is not published yet).
bool addBlock(Pool *pool, int handle, uint32_t count)
{
    uint64_t bytes = static_cast<uint64_t>(count) * pool->slot;
    void *slots = nullptr;
    // The block's record follows its slots, outside the range the map places.
    if (bytes > kMaxBlockBytes || pool->capacity + count < count ||
        posix_memalign(&slots, kChunk, static_cast<size_t>(bytes) + sizeof(Block)) != 0)
        return false;
    memset(slots, 0, static_cast<size_t>(bytes));
    Block *b = reinterpret_cast<Block *>(static_cast<uint8_t *>(slots) + bytes);
    b->begin = reinterpret_cast<uintptr_t>(slots);
    b->bytes = static_cast<uint32_t>(bytes);
    b->slot = pool->slot;
    b->divisor = UINT64_MAX / pool->slot + 1;
    b->count = count;
    b->ordinalBase = pool->capacity;
    b->pool = handle;
    b->next = nullptr;

    // Threaded before the block is entered in the map: from then on a free
    // may look at the headers. The lowest addresses are handed out first.
    for (uint32_t i = count; i-- > 0;) {
        uintptr_t slot = b->begin + static_cast<uintptr_t>(i) * pool->slot;
        reinterpret_cast<Header *>(slot)->ordinal = b->ordinalBase + i;
        *static_cast<void **>(recordAt(slot)) = i + 1 < count ? recordAt(slot + pool->slot) : pool->shared;
    }
    bool entered;
    {
        Guard g(g_tableLock);
        entered = enterBlock(b);
    }
    if (!entered)
        return false;
    pool->shared = recordAt(b->begin);
    pool->sharedCount += count;
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

// ---- per-thread caches ---------------------------------------------------------

void flushCache(Pool *pool, Cache *c, uint32_t n);

// Runs when a thread ends: its cached records go back to the shared lists,
// its counts to the pools, and its state to the next new thread.
void threadEnded(void *value)
{
    ThreadState *t = static_cast<ThreadState *>(value);
    for (int i = 0; i < MEMM_MAX_POOLS; ++i) {
        Cache *c = __atomic_load_n(&t->caches[i], __ATOMIC_RELAXED);
        if (!c)
            continue;
        Pool *pool = &g_pools[i];
        Guard g(pool->lock);
        flushCache(pool, c, __atomic_load_n(&c->top, __ATOMIC_RELAXED));
        pool->folded += __atomic_load_n(&c->delta, __ATOMIC_RELAXED);
        __atomic_store_n(&c->delta, intptr_t{0}, __ATOMIC_RELAXED);
    }
    t_state = &g_noCaches;
    Guard g(g_threadLock);
    t->taken = false;
}

ThreadState *takeThreadState()
{
    if (!g_haveKey)
        return &g_noCaches;
    ThreadState *t = nullptr;
    {
        Guard g(g_threadLock);
        for (t = __atomic_load_n(&g_threads, __ATOMIC_ACQUIRE); t && t->taken; t = t->next) {
        }
        if (!t) {
            t = static_cast<ThreadState *>(calloc(1, sizeof(ThreadState)));
            if (!t)
                return &g_noCaches;
            t->next = __atomic_load_n(&g_threads, __ATOMIC_RELAXED);
            __atomic_store_n(&g_threads, t, __ATOMIC_RELEASE);
        }
        t->taken = true;
    }
    if (pthread_setspecific(g_threadKey, t) != 0) {
        Guard g(g_threadLock);
        t->taken = false;
        return &g_noCaches;
    }
    return t;
}

// The calling thread's cache of `handle`, made on first use; NULL when the
// thread can have none.
__attribute__((noinline)) Cache *makeCache(int handle)
{
    ThreadState *t = t_state;
    if (!t)
        t = t_state = takeThreadState();
    if (t == &g_noCaches)
        return nullptr;
    Cache *c = __atomic_load_n(&t->caches[handle], __ATOMIC_RELAXED);
    if (c)
        return c;
    void *memory = nullptr;
    if (posix_memalign(&memory, 64, (sizeof(Cache) + 63) & ~size_t{63}) != 0)
        return nullptr;
    c = static_cast<Cache *>(memset(memory, 0, sizeof(Cache)));
    __atomic_store_n(&t->caches[handle], c, __ATOMIC_RELEASE);
    return c;
}

inline Cache *cacheOf(int handle)
{
    ThreadState *t = t_state;
    Cache *c = t ? __atomic_load_n(&t->caches[handle], __ATOMIC_RELAXED) : nullptr;
    return __builtin_expect(c != nullptr, 1) ? c : makeCache(handle);
}

// A reader of the counts loads `seq`, then `delta`, then `seq` again (see
// cachedRecords): `delta` is stored with release, so a reader that sees a
// new `delta` also sees the odd `seq` stored before it.
inline uint32_t beginChange(Cache *c)
{
    uint32_t seq = __atomic_load_n(&c->seq, __ATOMIC_RELAXED);
    __atomic_store_n(&c->seq, seq + 1, __ATOMIC_RELAXED);
    return seq + 2;
}

inline void endChange(Cache *c, uint32_t seq)
{
    __atomic_store_n(&c->seq, seq, __ATOMIC_RELEASE);
}

inline void addDelta(Cache *c, intptr_t by)
{
    __atomic_store_n(&c->delta, __atomic_load_n(&c->delta, __ATOMIC_RELAXED) + by, __ATOMIC_RELEASE);
}

// A record claimed from the caller's own cache, or NULL.
inline void *popCached(Cache *c)
{
    uint32_t top = __atomic_load_n(&c->top, __ATOMIC_RELAXED);
    if (!top)
        return nullptr;
    uint32_t seq = beginChange(c);
    void *found = nullptr;
    do {
        void *p = __atomic_load_n(&c->slots[--top], __ATOMIC_RELAXED);
        if (claim(p, kCached, kLive)) {
            found = p;
            break;
        }
    } while (top);
    __atomic_store_n(&c->top, top, __ATOMIC_RELAXED);
    if (found)
        addDelta(c, -1);
    endChange(c, seq);
    return found;
}

// Puts a record (claimed by the caller) into its cache; false when it is full.
inline bool pushCached(Cache *c, void *record)
{
    uint32_t top = __atomic_load_n(&c->top, __ATOMIC_RELAXED);
    if (top == kCacheSlots)
        return false;
    uint32_t seq = beginChange(c);
    __atomic_store_n(&c->slots[top], record, __ATOMIC_RELAXED);
    __atomic_store_n(&c->top, top + 1, __ATOMIC_RELAXED);
    addDelta(c, 1);
    __atomic_store_n(&headerOf(record)->state, kCached, __ATOMIC_RELEASE);
    endChange(c, seq);
    return true;
}

// Moves the cached records among the first `n` entries to the shared list
// and drops those entries; the pool lock is held.
void flushCache(Pool *pool, Cache *c, uint32_t n)
{
    uint32_t top = __atomic_load_n(&c->top, __ATOMIC_RELAXED);
    intptr_t moved = 0;
    for (uint32_t i = 0; i < n; ++i) {
        void *p = __atomic_load_n(&c->slots[i], __ATOMIC_RELAXED);
        if (!claim(p, kCached, kShared))
            continue;
        *static_cast<void **>(p) = pool->shared;
        pool->shared = p;
        pool->sharedCount++;
        ++moved;
    }
    for (uint32_t i = n; i < top; ++i)
        __atomic_store_n(&c->slots[i - n], __atomic_load_n(&c->slots[i], __ATOMIC_RELAXED), __ATOMIC_RELAXED);
    __atomic_store_n(&c->top, top - n, __ATOMIC_RELAXED);
    addDelta(c, -moved);
}

intptr_t cachedRecords(const Pool *pool, int handle);

// A cached record of another thread, claimed; the pool lock is held. A few
// more of the same cache go to the thief's own cache, so that a thread that
// only takes what another only frees does not come here for each record.
void *steal(const Pool *pool, int handle, Cache *own)
{
    for (ThreadState *t = __atomic_load_n(&g_threads, __ATOMIC_ACQUIRE); t;
         t = __atomic_load_n(&t->next, __ATOMIC_ACQUIRE)) {
        Cache *c = __atomic_load_n(&t->caches[handle], __ATOMIC_ACQUIRE);
        if (!c || c == own)
            continue;
        uint32_t top = __atomic_load_n(&c->top, __ATOMIC_ACQUIRE);
        void *found = nullptr;
        uint32_t ownTop = own ? __atomic_load_n(&own->top, __ATOMIC_RELAXED) : kCacheSlots;
        uint32_t moved = 0;
        for (uint32_t i = 0; i < top && i < kCacheSlots && (!found || (moved < pool->batch && ownTop < kCacheSlots));
             ++i) {
            void *p = __atomic_load_n(&c->slots[i], __ATOMIC_RELAXED);
            if (!p || !claim(p, kCached, kLive))
                continue;
            if (!found) {
                found = p;
                continue;
            }
            __atomic_store_n(&own->slots[ownTop++], p, __ATOMIC_RELAXED);
            __atomic_store_n(&headerOf(p)->state, kCached, __ATOMIC_RELEASE);
            ++moved;
        }
        if (found) {
            if (moved)
                __atomic_store_n(&own->top, ownTop, __ATOMIC_RELEASE);
            return found;
        }
    }
    return nullptr;
}

// The shared list, then the other threads' caches, then growth. Refills the
// caller's cache from the shared list on the way.
void *takeShared(Pool *pool, int handle, Cache *c)
{
    Guard g(pool->lock);
    if (!pool->shared) {
        // A scan that finds nothing may have crossed owners moving their
        // records about; only a count that finds no cached record at all
        // proves the pool full.
        do {
            void *p = steal(pool, handle, c);
            if (p) {
                if (c)
                    addDelta(c, -1);
                else
                    pool->folded--;
                return p;
            }
        } while (cachedRecords(pool, handle) > 0);
        if (!__atomic_load_n(&pool->expandable, __ATOMIC_RELAXED) || !addBlock(pool, handle, nextGrowth(pool)))
            return nullptr;
    }
    void *record = pool->shared;
    pool->shared = *static_cast<void **>(record);
    pool->sharedCount--;
    __atomic_store_n(&headerOf(record)->state, kLive, __ATOMIC_RELAXED);
    if (c) {
        uint32_t top = __atomic_load_n(&c->top, __ATOMIC_RELAXED);
        intptr_t moved = 0;
        while (pool->shared && moved < static_cast<intptr_t>(pool->batch) && top < kCacheSlots) {
            void *p = pool->shared;
            pool->shared = *static_cast<void **>(p);
            pool->sharedCount--;
            __atomic_store_n(&c->slots[top++], p, __ATOMIC_RELAXED);
            __atomic_store_n(&headerOf(p)->state, kCached, __ATOMIC_RELEASE);
            ++moved;
        }
        __atomic_store_n(&c->top, top, __ATOMIC_RELEASE);
        addDelta(c, moved);
    }
    return record;
}

void lowerLive(Pool *pool, uint32_t ordinal);

// Readies a claimed record for its caller.
inline void *handOut(Pool *pool, void *record)
{
    uint32_t ordinal = headerOf(record)->ordinal;
    if (__builtin_expect(ordinal < __atomic_load_n(&pool->lowLive, __ATOMIC_RELAXED), 0))
        lowerLive(pool, ordinal);
    return memset(record, 0, pool->size);
}

// The caller's cache, if it has one, is empty.
__attribute__((noinline)) void *allocSlow(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return nullptr;
    void *record = takeShared(pool, handle, cacheOf(handle));
    return record ? handOut(pool, record) : nullptr;
}

__attribute__((noinline)) void freeSlow(Pool *pool, int handle, void *record)
{
    Cache *c = cacheOf(handle);
    if (c && __atomic_load_n(&c->top, __ATOMIC_RELAXED) == kCacheSlots) {
        Guard g(pool->lock);
        flushCache(pool, c, kCacheSlots / 2);
    }
    if (c && pushCached(c, record))
        return;
    Guard g(pool->lock);
    *static_cast<void **>(record) = pool->shared;
    pool->shared = record;
    pool->sharedCount++;
    __atomic_store_n(&headerOf(record)->state, kShared, __ATOMIC_RELEASE);
}

void lowerLive(Pool *pool, uint32_t ordinal)
{
    uint32_t low = __atomic_load_n(&pool->lowLive, __ATOMIC_RELAXED);
    while (ordinal < low &&
           !__atomic_compare_exchange_n(&pool->lowLive, &low, ordinal, true, __ATOMIC_RELAXED, __ATOMIC_RELAXED)) {
    }
}

// Records in the cached state, as of one moment; the pool lock is held, so
// only the owners' own pops and pushes can run meanwhile.
intptr_t cachedRecords(const Pool *pool, int handle)
{
    for (int attempt = 0;; ++attempt) {
        if (attempt > 8)
            sched_yield();
        intptr_t sum = pool->folded;
        bool settled = true;
        for (ThreadState *t = __atomic_load_n(&g_threads, __ATOMIC_ACQUIRE); t && settled;
             t = __atomic_load_n(&t->next, __ATOMIC_ACQUIRE)) {
            Cache *c = __atomic_load_n(&t->caches[handle], __ATOMIC_ACQUIRE);
            if (!c)
                continue;
            c->seen = __atomic_load_n(&c->seq, __ATOMIC_ACQUIRE);
            settled = (c->seen & 1u) == 0;
            sum += __atomic_load_n(&c->delta, __ATOMIC_ACQUIRE);
        }
        for (ThreadState *t = __atomic_load_n(&g_threads, __ATOMIC_ACQUIRE); t && settled;
             t = __atomic_load_n(&t->next, __ATOMIC_ACQUIRE)) {
            Cache *c = __atomic_load_n(&t->caches[handle], __ATOMIC_ACQUIRE);
            settled = !c || __atomic_load_n(&c->seq, __ATOMIC_RELAXED) == c->seen;
        }
        if (settled)
            return sum;
    }
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
    {
        Guard g(g_tableLock);
        if (!g_keyTried) {
            g_keyTried = true;
            g_haveKey = pthread_key_create(&g_threadKey, threadEnded) == 0;
        }
        for (int i = 0; i < MEMM_MAX_POOLS && handle == MEMM_POOL_NONE; ++i)
            if (!g_claimed[i])
                g_claimed[handle = i] = true;
    }
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
    // A refill takes a sixteenth of the pool at most, so that in a small
    // pool one thread's cache leaves the others something to find first.
    pool->batch = count / 16 < 1 ? 1 : (count / 16 > kCacheSlots / 2 ? kCacheSlots / 2 : count / 16);
    pool->lowLive = UINT32_MAX;
    bool ok = addBlock(pool, handle, count);

    Guard g(g_tableLock);
    if (ok) {
        __atomic_store_n(&pool->used, 1, __ATOMIC_RELEASE);
    } else {
        memset(static_cast<void *>(pool), 0, sizeof *pool);
        g_claimed[handle] = false;
        handle = MEMM_POOL_NONE;
    }
    return handle;
}

__attribute__((visibility("default"))) int memm_disallow_expansion(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return -1;
    __atomic_store_n(&pool->expandable, false, __ATOMIC_RELAXED);
    return 0;
}

__attribute__((visibility("default"))) void *memm_alloc(int handle)
{
    // A thread has a cache of a pool only once the pool is published.
    ThreadState *t = t_state;
    if (__builtin_expect(t && static_cast<unsigned>(handle) < MEMM_MAX_POOLS, 1)) {
        Cache *c = __atomic_load_n(&t->caches[handle], __ATOMIC_RELAXED);
        if (__builtin_expect(c != nullptr, 1)) {
            void *record = popCached(c);
            if (__builtin_expect(record != nullptr, 1))
                return handOut(&g_pools[handle], record);
        }
    }
    return allocSlow(handle);
}

__attribute__((visibility("default"))) void memm_free(void *record)
{
    const Block *b = blockOf(record);
    if (!b || !claim(record, kLive, kReleasing))
        return;
    // Only one free of a live record gets here; the hook may free anything,
    // this pool's records included.
    int handle = b->pool;
    Pool *pool = &g_pools[handle];
    if (pool->hook)
        pool->hook(record, memm_free);
    ThreadState *t = t_state;
    Cache *c = t ? __atomic_load_n(&t->caches[handle], __ATOMIC_RELAXED) : nullptr;
    if (__builtin_expect(!c || !pushCached(c, record), 0))
        freeSlow(pool, handle, record);
}

__attribute__((visibility("default"))) void *memm_getfirst(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return nullptr;
    // Under the lock, so that two scans do not undo each other's bound.
    Guard g(pool->lock);
    uint32_t from = __atomic_load_n(&pool->lowLive, __ATOMIC_ACQUIRE);
    for (const Block *b = __atomic_load_n(&pool->blocks, __ATOMIC_ACQUIRE); b;
         b = __atomic_load_n(&b->next, __ATOMIC_ACQUIRE)) {
        if (b->ordinalBase + b->count <= from)
            continue;
        for (uint32_t i = from > b->ordinalBase ? from - b->ordinalBase : 0; i < b->count; ++i) {
            uintptr_t slot = b->begin + static_cast<uintptr_t>(i) * b->slot;
            if (loadState(reinterpret_cast<Header *>(slot)) == kLive) {
                // An alloc that lowered the bound meanwhile keeps its value.
                __atomic_compare_exchange_n(&pool->lowLive, &from, b->ordinalBase + i, false, __ATOMIC_RELAXED,
                                            __ATOMIC_RELAXED);
                return recordAt(slot);
            }
        }
    }
    __atomic_compare_exchange_n(&pool->lowLive, &from, UINT32_MAX, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
    return nullptr;
}

__attribute__((visibility("default"))) int memm_get_stats(int handle, uint32_t *in_use, uint32_t *available,
                                                          uint32_t *capacity)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return -1;
    Guard g(pool->lock);
    uint32_t spare = pool->sharedCount + static_cast<uint32_t>(cachedRecords(pool, handle));
    if (in_use)
        *in_use = pool->capacity - spare;
    if (available)
        *available = spare;
    if (capacity)
        *capacity = pool->capacity;
    return 0;
}

__attribute__((visibility("default"))) int memm_isvalidobjfrompool(int handle, const void *record)
{
    const Block *b = blockOf(record);
    // A pool still being made has no live record. The answer is as old as
    // the load, as it would be under a lock once the lock is given back.
    return b && b->pool == handle && loadState(headerOf(record)) == kLive;
}

__attribute__((visibility("default"))) int memm_instanceof(int handle, const void *record)
{
    const Block *b = blockOf(record);
    return b && b->pool == handle && poolAt(handle);
}

__attribute__((visibility("default"))) const char *memm_poolname(int handle)
{
    Pool *pool = poolAt(handle);
    return pool ? pool->name : nullptr;
}

}  // extern "C"
