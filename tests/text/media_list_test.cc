// The session's media list through the checked operations: removal knows
// the owner, the argument order of the adder, and the runs a removal by media
// type filters.
#include "zvsdp_test.h"

using namespace zvtest;

namespace {

// Media types of the session's media in order, e.g. "1 3 1".
std::string mediaTypes(CSdp *s)
{
    std::string out;
    for (CMedia *m : mediaOf(s))
        out += (out.empty() ? "" : " ") + std::to_string(zvSdpMediaObjGetMediaType(m));
    return out;
}

using MediaListTest = SessionTest;

TEST_F(MediaListTest, MediaListAddsInOrderAndFiltersRuns)
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

}  // namespace
