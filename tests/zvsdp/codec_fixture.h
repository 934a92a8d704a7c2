// The library started for real, offers parsed from text and local
// capabilities built the way a host builds them, for the AMR, negotiation,
// telephone-event and HelperAPI tests.
#pragma once

#include <initializer_list>
#include <string>

#include "zvsdp_test_util.h"

namespace zvtest {

// Failure injection (telephone_events_test.cc): when set to n > 0, the n-th
// following zvSdpGetNextMediaDescriptor call answers g_nextMediaFailure
// instead of walking on.
extern int g_nextMediaFailsAt;
extern uint32_t g_nextMediaFailure;

// The four class modules alone: the initialised flag stays clear, so the
// guarded operations refuse while the object operations work.
inline void startClassModules(uint32_t n)
{
    ASSERT_EQ(1u, zvSdpObjApiInit(n));
    ASSERT_EQ(1u, zvSdpMediaObjApiInit(5 * n));
    ASSERT_EQ(1u, zvSdpPayloadObjApiInit(10 * n));
    ASSERT_EQ(1u, zvSdpAttrObjApiInit(20 * n));
}

inline void stopClassModules()
{
    zvSdpObjApiDestroy();
    zvSdpMediaObjApiDestroy();
    zvSdpPayloadObjApiDestroy();
    zvSdpAttrObjApiDestroy();
}

// Objects of all four classes in use.
inline uint32_t objectsInUse()
{
    uint32_t total = 0;
    for (const char *pool : {"zvsdpsdpobj", "zvsdpmediaobj", "zvsdppayloadobj", "zvsdpattrobj"})
        total += statsOf(poolNamed(pool)).inUse;
    return total;
}

// The session's text from the unguarded printer, which works uninitialised.
inline std::string objectText(CSdp *s)
{
    char buffer[4096];
    uint32_t length = sizeof buffer;
    zvSdpObjToString(s, buffer, &length);
    return std::string(buffer, length);
}

// An audio media made with object operations: PCMU and telephone-event 101.
inline CMedia *pcmuAndEvents()
{
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    zvSdpMediaObjSetPort(m, 5004);
    zvSdpMediaObjAddPayload(m, zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1));
    zvSdpMediaObjAddPayload(m, zvSdpPayloadObjConstructEx(101, "telephone-event", 8000, 1));
    return m;
}

inline const char *kPcmuAndEventsText = "m=audio 5004 RTP/AVP 0 101\na=rtpmap:101 telephone-event/8000\n";

// Starts the whole library with pools of `units` (n sessions, 5n media,
// 10n payloads, 20n attributes) and checks at the end that every object
// went back to its pool.
class LibraryTest : public ::testing::Test {
protected:
    explicit LibraryTest(uint32_t units = 4) : units_(units) {}

    void SetUp() override
    {
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(units_));
        syslogClear();
    }

    void TearDown() override { zvSdpAppDestroy(); }

    // Destroys the sessions (NULL ones are skipped) and expects no object of
    // any class to remain.
    static void destroyAll(std::initializer_list<CSdp *> sessions)
    {
        for (CSdp *s : sessions) {
            CSdp *handle = s;
            if (handle) {
                EXPECT_EQ(ZVSDP_RC_OK, zvSdpDestruct(&handle));
            }
        }
        EXPECT_EQ(0u, objectsInUse());
    }

private:
    uint32_t units_;
};

inline std::string helperLog(const char *letter, const char *function, const std::string &text)
{
    return std::string("[ZVSDP::HelperAPI]|") + letter + "|" + function + "|" + text;
}

inline std::string apiLog(const char *letter, const char *function, const std::string &text)
{
    return std::string("[ZVSDP::API]    |") + letter + "|" + function + "|" + text;
}

inline std::string rcText(uint32_t rc)
{
    return zvPbxGetErrorString(rc);
}

// The session as the host prints it.
inline std::string printed(CSdp *s)
{
    char buffer[4096];
    uint32_t length = sizeof buffer;
    uint32_t rc = zvSdpToString(s, buffer, &length);
    EXPECT_EQ(ZVSDP_RC_OK, rc);
    return rc == ZVSDP_RC_OK ? std::string(buffer, length) : "<result " + std::to_string(rc) + ">";
}

// A remote offer: session lines as a softphone sends them, then `media`
// (m= sections with CRLF or LF line ends).
inline CSdp *offer(const std::string &media)
{
    std::string text = "v=0\r\n"
                       "o=- 20518 0 IN IP4 203.0.113.60\r\n"
                       "s=-\r\n"
                       "c=IN IP4 203.0.113.60\r\n"
                       "t=0 0\r\n" +
                       media;
    CSdp *s = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString(text.c_str(), &s));
    return s;
}

// A local-capability session of one media on port 5004 (RTP/AVP unless
// told otherwise); payloads are added by the caller.
inline CSdp *localSession(ZvSdpMediaType type, CMedia **media,
                          ZvSdpTransportProtocol transport = ZVSDP_TP_RTPAVP)
{
    CSdp *s = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstruct(&s));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(s, type, transport, media));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaSetPort(*media, 5004));
    return s;
}

inline void addFromTable(CMedia *media, std::initializer_list<uint32_t> payloadTypes)
{
    for (uint32_t pt : payloadTypes) {
        CPayload *p = nullptr;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddPayloadFromPayloadType(media, pt, &p)) << pt;
    }
}

inline CPayload *addPayload(CMedia *media, uint32_t pt, const char *name, uint32_t clock,
                            const char *fmtp = nullptr)
{
    CPayload *p = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaAddPayload(media, pt, name, clock, 1, fmtp, &p));
    return p;
}

inline CMedia *firstMedia(CSdp *s)
{
    CMedia *m = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpGetFirstMediaDescriptor(s, &m));
    return m;
}

inline uint32_t payloadTypeOf(CPayload *p)
{
    return p ? zvSdpPayloadObjGetPayloadType(p) : 999u;
}

}  // namespace zvtest
