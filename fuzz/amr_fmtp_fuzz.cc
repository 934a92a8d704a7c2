// The AMR parameter code on arbitrary fmtp text: parse, write back with
// every buffer size, change one parameter, and parse what was written.
//
// Input: one control byte (bit 0: AMR-WB instead of AMR; bits 1-3: the
// selector for zvSdpPayloadUpdateAmrParams; bits 4-7: the buffer size class
// of the write), then the fmtp text (NUL bytes end it, as in a C string).
#include "fuzz_common.h"

namespace {

// Writing must respect every buffer size and always terminate its text.
void writeWithBuffer(CPayload *payload, const ZvSdpAmrConfig *config, uint32_t size)
{
    char *buffer = static_cast<char *>(malloc(size + 1));
    FUZZ_CHECK(buffer);
    buffer[size] = 'X';  // a canary beyond the size the call is given
    uint32_t length = size;
    uint32_t rc = zvSdpPayloadAmrTranslateConfigToFmtp(payload, config, buffer, &length);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_INVALID);
    FUZZ_CHECK(buffer[size] == 'X');
    if (rc == ZVSDP_RC_OK && size > 0) {
        FUZZ_CHECK(length < size);
        FUZZ_CHECK(strlen(buffer) == length);
    }
    free(buffer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzsupport::startOnce();
    if (size < 1)
        return 0;
    const uint8_t control = data[0];
    const char *name = (control & 1) ? "AMR-WB" : "AMR";
    const uint32_t clock = (control & 1) ? 16000u : 8000u;
    // The fmtp as a C string: the host never hands in more than that.
    size_t textLength = size - 1;
    char *text = static_cast<char *>(malloc(textLength + 1));
    FUZZ_CHECK(text);
    memcpy(text, data + 1, textLength);
    text[textLength] = '\0';

    const uint32_t before = fuzzsupport::recordsInUse();
    CPayload *payload = zvSdpPayloadObjConstructEx(control & 1 ? 107 : 106, name, clock, 1);
    FUZZ_CHECK(payload);
    zvSdpPayloadObjSetFmtp(payload, text);

    ZvSdpAmrConfig config;
    if (zvSdpMediaPayloadParseAmrFmtp(payload, &config) == ZVSDP_RC_OK) {
        FUZZ_CHECK(config.modeSet != 0 || strstr(text, "mode-set="));
        static const uint32_t kSizes[] = {0, 1, 2, 7, 16, 31, 64, 128, 255, 512};
        writeWithBuffer(payload, &config, kSizes[(control >> 4) % 10]);
        writeWithBuffer(payload, &config, 1024);

        // A rewritten fmtp parses back to what the writer keeps: octet-align
        // only as 1, mode-change-period only as 2.
        char canonical[1024];
        uint32_t length = sizeof canonical;
        if (zvSdpPayloadAmrTranslateConfigToFmtp(payload, &config, canonical, &length) == ZVSDP_RC_OK &&
            length < 127) {
            CPayload *again = zvSdpPayloadObjConstructEx(107, name, clock, 1);
            FUZZ_CHECK(again);
            zvSdpPayloadObjSetFmtp(again, canonical);
            ZvSdpAmrConfig reparsed;
            FUZZ_CHECK(zvSdpMediaPayloadParseAmrFmtp(again, &reparsed) == ZVSDP_RC_OK);
            FUZZ_CHECK(reparsed.octetAlign == (config.octetAlign == 1 ? 1u : 0u));
            FUZZ_CHECK(reparsed.modeChangePeriod == (config.modeChangePeriod == 2 ? 2u : 0u));
            zvSdpPayloadObjDestruct(again);
        }
    }
    const uint32_t selector = (control >> 1) & 7;
    const uint32_t value = textLength > 0 ? static_cast<uint8_t>(text[0]) : 0;
    uint32_t rc = zvSdpPayloadUpdateAmrParams(payload, selector, value);
    FUZZ_CHECK(rc == ZVSDP_RC_OK || rc == ZVSDP_RC_INVALID || rc == ZVSDP_RC_EXTERNAL ||
               rc == ZVSDP_RC_NO_RESOURCE);
    zvSdpPayloadObjDestruct(payload);
    fuzzsupport::endInput(before);
    free(text);
    return 0;
}
