#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <vector>

#include "memm.h"
#include "zvcommon.h"

namespace {

struct Stats {
    uint32_t inUse = 0, available = 0, capacity = 0;
};

Stats statsOf(int pool)
{
    Stats s;
    EXPECT_EQ(0, memm_get_stats(pool, &s.inUse, &s.available, &s.capacity));
    return s;
}

bool allZero(const void *p, size_t n)
{
    const unsigned char *c = static_cast<const unsigned char *>(p);
    for (size_t i = 0; i < n; ++i)
        if (c[i])
            return false;
    return true;
}

// Records of the hook tests: an id, the hook's log, and owned handles.
struct Owner {
    int id;
    std::vector<int> *log;
    dynstr_t text;
    llist_t list;
    Owner *sibling;  // a record of the same pool, freed by the hook
};

int ownerHook(void *record, memm_release_fn release)
{
    Owner *o = static_cast<Owner *>(record);
    if (o->log)
        o->log->push_back(o->id);
    EXPECT_EQ(release, &memm_free);
    release(o->text);
    release(o->list);
    release(o->sibling);
    return 0;
}

int countingHook(void *record, memm_release_fn)
{
    ++*static_cast<Owner *>(record)->log->data();
    return 0;
}

TEST(MemmPool, ClosedPoolRefusesWhenFullAndNeverGrows)
{
    int pool = memm_initpool3("closed", 4, 24, 0, nullptr);
    ASSERT_NE(MEMM_POOL_NONE, pool);
    ASSERT_EQ(0, memm_disallow_expansion(pool));

    std::set<void *> got;
    for (int i = 0; i < 4; ++i) {
        void *p = memm_alloc(pool);
        ASSERT_NE(nullptr, p);
        got.insert(p);
    }
    EXPECT_EQ(4u, got.size());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(nullptr, memm_alloc(pool));
    Stats s = statsOf(pool);
    EXPECT_EQ(4u, s.inUse);
    EXPECT_EQ(0u, s.available);
    EXPECT_EQ(4u, s.capacity);

    // A freed record is what the next allocation reuses.
    void *back = *got.begin();
    memm_free(back);
    EXPECT_EQ(back, memm_alloc(pool));
    EXPECT_EQ(nullptr, memm_alloc(pool));
    EXPECT_EQ(4u, statsOf(pool).capacity);
}

TEST(MemmPool, OpenPoolGrowsThenHoldsItsSizeOnceClosed)
{
    int pool = memm_initpool3("open", 2, 40, 0, nullptr);
    ASSERT_NE(MEMM_POOL_NONE, pool);
    std::set<void *> got;
    for (int i = 0; i < 1000; ++i) {
        void *p = memm_alloc(pool);
        ASSERT_NE(nullptr, p) << i;
        memset(p, 0xA5, 40);  // overlapping records would clobber each other's neighbours
        got.insert(p);
    }
    EXPECT_EQ(1000u, got.size());
    Stats s = statsOf(pool);
    EXPECT_EQ(1000u, s.inUse);
    EXPECT_GE(s.capacity, 1000u);
    EXPECT_EQ(s.capacity - 1000u, s.available);

    memm_disallow_expansion(pool);
    while (memm_alloc(pool)) {
    }
    EXPECT_EQ(s.capacity, statsOf(pool).capacity);
    EXPECT_EQ(0u, statsOf(pool).available);
}

TEST(MemmPool, RecordsAreZeroFilledIncludingAfterReuse)
{
    for (uint32_t size : {1u, 3u, 8u, 13u, 100u}) {
        int pool = memm_initpool3("zero", 2, size, 0, nullptr);
        ASSERT_NE(MEMM_POOL_NONE, pool);
        for (int round = 0; round < 3; ++round) {
            void *a = memm_alloc(pool);
            void *b = memm_alloc(pool);
            ASSERT_TRUE(a && b);
            EXPECT_TRUE(allZero(a, size)) << size;
            EXPECT_TRUE(allZero(b, size)) << size;
            EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(a) % 8);
            memset(a, 0xFF, size);
            memset(b, 0xFF, size);
            memm_free(b);
            memm_free(a);
        }
    }
}

TEST(MemmPool, RefusesBadArguments)
{
    EXPECT_EQ(MEMM_POOL_NONE, memm_initpool3("x", 0, 8, 0, nullptr));
    EXPECT_EQ(MEMM_POOL_NONE, memm_initpool3("x", 8, 0, 0, nullptr));
    for (int bad : {-1, MEMM_MAX_POOLS, 12345}) {
        EXPECT_EQ(nullptr, memm_alloc(bad));
        EXPECT_EQ(-1, memm_disallow_expansion(bad));
        EXPECT_EQ(-1, memm_get_stats(bad, nullptr, nullptr, nullptr));
        EXPECT_EQ(nullptr, memm_getfirst(bad));
        EXPECT_EQ(nullptr, memm_poolname(bad));
    }
    int pool = memm_initpool3(nullptr, 1, 8, 0, nullptr);
    ASSERT_NE(MEMM_POOL_NONE, pool);
    EXPECT_STREQ("", memm_poolname(pool));
    EXPECT_EQ(0, memm_get_stats(pool, nullptr, nullptr, nullptr));
}

TEST(MemmPool, TableHoldsAFixedNumberOfPoolsWithTheirNames)
{
    std::vector<int> pools;
    int p;
    while ((p = memm_initpool3("a-rather-long-pool-name-beyond-31-characters", 1, 8, 0, nullptr)) != MEMM_POOL_NONE)
        pools.push_back(p);
    EXPECT_EQ(static_cast<size_t>(MEMM_MAX_POOLS), pools.size());
    EXPECT_EQ(std::set<int>(pools.begin(), pools.end()).size(), pools.size());
    EXPECT_STREQ("a-rather-long-pool-name-beyond-", memm_poolname(pools.back()));
}

TEST(MemmRelease, HookSeesTheRecordAndFreesWhatItOwns)
{
    int strings = -1, lists = -1;
    ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
    int pool = memm_initpool3("owners", 4, sizeof(Owner), 0, ownerHook);
    ASSERT_NE(MEMM_POOL_NONE, pool);
    Stats strings0 = statsOf(strings), lists0 = statsOf(lists);

    std::vector<int> log;
    Owner *o = static_cast<Owner *>(memm_alloc(pool));
    ASSERT_NE(nullptr, o);
    o->id = 7;
    o->log = &log;
    o->text = dynstr_fromstr(strings, "owned");
    ASSERT_EQ(0, llist_addobject(&o->list, dynstr_fromstr(strings, "in a list"), lists));
    // A sibling of the same pool, freed from inside the hook: the pool must not
    // be locked while its hook runs.
    o->sibling = static_cast<Owner *>(memm_alloc(pool));
    ASSERT_NE(nullptr, o->sibling);
    o->sibling->id = 8;
    o->sibling->log = &log;

    memm_free(o);
    EXPECT_EQ((std::vector<int>{7, 8}), log);
    EXPECT_EQ(0u, statsOf(pool).inUse);
    EXPECT_EQ(strings0.inUse, statsOf(strings).inUse);
    EXPECT_EQ(lists0.inUse, statsOf(lists).inUse);
}

TEST(MemmRelease, DoubleAndForeignFreesAreIgnored)
{
    std::vector<int> calls{0};
    int pool = memm_initpool3("twice", 3, sizeof(Owner), 0, countingHook);
    ASSERT_NE(MEMM_POOL_NONE, pool);
    memm_disallow_expansion(pool);
    Owner *a = static_cast<Owner *>(memm_alloc(pool));
    ASSERT_NE(nullptr, a);
    a->log = &calls;
    memm_free(a);
    memm_free(a);
    EXPECT_EQ(1, calls[0]);
    EXPECT_EQ(0u, statsOf(pool).inUse);

    // A record pushed twice on the free list would come out twice.
    std::set<void *> got;
    for (int i = 0; i < 3; ++i)
        got.insert(memm_alloc(pool));
    EXPECT_EQ(3u, got.size());
    EXPECT_EQ(0u, got.count(nullptr));

    // None of these is a record: nothing may be read in front of them.
    int onStack = 0;
    char *heap = static_cast<char *>(malloc(16));
    memm_free(nullptr);
    memm_free(&onStack);
    memm_free(heap);
    memm_free(static_cast<char *>(*got.begin()) + 4);
    free(heap);
    EXPECT_EQ(3u, statsOf(pool).inUse);
    EXPECT_EQ(1, calls[0]);
}

TEST(MemmRelease, GetFirstDrainLoopFreesEveryLiveRecordOnce)
{
    std::vector<int> log;
    int pool = memm_initpool3("drain", 4, sizeof(Owner), 0, ownerHook);
    ASSERT_NE(MEMM_POOL_NONE, pool);  // grows past its first block below
    std::vector<Owner *> all;
    for (int i = 0; i < 20; ++i) {
        Owner *o = static_cast<Owner *>(memm_alloc(pool));
        ASSERT_NE(nullptr, o);
        o->id = i;
        all.push_back(o);
    }
    for (int i : {3, 4, 11, 19, 0})  // 0 last: the next allocation takes it
        memm_free(all[i]);
    for (Owner *o : all)
        if (memm_isvalidobjfrompool(pool, o))
            o->log = &log;

    EXPECT_EQ(all[1], memm_getfirst(pool));
    // A record taken again below the first live one must be found first.
    Owner *again = static_cast<Owner *>(memm_alloc(pool));
    ASSERT_NE(nullptr, again);
    again->id = 100;
    again->log = &log;
    EXPECT_EQ(again, memm_getfirst(pool));

    uint32_t inUse = 0;
    ASSERT_EQ(0, memm_get_stats(pool, &inUse, nullptr, nullptr));
    EXPECT_EQ(16u, inUse);
    while (void *o = memm_getfirst(pool))
        memm_free(o);
    EXPECT_EQ(0u, statsOf(pool).inUse);
    EXPECT_EQ(16u, log.size());
    EXPECT_EQ(16u, std::set<int>(log.begin(), log.end()).size());
    EXPECT_EQ(nullptr, memm_getfirst(pool));

    // And the drained pool works as before.
    EXPECT_NE(nullptr, memm_alloc(pool));
    EXPECT_NE(nullptr, memm_getfirst(pool));
}

TEST(MemmInstance, ValidMeansLiveInstanceMeansSlotOfThePool)
{
    int mine = memm_initpool3("mine", 2, 32, 0, nullptr);
    int other = memm_initpool3("other", 2, 32, 0, nullptr);
    ASSERT_NE(MEMM_POOL_NONE, mine);
    ASSERT_NE(MEMM_POOL_NONE, other);
    void *live = memm_alloc(mine);
    void *freed = memm_alloc(mine);
    void *foreign = memm_alloc(other);
    memm_free(freed);

    EXPECT_EQ(1, memm_isvalidobjfrompool(mine, live));
    EXPECT_EQ(1, memm_instanceof(mine, live));
    EXPECT_EQ(0, memm_isvalidobjfrompool(mine, freed));
    EXPECT_EQ(1, memm_instanceof(mine, freed));
    EXPECT_EQ(0, memm_isvalidobjfrompool(mine, foreign));
    EXPECT_EQ(0, memm_instanceof(mine, foreign));
    EXPECT_EQ(1, memm_isvalidobjfrompool(other, foreign));

    int onStack = 0;
    char *heap = static_cast<char *>(malloc(32));
    for (const void *p : {static_cast<const void *>(nullptr), static_cast<const void *>(&onStack),
                          static_cast<const void *>(heap), static_cast<const void *>(static_cast<char *>(live) + 8)}) {
        EXPECT_EQ(0, memm_isvalidobjfrompool(mine, p));
        EXPECT_EQ(0, memm_instanceof(mine, p));
    }
    free(heap);
    EXPECT_EQ(0, memm_isvalidobjfrompool(-1, live));
    EXPECT_EQ(0, memm_instanceof(MEMM_MAX_POOLS, live));
}

}  // namespace
