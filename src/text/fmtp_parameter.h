// A payload's format parameters as an fmtp line carries them, shared by the
// stack mirror and the cpar lines so that both cut and space them alike.
#pragma once

#include <stdio.h>

#include "zvsdp.h"

namespace zv {

// "<number> <parameters>", the parameters read as 127 characters at most;
// false, with nothing written, when the payload has none.
inline bool fmtpParameter(CPayload *payload, uint32_t number, char (&parameter)[256])
{
    char fmtp[128] = "";
    uint32_t length = sizeof fmtp;
    zvSdpPayloadGetFmtp(payload, fmtp, &length);
    if (length == 0)
        return false;
    snprintf(parameter, sizeof parameter, "%u %s", number, fmtp);
    return true;
}

}  // namespace zv
