// The platform libraries: pool exhaustion and accounting, zero-filled reuse,
// hooks, double frees and foreign pointers refused unread, the teardown's
// drain loop; the 65535 string cap, growth from a string's own text, strict
// numbers, bounded copies; list duplicates, removal during walks, release
// order. Threads and the list sort are reached by the stress and media tests.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "memm.h"
#include "zvcommon.h"

namespace {

uint32_t inUse(int pool)
{
    uint32_t n = 0;
    EXPECT_EQ(0, memm_get_stats(pool, &n, nullptr, nullptr));
    return n;
}

// Records in use in every pool, the character storage of strings included.
uint32_t allInUse()
{
    uint32_t total = 0;
    for (int p = 0; p < MEMM_MAX_POOLS; ++p)
        total += memm_poolname(p) ? inUse(p) : 0;
    return total;
}

struct Rec {
    int id;
    std::vector<int> *log;
    Rec *sibling;  // freed by the hook
};

int recHook(void *record, memm_release_fn release)
{
    Rec *r = static_cast<Rec *>(record);
    r->log->push_back(r->id);
    release(r->sibling);
    return 0;
}

class Platform : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
        ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
        recs = memm_initpool3("recs", 4, sizeof(Rec), 0, recHook);
    }
    Rec *rec(int id, Rec *sibling = nullptr)
    {
        Rec *r = static_cast<Rec *>(memm_alloc(recs));
        if (r)
            *r = {id, &log, sibling};
        return r;
    }
    static std::vector<int> ids(llist_t list)
    {
        std::vector<int> out;
        for (void *p = llist_getnext(list, nullptr); p; p = llist_getnext(list, p))
            out.push_back(static_cast<Rec *>(p)->id);
        return out;
    }
    int strings = MEMM_POOL_NONE, lists = MEMM_POOL_NONE, recs = MEMM_POOL_NONE;
    std::vector<int> log;
};

TEST(MemmPool, ClosedPoolRefusesWhenFullAndReusesZeroFilled)
{
    int pool = memm_initpool3("closed", 4, 13, 0, nullptr);
    ASSERT_EQ(0, memm_disallow_expansion(pool));
    std::set<void *> got;
    for (int i = 0; i < 4; ++i)
        got.insert(memm_alloc(pool));
    EXPECT_EQ(4u, got.size());
    EXPECT_EQ(0u, got.count(nullptr));
    EXPECT_EQ(nullptr, memm_alloc(pool));
    uint32_t used = 0, available = 9, capacity = 0;
    EXPECT_EQ(0, memm_get_stats(pool, &used, &available, &capacity));
    EXPECT_EQ((std::vector<uint32_t>{4, 0, 4}), (std::vector<uint32_t>{used, available, capacity}));

    memset(*got.begin(), 0xFF, 13);
    memm_free(*got.begin());
    unsigned char *back = static_cast<unsigned char *>(memm_alloc(pool));
    ASSERT_EQ(*got.begin(), back);
    EXPECT_EQ(std::vector<unsigned char>(13, 0), std::vector<unsigned char>(back, back + 13));
}

TEST(MemmPool, RefusesBadArgumentsAndAFullPoolTable)
{
    EXPECT_EQ(MEMM_POOL_NONE, memm_initpool3("x", 0, 8, 0, nullptr));
    EXPECT_EQ(MEMM_POOL_NONE, memm_initpool3("x", 8, 0, 0, nullptr));
    EXPECT_EQ(-1, memm_get_stats(-1, nullptr, nullptr, nullptr));
    std::set<int> pools;
    for (int p; (p = memm_initpool3("a-rather-long-pool-name-beyond-31", 1, 8, 0, nullptr)) != MEMM_POOL_NONE;)
        pools.insert(p);
    EXPECT_EQ(static_cast<size_t>(MEMM_MAX_POOLS), pools.size());
    EXPECT_STREQ("a-rather-long-pool-name-beyond-", memm_poolname(*pools.rbegin()));
}

// The pool must not be locked while its hook runs: this one frees a record
// of its own pool. Freed twice, a record would sit on the free list twice
// and be handed out twice.
TEST_F(Platform, HookFreesRecordsOfItsOwnPoolAndRunsOnce)
{
    memm_disallow_expansion(recs);
    Rec *r = rec(7, rec(8));
    memm_free(r);
    EXPECT_EQ((std::vector<int>{7, 8}), log);
    EXPECT_EQ(0u, inUse(recs));
    memm_free(r);
    EXPECT_EQ(2u, log.size());
    std::set<void *> got{memm_alloc(recs), memm_alloc(recs), memm_alloc(recs), memm_alloc(recs)};
    EXPECT_EQ(4u, got.size());
    EXPECT_EQ(nullptr, memm_alloc(recs));
}

// Handles from the host are checked with these calls before any use.
TEST(MemmRelease, ForeignPointersAreNeitherFreedNorTakenForRecords)
{
    int mine = memm_initpool3("mine", 2, 32, 0, nullptr);
    int other = memm_initpool3("other", 2, 32, 0, nullptr);
    void *live = memm_alloc(mine), *freed = memm_alloc(mine), *foreign = memm_alloc(other);
    memm_free(freed);
    EXPECT_EQ(1, memm_isvalidobjfrompool(mine, live));
    EXPECT_EQ(0, memm_isvalidobjfrompool(mine, freed));
    EXPECT_EQ(1, memm_instanceof(mine, freed));
    EXPECT_EQ(0, memm_instanceof(mine, foreign));
    int onStack = 0;
    char *heap = static_cast<char *>(malloc(32));
    for (void *p : {static_cast<void *>(&onStack), static_cast<void *>(heap),
                    static_cast<void *>(static_cast<char *>(live) + 8)}) {
        EXPECT_EQ(0, memm_isvalidobjfrompool(mine, p));
        EXPECT_EQ(0, memm_instanceof(mine, p));
        memm_free(p);
    }
    free(heap);
    EXPECT_EQ(1u, inUse(mine));
}

// The pool outgrows its first block of 4 on the way.
TEST_F(Platform, GetFirstDrainLoopFreesEveryLiveRecordOnce)
{
    std::vector<Rec *> all;
    for (int i = 0; i < 20; ++i)
        all.push_back(rec(i));
    for (int i : {3, 4, 11, 19, 0})
        memm_free(all[i]);
    EXPECT_EQ(all[1], memm_getfirst(recs));
    log.clear();
    while (void *r = memm_getfirst(recs))
        memm_free(r);
    EXPECT_EQ(0u, inUse(recs));
    EXPECT_EQ(15u, log.size());
    EXPECT_EQ(15u, std::set<int>(log.begin(), log.end()).size());
}

TEST(ErrorString, EveryUsedCodeHasItsOwnTextOthersNameTheirNumber)
{
    std::set<std::string> texts;
    for (uint32_t code : {0u, 2u, 3u, 5u, 8u, 9u, 11u, 12u})
        texts.insert(zvPbxGetErrorString(code));
    EXPECT_EQ(8u, texts.size());
    const char *mine = zvPbxGetErrorString(13);  // the generic text is per thread
    std::thread([] { EXPECT_STREQ("Unknown error code 200", zvPbxGetErrorString(200)); }).join();
    EXPECT_STREQ("Unknown error code 13", mine);
}

TEST_F(Platform, StrncpyCopiesAtMostCountAndAlwaysTerminates)
{
    dynstr_t s = dynstr_fromstr(strings, "silence");
    for (uint32_t count : {0u, 4u, 7u, 8u}) {
        char buf[12];
        memset(buf, '#', sizeof buf);
        EXPECT_EQ(buf, dynstr_strncpy(buf, s, count));
        EXPECT_EQ(std::string("silence").substr(0, count), buf);
        EXPECT_EQ('#', buf[strlen(buf) + 1]) << count;
    }
    char buf[4] = "###";
    EXPECT_STREQ("", dynstr_strncpy(buf, nullptr, 3));
    EXPECT_LT(dynstr_strcmp(nullptr, s), 0);  // absent strings sort first
    EXPECT_EQ(0, dynstr_strcmpi2(s, "SILENCE"));
    dynstr_release(s);
}

TEST_F(Platform, GetInt32AcceptsOnlyAWholeDecimalInRange)
{
    const std::pair<const char *, int32_t> good[] = {
        {"  -7", -7}, {"+15", 15}, {"\t8 \r\n", 8}, {"2147483647", INT32_MAX}, {"-2147483648", INT32_MIN}};
    for (const auto &g : good) {
        dynstr_t s = dynstr_fromstr(strings, g.first);
        int32_t out = 0;
        EXPECT_EQ(0, dynstr_getint32(s, &out)) << g.first;
        EXPECT_EQ(g.second, out) << g.first;
        dynstr_release(s);
    }
    for (const char *bad : {"", " ", "-", "12a", "1 2", "0x10", "+-1", "\n5", "2147483648", "-2147483649",
                            "99999999999999999999999"}) {
        dynstr_t s = dynstr_fromstr(strings, bad);
        int32_t out = 1234;
        EXPECT_EQ(-1, dynstr_getint32(s, &out)) << '"' << bad << '"';
        EXPECT_EQ(1234, out) << bad;
        dynstr_release(s);
    }
}

TEST_F(Platform, StringsGrowFromTheirOwnTextAndStopAt65535)
{
    dynstr_t s = dynstr_fromstr(strings, "abcdefghij");
    for (int i = 0; i < 4; ++i)  // each of these reads the old text while growing
        ASSERT_EQ(0, dynstr_append(s, dynstr_cstr(s)));
    const std::string before = dynstr_cstr(s);  // 160 characters
    ASSERT_EQ(0, dynstr_appendf(s, "|%s|", dynstr_cstr(s)));
    ASSERT_EQ(0, dynstr_printf(s, "[%s]", dynstr_cstr(s)));
    ASSERT_EQ(0, dynstr_assign(s, dynstr_cstr(s) + 1));
    EXPECT_EQ(before + "|" + before + "|]", dynstr_cstr(s));

    const std::string huge(70000, 'q');
    ASSERT_EQ(0, dynstr_assign(s, huge.c_str()));
    EXPECT_EQ(0, dynstr_appendf(s, "%s", "more"));
    EXPECT_EQ(huge.substr(0, DYNSTR_MAX_LEN), dynstr_cstr(s));
    dynstr_t nearly = dynstr_fromstrn(strings, huge.c_str(), DYNSTR_MAX_LEN - 2);
    EXPECT_EQ(0, dynstr_append(nearly, "abcdef"));
    EXPECT_STREQ("ab", dynstr_cstr(nearly) + DYNSTR_MAX_LEN - 2);
    dynstr_t printed = dynstr_fromprintf(strings, "%s!", huge.c_str());
    EXPECT_EQ(DYNSTR_MAX_LEN, dynstr_len(printed));
    ASSERT_EQ(0, dynstr_printf(printed, "%d", 5));  // and back into the record's own room
    EXPECT_STREQ("5", dynstr_cstr(printed));
    for (dynstr_t d : {s, nearly, printed})
        dynstr_release(d);
}

TEST_F(Platform, ForeignPoolsAndHandlesAreRefused)
{
    EXPECT_EQ(nullptr, dynstr_fromstr(lists, "x"));
    EXPECT_EQ(nullptr, llist_create(strings));
    const uint32_t before = allInUse();
    dynstr_t s = dynstr_fromstr(strings, "G729");
    char *copy = dynstr_strdup(s);
    dynstr_strfree(reinterpret_cast<char *>(s));  // no copy: left alone
    char local[] = "local";
    dynstr_strfree(local);
    dynstr_strfree(copy);
    EXPECT_EQ(1, dynstr_isdynstring(s));
    dynstr_release(s);
    EXPECT_EQ(0, dynstr_isdynstring(s));
    EXPECT_EQ(before, allInUse());

    llist_t list = nullptr;
    Rec *a = rec(1);
    EXPECT_EQ(-1, llist_addobject(&list, a, strings));
    ASSERT_EQ(0, llist_addobject(&list, a, lists));
    EXPECT_EQ(-1, llist_addobject(&list, a, lists));  // listed twice, walks would never end
    EXPECT_EQ((std::vector<int>{1}), ids(list));
    llist_t fake = reinterpret_cast<llist_t>(rec(3));
    EXPECT_EQ(-1, llist_addobject(&fake, a, lists));
    EXPECT_EQ(-1, llist_removeobject(fake, a));
    EXPECT_EQ(3, reinterpret_cast<Rec *>(fake)->id);
    llist_release(list);
}

TEST_F(Platform, ListRemovalDuringAWalkThenReleaseInListOrder)
{
    const uint32_t lists0 = inUse(lists);
    llist_t list = nullptr;
    for (int id = 1; id <= 6; ++id)
        ASSERT_EQ(0, llist_addobject(&list, rec(id), lists));
    for (void *p = llist_getnext(list, nullptr), *next; p; p = next) {
        next = llist_getnext(list, p);  // taken before the current one goes
        if (static_cast<Rec *>(p)->id % 2 == 0) {
            EXPECT_EQ(0, llist_removeobject(list, p));
            memm_free(p);
        }
    }
    EXPECT_EQ((std::vector<int>{1, 3, 5}), ids(list));
    void *tail = llist_getnext(list, llist_getnext(list, llist_getnext(list, nullptr)));
    EXPECT_EQ(0, llist_removeobject(list, tail));
    EXPECT_EQ(-1, llist_removeobject(list, tail));
    ASSERT_EQ(0, llist_addobject(&list, tail, lists));  // a stale tail would lose it
    EXPECT_EQ((std::vector<int>{1, 3, 5}), ids(list));
    EXPECT_EQ((std::vector<int>{2, 4, 6}), log);  // the tail was unlinked, not freed

    llist_t inner = nullptr;  // a list in a list goes with it
    ASSERT_EQ(0, llist_addobject(&inner, rec(9), lists));
    ASSERT_EQ(0, llist_addobject(&list, inner, lists));
    memm_free(list);  // what a release hook does with a list it owns
    EXPECT_EQ((std::vector<int>{2, 4, 6, 1, 3, 5, 9}), log);
    EXPECT_EQ(lists0, inUse(lists));
    EXPECT_EQ(0u, inUse(recs));
}

}  // namespace
