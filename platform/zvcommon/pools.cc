#include "pools.h"

#include <pthread.h>

#include "memm.h"
#include "zvcommon.h"

namespace zvcommon {
namespace {

// Size classes of character storage: 16, 32, ..., 65536 bytes, the last
// with room for a string of DYNSTR_MAX_LEN characters, its terminator and
// the byte in front of the text (see dynstr.cc).
constexpr int kClasses = 13;
constexpr uint32_t kSmallest = 16;
constexpr uint32_t kTopExtra = 8;

int g_chars[kClasses];
pthread_once_t g_once = PTHREAD_ONCE_INIT;

uint32_t classSize(int c)
{
    return (kSmallest << c) + (c == kClasses - 1 ? kTopExtra : 0);
}

int classOf(uint32_t bytes)
{
    if (bytes <= kSmallest)
        return 0;
    int c = 32 - __builtin_clz(bytes - 1) - 4;  // 2^(c + 4) >= bytes
    if (c >= kClasses)
        c = kClasses - 1;
    return bytes <= classSize(c) ? c : -1;
}

void makePools()
{
    g_dynstrPool = memm_initpool3("zvdynstr", 256, dynstrRecordSize(), 0, dynstrReleaseHook);
    g_listPool = memm_initpool3("zvllist", 256, listRecordSize(), 0, listReleaseHook);
    bool ok = g_dynstrPool != MEMM_POOL_NONE && g_listPool != MEMM_POOL_NONE;
    for (int c = 0; c < kClasses && ok; ++c) {
        uint32_t size = classSize(c);
        uint32_t count = size <= 256 ? 64 : (16384 / size < 2 ? 2 : 16384 / size);
        g_chars[c] = memm_initpool3("zvchars", count, size, 0, nullptr);
        ok = g_chars[c] != MEMM_POOL_NONE;
    }
    if (ok) {
        __atomic_store_n(&g_readyDynstrPool, g_dynstrPool, __ATOMIC_RELEASE);
        __atomic_store_n(&g_readyListPool, g_listPool, __ATOMIC_RELEASE);
    }
    __atomic_store_n(&g_poolsReady, ok, __ATOMIC_RELEASE);
}

}  // namespace

bool g_poolsReady;  // __atomic
int g_dynstrPool = MEMM_POOL_NONE;
int g_listPool = MEMM_POOL_NONE;
int g_readyDynstrPool = kNotReady;
int g_readyListPool = kNotReady;

bool createPools()
{
    pthread_once(&g_once, makePools);
    return __atomic_load_n(&g_poolsReady, __ATOMIC_ACQUIRE);
}

char *charAlloc(uint32_t bytes)
{
    int c = classOf(bytes);
    if (c < 0 || !ensurePools())
        return nullptr;
    return static_cast<char *>(memm_alloc(g_chars[c]));
}

uint32_t charClassSize(uint32_t bytes)
{
    int c = classOf(bytes);
    return c < 0 ? 0 : classSize(c);
}

void charFree(char *storage)
{
    memm_free(storage);
}

bool isCharStorage(const char *storage)
{
    if (!storage || !ensurePools())
        return false;
    // Smallest first: most copies are of short names.
    for (int c = 0; c < kClasses; ++c)
        if (memm_isvalidobjfrompool(g_chars[c], storage))
            return true;
    return false;
}

}  // namespace zvcommon
