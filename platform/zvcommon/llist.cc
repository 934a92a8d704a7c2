#include <string.h>

#include "pools.h"
#include "zvcommon.h"

namespace {

constexpr uint32_t kListKind = 0x4c495354u;   // "LIST"
constexpr uint32_t kChunkKind = 0x4348554eu;  // "CHUN"
// Objects held in one record: a media's payloads usually fit in the list's
// own record.
constexpr uint32_t kPerRecord = 8;

}  // namespace

// A list is one record of the list pool holding its first objects; further
// records of the same pool (chunks) hold the rest, kPerRecord each, in
// order. Every record but the last is full, so object i lives in record
// i / kPerRecord at i % kPerRecord. The places behind the last object hold
// NULL (records come zero-filled, and removal clears the place it empties):
// as no object is NULL, a search by object needs no count.
struct llist_s {
    llist_s *next;  // the next chunk; first, since a free record's first word is the pool's
    uint32_t kind;  // kListKind for the list itself, kChunkKind for its chunks, 0 once released
    uint32_t count; // objects in the whole list (list record only)
    void *objects[kPerRecord];
};

namespace zvcommon {

uint32_t listRecordSize()
{
    return sizeof(llist_s);
}

int listReleaseHook(void *record, memm_release_fn release)
{
    llist_s *list = static_cast<llist_s *>(record);
    bool isList = list->kind == kListKind;
    // A stale handle to a released list reads as no list.
    list->kind = 0;
    if (!isList)
        return 0;
    uint32_t left = list->count;
    list->count = 0;
    for (llist_s *r = list; r && left;) {
        llist_s *next = r->next;
        uint32_t n = left < kPerRecord ? left : kPerRecord;
        for (uint32_t i = 0; i < n; ++i)
            release(r->objects[i]);
        left -= n;
        if (r != list)
            release(r);
        r = next;
    }
    return 0;
}

}  // namespace zvcommon

using namespace zvcommon;

namespace {

inline bool isList(const llist_s *list)
{
    return list && list->kind == kListKind;
}

inline bool validPool(int pool)
{
    return isListPool(pool);
}

// Whether one record holds `object` (not NULL); unrolled, as the places
// past the last object hold NULL.
inline bool holds(const llist_s *r, const void *object)
{
    void *const *o = r->objects;
    static_assert(kPerRecord == 8, "the search below covers 8 places");
    return o[0] == object || o[1] == object || o[2] == object || o[3] == object || o[4] == object ||
           o[5] == object || o[6] == object || o[7] == object;
}

// Whether the first n (below kPerRecord) places of record r hold `object`:
// one jump into an unrolled search, so that a short list costs little.
inline bool holdsFirst(const llist_s *r, uint32_t n, const void *object)
{
    void *const *o = r->objects;
    switch (n) {
    case 7:
        if (o[6] == object)
            return true;
        [[fallthrough]];
    case 6:
        if (o[5] == object)
            return true;
        [[fallthrough]];
    case 5:
        if (o[4] == object)
            return true;
        [[fallthrough]];
    case 4:
        if (o[3] == object)
            return true;
        [[fallthrough]];
    case 3:
        if (o[2] == object)
            return true;
        [[fallthrough]];
    case 2:
        if (o[1] == object)
            return true;
        [[fallthrough]];
    case 1:
        return o[0] == object;
    default:
        return false;
    }
}

// llist_addobject to no list yet: a new one holding `object`.
__attribute__((noinline)) int addToNewList(llist_t *list, void *object, int pool)
{
    llist_s *l = static_cast<llist_s *>(memm_alloc(pool));
    if (!l)
        return -1;
    l->kind = kListKind;
    l->objects[0] = object;
    l->count = 1;
    *list = l;
    return 0;
}

// The object after the one at the last place of record `r`.
inline void *firstAfter(const llist_s *r)
{
    return r->next ? r->next->objects[0] : nullptr;
}

// llist_getnext beyond the list's own record.
__attribute__((noinline)) void *nextInChunks(const llist_s *r, const void *after)
{
    for (r = r->next; r; r = r->next) {
        for (uint32_t j = 0; j + 1 < kPerRecord; ++j)
            if (r->objects[j] == after)
                return r->objects[j + 1];
        if (r->objects[kPerRecord - 1] == after)
            return firstAfter(r);
    }
    return nullptr;
}

// llist_addobject to a list that fills its own record: the duplicate
// search covers every record, and a full last record gets a chunk behind it.
__attribute__((noinline)) int addToLongList(llist_s *l, void *object, int pool)
{
    llist_s *last = l;
    for (llist_s *r = l; r; r = r->next) {
        if (holds(r, object))
            return -1;
        last = r;
    }
    uint32_t at = l->count % kPerRecord;
    if (at == 0) {
        llist_s *chunk = static_cast<llist_s *>(memm_alloc(pool));
        if (!chunk)
            return -1;
        chunk->kind = kChunkKind;
        last->next = chunk;
        last = chunk;
    }
    last->objects[at] = object;
    l->count++;
    return 0;
}

// Object positions in a list, read and written in order or nearly so: each
// step costs O(1), a jump back restarts from the list's own record.
class Cursor {
public:
    explicit Cursor(llist_s *list) : list_(list), record_(list), base_(0) {}

    void *&at(uint32_t i)
    {
        if (i < base_) {
            record_ = list_;
            base_ = 0;
        }
        while (i - base_ >= kPerRecord) {
            record_ = record_->next;
            base_ += kPerRecord;
        }
        return record_->objects[i - base_];
    }

private:
    llist_s *list_;
    llist_s *record_;
    uint32_t base_;
};

// Objects held by the record whose first object is object `base`.
inline uint32_t heldBy(const llist_s *list, uint32_t base)
{
    uint32_t left = list->count - base;
    return left < kPerRecord ? left : kPerRecord;
}

// The position of `object`, or UINT32_MAX.
uint32_t indexOf(const llist_s *list, const void *object)
{
    const llist_s *r = list;
    for (uint32_t base = 0; base < list->count; base += kPerRecord, r = r->next) {
        for (uint32_t j = 0, n = heldBy(list, base); j < n; ++j)
            if (r->objects[j] == object)
                return base + j;
    }
    return UINT32_MAX;
}

// ---- stable sort ------------------------------------------------------------
// Top-down merge sort, halves split as count / 2 with ties kept in order.
// Runs whose left half fits the stack buffer merge through it; longer ones
// merge in place by rotation, so no list is too long to sort and none needs
// memory from elsewhere.

constexpr uint32_t kMergeBuffer = 32;

struct Sorter {
    llist_s *list;
    void *arg;
    llist_compare_fn compare;

    bool before(void *a, void *b) { return compare(a, b, arg) < 0; }

    void reverse(uint32_t lo, uint32_t hi)
    {
        Cursor front(list), back(list);
        while (lo + 1 < hi) {
            void *&a = front.at(lo++);
            void *&b = back.at(--hi);
            void *t = a;
            a = b;
            b = t;
        }
    }

    void rotate(uint32_t lo, uint32_t mid, uint32_t hi)
    {
        reverse(lo, mid);
        reverse(mid, hi);
        reverse(lo, hi);
    }

    // First position in [lo, hi) whose object does not sort before `v`
    // (`strict`), or that sorts after it.
    uint32_t bound(uint32_t lo, uint32_t hi, void *v, bool strict)
    {
        Cursor cursor(list);
        while (lo < hi) {
            uint32_t m = lo + (hi - lo) / 2;
            bool goRight = strict ? before(cursor.at(m), v) : !before(v, cursor.at(m));
            if (goRight)
                lo = m + 1;
            else
                hi = m;
        }
        return lo;
    }

    void mergeInPlace(uint32_t lo, uint32_t mid, uint32_t hi)
    {
        if (lo == mid || mid == hi)
            return;
        Cursor cursor(list);
        if (hi - lo == 2) {
            if (before(cursor.at(mid), cursor.at(lo)))
                rotate(lo, mid, hi);
            return;
        }
        uint32_t cut1, cut2;
        if (mid - lo >= hi - mid) {
            cut1 = lo + (mid - lo) / 2;
            cut2 = bound(mid, hi, cursor.at(cut1), true);
        } else {
            cut2 = mid + (hi - mid) / 2;
            cut1 = bound(lo, mid, cursor.at(cut2), false);
        }
        rotate(cut1, mid, cut2);
        uint32_t newMid = cut1 + (cut2 - mid);
        mergeInPlace(lo, cut1, newMid);
        mergeInPlace(newMid, cut2, hi);
    }

    // Compares as a merge of two linked runs does: the right run's head
    // against the left run's, the left one first on ties.
    void merge(uint32_t lo, uint32_t mid, uint32_t hi)
    {
        if (mid - lo > kMergeBuffer) {
            mergeInPlace(lo, mid, hi);
            return;
        }
        void *left[kMergeBuffer];
        Cursor in(list), out(list);
        for (uint32_t i = lo; i < mid; ++i)
            left[i - lo] = in.at(i);
        uint32_t a = 0, b = mid, to = lo;
        const uint32_t na = mid - lo;
        while (a < na && b < hi) {
            void *right = in.at(b);
            if (before(right, left[a])) {
                out.at(to++) = right;
                ++b;
            } else {
                out.at(to++) = left[a++];
            }
        }
        while (a < na)
            out.at(to++) = left[a++];
    }

    void sort(uint32_t lo, uint32_t n)
    {
        if (n < 2)
            return;
        uint32_t half = n / 2;
        sort(lo, half);
        sort(lo + half, n - half);
        merge(lo, lo + half, lo + n);
    }
};

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
    if (!list || !object || !validPool(pool))
        return -1;
    llist_s *l = *list;
    if (!l)
        return addToNewList(list, object, pool);
    if (!isList(l))
        return -1;
    // Walks go by object (llist_getnext), so an object listed twice would
    // send every walk round the same stretch for ever.
    uint32_t n = l->count;
    if (__builtin_expect(n >= kPerRecord, 0))
        return addToLongList(l, object, pool);
    if (holdsFirst(l, n, object))
        return -1;
    l->objects[n] = object;
    l->count = n + 1;
    return 0;
}

void *llist_getnext(llist_t list, const void *after)
{
    if (!isList(list))
        return nullptr;
    void *const *o = list->objects;
    if (!after)
        return o[0];
    // The place found first, the object read after: each test is then one
    // comparison with memory. A place past the last object holds NULL,
    // which is then the answer.
    unsigned next;
    if (o[0] == after)
        next = 1;
    else if (o[1] == after)
        next = 2;
    else if (o[2] == after)
        next = 3;
    else if (o[3] == after)
        next = 4;
    else if (o[4] == after)
        next = 5;
    else if (o[5] == after)
        next = 6;
    else if (o[6] == after)
        next = 7;
    else if (o[7] == after)
        return firstAfter(list);
    else
        return list->next ? nextInChunks(list, after) : nullptr;
    return o[next];
}

int llist_contains(llist_t list, const void *object)
{
    return isList(list) && object && indexOf(list, object) != UINT32_MAX;
}

int llist_removeobject(llist_t list, const void *object)
{
    if (!isList(list) || !object)
        return -1;
    uint32_t i = indexOf(list, object);
    if (i == UINT32_MAX)
        return -1;
    // Close the gap, so that every record but the last stays full, and
    // clear the place that empties.
    Cursor cursor(list);
    for (uint32_t k = i; k + 1 < list->count; ++k)
        cursor.at(k) = cursor.at(k + 1);
    cursor.at(list->count - 1) = nullptr;
    list->count--;
    if (list->count > 0 && list->count % kPerRecord == 0) {
        llist_s *r = list;
        for (uint32_t k = kPerRecord; k < list->count; k += kPerRecord)
            r = r->next;
        llist_s *emptied = r->next;
        r->next = nullptr;
        memm_free(emptied);
    }
    return 0;
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
    Sorter sorter{list, arg, compare};
    sorter.sort(0, list->count);
    return 0;
}

}  // extern "C"
