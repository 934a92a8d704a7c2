// Telephone events at a rate no codec of their media uses are removed, one
// per rate, from each media of a session.
#include "zvsdp_test.h"

using namespace zvtest;

namespace {

class TelephoneEvents : public LibraryTest {
protected:
    void TearDown() override
    {
        destroyAll({remote_});
        LibraryTest::TearDown();
    }
    // The offer with its telephone events filtered.
    std::string filtered(const std::string &media)
    {
        release(remote_);
        remote_ = offer(media);
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpFilterTelephoneEventsForAdvertisedCodecs(remote_));
        return printed(remote_);
    }
    static void release(CSdp *&s)
    {
        EXPECT_TRUE(!s || zvSdpDestruct(&s) == ZVSDP_RC_OK);
        s = nullptr;
    }
    CSdp *remote_ = nullptr;
};

TEST_F(TelephoneEvents, TelephoneEventsAtARateNoCodecUsesAreRemoved)
{
    const struct { const char *offer, *result; } cases[] = {
        {"m=audio 1 RTP/AVP 0 96 108\r\na=rtpmap:96 telephone-event/8000\r\na=fmtp:96 0-15\r\n"
         "a=rtpmap:108 telephone-event/16000\r\na=fmtp:108 0-15\r\n",
         "m=audio 1 RTP/AVP 0 96\na=rtpmap:96 telephone-event/8000\na=fmtp:96 0-15\n"},
        // A wide-band codec keeps only the 16 kHz event; G722 runs at 8000
        // Hz as the table declares it.
        {"m=audio 1 RTP/AVP 107 96 108\r\na=rtpmap:107 AMR-WB/16000/1\r\na=rtpmap:96 telephone-event/8000\r\n"
         "a=rtpmap:108 telephone-event/16000\r\n",
         "m=audio 1 RTP/AVP 107 108\na=rtpmap:107 AMR-WB/16000\na=rtpmap:108 telephone-event/16000\n"},
        {"m=audio 1 RTP/AVP 9 108\r\na=rtpmap:108 telephone-event/16000\r\n", "m=audio 1 RTP/AVP 9\n"},
        // Only the first event of a rate goes, even with no codec at all.
        {"m=audio 1 RTP/AVP 96 97 108 109\r\na=rtpmap:96 telephone-event/8000\r\na=rtpmap:97 telephone-event/8000\r\n"
         "a=rtpmap:108 telephone-event/16000\r\na=rtpmap:109 telephone-event/16000\r\n",
         "m=audio 1 RTP/AVP 97 109\na=rtpmap:97 telephone-event/8000\na=rtpmap:109 telephone-event/16000\n"},
        // Other rates are never touched; every media is corrected.
        {"m=audio 1 RTP/AVP 111 101\r\na=rtpmap:111 opus/48000/2\r\na=rtpmap:101 telephone-event/48000\r\n",
         "m=audio 1 RTP/AVP 111 101\na=rtpmap:111 opus/48000/2\na=rtpmap:101 telephone-event/48000\n"},
        {"m=audio 1 RTP/AVP 0 108\r\na=rtpmap:108 telephone-event/16000\r\n"
         "m=audio 2 RTP/AVP 107 96\r\na=rtpmap:107 AMR-WB/16000\r\na=rtpmap:96 telephone-event/8000\r\n",
         "m=audio 1 RTP/AVP 0\nm=audio 2 RTP/AVP 107\na=rtpmap:107 AMR-WB/16000\n"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.result, filtered(c.offer)) << c.offer;

    // A read-only media keeps its events, and the correction still answers 0.
    release(remote_);
    remote_ = offer("m=audio 1 RTP/AVP 0 108\r\na=rtpmap:108 telephone-event/16000\r\n");
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadOnly(remote_));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaCorrectForRfc2833DtmfClockRate(mediaOf(remote_).at(0)));
    EXPECT_EQ("m=audio 1 RTP/AVP 0 108\na=rtpmap:108 telephone-event/16000\n", printed(remote_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadWrite(remote_));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpFilterTelephoneEventsForAdvertisedCodecs(nullptr));
}

}  // namespace
