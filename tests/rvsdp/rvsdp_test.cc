// The SDP message stack: malformed text (partial status for bad lines, huge
// numbers, long lines and limits; not-SDP; NUL, length and line ends), the
// exact text the gateway's mirror prints, builders refusing what would not
// parse back, cut buffers, round trips, and no heap up to 1023 bytes of text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "rvsdp.h"

using ::testing::ElementsAre;

namespace {

struct Parsed {
    RvSdpMsg msg;
    int status = 99;
    uint32_t length;
    RvSdpMsg *result;
    explicit Parsed(const std::string &text) : length(static_cast<uint32_t>(text.size()))
    {
        result = rvSdpMsgConstructParse(&msg, text.data(), &length, &status);
    }
    ~Parsed() { rvSdpMsgDestruct(&msg); }
    RvSdpMediaDescr *media(size_t i) { return rvSdpMsgGetMediaDescr(&msg, i); }
};

std::string encode(const RvSdpMsg *msg)
{
    std::string out(static_cast<size_t>(rvSdpMsgEncodeToBuf(msg, nullptr, 0)) + 1, '\0');
    out.resize(static_cast<size_t>(rvSdpMsgEncodeToBuf(msg, &out[0], static_cast<uint32_t>(out.size()))));
    return out;
}

// Attribute lines as "name" or "name:value".
std::vector<std::string> attrLines(RvSdpList *list)
{
    std::vector<std::string> out;
    for (void *it = rvSdpListGetFirst(list); it; it = rvSdpListGetNext(list, it)) {
        auto *a = static_cast<RvSdpAttribute *>(it);
        const char *value = rvSdpAttributeGetValue(a);
        out.push_back(std::string(rvSdpAttributeGetName(a)) + (value ? std::string(":") + value : ""));
    }
    return out;
}

// Every line type once (twice where a list takes several), in RFC order.
std::string everyLine(const char *eol = "\n")
{
    std::string out;
    for (const char *line : {"v=0", "o=- 1 1 IN IP4 h", "s=x", "i=y", "u=z", "e=a@b", "e=c@d", "p=1",
                             "c=IN IP4 1.2.3.4", "b=AS:1", "t=1 2", "r=3 4", "t=5 6", "z=7 8", "k=clear", "a=s1",
                             "a=s2:v", "m=audio 1/2 RTP/AVP 0 t38", "i=m", "c=IN IP4 5.6.7.8", "c=IN IP4 9.9.9.9",
                             "b=X:2", "k=prompt", "a=rtpmap:0 PCMU/8000/1", "a=fmtp:0", "a=flag", "a=e:",
                             "m=video 0 RTP/AVP"})
        out += std::string(line) + eol;
    return out;
}

// `line` repeated after `head` to fill `size` bytes, the last copy cut short.
std::string fill(const std::string &line, size_t size, const std::string &head = "")
{
    std::string out = head;
    while (out.size() < size)
        out += line;
    return out.substr(0, size);
}

}  // namespace

TEST(RvSdpParse, LinesLandInTheirFieldsCodesMapAndTextEncodesBack)
{
    Parsed p(everyLine());
    ASSERT_EQ(RVSDP_OK, p.status);
    EXPECT_STREQ("h", rvSdpOriginGetAddress(rvSdpMsgGetOrigin(&p.msg)));
    EXPECT_STREQ("1.2.3.4", rvSdpConnectionGetAddress(rvSdpMsgGetConnection(&p.msg)));
    auto *t = static_cast<RvSdpSessionTime *>(rvSdpListGetFirst(rvSdpMsgGetSessionTimeList(&p.msg)));
    EXPECT_EQ(1u, rvSdpListGetSize(rvSdpSessionTimeGetRepeatList(t)));
    EXPECT_EQ(2, rvSdpMediaDescrGetNumOfPorts(p.media(0)));
    EXPECT_EQ(2u, rvSdpListGetSize(rvSdpMediaDescrGetConnectionList(p.media(0))));
    // Every code prints a text that maps back to it; unknown texts get their own.
    EXPECT_EQ(23, rvSdpMediaProtoTxt2Val("RTP/AVPX"));
    for (int code : {1, 2, 3, 4, 5, 6, 7, 9})
        EXPECT_EQ(code, rvSdpMediaTypeTxt2Val(rvSdpMediaTypeVal2Txt(code)));
    for (int code : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 20, 21, 22, 23})
        EXPECT_EQ(code, rvSdpMediaProtoTxt2Val(rvSdpMediaProtoVal2Txt(code)));
    // parse -> encode -> parse keeps every line in order; encoding is stable.
    const std::string once = encode(&p.msg);
    EXPECT_EQ(everyLine("\r\n"), once);
    Parsed again(once);
    EXPECT_EQ(RVSDP_OK, again.status);
    EXPECT_EQ(once, encode(&again.msg));
}

TEST(RvSdpParse, RtpMapAndFmtpWithMissingParts)
{
    Parsed p("m=audio 5004 RTP/AVP 96 97 98 99\n"
             "a=rtpmap:96 AMR/8000/1\na=rtpmap:97 opus/48000/2\na=rtpmap:98 foo\na=rtpmap:99 L16/16000\n"
             "a=rtpmap:x bad/zz\na=rtpmap\na=fmtp:101 0-15\na=fmtp\na=FMTP:96 x\n");
    ASSERT_EQ(RVSDP_OK, p.status);
    RvSdpMediaDescr *d = p.media(0);
    struct {
        int payload;
        const char *name;
        int rate, channels;
    } want[] = {{96, "AMR", 8000, 1}, {97, "opus", 48000, 2}, {98, "foo", -1, 0},
                {99, "L16", 16000, 0}, {-1, "bad", -1, 0},     {-1, nullptr, -1, 0}};
    ASSERT_EQ(6u, rvSdpGetNumOfSpecialAttr(d, RVSDP_SPEC_ATTR_RTPMAP));
    for (size_t i = 0; i < 6; ++i) {
        RvSdpRtpMap *r = rvSdpGetSpecialAttr(d, i, RVSDP_SPEC_ATTR_RTPMAP);
        EXPECT_EQ(want[i].payload, rvSdpRtpMapGetPayload(r)) << i;
        EXPECT_STREQ(want[i].name, rvSdpRtpMapGetEncodingName(r)) << i;
        EXPECT_EQ(want[i].rate, rvSdpRtpMapGetClockRate(r)) << i;
        EXPECT_EQ(want[i].channels, rvSdpRtpMapGetChannels(r)) << i;
    }
    // A bare "fmtp" still reads as text; "FMTP" is a plain attribute, no rtpmap.
    RvSdpAttribute *bare = rvSdpGetSpecialAttr(d, 1, RVSDP_SPEC_ATTR_FMTP);
    EXPECT_STREQ("", rvSdpSpecAttrGetValue(bare));
    EXPECT_EQ(nullptr, rvSdpAttributeGetValue(bare));
    EXPECT_EQ(-1, rvSdpRtpMapGetPayload(rvSdpMediaDescrGetAttribute(d, 8)));
}

TEST(RvSdpParse, FormatsAndAttributesKeepTextOrder)
{
    Parsed p("m=image 5000 udptl t38\nm=audio 5004 RTP/AVP 0 8 127 007 -1 +5 1234567890\n"
             "a=ptime:20\na=ptime:30\na=sqn: 0\na=cpar:a=fmtp: 101 0-15\na=empty:\n");
    ASSERT_EQ(RVSDP_OK, p.status);
    EXPECT_EQ(RVSDP_PAYLOAD_NOT_NUMBER, rvSdpMediaDescrGetPayload(p.media(0), 0));
    RvSdpMediaDescr *audio = p.media(1);
    const int want[] = {0, 8, 127, 7, -3, -3, -3, -1};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(want[i], rvSdpMediaDescrGetPayload(audio, i)) << i;
    EXPECT_STREQ("1234567890", rvSdpMediaDescrGetFormat(audio, 6));
    EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(audio)), ElementsAre("ptime:20", "ptime:30", "sqn: 0",
                                                                               "cpar:a=fmtp: 101 0-15", "empty:"));
}

TEST(RvSdpParse, AnyLineEndAndLoneCarriageReturns)
{
    for (const std::string &text : {std::string("s=-\nm=audio 5004 RTP/AVP 0\na=ptime:20\n"),
                                    std::string("s=-\r\nm=audio 5004 RTP/AVP 0\r\na=ptime:20\r\n"),
                                    std::string("s=-\r\nm=audio 5004 RTP/AVP 0\na=ptime:20"),
                                    std::string("s=-\nm=audio 5004 RTP/AVP 0\r\n\r\na=ptime:20\r")}) {
        Parsed p(text);
        EXPECT_EQ(RVSDP_OK, p.status) << text;
        EXPECT_EQ(text.size(), p.length);
        EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(p.media(0))), ElementsAre("ptime:20"));
    }
    // A CR alone ends no line: it stays in the text and prints back as it came.
    Parsed cr("a=one\ra=two\n");
    EXPECT_THAT(attrLines(rvSdpMsgGetAttributeList(&cr.msg)), ElementsAre("one\ra=two"));
    EXPECT_EQ("a=one\ra=two\r\n", encode(&cr.msg));
    // The gateway prints media sections only, rejected streams without a
    // format: its own output must parse cleanly.
    Parsed own("m=audio 0 RTP/AVP\nm=video 0 RTP/AVP\nm=audio 5004 RTP/AVP 0\na=sendrecv\n");
    EXPECT_EQ(RVSDP_OK, own.status);
    EXPECT_EQ(3u, rvSdpMsgGetNumOfMediaDescr(&own.msg));
}

TEST(RvSdpParse, PartialStatusSkipsMalformedLinesOnly)
{
    const std::string text = "v=0\nv=1\n"         // repeated
                             "o=too few tokens\n"  // six needed
                             "x=unknown letter\n"
                             "r=7d 1h 0 25h\n"  // before any t=
                             "b=AS:lots\nb=AS:4294967296\nt=now later\nt=18446744073709551616 0\n"
                             "garbage\ns=kept\n"
                             "m=audio 70000 RTP/AVP 0\n"  // port out of range: the whole section goes
                             "a=lost\n"
                             "m=audio 5004 RTP/AVP 0\ns=not in a media\nc=IN IP4\na=kept\na=:novalue\n";
    Parsed p(text);
    EXPECT_EQ(RVSDP_PARSE_PARTIAL, p.status);
    EXPECT_EQ(text.size(), p.length);
    EXPECT_STREQ("0", rvSdpMsgGetVersion(&p.msg));
    EXPECT_STREQ("kept", rvSdpMsgGetSessionName(&p.msg));
    EXPECT_EQ(nullptr, rvSdpMsgGetOrigin(&p.msg));
    EXPECT_EQ(0u, rvSdpListGetSize(rvSdpMsgGetBandwidthList(&p.msg)));
    EXPECT_EQ(0u, rvSdpListGetSize(rvSdpMsgGetSessionTimeList(&p.msg)));
    ASSERT_EQ(1u, rvSdpMsgGetNumOfMediaDescr(&p.msg));
    EXPECT_EQ(5004, rvSdpMediaDescrGetPort(p.media(0)));
    EXPECT_THAT(attrLines(rvSdpMediaDescrGetAttributeList(p.media(0))), ElementsAre("kept"));
}

TEST(RvSdpParse, NotSdpNulLengthAndBadArguments)
{
    for (const std::string &text : {std::string(), std::string("\n\r\n"), std::string("hello world"),
                                    std::string("INVITE sip:bob@example.com SIP/2.0\r\nVia: x\r\n"),
                                    std::string("v=zero\nm=\n"), std::string("\0v=0\n", 5), std::string("=\n=x\n")}) {
        Parsed p(text);
        EXPECT_EQ(RVSDP_PARSE_NOT_SDP, p.status) << text;
        EXPECT_EQ(0u, p.length);
        EXPECT_EQ(nullptr, p.result);
    }
    Parsed nul(std::string("m=audio 5004 RTP/AVP 0\n\0m=video 1 RTP/AVP 31\n", 46));  // the text ends at a NUL
    EXPECT_EQ(RVSDP_OK, nul.status);
    EXPECT_EQ(23u, nul.length);
    EXPECT_EQ(1u, rvSdpMsgGetNumOfMediaDescr(&nul.msg));
    RvSdpMsg m;
    uint32_t len = 22;
    int status = 0;
    rvSdpMsgConstructParse(&m, "m=audio 5004 RTP/AVP 0 8", &len, &status);  // only the given bytes are read
    EXPECT_EQ(1, rvSdpMediaDescrGetNumOfPayloads(rvSdpMsgGetMediaDescr(&m, 0)));
    rvSdpMsgDestruct(&m);
    len = 5;
    EXPECT_EQ(nullptr, rvSdpMsgConstructParse(nullptr, "v=0\n", &len, &status));
    EXPECT_EQ(RVSDP_ERROR, status);
    EXPECT_EQ(0u, len);
}

TEST(RvSdpParse, LimitsCutFormatsMediaAndLongLines)
{
    std::string mline = "m=audio 5004 RTP/AVP";
    for (int i = 0; i < RVSDP_MAX_FORMATS + 3; ++i)
        mline += " " + std::to_string(i);
    Parsed p(mline + "\na=ptime:20\n");
    EXPECT_EQ(RVSDP_PARSE_PARTIAL, p.status);
    EXPECT_EQ(RVSDP_MAX_FORMATS, rvSdpMediaDescrGetNumOfPayloads(p.media(0)));
    EXPECT_EQ(1u, rvSdpMediaDescrGetNumOfAttr(p.media(0)));  // the cut m-line keeps its attributes

    std::string many;
    for (int i = 0; i < RVSDP_MAX_MEDIA + 2; ++i)
        many += "m=audio " + std::to_string(i) + " RTP/AVP 0\na=n\n";
    Parsed q(many);
    EXPECT_EQ(RVSDP_PARSE_PARTIAL, q.status);
    ASSERT_EQ(size_t(RVSDP_MAX_MEDIA), rvSdpMsgGetNumOfMediaDescr(&q.msg));
    EXPECT_EQ(1u, rvSdpMediaDescrGetNumOfAttr(q.media(RVSDP_MAX_MEDIA - 1)));  // not those of the skipped

    std::string longLine = "a=x:" + std::string(RVSDP_MAX_LINE_LEN, 'y');
    Parsed r("v=0\n" + longLine + "\n" + longLine.substr(0, RVSDP_MAX_LINE_LEN) + "\n");
    EXPECT_EQ(RVSDP_PARSE_PARTIAL, r.status);
    EXPECT_EQ(1u, rvSdpListGetSize(rvSdpMsgGetAttributeList(&r.msg)));
}

// What the gateway's mirror builds: payload numbers, rtpmaps without
// channels, fmtp as special attributes, plain attributes, T.38, port 0.
TEST(RvSdpBuild, MirrorOfASessionEncodesInRfcOrder)
{
    RvSdpMsg m;
    rvSdpMsgConstruct(&m);
    RvAlloc *alloc = rvSdpMsgGetAllocator(&m);
    RvSdpMediaDescr *audio = rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_AUDIO, 0, RVSDP_PROTOCOL_RTP);
    EXPECT_EQ(RVSDP_OK, rvSdpMediaDescrAddPayloadNumber(audio, 0));
    EXPECT_EQ(RVSDP_OK, rvSdpMediaDescrAddPayloadNumber(audio, 101));
    EXPECT_NE(nullptr, rvSdpAddRtpMap2(alloc, audio, 101, "telephone-event", 8000, 0));
    EXPECT_NE(nullptr, rvSdpSpecialAttrAdd(alloc, audio, RVSDP_SPEC_ATTR_FMTP, "101 0-15", nullptr));
    EXPECT_NE(nullptr, rvSdpMediaDescrAddAttr(audio, "sendrecv", ""));
    EXPECT_NE(nullptr, rvSdpMediaDescrAddAttr(audio, "sqn", " 0"));
    RvSdpMediaDescr *image = rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_IMAGE, 0, RVSDP_PROTOCOL_UDPTL);
    EXPECT_EQ(RVSDP_OK, rvSdpAddTextToArray(image, "t38"));
    EXPECT_NE(nullptr, rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_UNKNOWN, 0, RVSDP_PROTOCOL_UNKNOWN));
    EXPECT_EQ("m=audio 0 RTP/AVP 0 101\r\na=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n"
              "a=sendrecv\r\na=sqn: 0\r\nm=image 0 udptl t38\r\nm=unknown 0 unknown\r\n",
              encode(&m));

    // Builders refuse what would not parse back, and the limits.
    EXPECT_EQ(nullptr, rvSdpMsgAddMediaDescr(&m, 8, 1, RVSDP_PROTOCOL_RTP));
    EXPECT_EQ(nullptr, rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_AUDIO, 65536, RVSDP_PROTOCOL_RTP));
    EXPECT_EQ(nullptr, rvSdpMediaDescrAddAttr(audio, "a:b", "x"));
    EXPECT_EQ(nullptr, rvSdpMediaDescrAddAttr(audio, "x", "1\r\nm=audio 2 RTP/AVP 0"));
    EXPECT_EQ(nullptr, rvSdpAddRtpMap2(alloc, audio, 96, "AMR/x", 8000, 1));
    const std::string longName(RVSDP_MAX_ENCODING_NAME + 1, 'A');
    EXPECT_EQ(nullptr, rvSdpAddRtpMap2(alloc, audio, 96, longName.c_str(), 8000, 1));
    for (int i = 2; i < RVSDP_MAX_FORMATS; ++i)
        ASSERT_EQ(RVSDP_OK, rvSdpMediaDescrAddPayloadNumber(audio, i));
    EXPECT_EQ(RVSDP_ERROR, rvSdpAddTextToArray(audio, "t38"));
    while (rvSdpMsgGetNumOfMediaDescr(&m) < RVSDP_MAX_MEDIA)
        ASSERT_NE(nullptr, rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_AUDIO, 1, RVSDP_PROTOCOL_RTP));
    EXPECT_EQ(nullptr, rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_AUDIO, 1, RVSDP_PROTOCOL_RTP));
    rvSdpMsgDestruct(&m);
}

// Moving telephone-event to the end of the formats, as the copy into the
// object model does; then replacing all media of a held message.
TEST(RvSdpBuild, RemovedFormatsAndClearedListsStartAfresh)
{
    Parsed p("a=X-nat:0\nm=audio 5004 RTP/AVP 101 0 8\na=rtpmap:101 telephone-event/8000\nm=image 0 udptl t38\n");
    RvSdpMediaDescr *d = p.media(0);
    EXPECT_EQ(RVSDP_OK, rvSdpRemoveTextFromArray(d, 0));
    EXPECT_EQ(RVSDP_OK, rvSdpMediaDescrAddPayloadNumber(d, 101));
    EXPECT_EQ(RVSDP_OK, rvSdpRemoveTextFromArray(d, 2));  // the last one: appending must still work
    EXPECT_EQ(RVSDP_OK, rvSdpAddTextToArray(d, "t38"));
    EXPECT_EQ("a=X-nat:0\r\nm=audio 5004 RTP/AVP 0 8 t38\r\na=rtpmap:101 telephone-event/8000\r\n"
              "m=image 0 udptl t38\r\n",
              encode(&p.msg));
    RvSdpList *media = rvSdpMsgGetMediaDescrList(&p.msg);
    rvSdpListClear(media);
    RvSdpMediaDescr *fresh = rvSdpMsgAddMediaDescr(&p.msg, RVSDP_MEDIATYPE_AUDIO, 0, RVSDP_PROTOCOL_RTP);
    EXPECT_EQ(fresh, rvSdpListGetFirst(media));
    EXPECT_EQ("a=X-nat:0\r\nm=audio 0 RTP/AVP\r\n", encode(&p.msg));
}

TEST(RvSdpEncode, BufferTooSmallLeavesNoCutText)
{
    Parsed p("m=audio 0 RTP/AVP 0\n");
    const std::string want = "m=audio 0 RTP/AVP 0\r\n";
    char buf[64];
    memset(buf, 'x', sizeof buf);
    EXPECT_EQ(int(want.size()), rvSdpMsgEncodeToBuf(&p.msg, buf, uint32_t(want.size())));
    EXPECT_STREQ("", buf);
    EXPECT_EQ(int(want.size()), rvSdpMsgEncodeToBuf(&p.msg, buf, uint32_t(want.size() + 1)));
    EXPECT_EQ(want, buf);
    EXPECT_EQ('x', buf[want.size() + 1]);
    RvSdpMsg zeroed;
    memset(&zeroed, 0, sizeof zeroed);
    EXPECT_EQ(RVSDP_ERROR, rvSdpMsgEncodeToBuf(&zeroed, buf, sizeof buf));
    rvSdpMsgDestruct(&zeroed);  // never constructed: safe all the same
}

// The densest text of each kind of item decides whether the record's own
// storage holds any text of up to 1023 bytes (a message parsed from one and
// never destructed leaks nothing); beyond, the heap is bounded.
TEST(RvSdpMemory, NoHeapUpTo1023BytesAndABoundedHeapBeyond)
{
    std::string shortMedia, fullMLine = "m=a 0 b" + fill(" 0", 2 * RVSDP_MAX_FORMATS);
    for (int i = 0; i < RVSDP_MAX_MEDIA; ++i)
        shortMedia += "m=a 0 b\n";
    for (size_t size : {size_t(300), size_t(RVSDP_NOHEAP_TEXT_LEN)}) {
        std::string spread;  // every media description there may be, the rest as formats
        for (int i = 0; i < RVSDP_MAX_MEDIA; ++i)
            spread += "m=a 0 b" + fill(" 0", (size - RVSDP_MAX_MEDIA * 8) / RVSDP_MAX_MEDIA + 2) + "\n";
        std::vector<std::string> texts = {spread.substr(0, size), fill(" 0", size, "m=a 0 b"),
                                          fill(" 0", size, shortMedia + "m=a 0 b"), fill(fullMLine + "\n", size),
                                          fill("r=x\n", size, "t=0 0\n"),
                                          fill("a=x\n", size, "v=0\no=a b c d e f\ns=" + std::string(200, 's') + "\n")};
        for (const char *line : {"a=x\n", "a=x:\n", "a=rtpmap:0 x\n", "a=rtpmap:0 x/1/2\n", "a=fmtp:0\n",
                                 "m=a 0 b\n", "t=0 0\n", "c=I I x\n", "b=A:1\n", "e=x\n", "a=x\r\n"}) {
            texts.push_back(fill(line, size));
            texts.push_back(fill(line, size, shortMedia));
        }
        for (const std::string &text : texts) {
            Parsed p(text);
            EXPECT_NE(RVSDP_PARSE_NOT_SDP, p.status) << text.substr(0, 40);
            EXPECT_EQ(0u, rvSdpMsgGetHeapSize(&p.msg)) << text.substr(0, 40);
        }
    }
    RvSdpMsg m;
    const size_t size = 100000;
    rvSdpMsgConstructParse(&m, fill("a=xxxxxxxx:yyyyyyyy\n", size).c_str(), nullptr, nullptr);
    EXPECT_GT(rvSdpMsgGetHeapSize(&m), 0u);
    EXPECT_LE(rvSdpMsgGetHeapSize(&m), RVSDP_HEAP_PER_BYTE * size + RVSDP_CHUNK_SIZE);
    rvSdpMsgDestruct(&m);  // the sanitizer's leak check holds us to this
    rvSdpMsgDestruct(&m);
    EXPECT_EQ(0u, rvSdpMsgGetHeapSize(&m));
    // One line beyond the chunk size gets storage of its own.
    Parsed longLine("a=x:" + std::string(RVSDP_MAX_LINE_LEN - 4, 'v') + "\n" + fill("a=x\n", 2000));
    EXPECT_EQ(RVSDP_OK, longLine.status);
    EXPECT_EQ(501u, rvSdpListGetSize(rvSdpMsgGetAttributeList(&longLine.msg)));
}
