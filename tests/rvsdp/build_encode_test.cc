#include <gtest/gtest.h>
#include <gmock/gmock.h>

#include <string>

#include "rvsdp.h"
#include "rvsdp_test_util.h"

using rvtest::attrLines;
using rvtest::encode;
using rvtest::formats;
using rvtest::Parsed;
using ::testing::ElementsAre;

namespace {

struct Built {
    RvSdpMsg msg;
    Built() { rvSdpMsgConstruct(&msg); }
    ~Built() { rvSdpMsgDestruct(&msg); }
};

}  // namespace

// What the gateway's mirror does: media with payload numbers, rtpmaps
// without channels, fmtp as special attributes, plain attributes, a T.38
// media with its text format, port 0 everywhere.
TEST(RvSdpBuild, MirrorOfASessionEncodesInRfcOrder) {
    Built b;
    RvSdpMsg *m = &b.msg;
    RvAlloc *alloc = rvSdpMsgGetAllocator(m);
    RvSdpMediaDescr *audio = rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_AUDIO, 0, RVSDP_PROTOCOL_RTP);
    ASSERT_NE(audio, nullptr);
    EXPECT_EQ(rvSdpMediaDescrAddPayloadNumber(audio, 0), RVSDP_OK);
    EXPECT_EQ(rvSdpMediaDescrAddPayloadNumber(audio, 101), RVSDP_OK);
    EXPECT_NE(rvSdpAddRtpMap2(alloc, audio, 101, "telephone-event", 8000, 0), nullptr);
    EXPECT_NE(rvSdpSpecialAttrAdd(alloc, audio, RVSDP_SPEC_ATTR_FMTP, "101 0-15", nullptr), nullptr);
    EXPECT_NE(rvSdpMediaDescrAddAttr(audio, "sendrecv", ""), nullptr);
    EXPECT_NE(rvSdpMediaDescrAddAttr(audio, "sqn", " 0"), nullptr);
    RvSdpMediaDescr *image = rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_IMAGE, 0, RVSDP_PROTOCOL_UDPTL);
    EXPECT_EQ(rvSdpAddTextToArray(image, "t38"), RVSDP_OK);
    RvSdpMediaDescr *data = rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_UNKNOWN, 0, RVSDP_PROTOCOL_UNKNOWN);
    ASSERT_NE(data, nullptr);

    EXPECT_EQ(encode(m),
              "m=audio 0 RTP/AVP 0 101\r\n"
              "a=rtpmap:101 telephone-event/8000\r\n"
              "a=fmtp:101 0-15\r\n"
              "a=sendrecv\r\n"
              "a=sqn: 0\r\n"
              "m=image 0 udptl t38\r\n"
              "m=unknown 0 unknown\r\n");

    // Built items read back as parsed ones do.
    RvSdpRtpMap *r = rvSdpGetFirstSpecialAttr(audio, RVSDP_SPEC_ATTR_RTPMAP);
    EXPECT_EQ(rvSdpRtpMapGetPayload(r), 101);
    EXPECT_STREQ(rvSdpRtpMapGetEncodingName(r), "telephone-event");
    EXPECT_EQ(rvSdpRtpMapGetClockRate(r), 8000);
    EXPECT_EQ(rvSdpRtpMapGetChannels(r), 0);
    EXPECT_EQ(rvSdpAttributeGetValue(rvSdpMediaDescrGetAttribute(audio, 2)), nullptr);
}

TEST(RvSdpBuild, BuildersRefuseWhatWouldNotParseBack) {
    Built b;
    RvSdpMsg *m = &b.msg;
    RvSdpMediaDescr *d = rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_AUDIO, 1, RVSDP_PROTOCOL_RTP);
    EXPECT_EQ(rvSdpMsgAddMediaDescr(m, 8, 1, RVSDP_PROTOCOL_RTP), nullptr);
    EXPECT_EQ(rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_AUDIO, 1, 0), nullptr);
    EXPECT_EQ(rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_AUDIO, 65536, RVSDP_PROTOCOL_RTP), nullptr);
    EXPECT_EQ(rvSdpMsgAddMediaDescrTxt(m, "au dio", 1, "RTP/AVP"), nullptr);
    EXPECT_EQ(rvSdpMediaDescrAddAttr(d, "", "x"), nullptr);
    EXPECT_EQ(rvSdpMediaDescrAddAttr(d, "a:b", "x"), nullptr);
    EXPECT_EQ(rvSdpMediaDescrAddAttr(d, "x", "1\r\nm=audio 2 RTP/AVP 0"), nullptr);
    EXPECT_EQ(rvSdpMediaDescrAddAttr(nullptr, "x", "1"), nullptr);
    EXPECT_EQ(rvSdpAddTextToArray(d, "t 38"), RVSDP_ERROR);
    EXPECT_EQ(rvSdpMediaDescrAddPayloadNumber(d, -1), RVSDP_ERROR);
    EXPECT_EQ(rvSdpAddRtpMap2(nullptr, d, 96, "AMR/x", 8000, 1), nullptr);
    EXPECT_EQ(rvSdpAddRtpMap2(nullptr, d, 96, std::string(RVSDP_MAX_ENCODING_NAME + 1, 'A').c_str(), 8000, 1),
              nullptr);
    EXPECT_EQ(rvSdpSpecialAttrAdd(nullptr, d, 17, "x", "y"), nullptr);
    EXPECT_EQ(rvSdpMsgSetVersion(m, "v1"), RVSDP_ERROR);
    EXPECT_EQ(rvSdpMsgSetSessionName(m, "a\nb"), RVSDP_ERROR);
    EXPECT_EQ(rvSdpMsgSetOrigin(m, "-", "1", "2", "IN", "IP4", ""), RVSDP_ERROR);
    EXPECT_EQ(rvSdpMsgGetOrigin(m), nullptr);
    EXPECT_EQ(rvSdpMsgAddBandwidth(m, "A:S", 1), nullptr);
    EXPECT_EQ(rvSdpMediaDescrSetPort(d, -5), RVSDP_ERROR);
    EXPECT_EQ(encode(m), "m=audio 1 RTP/AVP\r\n");

    for (int i = 0; i < RVSDP_MAX_FORMATS; ++i) ASSERT_EQ(rvSdpMediaDescrAddPayloadNumber(d, i), RVSDP_OK);
    EXPECT_EQ(rvSdpMediaDescrAddPayloadNumber(d, 99), RVSDP_ERROR);
    EXPECT_EQ(rvSdpAddTextToArray(d, "t38"), RVSDP_ERROR);
    while (rvSdpMsgGetNumOfMediaDescr(m) < RVSDP_MAX_MEDIA)
        ASSERT_NE(rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_AUDIO, 1, RVSDP_PROTOCOL_RTP), nullptr);
    EXPECT_EQ(rvSdpMsgAddMediaDescr(m, RVSDP_MEDIATYPE_AUDIO, 1, RVSDP_PROTOCOL_RTP), nullptr);
}

// Moving telephone-event to the end of the format list, as the copy into the
// object model does: find, remove by index, append.
TEST(RvSdpBuild, RemoveAndAppendFormats) {
    Parsed p("m=audio 5004 RTP/AVP 101 0 8\na=rtpmap:101 telephone-event/8000\n");
    RvSdpMediaDescr *d = p.media(0);
    EXPECT_EQ(rvSdpRemoveTextFromArray(d, 0), RVSDP_OK);
    EXPECT_EQ(rvSdpMediaDescrAddPayloadNumber(d, 101), RVSDP_OK);
    EXPECT_THAT(formats(d), ElementsAre("0", "8", "101"));
    EXPECT_EQ(rvSdpRemoveTextFromArray(d, 2), RVSDP_OK);  // the last one: appending must still work
    EXPECT_EQ(rvSdpRemoveTextFromArray(d, 2), RVSDP_ERROR);
    EXPECT_EQ(rvSdpRemoveTextFromArray(d, -1), RVSDP_ERROR);
    EXPECT_EQ(rvSdpAddTextToArray(d, "t38"), RVSDP_OK);
    EXPECT_THAT(formats(d), ElementsAre("0", "8", "t38"));
    EXPECT_EQ(rvSdpRemoveTextFromArray(d, 1), RVSDP_OK);
    EXPECT_EQ(rvSdpRemoveTextFromArray(d, 0), RVSDP_OK);
    EXPECT_EQ(rvSdpRemoveTextFromArray(d, 0), RVSDP_OK);
    EXPECT_EQ(rvSdpMediaDescrGetNumOfPayloads(d), 0);
    EXPECT_EQ(rvSdpMediaDescrAddPayloadNumber(d, 18), RVSDP_OK);
    EXPECT_EQ(encode(&p.msg), "m=audio 5004 RTP/AVP 18\r\na=rtpmap:101 telephone-event/8000\r\n");
}

// Replacing the media of a message that the caller holds: clear the list,
// add anew, and the lists behave as fresh.
TEST(RvSdpBuild, ClearedListsStartAfresh) {
    Parsed p(rvtest::typicalOffer());
    RvSdpList *media = rvSdpMsgGetMediaDescrList(&p.msg);
    rvSdpListClear(media);
    EXPECT_EQ(rvSdpListGetFirst(media), nullptr);
    EXPECT_EQ(rvSdpMsgGetNumOfMediaDescr(&p.msg), 0u);
    RvSdpMediaDescr *d = rvSdpMsgAddMediaDescr(&p.msg, RVSDP_MEDIATYPE_AUDIO, 0, RVSDP_PROTOCOL_RTP);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(rvSdpListGetFirst(media), d);
    EXPECT_EQ(rvSdpListGetNext(media, d), nullptr);
    std::string text = encode(&p.msg);
    EXPECT_NE(text.find("a=X-nat:0\r\nm=audio 0 RTP/AVP\r\n"), std::string::npos);
    EXPECT_EQ(text.find("m=image"), std::string::npos);
    rvSdpListClear(nullptr);
    EXPECT_EQ(rvSdpListGetSize(nullptr), 0u);
}

TEST(RvSdpEncode, BufferTooSmallLeavesNoCutText) {
    Parsed p("m=audio 0 RTP/AVP 0\n");
    const std::string want = "m=audio 0 RTP/AVP 0\r\n";
    char buf[64];
    EXPECT_EQ(rvSdpMsgEncodeToBuf(&p.msg, nullptr, 0), int(want.size()));
    memset(buf, 'x', sizeof buf);
    EXPECT_EQ(rvSdpMsgEncodeToBuf(&p.msg, buf, uint32_t(want.size())), int(want.size()));
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(rvSdpMsgEncodeToBuf(&p.msg, buf, uint32_t(want.size() + 1)), int(want.size()));
    EXPECT_EQ(std::string(buf), want);
    EXPECT_EQ(rvSdpMsgEncodeToBuf(nullptr, buf, sizeof buf), RVSDP_ERROR);
    EXPECT_EQ(rvSdpMsgEncodeToBuf(&p.msg, nullptr, 5), RVSDP_ERROR);
    RvSdpMsg zeroed;
    memset(&zeroed, 0, sizeof zeroed);
    EXPECT_EQ(rvSdpMsgEncodeToBuf(&zeroed, buf, sizeof buf), RVSDP_ERROR);
}

// parse -> encode -> parse keeps every field, and a second encode is the same
// text: nothing is lost or reordered on the way.
TEST(RvSdpEncode, RoundTripKeepsEverything) {
    Parsed first(rvtest::typicalOffer());
    ASSERT_EQ(first.status, RVSDP_OK);
    std::string text = encode(&first.msg);
    EXPECT_EQ(text, rvtest::typicalOffer());  // already CRLF and in RFC order

    const std::string lf =
        "v=0\no=- 1 1 IN IP4 h\ns=x\ni=y\nu=z\ne=a@b\ne=c@d\np=1\nc=IN IP4 1.2.3.4\nb=AS:1\n"
        "t=1 2\nr=3 4\nt=5 6\nz=7 8\nk=clear\na=s1\na=s2:v\n"
        "m=audio 1/2 RTP/AVP 0 t38\ni=m\nc=IN IP4 5.6.7.8\nc=IN IP4 9.9.9.9\nb=X:2\nk=prompt\n"
        "a=rtpmap:0 PCMU/8000/1\na=fmtp:0\na=flag\na=e:\nm=video 0 RTP/AVP\n";
    Parsed a(lf);
    ASSERT_EQ(a.status, RVSDP_OK);
    std::string once = encode(&a.msg);
    std::string crlf;
    for (char c : lf) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    EXPECT_EQ(once, crlf);
    Parsed b(once);
    EXPECT_EQ(b.status, RVSDP_OK);
    EXPECT_EQ(encode(&b.msg), once);
    RvSdpMediaDescr *d = b.media(0);
    EXPECT_EQ(rvSdpMediaDescrGetNumOfPorts(d), 2);
    EXPECT_EQ(rvSdpGetNumOfSpecialAttr(d, RVSDP_SPEC_ATTR_RTPMAP), 1u);
    EXPECT_EQ(rvSdpRtpMapGetChannels(rvSdpGetFirstSpecialAttr(d, RVSDP_SPEC_ATTR_RTPMAP)), 1);
    EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(d)),
                ElementsAre("rtpmap:0 PCMU/8000/1", "fmtp:0", "flag", "e:"));
    EXPECT_EQ(rvSdpListGetSize(rvSdpMsgGetSessionTimeList(&b.msg)), 2u);
}
