// The library started for real, offers parsed from text and local capabilities
// built the way a host builds them, for the codec, AMR, negotiation and text tests.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "zvsdp_test_util.h"

namespace zvtest {

// Starts the whole library with pools of `units` (n sessions, 5n media,
// 10n payloads, 20n attributes).
class LibraryTest : public ::testing::Test {
protected:
    explicit LibraryTest(uint32_t units = 4) : units_(units) {}
    void SetUp() override { ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(units_)); syslogClear(); }
    void TearDown() override { zvSdpAppDestroy(); }

    // Destroys the sessions (NULL ones are skipped); no object may remain.
    static void destroyAll(std::initializer_list<CSdp *> sessions)
    {
        for (CSdp *handle : sessions)
            EXPECT_TRUE(!handle || zvSdpDestruct(&handle) == ZVSDP_RC_OK);
        EXPECT_EQ(0u, liveObjects());
    }

private:
    uint32_t units_;
};

inline std::string helperLog(char letter, const char *function, const std::string &text)
{
    return logEntry("[ZVSDP::HelperAPI]", letter, function, text);
}

inline std::string rcText(uint32_t rc) { return zvPbxGetErrorString(rc); }

// The session as the host prints it.
inline std::string printed(CSdp *s)
{
    char buffer[4096] = {};
    uint32_t length = sizeof buffer;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpToString(s, buffer, &length));
    return std::string(buffer, std::min<uint32_t>(length, sizeof buffer));
}

// A remote offer: session lines as a softphone sends them, then `media`.
inline CSdp *offer(const std::string &media)
{
    std::string text = "v=0\r\no=- 20518 0 IN IP4 203.0.113.60\r\ns=-\r\nc=IN IP4 203.0.113.60\r\nt=0 0\r\n" + media;
    CSdp *s = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString(text.c_str(), &s));
    return s;
}

// A local-capability session of one audio media on port 5004 with
// `payloads` from the table.
inline CSdp *localSession(CMedia **media, std::initializer_list<uint32_t> payloads = {},
                          ZvSdpTransportProtocol transport = ZVSDP_TP_RTPAVP)
{
    CSdp *s = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&s));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(s, ZVSDP_MT_AUDIO, transport, media));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaSetPort(*media, 5004));
    for (uint32_t pt : payloads) {
        CPayload *p = nullptr;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddPayloadFromPayloadType(*media, pt, &p)) << pt;
    }
    return s;
}

// The session's media in order.
inline std::vector<CMedia *> mediaOf(CSdp *s)
{
    std::vector<CMedia *> out;
    for (CMedia *m = zvSdpObjGetMedia(s, nullptr); m; m = zvSdpObjGetMedia(s, m))
        out.push_back(m);
    return out;
}

inline uint32_t payloadTypeOf(CPayload *p) { return p ? zvSdpPayloadObjGetPayloadType(p) : 999u; }

}  // namespace zvtest
