#include <string.h>

#include "pools.h"
#include "zvcommon.h"

namespace {

struct CodeText {
    uint32_t code;
    const char *text;
};

// Stable texts: logs are matched against them on gateways.
constexpr CodeText kTexts[] = {
    {0, "Success"},
    {1, "General failure"},
    {2, "Resource could not be created"},
    {3, "Not initialised or access denied"},
    {4, "Operation timed out"},
    {5, "Invalid parameter or item not present"},
    {6, "Buffer too small"},
    {7, "Operation not implemented"},
    {8, "Registration failed or required item missing"},
    {9, "External library call failed"},
    {10, "Resource busy"},
    {11, "Unsupported transport protocol"},
    {12, "Not found or not supported"},
};

}  // namespace

extern "C" {

const char *zvPbxGetErrorString(uint32_t code)
{
    for (const CodeText &t : kTexts)
        if (t.code == code)
            return t.text;
    // Written by hand: the one use of snprintf would cost the library an
    // import.
    static const char kPrefix[] = "Unknown error code ";
    static thread_local char generic[sizeof kPrefix + 10];
    char digits[10];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + code % 10);
        code /= 10;
    } while (code);
    memcpy(generic, kPrefix, sizeof kPrefix - 1);
    char *out = generic + sizeof kPrefix - 1;
    while (n)
        *out++ = digits[--n];
    *out = '\0';
    return generic;
}

uint32_t zvPbxCommonGetGlobalDynstrPool(int *pool)
{
    if (!pool)
        return 5;
    if (!zvcommon::ensurePools())
        return 2;
    *pool = zvcommon::dynstrPool();
    return 0;
}

uint32_t zvPbxCommonGetGlobalLinkedListPool(int *pool)
{
    if (!pool)
        return 5;
    if (!zvcommon::ensurePools())
        return 2;
    *pool = zvcommon::listPool();
    return 0;
}

}  // extern "C"
