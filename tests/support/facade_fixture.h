// A started library with one empty session, the same objects with only the
// class modules running, and what the tests of the checked operations share:
// log lines, canary buffers and a media's content as one string.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "object_fixture.h"

namespace zvtest {

inline std::string ptrText(const void *p)
{
    char buf[32];
    snprintf(buf, sizeof buf, "%p", p);
    return buf;
}

inline std::string apiLine(char letter, const std::string &function, const std::string &text)
{
    return logEntry("[ZVSDP::API]", letter, function, text);
}

// A buffer with guard bytes behind the size handed to the library.
struct Canary {
    static constexpr char kFill = '\x5a';
    explicit Canary(size_t size) : bytes(size + 16, kFill) {}
    char *data() { return bytes.data(); }
    // True when no byte from `limit` on was written.
    bool untouchedFrom(size_t limit) const
    {
        return std::all_of(bytes.begin() + limit, bytes.end(), [](char c) { return c == kFill; });
    }
    std::string text() const { return std::string(bytes.data(), strnlen(bytes.data(), bytes.size())); }
    std::vector<char> bytes;
};

// "PCMU/8000/1:0 ..." for each payload (name/clock/channels:type) in order.
inline std::string payloadList(CMedia *m)
{
    std::string out;
    for (CPayload *p = zvSdpMediaObjGetPayload(m, nullptr); p; p = zvSdpMediaObjGetPayload(m, p))
        out += (out.empty() ? "" : " ") + dynText(zvSdpPayloadObjGetName(p)) + "/" +
               std::to_string(zvSdpPayloadObjGetClock(p)) + "/" + std::to_string(zvSdpPayloadObjGetChannels(p)) +
               ":" + std::to_string(zvSdpPayloadObjGetPayloadType(p));
    return out;
}

class FacadeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0u, zvSdpAppInit(kUnit));
        zvSdpSetTraceLevel(4);
        ASSERT_EQ(0u, zvSdpConstruct(&sdp_));
        syslogClear();
    }
    void TearDown() override { zvSdpAppDestroy(); }

    CMedia *addMedia(uint32_t type = ZVSDP_MT_AUDIO, uint32_t transport = ZVSDP_TP_RTPAVP)
    {
        CMedia *m = nullptr;
        EXPECT_EQ(0u, zvSdpAddMediaDescriptor(sdp_, type, transport, &m));
        return m;
    }

    static constexpr uint32_t kUnit = 2;
    CSdp *sdp_ = nullptr;
};

// The class modules without the API flag: real handles that every guarded
// operation must refuse without changing them.
class NotInitialisedTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        startModules(2);
        zvSdpSetTraceLevel(4);
        sdp_ = zvSdpObjConstruct();
        media_ = audioMedia(5004, {"ptime:20", "silenceSupp:off - - - -"});
        ASSERT_TRUE(sdp_ && media_);
        zvSdpObjAddMedia(sdp_, media_);
        payload_ = zvSdpMediaObjGetPayload(media_, nullptr);
        attribute_ = zvSdpMediaObjGetAttribute(media_, nullptr);
        before_ = mediaText(media_);
        syslogClear();
    }
    void TearDown() override
    {
        EXPECT_EQ(before_, mediaText(media_));
        zvSdpObjDestruct(sdp_);
        stopModules();
    }

    CSdp *sdp_ = nullptr;
    CMedia *media_ = nullptr;
    CPayload *payload_ = nullptr;
    CAttribute *attribute_ = nullptr;
    std::string before_;
};

}  // namespace zvtest
