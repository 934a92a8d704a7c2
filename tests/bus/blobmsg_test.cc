// blobmsg_parse as the "get" handler calls it, on requests well and badly
// formed: the expected results are the gateway's libubox's, so the suite
// holds for ours and for theirs alike. And what the reply printer makes of
// damaged replies.
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

extern "C" {
#include <libubox/blobmsg.h>
}

#include "zvubus.h"

namespace {

using Bytes = std::vector<unsigned char>;

void putWord(Bytes &b, uint32_t v)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        b.push_back(static_cast<unsigned char>(v >> shift));
}

// One attribute: header word (extended flag, type, raw length), name, value.
Bytes named(int type, const char *name, const Bytes &value, bool extended = true)
{
    const size_t namelen = strlen(name);
    const size_t hdrlen = (2 + namelen + 1 + 3) & ~static_cast<size_t>(3);
    Bytes a;
    putWord(a, (extended ? 0x80000000u : 0) | static_cast<uint32_t>(type) << 24 |
                   static_cast<uint32_t>(4 + hdrlen + value.size()));
    a.push_back(static_cast<unsigned char>(namelen >> 8));
    a.push_back(static_cast<unsigned char>(namelen));
    a.insert(a.end(), name, name + namelen);
    a.resize(4 + hdrlen, 0);
    a.insert(a.end(), value.begin(), value.end());
    a.resize((a.size() + 3) & ~static_cast<size_t>(3), 0);
    return a;
}

Bytes int32(uint32_t v)
{
    Bytes b;
    putWord(b, v);
    return b;
}

Bytes text(const char *s)
{
    return Bytes(s, s + strlen(s) + 1);
}

Bytes join(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

const Bytes kName = named(BLOBMSG_TYPE_STRING, "encoding_name", text("AMR"));
const Bytes kId = named(BLOBMSG_TYPE_INT32, "payload_id", int32(106));

struct ParseCase {
    const char *what;
    Bytes data;
    int len;  // -1: all of data
    int result;
    long nameAt, idAt;  // offsets of what tb holds, -1 for NULL
};

TEST(BlobmsgParse, GivesTheGatewayLibrarysResults)
{
    const Bytes plain = join({int32(5u << 24 | 8), int32(0xdeadbeef)});  // no extended bit
    Bytes cut = join({kId, kName});
    cut.resize(kId.size() + 10);
    Bytes unterminated = kId;
    unterminated[4 + 2 + 10] = 'x';
    Bytes longName = kId;
    longName[5] = 40;
    const ParseCase cases[] = {
        {"empty request", {}, -1, -EINVAL, -1, -1},
        {"both keys", join({kName, kId}), -1, 0, 0, 24},
        {"only payload_id", kId, -1, 0, -1, 0},
        {"payload_id as a string", named(BLOBMSG_TYPE_STRING, "payload_id", text("106")), -1, 0, -1, -1},
        {"duplicate key: the first wins", join({kId, named(BLOBMSG_TYPE_INT32, "payload_id", int32(7))}), -1, 0, -1, 0},
        {"2 trailing bytes", join({kId, Bytes{0, 0}}), -1, 0, -1, 0},
        {"truncated last attribute", cut, -1, 0, -1, 0},
        {"zero header word", join({kId, Bytes{0, 0, 0, 0}, kName}), -1, 0, -1, 0},
        {"total length of 3", kId, 3, 0, -1, -1},
        {"length ends inside a header", join({kId, kName}), static_cast<int>(kId.size()) + 2, 0, -1, 0},
        {"plain attribute first is skipped", join({plain, kId}), -1, 0, -1, 8},
        {"unknown type id 20", join({named(20, "x", int32(1)), kId}), -1, -1, -1, -1},
        {"string without its NUL", join({named(BLOBMSG_TYPE_STRING, "encoding_name", {'A', 'M', 'R'}), kId}), -1, -1, -1, -1},
        {"string with the NUL inside", join({named(BLOBMSG_TYPE_STRING, "encoding_name", {'A', 0, 'R'}), kId}), -1, -1, -1, -1},
        {"int32 of 2 bytes", join({named(BLOBMSG_TYPE_INT32, "payload_id", {0, 1}), kName}), -1, -1, -1, -1},
        {"name not terminated", unterminated, -1, -1, -1, -1},
        {"name longer than the attribute", longName, -1, -1, -1, -1},
        {"raw length 2", join({int32(0x85000002u), kId}), -1, -1, -1, -1},
        {"name case differs", named(BLOBMSG_TYPE_INT32, "Payload_id", int32(1)), -1, 0, -1, -1},
        {"table children not checked", join({named(BLOBMSG_TYPE_TABLE, "t", int32(0xffffffff)), kId}), -1, 0, -1, 12},
        {"empty name", join({named(BLOBMSG_TYPE_INT32, "", int32(1)), kId}), -1, 0, -1, 12},
        {"double of 12 bytes", join({named(BLOBMSG_TYPE_DOUBLE, "d", Bytes(12, 0)), kId}), -1, 0, -1, 20},
    };
    const struct blobmsg_policy policy[2] = {{"encoding_name", BLOBMSG_TYPE_STRING},
                                              {"payload_id", BLOBMSG_TYPE_INT32}};
    for (const ParseCase &c : cases) {
        std::vector<uint32_t> aligned(c.data.size() / 4 + 2);
        if (!c.data.empty())
            memcpy(aligned.data(), c.data.data(), c.data.size());
        char *base = reinterpret_cast<char *>(aligned.data());
        struct blob_attr *tb[2] = {reinterpret_cast<struct blob_attr *>(base), nullptr};
        const unsigned int len = c.len < 0 ? static_cast<unsigned int>(c.data.size()) : static_cast<unsigned int>(c.len);
        EXPECT_EQ(c.result, blobmsg_parse(policy, 2, tb, base, len)) << c.what;
        EXPECT_EQ(c.nameAt, tb[0] ? reinterpret_cast<char *>(tb[0]) - base : -1L) << c.what;
        EXPECT_EQ(c.idAt, tb[1] ? reinterpret_cast<char *>(tb[1]) - base : -1L) << c.what;
    }
    struct blob_attr *tb[2];
    EXPECT_EQ(-EINVAL, blobmsg_parse(policy, 2, tb, nullptr, 0));
}

TEST(ReplyJson, RefusesDamagedRepliesWhereverTheDamageIs)
{
    const Bytes member = named(BLOBMSG_TYPE_TABLE, "AMR", named(BLOBMSG_TYPE_INT32, "payloadType", int32(106)));
    const Bytes good = join({int32(static_cast<uint32_t>(4 + member.size())), member});
    char *json = zvUbusFormatJson(good.data(), good.size(), 0);
    ASSERT_NE(nullptr, json);
    EXPECT_STREQ("{\"AMR\":{\"payloadType\":106}}", json);
    zvUbusFree(json);

    Bytes inner = good;
    inner[4 + 12 + 3] = 0x30;  // the nested int32 claims more than its table holds
    Bytes unnamed = good;
    unnamed[4] &= 0x7f;  // a table member without a name
    const Bytes badString = join({int32(4 + 12), named(BLOBMSG_TYPE_STRING, "s", {'x', 'y'})});
    for (const Bytes &bad : {inner, unnamed, badString, Bytes(good.begin(), good.end() - 4)})
        EXPECT_EQ(nullptr, zvUbusFormatJson(bad.data(), bad.size(), 1));
}

}  // namespace
