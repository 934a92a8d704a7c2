// The real SDP bodies of ../shared/corpus/wild (phones, trunks, gateways,
// IMS, WebRTC, T.38) answered against both local sets of cases/, each
// answer judged by the RFC 3264 checker: through the text entry point, the
// stack-message entry point (judged against the stack's own reading of the
// body), the complete-body form and, natively, the zvsdp tool.
#include <stdio.h>

#include <algorithm>
#include <iostream>

#include <gmock/gmock.h>

#include "answer_support.h"
#include "rfc3264_checker.h"

using namespace zvtest;

namespace {

const std::string kCorpus = std::string(ZVSDP_SOURCE_DIR) + "/../shared/corpus/wild";

// The stack's reading of a body, printed again: what the message entry
// point is answered from.
std::string stackReading(const std::string &text, size_t *media)
{
    RvSdpMsg message;
    uint32_t length = static_cast<uint32_t>(text.size());
    int status = 0;
    rvSdpMsgConstructParse(&message, text.c_str(), &length, &status);
    *media = rvSdpMsgGetNumOfMediaDescr(&message);
    std::string printed(static_cast<size_t>(std::max(0, rvSdpMsgEncodeToBuf(&message, nullptr, 0))) + 1, '\0');
    int n = rvSdpMsgEncodeToBuf(&message, &printed[0], static_cast<uint32_t>(printed.size()));
    printed.resize(n > 0 ? static_cast<size_t>(n) : 0);
    rvSdpMsgDestruct(&message);
    return printed;
}

#ifdef ZVSDP_TOOL_PATH
std::string toolAnswer(const std::string &offerPath, const std::string &localPath)
{
    std::string command = std::string(ZVSDP_TOOL_PATH) + " answer --rfc3264 '" + offerPath + "' '" + localPath + "'";
    std::string out;
    if (FILE *pipe = popen(command.c_str(), "r")) {
        char chunk[4096];
        size_t n;
        while ((n = fread(chunk, 1, sizeof chunk, pipe)) > 0)
            out.append(chunk, n);
        pclose(pipe);
    }
    return out;
}
#endif

class Corpus : public AnswerTest, public ::testing::WithParamInterface<const char *> {};

TEST_P(Corpus, EveryOfferAnsweredWithoutDefect)
{
    std::vector<std::string> files = filesIn(kCorpus, ".sdp");
    if (files.empty())
        GTEST_SKIP() << kCorpus << " is missing: the corpus step is skipped";
    const std::string local = "tests/codec/cases/local-" + std::string(GetParam()) + ".sdp";
    const std::string localPath = std::string(ZVSDP_SOURCE_DIR) + "/" + local, localText = sourceFile(local);
    CSdp *localSdp = parsed(localText);
    ASSERT_NE(nullptr, localSdp);
    const uint32_t before = inUse();
    ZvSdpAnswerSession body = {"gw", "7", "8", "192.0.2.1", nullptr, nullptr};
    size_t withAudio = 0, audioClean = 0, answered = 0, refused = 0, defects = 0;
    for (const std::string &name : files) {
        SCOPED_TRACE(name);
        const std::string offer = sourceFile("../shared/corpus/wild/" + name);
        const bool audio = rfc3264::hasAudio(offer);
        withAudio += audio;
        Answer text = fromText(offer, localSdp);
        if (text.rc != ZVSDP_RC_OK) {
            ++refused;
            EXPECT_EQ(ZVSDP_RC_INVALID, text.rc);
            EXPECT_EQ(0u, rfc3264::mediaLineCount(offer)) << "refused, yet it has m= lines";
            continue;
        }
        ++answered;
        std::vector<std::string> found = rfc3264::judge(offer, text.text, localText);
        for (const std::string &d : found)
            ADD_FAILURE() << name << ": " << d << "\n" << text.text;
        defects += found.size();
        audioClean += audio && found.empty();

        Answer whole = fromText(offer, localSdp, &body);
        EXPECT_EQ(ZVSDP_RC_OK, whole.rc);
        EXPECT_EQ(0u, whole.text.rfind("v=0\no=gw 7 8 IN IP4 192.0.2.1\ns=-\nc=IN IP4 192.0.2.1\nt=", 0));
        EXPECT_EQ(text.text, whole.text.substr(whole.text.size() - std::min(whole.text.size(), text.text.size())));

        size_t stackMedia = 0;
        std::string reading = stackReading(offer, &stackMedia);
        Answer message = fromMessage(offer, localSdp);
        EXPECT_EQ(stackMedia ? ZVSDP_RC_OK : ZVSDP_RC_INVALID, message.rc);
        if (message.rc == ZVSDP_RC_OK) {
            EXPECT_THAT(rfc3264::judge(reading, message.text, localText), ::testing::IsEmpty()) << message.text;
        }
#ifdef ZVSDP_TOOL_PATH
        EXPECT_EQ(text.text, toolAnswer(kCorpus + "/" + name, localPath));
#endif
    }
    EXPECT_EQ(before, inUse());
    std::cout << "local set " << GetParam() << ": " << files.size() << " bodies, " << withAudio
              << " with an audio stream (" << audioClean << " of them answered without defect), " << answered
              << " answered, " << refused << " refused as not SDP, " << defects << " defects\n";
    zvSdpDestruct(&localSdp);
}

INSTANTIATE_TEST_SUITE_P(LocalSets, Corpus, ::testing::Values("a", "b"));

}  // namespace
