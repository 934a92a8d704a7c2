// AMR and AMR-WB fmtp parameters: the parsed record, the canonical text
// written back (what the gateway sends in its a=fmtp lines), updates of one
// parameter and the common modes of two sets.
#include "zvsdp_test.h"

#include <cstring>

using namespace zvtest;
using ::testing::ElementsAre;

namespace {

// The tail of every canonical text of a one-channel payload.
const std::string kTail = "channels=1;mode-change-capability=0;max-red=0";

class Amr : public LibraryTest {
protected:
    CPayload *payload(const char *name, const char *fmtp, uint32_t channels = 1)
    {
        owned_.push_back(zvSdpPayloadObjConstructEx(106, name, strcmp(name, "AMR-WB") ? 8000 : 16000, channels));
        zvSdpPayloadObjSetFmtp(owned_.back(), fmtp);
        return owned_.back();
    }
    static ZvSdpAmrConfig parse(CPayload *p)
    {
        ZvSdpAmrConfig c;
        memset(&c, 0xA5, sizeof c);  // the parser clears every word
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpMediaPayloadParseAmrFmtp(p, &c));
        return c;
    }
    static std::string write(CPayload *p, const ZvSdpAmrConfig &c)
    {
        char buffer[512];
        uint32_t length = sizeof buffer;
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, buffer, &length));
        return std::string(buffer, length);
    }
    ZvSdpAmrConfig parse(const char *name, const std::string &fmtp) { return parse(payload(name, fmtp.c_str())); }
    void TearDown() override
    {
        for (CPayload *p : owned_)
            zvSdpPayloadObjDestruct(p);
        EXPECT_EQ(0u, liveObjects());
        LibraryTest::TearDown();
    }
    std::vector<CPayload *> owned_;
};

TEST_F(Amr, KindAndParsedRecord)
{
    std::vector<ZvSdpAmrType> types;
    for (const char *name : {"AMR", "AMR-WB", "amr", "AMR-WB2"}) {
        types.push_back(ZVSDP_AMR_TYPE_WB);
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrGetType(payload(name, nullptr), &types.back()));
    }
    EXPECT_THAT(types, ElementsAre(ZVSDP_AMR_TYPE_NB, ZVSDP_AMR_TYPE_WB, ZVSDP_AMR_TYPE_NONE, ZVSDP_AMR_TYPE_NONE));
    ZvSdpAmrConfig c = parse("AMR", "mode-set=0,2,7;octet-align=1");
    const int64_t words[] = {c.octetAlign, c.modeSet, c.modeChangeNeighbor, c.modeChangePeriod,
                             c.modeChangeCapability, c.ptime, c.spare, c.maxRedLimit, c.maxRed, c.channels};
    EXPECT_THAT(words, ElementsAre(1, 0x85, 0, 0, 0, 20, 0, 0, 0, 1));
    // An absent mode-set is the whole band, one of refused pieces is empty;
    // channels come from the fmtp when 1..9, else from the payload.
    EXPECT_EQ(0xFFu, parse("AMR", "mode-set=").modeSet);
    EXPECT_EQ(0x1FFu, parse("AMR-WB", "octet-align=1").modeSet);
    EXPECT_EQ(0u, parse("AMR", "mode-set=10,11").modeSet);
    EXPECT_EQ(3, parse(payload("AMR", "channels=3", 2)).channels);
    EXPECT_EQ(2, parse(payload("AMR", "channels=12", 2)).channels);
}

TEST_F(Amr, ParsesByTheRulesAndWritesTheCanonicalText)
{
    const struct { const char *name, *fmtp; std::string written; } cases[] = {
        {"AMR", nullptr, kTail},
        {"AMR", "max-red=240", "channels=1;mode-change-capability=0;max-red=240"},
        {"AMR", "max-red=241", kTail},
        // Full sets, and sets reaching past the band, write no mode-set.
        {"AMR-WB", "mode-set=0,1,2,3,4,5,6,7,8", kTail},
        {"AMR-WB", "mode-set=0,1,2,3,4,5,6,7", "mode-set=0,1,2,3,4,5,6,7;" + kTail},
        // Only period 2 and neighbor 1 are written; the capability always is.
        {"AMR", "mode-change-period=1;mode-change-neighbor=2", kTail},
        {"AMR-WB",
         "max-red=80;mode-change-capability=2;mode-change-period=2;mode-change-neighbor=1;channels=1;"
         "octet-align=1;mode-set=8,0,2",
         "mode-set=0,2,8;octet-align=1;channels=1;mode-change-neighbor=1;mode-change-capability=2;"
         "mode-change-period=2;max-red=80"},
        // Empty pieces and unknown keys are skipped; keys are found anywhere
        // in a piece, values must stand alone; the last piece with a key wins.
        {"AMR", ";;foo=1;bar;mode-set=2;robust-sorting=1;;", "mode-set=2;" + kTail},
        {"AMR", " octet-align=1; mode-set=2,4", "mode-set=2,4;octet-align=1;" + kTail},
        {"AMR", "mode-set= 2,4,,x;octet-align=1 ", "mode-set=4;" + kTail},
        {"AMR", "octet-align=1;octet-align=0;mode-set=1;mode-set=3;max-red=-5",
         "mode-set=3;channels=1;mode-change-capability=0;max-red=-5"},
        {"AMR", "max-red=100;max-red=300", "channels=1;mode-change-capability=0;max-red=100"},
        // A mode-set text is kept to 31 characters.
        {"AMR", "mode-set=1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,3", "mode-set=1;" + kTail},
        // A key's last letter alone, at the very start of the text and of a
        // piece, is no key (and nothing before the text is read for it).
        {"AMR", "d=1;t=7;n=1;y=2;s=0", kTail},
    };
    for (const auto &c : cases) {
        CPayload *p = payload(c.name, c.fmtp);
        EXPECT_EQ(c.written, write(p, parse(p))) << c.name << " " << (c.fmtp ? c.fmtp : "(none)");
    }
}

// The fmtp is read into 512 bytes: a max-red ending on character 511 is
// whole, one character later it is cut. Writing stops at the caller's length.
TEST_F(Amr, BufferEdgesAndTheMaxRedGate)
{
    auto padded = [](size_t total) { return "mode-set=1;" + std::string(total - 23, 'x') + ";max-red=100"; };
    EXPECT_EQ(100, parse("AMR", padded(511)).maxRed);
    EXPECT_EQ(10, parse("AMR", padded(512)).maxRed);
    EXPECT_EQ(0u, parse("AMR", "mode-set=" + std::string(590, '7')).modeSet);

    CPayload *p = payload("AMR", nullptr);
    ZvSdpAmrConfig c = {};
    c.modeSet = 0x85;
    c.octetAlign = 2;  // only 1 is written
    c.maxRed = 60;
    c.maxRedLimit = 240;
    EXPECT_EQ("mode-set=0,2,7;mode-change-capability=0;max-red=60", write(p, c));
    c.maxRedLimit = 241;
    EXPECT_EQ("mode-set=0,2,7;mode-change-capability=0", write(p, c));
    char buffer[32];
    memset(buffer, 0x7f, sizeof buffer);
    uint32_t length = 16;
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadAmrTranslateConfigToFmtp(p, &c, buffer, &length));
    EXPECT_EQ(std::string("mode-set=0,2,7;") + '\0' + std::string(16, 0x7f), std::string(buffer, 32));
    EXPECT_EQ(15u, length);
}

TEST_F(Amr, UpdateChangesOneWordAndRewritesCanonically)
{
    const struct { const char *before; uint32_t selector, value; std::string after; } steps[] = {
        {nullptr, ZVSDP_AMR_PARAM_MODE_SET, 3, kTail},  // the full default set stays full
        {"mode-set=0", ZVSDP_AMR_PARAM_MODE_SET, 35, "mode-set=0,3;" + kTail},  // mode 35 wraps to 3
        {nullptr, ZVSDP_AMR_PARAM_OCTET_ALIGN, 1, "octet-align=1;" + kTail},
        // No selector reaches the capability, not even its neighbour ptime.
        {"mode-change-capability=2", ZVSDP_AMR_PARAM_PTIME, 1, "channels=1;mode-change-capability=2;max-red=0"},
        {"max-red=100", ZVSDP_AMR_PARAM_MAX_RED_LIMIT, 241, "channels=1;mode-change-capability=0"},
        {"octet-align=1;foo=2;mode-set=7,1", 8, 1, "mode-set=1,7;octet-align=1;" + kTail},
    };
    for (const auto &s : steps) {
        CPayload *p = payload("AMR", s.before);
        EXPECT_EQ(ZVSDP_RC_OK, zvSdpPayloadUpdateAmrParams(p, s.selector, s.value));
        EXPECT_EQ(s.after, dynText(zvSdpPayloadObjGetFmtp(p))) << (s.before ? s.before : "(none)") << " " << s.selector;
    }
    // Other codecs are refused silently; a read-only payload keeps its text.
    CPayload *pcmu = payload("PCMU", "mode-set=1"), *readOnly = payload("AMR-WB", "mode-set=1");
    zvSdpSetTraceLevel(4);
    EXPECT_EQ(ZVSDP_RC_INVALID, zvSdpPayloadUpdateAmrParams(pcmu, ZVSDP_AMR_PARAM_OCTET_ALIGN, 1));
    EXPECT_EQ(0u, syslogTexts().size());
    zvSdpPayloadObjSetAccessRights(readOnly, ZVSDP_READ_ONLY);
    EXPECT_EQ(ZVSDP_RC_NOT_ALLOWED, zvSdpPayloadUpdateAmrParams(readOnly, ZVSDP_AMR_PARAM_MODE_SET, 2));
    EXPECT_EQ("mode-set=1", dynText(zvSdpPayloadObjGetFmtp(readOnly)));
}

TEST(AmrModes, CommonModesKeepModesZeroToEight)
{
    EXPECT_EQ(0x0FFu, zvSdpMediaPayloadAmrGetCommonModes(0x3FF, 0x2FF));
    EXPECT_EQ(0x1FFu, zvSdpMediaPayloadAmrGetCommonModes(0xFFFFFFFFu, 0xFFFFFFFFu));
    EXPECT_EQ(0x005u, zvSdpMediaPayloadAmrGetCommonModes(0x95, 0x07));
}

}  // namespace
