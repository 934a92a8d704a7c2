#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "memm.h"
#include "zvcommon.h"

namespace {

class Dynstr : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0u, zvPbxCommonGetGlobalDynstrPool(&pool));
        ASSERT_NE(MEMM_POOL_NONE, pool);
    }

    dynstr_t make(const char *text)
    {
        dynstr_t s = dynstr_fromstr(pool, text);
        EXPECT_NE(nullptr, s);
        return s;
    }

    // In-use records of the character-storage pools, found by their name.
    static uint32_t charStorageInUse()
    {
        uint32_t total = 0;
        for (int p = 0; p < MEMM_MAX_POOLS; ++p) {
            const char *name = memm_poolname(p);
            uint32_t inUse = 0;
            if (name && strcmp(name, "zvchars") == 0 && memm_get_stats(p, &inUse, nullptr, nullptr) == 0)
                total += inUse;
        }
        return total;
    }

    int pool = MEMM_POOL_NONE;
};

TEST_F(Dynstr, StrncpyCopiesAtMostCountAndAlwaysTerminates)
{
    dynstr_t s = make("silence");
    char buf[9];

    memset(buf, '#', sizeof buf);
    EXPECT_EQ(buf, dynstr_strncpy(buf, s, 4));
    EXPECT_STREQ("sile", buf);
    EXPECT_EQ('#', buf[5]);  // count + 1 bytes and not one more

    memset(buf, '#', sizeof buf);
    dynstr_strncpy(buf, s, 8);  // longer than the text: the text and its NUL
    EXPECT_STREQ("silence", buf);
    EXPECT_EQ('#', buf[8]);

    memset(buf, '#', sizeof buf);
    dynstr_strncpy(buf, s, 0);
    EXPECT_EQ('\0', buf[0]);
    EXPECT_EQ('#', buf[1]);

    memset(buf, '#', sizeof buf);
    dynstr_strncpy(buf, nullptr, 5);
    EXPECT_STREQ("", buf);
    EXPECT_EQ(nullptr, dynstr_strncpy(nullptr, s, 3));

    // The size-1 and full-size callers: "0-1" from a 4-byte buffer.
    dynstr_t range = make("0-1");
    char four[5] = "####";
    dynstr_strncpy(four, range, 3);
    EXPECT_STREQ("0-1", four);
    dynstr_release(range);
    dynstr_release(s);
}

TEST_F(Dynstr, ComparisonsTreatAbsentStringsAsEqualAndFirst)
{
    dynstr_t empty = make("");
    dynstr_t upper = make("PCMU");
    dynstr_t lower = make("pcmu");
    dynstr_t b = make("b");

    EXPECT_EQ(0, dynstr_strcmp(nullptr, nullptr));
    EXPECT_EQ(0, dynstr_strcmpi(nullptr, nullptr));
    EXPECT_EQ(0, dynstr_strcmp2(nullptr, nullptr));
    EXPECT_EQ(0, dynstr_strcmpi2(nullptr, nullptr));
    EXPECT_LT(dynstr_strcmp(nullptr, empty), 0);
    EXPECT_GT(dynstr_strcmp(empty, nullptr), 0);
    EXPECT_LT(dynstr_strcmp2(nullptr, ""), 0);
    EXPECT_GT(dynstr_strcmpi2(empty, nullptr), 0);

    EXPECT_NE(0, dynstr_strcmp(upper, lower));
    EXPECT_EQ(0, dynstr_strcmpi(upper, lower));
    EXPECT_EQ(0, dynstr_strcmpi2(lower, "PcMu"));
    EXPECT_NE(0, dynstr_strcmp2(lower, "PcMu"));
    EXPECT_EQ(0, dynstr_strcmp2(upper, "PCMU"));
    EXPECT_LT(dynstr_strcmp(lower, b) * dynstr_strcmp(b, lower), 0);
    EXPECT_GT(dynstr_strcmp2(b, "a"), 0);
    EXPECT_LT(dynstr_strcmpi2(upper, "pcmuX"), 0);  // a prefix sorts first
    EXPECT_GT(dynstr_strcmpi2(upper, "pcm"), 0);

    for (dynstr_t s : {empty, upper, lower, b})
        dynstr_release(s);
}

TEST_F(Dynstr, GetInt32AcceptsOnlyAWholeDecimalInRange)
{
    struct Good {
        const char *text;
        int32_t value;
    } good[] = {
        {"42", 42},        {"  -7", -7},       {"+15", 15},     {"\t8 \r\n", 8},
        {"0020", 20},      {"2147483647", INT32_MAX}, {"-2147483648", INT32_MIN},
    };
    for (const Good &g : good) {
        dynstr_t s = make(g.text);
        int32_t out = 0;
        EXPECT_EQ(0, dynstr_getint32(s, &out)) << g.text;
        EXPECT_EQ(g.value, out) << g.text;
        dynstr_release(s);
    }
    for (const char *bad : {"", "   ", "-", "+", "12a", "1 2", "0x10", "+-1", "\n5", "5\t6", "2147483648",
                            "-2147483649", "99999999999999999999999"}) {
        dynstr_t s = make(bad);
        int32_t out = 1234;
        EXPECT_EQ(-1, dynstr_getint32(s, &out)) << '"' << bad << '"';
        EXPECT_EQ(1234, out) << bad;
        dynstr_release(s);
    }
    int32_t out = 5;
    EXPECT_EQ(-1, dynstr_getint32(nullptr, &out));
    dynstr_t s = make("1");
    EXPECT_EQ(-1, dynstr_getint32(s, nullptr));
    dynstr_release(s);
}

TEST_F(Dynstr, GetLongUsesTheFullRangeOfLong)
{
    char text[32];
    snprintf(text, sizeof text, " %ld\r\n", LONG_MAX);
    dynstr_t max = make(text);
    snprintf(text, sizeof text, "%ld", LONG_MIN);
    dynstr_t min = make(text);
    snprintf(text, sizeof text, "%ld0", LONG_MAX);
    dynstr_t over = make(text);
    dynstr_t junk = make("12 x");

    long out = 0;
    EXPECT_EQ(0, dynstr_getlong(max, &out));
    EXPECT_EQ(LONG_MAX, out);
    EXPECT_EQ(0, dynstr_getlong(min, &out));
    EXPECT_EQ(LONG_MIN, out);
    out = 3;
    EXPECT_EQ(-1, dynstr_getlong(over, &out));
    EXPECT_EQ(-1, dynstr_getlong(junk, &out));
    EXPECT_EQ(-1, dynstr_getlong(nullptr, &out));
    EXPECT_EQ(3, out);
    for (dynstr_t s : {max, min, over, junk})
        dynstr_release(s);
}

TEST_F(Dynstr, ConstructorsAndIdentity)
{
    dynstr_t zero = dynstr_fromuint32(pool, 0);
    dynstr_t big = dynstr_fromuint32(pool, 4294967295u);
    dynstr_t cut = dynstr_fromstrn(pool, "abcdef", 3);
    dynstr_t none = dynstr_fromstr(pool, nullptr);
    dynstr_t fmt = dynstr_fromprintf(pool, "%s=%d", "pt", 8);
    EXPECT_STREQ("0", dynstr_cstr(zero));
    EXPECT_STREQ("4294967295", dynstr_cstr(big));
    EXPECT_STREQ("abc", dynstr_cstr(cut));
    EXPECT_EQ(3u, dynstr_len(cut));
    EXPECT_STREQ("", dynstr_cstr(none));
    EXPECT_STREQ("pt=8", dynstr_cstr(fmt));

    dynstr_t copy = dynstr_dup(pool, fmt);
    ASSERT_NE(nullptr, copy);
    EXPECT_NE(fmt, copy);
    EXPECT_EQ(0, dynstr_strcmp(fmt, copy));
    EXPECT_EQ(nullptr, dynstr_dup(pool, nullptr));

    int lists = MEMM_POOL_NONE;
    ASSERT_EQ(0u, zvPbxCommonGetGlobalLinkedListPool(&lists));
    EXPECT_EQ(nullptr, dynstr_fromstr(lists, "x"));
    EXPECT_EQ(nullptr, dynstr_fromstr(MEMM_POOL_NONE, "x"));

    EXPECT_EQ(1, dynstr_isdynstring(copy));
    llist_t list = llist_create(lists);
    EXPECT_EQ(0, dynstr_isdynstring(list));
    EXPECT_EQ(0, dynstr_isdynstring("plain text"));
    EXPECT_EQ(0, dynstr_isdynstring(nullptr));
    dynstr_release(copy);
    EXPECT_EQ(0, dynstr_isdynstring(copy));
    EXPECT_EQ(nullptr, dynstr_cstr(nullptr));
    EXPECT_EQ(0u, dynstr_len(nullptr));
    EXPECT_EQ(-1, dynstr_assign(nullptr, "x"));
    EXPECT_EQ(-1, dynstr_append(nullptr, "x"));
    EXPECT_EQ(-1, dynstr_printf(nullptr, "x"));
    EXPECT_EQ(-1, dynstr_appendf(nullptr, "x"));
    llist_release(list);
    for (dynstr_t s : {zero, big, cut, none, fmt})
        dynstr_release(s);
}

TEST_F(Dynstr, StrdupCopiesComeFromPoolStorageAndGoBack)
{
    dynstr_t s = make("G729");
    uint32_t before = charStorageInUse();
    char *copy = dynstr_strdup(s);
    ASSERT_NE(nullptr, copy);
    EXPECT_STREQ("G729", copy);
    EXPECT_NE(dynstr_cstr(s), copy);
    EXPECT_EQ(before + 1, charStorageInUse());
    dynstr_strfree(copy);
    EXPECT_EQ(before, charStorageInUse());

    EXPECT_EQ(nullptr, dynstr_strdup(nullptr));
    dynstr_strfree(nullptr);
    // Something that is not a copy is left alone, a string handle included.
    dynstr_strfree(reinterpret_cast<char *>(s));
    EXPECT_EQ(1, dynstr_isdynstring(s));
    char local[] = "local";
    dynstr_strfree(local);
    dynstr_release(s);
}

TEST_F(Dynstr, GrowsAcrossStorageClassesKeepingItsText)
{
    dynstr_t s = make("");
    std::string expect;
    for (int i = 0; i < 5000; ++i) {
        char piece[8];
        snprintf(piece, sizeof piece, "%d,", i % 97);
        if (i % 2)
            ASSERT_EQ(0, dynstr_append(s, piece));
        else
            ASSERT_EQ(0, dynstr_appendf(s, "%d,", i % 97));
        expect += piece;
        ASSERT_EQ(expect.size(), dynstr_len(s)) << i;
    }
    EXPECT_EQ(expect, dynstr_cstr(s));

    // printf replaces, both ways across the inline room.
    std::string longText(3000, 'x');
    ASSERT_EQ(0, dynstr_printf(s, "<%s>", longText.c_str()));
    EXPECT_EQ("<" + longText + ">", dynstr_cstr(s));
    ASSERT_EQ(0, dynstr_printf(s, "%d", 5));
    EXPECT_STREQ("5", dynstr_cstr(s));
    ASSERT_EQ(0, dynstr_assign(s, longText.c_str()));
    EXPECT_EQ(longText, dynstr_cstr(s));
    ASSERT_EQ(0, dynstr_assign(s, "short"));
    EXPECT_STREQ("short", dynstr_cstr(s));
    dynstr_release(s);
}

TEST_F(Dynstr, OwnTextMayBeAnArgument)
{
    // Each of these grows the string while reading its old text.
    dynstr_t s = make("abcdefghij");
    ASSERT_EQ(0, dynstr_append(s, dynstr_cstr(s)));
    EXPECT_STREQ("abcdefghijabcdefghij", dynstr_cstr(s));
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(0, dynstr_append(s, dynstr_cstr(s)));
    EXPECT_EQ(160u, dynstr_len(s));

    std::string before = dynstr_cstr(s);
    ASSERT_EQ(0, dynstr_appendf(s, "|%s|%s", dynstr_cstr(s), dynstr_cstr(s)));
    EXPECT_EQ(before + "|" + before + "|" + before, dynstr_cstr(s));

    before = dynstr_cstr(s);
    ASSERT_EQ(0, dynstr_printf(s, "[%s]", dynstr_cstr(s)));
    EXPECT_EQ("[" + before + "]", dynstr_cstr(s));

    ASSERT_EQ(0, dynstr_assign(s, dynstr_cstr(s) + 1));
    EXPECT_EQ(before + "]", dynstr_cstr(s));
    dynstr_release(s);
}

TEST_F(Dynstr, TextIsCappedAt65535Characters)
{
    std::string huge(70000, 'q');
    huge[0] = 'Q';
    dynstr_t s = make(huge.c_str());
    EXPECT_EQ(DYNSTR_MAX_LEN, dynstr_len(s));
    EXPECT_EQ(DYNSTR_MAX_LEN, strlen(dynstr_cstr(s)));
    EXPECT_EQ('Q', dynstr_cstr(s)[0]);

    EXPECT_EQ(0, dynstr_append(s, "more"));
    EXPECT_EQ(0, dynstr_appendf(s, "%s", "more"));
    EXPECT_EQ(DYNSTR_MAX_LEN, dynstr_len(s));

    EXPECT_EQ(0, dynstr_printf(s, "%s!", huge.c_str()));
    EXPECT_EQ(DYNSTR_MAX_LEN, dynstr_len(s));
    EXPECT_EQ(huge.substr(0, DYNSTR_MAX_LEN), dynstr_cstr(s));

    dynstr_t nearly = dynstr_fromstrn(pool, huge.c_str(), DYNSTR_MAX_LEN - 2);
    EXPECT_EQ(0, dynstr_append(nearly, "abcdef"));
    EXPECT_EQ(DYNSTR_MAX_LEN, dynstr_len(nearly));
    EXPECT_STREQ("ab", dynstr_cstr(nearly) + DYNSTR_MAX_LEN - 2);

    dynstr_t printed = dynstr_fromprintf(pool, "%s", huge.c_str());
    EXPECT_EQ(DYNSTR_MAX_LEN, dynstr_len(printed));

    char *copy = dynstr_strdup(s);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(DYNSTR_MAX_LEN, strlen(copy));
    dynstr_strfree(copy);
    for (dynstr_t d : {s, nearly, printed})
        dynstr_release(d);
}

}  // namespace
