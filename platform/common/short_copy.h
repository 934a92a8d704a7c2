// Header-only help shared by our builds of the platform libraries; nothing
// here is linked, so each library still stands alone.
#pragma once

#include <stddef.h>
#include <string.h>

namespace zvplatform {

// Copies n bytes with a few loads and stores that may overlap: the texts of
// SDP fields and of strings are mostly a few characters long, too short to
// pay for a call.
inline void copyShort(char *to, const char *from, size_t n)
{
    if (n >= 8) {
        if (n > 32) {
            memcpy(to, from, n);
        } else if (n > 16) {
            __builtin_memcpy(to, from, 16);
            __builtin_memcpy(to + n - 16, from + n - 16, 16);
        } else {
            __builtin_memcpy(to, from, 8);
            __builtin_memcpy(to + n - 8, from + n - 8, 8);
        }
    } else if (n >= 4) {
        __builtin_memcpy(to, from, 4);
        __builtin_memcpy(to + n - 4, from + n - 4, 4);
    } else if (n) {
        to[0] = from[0];
        to[n / 2] = from[n / 2];
        to[n - 1] = from[n - 1];
    }
}

}  // namespace zvplatform
