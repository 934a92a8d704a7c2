// The codec table and the lookups answered from it. The gateway's other
// processes know the same table, so its first-row-wins rules, the rtpmap
// decision and renumbering (kept for the process) are pinned.
#include "zvsdp_test.h"

#include <algorithm>
#include <cstring>
#include <tuple>

using namespace zvtest;

namespace {

// The rows themselves, as `zvsdp codecs` prints them, are examples/codecs.txt;
// what that listing cannot show is checked here.
TEST(CodecTable, HoldsThirtyEightRowsOfNineWordsTheImageRowAndNoReservedWord)
{
    static_assert(sizeof(zvSdpCodecTable) / sizeof(zvSdpCodecTable[0]) == 38, "row count");
    for (const ZvSdpCodecEntry &row : zvSdpCodecTable)
        EXPECT_EQ(0u, row.reserved) << row.encodingName;
    EXPECT_EQ(static_cast<uint32_t>(ZVSDP_MT_IMAGE), zvSdpCodecTable[33].mediaType);
}

class StartedLibrary : public LibraryTest {
protected:
    StartedLibrary() : LibraryTest(1) {}
};

// Names are exact. By name the first row counts (also for a payload's
// default ptime and bit rate), except for bit rates looked up by name, where
// the last does. 77: refused, output untouched.
TEST_F(StartedLibrary, LookupsByNameAndNumber)
{
    const struct { const char *name; uint32_t clock, validAndDynamic, pt, rate, ptime, defaultRate; } cases[] = {
        {"PCMU", 8000, 10, 0, 64000, 20, 64000},     {"pcmu", 8000, 0, 0, 0, 77, 77},
        {"T38", 0, 11, 105, 0, 77, 77},              {"G723", 8000, 10, 4, 6300, 30, 6300},
        {"DVI4", 22050, 10, 5, 64000, 20, 64000},    {"AMR-", 8000, 0, 0, 0, 77, 77},
        {"telephone-event", 8000, 11, 96, 0, 20, 64000}, {"telephone-event", 16000, 11, 108, 0, 20, 64000},
        {"telephone-event", 44100, 11, 0, 0, 20, 64000}};
    for (const auto &c : cases) {
        uint32_t valid = 7, dynamic = 7, pt = 77, rate = 77, ptime = 77, defaultRate = 77;
        CPayload *p = zvSdpPayloadObjConstructEx(120, c.name, c.clock, 1);
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpIsValidCodecName(c.name, &valid));
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpIsDynamicPayLoadFromEncodingName(c.name, &dynamic));
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(c.clock, c.name, &pt));
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetBitRateFromEncodingName(c.name, &rate));
        EXPECT_EQ(c.ptime == 77 ? ZVSDP_RC_INVALID : ZVSDP_RC_OK, zvSdpPayloadGetDefaultPtime(p, &ptime));
        EXPECT_EQ(c.ptime == 77 ? ZVSDP_RC_INVALID : ZVSDP_RC_OK, zvSdpPayloadGetDefaultBitRate(p, &defaultRate));
        EXPECT_EQ(::testing::PrintToString(std::make_tuple(c.validAndDynamic, c.pt, c.rate, c.ptime, c.defaultRate)),
                  ::testing::PrintToString(std::make_tuple(valid * 10 + dynamic, pt, rate, ptime, defaultRate)))
            << c.name << "@" << c.clock;
        zvSdpPayloadObjDestruct(p);
    }
    uint32_t rate = 77;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetBitRateFromPayloadType(96, &rate));
    EXPECT_EQ(64000u, rate);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpIsValidCodecName(nullptr, &rate));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(8000, "PCMU", nullptr));
}

// Whether a payload needs its a=rtpmap line when printed.
TEST_F(StartedLibrary, OnlyAStaticPayloadMatchingItsRowExactlyGoesWithoutRtpmap)
{
    const struct { uint32_t pt; const char *name; uint32_t clock, channels, required; } cases[] = {
        {0, "PCMU", 8000, 1, 0}, {10, "L16", 44100, 2, 0}, {31, "H261", 90000, 0, 0}, {16, "DVI4", 11025, 1, 0},
        {0, "pcmu", 8000, 1, 1}, {8, "PCMU", 8000, 1, 1},  {0, "PCMU", 16000, 1, 1}, {0, "PCMU", 8000, 2, 1},
        {0, "PCMU", 8000, 0, 1}, {11, "L16", 44100, 2, 1}, {2, "G721", 8000, 1, 1},  {101, "G729D", 8000, 1, 1}};
    for (const auto &c : cases) {
        CPayload *p = zvSdpPayloadObjConstructEx(c.pt, c.name, c.clock, c.channels);
        EXPECT_EQ(c.required, zvSdpPayLoadIsRtpmapGenerationRequired(p)) << c.pt << " " << c.name << "/" << c.clock;
        zvSdpPayloadObjDestruct(p);
    }
    // Built dynamic and moved to a static number, the stored flag decides.
    CPayload *moved = zvSdpPayloadObjConstructEx(100, "PCMU", 8000, 1);
    zvSdpPayloadObjSetPayloadType(moved, 0);
    EXPECT_EQ(1u, zvSdpPayLoadIsRtpmapGenerationRequired(moved));
    zvSdpPayloadObjSetEnableRtpMap(moved, 0);
    EXPECT_EQ(0u, zvSdpPayLoadIsRtpmapGenerationRequired(moved));
    zvSdpPayloadObjDestruct(moved);
}

// By number the first row wins (6 is the 16 kHz "DVI4"); a payload gives its
// own name. Nothing is written beyond the given length.
TEST_F(StartedLibrary, EncodingNamesAreCutToTheBuffer)
{
    CPayload *p = zvSdpPayloadObjConstructEx(120, "telephone-event", 8000, 1);
    for (uint32_t size : {32u, 16u, 15u, 5u, 4u, 1u}) {
        char byNumber[33], own[33];
        memset(byNumber, '#', sizeof byNumber);
        memset(own, '#', sizeof own);
        uint32_t numberLength = size, ownLength = size;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaGetEncodingNameFromPayloadType(6, byNumber, &numberLength));
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetEncodingName(p, own, &ownLength));
        EXPECT_EQ(std::string("DVI4").substr(0, size - 1), byNumber) << size;
        EXPECT_EQ(std::string("telephone-event").substr(0, size - 1), own) << size;
        EXPECT_EQ(std::min(size - 1, 4u) * 100 + std::min(size - 1, 15u), numberLength * 100 + ownLength) << size;
        EXPECT_EQ("##", std::string(byNumber + size, 1) + own[size]) << "written beyond " << size;
    }
    char buf[8] = "#######";
    uint32_t len = sizeof buf;
    EXPECT_EQ(ZVSDP_RC_NOT_FOUND, zvSdpMediaGetEncodingNameFromPayloadType(2, buf, &len));
    len = 0;
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaGetEncodingNameFromPayloadType(0, buf, &len));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadGetEncodingName(p, buf, &len));
    EXPECT_STREQ("#######", buf);
    zvSdpPayloadObjDestruct(p);
}

TEST_F(StartedLibrary, RenumberingMovesARowToTheLowestFreeDynamicNumber)
{
    ZvSdpCodecEntry before[ZVSDP_CODEC_TABLE_ROWS];
    memcpy(before, zvSdpCodecTable, sizeof before);
    uint32_t pt = 0, len = 20;
    char buf[20];
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("G729D"));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadGetPayloadTypeFromEncodingNameAndSampleRate(8000, "G729D", &pt));
    EXPECT_EQ(ZVSDP_RC_NOT_FOUND, zvSdpMediaGetEncodingNameFromPayloadType(101, buf, &len));
    EXPECT_EQ(110u, pt);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("G729D"));  // 101 is free again
    EXPECT_EQ(101u, zvSdpCodecTable[29].payloadType);
    // Only the first row of a repeated name moves; static rows move too; a
    // name in no row changes nothing.
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("telephone-event"));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("PCMU"));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType("opus"));
    for (size_t i = 0; i < ZVSDP_CODEC_TABLE_ROWS; ++i)
        EXPECT_EQ(i == 24 ? 110u : i == 0 ? 96u : before[i].payloadType, zvSdpCodecTable[i].payloadType) << i;
    // The renumbering outlives a stop and start.
    zvSdpAppDestroy();
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpAppInit(1));
    EXPECT_EQ(96u, zvSdpCodecTable[0].payloadType);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpUpdateDynamicCodecPayloadType(nullptr));
}

TEST_F(StartedLibrary, RenumberingFailsWhenEveryDynamicNumberIsTaken)
{
    // 96..109 are taken by the table; moving 17 static rows fills 110..126.
    for (const char *name : {"GSM", "G723", "DVI4", "LPC", "PCMA", "G722", "L16", "QCELP", "CN", "MPA", "G728",
                             "G729", "CelB", "JPEG", "nv", "H261", "MPV"})
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpUpdateDynamicCodecPayloadType(name)) << name;
    EXPECT_EQ(126u, zvSdpCodecTable[21].payloadType);
    ZvSdpCodecEntry before[ZVSDP_CODEC_TABLE_ROWS];
    memcpy(before, zvSdpCodecTable, sizeof before);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpUpdateDynamicCodecPayloadType("MP2T"));
    EXPECT_EQ(0, memcmp(before, zvSdpCodecTable, sizeof before));
}

}  // namespace
