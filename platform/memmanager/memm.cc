#include "memm.h"

#include <pthread.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>

#include "lock_word.h"

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
// Accounting. Each cache counts, in words only its owner writes, the entries
// it ever took in and gave out and the stale ones among those given out;
// the pool counts, under its lock, the records claimed from caches that are
// not the claimer's own. Every move of a record into or out of the cached
// state changes exactly one of these counts, so their balance is the number
// of cached records, and since they only grow, two readings that agree were
// both true at the moment between them: that is how the counts are read as
// of one moment without stopping the owners.

namespace {

constexpr uint32_t kGrowMin = 16;
constexpr unsigned kChunkBits = 12;
constexpr uintptr_t kChunk = uintptr_t{1} << kChunkBits;
constexpr unsigned kLeafBits = 10;
constexpr uintptr_t kLeafSize = uintptr_t{1} << kLeafBits;
// Leaves of the map; each covers 4 MB of address space. On 32-bit targets
// the whole address space needs exactly this many, so no two keys collide.
constexpr uint32_t kRoots = 1024;
// Room for what one host cycle takes from a pool and gives back, so that a
// cycle in the steady state never goes to the pool's lock.
constexpr uint32_t kCacheSlots = 64;
// Blocks larger than this are refused, so offsets within a block fit 32 bits.
constexpr uint64_t kMaxBlockBytes = uint64_t{1} << 31;
// Records up to this size are cleared by inline stores, larger ones by memset.
constexpr uint32_t kInlineClear = 128;

// Record states. A new block's slots are zero, hence on the shared list.
enum : uint32_t { kShared = 0, kCached = 1, kLive = 2, kReleasing = 3 };

// Sits in front of every record; 8 bytes, so records keep 8-byte alignment.
struct Header {
    uint32_t state;    // __atomic only
    uint32_t ordinal;  // the slot's position within its pool; fixed
};
static_assert(sizeof(Header) == 8, "record header must keep records 8-byte aligned");

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
        if (!zvplatform::takeWord(&word_))
            zvplatform::takeWordContended(&word_);
#ifdef MEMM_TSAN
        __tsan_mutex_post_lock(this, __tsan_mutex_linker_init, 0);
#endif
    }

    void unlock()
    {
#ifdef MEMM_TSAN
        __tsan_mutex_pre_unlock(this, __tsan_mutex_linker_init);
#endif
        if (zvplatform::giveWord(&word_))
            zvplatform::wakeOne(&word_);
#ifdef MEMM_TSAN
        __tsan_mutex_post_unlock(this, __tsan_mutex_linker_init);
#endif
    }

private:
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

// Fixed once published; only `next` changes (from NULL, once). A free needs
// nothing but this record, which sits right after the block's slots.
struct Block {
    uintptr_t begin;   // first slot, on a chunk boundary
    uint32_t bytes;    // count * slot
    uint32_t slot;     // bytes per slot
    uint64_t divisor;  // ceil(2^64 / slot): (offset * divisor <= divisor - 1) <=> slot divides offset
    uint64_t limit;    // divisor - 1
    memm_release_hook hook;  // the pool's
    int pool;
    uint32_t count;
    uint32_t ordinalBase;
    Block *next;  // the pool's next block, __atomic
};

// One thread's free records of one pool: a stack of slots[0, in - out).
// Only the owner writes `in`, `out`, `skipped` and `slots`, with __atomic
// stores (others read them); the counts only grow (modulo 2^32). The slots
// come first, so that the hot paths index them without an offset.
struct Cache {
    void *slots[kCacheSlots];
    uint32_t in;       // entries ever put on the stack
    uint32_t out;      // entries ever taken off it
    uint32_t fill;     // bytes a record of the pool is cleared with; fixed
    uint32_t skipped;  // entries taken off whose record had been claimed elsewhere
};

struct ThreadState {
    Cache *caches[MEMM_MAX_POOLS];  // made on first use, __atomic; first, as the hot paths index it
    ThreadState *next;  // registry chain, __atomic; states are never unlinked
    bool taken;         // under g_threadLock
};

struct alignas(64) Pool {
    int used;  // __atomic
    uint32_t size;
    uint32_t slot;
    uint32_t batch;  // records a refill moves into a cache
    memm_release_hook hook;
    Block *blocks;  // __atomic

    // Under `lock`, apart from the name.
    alignas(64) SpinLock lock;
    char name[32];
    bool expandable;  // __atomic
    void *shared;  // free records, linked through their first word
    uint32_t sharedCount;
    uint32_t capacity;
    uint32_t growBy;
    uint32_t stolen;   // records claimed from caches other than the claimer's own
    uint32_t lowLive;  // no record that is off the shared list has a lower ordinal
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
// What a leaf holds for a chunk without a block: a block of no slots, so
// that a lookup need not test for it.
Block g_noBlock;

// Registry of per-thread states; a state of an ended thread is taken again
// by the next new thread, so threads that come and go do not add up.
ThreadState *g_threads;  // __atomic
SpinLock g_threadLock;
pthread_key_t g_threadKey;
// Made with the first pool, so before any thread can want a cache.
bool g_keyTried;  // under g_tableLock
bool g_haveKey;   // fixed before the first pool is published

// Stand for "no caches", so that the hot paths need no test of the thread's
// state: a thread starts at g_fresh (its state is made on its first slow
// path); threads whose state could not be made, and threads past their exit
// clean-up, stay at g_noCaches and go to the shared lists directly.
ThreadState g_fresh;
ThreadState g_noCaches;
__thread ThreadState *t_state __attribute__((tls_model("initial-exec"))) = &g_fresh;

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

inline void setState(void *record, uint32_t state)
{
    __atomic_store_n(&headerOf(record)->state, state, __ATOMIC_RELEASE);
}

inline bool claim(void *record, uint32_t from, uint32_t to)
{
    return __atomic_compare_exchange_n(&headerOf(record)->state, &from, to, false, __ATOMIC_ACQUIRE,
                                       __ATOMIC_RELAXED);
}

inline uint32_t load(const uint32_t &word)
{
    return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

Pool *poolAt(int handle)
{
    if (handle < 0 || handle >= MEMM_MAX_POOLS || !__atomic_load_n(&g_pools[handle].used, __ATOMIC_ACQUIRE))
        return nullptr;
    return &g_pools[handle];
}

// Clears `bytes` (a multiple of 8, at least 8) at `p` with a few stores of
// 16 bytes that may overlap, rather than a call to memset.
inline void *clear(void *record, uint32_t bytes)
{
    unsigned char *p = static_cast<unsigned char *>(record);
    if (__builtin_expect(bytes <= 64, 1)) {
        if (__builtin_expect(bytes >= 32, 1)) {
            __builtin_memset(p, 0, 32);
            __builtin_memset(p + bytes - 32, 0, 32);
        } else if (bytes >= 16) {
            __builtin_memset(p, 0, 16);
            __builtin_memset(p + bytes - 16, 0, 16);
        } else {
            __builtin_memset(p, 0, 8);
        }
        return record;
    }
    if (__builtin_expect(bytes > kInlineClear, 0))
        return memset(p, 0, bytes);
    __builtin_memset(p, 0, 64);
    __builtin_memset(p + bytes - 64, 0, 64);
    return record;
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

// `b` when `slot` begins one of its slots. Reads only the block record.
inline const Block *slotOf(const Block *b, uintptr_t slot)
{
    uintptr_t offset = slot - b->begin;  // below the block, it wraps round to beyond it
    if (offset >= b->bytes)
        return nullptr;
    return static_cast<uint64_t>(offset) * b->divisor <= b->limit ? b : nullptr;
}

__attribute__((noinline)) const Block *blockAtProbing(uintptr_t slot)
{
    uintptr_t chunk = slot >> kChunkBits;
    Block **leaf = leafOf(chunk >> kLeafBits);
    if (!leaf)
        return nullptr;
    return slotOf(__atomic_load_n(&leaf[chunk & (kLeafSize - 1)], __ATOMIC_ACQUIRE), slot);
}

// The block whose slot begins exactly at `slot`, or NULL. Reads only the map
// and the block records. The root a key hashes to almost always holds that
// key's leaf; a block found through a leaf of another key does not contain
// the slot, so the key is compared only when this first look fails (and
// `probe` is set then).
inline const Block *blockAtFirstLook(uintptr_t slot, bool *probe)
{
    uintptr_t chunk = slot >> kChunkBits;
    Block **leaf = __atomic_load_n(&g_roots[(chunk >> kLeafBits) & (kRoots - 1)].leaf, __ATOMIC_ACQUIRE);
    if (__builtin_expect(!leaf, 0))
        return nullptr;
    const Block *b = __atomic_load_n(&leaf[chunk & (kLeafSize - 1)], __ATOMIC_ACQUIRE);
    if (__builtin_expect(slotOf(b, slot) != nullptr, 1))
        return b;
    *probe = true;
    return nullptr;
}

inline const Block *blockAt(uintptr_t slot)
{
    bool probe = false;
    const Block *b = blockAtFirstLook(slot, &probe);
    return probe ? blockAtProbing(slot) : b;
}

// NULL wraps round to a slot address that no block holds.
inline const Block *blockOf(const void *record)
{
    return blockAt(reinterpret_cast<uintptr_t>(record) - sizeof(Header));
}

// A new leaf for `key`, or NULL when the map is full or memory is short;
// g_tableLock is held.
Block **newLeaf(uintptr_t key)
{
    for (uint32_t i = 0, at = static_cast<uint32_t>(key); i < kRoots; ++i, ++at) {
        Root &root = g_roots[at & (kRoots - 1)];
        if (__atomic_load_n(&root.leaf, __ATOMIC_RELAXED))
            continue;
        Block **leaf = static_cast<Block **>(malloc(kLeafSize * sizeof(Block *)));
        if (leaf) {
            for (uintptr_t k = 0; k < kLeafSize; ++k)
                leaf[k] = &g_noBlock;
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
    b->limit = b->divisor - 1;
    b->hook = pool->hook;
    b->pool = handle;
    b->count = count;
    b->ordinalBase = pool->capacity;
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

// Entries on a cache's stack. Read by another thread, `in` and `out` may be
// of different moments; the result is then capped at the stack's room.
inline uint32_t depth(const Cache *c)
{
    uint32_t n = __atomic_load_n(&c->in, __ATOMIC_ACQUIRE) - load(c->out);
    return n < kCacheSlots ? n : kCacheSlots;
}

inline void *entry(const Cache *c, uint32_t i)
{
    return __atomic_load_n(&c->slots[i], __ATOMIC_RELAXED);
}

// Puts a record the caller holds on its own cache, which has room. The count
// goes first: a record another thread can claim is always counted.
inline void push(Cache *c, uint32_t in, uint32_t out, void *record, uint32_t state)
{
    __atomic_store_n(&c->slots[in - out], record, __ATOMIC_RELAXED);
    __atomic_store_n(&c->in, in + 1, __ATOMIC_RELEASE);
    setState(record, state);
}

// Moves the cached records among the first `n` entries to the shared list
// and drops those entries; the owner holds the pool lock.
void flushCache(Pool *pool, Cache *c, uint32_t n)
{
    uint32_t in = load(c->in), out = load(c->out), top = in - out;
    uint32_t stale = 0;
    for (uint32_t i = 0; i < n; ++i) {
        void *p = entry(c, i);
        if (!claim(p, kCached, kShared)) {
            ++stale;
            continue;
        }
        *static_cast<void **>(p) = pool->shared;
        pool->shared = p;
        pool->sharedCount++;
    }
    for (uint32_t i = n; i < top; ++i)
        __atomic_store_n(&c->slots[i - n], entry(c, i), __ATOMIC_RELAXED);
    __atomic_store_n(&c->skipped, load(c->skipped) + stale, __ATOMIC_RELAXED);
    __atomic_store_n(&c->out, out + n, __ATOMIC_RELEASE);
}

// Runs when a thread ends: its cached records go back to the shared lists
// and its state to the next new thread (its counts go with the state).
void threadEnded(void *value)
{
    ThreadState *t = static_cast<ThreadState *>(value);
    for (int i = 0; i < MEMM_MAX_POOLS; ++i) {
        Cache *c = __atomic_load_n(&t->caches[i], __ATOMIC_RELAXED);
        if (!c)
            continue;
        Pool *pool = &g_pools[i];
        Guard g(pool->lock);
        flushCache(pool, c, load(c->in) - load(c->out));
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

// The calling thread's cache of `handle` (a published pool), made on first
// use; NULL when the thread can have none.
__attribute__((noinline)) Cache *makeCache(const Pool *pool, int handle)
{
    ThreadState *t = t_state;
    if (t == &g_fresh)
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
    c->fill = pool->slot - static_cast<uint32_t>(sizeof(Header));
    __atomic_store_n(&t->caches[handle], c, __ATOMIC_RELEASE);
    return c;
}

inline Cache *cacheOf(const Pool *pool, int handle)
{
    Cache *c = __atomic_load_n(&t_state->caches[handle], __ATOMIC_RELAXED);
    return __builtin_expect(c != nullptr, 1) ? c : makeCache(pool, handle);
}

// Records in the cached state, as of one moment; the pool lock is held, so
// only the owners' own pops and pushes can run meanwhile. Two readings of
// the grown-only counts that agree were both true between them.
uint32_t cachedRecords(const Pool *pool, int handle)
{
    uint32_t lastMoves = 0;
    for (int attempt = 0;; ++attempt) {
        uint32_t moves = 0, balance = 0;
        for (ThreadState *t = __atomic_load_n(&g_threads, __ATOMIC_ACQUIRE); t;
             t = __atomic_load_n(&t->next, __ATOMIC_ACQUIRE)) {
            const Cache *c = __atomic_load_n(&t->caches[handle], __ATOMIC_ACQUIRE);
            if (!c)
                continue;
            uint32_t in = __atomic_load_n(&c->in, __ATOMIC_SEQ_CST);
            uint32_t out = __atomic_load_n(&c->out, __ATOMIC_SEQ_CST);
            uint32_t skipped = __atomic_load_n(&c->skipped, __ATOMIC_SEQ_CST);
            moves += in + out + skipped;
            balance += in - out + skipped;
        }
        if (attempt > 0 && moves == lastMoves)
            return balance - pool->stolen;
        lastMoves = moves;
        if (attempt > 8)
            sched_yield();
    }
}

// A cached record of another thread, claimed; the pool lock is held. A few
// more of the same cache go to the thief's own cache, so that a thread that
// only takes what another only frees does not come here for each record
// (the thief's cache is empty: it comes here only once its own ran dry).
void *steal(Pool *pool, int handle, Cache *own)
{
    for (ThreadState *t = __atomic_load_n(&g_threads, __ATOMIC_ACQUIRE); t;
         t = __atomic_load_n(&t->next, __ATOMIC_ACQUIRE)) {
        Cache *c = __atomic_load_n(&t->caches[handle], __ATOMIC_ACQUIRE);
        if (!c || c == own)
            continue;
        void *found = nullptr;
        uint32_t moved = 0;
        for (uint32_t i = 0, top = depth(c); i < top && (!found || (own && moved < pool->batch)); ++i) {
            void *p = entry(c, i);
            if (!p || !claim(p, kCached, kLive))
                continue;
            pool->stolen++;
            if (!found) {
                found = p;
                continue;
            }
            push(own, load(own->in), load(own->out), p, kCached);
            ++moved;
        }
        if (found)
            return found;
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
        for (int round = 0;; ++round) {
            if (void *p = steal(pool, handle, c))
                return p;
            if (cachedRecords(pool, handle) == 0)
                break;
            // A record is counted but not claimable yet (or any more): its
            // owner is between the two steps of a push or a pop.
            if (round > 8)
                sched_yield();
        }
        if (!__atomic_load_n(&pool->expandable, __ATOMIC_RELAXED) || !addBlock(pool, handle, nextGrowth(pool)))
            return nullptr;
    }
    // Records leave the shared list only here, under the lock: the bound
    // memm_getfirst scans from is kept below every one of them.
    void *record = pool->shared;
    pool->shared = *static_cast<void **>(record);
    pool->sharedCount--;
    uint32_t low = headerOf(record)->ordinal;
    setState(record, kLive);
    if (c) {
        uint32_t in = load(c->in), out = load(c->out);
        for (uint32_t moved = 0; pool->shared && moved < pool->batch && in - out < kCacheSlots; ++moved) {
            void *p = pool->shared;
            pool->shared = *static_cast<void **>(p);
            pool->sharedCount--;
            if (headerOf(p)->ordinal < low)
                low = headerOf(p)->ordinal;
            push(c, in++, out, p, kCached);
        }
    }
    if (low < pool->lowLive)
        pool->lowLive = low;
    return record;
}

// A record claimed from the caller's own cache, stale entries skipped, or
// NULL when none is left.
void *popSkipping(Cache *c)
{
    uint32_t in = load(c->in), out = load(c->out), stale = 0;
    void *found = nullptr;
    for (; in != out; ++out) {
        void *p = entry(c, in - out - 1);
        if (claim(p, kCached, kLive)) {
            found = p;
            ++out;
            break;
        }
        ++stale;
    }
    if (stale)
        __atomic_store_n(&c->skipped, load(c->skipped) + stale, __ATOMIC_RELAXED);
    __atomic_store_n(&c->out, out, __ATOMIC_RELEASE);
    return found;
}

// The caller's cache is empty, missing or holds stale entries on top.
__attribute__((noinline)) void *allocSlow(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return nullptr;
    Cache *c = cacheOf(pool, handle);
    void *record = c ? popSkipping(c) : nullptr;
    if (!record && !(record = takeShared(pool, handle, c)))
        return nullptr;
    return clear(record, pool->slot - static_cast<uint32_t>(sizeof(Header)));
}

// The freed record is claimed (kReleasing) and its hook has run; the
// caller's cache is full or missing.
__attribute__((noinline)) void freeSlow(const Block *b, void *record)
{
    Pool *pool = &g_pools[b->pool];
    Cache *c = cacheOf(pool, b->pool);
    Guard g(pool->lock);
    if (c) {
        if (load(c->in) - load(c->out) == kCacheSlots)
            flushCache(pool, c, kCacheSlots / 2);
        push(c, load(c->in), load(c->out), record, kCached);
        return;
    }
    *static_cast<void **>(record) = pool->shared;
    pool->shared = record;
    pool->sharedCount++;
    setState(record, kShared);
}

// Puts a claimed record (kReleasing) on the caller's cache; false when the
// cache is full or missing.
inline bool pushOwn(int handle, void *record)
{
    Cache *c = __atomic_load_n(&t_state->caches[handle], __ATOMIC_RELAXED);
    if (__builtin_expect(c == nullptr, 0))
        return false;
    uint32_t in = load(c->in), out = load(c->out);
    if (__builtin_expect(in - out >= kCacheSlots, 0))
        return false;
    push(c, in, out, record, kCached);
    return true;
}

// The free of a record whose pool has a release hook. The hook may free
// anything, this pool's records included, and runs without any lock held.
__attribute__((noinline)) void freeHooked(const Block *b, void *record)
{
    b->hook(record, memm_free);
    if (__builtin_expect(!pushOwn(b->pool, record), 0))
        freeSlow(b, record);
}

// `record` begins a slot of `b`. Only one free of a live record gets past
// the claim.
inline void freeRecord(const Block *b, void *record)
{
    if (!claim(record, kLive, kReleasing))
        return;
    if (__builtin_expect(b->hook != nullptr, 0))
        freeHooked(b, record);
    else if (__builtin_expect(!pushOwn(b->pool, record), 0))
        freeSlow(b, record);
}

__attribute__((noinline)) void freeProbing(void *record)
{
    if (const Block *b = blockAtProbing(reinterpret_cast<uintptr_t>(record) - sizeof(Header)))
        freeRecord(b, record);
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
    if (__builtin_expect(static_cast<unsigned>(handle) < MEMM_MAX_POOLS, 1)) {
        Cache *c = __atomic_load_n(&t_state->caches[handle], __ATOMIC_RELAXED);
        if (__builtin_expect(c != nullptr, 1)) {
            uint32_t in = load(c->in), out = load(c->out);
            if (__builtin_expect(in != out, 1)) {
                void *record = entry(c, in - out - 1);
                if (__builtin_expect(claim(record, kCached, kLive), 1)) {
                    __atomic_store_n(&c->out, out + 1, __ATOMIC_RELEASE);
                    return clear(record, c->fill);
                }
            }
        }
    }
    return allocSlow(handle);
}

__attribute__((visibility("default"))) void memm_free(void *record)
{
    bool probe = false;
    const Block *b = blockAtFirstLook(reinterpret_cast<uintptr_t>(record) - sizeof(Header), &probe);
    if (__builtin_expect(b != nullptr, 1))
        freeRecord(b, record);
    else if (probe)
        freeProbing(record);
}

__attribute__((visibility("default"))) void *memm_getfirst(int handle)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return nullptr;
    // Under the lock, which every record leaving the shared list takes: the
    // bound moves up to the first record found off that list.
    Guard g(pool->lock);
    const uint32_t from = pool->lowLive;
    uint32_t low = UINT32_MAX;
    for (const Block *b = __atomic_load_n(&pool->blocks, __ATOMIC_ACQUIRE); b;
         b = __atomic_load_n(&b->next, __ATOMIC_ACQUIRE)) {
        if (b->ordinalBase + b->count <= from)
            continue;
        for (uint32_t i = from > b->ordinalBase ? from - b->ordinalBase : 0; i < b->count; ++i) {
            uintptr_t slot = b->begin + static_cast<uintptr_t>(i) * b->slot;
            uint32_t state = loadState(reinterpret_cast<Header *>(slot));
            if (state == kShared)
                continue;
            if (low == UINT32_MAX)
                low = b->ordinalBase + i;
            if (state == kLive) {
                pool->lowLive = low;
                return recordAt(slot);
            }
        }
    }
    pool->lowLive = low;
    return nullptr;
}

__attribute__((visibility("default"))) int memm_get_stats(int handle, uint32_t *in_use, uint32_t *available,
                                                          uint32_t *capacity)
{
    Pool *pool = poolAt(handle);
    if (!pool)
        return -1;
    Guard g(pool->lock);
    uint32_t spare = pool->sharedCount + cachedRecords(pool, handle);
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
