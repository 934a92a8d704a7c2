// zvSdpCopyRvMedia from whatever message the SDP stack makes of arbitrary
// bytes, into a fresh session and into one that already holds media; then
// everything the host does with the result: print, mirror back, negotiate,
// filter and destroy. Nothing may leak from the pools.
#include "fuzz_common.h"
#include "rvsdp.h"

namespace {

// The local capabilities the gateway negotiates against.
const char kLocal[] = "m=audio 5004 RTP/AVP 107 8 96\n"
                      "a=rtpmap:107 AMR-WB/16000\na=fmtp:107 mode-set=0,1,2;octet-align=1\n"
                      "a=rtpmap:96 telephone-event/8000\na=fmtp:96 0-15\n";

void useSession(CSdp *session, CSdp *local)
{
    char text[1024];
    uint32_t length = sizeof text;
    FUZZ_CHECK(zvSdpToString(session, text, &length) == ZVSDP_RC_OK);
    FUZZ_CHECK(length < sizeof text && strlen(text) == length);

    RvSdpMsg mirror;
    rvSdpMsgConstruct(&mirror);
    uint32_t rc = zvSdpRvMediaCopy(&mirror, session);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_EXTERNAL);
    rvSdpMsgDestruct(&mirror);

    CSdp *answer = nullptr;
    if (zvSdpConstruct(&answer) == ZVSDP_RC_OK) {
        zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(session, local, answer, 1);
        zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer);
        length = sizeof text;
        zvSdpToString(answer, text, &length);
        zvSdpDestruct(&answer);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > UINT32_MAX)
        return 0;
    CSdp *local = nullptr;
    const uint32_t before = fuzzsupport::beginInput(kLocal, &local);

    RvSdpMsg msg;
    uint32_t length = static_cast<uint32_t>(size);
    int status = 0;
    if (!rvSdpMsgConstructParse(&msg, reinterpret_cast<const char *>(data), &length, &status))
        return 0;

    CSdp *session = nullptr;
    FUZZ_CHECK(zvSdpConstruct(&session) == ZVSDP_RC_OK);
    uint32_t rc = zvSdpCopyRvMedia(session, &msg);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_EXTERNAL);
    useSession(session, local);
    // Copying again replaces the media the session holds.
    rc = zvSdpCopyRvMedia(session, &msg);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_EXTERNAL);
    useSession(session, local);
    FUZZ_CHECK(zvSdpDestruct(&session) == ZVSDP_RC_OK);
    rvSdpMsgDestruct(&msg);
    fuzzsupport::endInput(before);
    return 0;
}
