// RFC 3264 answers from host threads at once, from text and from stack
// messages, against one shared read-only local session, while another
// thread builds and destroys sessions in the same pools: every answer is the
// one a lone thread gets, and the pools end as they began.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "rvsdp.h"
#include "stress_util.h"

using namespace stress;

namespace {

std::string answer(const char *offer, CSdp *local, bool fromMessage)
{
    char text[2048];
    uint32_t length = sizeof text;
    uint32_t rc;
    if (fromMessage) {
        RvSdpMsg message;
        rvSdpMsgConstructParse(&message, offer, nullptr, nullptr);
        rc = zvSdpHelperAnswerRvOffer(&message, local, nullptr, text, &length);
        rvSdpMsgDestruct(&message);
    } else {
        rc = zvSdpHelperAnswerOffer(offer, local, nullptr, text, &length);
    }
    return rc == ZVSDP_RC_OK ? std::string(text, length) : "<error " + std::to_string(rc) + ">";
}

TEST(AnswerStress, HostThreadsAnswerFromOneLocalSessionWhileSessionsComeAndGo)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(32));
    CSdp *local = buildLocal();
    ASSERT_NE(nullptr, local);
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadOnly(local));
    const uint32_t before = inUse();
    const std::vector<const char *> offers = {kPhoneOffer, kTrunkOffer, kVideoOffer};
    std::vector<std::string> expected;
    for (const char *offer : offers) {
        expected.push_back(answer(offer, local, false));
        ASSERT_EQ(expected.back(), answer(offer, local, true));
        ASSERT_EQ(0u, expected.back().find("m=audio 16000 ")) << expected.back();
    }

    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (size_t i = 0; !stop.load(std::memory_order_relaxed); ++i) {
                const size_t c = (static_cast<size_t>(t) + i) % offers.size();
                if (answer(offers[c], local, (i + static_cast<size_t>(t)) % 2 == 0) != expected[c])
                    failures.fetch_add(1);
            }
        });
    }
    threads.emplace_back([&] {
        while (!stop.load(std::memory_order_relaxed)) {
            CSdp *remote = nullptr;
            if (zvSdpConstructFromString(kTrunkOffer, &remote) != ZVSDP_RC_OK || zvSdpDestruct(&remote) != ZVSDP_RC_OK)
                failures.fetch_add(1);
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    stop = true;
    for (std::thread &t : threads)
        t.join();

    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(before, inUse());
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadWrite(local));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&local));
    EXPECT_EQ(0u, inUse());
    zvSdpAppDestroy();
}

}  // namespace
