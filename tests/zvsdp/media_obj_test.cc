// CMedia: construction, printing, the payload and attribute lists, copies
// and the compare with its old attribute walk.
#include "object_fixture.h"

#include "../../src/core/objects.h"

using namespace zvtest;
using ::testing::ElementsAre;

namespace {

class MediaObject : public ::testing::Test {
protected:
    void SetUp() override
    {
        startModules(2);
        baseline_ = liveStringsAndLists();
    }
    void TearDown() override { stopModules(); }
    uint32_t baseline_ = 0;
};

std::vector<CPayload *> payloadsOf(CMedia *m)
{
    std::vector<CPayload *> out;
    for (CPayload *p = zvSdpMediaObjGetPayload(m, nullptr); p; p = zvSdpMediaObjGetPayload(m, p))
        out.push_back(p);
    return out;
}

std::vector<CAttribute *> attributesOf(CMedia *m)
{
    std::vector<CAttribute *> out;
    for (CAttribute *a = zvSdpMediaObjGetAttribute(m, nullptr); a; a = zvSdpMediaObjGetAttribute(m, a))
        out.push_back(a);
    return out;
}

TEST_F(MediaObject, ConstructionChecksTransportAndMediaType)
{
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    ASSERT_NE(nullptr, m);
    EXPECT_EQ(0u, zvSdpMediaObjGetPort(m));
    EXPECT_EQ(1u, zvSdpMediaObjIsSupported(m));
    EXPECT_EQ(0u, zvSdpMediaObjGetInbandDtmf(m));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpMediaObjGetAccessRights(m));
    EXPECT_EQ(nullptr, zvSdpMediaObjGetPayload(m, nullptr));
    EXPECT_EQ(nullptr, zvSdpMediaObjGetAttribute(m, nullptr));
    EXPECT_NE(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_UDPBFCP, ZVSDP_MT_CONTROL));

    EXPECT_EQ(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_UNKNOWN, ZVSDP_MT_AUDIO));
    EXPECT_EQ(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_UNKNOWN));
    EXPECT_EQ(nullptr, zvSdpMediaObjConstruct(6, ZVSDP_MT_AUDIO));
    EXPECT_EQ(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_END));
    // The refused records went back to the pool.
    EXPECT_EQ(2u, inUse("zvsdpmediaobj"));
}

TEST_F(MediaObject, PrintsTheWordsOfEveryMediaTypeAndTransport)
{
    const char *types[] = {"audio", "nas", "video", "app", "data", "image", "control"};
    const char *transports[] = {"RTP/AVP", "UDP", "udptl", "TCP", "UDP/BFCP"};
    for (uint32_t t = 1; t <= 7; ++t) {
        for (uint32_t p = 1; p <= 5; ++p) {
            CMedia *m = zvSdpMediaObjConstruct(p, t);
            ASSERT_NE(nullptr, m);
            EXPECT_EQ(std::string("m=") + types[t - 1] + " 0 " + transports[p - 1] + "\n", mediaText(m));
            zvSdpMediaObjDestruct(m);
        }
    }
    // The port is printed as a signed number.
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_UDPTL, ZVSDP_MT_IMAGE);
    zvSdpMediaObjSetPort(m, 0xFFFFFFFFu);
    EXPECT_EQ("m=image -1 udptl\n", mediaText(m));
    // Values set after construction that have no word still print safely.
    zvSdpMediaObjSetMediaType(m, 200);
    zvSdpMediaObjSetTransport(m, 200);
    std::string text = mediaText(m);
    EXPECT_EQ(0u, text.rfind("m=", 0));
    EXPECT_EQ('\n', text.back());
}

TEST_F(MediaObject, PrintsTheMLineThenEveryRtpmapLineThenEveryFmtpLineThenAttributes)
{
    CMedia *example = audioMedia(5004);
    ASSERT_NE(nullptr, example);
    EXPECT_EQ(kAudioText, mediaText(example));

    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    zvSdpMediaObjSetPort(m, 49170);
    CPayload *pcmu = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    CPayload *amr = zvSdpPayloadObjConstructEx(97, "AMR", 8000, 1);
    CPayload *pcma = zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1);
    CPayload *g729 = zvSdpPayloadObjConstructEx(18, "G729", 8000, 1);
    CPayload *te = zvSdpPayloadObjConstructEx(101, "telephone-event", 8000, 1);
    CPayload *wb = zvSdpPayloadObjConstructEx(107, "AMR-WB", 16000, 2);
    ASSERT_TRUE(pcmu && amr && pcma && g729 && te && wb);
    zvSdpPayloadObjSetFmtp(amr, "octet-align=1");
    zvSdpPayloadObjSetEnableRtpMap(pcma, 1);
    zvSdpPayloadObjSetFmtp(g729, "annexb=no");
    zvSdpPayloadObjSetFmtp(te, "0-15");
    for (CPayload *p : {pcmu, amr, pcma, g729, te, wb})
        zvSdpMediaObjAddPayload(m, p);
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("ptime", "20"));
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("sendrecv", nullptr));
    EXPECT_EQ("m=audio 49170 RTP/AVP 0 97 8 18 101 107\n"
              "a=rtpmap:97 AMR/8000\n"
              "a=rtpmap:8 PCMA/8000\n"
              "a=rtpmap:101 telephone-event/8000\n"
              "a=rtpmap:107 AMR-WB/16000/2\n"
              "a=fmtp:97 octet-align=1\n"
              "a=fmtp:18 annexb=no\n"
              "a=fmtp:101 0-15\n"
              "a=ptime:20\n"
              "a=sendrecv\n",
              mediaText(m));
    // Printing leaves no string behind.
    const uint32_t live = liveStringsAndLists();
    mediaText(m);
    EXPECT_EQ(live, liveStringsAndLists());
}

TEST_F(MediaObject, AttributeLinesAreCutAt127Characters)
{
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    const std::string fits(127 - 4, 'f');   // "a=x:" + 123 = 127 characters
    const std::string longer(128 - 4, 'l'); // one too many
    const std::string huge(600, 'h');
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("x", fits.c_str()));
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("x", longer.c_str()));
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("x", huge.c_str()));
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct(huge.c_str(), nullptr));
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("sendrecv", nullptr));
    EXPECT_EQ("m=audio 0 RTP/AVP\n"
              "a=x:" + fits + "\n" +
              "a=x:" + longer.substr(0, 123) + "\n" +
              "a=x:" + huge.substr(0, 123) + "\n" +
              "a=" + huge.substr(0, 125) + "\n" +
              "a=sendrecv\n",
              mediaText(m));
}

TEST_F(MediaObject, ToStringCutsTheWholeTextToOneByteLessThanTheBuffer)
{
    CMedia *m = audioMedia(5004);
    ASSERT_NE(nullptr, m);
    const std::string full = kAudioText;
    for (uint32_t size = 1; size <= full.size() + 1; ++size) {
        std::string buf(size + 8, '#');
        uint32_t length = size;
        EXPECT_EQ(&buf[0], zvSdpMediaObjToString(m, &buf[0], &length));
        EXPECT_EQ(size - 1, length) << size;
        EXPECT_EQ(full.substr(0, size - 1), std::string(buf.c_str())) << size;
        // Nothing beyond the caller's size is touched.
        EXPECT_EQ(std::string(8, '#'), buf.substr(size)) << size;
    }
    char none[2] = {'#', '#'};
    uint32_t length = 0;
    zvSdpMediaObjToString(m, none, &length);
    EXPECT_EQ(0u, length);
    EXPECT_EQ('#', none[0]);
}

TEST_F(MediaObject, CopyHoldsCopiesOfEverythingButTheInbandDtmfFlag)
{
    CMedia *source = audioMedia(5004, {"ptime:30"});
    ASSERT_NE(nullptr, source);
    CPayload *pcmu = zvSdpMediaObjGetPayload(source, nullptr);
    zvSdpPayloadObjSetEnableRtpMap(pcmu, 1);
    zvSdpPayloadObjSetPtime(pcmu, 30);
    zvSdpMediaObjSetInbandDtmf(source, 1);
    zvSdpMediaObjSetSupported(source, 0);
    zvSdpMediaObjSetAccessRights(source, ZVSDP_READ_ONLY);
    const std::string text = mediaText(source);

    CMedia *copy = zvSdpMediaObjConstructCopy(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(text, mediaText(copy));
    EXPECT_EQ(0u, zvSdpMediaObjGetInbandDtmf(copy));
    EXPECT_EQ(1u, zvSdpMediaObjGetInbandDtmf(source));
    EXPECT_EQ(0u, zvSdpMediaObjIsSupported(copy));
    EXPECT_EQ(5004u, zvSdpMediaObjGetPort(copy));
    EXPECT_EQ(1u, zvSdpMediaObjCompare(source, copy));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpMediaObjGetAccessRights(copy));

    std::vector<CPayload *> copied = payloadsOf(copy);
    ASSERT_EQ(2u, copied.size());
    EXPECT_NE(pcmu, copied[0]);
    EXPECT_EQ(30u, zvSdpPayloadObjGetPtime(copied[0]));
    for (CPayload *p : copied)
        EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpPayloadObjGetAccessRights(p));
    std::vector<CAttribute *> attrs = attributesOf(copy);
    ASSERT_EQ(1u, attrs.size());
    EXPECT_NE(zvSdpMediaObjGetAttribute(source, nullptr), attrs[0]);
    EXPECT_EQ(ZVSDP_READ_WRITE, attrs[0]->rights);

    // The copy lives on without its source and takes everything with it.
    zvSdpMediaObjDestruct(source);
    EXPECT_EQ(text, mediaText(copy));
    zvSdpMediaObjDestruct(copy);
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(MediaObject, CompareIgnoresThePortAndKeepsTheOldAttributeWalk)
{
    CMedia *a = audioMedia(5004, {"sendrecv"});
    CMedia *b = audioMedia(6000, {"sendrecv"});
    ASSERT_TRUE(a && b);
    EXPECT_EQ(1u, zvSdpMediaObjCompare(a, b));
    EXPECT_EQ(1u, zvSdpMediaObjCompare(b, a));

    zvSdpMediaObjSetMediaType(b, ZVSDP_MT_VIDEO);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));
    zvSdpMediaObjSetMediaType(b, ZVSDP_MT_AUDIO);
    zvSdpMediaObjSetSupported(b, 0);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));
    zvSdpMediaObjSetSupported(b, 1);
    zvSdpMediaObjSetTransport(b, ZVSDP_TP_UDP);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));
    zvSdpMediaObjSetTransport(b, ZVSDP_TP_RTPAVP);
    zvSdpMediaObjSetInbandDtmf(b, 1);
    EXPECT_EQ(1u, zvSdpMediaObjCompare(a, b));

    // Two attributes each: b's second is looked up in a's list and not
    // found, so a's second attribute has no partner and the pair differs.
    CMedia *two1 = audioMedia(0, {"ptime:20", "sendrecv"});
    CMedia *two2 = audioMedia(0, {"ptime:20", "sendrecv"});
    EXPECT_EQ(0u, zvSdpMediaObjCompare(two1, two2));
    EXPECT_EQ(1u, zvSdpMediaObjCompare(two1, two1));

    // One attribute in the first media: only the first pair counts.
    CMedia *one = audioMedia(0, {"ptime:20"});
    EXPECT_EQ(1u, zvSdpMediaObjCompare(one, two1));
    EXPECT_EQ(0u, zvSdpMediaObjCompare(two1, one));

    CMedia *bare = audioMedia(0, {});
    EXPECT_EQ(0u, zvSdpMediaObjCompare(bare, one));
    EXPECT_EQ(1u, zvSdpMediaObjCompare(bare, bare));
    CMedia *otherValue = audioMedia(0, {"ptime:30"});
    EXPECT_EQ(0u, zvSdpMediaObjCompare(one, otherValue));
}

TEST_F(MediaObject, ComparePairsPayloadsByNameClockAndChannelsInOrder)
{
    CMedia *a = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    CMedia *b = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    zvSdpMediaObjAddPayload(a, zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1));
    CPayload *renamed = zvSdpPayloadObjConstructEx(96, "pcmu", 8000, 1);
    zvSdpPayloadObjSetFmtp(renamed, "x=1");
    zvSdpMediaObjAddPayload(b, renamed);
    EXPECT_EQ(1u, zvSdpMediaObjCompare(a, b));

    CPayload *extra = zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1);
    zvSdpMediaObjAddPayload(b, extra);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));
    EXPECT_EQ(0u, zvSdpMediaObjCompare(b, a));
    zvSdpMediaObjAddPayload(a, zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1));
    EXPECT_EQ(1u, zvSdpMediaObjCompare(a, b));
    zvSdpPayloadObjSetClock(extra, 16000);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));
}

TEST_F(MediaObject, ListsKeepOrderAndRemoveDestroysWhatItIsGiven)
{
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    CMedia *other = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    CPayload *p1 = zvSdpPayloadObjConstruct(0, "PCMU");
    CPayload *p2 = zvSdpPayloadObjConstruct(8, "PCMA");
    CPayload *p3 = zvSdpPayloadObjConstruct(18, "G729");
    CPayload *foreign = zvSdpPayloadObjConstruct(3, "GSM");
    CAttribute *a1 = zvSdpAttrObjConstruct("ptime", "20");
    CAttribute *a2 = zvSdpAttrObjConstruct("sendrecv", nullptr);
    ASSERT_TRUE(m && other && p1 && p2 && p3 && foreign && a1 && a2);

    zvSdpMediaObjAddPayload(m, nullptr);
    zvSdpMediaObjAddAttribute(m, nullptr);
    for (CPayload *p : {p1, p2, p3})
        zvSdpMediaObjAddPayload(m, p);
    zvSdpMediaObjAddPayload(other, foreign);
    zvSdpMediaObjAddAttribute(m, a1);
    zvSdpMediaObjAddAttribute(m, a2);
    EXPECT_THAT(payloadsOf(m), ElementsAre(p1, p2, p3));
    EXPECT_THAT(attributesOf(m), ElementsAre(a1, a2));
    EXPECT_EQ(nullptr, zvSdpMediaObjGetPayload(m, foreign));
    EXPECT_EQ(1u, zvSdpMediaObjHasPayload(m, p2));
    EXPECT_EQ(0u, zvSdpMediaObjHasPayload(m, foreign));
    EXPECT_EQ(1u, zvSdpMediaObjHasAttribute(m, a2));

    zvSdpMediaObjRemovePayload(m, nullptr);
    zvSdpMediaObjRemoveAttribute(m, nullptr);
    zvSdpMediaObjRemovePayload(m, p2);
    zvSdpMediaObjRemoveAttribute(m, a1);
    EXPECT_THAT(payloadsOf(m), ElementsAre(p1, p3));
    EXPECT_THAT(attributesOf(m), ElementsAre(a2));
    EXPECT_EQ(3u, inUse("zvsdppayloadobj"));
    EXPECT_EQ(1u, inUse("zvsdpattrobj"));

    // A payload of another media is destroyed although nothing was unlinked.
    zvSdpMediaObjRemovePayload(m, foreign);
    EXPECT_EQ(2u, inUse("zvsdppayloadobj"));
    EXPECT_THAT(payloadsOf(m), ElementsAre(p1, p3));

    zvSdpMediaObjDestruct(other);
    zvSdpMediaObjDestruct(m);
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

int byClockThenNothing(const void *a, const void *b, void *arg)
{
    ++*static_cast<int *>(arg);
    uint32_t ca = zvSdpPayloadObjGetClock(static_cast<CPayload *>(const_cast<void *>(a)));
    uint32_t cb = zvSdpPayloadObjGetClock(static_cast<CPayload *>(const_cast<void *>(b)));
    return ca < cb ? -1 : ca > cb ? 1 : 0;
}

TEST_F(MediaObject, SortIsStableAndPassesTheCallersArgument)
{
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    CPayload *wb = zvSdpPayloadObjConstructEx(107, "AMR-WB", 16000, 1);
    CPayload *pcmu = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    CPayload *g722 = zvSdpPayloadObjConstructEx(9, "G722", 16000, 1);
    CPayload *pcma = zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1);
    for (CPayload *p : {wb, pcmu, g722, pcma})
        zvSdpMediaObjAddPayload(m, p);
    int calls = 0;
    EXPECT_EQ(0, zvSdpMediaObjSortPayloads(m, &calls, byClockThenNothing));
    EXPECT_GT(calls, 0);
    EXPECT_THAT(payloadsOf(m), ElementsAre(pcmu, pcma, wb, g722));
    EXPECT_EQ("m=audio 0 RTP/AVP 0 8 107 9\n"
              "a=rtpmap:107 AMR-WB/16000\n"
              "a=rtpmap:9 G722/16000\n",
              mediaText(m));
}

TEST_F(MediaObject, ExhaustedPoolsGiveNullOrShorterCopies)
{
    zvSdpMediaObjApiSetTraceLevel(1);
    std::vector<CMedia *> held;
    for (int i = 0; i < 10; ++i)
        held.push_back(zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO));
    ASSERT_NE(nullptr, held.back());
    syslogClear();
    EXPECT_EQ(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO));
    EXPECT_EQ(nullptr, zvSdpMediaObjConstructCopy(held[0]));
    EXPECT_THAT(logEntries(), ElementsAre("[ZVSDP::CMedia] |C|zvSdpMediaObjConstruct|Failed to allocate memory!",
                                          "[ZVSDP::CMedia] |C|zvSdpMediaObjConstructCopy|Failed to allocate memory!"));
    EXPECT_EQ(10u, statsOf(poolNamed("zvsdpmediaobj")).capacity);
    for (CMedia *m : held)
        zvSdpMediaObjDestruct(m);

    // With one payload record left, a copy of a two-payload media holds the
    // first payload only; nothing is lost on the way.
    CMedia *source = audioMedia(5004);
    std::vector<CPayload *> filler;
    while (inUse("zvsdppayloadobj") < 19)
        filler.push_back(zvSdpPayloadObjConstruct(0, "PCMU"));
    CMedia *copy = zvSdpMediaObjConstructCopy(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(1u, payloadsOf(copy).size());
    EXPECT_EQ(20u, inUse("zvsdppayloadobj"));
    zvSdpMediaObjDestruct(copy);
    zvSdpMediaObjDestruct(source);
    for (CPayload *p : filler)
        zvSdpPayloadObjDestruct(p);
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

}  // namespace
