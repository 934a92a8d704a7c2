// The codec query bus object, seen from a bus client: its reply decoded back
// from the bytes a client would receive, and the blob format under it.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libubox/blobmsg.h>
#include <libubus.h>
}

#include "zvsdp.h"
#include "zvubus.h"

namespace {

constexpr char kObjectName[] = "zvpbx.media.codec";

using Bytes = std::vector<unsigned char>;
using Members = std::vector<std::pair<std::string, uint32_t>>;

Bytes bytesOf(const struct blob_attr *attr)
{
    const auto *p = reinterpret_cast<const unsigned char *>(attr);
    return Bytes(p, p + blob_raw_len(attr));
}

// Starts a buffer that frees itself.
struct Buf {
    struct blob_buf b;
    Buf()
    {
        memset(&b, 0, sizeof b);
        EXPECT_EQ(0, blob_buf_init(&b, 0));
    }
    ~Buf() { blob_buf_free(&b); }
    Bytes bytes() const { return bytesOf(b.head); }
};

// Calls "get" through the in-process bus; the reply's bytes.
Bytes callGet(const void *request = nullptr, size_t len = 0)
{
    void *reply = nullptr;
    size_t replyLen = 0;
    EXPECT_EQ(UBUS_STATUS_OK, zvUbusInvoke(kObjectName, "get", request, len, &reply, &replyLen));
    EXPECT_NE(nullptr, reply);
    if (!reply)
        return {};
    Bytes out(static_cast<unsigned char *>(reply), static_cast<unsigned char *>(reply) + replyLen);
    zvUbusFree(reply);
    return out;
}

Bytes callGet(const Buf &request)
{
    Bytes req = request.bytes();
    return callGet(req.data(), req.size());
}

// Decodes a "get" reply, checking that every member is a table holding just
// the int32 "payloadType".
Members decode(const Bytes &reply)
{
    Members out;
    if (reply.size() < sizeof(struct blob_attr)) {
        ADD_FAILURE() << "reply shorter than a header";
        return out;
    }
    const auto *root = reinterpret_cast<const struct blob_attr *>(reply.data());
    EXPECT_EQ(reply.size(), blob_raw_len(root));
    EXPECT_EQ(0u, blob_id(root));
    EXPECT_FALSE(blob_is_extended(root));
    struct blob_attr *member;
    size_t rem;
    size_t seen = 0;
    blob_for_each_attr(member, root, rem)
    {
        seen += blob_pad_len(member);
        EXPECT_TRUE(blobmsg_check_attr(member, true));
        EXPECT_EQ(BLOBMSG_TYPE_TABLE, blobmsg_type(member)) << blobmsg_name(member);
        int fields = 0;
        uint32_t value = 0;
        struct blob_attr *field;
        size_t frem;
        blobmsg_for_each_attr(field, member, frem)
        {
            ++fields;
            EXPECT_STREQ("payloadType", blobmsg_name(field));
            EXPECT_EQ(BLOBMSG_TYPE_INT32, blobmsg_type(field));
            value = blobmsg_get_u32(field);
        }
        EXPECT_EQ(1, fields) << blobmsg_name(member);
        out.emplace_back(blobmsg_name(member), value);
    }
    EXPECT_EQ(blob_len(root), seen) << "members do not cover the reply";
    return out;
}

ZvSdpCodecEntry *rowNamed(const char *name)
{
    for (ZvSdpCodecEntry &row : zvSdpCodecTable) {
        if (strcmp(row.encodingName, name) == 0)
            return &row;
    }
    return nullptr;
}

class BusGet : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!zvUbusIsLocal())
            GTEST_SKIP() << "replies go to a real bus daemon";
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    }
};

TEST_F(BusGet, ListsTheShippedDynamicTypesInAscendingOrder)
{
    const Members expected = {
        {"telephone-event", 96}, {"G726-16", 97}, {"G726-24", 98}, {"G726-32", 99},   {"G726-40", 100},
        {"G729D", 101},          {"G729E", 102},  {"GSM-EFR", 103}, {"H263-1998", 104}, {"T38", 105},
        {"AMR", 106},            {"AMR-WB", 107}, {"telephone-event", 108}, {"ILBC", 109},
    };
    // Equal-named rows stay two members; static rows (PCMU, G729, ...) never
    // appear.
    EXPECT_EQ(expected, decode(callGet()));
}

TEST_F(BusGet, SameReplyWhateverTheRequestHolds)
{
    const Bytes plain = callGet();

    Buf empty;
    EXPECT_EQ(plain, callGet(empty));

    Buf zero;
    blobmsg_add_u32(&zero.b, "payload_id", 0);
    EXPECT_EQ(plain, callGet(zero));

    Buf asks;
    blobmsg_add_string(&asks.b, "encoding_name", "AMR");
    blobmsg_add_u32(&asks.b, "payload_id", 106);
    EXPECT_EQ(plain, callGet(asks));

    Buf wrongType;
    blobmsg_add_string(&wrongType.b, "payload_id", "zero");
    EXPECT_EQ(plain, callGet(wrongType));

    // Well framed, but its member is not a blobmsg attribute at all.
    const unsigned char junk[] = {0x00, 0x00, 0x00, 0x0c, 0x05, 0x00, 0x00, 0x08, 0xde, 0xad, 0xbe, 0xef};
    EXPECT_EQ(plain, callGet(junk, sizeof junk));
}

TEST_F(BusGet, MemberBytesAreWhatABusClientReceives)
{
    const Bytes reply = callGet();
    const Bytes firstMember = {
        0x82, 0x00, 0x00, 0x30,                              // extended, table, 48 bytes
        0x00, 0x0f, 't', 'e', 'l', 'e', 'p', 'h', 'o', 'n',  // name length 15
        'e', '-', 'e', 'v', 'e', 'n', 't', 0x00, 0x00, 0x00, // NUL, padding
        0x85, 0x00, 0x00, 0x18,                              // extended, int32, 24 bytes
        0x00, 0x0b, 'p', 'a', 'y', 'l', 'o', 'a', 'd', 'T',  // name length 11
        'y', 'p', 'e', 0x00, 0x00, 0x00,                     // NUL, padding
        0x00, 0x00, 0x00, 0x60,                              // 96, big-endian
    };
    ASSERT_GT(reply.size(), 4 + firstMember.size());
    EXPECT_EQ(firstMember, Bytes(reply.begin() + 4, reply.begin() + 4 + firstMember.size()));

    // Root: plain id 0, its length counting every member padded.
    size_t total = 4;
    for (const auto &m : decode(reply))
        total += 4 + BLOB_ALIGN(2 + m.first.size() + 1) + 24;
    const Bytes rootHeader = {0x00, 0x00, static_cast<unsigned char>(total >> 8), static_cast<unsigned char>(total)};
    EXPECT_EQ(rootHeader, Bytes(reply.begin(), reply.begin() + 4));
    EXPECT_EQ(total, reply.size());
}

TEST_F(BusGet, LongNamesAreCutTo19Characters)
{
    ZvSdpCodecEntry *row = rowNamed("T38");
    ASSERT_NE(nullptr, row);
    const char *saved = row->encodingName;

    row->encodingName = "ABCDEFGHIJKLMNOPQRST";  // 20 characters
    Members members = decode(callGet());
    ASSERT_EQ(14u, members.size());
    EXPECT_EQ(std::make_pair(std::string("ABCDEFGHIJKLMNOPQRS"), 105u), members[9]);

    row->encodingName = "ABCDEFGHIJKLMNOPQRS";  // 19 fit whole
    members = decode(callGet());
    ASSERT_EQ(14u, members.size());
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRS", members[9].first);

    row->encodingName = saved;
}

TEST_F(BusGet, CoversExactly96To127)
{
    ZvSdpCodecEntry *t38 = rowNamed("T38");
    ZvSdpCodecEntry *ilbc = rowNamed("ILBC");
    ASSERT_NE(nullptr, t38);
    ASSERT_NE(nullptr, ilbc);
    const uint32_t savedT38 = t38->payloadType;
    const uint32_t savedIlbc = ilbc->payloadType;

    t38->payloadType = 95;
    ilbc->payloadType = 127;
    const Members members = decode(callGet());
    ASSERT_EQ(13u, members.size());
    for (const auto &m : members)
        EXPECT_NE("T38", m.first);
    EXPECT_EQ(std::make_pair(std::string("ILBC"), 127u), members.back());

    t38->payloadType = savedT38;
    ilbc->payloadType = savedIlbc;
}

TEST_F(BusGet, PrintsAsJsonTheWayABusClientDoes)
{
    const Bytes reply = callGet();
    char *json = zvUbusFormatJson(reply.data(), reply.size(), 1);
    ASSERT_NE(nullptr, json);
    const std::string text(json);
    zvUbusFree(json);
    EXPECT_EQ(0u, text.find("{\n\t\"telephone-event\": {\n\t\t\"payloadType\": 96\n\t},\n\t\"G726-16\": {"));
    EXPECT_NE(std::string::npos, text.find("\t\"telephone-event\": {\n\t\t\"payloadType\": 108\n\t},"));
    EXPECT_EQ("\t\"ILBC\": {\n\t\t\"payloadType\": 109\n\t}\n}", text.substr(text.rfind("\n\t\"ILBC\"") + 1));
}

TEST(BusObject, RegistersTheDescribedObjectAgainAndAgain)
{
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    zvSdpBusDestroy();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    if (!zvUbusIsLocal())
        return;

    const struct ubus_object *obj = zvUbusLookupObject(kObjectName);
    ASSERT_NE(nullptr, obj);
    EXPECT_NE(0u, obj->id);
    ASSERT_NE(nullptr, obj->type);
    EXPECT_STREQ("payloadtype", obj->type->name);
    ASSERT_EQ(1, obj->n_methods);
    const struct ubus_method &get = obj->methods[0];
    EXPECT_STREQ("get", get.name);
    ASSERT_EQ(2, get.n_policy);
    EXPECT_STREQ("encoding_name", get.policy[0].name);
    EXPECT_EQ(BLOBMSG_TYPE_STRING, get.policy[0].type);
    EXPECT_STREQ("payload_id", get.policy[1].name);
    EXPECT_EQ(BLOBMSG_TYPE_INT32, get.policy[1].type);
}

TEST(BusObject, FailedRegistrationGives8)
{
    zvUbusFailNextAdd(UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_EQ(ZVSDP_RC_MISSING, zvSdpBusInit());
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
}

TEST(LocalBus, ReportsWhatCannotBeCalled)
{
    if (!zvUbusIsLocal())
        GTEST_SKIP();
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    void *reply = reinterpret_cast<void *>(1);
    size_t len = 7;
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, zvUbusInvoke("zvpbx.media.nothing", "get", nullptr, 0, &reply, &len));
    EXPECT_EQ(nullptr, reply);
    EXPECT_EQ(0u, len);
    EXPECT_EQ(UBUS_STATUS_METHOD_NOT_FOUND, zvUbusInvoke(kObjectName, "set", nullptr, 0, &reply, &len));

    // Requests whose own header is damaged never reach the handler.
    const unsigned char shortHeader[] = {0x00, 0x00};
    const unsigned char tooLong[] = {0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x00};
    const unsigned char tooShort[] = {0x00, 0x00, 0x00, 0x02};
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, zvUbusInvoke(kObjectName, "get", shortHeader, sizeof shortHeader, &reply, &len));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, zvUbusInvoke(kObjectName, "get", tooLong, sizeof tooLong, &reply, &len));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, zvUbusInvoke(kObjectName, "get", tooShort, sizeof tooShort, &reply, &len));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, zvUbusInvoke(kObjectName, "get", nullptr, 4, &reply, &len));

    // Another object may not take a registered name; the same one may return.
    struct ubus_object impostor;
    memset(&impostor, 0, sizeof impostor);
    impostor.name = kObjectName;
    EXPECT_NE(0, zvUbusAddObject(&impostor));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, zvUbusAddObject(nullptr));
}

// ---- the blob format ----------------------------------------------------

TEST(BlobFormat, ScalarsAreBigEndianAndPadded)
{
    Buf buf;
    blobmsg_add_string(&buf.b, "a", "xy");
    blobmsg_add_u16(&buf.b, "b", 0x1234);
    blobmsg_add_u64(&buf.b, "c", 0x0102030405060708ull);
    blobmsg_add_u8(&buf.b, "d", 1);
    const Bytes expected = {
        0x00, 0x00, 0x00, 0x38,                                      // root, 56 bytes
        0x83, 0x00, 0x00, 0x0b, 0x00, 0x01, 'a', 0x00, 'x', 'y', 0x00, 0x00,  // string, 11 + pad
        0x86, 0x00, 0x00, 0x0a, 0x00, 0x01, 'b', 0x00, 0x12, 0x34, 0x00, 0x00,  // int16, 10 + pad
        0x84, 0x00, 0x00, 0x10, 0x00, 0x01, 'c', 0x00, 1, 2, 3, 4, 5, 6, 7, 8,  // int64
        0x87, 0x00, 0x00, 0x09, 0x00, 0x01, 'd', 0x00, 0x01, 0x00, 0x00, 0x00,  // int8, 9 + pad
    };
    EXPECT_EQ(expected, buf.bytes());
}

TEST(BlobFormat, NestingCountsChildrenIntoEveryLevel)
{
    Buf buf;
    void *outer = blobmsg_open_table(&buf.b, "t");
    void *inner = blobmsg_open_array(&buf.b, "l");
    blobmsg_add_u32(&buf.b, nullptr, 7);
    blobmsg_close_array(&buf.b, inner);
    blobmsg_close_table(&buf.b, outer);
    blobmsg_add_u32(&buf.b, "n", 1);
    const Bytes expected = {
        0x00, 0x00, 0x00, 0x2c,                          // root, 44 bytes
        0x82, 0x00, 0x00, 0x1c, 0x00, 0x01, 't', 0x00,   // table "t", 28 bytes
        0x81, 0x00, 0x00, 0x14, 0x00, 0x01, 'l', 0x00,   // array "l", 20 bytes
        0x85, 0x00, 0x00, 0x0c, 0x00, 0x00, 0x00, 0x00,  // unnamed int32, empty name
        0x00, 0x00, 0x00, 0x07,                          //
        0x85, 0x00, 0x00, 0x0c, 0x00, 0x01, 'n', 0x00, 0x00, 0x00, 0x00, 0x01,
    };
    EXPECT_EQ(expected, buf.bytes());

    char *json = zvUbusFormatJson(expected.data(), expected.size(), 0);
    ASSERT_NE(nullptr, json);
    EXPECT_STREQ("{\"t\":{\"l\":[7]},\"n\":1}", json);
    zvUbusFree(json);
}

TEST(BlobFormat, GrowsPastItsFirstAllocation)
{
    Buf buf;
    for (uint32_t i = 0; i < 1000; ++i)
        ASSERT_EQ(0, blobmsg_add_u32(&buf.b, "k", i));
    const Bytes bytes = buf.bytes();
    ASSERT_EQ(4u + 1000u * 12u, bytes.size());
    EXPECT_EQ(Bytes({0x00, 0x00, 0x03, 0xe7}), Bytes(bytes.end() - 4, bytes.end()));
}

TEST(BlobFormat, ParseTakesNamedFieldsOfThePolicysType)
{
    const struct blobmsg_policy policy[] = {
        {"name", BLOBMSG_TYPE_STRING}, {"id", BLOBMSG_TYPE_INT32}, {"any", BLOBMSG_TYPE_UNSPEC}};
    Buf buf;
    blobmsg_add_u32(&buf.b, "name", 5);  // wrong type: left out
    blobmsg_add_string(&buf.b, "id", "x");
    blobmsg_add_u32(&buf.b, "id", 1);
    blobmsg_add_u32(&buf.b, "id", 2);  // the last one counts
    blobmsg_add_string(&buf.b, "any", "s");
    blobmsg_add_u32(&buf.b, "anyway", 3);
    struct blob_attr *tb[3];
    ASSERT_EQ(0, blobmsg_parse(policy, 3, tb, blob_data(buf.b.head), static_cast<unsigned int>(blob_len(buf.b.head))));
    EXPECT_EQ(nullptr, tb[0]);
    ASSERT_NE(nullptr, tb[1]);
    EXPECT_EQ(2u, blobmsg_get_u32(tb[1]));
    ASSERT_NE(nullptr, tb[2]);
    EXPECT_STREQ("s", blobmsg_get_string(tb[2]));

    EXPECT_EQ(0, blobmsg_parse(policy, 3, tb, nullptr, 0));
    EXPECT_EQ(nullptr, tb[1]);
}

TEST(BlobFormat, DamagedInputIsRefusedNotRead)
{
    const struct blobmsg_policy policy[] = {{"a", BLOBMSG_TYPE_STRING}};
    struct blob_attr *tb[1];
    const std::vector<Bytes> damaged = {
        {0x83, 0x00, 0x00, 0x08, 0x00, 0x01, 'a', 0x00},              // string without a value
        {0x83, 0x00, 0x00, 0x0c, 0x00, 0x01, 'a', 0x00, 'x', 'y', 'z', 'w'},  // no NUL
        {0x83, 0x00, 0x00, 0x0c, 0x00, 0x09, 'a', 0x00, 'x', 0x00, 0x00, 0x00},  // name overruns
        {0x83, 0x00, 0x00, 0x20, 0x00, 0x01, 'a', 0x00},              // longer than the data
        {0x83, 0x00, 0x00, 0x02},                                     // shorter than a header
        {0x85, 0x00, 0x00, 0x0a, 0x00, 0x01, 'a', 0x00, 0x00, 0x00, 0x00, 0x00},  // int32 of 2 bytes
        {0x82, 0x00, 0x00, 0x10, 0x00, 0x01, 't', 0x00, 0x85, 0x00, 0x00, 0x40, 0, 0, 0, 0},  // child overruns
        {0x03, 0x00, 0x00, 0x0c, 0x00, 0x01, 'a', 0x00, 'x', 0x00, 0x00, 0x00},  // not extended
        {0x00, 0x00},
    };
    for (size_t i = 0; i < damaged.size(); ++i) {
        Bytes data = damaged[i];
        EXPECT_EQ(-1, blobmsg_parse(policy, 1, tb, data.data(), static_cast<unsigned int>(data.size()))) << i;
        Bytes root = {0x00, 0x00, 0x00, static_cast<unsigned char>(4 + data.size())};
        root.insert(root.end(), data.begin(), data.end());
        EXPECT_EQ(nullptr, zvUbusFormatJson(root.data(), root.size(), 1)) << i;
    }

    // Tables nested beyond any real message are refused, not recursed into.
    Buf deep;
    std::vector<void *> cookies;
    for (int i = 0; i < 200; ++i)
        cookies.push_back(blobmsg_open_table(&deep.b, "t"));
    while (!cookies.empty()) {
        blobmsg_close_table(&deep.b, cookies.back());
        cookies.pop_back();
    }
    const Bytes bytes = deep.bytes();
    EXPECT_EQ(nullptr, zvUbusFormatJson(bytes.data(), bytes.size(), 0));
}

TEST(BlobFormat, JsonEscapesAndKeepsRepeatedNames)
{
    Buf buf;
    blobmsg_add_string(&buf.b, "s", "a\"b\\c\n\x01");
    blobmsg_add_u8(&buf.b, "s", 0);
    blobmsg_add_u32(&buf.b, "neg", 0xffffffffu);
    void *t = blobmsg_open_table(&buf.b, "e");
    blobmsg_close_table(&buf.b, t);
    const Bytes bytes = buf.bytes();
    char *json = zvUbusFormatJson(bytes.data(), bytes.size(), 0);
    ASSERT_NE(nullptr, json);
    EXPECT_STREQ("{\"s\":\"a\\\"b\\\\c\\n\\u0001\",\"s\":false,\"neg\":-1,\"e\":{}}", json);
    zvUbusFree(json);

    Buf empty;
    const Bytes none = empty.bytes();
    json = zvUbusFormatJson(none.data(), none.size(), 1);
    ASSERT_NE(nullptr, json);
    EXPECT_STREQ("{}", json);
    zvUbusFree(json);
}

}  // namespace
