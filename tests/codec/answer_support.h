// What the answer tests share: files of the source tree, and the answers of
// both entry points of the RFC 3264 answer.
#pragma once

#include <string>
#include <vector>

#include "rvsdp.h"
#include "zvsdp_test.h"

namespace zvtest {

// A file's text, `relative` to the source tree (empty when there is none).
std::string sourceFile(const std::string &relative);

// The names of the files in `folder` that end in `suffix`, sorted; none when
// the folder is missing.
std::vector<std::string> filesIn(const std::string &folder, const std::string &suffix);

struct Answer {
    uint32_t rc = 0;
    std::string text;
};

// The answer of the offer text, or of the stack's parse of it.
Answer fromText(const std::string &offer, CSdp *local, const ZvSdpAnswerSession *session = nullptr);
Answer fromMessage(const std::string &offer, CSdp *local, const ZvSdpAnswerSession *session = nullptr);

// The library with room for the largest offers of the cases.
class AnswerTest : public LibraryTest {
protected:
    AnswerTest() : LibraryTest(8) {}
};

}  // namespace zvtest
