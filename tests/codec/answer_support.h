// What the answer tests share: the library started once per test, the two
// local capability sets of the gateway, and the answers of both entry points.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rvsdp.h"
#include "zvsdp.h"

namespace answertest {

std::string readFile(const std::string &path);

// The names of the files in `folder` that end in `suffix`, sorted; none when
// the folder is missing.
std::vector<std::string> filesIn(const std::string &folder, const std::string &suffix);

// A session parsed from SDP text (the test fails when it does not parse).
CSdp *session(const std::string &text);

// Records of every pool in use: what an answer must leave as it found it.
uint32_t recordsInUse();

struct Answer {
    uint32_t rc = 0;
    std::string text;
};

// The answer of the offer text, or of the stack's parse of it.
Answer fromText(const std::string &offer, CSdp *local, const ZvSdpAnswerSession *session = nullptr);
Answer fromMessage(const std::string &offer, CSdp *local, const ZvSdpAnswerSession *session = nullptr);

class AnswerTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

}  // namespace answertest
