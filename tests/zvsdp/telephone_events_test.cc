// RFC 2833 corrections: telephone events at a clock rate no codec of the
// media uses are removed, per media and per session, with the payload
// dumps and messages of the HelperAPI module.
#include "codec_fixture.h"

#include <dlfcn.h>

#include <cstring>

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace zvtest {
int g_nextMediaFailsAt = 0;
uint32_t g_nextMediaFailure = ZVSDP_RC_INVALID;
}  // namespace zvtest

// Takes the place of the library's own walk step for this test program, so
// that a walk can be made to fail part-way; otherwise the real one runs.
extern "C" uint32_t zvSdpGetNextMediaDescriptor(CSdp *sdp, CMedia *mediaObj, CMedia **nextObj)
{
    using Next = uint32_t (*)(CSdp *, CMedia *, CMedia **);
    static Next real = reinterpret_cast<Next>(dlsym(RTLD_NEXT, "zvSdpGetNextMediaDescriptor"));
    if (g_nextMediaFailsAt > 0 && --g_nextMediaFailsAt == 0)
        return g_nextMediaFailure;
    return real ? real(sdp, mediaObj, nextObj) : ZVSDP_RC_INVALID;
}

namespace {

const char *const kSearch = "zvSdpMediaHandleTelephoneEventForClockRate";
const char *const kCorrect = "zvSdpMediaCorrectForRfc2833DtmfClockRate";
const char *const kDump = "zvSdpMediaDumpAllPayloads";
const char *const kFilter = "zvSdpFilterTelephoneEventsForAdvertisedCodecs";

std::string search(const std::string &text)
{
    return helperLog("D", kSearch, text);
}

std::string dump(const std::string &text)
{
    return helperLog("D", kDump, text);
}

class TelephoneEvents : public LibraryTest {
protected:
    TelephoneEvents() : LibraryTest(8) {}

    void TearDown() override
    {
        g_nextMediaFailsAt = 0;
        destroyAll({sdp_});
        LibraryTest::TearDown();
    }

    // Filters the offer's events and returns the printed result.
    std::string filtered(const std::string &media, uint32_t level = 0)
    {
        sdp_ = offer(media);
        zvSdpHelperSetTraceLevel(level);
        syslogClear();
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpFilterTelephoneEventsForAdvertisedCodecs(sdp_));
        zvSdpHelperSetTraceLevel(0);
        return printed(sdp_);
    }

    CSdp *sdp_ = nullptr;
};

TEST_F(TelephoneEvents, EventsWithoutA16kCodecLoseThe16kEvent)
{
    EXPECT_EQ("m=audio 49170 RTP/AVP 0 96\n"
              "a=rtpmap:96 telephone-event/8000\n"
              "a=fmtp:96 0-15\n",
              filtered("m=audio 49170 RTP/AVP 0 96 108\r\n"
                       "a=rtpmap:0 PCMU/8000\r\n"
                       "a=rtpmap:96 telephone-event/8000\r\n"
                       "a=fmtp:96 0-15\r\n"
                       "a=rtpmap:108 telephone-event/16000\r\n"
                       "a=fmtp:108 0-15\r\n",
                       3));
    EXPECT_THAT(logEntries(),
                ElementsAre(dump("payloads: 0 96 108"), search("clockRate(8000)"), search("clockRate(16000)"),
                            search("clockRate(16000) is not needed"), search("clockRate(8000)"),
                            search("clockRate(16000)"), helperLog("D", kCorrect, "Removing Telephone event 16000"),
                            search("clockRate(16000)"),
                            helperLog("D", "removePayloadFromSdpMedia", "remove payloadType(108)"),
                            dump("payloads: 0 96")));
}

TEST_F(TelephoneEvents, EventsAtARateNoCodecUsesAreRemoved)
{
    struct Case {
        const char *offer, *result;
    };
    const Case cases[] = {
        // A wide-band codec keeps only the 16 kHz event.
        {"m=audio 49170 RTP/AVP 107 96 108\r\n"
         "a=rtpmap:107 AMR-WB/16000/1\r\n"
         "a=rtpmap:96 telephone-event/8000\r\n"
         "a=rtpmap:108 telephone-event/16000\r\n",
         "m=audio 49170 RTP/AVP 107 108\n"
         "a=rtpmap:107 AMR-WB/16000\n"
         "a=rtpmap:108 telephone-event/16000\n"},
        // G722 runs at 8000 Hz as the table declares it.
        {"m=audio 49170 RTP/AVP 9 108\r\n"
         "a=rtpmap:108 telephone-event/16000\r\n",
         "m=audio 49170 RTP/AVP 9\n"},
        // Only the first event of a rate goes.
        {"m=audio 49170 RTP/AVP 107 101 100 108\r\n"
         "a=rtpmap:107 AMR-WB/16000\r\n"
         "a=rtpmap:101 telephone-event/8000\r\n"
         "a=rtpmap:100 telephone-event/8000\r\n"
         "a=rtpmap:108 telephone-event/16000\r\n",
         "m=audio 49170 RTP/AVP 107 100 108\n"
         "a=rtpmap:107 AMR-WB/16000\n"
         "a=rtpmap:100 telephone-event/8000\n"
         "a=rtpmap:108 telephone-event/16000\n"},
        // Events alone: the first of each of the two rates goes.
        {"m=audio 49170 RTP/AVP 96 97 108 109\r\n"
         "a=rtpmap:96 telephone-event/8000\r\n"
         "a=rtpmap:97 telephone-event/8000\r\n"
         "a=rtpmap:108 telephone-event/16000\r\n"
         "a=rtpmap:109 telephone-event/16000\r\n",
         "m=audio 49170 RTP/AVP 97 109\n"
         "a=rtpmap:97 telephone-event/8000\n"
         "a=rtpmap:109 telephone-event/16000\n"},
        // Other rates are never touched.
        {"m=audio 49170 RTP/AVP 111 101\r\n"
         "a=rtpmap:111 opus/48000/2\r\n"
         "a=rtpmap:101 telephone-event/48000\r\n",
         "m=audio 49170 RTP/AVP 111 101\n"
         "a=rtpmap:111 opus/48000/2\n"
         "a=rtpmap:101 telephone-event/48000\n"},
        // Every media of the session is corrected.
        {"m=audio 49170 RTP/AVP 0 96 108\r\n"
         "a=rtpmap:96 telephone-event/8000\r\n"
         "a=rtpmap:108 telephone-event/16000\r\n"
         "m=audio 49180 RTP/AVP 107 96\r\n"
         "a=rtpmap:107 AMR-WB/16000\r\n"
         "a=rtpmap:96 telephone-event/8000\r\n",
         "m=audio 49170 RTP/AVP 0 96\n"
         "a=rtpmap:96 telephone-event/8000\n"
         "m=audio 49180 RTP/AVP 107\n"
         "a=rtpmap:107 AMR-WB/16000\n"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.result, filtered(c.offer)) << c.offer;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&sdp_));
    }
}

TEST_F(TelephoneEvents, FailingWalkReturnsAfterCorrectingTheFirstMedia)
{
    sdp_ = offer("m=audio 49170 RTP/AVP 0 108\r\n"
                 "a=rtpmap:108 telephone-event/16000\r\n"
                 "m=audio 49180 RTP/AVP 0 108\r\n"
                 "a=rtpmap:108 telephone-event/16000\r\n");
    zvSdpHelperSetTraceLevel(1);
    syslogClear();
    g_nextMediaFailsAt = 1;
    g_nextMediaFailure = ZVSDP_RC_NOT_ALLOWED;
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpFilterTelephoneEventsForAdvertisedCodecs(sdp_));
    EXPECT_THAT(logEntries(), ElementsAre(helperLog("C", kFilter, rcText(ZVSDP_RC_NOT_ALLOWED))));
    EXPECT_EQ("m=audio 49170 RTP/AVP 0\n"
              "m=audio 49180 RTP/AVP 0 108\n"
              "a=rtpmap:108 telephone-event/16000\n",
              printed(sdp_));
}

TEST_F(TelephoneEvents, ReadOnlyMediaKeepsItsEventsAndStillAnswersZero)
{
    sdp_ = offer("m=audio 49170 RTP/AVP 0 108\r\n"
                 "a=rtpmap:108 telephone-event/16000\r\n");
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadOnly(sdp_));
    zvSdpHelperSetTraceLevel(1);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaCorrectForRfc2833DtmfClockRate(firstMedia(sdp_)));
    EXPECT_THAT(logEntries(), ElementsAre(helperLog("C", "removePayloadFromSdpMedia", rcText(ZVSDP_RC_NOT_ALLOWED))));
    EXPECT_EQ("m=audio 49170 RTP/AVP 0 108\na=rtpmap:108 telephone-event/16000\n", printed(sdp_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppSetReadWrite(sdp_));
}

TEST_F(TelephoneEvents, NullHandles)
{
    zvSdpHelperSetTraceLevel(4);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpFilterTelephoneEventsForAdvertisedCodecs(nullptr));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaDumpAllPayloads(nullptr));
    EXPECT_THAT(logEntries(), IsEmpty());
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaCorrectForRfc2833DtmfClockRate(nullptr));
}

// The dump is written at HelperAPI level 3 only; at 4 the session is logged
// on one line instead.
TEST_F(TelephoneEvents, DumpOnlyAtLevelThreeAndSessionLineFromFour)
{
    const std::string media =
        "m=audio 49170 RTP/AVP 8 96\n"
        "a=rtpmap:96 telephone-event/8000\n";
    filtered(media, 2);
    EXPECT_THAT(logEntries(), IsEmpty());

    CSdp *first = sdp_;
    filtered(media, 4);
    EXPECT_THAT(logEntries(),
                ElementsAre(helperLog("I", "zvSdpHelperLogSdp", kFilter),
                            helperLog("I", "zvSdpHelperLogSdp",
                                      "m=audio 49170 RTP/AVP 8 96\\n a=rtpmap:96 telephone-event/8000\\n "),
                            search("clockRate(8000)"), search("clockRate(16000)"),
                            search("clockRate(16000) is not needed"), search("clockRate(8000)"),
                            search("clockRate(16000)"), search("clockRate(16000) is not needed")));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&first));

    zvSdpHelperSetTraceLevel(3);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaDumpAllPayloads(firstMedia(sdp_)));
    EXPECT_THAT(logEntries(), ElementsAre(dump("payloads: 8 96")));
}

TEST_F(TelephoneEvents, DumpTextIsCutAt255Characters)
{
    CMedia *media = nullptr;
    sdp_ = localSession(ZVSDP_MT_AUDIO, &media);
    std::string expected = "payloads:";
    for (uint32_t pt = 100; pt < 170; ++pt) {
        addPayload(media, pt, "G726-32", 8000);
        expected += " " + std::to_string(pt);
    }
    zvSdpHelperSetTraceLevel(3);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaDumpAllPayloads(media));
    EXPECT_THAT(logEntries(), ElementsAre(dump(expected.substr(0, 255))));
}

// Without zvSdpAppInit the walk fails on its first guarded call; the
// per-media correction still answers 0.
TEST(TelephoneEventsUninitialised, SessionGivesThreeMediaGivesZero)
{
    startClassModules(1);
    CSdp *sdp = zvSdpObjConstruct();
    CMedia *media = pcmuAndEvents();
    zvSdpObjAddMedia(sdp, media);
    zvSdpHelperSetTraceLevel(1);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpFilterTelephoneEventsForAdvertisedCodecs(sdp));
    EXPECT_THAT(logEntries(), ElementsAre(helperLog("C", kFilter, rcText(ZVSDP_RC_NOT_ALLOWED))));
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaCorrectForRfc2833DtmfClockRate(media));
    std::string failed = helperLog("C", kSearch, rcText(ZVSDP_RC_NOT_ALLOWED));
    EXPECT_THAT(logEntries(), ElementsAre(failed, failed, failed, failed));
    EXPECT_EQ(kPcmuAndEventsText, objectText(sdp));
    zvSdpObjDestruct(sdp);
    stopClassModules();
}

}  // namespace
