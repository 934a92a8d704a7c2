/*
 * Named, typed attributes on top of blob buffers, as a bus message carries
 * them. Every such attribute has the extended flag set, its type as the id,
 * and starts its payload with a big-endian 16-bit name length and the
 * NUL-terminated name, padded to 4 bytes; the value follows (integers
 * big-endian, strings NUL-terminated, tables and arrays as child attributes).
 */
#ifndef LIBUBOX_BLOBMSG_H
#define LIBUBOX_BLOBMSG_H

#include "blob.h"

#define BLOBMSG_ALIGN 2
#define BLOBMSG_PADDING(len) (((len) + (1 << BLOBMSG_ALIGN) - 1) & ~((1 << BLOBMSG_ALIGN) - 1))

#ifdef __cplusplus
extern "C" {
#endif

enum blobmsg_type {
    BLOBMSG_TYPE_UNSPEC,
    BLOBMSG_TYPE_ARRAY,
    BLOBMSG_TYPE_TABLE,
    BLOBMSG_TYPE_STRING,
    BLOBMSG_TYPE_INT64,
    BLOBMSG_TYPE_INT32,
    BLOBMSG_TYPE_INT16,
    BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_DOUBLE,
    __BLOBMSG_TYPE_LAST,
    BLOBMSG_TYPE_LAST = __BLOBMSG_TYPE_LAST - 1,
    BLOBMSG_CAST_INT64 = __BLOBMSG_TYPE_LAST, /* policy only: any integer type */
};

struct blobmsg_hdr {
    uint16_t namelen; /* big-endian, without the NUL */
    uint8_t name[];
} __attribute__((packed));

struct blobmsg_policy {
    const char *name;
    enum blobmsg_type type; /* BLOBMSG_TYPE_UNSPEC takes any type */
};

static inline int blobmsg_hdrlen(unsigned int namelen)
{
    return BLOBMSG_PADDING((int)(sizeof(struct blobmsg_hdr) + namelen + 1));
}

static inline uint16_t blobmsg_namelen(const struct blobmsg_hdr *hdr)
{
    return be16_to_cpu(hdr->namelen);
}

static inline const char *blobmsg_name(const struct blob_attr *attr)
{
    return (const char *)((const struct blobmsg_hdr *)blob_data(attr))->name;
}

static inline int blobmsg_type(const struct blob_attr *attr)
{
    return (int)blob_id(attr);
}

/* The value: after the name of an extended attribute, the whole payload of
 * a plain one; NULL for NULL. */
static inline void *blobmsg_data(const struct blob_attr *attr)
{
    if (!attr)
        return NULL;
    char *data = (char *)blob_data(attr);
    if (blob_is_extended(attr))
        data += blobmsg_hdrlen(blobmsg_namelen((const struct blobmsg_hdr *)blob_data(attr)));
    return data;
}

/* Value length; it wraps, as in the real library, when the name claims more
 * than the attribute holds (blobmsg_check_attr rules that out). */
static inline size_t blobmsg_data_len(const struct blob_attr *attr)
{
    if (!attr)
        return 0;
    return blob_len(attr) - (size_t)((const char *)blobmsg_data(attr) - (const char *)blob_data(attr));
}

static inline size_t blobmsg_len(const struct blob_attr *attr)
{
    return blobmsg_data_len(attr);
}

/* The getters take a non-const attribute, as the real ones do. */
static inline uint8_t blobmsg_get_u8(struct blob_attr *attr)
{
    return *(uint8_t *)blobmsg_data(attr);
}

static inline bool blobmsg_get_bool(struct blob_attr *attr)
{
    return *(uint8_t *)blobmsg_data(attr);
}

static inline uint16_t blobmsg_get_u16(struct blob_attr *attr)
{
    uint16_t v;
    memcpy(&v, blobmsg_data(attr), sizeof v);
    return be16_to_cpu(v);
}

static inline uint32_t blobmsg_get_u32(struct blob_attr *attr)
{
    uint32_t v;
    memcpy(&v, blobmsg_data(attr), sizeof v);
    return be32_to_cpu(v);
}

static inline uint64_t blobmsg_get_u64(struct blob_attr *attr)
{
    uint64_t v;
    memcpy(&v, blobmsg_data(attr), sizeof v);
    return be64_to_cpu(v);
}

static inline char *blobmsg_get_string(struct blob_attr *attr)
{
    if (!attr)
        return NULL;
    return (char *)blobmsg_data(attr);
}

/* Whether the first `len` bytes at `attr` hold one well-formed attribute:
 * its raw length fits, an extended one's name is terminated and inside it
 * (and non-empty when `name`), a plain one only when not `name`, its type
 * is known, and a typed value has its size (integers exactly, a string at
 * least one byte ending in NUL, a double at least 8). The children of a
 * table or array are not looked at. */
bool blobmsg_check_attr_len(const struct blob_attr *attr, bool name, size_t len);

/* blobmsg_check_attr_len bounded by the attribute's own raw length: for
 * data already known to be framed. */
bool blobmsg_check_attr(const struct blob_attr *attr, bool name);

/* Fills tb[i] with the first extended attribute named policy[i].name of the
 * policy's type, or NULL. -EINVAL for no data or a length of 0; -1 when an
 * attribute fails blobmsg_check_attr_len (tb keeps what was found before);
 * otherwise 0, also when the walk stops early at a header that does not
 * fit what is left (trailing bytes, a zero word, a cut attribute). Plain
 * attributes are skipped. */
int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len);

/* Appends one attribute with `len` bytes of value. 0, or -1. */
int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len);

/* Opens a named table (or array); close it with blob_nest_end. NULL on failure. */
void *blobmsg_open_nested(struct blob_buf *buf, const char *name, bool array);

static inline void *blobmsg_open_table(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, false);
}

static inline void *blobmsg_open_array(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, true);
}

static inline int blobmsg_buf_init(struct blob_buf *buf)
{
    return blob_buf_init(buf, BLOBMSG_TYPE_TABLE);
}

static inline void blobmsg_close_table(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}

static inline void blobmsg_close_array(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}

static inline int blobmsg_add_u8(struct blob_buf *buf, const char *name, uint8_t val)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT8, name, &val, 1);
}

static inline int blobmsg_add_u16(struct blob_buf *buf, const char *name, uint16_t val)
{
    val = cpu_to_be16(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT16, name, &val, 2);
}

static inline int blobmsg_add_u32(struct blob_buf *buf, const char *name, uint32_t val)
{
    val = cpu_to_be32(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT32, name, &val, 4);
}

static inline int blobmsg_add_u64(struct blob_buf *buf, const char *name, uint64_t val)
{
    val = cpu_to_be64(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT64, name, &val, 8);
}

static inline int blobmsg_add_string(struct blob_buf *buf, const char *name, const char *string)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_STRING, name, string, (unsigned int)strlen(string) + 1);
}

/* Walks the children of a table or array attribute (`rem` a size_t). */
#define blobmsg_for_each_attr(pos, attr, rem)                                                       \
    for (rem = attr ? blobmsg_data_len(attr) : 0, pos = (struct blob_attr *)(attr ? blobmsg_data(attr) : NULL); \
         rem >= sizeof(struct blob_attr) && (blob_pad_len(pos) <= rem) &&                            \
         (blob_pad_len(pos) >= sizeof(struct blob_attr));                                            \
         rem -= blob_pad_len(pos), pos = blob_next(pos))

#ifdef __cplusplus
}
#endif

#endif
