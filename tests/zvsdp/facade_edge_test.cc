// Edge cases of the media, attribute and media-list operations: the codec
// table as it is at call time, full pools, sorting, the search for a media,
// cut buffers, ptime and silenceSupp corners, and read-only sessions.
#include <climits>

#include "facade_fixture.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class EdgeTest : public FacadeTest {
protected:
    void SetUp() override
    {
        FacadeTest::SetUp();
        media_ = addMedia();
        syslogClear();
    }
    void TearDown() override
    {
        for (size_t i = 0; i < ZVSDP_CODEC_TABLE_ROWS; ++i)
            zvSdpCodecTable[i].payloadType = savedTypes_[i];
        FacadeTest::TearDown();
    }

    ZvSdpCodecEntry &row(const char *name, uint32_t type)
    {
        for (ZvSdpCodecEntry &r : zvSdpCodecTable)
            if (std::string(r.encodingName) == name && r.payloadType == type)
                return r;
        ADD_FAILURE() << name << " " << type;
        return zvSdpCodecTable[0];
    }

    CAttribute *attribute(const char *name, const char *value, CMedia *m = nullptr)
    {
        CAttribute *a = nullptr;
        EXPECT_EQ(0u, zvSdpMediaAddAttribute(m ? m : media_, name, value, &a));
        return a;
    }

    uint32_t suppressionOff()
    {
        uint32_t off = 7;
        EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
        return off;
    }

    CMedia *media_ = nullptr;
    uint32_t savedTypes_[ZVSDP_CODEC_TABLE_ROWS] = {};

public:
    EdgeTest()
    {
        for (size_t i = 0; i < ZVSDP_CODEC_TABLE_ROWS; ++i)
            savedTypes_[i] = zvSdpCodecTable[i].payloadType;
    }
};

TEST_F(EdgeTest, TableLookupsSeeTheCurrentNumbersAndTheFirstRowWins)
{
    // Two dynamic rows under one number: the earlier row is taken.
    row("telephone-event", 108).payloadType = 97;
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayload(media_, 97, nullptr));
    // A dynamic row under a static number: each adder finds its own kind,
    // and the dispatcher follows the first row of any kind.
    row("G726-24", 98).payloadType = 8;
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayload(media_, 8, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 8, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddPayloadFromPayloadType(media_, 8, nullptr));
    // A static row renumbered into the dynamic range, ahead of G729D's row.
    row("GSM", 3).payloadType = 101;
    EXPECT_EQ(0u, zvSdpMediaAddPayloadFromPayloadType(media_, 101, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayload(media_, 101, nullptr));
    EXPECT_EQ("G726-16/8000/1:97 G726-24/8000/1:8 PCMA/8000/1:8 PCMA/8000/1:8 GSM/8000/1:101 G729D/8000/1:101",
              payloadList(media_));

    row("telephone-event", 96).payloadType = 120;
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "telephone-event", nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddDynamicPayload(media_, 96, nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddStaticPayloadType(media_, 0xFFFFFFFFu, nullptr));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('D', "zvSdpMediaAddDynamicPayload",
                                                  "Requested dynamic payload type: 96 not found in tables."),
                                          apiLine('D', "zvSdpMediaAddStaticPayloadType",
                                                  "Requested static payload type: -1 not found in tables.")));
    CPayload *nte = nullptr;
    EXPECT_EQ(0u, zvSdpMediaGetPayloadFromPayloadType(media_, 120, &nte));
    EXPECT_EQ("telephone-event", dynText(zvSdpPayloadObjGetName(nte)));
}

TEST_F(EdgeTest, RowsGiveNameClockAndChannelsOnlyAndDuplicatesStay)
{
    CPayload *g723 = nullptr, *first = nullptr, *found = nullptr;
    EXPECT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 4, &g723));
    EXPECT_EQ(0u, zvSdpPayloadObjGetPtime(g723));
    EXPECT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 31, &first));
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "DVI4", nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 31, nullptr));
    EXPECT_EQ("G723/8000/1:4 H261/90000/0:31 DVI4/8000/1:5 H261/90000/0:31", payloadList(media_));

    uint32_t exists = 7;
    EXPECT_EQ(0u, zvSdpMediaGetPayloadFromPayloadType(media_, 31, &found));
    EXPECT_EQ(first, found);
    EXPECT_EQ(0u, zvSdpMediaPayloadTypeExists(media_, 31, &exists));
    EXPECT_EQ(1u, exists);
    EXPECT_EQ(0u, zvSdpMediaGetPayloadFromPayloadType(media_, 0, &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(0u, zvSdpMediaPayloadTypeExists(media_, 0, &exists));
    EXPECT_EQ(0u, exists);

    CPayload *own = nullptr;
    EXPECT_EQ(0u, zvSdpMediaAddPayload(media_, 120, "X-OWN", 48000, 2, "a=b", &own));
    EXPECT_EQ("a=b", dynText(zvSdpPayloadObjGetFmtp(own)));
    EXPECT_EQ("X-OWN/48000/2:120", payloadList(media_).substr(payloadList(media_).rfind(' ') + 1));
}

TEST_F(EdgeTest, FullPoolsGiveTwoAndLeaveEverythingAsItWas)
{
    const uint32_t payloads = 10 * kUnit, attributes = 20 * kUnit, media = 5 * kUnit;
    for (uint32_t i = 0; i < payloads; ++i)
        ASSERT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 0, nullptr));
    for (uint32_t i = 0; i < attributes; ++i)
        ASSERT_EQ(0u, zvSdpMediaAddAttribute(media_, "a", nullptr, nullptr));
    for (uint32_t i = 1; i < media; ++i)
        addMedia();
    const std::string before = mediaText(media_);
    const uint32_t strings = liveStringsAndLists();
    CPayload *p = reinterpret_cast<CPayload *>(0x1);
    CAttribute *a = reinterpret_cast<CAttribute *>(0x1);
    CMedia *m = reinterpret_cast<CMedia *>(0x1);
    EXPECT_EQ(2u, zvSdpMediaAddStaticPayloadType(media_, 8, &p));
    EXPECT_EQ(nullptr, p);
    p = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(2u, zvSdpMediaAddPayload(media_, 8, "PCMA", 8000, 1, "x", &p));
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(2u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "PCMA", nullptr));
    EXPECT_EQ(2u, zvSdpMediaAddAttribute(media_, "b", "c", &a));
    EXPECT_EQ(nullptr, a);
    a = reinterpret_cast<CAttribute *>(0x1);
    EXPECT_EQ(2u, zvSdpMediaAddAttrPtime(media_, 20, &a));
    EXPECT_EQ(nullptr, a);
    EXPECT_EQ(2u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 0, 0, 0, 0, nullptr));
    EXPECT_EQ(2u, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m));
    EXPECT_EQ(nullptr, m);
    EXPECT_EQ(before, mediaText(media_));
    EXPECT_EQ(strings, liveStringsAndLists());
}

struct SortLog {
    std::vector<std::pair<uint32_t, uint32_t>> calls;
};

int byTypeAscending(const void *a, const void *b, void *arg)
{
    uint32_t x = zvSdpPayloadObjGetPayloadType(static_cast<CPayload *>(const_cast<void *>(a)));
    uint32_t y = zvSdpPayloadObjGetPayloadType(static_cast<CPayload *>(const_cast<void *>(b)));
    static_cast<SortLog *>(arg)->calls.emplace_back(x, y);
    return x < y ? -1 : x > y ? 1 : 0;
}

TEST_F(EdgeTest, SortIsStableAndHandsTheArgumentThrough)
{
    for (const char *name : {"telephone-event", "PCMU", "PCMA", "G729"})
        zvSdpMediaAddDynamicPayloadBasedOnName(media_, name, nullptr);
    zvSdpMediaAddPayload(media_, 0, "X-ZERO", 8000, 1, nullptr, nullptr);
    SortLog log;
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(sdp_));
    EXPECT_EQ(0u, zvSdpMediaSortPayloads(media_, &log, byTypeAscending));
    EXPECT_FALSE(log.calls.empty());
    EXPECT_EQ("PCMU/8000/1:0 X-ZERO/8000/1:0 PCMA/8000/1:8 G729/8000/1:18 telephone-event/8000/1:96",
              payloadList(media_));
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST_F(EdgeTest, FindMediaWalksTypeAndSupportedFlag)
{
    CSdp *empty = nullptr;
    ASSERT_EQ(0u, zvSdpConstruct(&empty));
    CMedia *found = reinterpret_cast<CMedia *>(0x1);
    EXPECT_EQ(5u, zvSdpFindMedia(empty, ZVSDP_MT_AUDIO, 1, &found));
    EXPECT_EQ(nullptr, found);
    // The type query gets the missing first media; its &type is a local.
    std::vector<std::string> lines;
    for (const std::string &l : logEntries())
        lines.push_back(maskPointers(l));
    EXPECT_THAT(lines, ElementsAre(apiLine('D', "zvSdpMediaGetMediaType",
                                           "Invalid parameter detected: mediaObj=" + ptrText(nullptr) + ", &type=PTR"),
                                   apiLine('E', "zvSdpFindMedia", std::string(zvPbxGetErrorString(5)) + "\r\n")));
    zvSdpDestruct(&empty);

    zvSdpMediaMarkUnsupported(media_);
    CMedia *video = addMedia(ZVSDP_MT_VIDEO);
    CMedia *audio = addMedia();
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 1, &found));
    EXPECT_EQ(audio, found);
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 0, &found));
    EXPECT_EQ(media_, found);
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_VIDEO, 1, &found));
    EXPECT_EQ(video, found);
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 2, &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_IMAGE, 1, &found));
    EXPECT_EQ(nullptr, found);
}

TEST_F(EdgeTest, NameCopyClearsTheWholeBufferAndKeepsOneByteForTheEnd)
{
    CAttribute *a = attribute("silenceSupp", "x");
    struct Case {
        uint32_t size;
        std::string text;
    };
    for (const Case &c : {Case{1, ""}, Case{11, "silenceSup"}, Case{12, "silenceSupp"}, Case{40, "silenceSupp"}}) {
        SCOPED_TRACE(c.size);
        Canary buf(c.size);
        uint32_t length = c.size;
        EXPECT_EQ(0u, zvSdpAttrGetName(a, buf.data(), &length));
        EXPECT_EQ(c.text, buf.text());
        EXPECT_EQ(c.text.size(), length);
        for (uint32_t i = c.text.size(); i < c.size; ++i)
            EXPECT_EQ('\0', buf.bytes[i]) << i;
        EXPECT_TRUE(buf.untouchedFrom(c.size));
    }
}

TEST_F(EdgeTest, ValueCopyTakesTheFullSizePlusTheTerminator)
{
    CAttribute *a = attribute("fmtp", "on 200 - - -");  // 12 characters
    struct Case {
        uint32_t size;
        std::string text;
    };
    for (const Case &c : {Case{0, ""}, Case{1, "o"}, Case{11, "on 200 - - "}, Case{12, "on 200 - - -"}}) {
        SCOPED_TRACE(c.size);
        Canary buf(c.size);
        uint32_t length = c.size;
        EXPECT_EQ(0u, zvSdpAttrGetValueStr(a, buf.data(), &length));
        EXPECT_EQ(c.text.size(), length);
        EXPECT_TRUE(buf.untouchedFrom(c.size == 0 ? 0 : c.size + 1));
        if (c.size) {
            EXPECT_EQ(c.text, buf.text());
        }
    }
    Canary buf(8);
    uint32_t length = 8;
    EXPECT_EQ(0u, zvSdpAttrGetValueStr(attribute("sendrecv", nullptr), buf.data(), &length));
    EXPECT_EQ(0u, length);
    EXPECT_EQ('\0', buf.bytes[0]);
    EXPECT_TRUE(buf.untouchedFrom(1));

    uint32_t number = 5;
    EXPECT_EQ(9u, zvSdpAttrGetValueInt(attribute("sendrecv", nullptr), &number));
    EXPECT_EQ(9u, zvSdpAttrGetValueInt(attribute("ptime", "12abc"), &number));
    EXPECT_EQ(5u, number);
    EXPECT_EQ(0u, zvSdpAttrSetValueInt(a, INT_MIN));
    EXPECT_EQ("-2147483648", dynText(zvSdpAttrObjGetValue(a)));
}

TEST_F(EdgeTest, PtimeOfAMediaHasNoFixedFallback)
{
    CPayload *pcmu = nullptr, *lower = nullptr;
    zvSdpMediaAddStaticPayloadType(media_, 0, &pcmu);
    zvSdpMediaAddPayload(media_, 0, "pcmu", 8000, 1, nullptr, &lower);
    ASSERT_EQ(0u, zvSdpPayloadSetPtime(pcmu, 60));
    uint32_t ptime = 7;
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    EXPECT_EQ(20u, ptime);  // the payload's own ptime is not asked
    EXPECT_EQ(5u, zvSdpMediaGetPtime(media_, lower, &ptime));
    EXPECT_EQ(0u, ptime);

    attribute("PTIME", "50");
    attribute("maxptime", "40");
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    EXPECT_EQ(20u, ptime);
    EXPECT_THAT(syslogTexts(), IsEmpty());

    CAttribute *bad = attribute("ptime", "abc");
    attribute("ptime", "30");
    EXPECT_EQ(9u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('E', "zvSdpMediaGetPtime",
                                                  "zvSdpAttrGetValueInt failed with error: " +
                                                      std::string(zvPbxGetErrorString(9)) + "\n")));
    ASSERT_EQ(0u, zvSdpMediaRemoveAttribute(media_, &bad));
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, lower, &ptime));
    EXPECT_EQ(30u, ptime);

    // The numbers are written unsigned, and nothing is left behind.
    const uint32_t strings = liveStringsAndLists();
    CAttribute *big = nullptr;
    EXPECT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 0xFFFFFFFFu, &big));
    EXPECT_EQ("4294967295", dynText(zvSdpAttrObjGetValue(big)));
    ASSERT_EQ(0u, zvSdpMediaRemoveAttribute(media_, &big));
    EXPECT_EQ(strings, liveStringsAndLists());
}

TEST_F(EdgeTest, SilenceSuppressionValuesAndBounds)
{
    struct Case {
        uint32_t enable, timer, preference, sidUse, level;
        const char *text;  // nullptr: refused with 5
    };
    const Case cases[] = {
        {1, 5, 1, 1, 0, "on 5 standard No SID -"},
        {1, 1, 0, 2, 30, "on 1 - Fixed Noise 30"},
        {1, 1, 2, 2, 78, "on 1 custom Fixed Noise 78"},
        {1, 0xFFFFFFFFu, 0, 0, 500, "on -1 - - -"},
        {1, 1, 0, 2, 128, nullptr},
        {1, 1, 0, 2, 0, nullptr},
        {1, 1, 0xFFFFFFFFu, 0, 0, nullptr},
        {0xFFFFFFFFu, 1, 0, 0, 0, nullptr},
    };
    // The media's attribute list exists from its first attribute on.
    CAttribute *seed = attribute("x", nullptr);
    ASSERT_EQ(0u, zvSdpMediaRemoveAttribute(media_, &seed));
    const uint32_t strings = liveStringsAndLists();
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text ? c.text : "refused");
        CAttribute *a = reinterpret_cast<CAttribute *>(0x1);
        uint32_t rc = zvSdpMediaAddAttrSilenceSupp(media_, c.enable, c.timer, c.preference, c.sidUse, c.level, &a);
        if (!c.text) {
            EXPECT_EQ(5u, rc);
            EXPECT_EQ(nullptr, a);
            EXPECT_EQ("", attributeList(media_));
            continue;
        }
        ASSERT_EQ(0u, rc);
        EXPECT_EQ(std::string("silenceSupp=") + c.text, attributeList(media_));
        ASSERT_EQ(0u, zvSdpMediaRemoveAttribute(media_, &a));
    }
    EXPECT_EQ(strings, liveStringsAndLists());
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST_F(EdgeTest, SuppressionQueryReportsOffAnywhereWithItsMessages)
{
    attribute("silenceSupp", "on 200 - - -");
    EXPECT_EQ(0u, suppressionOff());
    CMedia *second = addMedia(ZVSDP_MT_VIDEO);
    attribute("silencesupp", "off - - - -", second);  // not the name
    EXPECT_EQ(0u, suppressionOff());
    attribute("silenceSupp", "off - - - -", second);
    syslogClear();
    EXPECT_EQ(1u, suppressionOff());
    const char *f = "zvSdpMediaIsSilenceSuppressionEnabled";
    EXPECT_THAT(logEntries(),
                ElementsAre(apiLine('D', f, "attribute content = on 200 - - - \r\n"),
                            apiLine('D', f, "attribute content = off - - - - \r\n"),
                            apiLine('D', f, "silenceSupp attribute content contains 'off'! \r\n")));
}

TEST_F(EdgeTest, SuppressionQueryReadsLaterValuesWithTheEarlierLength)
{
    // 64 characters with "off" at the very end: read whole the first time.
    std::string full = "on 1 - - -" + std::string(51, ' ') + "off";
    ASSERT_EQ(64u, full.size());
    CMedia *other = addMedia();
    attribute("silenceSupp", full.c_str(), other);
    EXPECT_EQ(1u, suppressionOff());

    // A value of ten characters first: the later one is read cut to ten.
    attribute("silenceSupp", "on 1 - - -");
    attribute("silenceSupp", "on 2 - - - off");
    zvSdpMediaObjRemoveAttribute(other, zvSdpMediaObjGetAttribute(other, nullptr));
    EXPECT_EQ(0u, suppressionOff());
    // Past the 64 bytes of the reader, even as the first value.
    zvSdpMediaObjRemoveAttribute(media_, zvSdpMediaObjGetAttribute(media_, nullptr));
    zvSdpMediaObjRemoveAttribute(media_, zvSdpMediaObjGetAttribute(media_, nullptr));
    const std::string longer = "on 3 - - -" + std::string(60, ' ') + "off";
    attribute("silenceSupp", longer.c_str(), other);
    EXPECT_EQ(0u, suppressionOff());
}

TEST_F(EdgeTest, ReadOnlyRefusesTheRemainingChangesAndClearsOutHandles)
{
    CPayload *p = nullptr;
    CAttribute *a = attribute("sendrecv", nullptr);
    ASSERT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 0, &p));
    ASSERT_EQ(0u, zvSdpMediaSetPort(media_, 5004));
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(sdp_));
    syslogClear();
    const std::string before = mediaText(media_);
    CPayload *out = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(3u, zvSdpMediaAddDynamicPayload(media_, 96, &out));
    EXPECT_EQ(nullptr, out);
    out = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(3u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "PCMA", &out));
    EXPECT_EQ(nullptr, out);
    out = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(3u, zvSdpMediaAddPayloadFromPayloadType(media_, 8, &out));
    EXPECT_EQ(nullptr, out);
    out = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(5u, zvSdpMediaAddPayloadFromPayloadType(media_, 77, &out));
    EXPECT_EQ(reinterpret_cast<CPayload *>(0x1), out);
    CAttribute *outAttr = reinterpret_cast<CAttribute *>(0x1);
    EXPECT_EQ(3u, zvSdpMediaAddAttribute(media_, "x", nullptr, &outAttr));
    EXPECT_EQ(nullptr, outAttr);
    EXPECT_EQ(3u, zvSdpMediaRemoveAttribute(media_, &a));
    EXPECT_NE(nullptr, a);
    EXPECT_EQ(3u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 0, 0, 0, 0, nullptr));
    CMedia *m = media_;
    EXPECT_EQ(3u, zvSdpRemoveMediaDescriptor(sdp_, &m));
    EXPECT_EQ(media_, m);
    EXPECT_EQ(3u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 1));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(before, mediaText(media_));
    EXPECT_EQ("1", mediaTypes(sdp_));

    // The attribute operations check no rights.
    EXPECT_EQ(0u, zvSdpAttrSetValueStr(a, "inactive"));
    EXPECT_EQ("inactive", dynText(zvSdpAttrObjGetValue(a)));
}

TEST_F(EdgeTest, MediaListAddsInOrderAndFiltersRuns)
{
    ASSERT_EQ(0u, zvSdpRemoveMediaDescriptor(sdp_, &media_));
    EXPECT_EQ(nullptr, media_);
    EXPECT_EQ(0u, inUse("zvsdpmediaobj"));

    // Media type first, transport second: the constructor takes them the
    // other way round.
    CMedia *app = addMedia(ZVSDP_MT_APP, ZVSDP_TP_UDPTL);
    ZvSdpMediaType type = ZVSDP_MT_UNKNOWN;
    ZvSdpTransportProtocol proto = ZVSDP_TP_UNKNOWN;
    zvSdpMediaGetMediaType(app, &type);
    zvSdpMediaGetTransportProtocol(app, &proto);
    EXPECT_EQ(ZVSDP_MT_APP, type);
    EXPECT_EQ(ZVSDP_TP_UDPTL, proto);
    CMedia *bad = reinterpret_cast<CMedia *>(0x1);
    EXPECT_EQ(2u, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_END, ZVSDP_TP_RTPAVP, &bad));
    EXPECT_EQ(nullptr, bad);

    uint32_t present = 0;
    EXPECT_EQ(0u, zvSdpIsMediaDescriptorsListPresent(sdp_, &present));
    EXPECT_EQ(1u, present);
    EXPECT_EQ(0u, zvSdpClearMedia(sdp_));
    EXPECT_EQ(0u, inUse("zvsdpmediaobj"));

    // Removals one after another, at the front, middle and end.
    for (uint32_t t : {1, 1, 3, 1, 1, 6, 1})
        addMedia(t, t == 6 ? ZVSDP_TP_UDPTL : ZVSDP_TP_RTPAVP);
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 1));
    EXPECT_EQ("3 6", mediaTypes(sdp_));
    EXPECT_EQ(2u, inUse("zvsdpmediaobj"));
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 0));
    EXPECT_EQ("", mediaTypes(sdp_));
    EXPECT_EQ(0u, inUse("zvsdpmediaobj"));
}

}  // namespace
