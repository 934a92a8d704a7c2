// The smallest pools (zvSdpAppInit(1): 1 session, 5 media, 10 payloads, 20
// attributes) against work that needs more: every step answers with its
// documented code, nothing leaks, and the pools serve in full afterwards.
#include <string>

#include "rvsdp.h"
#include "stress_util.h"

using namespace stress;

namespace {

constexpr uint32_t kSessions = 1, kMedia = 5, kPayloads = 10, kAttributes = 20;

uint32_t objectsInUse()
{
    return inUse("zvsdpsdpobj") + inUse("zvsdpmediaobj") + inUse("zvsdppayloadobj") + inUse("zvsdpattrobj");
}

// An offer of 7 audio media with 4 formats and 5 attributes each: more of
// every kind than the pools hold.
std::string oversizedOffer()
{
    std::string offer = "v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\ns=-\r\nc=IN IP4 192.0.2.1\r\nt=0 0\r\n";
    for (int m = 0; m < 7; ++m) {
        offer += "m=audio " + std::to_string(5000 + 2 * m) + " RTP/AVP 0 8 18 101\r\n";
        offer += "a=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n";
        offer += "a=ptime:20\r\na=sendrecv\r\na=x-a\r\na=x-b\r\na=x-c\r\n";
    }
    return offer;
}

// The session holds as many media, payloads and attributes as the pools
// have, and no other object is in use.
void expectFull(CSdp *session)
{
    uint32_t media = 0, payloads = 0, attributes = 0;
    CMedia *m = nullptr;
    for (zvSdpGetFirstMediaDescriptor(session, &m); m; zvSdpGetNextMediaDescriptor(session, m, &m)) {
        ++media;
        CPayload *p = nullptr;
        for (zvSdpMediaGetFirstPayload(m, &p); p; zvSdpMediaGetNextPayload(m, p, &p))
            ++payloads;
        CAttribute *a = nullptr;
        for (zvSdpMediaGetFirstAttribute(m, &a); a; zvSdpMediaGetNextAttribute(m, a, &a))
            ++attributes;
    }
    EXPECT_EQ(kMedia, media);
    EXPECT_EQ(kPayloads, payloads);
    EXPECT_EQ(kAttributes, attributes);
    EXPECT_EQ(kSessions + kMedia + kPayloads + kAttributes, objectsInUse());
}

// Fills every pool to the last object through the guarded operations and
// checks the code of each step, the refused ones included.
void fillEveryPool(CSdp **session)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(session));
    CSdp *second = reinterpret_cast<CSdp *>(1);
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpConstruct(&second));
    EXPECT_EQ(nullptr, second);

    CMedia *media[kMedia] = {};
    for (uint32_t i = 0; i < kMedia; ++i)
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(*session, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &media[i])) << i;
    CMedia *extra = nullptr;
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpAddMediaDescriptor(*session, ZVSDP_MT_VIDEO, ZVSDP_TP_RTPAVP, &extra));
    EXPECT_EQ(nullptr, extra);

    for (uint32_t i = 0; i < kPayloads; ++i)
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpMediaAddPayload(media[i % kMedia], 96 + i, "AMR", 8000, 1, "octet-align=1",
                                                    nullptr))
            << i;
    CPayload *payload = nullptr;
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpMediaAddPayload(media[0], 0, "PCMU", 8000, 1, nullptr, &payload));
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpMediaAddStaticPayloadType(media[0], 8, &payload));
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpMediaAddTelephoneEvent(media[0], &payload));

    for (uint32_t i = 0; i < kAttributes; ++i)
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpMediaAddAttribute(media[i % kMedia], "x-attr", std::to_string(i).c_str(),
                                                      nullptr))
            << i;
    CAttribute *attribute = nullptr;
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpMediaAddAttribute(media[0], "sendrecv", nullptr, &attribute));
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpMediaAddAttrPtime(media[0], 20, &attribute));

    expectFull(*session);
}

class Exhaustion : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(1)); }
    void TearDown() override { zvSdpAppDestroy(); }

    // Nothing is left in any pool, and the pools still give their all.
    void expectEmptyAndUsable()
    {
        EXPECT_EQ(0u, inUse());
        CSdp *session = nullptr;
        fillEveryPool(&session);
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&session));
        EXPECT_EQ(0u, inUse());
    }
};

TEST_F(Exhaustion, EveryConstructionBeyondItsPoolIsRefusedWithNoResource)
{
    CSdp *session = nullptr;
    fillEveryPool(&session);
    // A full session still prints and mirrors whole.
    const std::string printed = text(session);
    uint32_t mediaLines = 0;
    for (size_t at = printed.find("m=audio"); at != std::string::npos; at = printed.find("m=audio", at + 1))
        ++mediaLines;
    EXPECT_EQ(kMedia, mediaLines);
    RvSdpMsg msg;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppGetRvSdp(session, &msg));
    EXPECT_EQ(kMedia, rvSdpMsgGetNumOfMediaDescr(&msg));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRvMediaCopy(&msg, session));
    rvSdpMsgDestruct(&msg);
    // Nothing is left for a parse while the one session is held.
    CSdp *parsed = reinterpret_cast<CSdp *>(1);
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpConstructFromString(kPhoneOffer, &parsed));
    EXPECT_EQ(nullptr, parsed);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&session));
    expectEmptyAndUsable();
}

TEST_F(Exhaustion, AnOfferLargerThanThePoolsKeepsWhatFitsParsedOrCopiedAndLeaksNothing)
{
    const std::string offer = oversizedOffer();
    ASSERT_LT(offer.size(), 1024u);
    CSdp *session = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString(offer.c_str(), &session));
    // Media, payloads and attributes that found no room are left out.
    expectFull(session);
    EXPECT_NE("<error>", text(session));
    // The answer cannot even start: there is no session left for it.
    CSdp *reply = reinterpret_cast<CSdp *>(1);
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpConstruct(&reply));
    EXPECT_EQ(nullptr, reply);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpFilterTelephoneEventsForAdvertisedCodecs(session));

    // Copies from a stack message replace the media in the same room.
    RvSdpMsg msg;
    uint32_t length = static_cast<uint32_t>(offer.size());
    int status = 0;
    ASSERT_NE(nullptr, rvSdpMsgConstructParse(&msg, offer.c_str(), &length, &status));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpCopyRvMedia(session, &msg));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpCopyRvMedia(session, &msg));
    rvSdpMsgDestruct(&msg);
    expectFull(session);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&session));
    expectEmptyAndUsable();
}

}  // namespace
