// The payload object on its own: fields, the rtpmap flag, rtpmap text, VAD
// detection, comparison, copies, and what its pool does when full.
#include "zvsdp_test_util.h"

using namespace zvtest;

namespace {

class PayloadTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(1u, zvSdpPayloadObjApiInit(kPoolSize));
        ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&strings_));
        baseline_ = liveStringsAndLists();
    }
    void TearDown() override { zvSdpPayloadObjApiDestroy(); }

    // Nothing leaked or freed twice since SetUp, counting the given number
    // of payloads that the test still holds.
    void expectOnlyLive(uint32_t payloads)
    {
        EXPECT_EQ(payloads, statsOf(poolNamed("zvsdppayloadobj")).inUse);
    }

    static constexpr uint32_t kPoolSize = 4;
    int strings_ = MEMM_POOL_NONE;
    uint32_t baseline_ = 0;
};

TEST_F(PayloadTest, ConstructExStoresEveryFieldAndStartsReadWrite)
{
    CPayload *p = zvSdpPayloadObjConstructEx(97, "G726-16", 8000, 1);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(97u, zvSdpPayloadObjGetPayloadType(p));
    EXPECT_EQ("G726-16", dynText(zvSdpPayloadObjGetName(p)));
    EXPECT_EQ(8000u, zvSdpPayloadObjGetClock(p));
    EXPECT_EQ(1u, zvSdpPayloadObjGetChannels(p));
    EXPECT_EQ(nullptr, zvSdpPayloadObjGetFmtp(p));
    EXPECT_EQ(0u, zvSdpPayloadObjGetPtime(p));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpPayloadObjGetAccessRights(p));

    CPayload *q = zvSdpPayloadObjConstruct(8, "PCMA");
    ASSERT_NE(nullptr, q);
    EXPECT_EQ(0u, zvSdpPayloadObjGetClock(q));
    EXPECT_EQ(0u, zvSdpPayloadObjGetChannels(q));
    EXPECT_EQ(0u, zvSdpPayloadObjGetPtime(nullptr));

    zvSdpPayloadObjDestruct(p);
    zvSdpPayloadObjDestruct(q);
    expectOnlyLive(0);
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(PayloadTest, EmptyOrMissingNameIsRefusedWithoutLeaking)
{
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstruct(0, ""));
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstructEx(0, "", 8000, 1));
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstruct(0, nullptr));
    expectOnlyLive(0);
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(PayloadTest, RtpmapFlagCountsOnlyBelow96)
{
    CPayload *pcma = zvSdpPayloadObjConstruct(8, "PCMA");
    CPayload *nte = zvSdpPayloadObjConstruct(101, "telephone-event");
    ASSERT_NE(nullptr, pcma);
    ASSERT_NE(nullptr, nte);
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(pcma));
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(nte));

    zvSdpPayloadObjSetEnableRtpMap(nte, 0);
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(nte));
    zvSdpPayloadObjSetEnableRtpMap(pcma, 1);
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(pcma));
    zvSdpPayloadObjSetEnableRtpMap(pcma, 0);
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(pcma));

    // Renumbering keeps the stored flag: 1 from a dynamic construction,
    // and a static payload moved up answers 1 while it stays there.
    zvSdpPayloadObjSetPayloadType(nte, 8);
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(nte));
    zvSdpPayloadObjSetPayloadType(pcma, 96);
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(pcma));
    zvSdpPayloadObjSetPayloadType(pcma, 95);
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(pcma));

    // The boundary itself is dynamic.
    CPayload *at96 = zvSdpPayloadObjConstruct(96, "X");
    CPayload *at95 = zvSdpPayloadObjConstruct(95, "X");
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(at96));
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(at95));
    zvSdpPayloadObjDestruct(pcma);
    zvSdpPayloadObjDestruct(nte);
    zvSdpPayloadObjDestruct(at96);
    zvSdpPayloadObjDestruct(at95);
}

TEST_F(PayloadTest, FmtpIsReplacedAndRemovedWithoutLeaking)
{
    CPayload *p = zvSdpPayloadObjConstruct(18, "G729");
    ASSERT_NE(nullptr, p);
    uint32_t withName = liveStringsAndLists();
    zvSdpPayloadObjSetFmtp(p, "annexb=no");
    EXPECT_EQ("annexb=no", dynText(zvSdpPayloadObjGetFmtp(p)));
    uint32_t withFmtp = liveStringsAndLists();
    zvSdpPayloadObjSetFmtp(p, "annexb=yes");
    EXPECT_EQ("annexb=yes", dynText(zvSdpPayloadObjGetFmtp(p)));
    EXPECT_EQ(withFmtp, liveStringsAndLists());
    zvSdpPayloadObjSetFmtp(p, nullptr);
    EXPECT_EQ(nullptr, zvSdpPayloadObjGetFmtp(p));
    EXPECT_EQ(withName, liveStringsAndLists());
    zvSdpPayloadObjSetFmtp(p, nullptr);
    EXPECT_EQ(nullptr, zvSdpPayloadObjGetFmtp(p));

    // The release hook frees the fmtp along with the name.
    zvSdpPayloadObjSetFmtp(p, "mode=30");
    zvSdpPayloadObjDestruct(p);
    EXPECT_EQ(baseline_, liveStringsAndLists());
    zvSdpPayloadObjDestruct(nullptr);
    expectOnlyLive(0);
}

TEST_F(PayloadTest, CopyIsIndependentAndAlwaysReadWrite)
{
    CPayload *src = zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1);
    ASSERT_NE(nullptr, src);
    zvSdpPayloadObjSetFmtp(src, "vad=no");
    zvSdpPayloadObjSetPtime(src, 40);
    zvSdpPayloadObjSetEnableRtpMap(src, 1);
    zvSdpPayloadObjSetAccessRights(src, ZVSDP_READ_ONLY);

    CPayload *copy = zvSdpPayloadObjConstructCopy(src);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(8u, zvSdpPayloadObjGetPayloadType(copy));
    EXPECT_EQ("PCMA", dynText(zvSdpPayloadObjGetName(copy)));
    EXPECT_EQ(8000u, zvSdpPayloadObjGetClock(copy));
    EXPECT_EQ(1u, zvSdpPayloadObjGetChannels(copy));
    EXPECT_EQ(40u, zvSdpPayloadObjGetPtime(copy));
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(copy));
    EXPECT_EQ("vad=no", dynText(zvSdpPayloadObjGetFmtp(copy)));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpPayloadObjGetAccessRights(copy));
    EXPECT_NE(zvSdpPayloadObjGetName(src), zvSdpPayloadObjGetName(copy));

    // Strings are the copy's own: the source may change or die.
    zvSdpPayloadObjSetFmtp(src, "vad=yes");
    zvSdpPayloadObjDestruct(src);
    EXPECT_EQ("vad=no", dynText(zvSdpPayloadObjGetFmtp(copy)));
    EXPECT_EQ("PCMA", dynText(zvSdpPayloadObjGetName(copy)));

    // A copy without fmtp has none.
    CPayload *bare = zvSdpPayloadObjConstruct(0, "PCMU");
    CPayload *bareCopy = zvSdpPayloadObjConstructCopy(bare);
    ASSERT_NE(nullptr, bareCopy);
    EXPECT_EQ(nullptr, zvSdpPayloadObjGetFmtp(bareCopy));

    zvSdpPayloadObjDestruct(copy);
    zvSdpPayloadObjDestruct(bare);
    zvSdpPayloadObjDestruct(bareCopy);
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(PayloadTest, CreateRtpmapPrintsChannelsFromTwoOnAndReplacesText)
{
    CPayload *p = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    ASSERT_NE(nullptr, p);
    dynstr_t out = dynstr_fromstr(strings_, "old text that must go");
    EXPECT_EQ(out, zvSdpPayloadObjCreateRtpmap(p, out));
    EXPECT_EQ("0 PCMU/8000", dynText(out));
    zvSdpPayloadObjSetChannels(p, 2);
    zvSdpPayloadObjCreateRtpmap(p, out);
    EXPECT_EQ("0 PCMU/8000/2", dynText(out));
    zvSdpPayloadObjSetChannels(p, 0);
    zvSdpPayloadObjCreateRtpmap(p, out);
    EXPECT_EQ("0 PCMU/8000", dynText(out));

    CPayload *wb = zvSdpPayloadObjConstructEx(96, "AMR-WB", 16000, 2);
    zvSdpPayloadObjCreateRtpmap(wb, out);
    EXPECT_EQ("96 AMR-WB/16000/2", dynText(out));

    dynstr_release(out);
    zvSdpPayloadObjDestruct(p);
    zvSdpPayloadObjDestruct(wb);
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

struct VadCase {
    const char *name;
    const char *fmtp;  // nullptr: none
    int32_t expected;
};

TEST_F(PayloadTest, CheckVadReadsTheCodecKeyThenVad)
{
    const VadCase cases[] = {
        {"G729", "annexb=no", 0},
        {"G729", "annexb=yes", 1},
        {"g729", "annexb=yes", 1},             // name ignores case
        {"G729", "mode=30", -1},
        {"G729", nullptr, -1},
        {"G729", "annexb=yes;bitrate=no", 0},  // "no" anywhere counts
        {"G729", "vad=yes", 1},                // no annexb: falls back to vad
        {"G723", "annexa=yes", 1},
        {"G723", "annexa=no", 0},
        {"G723", "annexb=yes", -1},            // annexb means nothing to G723
        {"PCMU", "vad=yes", 1},
        {"PCMU", "vad=no", 0},
        {"PCMU", "annexb=no", -1},             // annexb means nothing to PCMU
        {"PCMU", "", -1},
    };
    for (const VadCase &c : cases) {
        CPayload *p = zvSdpPayloadObjConstruct(0, c.name);
        ASSERT_NE(nullptr, p);
        zvSdpPayloadObjSetFmtp(p, c.fmtp);
        EXPECT_EQ(c.expected, zvSdpPayloadCheckVad(p)) << c.name << " " << (c.fmtp ? c.fmtp : "(none)");
        zvSdpPayloadObjDestruct(p);
    }
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(PayloadTest, CompareLooksAtNameClockAndChannelsOnly)
{
    CPayload *a = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    CPayload *b = zvSdpPayloadObjConstructEx(112, "pcmu", 8000, 1);
    ASSERT_NE(nullptr, a);
    ASSERT_NE(nullptr, b);
    zvSdpPayloadObjSetFmtp(b, "x=1");
    zvSdpPayloadObjSetPtime(b, 30);
    EXPECT_EQ(0u, zvSdpPayloadObjCompare(a, b));
    EXPECT_EQ(0u, zvSdpPayloadObjCompare(b, a));

    zvSdpPayloadObjSetClock(b, 16000);
    EXPECT_EQ(1u, zvSdpPayloadObjCompare(a, b));
    zvSdpPayloadObjSetClock(b, 8000);
    zvSdpPayloadObjSetChannels(b, 2);
    EXPECT_EQ(1u, zvSdpPayloadObjCompare(a, b));
    zvSdpPayloadObjSetChannels(b, 1);

    CPayload *c = zvSdpPayloadObjConstructEx(0, "PCMUX", 8000, 1);
    EXPECT_EQ(1u, zvSdpPayloadObjCompare(a, c));
    zvSdpPayloadObjDestruct(a);
    zvSdpPayloadObjDestruct(b);
    zvSdpPayloadObjDestruct(c);
}

TEST_F(PayloadTest, FullPoolRefusesConstructionAndCopiesWithoutGrowing)
{
    int pool = poolNamed("zvsdppayloadobj");
    ASSERT_NE(MEMM_POOL_NONE, pool);
    std::vector<CPayload *> held;
    for (uint32_t i = 0; i < kPoolSize; ++i) {
        held.push_back(zvSdpPayloadObjConstructEx(i, "PCMU", 8000, 1));
        ASSERT_NE(nullptr, held.back());
    }
    uint32_t live = liveStringsAndLists();
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstruct(0, "PCMU"));
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstructCopy(held[0]));
    EXPECT_EQ(kPoolSize, statsOf(pool).capacity);
    EXPECT_EQ(live, liveStringsAndLists());

    // A freed slot is usable again.
    zvSdpPayloadObjDestruct(held[1]);
    held[1] = zvSdpPayloadObjConstruct(1, "PCMA");
    EXPECT_NE(nullptr, held[1]);
    EXPECT_EQ(kPoolSize, statsOf(pool).capacity);
    for (CPayload *p : held)
        zvSdpPayloadObjDestruct(p);
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

}  // namespace
