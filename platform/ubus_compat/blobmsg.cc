#include <errno.h>
#include <string.h>

#pragma GCC visibility push(default)
#include <libubox/blobmsg.h>
#pragma GCC visibility pop

#include "blob_internal.h"

namespace {

constexpr size_t kHdr = sizeof(struct blob_attr);

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
    hdr->namelen = cpu_to_be16(static_cast<uint16_t>(namelen));
    memcpy(hdr->name, name, namelen);
    return attr;
}

// The smallest value each blobmsg type needs; integers need exactly it.
bool checkValue(int type, const char *value, size_t len)
{
    switch (type) {
    case BLOBMSG_TYPE_STRING:
        return len >= 1 && value[len - 1] == '\0';
    case BLOBMSG_TYPE_INT8:
        return len == 1;
    case BLOBMSG_TYPE_INT16:
        return len == 2;
    case BLOBMSG_TYPE_INT32:
        return len == 4;
    case BLOBMSG_TYPE_INT64:
        return len == 8;
    case BLOBMSG_TYPE_DOUBLE:
        return len >= 8;
    default:  // unspecified bytes; a table's or array's children are not looked at
        return true;
    }
}

bool checkName(const struct blob_attr *attr, bool name)
{
    if (!blob_is_extended(attr))
        return !name;
    if (blob_len(attr) < sizeof(struct blobmsg_hdr))
        return false;
    const auto *hdr = static_cast<const struct blobmsg_hdr *>(blob_data(attr));
    const size_t namelen = blobmsg_namelen(hdr);
    if (name && namelen == 0)
        return false;
    if (blob_len(attr) < static_cast<size_t>(blobmsg_hdrlen(static_cast<unsigned int>(namelen))))
        return false;
    return hdr->name[namelen] == '\0';
}

}  // namespace

bool blobmsg_check_attr_len(const struct blob_attr *attr, bool name, size_t len)
{
    if (!attr || len < kHdr)
        return false;
    const size_t raw = blob_raw_len(attr);
    if (raw < kHdr || raw > len)
        return false;
    if (!checkName(attr, name))
        return false;
    const int type = blobmsg_type(attr);
    if (type > BLOBMSG_TYPE_LAST)
        return false;
    return checkValue(type, static_cast<const char *>(blobmsg_data(attr)), blobmsg_data_len(attr));
}

bool blobmsg_check_attr(const struct blob_attr *attr, bool name)
{
    return attr && blobmsg_check_attr_len(attr, name, blob_raw_len(attr));
}

int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len)
{
    if (policy_len < 0 || (policy_len > 0 && (!policy || !tb)))
        return -EINVAL;
    for (int i = 0; i < policy_len; ++i)
        tb[i] = nullptr;
    if (!data || !len)
        return -EINVAL;
    struct blob_attr *attr;
    size_t rem = len;
    __blob_for_each_attr(attr, data, rem)
    {
        if (!blobmsg_check_attr_len(attr, false, rem))
            return -1;
        if (!blob_is_extended(attr))
            continue;
        const auto *hdr = static_cast<const struct blobmsg_hdr *>(blob_data(attr));
        for (int i = 0; i < policy_len; ++i) {
            if (!policy[i].name || tb[i])
                continue;
            const int type = blobmsg_type(attr);
            if (policy[i].type == BLOBMSG_CAST_INT64) {
                if (type != BLOBMSG_TYPE_INT64 && type != BLOBMSG_TYPE_INT32 && type != BLOBMSG_TYPE_INT16 &&
                    type != BLOBMSG_TYPE_INT8)
                    continue;
            } else if (policy[i].type != BLOBMSG_TYPE_UNSPEC && type != policy[i].type) {
                continue;
            }
            // The real library compares the name's length to the policy
            // name's kept in 8 bits before the names themselves.
            if (blobmsg_namelen(hdr) != static_cast<uint8_t>(strlen(policy[i].name)))
                continue;
            if (strcmp(policy[i].name, reinterpret_cast<const char *>(hdr->name)) == 0)
                tb[i] = attr;
        }
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
