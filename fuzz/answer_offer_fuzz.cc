// The RFC 3264 answer on arbitrary offer text: from the text (media sections,
// a complete body, a buffer far too small) and from the stack's parse of the
// same text. Nothing may crash, a refusal must be a documented code, an
// answer must be terminated text of the length reported whose lines are the
// answer's kinds, and nothing may stay in the pools.
#include <string>
#include <vector>

#include "fuzz_common.h"
#include "rvsdp.h"

namespace {

const char kLocal[] = "m=audio 5004 RTP/AVP 107 106 8 0 13 96 108\n"
                        "a=rtpmap:107 AMR-WB/16000\na=fmtp:107 mode-set=0,1,2;mode-change-capability=2\n"
                        "a=rtpmap:106 AMR/8000\na=fmtp:106 mode-set=0,2,4,7;octet-align=1;max-red=0\n"
                        "a=rtpmap:96 telephone-event/8000\na=fmtp:96 0-15\n"
                        "a=rtpmap:108 telephone-event/16000\na=ptime:20\na=sendrecv\n";

// Every line of an answer starts with one of the letters it may hold.
void checkAnswer(const char *text, uint32_t length, const char *letters)
{
    FUZZ_CHECK(strlen(text) == length);
    FUZZ_CHECK(length > 0 && text[length - 1] == '\n');
    bool media = false;
    for (const char *line = text; *line; line = strchr(line, '\n') + 1) {
        FUZZ_CHECK(strchr(letters, line[0]) && line[1] == '=');
        media = media || line[0] == 'm';
    }
    FUZZ_CHECK(media);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    CSdp *local = nullptr;
    const uint32_t before = fuzzsupport::beginInput(kLocal, &local);
    const std::string text = fuzzsupport::textOf(data, size);
    std::vector<char> out(2 * size + 4096);

    uint32_t length = static_cast<uint32_t>(out.size());
    uint32_t rc = zvSdpHelperAnswerOffer(text.c_str(), local, nullptr, out.data(), &length);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_INVALID);
    if (rc == ZVSDP_RC_OK)
        checkAnswer(out.data(), length, "ma");
    else
        FUZZ_CHECK(length == 0 && out[0] == '\0');
    std::string media(out.data(), rc == ZVSDP_RC_OK ? length : 0);

    // A small buffer learns the size the same answer needs.
    char small[16];
    length = sizeof small;
    uint32_t smallRc = zvSdpHelperAnswerOffer(text.c_str(), local, nullptr, small, &length);
    FUZZ_CHECK(smallRc == ZVSDP_RC_OK || smallRc == ZVSDP_RC_INVALID);
    FUZZ_CHECK(small[0] == '\0' || smallRc == ZVSDP_RC_OK);
    if (rc == ZVSDP_RC_OK)
        FUZZ_CHECK(length == media.size());

    ZvSdpAnswerSession session = {"gw", "1", "2", "192.0.2.1", nullptr, "call"};
    length = static_cast<uint32_t>(out.size());
    uint32_t bodyRc = zvSdpHelperAnswerOffer(text.c_str(), local, &session, out.data(), &length);
    FUZZ_CHECK(bodyRc == rc);
    if (bodyRc == ZVSDP_RC_OK) {
        checkAnswer(out.data(), length, "vosctrma");
        FUZZ_CHECK(length > media.size() && memcmp(out.data() + length - media.size(), media.data(), media.size()) == 0);
    }

    RvSdpMsg message;
    uint32_t parsed = static_cast<uint32_t>(size);
    int status = 0;
    rvSdpMsgConstructParse(&message, text.c_str(), &parsed, &status);
    length = static_cast<uint32_t>(out.size());
    rc = zvSdpHelperAnswerRvOffer(&message, local, nullptr, out.data(), &length);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_INVALID);
    if (rc == ZVSDP_RC_OK)
        checkAnswer(out.data(), length, "ma");
    rvSdpMsgDestruct(&message);

    fuzzsupport::endInput(before);
    return 0;
}
