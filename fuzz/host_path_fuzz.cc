// The host's path on arbitrary offer text: parse, print, mirror into a stack
// message and back out, negotiate against a fixed local session, filter
// telephone events, destroy. Nothing may crash, and nothing may stay in the
// pools afterwards.
#include <string>

#include "fuzz_common.h"
#include "rvsdp.h"

namespace {

CSdp *g_local;

void buildLocal()
{
    FUZZ_CHECK(zvSdpConstruct(&g_local) == ZVSDP_RC_OK);
    CMedia *audio = nullptr;
    FUZZ_CHECK(zvSdpAddMediaDescriptor(g_local, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio) == ZVSDP_RC_OK);
    zvSdpMediaAddPayload(audio, 106, "AMR", 8000, 1, "mode-set=0,2,4,7;max-red=200", nullptr);
    zvSdpMediaAddStaticPayloadType(audio, 0, nullptr);
    zvSdpMediaAddStaticPayloadType(audio, 8, nullptr);
    zvSdpMediaAddDynamicPayload(audio, 96, nullptr);
    zvSdpMediaAddDynamicPayload(audio, 108, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzsupport::startOnce();
    if (!g_local)
        buildLocal();
    const uint32_t before = fuzzsupport::recordsInUse();
    // The library takes NUL-terminated text; whatever follows a NUL is not
    // part of it.
    std::string text(reinterpret_cast<const char *>(data), size);

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
            zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, g_local, answer, 1);
            FUZZ_CHECK(zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer) == ZVSDP_RC_OK);
            length = sizeof printed;
            FUZZ_CHECK(zvSdpToString(answer, printed, &length) == ZVSDP_RC_OK);
            FUZZ_CHECK(zvSdpDestruct(&answer) == ZVSDP_RC_OK);
        }
        FUZZ_CHECK(zvSdpDestruct(&remote) == ZVSDP_RC_OK);
    }
    FUZZ_CHECK(fuzzsupport::recordsInUse() == before);
    return 0;
}
