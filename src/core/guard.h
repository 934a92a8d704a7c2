// Step one of every guarded operation: refuse with 3 while the library is
// not initialised. The other steps differ in their messages and stay inline.
#pragma once

#include "log.h"
#include "objects.h"

namespace zv {
// Pointers printed with "%p" in the guard messages.
inline void *vp(const void *p)
{
    return const_cast<void *>(p);
}
}  // namespace zv

#define ZV_GUARD_INIT()                                   \
    do {                                                  \
        if (!zv::g_apiInitialised) {                      \
            ZV_LOGD(zv::kModApi, "API not initialised!"); \
            return ZVSDP_RC_NOT_ALLOWED;                  \
        }                                                 \
    } while (0)

// Step three: 3, with no message, when the object to change is read-only.
#define ZV_GUARD_WRITABLE(rights)                         \
    do {                                                  \
        if ((rights) == ZVSDP_READ_ONLY)                  \
            return ZVSDP_RC_NOT_ALLOWED;                  \
    } while (0)

// Step one for the operations that refuse without a message.
#define ZV_GUARD_INIT_SILENT()                            \
    do {                                                  \
        if (!zv::g_apiInitialised)                        \
            return ZVSDP_RC_NOT_ALLOWED;                  \
    } while (0)

// The text of a result code, for the messages that report one.
#define ZV_RC_TEXT(code) zvPbxGetErrorString(code)
