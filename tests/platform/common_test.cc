// Result-code texts, the global pools, steady-state reuse and concurrency.
#include <gtest/gtest.h>
#include <string.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "memm.h"
#include "zvcommon.h"

namespace {

uint32_t capacityOf(int pool)
{
    uint32_t capacity = 0;
    EXPECT_EQ(0, memm_get_stats(pool, nullptr, nullptr, &capacity));
    return capacity;
}

uint32_t inUseOf(int pool)
{
    uint32_t n = 0;
    EXPECT_EQ(0, memm_get_stats(pool, &n, nullptr, nullptr));
    return n;
}

TEST(ErrorString, EveryUsedCodeHasItsOwnTextAndOthersNameTheirNumber)
{
    std::set<std::string> texts;
    for (uint32_t code : {0u, 2u, 3u, 5u, 8u, 9u, 11u, 12u}) {
        const char *t = zvPbxGetErrorString(code);
        ASSERT_NE(nullptr, t);
        EXPECT_GT(strlen(t), 3u) << code;
        texts.insert(t);
        EXPECT_EQ(t, zvPbxGetErrorString(code)) << "texts are fixed";
    }
    EXPECT_EQ(8u, texts.size());
    EXPECT_STREQ("Unknown error code 13", zvPbxGetErrorString(13));
    EXPECT_STREQ("Unknown error code 4294967295", zvPbxGetErrorString(4294967295u));

    // The generic text is the calling thread's own.
    const char *mine = zvPbxGetErrorString(100);
    std::thread([] { EXPECT_STREQ("Unknown error code 200", zvPbxGetErrorString(200)); }).join();
    EXPECT_STREQ("Unknown error code 100", mine);
}

TEST(GlobalPools, AreCreatedOnceAndAreDistinct)
{
    EXPECT_EQ(5u, zvPbxCommonGetGlobalDynstrPool(nullptr));
    EXPECT_EQ(5u, zvPbxCommonGetGlobalLinkedListPool(nullptr));
    int s1 = -1, s2 = -1, l1 = -1, l2 = -1;
    ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&s1));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&s2));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&l1));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&l2));
    EXPECT_EQ(s1, s2);
    EXPECT_EQ(l1, l2);
    EXPECT_NE(s1, l1);
    EXPECT_NE(MEMM_POOL_NONE, s1);
    EXPECT_NE(MEMM_POOL_NONE, l1);
}

struct Node {
    dynstr_t name;
    dynstr_t value;
};

int nodeHook(void *record, memm_release_fn release)
{
    Node *n = static_cast<Node *>(record);
    release(n->name);
    release(n->value);
    return 0;
}

// Capacities of every pool the cycle touches, the character pools included.
std::vector<uint32_t> capacities()
{
    std::vector<uint32_t> out;
    for (int p = 0; p < MEMM_MAX_POOLS; ++p)
        if (memm_poolname(p))
            out.push_back(capacityOf(p));
    return out;
}

TEST(SteadyState, CreateDestroyCyclesKeepCapacityFlat)
{
    int strings = -1, lists = -1;
    ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
    int nodes = memm_initpool3("nodes", 8, sizeof(Node), 0, nodeHook);
    ASSERT_NE(MEMM_POOL_NONE, nodes);
    memm_disallow_expansion(nodes);

    std::string longValue(5000, 'v');
    auto cycle = [&] {
        llist_t list = nullptr;
        for (int i = 0; i < 8; ++i) {
            Node *n = static_cast<Node *>(memm_alloc(nodes));
            ASSERT_NE(nullptr, n);
            n->name = dynstr_fromprintf(strings, "attr%d", i);
            n->value = dynstr_fromstr(strings, "0-15");
            for (int k = 0; k < i; ++k)  // values cross several storage classes
                dynstr_append(n->value, longValue.c_str() + 4000);
            char *copy = dynstr_strdup(n->value);
            ASSERT_NE(nullptr, copy);
            dynstr_strfree(copy);
            ASSERT_EQ(0, llist_addobject(&list, n, lists));
        }
        dynstr_t scratch = dynstr_fromuint32(strings, 20);
        dynstr_printf(scratch, "%s", longValue.c_str());
        dynstr_release(scratch);
        llist_release(list);
    };

    cycle();
    std::vector<uint32_t> first = capacities();
    uint32_t stringsInUse = inUseOf(strings), listsInUse = inUseOf(lists);
    for (int i = 0; i < 500; ++i)
        cycle();
    EXPECT_EQ(first, capacities());
    EXPECT_EQ(stringsInUse, inUseOf(strings));
    EXPECT_EQ(listsInUse, inUseOf(lists));
    EXPECT_EQ(0u, inUseOf(nodes));
}

constexpr int kThreads = 6;

TEST(Concurrency, ThreadsShareAClosedPoolWithoutLosingOrSharingRecords)
{
    constexpr int kEach = 8;
    struct Rec {
        int owner;
        int index;
    };
    int pool = memm_initpool3("shared", kThreads * kEach, sizeof(Rec), 0, nullptr);
    ASSERT_NE(MEMM_POOL_NONE, pool);
    memm_disallow_expansion(pool);
    std::atomic<int> failures{0};

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            Rec *held[kEach];
            for (int round = 0; round < 2000; ++round) {
                for (int i = 0; i < kEach; ++i) {
                    held[i] = static_cast<Rec *>(memm_alloc(pool));
                    if (!held[i] || held[i]->owner != 0) {
                        ++failures;
                        return;
                    }
                    held[i]->owner = t + 1;
                    held[i]->index = i;
                }
                for (int i = 0; i < kEach; ++i) {
                    if (held[i]->owner != t + 1 || held[i]->index != i || !memm_isvalidobjfrompool(pool, held[i]))
                        ++failures;
                    memm_free(held[i]);
                }
            }
        });
    }
    for (std::thread &th : threads)
        th.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(0u, inUseOf(pool));
    EXPECT_EQ(static_cast<uint32_t>(kThreads * kEach), capacityOf(pool));
}

TEST(Concurrency, GrowingPoolsStringsAndListsAcrossThreads)
{
    int strings = -1, lists = -1;
    ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
    int growing = memm_initpool3("growing", 1, 16, 0, nullptr);
    ASSERT_NE(MEMM_POOL_NONE, growing);
    uint32_t strings0 = inUseOf(strings), lists0 = inUseOf(lists);
    std::atomic<int> failures{0};

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 200; ++round) {
                std::vector<void *> held;
                for (int i = 0; i < 50; ++i)
                    held.push_back(memm_alloc(growing));
                llist_t list = nullptr;
                for (int i = 0; i < 10; ++i) {
                    dynstr_t s = dynstr_fromprintf(strings, "t%d-r%d-i%d", t, round, i);
                    if (!s || llist_addobject(&list, s, lists) != 0)
                        ++failures;
                    else if (i % 3 == 0)
                        dynstr_appendf(s, "%0300d", i);  // moves out of the inline room
                }
                int i = 0;
                for (void *p = llist_getnext(list, nullptr); p; p = llist_getnext(list, p), ++i) {
                    char expect[32];
                    snprintf(expect, sizeof expect, "t%d-r%d-i%d", t, round, i);
                    if (strncmp(dynstr_cstr(static_cast<dynstr_t>(p)), expect, strlen(expect)) != 0)
                        ++failures;
                }
                llist_release(list);
                for (void *p : held) {
                    if (!p)
                        ++failures;
                    memm_free(p);
                }
            }
        });
    }
    for (std::thread &th : threads)
        th.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(0u, inUseOf(growing));
    EXPECT_EQ(strings0, inUseOf(strings));
    EXPECT_EQ(lists0, inUseOf(lists));
}

}  // namespace
