#include "pools.h"

#include <pthread.h>

#include "memm.h"
#include "zvcommon.h"

namespace zvcommon {
namespace {

// Size classes of character storage: 16, 32, ..., 65536 bytes.
constexpr int kClasses = 13;
constexpr uint32_t kSmallest = 16;

int g_dynstr = MEMM_POOL_NONE;
int g_list = MEMM_POOL_NONE;
int g_chars[kClasses];
bool g_ready = false;
pthread_once_t g_once = PTHREAD_ONCE_INIT;

int classOf(uint32_t bytes)
{
    uint32_t size = kSmallest;
    for (int c = 0; c < kClasses; ++c, size <<= 1)
        if (bytes <= size)
            return c;
    return -1;
}

uint32_t classSize(int c)
{
    return kSmallest << c;
}

void createPools()
{
    g_dynstr = memm_initpool3("zvdynstr", 256, dynstrRecordSize(), 0, dynstrReleaseHook);
    g_list = memm_initpool3("zvllist", 256, listRecordSize(), 0, listReleaseHook);
    bool ok = g_dynstr != MEMM_POOL_NONE && g_list != MEMM_POOL_NONE;
    for (int c = 0; c < kClasses && ok; ++c) {
        uint32_t size = classSize(c);
        uint32_t count = size <= 256 ? 64 : (16384 / size < 2 ? 2 : 16384 / size);
        g_chars[c] = memm_initpool3("zvchars", count, size, 0, nullptr);
        ok = g_chars[c] != MEMM_POOL_NONE;
    }
    g_ready = ok;
}

}  // namespace

bool ensurePools()
{
    pthread_once(&g_once, createPools);
    return g_ready;
}

int dynstrPool()
{
    return ensurePools() ? g_dynstr : MEMM_POOL_NONE;
}

int listPool()
{
    return ensurePools() ? g_list : MEMM_POOL_NONE;
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
    for (int c = 0; c < kClasses; ++c)
        if (memm_isvalidobjfrompool(g_chars[c], storage))
            return true;
    return false;
}

}  // namespace zvcommon
