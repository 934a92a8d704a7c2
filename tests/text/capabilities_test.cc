// Image capability declarations (sqn, cdsc, cpar) added to and removed from
// every media of a session.
#include "zvsdp_test.h"

using namespace zvtest;

namespace {

using Capabilities = LibraryTest;

TEST_F(Capabilities, CapabilityDeclarationsAndTheirRemoval)
{
    const std::string plain = "m=audio 1 RTP/AVP 0 8 101\na=rtpmap:101 telephone-event/8000\na=fmtp:101 0-15\n"
                              "a=ptime:20\nm=audio 1 RTP/AVP 96 9\na=rtpmap:96 X/8000\nm=image 1 RTP/AVP 0\n";
    CSdp *s = offer(plain);
    ASSERT_EQ(plain, printed(s));
    for (CMedia *m : mediaOf(s))
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddCdscCparAttributes(&m, 1));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaAddCdscCparAttributes(nullptr, 1));
    // After " 96" the text search takes 9 as listed already.
    EXPECT_EQ("m=audio 1 RTP/AVP 0 8 101\na=rtpmap:101 telephone-event/8000\na=fmtp:101 0-15\na=ptime:20\n"
              "a=sqn: 0\na=cdsc:1 audio RTP/AVP 0 8 101\na=cpar:a=fmtp: 101 0-15\na=cdsc:4 image udptl t38\n"
              "m=audio 1 RTP/AVP 96 9\na=rtpmap:96 X/8000\na=sqn: 0\na=cdsc:1 audio RTP/AVP 96\n"
              "a=cdsc:2 image udptl t38\nm=image 1 RTP/AVP 0\na=sqn: 0\n",
              printed(s));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpRemoveCdscCparAttributes(s));
    EXPECT_EQ(plain, printed(s));
    destroyAll({s});
}

}  // namespace
