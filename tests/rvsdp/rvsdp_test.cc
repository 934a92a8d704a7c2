// The SDP message stack: malformed text (bad lines skipped, huge numbers,
// limits, not SDP, NUL, length, line ends), the exact text it prints, builders
// refusing what would not parse back, cut buffers, no heap up to 1023 bytes.
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "rvsdp.h"

namespace {

struct Parsed {
    RvSdpMsg msg;
    int status = 99;
    uint32_t length;
    RvSdpMsg *result;
    explicit Parsed(const std::string &text, size_t n = std::string::npos)
        : length(static_cast<uint32_t>(n < text.size() ? n : text.size()))
    {
        result = rvSdpMsgConstructParse(&msg, text.data(), &length, &status);
    }
    ~Parsed() { rvSdpMsgDestruct(&msg); }
};

std::string encode(const RvSdpMsg *msg)
{
    std::string out(static_cast<size_t>(rvSdpMsgEncodeToBuf(msg, nullptr, 0)) + 1, '\0');
    out.resize(static_cast<size_t>(rvSdpMsgEncodeToBuf(msg, &out[0], static_cast<uint32_t>(out.size()))));
    return out;
}

std::string crlf(std::string text)
{
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
        text.insert(at, 1, '\r');
    return text;
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

// Text in, exact text out: line ends, text kept as it came, the NUL that
// ends a text, the bad lines a partial parse leaves out and the limits.
TEST(RvSdpParse, TextEncodesBackAsItCameLessTheBadLines)
{
    const std::string ptime = "s=-\r\nm=audio 5004 RTP/AVP 0\r\na=ptime:20\r\n";
    // Every line type once (twice where a list takes several), in RFC order.
    const std::string every = "v=0\no=- 1 1 IN IP4 h\ns=x\ni=y\nu=z\ne=a@b\ne=c@d\np=1\nc=IN IP4 1.2.3.4\nb=AS:1\n"
                              "t=1 2\nr=3 4\nt=5 6\nz=7 8\nk=clear\na=s1\na=s2:v\nm=audio 1/2 RTP/AVP 0 t38\ni=m\n"
                              "c=IN IP4 5.6.7.8\nc=IN IP4 9.9.9.9\nb=X:2\nk=prompt\na=rtpmap:0 PCMU/8000/1\na=fmtp:0\n"
                              "a=flag\na=e:\nm=video 0 RTP/AVP\n";
    const std::string text = "m=image 5000 udptl t38\nm=audio 5004 RTP/AVP 0 8 127 007 -1 +5 1234567890\n"
                             "a=ptime:20\na=ptime:30\na=sqn: 0\na=cpar:a=fmtp: 101 0-15\na=empty:\n";
    const std::string maxLine = "a=x:" + std::string(RVSDP_MAX_LINE_LEN - 4, 'y'), longLine = maxLine + "y";
    std::string formats = "m=audio 5004 RTP/AVP", media;  // as many as there may be
    for (int i = 0; i < RVSDP_MAX_FORMATS; ++i)
        formats += " " + std::to_string(i);
    for (int i = 0; i < RVSDP_MAX_MEDIA; ++i)
        media += "m=audio " + std::to_string(i) + " RTP/AVP 0\na=n\n";
    const struct {
        std::string in;
        int status;
        std::string out;
    } cases[] = {
        {every, RVSDP_OK, crlf(every)},  // the last m-line is how the gateway rejects a stream
        {"s=-\nm=audio 5004 RTP/AVP 0\na=ptime:20\n", RVSDP_OK, ptime},
        {"s=-\r\nm=audio 5004 RTP/AVP 0\na=ptime:20", RVSDP_OK, ptime},
        {"s=-\nm=audio 5004 RTP/AVP 0\r\n\r\na=ptime:20\r", RVSDP_OK, ptime},
        {"a=one\ra=two\n", RVSDP_OK, "a=one\ra=two\r\n"},  // a CR alone ends no line
        {text, RVSDP_OK, crlf(text)},
        {std::string("m=audio 5004 RTP/AVP 0\n\0m=video 1 RTP/AVP 31\n", 46), RVSDP_OK, "m=audio 5004 RTP/AVP 0\r\n"},
        {"v=0\nv=1\n"  // repeated, then six tokens needed, an unknown letter, r= before any t=
         "o=too few tokens\nx=unknown letter\nr=7d 1h 0 25h\nb=AS:lots\nb=AS:4294967296\nt=now later\n"
         "t=18446744073709551616 0\ngarbage\ns=kept\n"
         "m=audio 70000 RTP/AVP 0\na=kept\n"  // port out of range: a rejected stream, kept in its place
         "m=audio 5004 RTP/AVP 0\ns=not in a media\nc=IN IP4\na=kept\na=:novalue\n",
         RVSDP_PARSE_PARTIAL,
         "v=0\r\ns=kept\r\nm=audio 0 RTP/AVP 0\r\na=kept\r\nm=audio 5004 RTP/AVP 0\r\na=kept\r\n"},
        {"m=audio x RTP/AVP 0\nm=video 5006/0 RTP/AVP 31\nm=audio 5004/2 RTP/AVP 8\n", RVSDP_PARSE_PARTIAL,
         "m=audio 0 RTP/AVP 0\r\nm=video 0 RTP/AVP 31\r\nm=audio 5004/2 RTP/AVP 8\r\n"},
        {"v=0\n" + longLine + "\n" + maxLine + "\n", RVSDP_PARSE_PARTIAL, "v=0\r\n" + maxLine + "\r\n"},
        {formats + " 32 33\na=ptime:20\n", RVSDP_PARSE_PARTIAL, crlf(formats + "\na=ptime:20\n")},
        {media + "m=audio 1 RTP/AVP 0\na=lost\n", RVSDP_PARSE_PARTIAL, crlf(media)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in.substr(0, 60));
        Parsed p(c.in);
        EXPECT_EQ(c.status, p.status);
        EXPECT_EQ(strlen(c.in.c_str()), p.length);
        EXPECT_EQ(c.out, encode(&p.msg));
    }
}

// Numbers as the copy into the object model reads them.
TEST(RvSdpParse, PayloadsRtpMapsAndFmtpWithMissingParts)
{
    Parsed p("m=audio 5004 RTP/AVP 0 8 127 007 -1 +5 1234567890\n"
             "a=rtpmap:96 AMR/8000/1\na=rtpmap:97 opus/48000/2\na=rtpmap:98 foo\na=rtpmap:99 L16/16000\n"
             "a=rtpmap:x bad/zz\na=rtpmap\na=fmtp:101 0-15\na=fmtp\n");
    ASSERT_EQ(RVSDP_OK, p.status);
    RvSdpMediaDescr *d = rvSdpMsgGetMediaDescr(&p.msg, 0);
    std::string got;
    for (int i = 0; i < 8; ++i)
        got += std::to_string(rvSdpMediaDescrGetPayload(d, i)) + " ";
    EXPECT_EQ("0 8 127 7 -3 -3 -3 -1 ", got);  // -3: signed or above 999999999, -1: no such format
    EXPECT_STREQ("1234567890", rvSdpMediaDescrGetFormat(d, 6));
    auto rtpmaps = [](const RvSdpMediaDescr *media) {
        std::string out;
        for (size_t i = 0; i < rvSdpGetNumOfSpecialAttr(media, RVSDP_SPEC_ATTR_RTPMAP); ++i) {
            RvSdpRtpMap *r = rvSdpGetSpecialAttr(media, i, RVSDP_SPEC_ATTR_RTPMAP);
            const char *name = rvSdpRtpMapGetEncodingName(r);
            out += std::to_string(rvSdpRtpMapGetPayload(r)) + " " + (name ? name : "NULL") + "/" +
                   std::to_string(rvSdpRtpMapGetClockRate(r)) + "/" + std::to_string(rvSdpRtpMapGetChannels(r)) + ", ";
        }
        return out;
    };
    EXPECT_EQ("96 AMR/8000/1, 97 opus/48000/2, 98 foo/-1/0, 99 L16/16000/0, -1 bad/-1/0, -1 NULL/-1/0, ", rtpmaps(d));
    RvSdpAttribute *bare = rvSdpGetSpecialAttr(d, 1, RVSDP_SPEC_ATTR_FMTP);  // still reads as text
    EXPECT_STREQ("", rvSdpSpecAttrGetValue(bare));
    EXPECT_EQ(nullptr, rvSdpAttributeGetValue(bare));

    // Blanks, zeros, extra slashes and names longer than a word: each piece
    // is read whole, blanks cut only from its end (none from the payload's).
    std::string odd = "m=audio 5004 RTP/AVP 96\n";
    for (const char *value : {"0096 a/0008000/01", "96\tPCMU\t/ 8000", "96 PCMU/8000 /2 ", "96  telephone-event/8000/1/2",
                              "1234567890 X/1234567890/0", "999999999 telephone-event-long/999999999", "96 a b/8 0/ 1",
                              "96 x//", "96 /8000/1", "96 very-long-encoding-name", "96 very-long-encoding-name/",
                              "96 PCMU/8000\t"})
        odd += std::string("a=rtpmap:") + value + "\n";
    Parsed q(odd);
    EXPECT_EQ("96 a/8000/1, 96 PCMU/-1/0, 96 PCMU/8000/2, 96 telephone-event/8000/0, -1 X/-1/0, "
              "999999999 telephone-event-long/999999999/0, 96 a b/-1/0, 96 x/-1/0, 96 NULL/8000/1, "
              "96 very-long-encoding-name/-1/0, 96 very-long-encoding-name/-1/0, 96 PCMU/8000/0, ",
              rtpmaps(rvSdpMsgGetMediaDescr(&q.msg, 0)));
}

TEST(RvSdpParse, NotSdpGivenLengthAndBadArguments)
{
    for (const std::string &text : {std::string(), std::string("\n\r\n"), std::string("hello world"),
                                    std::string("INVITE sip:bob@example.com SIP/2.0\r\nVia: x\r\n"),
                                    std::string("v=zero\nm=\n"), std::string("\0v=0\n", 5), std::string("=\n=x\n")}) {
        Parsed p(text);
        EXPECT_EQ(RVSDP_PARSE_NOT_SDP, p.status) << text;
        EXPECT_EQ(0u, p.length);
        EXPECT_EQ(nullptr, p.result);
    }
    Parsed given("m=audio 5004 RTP/AVP 0 8", 22);  // only the given bytes are read
    EXPECT_EQ(1, rvSdpMediaDescrGetNumOfPayloads(rvSdpMsgGetMediaDescr(&given.msg, 0)));
    uint32_t len = 5;
    int status = 0;
    EXPECT_EQ(nullptr, rvSdpMsgConstructParse(nullptr, "v=0\n", &len, &status));
    EXPECT_EQ(RVSDP_ERROR, status);
    EXPECT_EQ(0u, len);
}

// What the gateway's mirror builds (payload numbers, rtpmaps without
// channels, fmtp as special attributes, plain attributes, port 0) into cut
// buffers; builders refusing and the limits; replacing all media.
TEST(RvSdpBuild, MirrorEncodesWholeOrNotAtAllBuildersRefuseWhatWouldNotParseBack)
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
    const std::string want = "m=audio 0 RTP/AVP 0 101\r\na=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n"
                             "a=sendrecv\r\na=sqn: 0\r\n";
    char buf[128];  // one byte short of the text and its NUL leaves no cut text
    memset(buf, 'x', sizeof buf);
    EXPECT_EQ(int(want.size()), rvSdpMsgEncodeToBuf(&m, buf, uint32_t(want.size())));
    EXPECT_STREQ("", buf);
    EXPECT_EQ(int(want.size()), rvSdpMsgEncodeToBuf(&m, buf, uint32_t(want.size() + 1)));
    EXPECT_EQ(want, buf);
    EXPECT_EQ('x', buf[want.size() + 1]);
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
    // Moving a format to the end, as the copy into the object model does
    // with telephone-event: taking out the last one must leave room to append.
    EXPECT_EQ(RVSDP_OK, rvSdpRemoveTextFromArray(audio, RVSDP_MAX_FORMATS - 1));
    EXPECT_EQ(RVSDP_OK, rvSdpRemoveTextFromArray(audio, 0));
    EXPECT_EQ(RVSDP_OK, rvSdpAddTextToArray(audio, "t38"));
    EXPECT_EQ(RVSDP_OK, rvSdpAddTextToArray(audio, "0"));
    std::string mline = "m=audio 0 RTP/AVP 101";
    for (int i = 2; i < RVSDP_MAX_FORMATS - 1; ++i)
        mline += " " + std::to_string(i);
    EXPECT_EQ(mline + " t38 0\r\na=rtpmap:", encode(&m).substr(0, mline.size() + 17));
    std::string forward = "m=audio 0 RTP/AVP", backward;  // reads by index after the removals
    for (int i = 0; i < rvSdpMediaDescrGetNumOfPayloads(audio); ++i)
        forward += std::string(" ") + rvSdpMediaDescrGetFormat(audio, i);
    for (int i = rvSdpMediaDescrGetNumOfPayloads(audio); i-- > 0;)
        backward = std::string(" ") + rvSdpMediaDescrGetFormat(audio, i) + backward;
    EXPECT_EQ(mline + " t38 0", forward);
    EXPECT_EQ(forward, "m=audio 0 RTP/AVP" + backward);
    while (rvSdpMsgGetNumOfMediaDescr(&m) < RVSDP_MAX_MEDIA)
        ASSERT_NE(nullptr, rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_AUDIO, 1, RVSDP_PROTOCOL_RTP));
    EXPECT_EQ(nullptr, rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_AUDIO, 1, RVSDP_PROTOCOL_RTP));
    RvSdpList *media = rvSdpMsgGetMediaDescrList(&m);  // replacing all media of a held message
    rvSdpListClear(media);
    RvSdpMediaDescr *fresh = rvSdpMsgAddMediaDescr(&m, RVSDP_MEDIATYPE_AUDIO, 0, RVSDP_PROTOCOL_RTP);
    EXPECT_EQ(fresh, rvSdpListGetFirst(media));
    EXPECT_EQ("m=audio 0 RTP/AVP\r\n", encode(&m));
    rvSdpMsgDestruct(&m);
    memset(&m, 0, sizeof m);
    EXPECT_EQ(RVSDP_ERROR, rvSdpMsgEncodeToBuf(&m, buf, sizeof buf));
    rvSdpMsgDestruct(&m);  // never constructed: safe all the same
}

// The densest text of each kind of item decides whether the record's own
// storage holds any text of up to 1023 bytes (a message parsed from one and
// never destructed leaks nothing); beyond, the heap is bounded.
TEST(RvSdpMemory, NoHeapUpTo1023BytesAndABoundedHeapBeyond)
{
    const size_t most = RVSDP_NOHEAP_TEXT_LEN;
    std::string shortMedia, spread;  // every media description there may be, the rest as formats
    for (int i = 0; i < RVSDP_MAX_MEDIA; ++i) {
        shortMedia += "m=a 0 b\n";
        spread += "m=a 0 b" + fill(" 0", (most - RVSDP_MAX_MEDIA * 8) / RVSDP_MAX_MEDIA + 2) + "\n";
    }
    std::vector<std::string> texts = {spread.substr(0, most), fill(" 0", most, "m=a 0 b"),
                                      fill(" 0", most, shortMedia + "m=a 0 b"), fill("r=x\n", most, "t=0 0\n"),
                                      fill("m=a 0 b" + fill(" 0", 2 * RVSDP_MAX_FORMATS) + "\n", most),
                                      fill("a=x\n", most, "v=0\no=a b c d e f\ns=" + std::string(200, 's') + "\n")};
    for (const char *line : {"a=x\n", "a=x:\n", "a=rtpmap:0 x\n", "a=rtpmap:0 x/1/2\n", "a=fmtp:0\n", "m=a 0 b\n",
                             "t=0 0\n", "c=I I x\n", "b=A:1\n", "e=x\n", "a=x\r\n"}) {
        texts.push_back(fill(line, most));
        texts.push_back(fill(line, most, shortMedia));
    }
    for (const std::string &text : texts) {
        Parsed p(text);
        EXPECT_NE(RVSDP_PARSE_NOT_SDP, p.status) << text.substr(0, 40);
        EXPECT_EQ(0u, rvSdpMsgGetHeapSize(&p.msg)) << text.substr(0, 40);
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
