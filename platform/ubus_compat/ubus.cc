#include <stdlib.h>
#include <string.h>

#pragma GCC visibility push(default)
#include <libubus.h>
#pragma GCC visibility pop

int ubus_send_reply(struct ubus_context *ctx, struct ubus_request_data *req, struct blob_attr *msg)
{
    if (!ctx || !req || !msg || blob_raw_len(msg) < sizeof(struct blob_attr))
        return UBUS_STATUS_INVALID_ARGUMENT;
    const size_t raw = blob_raw_len(msg);
    auto *copy = static_cast<struct blob_attr *>(calloc(1, blob_pad_len(msg)));
    if (!copy)
        return UBUS_STATUS_UNKNOWN_ERROR;
    memcpy(copy, msg, raw);
    free(req->reply);
    req->reply = copy;
    return UBUS_STATUS_OK;
}

const char *ubus_strerror(int error)
{
    static const char *const kTexts[] = {
        "Success",       "Invalid command",         "Invalid argument", "Method not found",
        "Not found",     "No response",             "Permission denied", "Request timed out",
        "Not supported", "Unknown error",           "Connection failed",
    };
    if (error < 0 || error >= static_cast<int>(ARRAY_SIZE(kTexts)))
        return "Unknown error";
    return kTexts[error];
}
