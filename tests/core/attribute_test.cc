// CAttribute: a flag is not an empty value, the cut text, and an empty name
// refused with its message.
#include "zvsdp_test.h"

using namespace zvtest;
using ::testing::ElementsAre;

namespace {

using AttributeObject = ObjectTest<1>;

TEST_F(AttributeObject, AFlagIsNotAnEmptyValueAndAnEmptyNameFailsWithItsMessage)
{
    CAttribute *a = zvSdpAttrObjConstruct("ptime", "20"), *flag = zvSdpAttrObjConstruct("sendrecv", "");
    EXPECT_EQ("a=pt", attrText(a, 5));
    EXPECT_EQ("a=ptime:20", attrText(a, 11));
    // An empty value at construction makes a flag; SetValue("") does not.
    CAttribute *empty = zvSdpAttrObjConstruct("sendrecv", "x"), *upper = zvSdpAttrObjConstruct("SENDRECV", nullptr);
    zvSdpAttrObjSetValue(empty, "");
    EXPECT_EQ("a=sendrecv", attrText(flag));
    EXPECT_EQ("a=sendrecv:", attrText(empty));
    EXPECT_EQ(0u, zvSdpAttrObjCompare(flag, empty));
    EXPECT_EQ(0u, zvSdpAttrObjCompare(empty, flag));
    EXPECT_EQ(0u, zvSdpAttrObjCompare(flag, upper));
    zvSdpAttrObjSetValue(empty, nullptr);
    zvSdpAttrObjSetAccessRights(empty, ZVSDP_READ_ONLY);
    EXPECT_EQ(1u, zvSdpAttrObjCompare(flag, empty));  // rights are not compared

    zvSdpAttrObjApiSetTraceLevel(1);
    syslogClear();
    EXPECT_EQ(nullptr, zvSdpAttrObjConstruct(nullptr, "20"));
    zvSdpAttrObjSetName(a, "");
    EXPECT_EQ(nullptr, zvSdpAttrObjConstructCopy(a));
    const std::string failed = "|Object construction failed! object sanity check failed.";
    EXPECT_THAT(logEntries(), ElementsAre("[ZVSDP::CAttribute]|C|zvSdpAttrObjConstruct" + failed,
                                          "[ZVSDP::CAttribute]|C|zvSdpAttrObjConstructCopy" + failed));
    for (CAttribute *x : {a, flag, empty, upper})
        zvSdpAttrObjDestruct(x);
    expectAllFreed();
}

}  // namespace
