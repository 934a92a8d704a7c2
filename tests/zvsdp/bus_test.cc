// The codec query bus object, seen from a bus client: its "get" reply decoded
// from the bytes a client receives and printed as a client prints it, and its
// registration (and failure when the bus refuses the object).
#include <gtest/gtest.h>
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

Bytes callGet(const Bytes &request = {})
{
    void *reply = nullptr;
    size_t len = 0;
    EXPECT_EQ(UBUS_STATUS_OK, zvUbusInvoke(kObjectName, "get", request.empty() ? nullptr : request.data(),
                                           request.size(), &reply, &len));
    Bytes out(static_cast<unsigned char *>(reply), static_cast<unsigned char *>(reply) + (reply ? len : 0));
    zvUbusFree(reply);
    return out;
}

Bytes requestOf(void (*fill)(struct blob_buf *))
{
    struct blob_buf b;
    memset(&b, 0, sizeof b);
    blob_buf_init(&b, 0);
    fill(&b);
    const auto *p = reinterpret_cast<const unsigned char *>(b.head);
    Bytes out(p, p + blob_raw_len(b.head));
    blob_buf_free(&b);
    return out;
}

// Each member must be a table holding just the int32 "payloadType".
Members decode(const Bytes &reply)
{
    Members out;
    if (reply.size() < sizeof(struct blob_attr))
        return out;
    const auto *root = reinterpret_cast<const struct blob_attr *>(reply.data());
    EXPECT_EQ(reply.size(), blob_raw_len(root));
    struct blob_attr *member, *field;
    size_t rem, frem;
    blob_for_each_attr(member, root, rem)
    {
        EXPECT_EQ(BLOBMSG_TYPE_TABLE, blobmsg_type(member)) << blobmsg_name(member);
        int fields = 0;
        blobmsg_for_each_attr(field, member, frem)
        {
            EXPECT_STREQ("payloadType", blobmsg_name(field));
            EXPECT_EQ(BLOBMSG_TYPE_INT32, blobmsg_type(field));
            if (++fields == 1)
                out.emplace_back(blobmsg_name(member), blobmsg_get_u32(field));
        }
        EXPECT_EQ(1, fields) << blobmsg_name(member);
    }
    return out;
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

TEST_F(BusGet, ListsTheDynamicTypesInAscendingOrderAsJsonWhateverTheRequest)
{
    const Members expected = {
        {"telephone-event", 96}, {"G726-16", 97}, {"G726-24", 98},   {"G726-32", 99},          {"G726-40", 100},
        {"G729D", 101},          {"G729E", 102},  {"GSM-EFR", 103},  {"H263-1998", 104},       {"T38", 105},
        {"AMR", 106},            {"AMR-WB", 107}, {"telephone-event", 108}, {"ILBC", 109}};
    const Bytes plain = callGet();
    EXPECT_EQ(expected, decode(plain));  // equal names stay two members; static types never appear
    // The first member byte for byte: extended table of 48 bytes holding an
    // extended big-endian int32 of 24.
    const Bytes first = {0x82, 0, 0, 0x30, 0, 0x0f, 't', 'e', 'l', 'e', 'p', 'h', 'o', 'n', 'e', '-',
                         'e', 'v', 'e', 'n', 't', 0, 0, 0, 0x85, 0, 0, 0x18, 0, 0x0b, 'p', 'a',
                         'y', 'l', 'o', 'a', 'd', 'T', 'y', 'p', 'e', 0, 0, 0, 0, 0, 0, 0x60};
    ASSERT_GT(plain.size(), 4 + first.size());
    EXPECT_EQ(first, Bytes(plain.begin() + 4, plain.begin() + 4 + first.size()));
    // Printed as a bus client prints it.
    char *json = zvUbusFormatJson(plain.data(), plain.size(), 1);
    ASSERT_NE(nullptr, json);
    const std::string text(json);
    zvUbusFree(json);
    EXPECT_EQ(0u, text.find("{\n\t\"telephone-event\": {\n\t\t\"payloadType\": 96\n\t},\n\t\"G726-16\": {"));
    EXPECT_NE(std::string::npos, text.find("\t\"telephone-event\": {\n\t\t\"payloadType\": 108\n\t},"));
    EXPECT_EQ("\t\"ILBC\": {\n\t\t\"payloadType\": 109\n\t}\n}", text.substr(text.rfind("\n\t\"ILBC\"") + 1));

    EXPECT_EQ(plain, callGet(requestOf([](struct blob_buf *b) {
                  blobmsg_add_string(b, "encoding_name", "AMR");
                  blobmsg_add_u32(b, "payload_id", 106);
              })));
    // Well framed, but its member is no blobmsg attribute at all.
    EXPECT_EQ(plain, callGet({0x00, 0x00, 0x00, 0x0c, 0x05, 0x00, 0x00, 0x08, 0xde, 0xad, 0xbe, 0xef}));
}

TEST_F(BusGet, CoversExactly96To127AndCutsNamesTo19Characters)
{
    ZvSdpCodecEntry *t38 = nullptr, *ilbc = nullptr;
    for (ZvSdpCodecEntry &row : zvSdpCodecTable) {
        if (strcmp(row.encodingName, "T38") == 0)
            t38 = &row;
        if (strcmp(row.encodingName, "ILBC") == 0)
            ilbc = &row;
    }
    ASSERT_TRUE(t38 && ilbc);
    const ZvSdpCodecEntry savedT38 = *t38, savedIlbc = *ilbc;
    t38->payloadType = 95;
    ilbc->payloadType = 127;
    ilbc->encodingName = "ABCDEFGHIJKLMNOPQRST";  // 20 characters
    Members members = decode(callGet());
    ASSERT_EQ(13u, members.size());
    EXPECT_EQ(std::make_pair(std::string("ABCDEFGHIJKLMNOPQRS"), 127u), members.back());
    ilbc->encodingName = "ABCDEFGHIJKLMNOPQRS";  // 19 fit whole
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRS", decode(callGet()).back().first);
    *t38 = savedT38;
    *ilbc = savedIlbc;
}

TEST(BusObject, RegistersAgainAndFailsWith8WhenTheBusRefusesIt)
{
    zvUbusFailNextAdd(UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_EQ(ZVSDP_RC_MISSING, zvSdpBusInit());
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    zvSdpBusDestroy();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
}

}  // namespace
