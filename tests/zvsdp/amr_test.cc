// AMR and AMR-WB fmtp parameters: the parsed record, the canonical text
// written back, single-parameter updates and common modes.
#include "codec_fixture.h"

#include <cstring>

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Amr : public LibraryTest {
protected:
    // A payload of its own (not in any media), destroyed by the fixture.
    CPayload *payload(const char *name, const char *fmtp, uint32_t channels = 1)
    {
        CPayload *p = zvSdpPayloadObjConstructEx(106, name, strcmp(name, "AMR-WB") == 0 ? 16000 : 8000, channels);
        EXPECT_NE(nullptr, p);
        if (p && fmtp)
            zvSdpPayloadObjSetFmtp(p, fmtp);
        owned_.push_back(p);
        return p;
    }

    ZvSdpAmrConfig parse(CPayload *p)
    {
        ZvSdpAmrConfig c;
        memset(&c, 0xA5, sizeof c);  // the parser clears every word
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaPayloadParseAmrFmtp(p, &c));
        return c;
    }

    std::string write(CPayload *p, const ZvSdpAmrConfig &c)
    {
        char buffer[512];
        uint32_t length = sizeof buffer;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, buffer, &length));
        EXPECT_EQ(strlen(buffer), length);
        return buffer;
    }

    // The fmtp text through parse and write.
    std::string canonical(const char *name, const char *fmtp, uint32_t channels = 1)
    {
        CPayload *p = payload(name, fmtp, channels);
        return write(p, parse(p));
    }

    std::string fmtpOf(CPayload *p) { return dynText(zvSdpPayloadObjGetFmtp(p)); }

    void TearDown() override
    {
        for (CPayload *p : owned_)
            zvSdpPayloadObjDestruct(p);
        EXPECT_EQ(0u, objectsInUse());
        LibraryTest::TearDown();
    }

    std::vector<CPayload *> owned_;
};

TEST_F(Amr, KindComesFromTheExactName)
{
    ZvSdpAmrType type = ZVSDP_AMR_TYPE_NONE;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrGetType(payload("AMR", nullptr), &type));
    EXPECT_EQ(ZVSDP_AMR_TYPE_NB, type);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrGetType(payload("AMR-WB", nullptr), &type));
    EXPECT_EQ(ZVSDP_AMR_TYPE_WB, type);
    for (const char *other : {"amr", "AMR-wb", "AMR-WB2", "AMRWB", "PCMU"}) {
        type = ZVSDP_AMR_TYPE_WB;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrGetType(payload(other, nullptr), &type)) << other;
        EXPECT_EQ(ZVSDP_AMR_TYPE_NONE, type) << other;
    }
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrGetType(nullptr, &type));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrGetType(payload("AMR", nullptr), nullptr));
}

TEST_F(Amr, ParsedRecordOfTheFirstExample)
{
    CPayload *p = payload("AMR", "mode-set=0,2,7;octet-align=1");
    ZvSdpAmrConfig c = parse(p);
    EXPECT_EQ(1u, c.octetAlign);
    EXPECT_EQ(0x85u, c.modeSet);
    EXPECT_EQ(0u, c.modeChangeNeighbor);
    EXPECT_EQ(0u, c.modeChangePeriod);
    EXPECT_EQ(0u, c.modeChangeCapability);
    EXPECT_EQ(20u, c.ptime);
    EXPECT_EQ(0u, c.spare);
    EXPECT_EQ(0u, c.maxRedLimit);
    EXPECT_EQ(0, c.maxRed);
    EXPECT_EQ(1, c.channels);
    EXPECT_EQ("mode-set=0,2,7;octet-align=1;channels=1;mode-change-capability=0;max-red=0", write(p, c));
}

TEST_F(Amr, AbsentModeSetMeansTheWholeBand)
{
    EXPECT_EQ(0xFFu, parse(payload("AMR", nullptr)).modeSet);
    EXPECT_EQ(0x1FFu, parse(payload("AMR-WB", nullptr)).modeSet);
    EXPECT_EQ(0xFFu, parse(payload("AMR", "mode-set=")).modeSet);
    EXPECT_EQ(0x1FFu, parse(payload("AMR-WB", "octet-align=1")).modeSet);
    // A set whose every piece is refused stays empty instead.
    EXPECT_EQ(0u, parse(payload("AMR", "mode-set=10,11")).modeSet);
}

TEST_F(Amr, ChannelsAndPtimeAreFilledIn)
{
    ZvSdpAmrConfig c = parse(payload("AMR-WB", nullptr, 2));
    EXPECT_EQ(2, c.channels);
    EXPECT_EQ(20u, c.ptime);
    EXPECT_EQ(3, parse(payload("AMR", "channels=3", 2)).channels);
    EXPECT_EQ(2, parse(payload("AMR", "channels=0", 2)).channels);
    EXPECT_EQ(2, parse(payload("AMR", "channels=12", 2)).channels);
    // No channel count anywhere: none is written.
    EXPECT_EQ("mode-change-capability=0;max-red=0", canonical("AMR", nullptr, 0));
}

struct RoundTrip {
    const char *name, *fmtp, *canonical;
};

TEST_F(Amr, RoundTripsToTheCanonicalText)
{
    const RoundTrip cases[] = {
        {"AMR", nullptr, "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "mode-set=0,10", "mode-set=0;channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "octet-align=10", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "octet-align=01", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "octet-align=0", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "max-red=240", "channels=1;mode-change-capability=0;max-red=240"},
        {"AMR", "max-red=241", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "max-red=-5", "channels=1;mode-change-capability=0;max-red=-5"},
        {"AMR", "max-red=99999999999", "channels=1;mode-change-capability=0;max-red=0"},
        // Full sets, and sets reaching past the band, write no mode-set.
        {"AMR", "mode-set=0,1,2,3,4,5,6,7", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR-WB", "mode-set=0,1,2,3,4,5,6,7,8", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR-WB", "mode-set=0,1,2,3,4,5,6,7",
         "mode-set=0,1,2,3,4,5,6,7;channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "mode-set=0,8", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR-WB", "mode-set=8", "mode-set=8;channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "mode-set=10,11", "channels=1;mode-change-capability=0;max-red=0"},
        // Only period 2 and neighbor 1 are written; capability always is.
        {"AMR", "mode-change-period=1", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "mode-change-period=2", "channels=1;mode-change-capability=0;mode-change-period=2;max-red=0"},
        {"AMR", "mode-change-neighbor=2", "channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "mode-change-neighbor=1", "channels=1;mode-change-neighbor=1;mode-change-capability=0;max-red=0"},
        {"AMR", "mode-change-capability=2", "channels=1;mode-change-capability=2;max-red=0"},
        // Every key, out of order, comes back in canonical order.
        {"AMR-WB",
         "max-red=80;mode-change-capability=2;mode-change-period=2;mode-change-neighbor=1;channels=1;"
         "octet-align=1;mode-set=8,0,2",
         "mode-set=0,2,8;octet-align=1;channels=1;mode-change-neighbor=1;mode-change-capability=2;"
         "mode-change-period=2;max-red=80"},
    };
    for (const RoundTrip &c : cases)
        EXPECT_EQ(c.canonical, canonical(c.name, c.fmtp)) << c.name << " " << (c.fmtp ? c.fmtp : "(none)");
}

TEST_F(Amr, MalformedTextIsParsedByTheRules)
{
    const RoundTrip cases[] = {
        // Empty pieces and unknown keys are skipped.
        {"AMR", ";;mode-set=1;;", "mode-set=1;channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "foo=1;bar;mode-set=2;robust-sorting=1",
         "mode-set=2;channels=1;mode-change-capability=0;max-red=0"},
        // Keys are found anywhere in a piece; values must stand alone.
        {"AMR", " octet-align=1; mode-set=2,4",
         "mode-set=2,4;octet-align=1;channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "mode-set= 2,4,,x", "mode-set=4;channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "octet-align=1 ", "channels=1;mode-change-capability=0;max-red=0"},
        // The last piece with a key wins.
        {"AMR", "octet-align=1;octet-align=0;mode-set=1;mode-set=3",
         "mode-set=3;channels=1;mode-change-capability=0;max-red=0"},
        {"AMR", "max-red=100;max-red=300", "channels=1;mode-change-capability=0;max-red=100"},
        // A mode-set text is kept to 31 characters.
        {"AMR", "mode-set=1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,3",
         "mode-set=1;channels=1;mode-change-capability=0;max-red=0"},
    };
    for (const RoundTrip &c : cases)
        EXPECT_EQ(c.canonical, canonical(c.name, c.fmtp)) << c.fmtp;
}

TEST_F(Amr, FmtpIsReadOnlyUpToTheBuffer)
{
    // The fmtp is read into 512 bytes: 511 characters of text. A max-red
    // that ends on the last one is read whole, one character later it is cut.
    auto padded = [](size_t total) {
        std::string tail = ";max-red=100";
        return "mode-set=1;" + std::string(total - tail.size() - 11, 'x') + tail;
    };
    std::string fits = padded(511), cut = padded(512);
    ASSERT_EQ(511u, fits.size());
    EXPECT_EQ(100, parse(payload("AMR", fits.c_str())).maxRed);
    EXPECT_EQ(10, parse(payload("AMR", cut.c_str())).maxRed);

    std::string longModes = "mode-set=" + std::string(590, '7');
    ZvSdpAmrConfig c = parse(payload("AMR", longModes.c_str()));
    EXPECT_EQ(0u, c.modeSet);
    std::string longPiece = "octet-align=1;" + std::string(600, ';');
    EXPECT_EQ(1u, parse(payload("AMR", longPiece.c_str())).octetAlign);
}

TEST_F(Amr, NonAmrPayloadsAreRefused)
{
    CPayload *pcmu = payload("PCMU", "mode-set=1");
    ZvSdpAmrConfig c = {};
    char buffer[64] = "untouched";
    uint32_t length = sizeof buffer;
    zvSdpSetTraceLevel(4);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaPayloadParseAmrFmtp(pcmu, &c));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrTranslateConfigToFmtp(pcmu, &c, buffer, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadUpdateAmrParams(pcmu, ZVSDP_AMR_PARAM_OCTET_ALIGN, 1));
    EXPECT_EQ("mode-set=1", fmtpOf(pcmu));
    EXPECT_THAT(syslogTexts(), IsEmpty());
}

TEST_F(Amr, BadArgumentsAreReported)
{
    CPayload *p = payload("AMR", nullptr);
    ZvSdpAmrConfig c = {};
    char buffer[64];
    uint32_t length = sizeof buffer;
    uint32_t zero = 0;
    zvSdpSetTraceLevel(2);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpMediaPayloadParseAmrFmtp(p, nullptr));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrTranslateConfigToFmtp(nullptr, &c, buffer, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrTranslateConfigToFmtp(p, nullptr, buffer, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, nullptr, &length));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, buffer, nullptr));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, buffer, &zero));
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadUpdateAmrParams(nullptr, 0, 0));
    std::vector<std::string> masked;
    for (const std::string &e : logEntries())
        masked.push_back(maskPointers(e));
    const char *translate = "zvSdpPayloadAmrTranslateConfigToFmtp";
    EXPECT_THAT(masked,
                ElementsAre(apiLog("E", "zvSdpMediaPayloadParseAmrFmtp",
                                   "Invalid parameter detected: objHndl=PTR, &retval=(nil)"),
                            apiLog("E", translate, "Invalid parameter detected: objHndl=(nil)"),
                            apiLog("E", translate, "Invalid parameter detected: objHndl=PTR"),
                            apiLog("E", translate, "Invalid parameter detected: objHndl=PTR"),
                            apiLog("E", translate, "Invalid parameter detected: objHndl=PTR"),
                            apiLog("E", translate, "Invalid parameter detected: objHndl=PTR"),
                            apiLog("E", "zvSdpPayloadUpdateAmrParams", "Invalid parameter detected: objHndl=(nil)")));
}

TEST_F(Amr, WritingHonoursTheGateAndTheBuffer)
{
    CPayload *p = payload("AMR", nullptr);
    ZvSdpAmrConfig c = {};
    c.modeSet = 0x85;
    c.octetAlign = 2;  // only 1 is written
    c.maxRed = 60;
    c.maxRedLimit = 240;
    EXPECT_EQ("mode-set=0,2,7;mode-change-capability=0;max-red=60", write(p, c));
    c.maxRedLimit = 241;
    EXPECT_EQ("mode-set=0,2,7;mode-change-capability=0", write(p, c));
    c.maxRedLimit = 0xFFFFFFFFu;
    EXPECT_EQ("mode-set=0,2,7;mode-change-capability=0", write(p, c));

    // A short buffer gets the start of the text and nothing past its end.
    c.maxRedLimit = 0;
    c.octetAlign = 1;
    char buffer[32];
    memset(buffer, 0x7f, sizeof buffer);
    uint32_t length = 16;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, buffer, &length));
    EXPECT_STREQ("mode-set=0,2,7;", buffer);
    EXPECT_EQ(15u, length);
    for (size_t i = 16; i < sizeof buffer; ++i)
        ASSERT_EQ(0x7f, buffer[i]) << i;
}

TEST_F(Amr, UpdateChangesOneWordAndRewritesCanonically)
{
    struct Step {
        const char *before;
        uint32_t selector, value;
        const char *after;
    };
    const Step steps[] = {
        // Adding a mode to the full default set keeps it full.
        {nullptr, ZVSDP_AMR_PARAM_MODE_SET, 3, "channels=1;mode-change-capability=0;max-red=0"},
        {"mode-set=0", ZVSDP_AMR_PARAM_MODE_SET, 35, "mode-set=0,3;channels=1;mode-change-capability=0;max-red=0"},
        {"mode-set=0", ZVSDP_AMR_PARAM_MODE_SET, 0, "mode-set=0;channels=1;mode-change-capability=0;max-red=0"},
        {nullptr, ZVSDP_AMR_PARAM_OCTET_ALIGN, 1, "octet-align=1;channels=1;mode-change-capability=0;max-red=0"},
        {"octet-align=1", ZVSDP_AMR_PARAM_OCTET_ALIGN, 0, "channels=1;mode-change-capability=0;max-red=0"},
        {nullptr, ZVSDP_AMR_PARAM_MODE_CHANGE_NEIGHBOR, 1,
         "channels=1;mode-change-neighbor=1;mode-change-capability=0;max-red=0"},
        {nullptr, ZVSDP_AMR_PARAM_MODE_CHANGE_PERIOD, 2,
         "channels=1;mode-change-capability=0;mode-change-period=2;max-red=0"},
        // No selector reaches the capability: the ptime one is next to it.
        {"mode-change-capability=2", ZVSDP_AMR_PARAM_PTIME, 1, "channels=1;mode-change-capability=2;max-red=0"},
        {"mode-change-capability=2", ZVSDP_AMR_PARAM_SPARE, 1, "channels=1;mode-change-capability=2;max-red=0"},
        {"max-red=100", ZVSDP_AMR_PARAM_MAX_RED_LIMIT, 241, "channels=1;mode-change-capability=0"},
        {"max-red=100", ZVSDP_AMR_PARAM_MAX_RED_LIMIT, 240, "channels=1;mode-change-capability=0;max-red=100"},
        {nullptr, ZVSDP_AMR_PARAM_MAX_RED, 100, "channels=1;mode-change-capability=0;max-red=100"},
        {"octet-align=1;foo=2;mode-set=7,1", 8, 1,
         "mode-set=1,7;octet-align=1;channels=1;mode-change-capability=0;max-red=0"},
        {"mode-set=2", 0xFFFFFFFFu, 1, "mode-set=2;channels=1;mode-change-capability=0;max-red=0"},
    };
    for (const Step &s : steps) {
        CPayload *p = payload("AMR", s.before);
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadUpdateAmrParams(p, s.selector, s.value)) << s.selector;
        EXPECT_EQ(s.after, fmtpOf(p)) << (s.before ? s.before : "(none)") << " selector " << s.selector;
    }
}

TEST_F(Amr, ReadOnlyPayloadKeepsItsFmtp)
{
    CPayload *p = payload("AMR-WB", "mode-set=1");
    zvSdpPayloadObjSetAccessRights(p, ZVSDP_READ_ONLY);
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadUpdateAmrParams(p, ZVSDP_AMR_PARAM_MODE_SET, 2));
    EXPECT_EQ("mode-set=1", fmtpOf(p));
}

TEST(AmrModes, CommonModesKeepModesZeroToEight)
{
    EXPECT_EQ(0x0FFu, zvSdpMediaPayloadAmrGetCommonModes(0x3FF, 0x2FF));
    EXPECT_EQ(0x1FFu, zvSdpMediaPayloadAmrGetCommonModes(0xFFFFFFFFu, 0xFFFFFFFFu));
    EXPECT_EQ(0x005u, zvSdpMediaPayloadAmrGetCommonModes(0x95, 0x07));
    EXPECT_EQ(0u, zvSdpMediaPayloadAmrGetCommonModes(0x0F, 0xF0));
}

TEST(AmrUninitialised, EveryOperationRefusesWithThree)
{
    startClassModules(1);
    CPayload *p = zvSdpPayloadObjConstructEx(106, "AMR", 8000, 1);
    ASSERT_NE(nullptr, p);
    zvSdpPayloadObjSetFmtp(p, "mode-set=1");
    ZvSdpAmrConfig c = {};
    char buffer[64];
    uint32_t length = sizeof buffer;
    ZvSdpAmrType type = ZVSDP_AMR_TYPE_WB;
    zvSdpSetTraceLevel(2);
    syslogClear();
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadAmrGetType(p, &type));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpMediaPayloadParseAmrFmtp(p, &c));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, buffer, &length));
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadUpdateAmrParams(p, 1, 1));
    EXPECT_THAT(logEntries(), ElementsAre(apiLog("E", "zvSdpPayloadAmrGetType", "Error in getting the encoding name!"),
                                          apiLog("E", "zvSdpMediaPayloadParseAmrFmtp", "API not initialised!"),
                                          apiLog("E", "zvSdpPayloadAmrTranslateConfigToFmtp", "API not initialised!"),
                                          apiLog("E", "zvSdpPayloadUpdateAmrParams", "API not initialised!")));
    EXPECT_EQ("mode-set=1", dynText(zvSdpPayloadObjGetFmtp(p)));
    zvSdpPayloadObjDestruct(p);
    stopClassModules();
}

}  // namespace
