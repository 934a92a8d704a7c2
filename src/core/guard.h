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

// How the text getters fill a caller's buffer (size in *length, text length
// out): a buffer of size 0 is not written at all; otherwise the whole buffer
// or only its first byte is cleared, and the text is cut to size - 1
// characters, or to size (writing up to size + 1 bytes, where the caller's
// buffer is one larger).
namespace zv {
struct TextOut {
    enum Clear { kWholeBufferCleared, kFirstByteCleared };
    enum Cut { kCutBeforeLast, kFullSize };
};

inline uint32_t copyOut(char *buffer, uint32_t *length, dynstr_t text, TextOut::Clear clear, TextOut::Cut cut)
{
    if (*length == 0)
        return ZVSDP_RC_OK;
    if (clear == TextOut::kWholeBufferCleared)
        memset(buffer, 0, *length);
    else
        buffer[0] = '\0';
    if (text)
        dynstr_strncpy(buffer, text, cut == TextOut::kCutBeforeLast ? *length - 1 : *length);
    *length = static_cast<uint32_t>(strlen(buffer));
    return ZVSDP_RC_OK;
}
}  // namespace zv

// The text of a result code, for the messages that report one.
#define ZV_RC_TEXT(code) zvPbxGetErrorString(code)

// The checked operations that only read a value, step a walk or remove an
// item, each written once. `startGuard` is one of the started checks above;
// the invalid-argument text prints the arguments in their order.

// *out = read(object), cast to Out.
#define ZV_CHECKED_GET(name, Class, Out, read, startGuard, invalidText)                   \
    ZVSDP_API uint32_t name(Class *object, Out *out)                                      \
    {                                                                                     \
        startGuard();                                                                     \
        ZV_RETURN_INVALID_IF(!object || !out, invalidText, zv::vp(object), zv::vp(out));  \
        *out = static_cast<Out>(read(object));                                            \
        return ZVSDP_RC_OK;                                                               \
    }

// A text of the object copied into the caller's buffer, as copyOut does it.
#define ZV_CHECKED_TEXT_GET(name, Class, read, clear, cut, invalidText)                               \
    ZVSDP_API uint32_t name(Class *object, char *buffer, uint32_t *length)                            \
    {                                                                                                 \
        ZV_RETURN_IF_NOT_STARTED_QUIETLY();                                                           \
        ZV_RETURN_INVALID_IF(!object || !buffer || !length, invalidText, zv::vp(object), zv::vp(buffer), \
                             zv::vp(length));                                                         \
        return zv::copyOut(buffer, length, read(object), zv::TextOut::clear, zv::TextOut::cut);      \
    }

// The first item of a container's list, and the one after a given item;
// read(container, previous) is the object operation that steps the list.
#define ZV_CHECKED_WALK(first, next, Container, Item, read, startGuard, firstText, nextText)      \
    ZVSDP_API uint32_t first(Container *container, Item **out)                                    \
    {                                                                                             \
        startGuard();                                                                             \
        ZV_RETURN_INVALID_IF(!container || !out, firstText, zv::vp(container), zv::vp(out));      \
        *out = read(container, nullptr);                                                          \
        return ZVSDP_RC_OK;                                                                       \
    }                                                                                             \
    ZVSDP_API uint32_t next(Container *container, Item *item, Item **out)                         \
    {                                                                                             \
        startGuard();                                                                             \
        ZV_RETURN_INVALID_IF(!container || !item || !out, nextText, zv::vp(container), zv::vp(item), \
                             zv::vp(out));                                                        \
        *out = read(container, item);                                                             \
        return ZVSDP_RC_OK;                                                                       \
    }

// Removes (and destroys) an item of a container that holds it: 3 when the
// container is read-only, 5 when the item is not in its list. The caller's
// handle is cleared.
#define ZV_CHECKED_REMOVE(name, Container, Item, rights, has, remove, startGuard, invalidText)     \
    ZVSDP_API uint32_t name(Container *container, Item **item)                                    \
    {                                                                                             \
        startGuard();                                                                             \
        ZV_RETURN_INVALID_IF(!container || !item || !*item, invalidText, zv::vp(container), zv::vp(item), \
                             zv::vp(item ? *item : nullptr));                                     \
        ZV_RETURN_IF_READ_ONLY(rights(container));                                                \
        if (!has(container, *item))                                                               \
            return ZVSDP_RC_INVALID;                                                              \
        remove(container, *item);                                                                 \
        *item = nullptr;                                                                          \
        return ZVSDP_RC_OK;                                                                       \
    }

namespace zv {

// Runs step(media) for each media of a session in order through the checked
// walk, stopping at the first code other than 0: that code, or the walk's
// own, is the result.
template <class Step>
uint32_t forEachMedia(CSdp *sdp, Step step)
{
    CMedia *media = nullptr;
    uint32_t rc = zvSdpGetFirstMediaDescriptor(sdp, &media);
    while (rc == ZVSDP_RC_OK && media) {
        rc = step(media);
        if (rc == ZVSDP_RC_OK)
            rc = zvSdpGetNextMediaDescriptor(sdp, media, &media);
    }
    return rc;
}

}  // namespace zv
