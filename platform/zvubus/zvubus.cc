#include "zvubus.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

extern "C" {
#include <libubus.h>
}

namespace {

#ifdef ZVSDP_BUNDLED_LIBUBUS
constexpr bool kHasDaemon = false;
#else
constexpr bool kHasDaemon = true;
#endif

enum class Place { InProcess, Own, Host };

// One recursive lock for all state here. The own dispatch thread holds it
// while it handles traffic, zvUbusInvoke while a handler runs, so holding it
// keeps every handler libzvubus runs from running. Recursive so that a host
// holding it may start the library (zvSdpAppInit registers).
pthread_once_t g_lockOnce = PTHREAD_ONCE_INIT;
pthread_mutex_t g_lock;

void initLock()
{
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&g_lock, &attr);
    pthread_mutexattr_destroy(&attr);
}

void lock()
{
    pthread_once(&g_lockOnce, initLock);
    pthread_mutex_lock(&g_lock);
}

void unlock()
{
    pthread_mutex_unlock(&g_lock);
}

class Locked {
public:
    Locked() { lock(); }
    ~Locked() { unlock(); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;
};

// libubus writes to its socket without MSG_NOSIGNAL, so a write to a daemon
// that has just gone raises SIGPIPE, which would end the host. The signal is
// blocked on this thread for the scope and one raised inside it taken away,
// without touching the process's disposition.
class NoSigpipe {
public:
    NoSigpipe()
    {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &saved_);
    }

    ~NoSigpipe()
    {
        if (!wasPending_) {
            sigset_t pending;
            sigemptyset(&pending);
            sigpending(&pending);
            if (sigismember(&pending, SIGPIPE) == 1) {
                const struct timespec zero = {0, 0};
                while (sigtimedwait(&pipe_, nullptr, &zero) < 0 && errno == EINTR) {
                }
            }
        }
        pthread_sigmask(SIG_SETMASK, &saved_, nullptr);
    }

    NoSigpipe(const NoSigpipe &) = delete;
    NoSigpipe &operator=(const NoSigpipe &) = delete;

private:
    sigset_t pipe_;
    sigset_t saved_;
    bool wasPending_;
};

Place g_place = kHasDaemon ? Place::Own : Place::InProcess;
bool g_settled;  // an object registered or the own connection opened: the place holds
char g_socket[sizeof(sockaddr_un::sun_path)];
bool g_socketSet;  // else libubus's default socket
struct ubus_context *g_host;
int g_failNext;  // status the next registration returns instead

struct ubus_context *g_own;
bool g_up;  // the own connection is open; the dispatch thread reconnects when not

constexpr int kMaxObjects = 64;
struct ubus_object *g_objects[kMaxObjects];
int g_objectCount;
uint32_t g_nextId = 1;
struct ubus_context g_local;  // an in-process handler replies on its socket

const char *socketPath()
{
    return g_socketSet ? g_socket : nullptr;
}

int takeFailure()
{
    int status = g_failNext;
    g_failNext = 0;
    return status;
}

// ---- own connection --------------------------------------------------------

void onConnectionLost(struct ubus_context *)
{
    g_up = false;  // called from ubus_handle_event, under the lock
}

void sleepOneSecond()
{
    struct timespec left = {1, 0};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

// Reads the connection while it is up; when the daemon goes, connects again
// at once and then once a second. ubus_reconnect registers the context's
// objects again; one it cannot place is left with id 0 for the next
// zvUbusAddObject.
void *dispatch(void *)
{
    bool retryAtOnce = true;
    for (;;) {
        lock();
        const bool up = g_up;
        const int fd = g_own->sock.fd;
        unlock();
        if (up) {
            struct pollfd pfd = {fd, POLLIN, 0};
            if (poll(&pfd, 1, -1) < 0 && errno != EINTR)
                sleepOneSecond();
            Locked held;
            NoSigpipe quiet;
            if (g_up)
                ubus_handle_event(g_own);
            retryAtOnce = true;
            continue;
        }
        if (!retryAtOnce)
            sleepOneSecond();
        retryAtOnce = false;
        Locked held;
        NoSigpipe quiet;
        if (ubus_reconnect(g_own, socketPath()) == UBUS_STATUS_OK) {
            g_up = true;
        } else {
            // A failed attempt can leave the number of a socket it closed
            // behind, which the next attempt would close again.
            g_own->sock.fd = -1;
        }
    }
    return nullptr;
}

// The dispatch thread keeps every signal blocked: signals are the host's.
bool startDispatchThread()
{
    sigset_t all, saved;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &saved);
    pthread_t thread;
    const bool started = pthread_create(&thread, nullptr, dispatch, nullptr) == 0;
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    if (started)
        pthread_detach(thread);
    return started;
}

int openOwnConnection()
{
    if (g_own)
        return g_up ? UBUS_STATUS_OK : UBUS_STATUS_CONNECTION_FAILED;
    struct ubus_context *ctx;
    {
        NoSigpipe quiet;
        ctx = ubus_connect(socketPath());
    }
    if (!ctx)
        return UBUS_STATUS_CONNECTION_FAILED;
    ctx->connection_lost = onConnectionLost;
    g_own = ctx;
    g_up = true;
    if (!startDispatchThread()) {
        ubus_free(ctx);
        g_own = nullptr;
        g_up = false;
        return UBUS_STATUS_UNKNOWN_ERROR;
    }
    g_settled = true;
    return UBUS_STATUS_OK;
}

// An object with an id is asked for: the daemon must hold that id under its
// name. Adding it again is no way out, as libubus would then enter the one
// record twice in the context's object tree; libubus itself clears the id
// when a reconnect could not register it.
int registerOn(struct ubus_context *ctx, struct ubus_object *obj)
{
    NoSigpipe quiet;
    if (obj->id == 0)
        return ubus_add_object(ctx, obj);
    uint32_t id = 0;
    const int status = ubus_lookup_id(ctx, obj->name, &id);
    if (status != UBUS_STATUS_OK)
        return status;
    return id == obj->id ? UBUS_STATUS_OK : UBUS_STATUS_NOT_FOUND;
}

// ---- in-process registry ---------------------------------------------------

struct ubus_object *findInProcess(const char *name)
{
    for (int i = 0; i < g_objectCount; ++i) {
        if (strcmp(g_objects[i]->name, name) == 0)
            return g_objects[i];
    }
    return nullptr;
}

int addInProcess(struct ubus_object *obj)
{
    struct ubus_object *known = findInProcess(obj->name);
    if (known == obj)
        return UBUS_STATUS_OK;  // registered again after a stop that left it
    if (known)
        return UBUS_STATUS_INVALID_ARGUMENT;
    if (g_objectCount == kMaxObjects)
        return UBUS_STATUS_UNKNOWN_ERROR;
    obj->id = g_nextId++;
    if (obj->type && obj->type->id == 0)
        obj->type->id = g_nextId++;
    g_objects[g_objectCount++] = obj;
    return UBUS_STATUS_OK;
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

// An aligned copy of a whole request blob, or an empty one for none; NULL
// and *status when it is damaged or no memory can be had.
struct blob_attr *copyRequest(const void *request, size_t len, int *status)
{
    size_t raw = sizeof(struct blob_attr);
    if (request) {
        if (len < sizeof(struct blob_attr)) {
            *status = UBUS_STATUS_INVALID_ARGUMENT;
            return nullptr;
        }
        raw = blob_raw_len(static_cast<const struct blob_attr *>(request));
        if (raw < sizeof(struct blob_attr) || raw > len) {
            *status = UBUS_STATUS_INVALID_ARGUMENT;
            return nullptr;
        }
    }
    auto *msg = static_cast<struct blob_attr *>(calloc(1, (raw + BLOB_ATTR_ALIGN - 1) & ~static_cast<size_t>(BLOB_ATTR_ALIGN - 1)));
    if (!msg) {
        *status = UBUS_STATUS_UNKNOWN_ERROR;
        return nullptr;
    }
    if (request)
        memcpy(msg, request, raw);
    else
        msg->id_len = cpu_to_be32(static_cast<uint32_t>(raw));
    return msg;
}

// A root blob (id 0) holding `len` bytes of members; NULL without memory.
void *rootBlob(const void *members, size_t len)
{
    auto *root = static_cast<struct blob_attr *>(malloc(sizeof(struct blob_attr) + len));
    if (!root)
        return nullptr;
    root->id_len = cpu_to_be32(static_cast<uint32_t>(sizeof(struct blob_attr) + len));
    memcpy(root->data, members, len);
    return root;
}

// What a handler wrote to its socket, read on a thread of its own so that a
// reply of any size gets through.
struct Drain {
    int fd;
    char *data;
    size_t len;
    size_t cap;
    bool failed;
};

void *drain(void *arg)
{
    auto *d = static_cast<Drain *>(arg);
    char scratch[512];
    for (;;) {
        if (!d->failed && d->cap - d->len < sizeof scratch) {
            size_t cap = d->cap ? 2 * d->cap : 4096;
            char *p = static_cast<char *>(realloc(d->data, cap));
            if (p) {
                d->data = p;
                d->cap = cap;
            } else {
                d->failed = true;
            }
        }
        char *into = d->failed ? scratch : d->data + d->len;
        const size_t room = d->failed ? sizeof scratch : d->cap - d->len;
        const ssize_t n = read(d->fd, into, room);
        if (n > 0) {
            if (!d->failed)
                d->len += static_cast<size_t>(n);
        } else if (n == 0 || errno != EINTR) {
            return nullptr;
        }
    }
}

// The members of the last reply among the bus messages in `bytes`: the
// UBUS_ATTR_DATA field of a UBUS_MSG_DATA message. NULL when there is none.
const struct blob_attr *lastReply(const char *bytes, size_t len)
{
    const struct blob_attr *found = nullptr;
    size_t off = 0;
    while (len - off >= sizeof(struct ubus_msghdr) + sizeof(struct blob_attr)) {
        struct ubus_msghdr hdr;
        memcpy(&hdr, bytes + off, sizeof hdr);
        const auto *msg = reinterpret_cast<const struct blob_attr *>(bytes + off + sizeof hdr);
        const size_t raw = blob_raw_len(msg);
        if (raw < sizeof(struct blob_attr) || raw > len - off - sizeof hdr)
            break;
        if (hdr.type == UBUS_MSG_DATA) {
            const struct blob_attr *field;
            size_t rem = blob_len(msg);
            __blob_for_each_attr(field, blob_data(msg), rem)
            {
                if (blob_id(field) == UBUS_ATTR_DATA && blob_raw_len(field) >= sizeof(struct blob_attr))
                    found = field;
            }
        }
        off += sizeof hdr + raw;
    }
    return found;
}

// Runs the handler as the dispatcher would, with a context whose socket is
// one end of a pair, and hands back the reply read from the other end.
int runInProcess(struct ubus_object *obj, const struct ubus_method *m, struct blob_attr *msg, void **reply,
                 size_t *replyLen)
{
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
        return UBUS_STATUS_UNKNOWN_ERROR;
    fcntl(pair[0], F_SETFD, FD_CLOEXEC);
    fcntl(pair[1], F_SETFD, FD_CLOEXEC);
    Drain d = {pair[1], nullptr, 0, 0, false};
    pthread_t reader;
    if (pthread_create(&reader, nullptr, drain, &d) != 0) {
        close(pair[0]);
        close(pair[1]);
        return UBUS_STATUS_UNKNOWN_ERROR;
    }
    memset(&g_local, 0, sizeof g_local);
    g_local.sock.fd = pair[0];
    struct ubus_request_data req;
    memset(&req, 0, sizeof req);
    req.object = obj->id;
    req.fd = -1;
    req.req_fd = -1;
    int status;
    {
        NoSigpipe quiet;
        status = m->handler(&g_local, obj, &req, m->name, msg);
    }
    close(pair[0]);
    g_local.sock.fd = -1;
    pthread_join(reader, nullptr);
    close(pair[1]);

    const struct blob_attr *found = d.failed ? nullptr : lastReply(d.data, d.len);
    if (found && reply && replyLen) {
        *reply = rootBlob(blob_data(found), blob_len(found));
        if (*reply)
            *replyLen = sizeof(struct blob_attr) + blob_len(found);
        else if (status == UBUS_STATUS_OK)
            status = UBUS_STATUS_UNKNOWN_ERROR;
    } else if (d.failed && status == UBUS_STATUS_OK) {
        status = UBUS_STATUS_UNKNOWN_ERROR;
    }
    free(d.data);
    return status;
}

// ---- bus client --------------------------------------------------------------

struct Capture {
    void *data;
    size_t len;
    bool noMemory;
};

void onReplyData(struct ubus_request *req, int, struct blob_attr *msg)
{
    auto *c = static_cast<Capture *>(req->priv);
    void *copy = rootBlob(blob_data(msg), blob_len(msg));
    if (!copy) {
        c->noMemory = true;
        return;
    }
    free(c->data);
    c->data = copy;
    c->len = sizeof(struct blob_attr) + blob_len(msg);
}

void clearReply(void **reply, size_t *replyLen)
{
    if (reply)
        *reply = nullptr;
    if (replyLen)
        *replyLen = 0;
}

}  // namespace

// ---- where objects go ----------------------------------------------------------

namespace {

// Moves the objects' place, the caller holding the lock: choosing the place
// they already have is always allowed, another only until it has settled.
int movePlace(bool same, Place place, struct ubus_context *host)
{
    if (same)
        return UBUS_STATUS_OK;
    if (g_settled)
        return UBUS_STATUS_INVALID_COMMAND;
    g_place = place;
    g_host = host;
    return UBUS_STATUS_OK;
}

}  // namespace

ZVUBUS_API int zvUbusSetSocket(const char *path)
{
    if (path && strlen(path) >= sizeof g_socket)
        return UBUS_STATUS_INVALID_ARGUMENT;
    Locked held;
    const bool same = g_place == Place::Own && (path ? g_socketSet && strcmp(path, g_socket) == 0 : !g_socketSet);
    int rc = movePlace(same, Place::Own, nullptr);
    if (rc == UBUS_STATUS_OK && !same) {
        g_socketSet = path != nullptr;
        if (path)
            strcpy(g_socket, path);
    }
    return rc;
}

ZVUBUS_API int zvUbusSetContext(struct ubus_context *ctx)
{
    if (!ctx)
        return UBUS_STATUS_INVALID_ARGUMENT;
    Locked held;
    return movePlace(g_place == Place::Host && g_host == ctx, Place::Host, ctx);
}

ZVUBUS_API int zvUbusUseInProcess(void)
{
    Locked held;
    return movePlace(g_place == Place::InProcess, Place::InProcess, nullptr);
}

ZVUBUS_API int zvUbusIsLocal(void)
{
    Locked held;
    return g_place == Place::InProcess ? 1 : 0;
}

ZVUBUS_API int zvUbusHasDaemon(void)
{
    return kHasDaemon ? 1 : 0;
}

// ---- registration and dispatch -------------------------------------------------

ZVUBUS_API int zvUbusAddObject(struct ubus_object *obj)
{
    if (!obj || !obj->name)
        return UBUS_STATUS_INVALID_ARGUMENT;
    Locked held;
    int status = takeFailure();
    if (status != UBUS_STATUS_OK)
        return status;
    switch (g_place) {
    case Place::InProcess:
        status = addInProcess(obj);
        break;
    case Place::Host:
        status = registerOn(g_host, obj);
        break;
    case Place::Own:
        status = openOwnConnection();
        if (status == UBUS_STATUS_OK)
            status = registerOn(g_own, obj);
        break;
    }
    if (status == UBUS_STATUS_OK)
        g_settled = true;
    return status;
}

ZVUBUS_API void zvUbusLockDispatch(void)
{
    lock();
}

ZVUBUS_API void zvUbusUnlockDispatch(void)
{
    unlock();
}

ZVUBUS_API void zvUbusFailNextAdd(int status)
{
    Locked held;
    g_failNext = status;
}

// ---- calls ---------------------------------------------------------------------

ZVUBUS_API struct ubus_object *zvUbusLookupObject(const char *name)
{
    if (!name)
        return nullptr;
    Locked held;
    return g_place == Place::InProcess ? findInProcess(name) : nullptr;
}

ZVUBUS_API int zvUbusInvoke(const char *object, const char *method, const void *request, size_t requestLen,
                            void **reply, size_t *replyLen)
{
    clearReply(reply, replyLen);
    if (!object || !method || (!request && requestLen))
        return UBUS_STATUS_INVALID_ARGUMENT;
    Locked held;
    if (g_place != Place::InProcess)
        return UBUS_STATUS_NOT_SUPPORTED;
    int status = UBUS_STATUS_OK;
    struct blob_attr *msg = copyRequest(request, requestLen, &status);
    if (!msg)
        return status;
    struct ubus_object *obj = findInProcess(object);
    const struct ubus_method *m = obj ? findMethod(obj, method) : nullptr;
    if (!obj)
        status = UBUS_STATUS_NOT_FOUND;
    else if (!m)
        status = UBUS_STATUS_METHOD_NOT_FOUND;
    else if (!m->handler)
        status = UBUS_STATUS_NOT_SUPPORTED;
    else
        status = runInProcess(obj, m, msg, reply, replyLen);
    free(msg);
    return status;
}

ZVUBUS_API int zvUbusCall(const char *socketPath, const char *object, const char *method, const void *request,
                          size_t requestLen, int timeoutMs, void **reply, size_t *replyLen)
{
    clearReply(reply, replyLen);
    if (!object || !method || (!request && requestLen) || timeoutMs < 0)
        return UBUS_STATUS_INVALID_ARGUMENT;
    int status = UBUS_STATUS_OK;
    struct blob_attr *msg = copyRequest(request, requestLen, &status);
    if (!msg)
        return status;
    Capture capture = {nullptr, 0, false};
    {
        Locked held;
        NoSigpipe quiet;
        struct ubus_context *ctx = ubus_connect(socketPath);
        if (!ctx) {
            status = UBUS_STATUS_CONNECTION_FAILED;
        } else {
            uint32_t id = 0;
            status = ubus_lookup_id(ctx, object, &id);
            if (status == UBUS_STATUS_OK)
                status = ubus_invoke(ctx, id, method, msg, onReplyData, &capture, timeoutMs);
            ubus_free(ctx);
        }
    }
    free(msg);
    if (status == UBUS_STATUS_OK && capture.noMemory)
        status = UBUS_STATUS_NO_MEMORY;
    if (status == UBUS_STATUS_OK && reply && replyLen) {
        *reply = capture.data;
        *replyLen = capture.len;
    } else {
        free(capture.data);
    }
    return status;
}

ZVUBUS_API void zvUbusFree(void *p)
{
    free(p);
}
