// CPayload: the VAD rule of G.723 and G.729, and a payload needs a name.
#include <tuple>

#include "zvsdp_test.h"

using namespace zvtest;

namespace {

using PayloadObject = ObjectTest<1>;

TEST_F(PayloadObject, CheckVadReadsTheCodecKeyThenVadAndNoAnywhereMeansOff)
{
    const std::tuple<const char *, const char *, int32_t> cases[] = {
        {"G729", "annexb=no", 0},   {"g729", "annexb=yes", 1}, {"G729", "mode=30", -1},
        {"G729", nullptr, -1},      {"G729", "annexb=yes;nonstd", 0},
        {"G729", "vad=yes", 1},     {"G723", "annexa=yes", 1}, {"G723", "annexa=no", 0},
        {"G723", "annexb=yes", -1}, {"PCMU", "vad=no", 0},     {"PCMU", "annexb=no", -1}};
    for (const auto &[name, fmtp, expected] : cases) {
        CPayload *p = zvSdpPayloadObjConstruct(0, name);
        zvSdpPayloadObjSetFmtp(p, fmtp);
        EXPECT_EQ(expected, zvSdpPayloadCheckVad(p)) << name << " " << (fmtp ? fmtp : "(none)");
        zvSdpPayloadObjDestruct(p);
    }
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstruct(0, ""));
    EXPECT_EQ(nullptr, zvSdpPayloadObjConstructEx(0, nullptr, 8000, 1));
    expectAllFreed();
}

}  // namespace
