// The checker itself must see each defect an offerer objects to: answers
// with one fault each, against the offers they answer.
#include <gmock/gmock.h>

#include "answer_support.h"
#include "rfc3264_checker.h"

using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

const std::string kLocalA = zvtest::sourceFile("tests/codec/cases/local-a.sdp");
const std::string kLocalB = zvtest::sourceFile("tests/codec/cases/local-b.sdp");

const std::string kOffer = "c=IN IP4 192.0.2.1\nm=audio 4000 RTP/AVP 97 0 96\na=rtpmap:97 AMR/8000\n"
                           "a=fmtp:97 mode-set=0,2,4\na=rtpmap:96 telephone-event/8000\nm=video 4002 RTP/AVP 31\n";
const std::string kGood = "m=audio 5004 RTP/AVP 97 0 96\na=rtpmap:97 AMR/8000\na=rtpmap:96 telephone-event/8000\n"
                          "a=fmtp:97 mode-set=0,2\na=fmtp:96 0-15\na=sendrecv\nm=video 0 RTP/AVP 31\n";

std::string replaced(std::string text, const std::string &from, const std::string &to)
{
    text.replace(text.find(from), from.size(), to);
    return text;
}

TEST(Checker, CleanAnswerPasses)
{
    EXPECT_THAT(rfc3264::judge(kOffer, kGood, kLocalA), IsEmpty());
    EXPECT_EQ(2u, rfc3264::mediaLineCount(kOffer));
    EXPECT_EQ(0u, rfc3264::mediaLineCount("hello\nm=audio\n"));
}

TEST(Checker, FindsEachDefect)
{
    struct Row {
        std::string offer, answer, local, defect;
    } rows[] = {
        {kOffer, replaced(kGood, "m=video 0 RTP/AVP 31\n", ""), kLocalA, "1 m-lines answer 2"},
        {kOffer, replaced(kGood, "m=video 0 RTP/AVP 31", "m=audio 0 RTP/AVP 31"), kLocalA, "media type"},
        {kOffer, replaced(kGood, "5004 RTP/AVP", "5004 RTP/SAVP"), kLocalA, "transport"},
        {kOffer, replaced(kGood, "RTP/AVP 31", "RTP/AVP"), kLocalA, "no format"},
        {kOffer, kGood + "a=rtpmap:31 H261/90000\n", kLocalA, "lines of its own"},
        {kOffer, replaced(kGood, "97 0 96\n", "97 0 0 96\n"), kLocalA, "listed twice"},
        {kOffer, replaced(kGood, "97 0 96\n", "97 0 96 8\n"), kLocalA, "payload 8 is not offered"},
        {kOffer, replaced(replaced(kGood, "rtpmap:96 telephone-event", "rtpmap:96 AMR"), "fmtp:96 0-15", "fmtp:96 x=1"),
         kLocalA, "payload 96 is another codec"},
        {kOffer, replaced(kGood, "mode-set=0,2\n", "mode-set=0,1,2\n"), kLocalA, "AMR modes beyond"},
        {kOffer, replaced(kGood, "mode-set=0,2\n", "octet-align=0\n"), kLocalA, "without mode-set"},
        {kOffer, replaced(kGood, "mode-set=0,2\n", "mode-set=0,2;octet-align=1\n"), kLocalA, "octet-align"},
        {kOffer, replaced(kGood, "mode-set=0,2\n", "mode-set=0,2;mode-change-capability=0\n"), kLocalA,
         "mode-change-capability=0"},
        {kOffer, replaced(kGood, "0-15", "0-16"), kLocalA, "telephone events beyond"},
        {kOffer, "m=audio 0 RTP/AVP 97\nm=video 0 RTP/AVP 31\n", kLocalA, "rejects a stream the local"},
        {replaced(kOffer, "mode-set=0,2,4\n", "mode-set=0,2,4\na=sendonly\n"), kGood, kLocalA, "sendrecv answers sendonly"},
        {replaced(kOffer, "192.0.2.1", "0.0.0.0"), replaced(kGood, "sendrecv", "sendonly"), kLocalA,
         "sendonly answers sendonly"},
        {"m=audio 4000 RTP/AVP 9 0\n", "m=audio 5004 RTP/AVP 9 0\na=sendrecv\n", kLocalA, "g722/8000 is not a local"},
        {"m=audio 4000 RTP/AVP 0 8 111\na=rtpmap:111 telephone-event/16000\n",
         "m=audio 5004 RTP/AVP 0 111\na=rtpmap:111 telephone-event/16000\na=sendrecv\n", kLocalB, "beside no codec"},
        {"m=audio 4000 RTP/AVP 0\nm=audio 4002 RTP/AVP 0\n", "m=audio 5004 RTP/AVP 0\nm=audio 5006 RTP/AVP 0\n", kLocalA,
         "a second served stream"},
    };
    for (const Row &row : rows) {
        std::vector<std::string> defects = rfc3264::judge(row.offer, row.answer, row.local);
        EXPECT_THAT(defects, ::testing::Contains(HasSubstr(row.defect))) << row.answer;
    }
}

}  // namespace
