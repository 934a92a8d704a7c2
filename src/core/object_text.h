// How a payload and an attribute print themselves, for the operations that
// print them under their class lock: inline, so that a media's print keeps
// its sink in registers.
#pragma once

#include "objects.h"
#include "text_sink.h"

namespace zv {

inline void appendRtpmap(TextSink &out, const CPayload *payload)
{
    out.appendInt(static_cast<int>(payload->payloadType));
    out.appendChar(' ');
    out.append(dynstr_cstr(payload->name), dynstr_len(payload->name));
    out.appendChar('/');
    out.appendInt(static_cast<int>(payload->clockRate));
    // A channel count of 1 is what no count means.
    if (payload->channels >= 2) {
        out.appendChar('/');
        out.appendInt(static_cast<int>(payload->channels));
    }
}

// What snprintf of "a=%s:%s" or "a=%s" would write, cut alike, at a
// fraction of its cost.
inline void appendAttribute(TextSink &out, const CAttribute *attribute)
{
    if (!attribute->name)
        return;
    out.append("a=", 2);
    out.append(dynstr_cstr(attribute->name), dynstr_len(attribute->name));
    if (attribute->value) {
        out.appendChar(':');
        out.append(dynstr_cstr(attribute->value), dynstr_len(attribute->value));
    }
}

}  // namespace zv
