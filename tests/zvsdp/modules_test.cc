// The machinery the four class modules share: pools with their names and
// sizes, starting and stopping, release hooks, access rights, and the log
// lines of failed starts.
#include "zvsdp_test_util.h"

#include <cstring>

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct ClassPool {
    const char *name;
    uint32_t (*init)(uint32_t);
    void (*destroy)(void);
};

const ClassPool kClasses[] = {
    {"zvsdpsdpobj", zvSdpObjApiInit, zvSdpObjApiDestroy},
    {"zvsdpmediaobj", zvSdpMediaObjApiInit, zvSdpMediaObjApiDestroy},
    {"zvsdppayloadobj", zvSdpPayloadObjApiInit, zvSdpPayloadObjApiDestroy},
    {"zvsdpattrobj", zvSdpAttrObjApiInit, zvSdpAttrObjApiDestroy},
};

void startAll(uint32_t n)
{
    ASSERT_EQ(1u, zvSdpObjApiInit(n));
    ASSERT_EQ(1u, zvSdpMediaObjApiInit(5 * n));
    ASSERT_EQ(1u, zvSdpPayloadObjApiInit(10 * n));
    ASSERT_EQ(1u, zvSdpAttrObjApiInit(20 * n));
}

void stopAll()
{
    zvSdpObjApiDestroy();
    zvSdpMediaObjApiDestroy();
    zvSdpPayloadObjApiDestroy();
    zvSdpAttrObjApiDestroy();
}

CMedia *makeMedia()
{
    return zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
}

// No operation reads an attribute's rights; they are the first word of
// every record.
uint32_t rightsOf(CAttribute *a)
{
    uint32_t rights;
    memcpy(&rights, a, sizeof rights);
    return rights;
}

TEST(ClassModules, PoolsAreCreatedByTheFirstStartWithTheirNamesAndSizes)
{
    for (const ClassPool &c : kClasses)
        EXPECT_EQ(MEMM_POOL_NONE, poolNamed(c.name)) << c.name;
    startAll(3);
    EXPECT_EQ(3u, statsOf(poolNamed("zvsdpsdpobj")).capacity);
    EXPECT_EQ(15u, statsOf(poolNamed("zvsdpmediaobj")).capacity);
    EXPECT_EQ(30u, statsOf(poolNamed("zvsdppayloadobj")).capacity);
    EXPECT_EQ(60u, statsOf(poolNamed("zvsdpattrobj")).capacity);
    stopAll();
}

TEST(ClassModules, FullPoolsRefuseConstructionAndStopFreesEveryObject)
{
    startAll(1);
    const uint32_t baseline = liveStringsAndLists();
    // Bounded, so that a pool that grows fails the test instead of hanging it.
    std::vector<void *> sessions, media, payloads, attributes;
    for (int i = 0; i < 100; ++i) {
        CSdp *s = zvSdpObjConstruct();
        CMedia *m = makeMedia();
        CPayload *p = zvSdpPayloadObjConstruct(0, "PCMU");
        CAttribute *a = zvSdpAttrObjConstruct("ptime", "20");
        if (s)
            sessions.push_back(s);
        if (m)
            media.push_back(m);
        if (p)
            payloads.push_back(p);
        if (a)
            attributes.push_back(a);
    }
    EXPECT_EQ(1u, sessions.size());
    EXPECT_EQ(5u, media.size());
    EXPECT_EQ(10u, payloads.size());
    EXPECT_EQ(20u, attributes.size());
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstructCopy(static_cast<CPayload *>(payloads[0])));
    EXPECT_EQ(nullptr, zvSdpAttrObjConstructCopy(static_cast<CAttribute *>(attributes[0])));
    for (const ClassPool &c : kClasses) {
        PoolStats st = statsOf(poolNamed(c.name));
        EXPECT_EQ(st.capacity, st.inUse) << c.name;
    }
    EXPECT_EQ(1u, statsOf(poolNamed("zvsdpsdpobj")).capacity);

    stopAll();
    for (const ClassPool &c : kClasses)
        EXPECT_EQ(0u, statsOf(poolNamed(c.name)).inUse) << c.name;
    EXPECT_EQ(baseline, liveStringsAndLists());
}

TEST(ClassModules, RestartKeepsThePoolsOfTheFirstStart)
{
    startAll(1);
    std::vector<int> first;
    for (const ClassPool &c : kClasses)
        first.push_back(poolNamed(c.name));
    stopAll();
    startAll(4);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(first[i], poolNamed(kClasses[i].name)) << kClasses[i].name;
    }
    EXPECT_EQ(1u, statsOf(poolNamed("zvsdpsdpobj")).capacity);
    EXPECT_EQ(10u, statsOf(poolNamed("zvsdppayloadobj")).capacity);

    // The pool is still closed: the eleventh payload fails.
    std::vector<CPayload *> held;
    for (int i = 0; i < 10; ++i)
        held.push_back(zvSdpPayloadObjConstruct(0, "PCMU"));
    EXPECT_NE(nullptr, held.back());
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstruct(0, "PCMU"));
    stopAll();
}

TEST(ClassModules, SecondStartKeepsLiveObjectsAndOnlyAttributeSaysSo)
{
    startAll(1);
    CPayload *p = zvSdpPayloadObjConstruct(0, "PCMU");
    ASSERT_NE(nullptr, p);
    zvSdpObjApiSetTraceLevel(4);
    zvSdpMediaObjApiSetTraceLevel(4);
    zvSdpPayloadObjApiSetTraceLevel(4);
    zvSdpAttrObjApiSetTraceLevel(4);
    syslogClear();
    startAll(7);
    EXPECT_THAT(logEntries(), ElementsAre("[ZVSDP::CAttribute]|D|zvSdpAttrObjApiInit|"
                                          "API already initialised, ignore initialisation request."));
    EXPECT_EQ(1u, statsOf(poolNamed("zvsdppayloadobj")).inUse);
    EXPECT_EQ("PCMU", dynText(zvSdpPayloadObjGetName(p)));
    EXPECT_EQ(10u, statsOf(poolNamed("zvsdppayloadobj")).capacity);
    stopAll();
}

TEST(ClassModules, StopWhenNotStartedIsIgnoredAndOnlyAttributeSaysSo)
{
    zvSdpObjApiSetTraceLevel(4);
    zvSdpMediaObjApiSetTraceLevel(4);
    zvSdpPayloadObjApiSetTraceLevel(4);
    zvSdpAttrObjApiSetTraceLevel(4);
    syslogClear();
    stopAll();
    EXPECT_THAT(logEntries(),
                ElementsAre("[ZVSDP::CAttribute]|D|zvSdpAttrObjApiDestroy|API not initialised, ignore destroy request."));
    // Stopping twice after a start is just as quiet for the other three.
    startAll(1);
    stopAll();
    syslogClear();
    zvSdpObjApiDestroy();
    zvSdpMediaObjApiDestroy();
    zvSdpPayloadObjApiDestroy();
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST(ClassModules, TraceLevelsGateEachLetterPerModule)
{
    // The D line of a stray attribute stop needs level 3 of its own module.
    syslogClear();
    zvSdpAttrObjApiSetTraceLevel(2);
    zvSdpObjApiSetTraceLevel(4);
    zvSdpMediaObjApiSetTraceLevel(4);
    zvSdpPayloadObjApiSetTraceLevel(4);
    zvSdpAttrObjApiDestroy();
    EXPECT_THAT(syslogTexts(), IsEmpty());
    zvSdpAttrObjApiSetTraceLevel(3);
    zvSdpAttrObjApiDestroy();
    EXPECT_EQ(1u, syslogTexts().size());

    // C lines of a failed start need level 1; level 0 is silent.
    syslogClear();
    zvSdpAttrObjApiSetTraceLevel(0);
    EXPECT_EQ(0u, zvSdpAttrObjApiInit(0));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    zvSdpAttrObjApiSetTraceLevel(1);
    EXPECT_EQ(0u, zvSdpAttrObjApiInit(0));
    EXPECT_EQ(2u, syslogTexts().size());
    for (const SyslogLine &line : syslogLines())
        EXPECT_EQ(7, line.priority);
}

TEST(ClassModules, FailedStartsLogTheirClassMessagesAndLeaveTheModuleStartable)
{
    zvSdpObjApiSetTraceLevel(1);
    zvSdpMediaObjApiSetTraceLevel(1);
    zvSdpPayloadObjApiSetTraceLevel(1);
    zvSdpAttrObjApiSetTraceLevel(1);
    syslogClear();
    // A pool of no objects cannot be created.
    for (const ClassPool &c : kClasses)
        EXPECT_EQ(0u, c.init(0)) << c.name;
    EXPECT_THAT(logEntries(),
                ElementsAre("[ZVSDP::CSdp]   |C|zvSdpObjApiInit|Failed to initialise the data pool!",
                            "[ZVSDP::CMedia] |C|zvSdpMediaObjApiInit|Failed to initialise the data pool!",
                            "[ZVSDP::CAttribute]|C|zvSdpAttrObjApiInit|"
                            "Failed to initialise data storage pool for 0 objects!",
                            "[ZVSDP::CAttribute]|C|zvSdpAttrObjApiInit|API initialisation failed, bailing out ..."));
    // The raw lines carry the tag padded to 16 and an empty second field.
    ASSERT_FALSE(syslogTexts().empty());
    EXPECT_EQ(0u, syslogTexts()[0].rfind("[ZVSDP::CSdp]   :C: zvSdpObjApiInit:", 0)) << syslogTexts()[0];

    // Not started: a stop is a no-op.
    zvSdpPayloadObjApiDestroy();

    syslogClear();
    startAll(2);
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(2u, statsOf(poolNamed("zvsdpsdpobj")).capacity);
    EXPECT_EQ(40u, statsOf(poolNamed("zvsdpattrobj")).capacity);
    stopAll();
}

TEST(ClassModules, ReleaseHooksFreeEverythingAnObjectOwns)
{
    startAll(1);
    const uint32_t baseline = liveStringsAndLists();
    CSdp *session = zvSdpObjConstruct();
    CMedia *media = makeMedia();
    CPayload *pcmu = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    CPayload *amr = zvSdpPayloadObjConstructEx(106, "AMR", 8000, 1);
    CAttribute *ptime = zvSdpAttrObjConstruct("ptime", "20");
    CAttribute *sendrecv = zvSdpAttrObjConstruct("sendrecv", nullptr);
    ASSERT_TRUE(session && media && pcmu && amr && ptime && sendrecv);
    zvSdpPayloadObjSetFmtp(amr, "octet-align=1");
    zvSdpMediaObjAddPayload(media, pcmu);
    zvSdpMediaObjAddPayload(media, amr);
    zvSdpMediaObjAddAttribute(media, ptime);
    zvSdpMediaObjAddAttribute(media, sendrecv);
    zvSdpObjAddMedia(session, media);

    zvSdpObjDestruct(session);
    for (const ClassPool &c : kClasses)
        EXPECT_EQ(0u, statsOf(poolNamed(c.name)).inUse) << c.name;
    EXPECT_EQ(baseline, liveStringsAndLists());

    // Attributes and media free their strings and lists when alone too.
    CAttribute *again = zvSdpAttrObjConstruct("x", "y");
    ASSERT_NE(nullptr, again);
    zvSdpAttrObjDestruct(again);
    CMedia *lone = makeMedia();
    zvSdpMediaObjDestruct(lone);
    EXPECT_EQ(baseline, liveStringsAndLists());

    zvSdpObjDestruct(nullptr);
    zvSdpMediaObjDestruct(nullptr);
    zvSdpPayloadObjDestruct(nullptr);
    zvSdpAttrObjDestruct(nullptr);
    stopAll();
}

TEST(ClassModules, StopRunsTheHooksOfObjectsStillAlive)
{
    startAll(1);
    const uint32_t baseline = liveStringsAndLists();
    CMedia *media = makeMedia();
    CPayload *p = zvSdpPayloadObjConstruct(0, "PCMU");
    zvSdpPayloadObjSetFmtp(p, "vad=no");
    zvSdpMediaObjAddPayload(media, p);
    ASSERT_NE(nullptr, zvSdpAttrObjConstruct("rtcp", "9"));
    ASSERT_NE(nullptr, zvSdpPayloadObjConstruct(8, "PCMA"));
    ASSERT_NE(nullptr, zvSdpObjConstruct());

    // The media goes first and takes its payload with it; the loose
    // payload and attribute go with their own classes.
    stopAll();
    for (const ClassPool &c : kClasses)
        EXPECT_EQ(0u, statsOf(poolNamed(c.name)).inUse) << c.name;
    EXPECT_EQ(baseline, liveStringsAndLists());
}

TEST(ClassModules, RightsPassFromSessionToEverythingItHolds)
{
    startAll(1);
    CSdp *session = zvSdpObjConstruct();
    CMedia *first = makeMedia();
    CMedia *second = makeMedia();
    CPayload *p1 = zvSdpPayloadObjConstruct(0, "PCMU");
    CPayload *p2 = zvSdpPayloadObjConstruct(8, "PCMA");
    CPayload *p3 = zvSdpPayloadObjConstruct(18, "G729");
    CAttribute *a1 = zvSdpAttrObjConstruct("ptime", "20");
    CAttribute *a2 = zvSdpAttrObjConstruct("sendonly", nullptr);
    ASSERT_TRUE(session && first && second && p1 && p2 && p3 && a1 && a2);
    zvSdpMediaObjAddPayload(first, p1);
    zvSdpMediaObjAddPayload(first, p2);
    zvSdpMediaObjAddAttribute(first, a1);
    zvSdpMediaObjAddPayload(second, p3);
    zvSdpMediaObjAddAttribute(second, a2);
    zvSdpObjAddMedia(session, first);
    zvSdpObjAddMedia(session, second);

    zvSdpObjSetAccessRights(session, ZVSDP_READ_ONLY);
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpObjGetAccessRights(session));
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpMediaObjGetAccessRights(first));
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpMediaObjGetAccessRights(second));
    for (CPayload *p : {p1, p2, p3})
        EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpPayloadObjGetAccessRights(p));
    EXPECT_EQ(ZVSDP_READ_ONLY, rightsOf(a1));
    EXPECT_EQ(ZVSDP_READ_ONLY, rightsOf(a2));

    // A media passes rights down without touching its session.
    zvSdpMediaObjSetAccessRights(second, ZVSDP_READ_WRITE);
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpObjGetAccessRights(session));
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpPayloadObjGetAccessRights(p1));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpPayloadObjGetAccessRights(p3));
    EXPECT_EQ(ZVSDP_READ_WRITE, rightsOf(a2));

    zvSdpObjSetAccessRights(session, ZVSDP_READ_WRITE);
    for (CPayload *p : {p1, p2, p3})
        EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpPayloadObjGetAccessRights(p));
    EXPECT_EQ(ZVSDP_READ_WRITE, rightsOf(a1));

    // An empty media takes rights all the same.
    CMedia *bare = makeMedia();
    zvSdpMediaObjSetAccessRights(bare, ZVSDP_READ_ONLY);
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpMediaObjGetAccessRights(bare));
    zvSdpObjDestruct(session);
    zvSdpMediaObjDestruct(bare);
    stopAll();
}

}  // namespace
