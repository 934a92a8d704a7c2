// Start and stop of the library, the guard of the session-level entry
// points with its messages, read-only sessions, copies and compares.
#include <dlfcn.h>

#include <cstdio>

#include "object_fixture.h"
#include "rvsdp.h"

#include "../../src/core/objects.h"

using namespace zvtest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {
// Set by a test to make the SDP stack manager refuse to start.
bool g_failManager = false;
}  // namespace

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

std::string ptr(const void *p)
{
    char buf[32];
    snprintf(buf, sizeof buf, "%p", p);
    return buf;
}

std::string api(const char *letter, const char *function, const std::string &text)
{
    return std::string("[ZVSDP::API]    |") + letter + "|" + function + "|" + text;
}

const char *const kPools[] = {"zvsdpsdpobj", "zvsdpmediaobj", "zvsdppayloadobj", "zvsdpattrobj"};

uint32_t capacityOf(const char *pool)
{
    return statsOf(poolNamed(pool)).capacity;
}

// A session built through the checked operations: an audio media with
// PCMU and telephone-event and one attribute, and an image media.
CSdp *filledSession()
{
    CSdp *s = nullptr;
    CMedia *audio = nullptr;
    CMedia *image = nullptr;
    EXPECT_EQ(0u, zvSdpConstruct(&s));
    EXPECT_EQ(0u, zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio));
    EXPECT_EQ(0u, zvSdpMediaSetPort(audio, 5004));
    EXPECT_EQ(0u, zvSdpMediaAddPayload(audio, 0, "PCMU", 8000, 1, nullptr, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddPayload(audio, 101, "telephone-event", 8000, 1, "0-15", nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddAttribute(audio, "sendrecv", nullptr, nullptr));
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

TEST(Lifecycle, InitSizesThePoolsAndASecondInitChangesNothing)
{
    zvSdpSetTraceLevel(4);
    ASSERT_EQ(0u, zvSdpAppInit(2));
    EXPECT_EQ(2u, capacityOf("zvsdpsdpobj"));
    EXPECT_EQ(10u, capacityOf("zvsdpmediaobj"));
    EXPECT_EQ(20u, capacityOf("zvsdppayloadobj"));
    EXPECT_EQ(40u, capacityOf("zvsdpattrobj"));
    CSdp *s = filledSession();
    const std::string text = sessionText(s);

    syslogClear();
    EXPECT_EQ(0u, zvSdpAppInit(7));
    EXPECT_THAT(logEntries(),
                ElementsAre(api("D", "zvSdpAppInit", "API already initialised, ignore initialisation request.")));
    EXPECT_EQ(text, sessionText(s));
    EXPECT_EQ(2u, capacityOf("zvsdpsdpobj"));
    EXPECT_EQ(0u, zvSdpDestruct(&s));
    zvSdpAppDestroy();
}

TEST(Lifecycle, DestroyWhileNotInitialisedIsIgnoredWithItsMessage)
{
    zvSdpSetTraceLevel(3);
    syslogClear();
    zvSdpAppDestroy();
    EXPECT_THAT(logEntries(), ElementsAre(api("D", "zvSdpAppDestroy", "API not initialised, ignore destroy request.")));

    ASSERT_EQ(0u, zvSdpAppInit(1));
    zvSdpAppDestroy();
    syslogClear();
    zvSdpAppDestroy();
    EXPECT_THAT(logEntries(), ElementsAre(api("D", "zvSdpAppDestroy", "API not initialised, ignore destroy request.")));

    // D lines need level 3.
    zvSdpSetTraceLevel(2);
    syslogClear();
    zvSdpAppDestroy();
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST(Lifecycle, DestroyFreesEveryPooledObjectAndAReinitKeepsTheFirstSizes)
{
    ASSERT_EQ(0u, zvSdpAppInit(2));
    const uint32_t strings = liveStringsAndLists();
    CSdp *first = filledSession();
    CSdp *second = filledSession();
    ASSERT_TRUE(first && second);
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(second));
    // Loose objects of each class, owned by nobody.
    ASSERT_NE(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_VIDEO));
    ASSERT_NE(nullptr, zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1));
    ASSERT_NE(nullptr, zvSdpAttrObjConstruct("ptime", "20"));
    for (const char *pool : kPools)
        EXPECT_NE(0u, statsOf(poolNamed(pool)).inUse) << pool;

    zvSdpAppDestroy();
    for (const char *pool : kPools)
        EXPECT_EQ(0u, statsOf(poolNamed(pool)).inUse) << pool;
    EXPECT_EQ(strings, liveStringsAndLists());
    CSdp *h = nullptr;
    EXPECT_EQ(3u, zvSdpConstruct(&h));

    // A new start with another n reuses the pools of the first one.
    std::vector<int> handles;
    for (const char *pool : kPools)
        handles.push_back(poolNamed(pool));
    ASSERT_EQ(0u, zvSdpAppInit(5));
    for (size_t i = 0; i < handles.size(); ++i)
        EXPECT_EQ(handles[i], poolNamed(kPools[i])) << kPools[i];
    EXPECT_EQ(2u, capacityOf("zvsdpsdpobj"));
    EXPECT_EQ(40u, capacityOf("zvsdpattrobj"));

    CSdp *a = nullptr;
    CSdp *b = nullptr;
    EXPECT_EQ(0u, zvSdpConstruct(&a));
    EXPECT_EQ(0u, zvSdpConstruct(&b));
    CSdp *c = a;
    EXPECT_EQ(2u, zvSdpConstruct(&c));
    EXPECT_EQ(nullptr, c);
    EXPECT_EQ(2u, capacityOf("zvsdpsdpobj"));
    EXPECT_EQ(0u, zvSdpDestruct(&a));
    EXPECT_EQ(0u, zvSdpConstruct(&c));
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
                            api("C", "zvSdpAppInit", "API Initialisation failed, all API functions are unusable!"),
                            "[ZVSDP::CAttribute]|D|zvSdpAttrObjApiDestroy|"
                            "API not initialised, ignore destroy request."));
    CSdp *h = nullptr;
    EXPECT_EQ(3u, zvSdpConstruct(&h));

    ASSERT_EQ(0u, zvSdpAppInit(1));
    EXPECT_EQ(0u, zvSdpConstruct(&h));
    EXPECT_EQ(1u, capacityOf("zvsdpsdpobj"));
    EXPECT_EQ(20u, capacityOf("zvsdpattrobj"));
    zvSdpAppDestroy();
}

TEST(Lifecycle, FailedManagerStartReportsSuccessButLeavesTheLibraryShut)
{
    zvSdpSetTraceLevel(4);
    syslogClear();
    g_failManager = true;
    EXPECT_EQ(0u, zvSdpAppInit(1));
    g_failManager = false;
    EXPECT_THAT(logEntries(), Contains(api("C", "zvSdpAppInit", "Failed to initialise RadVision SDP API!")));
    EXPECT_THAT(logEntries(),
                Not(Contains(api("C", "zvSdpAppInit", "API Initialisation failed, all API functions are unusable!"))));

    syslogClear();
    CSdp *h = nullptr;
    EXPECT_EQ(3u, zvSdpConstruct(&h));
    EXPECT_THAT(logEntries(), ElementsAre(api("D", "zvSdpConstruct", "API not initialised!")));
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
    EXPECT_THAT(logEntries(), Contains("[ZVSDP::CAttribute]|D|zvSdpAttrObjApiInit|"
                                       "API already initialised, ignore initialisation request."));
    EXPECT_THAT(logEntries(),
                Not(Contains(api("D", "zvSdpAppInit", "API already initialised, ignore initialisation request."))));
    EXPECT_EQ(1u, capacityOf("zvsdpsdpobj"));
    EXPECT_EQ(0u, zvSdpDestruct(&kept));
    EXPECT_EQ(nullptr, kept);
    EXPECT_EQ(0u, zvSdpConstruct(&h));
    zvSdpAppDestroy();
}

TEST(Lifecycle, GuardedOperationsBeforeInitReturnThreeAndChangeNothing)
{
    // The class modules run, the library itself is not started.
    startModules(2);
    CSdp *full = zvSdpObjConstruct();
    CSdp *empty = zvSdpObjConstruct();
    ASSERT_TRUE(full && empty);
    zvSdpObjAddMedia(full, audioMedia(5004));
    CMedia *media = zvSdpObjGetMedia(full, nullptr);
    CPayload *payload = zvSdpMediaObjGetPayload(media, nullptr);
    const uint32_t objects = liveObjects();
    zvSdpSetTraceLevel(4);
    syslogClear();

    int dummy = 0;
    CSdp *const sentinel = reinterpret_cast<CSdp *>(&dummy);
    CSdp *h = sentinel;
    EXPECT_EQ(3u, zvSdpConstruct(&h));
    EXPECT_EQ(sentinel, h);
    CSdp *victim = full;
    EXPECT_EQ(3u, zvSdpDestruct(&victim));
    EXPECT_EQ(full, victim);
    EXPECT_EQ(3u, zvSdpAppSetReadOnly(full));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpObjGetAccessRights(full));
    zvSdpObjSetAccessRights(empty, ZVSDP_READ_ONLY);
    EXPECT_EQ(3u, zvSdpAppSetReadWrite(empty));
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpObjGetAccessRights(empty));
    zvSdpObjSetAccessRights(empty, ZVSDP_READ_WRITE);
    EXPECT_EQ(3u, zvSdpCopyMediaCapabilities(empty, full));
    EXPECT_EQ(nullptr, zvSdpObjGetMedia(empty, nullptr));
    uint32_t equal = 7;
    EXPECT_EQ(3u, zvSdpCompare(full, empty, &equal));
    EXPECT_EQ(7u, equal);
    EXPECT_THAT(logEntries(), ElementsAre(api("D", "zvSdpConstruct", "API not initialised!"),
                                          api("D", "zvSdpDestruct", "API not initialised!"),
                                          api("D", "zvSdpAppSetReadOnly", "API not initialised!"),
                                          api("D", "zvSdpAppSetReadWrite", "API not initialised!"),
                                          api("D", "zvSdpCopyMediaCapabilities", "API not initialised!"),
                                          api("D", "zvSdpCompare", "API not initialised!")));

    // Initialisation is checked before the arguments.
    EXPECT_EQ(3u, zvSdpConstruct(nullptr));
    EXPECT_EQ(3u, zvSdpDestruct(nullptr));
    EXPECT_EQ(3u, zvSdpAppSetReadOnly(nullptr));
    EXPECT_EQ(3u, zvSdpCopyMediaCapabilities(nullptr, nullptr));
    EXPECT_EQ(3u, zvSdpCompare(nullptr, nullptr, nullptr));

    // The checked operations on what the session holds refuse as well.
    CMedia *newMedia = nullptr;
    CAttribute *newAttr = nullptr;
    CPayload *newPayload = nullptr;
    EXPECT_EQ(3u, zvSdpAddMediaDescriptor(empty, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &newMedia));
    EXPECT_EQ(3u, zvSdpClearMedia(full));
    EXPECT_EQ(3u, zvSdpMediaSetPort(media, 7000));
    EXPECT_EQ(3u, zvSdpMediaMarkUnsupported(media));
    EXPECT_EQ(3u, zvSdpMediaAddAttribute(media, "ptime", "20", &newAttr));
    EXPECT_EQ(3u, zvSdpMediaAddPayload(media, 8, "PCMA", 8000, 1, nullptr, &newPayload));
    EXPECT_EQ(3u, zvSdpMediaAddStaticPayloadType(media, 8, &newPayload));
    EXPECT_EQ(3u, zvSdpPayloadAddFmtp(payload, "vad=no"));
    EXPECT_EQ(3u, zvSdpPayloadSetPtime(payload, 30));
    EXPECT_EQ(3u, zvSdpMediaRemovePayload(media, &payload));

    EXPECT_EQ(kAudioText, sessionText(full));
    EXPECT_EQ(objects, liveObjects());
    EXPECT_EQ(0u, zvSdpPayloadObjGetPtime(payload));
    stopModules();
}

TEST(Lifecycle, NullArgumentsGetFiveAndTheirExactMessages)
{
    ASSERT_EQ(0u, zvSdpAppInit(1));
    CSdp *s = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&s));
    zvSdpSetTraceLevel(3);
    syslogClear();

    CSdp *none = nullptr;
    uint32_t equal = 7;
    EXPECT_EQ(5u, zvSdpAppSetReadOnly(nullptr));
    EXPECT_EQ(5u, zvSdpAppSetReadWrite(nullptr));
    EXPECT_EQ(5u, zvSdpConstruct(nullptr));
    EXPECT_EQ(5u, zvSdpDestruct(nullptr));
    EXPECT_EQ(5u, zvSdpDestruct(&none));
    EXPECT_EQ(5u, zvSdpCopyMediaCapabilities(nullptr, s));
    EXPECT_EQ(5u, zvSdpCopyMediaCapabilities(s, nullptr));
    EXPECT_EQ(5u, zvSdpCompare(s, nullptr, &equal));
    EXPECT_EQ(5u, zvSdpCompare(nullptr, s, &equal));
    EXPECT_EQ(5u, zvSdpCompare(s, s, nullptr));
    EXPECT_EQ(7u, equal);

    const std::string nil = ptr(nullptr);
    EXPECT_THAT(
        logEntries(),
        ElementsAre(api("D", "zvSdpAppSetReadOnly", "Invalid parameter detected: objHndl=NULL"),
                    api("D", "zvSdpAppSetReadWrite", "Invalid parameter detected: objHndl=NULL"),
                    api("D", "zvSdpConstruct", "Invalid parameter detected: &objHndl=" + nil),
                    api("D", "zvSdpDestruct", "Invalid parameter detected: &objHndl=" + nil),
                    api("D", "zvSdpDestruct", "Invalid parameter detected: &objHndl=" + ptr(&none)),
                    api("D", "zvSdpCopyMediaCapabilities",
                        "Invalid parameter detected: destination=" + nil + ", source=" + ptr(s)),
                    api("D", "zvSdpCopyMediaCapabilities",
                        "Invalid parameter detected: destination=" + ptr(s) + ", source=" + nil),
                    api("D", "zvSdpCompare",
                        "Invalid parameter detected: objHndl1=" + ptr(s) + ", objHndl2=" + nil +
                            ", equal=" + ptr(&equal)),
                    api("D", "zvSdpCompare",
                        "Invalid parameter detected: objHndl1=" + nil + ", objHndl2=" + ptr(s) +
                            ", equal=" + ptr(&equal)),
                    api("D", "zvSdpCompare",
                        "Invalid parameter detected: objHndl1=" + ptr(s) + ", objHndl2=" + ptr(s) +
                            ", equal=" + nil)));
    for (const SyslogLine &line : syslogLines())
        EXPECT_EQ(7, line.priority);
    EXPECT_EQ(1u, inUse("zvsdpsdpobj"));
    zvSdpAppDestroy();
}

TEST(Lifecycle, ReadOnlyReachesEveryPayloadAndAttributeAndRefusesChangesSilently)
{
    ASSERT_EQ(0u, zvSdpAppInit(2));
    CSdp *s = filledSession();
    CSdp *other = filledSession();
    ASSERT_TRUE(s && other);
    const std::string text = sessionText(s);
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(s));
    std::vector<uint32_t> rights = rightsOf(s);
    EXPECT_EQ(7u, rights.size());
    EXPECT_THAT(rights, ::testing::Each(ZVSDP_READ_ONLY));
    EXPECT_THAT(rightsOf(other), ::testing::Each(ZVSDP_READ_WRITE));

    zvSdpSetTraceLevel(4);
    syslogClear();
    CSdp *held = s;
    EXPECT_EQ(3u, zvSdpDestruct(&held));
    EXPECT_EQ(s, held);
    EXPECT_EQ(3u, zvSdpCopyMediaCapabilities(s, other));
    CMedia *m = nullptr;
    EXPECT_EQ(3u, zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(text, sessionText(s));

    // Setting rights does not look at the current ones.
    EXPECT_EQ(0u, zvSdpAppSetReadOnly(s));
    // An attribute added by the object layer keeps the rights it was built with.
    CMedia *audio = zvSdpObjGetMedia(s, nullptr);
    CAttribute *late = zvSdpAttrObjConstruct("ptime", "20");
    zvSdpMediaObjAddAttribute(audio, late);
    EXPECT_EQ(ZVSDP_READ_WRITE, late->rights);

    ASSERT_EQ(0u, zvSdpAppSetReadWrite(s));
    EXPECT_THAT(rightsOf(s), ::testing::Each(ZVSDP_READ_WRITE));
    EXPECT_EQ(0u, zvSdpDestruct(&held));
    EXPECT_EQ(nullptr, held);
    EXPECT_EQ(0u, zvSdpDestruct(&other));
    for (const char *pool : kPools)
        EXPECT_EQ(0u, statsOf(poolNamed(pool)).inUse) << pool;
    zvSdpAppDestroy();
}

TEST(Lifecycle, CopyMediaCapabilitiesGivesReadWriteCopiesOfAnySource)
{
    ASSERT_EQ(0u, zvSdpAppInit(2));
    CSdp *source = filledSession();
    CSdp *destination = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&destination));
    ASSERT_EQ(0u, zvSdpAddMediaDescriptor(destination, ZVSDP_MT_VIDEO, ZVSDP_TP_RTPAVP, nullptr));
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(source));
    const std::string text = sessionText(source);

    EXPECT_EQ(0u, zvSdpCopyMediaCapabilities(destination, source));
    EXPECT_EQ(text, sessionText(destination));
    EXPECT_THAT(rightsOf(destination), ::testing::Each(ZVSDP_READ_WRITE));
    EXPECT_THAT(rightsOf(source), ::testing::Each(ZVSDP_READ_ONLY));
    EXPECT_EQ(4u, inUse("zvsdpmediaobj"));
    uint32_t equal = 0;
    EXPECT_EQ(0u, zvSdpCompare(destination, source, &equal));
    EXPECT_EQ(1u, equal);

    // Deep copies change nothing in the source, even from itself.
    EXPECT_EQ(0u, zvSdpCopyMediaCapabilities(destination, destination));
    EXPECT_EQ(text, sessionText(source));
    zvSdpAppDestroy();
}

TEST(Lifecycle, CompareWalksTheMediaOfBothSessionsInOrder)
{
    ASSERT_EQ(0u, zvSdpAppInit(4));
    CSdp *a = nullptr;
    CSdp *b = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&a));
    ASSERT_EQ(0u, zvSdpConstruct(&b));
    uint32_t equal = 7;
    EXPECT_EQ(0u, zvSdpCompare(a, b, &equal));
    EXPECT_EQ(1u, equal);

    zvSdpObjAddMedia(a, audioMedia(5004));
    EXPECT_EQ(0u, zvSdpCompare(a, b, &equal));
    EXPECT_EQ(0u, equal);
    EXPECT_EQ(0u, zvSdpCompare(b, a, &equal));
    EXPECT_EQ(0u, equal);

    // The port is not compared.
    zvSdpObjAddMedia(b, audioMedia(6000));
    EXPECT_EQ(0u, zvSdpCompare(a, b, &equal));
    EXPECT_EQ(1u, equal);

    // The same media in another order differ.
    zvSdpObjAddMedia(a, zvSdpMediaObjConstruct(ZVSDP_TP_UDPTL, ZVSDP_MT_IMAGE));
    CSdp *swapped = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&swapped));
    zvSdpObjAddMedia(swapped, zvSdpMediaObjConstruct(ZVSDP_TP_UDPTL, ZVSDP_MT_IMAGE));
    zvSdpObjAddMedia(swapped, audioMedia(5004));
    EXPECT_EQ(0u, zvSdpCompare(a, swapped, &equal));
    EXPECT_EQ(0u, equal);
    CSdp *copy = zvSdpObjConstructCopy(a);
    EXPECT_EQ(0u, zvSdpCompare(a, copy, &equal));
    EXPECT_EQ(1u, equal);

    // A copy whose media hold two attributes is different from its source,
    // by the media compare's attribute walk; the session itself is equal to
    // itself.
    zvSdpMediaObjAddAttribute(zvSdpObjGetMedia(a, nullptr), zvSdpAttrObjConstruct("ptime", "20"));
    zvSdpObjDeepCopy(copy, a);
    EXPECT_EQ(0u, zvSdpCompare(a, copy, &equal));
    EXPECT_EQ(0u, equal);
    EXPECT_EQ(0u, zvSdpCompare(a, a, &equal));
    EXPECT_EQ(1u, equal);
    zvSdpAppDestroy();
}

TEST(Lifecycle, SetTraceLevelGatesTheApiAndObjectModules)
{
    EXPECT_EQ(0u, zvSdpSetTraceLevel(0));
    syslogClear();
    zvSdpAppDestroy();
    zvSdpAttrObjApiDestroy();
    EXPECT_THAT(syslogTexts(), IsEmpty());

    // Level 1: critical lines only.
    ASSERT_EQ(0u, zvSdpAppInit(1));
    EXPECT_EQ(0u, zvSdpSetTraceLevel(1));
    CSdp *s = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&s));
    std::vector<CMedia *> media;
    for (int i = 0; i < 5; ++i)
        media.push_back(zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO));
    syslogClear();
    EXPECT_EQ(nullptr, zvSdpObjConstructCopy(s));
    EXPECT_EQ(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO));
    EXPECT_EQ(0u, zvSdpAppInit(1));
    EXPECT_THAT(logEntries(), ElementsAre("[ZVSDP::CSdp]   |C|zvSdpObjConstructCopy|Failed to allocate memory!",
                                          "[ZVSDP::CMedia] |C|zvSdpMediaObjConstruct|Failed to allocate memory!"));

    // Level 3 adds the debug lines of the API and attribute modules.
    EXPECT_EQ(0u, zvSdpSetTraceLevel(3));
    syslogClear();
    EXPECT_EQ(0u, zvSdpAppInit(1));
    zvSdpAttrObjApiInit(1);
    EXPECT_THAT(logEntries(),
                ElementsAre(api("D", "zvSdpAppInit", "API already initialised, ignore initialisation request."),
                            "[ZVSDP::CAttribute]|D|zvSdpAttrObjApiInit|"
                            "API already initialised, ignore initialisation request."));
    zvSdpAppDestroy();
}

}  // namespace
