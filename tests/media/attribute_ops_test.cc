// The checked attribute operations: copies of names and values into short
// buffers, and ptime and silenceSupp as the gateway writes and reads them.
#include "zvsdp_test.h"

using namespace zvtest;
using namespace ::testing;

namespace {

using AttributeOpsTest = SessionTest;

TEST_F(AttributeOpsTest, AttributeCopiesCutAtTheirOwnEdges)
{
    // The name copy clears the rest and keeps a byte for the end; the value
    // copy takes the full size and ends one byte behind it.
    using Copy = uint32_t (*)(CAttribute *, char *, uint32_t *);
    const struct { Copy copy; uint32_t size; std::string text; uint32_t untouchedFrom; } cases[] = {
        {zvSdpAttrGetName, 0, "", 0},           {zvSdpAttrGetName, 1, "", 1},
        {zvSdpAttrGetName, 11, "silenceSup", 11}, {zvSdpAttrGetName, 40, "silenceSupp", 40},
        {zvSdpAttrGetValueStr, 0, "", 0},       {zvSdpAttrGetValueStr, 1, "o", 2},
        {zvSdpAttrGetValueStr, 11, "on 200 - - ", 12}, {zvSdpAttrGetValueStr, 12, "on 200 - - -", 13}};
    CAttribute *a = addAttribute("silenceSupp", "on 200 - - -");
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text + "/" + std::to_string(c.size));
        Canary buf(c.size);
        uint32_t length = c.size;
        EXPECT_EQ(0u, c.copy(a, buf.data(), &length));
        EXPECT_EQ(c.text.size(), length);
        EXPECT_EQ(c.text, c.size ? buf.text() : "");
        for (uint32_t i = c.text.size(); c.copy == zvSdpAttrGetName && i < c.size; ++i)
            EXPECT_EQ('\0', buf.bytes[i]) << i;
        EXPECT_TRUE(buf.untouchedFrom(c.untouchedFrom));
    }
}

TEST_F(AttributeOpsTest, PtimeIsTheFirstPtimeAttributeElseTheTableButNeverThePayloads)
{
    CPayload *pcmu = nullptr, *g723 = nullptr, *h261 = nullptr;
    zvSdpMediaAddStaticPayloadType(media_, 0, &pcmu);
    zvSdpMediaAddStaticPayloadType(media_, 4, &g723);
    zvSdpMediaAddStaticPayloadType(media_, 31, &h261);
    ASSERT_EQ(0u, zvSdpPayloadSetPtime(pcmu, 60));
    addAttribute("PTIME", "50");
    addAttribute("maxptime", "40");
    uint32_t ptime = 7, present = 7;
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    EXPECT_EQ(20u, ptime);
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, g723, &ptime));
    EXPECT_EQ(30u, ptime);
    EXPECT_EQ(5u, zvSdpMediaGetPtime(media_, h261, &ptime));
    EXPECT_EQ(0u, ptime);

    CAttribute *bad = addAttribute("ptime", "abc");
    EXPECT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 30, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 40, nullptr));
    EXPECT_EQ(0u, zvSdpMediaIsPtimePresent(media_, &present));
    EXPECT_EQ(1u, present);
    EXPECT_EQ(9u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    ASSERT_EQ(0u, zvSdpMediaRemoveAttribute(media_, &bad));
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, h261, &ptime));
    EXPECT_EQ(30u, ptime);
}

TEST_F(AttributeOpsTest, SilenceSuppressionValuesBoundsAndTheQueryForOff)
{
    const uint32_t kMax = 0xFFFFFFFFu;
    // A missing text means refused with 5.
    const struct { uint32_t enable, timer, preference, sidUse, level; const char *text; } cases[] = {
        {1, 200, 2, 3, 0, "on 200 custom Sampled Noise -"}, {1, 0, 0, 0, 0, "on 0 - - -"},
        {1, 200, 1, 2, 127, "on 200 standard Fixed Noise 127"}, {1, 5, 1, 1, 0, "on 5 standard No SID -"},
        {1, 1, 0, 2, 30, "on 1 - Fixed Noise 30"}, {1, 1, 2, 2, 78, "on 1 custom Fixed Noise 78"},
        {1, kMax, 0, 0, 500, "on -1 - - -"}, {0, 9, 9, 9, 9, "off - - - -"},
        {1, 1, 0, 2, 29, nullptr}, {1, 1, 0, 2, 79, nullptr}, {1, 1, 0, 2, 126, nullptr},
        {1, 1, 0, 2, 128, nullptr}, {1, 1, 0, 2, 0, nullptr}, {1, 0, 3, 0, 0, nullptr},
        {1, 0, 0, 4, 0, nullptr}, {2, 0, 0, 0, 0, nullptr},
    };
    CAttribute *seed = addAttribute("x", nullptr);  // the list stays from the first attribute on
    zvSdpMediaRemoveAttribute(media_, &seed);
    const uint32_t strings = liveStringsAndLists();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text ? c.text : "refused " + std::to_string(c.level));
        CAttribute *a = junk<CAttribute>();
        uint32_t rc = zvSdpMediaAddAttrSilenceSupp(media_, c.enable, c.timer, c.preference, c.sidUse, c.level, &a);
        EXPECT_EQ(c.text ? 0u : 5u, rc);
        EXPECT_EQ(c.text ? "a=silenceSupp:" + std::string(c.text) : "", a ? attrText(a) : "");
        EXPECT_EQ(a, zvSdpMediaObjGetAttribute(media_, nullptr));
        if (rc == 0)
            zvSdpMediaRemoveAttribute(media_, &a);
    }
    EXPECT_EQ(strings, liveStringsAndLists());
    EXPECT_THAT(syslogTexts(), IsEmpty());
    CAttribute *a = junk<CAttribute>();
    EXPECT_EQ(5u, zvSdpMediaAddAttrSilenceSupp(nullptr, 1, 0, 0, 0, 0, &a));
    EXPECT_EQ(nullptr, a);

    // "off" in any media's silenceSupp switches it off for the session.
    uint32_t off = 7;
    addAttribute("silenceSupp", "on 200 - - -");
    CMedia *second = addMedia(ZVSDP_MT_VIDEO);
    addAttribute("silencesupp", "off - - - -", second);  // not the name
    EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
    EXPECT_EQ(0u, off);
    addAttribute("silenceSupp", "off - - - -", second);
    EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
    EXPECT_EQ(1u, off);
}

}  // namespace
