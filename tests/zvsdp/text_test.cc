// SDP text in and out: the string parser, printing, the stack-message mirror
// and copy, RTP figures, capability declarations and telephone events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "codec_fixture.h"
#include "rvsdp.h"

using namespace zvtest;
using ::testing::Contains;
using ::testing::HasSubstr;

namespace {

const char *const kGatewayOffer =
    "m=audio 49170 RTP/AVP 8 0 18 96 101\r\n"
    "a=rtpmap:8 PCMA/8000\r\n"
    "a=rtpmap:96 AMR-WB/16000\r\n"
    "a=fmtp:96 mode-set=0,1,2;octet-align=1\r\n"
    "a=rtpmap:101 telephone-event/8000\r\n"
    "a=fmtp:101 0-15\r\n"
    "a=fmtp:18 annexb=no\r\n"
    "a=ptime:20\r\n"
    "a=sendrecv\r\n";

class TextTest : public LibraryTest {};

std::string encoded(RvSdpMsg *msg)
{
    char buffer[2048];
    int n = rvSdpMsgEncodeToBuf(msg, buffer, sizeof buffer);
    return n >= 0 && n < static_cast<int>(sizeof buffer) ? std::string(buffer, n) : std::string();
}

TEST_F(TextTest, GatewayOfferPrintsAsTheLibrarysMediaSections)
{
    CSdp *s = offer(kGatewayOffer);
    ASSERT_NE(nullptr, s);
    // Static payloads that match their table row get no rtpmap line; every
    // rtpmap line comes before every fmtp line.
    EXPECT_EQ("m=audio 49170 RTP/AVP 8 0 18 96 101\n"
              "a=rtpmap:96 AMR-WB/16000\n"
              "a=rtpmap:101 telephone-event/8000\n"
              "a=fmtp:18 annexb=no\n"
              "a=fmtp:96 mode-set=0,1,2;octet-align=1\n"
              "a=fmtp:101 0-15\n"
              "a=ptime:20\n"
              "a=sendrecv\n",
              printed(s));
    destroyAll({s});
}

TEST_F(TextTest, MirroredSessionEncodesToTextThatParsesBackToTheSameSession)
{
    // One attribute per media: the media compare only ever matches one.
    CSdp *s = offer("m=audio 4000 RTP/AVP 0 8 101\r\na=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n"
                    "a=sendrecv\r\nm=video 0 RTP/AVP 31\r\n");
    ASSERT_NE(nullptr, s);
    RvSdpMsg msg;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppGetRvSdp(s, &msg));
    std::string text = encoded(&msg);
    rvSdpMsgDestruct(&msg);
    CSdp *back = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString(text.c_str(), &back));
    uint32_t equal = 0;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpCompare(s, back, &equal));
    EXPECT_EQ(1u, equal);
    EXPECT_EQ(printed(s), printed(back));
    destroyAll({s, back});
}

TEST_F(TextTest, RejectedStreamWithoutFormatsMirrorsToo)
{
    CSdp *s = offer("m=audio 4000 RTP/AVP 0\r\nm=video 4002 RTP/AVP 31\r\n");
    ASSERT_NE(nullptr, s);
    CMedia *video = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpFindMedia(s, ZVSDP_MT_VIDEO, 1, &video));
    CPayload *p = nullptr;
    zvSdpMediaGetFirstPayload(video, &p);
    zvSdpMediaRemovePayload(video, &p);
    zvSdpMediaMarkUnsupported(video);
    EXPECT_EQ("m=audio 4000 RTP/AVP 0\nm=video 0 RTP/AVP\n", printed(s));
    RvSdpMsg msg;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpAppGetRvSdp(s, &msg));
    EXPECT_EQ(2u, rvSdpMsgGetNumOfMediaDescr(&msg));
    rvSdpMsgDestruct(&msg);
    destroyAll({s});
}

TEST_F(TextTest, ParserDropsAndRejectsByTransportAndType)
{
    CSdp *s = reinterpret_cast<CSdp *>(0x1);
    // A bad argument leaves the caller's handle as it was.
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString("", &s));
    EXPECT_EQ(reinterpret_cast<CSdp *>(0x1), s);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString(nullptr, &s));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString("m=audio 0 RTP/AVP 0\n", nullptr));

    // One udptl, UDP or TCP media fails the whole text.
    for (const char *media : {"m=image 5000 udptl t38\r\n", "m=audio 5000 UDP 0\r\n", "m=audio 5000 TCP 0\r\n"}) {
        s = reinterpret_cast<CSdp *>(0x1);
        std::string text = std::string("m=audio 4000 RTP/AVP 0\r\n") + media;
        EXPECT_EQ(ZVSDP_RC_TRANSPORT, zvSdpConstructFromString(text.c_str(), &s)) << media;
        EXPECT_EQ(nullptr, s);
    }
    EXPECT_EQ(0u, objectsInUse());

    zvSdpSetTraceLevel(3);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString("m=foo 5000 RTP/AVP 0\r\n", &s));
    EXPECT_EQ(nullptr, s);
    EXPECT_THAT(logEntries(), Contains(apiLog("D", "createRvSdpMirror", "MediaDescriptor(foo, RTP/AVP) ignored.")));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString("this is no SDP", &s));

    // Every known media type is kept; other transports are dropped.
    s = offer("m=audio 1 RTP/AVP 0\r\nm=nas 1 RTP/AVP 0\r\nm=video 1 RTP/AVP 31\r\nm=application 1 RTP/AVP 0\r\n"
              "m=data 1 RTP/AVP 0\r\nm=image 1 RTP/AVP 0\r\nm=control 1 RTP/AVP 0\r\nm=audio 1 RTP/SAVP 0\r\n"
              "m=audio 1 UDP/BFCP 0\r\n");
    ASSERT_NE(nullptr, s);
    EXPECT_EQ("m=audio 1 RTP/AVP 0\nm=nas 1 RTP/AVP 0\nm=video 1 RTP/AVP 31\nm=app 1 RTP/AVP 0\n"
              "m=data 1 RTP/AVP 0\nm=image 1 RTP/AVP 0\nm=control 1 RTP/AVP 0\n",
              printed(s));
    destroyAll({s});
}

TEST_F(TextTest, PayloadsFromRtpmapFmtpAndTable)
{
    CSdp *s = offer("m=audio 0 RTP/AVP 0 96 97 120\r\n"
                    "a=rtpmap:96 foo\r\n"
                    "a=rtpmap:97 bar/16000/2\r\n"
                    "a=rtpmap:97 baz/8000\r\n"
                    "a=fmtp:96\r\n"
                    "a=fmtp:97 mode=30\r\n"
                    "a=fmtp:99 ignored\r\n");
    ASSERT_NE(nullptr, s);
    CMedia *m = firstMedia(s);
    uint32_t supported = 1, port = 1;
    zvSdpMediaIsSupported(m, &supported);
    zvSdpMediaGetPort(m, &port);
    EXPECT_EQ(0u, supported);
    EXPECT_EQ(0u, port);
    // 96: no rate means 8000 Hz, one channel; an fmtp without parameters
    // sets nothing. 97: each rtpmap adds a payload and the fmtp goes to the
    // last one. 120: in no rtpmap and no table row, so dropped.
    EXPECT_EQ("m=audio 0 RTP/AVP 0 96 97 97\n"
              "a=rtpmap:96 foo/8000\n"
              "a=rtpmap:97 bar/16000/2\n"
              "a=rtpmap:97 baz/8000\n"
              "a=fmtp:97 mode=30\n",
              printed(s));
    destroyAll({s});
}

TEST_F(TextTest, TextIsCutAt1023Characters)
{
    std::string media = "m=audio 4000 RTP/AVP 0\r\n";
    while (media.size() < 1000)
        media += "a=x:0123456789\r\n";
    std::string attribute = "a=last:" + std::string(60, 'y') + "\r\n";
    std::string text = media + attribute;  // crosses the cut
    CSdp *s = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString(text.c_str(), &s));
    std::string out = printed(s);
    EXPECT_THAT(out, HasSubstr("a=last:yyy"));
    EXPECT_EQ(std::string::npos, out.find(std::string(60, 'y')));
    destroyAll({s});
}

TEST_F(TextTest, SmallPrintBuffersCutAndEmptySessionsFail)
{
    CSdp *s = offer("m=audio 4000 RTP/AVP 0\r\n");
    char buffer[8] = "XXXXXXX";
    uint32_t length = 0;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpToString(s, buffer, &length));
    EXPECT_EQ('X', buffer[0]);
    length = 5;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpToString(s, buffer, &length));
    EXPECT_EQ(4u, length);
    EXPECT_STREQ("m=au", buffer);

    CSdp *empty = nullptr;
    zvSdpConstruct(&empty);
    length = sizeof buffer;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpToString(empty, buffer, &length));
    EXPECT_EQ(0u, length);
    RvSdpMsg msg;
    EXPECT_EQ(ZVSDP_RC_EXTERNAL, zvSdpAppGetRvSdp(empty, &msg));
    destroyAll({s, empty});
}

TEST_F(TextTest, MirrorWritesDefaultFormatsT38AndMarksWhatTheStackCannotCarry)
{
    CSdp *s = nullptr;
    zvSdpConstruct(&s);
    CMedia *audio = nullptr, *video = nullptr, *app = nullptr, *image = nullptr, *data = nullptr;
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_VIDEO, ZVSDP_TP_RTPAVP, &video);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_APP, ZVSDP_TP_RTPAVP, &app);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_IMAGE, ZVSDP_TP_UDPTL, &image);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_DATA, ZVSDP_TP_RTPAVP, &data);
    zvSdpMediaSetPort(audio, 4000);
    CPayload *p = nullptr;
    zvSdpMediaAddPayload(audio, 97, "iLBC", 8000, 1, "mode=30", &p);
    zvSdpMediaAddDynamicPayload(image, ZVSDP_PT_T38, nullptr);
    zvSdpMediaAddAttribute(audio, "sendrecv", nullptr, nullptr);

    RvSdpMsg msg;
    rvSdpMsgConstruct(&msg);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRvMediaCopy(&msg, s));
    EXPECT_EQ("m=audio 0 RTP/AVP 97\r\na=rtpmap:97 iLBC/8000\r\na=fmtp:97 mode=30\r\na=sendrecv\r\n"
              "m=video 0 RTP/AVP 31\r\n"
              "m=application 0 RTP/AVP 100\r\n"
              "m=image 0 udptl t38\r\n"
              "m=unknown 0 RTP/AVP\r\n",
              encoded(&msg));
    rvSdpMsgDestruct(&msg);
    uint32_t supported = 1;
    zvSdpMediaIsSupported(data, &supported);
    EXPECT_EQ(0u, supported);

    // In a read-only session the marking is refused and the media stays.
    CMedia *data2 = nullptr;
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_DATA, ZVSDP_TP_RTPAVP, &data2);
    zvSdpAppSetReadOnly(s);
    rvSdpMsgConstruct(&msg);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRvMediaCopy(&msg, s));
    rvSdpMsgDestruct(&msg);
    zvSdpMediaIsSupported(data2, &supported);
    EXPECT_EQ(1u, supported);
    zvSdpAppSetReadWrite(s);
    destroyAll({s});
}

TEST_F(TextTest, CopyFromStackMessageMovesTelephoneEventLast)
{
    const char *text = "m=audio 5004 RTP/AVP 101 0\r\na=rtpmap:101 telephone-event/8000\r\na=ptime:30\r\n"
                       "m=data 6000 RTP/AVP 0\r\nm=image 0 udptl t38\r\n";
    RvSdpMsg msg;
    int status = 0;
    rvSdpMsgConstructParse(&msg, text, nullptr, &status);
    ASSERT_EQ(RVSDP_OK, status);
    CSdp *s = nullptr;
    zvSdpConstruct(&s);
    zvSdpSetTraceLevel(1);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpCopyRvMedia(s, &msg));
    EXPECT_THAT(logEntries(), Contains(apiLog("C", "zvSdpCopyRvMedia", "Illegal condition: Unsupported Media type! (data)")));
    // The port is not copied; port 0 marks the media unsupported.
    EXPECT_EQ("m=audio 0 RTP/AVP 0 101\na=rtpmap:101 telephone-event/8000\na=ptime:30\n"
              "m=image 0 udptl 105\na=rtpmap:105 T38/90000\n",
              printed(s));
    EXPECT_EQ(std::string::npos, encoded(&msg).find("101 0"));
    EXPECT_THAT(encoded(&msg), HasSubstr("m=audio 5004 RTP/AVP 0 101\r\n"));
    rvSdpMsgDestruct(&msg);
    destroyAll({s});
}

TEST_F(TextTest, ConnectionOfMediaElseOfSession)
{
    const char *text = "v=0\r\nc=IN IP4 192.0.2.1\r\nm=audio 1 RTP/AVP 0\r\nm=audio 2 RTP/AVP 0\r\nc=IN IP4 192.0.2.2\r\n";
    RvSdpMsg msg;
    rvSdpMsgConstructParse(&msg, text, nullptr, nullptr);
    RvSdpConnection *c = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRvMediaGetConnection(&msg, rvSdpMsgGetMediaDescr(&msg, 0), &c));
    EXPECT_STREQ("192.0.2.1", rvSdpConnectionGetAddress(c));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRvMediaGetConnection(&msg, rvSdpMsgGetMediaDescr(&msg, 1), &c));
    EXPECT_STREQ("192.0.2.2", rvSdpConnectionGetAddress(c));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpRvMediaGetConnection(&msg, nullptr, nullptr));
    rvSdpMsgDestruct(&msg);
}

TEST_F(TextTest, RtpFiguresAndAZeroPtimeThatMustNotDivide)
{
    CSdp *s = offer("m=audio 1 RTP/AVP 0\r\na=ptime:20\r\nm=audio 1 RTP/AVP 96\r\na=rtpmap:96 AMR-WB/16000\r\n"
                    "m=audio 1 RTP/AVP 0\r\na=ptime:0\r\n");
    CMedia *first = firstMedia(s), *second = nullptr, *third = nullptr;
    zvSdpGetNextMediaDescriptor(s, first, &second);
    zvSdpGetNextMediaDescriptor(s, second, &third);
    RtpInfo info;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpGetRtpInfo(s, first, &info));
    EXPECT_EQ(50u, info.packetsPerSecond);
    EXPECT_EQ(200u, info.packetSize);
    EXPECT_EQ(500u, info.bandwidth);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpGetRtpInfo(s, second, &info));
    EXPECT_EQ(50u, info.packetsPerSecond);
    EXPECT_EQ(360u, info.packetSize);
    EXPECT_EQ(900u, info.bandwidth);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpGetRtpInfo(s, third, &info));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpGetRtpInfo(nullptr, first, &info));
    destroyAll({s});
}

TEST_F(TextTest, CapabilityDeclarationsAndTheirRemoval)
{
    CSdp *s = offer("m=audio 1 RTP/AVP 0 8 101\r\na=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n"
                    "a=ptime:20\r\nm=audio 1 RTP/AVP 96 9\r\na=rtpmap:96 X/8000\r\nm=image 1 RTP/AVP 0\r\n");
    CMedia *a = firstMedia(s), *b = nullptr, *c = nullptr;
    zvSdpGetNextMediaDescriptor(s, a, &b);
    zvSdpGetNextMediaDescriptor(s, b, &c);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddCdscCparAttributes(&a, 1));
    // After " 96" the text search takes 9 as listed already.
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddCdscCparAttributes(&b, 1));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddCdscCparAttributes(&c, 1));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaAddCdscCparAttributes(nullptr, 1));
    EXPECT_EQ("m=audio 1 RTP/AVP 0 8 101\na=rtpmap:101 telephone-event/8000\na=fmtp:101 0-15\na=ptime:20\n"
              "a=sqn: 0\na=cdsc:1 audio RTP/AVP 0 8 101\na=cpar:a=fmtp: 101 0-15\na=cdsc:4 image udptl t38\n"
              "m=audio 1 RTP/AVP 96 9\na=rtpmap:96 X/8000\n"
              "a=sqn: 0\na=cdsc:1 audio RTP/AVP 96\na=cdsc:2 image udptl t38\n"
              "m=image 1 RTP/AVP 0\na=sqn: 0\n",
              printed(s));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRemoveCdscCparAttributes(s));
    EXPECT_EQ("m=audio 1 RTP/AVP 0 8 101\na=rtpmap:101 telephone-event/8000\na=fmtp:101 0-15\na=ptime:20\n"
              "m=audio 1 RTP/AVP 96 9\na=rtpmap:96 X/8000\nm=image 1 RTP/AVP 0\n",
              printed(s));
    destroyAll({s});
}

TEST_F(TextTest, TelephoneEventQueriesAreCaseSensitive)
{
    CSdp *s = offer("m=audio 1 RTP/AVP 0 101 102\r\na=rtpmap:101 telephone-event/8000\r\n"
                    "a=rtpmap:102 telephone-event/16000\r\nm=audio 1 RTP/AVP 100\r\na=rtpmap:100 Telephone-Event/8000\r\n");
    CMedia *a = firstMedia(s), *b = nullptr;
    zvSdpGetNextMediaDescriptor(s, a, &b);
    uint32_t supported = 0, pt = 0;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaIsTelephoneEventSupportedEx(a, &supported, &pt));
    EXPECT_EQ(1u, supported);
    EXPECT_EQ(101u, pt);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaIsTelephoneEventSupported(b, &supported));
    EXPECT_EQ(0u, supported);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaAddTelephoneEvent(b, nullptr));
    CPayload *p = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddTelephoneEvent(b, &p));
    EXPECT_EQ(96u, payloadTypeOf(p));
    destroyAll({s});
}

TEST_F(TextTest, UninitialisedLibraryRefusesWithThree)
{
    zvSdpAppDestroy();
    CSdp *s = nullptr;
    RvSdpMsg msg;
    rvSdpMsgConstruct(&msg);
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpConstructFromString("m=audio 1 RTP/AVP 0\r\n", &s));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpCopyRvMedia(s, &msg));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpRvMediaCopy(&msg, s));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpAppGetRvSdp(s, &msg));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpRemoveCdscCparAttributes(s));
    rvSdpMsgDestruct(&msg);
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(4));
}

}  // namespace
