// Offer/answer as the host runs it: a remote offer parsed from text, the
// gateway's capabilities, the new capabilities with telephone events
// filtered, and the printed answer, which is what the gateway sends. Also
// the AMR merge, the first common payload, the all-unsupported copy and the
// removal of telephone events at rates no codec uses.
#include "zvsdp_test.h"

using namespace zvtest;

namespace {

// A local-capability session of one audio media on port 5004 with
// `payloads` from the table.
CSdp *localSession(CMedia **media, std::initializer_list<uint32_t> payloads = {},
                   ZvSdpTransportProtocol transport = ZVSDP_TP_RTPAVP)
{
    CSdp *s = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&s));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, transport, media));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaSetPort(*media, 5004));
    for (uint32_t pt : payloads) {
        CPayload *p = nullptr;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddPayloadFromPayloadType(*media, pt, &p)) << pt;
    }
    return s;
}

uint32_t payloadTypeOf(CPayload *p) { return p ? zvSdpPayloadObjGetPayloadType(p) : 999u; }

std::string built(const std::string &text)
{
    return helperLog('D', "zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities", text);
}
std::string copyAudio() { return built("Copy all capabilites for media type ZVSDP_MT_AUDIO"); }
std::string notAmr() { return helperLog('D', "matchAmrParamsWithCommonPayload", "Not AMR type " + rcText(0)); }

// A softphone's offer: PCMA before PCMU, events at 8000 Hz.
const std::string kPcmaPcmu = "m=audio 49170 RTP/AVP 8 0 101\r\na=rtpmap:8 PCMA/8000\r\na=rtpmap:0 PCMU/8000\r\n"
                              "a=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-16\r\na=ptime:20\r\na=sendrecv\r\n";
const std::string kVideo = "m=video 49172 RTP/AVP 31 34\r\na=rtpmap:31 H261/90000\r\na=rtpmap:34 H263/90000\r\n";
const std::string kPcmu = "m=audio 49170 RTP/AVP 0 101\r\na=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n";
// The gateway's usual capabilities: PCMU, PCMA and events at 8000 Hz.
const std::string kLocal = "m=audio 5004 RTP/AVP 0 8 96\na=rtpmap:96 telephone-event/8000\na=fmtp:96 0-15\n"
                           "a=ptime:20\na=sendrecv\n";

CSdp *gatewayLocal(CMedia **media)
{
    CSdp *local = localSession(media, {ZVSDP_PT_PCMU, ZVSDP_PT_PCMA});
    CPayload *te = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddTelephoneEvent(*media, &te));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAddFmtp(te, "0-15"));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddAttrPtime(*media, 20, nullptr));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddAttribute(*media, "sendrecv", nullptr, nullptr));
    EXPECT_EQ(kLocal, printed(local));
    return local;
}

class Negotiation : public LibraryTest {
protected:
    void SetUp() override { LibraryTest::SetUp(); strings_ = liveStringsAndLists(); }
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

    // Negotiates a new offer of `remoteMedia` against local_ (the gateway's
    // unless the test made one) into answer_ (a new one when `fresh`),
    // filters telephone events and prints the answer.
    std::string answer(const std::string &remoteMedia, uint32_t markIfNoCommon, uint32_t rc = ZVSDP_RC_OK,
                       bool fresh = true)
    {
        release(remote_);
        remote_ = offer(remoteMedia);
        local_ = local_ ? local_ : gatewayLocal(&localMedia_);
        if (fresh) {
            release(answer_);
            EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
        }
        zvSdpHelperSetTraceLevel(3);
        syslogClear();
        EXPECT_EQ(rc, zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote_, local_, answer_,
                                                                                    markIfNoCommon));
        log_ = logEntries();
        zvSdpHelperSetTraceLevel(0);
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer_));
        return printed(answer_);
    }

    CSdp *remote_ = nullptr, *local_ = nullptr, *answer_ = nullptr;
    CMedia *localMedia_ = nullptr;
    std::vector<std::string> log_;
    uint32_t strings_ = 0;
};

TEST_F(Negotiation, AnswersToTheGatewayCapabilities)
{
    const std::string noCommon = built("MARK UNSUPPORTED because no common payloadType (ZVSDP_MT_AUDIO)");
    const std::string videoDiffers =
        built("MARK UNSUPPORTED because mediatype and/or transport differs (ZVSDP_MT_VIDEO ZVSDP_MT_AUDIO)");
    const struct { std::string remote; uint32_t flag; std::string answer; std::vector<std::string> log; } cases[] = {
        {kPcmaPcmu, 1, kLocal, {copyAudio(), notAmr()}},
        {kVideo + kPcmu, 1, kLocal, {videoDiffers, copyAudio(), notAmr()}},
        // A served stream replaces what came before; later ones are appended.
        {kPcmu + kVideo, 1, kLocal + "m=video 0 RTP/AVP\n", {copyAudio(), notAmr(), videoDiffers}},
        {kPcmu + kVideo + kPcmaPcmu, 1, kLocal, {copyAudio(), notAmr(), videoDiffers, copyAudio(), notAmr()}},
        // Telephone events alone serve no stream; without the flag the
        // local audio is copied anyway, with no AMR step.
        {"m=audio 1 RTP/AVP 18 101\r\na=rtpmap:101 telephone-event/8000\r\n", 1, "m=audio 0 RTP/AVP\n", {noCommon}},
        {"m=audio 49170 RTP/AVP 101\r\na=rtpmap:101 telephone-event/8000\r\n", 0, kLocal, {copyAudio()}},
        {"m=audio 0 RTP/AVP 0\r\n", 1, "m=audio 0 RTP/AVP\n", {noCommon}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.answer, answer(c.remote, c.flag)) << c.remote;
        EXPECT_EQ(c.log, log_) << c.remote;
    }
    EXPECT_EQ(kLocal, printed(local_));  // the answer holds a copy
    // Earlier content of the answer stays; another media type is rejected
    // whatever the flag says.
    release(answer_);
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(answer_, ZVSDP_MT_IMAGE, ZVSDP_TP_RTPAVP, nullptr));
    EXPECT_EQ("m=image 0 RTP/AVP\nm=video 0 RTP/AVP\n", answer(kVideo, 0, ZVSDP_RC_OK, false));
    // Another transport is rejected with the remote's transport.
    release(local_);
    local_ = localSession(&localMedia_, {ZVSDP_PT_PCMU}, ZVSDP_TP_UDP);
    EXPECT_EQ("m=audio 0 RTP/AVP\n", answer(kPcmu, 0));
}

// The remote AMR parameters are merged into every local payload of the
// common payload's band; the other band is left alone.
TEST_F(Negotiation, AmrModeSetAndMaxRedAreMergedIntoTheCommonBand)
{
    local_ = localSession(&localMedia_);
    zvSdpMediaAddPayload(localMedia_, 106, "AMR", 8000, 1, "mode-set=0,1,2;max-red=200", nullptr);
    zvSdpMediaAddPayload(localMedia_, 107, "AMR-WB", 16000, 1, "mode-set=0,1,2,8", nullptr);
    zvSdpMediaAddPayload(localMedia_, 110, "AMR", 8000, 1, "octet-align=1", nullptr);
    CPayload *te = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpMediaAddTelephoneEvent(localMedia_, &te));
    EXPECT_EQ("m=audio 5004 RTP/AVP 106 107 110 96\na=rtpmap:106 AMR/8000\n"
              "a=rtpmap:107 AMR-WB/16000\na=rtpmap:110 AMR/8000\na=rtpmap:96 telephone-event/8000\n"
              "a=fmtp:106 mode-set=0,2;channels=1;mode-change-capability=0;max-red=100\na=fmtp:107 mode-set=0,1,2,8\n"
              "a=fmtp:110 mode-set=0,2,4,7;octet-align=1;channels=1;mode-change-capability=0;max-red=0\n",
              answer("m=audio 1 RTP/AVP 97 98 101\r\na=rtpmap:97 AMR/8000\r\na=fmtp:97 mode-set=0,2,4,7;max-red=100\r\n"
                     "a=rtpmap:98 AMR-WB/16000\r\na=fmtp:98 mode-set=0\r\na=rtpmap:101 telephone-event/8000\r\n",
                     1));
    EXPECT_EQ(std::vector<std::string>{copyAudio()}, log_);

    // The larger periods win, the local channel count stays; a negative
    // max-red is not the smaller one.
    const struct { const char *local; std::string remote, merged; } cases[] = {
        {"mode-change-capability=1;max-red=0",
         "octet-align=1;mode-change-period=2;mode-change-neighbor=1;mode-change-capability=2;max-red=80;channels=2",
         "octet-align=1;channels=1;mode-change-neighbor=1;mode-change-capability=2;mode-change-period=2;max-red=0"},
        {"max-red=150", "max-red=-5", "channels=1;mode-change-capability=0;max-red=150"},
    };
    for (const auto &c : cases) {
        release(local_);
        local_ = localSession(&localMedia_);
        zvSdpMediaAddPayload(localMedia_, 96, "AMR-WB", 16000, 1, c.local, nullptr);
        EXPECT_EQ("m=audio 5004 RTP/AVP 96\na=rtpmap:96 AMR-WB/16000\na=fmtp:96 " + c.merged + "\n",
                  answer("m=audio 1 RTP/AVP 100\r\na=rtpmap:100 AMR-WB/16000\r\na=fmtp:100 " + c.remote + "\r\n", 1));
    }
}

TEST_F(Negotiation, BadSessionsAndAnExhaustedMediaPool)
{
    CSdp *twoMedia = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&twoMedia));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
    remote_ = offer(kPcmaPcmu);
    local_ = gatewayLocal(&localMedia_);
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

// The first common payload follows the first media's order and skips
// telephone events. Equal means the same AMR band, or else the same name in
// any case, clock and channels.
TEST_F(Negotiation, FirstCommonPayload)
{
    local_ = gatewayLocal(&localMedia_);
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
    remote_ = offer(kPcmaPcmu + kVideo);
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&answer_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(answer_, ZVSDP_MT_IMAGE, ZVSDP_TP_RTPAVP, nullptr));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperCopyMediaCapabilitiesUnsupported(answer_, remote_));
    EXPECT_EQ("m=audio 0 RTP/AVP\na=ptime:20\na=sendrecv\nm=video 0 RTP/AVP\n", printed(answer_));
    EXPECT_EQ(0u, zvSdpMediaObjIsSupported(mediaOf(answer_).at(0)));
    EXPECT_EQ(49170u, zvSdpMediaObjGetPort(mediaOf(remote_).at(0)));  // the offer is untouched
}

}  // namespace
