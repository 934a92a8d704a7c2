#include <string.h>

#pragma GCC visibility push(default)
#include <libubox/blobmsg.h>
#pragma GCC visibility pop

#include "blob_internal.h"

namespace {

constexpr size_t kHdr = sizeof(struct blob_attr);
// Deeper nesting than any bus message needs; it bounds the recursion that
// checks what a peer sent.
constexpr int kMaxDepth = 32;

uint32_t extendedWord(int type)
{
    return BLOB_ATTR_EXTENDED | ((static_cast<uint32_t>(type) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK);
}

// Reserves a named attribute with room for `valueLen` bytes after its name.
struct blob_attr *appendNamed(struct blob_buf *buf, int type, const char *name, size_t valueLen)
{
    if (type < 0 || type > 0x7f)
        return nullptr;
    if (!name)
        name = "";
    const size_t namelen = strlen(name);
    if (namelen > 0xffff)
        return nullptr;
    const size_t hdrlen = static_cast<size_t>(blobmsg_hdrlen(static_cast<unsigned int>(namelen)));
    struct blob_attr *attr = zvblob::append(buf, extendedWord(type), hdrlen + valueLen);
    if (!attr)
        return nullptr;
    auto *hdr = static_cast<struct blobmsg_hdr *>(blob_data(attr));
    hdr->namelen = blob_be16(static_cast<uint16_t>(namelen));
    memcpy(hdr->name, name, namelen);
    return attr;
}

bool checkChildren(const char *data, size_t len, bool named, int depth);

bool checkAttr(const struct blob_attr *attr, bool name, int depth)
{
    if (!attr || depth > kMaxDepth)
        return false;
    if (blob_raw_len(attr) < kHdr + sizeof(struct blobmsg_hdr) || !blob_is_extended(attr))
        return false;
    const auto *hdr = static_cast<const struct blobmsg_hdr *>(blob_data(attr));
    const size_t namelen = blobmsg_namelen(hdr);
    const size_t hdrlen = static_cast<size_t>(blobmsg_hdrlen(static_cast<unsigned int>(namelen)));
    if (blob_len(attr) < hdrlen || hdr->name[namelen] != '\0')
        return false;
    if (name && namelen == 0)
        return false;
    const char *value = static_cast<const char *>(blobmsg_data(attr));
    const size_t len = blob_len(attr) - hdrlen;
    switch (blobmsg_type(attr)) {
    case BLOBMSG_TYPE_STRING:
        return len > 0 && memchr(value, '\0', len) != nullptr;
    case BLOBMSG_TYPE_INT8:
        return len == 1;
    case BLOBMSG_TYPE_INT16:
        return len == 2;
    case BLOBMSG_TYPE_INT32:
        return len == 4;
    case BLOBMSG_TYPE_INT64:
    case BLOBMSG_TYPE_DOUBLE:
        return len == 8;
    case BLOBMSG_TYPE_TABLE:
        return checkChildren(value, len, true, depth + 1);
    case BLOBMSG_TYPE_ARRAY:
        return checkChildren(value, len, false, depth + 1);
    default:
        return true;
    }
}

// The children, each padded, must cover the value exactly.
bool checkChildren(const char *data, size_t len, bool named, int depth)
{
    while (len > 0) {
        if (len < kHdr)
            return false;
        const auto *child = reinterpret_cast<const struct blob_attr *>(data);
        if (blob_pad_len(child) > len || !checkAttr(child, named, depth))
            return false;
        data += blob_pad_len(child);
        len -= blob_pad_len(child);
    }
    return true;
}

bool nameIs(const struct blob_attr *attr, const char *name)
{
    const auto *hdr = static_cast<const struct blobmsg_hdr *>(blob_data(attr));
    const size_t namelen = blobmsg_namelen(hdr);
    return strlen(name) == namelen && memcmp(hdr->name, name, namelen) == 0;
}

}  // namespace

bool blobmsg_check_attr(const struct blob_attr *attr, bool name)
{
    return checkAttr(attr, name, 0);
}

int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len)
{
    if (policy_len < 0 || (policy_len > 0 && (!policy || !tb)))
        return -1;
    for (int i = 0; i < policy_len; ++i)
        tb[i] = nullptr;
    if (!data)
        return len ? -1 : 0;
    const char *pos = static_cast<const char *>(data);
    size_t rem = len;
    while (rem > 0) {
        if (rem < kHdr)
            return -1;
        const auto *attr = reinterpret_cast<const struct blob_attr *>(pos);
        if (blob_pad_len(attr) > rem || !checkAttr(attr, false, 0))
            return -1;
        for (int i = 0; i < policy_len; ++i) {
            if (!policy[i].name)
                continue;
            if (policy[i].type != BLOBMSG_TYPE_UNSPEC && blobmsg_type(attr) != policy[i].type)
                continue;
            if (nameIs(attr, policy[i].name))
                tb[i] = const_cast<struct blob_attr *>(attr);
        }
        pos += blob_pad_len(attr);
        rem -= blob_pad_len(attr);
    }
    return 0;
}

int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len)
{
    if (!data && len)
        return -1;
    struct blob_attr *attr = appendNamed(buf, type, name, len);
    if (!attr)
        return -1;
    if (len)
        memcpy(blobmsg_data(attr), data, len);
    zvblob::commit(buf, attr);
    return 0;
}

void *blobmsg_open_nested(struct blob_buf *buf, const char *name, bool array)
{
    struct blob_attr *attr = appendNamed(buf, array ? BLOBMSG_TYPE_ARRAY : BLOBMSG_TYPE_TABLE, name, 0);
    return attr ? zvblob::enter(buf, attr) : nullptr;
}
