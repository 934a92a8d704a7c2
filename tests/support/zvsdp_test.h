// What the library's tests share: records in use, the log lines in the
// library's format, objects as printed text, and the library started with
// pools of a given size (or only its class modules).
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "memm.h"
#include "rvsdp.h"
#include "syslog_capture.h"
#include "zvcommon.h"
#include "zvsdp.h"

namespace zvtest {

// ---- records in use --------------------------------------------------------

// In use over every pool of that name (the character storage of strings is
// spread over several pools of one name), or over every pool for NULL;
// `capacity` asks for the records the pools hold instead.
inline uint32_t inUse(const char *name = nullptr, bool capacity = false)
{
    uint32_t total = 0;
    for (int h = 0; h < MEMM_MAX_POOLS; ++h) {
        const char *n = memm_poolname(h);
        uint32_t used = 0, size = 0;
        if (n && (!name || std::string(n) == name) && memm_get_stats(h, &used, nullptr, &size) == 0)
            total += capacity ? size : used;
    }
    return total;
}

// Objects of the four classes.
inline uint32_t liveObjects()
{
    return inUse("zvsdpsdpobj") + inUse("zvsdpmediaobj") + inUse("zvsdppayloadobj") + inUse("zvsdpattrobj");
}

// Dynamic strings, their character storage and list records: an operation
// that leaks any of them moves this count.
inline uint32_t liveStringsAndLists()
{
    return inUse("zvdynstr") + inUse("zvchars") + inUse("zvllist");
}

// ---- log lines ---------------------------------------------------------------

// "tag|letter|function|text" of each captured line in the library's format,
// "<line>" for a line of another shape. The tag stays padded as written;
// the source line number is only checked to be one: it moves with every edit.
inline std::vector<std::string> logEntries()
{
    std::vector<std::string> out;
    for (const std::string &line : syslogTexts()) {
        // "<tag padded to 16>:<letter>: <function>:<number> - <text>"
        size_t colon = line.find(':', line.find(']')), dash = line.find(" - ");
        size_t number = colon == std::string::npos ? colon : line.find(':', colon + 4);
        bool ok = number < dash && dash != std::string::npos && line.compare(colon + 2, 2, ": ") == 0 &&
                  dash > number + 1 && line.find_first_not_of("0123456789", number + 1) == dash;
        out.push_back(!ok ? "<" + line + ">"
                          : line.substr(0, colon) + "|" + line[colon + 1] + "|" +
                                line.substr(colon + 4, number - colon - 4) + "|" + line.substr(dash + 3));
    }
    return out;
}

// One line as logEntries() shows it; the tag is padded as the library pads it.
inline std::string logEntry(std::string tag, char letter, const std::string &function, const std::string &text)
{
    if (tag.size() < 16)
        tag.resize(16, ' ');
    return tag + "|" + letter + "|" + function + "|" + text;
}
inline std::string apiLine(char letter, const std::string &function, const std::string &text)
{
    return logEntry("[ZVSDP::API]", letter, function, text);
}
inline std::string helperLog(char letter, const char *function, const std::string &text)
{
    return logEntry("[ZVSDP::HelperAPI]", letter, function, text);
}

// A pointer as %p prints it, and a result code's text.
inline std::string ptrText(const void *p)
{
    char buf[32];
    snprintf(buf, sizeof buf, "%p", p);
    return buf;
}
inline std::string rcText(uint32_t rc) { return zvPbxGetErrorString(rc); }

// ---- objects as text -----------------------------------------------------------

// A stack message's text as the stack encodes it ("" when over 2 KB).
inline std::string encoded(RvSdpMsg *msg)
{
    char buffer[2048];
    int n = rvSdpMsgEncodeToBuf(msg, buffer, sizeof buffer);
    return n >= 0 && n < static_cast<int>(sizeof buffer) ? std::string(buffer, n) : std::string();
}

inline std::string dynText(struct dynstr_s *s)
{
    const char *t = dynstr_cstr(s);
    return t ? t : "<null>";
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

// The session as the host prints it.
inline std::string printed(CSdp *s)
{
    char buffer[4096] = {};
    uint32_t length = sizeof buffer;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpToString(s, buffer, &length));
    return std::string(buffer, std::min<uint32_t>(length, sizeof buffer));
}

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

// The session's media in order.
inline std::vector<CMedia *> mediaOf(CSdp *s)
{
    std::vector<CMedia *> out;
    for (CMedia *m = zvSdpObjGetMedia(s, nullptr); m; m = zvSdpObjGetMedia(s, m))
        out.push_back(m);
    return out;
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

// ---- objects -----------------------------------------------------------------

// SDP text parsed into a session (the test fails when it does not parse), and
// a remote offer: session lines as a softphone sends them, then `media`.
inline CSdp *parsed(const std::string &text)
{
    CSdp *s = nullptr;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpConstructFromString(text.c_str(), &s)) << text;
    return s;
}
inline CSdp *offer(const std::string &media)
{
    return parsed("v=0\r\no=- 20518 0 IN IP4 203.0.113.60\r\ns=-\r\nc=IN IP4 203.0.113.60\r\nt=0 0\r\n" + media);
}

// An audio RTP/AVP media on `port` with payloads PCMU and telephone-event
// 101 (fmtp "0-15") and the given attributes ("name" or "name:value"),
// built with the object operations.
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

// ---- fixtures ----------------------------------------------------------------

// The four class modules alone, with pools of n sessions, 5n media, 10n
// payloads and 20n attributes: the API-initialised flag stays clear, so the
// checked operations keep refusing while the object operations work.
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

// The modules for `kUnit`; expectAllFreed() checks that no object, string or
// list is left.
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

// The whole library started with pools of `units`.
class LibraryTest : public ::testing::Test {
protected:
    explicit LibraryTest(uint32_t units = 4) : units_(units) {}
    void SetUp() override
    {
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(units_));
        syslogClear();
    }
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

// The library with pools of 2 units, a session holding one audio RTP/AVP
// media, and the API module logging everything.
class SessionTest : public LibraryTest {
protected:
    SessionTest() : LibraryTest(kUnit) {}
    void SetUp() override
    {
        LibraryTest::SetUp();
        zvSdpSetTraceLevel(4);
        ASSERT_EQ(0u, zvSdpConstruct(&sdp_));
        media_ = addMedia();
        syslogClear();
    }
    CMedia *addMedia(uint32_t type = ZVSDP_MT_AUDIO, uint32_t transport = ZVSDP_TP_RTPAVP)
    {
        CMedia *m = nullptr;
        EXPECT_EQ(0u, zvSdpAddMediaDescriptor(sdp_, type, transport, &m));
        return m;
    }
    CAttribute *addAttribute(const char *name, const char *value, CMedia *m = nullptr)
    {
        CAttribute *a = nullptr;
        EXPECT_EQ(0u, zvSdpMediaAddAttribute(m ? m : media_, name, value, &a));
        return a;
    }

    static constexpr uint32_t kUnit = 2;
    CSdp *sdp_ = nullptr;
    CMedia *media_ = nullptr;
};

// A handle that is no object: what an out handle must be cleared of, or keep.
template <typename T>
T *junk()
{
    return reinterpret_cast<T *>(0x1);
}

}  // namespace zvtest
