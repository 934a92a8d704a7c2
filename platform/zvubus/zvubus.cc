#include "zvubus.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

extern "C" {
#include <libubus.h>
}

namespace {

pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
int g_failNext;  // status the next registration returns instead

// Takes the pending failure, if any.
int takeFailure()
{
    int status = g_failNext;
    g_failNext = 0;
    return status;
}

}  // namespace

ZVUBUS_API void zvUbusFailNextAdd(int status)
{
    pthread_mutex_lock(&g_lock);
    g_failNext = status;
    pthread_mutex_unlock(&g_lock);
}

ZVUBUS_API void zvUbusFree(void *p)
{
    free(p);
}

#if defined(ZVUBUS_LOCAL)

namespace {

constexpr int kMaxObjects = 64;
struct ubus_object *g_objects[kMaxObjects];
int g_objectCount;
uint32_t g_nextId = 1;
struct ubus_context g_ctx;

struct ubus_object *findLocked(const char *name)
{
    for (int i = 0; i < g_objectCount; ++i) {
        if (strcmp(g_objects[i]->name, name) == 0)
            return g_objects[i];
    }
    return nullptr;
}

const struct ubus_method *findMethod(const struct ubus_object *obj, const char *name)
{
    if (!obj->methods)
        return nullptr;
    for (int i = 0; i < obj->n_methods; ++i) {
        if (obj->methods[i].name && strcmp(obj->methods[i].name, name) == 0)
            return &obj->methods[i];
    }
    return nullptr;
}

}  // namespace

ZVUBUS_API int zvUbusIsLocal(void)
{
    return 1;
}

ZVUBUS_API int zvUbusAddObject(struct ubus_object *obj)
{
    if (!obj || !obj->name)
        return UBUS_STATUS_INVALID_ARGUMENT;
    pthread_mutex_lock(&g_lock);
    int status = takeFailure();
    if (status == 0) {
        struct ubus_object *known = findLocked(obj->name);
        if (known == obj) {
            // The library registers again after a stop that left the object
            // on the bus; that is not an error.
        } else if (known) {
            status = UBUS_STATUS_INVALID_ARGUMENT;
        } else if (g_objectCount == kMaxObjects) {
            status = UBUS_STATUS_UNKNOWN_ERROR;
        } else {
            obj->id = g_nextId++;
            if (obj->type && obj->type->id == 0)
                obj->type->id = g_nextId++;
            g_objects[g_objectCount++] = obj;
        }
    }
    pthread_mutex_unlock(&g_lock);
    return status;
}

ZVUBUS_API struct ubus_object *zvUbusLookupObject(const char *name)
{
    if (!name)
        return nullptr;
    pthread_mutex_lock(&g_lock);
    struct ubus_object *obj = findLocked(name);
    pthread_mutex_unlock(&g_lock);
    return obj;
}

ZVUBUS_API int zvUbusInvoke(const char *object, const char *method, const void *request, size_t requestLen,
                            void **reply, size_t *replyLen)
{
    if (reply)
        *reply = nullptr;
    if (replyLen)
        *replyLen = 0;
    if (!object || !method || (!request && requestLen))
        return UBUS_STATUS_INVALID_ARGUMENT;

    // The handler gets its own aligned copy, as it would from the socket.
    size_t raw = sizeof(struct blob_attr);
    if (request) {
        if (requestLen < sizeof(struct blob_attr))
            return UBUS_STATUS_INVALID_ARGUMENT;
        raw = blob_raw_len(static_cast<const struct blob_attr *>(request));
        if (raw < sizeof(struct blob_attr) || raw > requestLen)
            return UBUS_STATUS_INVALID_ARGUMENT;
    }
    const size_t padded = (raw + BLOB_ATTR_ALIGN - 1) & ~static_cast<size_t>(BLOB_ATTR_ALIGN - 1);
    auto *msg = static_cast<struct blob_attr *>(calloc(1, padded));
    if (!msg)
        return UBUS_STATUS_UNKNOWN_ERROR;
    if (request)
        memcpy(msg, request, raw);
    else
        msg->id_len = cpu_to_be32(static_cast<uint32_t>(raw));

    struct ubus_object *obj = zvUbusLookupObject(object);
    const struct ubus_method *m = obj ? findMethod(obj, method) : nullptr;
    int status;
    if (!obj) {
        status = UBUS_STATUS_NOT_FOUND;
    } else if (!m) {
        status = UBUS_STATUS_METHOD_NOT_FOUND;
    } else if (!m->handler) {
        status = UBUS_STATUS_NOT_SUPPORTED;
    } else {
        struct ubus_request_data req;
        memset(&req, 0, sizeof req);
        req.object = obj->id;
        req.fd = -1;
        status = m->handler(&g_ctx, obj, &req, m->name, msg);
        if (req.reply && reply && replyLen) {
            *reply = req.reply;
            *replyLen = blob_raw_len(req.reply);
        } else {
            free(req.reply);
        }
    }
    free(msg);
    return status;
}

#else  // the gateway's libubus and its bus daemon

namespace {

struct ubus_context *g_ctx;
pthread_t g_dispatcher;

// Handles the connection's traffic under the lock that registrations hold,
// so a registration's own request and reply are never interleaved with it.
// Reconnecting after the daemon goes away is left to a process restart.
void *dispatch(void *)
{
    for (;;) {
        struct pollfd pfd;
        pfd.fd = g_ctx->sock.fd;
        pfd.events = POLLIN;
        pfd.revents = 0;
        if (poll(&pfd, 1, -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (pfd.revents & (POLLERR | POLLHUP | POLLNVAL))
            break;
        pthread_mutex_lock(&g_lock);
        ubus_handle_event(g_ctx);
        pthread_mutex_unlock(&g_lock);
    }
    return nullptr;
}

}  // namespace

ZVUBUS_API int zvUbusIsLocal(void)
{
    return 0;
}

ZVUBUS_API int zvUbusAddObject(struct ubus_object *obj)
{
    if (!obj || !obj->name)
        return UBUS_STATUS_INVALID_ARGUMENT;
    pthread_mutex_lock(&g_lock);
    int status = takeFailure();
    if (status == 0 && !g_ctx) {
        g_ctx = ubus_connect(nullptr);
        if (!g_ctx) {
            status = UBUS_STATUS_CONNECTION_FAILED;
        } else if (pthread_create(&g_dispatcher, nullptr, dispatch, nullptr) != 0) {
            ubus_free(g_ctx);
            g_ctx = nullptr;
            status = UBUS_STATUS_UNKNOWN_ERROR;
        }
    }
    // An id means the daemon already knows this object on our connection.
    if (status == 0 && obj->id == 0)
        status = ubus_add_object(g_ctx, obj);
    pthread_mutex_unlock(&g_lock);
    return status;
}

ZVUBUS_API struct ubus_object *zvUbusLookupObject(const char *)
{
    return nullptr;
}

ZVUBUS_API int zvUbusInvoke(const char *, const char *, const void *, size_t, void **reply, size_t *replyLen)
{
    if (reply)
        *reply = nullptr;
    if (replyLen)
        *replyLen = 0;
    return UBUS_STATUS_NOT_SUPPORTED;
}

#endif
