#include "log.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

namespace zv {

uint32_t g_traceLevel[kModCount];

namespace {
const char *const kTags[kModCount] = {
    "[ZVSDP::API]", "[ZVSDP::CSdp]", "[ZVSDP::CMedia]", "[ZVSDP::CPayload]", "[ZVSDP::CAttribute]",
    "[ZVSDP::HelperAPI]",
};

void emit(Module module, char letter, const char *function, int line, const char *text)
{
    syslog(LOG_DEBUG, "%-16s%s:%c: %s:%d - %s", kTags[module], "", letter, function, line, text);
}
}  // namespace

void logWrite(Module module, char letter, const char *function, int line, const char *format, ...)
{
    // A whole printed session (1023) plus its decoration fits on the stack; longer texts, such
    // as a host's own stack message quoted in full, take one heap block rather than being cut.
    char text[1536];
    va_list ap;
    va_start(ap, format);
    va_list again;
    va_copy(again, ap);
    const int length = vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    if (length < static_cast<int>(sizeof text)) {
        va_end(again);
        emit(module, letter, function, line, length < 0 ? "" : text);
        return;
    }
    char *whole = static_cast<char *>(malloc(static_cast<size_t>(length) + 1));
    if (whole != nullptr)
        vsnprintf(whole, static_cast<size_t>(length) + 1, format, again);
    va_end(again);
    // Without memory the cut text is still better than no line at all.
    emit(module, letter, function, line, whole != nullptr ? whole : text);
    free(whole);
}

}  // namespace zv
