/*
 * Bus records and calls: the part of the gateway's libubus this tree uses,
 * with the real declarations (names, types, const-ness, static inline where
 * the real ones are), for builds where the real library is not installed.
 *
 * No bus daemon is reachable through this subset: ubus_connect gives NULL
 * and ubus_reconnect UBUS_STATUS_CONNECTION_FAILED, so objects live in
 * libzvubus's in-process registry instead. What does work as on a gateway is
 * the reply path: ubus_send_reply writes the same UBUS_MSG_DATA message to
 * the context's socket that the real library writes.
 *
 * The records hold the members the tree uses, under their real names; the
 * real ones carry more bookkeeping (lists, trees, timers) that nothing here
 * touches.
 */
#ifndef LIBUBUS_H
#define LIBUBUS_H

#include <stdbool.h>
#include <stdint.h>
#include <string.h>

#include <libubox/blobmsg.h>
#include <libubox/uloop.h>

#include "ubusmsg.h"

/* This subset, not the gateway's library: the build tells them apart by it. */
#define ZVSDP_BUNDLED_LIBUBUS 1

#ifdef __cplusplus
extern "C" {
#endif

struct ubus_context;
struct ubus_object;
struct ubus_request;
struct ubus_request_data;

typedef int (*ubus_handler_t)(struct ubus_context *ctx, struct ubus_object *obj, struct ubus_request_data *req,
                              const char *method, struct blob_attr *msg);
typedef void (*ubus_state_handler_t)(struct ubus_context *ctx, struct ubus_object *obj);
typedef void (*ubus_data_handler_t)(struct ubus_request *req, int type, struct blob_attr *msg);
typedef void (*ubus_fd_handler_t)(struct ubus_request *req, int fd);
typedef void (*ubus_complete_handler_t)(struct ubus_request *req, int ret);

#define UBUS_OBJECT_TYPE(_name, _methods)                                                  \
    {                                                                                      \
        .name = _name, .id = 0, .methods = _methods, .n_methods = ARRAY_SIZE(_methods)     \
    }

#define __UBUS_METHOD_BASE(_name, _handler, _mask, _tags) \
    .name = _name, .handler = _handler, .mask = _mask, .tags = _tags

#define __UBUS_METHOD_NOARG(_name, _handler, _mask, _tags) \
    __UBUS_METHOD_BASE(_name, _handler, _mask, _tags), .policy = NULL, .n_policy = 0

#define __UBUS_METHOD(_name, _handler, _mask, _policy, _tags) \
    __UBUS_METHOD_BASE(_name, _handler, _mask, _tags), .policy = _policy, .n_policy = ARRAY_SIZE(_policy)

#define UBUS_METHOD(_name, _handler, _policy) { __UBUS_METHOD(_name, _handler, 0, _policy, 0) }
#define UBUS_METHOD_TAG(_name, _handler, _policy, _tags) { __UBUS_METHOD(_name, _handler, 0, _policy, _tags) }
#define UBUS_METHOD_MASK(_name, _handler, _policy, _mask) { __UBUS_METHOD(_name, _handler, _mask, _policy, 0) }
#define UBUS_METHOD_NOARG(_name, _handler) { __UBUS_METHOD_NOARG(_name, _handler, 0, 0) }

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
    struct uloop_fd sock;
    uint32_t local_id;
    uint16_t request_seq;
    bool cancel_poll;
    int stack_depth;
    void (*connection_lost)(struct ubus_context *ctx);
};

struct ubus_acl_key {
    const char *user;
    const char *group;
    const char *object;
};

struct ubus_request_data {
    uint32_t object;
    uint32_t peer;
    uint16_t seq;
    struct ubus_acl_key acl;
    bool deferred;
    int fd;
    int req_fd;
};

struct ubus_request {
    int status_code;
    bool status_msg;
    bool blocked;
    bool cancelled;
    bool notify;
    uint32_t peer;
    uint16_t seq;
    ubus_data_handler_t raw_data_cb;
    ubus_data_handler_t data_cb;
    ubus_fd_handler_t fd_cb;
    ubus_complete_handler_t complete_cb;
    int fd;
    struct ubus_context *ctx;
    void *priv;
};

/* A connection to the daemon at `path` (NULL: the default socket). */
struct ubus_context *ubus_connect(const char *path);

/* Connects `ctx` again and registers its objects anew. UBUS_STATUS_OK or a
 * failure status. */
int ubus_reconnect(struct ubus_context *ctx, const char *path);

/* Only for contexts ubus_connect made. */
void ubus_free(struct ubus_context *ctx);

const char *ubus_strerror(int error);

/* Reads and handles what the daemon sent; for a host that polls the socket
 * itself instead of running uloop. */
static inline void ubus_handle_event(struct ubus_context *ctx)
{
    ctx->sock.cb(&ctx->sock, ULOOP_READ);
}

int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id);

int ubus_add_object(struct ubus_context *ctx, struct ubus_object *obj);

int ubus_invoke_fd(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                   ubus_data_handler_t cb, void *priv, int timeout, int fd);

static inline int ubus_invoke(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                              ubus_data_handler_t cb, void *priv, int timeout)
{
    return ubus_invoke_fd(ctx, obj, method, msg, cb, priv, timeout, -1);
}

/* Sends `msg` (a whole blob, header included; its children go out) as the
 * reply to `req` on the context's socket. 0, or UBUS_STATUS_NO_DATA when the
 * socket cannot take it. */
int ubus_send_reply(struct ubus_context *ctx, struct ubus_request_data *req, struct blob_attr *msg);

#ifdef __cplusplus
}
#endif

#endif
