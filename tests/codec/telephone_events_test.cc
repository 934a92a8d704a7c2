// Telephone events at a rate no codec of their media uses are removed from
// every media of a session, not from a read-only one. The rules for one
// media are cases: cases/builder/filter-dtmf-*.case.
#include "zvsdp_test.h"

using namespace zvtest;

namespace {

using TelephoneEvents = LibraryTest;

TEST_F(TelephoneEvents, EveryMediaOfTheSessionIsCorrectedButNotAReadOnlyOne)
{
    CSdp *s = offer("m=audio 1 RTP/AVP 0 108\r\na=rtpmap:108 telephone-event/16000\r\n"
                    "m=audio 2 RTP/AVP 107 96\r\na=rtpmap:107 AMR-WB/16000\r\na=rtpmap:96 telephone-event/8000\r\n");
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpFilterTelephoneEventsForAdvertisedCodecs(s));
    EXPECT_EQ("m=audio 1 RTP/AVP 0\nm=audio 2 RTP/AVP 107\na=rtpmap:107 AMR-WB/16000\n", printed(s));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpFilterTelephoneEventsForAdvertisedCodecs(nullptr));

    // A read-only media keeps its events, and the correction still answers 0.
    CSdp *held = offer("m=audio 1 RTP/AVP 0 108\r\na=rtpmap:108 telephone-event/16000\r\n");
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadOnly(held));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaCorrectForRfc2833DtmfClockRate(mediaOf(held).at(0)));
    EXPECT_EQ("m=audio 1 RTP/AVP 0 108\na=rtpmap:108 telephone-event/16000\n", printed(held));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadWrite(held));
    destroyAll({s, held});
}

}  // namespace
