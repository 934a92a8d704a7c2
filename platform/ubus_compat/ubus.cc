#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#pragma GCC visibility push(default)
#include <libubus.h>
#pragma GCC visibility pop

namespace {

// Writes every byte of the two pieces, as the real library does: no flag
// that would keep SIGPIPE away, so a caller that needs that must see to it.
bool writeAll(int fd, struct iovec *iov, int count)
{
    while (count > 0) {
        struct msghdr m;
        memset(&m, 0, sizeof m);
        m.msg_iov = iov;
        m.msg_iovlen = static_cast<size_t>(count);
        ssize_t n = sendmsg(fd, &m, 0);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK)
                return false;
            struct pollfd pfd = {fd, POLLOUT, 0};
            poll(&pfd, 1, -1);
            continue;
        }
        size_t done = static_cast<size_t>(n);
        while (count > 0 && done >= iov->iov_len) {
            done -= iov->iov_len;
            ++iov;
            --count;
        }
        if (count > 0) {
            iov->iov_base = static_cast<char *>(iov->iov_base) + done;
            iov->iov_len -= done;
        }
    }
    return true;
}

}  // namespace

// Nothing behind this subset to connect to.
struct ubus_context *ubus_connect(const char *)
{
    errno = ECONNREFUSED;
    return nullptr;
}

int ubus_reconnect(struct ubus_context *ctx, const char *)
{
    return ctx ? UBUS_STATUS_CONNECTION_FAILED : UBUS_STATUS_INVALID_ARGUMENT;
}

void ubus_free(struct ubus_context *ctx)
{
    if (!ctx)
        return;
    if (ctx->sock.fd >= 0)
        close(ctx->sock.fd);
    free(ctx);
}

// A request that cannot be sent: what the real library answers on a
// context whose socket takes nothing.
int ubus_lookup_id(struct ubus_context *, const char *, uint32_t *)
{
    return UBUS_STATUS_INVALID_ARGUMENT;
}

int ubus_add_object(struct ubus_context *, struct ubus_object *)
{
    return UBUS_STATUS_INVALID_ARGUMENT;
}

int ubus_invoke_fd(struct ubus_context *, uint32_t, const char *, struct blob_attr *, ubus_data_handler_t, void *,
                   int, int)
{
    return UBUS_STATUS_INVALID_ARGUMENT;
}

int ubus_send_reply(struct ubus_context *ctx, struct ubus_request_data *req, struct blob_attr *msg)
{
    if (!ctx || !req)
        return UBUS_STATUS_INVALID_ARGUMENT;
    struct blob_buf b;
    memset(&b, 0, sizeof b);
    if (blob_buf_init(&b, 0) != 0)
        return UBUS_STATUS_NO_DATA;
    const uint32_t object = cpu_to_be32(req->object);
    bool built = blob_put(&b, UBUS_ATTR_OBJID, &object, sizeof object) != nullptr;
    if (built)
        built = msg ? blob_put(&b, UBUS_ATTR_DATA, blob_data(msg), static_cast<unsigned int>(blob_len(msg))) != nullptr
                    : blob_put(&b, UBUS_ATTR_DATA, nullptr, 0) != nullptr;

    struct ubus_msghdr hdr;
    hdr.version = 0;
    hdr.type = UBUS_MSG_DATA;
    hdr.seq = cpu_to_be16(req->seq);
    hdr.peer = cpu_to_be32(req->peer);
    struct iovec iov[2];
    iov[0].iov_base = &hdr;
    iov[0].iov_len = sizeof hdr;
    iov[1].iov_base = b.head;
    iov[1].iov_len = blob_raw_len(b.head);
    const bool sent = built && writeAll(ctx->sock.fd, iov, 2);
    if (!sent)
        ctx->sock.eof = true;
    blob_buf_free(&b);
    return sent ? UBUS_STATUS_OK : UBUS_STATUS_NO_DATA;
}

const char *ubus_strerror(int error)
{
    static const char *const kTexts[__UBUS_STATUS_LAST] = {
        "Success",
        "Invalid command",
        "Invalid argument",
        "Method not found",
        "Not found",
        "No response",
        "Permission denied",
        "Request timed out",
        "Operation not supported",
        "Unknown error",
        "Connection failed",
        "Out of memory",
        "Parsing message data failed",
        "System error",
    };
    // One buffer for the whole process, as in the real library.
    static char unknown[32];
    if (error >= 0 && error < __UBUS_STATUS_LAST)
        return kTexts[error];
    snprintf(unknown, sizeof unknown, "Unknown error: %d", error);
    return unknown;
}
