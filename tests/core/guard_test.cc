// Refusals of the checked operations: 3 before the library is started, in
// front of any argument check and without touching a handle, and 5 on
// missing arguments, with the log lines operators search for.
#include "zvsdp_test.h"

using namespace zvtest;
using namespace ::testing;

namespace {

// The class modules without the API flag: real handles that every guarded
// operation must refuse without changing them.
class NotInitialisedTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        startModules(2);
        zvSdpSetTraceLevel(4);
        sdp_ = zvSdpObjConstruct();
        media_ = audioMedia(5004, {"ptime:20", "silenceSupp:off - - - -"});
        ASSERT_TRUE(sdp_ && media_);
        zvSdpObjAddMedia(sdp_, media_);
        payload_ = zvSdpMediaObjGetPayload(media_, nullptr);
        attribute_ = zvSdpMediaObjGetAttribute(media_, nullptr);
        before_ = mediaText(media_);
        syslogClear();
    }
    void TearDown() override
    {
        EXPECT_EQ(before_, mediaText(media_));
        zvSdpObjDestruct(sdp_);
        stopModules();
    }

    CSdp *sdp_ = nullptr;
    CMedia *media_ = nullptr;
    CPayload *payload_ = nullptr;
    CAttribute *attribute_ = nullptr;
    std::string before_;
};

int keepOrder(const void *, const void *, void *)
{
    return 0;
}

const std::string nul = ptrText(nullptr);

TEST_F(NotInitialisedTest, EveryOperationRefusesWithThreeAndTouchesNothing)
{
    uint32_t u = 7, len = 8;
    char buf[8] = "kept";
    CSdp *s = sdp_;
    CMedia *m = media_;
    CPayload *p = payload_;
    CAttribute *a = attribute_;
    // Braced lists run left to right, so the log follows this order.
    const uint32_t logged[] = {
        zvSdpConstruct(nullptr), zvSdpDestruct(&s), zvSdpAppSetReadOnly(sdp_), zvSdpAppSetReadWrite(sdp_),
        zvSdpCopyMediaCapabilities(sdp_, sdp_), zvSdpCompare(sdp_, sdp_, &u), zvSdpMediaIsSupported(media_, &u),
        zvSdpMediaMarkUnsupported(media_), zvSdpMediaSetPort(media_, 1), zvSdpMediaGetFirstPayload(media_, &p),
        zvSdpMediaRemovePayload(media_, &p), zvSdpMediaAddAttribute(media_, "x", nullptr, &a),
        zvSdpMediaRemoveAttribute(media_, &a), zvSdpMediaAddStaticPayloadType(media_, 8, &p),
        zvSdpMediaAddPayload(media_, 8, "PCMA", 8000, 1, nullptr, &p),
        zvSdpMediaAddPayloadFromPayloadType(media_, 101, &p)};
    ASSERT_EQ(std::size(logged), logEntries().size());
    EXPECT_THAT(logEntries(), Each(EndsWith("|API not initialised!")));
    EXPECT_EQ(apiLine('D', "zvSdpConstruct", "API not initialised!"), logEntries()[0]);
    // Dispatched on the table first: the message names the callee.
    EXPECT_EQ(apiLine('D', "zvSdpMediaAddDynamicPayload", "API not initialised!"), logEntries().back());

    syslogClear();
    const uint32_t silent[] = {zvSdpAttrIsPtime(attribute_, &u), zvSdpAttrGetName(attribute_, buf, &len),
                               zvSdpAttrSetValueStr(attribute_, "40"), zvSdpMediaAddAttrPtime(media_, 30, &a),
                               zvSdpMediaGetPtime(media_, payload_, &u), zvSdpClearMedia(sdp_),
                               zvSdpRemoveMediaDescriptor(sdp_, &m), zvSdpGetFirstMediaDescriptor(sdp_, &m)};
    EXPECT_THAT(logged, Each(3u));
    EXPECT_THAT(silent, Each(3u));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_TRUE(u == 7 && len == 8 && s == sdp_ && m == media_ && p == payload_ && a == attribute_);
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpObjGetAccessRights(sdp_));
    EXPECT_STREQ("kept", buf);

    // These name the code at level C, which is written from trace level 1.
    syslogClear();
    const char *names[] = {"PCMU"};
    EXPECT_EQ(3u, zvSdpMediaGetFirstSupportedPayload(media_, names, 1, &p));
    EXPECT_EQ(3u, zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 1, &m));
    zvSdpSetTraceLevel(1);
    EXPECT_EQ(3u, zvSdpMediaSortPayloads(media_, nullptr, keepOrder));
    EXPECT_EQ(3u, zvSdpMediaIsSupported(media_, &u));
    const std::string text = std::string(zvPbxGetErrorString(3)) + "\n";
    EXPECT_THAT(logEntries(), ElementsAre(apiLine('C', "zvSdpMediaGetFirstSupportedPayload", text),
                                          apiLine('C', "zvSdpFindMedia", text),
                                          apiLine('C', "zvSdpMediaSortPayloads", text)));
    EXPECT_TRUE(p == payload_ && m == media_);
}

TEST_F(SessionTest, MissingArgumentsGiveFiveAndNameEveryArgument)
{
    uint32_t u = 7;
    CSdp *none = nullptr;
    CMedia *media = media_, *m = media, *noMedia = nullptr;
    CPayload *p = nullptr;
    CAttribute *attr = nullptr;
    ASSERT_EQ(0u, zvSdpMediaAddAttribute(media, "sendrecv", nullptr, &attr));
    const std::string before = mediaText(media), md = ptrText(media), at = ptrText(attr);
    const char *names[] = {"PCMU"};
    syslogClear();
    const uint32_t rcs[] = {
        zvSdpConstruct(nullptr), zvSdpDestruct(&none), zvSdpAppSetReadOnly(nullptr),
        zvSdpCopyMediaCapabilities(sdp_, nullptr), zvSdpCompare(nullptr, sdp_, &u),
        zvSdpMediaIsSupported(media, nullptr), zvSdpMediaMarkUnsupported(nullptr),
        zvSdpMediaGetNextPayload(media, nullptr, &p), zvSdpMediaRemovePayload(media, nullptr),
        zvSdpMediaAddAttribute(media, nullptr, "v", nullptr), zvSdpMediaAddDynamicPayload(nullptr, 96, &p),
        zvSdpMediaAddPayload(media, 8, "", 8000, 1, nullptr, &p), zvSdpAttrSetValueInt(nullptr, -7),
        zvSdpAttrIsPtime(attr, nullptr), zvSdpAttrIsFmtp(attr, nullptr), zvSdpMediaGetPtime(media, nullptr, &u),
        zvSdpMediaIsPtimePresent(media, nullptr), zvSdpClearMedia(nullptr),
        zvSdpAddMediaDescriptor(nullptr, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &m),
        zvSdpRemoveMediaDescriptor(sdp_, &noMedia), zvSdpRemoveMediaDescriptorByMediaType(nullptr, 1, 1),
        zvSdpGetNextMediaDescriptor(sdp_, nullptr, &m), zvSdpIsMediaDescriptorsListPresent(nullptr, &u),
        zvSdpMediaGetFirstSupportedPayload(media, nullptr, 1, &p), zvSdpMediaSortPayloads(nullptr, nullptr, keepOrder),
        zvSdpFindMedia(sdp_, ZVSDP_MT_AUDIO, 1, nullptr), zvSdpMediaGetFirstSupportedPayload(media, names, 1, nullptr)};
    EXPECT_THAT(rcs, Each(5u));
    EXPECT_TRUE(u == 7 && m == media);  // the session is checked before the handle is cleared
    EXPECT_EQ(before, mediaText(media));
    EXPECT_EQ(std::size(rcs) - 1, logEntries().size());  // clearing a missing session is silent
    const std::string code = std::string(zvPbxGetErrorString(5)) + "\n", result = ", &result=" + nul;
    EXPECT_THAT(
        logEntries(),
        IsSupersetOf({
            apiLine('D', "zvSdpDestruct", "Invalid parameter detected: &objHndl=" + ptrText(&none)),
            apiLine('D', "zvSdpAppSetReadOnly", "Invalid parameter detected: objHndl=NULL"),
            apiLine('D', "zvSdpCompare", "Invalid parameter detected: objHndl1=" + nul + ", objHndl2=" +
                                             ptrText(sdp_) + ", equal=" + ptrText(&u)),
            apiLine('D', "zvSdpMediaGetNextPayload",
                    "Invalid parameter detected: objHndl=" + md + ", ptHndl=" + nul + ", &nextPtHndl=" + ptrText(&p)),
            apiLine('D', "zvSdpMediaAddDynamicPayload",
                    "Invalid parameter detected: mediaObj=" + nul + " ; &ptHndl=" + ptrText(&p)),
            apiLine('D', "zvSdpMediaAddPayload",
                    "Invalid parameter detected: mediaObj=" + md + ", name=" + ptrText("")),
            apiLine('D', "zvSdpAttrSetValueInt", "Invalid parameter detected: attrObj=" + nul + ", &value=-7"),
            // The two packet-time tests log at level C, the other tests at D.
            apiLine('C', "zvSdpAttrIsPtime", "Invalid parameter detected: attrHndl=" + at + result),
            apiLine('D', "zvSdpAttrIsFmtp", "Invalid parameter detected: attrHndl=" + at + result),
            apiLine('D', "zvSdpMediaIsPtimePresent", "Invalid Parameters detected \r\n"),
            apiLine('D', "zvSdpRemoveMediaDescriptor", "Invalid parameter detected: mediaObj=NULL"),
            apiLine('D', "zvSdpRemoveMediaDescriptorByMediaType", "Invalid parameter detected: sdpObj=" + nul + "\r\n"),
            apiLine('E', "zvSdpIsMediaDescriptorsListPresent", code),
            apiLine('E', "zvSdpMediaSortPayloads", code),
            apiLine('E', "zvSdpFindMedia", code),
        }));
    for (const SyslogLine &line : syslogLines())
        EXPECT_EQ(7, line.priority);
}

}  // namespace
