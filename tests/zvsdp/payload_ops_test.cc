// The checked payload accessors and the media's in-band DTMF flag: guards
// and their messages, the rtpmap refusal, ptime resolution and fmtp copies.
#include "facade_fixture.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PayloadOpsTest : public FacadeTest {
protected:
    void SetUp() override
    {
        FacadeTest::SetUp();
        media_ = addMedia();
        ASSERT_EQ(0u, zvSdpMediaAddPayload(media_, 0, "PCMU", 8000, 1, nullptr, &pcmu_));
        ASSERT_EQ(0u, zvSdpMediaAddPayload(media_, 101, "telephone-event", 8000, 1, "0-15", &nte_));
        syslogClear();
    }

    CPayload *add(uint32_t type, const char *name)
    {
        CPayload *p = nullptr;
        EXPECT_EQ(0u, zvSdpMediaAddPayload(media_, type, name, 8000, 1, nullptr, &p));
        return p;
    }

    uint32_t ptimeOf(CPayload *p)
    {
        uint32_t ptime = 12345;
        EXPECT_EQ(0u, zvSdpPayloadGetPtime(p, &ptime));
        return ptime;
    }

    CMedia *media_ = nullptr;
    CPayload *pcmu_ = nullptr;
    CPayload *nte_ = nullptr;
};

TEST_F(NotInitialisedTest, PayloadOperationsRefuseSilentlyButInbandDtmfLogs)
{
    uint32_t value = 77;
    char buf[16] = "xx";
    uint32_t len = sizeof buf;
    EXPECT_EQ(3u, zvSdpPayloadAddFmtp(payload_, "annexb=no"));
    EXPECT_EQ(3u, zvSdpPayloadResetFmtp(payload_));
    EXPECT_EQ(3u, zvSdpPayloadSetPayloadType(payload_, 8));
    EXPECT_EQ(3u, zvSdpPayloadSetRtpMap(payload_, 1));
    EXPECT_EQ(3u, zvSdpPayloadSetPtime(payload_, 40));
    EXPECT_EQ(3u, zvSdpPayloadGetPtime(payload_, &value));
    EXPECT_EQ(3u, zvSdpPayloadGetClock(payload_, &value));
    EXPECT_EQ(3u, zvSdpPayloadGetChannels(payload_, &value));
    EXPECT_EQ(3u, zvSdpPayloadGetFmtp(payload_, buf, &len));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(77u, value);
    EXPECT_STREQ("xx", buf);
    EXPECT_EQ(0u, zvSdpPayloadObjGetPtime(payload_));
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(payload_));

    EXPECT_EQ(3u, zvSdpMediaGetInbandDtmf(media_, &value));
    EXPECT_EQ(3u, zvSdpMediaSetInbandDtmf(media_, 1));
    EXPECT_EQ(77u, value);
    EXPECT_EQ(0u, zvSdpMediaObjGetInbandDtmf(media_));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('D', "zvSdpMediaGetInbandDtmf", "API not initialised!"),
                                          apiLine('D', "zvSdpMediaSetInbandDtmf", "API not initialised!")));
}

TEST_F(PayloadOpsTest, MissingArgumentsGiveFiveWithTheirOwnMessages)
{
    uint32_t value = 0;
    char buf[8];
    uint32_t len = sizeof buf;
    (void)len;
    const std::string nul = ptrText(nullptr);
    EXPECT_EQ(5u, zvSdpPayloadAddFmtp(nullptr, "x"));
    EXPECT_EQ(5u, zvSdpPayloadAddFmtp(pcmu_, nullptr));
    EXPECT_EQ(5u, zvSdpPayloadResetFmtp(nullptr));
    EXPECT_EQ(5u, zvSdpPayloadSetPayloadType(nullptr, 8));
    EXPECT_EQ(5u, zvSdpPayloadSetRtpMap(nullptr, 1));
    EXPECT_EQ(5u, zvSdpPayloadSetPtime(nullptr, 20));
    EXPECT_EQ(5u, zvSdpPayloadGetPtime(pcmu_, nullptr));
    EXPECT_EQ(5u, zvSdpPayloadGetClock(pcmu_, nullptr));
    EXPECT_EQ(5u, zvSdpPayloadGetChannels(nullptr, &value));
    EXPECT_EQ(5u, zvSdpPayloadGetFmtp(pcmu_, buf, nullptr));
    EXPECT_THAT(logEntries(),
                ElementsAre(apiLine('D', "zvSdpPayloadAddFmtp",
                                    "Invalid parameter detected: payloadHndl=" + nul + ", &format_specifier=" +
                                        ptrText("x")),
                            apiLine('D', "zvSdpPayloadAddFmtp",
                                    "Invalid parameter detected: payloadHndl=" + ptrText(pcmu_) +
                                        ", &format_specifier=" + nul),
                            apiLine('D', "zvSdpPayloadResetFmtp", "Invalid parameter detected: payloadHndl=" + nul),
                            apiLine('D', "zvSdpPayloadSetPayloadType", "Invalid parameter detected: payloadHndl=" + nul),
                            apiLine('D', "zvSdpPayloadSetRtpMap", "Invalid parameter detected: payloadHndl=" + nul),
                            apiLine('D', "zvSdpPayloadSetPtime", "Invalid parameter detected: payloadHndl=" + nul),
                            apiLine('D', "zvSdpPayloadGetPtime", "Invalid parameter detected : \n"),
                            apiLine('D', "zvSdpPayloadGetClock",
                                    "Invalid parameter detected: objHndl=" + ptrText(pcmu_) + ", &clock=" + nul),
                            apiLine('D', "zvSdpPayloadGetChannels",
                                    "Invalid parameter detected: objHndl=" + nul + ", &clock=" + ptrText(&value)),
                            apiLine('D', "zvSdpPayloadGetFmtp",
                                    "Invalid parameter detected: objHndl=" + ptrText(pcmu_) + ", &buf=" +
                                        ptrText(buf) + ", &buflen=" + nul)));

    // The in-band DTMF operations check only the media, and say nothing.
    syslogClear();
    EXPECT_EQ(5u, zvSdpMediaGetInbandDtmf(nullptr, &value));
    EXPECT_EQ(5u, zvSdpMediaSetInbandDtmf(nullptr, 1));
    EXPECT_THAT(syslogTexts(), IsEmpty());

    // D messages need trace level 3.
    zvSdpSetTraceLevel(2);
    EXPECT_EQ(5u, zvSdpPayloadResetFmtp(nullptr));
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST_F(PayloadOpsTest, FmtpIsReplacedKeptOnEmptyTextAndReset)
{
    EXPECT_EQ(0u, zvSdpPayloadAddFmtp(pcmu_, "vad=no"));
    EXPECT_EQ(0u, zvSdpPayloadAddFmtp(pcmu_, "vad=yes"));
    EXPECT_EQ("vad=yes", dynText(zvSdpPayloadObjGetFmtp(pcmu_)));

    EXPECT_EQ(5u, zvSdpPayloadAddFmtp(pcmu_, ""));
    EXPECT_EQ("vad=yes", dynText(zvSdpPayloadObjGetFmtp(pcmu_)));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('D', "zvSdpPayloadAddFmtp",
                                                  "Invalid parameter detected: payloadHndl=" + ptrText(pcmu_) +
                                                      ", &format_specifier=" + ptrText(""))));

    EXPECT_EQ(0u, zvSdpPayloadResetFmtp(pcmu_));
    EXPECT_EQ(nullptr, zvSdpPayloadObjGetFmtp(pcmu_));
    EXPECT_EQ(0u, zvSdpPayloadResetFmtp(pcmu_));
}

TEST_F(PayloadOpsTest, RtpmapCannotBeSwitchedOffForDynamicTypes)
{
    CPayload *p95 = add(95, "X-95");
    EXPECT_EQ(0u, zvSdpPayloadSetRtpMap(p95, 1));
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(p95));
    EXPECT_EQ(0u, zvSdpPayloadSetRtpMap(p95, 0));
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(p95));

    CPayload *p96 = add(96, "X-96");
    EXPECT_EQ(5u, zvSdpPayloadSetRtpMap(p96, 0));
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(p96));
    EXPECT_EQ(0u, zvSdpPayloadSetRtpMap(p96, 1));
    // The comparison is unsigned: a number with the top bit set is dynamic.
    EXPECT_EQ(0u, zvSdpPayloadSetPayloadType(p95, 0x80000000u));
    EXPECT_EQ(5u, zvSdpPayloadSetRtpMap(p95, 0));
    EXPECT_THAT(syslogTexts(), IsEmpty());

    // A static payload's flag survives a refused call while it is renumbered.
    EXPECT_EQ(0u, zvSdpPayloadSetRtpMap(pcmu_, 1));
    EXPECT_EQ(0u, zvSdpPayloadSetPayloadType(pcmu_, 120));
    EXPECT_EQ(5u, zvSdpPayloadSetRtpMap(pcmu_, 0));
    EXPECT_EQ(0u, zvSdpPayloadSetPayloadType(pcmu_, 0));
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(pcmu_));
}

TEST_F(PayloadOpsTest, SettersTakeAnyNumberAndGettersReadTheFields)
{
    EXPECT_EQ(0u, zvSdpPayloadSetPayloadType(pcmu_, 4000));
    EXPECT_EQ(4000u, zvSdpPayloadObjGetPayloadType(pcmu_));
    EXPECT_EQ(0u, zvSdpPayloadSetPtime(pcmu_, 0xFFFFFFFFu));
    EXPECT_EQ(0xFFFFFFFFu, zvSdpPayloadObjGetPtime(pcmu_));

    CPayload *l16 = nullptr;
    ASSERT_EQ(0u, zvSdpMediaAddPayload(media_, 10, "L16", 44100, 2, nullptr, &l16));
    uint32_t clock = 0, channels = 0;
    EXPECT_EQ(0u, zvSdpPayloadGetClock(l16, &clock));
    EXPECT_EQ(0u, zvSdpPayloadGetChannels(l16, &channels));
    EXPECT_EQ(44100u, clock);
    EXPECT_EQ(2u, channels);
}

TEST_F(PayloadOpsTest, PtimeIsOwnValueThenTableDefaultThenTwenty)
{
    EXPECT_EQ(20u, ptimeOf(pcmu_));
    EXPECT_EQ(30u, ptimeOf(add(4, "G723")));
    EXPECT_EQ(20u, ptimeOf(add(31, "H261")));  // table row with ptime 0
    EXPECT_EQ(20u, ptimeOf(add(4, "g723")));   // names match exactly
    EXPECT_EQ(20u, ptimeOf(add(120, "X-UNKNOWN")));

    CPayload *g723 = add(4, "G723");
    ASSERT_EQ(0u, zvSdpPayloadSetPtime(g723, 40));
    EXPECT_EQ(40u, ptimeOf(g723));

    // The table is read at call time, not copied into the payload.
    CPayload *gsm = add(3, "GSM");
    for (ZvSdpCodecEntry &row : zvSdpCodecTable)
        if (std::string(row.encodingName) == "GSM")
            row.defaultPtime = 60;
    EXPECT_EQ(60u, ptimeOf(gsm));

    // A ptime attribute of the media is not this operation's business.
    ASSERT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 50, nullptr));
    EXPECT_EQ(20u, ptimeOf(pcmu_));
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST_F(PayloadOpsTest, FmtpCopyIsCutAndNeverPassesTheGivenSize)
{
    struct Case {
        uint32_t size;
        std::string text;
    };
    // nte_ has "0-15": 0 and 1 give nothing, 4 is one short of a fit.
    for (const Case &c : {Case{0, ""}, Case{1, ""}, Case{4, "0-1"}, Case{5, "0-15"}, Case{32, "0-15"}}) {
        SCOPED_TRACE(c.size);
        Canary buf(c.size);
        uint32_t len = c.size;
        EXPECT_EQ(0u, zvSdpPayloadGetFmtp(nte_, buf.data(), &len));
        EXPECT_EQ(c.text.size(), len);
        EXPECT_TRUE(buf.untouchedFrom(c.size));
        if (c.size == 0)
            EXPECT_TRUE(buf.untouchedFrom(0));
        else
            EXPECT_EQ(c.text, buf.text());
    }

    // Without fmtp only the first byte is cleared.
    Canary buf(8);
    uint32_t len = 8;
    EXPECT_EQ(0u, zvSdpPayloadGetFmtp(pcmu_, buf.data(), &len));
    EXPECT_EQ(0u, len);
    EXPECT_EQ('\0', buf.bytes[0]);
    EXPECT_TRUE(buf.untouchedFrom(1));
}

TEST_F(PayloadOpsTest, InbandDtmfIsSetEvenOnReadOnlyMedia)
{
    uint32_t value = 9;
    EXPECT_EQ(0u, zvSdpMediaGetInbandDtmf(media_, &value));
    EXPECT_EQ(0u, value);
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(sdp_));
    EXPECT_EQ(0u, zvSdpMediaSetInbandDtmf(media_, 1));
    EXPECT_EQ(0u, zvSdpMediaGetInbandDtmf(media_, &value));
    EXPECT_EQ(1u, value);
}

TEST_F(PayloadOpsTest, ReadOnlySessionRefusesEveryPayloadChangeSilently)
{
    ASSERT_EQ(0u, zvSdpPayloadSetPtime(nte_, 30));
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(sdp_));
    syslogClear();
    EXPECT_EQ(3u, zvSdpPayloadAddFmtp(nte_, "0-16"));
    EXPECT_EQ(3u, zvSdpPayloadResetFmtp(nte_));
    EXPECT_EQ(3u, zvSdpPayloadSetPayloadType(nte_, 102));
    EXPECT_EQ(3u, zvSdpPayloadSetRtpMap(pcmu_, 1));
    EXPECT_EQ(3u, zvSdpPayloadSetPtime(nte_, 40));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ("0-15", dynText(zvSdpPayloadObjGetFmtp(nte_)));
    EXPECT_EQ(101u, zvSdpPayloadObjGetPayloadType(nte_));
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(pcmu_));
    EXPECT_EQ(30u, ptimeOf(nte_));
}

}  // namespace
