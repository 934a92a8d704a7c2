// What the platform libraries cost per call on their hot paths: a record
// taken from and given back to a pool, a string made and released, a list
// of eight objects built, walked and released; each alone and from two
// threads at once.
//
//   bench_platform [benchmark flags]   the benchmarks
//   bench_platform --one-call          one warm-up round, then 1000 rounds of
//                                      each hot call in a function of its own,
//                                      for callgrind's --toggle-collect (divide
//                                      its count by 1000):
//                                        zvbench_platform_alloc    memm_alloc of a
//                                                                  40-byte record
//                                        zvbench_platform_free     memm_free of it
//                                                                  (pool without hook)
//                                        zvbench_platform_fromstr  dynstr_fromstr of
//                                                                  a 10-character text
//                                        zvbench_platform_release  dynstr_release of it
//                                        zvbench_platform_add      llist_addobject, per
//                                                                  object of a list of 8
//                                        zvbench_platform_getnext  llist_getnext, per
//                                                                  step of its walk
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <string.h>

#include "memm.h"
#include "zvcommon.h"

namespace {

int g_records = MEMM_POOL_NONE;
int g_strings = MEMM_POOL_NONE;
int g_lists = MEMM_POOL_NONE;

void setUp()
{
    if (g_records != MEMM_POOL_NONE)
        return;
    g_records = memm_initpool3("bench", 1024, 40, 0, nullptr);
    memm_disallow_expansion(g_records);
    if (g_records == MEMM_POOL_NONE || zvPbxCommonGetGlobalDynstrPool(&g_strings) != 0 ||
        zvPbxCommonGetGlobalLinkedListPool(&g_lists) != 0) {
        fprintf(stderr, "bench_platform: pools could not be made\n");
        exit(1);
    }
}

void allocFree(benchmark::State &state)
{
    setUp();
    for (auto _ : state) {
        void *r = memm_alloc(g_records);
        benchmark::DoNotOptimize(r);
        memm_free(r);
    }
}

void stringRoundTrip(benchmark::State &state)
{
    setUp();
    for (auto _ : state) {
        dynstr_t s = dynstr_fromstr(g_strings, "telephone-event");
        benchmark::DoNotOptimize(dynstr_isdynstring(s));
        dynstr_release(s);
    }
}

void listOfEight(benchmark::State &state)
{
    setUp();
    dynstr_t objects[8];
    for (dynstr_t &o : objects)
        o = dynstr_fromstr(g_strings, "x");
    for (auto _ : state) {
        llist_t list = nullptr;
        for (dynstr_t o : objects)
            llist_addobject(&list, o, g_lists);
        int n = 0;
        for (void *p = llist_getnext(list, nullptr); p; p = llist_getnext(list, p))
            ++n;
        benchmark::DoNotOptimize(n);
        for (dynstr_t o : objects)
            llist_removeobject(list, o);
        llist_release(list);
    }
    for (dynstr_t o : objects)
        dynstr_release(o);
}

}  // namespace

extern "C" __attribute__((noinline)) void *zvbench_platform_alloc(int pool)
{
    return memm_alloc(pool);
}

extern "C" __attribute__((noinline)) void zvbench_platform_free(void *record)
{
    memm_free(record);
}

extern "C" __attribute__((noinline)) dynstr_t zvbench_platform_fromstr(int pool, const char *text)
{
    return dynstr_fromstr(pool, text);
}

extern "C" __attribute__((noinline)) void zvbench_platform_release(dynstr_t s)
{
    dynstr_release(s);
}

// Eight calls each, so that the figure per call is the count / 8000.
extern "C" __attribute__((noinline)) int zvbench_platform_add(llist_t *list, void *const *objects, int pool)
{
    int rc = 0;
    for (int i = 0; i < 8; ++i)
        rc |= llist_addobject(list, objects[i], pool);
    return rc;
}

extern "C" __attribute__((noinline)) int zvbench_platform_getnext(llist_t list)
{
    int n = 0;
    for (void *p = llist_getnext(list, nullptr); p; p = llist_getnext(list, p))
        ++n;
    return n;
}

BENCHMARK(allocFree)->Threads(1)->Threads(2);
BENCHMARK(stringRoundTrip)->Threads(1)->Threads(2);
BENCHMARK(listOfEight)->Threads(1)->Threads(2);

int main(int argc, char **argv)
{
    if (argc >= 2 && strcmp(argv[1], "--one-call") == 0) {
        setUp();
        memm_free(memm_alloc(g_records));  // the thread's caches are made here
        dynstr_t objects[8];
        for (dynstr_t &o : objects)
            o = dynstr_fromstr(g_strings, "x");
        llist_release(llist_create(g_lists));
        bool ok = true;
        for (int i = 0; i < 1000; ++i) {
            void *r = zvbench_platform_alloc(g_records);
            zvbench_platform_free(r);
            dynstr_t s = zvbench_platform_fromstr(g_strings, "0123456789");
            zvbench_platform_release(s);
            llist_t list = nullptr;
            ok = ok && r && s && zvbench_platform_add(&list, reinterpret_cast<void *const *>(objects), g_lists) == 0;
            ok = ok && zvbench_platform_getnext(list) == 8;
            for (dynstr_t o : objects)
                llist_removeobject(list, o);
            llist_release(list);
        }
        for (dynstr_t o : objects)
            dynstr_release(o);
        return ok ? 0 : 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
