// SDP text and the stack's messages into objects: what is kept, dropped or
// refused, the 1023-character limit, and the copy from a message the host's
// stack parsed (printed as the gateway sends it).
#include "zvsdp_test.h"

using namespace zvtest;
using ::testing::ElementsAre;

namespace {

using Parse = LibraryTest;

TEST_F(Parse, ParsedOffersPrintAsTheGatewaySendsThem)
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

// An m-line whose port is no port stays in its place as a rejected stream,
// so the streams after it keep theirs.
TEST_F(Parse, PortOutOfRangeKeepsItsPlaceUnsupported)
{
    CSdp *s = offer("m=audio 70000 RTP/AVP 0\r\na=ptime:30\r\nm=audio 5004 RTP/AVP 8\r\n");
    EXPECT_EQ("m=audio 0 RTP/AVP 0\na=ptime:30\nm=audio 5004 RTP/AVP 8\n", printed(s));
    EXPECT_EQ(0u, zvSdpMediaObjIsSupported(mediaOf(s).at(0)));
    EXPECT_EQ(1u, zvSdpMediaObjIsSupported(mediaOf(s).at(1)));
    destroyAll({s});
}

TEST_F(Parse, ParserRefusesBadTextAndOtherTransports)
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

TEST_F(Parse, TextIsReadUpTo1023Characters)
{
    std::string media = "m=audio 4000 RTP/AVP 0\r\n";
    while (media.size() < 1000)
        media += "a=x:0123456789\r\n";
    CSdp *s = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString((media + "a=last:" + std::string(60, 'y')).c_str(), &s));
    std::string out = printed(s);
    EXPECT_EQ("a=last:yyyyy", out.substr(out.rfind("a=last:"), 12));
    EXPECT_EQ(std::string::npos, out.find(std::string(60, 'y')));
    destroyAll({s});
}

TEST_F(Parse, CopyFromTheStackMovesTelephoneEventLastAndDropsThePort)
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

// The telephone-event number is logged for every media, -1 when it has
// none, and a format of any length is named whole in its line.
TEST_F(Parse, CopyFromTheStackLogsEachTelephoneEventNumberAndFormatsWhole)
{
    const std::string format(3000, 'x');
    const std::string text = "m=audio 5004 RTP/AVP 0 " + format +
                             "\r\nm=audio 5006 RTP/AVP 101\r\na=rtpmap:101 telephone-event/8000\r\n";
    RvSdpMsg msg;
    int status = 0;
    rvSdpMsgConstructParse(&msg, text.c_str(), nullptr, &status);
    ASSERT_EQ(RVSDP_OK, status);
    CSdp *s = nullptr;
    zvSdpConstruct(&s);
    zvSdpSetTraceLevel(3);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpCopyRvMedia(s, &msg));
    std::vector<std::string> events, unsupported;
    for (const std::string &line : syslogTexts()) {
        size_t at = line.find(" - ");
        std::string message = at == std::string::npos ? line : line.substr(at + 3);
        if (message.rfind("zvSdpCopyRvMedia: Telephone Event payload = ", 0) == 0)
            events.push_back(message);
        if (message.rfind("unsupported  payloadtype ", 0) == 0)
            unsupported.push_back(message);
    }
    EXPECT_THAT(events, ElementsAre("zvSdpCopyRvMedia: Telephone Event payload = -1\r\n",
                                    "zvSdpCopyRvMedia: Telephone Event payload = 101\r\n"));
    EXPECT_THAT(unsupported, ElementsAre("unsupported  payloadtype " + format + "\r\n"));
    rvSdpMsgDestruct(&msg);
    destroyAll({s});
}

}  // namespace
