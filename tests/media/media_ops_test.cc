// The checked media operations: payloads from the codec table as it is at
// call time, the first supported payload, removal by owner, rejected streams,
// the media search, full pools and read-only sessions.
#include "zvsdp_test.h"

using namespace zvtest;
using namespace ::testing;

namespace {

using MediaOpsTest = SessionTest;

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
    CAttribute *silence = junk<CAttribute>();
    EXPECT_EQ(2u, zvSdpMediaAddPayload(media_, 8, "PCMA", 8000, 1, "x", &p));
    EXPECT_EQ(2u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "PCMA", nullptr));
    EXPECT_EQ(2u, zvSdpMediaAddAttrPtime(media_, 20, &a));
    EXPECT_EQ(2u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 0, 0, 0, 0, &silence));
    EXPECT_EQ(2u, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m));
    EXPECT_TRUE(p == nullptr && a == nullptr && m == nullptr && silence == nullptr);
    EXPECT_EQ(before, mediaText(media_));
    EXPECT_EQ(strings, liveStringsAndLists());
}

TEST_F(MediaOpsTest, ReadOnlyRefusesChangesSilentlyAndClearsOutHandles)
{
    CPayload *p = nullptr;
    CAttribute *a = addAttribute("sendrecv", nullptr);
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
    CAttribute *silence = junk<CAttribute>();
    EXPECT_EQ(3u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 0, 0, 0, 0, &silence));
    EXPECT_EQ(nullptr, silence);
    EXPECT_EQ(3u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 1));
    EXPECT_EQ(3u, zvSdpClearMedia(sdp_));
    EXPECT_EQ(5u, zvSdpMediaAddPayloadFromPayloadType(media_, 77, nullptr));  // the table is asked first
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(before, mediaText(media_));
    EXPECT_EQ(1u, mediaOf(sdp_).size());

    // The attribute operations check no rights.
    EXPECT_EQ(0u, zvSdpAttrSetValueStr(a, "inactive"));
    EXPECT_EQ("a=sendrecv:inactive", attrText(a));
}

}  // namespace
