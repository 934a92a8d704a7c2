#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#pragma GCC visibility push(default)
#include <libubox/blob.h>
#pragma GCC visibility pop

#include "blob_internal.h"

namespace {

constexpr size_t kHdr = sizeof(struct blob_attr);
// A message is one attribute, so the whole buffer must fit its length field.
constexpr size_t kMaxBuffer = BLOB_ATTR_LEN_MASK;

bool growBuffer(struct blob_buf *buf, int minlen)
{
    if (minlen <= 0)
        return true;
    size_t want = static_cast<size_t>(buf->buflen) + static_cast<size_t>(minlen);
    want = (want + 255) & ~static_cast<size_t>(255);
    if (want > INT_MAX)
        return false;
    void *p = realloc(buf->buf, want);
    if (!p)
        return false;
    memset(static_cast<char *>(p) + buf->buflen, 0, want - static_cast<size_t>(buf->buflen));
    buf->buf = p;
    buf->buflen = static_cast<int>(want);
    return true;
}

void setHeader(struct blob_attr *attr, uint32_t idWord, size_t rawLen)
{
    attr->id_len = cpu_to_be32(idWord | static_cast<uint32_t>(rawLen));
}

size_t offsetOf(const struct blob_buf *buf, const struct blob_attr *attr)
{
    return static_cast<size_t>(reinterpret_cast<const char *>(attr) - static_cast<const char *>(buf->buf));
}

struct blob_attr *at(const struct blob_buf *buf, size_t offset)
{
    return reinterpret_cast<struct blob_attr *>(static_cast<char *>(buf->buf) + offset);
}

uint32_t idWordOf(int id)
{
    return (static_cast<uint32_t>(id) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK;
}

}  // namespace

namespace zvblob {

struct blob_attr *append(struct blob_buf *buf, uint32_t idWord, size_t payload)
{
    if (!buf || !buf->buf || !buf->head || payload > kMaxBuffer)
        return nullptr;
    const size_t headOff = offsetOf(buf, buf->head);
    const size_t start = headOff + blob_pad_len(buf->head);
    const size_t padded = (kHdr + payload + BLOB_ATTR_ALIGN - 1) & ~static_cast<size_t>(BLOB_ATTR_ALIGN - 1);
    if (start + padded > kMaxBuffer)
        return nullptr;
    if (start + padded > static_cast<size_t>(buf->buflen)) {
        if (!buf->grow || !buf->grow(buf, static_cast<int>(start + padded - static_cast<size_t>(buf->buflen))))
            return nullptr;
        buf->head = at(buf, headOff);
    }
    struct blob_attr *attr = at(buf, start);
    memset(attr, 0, padded);
    setHeader(attr, idWord, kHdr + payload);
    return attr;
}

void commit(struct blob_buf *buf, struct blob_attr *attr)
{
    struct blob_attr *head = buf->head;
    setHeader(head, be32_to_cpu(head->id_len) & ~BLOB_ATTR_LEN_MASK, blob_raw_len(head) + blob_pad_len(attr));
}

void *enter(struct blob_buf *buf, struct blob_attr *attr)
{
    const size_t parent = offsetOf(buf, buf->head);
    buf->head = attr;
    return reinterpret_cast<void *>(static_cast<uintptr_t>(parent) + 1);
}

}  // namespace zvblob

int blob_buf_init(struct blob_buf *buf, int id)
{
    if (!buf)
        return -EINVAL;
    if (!buf->grow)
        buf->grow = growBuffer;
    if (!buf->buf)
        buf->buflen = 0;
    if (!buf->buf || buf->buflen < static_cast<int>(kHdr)) {
        buf->head = nullptr;
        if (!buf->grow(buf, static_cast<int>(kHdr) - buf->buflen))
            return -ENOMEM;
    }
    buf->head = static_cast<struct blob_attr *>(buf->buf);
    setHeader(buf->head, idWordOf(id), kHdr);
    return 0;
}

void blob_buf_free(struct blob_buf *buf)
{
    if (!buf)
        return;
    free(buf->buf);
    buf->buf = nullptr;
    buf->head = nullptr;
    buf->buflen = 0;
}

struct blob_attr *blob_new(struct blob_buf *buf, int id, int payload)
{
    if (payload < 0)
        return nullptr;
    struct blob_attr *attr = zvblob::append(buf, idWordOf(id), static_cast<size_t>(payload));
    if (attr)
        zvblob::commit(buf, attr);
    return attr;
}

struct blob_attr *blob_put(struct blob_buf *buf, int id, const void *ptr, unsigned int len)
{
    if (!ptr && len)
        return nullptr;
    if (len > kMaxBuffer)
        return nullptr;
    struct blob_attr *attr = blob_new(buf, id, static_cast<int>(len));
    if (attr && len)
        memcpy(blob_data(attr), ptr, len);
    return attr;
}

void *blob_nest_start(struct blob_buf *buf, int id)
{
    struct blob_attr *attr = zvblob::append(buf, idWordOf(id), 0);
    return attr ? zvblob::enter(buf, attr) : nullptr;
}

void blob_nest_end(struct blob_buf *buf, void *cookie)
{
    if (!buf || !buf->buf || !buf->head || !cookie)
        return;
    const size_t parentOff = reinterpret_cast<uintptr_t>(cookie) - 1;
    // A cookie that does not name a container before the open one is not
    // ours: leave the buffer alone rather than write through it.
    if (parentOff % BLOB_ATTR_ALIGN != 0 || parentOff >= offsetOf(buf, buf->head))
        return;
    struct blob_attr *child = buf->head;
    buf->head = at(buf, parentOff);
    zvblob::commit(buf, child);
}
