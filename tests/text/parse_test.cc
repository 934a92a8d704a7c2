// SDP text in and out: the string parser and printer (the exact text the
// gateway sends), the mirror into and copy from the stack's message and
// capability declarations.
#include "codec_fixture.h"
#include "rvsdp.h"

using namespace zvtest;

namespace {

class Text : public LibraryTest {};

std::string encoded(RvSdpMsg *msg)
{
    char buffer[2048];
    int n = rvSdpMsgEncodeToBuf(msg, buffer, sizeof buffer);
    return n >= 0 && n < static_cast<int>(sizeof buffer) ? std::string(buffer, n) : std::string();
}

TEST_F(Text, ParsedOffersPrintAsTheGatewaySendsThem)
{
    const struct { const char *media, *printed; } cases[] = {
        // Static payloads matching their table row get no rtpmap line; every
        // rtpmap line comes before every fmtp line.
        {"m=audio 49170 RTP/AVP 8 0 18 96 101\r\na=rtpmap:8 PCMA/8000\r\na=rtpmap:96 AMR-WB/16000\r\n"
         "a=fmtp:96 mode-set=0,1,2;octet-align=1\r\na=rtpmap:101 telephone-event/8000\r\n"
         "a=fmtp:101 0-15\r\na=fmtp:18 annexb=no\r\na=ptime:20\r\na=sendrecv\r\n",
         "m=audio 49170 RTP/AVP 8 0 18 96 101\na=rtpmap:96 AMR-WB/16000\na=rtpmap:101 telephone-event/8000\n"
         "a=fmtp:18 annexb=no\na=fmtp:96 mode-set=0,1,2;octet-align=1\na=fmtp:101 0-15\na=ptime:20\na=sendrecv\n"},
        // 96: no rate means 8000 Hz; an fmtp without parameters sets nothing.
        // 97: each rtpmap adds a payload, the fmtp goes to the last one. 120:
        // in no rtpmap and no table row, dropped.
        {"m=audio 0 RTP/AVP 0 96 97 120\r\na=rtpmap:96 foo\r\na=rtpmap:97 bar/16000/2\r\n"
         "a=rtpmap:97 baz/8000\r\na=fmtp:96\r\na=fmtp:97 mode=30\r\na=fmtp:99 ignored\r\n",
         "m=audio 0 RTP/AVP 0 96 97 97\na=rtpmap:96 foo/8000\na=rtpmap:97 bar/16000/2\na=rtpmap:97 baz/8000\n"
         "a=fmtp:97 mode=30\n"},
        // Every known media type is kept, other RTP transports dropped.
        {"m=audio 1 RTP/AVP 0\r\nm=nas 1 RTP/AVP 0\r\nm=video 1 RTP/AVP 31\r\nm=application 1 RTP/AVP 0\r\n"
         "m=data 1 RTP/AVP 0\r\nm=image 1 RTP/AVP 0\r\nm=control 1 RTP/AVP 0\r\nm=audio 1 RTP/SAVP 0\r\n"
         "m=audio 1 UDP/BFCP 0\r\n",
         "m=audio 1 RTP/AVP 0\nm=nas 1 RTP/AVP 0\nm=video 1 RTP/AVP 31\nm=app 1 RTP/AVP 0\n"
         "m=data 1 RTP/AVP 0\nm=image 1 RTP/AVP 0\nm=control 1 RTP/AVP 0\n"},
    };
    for (const auto &c : cases) {
        CSdp *s = offer(c.media);
        EXPECT_EQ(c.printed, printed(s));
        EXPECT_EQ(c.media[8] == '0' ? 0u : 1u, zvSdpMediaObjIsSupported(mediaOf(s).at(0)));  // port 0: unsupported
        destroyAll({s});
    }
}

TEST_F(Text, ParserRefusesBadTextAndOtherTransports)
{
    CSdp *s = reinterpret_cast<CSdp *>(0x1);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString("", &s));
    EXPECT_EQ(reinterpret_cast<CSdp *>(0x1), s);  // left as it was
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString(nullptr, &s));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString("this is no SDP", &s));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpConstructFromString("m=foo 5000 RTP/AVP 0\r\n", &s));
    // One udptl, UDP or TCP media fails the whole text.
    for (const char *media : {"m=image 5000 udptl t38\r\n", "m=audio 5000 UDP 0\r\n", "m=audio 5000 TCP 0\r\n"}) {
        const std::string text = "m=audio 4000 RTP/AVP 0\r\n" + std::string(media);
        EXPECT_EQ(ZVSDP_RC_TRANSPORT, zvSdpConstructFromString(text.c_str(), &s));
        EXPECT_EQ(nullptr, s);
    }
    EXPECT_EQ(0u, liveObjects());
}

TEST_F(Text, TextIsReadUpTo1023CharactersAndPrintedIntoTheCallersBuffer)
{
    std::string media = "m=audio 4000 RTP/AVP 0\r\n";
    while (media.size() < 1000)
        media += "a=x:0123456789\r\n";
    CSdp *s = nullptr, *empty = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString((media + "a=last:" + std::string(60, 'y')).c_str(), &s));
    std::string out = printed(s);
    EXPECT_EQ("a=last:yyyyy", out.substr(out.rfind("a=last:"), 12));
    EXPECT_EQ(std::string::npos, out.find(std::string(60, 'y')));

    char buffer[8] = "XXXXXXX";
    uint32_t length = 0;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpToString(s, buffer, &length));
    EXPECT_EQ('X', buffer[0]);
    length = 5;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpToString(s, buffer, &length));
    EXPECT_EQ(4u, length);
    EXPECT_EQ(std::string("m=au\0XX", 8), std::string(buffer, 8));
    zvSdpConstruct(&empty);
    EXPECT_EQ("", printed(empty));
    RvSdpMsg msg;
    EXPECT_EQ(ZVSDP_RC_EXTERNAL, zvSdpAppGetRvSdp(empty, &msg));
    destroyAll({s, empty});
}

TEST_F(Text, MirrorWritesDefaultFormatsT38AndMarksWhatTheStackCannotCarry)
{
    CSdp *s = nullptr;
    zvSdpConstruct(&s);
    CMedia *audio = nullptr, *image = nullptr, *data = nullptr;
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_VIDEO, ZVSDP_TP_RTPAVP, nullptr);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_APP, ZVSDP_TP_RTPAVP, nullptr);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_IMAGE, ZVSDP_TP_UDPTL, &image);
    zvSdpAddMediaDescriptor(s, ZVSDP_MT_DATA, ZVSDP_TP_RTPAVP, &data);
    zvSdpMediaSetPort(audio, 4000);
    zvSdpMediaAddPayload(audio, 97, "iLBC", 8000, 1, "mode=30", nullptr);
    zvSdpMediaAddDynamicPayload(image, ZVSDP_PT_T38, nullptr);
    RvSdpMsg msg;
    rvSdpMsgConstruct(&msg);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRvMediaCopy(&msg, s));
    EXPECT_EQ("m=audio 0 RTP/AVP 97\r\na=rtpmap:97 iLBC/8000\r\na=fmtp:97 mode=30\r\nm=video 0 RTP/AVP 31\r\n"
              "m=application 0 RTP/AVP 100\r\nm=image 0 udptl t38\r\nm=unknown 0 RTP/AVP\r\n",
              encoded(&msg));
    rvSdpMsgDestruct(&msg);
    EXPECT_EQ(0u, zvSdpMediaObjIsSupported(data));
    destroyAll({s});
}

TEST_F(Text, CopyFromTheStackMovesTelephoneEventLastAndDropsThePort)
{
    const char *text = "m=audio 5004 RTP/AVP 101 0\r\na=rtpmap:101 telephone-event/8000\r\na=ptime:30\r\n"
                       "m=data 6000 RTP/AVP 0\r\nm=image 0 udptl t38\r\n";
    RvSdpMsg msg;
    int status = 0;
    rvSdpMsgConstructParse(&msg, text, nullptr, &status);
    ASSERT_EQ(RVSDP_OK, status);
    CSdp *s = nullptr;
    zvSdpConstruct(&s);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpCopyRvMedia(s, &msg));
    EXPECT_EQ("m=audio 0 RTP/AVP 0 101\na=rtpmap:101 telephone-event/8000\na=ptime:30\n"
              "m=image 0 udptl 105\na=rtpmap:105 T38/90000\n",
              printed(s));
    EXPECT_EQ("m=audio 5004 RTP/AVP 0 101\r\n", encoded(&msg).substr(encoded(&msg).find("m=audio"), 28));
    rvSdpMsgDestruct(&msg);
    destroyAll({s});
}

TEST_F(Text, CapabilityDeclarationsAndTheirRemoval)
{
    const std::string plain = "m=audio 1 RTP/AVP 0 8 101\na=rtpmap:101 telephone-event/8000\na=fmtp:101 0-15\n"
                              "a=ptime:20\nm=audio 1 RTP/AVP 96 9\na=rtpmap:96 X/8000\nm=image 1 RTP/AVP 0\n";
    CSdp *s = offer(plain);
    ASSERT_EQ(plain, printed(s));
    for (CMedia *m : mediaOf(s))
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddCdscCparAttributes(&m, 1));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaAddCdscCparAttributes(nullptr, 1));
    // After " 96" the text search takes 9 as listed already.
    EXPECT_EQ("m=audio 1 RTP/AVP 0 8 101\na=rtpmap:101 telephone-event/8000\na=fmtp:101 0-15\na=ptime:20\n"
              "a=sqn: 0\na=cdsc:1 audio RTP/AVP 0 8 101\na=cpar:a=fmtp: 101 0-15\na=cdsc:4 image udptl t38\n"
              "m=audio 1 RTP/AVP 96 9\na=rtpmap:96 X/8000\na=sqn: 0\na=cdsc:1 audio RTP/AVP 96\n"
              "a=cdsc:2 image udptl t38\nm=image 1 RTP/AVP 0\na=sqn: 0\n",
              printed(s));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRemoveCdscCparAttributes(s));
    EXPECT_EQ(plain, printed(s));
    destroyAll({s});
}

TEST_F(Text, RtpFiguresFollowPtimeAndTheHighestClock)
{
    const struct { const char *media; uint32_t rc, packets, size, bandwidth; } cases[] = {
        {"m=audio 1 RTP/AVP 0 8\r\n", ZVSDP_RC_OK, 50, 200, 500},  // no ptime: 20 ms
        {"m=audio 1 RTP/AVP 0 96\r\na=rtpmap:96 AMR-WB/16000\r\na=ptime:30\r\n", ZVSDP_RC_OK, 33, 524, 864},
        // A remote ptime must not divide by zero in the gateway.
        {"m=audio 1 RTP/AVP 0\r\na=ptime:0\r\n", ZVSDP_RC_INVALID, 0, 0, 0},
        {"m=audio 1 RTP/AVP 0\r\na=ptime:1001\r\n", ZVSDP_RC_INVALID, 0, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.media);
        CSdp *s = offer(c.media);
        RtpInfo info{7, 7, 7};
        EXPECT_EQ(c.rc, zvSdpGetRtpInfo(s, mediaOf(s).at(0), &info));
        EXPECT_EQ(c.packets, info.packetsPerSecond);
        EXPECT_EQ(c.size, info.packetSize);
        EXPECT_EQ(c.bandwidth, info.bandwidth);
        destroyAll({s});
    }
}

}  // namespace
