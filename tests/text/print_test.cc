// Objects into SDP text and the stack's messages: the caller's buffer, the
// mirror's default formats and what the stack cannot carry, the RTP figures.
#include "zvsdp_test.h"

using namespace zvtest;

namespace {

using Print = LibraryTest;

TEST_F(Print, SessionPrintsIntoTheCallersBuffer)
{
    CSdp *s = offer("m=audio 4000 RTP/AVP 0\r\n"), *empty = nullptr;
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

TEST_F(Print, MirrorWritesDefaultFormatsT38AndMarksWhatTheStackCannotCarry)
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

TEST_F(Print, RtpFiguresFollowPtimeAndTheHighestClock)
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
