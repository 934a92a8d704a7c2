// Pieces shared by the blob and blobmsg halves of our libubox; not exported.
#pragma once

#include <libubox/blob.h>

namespace zvblob {

// Reserves an attribute of `payload` bytes (zeroed) after the open
// container's current end, with `idWord` (extended flag and id) in its
// header. The container's length is not touched yet. nullptr when the buffer
// cannot grow or the message would pass the 24-bit length limit.
struct blob_attr *append(struct blob_buf *buf, uint32_t idWord, size_t payload);

// Counts a reserved attribute into the open container.
void commit(struct blob_buf *buf, struct blob_attr *attr);

// Makes a reserved attribute the open container; the cookie names the one it
// replaces and is never NULL.
void *enter(struct blob_buf *buf, struct blob_attr *attr);

}  // namespace zvblob
