/*
 * Blob buffers: a byte-exact stand-in for the gateway's libubox blob calls,
 * built only where the real library is not installed. Every declaration the
 * tree uses has the real one's signature and gives its results, odd cases
 * included (blob_len of a header shorter than itself wraps, as there), so
 * code that builds and passes against this subset does against the real one.
 *
 * Wire format: every attribute starts with a 32-bit big-endian word holding
 * the extended flag (bit 31), a 7-bit id (bits 24-30) and the attribute's
 * length including that word (bits 0-23). Payloads are padded with zero
 * bytes to a multiple of 4; a container's length counts its children padded.
 */
#ifndef LIBUBOX_BLOB_H
#define LIBUBOX_BLOB_H

#include <errno.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef ARRAY_SIZE
#define ARRAY_SIZE(arr) (sizeof(arr) / sizeof((arr)[0]))
#endif

enum {
    BLOB_ATTR_UNSPEC,
    BLOB_ATTR_NESTED,
    BLOB_ATTR_BINARY,
    BLOB_ATTR_STRING,
    BLOB_ATTR_INT8,
    BLOB_ATTR_INT16,
    BLOB_ATTR_INT32,
    BLOB_ATTR_INT64,
    BLOB_ATTR_DOUBLE,
    BLOB_ATTR_LAST
};

#define BLOB_ATTR_EXTENDED 0x80000000u
#define BLOB_ATTR_ID_MASK 0x7f000000u
#define BLOB_ATTR_ID_SHIFT 24
#define BLOB_ATTR_LEN_MASK 0x00ffffffu
#define BLOB_ATTR_ALIGN 4

struct blob_attr {
    uint32_t id_len; /* big-endian */
    char data[];
} __attribute__((packed));

struct blob_buf {
    struct blob_attr *head; /* the innermost open container */
    bool (*grow)(struct blob_buf *buf, int minlen);
    int buflen;
    void *buf;
};

static inline uint16_t __zvblob_swap16(uint16_t v)
{
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap16(v);
#else
    return v;
#endif
}

static inline uint32_t __zvblob_swap32(uint32_t v)
{
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap32(v);
#else
    return v;
#endif
}

static inline uint64_t __zvblob_swap64(uint64_t v)
{
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap64(v);
#else
    return v;
#endif
}

#define cpu_to_be16(v) __zvblob_swap16(v)
#define cpu_to_be32(v) __zvblob_swap32(v)
#define cpu_to_be64(v) __zvblob_swap64(v)
#define be16_to_cpu(v) __zvblob_swap16(v)
#define be32_to_cpu(v) __zvblob_swap32(v)
#define be64_to_cpu(v) __zvblob_swap64(v)

static inline void *blob_data(const struct blob_attr *attr)
{
    return (void *)attr->data;
}

static inline unsigned int blob_id(const struct blob_attr *attr)
{
    return (be32_to_cpu(attr->id_len) & BLOB_ATTR_ID_MASK) >> BLOB_ATTR_ID_SHIFT;
}

static inline bool blob_is_extended(const struct blob_attr *attr)
{
    return (be32_to_cpu(attr->id_len) & BLOB_ATTR_EXTENDED) != 0;
}

/* Payload length. A header claiming fewer than its own 4 bytes wraps to a
 * huge value, as in the real library: check blob_raw_len first. */
static inline size_t blob_len(const struct blob_attr *attr)
{
    return (be32_to_cpu(attr->id_len) & BLOB_ATTR_LEN_MASK) - sizeof(struct blob_attr);
}

/* Length including the header. */
static inline size_t blob_raw_len(const struct blob_attr *attr)
{
    return blob_len(attr) + sizeof(struct blob_attr);
}

static inline size_t blob_pad_len(const struct blob_attr *attr)
{
    unsigned int len = (unsigned int)blob_raw_len(attr);
    return (len + BLOB_ATTR_ALIGN - 1) & ~(unsigned int)(BLOB_ATTR_ALIGN - 1);
}

static inline struct blob_attr *blob_next(const struct blob_attr *attr)
{
    return (struct blob_attr *)((char *)attr + blob_pad_len(attr));
}

static inline uint8_t blob_get_u8(const struct blob_attr *attr)
{
    return *(const uint8_t *)attr->data;
}

static inline uint16_t blob_get_u16(const struct blob_attr *attr)
{
    uint16_t v;
    memcpy(&v, attr->data, sizeof v);
    return be16_to_cpu(v);
}

static inline uint32_t blob_get_u32(const struct blob_attr *attr)
{
    uint32_t v;
    memcpy(&v, attr->data, sizeof v);
    return be32_to_cpu(v);
}

static inline uint64_t blob_get_u64(const struct blob_attr *attr)
{
    uint64_t v;
    memcpy(&v, attr->data, sizeof v);
    return be64_to_cpu(v);
}

static inline const char *blob_get_string(const struct blob_attr *attr)
{
    return attr->data;
}

/* Walks `rem` bytes of attributes at `attr`, stopping at the first one whose
 * padded length is below a header or past what is left. A raw length of 1
 * to 3 pads to 4 and is walked: blob_raw_len tells it apart. */
#define __blob_for_each_attr(pos, attr, rem)                                                  \
    for (pos = (struct blob_attr *)(attr);                                                    \
         rem >= sizeof(struct blob_attr) && (blob_pad_len(pos) <= rem) &&                     \
         (blob_pad_len(pos) >= sizeof(struct blob_attr));                                     \
         rem -= blob_pad_len(pos), pos = blob_next(pos))

#define blob_for_each_attr(pos, attr, rem)                                                    \
    for (rem = attr ? blob_len(attr) : 0, pos = (struct blob_attr *)(attr ? blob_data(attr) : NULL); \
         rem >= sizeof(struct blob_attr) && (blob_pad_len(pos) <= rem) &&                     \
         (blob_pad_len(pos) >= sizeof(struct blob_attr));                                     \
         rem -= blob_pad_len(pos), pos = blob_next(pos))

/* Starts an empty buffer whose root attribute has `id`. 0, or -ENOMEM. */
int blob_buf_init(struct blob_buf *buf, int id);
void blob_buf_free(struct blob_buf *buf);

/* Appends an attribute with room for `payload` bytes (zeroed) to the open
 * container; NULL when it cannot grow. */
struct blob_attr *blob_new(struct blob_buf *buf, int id, int payload);
struct blob_attr *blob_put(struct blob_buf *buf, int id, const void *ptr, unsigned int len);

/* Opens a container attribute; the cookie closes it again. NULL on failure. */
void *blob_nest_start(struct blob_buf *buf, int id);
void blob_nest_end(struct blob_buf *buf, void *cookie);

#ifdef __cplusplus
}
#endif

#endif
