// The answers of cases/: one file per case, with a title, flags, the local
// capabilities (local: a or b for the two sets of this folder, or a
// "== local" section), the offer and the expected answer. Each case runs
// through both entry points (unless "text-only": the stack skips some lines
// the text reader takes) and the answer must also pass the RFC 3264 checker.
//
//   flags: text-only | crlf (offer lines end in CRLF) | rc=N | body=ADDRESS
#include <cstdlib>
#include <sstream>

#include <gmock/gmock.h>

#include "answer_support.h"
#include "rfc3264_checker.h"

using namespace zvtest;

namespace {

struct Case {
    std::string name, title, local, offer, answer, bodyAddress;
    bool textOnly = false;
    uint32_t rc = ZVSDP_RC_OK;
};

std::string folder()
{
    return std::string(ZVSDP_SOURCE_DIR) + "/tests/codec/cases";
}

Case load(const std::string &name)
{
    Case c;
    c.name = name.substr(0, name.size() - 5);
    std::istringstream in(sourceFile("tests/codec/cases/rfc3264/" + name));
    std::string line, section, localSet;
    bool crlf = false;
    while (std::getline(in, line)) {
        if (line.rfind("== ", 0) == 0) {
            section = line.substr(3);
            continue;
        }
        if (section.empty()) {
            size_t colon = line.find(':');
            std::string key = line.substr(0, colon), value = colon == std::string::npos ? "" : line.substr(colon + 1);
            value.erase(0, value.find_first_not_of(' '));
            if (key == "title")
                c.title = value;
            else if (key == "local")
                localSet = value;
            std::istringstream flags(key == "flags" ? value : "");
            std::string flag;
            while (flags >> flag) {
                c.textOnly = c.textOnly || flag == "text-only";
                crlf = crlf || flag == "crlf";
                if (flag.rfind("rc=", 0) == 0)
                    c.rc = static_cast<uint32_t>(std::atoi(flag.c_str() + 3));
                if (flag.rfind("body=", 0) == 0)
                    c.bodyAddress = flag.substr(5);
            }
            continue;
        }
        std::string &to = section == "local" ? c.local : section == "offer" ? c.offer : c.answer;
        to += line + (section == "offer" && crlf ? "\r\n" : "\n");
    }
    if (!localSet.empty())
        c.local = sourceFile("tests/codec/cases/local-" + localSet + ".sdp");
    return c;
}

std::vector<Case> cases()
{
    std::vector<Case> out;
    for (const std::string &n : filesIn(folder() + "/rfc3264", ".case"))
        out.push_back(load(n));
    return out;
}

class Cases : public AnswerTest, public ::testing::WithParamInterface<Case> {};

TEST_P(Cases, AnswerAsExpected)
{
    const Case &c = GetParam();
    SCOPED_TRACE(c.title);
    CSdp *local = parsed(c.local);
    ASSERT_NE(nullptr, local);
    uint32_t before = inUse();
    ZvSdpAnswerSession body = {nullptr, nullptr, nullptr, c.bodyAddress.c_str(), nullptr, nullptr};
    const ZvSdpAnswerSession *s = c.bodyAddress.empty() ? nullptr : &body;

    Answer text = fromText(c.offer, local, s);
    EXPECT_EQ(c.rc, text.rc);
    EXPECT_EQ(c.answer, text.text);
    if (c.rc == ZVSDP_RC_OK) {
        EXPECT_THAT(rfc3264::judge(c.offer, text.text, c.local), ::testing::IsEmpty());
    }
    if (!c.textOnly) {
        Answer message = fromMessage(c.offer, local, s);
        EXPECT_EQ(c.rc, message.rc);
        EXPECT_EQ(c.answer, message.text);
    }
    EXPECT_EQ(before, inUse());
    zvSdpDestruct(&local);
}

INSTANTIATE_TEST_SUITE_P(Folder, Cases, ::testing::ValuesIn(cases()), [](const ::testing::TestParamInfo<Case> &info) {
    std::string name = info.param.name;
    for (char &ch : name)
        if (!isalnum(static_cast<unsigned char>(ch)))
            ch = '_';
    return name;
});

}  // namespace
