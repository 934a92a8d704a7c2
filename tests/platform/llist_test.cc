#include <gtest/gtest.h>

#include <vector>

#include "memm.h"
#include "zvcommon.h"

namespace {

struct Item {
    int key;
    int seq;
    std::vector<int> *released;
    dynstr_t label;
};

int itemHook(void *record, memm_release_fn release)
{
    Item *item = static_cast<Item *>(record);
    if (item->released)
        item->released->push_back(item->seq);
    release(item->label);
    return 0;
}

class List : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
        ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
        items = memm_initpool3("items", 16, sizeof(Item), 0, itemHook);
        ASSERT_NE(MEMM_POOL_NONE, items);
    }

    Item *item(int key, int seq)
    {
        Item *it = static_cast<Item *>(memm_alloc(items));
        EXPECT_NE(nullptr, it);
        it->key = key;
        it->seq = seq;
        it->released = &released;
        return it;
    }

    std::vector<void *> walk(llist_t list)
    {
        std::vector<void *> out;
        for (void *p = llist_getnext(list, nullptr); p; p = llist_getnext(list, p))
            out.push_back(p);
        return out;
    }

    static uint32_t inUse(int pool)
    {
        uint32_t n = 0;
        memm_get_stats(pool, &n, nullptr, nullptr);
        return n;
    }

    int lists = MEMM_POOL_NONE, strings = MEMM_POOL_NONE, items = MEMM_POOL_NONE;
    std::vector<int> released;
};

TEST_F(List, AppendWalkContainsAndRemove)
{
    llist_t list = nullptr;
    Item *a = item(0, 1), *b = item(0, 2), *c = item(0, 3), *stranger = item(0, 4);
    EXPECT_EQ(-1, llist_addobject(&list, nullptr, lists));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(-1, llist_addobject(&list, a, strings));
    EXPECT_EQ(-1, llist_addobject(nullptr, a, lists));
    EXPECT_EQ(nullptr, list);

    ASSERT_EQ(0, llist_addobject(&list, a, lists));
    ASSERT_NE(nullptr, list);
    ASSERT_EQ(0, llist_addobject(&list, b, lists));
    ASSERT_EQ(0, llist_addobject(&list, c, lists));
    // Listed twice, a would send every walk back from b to a.
    EXPECT_EQ(-1, llist_addobject(&list, a, lists));
    EXPECT_EQ((std::vector<void *>{a, b, c}), walk(list));
    EXPECT_EQ(3u, llist_count(list));
    EXPECT_EQ(1, llist_contains(list, b));
    EXPECT_EQ(0, llist_contains(list, stranger));
    EXPECT_EQ(0, llist_contains(list, nullptr));
    EXPECT_EQ(nullptr, llist_getnext(list, stranger));
    EXPECT_EQ(nullptr, llist_getnext(list, c));
    EXPECT_EQ(nullptr, llist_getnext(nullptr, nullptr));

    EXPECT_EQ(-1, llist_removeobject(list, stranger));
    EXPECT_EQ(3u, llist_count(list));
    // Removing the tail must move it: the next append goes after b.
    EXPECT_EQ(0, llist_removeobject(list, c));
    ASSERT_EQ(0, llist_addobject(&list, stranger, lists));
    EXPECT_EQ((std::vector<void *>{a, b, stranger}), walk(list));
    EXPECT_EQ(0, llist_removeobject(list, a));
    EXPECT_EQ(0, llist_removeobject(list, stranger));
    EXPECT_EQ(0, llist_removeobject(list, b));
    EXPECT_EQ(0u, llist_count(list));
    EXPECT_EQ(nullptr, llist_getnext(list, nullptr));
    EXPECT_EQ(-1, llist_removeobject(list, b));
    // Emptied completely, the list still appends.
    ASSERT_EQ(0, llist_addobject(&list, c, lists));
    EXPECT_EQ((std::vector<void *>{c}), walk(list));

    EXPECT_TRUE(released.empty());  // removing never frees the object
    EXPECT_EQ(1, memm_isvalidobjfrompool(items, a));
    llist_release(list);
    EXPECT_EQ((std::vector<int>{3}), released);
}

TEST_F(List, ReleaseFreesEveryObjectInOrderThroughItsHook)
{
    uint32_t strings0 = inUse(strings), lists0 = inUse(lists);
    llist_t list = nullptr;
    for (int seq : {5, 1, 4, 2}) {
        Item *it = item(0, seq);
        it->label = dynstr_fromprintf(strings, "item %d", seq);
        ASSERT_EQ(0, llist_addobject(&list, it, lists));
    }
    // A list inside a list: the release function frees lists too.
    llist_t inner = nullptr;
    ASSERT_EQ(0, llist_addobject(&inner, item(0, 9), lists));
    ASSERT_EQ(0, llist_addobject(&list, inner, lists));

    memm_free(list);  // what a release hook does with an owned list
    EXPECT_EQ((std::vector<int>{5, 1, 4, 2, 9}), released);
    EXPECT_EQ(0u, inUse(items));
    EXPECT_EQ(strings0, inUse(strings));
    EXPECT_EQ(lists0, inUse(lists));

    llist_t another = nullptr;
    ASSERT_EQ(0, llist_addobject(&another, item(0, 6), lists));
    llist_release(another);
    llist_release(nullptr);
    EXPECT_EQ(6, released.back());
    EXPECT_EQ(lists0, inUse(lists));
}

int byKey(const void *a, const void *b, void *arg)
{
    ++*static_cast<int *>(arg);
    return static_cast<const Item *>(a)->key - static_cast<const Item *>(b)->key;
}

TEST_F(List, SortIsStableAndPassesItsArgument)
{
    const int keys[] = {3, 1, 2, 1, 3, 0, 2, 1, 0, 3, 2};
    llist_t list = nullptr;
    int seq = 0;
    for (int k : keys)
        ASSERT_EQ(0, llist_addobject(&list, item(k, seq++), lists));

    int calls = 0;
    ASSERT_EQ(0, llist_sort_ex(list, &calls, byKey));
    EXPECT_GT(calls, 0);
    std::vector<void *> sorted = walk(list);
    ASSERT_EQ(11u, sorted.size());
    for (size_t i = 1; i < sorted.size(); ++i) {
        const Item *prev = static_cast<Item *>(sorted[i - 1]), *cur = static_cast<Item *>(sorted[i]);
        ASSERT_LE(prev->key, cur->key);
        if (prev->key == cur->key) {
            EXPECT_LT(prev->seq, cur->seq) << "equal keys must keep their order";
        }
    }
    // The tail follows the sort: an append lands after the largest.
    Item *last = item(-1, 99);
    ASSERT_EQ(0, llist_addobject(&list, last, lists));
    EXPECT_EQ(nullptr, llist_getnext(list, last));
    EXPECT_EQ(last, llist_getnext(list, sorted.back()));
    EXPECT_EQ(12u, llist_count(list));

    EXPECT_EQ(-1, llist_sort_ex(list, &calls, nullptr));
    EXPECT_EQ(0, llist_sort_ex(nullptr, &calls, byKey));
    llist_release(list);
    EXPECT_EQ(12u, released.size());
}

TEST_F(List, RefusesWrongPoolsAndHandles)
{
    EXPECT_EQ(nullptr, llist_create(strings));
    EXPECT_EQ(nullptr, llist_create(MEMM_POOL_NONE));
    EXPECT_EQ(0u, llist_count(nullptr));
    // A handle that is no list is not appended to.
    Item *notAList = item(1, 1), *other = item(2, 2);
    llist_t fake = reinterpret_cast<llist_t>(notAList);
    EXPECT_EQ(-1, llist_addobject(&fake, other, lists));
    EXPECT_EQ(nullptr, llist_getnext(fake, nullptr));
    EXPECT_EQ(0, llist_contains(fake, other));
    EXPECT_EQ(-1, llist_removeobject(fake, other));
    EXPECT_EQ(0u, llist_count(fake));
    EXPECT_EQ(1, notAList->key);
}

}  // namespace
