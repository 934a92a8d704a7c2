// The checked payload accessors: the rtpmap flag that cannot be switched off
// for dynamic types, ptime resolution, fmtp copies into short buffers, and the
// refusals of bad arguments and read-only sessions.
#include "zvsdp_test.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PayloadTest : public SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        ASSERT_EQ(0u, zvSdpMediaAddPayload(media_, 0, "PCMU", 8000, 1, nullptr, &pcmu_));
        ASSERT_EQ(0u, zvSdpMediaAddPayload(media_, 101, "telephone-event", 8000, 1, "0-15", &nte_));
        syslogClear();
    }
    uint32_t ptimeOf(CPayload *p)
    {
        uint32_t ptime = 12345;
        EXPECT_EQ(0u, zvSdpPayloadGetPtime(p, &ptime));
        return ptime;
    }
    CPayload *pcmu_ = nullptr, *nte_ = nullptr;
};

TEST_F(PayloadTest, RtpmapFlagIsKeptBelow96AndCannotBeSwitchedOffFromThere)
{
    CPayload *p95 = zvSdpPayloadObjConstruct(95, "X");
    EXPECT_EQ(5u, zvSdpPayloadSetRtpMap(nte_, 0));
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(nte_));
    EXPECT_EQ(0u, zvSdpPayloadSetPayloadType(p95, 0x80000000u));
    EXPECT_EQ(5u, zvSdpPayloadSetRtpMap(p95, 0));  // unsigned: the top bit set is dynamic
    EXPECT_THAT(syslogTexts(), IsEmpty());
    // A static payload moved up keeps its stored flag through a refusal.
    EXPECT_EQ(0u, zvSdpPayloadSetRtpMap(pcmu_, 1));
    EXPECT_EQ(0u, zvSdpPayloadSetPayloadType(pcmu_, 120));
    EXPECT_EQ(5u, zvSdpPayloadSetRtpMap(pcmu_, 0));
    EXPECT_EQ(0u, zvSdpPayloadSetPayloadType(pcmu_, 0));
    EXPECT_EQ(1u, zvSdpPayloadObjGetEnableRtpMap(pcmu_));
    EXPECT_EQ(0u, zvSdpPayloadSetRtpMap(pcmu_, 0));
    EXPECT_EQ(0u, zvSdpPayloadObjGetEnableRtpMap(pcmu_));
}

TEST_F(PayloadTest, PtimeIsOwnValueThenTheTablesDefaultThenTwenty)
{
    // H261's row has 0, names match exactly, the table is read rather than a
    // built-in copy of it, and a ptime attribute does not count.
    for (ZvSdpCodecEntry &row : zvSdpCodecTable)
        if (std::string(row.encodingName) == "GSM")
            row.defaultPtime = 60;
    ASSERT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 50, nullptr));
    CPayload *p = nullptr;
    for (const auto &[name, ptime] : {std::pair<const char *, uint32_t>{"PCMU", 20}, {"G723", 30}, {"H261", 20},
                                      {"g723", 20}, {"X-NEW", 20}, {"GSM", 60}}) {
        ASSERT_EQ(0u, zvSdpMediaAddPayload(media_, 4, name, 8000, 1, nullptr, &p));
        EXPECT_EQ(ptime, ptimeOf(p)) << name;
    }
    ASSERT_EQ(0u, zvSdpPayloadSetPtime(p, 40));
    EXPECT_EQ(40u, ptimeOf(p));
}

TEST_F(PayloadTest, FmtpIsReplacedKeptOnEmptyTextResetAndCopiedCut)
{
    const uint32_t live = liveStringsAndLists();
    EXPECT_EQ(0u, zvSdpPayloadAddFmtp(pcmu_, "vad=no"));
    EXPECT_EQ(0u, zvSdpPayloadAddFmtp(pcmu_, "vad=yes"));
    EXPECT_EQ(5u, zvSdpPayloadAddFmtp(pcmu_, ""));
    EXPECT_EQ("vad=yes", dynText(zvSdpPayloadObjGetFmtp(pcmu_)));
    EXPECT_EQ(0u, zvSdpPayloadResetFmtp(pcmu_));
    EXPECT_EQ(live, liveStringsAndLists());
    // nte_ has "0-15": sizes 0 and 1 give nothing, 4 is one short of a fit;
    // without fmtp only the first byte is cleared.
    const std::tuple<CPayload *, uint32_t, std::string> cases[] = {
        {nte_, 0, ""}, {nte_, 1, ""}, {nte_, 4, "0-1"}, {nte_, 5, "0-15"}, {nte_, 32, "0-15"}, {pcmu_, 8, ""}};
    for (const auto &[payload, size, text] : cases) {
        SCOPED_TRACE(size);
        Canary buf(size);
        uint32_t len = size;
        EXPECT_EQ(0u, zvSdpPayloadGetFmtp(payload, buf.data(), &len));
        EXPECT_EQ(text.size(), len);
        EXPECT_EQ(size ? text + '\0' : "", std::string(buf.data(), size ? len + 1 : 0));
        EXPECT_TRUE(buf.untouchedFrom(size ? text.size() + 1 : 0));
    }
}

TEST_F(PayloadTest, BadArgumentsGiveFiveOrNullAndReadOnlyGivesThreeSilently)
{
    uint32_t value = 77;
    EXPECT_EQ(5u, zvSdpPayloadAddFmtp(pcmu_, nullptr));
    EXPECT_EQ(5u, zvSdpPayloadGetPtime(pcmu_, nullptr));
    EXPECT_EQ(5u, zvSdpPayloadGetChannels(nullptr, &value));
    EXPECT_EQ(5u, zvSdpMediaGetInbandDtmf(nullptr, &value));  // checks only the media, silently
    const std::string nul = ptrText(nullptr), bad = "Invalid parameter detected";
    EXPECT_THAT(logEntries(),
                ElementsAre(apiLine('D', "zvSdpPayloadAddFmtp",
                                    bad + ": payloadHndl=" + ptrText(pcmu_) + ", &format_specifier=" + nul),
                            apiLine('D', "zvSdpPayloadGetPtime", bad + " : \n"),
                            apiLine('D', "zvSdpPayloadGetChannels",
                                    bad + ": objHndl=" + nul + ", &clock=" + ptrText(&value))));
    syslogClear();
    // Rights are checked before the dynamic type's rtpmap refusal.
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(sdp_));
    EXPECT_EQ(3u, zvSdpPayloadAddFmtp(nte_, "0-16"));
    EXPECT_EQ(3u, zvSdpPayloadSetRtpMap(nte_, 0));
    EXPECT_EQ(3u, zvSdpPayloadSetPtime(nte_, 40));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ("0-15", dynText(zvSdpPayloadObjGetFmtp(nte_)));
    EXPECT_EQ(20u, ptimeOf(nte_));
    // The in-band DTMF flag is the caller's own note: set all the same.
    EXPECT_EQ(0u, zvSdpMediaSetInbandDtmf(media_, 1));
    EXPECT_EQ(0u, zvSdpMediaGetInbandDtmf(media_, &value));
    EXPECT_EQ(1u, value);
}

}  // namespace
