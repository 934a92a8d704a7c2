// Host threads answering offers at once against one shared local session,
// while another builds, walks and compares sessions of its own. Run under
// ThreadSanitizer by scripts/test-tsan; in any build it checks that every
// answer comes out as it does on one thread and that nothing is lost.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "rvsdp.h"
#include "stress_util.h"

using namespace stress;

namespace {

constexpr int kHostThreads = 4;
constexpr auto kRunTime = std::chrono::milliseconds(2500);

struct Case {
    const char *offer;
    std::string remoteText;  // the parsed offer, printed
    std::string answerText;  // the filtered answer, printed
    uint32_t copyEqual;      // zvSdpCompare of the parsed offer and its copy
};

// zvSdpCompare of a parsed offer and its copy, on one thread. (Media with
// more than one attribute never compare equal, by design of the walk.)
uint32_t compareWithCopy(const char *offer)
{
    CSdp *remote = nullptr;
    uint32_t equal = 2;
    if (zvSdpConstructFromString(offer, &remote) != ZVSDP_RC_OK)
        return equal;
    CSdp *copy = zvSdpObjConstructCopy(remote);
    if (!copy || zvSdpCompare(remote, copy, &equal) != ZVSDP_RC_OK)
        equal = 2;
    if (copy)
        zvSdpDestruct(&copy);
    zvSdpDestruct(&remote);
    return equal;
}

// One answer as the host makes it; an empty string when any step fails.
std::string answer(const char *offer, CSdp *local, std::string *remoteText)
{
    CSdp *remote = nullptr;
    CSdp *reply = nullptr;
    std::string result;
    if (zvSdpConstructFromString(offer, &remote) == ZVSDP_RC_OK && zvSdpConstruct(&reply) == ZVSDP_RC_OK &&
        zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local, reply, 1) == ZVSDP_RC_OK &&
        zvSdpFilterTelephoneEventsForAdvertisedCodecs(reply) == ZVSDP_RC_OK) {
        result = text(reply);
        if (remoteText)
            *remoteText = text(remote);
    }
    if (reply)
        zvSdpDestruct(&reply);
    if (remote)
        zvSdpDestruct(&remote);
    return result;
}

// A host thread's round: answer, mirror the answer into a stack message,
// copy the offer and compare the copy. The step that went wrong, or NULL.
const char *hostRound(const Case &c, CSdp *local)
{
    std::string remoteText;
    if (answer(c.offer, local, &remoteText) != c.answerText)
        return "answer";
    if (remoteText != c.remoteText)
        return "parsed offer";
    CSdp *remote = nullptr;
    if (zvSdpConstructFromString(c.offer, &remote) != ZVSDP_RC_OK)
        return "parse";
    const char *failed = nullptr;
    CSdp *copy = zvSdpObjConstructCopy(remote);
    uint32_t equal = 0;
    RvSdpMsg msg;
    if (!copy)
        failed = "copy";
    else if (zvSdpCompare(remote, copy, &equal) != ZVSDP_RC_OK || equal != c.copyEqual)
        failed = "compare";
    else if (text(copy) != c.remoteText)
        failed = "copy text";
    else if (zvSdpAppGetRvSdp(copy, &msg) != ZVSDP_RC_OK)
        failed = "zvSdpAppGetRvSdp";
    else {
        if (zvSdpRvMediaCopy(&msg, remote) != ZVSDP_RC_OK)
            failed = "zvSdpRvMediaCopy";
        rvSdpMsgDestruct(&msg);
    }
    if (copy)
        zvSdpDestruct(&copy);
    zvSdpDestruct(&remote);
    return failed;
}

// The fifth thread: builds two sessions alike, walks them and compares.
bool walkerRound(int index)
{
    CSdp *a = nullptr;
    CSdp *b = nullptr;
    if (zvSdpConstruct(&a) != ZVSDP_RC_OK || zvSdpConstruct(&b) != ZVSDP_RC_OK)
        return false;
    for (CSdp *s : {a, b}) {
        CMedia *m = nullptr;
        zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m);
        zvSdpMediaAddPayload(m, 8, "PCMA", 8000, 1, nullptr, nullptr);
        zvSdpMediaAddPayload(m, 97, "AMR", 8000, 1, "octet-align=1", nullptr);
        zvSdpMediaAddAttribute(m, "ptime", std::to_string(10 + index % 50).c_str(), nullptr);
        zvSdpAddMediaDescriptor(s, ZVSDP_MT_IMAGE, ZVSDP_TP_UDPTL, &m);
    }
    uint32_t payloads = 0, media = 0;
    CMedia *m = nullptr;
    for (zvSdpGetFirstMediaDescriptor(a, &m); m; zvSdpGetNextMediaDescriptor(a, m, &m)) {
        ++media;
        CPayload *p = nullptr;
        for (zvSdpMediaGetFirstPayload(m, &p); p; zvSdpMediaGetNextPayload(m, p, &p))
            ++payloads;
    }
    uint32_t equal = 0;
    bool ok = media == 2 && payloads == 2 && zvSdpCompare(a, b, &equal) == ZVSDP_RC_OK && equal == 1 &&
              text(a) == text(b);
    zvSdpDestruct(&a);
    zvSdpDestruct(&b);
    return ok;
}

TEST(ConcurrencyStress, HostThreadsAnswerWhileAnotherWalksAndPoolsEndEmpty)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(32));
    CSdp *local = buildLocal();
    ASSERT_NE(nullptr, local);
    std::vector<Case> cases = {{kPhoneOffer, "", "", 0}, {kTrunkOffer, "", "", 0}, {kVideoOffer, "", "", 0}};
    for (Case &c : cases) {
        c.answerText = answer(c.offer, local, &c.remoteText);
        ASSERT_FALSE(c.answerText.empty()) << c.offer;
        c.copyEqual = compareWithCopy(c.offer);
        ASSERT_NE(2u, c.copyEqual) << c.offer;
    }
    // The local session is shared read-only, as a host shares it.
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadOnly(local));
    const std::string localText = text(local);

    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    const char *firstFailure = "";  // written by the first failing thread only
    std::vector<long> rounds(kHostThreads + 1, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kHostThreads; ++t) {
        threads.emplace_back([&, t] {
            for (long i = 0; !stop.load(std::memory_order_relaxed); ++i) {
                if (const char *step = hostRound(cases[static_cast<size_t>(t + i) % cases.size()], local)) {
                    if (failures.fetch_add(1) == 0)
                        firstFailure = step;
                }
                ++rounds[static_cast<size_t>(t)];
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; !stop.load(std::memory_order_relaxed); ++i) {
            if (!walkerRound(i) && failures.fetch_add(1) == 0)
                firstFailure = "walker";
            ++rounds[kHostThreads];
        }
    });
    std::this_thread::sleep_for(kRunTime);
    stop = true;
    for (std::thread &t : threads)
        t.join();

    EXPECT_EQ(0, failures.load()) << "first failed step: " << firstFailure;
    for (long r : rounds)
        EXPECT_GT(r, 0);
    EXPECT_EQ(localText, text(local));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadWrite(local));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&local));
    for (const char *pool : {"zvsdpsdpobj", "zvsdpmediaobj", "zvsdppayloadobj", "zvsdpattrobj", "zvdynstr", "zvllist"})
        EXPECT_EQ(0u, inUse(pool)) << pool;
    EXPECT_EQ(0u, recordsInUse());
    zvSdpAppDestroy();
}

}  // namespace
