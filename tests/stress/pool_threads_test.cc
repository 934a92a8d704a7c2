// Threads on one pool at once, as host threads use the object and string
// pools: a closed pool must give exactly its size while records move between
// the threads' caches, double frees racing on one record must release it
// once, the counts must hold at every moment, and threads that end must give
// their records back. Run under ThreadSanitizer by scripts/test-tsan.
#include <atomic>
#include <deque>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "memm.h"
#include "stress_util.h"
#include "zvcommon.h"

namespace {

constexpr int kThreads = 4;

// All threads wait here until every one has arrived.
class Barrier {
public:
    explicit Barrier(int count) : count_(count) {}
    void wait()
    {
        const int round = round_.load();
        if (arrived_.fetch_add(1) + 1 == count_) {
            arrived_.store(0);
            round_.fetch_add(1);
        } else {
            while (round_.load() == round)
                std::this_thread::yield();
        }
    }

private:
    const int count_;
    std::atomic<int> arrived_{0};
    std::atomic<int> round_{0};
};

std::atomic<uint32_t> g_released{0};

int countRelease(void *, memm_release_fn)
{
    g_released.fetch_add(1);
    return 0;
}

std::vector<uint32_t> stats(int pool)
{
    uint32_t used = 0, available = 0, capacity = 0;
    memm_get_stats(pool, &used, &available, &capacity);
    return {used, available, capacity};
}

// Every round, all threads take records until the pool says no: together
// they must get each record exactly once. Then each thread's records are
// freed by two other threads racing, so every record is freed twice at the
// same moment and sits in some other thread's cache for the next round.
TEST(PoolThreads, AClosedPoolGivesExactlyItsSizeWhileDoubleFreesRaceAcrossThreads)
{
    constexpr uint32_t kRecords = 600;
    constexpr int kRounds = 12;
    g_released = 0;
    const int pool = memm_initpool3("exact", kRecords, 40, 0, countRelease);
    ASSERT_EQ(0, memm_disallow_expansion(pool));
    std::vector<std::vector<void *>> taken(kThreads);
    std::vector<std::vector<uint32_t>> counts(kRounds);
    std::vector<std::set<void *>> distinct(kRounds);
    Barrier barrier(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                taken[t].clear();
                while (void *r = memm_alloc(pool))
                    taken[t].push_back(r);
                barrier.wait();
                if (t == 0) {
                    counts[round] = stats(pool);
                    for (const auto &mine : taken)
                        distinct[round].insert(mine.begin(), mine.end());
                }
                barrier.wait();
                for (int other : {(t + 1) % kThreads, (t + 2) % kThreads})
                    for (void *r : taken[other])
                        memm_free(r);
                barrier.wait();
            }
        });
    }
    for (std::thread &t : threads)
        t.join();
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(kRecords, distinct[round].size()) << "round " << round;
        EXPECT_EQ((std::vector<uint32_t>{kRecords, 0, kRecords}), counts[round]) << "round " << round;
    }
    EXPECT_EQ(kRecords * kRounds, g_released.load());
    EXPECT_EQ((std::vector<uint32_t>{0, kRecords, kRecords}), stats(pool));
}

// Producers take records and hand them over a bounded queue to consumers,
// which free them: the producers' caches run dry and they take what sits in
// the consumers' caches while those keep filling them. The pool has a single
// record more than producers, queue and consumers can hold at once, so a
// record is always free somewhere and no take may fail; counts read
// meanwhile must never show more in use than can be.
TEST(PoolThreads, TakesFromOtherThreadsCachesNeverFailWhileARecordIsFreeAndCountsHoldAtEveryMoment)
{
    constexpr uint32_t kProducers = 2, kConsumers = 2, kQueue = 8;
    constexpr uint32_t kMaxInUse = kProducers + kQueue + kConsumers;
    constexpr uint32_t kRecords = kMaxInUse + 1;
    constexpr int kPerProducer = 10000;
    const int pool = memm_initpool3("handover", kRecords, 24, 0, nullptr);
    ASSERT_EQ(0, memm_disallow_expansion(pool));
    std::mutex lock;
    std::deque<void *> queue;
    std::atomic<int> failures{0}, producing{kProducers};
    std::atomic<uint32_t> consumed{0};
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < kProducers; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kPerProducer; ++i) {
                void *r = memm_alloc(pool);
                if (!r) {
                    failures.fetch_add(1);
                    continue;
                }
                for (;;) {
                    {
                        std::lock_guard<std::mutex> g(lock);
                        if (queue.size() < kQueue) {
                            queue.push_back(r);
                            break;
                        }
                    }
                    std::this_thread::yield();
                }
            }
            producing.fetch_sub(1);
        });
    }
    for (uint32_t t = 0; t < kConsumers; ++t) {
        threads.emplace_back([&] {
            for (;;) {
                void *r = nullptr;
                bool done = false;
                {
                    std::lock_guard<std::mutex> g(lock);
                    if (!queue.empty()) {
                        r = queue.front();
                        queue.pop_front();
                    } else {
                        done = producing.load() == 0;
                    }
                }
                if (r) {
                    memm_free(r);
                    consumed.fetch_add(1);
                } else if (done) {
                    return;
                } else {
                    std::this_thread::yield();
                }
            }
        });
    }
    uint32_t reads = 0, outside = 0;
    while (producing.load() > 0) {
        std::vector<uint32_t> now = stats(pool);
        ++reads;
        if (now[0] > kMaxInUse || now[0] + now[1] != kRecords || now[2] != kRecords)
            ++outside;
    }
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(kProducers * kPerProducer, consumed.load());
    EXPECT_EQ(0u, outside) << "of " << reads << " reads";
    EXPECT_EQ((std::vector<uint32_t>{0, kRecords, kRecords}), stats(pool));
}

// Short-lived threads, as a host's worker threads come and go, take strings,
// lists and records, and end holding records freed into their caches while
// the long-lived ones keep taking: nothing may be lost and the closed pool
// must still give its all.
TEST(PoolThreads, ThreadsThatEndGiveTheirCachedRecordsBack)
{
    constexpr uint32_t kRecords = 256;
    const int pool = memm_initpool3("passing", kRecords, 32, 0, nullptr);
    ASSERT_EQ(0, memm_disallow_expansion(pool));
    int strings = MEMM_POOL_NONE, lists = MEMM_POOL_NONE;
    ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings));
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    auto work = [&](int steps) {
        for (int i = 0; i < steps || (steps == 0 && !stop.load()); ++i) {
            void *r = memm_alloc(pool);
            llist_t list = nullptr;
            for (int k = 0; k < 10; ++k)
                if (llist_addobject(&list, dynstr_fromuint32(strings, static_cast<uint32_t>(k)), lists) != 0)
                    failures.fetch_add(1);
            if (!r || llist_count(list) != 10)
                failures.fetch_add(1);
            llist_release(list);
            memm_free(r);
        }
    };
    std::vector<std::thread> stayers;
    for (int t = 0; t < 2; ++t)
        stayers.emplace_back(work, 0);
    for (int wave = 0; wave < 30; ++wave) {
        std::vector<std::thread> passing;
        for (int t = 0; t < 2; ++t)
            passing.emplace_back(work, 50);
        for (std::thread &t : passing)
            t.join();
    }
    stop = true;
    for (std::thread &t : stayers)
        t.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(0u, stress::inUse("zvdynstr"));
    EXPECT_EQ(0u, stress::inUse("zvllist"));
    std::vector<void *> all;
    while (void *r = memm_alloc(pool))
        all.push_back(r);
    EXPECT_EQ(kRecords, all.size());
}

}  // namespace
