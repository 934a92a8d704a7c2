#include <gtest/gtest.h>
#include <gmock/gmock.h>

#include <string>

#include "rvsdp.h"
#include "rvsdp_test_util.h"

using rvtest::attrLines;
using rvtest::formats;
using rvtest::Parsed;
using ::testing::ElementsAre;

TEST(RvSdpParse, SessionLevelLines) {
    Parsed p(
        "v=0\n"
        "o=alice 2890844526 2890842807 IN IP4 10.47.16.5\n"
        "s=SDP Seminar\n"
        "i=A Seminar on the session description protocol\n"
        "u=http://www.example.com/seminars/sdp.pdf\n"
        "e=j.doe@example.com (Jane Doe)\n"
        "p=+1 617 555-6011\n"
        "c=IN IP4 224.2.17.12/127\n"
        "b=CT:128\n"
        "t=2873397496 2873404696\n"
        "r=7d 1h 0 25h\n"
        "z=2882844526 -1h 2898848070 0\n"
        "k=clear:secret\n"
        "a=recvonly\n"
        "a=tool:x y:z\n");
    ASSERT_EQ(p.status, RVSDP_OK);
    EXPECT_EQ(p.result, &p.msg);
    RvSdpMsg *m = &p.msg;
    EXPECT_STREQ(rvSdpMsgGetVersion(m), "0");
    const RvSdpOrigin *o = rvSdpMsgGetOrigin(m);
    ASSERT_NE(o, nullptr);
    EXPECT_STREQ(rvSdpOriginGetUsername(o), "alice");
    EXPECT_STREQ(rvSdpOriginGetSessionId(o), "2890844526");
    EXPECT_STREQ(rvSdpOriginGetVersion(o), "2890842807");
    EXPECT_STREQ(rvSdpOriginGetNetType(o), "IN");
    EXPECT_STREQ(rvSdpOriginGetAddressType(o), "IP4");
    EXPECT_STREQ(rvSdpOriginGetAddress(o), "10.47.16.5");
    EXPECT_STREQ(rvSdpMsgGetSessionName(m), "SDP Seminar");
    EXPECT_STREQ(rvSdpMsgGetSessionInformation(m), "A Seminar on the session description protocol");
    EXPECT_STREQ(rvSdpMsgGetUri(m), "http://www.example.com/seminars/sdp.pdf");
    EXPECT_STREQ(rvSdpTextGetValue(static_cast<RvSdpText *>(rvSdpListGetFirst(rvSdpMsgGetEmailList(m)))),
                 "j.doe@example.com (Jane Doe)");
    EXPECT_STREQ(rvSdpTextGetValue(static_cast<RvSdpText *>(rvSdpListGetFirst(rvSdpMsgGetPhoneList(m)))),
                 "+1 617 555-6011");
    RvSdpConnection *c = rvSdpMsgGetConnection(m);
    EXPECT_STREQ(rvSdpConnectionGetNetType(c), "IN");
    EXPECT_STREQ(rvSdpConnectionGetAddrType(c), "IP4");
    EXPECT_STREQ(rvSdpConnectionGetAddress(c), "224.2.17.12/127");
    auto *bw = static_cast<RvSdpBandwidth *>(rvSdpListGetFirst(rvSdpMsgGetBandwidthList(m)));
    EXPECT_STREQ(rvSdpBandwidthGetType(bw), "CT");
    EXPECT_EQ(rvSdpBandwidthGetValue(bw), 128u);
    auto *t = static_cast<RvSdpSessionTime *>(rvSdpListGetFirst(rvSdpMsgGetSessionTimeList(m)));
    EXPECT_EQ(rvSdpSessionTimeGetStart(t), 2873397496u);
    EXPECT_EQ(rvSdpSessionTimeGetEnd(t), 2873404696u);
    auto *r = static_cast<RvSdpText *>(rvSdpListGetFirst(rvSdpSessionTimeGetRepeatList(t)));
    EXPECT_STREQ(rvSdpTextGetValue(r), "7d 1h 0 25h");
    EXPECT_STREQ(rvSdpMsgGetTimeZone(m), "2882844526 -1h 2898848070 0");
    EXPECT_STREQ(rvSdpMsgGetKey(m), "clear:secret");
    EXPECT_THAT(attrLines(rvSdpMsgGetAttributeList(m)), ElementsAre("recvonly", "tool:x y:z"));
    EXPECT_EQ(rvSdpMsgGetNumOfMediaDescr(m), 0u);
}

TEST(RvSdpParse, MediaDescriptionFields) {
    Parsed p(
        "m=video 49170/2 RTP/AVP 31 32\n"
        "i=main camera\n"
        "c=IN IP4 192.0.2.1\n"
        "c=IN IP4 192.0.2.2\n"
        "b=AS:256\n"
        "k=prompt\n"
        "a=sendonly\n");
    ASSERT_EQ(p.status, RVSDP_OK);
    RvSdpMediaDescr *d = p.media(0);
    ASSERT_NE(d, nullptr);
    EXPECT_STREQ(rvSdpMediaDescrGetMediaTypeStr(d), "video");
    EXPECT_EQ(rvSdpMediaDescrGetMediaType(d), RVSDP_MEDIATYPE_VIDEO);
    EXPECT_STREQ(rvSdpMediaDescrGetProtocolStr(d), "RTP/AVP");
    EXPECT_EQ(rvSdpMediaDescrGetProtocol(d), RVSDP_PROTOCOL_RTP);
    EXPECT_EQ(rvSdpMediaDescrGetPort(d), 49170);
    EXPECT_EQ(rvSdpMediaDescrGetNumOfPorts(d), 2);
    EXPECT_STREQ(rvSdpMediaDescrGetInformation(d), "main camera");
    EXPECT_STREQ(rvSdpMediaDescrGetKey(d), "prompt");
    RvSdpList *conns = rvSdpMediaDescrGetConnectionList(d);
    ASSERT_EQ(rvSdpListGetSize(conns), 2u);
    EXPECT_STREQ(rvSdpConnectionGetAddress(static_cast<RvSdpConnection *>(rvSdpListGetByIndex(conns, 1))),
                 "192.0.2.2");
    EXPECT_EQ(rvSdpListGetByIndex(conns, 2), nullptr);
    auto *bw = static_cast<RvSdpBandwidth *>(rvSdpListGetFirst(rvSdpMediaDescrGetBandwidthList(d)));
    EXPECT_EQ(rvSdpBandwidthGetValue(bw), 256u);
    // Media-level connections stay off the session list.
    EXPECT_EQ(rvSdpMsgGetConnection(&p.msg), nullptr);
}

TEST(RvSdpParse, MediaTypeAndProtocolCodes) {
    struct {
        const char *text;
        int code;
    } types[] = {{"audio", 1}, {"nas", 2},   {"video", 3},   {"application", 4}, {"app", 4},
                 {"data", 5},  {"image", 6}, {"control", 7}, {"text", 9},        {"unknown", 9},
                 {"AUDIO", 1}, {"", 9}};
    for (auto &t : types) EXPECT_EQ(rvSdpMediaTypeTxt2Val(t.text), t.code) << t.text;
    EXPECT_EQ(rvSdpMediaTypeTxt2Val(nullptr), 9);

    struct {
        const char *text;
        int code;
    } protos[] = {{"RTP/AVP", 1},  {"rtp/avp", 1},  {"udp", 5},      {"UDP", 5},
                  {"udptl", 6},    {"UDPTL", 6},    {"TCP", 7},      {"tcp", 7},
                  {"UDP/BFCP", 22}, {"udp/bfcp", 22}, {"RTP/AVPX", 23}, {"", 23}};
    for (auto &t : protos) EXPECT_EQ(rvSdpMediaProtoTxt2Val(t.text), t.code) << t.text;
    EXPECT_EQ(rvSdpMediaProtoTxt2Val(nullptr), 23);
    // Other RFC transports get codes of their own, none of those callers act on.
    for (const char *other : {"RTP/SAVP", "RTP/AVPF", "RTP/SAVPF", "TCP/RTP/AVP", "UDP/TLS/RTP/SAVPF",
                              "TCP/BFCP", "TCP/TLS/BFCP", "TCP/MSRP"}) {
        int code = rvSdpMediaProtoTxt2Val(other);
        EXPECT_TRUE(code != 1 && code != 5 && code != 6 && code != 7 && code != 22 && code != 23)
            << other;
        EXPECT_STREQ(rvSdpMediaProtoVal2Txt(code), other);
    }

    // Every code the builders take prints a text that maps back to it.
    for (int code : {1, 2, 3, 4, 5, 6, 7, 9})
        EXPECT_EQ(rvSdpMediaTypeTxt2Val(rvSdpMediaTypeVal2Txt(code)), code);
    for (int code : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 20, 21, 22, 23})
        EXPECT_EQ(rvSdpMediaProtoTxt2Val(rvSdpMediaProtoVal2Txt(code)), code);
    EXPECT_EQ(rvSdpMediaTypeVal2Txt(8), nullptr);
    EXPECT_EQ(rvSdpMediaProtoVal2Txt(0), nullptr);
}

TEST(RvSdpParse, RtpMapWithAndWithoutRateAndChannels) {
    Parsed p(
        "m=audio 5004 RTP/AVP 96 97 98 99 100\n"
        "a=rtpmap:96 AMR/8000/1\n"
        "a=rtpmap:97 opus/48000/2\n"
        "a=rtpmap:98 foo\n"
        "a=rtpmap:99 L16/16000\n"
        "a=rtpmap:x bad/zz\n"
        "a=rtpmap\n");
    ASSERT_EQ(p.status, RVSDP_OK);
    RvSdpMediaDescr *d = p.media(0);
    ASSERT_EQ(rvSdpGetNumOfSpecialAttr(d, RVSDP_SPEC_ATTR_RTPMAP), 6u);
    struct {
        int payload;
        const char *name;
        int rate;
        int channels;
    } want[] = {{96, "AMR", 8000, 1}, {97, "opus", 48000, 2}, {98, "foo", -1, 0},
                {99, "L16", 16000, 0}, {-1, "bad", -1, 0},     {-1, nullptr, -1, 0}};
    for (size_t i = 0; i < 6; ++i) {
        RvSdpRtpMap *r = rvSdpGetSpecialAttr(d, i, RVSDP_SPEC_ATTR_RTPMAP);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(rvSdpRtpMapGetPayload(r), want[i].payload) << i;
        if (want[i].name)
            EXPECT_STREQ(rvSdpRtpMapGetEncodingName(r), want[i].name) << i;
        else
            EXPECT_EQ(rvSdpRtpMapGetEncodingName(r), nullptr);
        EXPECT_EQ(rvSdpRtpMapGetClockRate(r), want[i].rate) << i;
        EXPECT_EQ(rvSdpRtpMapGetChannels(r), want[i].channels) << i;
    }
    EXPECT_EQ(rvSdpGetSpecialAttr(d, 6, RVSDP_SPEC_ATTR_RTPMAP), nullptr);
    EXPECT_STREQ(rvSdpSpecAttrGetValue(rvSdpGetSpecialAttr(d, 0, RVSDP_SPEC_ATTR_RTPMAP)), "96 AMR/8000/1");
    // A plain attribute reads as no rtpmap at all.
    Parsed q("m=audio 1 RTP/AVP 0\na=ptime:20\n");
    RvSdpAttribute *ptime = rvSdpMediaDescrGetAttribute(q.media(0), 0);
    EXPECT_EQ(rvSdpRtpMapGetPayload(ptime), -1);
    EXPECT_EQ(rvSdpRtpMapGetEncodingName(ptime), nullptr);
}

TEST(RvSdpParse, FmtpWithAndWithoutParameters) {
    Parsed p(
        "m=audio 5004 RTP/AVP 101 96\n"
        "a=fmtp:101 0-15\n"
        "a=fmtp:96\n"
        "a=fmtp\n"
        "a=FMTP:96 x\n");
    ASSERT_EQ(p.status, RVSDP_OK);
    RvSdpMediaDescr *d = p.media(0);
    ASSERT_EQ(rvSdpGetNumOfSpecialAttr(d, RVSDP_SPEC_ATTR_FMTP), 3u);
    RvSdpAttribute *f0 = rvSdpGetSpecialAttr(d, 0, RVSDP_SPEC_ATTR_FMTP);
    EXPECT_STREQ(rvSdpAttributeGetName(f0), "fmtp");
    EXPECT_STREQ(rvSdpSpecAttrGetValue(f0), "101 0-15");
    EXPECT_STREQ(rvSdpSpecAttrGetValue(rvSdpGetSpecialAttr(d, 1, RVSDP_SPEC_ATTR_FMTP)), "96");
    // No value at all still reads as text, so a caller can scan it safely.
    RvSdpAttribute *f2 = rvSdpGetSpecialAttr(d, 2, RVSDP_SPEC_ATTR_FMTP);
    EXPECT_STREQ(rvSdpSpecAttrGetValue(f2), "");
    EXPECT_EQ(rvSdpAttributeGetValue(f2), nullptr);
    // Names are case-sensitive: "FMTP" is a plain attribute.
    RvSdpAttribute *upper = rvSdpMediaDescrGetAttribute(d, 3);
    EXPECT_FALSE(rvSdpAttributeIsSpecial(upper));
    EXPECT_STREQ(rvSdpAttributeGetValue(upper), "96 x");
}

TEST(RvSdpParse, FormatsNumbersAndTexts) {
    Parsed p("m=image 5000 udptl t38\nm=audio 5004 RTP/AVP 0 8 127 007 -1 +5 1234567890\n");
    ASSERT_EQ(p.status, RVSDP_OK);
    RvSdpMediaDescr *image = p.media(0);
    ASSERT_EQ(rvSdpMediaDescrGetNumOfPayloads(image), 1);
    EXPECT_EQ(rvSdpMediaDescrGetPayload(image, 0), RVSDP_PAYLOAD_NOT_NUMBER);
    EXPECT_STREQ(rvSdpMediaDescrGetFormat(image, 0), "t38");
    RvSdpMediaDescr *audio = p.media(1);
    EXPECT_THAT(formats(audio), ElementsAre("0", "8", "127", "007", "-1", "+5", "1234567890"));
    const int want[] = {0, 8, 127, 7, -3, -3, -3};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(rvSdpMediaDescrGetPayload(audio, i), want[i]) << i;
    EXPECT_EQ(rvSdpMediaDescrGetPayload(audio, 7), -1);
    EXPECT_EQ(rvSdpMediaDescrGetPayload(audio, -1), -1);
    EXPECT_EQ(rvSdpMediaDescrGetFormat(audio, 7), nullptr);
}

TEST(RvSdpParse, AttributesKeepTextOrderAndDuplicates) {
    Parsed p(
        "m=audio 5004 RTP/AVP 0 101\n"
        "a=sendrecv\n"
        "a=rtpmap:101 telephone-event/8000\n"
        "a=ptime:20\n"
        "a=fmtp:101 0-15\n"
        "a=ptime:30\n"
        "a=sqn: 0\n"
        "a=cpar:a=fmtp: 101 0-15\n"
        "a=empty:\n");
    ASSERT_EQ(p.status, RVSDP_OK);
    RvSdpMediaDescr *d = p.media(0);
    EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(d)),
                ElementsAre("sendrecv", "rtpmap:101 telephone-event/8000", "ptime:20",
                            "fmtp:101 0-15", "ptime:30", "sqn: 0", "cpar:a=fmtp: 101 0-15",
                            "empty:"));
    EXPECT_EQ(rvSdpMediaDescrGetNumOfAttr(d), 8u);
    EXPECT_EQ(rvSdpAttributeGetValue(rvSdpMediaDescrGetAttribute(d, 0)), nullptr);
    EXPECT_STREQ(rvSdpSpecAttrGetValue(rvSdpMediaDescrGetAttribute(d, 0)), "");
    EXPECT_STREQ(rvSdpAttributeGetValue(rvSdpMediaDescrGetAttribute(d, 7)), "");
    EXPECT_EQ(rvSdpAttributeGetSpecialKind(rvSdpMediaDescrGetAttribute(d, 1)), RVSDP_SPEC_ATTR_RTPMAP);
    EXPECT_EQ(rvSdpAttributeGetSpecialKind(rvSdpMediaDescrGetAttribute(d, 3)), RVSDP_SPEC_ATTR_FMTP);
    EXPECT_EQ(rvSdpAttributeGetSpecialKind(rvSdpMediaDescrGetAttribute(d, 2)), RVSDP_SPEC_ATTR_NONE);
    // The kind walk skips the plain attributes in between.
    RvSdpAttribute *first = rvSdpGetFirstSpecialAttr(d, RVSDP_SPEC_ATTR_RTPMAP);
    EXPECT_EQ(first, rvSdpMediaDescrGetAttribute(d, 1));
    EXPECT_EQ(rvSdpGetNextSpecialAttr(first, RVSDP_SPEC_ATTR_RTPMAP), nullptr);
    EXPECT_EQ(rvSdpGetNextSpecialAttr(first, RVSDP_SPEC_ATTR_FMTP), rvSdpMediaDescrGetAttribute(d, 3));
}

TEST(RvSdpParse, LineEndsLfCrlfAndMixed) {
    const std::string lf = "v=0\ns=-\nm=audio 5004 RTP/AVP 0\na=ptime:20\n";
    const std::string crlf = "v=0\r\ns=-\r\nm=audio 5004 RTP/AVP 0\r\na=ptime:20\r\n";
    const std::string mixed = "v=0\r\ns=-\nm=audio 5004 RTP/AVP 0\r\na=ptime:20";
    for (const std::string &text : {lf, crlf, mixed}) {
        Parsed p(text);
        EXPECT_EQ(p.status, RVSDP_OK);
        EXPECT_EQ(p.length, text.size());
        EXPECT_STREQ(rvSdpMsgGetSessionName(&p.msg), "-");
        EXPECT_STREQ(rvSdpMediaDescrGetProtocolStr(p.media(0)), "RTP/AVP");
        EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(p.media(0))), ElementsAre("ptime:20"));
    }
}

// The gateway prints media sections only, and a rejected stream has no
// format; its own output must parse cleanly or an answer could never be sent.
TEST(RvSdpParse, MediaOnlyTextWithFormatlessMLinesIsSuccess) {
    const std::string text =
        "m=audio 0 RTP/AVP\n"
        "m=video 0 RTP/AVP\n"
        "m=audio 5004 RTP/AVP 0 101\n"
        "a=rtpmap:101 telephone-event/8000\n"
        "a=fmtp:101 0-15\n"
        "a=sendrecv\n";
    Parsed p(text);
    EXPECT_EQ(p.status, RVSDP_OK);
    EXPECT_EQ(p.length, text.size());
    EXPECT_NE(p.result, nullptr);
    ASSERT_EQ(rvSdpMsgGetNumOfMediaDescr(&p.msg), 3u);
    EXPECT_EQ(rvSdpMediaDescrGetNumOfPayloads(p.media(0)), 0);
    EXPECT_EQ(rvSdpMediaDescrGetPort(p.media(0)), 0);
    EXPECT_EQ(rvSdpMsgGetVersion(&p.msg), nullptr);
    EXPECT_EQ(rvSdpMsgGetOrigin(&p.msg), nullptr);

    Parsed single("m=audio 0 RTP/AVP");
    EXPECT_EQ(single.status, RVSDP_OK);
    EXPECT_EQ(single.length, 17u);
}

TEST(RvSdpParse, PartialStatusSkipsMalformedLinesOnly) {
    const std::string text =
        "v=0\n"
        "v=1\n"                       // repeated
        "o=too few tokens\n"          // six needed
        "x=unknown letter\n"
        "r=7d 1h 0 25h\n"             // before any t=
        "b=AS:lots\n"
        "t=now later\n"
        "garbage\n"
        "s=kept\n"
        "m=audio 70000 RTP/AVP 0\n"   // port out of range: the whole section goes
        "a=lost\n"
        "m=audio 5004 RTP/AVP 0\n"
        "s=not in a media\n"
        "c=IN IP4\n"
        "a=kept\n"
        "a=:novalue\n";
    Parsed p(text);
    EXPECT_EQ(p.status, RVSDP_PARSE_PARTIAL);
    EXPECT_EQ(p.length, text.size());
    EXPECT_EQ(p.result, &p.msg);
    EXPECT_STREQ(rvSdpMsgGetVersion(&p.msg), "0");
    EXPECT_STREQ(rvSdpMsgGetSessionName(&p.msg), "kept");
    EXPECT_EQ(rvSdpMsgGetOrigin(&p.msg), nullptr);
    EXPECT_EQ(rvSdpListGetSize(rvSdpMsgGetBandwidthList(&p.msg)), 0u);
    EXPECT_EQ(rvSdpListGetSize(rvSdpMsgGetSessionTimeList(&p.msg)), 0u);
    ASSERT_EQ(rvSdpMsgGetNumOfMediaDescr(&p.msg), 1u);
    EXPECT_EQ(rvSdpMediaDescrGetPort(p.media(0)), 5004);
    EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(p.media(0))), ElementsAre("kept"));
    EXPECT_EQ(rvSdpMediaDescrGetConnection(p.media(0)), nullptr);
}

TEST(RvSdpParse, NotSdpAtAll) {
    for (const std::string &text :
         {std::string(), std::string("\n\r\n"), std::string("hello world"),
          std::string("INVITE sip:bob@example.com SIP/2.0\r\nVia: x\r\n"), std::string("v=zero\nm=\n"),
          std::string("\0v=0\n", 5), std::string("=\n=x\n")}) {
        Parsed p(text);
        EXPECT_EQ(p.status, RVSDP_PARSE_NOT_SDP) << text;
        EXPECT_EQ(p.length, 0u);
        EXPECT_EQ(p.result, nullptr);
        EXPECT_EQ(rvSdpMsgGetNumOfMediaDescr(&p.msg), 0u);
    }
}

TEST(RvSdpParse, NulEndsTheTextAndLengthBoundsTheRead) {
    const std::string text("m=audio 5004 RTP/AVP 0\n\0m=video 1 RTP/AVP 31\n", 46);
    Parsed p(text);
    EXPECT_EQ(p.status, RVSDP_OK);
    EXPECT_EQ(p.length, 23u);
    EXPECT_EQ(rvSdpMsgGetNumOfMediaDescr(&p.msg), 1u);

    // Only the given bytes are read: the last format is cut by the length.
    const char buf[] = "m=audio 5004 RTP/AVP 0 8";
    RvSdpMsg m;
    uint32_t len = sizeof buf - 3;
    int status = 0;
    rvSdpMsgConstructParse(&m, buf, &len, &status);
    EXPECT_EQ(status, RVSDP_OK);
    EXPECT_THAT(formats(rvSdpMsgGetMediaDescr(&m, 0)), ElementsAre("0"));
    rvSdpMsgDestruct(&m);

    // A NULL length means a NUL-terminated text; NULL status is fine too.
    EXPECT_EQ(rvSdpMsgConstructParse(&m, "a=x", nullptr, nullptr), &m);
    rvSdpMsgDestruct(&m);
}

TEST(RvSdpParse, BadArguments) {
    RvSdpMsg m;
    uint32_t len = 5;
    int status = 0;
    EXPECT_EQ(rvSdpMsgConstructParse(nullptr, "v=0\n", &len, &status), nullptr);
    EXPECT_EQ(status, RVSDP_ERROR);
    EXPECT_EQ(len, 0u);
    len = 5;
    EXPECT_EQ(rvSdpMsgConstructParse(&m, nullptr, &len, &status), nullptr);
    EXPECT_EQ(status, RVSDP_ERROR);
    rvSdpMsgDestruct(&m);
}

TEST(RvSdpParse, LimitsCutFormatsAndMedia) {
    std::string mline = "m=audio 5004 RTP/AVP";
    for (int i = 0; i < RVSDP_MAX_FORMATS + 3; ++i) mline += " " + std::to_string(i);
    Parsed p(mline + "\na=ptime:20\n");
    EXPECT_EQ(p.status, RVSDP_PARSE_PARTIAL);
    EXPECT_EQ(rvSdpMediaDescrGetNumOfPayloads(p.media(0)), RVSDP_MAX_FORMATS);
    EXPECT_EQ(rvSdpMediaDescrGetPayload(p.media(0), RVSDP_MAX_FORMATS - 1), RVSDP_MAX_FORMATS - 1);
    // The cut m-line keeps its attributes.
    EXPECT_EQ(rvSdpMediaDescrGetNumOfAttr(p.media(0)), 1u);

    std::string many;
    for (int i = 0; i < RVSDP_MAX_MEDIA + 2; ++i)
        many += "m=audio " + std::to_string(i) + " RTP/AVP 0\na=n:" + std::to_string(i) + "\n";
    Parsed q(many);
    EXPECT_EQ(q.status, RVSDP_PARSE_PARTIAL);
    ASSERT_EQ(rvSdpMsgGetNumOfMediaDescr(&q.msg), size_t(RVSDP_MAX_MEDIA));
    RvSdpMediaDescr *last = q.media(RVSDP_MAX_MEDIA - 1);
    EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(last)),
                ElementsAre("n:" + std::to_string(RVSDP_MAX_MEDIA - 1)));

    std::string longLine = "a=x:" + std::string(RVSDP_MAX_LINE_LEN, 'y');
    Parsed r("v=0\n" + longLine + "\n" + longLine.substr(0, RVSDP_MAX_LINE_LEN) + "\n");
    EXPECT_EQ(r.status, RVSDP_PARSE_PARTIAL);
    EXPECT_EQ(rvSdpListGetSize(rvSdpMsgGetAttributeList(&r.msg)), 1u);
}
