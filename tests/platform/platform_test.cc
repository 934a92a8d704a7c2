// The platform libraries: pool accounting, zero-filled reuse, hooks, double
// frees and foreign pointers refused unread, the teardown's drain loop,
// records cached by threads and given back when they end; the 65535 string
// cap, growth from a string's own text, strict numbers, copies; list
// duplicates, lists longer than one record, removal during walks, release
// order, the stable sort; error texts. Threads racing on one pool: see the
// stress tests; cut copies into the host's buffers: see the API tests.
#include <gtest/gtest.h>
#include <malloc.h>
#include <string.h>

#include <algorithm>
#include <future>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "memm.h"
#include "zvcommon.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();  // the sanitizer runtime's
#endif

namespace {

// Records in use in one pool or in all, the character storage of strings included.
uint32_t inUse(int pool = MEMM_POOL_NONE)
{
    uint32_t n = 0, total = 0;
    for (int p = 0; p < MEMM_MAX_POOLS; ++p)
        if (p == pool || (pool == MEMM_POOL_NONE && memm_poolname(p)))
            total += memm_get_stats(p, &n, nullptr, nullptr) == 0 ? n : 1000000;
    return total;
}

std::vector<int> released;  // ids, in the order the hook saw them

struct Rec {
    int id;
    Rec *sibling;  // freed by the hook
};

int recHook(void *record, memm_release_fn release)
{
    released.push_back(static_cast<Rec *>(record)->id);
    release(static_cast<Rec *>(record)->sibling);
    return 0;
}

class Platform : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
        ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
        recs = memm_initpool3("recs", 4, sizeof(Rec), 0, recHook);
        released.clear();
    }
    Rec *rec(int id, Rec *sibling = nullptr) { return new (memm_alloc(recs)) Rec{id, sibling}; }
    int strings = MEMM_POOL_NONE, lists = MEMM_POOL_NONE, recs = MEMM_POOL_NONE;
};

TEST(MemmPool, ReuseIsZeroFilledBadSizesAreRefusedAndThePoolTableEnds)
{
    int pool = memm_initpool3("reuse", 1, 13, 0, nullptr);
    void *first = memm_alloc(pool);
    memset(first, 0xFF, 13);
    memm_free(first);
    unsigned char *back = static_cast<unsigned char *>(memm_alloc(pool));
    ASSERT_EQ(first, back);
    EXPECT_EQ(std::vector<unsigned char>(13, 0), std::vector<unsigned char>(back, back + 13));
    EXPECT_EQ(MEMM_POOL_NONE, memm_initpool3("x", 0, 8, 0, nullptr));
    EXPECT_EQ(MEMM_POOL_NONE, memm_initpool3("x", 8, 0, 0, nullptr));
    EXPECT_EQ(-1, memm_get_stats(-1, nullptr, nullptr, nullptr));
    std::set<int> pools{pool};
    for (int p; (p = memm_initpool3("a-rather-long-pool-name-beyond-31", 1, 8, 0, nullptr)) != MEMM_POOL_NONE;)
        pools.insert(p);
    EXPECT_EQ(static_cast<size_t>(MEMM_MAX_POOLS), pools.size());
    EXPECT_STREQ("a-rather-long-pool-name-beyond-", memm_poolname(*pools.rbegin()));
}

// Handles from the host are checked with these calls before any use.
TEST(MemmRelease, ForeignPointersAreNeitherFreedNorTakenForRecords)
{
    int mine = memm_initpool3("mine", 2, 32, 0, nullptr), other = memm_initpool3("other", 2, 32, 0, nullptr);
    char *live = static_cast<char *>(memm_alloc(mine)), *freed = static_cast<char *>(memm_alloc(mine));
    memm_free(freed);
    int onStack = 0;
    std::vector<char> heap(32);
    char *pastEnd = freed + (freed - live);  // the two fill the block; the rest of its page is not ours
    const struct { void *p; int valid, instance; } cases[] = {{live, 1, 1}, {freed, 0, 1}, {memm_alloc(other), 0, 0},
        {&onStack, 0, 0}, {heap.data(), 0, 0}, {live + 8, 0, 0}, {pastEnd, 0, 0}, {nullptr, 0, 0}};
    for (const auto &c : cases) {
        EXPECT_EQ(c.valid, memm_isvalidobjfrompool(mine, c.p)) << &c - cases;
        EXPECT_EQ(c.instance, memm_instanceof(mine, c.p)) << &c - cases;
        if (c.p != live)
            memm_free(c.p);  // refused but for the record of the other pool
    }
    EXPECT_EQ(1u, inUse(mine));
    EXPECT_EQ(0u, inUse(other));
}

// The host prints these texts next to the code, so each code it can get
// needs a text of its own; the generic one is per thread.
TEST(ErrorString, EveryUsedCodeHasItsOwnTextOthersNameTheirNumber)
{
    std::set<std::string> texts;
    for (uint32_t code : {0u, 2u, 3u, 5u, 8u, 9u, 11u, 12u})
        texts.insert(zvPbxGetErrorString(code));
    EXPECT_EQ(8u, texts.size());
    const char *mine = zvPbxGetErrorString(13);
    std::thread([] { EXPECT_STREQ("Unknown error code 200", zvPbxGetErrorString(200)); }).join();
    EXPECT_STREQ("Unknown error code 13", mine);
}

// Records a thread frees wait in that thread's cache: they must count as
// free at once, go to another thread before a closed pool reports full, and
// come back to the pool when the thread ends.
TEST(MemmThreads, CachedRecordsCountAsFreeServeOtherThreadsAndReturnWhenTheThreadEnds)
{
    constexpr uint32_t n = 40;
    const int pool = memm_initpool3("cached", n, 24, 0, nullptr);
    ASSERT_EQ(0, memm_disallow_expansion(pool));
    auto takeAll = [pool] {
        std::vector<void *> got;
        while (void *r = memm_alloc(pool))
            got.push_back(r);
        return got;
    };
    auto stats = [pool] {
        uint32_t used = 0, available = 0, capacity = 0;
        memm_get_stats(pool, &used, &available, &capacity);
        return std::vector<uint32_t>{used, available, capacity};
    };
    std::vector<void *> held = takeAll();
    ASSERT_EQ(n, held.size());
    std::promise<void> freed, mainDone;
    std::thread other([&] {
        for (void *r : held)
            memm_free(r);
        freed.set_value();
        mainDone.get_future().wait();  // alive, its cache full
        std::vector<void *> mine = takeAll();
        EXPECT_EQ(n, mine.size());  // main's cache emptied too
        for (void *r : mine)
            memm_free(r);
    });
    freed.get_future().wait();
    EXPECT_EQ((std::vector<uint32_t>{0, n, n}), stats());
    held = takeAll();
    EXPECT_EQ(n, held.size());
    EXPECT_EQ((std::vector<uint32_t>{n, 0, n}), stats());  // the other's entries are stale now
    EXPECT_EQ(n, std::set<void *>(held.begin(), held.end()).size());
    for (void *r : held)
        memm_free(r);
    mainDone.set_value();
    other.join();
    EXPECT_EQ((std::vector<uint32_t>{0, n, n}), stats());
    EXPECT_EQ(n, takeAll().size());
}

size_t heapInUse()
{
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

// A thread's first call makes its caches; threads that come and go must
// hand them on instead of adding up.
TEST(MemmThreads, ThreadsComingAndGoingReuseTheCachesOfThoseThatEnded)
{
    int strings = MEMM_POOL_NONE, lists = MEMM_POOL_NONE;
    ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
    auto round = [&] {
        llist_t list = nullptr;
        for (int i = 0; i < 12; ++i)
            llist_addobject(&list, dynstr_fromprintf(strings, "%0*d", 60, i), lists);
        llist_release(list);
    };
    for (int i = 0; i < 8; ++i)
        std::thread(round).join();
    const size_t before = heapInUse();
    for (int i = 0; i < 200; ++i)
        std::thread(round).join();
    EXPECT_LT(heapInUse(), before + 4096);
    EXPECT_EQ(0u, inUse());
}

// The pool must not be locked while its hook runs: these free a record of
// their own pool, as in the teardown's drain loop. A second free must not
// run the hook again nor put the record on the free list twice.
TEST_F(Platform, HooksFreeRecordsOfTheirOwnPoolOnceAndTheDrainLoopEmptiesIt)
{
    std::vector<Rec *> all;
    for (int i = 0; i < 20; i += 2)  // the pool outgrows its first block of 4
        all.push_back(rec(i, rec(i + 1)));
    memm_free(all[1]);
    memm_free(all[1]);
    EXPECT_EQ((std::vector<int>{2, 3}), released);
    EXPECT_EQ(18u, inUse(recs));
    while (void *r = memm_getfirst(recs))
        memm_free(r);
    EXPECT_EQ(0u, inUse(recs));
    EXPECT_EQ(20u, released.size());
    EXPECT_EQ(20u, std::set<int>(released.begin(), released.end()).size());
}

TEST_F(Platform, StringsFreeOnlyCopiesReadStrictNumbersGrowFromTheirOwnTextStopAt65535)
{
    const uint32_t records = inUse();
    dynstr_t s = dynstr_fromstr(strings, "silence");
    char buf[4] = "###";
    EXPECT_STREQ("", dynstr_strncpy(buf, nullptr, 3));
    EXPECT_LT(dynstr_strcmp(nullptr, s), 0);  // absent strings sort first
    char *copy = dynstr_strdup(s);
    const std::string longText(100, 'L');  // held in character storage, as copies are
    dynstr_t held = dynstr_fromstr(strings, longText.c_str());
    const uint32_t beforeFrees = inUse();
    for (const char *notACopy : {reinterpret_cast<const char *>(s), static_cast<const char *>(buf),
             dynstr_cstr(held), dynstr_cstr(held) + 1, dynstr_cstr(held) - 1})
        dynstr_strfree(const_cast<char *>(notACopy));  // left alone
    EXPECT_EQ(beforeFrees, inUse());
    EXPECT_EQ(longText, dynstr_cstr(held));
    char *longCopy = dynstr_strdup(held);
    EXPECT_EQ(longText, longCopy);
    dynstr_strfree(longCopy);
    dynstr_strfree(copy);
    dynstr_release(held);
    dynstr_release(s);
    EXPECT_EQ(0, dynstr_isdynstring(s));
    EXPECT_EQ(records, inUse());
    const struct { const char *text; int rc; int32_t value; } cases[] = {
        {"  -7", 0, -7}, {"+15", 0, 15}, {"\t8 \r\n", 0, 8}, {"2147483647", 0, INT32_MAX},
        {"-2147483648", 0, INT32_MIN}, {"", -1, 1}, {" ", -1, 1}, {"-", -1, 1}, {"12a", -1, 1}, {"1 2", -1, 1},
        {"0x10", -1, 1}, {"2147483648", -1, 1}, {"-2147483649", -1, 1}, {"99999999999999999999999", -1, 1}};
    for (const auto &c : cases) {
        dynstr_t d = dynstr_fromstr(strings, c.text);
        int32_t out = 1;  // left alone on refusal
        EXPECT_EQ(c.rc, dynstr_getint32(d, &out)) << '"' << c.text << '"';
        EXPECT_EQ(c.value, out) << '"' << c.text << '"';
        dynstr_release(d);
    }
    const std::string before(160, 'g');
    s = dynstr_fromstr(strings, before.c_str());
    ASSERT_EQ(0, dynstr_appendf(s, "|%s|", dynstr_cstr(s)));  // each reads the old text while growing
    ASSERT_EQ(0, dynstr_printf(s, "[%s]", dynstr_cstr(s)));
    ASSERT_EQ(0, dynstr_assign(s, dynstr_cstr(s) + 1));
    EXPECT_EQ(before + "|" + before + "|]", dynstr_cstr(s));
    const std::string huge(70000, 'q');
    ASSERT_EQ(0, dynstr_assign(s, huge.c_str()));
    EXPECT_EQ(0, dynstr_appendf(s, "%s", "more"));
    EXPECT_EQ(huge.substr(0, DYNSTR_MAX_LEN), dynstr_cstr(s));
    dynstr_t printed = dynstr_fromprintf(strings, "%s!", huge.c_str());
    EXPECT_EQ(DYNSTR_MAX_LEN, dynstr_len(printed));
    ASSERT_EQ(0, dynstr_printf(printed, "%d", 5));  // and back into the record's own room
    EXPECT_STREQ("5", dynstr_cstr(printed));
    dynstr_release(s);
    dynstr_release(printed);
}

// Short texts are copied in pieces sized by their length, and texts from
// 80 characters on move out of the record: every length on either side.
TEST_F(Platform, StringsOfEveryShortLengthKeepTheirTextWhicheverWayTheyAreMade)
{
    const std::string source = "abcdefghijklmnopqrstuvwxyz0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-+abcdefghijklmnopqrstuvwxyz0123";
    const uint32_t records = inUse();
    for (uint32_t n = 0; n <= source.size(); ++n) {
        const std::string text = source.substr(0, n);
        dynstr_t made = dynstr_fromstr(strings, text.c_str());
        dynstr_t cut = dynstr_fromstrn(strings, source.c_str(), n);
        dynstr_t copy = dynstr_dup(strings, made);
        for (dynstr_t s : {made, cut, copy}) {
            ASSERT_NE(nullptr, s) << n;
            EXPECT_EQ(n, dynstr_len(s)) << n;
            EXPECT_EQ(text, dynstr_cstr(s)) << n;
        }
        dynstr_release(made);
        dynstr_release(cut);
        dynstr_release(copy);
    }
    EXPECT_EQ(records, inUse());
}

// Searches by object rely on the places behind the last object being empty:
// a list of any length up to two records, cut at its end or in its middle.
TEST_F(Platform, ListsAnswerForEveryPlaceAndEndAtTheirLastObjectAfterRemovals)
{
    std::vector<int> keys(10);
    auto walk = [](llist_t l) {
        std::vector<void *> out;
        for (void *p = llist_getnext(l, nullptr); p && out.size() <= 10; p = llist_getnext(l, p))
            out.push_back(p);
        return out;
    };
    for (size_t n = 0; n <= keys.size(); ++n) {
        llist_t list = nullptr;
        std::vector<void *> expect;
        for (size_t i = 0; i < n; ++i) {
            ASSERT_EQ(0, llist_addobject(&list, &keys[i], lists));
            expect.push_back(&keys[i]);
            for (size_t j = 0; j <= i; ++j)
                EXPECT_EQ(-1, llist_addobject(&list, &keys[j], lists)) << n << " " << j;
        }
        EXPECT_EQ(expect, walk(list)) << n;
        if (n == 0)
            continue;
        EXPECT_EQ(0, llist_removeobject(list, expect.back()));
        EXPECT_EQ(nullptr, llist_getnext(list, expect.back()));
        expect.pop_back();
        if (!expect.empty()) {
            EXPECT_EQ(nullptr, llist_getnext(list, expect.back())) << n;
        }
        if (expect.size() > 1) {
            EXPECT_EQ(0, llist_removeobject(list, expect[expect.size() / 2]));
            expect.erase(expect.begin() + static_cast<long>(expect.size() / 2));
        }
        EXPECT_EQ(expect, walk(list)) << n;
        ASSERT_EQ(0, llist_addobject(&list, &keys[n - 1], lists));  // back into the emptied place
        expect.push_back(&keys[n - 1]);
        EXPECT_EQ(expect, walk(list)) << n;
        EXPECT_EQ(expect.size(), llist_count(list));
        llist_release(list);
    }
}

TEST_F(Platform, ListsRefuseDuplicatesAllowRemovalDuringAWalkAndReleaseInOrder)
{
    const uint32_t lists0 = inUse(lists);
    llist_t list = nullptr;
    for (int id = 1; id <= 6; ++id)
        ASSERT_EQ(0, llist_addobject(&list, rec(id), lists));
    void *first = llist_getnext(list, nullptr);
    EXPECT_EQ(-1, llist_addobject(&list, first, lists));  // listed twice, walks would never end
    llist_t other = nullptr;
    EXPECT_EQ(-1, llist_addobject(&other, first, strings));  // not a list pool
    for (void *p = llist_getnext(list, nullptr), *next; p; p = next) {
        next = llist_getnext(list, p);  // taken before the current one goes
        if (static_cast<Rec *>(p)->id % 2 == 0) {
            EXPECT_EQ(0, llist_removeobject(list, p));
            memm_free(p);
        }
    }
    void *tail = llist_getnext(list, llist_getnext(list, llist_getnext(list, nullptr)));
    EXPECT_EQ(0, llist_removeobject(list, tail));
    EXPECT_EQ(-1, llist_removeobject(list, tail));
    ASSERT_EQ(0, llist_addobject(&list, tail, lists));  // a stale tail would lose it
    llist_t inner = nullptr;  // a list in a list goes with it
    ASSERT_EQ(0, llist_addobject(&inner, rec(9), lists));
    ASSERT_EQ(0, llist_addobject(&list, inner, lists));
    memm_free(list);  // what a release hook does with a list it owns
    EXPECT_EQ((std::vector<int>{2, 4, 6, 1, 3, 5, 9}), released);  // the tail was unlinked, not freed
    EXPECT_EQ(lists0, inUse(lists));
    EXPECT_EQ(0u, inUse(recs));
}

// Lists longer than one record (8 objects): order, walks that remove the
// object they stand on, records given back as the list shrinks, the stable
// sort on both of its merge paths, and release in list order.
TEST_F(Platform, LongListsKeepOrderThroughRemovalSortStablyAndReleaseInOrder)
{
    const uint32_t lists0 = inUse(lists);
    std::vector<int> keys(150);
    auto walk = [](llist_t l) {
        std::vector<int *> out;
        for (void *p = llist_getnext(l, nullptr); p; p = llist_getnext(l, p))
            out.push_back(static_cast<int *>(p));
        return out;
    };
    llist_t list = nullptr;
    std::vector<int *> expect;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(0, llist_addobject(&list, &keys[i], lists));
        expect.push_back(&keys[i]);
    }
    EXPECT_EQ(-1, llist_addobject(&list, &keys[17], lists));  // the duplicate sits in the third record
    EXPECT_EQ(3u, inUse(lists) - lists0);
    EXPECT_EQ(expect, walk(list));
    EXPECT_EQ(nullptr, llist_getnext(list, &keys[19]));
    EXPECT_EQ(nullptr, llist_getnext(list, &keys[100]));
    for (void *p = llist_getnext(list, nullptr), *next; p; p = next) {
        next = llist_getnext(list, p);
        if ((static_cast<int *>(p) - keys.data()) % 3 != 1) {  // 1, 4, 7, 10, ... stay
            EXPECT_EQ(0, llist_removeobject(list, p));
        }
    }
    expect.clear();
    for (int i = 1; i < 20; i += 3)
        expect.push_back(&keys[i]);
    EXPECT_EQ(expect, walk(list));
    EXPECT_EQ(1u, inUse(lists) - lists0);  // 7 left: one record
    EXPECT_EQ(0, llist_addobject(&list, &keys[0], lists));
    EXPECT_EQ(0, llist_addobject(&list, &keys[2], lists));  // the ninth opens a record again
    expect.push_back(&keys[0]);
    expect.push_back(&keys[2]);
    EXPECT_EQ(expect, walk(list));
    EXPECT_EQ(1, llist_contains(list, &keys[2]));
    EXPECT_EQ(2u, inUse(lists) - lists0);
    EXPECT_EQ(0, llist_removeobject(list, &keys[1]));
    EXPECT_EQ(1u, inUse(lists) - lists0);
    llist_release(list);  // the objects are no records: freeing them is refused
    EXPECT_EQ(0u, inUse(lists) - lists0);

    // Keys of few values, so that ties are many; the order among equal keys
    // must be the order of insertion.
    auto byKey = [](const void *a, const void *b, void *) {
        return *static_cast<const int *>(a) - *static_cast<const int *>(b);
    };
    for (uint32_t n : {20u, 150u}) {  // merged through the buffer; also in place
        llist_t sorted = nullptr;
        for (uint32_t i = 0; i < n; ++i) {
            keys[i] = static_cast<int>((i * 7919u) % (n / 4));
            ASSERT_EQ(0, llist_addobject(&sorted, &keys[i], lists));
        }
        std::vector<int *> stable = walk(sorted);
        std::stable_sort(stable.begin(), stable.end(), [](int *a, int *b) { return *a < *b; });
        EXPECT_EQ(-1, llist_sort_ex(sorted, nullptr, nullptr));
        EXPECT_EQ(0, llist_sort_ex(sorted, nullptr, byKey));
        EXPECT_EQ(stable, walk(sorted)) << n;
        EXPECT_EQ(n, llist_count(sorted));
        llist_release(sorted);
    }

    llist_t owned = nullptr;
    for (int id = 1; id <= 19; ++id)
        ASSERT_EQ(0, llist_addobject(&owned, rec(id), lists));
    memm_free(owned);
    std::vector<int> ids(19);
    for (int id = 1; id <= 19; ++id)
        ids[static_cast<size_t>(id - 1)] = id;
    EXPECT_EQ(ids, released);
    EXPECT_EQ(0u, inUse(lists) - lists0);
    EXPECT_EQ(nullptr, llist_getnext(owned, nullptr));  // a released list reads as none
}

}  // namespace
