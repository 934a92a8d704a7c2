#include <string.h>

#include "pools.h"
#include "zvcommon.h"

namespace {

constexpr uint32_t kListKind = 0x4c495354u;  // "LIST"
constexpr uint32_t kNodeKind = 0x4e4f4445u;  // "NODE"

struct Node {
    uint32_t kind;
    uint32_t unused;
    Node *next;
    void *object;
};

}  // namespace

// Lists and their nodes are records of the same pool, told apart by `kind`.
struct llist_s {
    uint32_t kind;
    uint32_t count;
    Node *head;
    Node *tail;
};
static_assert(sizeof(llist_s) == sizeof(Node), "lists and nodes share one pool");

namespace zvcommon {

uint32_t listRecordSize()
{
    return sizeof(llist_s);
}

int listReleaseHook(void *record, memm_release_fn release)
{
    llist_s *list = static_cast<llist_s *>(record);
    if (list->kind != kListKind)
        return 0;
    Node *n = list->head;
    list->head = list->tail = nullptr;
    list->count = 0;
    while (n) {
        Node *next = n->next;
        void *object = n->object;
        release(n);
        release(object);
        n = next;
    }
    return 0;
}

}  // namespace zvcommon

using namespace zvcommon;

namespace {

bool isList(const llist_s *list)
{
    return list && list->kind == kListKind;
}

bool validPool(int pool)
{
    return pool != MEMM_POOL_NONE && pool == listPool();
}

// Merge sort of a node chain; stable because ties keep the left run first.
Node *mergeSort(Node *head, uint32_t count, void *arg, llist_compare_fn compare)
{
    if (count < 2)
        return head;
    uint32_t half = count / 2;
    Node *mid = head;
    for (uint32_t i = 1; i < half; ++i)
        mid = mid->next;
    Node *right = mid->next;
    mid->next = nullptr;
    Node *a = mergeSort(head, half, arg, compare);
    Node *b = mergeSort(right, count - half, arg, compare);
    Node merged{};
    Node *tail = &merged;
    while (a && b) {
        if (compare(b->object, a->object, arg) < 0) {
            tail->next = b;
            b = b->next;
        } else {
            tail->next = a;
            a = a->next;
        }
        tail = tail->next;
    }
    tail->next = a ? a : b;
    return merged.next;
}

}  // namespace

extern "C" {

llist_t llist_create(int pool)
{
    if (!validPool(pool))
        return nullptr;
    llist_s *list = static_cast<llist_s *>(memm_alloc(pool));
    if (list)
        list->kind = kListKind;
    return list;
}

int llist_addobject(llist_t *list, void *object, int pool)
{
    if (!list || !object || !validPool(pool) || (*list && !isList(*list)))
        return -1;
    // Walks go by object (llist_getnext), so an object listed twice would
    // send every walk round the same stretch for ever.
    if (llist_contains(*list, object))
        return -1;
    Node *node = static_cast<Node *>(memm_alloc(pool));
    if (!node)
        return -1;
    node->kind = kNodeKind;
    node->object = object;
    if (!*list) {
        *list = llist_create(pool);
        if (!*list) {
            memm_free(node);
            return -1;
        }
    }
    llist_s *l = *list;
    if (l->tail)
        l->tail->next = node;
    else
        l->head = node;
    l->tail = node;
    l->count++;
    return 0;
}

void *llist_getnext(llist_t list, const void *after)
{
    if (!isList(list) || !list->head)
        return nullptr;
    if (!after)
        return list->head->object;
    for (Node *n = list->head; n; n = n->next)
        if (n->object == after)
            return n->next ? n->next->object : nullptr;
    return nullptr;
}

int llist_contains(llist_t list, const void *object)
{
    if (!isList(list) || !object)
        return 0;
    for (Node *n = list->head; n; n = n->next)
        if (n->object == object)
            return 1;
    return 0;
}

int llist_removeobject(llist_t list, const void *object)
{
    if (!isList(list) || !object)
        return -1;
    Node *prev = nullptr;
    for (Node *n = list->head; n; prev = n, n = n->next) {
        if (n->object != object)
            continue;
        if (prev)
            prev->next = n->next;
        else
            list->head = n->next;
        if (list->tail == n)
            list->tail = prev;
        list->count--;
        memm_free(n);
        return 0;
    }
    return -1;
}

uint32_t llist_count(llist_t list)
{
    return isList(list) ? list->count : 0;
}

void llist_release(llist_t list)
{
    memm_free(list);
}

int llist_sort_ex(llist_t list, void *arg, llist_compare_fn compare)
{
    if (!compare)
        return -1;
    if (!isList(list) || list->count < 2)
        return 0;
    list->head = mergeSort(list->head, list->count, arg, compare);
    Node *n = list->head;
    while (n->next)
        n = n->next;
    list->tail = n;
    return 0;
}

}  // extern "C"
