// A bus client's view of a reply: blobmsg attributes as JSON text.
#include "zvubus.h"

#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern "C" {
#include <libubox/blobmsg.h>
}

namespace {

// Text grown with realloc; a failed allocation sticks, and the caller gets
// NULL instead of a cut text.
class Text {
public:
    ~Text() { free(data_); }

    void add(const char *s, size_t n)
    {
        if (failed_)
            return;
        if (len_ + n + 1 > cap_) {
            size_t cap = cap_ ? cap_ : 256;
            while (len_ + n + 1 > cap)
                cap *= 2;
            char *p = static_cast<char *>(realloc(data_, cap));
            if (!p) {
                failed_ = true;
                return;
            }
            data_ = p;
            cap_ = cap;
        }
        memcpy(data_ + len_, s, n);
        len_ += n;
        data_[len_] = '\0';
    }

    void add(const char *s) { add(s, strlen(s)); }

    void addf(const char *format, ...) __attribute__((format(printf, 2, 3)))
    {
        char scratch[64];
        va_list ap;
        va_start(ap, format);
        int n = vsnprintf(scratch, sizeof scratch, format, ap);
        va_end(ap);
        if (n > 0)
            add(scratch, static_cast<size_t>(n) < sizeof scratch ? static_cast<size_t>(n) : sizeof scratch - 1);
    }

    void tabs(int n)
    {
        for (int i = 0; i < n; ++i)
            add("\t", 1);
    }

    char *release()
    {
        if (failed_ || !data_)
            return nullptr;
        char *p = data_;
        data_ = nullptr;
        return p;
    }

private:
    char *data_ = nullptr;
    size_t len_ = 0;
    size_t cap_ = 0;
    bool failed_ = false;
};

void addString(Text &out, const char *s)
{
    out.add("\"", 1);
    for (; *s; ++s) {
        const unsigned char c = static_cast<unsigned char>(*s);
        switch (c) {
        case '"': out.add("\\\"", 2); break;
        case '\\': out.add("\\\\", 2); break;
        case '\b': out.add("\\b", 2); break;
        case '\f': out.add("\\f", 2); break;
        case '\n': out.add("\\n", 2); break;
        case '\r': out.add("\\r", 2); break;
        case '\t': out.add("\\t", 2); break;
        default:
            if (c < 0x20)
                out.addf("\\u%04x", c);
            else
                out.add(s, 1);
        }
    }
    out.add("\"", 1);
}

// Deeper nesting than any reply needs; it bounds the recursion over what a
// peer sent.
constexpr int kMaxDepth = 32;

// The real libubox checks one attribute at a time and never its children,
// so every level is checked here, each member bounded by what its container
// has left. A table's members must carry names.
bool checkMembers(const char *data, size_t len, bool table, int depth)
{
    if (depth > kMaxDepth)
        return false;
    while (len > 0) {
        const auto *attr = reinterpret_cast<const struct blob_attr *>(data);
        if (len < sizeof(struct blob_attr) || !blobmsg_check_attr_len(attr, false, len) ||
            blob_pad_len(attr) > len || (table && !blob_is_extended(attr)))
            return false;
        const int type = blobmsg_type(attr);
        if ((type == BLOBMSG_TYPE_TABLE || type == BLOBMSG_TYPE_ARRAY) &&
            !checkMembers(static_cast<const char *>(blobmsg_data(attr)), blobmsg_data_len(attr),
                          type == BLOBMSG_TYPE_TABLE, depth + 1))
            return false;
        data += blob_pad_len(attr);
        len -= blob_pad_len(attr);
    }
    return true;
}

void addValue(Text &out, const struct blob_attr *attr, bool indent, int depth);

// Members of a table or array; the attributes were checked beforehand.
void addContainer(Text &out, const char *data, size_t len, bool table, bool indent, int depth)
{
    out.add(table ? "{" : "[", 1);
    bool first = true;
    const struct blob_attr *pos;
    size_t rem = len;
    __blob_for_each_attr(pos, data, rem)
    {
        if (!first)
            out.add(",", 1);
        first = false;
        if (indent) {
            out.add("\n", 1);
            out.tabs(depth + 1);
        }
        if (table) {
            addString(out, blobmsg_name(pos));
            out.add(indent ? ": " : ":");
        }
        addValue(out, pos, indent, depth + 1);
    }
    if (indent && !first) {
        out.add("\n", 1);
        out.tabs(depth);
    }
    out.add(table ? "}" : "]", 1);
}

void addValue(Text &out, const struct blob_attr *attr, bool indent, int depth)
{
    // libubox's getters take a non-const attribute though they only read it.
    struct blob_attr *value = const_cast<struct blob_attr *>(attr);
    switch (blobmsg_type(attr)) {
    case BLOBMSG_TYPE_TABLE:
    case BLOBMSG_TYPE_ARRAY:
        addContainer(out, static_cast<const char *>(blobmsg_data(attr)), blobmsg_data_len(attr),
                     blobmsg_type(attr) == BLOBMSG_TYPE_TABLE, indent, depth);
        break;
    case BLOBMSG_TYPE_STRING:
        addString(out, blobmsg_get_string(value));
        break;
    case BLOBMSG_TYPE_INT8:
        out.add(blobmsg_get_u8(value) ? "true" : "false");
        break;
    case BLOBMSG_TYPE_INT16:
        out.addf("%d", static_cast<int16_t>(blobmsg_get_u16(value)));
        break;
    case BLOBMSG_TYPE_INT32:
        out.addf("%" PRId32, static_cast<int32_t>(blobmsg_get_u32(value)));
        break;
    case BLOBMSG_TYPE_INT64:
        out.addf("%" PRId64, static_cast<int64_t>(blobmsg_get_u64(value)));
        break;
    case BLOBMSG_TYPE_DOUBLE: {
        uint64_t bits = blobmsg_get_u64(value);
        double d;
        memcpy(&d, &bits, sizeof d);
        out.addf("%.16g", d);
        break;
    }
    default:
        out.add("null");
        break;
    }
}

}  // namespace

ZVUBUS_API char *zvUbusFormatJson(const void *msg, size_t len, int indent)
{
    if (!msg || len < sizeof(struct blob_attr))
        return nullptr;
    const auto *root = static_cast<const struct blob_attr *>(msg);
    const size_t raw = blob_raw_len(root);
    if (raw < sizeof(struct blob_attr) || raw > len)
        return nullptr;
    // Every member is checked, nested ones included, before any is printed.
    if (!checkMembers(static_cast<const char *>(blob_data(root)), blob_len(root), true, 0))
        return nullptr;
    Text out;
    addContainer(out, static_cast<const char *>(blob_data(root)), blob_len(root), true, indent != 0, 0);
    return out.release();
}
