// The capability builder's log of each decision, what only code can set up
// (an answer that holds media already, a local media of another transport),
// bad sessions, an exhausted pool, the first common payload and the
// all-unsupported copy. Its answers to offers are cases in cases/builder/.
#include "zvsdp_test.h"

using namespace zvtest;
using ::testing::Contains;
using ::testing::ElementsAre;

namespace {

std::string built(const std::string &text)
{
    return helperLog('D', "zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities", text);
}

const std::string kVideo = "m=video 49172 RTP/AVP 31 34\r\na=rtpmap:31 H261/90000\r\na=rtpmap:34 H263/90000\r\n";
const std::string kPcmu = "m=audio 49170 RTP/AVP 0 101\r\na=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n";
// The gateway's usual capabilities: PCMU, PCMA and events at 8000 Hz.
const std::string kLocal = "m=audio 5004 RTP/AVP 0 8 96\na=rtpmap:96 telephone-event/8000\na=fmtp:96 0-15\n"
                           "a=ptime:20\na=sendrecv\n";

uint32_t payloadTypeOf(CPayload *p) { return p ? zvSdpPayloadObjGetPayloadType(p) : 999u; }

class Negotiation : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        strings_ = liveStringsAndLists();
        local_ = parsed(kLocal);
        localMedia_ = mediaOf(local_).at(0);
    }
    void TearDown() override
    {
        destroyAll({remote_, local_, answer_});
        EXPECT_EQ(strings_, liveStringsAndLists());
        LibraryTest::TearDown();
    }
    static void release(CSdp *&s)
    {
        EXPECT_TRUE(!s || zvSdpDestruct(&s) == ZVSDP_RC_OK);
        s = nullptr;
    }

    // Negotiates a new offer of `remoteMedia` against local_ into answer_ (a
    // new one unless the test made one) and prints the answer; log_ holds
    // the HelperAPI lines written at level 3.
    std::string answer(const std::string &remoteMedia, uint32_t markIfNoCommon, uint32_t rc = ZVSDP_RC_OK)
    {
        release(remote_);
        remote_ = offer(remoteMedia);
        if (!answer_) {
            EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
        }
        zvSdpHelperSetTraceLevel(3);
        syslogClear();
        EXPECT_EQ(rc, zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote_, local_, answer_,
                                                                                    markIfNoCommon));
        log_ = logEntries();
        zvSdpHelperSetTraceLevel(0);
        std::string text = printed(answer_);
        release(answer_);
        return text;
    }

    CSdp *remote_ = nullptr, *local_ = nullptr, *answer_ = nullptr;
    CMedia *localMedia_ = nullptr;
    std::vector<std::string> log_;
    uint32_t strings_ = 0;
};

TEST_F(Negotiation, LogsEachDecisionAndKeepsWhatTheAnswerHeld)
{
    const std::string copyAudio = built("Copy all capabilites for media type ZVSDP_MT_AUDIO");
    EXPECT_EQ(kLocal + "m=video 0 RTP/AVP\n", answer(kPcmu + kVideo, 1));
    EXPECT_EQ((std::vector<std::string>{
                  copyAudio, helperLog('D', "matchAmrParamsWithCommonPayload", "Not AMR type " + rcText(0)),
                  built("MARK UNSUPPORTED because mediatype and/or transport differs (ZVSDP_MT_VIDEO ZVSDP_MT_AUDIO)")}),
              log_);
    EXPECT_EQ("m=audio 0 RTP/AVP\n", answer("m=audio 1 RTP/AVP 18 101\r\na=rtpmap:101 telephone-event/8000\r\n", 1));
    EXPECT_EQ(std::vector<std::string>{built("MARK UNSUPPORTED because no common payloadType (ZVSDP_MT_AUDIO)")}, log_);
    // Without the flag the local audio is copied with no AMR step.
    EXPECT_EQ(kLocal, answer("m=audio 49170 RTP/AVP 101\r\na=rtpmap:101 telephone-event/8000\r\n", 0));
    EXPECT_EQ(std::vector<std::string>{copyAudio}, log_);
    // An AMR merge that succeeds adds no line.
    release(local_);
    local_ = parsed("m=audio 5004 RTP/AVP 106\na=rtpmap:106 AMR/8000\n");
    answer("m=audio 1 RTP/AVP 97\r\na=rtpmap:97 AMR/8000\r\na=fmtp:97 mode-set=2\r\n", 1);
    EXPECT_EQ(std::vector<std::string>{copyAudio}, log_);

    // What the answer held stays; another media type is rejected whatever
    // the flag says.
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(answer_, ZVSDP_MT_IMAGE, ZVSDP_TP_RTPAVP, nullptr));
    EXPECT_EQ("m=image 0 RTP/AVP\nm=video 0 RTP/AVP\n", answer(kVideo, 0));
    // Another local transport is rejected with the remote's transport.
    release(local_);
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&local_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(local_, ZVSDP_MT_AUDIO, ZVSDP_TP_UDP, &localMedia_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpMediaAddStaticPayloadType(localMedia_, ZVSDP_PT_PCMU, nullptr));
    EXPECT_EQ("m=audio 0 RTP/AVP\n", answer(kPcmu, 0));
}

TEST_F(Negotiation, BadSessionsAndAnExhaustedMediaPool)
{
    CSdp *twoMedia = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&twoMedia));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
    remote_ = offer(kPcmu);
    auto build = zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities;
    EXPECT_EQ(ZVSDP_RC_INVALID, build(remote_, local_, nullptr, 1));
    EXPECT_EQ(ZVSDP_RC_MISSING, build(twoMedia, local_, answer_, 1));
    EXPECT_EQ(ZVSDP_RC_MISSING, build(remote_, twoMedia, answer_, 1));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(twoMedia, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, nullptr));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(twoMedia, ZVSDP_MT_VIDEO, ZVSDP_TP_RTPAVP, nullptr));
    EXPECT_EQ(ZVSDP_RC_NOT_FOUND, build(remote_, twoMedia, answer_, 1));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&twoMedia));

    // With 20 media in the pool, the local audio and the remote's eleven
    // videos leave room for eight rejected streams in the answer.
    std::string videos, rejected;
    for (int i = 0; i < 11; ++i) {
        videos += "m=video 5000 RTP/AVP 31\r\n";
        rejected += i < 8 ? "m=video 0 RTP/AVP\n" : "";
    }
    EXPECT_EQ(rejected, answer(videos, 1, ZVSDP_RC_NO_RESOURCE));
}

// With the media pool full the answer gets no media, and the AMR merge that
// follows finds none to carry the common payload's parameters into.
TEST_F(Negotiation, AnAnswerLeftWithoutMediaByAFullPoolSkipsTheAmrMerge)
{
    release(local_);
    local_ = parsed("m=audio 5004 RTP/AVP 106\na=rtpmap:106 AMR/8000\na=fmtp:106 mode-set=0,2\n");
    CSdp *filler = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&filler));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
    CSdp *remote = offer("m=audio 5000 RTP/AVP 106\r\na=rtpmap:106 AMR/8000\r\n");
    while (zvSdpAddMediaDescriptor(filler, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, nullptr) == ZVSDP_RC_OK) {
    }
    zvSdpHelperSetTraceLevel(3);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local_, answer_, 1));
    EXPECT_THAT(logEntries(), Contains(helperLog('E', "matchAmrParamsWithCommonPayload",
                                                 "Get payload fail " + rcText(ZVSDP_RC_INVALID))));
    EXPECT_EQ("", printed(answer_));
    release(filler);
    release(remote);
}

// Before the library starts, counting the offer's media fails: the count
// and the builder each log the code's text.
TEST(NegotiationNotStarted, AFailedMediaCountIsLoggedByTheBuilderToo)
{
    zvSdpHelperSetTraceLevel(3);
    syslogClear();
    CSdp *never = reinterpret_cast<CSdp *>(&never);  // not looked at: the count fails first
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED,
              zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(never, never, never, 1));
    EXPECT_THAT(logEntries(), ElementsAre(helperLog('D', "getNumberOfMediaDescriptors", rcText(3)),
                                                     built(rcText(3))));
}

// The first common payload follows the first media's order and skips
// telephone events. Equal means the same AMR band, or else the same name in
// any case, clock and channels.
TEST_F(Negotiation, FirstCommonPayload)
{
    remote_ = offer("m=audio 1 RTP/AVP 101 8 0\r\na=rtpmap:101 telephone-event/8000\r\nm=video 2 RTP/AVP 31\r\n"
                    "m=audio 0 RTP/AVP 0\r\nm=audio 1 RTP/AVP 96 97 98\r\na=rtpmap:96 pcmu/8000/2\r\n"
                    "a=rtpmap:97 PCMA/16000\r\na=rtpmap:98 pcma/8000\r\n");
    std::vector<CMedia *> media = mediaOf(remote_);
    CPayload *found = nullptr, *partner = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperGetFirstCommonPayload(media[0], localMedia_, &found, &partner));
    EXPECT_EQ(ZVSDP_PT_PCMA * 1000 + ZVSDP_PT_PCMA, payloadTypeOf(found) * 1000 + payloadTypeOf(partner));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperGetFirstCommonPayload(localMedia_, media[0], &found, nullptr));
    EXPECT_EQ(ZVSDP_PT_PCMU, payloadTypeOf(found));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperGetFirstCommonPayload(media[3], localMedia_, &found, nullptr));
    EXPECT_EQ(98u, payloadTypeOf(found));
    // Other media types and unsupported media on either side give none.
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperGetFirstCommonPayload(media[1], localMedia_, &found, nullptr));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperGetFirstCommonPayload(localMedia_, media[2], &partner, nullptr));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(nullptr, partner);
}

TEST_F(Negotiation, UnsupportedCopyRejectsEveryStreamAndKeepsAttributes)
{
    remote_ = offer("m=audio 49170 RTP/AVP 8 0\r\na=ptime:20\r\na=sendrecv\r\n" + kVideo);
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(answer_, ZVSDP_MT_IMAGE, ZVSDP_TP_RTPAVP, nullptr));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperCopyMediaCapabilitiesUnsupported(answer_, remote_));
    EXPECT_EQ("m=audio 0 RTP/AVP\na=ptime:20\na=sendrecv\nm=video 0 RTP/AVP\n", printed(answer_));
    EXPECT_EQ(0u, zvSdpMediaObjIsSupported(mediaOf(answer_).at(0)));
    EXPECT_EQ(49170u, zvSdpMediaObjGetPort(mediaOf(remote_).at(0)));  // the offer is untouched
}

}  // namespace
