#include "answer_support.h"

#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace zvtest {

std::string sourceFile(const std::string &relative)
{
    std::ifstream in(std::string(ZVSDP_SOURCE_DIR) + "/" + relative, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> filesIn(const std::string &folder, const std::string &suffix)
{
    std::vector<std::string> names;
    DIR *dir = opendir(folder.c_str());
    if (!dir)
        return names;
    // readdir64 on glibc: the 32-bit readdir fails with EOVERFLOW on the
    // 64-bit directory offsets of ext4, which a 32-bit target run under
    // qemu-user meets.
#ifdef __GLIBC__
    while (dirent64 *e = readdir64(dir)) {
#else
    while (dirent *e = readdir(dir)) {
#endif
        std::string n = e->d_name;
        if (n.size() > suffix.size() && n.compare(n.size() - suffix.size(), suffix.size(), suffix) == 0)
            names.push_back(n);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
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

}  // namespace zvtest
