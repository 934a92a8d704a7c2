// Starting the four class modules without the rest of the library, and the
// printed text of objects, for the object-model tests.
#pragma once

#include <cstring>
#include <initializer_list>
#include <string>

#include "zvsdp_test_util.h"

namespace zvtest {

// The class modules alone: the API-initialised flag stays clear, so the
// guarded operations keep refusing while the object operations work.
inline void startModules(uint32_t n)
{
    ASSERT_EQ(1u, zvSdpObjApiInit(n));
    ASSERT_EQ(1u, zvSdpMediaObjApiInit(5 * n));
    ASSERT_EQ(1u, zvSdpPayloadObjApiInit(10 * n));
    ASSERT_EQ(1u, zvSdpAttrObjApiInit(20 * n));
}

inline void stopModules()
{
    zvSdpObjApiDestroy();
    zvSdpMediaObjApiDestroy();
    zvSdpPayloadObjApiDestroy();
    zvSdpAttrObjApiDestroy();
}

// The text an object prints into `size` bytes; the reported length must match.
template <typename T>
std::string textOf(char *(*print)(T *, char *, uint32_t *), T *object, uint32_t size)
{
    std::string buf(size, '\x7f');
    uint32_t length = size;
    print(object, &buf[0], &length);
    EXPECT_EQ(strlen(buf.c_str()), length);
    return buf.c_str();
}
inline std::string attrText(CAttribute *a, uint32_t size = 256) { return textOf(zvSdpAttrObjToString, a, size); }
inline std::string mediaText(CMedia *m, uint32_t size = 2048) { return textOf(zvSdpMediaObjToString, m, size); }
inline std::string sessionText(CSdp *s, uint32_t size = 4096) { return textOf(zvSdpObjToString, s, size); }

// The modules with pools for `kUnit` sessions; expectAllFreed() checks that
// no object, string or list is left.
template <uint32_t kUnit>
class ObjectTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        startModules(kUnit);
        baseline_ = liveStringsAndLists();
    }
    void TearDown() override { stopModules(); }
    void expectAllFreed()
    {
        EXPECT_EQ(0u, liveObjects());
        EXPECT_EQ(baseline_, liveStringsAndLists());
    }
    uint32_t baseline_ = 0;
};

// An audio RTP/AVP media on `port` with payloads PCMU and telephone-event
// 101 (fmtp "0-15") and the given attributes ("name" or "name:value").
inline CMedia *audioMedia(uint32_t port, std::initializer_list<const char *> attributes = {"sendrecv"})
{
    CMedia *m = zvSdpMediaObjConstruct(ZVSDP_TP_RTPAVP, ZVSDP_MT_AUDIO);
    if (!m)
        return nullptr;
    zvSdpMediaObjSetPort(m, port);
    zvSdpMediaObjAddPayload(m, zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1));
    CPayload *te = zvSdpPayloadObjConstructEx(101, "telephone-event", 8000, 1);
    if (te)
        zvSdpPayloadObjSetFmtp(te, "0-15");
    zvSdpMediaObjAddPayload(m, te);
    for (const std::string a : attributes) {
        size_t colon = a.find(':');
        const char *value = colon == std::string::npos ? nullptr : a.c_str() + colon + 1;
        zvSdpMediaObjAddAttribute(m, zvSdpAttrObjConstruct(a.substr(0, colon).c_str(), value));
    }
    return m;
}

inline const char *kAudioText =
    "m=audio 5004 RTP/AVP 0 101\n"
    "a=rtpmap:101 telephone-event/8000\n"
    "a=fmtp:101 0-15\n"
    "a=sendrecv\n";

}  // namespace zvtest
