// Start and stop of the library and of its four class modules: pool sizes
// that stay from the first start, what a stop frees, failed starts (also of
// the SDP stack), read-only sessions, copies and compares.
#include <dlfcn.h>

#include "zvsdp_test.h"
#include "rvsdp.h"

#include "../../src/core/objects.h"

using namespace zvtest;
using namespace ::testing;

// Set by a test to make the SDP stack manager refuse to start.
static bool g_failManager = false;

// Takes the place of the stack's own start for this test program, which
// has no other way to make it fail; otherwise the real one runs.
extern "C" int RvSdpMgrConstruct(void)
{
    if (g_failManager)
        return RVSDP_ERROR;
    using Start = int (*)(void);
    static Start real = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "RvSdpMgrConstruct"));
    return real ? real() : RVSDP_ERROR;
}

namespace {

std::vector<uint32_t> capacities()
{
    std::vector<uint32_t> out;
    for (const char *pool : {"zvsdpsdpobj", "zvsdpmediaobj", "zvsdppayloadobj", "zvsdpattrobj"})
        out.push_back(inUse(pool, true));
    return out;
}

// An audio media with PCMU, telephone-event and one attribute, and an
// image media with one attribute.
CSdp *filledSession()
{
    CSdp *s = nullptr;
    CMedia *image = nullptr;
    EXPECT_EQ(0u, zvSdpConstruct(&s));
    zvSdpObjAddMedia(s, audioMedia(5004));
    EXPECT_EQ(0u, zvSdpAddMediaDescriptor(s, ZVSDP_MT_IMAGE, ZVSDP_TP_UDPTL, &image));
    EXPECT_EQ(0u, zvSdpMediaAddAttribute(image, "T38FaxVersion", "0", nullptr));
    return s;
}

// Every right in the session, its media, their payloads and attributes.
std::vector<uint32_t> rightsOf(CSdp *s)
{
    std::vector<uint32_t> out{zvSdpObjGetAccessRights(s)};
    for (CMedia *m = zvSdpObjGetMedia(s, nullptr); m; m = zvSdpObjGetMedia(s, m)) {
        out.push_back(zvSdpMediaObjGetAccessRights(m));
        for (CPayload *p = zvSdpMediaObjGetPayload(m, nullptr); p; p = zvSdpMediaObjGetPayload(m, p))
            out.push_back(zvSdpPayloadObjGetAccessRights(p));
        for (CAttribute *a = zvSdpMediaObjGetAttribute(m, nullptr); a; a = zvSdpMediaObjGetAttribute(m, a))
            out.push_back(a->rights);
    }
    return out;
}

TEST(Lifecycle, InitSizesThePoolsOnceAndDestroyFreesEverything)
{
    zvSdpSetTraceLevel(4);
    ASSERT_EQ(0u, zvSdpAppInit(2));
    EXPECT_EQ((std::vector<uint32_t>{2, 10, 20, 40}), capacities());
    const uint32_t strings = liveStringsAndLists();
    CSdp *first = filledSession();
    syslogClear();
    EXPECT_EQ(0u, zvSdpAppInit(7));
    EXPECT_THAT(logEntries(),
                ElementsAre(apiLine('D', "zvSdpAppInit", "API already initialised, ignore initialisation request.")));
    EXPECT_EQ(2u, inUse("zvsdpmediaobj"));
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(first));
    // Loose objects of each class, owned by nobody.
    ASSERT_NE(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_VIDEO));
    ASSERT_NE(nullptr, zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1));
    ASSERT_NE(nullptr, zvSdpAttrObjConstruct("ptime", "20"));

    zvSdpAppDestroy();
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(strings, liveStringsAndLists());
    CSdp *h = nullptr;
    EXPECT_EQ(3u, zvSdpConstruct(&h));

    // A new start with another size reuses the pools of the first one (a
    // second pool of a name would add to these), still closed.
    ASSERT_EQ(0u, zvSdpAppInit(5));
    EXPECT_EQ((std::vector<uint32_t>{2, 10, 20, 40}), capacities());
    CSdp *a = nullptr, *b = nullptr;
    EXPECT_EQ(0u, zvSdpConstruct(&a));
    EXPECT_EQ(0u, zvSdpConstruct(&b));
    EXPECT_EQ(2u, zvSdpConstruct(&a));
    EXPECT_EQ(nullptr, a);
    zvSdpAppDestroy();
}

TEST(Lifecycle, FailedModuleStartCleansUpAndReportsTwo)
{
    zvSdpSetTraceLevel(4);
    syslogClear();
    // A pool of no sessions cannot be created.
    EXPECT_EQ(2u, zvSdpAppInit(0));
    EXPECT_THAT(logEntries(),
                ElementsAre("[ZVSDP::CSdp]   |C|zvSdpObjApiInit|Failed to initialise the data pool!",
                            apiLine('C', "zvSdpAppInit", "API Initialisation failed, all API functions are unusable!"),
                            "[ZVSDP::CAttribute]|D|zvSdpAttrObjApiDestroy|"
                            "API not initialised, ignore destroy request."));
    // The raw line carries the tag padded to 16 and an empty second field.
    EXPECT_EQ(0u, syslogTexts()[0].rfind("[ZVSDP::CSdp]   :C: zvSdpObjApiInit:", 0)) << syslogTexts()[0];
    for (const SyslogLine &line : syslogLines())
        EXPECT_EQ(7, line.priority);
    CSdp *h = nullptr;
    EXPECT_EQ(3u, zvSdpConstruct(&h));
    ASSERT_EQ(0u, zvSdpAppInit(1));
    EXPECT_EQ(0u, zvSdpConstruct(&h));
    EXPECT_EQ((std::vector<uint32_t>{1, 5, 10, 20}), capacities());
    zvSdpAppDestroy();
}

TEST(Lifecycle, FailedManagerStartReportsSuccessButLeavesTheLibraryShut)
{
    zvSdpSetTraceLevel(4);
    syslogClear();
    g_failManager = true;
    EXPECT_EQ(0u, zvSdpAppInit(1));
    g_failManager = false;
    EXPECT_THAT(logEntries(), Contains(AllOf(StartsWith(apiLine('C', "zvSdpAppInit", "Failed to initialise ")),
                                             EndsWith(" SDP API!"))));
    syslogClear();
    CSdp *h = nullptr;
    EXPECT_EQ(3u, zvSdpConstruct(&h));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('D', "zvSdpConstruct", "API not initialised!")));
    // Nothing was cleaned up: the modules run and a destroy is refused.
    CSdp *kept = zvSdpObjConstruct();
    ASSERT_NE(nullptr, kept);
    EXPECT_EQ(3u, zvSdpDestruct(&kept));
    zvSdpAppDestroy();
    EXPECT_EQ(1u, inUse("zvsdpsdpobj"));

    // The next start runs again; the modules are already up and only the
    // attribute module says so.
    syslogClear();
    EXPECT_EQ(0u, zvSdpAppInit(4));
    EXPECT_THAT(logEntries(), ElementsAre("[ZVSDP::CAttribute]|D|zvSdpAttrObjApiInit|"
                                          "API already initialised, ignore initialisation request."));
    EXPECT_EQ(0u, zvSdpDestruct(&kept));
    EXPECT_EQ(nullptr, kept);
    EXPECT_EQ(0u, zvSdpConstruct(&h));
    zvSdpAppDestroy();
}

TEST(Lifecycle, ReadOnlyReachesEverythingTheSessionHoldsAndRefusesSilently)
{
    ASSERT_EQ(0u, zvSdpAppInit(2));
    const uint32_t strings = liveStringsAndLists();
    CSdp *s = filledSession(), *other = filledSession();
    const std::string text = sessionText(s);
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(s));
    EXPECT_EQ((std::vector<uint32_t>(7, ZVSDP_READ_ONLY)), rightsOf(s));
    EXPECT_THAT(rightsOf(other), Each(ZVSDP_READ_WRITE));
    zvSdpSetTraceLevel(4);
    syslogClear();
    CSdp *held = s;
    EXPECT_EQ(3u, zvSdpDestruct(&held));
    EXPECT_EQ(s, held);
    EXPECT_EQ(3u, zvSdpCopyMediaCapabilities(s, other));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(text, sessionText(s));


    ASSERT_EQ(0u, zvSdpAppSetReadWrite(s));
    EXPECT_THAT(rightsOf(s), Each(ZVSDP_READ_WRITE));
    EXPECT_EQ(0u, zvSdpDestruct(&held));
    EXPECT_EQ(0u, zvSdpDestruct(&other));
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(strings, liveStringsAndLists());
    zvSdpAppDestroy();
}

TEST(Lifecycle, CopiesAreReadWriteAndCompareWalksBothMediaListsInOrder)
{
    ASSERT_EQ(0u, zvSdpAppInit(4));
    CSdp *source = filledSession(), *copy = nullptr, *other = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&copy));
    ASSERT_EQ(0u, zvSdpConstruct(&other));
    uint32_t equal = 7;
    auto compare = [&](CSdp *a, CSdp *b) { return zvSdpCompare(a, b, &equal) == 0 ? equal : 99; };
    EXPECT_EQ(1u, compare(copy, other));
    ASSERT_EQ(0u, zvSdpAddMediaDescriptor(copy, ZVSDP_MT_VIDEO, ZVSDP_TP_RTPAVP, nullptr));
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(source));
    EXPECT_EQ(0u, zvSdpCopyMediaCapabilities(copy, source));
    EXPECT_EQ(sessionText(source), sessionText(copy));
    EXPECT_THAT(rightsOf(copy), Each(ZVSDP_READ_WRITE));
    EXPECT_EQ(4u, inUse("zvsdpmediaobj"));
    zvSdpMediaSetPort(zvSdpObjGetMedia(copy, nullptr), 6000);  // the port is not compared
    EXPECT_EQ(1u, compare(source, copy));

    // Fewer media, or the same media in another order, differ.
    CMedia *audio = zvSdpObjGetMedia(source, nullptr);
    zvSdpObjAddMedia(other, zvSdpMediaObjConstructCopy(audio));
    EXPECT_EQ(0u, compare(source, other));
    EXPECT_EQ(0u, compare(other, source));
    zvSdpObjAddMedia(other, zvSdpMediaObjConstructCopy(zvSdpObjGetMedia(source, audio)));
    EXPECT_EQ(1u, compare(source, other));
    zvSdpObjAddMedia(copy, zvSdpMediaObjConstructCopy(audio));
    zvSdpObjAddMedia(other, zvSdpMediaObjConstruct(ZVSDP_TP_UDPTL, ZVSDP_MT_IMAGE));
    EXPECT_EQ(0u, compare(copy, other));
    zvSdpAppDestroy();
}

}  // namespace
