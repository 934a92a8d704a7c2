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
    BLOBMSG_TYPE_DOUBLE,
    __BLOBMSG_TYPE_LAST,
    BLOBMSG_TYPE_LAST = __BLOBMSG_TYPE_LAST - 1,
    BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8,
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
    return BLOB_ALIGN((int)(sizeof(struct blobmsg_hdr) + namelen + 1));
}

static inline uint16_t blobmsg_namelen(const struct blobmsg_hdr *hdr)
{
    return blob_be16(hdr->namelen);
}

static inline const char *blobmsg_name(const struct blob_attr *attr)
{
    return (const char *)((const struct blobmsg_hdr *)blob_data(attr))->name;
}

static inline int blobmsg_type(const struct blob_attr *attr)
{
    return (int)blob_id(attr);
}

static inline void *blobmsg_data(const struct blob_attr *attr)
{
    const struct blobmsg_hdr *hdr = (const struct blobmsg_hdr *)blob_data(attr);
    return (char *)blob_data(attr) + blobmsg_hdrlen(blobmsg_namelen(hdr));
}

/* Value length; 0 when the name claims more than the attribute holds. */
static inline size_t blobmsg_data_len(const struct blob_attr *attr)
{
    size_t hdr = (size_t)blobmsg_hdrlen(blobmsg_namelen((const struct blobmsg_hdr *)blob_data(attr)));
    return blob_len(attr) < hdr ? 0 : blob_len(attr) - hdr;
}

static inline size_t blobmsg_len(const struct blob_attr *attr)
{
    return blobmsg_data_len(attr);
}

static inline uint8_t blobmsg_get_u8(const struct blob_attr *attr)
{
    return *(const uint8_t *)blobmsg_data(attr);
}

static inline bool blobmsg_get_bool(const struct blob_attr *attr)
{
    return blobmsg_get_u8(attr) != 0;
}

static inline uint16_t blobmsg_get_u16(const struct blob_attr *attr)
{
    uint16_t v;
    memcpy(&v, blobmsg_data(attr), sizeof v);
    return blob_be16(v);
}

static inline uint32_t blobmsg_get_u32(const struct blob_attr *attr)
{
    uint32_t v;
    memcpy(&v, blobmsg_data(attr), sizeof v);
    return blob_be32(v);
}

static inline uint64_t blobmsg_get_u64(const struct blob_attr *attr)
{
    uint64_t v;
    memcpy(&v, blobmsg_data(attr), sizeof v);
    return blob_be64(v);
}

static inline char *blobmsg_get_string(const struct blob_attr *attr)
{
    return attr ? (char *)blobmsg_data(attr) : NULL;
}

/* Whether `attr` is a well-formed blobmsg attribute: its name fits and is
 * terminated, its value has the size its type needs, and a table's or
 * array's children are well-formed too. `name` requires a non-empty name. */
bool blobmsg_check_attr(const struct blob_attr *attr, bool name);

/* Fills tb[i] with the attribute named policy[i].name of the policy's type
 * (the last one, when several match) or NULL. 0, or -1 when `data` does not
 * hold well-formed attributes (tb then holds what was found before). */
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
    val = blob_be16(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT16, name, &val, 2);
}

static inline int blobmsg_add_u32(struct blob_buf *buf, const char *name, uint32_t val)
{
    val = blob_be32(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT32, name, &val, 4);
}

static inline int blobmsg_add_u64(struct blob_buf *buf, const char *name, uint64_t val)
{
    val = blob_be64(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT64, name, &val, 8);
}

static inline int blobmsg_add_string(struct blob_buf *buf, const char *name, const char *string)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_STRING, name, string, (unsigned int)strlen(string) + 1);
}

/* Walks the children of a table or array attribute (`rem` a size_t). */
#define blobmsg_for_each_attr(pos, attr, rem)                                                            \
    for (rem = (attr) ? blobmsg_data_len(attr) : 0, pos = (struct blob_attr *)((attr) ? blobmsg_data(attr) : NULL); \
         (size_t)(rem) >= sizeof(struct blob_attr) && blob_raw_len(pos) >= sizeof(struct blob_attr) &&         \
         blob_pad_len(pos) <= (size_t)(rem);                                                                   \
         rem -= blob_pad_len(pos), pos = blob_next(pos))

#ifdef __cplusplus
}
#endif

#endif
