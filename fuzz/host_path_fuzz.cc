// The host's path on arbitrary offer text: parse, print, mirror into a stack
// message and back out, negotiate against a fixed local session, filter
// telephone events, destroy. Nothing may crash, and nothing may stay in the
// pools afterwards.
#include <string>

#include "fuzz_common.h"
#include "rvsdp.h"

namespace {

// Both AMR bands' worth of negotiation and telephone events at two rates.
const char kLocal[] = "m=audio 5004 RTP/AVP 106 0 8 96 108\n"
                      "a=rtpmap:106 AMR/8000\na=fmtp:106 mode-set=0,2,4,7;max-red=200\n"
                      "a=rtpmap:96 telephone-event/8000\na=rtpmap:108 telephone-event/16000\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    CSdp *local = nullptr;
    const uint32_t before = fuzzsupport::beginInput(kLocal, &local);
    const std::string text = fuzzsupport::textOf(data, size);

    CSdp *remote = nullptr;
    uint32_t rc = zvSdpConstructFromString(text.c_str(), &remote);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_INVALID || rc == ZVSDP_RC_TRANSPORT ||
               rc == ZVSDP_RC_NO_RESOURCE);
    FUZZ_CHECK((rc == ZVSDP_RC_OK) == (remote != nullptr));
    if (remote) {
        char printed[1024];
        uint32_t length = sizeof printed;
        FUZZ_CHECK(zvSdpToString(remote, printed, &length) == ZVSDP_RC_OK);
        FUZZ_CHECK(length > 0 && length < sizeof printed);

        RvSdpMsg mirror;
        rc = zvSdpAppGetRvSdp(remote, &mirror);
        FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_EXTERNAL);
        rc = zvSdpRvMediaCopy(&mirror, remote);
        FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_EXTERNAL);
        rvSdpMsgDestruct(&mirror);

        CSdp *answer = nullptr;
        if (zvSdpConstruct(&answer) == ZVSDP_RC_OK) {
            zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local, answer, 1);
            FUZZ_CHECK(zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer) == ZVSDP_RC_OK);
            length = sizeof printed;
            FUZZ_CHECK(zvSdpToString(answer, printed, &length) == ZVSDP_RC_OK);
            FUZZ_CHECK(zvSdpDestruct(&answer) == ZVSDP_RC_OK);
        }
        FUZZ_CHECK(zvSdpDestruct(&remote) == ZVSDP_RC_OK);
    }
    fuzzsupport::endInput(before);
    return 0;
}
