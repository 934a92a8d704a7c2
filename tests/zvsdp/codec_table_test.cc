// The codec table, the enumeration names and every lookup answered from the
// table, before and after the library is started.
#include "zvsdp_test_util.h"

#include <cstring>

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct Row {
    uint32_t isDynamic, payloadType;
    const char *name;
    uint32_t mediaType, clockRate, channels, bitRate, defaultPtime;
};

// The table as the gateway's other processes know it; order matters.
constexpr uint32_t A = ZVSDP_MT_AUDIO, V = ZVSDP_MT_VIDEO, I = ZVSDP_MT_IMAGE;
const Row kExpected[] = {
    {0, 0, "PCMU", A, 8000, 1, 64000, 20},
    {0, 3, "GSM", A, 8000, 1, 64000, 20},
    {0, 4, "G723", A, 8000, 1, 6300, 30},
    {0, 5, "DVI4", A, 8000, 1, 64000, 20},
    {0, 6, "DVI4", A, 16000, 1, 64000, 20},
    {0, 16, "DVI4", A, 11025, 1, 64000, 20},
    {0, 17, "DVI4", A, 22050, 1, 64000, 20},
    {0, 7, "LPC", A, 8000, 1, 5600, 20},
    {0, 8, "PCMA", A, 8000, 1, 64000, 20},
    {0, 9, "G722", A, 8000, 1, 64000, 20},
    {0, 10, "L16", A, 44100, 2, 64000, 20},
    {0, 11, "L16", A, 44100, 1, 64000, 20},
    {0, 12, "QCELP", A, 8000, 1, 6800, 20},
    {0, 13, "CN", A, 8000, 1, 64000, 20},
    {0, 14, "MPA", A, 90000, 1, 64000, 20},
    {0, 15, "G728", A, 8000, 1, 16000, 20},
    {0, 18, "G729", A, 8000, 1, 8000, 20},
    {0, 25, "CelB", V, 90000, 0, 0, 0},
    {0, 26, "JPEG", V, 90000, 0, 0, 0},
    {0, 28, "nv", V, 90000, 0, 0, 0},
    {0, 31, "H261", V, 90000, 0, 0, 0},
    {0, 32, "MPV", V, 90000, 0, 0, 0},
    {0, 33, "MP2T", V, 90000, 0, 0, 0},
    {0, 34, "H263", V, 90000, 0, 0, 0},
    {1, 96, "telephone-event", A, 8000, 1, 64000, 20},
    {1, 97, "G726-16", A, 8000, 1, 16000, 20},
    {1, 98, "G726-24", A, 8000, 1, 24000, 20},
    {1, 99, "G726-32", A, 8000, 1, 32000, 20},
    {1, 100, "G726-40", A, 8000, 1, 40000, 20},
    {1, 101, "G729D", A, 8000, 1, 6400, 20},
    {1, 102, "G729E", A, 8000, 1, 11800, 20},
    {1, 103, "GSM-EFR", A, 8000, 1, 12200, 20},
    {1, 104, "H263-1998", V, 90000, 0, 0, 0},
    {1, 105, "T38", I, 90000, 0, 0, 0},
    {1, 106, "AMR", A, 8000, 1, 12200, 20},
    {1, 107, "AMR-WB", A, 16000, 1, 23850, 20},
    {1, 108, "telephone-event", A, 16000, 1, 0, 20},
    {1, 109, "ILBC", A, 8000, 1, 15200, 20},
};

TEST(CodecTable, HoldsTheThirtyEightRowsInOrder)
{
    static_assert(sizeof kExpected / sizeof kExpected[0] == ZVSDP_CODEC_TABLE_ROWS, "row count");
    static_assert(sizeof(zvSdpCodecTable) / sizeof(zvSdpCodecTable[0]) == 38, "row count");
    for (size_t i = 0; i < ZVSDP_CODEC_TABLE_ROWS; ++i) {
        const ZvSdpCodecEntry &r = zvSdpCodecTable[i];
        const Row &e = kExpected[i];
        SCOPED_TRACE(::testing::Message() << "row " << i);
        EXPECT_EQ(e.isDynamic, r.isDynamic);
        EXPECT_EQ(e.payloadType, r.payloadType);
        EXPECT_STREQ(e.name, r.encodingName);
        EXPECT_EQ(e.mediaType, r.mediaType);
        EXPECT_EQ(e.clockRate, r.clockRate);
        EXPECT_EQ(e.channels, r.channels);
        EXPECT_EQ(e.bitRate, r.bitRate);
        EXPECT_EQ(0u, r.reserved);
        EXPECT_EQ(e.defaultPtime, r.defaultPtime);
    }
}

TEST(CodecTable, EnumerationNamesAndTheirUnknowns)
{
    const char *media[] = {"ZVSDP_MT_UNKNOWN", "ZVSDP_MT_AUDIO", "ZVSDP_MT_NAS",   "ZVSDP_MT_VIDEO",
                           "ZVSDP_MT_APP",     "ZVSDP_MT_DATA",  "ZVSDP_MT_IMAGE", "ZVSDP_MT_CONTROL",
                           "INVALID VALUE",    "Unknown ZvSdpMediaType value"};
    for (uint32_t v = 0; v < 10; ++v)
        EXPECT_STREQ(media[v], zvSdpGetMediaTypeString(static_cast<ZvSdpMediaType>(v)));
    EXPECT_STREQ("ZVSDP_TP_UDPBFCP", zvSdpGetTransportProtocolString(ZVSDP_TP_UDPBFCP));
    EXPECT_STREQ("Unknown ZvSdpTransportProtocol value",
                 zvSdpGetTransportProtocolString(static_cast<ZvSdpTransportProtocol>(6)));

    // Static names by the RTP number, including the gaps between them.
    const char *unknownStatic = "Unknown ZvSdpStaticPayloadType value";
    EXPECT_STREQ("ZVSDP_PT_PCMU", zvSdpMediaGetStaticPayloadTypeString(static_cast<ZvSdpStaticPayloadType>(0)));
    EXPECT_STREQ("ZVSDP_PT_DVI4_16", zvSdpMediaGetStaticPayloadTypeString(static_cast<ZvSdpStaticPayloadType>(6)));
    EXPECT_STREQ("ZVSDP_PT_DVI4_22", zvSdpMediaGetStaticPayloadTypeString(static_cast<ZvSdpStaticPayloadType>(17)));
    EXPECT_STREQ("ZVSDP_PT_H263", zvSdpMediaGetStaticPayloadTypeString(static_cast<ZvSdpStaticPayloadType>(34)));
    uint32_t named = 0;
    for (uint32_t v = 0; v < 128; ++v)
        named += strcmp(unknownStatic, zvSdpMediaGetStaticPayloadTypeString(static_cast<ZvSdpStaticPayloadType>(v))) != 0;
    EXPECT_EQ(24u, named);

    const char *unknownDynamic = "Unknown ZvSdpDynamicPayloadType value";
    EXPECT_STREQ("ZVSDP_PT_NTE", zvSdpMediaGetDynamicPayloadTypeString(ZVSDP_PT_NTE));
    EXPECT_STREQ("ZVSDP_PT_NTE_16K", zvSdpMediaGetDynamicPayloadTypeString(ZVSDP_PT_NTE_16K));
    EXPECT_STREQ("ZVSDP_PT_ILBC", zvSdpMediaGetDynamicPayloadTypeString(ZVSDP_PT_ILBC));
    EXPECT_STREQ(unknownDynamic, zvSdpMediaGetDynamicPayloadTypeString(static_cast<ZvSdpDynamicPayloadType>(95)));
    EXPECT_STREQ(unknownDynamic, zvSdpMediaGetDynamicPayloadTypeString(static_cast<ZvSdpDynamicPayloadType>(110)));
    EXPECT_STREQ(unknownDynamic, zvSdpMediaGetDynamicPayloadTypeString(static_cast<ZvSdpDynamicPayloadType>(0)));
}

// ---- lookups that need no started library ---------------------------------

TEST(CodecLookup, ValidAndDynamicNamesAreExactAndDecidedByTheFirstRow)
{
    struct Case {
        const char *name;
        uint32_t valid, dynamic;
    };
    const Case cases[] = {
        {"PCMU", 1, 0}, {"T38", 1, 1},   {"t38", 0, 0},  {"pcmu", 0, 0}, {"telephone-event", 1, 1},
        {"nv", 1, 0},   {"AMR-WB", 1, 1}, {"AMR-", 0, 0}, {"", 0, 0},     {"DVI4", 1, 0},
    };
    for (const Case &c : cases) {
        uint32_t valid = 7, dynamic = 7;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpIsValidCodecName(c.name, &valid)) << c.name;
        EXPECT_EQ(c.valid, valid) << c.name;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpIsDynamicPayLoadFromEncodingName(c.name, &dynamic)) << c.name;
        EXPECT_EQ(c.dynamic, dynamic) << c.name;
    }
    uint32_t flag = 7;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpIsValidCodecName(nullptr, &flag));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpIsValidCodecName("PCMU", nullptr));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpIsDynamicPayLoadFromEncodingName(nullptr, &flag));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpIsDynamicPayLoadFromEncodingName("AMR", nullptr));
    EXPECT_EQ(7u, flag);
}

TEST(CodecLookup, PayloadTypeFromNameUsesTheClockOnlyForTelephoneEvents)
{
    struct Case {
        uint32_t clock;
        const char *name;
        uint32_t expected;
    };
    const Case cases[] = {
        {8000, "telephone-event", 96},  {16000, "telephone-event", 108}, {44100, "telephone-event", 0},
        {8000, "telephone-events", 0},  {22050, "DVI4", 5},              {0, "L16", 10},
        {48000, "AMR", 106},            {8000, "pcmu", 0},               {8000, "G729", 18},
        {90000, "T38", 105},
    };
    for (const Case &c : cases) {
        uint32_t pt = 77;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(c.clock, c.name, &pt))
            << c.name << "@" << c.clock;
        EXPECT_EQ(c.expected, pt) << c.name << "@" << c.clock;
    }
    uint32_t pt = 77;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(8000, nullptr, &pt));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(8000, "PCMU", nullptr));
    EXPECT_EQ(77u, pt);
}

TEST(CodecLookup, EncodingNameFromPayloadTypeCutsToTheBuffer)
{
    char buf[32];
    uint32_t len = sizeof buf;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetEncodingNameFromPayloadType(96, buf, &len));
    EXPECT_STREQ("telephone-event", buf);
    EXPECT_EQ(15u, len);

    // First row of the number wins; "DVI4" 16000 is row 4, number 6.
    len = sizeof buf;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetEncodingNameFromPayloadType(6, buf, &len));
    EXPECT_STREQ("DVI4", buf);

    // Exactly enough room, one byte short, and very short.
    const struct {
        uint32_t length;
        const char *text;
    } cuts[] = {{5, "PCMU"}, {4, "PCM"}, {3, "PC"}, {1, ""}};
    for (const auto &c : cuts) {
        char small[8];
        memset(small, '#', sizeof small);
        len = c.length;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetEncodingNameFromPayloadType(0, small, &len)) << c.length;
        EXPECT_STREQ(c.text, small) << c.length;
        EXPECT_EQ(strlen(c.text), len) << c.length;
        for (size_t i = c.length; i < sizeof small; ++i)
            EXPECT_EQ('#', small[i]) << "byte " << i << " written beyond length " << c.length;
    }

    memset(buf, '#', sizeof buf);
    len = sizeof buf;
    EXPECT_EQ(ZVSDP_RC_NOT_FOUND, zvSdpMediaGetEncodingNameFromPayloadType(2, buf, &len));
    EXPECT_EQ(ZVSDP_RC_NOT_FOUND, zvSdpMediaGetEncodingNameFromPayloadType(127, buf, &len));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetEncodingNameFromPayloadType(128, buf, &len));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetEncodingNameFromPayloadType(0xffffffffu, buf, &len));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetEncodingNameFromPayloadType(0, nullptr, &len));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetEncodingNameFromPayloadType(0, buf, nullptr));
    EXPECT_EQ(sizeof buf, len);
    len = 0;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetEncodingNameFromPayloadType(0, buf, &len));
    EXPECT_EQ(0u, len);
    EXPECT_EQ('#', buf[0]);
}

class RtpmapRequired : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(1u, zvSdpPayloadObjApiInit(4)); }
    void TearDown() override { zvSdpPayloadObjApiDestroy(); }

    uint32_t required(uint32_t pt, const char *name, uint32_t clock, uint32_t channels)
    {
        CPayload *p = zvSdpPayloadObjConstructEx(pt, name, clock, channels);
        EXPECT_NE(nullptr, p);
        if (!p)
            return 99;
        uint32_t answer = zvSdpPayLoadIsRtpmapGenerationRequired(p);
        zvSdpPayloadObjDestruct(p);
        return answer;
    }
};

TEST_F(RtpmapRequired, OnlyAStaticPayloadMatchingItsRowExactlyGoesWithout)
{
    EXPECT_EQ(0u, required(0, "PCMU", 8000, 1));
    EXPECT_EQ(0u, required(9, "G722", 8000, 1));
    EXPECT_EQ(0u, required(10, "L16", 44100, 2));
    EXPECT_EQ(0u, required(31, "H261", 90000, 0));
    EXPECT_EQ(0u, required(16, "DVI4", 11025, 1));  // found by number, not by name

    EXPECT_EQ(1u, required(0, "pcmu", 8000, 1));
    EXPECT_EQ(1u, required(8, "PCMU", 8000, 1));
    EXPECT_EQ(1u, required(0, "PCMU", 16000, 1));
    EXPECT_EQ(1u, required(0, "PCMU", 8000, 2));
    EXPECT_EQ(1u, required(0, "PCMU", 8000, 0));
    EXPECT_EQ(1u, required(11, "L16", 44100, 2));
    EXPECT_EQ(1u, required(2, "G721", 8000, 1));     // no row of that number
    EXPECT_EQ(1u, required(120, "opus", 48000, 2));  // no row of that number

    // Every dynamic payload gets its line, even one that matches its row.
    EXPECT_EQ(1u, required(101, "G729D", 8000, 1));
    EXPECT_EQ(1u, required(96, "telephone-event", 8000, 1));
}

TEST_F(RtpmapRequired, TheFlagForcesTheLineAndRenumberingCounts)
{
    CPayload *p = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    ASSERT_NE(nullptr, p);
    zvSdpPayloadObjSetEnableRtpMap(p, 1);
    EXPECT_EQ(1u, zvSdpPayLoadIsRtpmapGenerationRequired(p));
    zvSdpPayloadObjSetEnableRtpMap(p, 0);
    EXPECT_EQ(0u, zvSdpPayLoadIsRtpmapGenerationRequired(p));

    // Built dynamic, moved to a static number: the stored flag stays set.
    CPayload *moved = zvSdpPayloadObjConstructEx(100, "PCMU", 8000, 1);
    ASSERT_NE(nullptr, moved);
    zvSdpPayloadObjSetPayloadType(moved, 0);
    EXPECT_EQ(1u, zvSdpPayLoadIsRtpmapGenerationRequired(moved));
    zvSdpPayloadObjSetEnableRtpMap(moved, 0);
    EXPECT_EQ(0u, zvSdpPayLoadIsRtpmapGenerationRequired(moved));
    zvSdpPayloadObjDestruct(p);
    zvSdpPayloadObjDestruct(moved);
}

// ---- lookups that need the started library --------------------------------

TEST(CodecLookupNotStarted, RefusesWithoutTouchingOutputsOrTable)
{
    ASSERT_EQ(1u, zvSdpPayloadObjApiInit(2));
    CPayload *p = zvSdpPayloadObjConstructEx(0, "PCMU", 8000, 1);
    ASSERT_NE(nullptr, p);
    uint32_t out = 77;
    char buf[8] = "#######";
    uint32_t len = sizeof buf;
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadGetDefaultPtime(p, &out));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadGetDefaultBitRate(p, &out));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadGetPayloadType(p, &out));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadGetEncodingName(p, buf, &len));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadGetBitRateFromPayloadType(0, &out));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpMediaGetBitRateFromEncodingName("PCMU", &out));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpUpdateDynamicCodecPayloadType("G729D"));
    // The initialisation test comes before the argument checks.
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadGetDefaultPtime(nullptr, nullptr));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadGetBitRateFromPayloadType(0, nullptr));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpUpdateDynamicCodecPayloadType(nullptr));
    EXPECT_EQ(77u, out);
    EXPECT_STREQ("#######", buf);
    EXPECT_EQ(sizeof buf, len);
    EXPECT_EQ(101u, zvSdpCodecTable[29].payloadType);
    zvSdpPayloadObjDestruct(p);
    zvSdpPayloadObjApiDestroy();
}

TEST(CodecLookupNotStarted, LogsOnlyWhereTheLookupSaysSo)
{
    zvSdpSetTraceLevel(4);
    syslogClear();
    uint32_t out = 0;
    zvSdpPayloadGetDefaultPtime(nullptr, &out);
    zvSdpPayloadGetDefaultBitRate(nullptr, &out);
    zvSdpPayloadGetPayloadType(nullptr, &out);
    zvSdpPayloadGetEncodingName(nullptr, nullptr, nullptr);
    zvSdpPayloadGetBitRateFromPayloadType(0, &out);
    zvSdpMediaGetBitRateFromEncodingName("PCMU", &out);
    zvSdpUpdateDynamicCodecPayloadType("G729D");
    EXPECT_THAT(logEntries(),
                ElementsAre("[ZVSDP::API]    |D|zvSdpPayloadGetBitRateFromPayloadType|API not initialised!",
                            "[ZVSDP::API]    |D|zvSdpMediaGetBitRateFromEncodingName|API not initialised!",
                            "[ZVSDP::API]    |D|zvSdpUpdateDynamicCodecPayloadType|API not initialised!"));

    // The lookups without an initialisation test still check arguments.
    syslogClear();
    zvSdpIsValidCodecName(nullptr, &out);
    zvSdpIsDynamicPayLoadFromEncodingName("PCMU", nullptr);
    const std::string invalid = zvPbxGetErrorString(ZVSDP_RC_INVALID);
    EXPECT_THAT(logEntries(), ElementsAre("[ZVSDP::API]    |E|zvSdpIsValidCodecName|" + invalid,
                                          "[ZVSDP::API]    |E|zvSdpIsDynamicPayLoadFromEncodingName|" + invalid));
    // ... at level E: a D level hides them.
    zvSdpSetTraceLevel(1);
    syslogClear();
    zvSdpIsValidCodecName(nullptr, &out);
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

class StartedLibrary : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(1));
        // A stack manager that failed to start leaves the library unusable.
        uint32_t rate = 0;
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetBitRateFromPayloadType(0, &rate));
    }
    void TearDown() override { zvSdpAppDestroy(); }

    CPayload *payload(uint32_t pt, const char *name, uint32_t clock = 8000, uint32_t channels = 1)
    {
        CPayload *p = zvSdpPayloadObjConstructEx(pt, name, clock, channels);
        EXPECT_NE(nullptr, p);
        return p;
    }
};

TEST_F(StartedLibrary, DefaultsComeFromTheFirstRowOfThePayloadName)
{
    struct Case {
        uint32_t pt;
        const char *name;
        uint32_t clock;
        uint32_t ptime, bitRate;  // 0: result 5
    };
    const Case cases[] = {
        {0, "PCMU", 8000, 20, 64000},
        {4, "G723", 8000, 30, 6300},
        {108, "telephone-event", 16000, 20, 64000},  // row 24 wins over row 36
        {6, "DVI4", 16000, 20, 64000},
        {25, "CelB", 90000, 0, 0},                   // 0 in the column: 5
        {0, "pcmu", 8000, 0, 0},                     // no row: 5
        {120, "opus", 48000, 0, 0},
    };
    for (const Case &c : cases) {
        CPayload *p = payload(c.pt, c.name, c.clock);
        uint32_t ptime = 77, rate = 77;
        EXPECT_EQ(c.ptime ? ZVSDP_RC_OK : ZVSDP_RC_INVALID, zvSdpPayloadGetDefaultPtime(p, &ptime)) << c.name;
        EXPECT_EQ(c.ptime ? c.ptime : 77u, ptime) << c.name;
        EXPECT_EQ(c.bitRate ? ZVSDP_RC_OK : ZVSDP_RC_INVALID, zvSdpPayloadGetDefaultBitRate(p, &rate)) << c.name;
        EXPECT_EQ(c.bitRate ? c.bitRate : 77u, rate) << c.name;
        zvSdpPayloadObjDestruct(p);
    }
}

TEST_F(StartedLibrary, PayloadAccessorsCheckArgumentsAndLogThem)
{
    zvSdpSetTraceLevel(3);
    CPayload *p = payload(18, "G729");
    uint32_t out = 0;
    char buf[8];
    uint32_t len = sizeof buf;
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetDefaultPtime(p, nullptr));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetDefaultBitRate(nullptr, &out));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetPayloadType(p, nullptr));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetEncodingName(p, nullptr, &len));
    len = 0;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetEncodingName(p, buf, &len));
    std::vector<std::string> entries;
    for (const std::string &e : logEntries())
        entries.push_back(maskPointers(e));
    const std::string api = "[ZVSDP::API]    |D|";
    EXPECT_THAT(entries,
                ElementsAre(api + "zvSdpPayloadGetDefaultPtime|Invalid parameter detected: objHndl=PTR, ptimevalue=(nil)",
                            api + "zvSdpPayloadGetDefaultBitRate|Invalid parameter detected: objHndl=(nil), bitRate=PTR",
                            api + "zvSdpPayloadGetPayloadType|Invalid parameter detected: objHndl=PTR, &pt=(nil), pt=0",
                            api + "zvSdpPayloadGetEncodingName|Invalid parameter detected: objHndl=PTR, buffer=(nil), "
                                  "&buflen=PTR",
                            api + "zvSdpPayloadGetEncodingName|Invalid parameter detected: objHndl=PTR, buffer=PTR, "
                                  "&buflen=PTR"));

    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetPayloadType(p, &out));
    EXPECT_EQ(18u, out);
    zvSdpPayloadObjDestruct(p);
}

TEST_F(StartedLibrary, EncodingNameIsThePayloadsOwnCutToTheBuffer)
{
    CPayload *p = payload(120, "telephone-event");
    char buf[32];
    memset(buf, '#', sizeof buf);
    uint32_t len = sizeof buf;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetEncodingName(p, buf, &len));
    EXPECT_STREQ("telephone-event", buf);
    EXPECT_EQ(15u, len);
    for (size_t i = 15; i < sizeof buf; ++i)
        EXPECT_EQ('\0', buf[i]) << "the whole buffer is cleared";

    for (uint32_t size : {16u, 15u, 6u, 1u}) {
        char small[20];
        memset(small, '#', sizeof small);
        len = size;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetEncodingName(p, small, &len)) << size;
        EXPECT_EQ(std::string("telephone-event").substr(0, size - 1), small) << size;
        EXPECT_EQ(std::min(size - 1, 15u), len) << size;
        EXPECT_EQ('#', small[size]) << "written beyond " << size;
    }
    zvSdpPayloadObjDestruct(p);
}

TEST_F(StartedLibrary, BitRateLookupsTakeFirstRowByNumberAndLastRowByName)
{
    uint32_t rate = 77;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetBitRateFromPayloadType(96, &rate));
    EXPECT_EQ(64000u, rate);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetBitRateFromPayloadType(108, &rate));
    EXPECT_EQ(0u, rate);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetBitRateFromPayloadType(4, &rate));
    EXPECT_EQ(6300u, rate);
    rate = 77;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetBitRateFromPayloadType(2, &rate));
    EXPECT_EQ(0u, rate);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetBitRateFromPayloadType(0, nullptr));

    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetBitRateFromEncodingName("telephone-event", &rate));
    EXPECT_EQ(0u, rate);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetBitRateFromEncodingName("G729D", &rate));
    EXPECT_EQ(6400u, rate);
    rate = 77;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetBitRateFromEncodingName("g729d", &rate));
    EXPECT_EQ(0u, rate);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetBitRateFromEncodingName(nullptr, &rate));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetBitRateFromEncodingName("PCMU", nullptr));
}

TEST_F(StartedLibrary, RenumberingMovesARowToTheLowestFreeDynamicNumber)
{
    uint32_t pt = 0;
    char buf[20];
    uint32_t len = sizeof buf;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("G729D"));
    EXPECT_EQ(110u, zvSdpCodecTable[29].payloadType);
    zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(8000, "G729D", &pt);
    EXPECT_EQ(110u, pt);
    EXPECT_EQ(ZVSDP_RC_NOT_FOUND, zvSdpMediaGetEncodingNameFromPayloadType(101, buf, &len));

    // 101 is free again and lower than anything else free.
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("G729D"));
    EXPECT_EQ(101u, zvSdpCodecTable[29].payloadType);

    // Only the first row of a repeated name moves.
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("telephone-event"));
    EXPECT_EQ(110u, zvSdpCodecTable[24].payloadType);
    EXPECT_EQ(108u, zvSdpCodecTable[36].payloadType);

    // A static row can be moved too; a name in no row changes nothing.
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("PCMU"));
    EXPECT_EQ(96u, zvSdpCodecTable[0].payloadType);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("opus"));
    for (size_t i = 0; i < ZVSDP_CODEC_TABLE_ROWS; ++i) {
        if (i != 0 && i != 24) {
            EXPECT_EQ(kExpected[i].payloadType, zvSdpCodecTable[i].payloadType) << "row " << i;
        }
    }

    // The renumbering outlives a stop and start.
    zvSdpAppDestroy();
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(1));
    EXPECT_EQ(96u, zvSdpCodecTable[0].payloadType);

    zvSdpSetTraceLevel(3);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpUpdateDynamicCodecPayloadType(nullptr));
    EXPECT_THAT(logEntries(),
                ElementsAre("[ZVSDP::API]    |D|zvSdpUpdateDynamicCodecPayloadType|Encoding name was not set !"));
}

TEST_F(StartedLibrary, RenumberingFailsWhenEveryDynamicNumberIsTaken)
{
    // 96..109 are taken by the table; moving 17 static rows fills 110..126.
    // (Moving one row twice would only free the number it took.)
    const char *names[] = {"GSM", "G723", "DVI4", "LPC",  "PCMA", "G722", "L16", "QCELP", "CN",
                           "MPA", "G728", "G729", "CelB", "JPEG", "nv",   "H261", "MPV"};
    for (const char *name : names)
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType(name)) << name;
    EXPECT_EQ(110u, zvSdpCodecTable[1].payloadType);
    EXPECT_EQ(126u, zvSdpCodecTable[21].payloadType);
    ZvSdpCodecEntry before[ZVSDP_CODEC_TABLE_ROWS];
    memcpy(before, zvSdpCodecTable, sizeof before);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpUpdateDynamicCodecPayloadType("MP2T"));
    EXPECT_EQ(0, memcmp(before, zvSdpCodecTable, sizeof before));
}

}  // namespace
