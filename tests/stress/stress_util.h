// Offers, pool counts and session text shared by the stress and exhaustion
// tests.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "memm.h"
#include "zvsdp.h"

namespace stress {

// Offers as gateways receive them: a phone's, a trunk's with both AMR bands
// and events at both rates, and a video phone's.
const char kPhoneOffer[] =
    "v=0\r\no=- 3712 3712 IN IP4 198.51.100.7\r\ns=-\r\nc=IN IP4 198.51.100.7\r\nt=0 0\r\n"
    "m=audio 16384 RTP/AVP 0 8 101\r\na=rtpmap:0 PCMU/8000\r\na=rtpmap:8 PCMA/8000\r\n"
    "a=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-16\r\na=ptime:20\r\na=sendrecv\r\n";
const char kTrunkOffer[] =
    "v=0\r\no=gw 1 2 IN IP4 203.0.113.41\r\ns=call\r\nc=IN IP4 203.0.113.41\r\nt=0 0\r\n"
    "m=audio 40378 RTP/AVP 107 106 9 8 0 18 96 108\r\n"
    "a=rtpmap:107 AMR-WB/16000/1\r\na=fmtp:107 mode-set=0,1,2;octet-align=1;max-red=0\r\n"
    "a=rtpmap:106 AMR/8000/1\r\na=fmtp:106 mode-set=0,2,4,7;octet-align=1\r\n"
    "a=rtpmap:9 G722/8000\r\na=rtpmap:8 PCMA/8000\r\na=rtpmap:0 PCMU/8000\r\n"
    "a=rtpmap:18 G729/8000\r\na=fmtp:18 annexb=no\r\n"
    "a=rtpmap:96 telephone-event/8000\r\na=fmtp:96 0-15\r\n"
    "a=rtpmap:108 telephone-event/16000\r\na=fmtp:108 0-15\r\na=ptime:20\r\na=sendrecv\r\n";
const char kVideoOffer[] =
    "v=0\r\no=vp 4 5 IN IP4 192.0.2.77\r\ns=-\r\nc=IN IP4 192.0.2.77\r\nt=0 0\r\n"
    "m=audio 50000 RTP/AVP 9 8 101\r\na=rtpmap:9 G722/8000\r\na=rtpmap:101 telephone-event/8000\r\n"
    "a=fmtp:101 0-15\r\na=ptime:20\r\n"
    "m=video 50002 RTP/AVP 99 34\r\na=rtpmap:99 H264/90000\r\n"
    "a=fmtp:99 profile-level-id=42801f;packetization-mode=1\r\na=rtpmap:34 H263/90000\r\na=sendrecv\r\n";

// Records in use in the pool of that name, or in every pool for NULL.
inline uint32_t inUse(const char *name = nullptr)
{
    uint32_t total = 0;
    for (int pool = 0; pool < MEMM_MAX_POOLS; ++pool) {
        const char *n = memm_poolname(pool);
        uint32_t count = 0;
        if (n && (!name || std::string(n) == name) && memm_get_stats(pool, &count, nullptr, nullptr) == 0)
            total += count;
    }
    return total;
}

inline std::string text(CSdp *session)
{
    char buffer[1024];
    uint32_t length = sizeof buffer;
    if (zvSdpToString(session, buffer, &length) != ZVSDP_RC_OK)
        return "<error>";
    return std::string(buffer, length);
}

// The local capabilities of a gateway: one audio stream.
inline CSdp *buildLocal()
{
    CSdp *local = nullptr;
    CMedia *audio = nullptr;
    if (zvSdpConstruct(&local) != ZVSDP_RC_OK ||
        zvSdpAddMediaDescriptor(local, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio) != ZVSDP_RC_OK)
        return nullptr;
    zvSdpMediaSetPort(audio, 16000);
    zvSdpMediaAddPayload(audio, 107, "AMR-WB", 16000, 1, "mode-set=0,1,2;octet-align=1", nullptr);
    zvSdpMediaAddPayload(audio, 8, "PCMA", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddPayload(audio, 0, "PCMU", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddPayload(audio, 96, "telephone-event", 8000, 1, "0-15", nullptr);
    zvSdpMediaAddPayload(audio, 108, "telephone-event", 16000, 1, "0-15", nullptr);
    zvSdpMediaAddAttribute(audio, "ptime", "20", nullptr);
    return local;
}

}  // namespace stress
