// Helpers shared by the rv_sdp tests.
#pragma once

#include <string>
#include <vector>

#include "rvsdp.h"

namespace rvtest {

// A parsed message that is destructed with the test.
struct Parsed {
    RvSdpMsg msg;
    int status = 99;
    uint32_t length = 0;
    RvSdpMsg *result = nullptr;

    explicit Parsed(const std::string &text) {
        length = static_cast<uint32_t>(text.size());
        result = rvSdpMsgConstructParse(&msg, text.data(), &length, &status);
    }
    ~Parsed() { rvSdpMsgDestruct(&msg); }
    Parsed(const Parsed &) = delete;
    Parsed &operator=(const Parsed &) = delete;

    RvSdpMediaDescr *media(size_t i) { return rvSdpMsgGetMediaDescr(&msg, i); }
};

inline std::string encode(const RvSdpMsg *msg) {
    int n = rvSdpMsgEncodeToBuf(msg, nullptr, 0);
    if (n < 0) return "<error>";
    std::string out(static_cast<size_t>(n) + 1, '\0');
    rvSdpMsgEncodeToBuf(msg, &out[0], static_cast<uint32_t>(out.size()));
    out.resize(static_cast<size_t>(n));
    return out;
}

// Attribute lines of a list as "name" or "name:value".
inline std::vector<std::string> attrLines(RvSdpList *list) {
    std::vector<std::string> out;
    for (void *it = rvSdpListGetFirst(list); it; it = rvSdpListGetNext(list, it)) {
        auto *a = static_cast<RvSdpAttribute *>(it);
        std::string line = rvSdpAttributeGetName(a);
        if (rvSdpAttributeGetValue(a)) line += std::string(":") + rvSdpAttributeGetValue(a);
        out.push_back(line);
    }
    return out;
}

inline std::vector<std::string> formats(const RvSdpMediaDescr *d) {
    std::vector<std::string> out;
    for (int i = 0; i < rvSdpMediaDescrGetNumOfPayloads(d); ++i)
        out.push_back(rvSdpMediaDescrGetFormat(d, i));
    return out;
}

// A typical offer of a SIP phone, about 600 bytes.
inline const char *typicalOffer() {
    return "v=0\r\n"
           "o=user1 53655765 2353687637 IN IP4 192.0.2.10\r\n"
           "s=Talk\r\n"
           "c=IN IP4 192.0.2.10\r\n"
           "b=AS:84\r\n"
           "t=0 0\r\n"
           "a=X-nat:0\r\n"
           "m=audio 4000 RTP/AVP 96 97 9 8 0 18 101\r\n"
           "c=IN IP4 192.0.2.10\r\n"
           "b=TIAS:64000\r\n"
           "a=rtcp:4001 IN IP4 192.0.2.10\r\n"
           "a=sendrecv\r\n"
           "a=rtpmap:96 AMR-WB/16000\r\n"
           "a=fmtp:96 octet-align=1;mode-change-capability=2;max-red=0\r\n"
           "a=rtpmap:97 AMR/8000/1\r\n"
           "a=fmtp:97 mode-set=0,2,5,7;octet-align=1\r\n"
           "a=rtpmap:9 G722/8000\r\n"
           "a=rtpmap:8 PCMA/8000\r\n"
           "a=rtpmap:0 PCMU/8000\r\n"
           "a=rtpmap:18 G729/8000\r\n"
           "a=fmtp:18 annexb=no\r\n"
           "a=rtpmap:101 telephone-event/8000\r\n"
           "a=fmtp:101 0-15\r\n"
           "a=ptime:20\r\n"
           "a=maxptime:60\r\n"
           "m=image 0 udptl t38\r\n"
           "a=T38FaxVersion:0\r\n"
           "a=T38MaxBitRate:14400\r\n"
           "a=T38FaxRateManagement:transferredTCF\r\n";
}

}  // namespace rvtest
