#include "answer_support.h"

#include <fstream>
#include <sstream>

#include "memm.h"

namespace answertest {

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

CSdp *session(const std::string &text)
{
    CSdp *s = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString(text.c_str(), &s)) << text;
    return s;
}

uint32_t recordsInUse()
{
    uint32_t total = 0;
    for (int pool = 0; pool < MEMM_MAX_POOLS; ++pool) {
        uint32_t inUse = 0;
        if (memm_get_stats(pool, &inUse, nullptr, nullptr) == 0)
            total += inUse;
    }
    return total;
}

namespace {

// Asks with a buffer of the answer's size, as a host that asked for the size
// first would; the size answer itself is checked on the way.
template <typename Call>
Answer ask(Call call)
{
    Answer a;
    char probe[8];
    uint32_t length = sizeof probe;
    a.rc = call(probe, &length);
    if (a.rc == ZVSDP_RC_OK) {
        a.text.assign(probe, length);
        return a;
    }
    if (a.rc != ZVSDP_RC_INVALID || length == 0) {
        EXPECT_EQ(0u, length);
        EXPECT_STREQ("", probe);
        return a;
    }
    EXPECT_STREQ("", probe);
    std::string buffer(length + 1, '#');
    uint32_t size = length + 1;
    a.rc = call(&buffer[0], &size);
    EXPECT_EQ(length, size);
    EXPECT_EQ('\0', buffer[length]);
    a.text.assign(buffer.data(), size);
    return a;
}

}  // namespace

Answer fromText(const std::string &offer, CSdp *local, const ZvSdpAnswerSession *session)
{
    return ask([&](char *out, uint32_t *length) {
        return zvSdpHelperAnswerOffer(offer.c_str(), local, session, out, length);
    });
}

Answer fromMessage(const std::string &offer, CSdp *local, const ZvSdpAnswerSession *session)
{
    RvSdpMsg message;
    uint32_t length = static_cast<uint32_t>(offer.size());
    int status = 0;
    rvSdpMsgConstructParse(&message, offer.c_str(), &length, &status);
    Answer a = ask([&](char *out, uint32_t *size) {
        return zvSdpHelperAnswerRvOffer(&message, local, session, out, size);
    });
    rvSdpMsgDestruct(&message);
    return a;
}

void AnswerTest::SetUp()
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(8));
}

void AnswerTest::TearDown()
{
    zvSdpAppDestroy();
}

}  // namespace answertest
