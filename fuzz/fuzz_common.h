// Shared by the host-side fuzz targets: one library start per process, an
// abort that the fuzzer reports as a crash, and the leak check after each
// input (every object, string and list record back in its pool).
#pragma once

#include <stdint.h>
#include <string.h>

#include <string>

#include "fuzz_check.h"
#include "memm.h"
#include "zvsdp.h"
#include "zvubus.h"

namespace fuzzsupport {

// Pool size unit of the gateway's smallest configuration that still holds
// a few media: large offers must run into the pools too.
constexpr uint32_t kPoolUnit = 4;

inline void startOnce()
{
    static bool started = false;
    if (!started) {
        FUZZ_CHECK(zvUbusUseInProcess() == 0);  // no bus daemon needed
        FUZZ_CHECK(zvSdpAppInit(kPoolUnit) == ZVSDP_RC_OK);
        started = true;
    }
}

// Records in use over every pool of the process. The SDP stack keeps none
// between calls, so after an input this is what the library leaked.
inline uint32_t recordsInUse()
{
    uint32_t total = 0;
    for (int pool = 0; pool < MEMM_MAX_POOLS; ++pool) {
        uint32_t inUse = 0;
        if (memm_get_stats(pool, &inUse, nullptr, nullptr) == 0)
            total += inUse;
    }
    return total;
}

// Starts the library once; the records in use before an input, for the
// leak check after it (endInput).
inline uint32_t beginInput()
{
    startOnce();
    return recordsInUse();
}

inline void endInput(uint32_t before)
{
    FUZZ_CHECK(recordsInUse() == before);
}

// The local capabilities a target negotiates against, parsed once from
// `text` (one media description).
inline CSdp *localSession(const char *text)
{
    static CSdp *local = nullptr;
    if (!local)
        FUZZ_CHECK(zvSdpConstructFromString(text, &local) == ZVSDP_RC_OK);
    return local;
}

// Starts an input that is negotiated against local capabilities: the local
// session is parsed before the count, as it lives on. The records in use
// before the input, for endInput.
inline uint32_t beginInput(const char *localText, CSdp **local)
{
    startOnce();
    *local = localSession(localText);
    return recordsInUse();
}

// The input as the library takes text: NUL-terminated, so whatever follows
// a NUL is not part of it.
inline std::string textOf(const uint8_t *data, size_t size)
{
    return std::string(reinterpret_cast<const char *>(data), size);
}

}  // namespace fuzzsupport
