// CMedia: the exact text and its cuts, copies without the in-band DTMF flag,
// the compare's old attribute walk, full pools.
#include "zvsdp_test.h"

using namespace zvtest;
using ::testing::ElementsAre;

namespace {

using MediaObject = ObjectTest<2>;

TEST_F(MediaObject, ConstructionRefusesUnknownTransportsAndTypesAndPrintsTheWords)
{
    for (const auto &[transport, type] : {std::pair<uint32_t, uint32_t>{ZVSDP_TP_UNKNOWN, ZVSDP_MT_AUDIO},
                                          {6, ZVSDP_MT_AUDIO}, {ZVSDP_TP_RTPAVP, ZVSDP_MT_UNKNOWN},
                                          {ZVSDP_TP_RTPAVP, ZVSDP_MT_END}})
        EXPECT_EQ(nullptr, zvSdpMediaObjConstruct(transport, type)) << transport << " " << type;
    EXPECT_EQ(0u, inUse("zvsdpmediaobj"));
    const char *types[] = {"audio", "nas", "video", "app", "data", "image", "control"};
    const char *transports[] = {"RTP/AVP", "UDP", "udptl", "TCP", "UDP/BFCP"};
    for (uint32_t t = 1; t <= 7; ++t) {
        for (uint32_t p = 1; p <= 5; ++p) {
            CMedia *m = zvSdpMediaObjConstruct(p, t);
            EXPECT_EQ(std::string("m=") + types[t - 1] + " 0 " + transports[p - 1] + "\n", mediaText(m));
            zvSdpMediaObjDestruct(m);
        }
    }
    // The port is printed signed; values without a word still print.
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_UDPTL, ZVSDP_MT_IMAGE);
    zvSdpMediaObjSetPort(m, 0xFFFFFFFFu);
    zvSdpMediaObjSetMediaType(m, 200);
    zvSdpMediaObjSetTransport(m, 200);
    EXPECT_EQ("m=unknown -1 unknown\n", mediaText(m));
}

TEST_F(MediaObject, RtpmapLinesAreNeverCutButAttributeLinesAre127CharactersAtMost)
{
    const std::string fits(123, 'f'), huge(600, 'h');  // "a=x:" + 123 = 127 characters
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    CPayload *pcma = zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1);
    CPayload *wb = zvSdpPayloadObjConstructEx(107, "AMR-WB", 16000, 2);
    zvSdpPayloadObjSetEnableRtpMap(pcma, 1);
    zvSdpPayloadObjSetFmtp(wb, "octet-align=1");
    for (CPayload *p : {zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1), wb, pcma,
                        zvSdpPayloadObjConstructEx(96, huge.c_str(), 8000, 1)})
        zvSdpMediaObjAddPayload(m, p);
    for (const std::string &value : {fits, fits + "l"})
        zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("x", value.c_str()));
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct(huge.c_str(), nullptr));
    const uint32_t live = liveStringsAndLists();
    EXPECT_EQ("m=audio 0 RTP/AVP 0 107 8 96\n"
              "a=rtpmap:107 AMR-WB/16000/2\n"
              "a=rtpmap:8 PCMA/8000\n"
              "a=rtpmap:96 " + huge + "/8000\n"
              "a=fmtp:107 octet-align=1\n"
              "a=x:" + fits + "\na=x:" + fits + "\na=" + huge.substr(0, 125) + "\n",
              mediaText(m));
    EXPECT_EQ(live, liveStringsAndLists());
}

TEST_F(MediaObject, CopyHoldsOwnCopiesOfEverythingButTheInbandDtmfFlag)
{
    CMedia *source = audioMedia(5004, {"ptime:30", "sendrecv"});
    zvSdpPayloadObjSetPtime(zvSdpMediaObjGetPayload(source, nullptr), 30);
    zvSdpMediaObjSetInbandDtmf(source, 1);
    zvSdpMediaObjSetSupported(source, 0);
    zvSdpMediaObjSetAccessRights(source, ZVSDP_READ_ONLY);
    const std::string text = mediaText(source);
    CMedia *copy = zvSdpMediaObjConstructCopy(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(0u, zvSdpMediaObjGetInbandDtmf(copy));
    EXPECT_EQ(0u, zvSdpMediaObjIsSupported(copy));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpMediaObjGetAccessRights(copy));
    EXPECT_EQ(30u, zvSdpPayloadObjGetPtime(zvSdpMediaObjGetPayload(copy, nullptr)));
    zvSdpMediaObjDestruct(source);
    EXPECT_EQ(text, mediaText(copy));
    // Removal destroys what it is given, even a payload of no media.
    zvSdpMediaObjRemovePayload(copy, zvSdpPayloadObjConstruct(3, "GSM"));
    zvSdpMediaObjDestruct(copy);
    expectAllFreed();
}

TEST_F(MediaObject, CompareIgnoresPortAndDtmfAndKeepsTheOldAttributeWalk)
{
    CMedia *a = audioMedia(5004), *b = audioMedia(6000);
    zvSdpMediaObjSetInbandDtmf(b, 1);
    EXPECT_EQ(1u, zvSdpMediaObjCompare(a, b));
    zvSdpMediaObjSetMediaType(b, ZVSDP_MT_VIDEO);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));
    zvSdpMediaObjSetMediaType(b, ZVSDP_MT_AUDIO);
    zvSdpMediaObjSetSupported(b, 0);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));
    zvSdpMediaObjSetSupported(b, 1);
    zvSdpMediaObjSetTransport(b, ZVSDP_TP_UDP);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(a, b));

    // b's second attribute is looked up in a's list: equal lists of two differ,
    // and with one attribute in the first media only the first pair counts.
    CMedia *two1 = audioMedia(0, {"ptime:20", "sendrecv"}), *two2 = audioMedia(0, {"ptime:20", "sendrecv"});
    CMedia *one = audioMedia(0, {"ptime:20"}), *bare = audioMedia(0, {});
    EXPECT_EQ(0u, zvSdpMediaObjCompare(two1, two2));
    EXPECT_EQ(1u, zvSdpMediaObjCompare(one, two1));
    EXPECT_EQ(0u, zvSdpMediaObjCompare(two1, one));
    EXPECT_EQ(0u, zvSdpMediaObjCompare(bare, one));

    // Payloads pair up in order by name (any case), clock and channels only.
    CMedia *other = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    CPayload *te = zvSdpPayloadObjConstructEx(100, "TELEPHONE-EVENT", 8000, 2);
    zvSdpMediaObjAddPayload(other, zvSdpPayloadObjConstructEx(96, "pcmu", 8000, 1));
    zvSdpMediaObjAddPayload(other, te);
    EXPECT_EQ(0u, zvSdpMediaObjCompare(bare, other));
    zvSdpPayloadObjSetChannels(te, 1);
    EXPECT_EQ(1u, zvSdpMediaObjCompare(bare, other));
    zvSdpMediaObjAddPayload(other, zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1));
    EXPECT_EQ(0u, zvSdpMediaObjCompare(other, bare));
}

TEST_F(MediaObject, ExhaustedPoolsGiveNullOrShorterCopies)
{
    // With one payload record left, a copy of a two-payload media holds the
    // first payload only; nothing is lost on the way.
    CMedia *source = audioMedia(5004);
    while (inUse("zvsdppayloadobj") < 19)
        zvSdpPayloadObjConstruct(0, "PCMU");
    const uint32_t live = liveStringsAndLists();
    CMedia *copy = zvSdpMediaObjConstructCopy(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ("m=audio 5004 RTP/AVP 0\na=sendrecv\n", mediaText(copy));
    zvSdpMediaObjDestruct(copy);
    EXPECT_EQ(live, liveStringsAndLists());

    // No media record left: no copy, and no payload copied for nothing.
    while (inUse("zvsdpmediaobj") < 10)
        ASSERT_NE(nullptr, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO));
    EXPECT_EQ(nullptr, zvSdpMediaObjConstructCopy(source));
    EXPECT_EQ(19u, inUse("zvsdppayloadobj"));
    EXPECT_EQ(live, liveStringsAndLists());
}

}  // namespace
