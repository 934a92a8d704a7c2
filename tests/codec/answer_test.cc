// The answer operations' contract with the host: result codes for every kind
// of bad input, the buffer size handshake, the local session's shape, the
// session values of a complete body, and offers past the stack's limits.
#include <gmock/gmock.h>

#include "answer_support.h"
#include "rfc3264_checker.h"

using namespace zvtest;

namespace {

const std::string kLocal = "m=audio 5004 RTP/AVP 0 8\na=ptime:20\n";
const std::string kOffer = "v=0\no=- 1 1 IN IP4 192.0.2.1\ns=-\nc=IN IP4 192.0.2.1\nt=0 0\nm=audio 4000 RTP/AVP 8\n";
const std::string kAnswer = "m=audio 5004 RTP/AVP 8\na=ptime:20\na=sendrecv\n";

class AnswerApi : public AnswerTest {
protected:
    void SetUp() override
    {
        AnswerTest::SetUp();
        local_ = parsed(kLocal);
    }
    void TearDown() override
    {
        zvSdpDestruct(&local_);
        AnswerTest::TearDown();
    }
    CSdp *local_ = nullptr;
};

TEST(AnswerApiStopped, RefusedBeforeStart)
{
    char out[64];
    uint32_t length = sizeof out;
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpHelperAnswerOffer(kOffer.c_str(), nullptr, nullptr, out, &length));
    RvSdpMsg message;
    rvSdpMsgConstruct(&message);
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpHelperAnswerRvOffer(&message, nullptr, nullptr, out, &length));
    rvSdpMsgDestruct(&message);
}

TEST_F(AnswerApi, MissingArgumentsAndEmptyBuffer)
{
    char out[256];
    uint32_t length = sizeof out;
    RvSdpMsg message;
    rvSdpMsgConstruct(&message);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerOffer(nullptr, local_, nullptr, out, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerOffer(kOffer.c_str(), nullptr, nullptr, out, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerOffer(kOffer.c_str(), local_, nullptr, nullptr, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerOffer(kOffer.c_str(), local_, nullptr, out, nullptr));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerRvOffer(nullptr, local_, nullptr, out, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerRvOffer(&message, local_, nullptr, out, &length));  // no media
    length = 0;
    out[0] = 'x';
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerOffer(kOffer.c_str(), local_, nullptr, out, &length));
    EXPECT_EQ('x', out[0]);
    rvSdpMsgDestruct(&message);
}

TEST_F(AnswerApi, BufferSizeHandshake)
{
    // The text's length fits; its terminator does not: refused, with the
    // length the answer needs.
    std::string out(kAnswer.size(), '#');
    uint32_t length = static_cast<uint32_t>(kAnswer.size());
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpHelperAnswerOffer(kOffer.c_str(), local_, nullptr, &out[0], &length));
    EXPECT_EQ(kAnswer.size(), length);
    EXPECT_EQ('\0', out[0]);
    out.assign(kAnswer.size() + 1, '#');
    length = static_cast<uint32_t>(out.size());
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpHelperAnswerOffer(kOffer.c_str(), local_, nullptr, &out[0], &length));
    EXPECT_EQ(kAnswer, out.substr(0, length));
    EXPECT_EQ('\0', out[length]);
}

TEST_F(AnswerApi, LocalSessionMustHoldOneMedia)
{
    char out[256];
    uint32_t length = sizeof out;
    CSdp *none = nullptr;
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&none));
    EXPECT_EQ(ZVSDP_RC_MISSING, zvSdpHelperAnswerOffer(kOffer.c_str(), none, nullptr, out, &length));
    EXPECT_EQ(0u, length);
    CSdp *two = parsed(kLocal + "m=video 5006 RTP/AVP 31\n");
    length = sizeof out;
    EXPECT_EQ(ZVSDP_RC_NOT_FOUND, zvSdpHelperAnswerOffer(kOffer.c_str(), two, nullptr, out, &length));
    zvSdpDestruct(&none);
    zvSdpDestruct(&two);
}

TEST_F(AnswerApi, SessionValuesOfACompleteBody)
{
    struct Row {
        ZvSdpAnswerSession values;
        uint32_t rc;
        const char *head;
    } rows[] = {
        {{"gw", "42", "43", "192.0.2.5", nullptr, "call"}, ZVSDP_RC_OK,
         "v=0\no=gw 42 43 IN IP4 192.0.2.5\ns=call\nc=IN IP4 192.0.2.5\nt=0 0\n"},
        {{nullptr, nullptr, nullptr, "gw.example.net", "IP6", nullptr}, ZVSDP_RC_OK,
         "v=0\no=- 0 0 IN IP6 gw.example.net\ns=-\nc=IN IP6 gw.example.net\nt=0 0\n"},
        {{nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}, ZVSDP_RC_INVALID, ""},
        {{nullptr, nullptr, nullptr, "", nullptr, nullptr}, ZVSDP_RC_INVALID, ""},
        {{"g w", nullptr, nullptr, "192.0.2.5", nullptr, nullptr}, ZVSDP_RC_INVALID, ""},
        {{nullptr, "4\r\n2", nullptr, "192.0.2.5", nullptr, nullptr}, ZVSDP_RC_INVALID, ""},
        {{nullptr, nullptr, nullptr, "192.0.2.5", nullptr, "a\nb"}, ZVSDP_RC_INVALID, ""},
    };
    for (const Row &row : rows) {
        Answer a = fromText(kOffer, local_, &row.values);
        EXPECT_EQ(row.rc, a.rc) << row.head;
        EXPECT_EQ(row.rc == ZVSDP_RC_OK ? row.head + kAnswer : "", a.text);
    }
}

TEST_F(AnswerApi, OfferReadWholeUpTo64KiB)
{
    // An audio line after 60 KiB of session attributes, and 40 m-lines
    // (the stack keeps 32), each answered in place.
    std::string offer = "v=0\no=- 1 1 IN IP4 192.0.2.1\ns=-\nc=IN IP4 192.0.2.1\nt=0 0\n";
    while (offer.size() < 60 * 1024)
        offer += "a=x-filler:0123456789012345678901234567890123456789\n";
    for (int i = 0; i < 39; ++i)
        offer += "m=video 0 RTP/AVP 31\n";
    offer += "m=audio 4000 RTP/AVP 8\n";
    Answer a = fromText(offer, local_);
    ASSERT_EQ(ZVSDP_RC_OK, a.rc);
    EXPECT_EQ(40u, rfc3264::mediaLineCount(a.text));
    EXPECT_EQ(a.text.size() - kAnswer.size(), a.text.rfind(kAnswer));
    EXPECT_THAT(rfc3264::judge(offer, a.text, kLocal), ::testing::IsEmpty());

    offer.insert(0, 64 * 1024 - offer.size() + 1, '\n');
    EXPECT_EQ(ZVSDP_RC_INVALID, fromText(offer, local_).rc);
}

}  // namespace
