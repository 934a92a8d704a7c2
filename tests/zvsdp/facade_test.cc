// The checked media operations, attribute accessors with ptime and
// silenceSupp, and the session's media list.
#include "facade_fixture.h"

using namespace zvtest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

int byPayloadTypeDescending(const void *a, const void *b, void *)
{
    uint32_t x = zvSdpPayloadObjGetPayloadType(static_cast<CPayload *>(const_cast<void *>(a)));
    uint32_t y = zvSdpPayloadObjGetPayloadType(static_cast<CPayload *>(const_cast<void *>(b)));
    return x < y ? 1 : x > y ? -1 : 0;
}

class MediaOpsTest : public FacadeTest {
protected:
    void SetUp() override
    {
        FacadeTest::SetUp();
        media_ = addMedia();
        syslogClear();
    }

    CMedia *media_ = nullptr;
};

TEST(MediaOpsUninitialised, UnknownPayloadTypeIsRefusedBeforeAnyCheck)
{
    CPayload *untouched = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(5u, zvSdpMediaAddPayloadFromPayloadType(nullptr, 120, &untouched));
    EXPECT_EQ(reinterpret_cast<CPayload *>(0x1), untouched);
    EXPECT_EQ(3u, zvSdpMediaAddPayloadFromPayloadType(nullptr, 8, &untouched));
}

TEST_F(MediaOpsTest, PayloadsFromTheTableByNumberAndName)
{
    CPayload *p = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(5u, zvSdpMediaAddPayloadFromPayloadType(media_, 120, &p));
    EXPECT_EQ(reinterpret_cast<CPayload *>(0x1), p);
    EXPECT_EQ(0u, zvSdpMediaAddPayloadFromPayloadType(media_, 8, &p));
    EXPECT_EQ(0u, zvSdpMediaAddPayloadFromPayloadType(media_, 101, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "telephone-event", nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "PCMA", nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "L16", nullptr));
    EXPECT_EQ("PCMA/8000/1:8 G729D/8000/1:101 telephone-event/8000/1:96 PCMA/8000/1:8 L16/44100/2:10",
              payloadList(media_));

    syslogClear();
    p = reinterpret_cast<CPayload *>(0x1);
    EXPECT_EQ(5u, zvSdpMediaAddStaticPayloadType(media_, 96, &p));
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(5u, zvSdpMediaAddDynamicPayload(media_, 0, nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "pcmu", nullptr));
    EXPECT_THAT(logEntries(),
                ElementsAre(apiLine('D', "zvSdpMediaAddStaticPayloadType",
                                    "Requested static payload type: 96 not found in tables."),
                            apiLine('D', "zvSdpMediaAddDynamicPayload",
                                    "Requested dynamic payload type: 0 not found in tables.")));
}

TEST_F(MediaOpsTest, FirstSupportedPayloadFollowsTheMediasOrder)
{
    zvSdpMediaAddStaticPayloadType(media_, 8, nullptr);
    zvSdpMediaAddStaticPayloadType(media_, 0, nullptr);
    const char *names[] = {"pcmu", "PCMA"};
    CPayload *p = nullptr;
    EXPECT_EQ(0u, zvSdpMediaGetFirstSupportedPayload(media_, names, 2, &p));
    EXPECT_EQ(8u, zvSdpPayloadObjGetPayloadType(p));
    EXPECT_EQ(0u, zvSdpMediaGetFirstSupportedPayload(media_, names, 1, &p));
    EXPECT_EQ(0u, zvSdpPayloadObjGetPayloadType(p));
    const char *none[] = {"G729"};
    EXPECT_EQ(0u, zvSdpMediaGetFirstSupportedPayload(media_, none, 1, &p));
    EXPECT_EQ(nullptr, p);
    syslogClear();
    EXPECT_EQ(5u, zvSdpMediaGetFirstSupportedPayload(media_, names, 0, &p));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('E', "zvSdpMediaGetFirstSupportedPayload",
                                                  std::string(zvPbxGetErrorString(5)) + "\n")));
}

TEST_F(MediaOpsTest, RemovalKnowsTheOwnerAndClearsTheHandle)
{
    CMedia *other = addMedia();
    CPayload *mine = nullptr, *theirs = nullptr;
    zvSdpMediaAddStaticPayloadType(media_, 0, &mine);
    zvSdpMediaAddStaticPayloadType(other, 8, &theirs);
    CPayload *held = theirs;
    EXPECT_EQ(5u, zvSdpMediaRemovePayload(media_, &held));
    EXPECT_EQ(theirs, held);
    EXPECT_EQ("PCMA/8000/1:8", payloadList(other));
    EXPECT_EQ(0u, zvSdpMediaRemovePayload(media_, &mine));
    EXPECT_EQ(nullptr, mine);
    EXPECT_EQ("", payloadList(media_));

    CAttribute *a = nullptr, *b = nullptr;
    zvSdpMediaAddAttribute(media_, "sendrecv", nullptr, &a);
    zvSdpMediaAddAttribute(other, "ptime", "20", &b);
    CAttribute *heldAttr = b;
    EXPECT_EQ(5u, zvSdpMediaRemoveAttribute(media_, &heldAttr));
    EXPECT_EQ(b, heldAttr);
    EXPECT_EQ(0u, zvSdpMediaRemoveAttribute(media_, &a));
    EXPECT_EQ(nullptr, a);
}

TEST_F(MediaOpsTest, PortsOfRejectedStreamsStayZero)
{
    EXPECT_EQ(0u, zvSdpMediaSetPort(media_, 4000));
    EXPECT_EQ(0u, zvSdpMediaMarkUnsupported(media_));
    EXPECT_EQ(3u, zvSdpMediaSetPort(media_, 4002));
    uint32_t port = 1;
    zvSdpMediaGetPort(media_, &port);
    EXPECT_EQ(0u, port);
}

TEST_F(MediaOpsTest, FindMediaByTypeAndSupportedFlag)
{
    CMedia *found = reinterpret_cast<CMedia *>(0x1);
    CSdp *empty = nullptr;
    zvSdpConstruct(&empty);
    EXPECT_EQ(5u, zvSdpFindMedia(empty, ZVSDP_MT_AUDIO, 1, &found));
    zvSdpMediaMarkUnsupported(media_);
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 1, &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(0u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 0, &found));
    EXPECT_EQ(media_, found);
    zvSdpDestruct(&empty);
}

TEST_F(MediaOpsTest, ReadOnlyRefusesChangesSilentlyButSorts)
{
    CPayload *p = nullptr;
    zvSdpMediaAddStaticPayloadType(media_, 0, &p);
    zvSdpMediaAddStaticPayloadType(media_, 8, nullptr);
    ASSERT_EQ(0u, zvSdpAppSetReadOnly(sdp_));
    syslogClear();
    EXPECT_EQ(3u, zvSdpMediaAddStaticPayloadType(media_, 3, nullptr));
    EXPECT_EQ(3u, zvSdpMediaAddPayload(media_, 97, "X", 8000, 1, nullptr, nullptr));
    EXPECT_EQ(3u, zvSdpMediaAddAttribute(media_, "a", nullptr, nullptr));
    EXPECT_EQ(3u, zvSdpMediaRemovePayload(media_, &p));
    EXPECT_EQ(3u, zvSdpMediaSetPort(media_, 1));
    EXPECT_EQ(3u, zvSdpMediaMarkUnsupported(media_));
    EXPECT_EQ(3u, zvSdpMediaAddAttrPtime(media_, 20, nullptr));
    EXPECT_EQ(3u, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_VIDEO, ZVSDP_TP_RTPAVP, nullptr));
    EXPECT_THAT(logEntries(), IsEmpty());
    EXPECT_EQ(0u, zvSdpMediaSortPayloads(media_, nullptr, byPayloadTypeDescending));
    EXPECT_EQ("PCMA/8000/1:8 PCMU/8000/1:0", payloadList(media_));
    EXPECT_EQ(5u, zvSdpMediaSortPayloads(media_, nullptr, nullptr));
    zvSdpAppSetReadWrite(sdp_);
}

class AttributeOpsTest : public MediaOpsTest {
protected:
    CAttribute *attribute(const char *name, const char *value)
    {
        CAttribute *a = nullptr;
        EXPECT_EQ(0u, zvSdpMediaAddAttribute(media_, name, value, &a));
        return a;
    }
};

TEST_F(AttributeOpsTest, NamesAreExactAndBuffersAreNeverOverrun)
{
    uint32_t is = 7;
    EXPECT_EQ(0u, zvSdpAttrIsPtime(attribute("PTIME", "20"), &is));
    EXPECT_EQ(0u, is);
    CAttribute *ss = attribute("silenceSupp", "on 200 - - -");
    EXPECT_EQ(0u, zvSdpAttrIsSilenceSupp(ss, &is));
    EXPECT_EQ(1u, is);
    syslogClear();
    EXPECT_EQ(5u, zvSdpAttrIsMaxPtime(nullptr, &is));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('C', "zvSdpAttrIsMaxPtime",
                                                  "Invalid parameter detected: attrHndl=" + ptrText(nullptr) +
                                                      ", &result=" + ptrText(&is))));

    Canary name(5);
    uint32_t length = 5;
    EXPECT_EQ(0u, zvSdpAttrGetName(ss, name.data(), &length));
    EXPECT_EQ("sile", name.text());
    EXPECT_EQ(4u, length);
    EXPECT_TRUE(name.untouchedFrom(5));
    length = 0;
    Canary none(0);
    EXPECT_EQ(0u, zvSdpAttrGetName(ss, none.data(), &length));
    EXPECT_EQ(0u, length);
    EXPECT_TRUE(none.untouchedFrom(0));

    // The value copy takes the full size: one byte beyond it, never more.
    Canary value(4);
    length = 4;
    EXPECT_EQ(0u, zvSdpAttrGetValueStr(ss, value.data(), &length));
    EXPECT_EQ("on 2", value.text());
    EXPECT_TRUE(value.untouchedFrom(5));

    uint32_t number = 99;
    EXPECT_EQ(9u, zvSdpAttrGetValueInt(attribute("x", "abc"), &number));
    EXPECT_EQ(99u, number);
    EXPECT_EQ(9u, zvSdpAttrGetValueInt(attribute("y", "3000000000"), &number));
    CAttribute *z = attribute("z", "30");
    EXPECT_EQ(0u, zvSdpAttrGetValueInt(z, &number));
    EXPECT_EQ(30u, number);
    EXPECT_EQ(0u, zvSdpAttrSetValueInt(z, -5));
    EXPECT_EQ(0u, zvSdpAttrGetValueInt(z, &number));
    EXPECT_EQ(static_cast<uint32_t>(-5), number);
}

TEST_F(AttributeOpsTest, PtimeComesFromTheFirstAttributeThenTheTable)
{
    CPayload *pcmu = nullptr, *g723 = nullptr, *h261 = nullptr;
    zvSdpMediaAddStaticPayloadType(media_, 0, &pcmu);
    zvSdpMediaAddStaticPayloadType(media_, 4, &g723);
    zvSdpMediaAddStaticPayloadType(media_, 31, &h261);
    uint32_t ptime = 0, present = 1;
    attribute("maxptime", "40");
    EXPECT_EQ(0u, zvSdpMediaIsPtimePresent(media_, &present));
    EXPECT_EQ(0u, present);
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, pcmu, &ptime));
    EXPECT_EQ(20u, ptime);
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, g723, &ptime));
    EXPECT_EQ(30u, ptime);
    EXPECT_EQ(5u, zvSdpMediaGetPtime(media_, h261, &ptime));
    EXPECT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 30, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddAttrPtime(media_, 40, nullptr));
    EXPECT_EQ(0u, zvSdpMediaGetPtime(media_, h261, &ptime));
    EXPECT_EQ(30u, ptime);
    EXPECT_EQ(0u, zvSdpMediaIsPtimePresent(media_, &present));
    EXPECT_EQ(1u, present);
}

TEST_F(AttributeOpsTest, SilenceSuppressionTextsBoundsAndTheInvertedQuery)
{
    uint32_t off = 7;
    EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
    EXPECT_EQ(0u, off);
    EXPECT_EQ(0u, zvSdpMediaAddAttrSilenceSupp(media_, 1, 200, 2, 3, 0, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddAttrSilenceSupp(media_, 1, 0, 0, 0, 0, nullptr));
    EXPECT_EQ(0u, zvSdpMediaAddAttrSilenceSupp(media_, 1, 200, 1, 2, 127, nullptr));
    EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
    EXPECT_EQ(0u, off);
    for (uint32_t level : {29u, 79u, 126u})
        EXPECT_EQ(5u, zvSdpMediaAddAttrSilenceSupp(media_, 1, 200, 1, 2, level, nullptr)) << level;
    EXPECT_EQ(5u, zvSdpMediaAddAttrSilenceSupp(media_, 2, 0, 0, 0, 0, nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddAttrSilenceSupp(media_, 1, 0, 3, 0, 0, nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddAttrSilenceSupp(media_, 1, 0, 0, 4, 0, nullptr));
    CAttribute *a = nullptr;
    EXPECT_EQ(0u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 9, 9, 9, 9, &a));
    EXPECT_NE(nullptr, a);
    EXPECT_EQ("silenceSupp=on 200 custom Sampled Noise - | silenceSupp=on 0 - - - | "
              "silenceSupp=on 200 standard Fixed Noise 127 | silenceSupp=off - - - -",
              attributeList(media_));
    EXPECT_EQ(0u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &off));
    EXPECT_EQ(1u, off);
}

class MediaListTest : public FacadeTest {};

TEST_F(MediaListTest, AddWalkRemoveAndFilter)
{
    uint32_t present = 7;
    EXPECT_EQ(0u, zvSdpIsMediaDescriptorsListPresent(sdp_, &present));
    EXPECT_EQ(0u, present);
    EXPECT_EQ(0u, zvSdpClearMedia(sdp_));
    CMedia *a1 = addMedia(), *v = addMedia(ZVSDP_MT_VIDEO), *a2 = addMedia();
    EXPECT_EQ("1 3 1", mediaTypes(sdp_));
    CMedia *next = reinterpret_cast<CMedia *>(0x1);
    EXPECT_EQ(0u, zvSdpGetNextMediaDescriptor(sdp_, a2, &next));
    EXPECT_EQ(nullptr, next);

    CSdp *other = nullptr;
    zvSdpConstruct(&other);
    CMedia *foreign = nullptr;
    zvSdpAddMediaDescriptor(other, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &foreign);
    CMedia *held = foreign;
    EXPECT_EQ(5u, zvSdpRemoveMediaDescriptor(sdp_, &held));
    EXPECT_EQ(foreign, held);
    EXPECT_EQ("1", mediaTypes(other));

    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 2));
    EXPECT_EQ("1 3 1", mediaTypes(sdp_));
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 0));
    EXPECT_EQ("1 1", mediaTypes(sdp_));
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 1));
    EXPECT_EQ("", mediaTypes(sdp_));
    (void)a1;
    (void)v;

    zvSdpAppSetReadOnly(other);
    CMedia *added = reinterpret_cast<CMedia *>(0x1);
    EXPECT_EQ(3u, zvSdpAddMediaDescriptor(other, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &added));
    EXPECT_EQ(nullptr, added);
    EXPECT_EQ(3u, zvSdpClearMedia(other));
    zvSdpAppSetReadWrite(other);
    EXPECT_EQ(0u, zvSdpClearMedia(other));
    EXPECT_EQ("", mediaTypes(other));
    zvSdpDestruct(&other);
}

TEST_F(MediaListTest, FilterKeepsOrderOfWhatStays)
{
    addMedia(ZVSDP_MT_VIDEO);
    CMedia *a1 = addMedia();
    addMedia(ZVSDP_MT_IMAGE, ZVSDP_TP_UDPTL);
    CMedia *a2 = addMedia();
    EXPECT_EQ(0u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 0));
    CMedia *first = nullptr, *second = nullptr;
    zvSdpGetFirstMediaDescriptor(sdp_, &first);
    zvSdpGetNextMediaDescriptor(sdp_, first, &second);
    EXPECT_EQ(a1, first);
    EXPECT_EQ(a2, second);
}

}  // namespace
