/*
 * Bus object records and the reply call, a stand-in for the gateway's libubus
 * where it is not installed. There is no bus daemon here: objects are
 * registered and invoked in-process by libzvubus, which hands each handler a
 * request record that collects the reply.
 */
#ifndef LIBUBUS_H
#define LIBUBUS_H

#include <stdbool.h>
#include <stdint.h>

#include <libubox/blobmsg.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ubus_context;
struct ubus_object;
struct ubus_request_data;

enum ubus_msg_status {
    UBUS_STATUS_OK,
    UBUS_STATUS_INVALID_COMMAND,
    UBUS_STATUS_INVALID_ARGUMENT,
    UBUS_STATUS_METHOD_NOT_FOUND,
    UBUS_STATUS_NOT_FOUND,
    UBUS_STATUS_NO_DATA,
    UBUS_STATUS_PERMISSION_DENIED,
    UBUS_STATUS_TIMEOUT,
    UBUS_STATUS_NOT_SUPPORTED,
    UBUS_STATUS_UNKNOWN_ERROR,
    UBUS_STATUS_CONNECTION_FAILED,
    __UBUS_STATUS_LAST
};

typedef int (*ubus_handler_t)(struct ubus_context *ctx, struct ubus_object *obj, struct ubus_request_data *req,
                              const char *method, struct blob_attr *msg);
typedef void (*ubus_state_handler_t)(struct ubus_context *ctx, struct ubus_object *obj);

struct ubus_method {
    const char *name;
    ubus_handler_t handler;
    unsigned long mask;
    unsigned long tags;
    const struct blobmsg_policy *policy;
    int n_policy;
};

struct ubus_object_type {
    const char *name;
    uint32_t id;
    const struct ubus_method *methods;
    int n_methods;
};

struct ubus_object {
    const char *name;
    uint32_t id; /* set on registration */
    const char *path;
    struct ubus_object_type *type;
    ubus_state_handler_t subscribe_cb;
    bool has_subscribers;
    const struct ubus_method *methods;
    int n_methods;
};

struct ubus_context {
    uint32_t local_id;
};

struct ubus_request_data {
    uint32_t object;
    uint32_t peer;
    uint16_t seq;
    bool deferred;
    int fd;
    /* Where ubus_send_reply leaves its copy of the reply (malloc'd, the
     * dispatcher frees it); a later reply replaces an earlier one. */
    struct blob_attr *reply;
};

#define UBUS_METHOD_BASE(_name, _handler, _mask, _policy) \
    .name = _name, .handler = _handler, .mask = _mask, .tags = 0, .policy = _policy

#define UBUS_METHOD(_name, _handler, _policy) \
    { UBUS_METHOD_BASE(_name, _handler, 0, _policy), .n_policy = (int)ARRAY_SIZE(_policy) }

#define UBUS_METHOD_MASK(_name, _handler, _policy, _mask) \
    { UBUS_METHOD_BASE(_name, _handler, _mask, _policy), .n_policy = (int)ARRAY_SIZE(_policy) }

#define UBUS_METHOD_NOARG(_name, _handler) \
    { UBUS_METHOD_BASE(_name, _handler, 0, NULL), .n_policy = 0 }

#define UBUS_OBJECT_TYPE(_name, _methods) \
    { .name = _name, .id = 0, .methods = _methods, .n_methods = (int)ARRAY_SIZE(_methods) }

/* Sends `msg` (a whole blob, header included) as the reply to `req`.
 * UBUS_STATUS_OK, INVALID_ARGUMENT for missing or damaged arguments, or
 * UNKNOWN_ERROR when no memory can be had. */
int ubus_send_reply(struct ubus_context *ctx, struct ubus_request_data *req, struct blob_attr *msg);

const char *ubus_strerror(int error);

#ifdef __cplusplus
}
#endif

#endif
