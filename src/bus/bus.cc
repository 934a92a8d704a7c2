// The "zvpbx.media.codec" bus object: other processes ask it which encoding
// names the library knows for the dynamic payload types.
#include <string.h>

extern "C" {
#include <libubox/blobmsg.h>
#include <libubus.h>
}

#include "zvsdp.h"
#include "zvubus.h"

namespace {

enum { kGetEncodingName, kGetPayloadId, kGetPolicyCount };

const struct blobmsg_policy kGetPolicy[kGetPolicyCount] = {
    {"encoding_name", BLOBMSG_TYPE_STRING},
    {"payload_id", BLOBMSG_TYPE_INT32},
};

constexpr uint32_t kFirstDynamicType = 96;
constexpr uint32_t kLastPayloadType = 127;
constexpr uint32_t kNameBufferSize = 20;

int getHandler(struct ubus_context *ctx, struct ubus_object *, struct ubus_request_data *req, const char *,
               struct blob_attr *msg)
{
    // The request is parsed but not consulted: every caller gets the whole
    // list, whatever it asked for.
    struct blob_attr *tb[kGetPolicyCount];
    blobmsg_parse(kGetPolicy, kGetPolicyCount, tb, blob_data(msg), static_cast<unsigned int>(blob_len(msg)));

    struct blob_buf b;
    memset(&b, 0, sizeof b);
    blob_buf_init(&b, 0);
    for (uint32_t pt = kFirstDynamicType; pt <= kLastPayloadType; ++pt) {
        char name[kNameBufferSize];
        uint32_t length = kNameBufferSize;
        if (zvSdpMediaGetEncodingNameFromPayloadType(pt, name, &length) != ZVSDP_RC_OK)
            continue;
        void *cookie = blobmsg_open_nested(&b, name, false);
        uint32_t value = cpu_to_be32(pt);
        blobmsg_add_field(&b, BLOBMSG_TYPE_INT32, "payloadType", &value, sizeof value);
        blob_nest_end(&b, cookie);
    }
    ubus_send_reply(ctx, req, b.head);
    blob_buf_free(&b);
    return UBUS_STATUS_OK;
}

const struct ubus_method kMethods[] = {
    UBUS_METHOD("get", getHandler, kGetPolicy),
};

struct ubus_object_type kObjectType = UBUS_OBJECT_TYPE("payloadtype", kMethods);

// Id, path and subscriber members (and whatever bookkeeping the bus library
// keeps in the record) start empty; the bus library fills them in.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
struct ubus_object kObject = {
    .name = "zvpbx.media.codec",
    .type = &kObjectType,
    .methods = kMethods,
    .n_methods = ARRAY_SIZE(kMethods),
};
#pragma GCC diagnostic pop

}  // namespace

ZVSDP_API uint32_t zvSdpBusInit(void)
{
    return zvUbusAddObject(&kObject) == 0 ? ZVSDP_RC_OK : ZVSDP_RC_MISSING;
}

ZVSDP_API void zvSdpBusDestroy(void)
{
    // The object stays on the bus until the process leaves it; a later
    // zvSdpBusInit registers the same object again.
}
