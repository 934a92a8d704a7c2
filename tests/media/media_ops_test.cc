// The checked media, attribute and media-list operations on a started
// library: payloads from the codec table as it is at call time, removal by
// owner, full pools, read-only sessions, cut buffers, and ptime and
// silenceSupp as the gateway writes and reads them.
#include "facade_fixture.h"

using namespace zvtest;
using namespace ::testing;

namespace {

template <typename T>
T *junk()
{
    return reinterpret_cast<T *>(0x1);
}

// Media types of the session's media in order, e.g. "1 3 1".
std::string mediaTypes(CSdp *s)
{
    std::string out;
    for (CMedia *m = zvSdpObjGetMedia(s, nullptr); m; m = zvSdpObjGetMedia(s, m))
        out += (out.empty() ? "" : " ") + std::to_string(zvSdpMediaObjGetMediaType(m));
    return out;
}

class MediaOpsTest : public FacadeTest {
protected:
    void SetUp() override
    {
        FacadeTest::SetUp();
        media_ = addMedia();
    }
    CAttribute *attribute(const char *name, const char *value, CMedia *m = nullptr)
    {
        CAttribute *a = nullptr;
        EXPECT_EQ(0u, zvSdpMediaAddAttribute(m ? m : media_, name, value, &a));
        return a;
    }
    CMedia *media_ = nullptr;
};

TEST_F(MediaOpsTest, TableAddersTakeTheFirstMatchingRowAsTheTableIsNow)
{
    CPayload *p = junk<CPayload>();
    EXPECT_EQ(5u, zvSdpMediaAddPayloadFromPayloadType(media_, 120, &p));
    EXPECT_EQ(junk<CPayload>(), p);
    EXPECT_EQ(5u, zvSdpMediaAddStaticPayloadType(media_, 96, &p));
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(5u, zvSdpMediaAddDynamicPayload(media_, 0, nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "pcmu", nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "L16", nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 31, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 31, nullptr));

    const std::vector<ZvSdpCodecEntry> saved(std::begin(zvSdpCodecTable), std::end(zvSdpCodecTable));
    auto renumber = [](const char *name, uint32_t from, uint32_t to) {
        for (ZvSdpCodecEntry &r : zvSdpCodecTable)
            if (std::string(r.encodingName) == name && r.payloadType == from)
                return void(r.payloadType = to);
        ADD_FAILURE() << name << " " << from;
    };
    // Two dynamic rows under one number: the earlier row is taken.
    renumber("telephone-event", 108, 97);
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayload(media_, 97, nullptr));
    // A dynamic row under a static number: each adder finds its own kind,
    // and the dispatcher follows the first row of any kind.
    renumber("G726-24", 98, 8);
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayload(media_, 8, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 8, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddPayloadFromPayloadType(media_, 8, nullptr));
    // A static row renumbered into the dynamic range, ahead of G729D's row.
    renumber("GSM", 3, 101);
    EXPECT_EQ(0u, zvSdpMediaAddPayloadFromPayloadType(media_, 101, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayload(media_, 101, nullptr));
    EXPECT_EQ("L16/44100/2:10 H261/90000/0:31 H261/90000/0:31 G726-16/8000/1:97 G726-24/8000/1:8 PCMA/8000/1:8 "
              "PCMA/8000/1:8 GSM/8000/1:101 G729D/8000/1:101",
              payloadList(media_));
    std::copy(saved.begin(), saved.end(), zvSdpCodecTable);
}

TEST_F(MediaOpsTest, FirstSupportedFollowsTheMediasOrderAndRemovalKnowsTheOwner)
{
    CPayload *pcma = nullptr, *pcmu = nullptr, *p = nullptr;
    zvSdpMediaAddStaticPayloadType(media_, 8, &pcma);
    zvSdpMediaAddStaticPayloadType(media_, 0, &pcmu);
    const char *names[] = {"pcmu", "PCMA"}, *none[] = {"G729"};
    EXPECT_EQ(0u, zvSdpMediaGetFirstSupportedPayload(media_, names, 2, &p));
    EXPECT_EQ(pcma, p);
    EXPECT_EQ(0u, zvSdpMediaGetFirstSupportedPayload(media_, names, 1, &p));
    EXPECT_EQ(pcmu, p);
    EXPECT_EQ(0u, zvSdpMediaGetFirstSupportedPayload(media_, none, 1, &p));
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(5u, zvSdpMediaGetFirstSupportedPayload(media_, names, 0, &p));

    // Removal knows the owner and clears the handle.
    CMedia *other = addMedia(), *found = nullptr;
    CPayload *theirs = nullptr;
    zvSdpMediaAddStaticPayloadType(other, 8, &theirs);
    p = theirs;
    EXPECT_EQ(5u, zvSdpMediaRemovePayload(media_, &p));
    EXPECT_EQ(theirs, p);
    EXPECT_EQ(0u, zvSdpMediaRemovePayload(media_, &pcma));
    EXPECT_EQ(nullptr, pcma);
    EXPECT_EQ("PCMA/8000/1:8", payloadList(other));

    // Rejected streams keep port zero.
    uint32_t port = 1;
    EXPECT_EQ(0u, zvSdpMediaSetPort(media_, 4000));
    EXPECT_EQ(0u, zvSdpMediaMarkUnsupported(media_));
    EXPECT_EQ(3u, zvSdpMediaSetPort(media_, 4002));
    zvSdpMediaGetPort(media_, &port);
    EXPECT_EQ(0u, port);
    // The search skips what is unsupported unless told otherwise.
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 1, &found));
    EXPECT_EQ(other, found);
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 0, &found));
    EXPECT_EQ(media_, found);
}

TEST_F(MediaOpsTest, FullPoolsGiveTwoAndLeaveEverythingAsItWas)
{
    for (uint32_t i = 0; i < 10 * kUnit; ++i)
        ASSERT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 0, nullptr));
    for (uint32_t i = 0; i < 20 * kUnit; ++i)
        ASSERT_EQ(0u, zvSdpMediaAddAttribute(media_, "a", nullptr, nullptr));
    for (uint32_t i = 1; i < 5 * kUnit; ++i)
        addMedia();
    const std::string before = mediaText(media_);
    const uint32_t strings = liveStringsAndLists();
    CPayload *p = junk<CPayload>();
    CAttribute *a = junk<CAttribute>();
    CMedia *m = junk<CMedia>();
    EXPECT_EQ(2u, zvSdpMediaAddPayload(media_, 8, "PCMA", 8000, 1, "x", &p));
    EXPECT_EQ(2u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "PCMA", nullptr));
    EXPECT_EQ(2u, zvSdpMediaAddAttrPtime(media_, 20, &a));
    EXPECT_EQ(2u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 0, 0, 0, 0, nullptr));
    EXPECT_EQ(2u, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m));
    EXPECT_TRUE(p == nullptr && a == nullptr && m == nullptr);
    EXPECT_EQ(before, mediaText(media_));
    EXPECT_EQ(strings, liveStringsAndLists());
}

TEST_F(MediaOpsTest, ReadOnlyRefusesChangesSilentlyAndClearsOutHandles)
{
    CPayload *p = nullptr;
    CAttribute *a = attribute("sendrecv", nullptr);
    zvSdpMediaAddStaticPayloadType(media_, 8, &p);
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(sdp_));
    syslogClear();
    const std::string before = mediaText(media_);
    CPayload *out[3] = {junk<CPayload>(), junk<CPayload>(), junk<CPayload>()};
    CAttribute *outAttr = junk<CAttribute>();
    EXPECT_EQ(3u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "PCMA", &out[0]));
    EXPECT_EQ(3u, zvSdpMediaAddPayloadFromPayloadType(media_, 8, &out[1]));
    EXPECT_EQ(3u, zvSdpMediaAddPayload(media_, 97, "X", 8000, 1, nullptr, &out[2]));
    EXPECT_EQ(3u, zvSdpMediaAddAttribute(media_, "x", nullptr, &outAttr));
    EXPECT_THAT(out, Each(IsNull()));
    EXPECT_EQ(nullptr, outAttr);
    EXPECT_EQ(3u, zvSdpMediaRemoveAttribute(media_, &a));
    EXPECT_EQ(3u, zvSdpMediaRemovePayload(media_, &p));
    EXPECT_TRUE(a && p);
    EXPECT_EQ(3u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 0, 0, 0, 0, nullptr));
    EXPECT_EQ(3u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 1));
    EXPECT_EQ(3u, zvSdpClearMedia(sdp_));
    EXPECT_EQ(5u, zvSdpMediaAddPayloadFromPayloadType(media_, 77, nullptr));  // the table is asked first
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(before, mediaText(media_));
    EXPECT_EQ("1", mediaTypes(sdp_));

    // The attribute operations check no rights.
    EXPECT_EQ(0u, zvSdpAttrSetValueStr(a, "inactive"));
    EXPECT_EQ("a=sendrecv:inactive", attrText(a));
}

TEST_F(MediaOpsTest, MediaListAddsInOrderAndFiltersRuns)
{
    CSdp *other = nullptr;
    CMedia *foreign = nullptr, *bad = junk<CMedia>();
    zvSdpConstruct(&other);
    zvSdpAddMediaDescriptor(other, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &foreign);
    EXPECT_EQ(5u, zvSdpRemoveMediaDescriptor(sdp_, &foreign));
    EXPECT_NE(nullptr, foreign);
    ASSERT_EQ(0u, zvSdpRemoveMediaDescriptor(sdp_, &media_));
    // Media type first, transport second: the constructor takes them the
    // other way round.
    EXPECT_EQ("m=app 0 udptl\n", mediaText(addMedia(ZVSDP_MT_APP, ZVSDP_TP_UDPTL)));
    EXPECT_EQ(2u, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_END, ZVSDP_TP_RTPAVP, &bad));
    EXPECT_EQ(nullptr, bad);
    EXPECT_EQ(0u, zvSdpClearMedia(sdp_));
    EXPECT_EQ(1u, inUse("zvsdpmediaobj"));

    // 1 removes the type, 0 keeps only the type, anything else nothing;
    // runs go one after another at the front, middle and end.
    for (uint32_t t : {1, 1, 3, 1, 1, 6, 1})
        addMedia(t, t == 6 ? ZVSDP_TP_UDPTL : ZVSDP_TP_RTPAVP);
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 2));
    EXPECT_EQ("1 1 3 1 1 6 1", mediaTypes(sdp_));
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 1));
    EXPECT_EQ("3 6", mediaTypes(sdp_));
    for (uint32_t t : {1, 1, 3, 3, 1})
        addMedia(t);
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 0));
    EXPECT_EQ("1 1 1", mediaTypes(sdp_));
    EXPECT_EQ(4u, inUse("zvsdpmediaobj"));
}

TEST_F(MediaOpsTest, AttributeCopiesCutAtTheirOwnEdges)
{
    // The name copy clears the rest and keeps a byte for the end; the value
    // copy takes the full size and ends one byte behind it.
    using Copy = uint32_t (*)(CAttribute *, char *, uint32_t *);
    const struct { Copy copy; uint32_t size; std::string text; uint32_t untouchedFrom; } cases[] = {
        {zvSdpAttrGetName, 0, "", 0},           {zvSdpAttrGetName, 1, "", 1},
        {zvSdpAttrGetName, 11, "silenceSup", 11}, {zvSdpAttrGetName, 40, "silenceSupp", 40},
        {zvSdpAttrGetValueStr, 0, "", 0},       {zvSdpAttrGetValueStr, 1, "o", 2},
        {zvSdpAttrGetValueStr, 11, "on 200 - - ", 12}, {zvSdpAttrGetValueStr, 12, "on 200 - - -", 13}};
    CAttribute *a = attribute("silenceSupp", "on 200 - - -");
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

TEST_F(MediaOpsTest, PtimeIsTheFirstPtimeAttributeElseTheTableButNeverThePayloads)
{
    CPayload *pcmu = nullptr, *g723 = nullptr, *h261 = nullptr;
    zvSdpMediaAddStaticPayloadType(media_, 0, &pcmu);
    zvSdpMediaAddStaticPayloadType(media_, 4, &g723);
    zvSdpMediaAddStaticPayloadType(media_, 31, &h261);
    ASSERT_EQ(0u, zvSdpPayloadSetPtime(pcmu, 60));
    attribute("PTIME", "50");
    attribute("maxptime", "40");
    uint32_t ptime = 7, present = 7;
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    EXPECT_EQ(20u, ptime);
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, g723, &ptime));
    EXPECT_EQ(30u, ptime);
    EXPECT_EQ(5u, zvSdpMediaGetPtime(media_, h261, &ptime));
    EXPECT_EQ(0u, ptime);

    CAttribute *bad = attribute("ptime", "abc");
    EXPECT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 30, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 40, nullptr));
    EXPECT_EQ(0u, zvSdpMediaIsPtimePresent(media_, &present));
    EXPECT_EQ(1u, present);
    EXPECT_EQ(9u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    ASSERT_EQ(0u, zvSdpMediaRemoveAttribute(media_, &bad));
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, h261, &ptime));
    EXPECT_EQ(30u, ptime);
}

TEST_F(MediaOpsTest, SilenceSuppressionValuesBoundsAndTheQueryForOff)
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
    CAttribute *seed = attribute("x", nullptr);  // the list stays from the first attribute on
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

    // "off" in any media's silenceSupp switches it off for the session.
    uint32_t off = 7;
    attribute("silenceSupp", "on 200 - - -");
    CMedia *second = addMedia(ZVSDP_MT_VIDEO);
    attribute("silencesupp", "off - - - -", second);  // not the name
    EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
    EXPECT_EQ(0u, off);
    attribute("silenceSupp", "off - - - -", second);
    EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
    EXPECT_EQ(1u, off);
}

}  // namespace
