// The guard paths of the media, attribute and media-list operations: which
// of them log while the library is not started, and the exact text, level
// and function field of every invalid-parameter message.
#include "facade_fixture.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

int keepOrder(const void *, const void *, void *)
{
    return 0;
}

std::string rcText(uint32_t rc)
{
    return zvPbxGetErrorString(rc);
}

TEST_F(NotInitialisedTest, MediaOperationsLogTheGuardOrTheCriticalCodeText)
{
    uint32_t u = 7;
    ZvSdpMediaType type = ZVSDP_MT_UNKNOWN;
    ZvSdpTransportProtocol proto = ZVSDP_TP_UNKNOWN;
    CPayload *p = payload_;
    CAttribute *a = attribute_;
    EXPECT_EQ(3u, zvSdpMediaIsSupported(media_, &u));
    EXPECT_EQ(3u, zvSdpMediaMarkUnsupported(media_));
    EXPECT_EQ(3u, zvSdpMediaGetMediaType(media_, &type));
    EXPECT_EQ(3u, zvSdpMediaGetTransportProtocol(media_, &proto));
    EXPECT_EQ(3u, zvSdpMediaSetPort(media_, 1));
    EXPECT_EQ(3u, zvSdpMediaGetPort(media_, &u));
    EXPECT_EQ(3u, zvSdpMediaGetFirstPayload(media_, &p));
    EXPECT_EQ(3u, zvSdpMediaGetNextPayload(media_, payload_, &p));
    EXPECT_EQ(3u, zvSdpMediaRemovePayload(media_, &p));
    EXPECT_EQ(3u, zvSdpMediaAddAttribute(media_, "x", nullptr, &a));
    EXPECT_EQ(3u, zvSdpMediaRemoveAttribute(media_, &a));
    EXPECT_EQ(3u, zvSdpMediaGetFirstAttribute(media_, &a));
    EXPECT_EQ(3u, zvSdpMediaGetNextAttribute(media_, attribute_, &a));
    EXPECT_EQ(3u, zvSdpMediaGetPayloadFromPayloadType(media_, 0, &p));
    EXPECT_EQ(3u, zvSdpMediaPayloadTypeExists(media_, 0, &u));
    EXPECT_EQ(3u, zvSdpMediaAddStaticPayloadType(media_, 8, &p));
    EXPECT_EQ(3u, zvSdpMediaAddDynamicPayload(media_, 96, &p));
    EXPECT_EQ(3u, zvSdpMediaAddDynamicPayloadBasedOnName(media_, "PCMA", &p));
    EXPECT_EQ(3u, zvSdpMediaAddPayload(media_, 8, "PCMA", 8000, 1, nullptr, &p));
    // Dispatched on the table first: the guard message names the callee.
    EXPECT_EQ(3u, zvSdpMediaAddPayloadFromPayloadType(media_, 8, &p));
    EXPECT_EQ(3u, zvSdpMediaAddPayloadFromPayloadType(media_, 101, &p));
    EXPECT_EQ(payload_, p);
    EXPECT_EQ(attribute_, a);
    EXPECT_EQ(7u, u);
    std::vector<std::string> expected;
    for (const char *f :
         {"zvSdpMediaIsSupported", "zvSdpMediaMarkUnsupported", "zvSdpMediaGetMediaType",
          "zvSdpMediaGetTransportProtocol", "zvSdpMediaSetPort", "zvSdpMediaGetPort", "zvSdpMediaGetFirstPayload",
          "zvSdpMediaGetNextPayload", "zvSdpMediaRemovePayload", "zvSdpMediaAddAttribute",
          "zvSdpMediaRemoveAttribute", "zvSdpMediaGetFirstAttribute", "zvSdpMediaGetNextAttribute",
          "zvSdpMediaGetPayloadFromPayloadType", "zvSdpMediaPayloadTypeExists", "zvSdpMediaAddStaticPayloadType",
          "zvSdpMediaAddDynamicPayload", "zvSdpMediaAddDynamicPayloadBasedOnName", "zvSdpMediaAddPayload",
          "zvSdpMediaAddStaticPayloadType", "zvSdpMediaAddDynamicPayload"})
        expected.push_back(apiLine('D', f, "API not initialised!"));
    EXPECT_EQ(expected, logEntries());

    syslogClear();
    const char *names[] = {"PCMU"};
    CMedia *found = media_;
    EXPECT_EQ(3u, zvSdpMediaGetFirstSupportedPayload(media_, names, 1, &p));
    EXPECT_EQ(3u, zvSdpMediaSortPayloads(media_, nullptr, keepOrder));
    EXPECT_EQ(3u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 1, &found));
    EXPECT_EQ(media_, found);
    const std::string text = rcText(3) + "\n";
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('C', "zvSdpMediaGetFirstSupportedPayload", text),
                                          apiLine('C', "zvSdpMediaSortPayloads", text),
                                          apiLine('C', "zvSdpFindMedia", text)));

    // Level C is written from trace level 1, D only from 3.
    syslogClear();
    zvSdpSetTraceLevel(1);
    EXPECT_EQ(3u, zvSdpMediaSortPayloads(media_, nullptr, keepOrder));
    EXPECT_EQ(3u, zvSdpMediaIsSupported(media_, &u));
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('C', "zvSdpMediaSortPayloads", text)));
}

TEST_F(NotInitialisedTest, AttributeAndListOperationsRefuseMostlyWithoutMessage)
{
    uint32_t u = 7;
    char buf[8] = "kept";
    uint32_t len = sizeof buf;
    CAttribute *a = attribute_;
    CMedia *m = media_;
    EXPECT_EQ(3u, zvSdpAttrIsSilenceSupp(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrIsPtime(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrIsMaxPtime(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrIsFmtp(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrIsCdsc(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrIsCpar(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrIsSqn(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrGetName(attribute_, buf, &len));
    EXPECT_EQ(3u, zvSdpAttrGetValueStr(attribute_, buf, &len));
    EXPECT_EQ(3u, zvSdpAttrGetValueInt(attribute_, &u));
    EXPECT_EQ(3u, zvSdpAttrSetValueInt(attribute_, 40));
    EXPECT_EQ(3u, zvSdpAttrSetValueStr(attribute_, "40"));
    EXPECT_EQ(3u, zvSdpMediaAddAttrPtime(media_, 30, &a));
    EXPECT_EQ(3u, zvSdpMediaGetPtime(media_, payload_, &u));
    EXPECT_EQ(3u, zvSdpMediaAddAttrSilenceSupp(media_, 0, 0, 0, 0, 0, &a));
    EXPECT_EQ(3u, zvSdpClearMedia(sdp_));
    EXPECT_EQ(3u, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m));
    EXPECT_EQ(3u, zvSdpRemoveMediaDescriptor(sdp_, &m));
    EXPECT_EQ(3u, zvSdpRemoveMediaDescriptorByMediaType(sdp_, ZVSDP_MT_AUDIO, 1));
    EXPECT_EQ(3u, zvSdpGetFirstMediaDescriptor(sdp_, &m));
    EXPECT_EQ(3u, zvSdpGetNextMediaDescriptor(sdp_, media_, &m));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(7u, u);
    EXPECT_STREQ("kept", buf);
    EXPECT_EQ(sizeof buf, len);
    EXPECT_EQ(attribute_, a);
    EXPECT_EQ(media_, m);
    EXPECT_EQ("20", dynText(zvSdpAttrObjGetValue(attribute_)));

    // These three have their own words for it.
    EXPECT_EQ(3u, zvSdpMediaIsPtimePresent(media_, &u));
    EXPECT_EQ(3u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, &u));
    EXPECT_EQ(3u, zvSdpIsMediaDescriptorsListPresent(sdp_, &u));
    EXPECT_EQ(0u, u);  // cleared before the walk that fails
    EXPECT_THAT(logEntries(),
                ElementsAre(apiLine('D', "zvSdpMediaIsPtimePresent", "API not initialised!\r\n"),
                            apiLine('D', "zvSdpMediaIsSilenceSuppressionEnabled", "API not initialised!"),
                            apiLine('D', "zvSdpIsMediaDescriptorsListPresent", rcText(3) + "\r\n")));
}

class GuardTest : public FacadeTest {
protected:
    void SetUp() override
    {
        FacadeTest::SetUp();
        media_ = addMedia();
        ASSERT_EQ(0u, zvSdpMediaAddStaticPayloadType(media_, 0, &payload_));
        ASSERT_EQ(0u, zvSdpMediaAddAttribute(media_, "sendrecv", nullptr, &attribute_));
        syslogClear();
    }
    CMedia *media_ = nullptr;
    CPayload *payload_ = nullptr;
    CAttribute *attribute_ = nullptr;
    const std::string nul = ptrText(nullptr);
};

TEST_F(GuardTest, MediaOperationMessages)
{
    uint32_t u = 0;
    CPayload *p = nullptr;
    CPayload **pp = nullptr;
    CAttribute *a = nullptr;
    CAttribute **ap = nullptr;
    EXPECT_EQ(5u, zvSdpMediaIsSupported(media_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaMarkUnsupported(nullptr));
    EXPECT_EQ(5u, zvSdpMediaGetMediaType(nullptr, nullptr));
    EXPECT_EQ(5u, zvSdpMediaGetTransportProtocol(media_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaSetPort(nullptr, 1));
    EXPECT_EQ(5u, zvSdpMediaGetPort(media_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaGetFirstPayload(nullptr, &p));
    EXPECT_EQ(5u, zvSdpMediaGetNextPayload(media_, nullptr, &p));
    EXPECT_EQ(5u, zvSdpMediaRemovePayload(media_, pp));
    EXPECT_EQ(5u, zvSdpMediaRemovePayload(media_, &p));
    EXPECT_EQ(5u, zvSdpMediaAddAttribute(media_, nullptr, "v", &a));
    EXPECT_EQ(5u, zvSdpMediaRemoveAttribute(nullptr, &attribute_));
    EXPECT_EQ(5u, zvSdpMediaRemoveAttribute(media_, ap));
    EXPECT_EQ(5u, zvSdpMediaGetFirstAttribute(media_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaGetNextAttribute(media_, attribute_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaGetPayloadFromPayloadType(media_, 0, nullptr));
    EXPECT_EQ(5u, zvSdpMediaPayloadTypeExists(nullptr, 0, &u));
    EXPECT_EQ(5u, zvSdpMediaAddStaticPayloadType(nullptr, 8, &p));
    EXPECT_EQ(5u, zvSdpMediaAddDynamicPayload(nullptr, 96, &p));
    EXPECT_EQ(5u, zvSdpMediaAddDynamicPayloadBasedOnName(nullptr, "PCMA", nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddPayload(media_, 8, "", 8000, 1, nullptr, &p));
    const std::string m = ptrText(media_), np = ptrText(&p), na = ptrText(&a), att = ptrText(attribute_);
    EXPECT_THAT(
        logEntries(),
        ElementsAre(
            apiLine('D', "zvSdpMediaIsSupported", "Invalid parameter detected: mediaObj=" + m + ", val=" + nul),
            apiLine('D', "zvSdpMediaMarkUnsupported", "Invalid parameter detected: mediaObj=" + nul),
            apiLine('D', "zvSdpMediaGetMediaType", "Invalid parameter detected: mediaObj=" + nul + ", &type=" + nul),
            apiLine('D', "zvSdpMediaGetTransportProtocol",
                    "Invalid parameter detected: mediaObj=" + m + ", &proto=" + nul),
            apiLine('D', "zvSdpMediaSetPort", "Invalid parameter detected: objHndl=" + nul),
            apiLine('D', "zvSdpMediaGetPort", "Invalid parameter detected: objHndl=" + m + ", port=" + nul),
            apiLine('D', "zvSdpMediaGetFirstPayload", "Invalid parameter detected: objHndl=" + nul + ", ptHndl=" + np),
            apiLine('D', "zvSdpMediaGetNextPayload",
                    "Invalid parameter detected: objHndl=" + m + ", ptHndl=" + nul + ", &nextPtHndl=" + np),
            apiLine('D', "zvSdpMediaRemovePayload",
                    "Invalid parameter detected: objHndl=" + m + ", &ptHndl=" + nul + ", ptHndl=" + nul),
            apiLine('D', "zvSdpMediaRemovePayload",
                    "Invalid parameter detected: objHndl=" + m + ", &ptHndl=" + np + ", ptHndl=" + nul),
            apiLine('D', "zvSdpMediaAddAttribute", "Invalid parameter detected: mediaObj=" + m + ", name=" + nul),
            apiLine('D', "zvSdpMediaRemoveAttribute",
                    "Invalid parameter detected: objHndl=" + nul + ", &attrHndl=" + ptrText(&attribute_) +
                        ", attrHndl=" + att),
            apiLine('D', "zvSdpMediaRemoveAttribute",
                    "Invalid parameter detected: objHndl=" + m + ", &attrHndl=" + nul + ", attrHndl=" + nul),
            apiLine('D', "zvSdpMediaGetFirstAttribute",
                    "Invalid parameter detected: objHndl=" + m + ", attrHndl=" + nul),
            apiLine('D', "zvSdpMediaGetNextAttribute",
                    "Invalid parameter detected: objHndl=" + m + ", attrHndl=" + att + ", &nextAttrHndl=" + nul),
            apiLine('D', "zvSdpMediaGetPayloadFromPayloadType",
                    "Invalid parameter detected: mediaObj=" + m + ", &retval=" + nul),
            apiLine('D', "zvSdpMediaPayloadTypeExists",
                    "Invalid parameter detected: mediaObj=" + nul + ", &retval=" + ptrText(&u)),
            apiLine('D', "zvSdpMediaAddStaticPayloadType", "Invalid parameter detected: mediaObj=" + nul),
            apiLine('D', "zvSdpMediaAddDynamicPayload",
                    "Invalid parameter detected: mediaObj=" + nul + " ; &ptHndl=" + np),
            apiLine('D', "zvSdpMediaAddDynamicPayloadBasedOnName",
                    "Invalid parameter detected: mediaObj=" + nul + " ; &ptHndl=" + nul),
            apiLine('D', "zvSdpMediaAddPayload", "Invalid parameter detected: mediaObj=" + m + ", name=" + ptrText(""))));
    EXPECT_EQ("PCMU/8000/1:0", payloadList(media_));

    // The three with code texts say "%s\n" at level E.
    syslogClear();
    const char *names[] = {"PCMU"};
    EXPECT_EQ(5u, zvSdpMediaGetFirstSupportedPayload(media_, nullptr, 1, &p));
    EXPECT_EQ(5u, zvSdpMediaGetFirstSupportedPayload(media_, names, 1, nullptr));
    EXPECT_EQ(5u, zvSdpMediaSortPayloads(nullptr, nullptr, keepOrder));
    EXPECT_EQ(5u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 1, nullptr));
    const std::string text = rcText(5) + "\n";
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('E', "zvSdpMediaGetFirstSupportedPayload", text),
                                          apiLine('E', "zvSdpMediaGetFirstSupportedPayload", text),
                                          apiLine('E', "zvSdpMediaSortPayloads", text),
                                          apiLine('E', "zvSdpFindMedia", text)));
}

TEST_F(GuardTest, AttributeMessagesAndTheirLevels)
{
    uint32_t u = 0;
    char buf[8];
    uint32_t len = sizeof buf;
    using Test = uint32_t (*)(CAttribute *, uint32_t *);
    const struct {
        Test test;
        const char *function;
        char letter;
    } tests[] = {{zvSdpAttrIsSilenceSupp, "zvSdpAttrIsSilenceSupp", 'D'}, {zvSdpAttrIsPtime, "zvSdpAttrIsPtime", 'C'},
                 {zvSdpAttrIsMaxPtime, "zvSdpAttrIsMaxPtime", 'C'},       {zvSdpAttrIsFmtp, "zvSdpAttrIsFmtp", 'D'},
                 {zvSdpAttrIsCdsc, "zvSdpAttrIsCdsc", 'D'},               {zvSdpAttrIsCpar, "zvSdpAttrIsCpar", 'D'},
                 {zvSdpAttrIsSqn, "zvSdpAttrIsSqn", 'D'}};
    std::vector<std::string> expected;
    for (const auto &t : tests) {
        EXPECT_EQ(5u, t.test(attribute_, nullptr)) << t.function;
        expected.push_back(apiLine(t.letter, t.function,
                                   "Invalid parameter detected: attrHndl=" + ptrText(attribute_) + ", &result=" + nul));
    }
    EXPECT_EQ(expected, logEntries());

    syslogClear();
    const std::string at = ptrText(attribute_);
    EXPECT_EQ(5u, zvSdpAttrGetName(attribute_, nullptr, &len));
    EXPECT_EQ(5u, zvSdpAttrGetValueStr(attribute_, buf, nullptr));
    EXPECT_EQ(5u, zvSdpAttrGetValueInt(nullptr, &u));
    EXPECT_EQ(5u, zvSdpAttrSetValueInt(nullptr, -7));
    EXPECT_EQ(5u, zvSdpAttrSetValueStr(attribute_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddAttrPtime(nullptr, 20, nullptr));
    EXPECT_EQ(5u, zvSdpMediaGetPtime(media_, nullptr, &u));
    EXPECT_EQ(5u, zvSdpMediaGetPtime(nullptr, payload_, &u));
    EXPECT_EQ(5u, zvSdpMediaIsPtimePresent(media_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaAddAttrSilenceSupp(nullptr, 0, 0, 0, 0, 0, nullptr));
    EXPECT_EQ(5u, zvSdpMediaIsSilenceSuppressionEnabled(sdp_, nullptr));
    EXPECT_EQ(5u, zvSdpMediaIsSilenceSuppressionEnabled(nullptr, &u));
    EXPECT_THAT(
        logEntries(),
        ElementsAre(apiLine('D', "zvSdpAttrGetName",
                            "Invalid parameter detected: attrObj=" + at + ", &name=" + nul + ", &length=" + ptrText(&len)),
                    apiLine('D', "zvSdpAttrGetValueStr",
                            "Invalid parameter detected: attrObj=" + at + ", &value=" + ptrText(buf) + ", &length=" + nul),
                    apiLine('D', "zvSdpAttrGetValueInt",
                            "Invalid parameter detected: attrObj=" + nul + ", &value=" + ptrText(&u)),
                    apiLine('D', "zvSdpAttrSetValueInt", "Invalid parameter detected: attrObj=" + nul + ", &value=-7"),
                    apiLine('D', "zvSdpAttrSetValueStr",
                            "Invalid parameter detected: attrObj=" + at + ", &value=" + nul),
                    apiLine('D', "zvSdpMediaAddAttrPtime", "Invalid parameter detected: mediaHndl=" + nul),
                    apiLine('D', "zvSdpMediaGetPtime", "Invalid parameter detected: mediaHndl=" + ptrText(media_)),
                    apiLine('D', "zvSdpMediaGetPtime", "Invalid parameter detected: mediaHndl=" + nul),
                    apiLine('D', "zvSdpMediaIsPtimePresent", "Invalid Parameters detected \r\n"),
                    apiLine('D', "zvSdpMediaAddAttrSilenceSupp", "Invalid parameter detected: mediaHndl=" + nul),
                    apiLine('D', "zvSdpMediaIsSilenceSuppressionEnabled",
                            "Invalid Parameters detected : " + ptrText(sdp_) + " "),
                    apiLine('D', "zvSdpMediaIsSilenceSuppressionEnabled",
                            "Invalid Parameters detected : " + nul + " ")));

    // At trace level 2 only the two packet-time tests still speak.
    syslogClear();
    zvSdpSetTraceLevel(2);
    for (const auto &t : tests)
        t.test(nullptr, &u);
    ASSERT_EQ(2u, logEntries().size());
    EXPECT_EQ(apiLine('C', "zvSdpAttrIsPtime",
                      "Invalid parameter detected: attrHndl=" + nul + ", &result=" + ptrText(&u)),
              logEntries()[0]);
}

TEST_F(GuardTest, MediaListMessages)
{
    CMedia *m = media_;
    CMedia *none = nullptr;
    uint32_t u = 7;
    EXPECT_EQ(5u, zvSdpClearMedia(nullptr));
    EXPECT_EQ(5u, zvSdpAddMediaDescriptor(nullptr, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m));
    EXPECT_EQ(media_, m);  // the session is checked before the handle is cleared
    EXPECT_EQ(5u, zvSdpRemoveMediaDescriptor(nullptr, &m));
    EXPECT_EQ(5u, zvSdpRemoveMediaDescriptor(sdp_, &none));
    EXPECT_EQ(5u, zvSdpRemoveMediaDescriptorByMediaType(nullptr, ZVSDP_MT_AUDIO, 1));
    EXPECT_EQ(5u, zvSdpGetFirstMediaDescriptor(sdp_, nullptr));
    EXPECT_EQ(5u, zvSdpGetNextMediaDescriptor(sdp_, nullptr, &m));
    EXPECT_EQ(5u, zvSdpIsMediaDescriptorsListPresent(nullptr, &u));
    EXPECT_EQ(7u, u);
    const std::string s = ptrText(sdp_);
    EXPECT_THAT(logEntries(),
                ElementsAre(apiLine('D', "zvSdpAddMediaDescriptor", "Invalid parameter detected: sdpObj=" + nul),
                            apiLine('D', "zvSdpRemoveMediaDescriptor",
                                    "Invalid parameter detected: sdpObj=" + nul + ", &mediaObj=" + ptrText(&m)),
                            apiLine('D', "zvSdpRemoveMediaDescriptor", "Invalid parameter detected: mediaObj=NULL"),
                            apiLine('D', "zvSdpRemoveMediaDescriptorByMediaType",
                                    "Invalid parameter detected: sdpObj=" + nul + "\r\n"),
                            apiLine('D', "zvSdpGetFirstMediaDescriptor",
                                    "Invalid parameter detected: sdpObj=" + s + ", &mediaObj=" + nul),
                            apiLine('D', "zvSdpGetNextMediaDescriptor",
                                    "Invalid parameter detected: sdpObj=" + s + ", mediaObj=" + nul +
                                        ", &nextObj=" + ptrText(&m)),
                            apiLine('E', "zvSdpIsMediaDescriptorsListPresent", rcText(5) + "\n")));
}

}  // namespace
