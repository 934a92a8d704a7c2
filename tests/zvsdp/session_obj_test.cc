// CSdp: the media list, printing into buffers of any size, copies and
// deep copies with their rights.
#include "object_fixture.h"

#include "../../src/core/objects.h"

using namespace zvtest;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class SessionObject : public ::testing::Test {
protected:
    void SetUp() override
    {
        startModules(3);
        baseline_ = liveStringsAndLists();
    }
    void TearDown() override { stopModules(); }
    uint32_t baseline_ = 0;
};

std::vector<CMedia *> mediaOf(CSdp *s)
{
    std::vector<CMedia *> out;
    for (CMedia *m = zvSdpObjGetMedia(s, nullptr); m; m = zvSdpObjGetMedia(s, m))
        out.push_back(m);
    return out;
}

CMedia *faxMedia()
{
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_UDPTL, ZVSDP_MT_IMAGE);
    zvSdpMediaObjSetPort(m, 6000);
    zvSdpMediaObjAddPayload(m, zvSdpPayloadObjConstruct(105, "t38"));
    zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct("T38FaxVersion", "0"));
    return m;
}

const std::string kFaxText = "m=image 6000 udptl 105\n"
                             "a=rtpmap:105 t38/0\n"
                             "a=T38FaxVersion:0\n";

// A session with the audio media of the fixture and a fax media.
CSdp *twoMediaSession()
{
    CSdp *s = zvSdpObjConstruct();
    if (s) {
        zvSdpObjAddMedia(s, audioMedia(5004));
        zvSdpObjAddMedia(s, faxMedia());
    }
    return s;
}

TEST_F(SessionObject, NewSessionHoldsNoMediaAndPrintsNothing)
{
    CSdp *s = zvSdpObjConstruct();
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpObjGetAccessRights(s));
    EXPECT_EQ(nullptr, zvSdpObjGetMedia(s, nullptr));

    char buf[16];
    memset(buf, '#', sizeof buf);
    uint32_t length = 12;
    EXPECT_EQ(buf, zvSdpObjToString(s, buf, &length));
    EXPECT_EQ(0u, length);
    // The whole given size is cleared, nothing beyond it.
    EXPECT_THAT(std::vector<char>(buf, buf + 12), Each('\0'));
    EXPECT_EQ('#', buf[12]);

    memset(buf, '#', sizeof buf);
    length = 0;
    EXPECT_EQ(buf, zvSdpObjToString(s, buf, &length));
    EXPECT_EQ(0u, length);
    EXPECT_EQ('#', buf[0]);
}

TEST_F(SessionObject, PrintsItsMediaOneAfterAnotherAndClearsTheRest)
{
    CSdp *s = twoMediaSession();
    ASSERT_NE(nullptr, s);
    const std::string full = std::string(kAudioText) + kFaxText;
    std::vector<char> buf(512, '#');
    uint32_t length = static_cast<uint32_t>(buf.size());
    zvSdpObjToString(s, buf.data(), &length);
    EXPECT_EQ(full.size(), length);
    EXPECT_EQ(full, std::string(buf.data()));
    EXPECT_THAT(std::vector<char>(buf.begin() + full.size(), buf.end()), Each('\0'));
}

TEST_F(SessionObject, SmallBuffersCutTheTextToOneByteLessAndLaterMediaPrintNothing)
{
    CSdp *s = twoMediaSession();
    ASSERT_NE(nullptr, s);
    zvSdpObjApiSetTraceLevel(4);
    syslogClear();
    const std::string full = std::string(kAudioText) + kFaxText;
    for (uint32_t size = 1; size <= full.size() + 1; ++size) {
        std::vector<char> buf(size + 4, '#');
        uint32_t length = size;
        zvSdpObjToString(s, buf.data(), &length);
        EXPECT_EQ(size - 1, length) << size;
        EXPECT_EQ(full.substr(0, size - 1), std::string(buf.data())) << size;
        EXPECT_EQ(std::string(4, '#'), std::string(buf.end() - 4, buf.end())) << size;
    }
    // Smaller than the first media: its text cut to size - 1.
    EXPECT_EQ("m=audio 50", sessionText(s, 11));
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST_F(SessionObject, MediaListKeepsOrderAndRemoveDestroysWhatItIsGiven)
{
    CSdp *s = zvSdpObjConstruct();
    CSdp *other = zvSdpObjConstruct();
    CMedia *audio = audioMedia(5004);
    CMedia *fax = faxMedia();
    CMedia *video = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_VIDEO);
    CMedia *foreign = audioMedia(7000);
    ASSERT_TRUE(s && other && audio && fax && video && foreign);

    zvSdpObjAddMedia(s, nullptr);
    zvSdpObjAddMedia(s, audio);
    zvSdpObjAddMedia(s, fax);
    zvSdpObjAddMedia(s, video);
    zvSdpObjAddMedia(other, foreign);
    EXPECT_THAT(mediaOf(s), ElementsAre(audio, fax, video));
    EXPECT_EQ(1u, zvSdpObjHasMedia(s, fax));
    EXPECT_EQ(0u, zvSdpObjHasMedia(s, foreign));
    EXPECT_EQ(nullptr, zvSdpObjGetMedia(s, foreign));

    zvSdpObjRemoveMedia(s, nullptr);
    zvSdpObjRemoveMedia(s, fax);
    EXPECT_THAT(mediaOf(s), ElementsAre(audio, video));
    EXPECT_EQ(3u, inUse("zvsdpmediaobj"));
    // The fax media's payload and attribute went with it.
    EXPECT_EQ(4u, inUse("zvsdppayloadobj"));
    EXPECT_EQ(2u, inUse("zvsdpattrobj"));

    // Not in this session, destroyed all the same.
    zvSdpObjRemoveMedia(s, foreign);
    EXPECT_EQ(2u, inUse("zvsdpmediaobj"));
    EXPECT_THAT(mediaOf(s), ElementsAre(audio, video));

    zvSdpObjDestruct(other);
    zvSdpObjDestruct(s);
    zvSdpObjDestruct(nullptr);
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(SessionObject, CopyKeepsTheSourcesRightsButItsMediaAreReadWrite)
{
    CSdp *source = twoMediaSession();
    ASSERT_NE(nullptr, source);
    zvSdpMediaObjSetInbandDtmf(zvSdpObjGetMedia(source, nullptr), 1);
    zvSdpObjSetAccessRights(source, ZVSDP_READ_ONLY);
    const std::string text = sessionText(source);

    CSdp *copy = zvSdpObjConstructCopy(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpObjGetAccessRights(copy));
    EXPECT_EQ(text, sessionText(copy));
    std::vector<CMedia *> copied = mediaOf(copy);
    std::vector<CMedia *> original = mediaOf(source);
    ASSERT_EQ(2u, copied.size());
    for (size_t i = 0; i < copied.size(); ++i) {
        EXPECT_NE(original[i], copied[i]);
        EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpMediaObjGetAccessRights(copied[i]));
        EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpMediaObjGetAccessRights(original[i]));
        for (CPayload *p = zvSdpMediaObjGetPayload(copied[i], nullptr); p; p = zvSdpMediaObjGetPayload(copied[i], p))
            EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpPayloadObjGetAccessRights(p));
        for (CAttribute *a = zvSdpMediaObjGetAttribute(copied[i], nullptr); a;
             a = zvSdpMediaObjGetAttribute(copied[i], a))
            EXPECT_EQ(ZVSDP_READ_WRITE, a->rights);
    }
    EXPECT_EQ(0u, zvSdpMediaObjGetInbandDtmf(copied[0]));

    zvSdpObjSetAccessRights(source, ZVSDP_READ_WRITE);
    zvSdpObjDestruct(copy);
    copy = zvSdpObjConstructCopy(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpObjGetAccessRights(copy));

    zvSdpObjDestruct(source);
    EXPECT_EQ(text, sessionText(copy));
    zvSdpObjDestruct(copy);
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(SessionObject, DeepCopyReplacesTheMediaAndLeavesTheDestinationsRights)
{
    CSdp *source = twoMediaSession();
    CSdp *destination = zvSdpObjConstruct();
    ASSERT_TRUE(source && destination);
    zvSdpObjAddMedia(destination, zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_VIDEO));
    zvSdpObjAddMedia(destination, audioMedia(9000));
    zvSdpObjSetAccessRights(source, ZVSDP_READ_ONLY);
    zvSdpObjSetAccessRights(destination, ZVSDP_READ_ONLY);

    zvSdpObjDeepCopy(destination, source);
    EXPECT_EQ(sessionText(source), sessionText(destination));
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpObjGetAccessRights(destination));
    for (CMedia *m : mediaOf(destination))
        EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpMediaObjGetAccessRights(m));
    // The destination's old media and everything in them are gone.
    EXPECT_EQ(4u, inUse("zvsdpmediaobj"));
    EXPECT_EQ(6u, inUse("zvsdppayloadobj"));
    EXPECT_EQ(4u, inUse("zvsdpattrobj"));

    CSdp *empty = zvSdpObjConstruct();
    ASSERT_NE(nullptr, empty);
    zvSdpObjDeepCopy(destination, empty);
    EXPECT_EQ(nullptr, zvSdpObjGetMedia(destination, nullptr));
    EXPECT_EQ("", sessionText(destination));
    EXPECT_EQ(2u, inUse("zvsdpmediaobj"));

    // A deep copy into an empty destination works again after that.
    zvSdpObjDeepCopy(destination, source);
    EXPECT_EQ(sessionText(source), sessionText(destination));

    zvSdpObjDestruct(source);
    zvSdpObjDestruct(destination);
    zvSdpObjDestruct(empty);
    EXPECT_EQ(0u, liveObjects());
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(SessionObject, ExhaustedPoolGivesNullAndOnlyTheCopySaysSo)
{
    zvSdpObjApiSetTraceLevel(4);
    CSdp *first = twoMediaSession();
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, zvSdpObjConstruct());
    ASSERT_NE(nullptr, zvSdpObjConstruct());
    const uint32_t media = inUse("zvsdpmediaobj");
    syslogClear();
    EXPECT_EQ(nullptr, zvSdpObjConstruct());
    EXPECT_EQ(nullptr, zvSdpObjConstructCopy(first));
    EXPECT_THAT(logEntries(), ElementsAre("[ZVSDP::CSdp]   |C|zvSdpObjConstructCopy|Failed to allocate memory!"));
    EXPECT_EQ(media, inUse("zvsdpmediaobj"));
    EXPECT_EQ(3u, statsOf(poolNamed("zvsdpsdpobj")).capacity);
}

}  // namespace
