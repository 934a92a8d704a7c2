// CAttribute: construction, the printed line, values, compare and copy.
#include "object_fixture.h"

#include "../../src/core/objects.h"

using namespace zvtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class AttributeObject : public ::testing::Test {
protected:
    void SetUp() override
    {
        startModules(1);
        baseline_ = liveStringsAndLists();
    }
    void TearDown() override { stopModules(); }
    uint32_t baseline_ = 0;
};

TEST_F(AttributeObject, FlagAndValueAttributesPrintTheirLine)
{
    CAttribute *empty = zvSdpAttrObjConstruct("sendrecv", "");
    CAttribute *none = zvSdpAttrObjConstruct("sendrecv", nullptr);
    CAttribute *ptime = zvSdpAttrObjConstruct("ptime", "20");
    ASSERT_TRUE(empty && none && ptime);

    // An empty value at construction makes a flag attribute.
    EXPECT_EQ(nullptr, zvSdpAttrObjGetValue(empty));
    EXPECT_EQ("a=sendrecv", attrText(empty));
    EXPECT_EQ("a=sendrecv", attrText(none));
    EXPECT_EQ("a=ptime:20", attrText(ptime));
    EXPECT_EQ("ptime", dynText(zvSdpAttrObjGetName(ptime)));
    EXPECT_EQ("20", dynText(zvSdpAttrObjGetValue(ptime)));
    EXPECT_EQ(ZVSDP_READ_WRITE, ptime->rights);

    EXPECT_EQ(20, zvSdpAttrObjGetValueInt(ptime));
    EXPECT_EQ(0, zvSdpAttrObjGetValueInt(none));
    zvSdpAttrObjSetValue(ptime, "-7");
    EXPECT_EQ(-7, zvSdpAttrObjGetValueInt(ptime));
    zvSdpAttrObjSetValue(ptime, "20ms");
    EXPECT_EQ(0, zvSdpAttrObjGetValueInt(ptime));
    zvSdpAttrObjSetValue(ptime, "99999999999");
    EXPECT_EQ(0, zvSdpAttrObjGetValueInt(ptime));
}

TEST_F(AttributeObject, ToStringCutsToTheBufferAndReportsTheLength)
{
    CAttribute *ptime = zvSdpAttrObjConstruct("ptime", "20");
    ASSERT_NE(nullptr, ptime);
    EXPECT_EQ("a=pt", attrText(ptime, 5));
    EXPECT_EQ("a=ptime:2", attrText(ptime, 10));
    EXPECT_EQ("a=ptime:20", attrText(ptime, 11));
    EXPECT_EQ("", attrText(ptime, 1));

    // No room at all: nothing is written, the length stays 0.
    char untouched[4] = {'Z', 'Z', 'Z', 'Z'};
    uint32_t length = 0;
    EXPECT_EQ(untouched, zvSdpAttrObjToString(ptime, untouched, &length));
    EXPECT_EQ(0u, length);
    EXPECT_EQ('Z', untouched[0]);

    CAttribute *flag = zvSdpAttrObjConstruct("recvonly", nullptr);
    EXPECT_EQ("a=rec", attrText(flag, 6));
}

TEST_F(AttributeObject, SetValueKeepsAnEmptyTextAndNullMakesAFlag)
{
    CAttribute *a = zvSdpAttrObjConstruct("ptime", "20");
    ASSERT_NE(nullptr, a);
    zvSdpAttrObjSetValue(a, "");
    ASSERT_NE(nullptr, zvSdpAttrObjGetValue(a));
    EXPECT_EQ("a=ptime:", attrText(a));
    zvSdpAttrObjSetValue(a, nullptr);
    EXPECT_EQ(nullptr, zvSdpAttrObjGetValue(a));
    EXPECT_EQ("a=ptime", attrText(a));
    zvSdpAttrObjSetName(a, "maxptime");
    zvSdpAttrObjSetValue(a, "40");
    EXPECT_EQ("a=maxptime:40", attrText(a));

    // Replacing name and value gives the old strings back.
    const uint32_t withOne = liveStringsAndLists();
    for (int i = 0; i < 50; ++i) {
        zvSdpAttrObjSetName(a, "ptime");
        zvSdpAttrObjSetValue(a, "30");
    }
    EXPECT_EQ(withOne, liveStringsAndLists());
    zvSdpAttrObjDestruct(a);
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(AttributeObject, CompareIsCaseSensitiveAndOneMeansEqual)
{
    CAttribute *a = zvSdpAttrObjConstruct("ptime", "20");
    CAttribute *same = zvSdpAttrObjConstruct("ptime", "20");
    CAttribute *upper = zvSdpAttrObjConstruct("PTIME", "20");
    CAttribute *other = zvSdpAttrObjConstruct("ptime", "30");
    CAttribute *flag1 = zvSdpAttrObjConstruct("sendonly", nullptr);
    CAttribute *flag2 = zvSdpAttrObjConstruct("sendonly", "");
    CAttribute *emptyValue = zvSdpAttrObjConstruct("sendonly", "x");
    ASSERT_TRUE(a && same && upper && other && flag1 && flag2 && emptyValue);
    zvSdpAttrObjSetValue(emptyValue, "");

    EXPECT_EQ(1u, zvSdpAttrObjCompare(a, same));
    EXPECT_EQ(1u, zvSdpAttrObjCompare(a, a));
    EXPECT_EQ(0u, zvSdpAttrObjCompare(a, upper));
    EXPECT_EQ(0u, zvSdpAttrObjCompare(a, other));
    EXPECT_EQ(1u, zvSdpAttrObjCompare(flag1, flag2));
    // A flag and an empty value print differently ("a=sendonly", "a=sendonly:").
    EXPECT_EQ(0u, zvSdpAttrObjCompare(flag1, emptyValue));
    EXPECT_EQ(0u, zvSdpAttrObjCompare(emptyValue, flag1));
    // Rights are not compared.
    zvSdpAttrObjSetAccessRights(same, ZVSDP_READ_ONLY);
    EXPECT_EQ(1u, zvSdpAttrObjCompare(a, same));
}

TEST_F(AttributeObject, CopyIsReadWriteAndOwnsItsStrings)
{
    CAttribute *source = zvSdpAttrObjConstruct("fmtp", "101 0-15");
    CAttribute *flagSource = zvSdpAttrObjConstruct("sendrecv", nullptr);
    ASSERT_TRUE(source && flagSource);
    zvSdpAttrObjSetAccessRights(source, ZVSDP_READ_ONLY);
    EXPECT_EQ(ZVSDP_READ_ONLY, source->rights);

    CAttribute *copy = zvSdpAttrObjConstructCopy(source);
    CAttribute *flagCopy = zvSdpAttrObjConstructCopy(flagSource);
    ASSERT_TRUE(copy && flagCopy);
    EXPECT_EQ(ZVSDP_READ_WRITE, copy->rights);
    EXPECT_EQ(1u, zvSdpAttrObjCompare(source, copy));
    EXPECT_NE(zvSdpAttrObjGetName(source), zvSdpAttrObjGetName(copy));
    EXPECT_EQ(nullptr, zvSdpAttrObjGetValue(flagCopy));

    zvSdpAttrObjSetValue(copy, "101 0-16");
    EXPECT_EQ("a=fmtp:101 0-15", attrText(source));
    zvSdpAttrObjDestruct(source);
    EXPECT_EQ("a=fmtp:101 0-16", attrText(copy));
    EXPECT_EQ("a=sendrecv", attrText(flagCopy));

    zvSdpAttrObjDestruct(copy);
    zvSdpAttrObjDestruct(flagCopy);
    zvSdpAttrObjDestruct(flagSource);
    EXPECT_EQ(0u, inUse("zvsdpattrobj"));
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(AttributeObject, EmptyNameFailsTheSanityCheckWithItsMessageAndLeaksNothing)
{
    zvSdpAttrObjApiSetTraceLevel(1);
    syslogClear();
    EXPECT_EQ(nullptr, zvSdpAttrObjConstruct("", "20"));
    EXPECT_EQ(nullptr, zvSdpAttrObjConstruct(nullptr, nullptr));

    CAttribute *renamed = zvSdpAttrObjConstruct("ptime", "20");
    ASSERT_NE(nullptr, renamed);
    zvSdpAttrObjSetName(renamed, "");
    EXPECT_EQ(nullptr, zvSdpAttrObjConstructCopy(renamed));
    EXPECT_THAT(logEntries(),
                ElementsAre("[ZVSDP::CAttribute]|C|zvSdpAttrObjConstruct|"
                            "Object construction failed! object sanity check failed.",
                            "[ZVSDP::CAttribute]|C|zvSdpAttrObjConstruct|"
                            "Object construction failed! object sanity check failed.",
                            "[ZVSDP::CAttribute]|C|zvSdpAttrObjConstructCopy|"
                            "Object construction failed! object sanity check failed."));
    EXPECT_EQ(1u, inUse("zvsdpattrobj"));
    zvSdpAttrObjDestruct(renamed);
    EXPECT_EQ(baseline_, liveStringsAndLists());
}

TEST_F(AttributeObject, ExhaustedPoolGivesNullWithoutMessageAndDoesNotGrow)
{
    zvSdpAttrObjApiSetTraceLevel(4);
    const uint32_t capacity = statsOf(poolNamed("zvsdpattrobj")).capacity;
    ASSERT_EQ(20u, capacity);
    std::vector<CAttribute *> held;
    for (uint32_t i = 0; i < capacity; ++i)
        held.push_back(zvSdpAttrObjConstruct("rtcp", "9"));
    EXPECT_NE(nullptr, held.back());
    syslogClear();
    EXPECT_EQ(nullptr, zvSdpAttrObjConstruct("rtcp", "9"));
    EXPECT_EQ(nullptr, zvSdpAttrObjConstructCopy(held[0]));
    EXPECT_THAT(syslogTexts(), IsEmpty());
    EXPECT_EQ(capacity, statsOf(poolNamed("zvsdpattrobj")).capacity);

    zvSdpAttrObjDestruct(held[3]);
    CAttribute *again = zvSdpAttrObjConstructCopy(held[0]);
    ASSERT_NE(nullptr, again);
    EXPECT_EQ("a=rtcp:9", attrText(again));
}

}  // namespace
