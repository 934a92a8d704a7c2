// CSdp: printing into buffers of any size, the media list, copies and deep
// copies (independent, with their rights), all without leaving records behind.
#include "zvsdp_test.h"

using namespace zvtest;
using ::testing::Each;

namespace {

using SessionObject = ObjectTest<3>;

CSdp *twoMediaSession()
{
    CSdp *s = zvSdpObjConstruct();
    zvSdpObjAddMedia(s, audioMedia(5004));
    zvSdpObjAddMedia(s, audioMedia(6000, {"ptime:20"}));
    return s;
}

TEST_F(SessionObject, PrintsItsMediaInOrderCutToOneByteLessAndClearsTheGivenSize)
{
    CSdp *s = twoMediaSession();
    const std::string full = std::string(kAudioText) + "m=audio 6000 RTP/AVP 0 101\n" +
                             "a=rtpmap:101 telephone-event/8000\na=fmtp:101 0-15\na=ptime:20\n";
    for (uint32_t size = 0; size <= full.size() + 8; ++size) {
        std::vector<char> out(size + 4, '#');
        uint32_t length = size;
        EXPECT_EQ(out.data(), zvSdpObjToString(s, out.data(), &length));
        const std::string expected = full.substr(0, size ? size - 1 : 0);
        EXPECT_EQ(expected.size(), length) << size;
        EXPECT_EQ(expected, std::string(out.data(), length)) << size;
        EXPECT_THAT(std::vector<char>(out.begin() + length, out.begin() + size), Each('\0')) << size;
        EXPECT_EQ(std::string(4, '#'), std::string(out.end() - 4, out.end())) << size;
    }
}

TEST_F(SessionObject, MediaListKeepsOrderAndRemoveDestroysWhatItIsGiven)
{
    CSdp *s = zvSdpObjConstruct();
    CMedia *audio = audioMedia(5004), *fax = zvSdpMediaObjConstruct(ZVSDP_TP_UDPTL, ZVSDP_MT_IMAGE);
    CMedia *second = audioMedia(0, {"ptime:20"}), *foreign = audioMedia(7000);
    for (CMedia *m : {static_cast<CMedia *>(nullptr), audio, fax, second})
        zvSdpObjAddMedia(s, m);
    EXPECT_EQ(audio, zvSdpObjGetMedia(s, nullptr));
    EXPECT_EQ(fax, zvSdpObjGetMedia(s, audio));
    EXPECT_EQ(second, zvSdpObjGetMedia(s, fax));
    EXPECT_EQ(1u, zvSdpObjHasMedia(s, fax));
    EXPECT_EQ(0u, zvSdpObjHasMedia(s, foreign));
    EXPECT_EQ(nullptr, zvSdpObjGetMedia(s, foreign));
    // What a media holds goes with it; one of no session is destroyed too.
    for (CMedia *m : {static_cast<CMedia *>(nullptr), second, foreign})
        zvSdpObjRemoveMedia(s, m);
    EXPECT_EQ(nullptr, zvSdpObjGetMedia(s, fax));
    zvSdpObjDestruct(s);
    expectAllFreed();
}

TEST_F(SessionObject, CopiesAreIndependentAndOnlyTheSessionKeepsItsRights)
{
    CSdp *source = twoMediaSession();
    zvSdpMediaObjSetInbandDtmf(zvSdpObjGetMedia(source, nullptr), 1);
    zvSdpObjSetAccessRights(source, ZVSDP_READ_ONLY);
    const std::string text = sessionText(source);
    CSdp *copy = zvSdpObjConstructCopy(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(ZVSDP_READ_ONLY, zvSdpObjGetAccessRights(copy));
    CMedia *first = zvSdpObjGetMedia(copy, nullptr);
    EXPECT_EQ(ZVSDP_READ_WRITE, zvSdpMediaObjGetAccessRights(first));
    EXPECT_EQ(0u, zvSdpMediaObjGetInbandDtmf(first));
    // A deep copy replaces what the destination held.
    CSdp *destination = zvSdpObjConstruct();
    zvSdpObjAddMedia(destination, audioMedia(9000));
    zvSdpObjDeepCopy(destination, source);
    // The pool is full now: a copy fails before it copies any media.
    const uint32_t media = inUse("zvsdpmediaobj");
    EXPECT_EQ(nullptr, zvSdpObjConstructCopy(source));
    EXPECT_EQ(media, inUse("zvsdpmediaobj"));

    zvSdpObjDestruct(source);
    EXPECT_EQ(text, sessionText(copy));
    EXPECT_EQ(text, sessionText(destination));
    CSdp *empty = zvSdpObjConstruct();
    zvSdpObjDeepCopy(destination, empty);
    EXPECT_EQ("", sessionText(destination));
    zvSdpObjDeepCopy(destination, copy);
    EXPECT_EQ(text, sessionText(destination));
    for (CSdp *s : {copy, destination, empty})
        zvSdpObjDestruct(s);
    expectAllFreed();
}

}  // namespace
