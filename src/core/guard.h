// The checks a guarded operation starts with: the library started, the
// arguments present, the object to change writable. Each macro leaves the
// calling operation with the result code its name says; the log line, where
// there is one, carries the caller's function name.
//
//   ZV_RETURN_IF_NOT_STARTED()           3, D "API not initialised!"
//   ZV_RETURN_IF_NOT_STARTED_QUIETLY()   3, no message
//   ZV_RETURN_IF_READ_ONLY(rights)       3, no message
//   ZV_RETURN_INVALID_IF(cond, ...)      5, D with the given text
//   ZV_RETURN_IF(cond, code, LOG, ...)   any other code or message: LOG is a
//                                        ZV_LOG* macro, ... its arguments
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

#define ZV_RETURN_IF(cond, code, LOG, ...) \
    do {                                   \
        if (cond) {                        \
            LOG(__VA_ARGS__);              \
            return (code);                 \
        }                                  \
    } while (0)

#define ZV_RETURN_IF_NOT_STARTED() \
    ZV_RETURN_IF(!zv::g_apiInitialised, ZVSDP_RC_NOT_ALLOWED, ZV_LOGD, zv::kModApi, "API not initialised!")

#define ZV_RETURN_IF_NOT_STARTED_QUIETLY() \
    do {                                   \
        if (!zv::g_apiInitialised)         \
            return ZVSDP_RC_NOT_ALLOWED;   \
    } while (0)

#define ZV_RETURN_IF_READ_ONLY(rights)        \
    do {                                      \
        if ((rights) == ZVSDP_READ_ONLY)      \
            return ZVSDP_RC_NOT_ALLOWED;      \
    } while (0)

#define ZV_RETURN_INVALID_IF(cond, ...) ZV_RETURN_IF(cond, ZVSDP_RC_INVALID, ZV_LOGD, zv::kModApi, __VA_ARGS__)

// The text of a result code, for the messages that report one.
#define ZV_RC_TEXT(code) zvPbxGetErrorString(code)
