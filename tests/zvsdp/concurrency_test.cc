// Several host threads working on sessions at once. Built with
// ZVSDP_SANITIZE=thread this is the check that the class locks cover every
// object operation; in any build it checks that nothing is lost or mixed up.
#include <atomic>
#include <thread>

#include "object_fixture.h"

using namespace zvtest;

namespace {

constexpr int kThreads = 6;
constexpr int kRounds = 150;

// One round of a host thread: build, print, copy, compare, protect and
// destroy; false at the first thing that is not as it should be.
// Threads also change one media that they all share: each adds a line of
// its own, prints the session around it and takes the line out again.
bool sharedRound(int thread, CSdp *common)
{
    CMedia *media = zvSdpObjGetMedia(common, nullptr);
    const std::string value = std::to_string(thread);
    CAttribute *mine = zvSdpAttrObjConstruct("x-thread", value.c_str());
    if (!mine)
        return false;
    zvSdpMediaObjAddAttribute(media, mine);
    zvSdpMediaObjSetPort(media, 4000 + static_cast<uint32_t>(thread));
    const std::string text = sessionText(common);
    const bool seen = text.rfind("m=audio ", 0) == 0 && text.find("a=x-thread:" + value + "\n") != std::string::npos;
    zvSdpMediaObjRemoveAttribute(media, mine);
    return seen;
}

bool oneRound(int thread, int index, CSdp *shared, const std::string &sharedText)
{
    CSdp *s = nullptr;
    if (zvSdpConstruct(&s) != 0)
        return false;
    const uint32_t port = static_cast<uint32_t>(10000 + thread * 1000 + index);
    CMedia *audio = nullptr;
    CMedia *fax = nullptr;
    if (zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio) != 0 ||
        zvSdpAddMediaDescriptor(s, ZVSDP_MT_IMAGE, ZVSDP_TP_UDPTL, &fax) != 0)
        return false;
    zvSdpMediaSetPort(audio, port);
    zvSdpMediaAddPayload(audio, 0, "PCMU", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddPayload(audio, 97, "AMR", 8000, 1, "octet-align=1", nullptr);
    zvSdpMediaAddPayload(audio, 101, "telephone-event", 8000, 1, "0-15", nullptr);
    zvSdpMediaAddAttribute(audio, "ptime", std::to_string(20 + thread).c_str(), nullptr);
    zvSdpMediaAddAttribute(fax, "T38FaxVersion", "0", nullptr);
    zvSdpMediaSetInbandDtmf(audio, 1);

    const std::string expected = "m=audio " + std::to_string(port) +
                                 " RTP/AVP 0 97 101\n"
                                 "a=rtpmap:97 AMR/8000\n"
                                 "a=rtpmap:101 telephone-event/8000\n"
                                 "a=fmtp:97 octet-align=1\n"
                                 "a=fmtp:101 0-15\n"
                                 "a=ptime:" +
                                 std::to_string(20 + thread) +
                                 "\n"
                                 "m=image 0 udptl\n"
                                 "a=T38FaxVersion:0\n";
    if (sessionText(s) != expected || sessionText(shared) != sharedText)
        return false;

    CSdp *copy = zvSdpObjConstructCopy(s);
    CSdp *deep = nullptr;
    if (!copy || zvSdpConstruct(&deep) != 0 || zvSdpCopyMediaCapabilities(deep, s) != 0)
        return false;
    uint32_t equal = 0;
    if (zvSdpCompare(s, copy, &equal) != 0 || equal != 1 || zvSdpCompare(deep, s, &equal) != 0 || equal != 1)
        return false;
    if (zvSdpCompare(s, shared, &equal) != 0 || equal != 0)
        return false;
    if (sessionText(copy) != expected || sessionText(deep) != expected)
        return false;

    if (zvSdpAppSetReadOnly(s) != 0 || zvSdpDestruct(&s) != 3 || zvSdpAppSetReadWrite(s) != 0)
        return false;
    // Remove a payload of the copy, then destroy everything.
    CMedia *copiedAudio = zvSdpObjGetMedia(copy, nullptr);
    zvSdpMediaObjRemovePayload(copiedAudio, zvSdpMediaObjGetPayload(copiedAudio, nullptr));
    return zvSdpDestruct(&s) == 0 && zvSdpDestruct(&copy) == 0 && zvSdpDestruct(&deep) == 0;
}

TEST(Concurrency, ThreadsBuildPrintCopyCompareAndDestroySessionsAtOnce)
{
    // Each thread holds three sessions at a time, plus two shared sessions.
    ASSERT_EQ(0u, zvSdpAppInit(3 * kThreads + 2));
    const uint32_t strings = liveStringsAndLists();
    CSdp *shared = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&shared));
    zvSdpObjAddMedia(shared, audioMedia(5004));
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(shared));
    const std::string sharedText = sessionText(shared);
    ASSERT_EQ(kAudioText, sharedText);
    CSdp *common = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&common));
    zvSdpObjAddMedia(common, audioMedia(4000));

    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, shared, common, &sharedText, &failures] {
            for (int r = 0; r < kRounds; ++r) {
                if (!oneRound(t, r, shared, sharedText) || !sharedRound(t, common)) {
                    ++failures;
                    return;
                }
            }
        });
    }
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(0, failures.load());

    EXPECT_EQ(sharedText, sessionText(shared));
    ASSERT_EQ(0u, zvSdpAppSetReadWrite(shared));
    ASSERT_EQ(0u, zvSdpDestruct(&shared));
    // Every thread took its own line out again.
    zvSdpMediaObjSetPort(zvSdpObjGetMedia(common, nullptr), 5004);
    EXPECT_EQ(kAudioText, sessionText(common));
    ASSERT_EQ(0u, zvSdpDestruct(&common));
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(strings, liveStringsAndLists());
    zvSdpAppDestroy();
}

}  // namespace
