// The HelperAPI module's own services: its trace level, the one-line
// session log, and payload copies through handle references.
#include "codec_fixture.h"

#include <cstring>

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const char *const kLogSdp = "zvSdpHelperLogSdp";

std::string info(const std::string &text)
{
    return helperLog("I", kLogSdp, text);
}

// What the one-line form of a printed session must be.
std::string oneLine(const std::string &text)
{
    std::string out;
    for (char c : text)
        out += c == '\n' ? std::string("\\n ") : std::string(1, c);
    return out.substr(0, 1023);
}

class HelperLog : public LibraryTest {
protected:
    void TearDown() override
    {
        destroyAll({sdp_});
        LibraryTest::TearDown();
    }

    CSdp *sdp_ = nullptr;
};

TEST_F(HelperLog, NullSessionWritesTitleAndNone)
{
    zvSdpHelperSetTraceLevel(4);
    zvSdpHelperLogSdp(nullptr, "x");
    zvSdpHelperLogSdp(nullptr, nullptr);
    EXPECT_THAT(logEntries(), ElementsAre(info("x"), info("NONE"), info("NONE")));
    for (const std::string &line : syslogTexts())
        EXPECT_EQ(0u, line.find("[ZVSDP::HelperAPI]:I: zvSdpHelperLogSdp:")) << line;
}

TEST_F(HelperLog, CarriageReturnsStayAndLineFeedsBecomeBackslashN)
{
    CMedia *media = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&sdp_));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(sdp_, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &media));
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpMediaAddAttribute(media, "x", "y\r", nullptr));
    ASSERT_EQ("m=audio 0 RTP/AVP\na=x:y\r\n", printed(sdp_));
    zvSdpHelperSetTraceLevel(4);
    zvSdpHelperLogSdp(sdp_, "answer");
    EXPECT_THAT(logEntries(), ElementsAre(info("answer"), info("m=audio 0 RTP/AVP\\n a=x:y\r\\n ")));
}

TEST_F(HelperLog, LongSessionIsOneMessageCutAt1023)
{
    CMedia *media = nullptr;
    sdp_ = localSession(ZVSDP_MT_AUDIO, &media);
    addFromTable(media, {ZVSDP_PT_PCMU, ZVSDP_PT_PCMA, ZVSDP_PT_G729});
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpMediaAddAttribute(media, ("x-" + std::to_string(i)).c_str(),
                                                      std::string(60, 'a' + i % 26).c_str(), nullptr));
    // Printed into 1024 bytes, then made one line and cut again.
    std::string text = printed(sdp_);
    ASSERT_GT(text.size(), 1023u);
    zvSdpHelperSetTraceLevel(4);
    zvSdpHelperLogSdp(sdp_, nullptr);
    std::vector<std::string> entries = logEntries();
    ASSERT_EQ(1u, entries.size());
    EXPECT_EQ(info(oneLine(text.substr(0, 1023))), entries[0]);
    EXPECT_EQ(1023u, parseLog(syslogTexts()[0]).text.size());
}

TEST_F(HelperLog, EmptySessionLogsAnEmptyLine)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&sdp_));
    zvSdpHelperSetTraceLevel(4);
    zvSdpHelperLogSdp(sdp_, nullptr);
    EXPECT_THAT(logEntries(), ElementsAre(info("")));
}

TEST_F(HelperLog, OwnLevelIsNotTheApiLevel)
{
    sdp_ = offer("m=audio 49170 RTP/AVP 0\r\n");
    zvSdpSetTraceLevel(4);
    zvSdpHelperLogSdp(sdp_, "x");
    zvSdpHelperLogSdp(nullptr, "x");
    EXPECT_THAT(logEntries(), IsEmpty());

    zvSdpHelperSetTraceLevel(4);
    zvSdpSetTraceLevel(0);
    zvSdpHelperLogSdp(sdp_, "x");
    EXPECT_THAT(logEntries(), ElementsAre(info("x"), info("m=audio 49170 RTP/AVP 0\\n ")));

    // Below 4 nothing is written, with or without a title.
    syslogClear();
    zvSdpHelperSetTraceLevel(3);
    zvSdpHelperLogSdp(sdp_, "x");
    zvSdpHelperLogSdp(nullptr, nullptr);
    EXPECT_THAT(logEntries(), IsEmpty());
}

class HelperPayload : public LibraryTest {
protected:
    HelperPayload() : LibraryTest(1) {}
};

TEST_F(HelperPayload, CopyPTimeIgnoresRights)
{
    CPayload *src = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    CPayload *dst = zvSdpPayloadObjConstructEx(8, "PCMA", 8000, 1);
    zvSdpPayloadObjSetPtime(src, 30);
    zvSdpPayloadObjSetPtime(dst, 20);
    zvSdpPayloadObjSetAccessRights(dst, ZVSDP_READ_ONLY);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperCopyPTime(&dst, &src));
    EXPECT_EQ(30u, zvSdpPayloadObjGetPtime(dst));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperCopyPTime(nullptr, &src));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperCopyPTime(&dst, nullptr));
    CPayload *none = nullptr;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperCopyPTime(&none, &src));
    EXPECT_EQ(30u, zvSdpPayloadObjGetPtime(dst));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperDestructPayload(&src));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperDestructPayload(&dst));
    EXPECT_EQ(0u, objectsInUse());
}

TEST_F(HelperPayload, CopyConstructGivesAWritableCopyUntilThePoolIsEmpty)
{
    CPayload *src = zvSdpPayloadObjConstructEx(106, "AMR", 8000, 1);
    zvSdpPayloadObjSetFmtp(src, "mode-set=0,2");
    zvSdpPayloadObjSetPtime(src, 40);
    zvSdpPayloadObjSetAccessRights(src, ZVSDP_READ_ONLY);
    CPayload *copy = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpHelperCopyConstructPayload(&copy, &src));
    ASSERT_NE(nullptr, copy);
    ASSERT_NE(src, copy);
    EXPECT_EQ(106u, zvSdpPayloadObjGetPayloadType(copy));
    EXPECT_EQ("AMR", dynText(zvSdpPayloadObjGetName(copy)));
    EXPECT_EQ("mode-set=0,2", dynText(zvSdpPayloadObjGetFmtp(copy)));
    EXPECT_EQ(40u, zvSdpPayloadObjGetPtime(copy));
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpPayloadObjGetAccessRights(copy));

    // Ten payloads per unit: eight more fill the pool, the next copy is NULL.
    std::vector<CPayload *> filler;
    for (int i = 0; i < 8; ++i)
        filler.push_back(zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1));
    ASSERT_NE(nullptr, filler.back());
    CPayload *more = src;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperCopyConstructPayload(&more, &src));
    EXPECT_EQ(nullptr, more);

    CPayload *none = nullptr;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperCopyConstructPayload(nullptr, &src));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperCopyConstructPayload(&more, nullptr));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperCopyConstructPayload(&more, &none));

    for (CPayload *p : filler)
        zvSdpPayloadObjDestruct(p);
    zvSdpPayloadObjDestruct(copy);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperDestructPayload(&src));
    EXPECT_EQ(0u, objectsInUse());
}

TEST_F(HelperPayload, DestructClearsTheHandleOnceEvenWhenReadOnly)
{
    uint32_t strings = liveStringsAndLists();
    CPayload *p = zvSdpPayloadObjConstructEx(106, "AMR", 8000, 1);
    zvSdpPayloadObjSetFmtp(p, "octet-align=1");
    zvSdpPayloadObjSetAccessRights(p, ZVSDP_READ_ONLY);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperDestructPayload(&p));
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperDestructPayload(&p));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperDestructPayload(nullptr));
    EXPECT_EQ(0u, objectsInUse());
    EXPECT_EQ(strings, liveStringsAndLists());
}

// None of the payload helpers looks at the initialisation flag, and the
// session log stays silent when printing is refused.
TEST(HelperUninitialised, PayloadHelpersWorkAndTheLogKeepsOnlyItsTitle)
{
    startClassModules(1);
    CPayload *src = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    zvSdpPayloadObjSetPtime(src, 30);
    CPayload *copy = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperCopyConstructPayload(&copy, &src));
    ASSERT_NE(nullptr, copy);
    zvSdpPayloadObjSetPtime(copy, 10);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperCopyPTime(&copy, &src));
    EXPECT_EQ(30u, zvSdpPayloadObjGetPtime(copy));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperDestructPayload(&copy));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperDestructPayload(&src));

    CSdp *sdp = zvSdpObjConstruct();
    zvSdpObjAddMedia(sdp, pcmuAndEvents());
    zvSdpHelperSetTraceLevel(4);
    syslogClear();
    zvSdpHelperLogSdp(sdp, "title");
    EXPECT_THAT(logEntries(), ElementsAre(info("title")));
    zvSdpObjDestruct(sdp);
    EXPECT_EQ(0u, objectsInUse());
    stopClassModules();
}

}  // namespace
