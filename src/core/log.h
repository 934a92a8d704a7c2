// The one way the library writes a message: syslog(3) at priority 7, as
// "<tag padded to 16><empty>:<letter>: <function>:<line> - <text>", written
// only when the module's trace level reaches the letter's threshold
// (C 1, E 2, D 3, I 4).
#pragma once

#include <stdint.h>

namespace zv {

enum Module : uint32_t { kModApi, kModSdp, kModMedia, kModPayload, kModAttr, kModHelper, kModCount };

// Plain words by design: the host changes levels while no call is under way.
extern uint32_t g_traceLevel[kModCount];

void logWrite(Module module, char letter, const char *function, int line, const char *format, ...)
    __attribute__((format(printf, 5, 6)));

}  // namespace zv

#define ZV_LOG_AT(module, threshold, letter, function, ...)                          \
    do {                                                                              \
        if (zv::g_traceLevel[(module)] >= (threshold))                                \
            zv::logWrite((module), (letter), (function), __LINE__, __VA_ARGS__);      \
    } while (0)

#define ZV_LOGC(module, ...) ZV_LOG_AT(module, 1u, 'C', __func__, __VA_ARGS__)
#define ZV_LOGE(module, ...) ZV_LOG_AT(module, 2u, 'E', __func__, __VA_ARGS__)
#define ZV_LOGD(module, ...) ZV_LOG_AT(module, 3u, 'D', __func__, __VA_ARGS__)
#define ZV_LOGI(module, ...) ZV_LOG_AT(module, 4u, 'I', __func__, __VA_ARGS__)
// For the few messages whose function field names another function.
#define ZV_LOGC_AS(module, function, ...) ZV_LOG_AT(module, 1u, 'C', function, __VA_ARGS__)
#define ZV_LOGE_AS(module, function, ...) ZV_LOG_AT(module, 2u, 'E', function, __VA_ARGS__)
#define ZV_LOGD_AS(module, function, ...) ZV_LOG_AT(module, 3u, 'D', function, __VA_ARGS__)
