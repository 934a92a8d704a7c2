#include "log.h"

#include <stdarg.h>
#include <stdio.h>
#include <syslog.h>

namespace zv {

uint32_t g_traceLevel[kModCount];

namespace {
const char *const kTags[kModCount] = {
    "[ZVSDP::API]", "[ZVSDP::CSdp]", "[ZVSDP::CMedia]", "[ZVSDP::CPayload]", "[ZVSDP::CAttribute]",
    "[ZVSDP::HelperAPI]",
};
}  // namespace

void logWrite(Module module, char letter, const char *function, int line, const char *format, ...)
{
    // Large enough for a whole printed session (1023) plus its decoration.
    char text[1536];
    va_list ap;
    va_start(ap, format);
    vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    syslog(LOG_DEBUG, "%-16s%s:%c: %s:%d - %s", kTags[module], "", letter, function, line, text);
}

}  // namespace zv
