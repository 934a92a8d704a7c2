// zvSdpCopyRvMedia from whatever message the SDP stack makes of arbitrary
// bytes, into a fresh session and into one that already holds media; then
// everything the host does with the result: print, mirror back, negotiate,
// filter and destroy. Nothing may leak from the pools.
#include "fuzz_common.h"
#include "rvsdp.h"

namespace {

CSdp *g_local;

// The local capabilities the gateway negotiates against.
void buildLocal()
{
    FUZZ_CHECK(zvSdpConstruct(&g_local) == ZVSDP_RC_OK);
    CMedia *audio = nullptr;
    FUZZ_CHECK(zvSdpAddMediaDescriptor(g_local, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio) == ZVSDP_RC_OK);
    zvSdpMediaAddPayload(audio, 107, "AMR-WB", 16000, 1, "mode-set=0,1,2;octet-align=1", nullptr);
    zvSdpMediaAddPayload(audio, 8, "PCMA", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddPayload(audio, 96, "telephone-event", 8000, 1, "0-15", nullptr);
}

void useSession(CSdp *session)
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
        zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(session, g_local, answer, 1);
        zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer);
        length = sizeof text;
        zvSdpToString(answer, text, &length);
        zvSdpDestruct(&answer);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzsupport::startOnce();
    if (!g_local)
        buildLocal();
    if (size > UINT32_MAX)
        return 0;
    const uint32_t before = fuzzsupport::recordsInUse();

    RvSdpMsg msg;
    uint32_t length = static_cast<uint32_t>(size);
    int status = 0;
    if (!rvSdpMsgConstructParse(&msg, reinterpret_cast<const char *>(data), &length, &status))
        return 0;

    CSdp *session = nullptr;
    FUZZ_CHECK(zvSdpConstruct(&session) == ZVSDP_RC_OK);
    uint32_t rc = zvSdpCopyRvMedia(session, &msg);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_EXTERNAL);
    useSession(session);
    // Copying again replaces the media the session holds.
    rc = zvSdpCopyRvMedia(session, &msg);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_EXTERNAL);
    useSession(session);
    FUZZ_CHECK(zvSdpDestruct(&session) == ZVSDP_RC_OK);
    rvSdpMsgDestruct(&msg);
    FUZZ_CHECK(fuzzsupport::recordsInUse() == before);
    return 0;
}
