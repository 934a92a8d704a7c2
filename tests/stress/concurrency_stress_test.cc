// Host threads answering offers at once against one shared local session and
// changing one media they all share while printing it, while another thread
// builds, copies, walks and compares sessions of its own. Run under
// ThreadSanitizer by scripts/test-tsan, this is the check that the class
// locks cover the object operations; in any build it checks that every round
// comes out as it does on one thread and that nothing is lost.
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

// A host's round on one offer: parse, answer against the local session,
// print, copy, compare with the copy and mirror the copy into a stack
// message. Returns what came out, failed steps marked by "!" (a session
// that does not print shows as "<error>"), so a round on a thread can be
// held against the same round on one thread.
std::string hostRound(const char *offer, CSdp *local)
{
    CSdp *remote = nullptr;
    CSdp *reply = nullptr;
    if (zvSdpConstructFromString(offer, &remote) != ZVSDP_RC_OK)
        return "!parse";
    std::string out = text(remote) + "|";
    if (zvSdpConstruct(&reply) == ZVSDP_RC_OK &&
        zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local, reply, 1) == ZVSDP_RC_OK &&
        zvSdpFilterTelephoneEventsForAdvertisedCodecs(reply) == ZVSDP_RC_OK)
        out += text(reply);
    else
        out += "!answer";
    if (reply)
        zvSdpDestruct(&reply);

    // (Media with more than one attribute never compare equal to their copy,
    // by design of the walk: the transcript just has to stay the same.)
    CSdp *copy = zvSdpObjConstructCopy(remote);
    uint32_t equal = 2;
    RvSdpMsg msg;
    if (!copy || zvSdpCompare(remote, copy, &equal) != ZVSDP_RC_OK) {
        out += "|!copy";
    } else {
        out += "|equal " + std::to_string(equal) + (text(copy) == text(remote) ? "" : "|!copy text");
        if (zvSdpAppGetRvSdp(copy, &msg) != ZVSDP_RC_OK) {
            out += "|!zvSdpAppGetRvSdp";
        } else {
            if (zvSdpRvMediaCopy(&msg, remote) != ZVSDP_RC_OK)
                out += "|!zvSdpRvMediaCopy";
            rvSdpMsgDestruct(&msg);
        }
    }
    if (copy)
        zvSdpDestruct(&copy);
    zvSdpDestruct(&remote);
    return out;
}

// Each host thread also adds a line of its own to the shared media, moves
// its port, prints the session around it and takes the line out again.
bool sharedMediaRound(int thread, CSdp *common)
{
    CMedia *media = zvSdpObjGetMedia(common, nullptr);
    const std::string value = std::to_string(thread);
    CAttribute *mine = zvSdpAttrObjConstruct("x-thread", value.c_str());
    if (!media || !mine)
        return false;
    zvSdpMediaObjAddAttribute(media, mine);
    zvSdpMediaObjSetPort(media, 4000 + static_cast<uint32_t>(thread));
    const std::string printed = text(common);
    zvSdpMediaObjRemoveAttribute(media, mine);
    return printed.rfind("m=audio ", 0) == 0 && printed.find("a=x-thread:" + value + "\n") != std::string::npos;
}

// The fifth thread: builds a session, copies its media into a second one,
// walks the first, compares the two and tries to destroy a protected one.
bool walkerRound(int index)
{
    CSdp *a = nullptr;
    CSdp *b = nullptr;
    CMedia *m = nullptr;
    if (zvSdpConstruct(&a) != ZVSDP_RC_OK || zvSdpConstruct(&b) != ZVSDP_RC_OK)
        return false;
    zvSdpAddMediaDescriptor(a, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m);
    zvSdpMediaAddPayload(m, 8, "PCMA", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddPayload(m, 97, "AMR", 8000, 1, "octet-align=1", nullptr);
    zvSdpMediaAddAttribute(m, "ptime", std::to_string(10 + index % 50).c_str(), nullptr);
    zvSdpAddMediaDescriptor(a, ZVSDP_MT_IMAGE, ZVSDP_TP_UDPTL, &m);
    uint32_t payloads = 0, media = 0, equal = 0;
    for (zvSdpGetFirstMediaDescriptor(a, &m); m; zvSdpGetNextMediaDescriptor(a, m, &m)) {
        ++media;
        CPayload *p = nullptr;
        for (zvSdpMediaGetFirstPayload(m, &p); p; zvSdpMediaGetNextPayload(m, p, &p))
            ++payloads;
    }
    const bool ok = media == 2 && payloads == 2 && zvSdpCopyMediaCapabilities(b, a) == ZVSDP_RC_OK &&
                    zvSdpCompare(a, b, &equal) == ZVSDP_RC_OK && equal == 1 && text(a) == text(b) &&
                    zvSdpAppSetReadOnly(a) == ZVSDP_RC_OK && zvSdpDestruct(&a) == ZVSDP_RC_NOT_ALLOWED &&
                    zvSdpAppSetReadWrite(a) == ZVSDP_RC_OK;
    zvSdpDestruct(&a);
    zvSdpDestruct(&b);
    return ok;
}

TEST(ConcurrencyStress, HostThreadsAnswerAndShareAMediaWhileAnotherWalksAndPoolsEndEmpty)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(32));
    CSdp *local = buildLocal();
    ASSERT_NE(nullptr, local);
    const std::vector<const char *> offers = {kPhoneOffer, kTrunkOffer, kVideoOffer};
    std::vector<std::string> expected;
    for (const char *offer : offers) {
        expected.push_back(hostRound(offer, local));
        ASSERT_EQ(std::string::npos, expected.back().find_first_of("!<")) << expected.back();
    }
    // The local session is shared read-only, as a host shares it.
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadOnly(local));
    const std::string localText = text(local);
    CSdp *common = nullptr;
    CMedia *commonMedia = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&common));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(common, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &commonMedia));
    zvSdpMediaSetPort(commonMedia, 5004);
    zvSdpMediaAddPayload(commonMedia, 0, "PCMU", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddAttribute(commonMedia, "sendrecv", nullptr, nullptr);
    const std::string commonText = text(common);

    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::string firstFailure;  // written by the first failing thread only
    auto fail = [&](const std::string &what) {
        if (failures.fetch_add(1) == 0)
            firstFailure = what;
    };
    std::vector<long> rounds(kHostThreads + 1, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kHostThreads; ++t) {
        threads.emplace_back([&, t] {
            for (size_t i = 0; !stop.load(std::memory_order_relaxed); ++i) {
                const size_t c = (static_cast<size_t>(t) + i) % offers.size();
                const std::string got = hostRound(offers[c], local);
                if (got != expected[c])
                    fail(got);
                if (!sharedMediaRound(t, common))
                    fail("shared media");
                ++rounds[static_cast<size_t>(t)];
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; !stop.load(std::memory_order_relaxed); ++i) {
            if (!walkerRound(i))
                fail("walker");
            ++rounds[kHostThreads];
        }
    });
    std::this_thread::sleep_for(kRunTime);
    stop = true;
    for (std::thread &t : threads)
        t.join();

    EXPECT_EQ(0, failures.load()) << "first failure: " << firstFailure;
    for (long r : rounds)
        EXPECT_GT(r, 0);
    EXPECT_EQ(localText, text(local));
    // Every thread took its own line out again.
    zvSdpMediaSetPort(commonMedia, 5004);
    EXPECT_EQ(commonText, text(common));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&common));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadWrite(local));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&local));
    for (const char *pool : {"zvsdpsdpobj", "zvsdpmediaobj", "zvsdppayloadobj", "zvsdpattrobj", "zvdynstr", "zvllist"})
        EXPECT_EQ(0u, inUse(pool)) << pool;
    EXPECT_EQ(0u, inUse());
    zvSdpAppDestroy();
}

}  // namespace
