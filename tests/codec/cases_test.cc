// The offer/answer cases of cases/, one file each, answered as the zvsdp
// tool's `answer` runs them: rfc3264/ by the RFC 3264 answer, from the text
// and (unless "text-only") from the stack's parse of it, each answer also
// judged by the RFC 3264 checker; builder/ by the capability builder on the
// parsed offer, the new session printed. A case file:
//
//   title: what the case shows
//   flags: crlf (offer lines end in CRLF) | rc=N (the result code, of the
//          offer's parse or of the answer) | rfc3264/: text-only, body=ADDRESS
//          (a complete body), unchecked (past a limit of the answerer, so not
//          judged) | builder/: keep-unmatched, filter-dtmf
//   local: FILE    offer: FILE    answer: FILE    (paths in the source tree)
//   == local       == offer       == answer       (or the text itself)
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

#include "answer_support.h"
#include "rfc3264_checker.h"

using namespace zvtest;

namespace {

struct Case {
    std::string name, title, local, offer, answer, body, error;
    std::set<std::string> flags;
    bool rfc3264 = false;
    uint32_t rc = ZVSDP_RC_OK;
    bool has(const char *flag) const { return flags.count(flag) != 0; }
};

Case load(const std::string &folder, const std::string &file)
{
    Case c;
    c.name = folder + "_" + file.substr(0, file.size() - 5);
    c.rfc3264 = folder == "rfc3264";
    const std::set<std::string> known = c.rfc3264 ? std::set<std::string>{"crlf", "text-only", "unchecked"}
                                                  : std::set<std::string>{"crlf", "keep-unmatched", "filter-dtmf"};
    std::map<std::string, std::string *> parts = {{"local", &c.local}, {"offer", &c.offer}, {"answer", &c.answer}};
    std::istringstream in(sourceFile("tests/codec/cases/" + folder + "/" + file));
    std::string line, section;
    while (std::getline(in, line)) {
        if (line.rfind("== ", 0) == 0) {
            section = line.substr(3);
            c.error += parts.count(section) ? "" : " section " + section;
        } else if (!section.empty() && parts.count(section)) {
            *parts[section] += line + (section == "offer" && c.has("crlf") ? "\r\n" : "\n");
        } else if (section.empty() && !line.empty()) {
            size_t colon = line.find(':');
            std::string key = line.substr(0, colon), value = colon == std::string::npos ? "" : line.substr(colon + 1);
            value.erase(0, value.find_first_not_of(' '));
            std::istringstream words(key == "flags" ? value : "");
            for (std::string flag; words >> flag;) {
                c.flags.insert(flag);
                if (flag.rfind("rc=", 0) == 0)
                    c.rc = static_cast<uint32_t>(std::strtoul(flag.c_str() + 3, nullptr, 10));
                else if (c.rfc3264 && flag.rfind("body=", 0) == 0)
                    c.body = flag.substr(5);
                else if (!known.count(flag))
                    c.error += " flag " + flag;
            }
            if (key == "title")
                c.title = value;
            else if (parts.count(key) && (*parts[key] = sourceFile(value)).empty())
                c.error += " file " + value;
            else if (key != "flags" && !parts.count(key))
                c.error += " key " + key;
        }
    }
    return c;
}

std::vector<Case> cases()
{
    std::vector<Case> out;
    for (const char *folder : {"rfc3264", "builder"})
        for (const std::string &file : filesIn(std::string(ZVSDP_SOURCE_DIR) + "/tests/codec/cases/" + folder, ".case"))
            out.push_back(load(folder, file));
    return out;
}

// The capability builder as `zvsdp answer` runs it.
Answer build(const Case &c, CSdp *local)
{
    Answer a;
    CSdp *remote = nullptr, *answer = nullptr;
    a.rc = zvSdpConstructFromString(c.offer.c_str(), &remote);
    if (a.rc == ZVSDP_RC_OK)
        a.rc = zvSdpConstruct(&answer);
    if (a.rc == ZVSDP_RC_OK)
        a.rc = zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local, answer,
                                                                            c.has("keep-unmatched") ? 0 : 1);
    if (a.rc == ZVSDP_RC_OK && c.has("filter-dtmf"))
        a.rc = zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer);
    if (a.rc == ZVSDP_RC_OK)
        a.text = printed(answer);
    for (CSdp *s : {remote, answer})
        EXPECT_TRUE(!s || zvSdpDestruct(&s) == ZVSDP_RC_OK);
    return a;
}

void PrintTo(const Case &c, std::ostream *os)
{
    *os << c.name;
}

class Cases : public AnswerTest, public ::testing::WithParamInterface<Case> {};

TEST_P(Cases, AnswerAsExpected)
{
    const Case &c = GetParam();
    SCOPED_TRACE(c.title);
    ASSERT_EQ("", c.error) << "not understood in the case file";
    CSdp *local = parsed(c.local);
    ASSERT_NE(nullptr, local);
    const uint32_t before = inUse();
    if (!c.rfc3264) {
        Answer a = build(c, local);
        EXPECT_EQ(c.rc, a.rc);
        EXPECT_EQ(c.answer, a.text);
    } else {
        ZvSdpAnswerSession body = {nullptr, nullptr, nullptr, c.body.c_str(), nullptr, nullptr};
        const ZvSdpAnswerSession *s = c.body.empty() ? nullptr : &body;
        Answer text = fromText(c.offer, local, s);
        EXPECT_EQ(c.rc, text.rc);
        EXPECT_EQ(c.answer, text.text);
        if (c.rc == ZVSDP_RC_OK && !c.has("unchecked")) {
            EXPECT_THAT(rfc3264::judge(c.offer, text.text, c.local), ::testing::IsEmpty());
        }
        if (!c.has("text-only")) {
            Answer message = fromMessage(c.offer, local, s);
            EXPECT_EQ(c.rc, message.rc);
            EXPECT_EQ(c.answer, message.text);
        }
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
