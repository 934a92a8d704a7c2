#include <ctype.h>
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "pools.h"
#include "zvcommon.h"
#include "short_copy.h"

// Texts of up to 79 characters (names, values, the longest AMR fmtp lines a
// gateway sees) live in the record itself.
struct dynstr_s {
    char *data;  // inl, or text storage from the size-class pools
    uint32_t len;
    uint32_t cap;  // usable bytes at data, terminator included
    char inl[80];
};

namespace {

// Character storage begins with one byte saying what it holds, and the text
// follows it, so that dynstr_strfree can tell its copies from the storage of
// live strings (whose text a caller may hold through dynstr_cstr).
constexpr char kTextTag = 0;  // a string's text: left alone by dynstr_strfree
constexpr char kCopyTag = 1;  // a dynstr_strdup copy

char *newStorage(uint32_t bytes, char tag, uint32_t *usable)
{
    uint32_t size = zvcommon::charClassSize(bytes + 1);
    char *storage = size ? zvcommon::charAlloc(size) : nullptr;
    if (!storage)
        return nullptr;
    storage[0] = tag;
    if (usable)
        *usable = size - 1;
    return storage + 1;
}

void dropStorage(char *text)
{
    zvcommon::charFree(text - 1);
}

}  // namespace

namespace zvcommon {

uint32_t dynstrRecordSize()
{
    return sizeof(dynstr_s);
}

int dynstrReleaseHook(void *record, memm_release_fn)
{
    dynstr_s *s = static_cast<dynstr_s *>(record);
    if (s->data && s->data != s->inl)
        dropStorage(s->data);
    return 0;
}

}  // namespace zvcommon

using namespace zvcommon;

namespace {

bool grow(dynstr_s *s, uint32_t len);

// Makes room for `len` characters plus the terminator; keeps the content.
inline bool reserve(dynstr_s *s, uint32_t len)
{
    return len + 1 <= s->cap || grow(s, len);
}

bool grow(dynstr_s *s, uint32_t len)
{
    uint32_t cap = 0;
    char *data = newStorage(len + 1, kTextTag, &cap);
    if (!data)
        return false;
    memcpy(data, s->data, s->len + 1);
    if (s->data != s->inl)
        dropStorage(s->data);
    s->data = data;
    s->cap = cap;
    return true;
}

// A new empty string; the record comes zero-filled.
inline dynstr_s *newString(int pool)
{
    if (!isDynstrPool(pool))
        return nullptr;
    dynstr_s *s = static_cast<dynstr_s *>(memm_alloc(pool));
    if (!s)
        return nullptr;
    s->data = s->inl;
    s->cap = sizeof s->inl;
    return s;
}

int setN(dynstr_s *s, const char *text, uint32_t n)
{
    if (n > DYNSTR_MAX_LEN)
        n = DYNSTR_MAX_LEN;
    if (!reserve(s, n))
        return -1;
    memmove(s->data, text, n);
    s->data[n] = '\0';
    s->len = n;
    return 0;
}

inline uint32_t boundedLen(const char *text, uint32_t limit)
{
    return static_cast<uint32_t>(strnlen(text, limit));
}

// Appends n characters (cut at the cap). `text` may lie inside s's own
// storage, which reserve() may give back before the copy.
int appendN(dynstr_s *s, const char *text, uint32_t n)
{
    if (n > DYNSTR_MAX_LEN - s->len)
        n = DYNSTR_MAX_LEN - s->len;
    bool inside = text >= s->data && text < s->data + s->cap;
    size_t offset = inside ? static_cast<size_t>(text - s->data) : 0;
    if (!reserve(s, s->len + n))
        return -1;
    if (inside)
        text = s->data + offset;
    memmove(s->data + s->len, text, n);
    s->len += n;
    s->data[s->len] = '\0';
    return 0;
}

// Formats into a scratch string of its own, so that arguments pointing into
// the string being changed still read its old text, and a failure leaves
// that string as it was. The caller gives scratch's storage back with
// dropScratch().
int vformat(dynstr_s *scratch, const char *format, va_list ap)
{
    scratch->data = scratch->inl;
    scratch->cap = sizeof scratch->inl;
    scratch->len = 0;
    va_list copy;
    va_copy(copy, ap);
    int n = vsnprintf(scratch->data, scratch->cap, format, copy);
    va_end(copy);
    if (n < 0)
        return -1;
    uint32_t len = static_cast<uint32_t>(n) > DYNSTR_MAX_LEN ? DYNSTR_MAX_LEN : static_cast<uint32_t>(n);
    if (len + 1 > scratch->cap) {
        scratch->data[0] = '\0';
        if (!reserve(scratch, len))
            return -1;
        vsnprintf(scratch->data, len + 1, format, ap);
    }
    scratch->len = len;
    return 0;
}

void dropScratch(dynstr_s *scratch)
{
    if (scratch->data != scratch->inl)
        dropStorage(scratch->data);
}

int vappend(dynstr_s *s, const char *format, va_list ap)
{
    dynstr_s scratch;
    int rc = vformat(&scratch, format, ap);
    if (rc == 0)
        rc = appendN(s, scratch.data, scratch.len);
    dropScratch(&scratch);
    return rc;
}

inline int asciiLower(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}

int compare(const char *a, const char *b, bool ignoreCase)
{
    if (!a || !b)
        return (a != nullptr) - (b != nullptr);
    if (!ignoreCase)
        return strcmp(a, b);
    for (;; ++a, ++b) {
        int ca = asciiLower(static_cast<unsigned char>(*a));
        int cb = asciiLower(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0)
            return ca - cb;
    }
}

// Gives s the n characters at text; a text that fits the record goes in
// before the terminator the zero-filled record already holds. A string that
// cannot take the text is given back: NULL then.
inline dynstr_s *fill(dynstr_s *s, const char *text, uint32_t n)
{
    if (__builtin_expect(n < sizeof s->inl, 1)) {
        zvplatform::copyShort(s->inl, text, n);
        s->len = n;
        return s;
    }
    if (setN(s, text, n) != 0) {
        memm_free(s);
        return nullptr;
    }
    return s;
}

// Shared by getint32 and getlong: the whole-text rule of the header.
int parseWhole(const char *text, long *out)
{
    if (!text)
        return -1;
    const char *p = text;
    while (*p == ' ' || *p == '\t')
        ++p;
    const char *start = p;
    if (*p == '+' || *p == '-')
        ++p;
    if (!isdigit(static_cast<unsigned char>(*p)))
        return -1;
    errno = 0;
    char *end = nullptr;
    long v = strtol(start, &end, 10);
    if (errno == ERANGE)
        return -1;
    while (*end == ' ' || *end == '\t' || *end == '\r' || *end == '\n')
        ++end;
    if (*end != '\0')
        return -1;
    *out = v;
    return 0;
}

}  // namespace

extern "C" {

dynstr_t dynstr_fromstr(int pool, const char *text)
{
    // The length first: then only it and the text are kept across a call.
    // A C text ends, so its plain length (cheaper than a bounded one) is
    // cut to the cap afterwards.
    if (!text)
        return newString(pool);
    size_t length = strlen(text);
    uint32_t n = __builtin_expect(length < sizeof(dynstr_s::inl), 1)
                     ? static_cast<uint32_t>(length)
                     : (length > DYNSTR_MAX_LEN ? DYNSTR_MAX_LEN : static_cast<uint32_t>(length));
    dynstr_s *s = newString(pool);
    return s ? fill(s, text, n) : nullptr;
}

dynstr_t dynstr_fromstrn(int pool, const char *text, uint32_t count)
{
    dynstr_s *s = newString(pool);
    return s && text ? fill(s, text, boundedLen(text, count)) : s;
}

dynstr_t dynstr_fromuint32(int pool, uint32_t value)
{
    return dynstr_fromprintf(pool, "%u", value);
}

dynstr_t dynstr_fromprintf(int pool, const char *format, ...)
{
    dynstr_s *s = newString(pool);
    if (!s || !format)
        return s;
    va_list ap;
    va_start(ap, format);
    int rc = vappend(s, format, ap);
    va_end(ap);
    if (rc != 0) {
        memm_free(s);
        return nullptr;
    }
    return s;
}

dynstr_t dynstr_dup(int pool, dynstr_t source)
{
    dynstr_s *s = source ? newString(pool) : nullptr;
    return s ? fill(s, source->data, source->len) : nullptr;
}

void dynstr_release(dynstr_t s)
{
    memm_free(s);
}

int dynstr_assign(dynstr_t s, const char *text)
{
    if (!s)
        return -1;
    if (!text)
        text = "";
    return setN(s, text, boundedLen(text, DYNSTR_MAX_LEN));
}

int dynstr_printf(dynstr_t s, const char *format, ...)
{
    if (!s || !format)
        return -1;
    dynstr_s scratch;
    va_list ap;
    va_start(ap, format);
    int rc = vformat(&scratch, format, ap);
    va_end(ap);
    if (rc == 0)
        rc = setN(s, scratch.data, scratch.len);
    dropScratch(&scratch);
    return rc;
}

int dynstr_append(dynstr_t s, const char *text)
{
    if (!s)
        return -1;
    if (!text)
        return 0;
    return appendN(s, text, boundedLen(text, DYNSTR_MAX_LEN - s->len));
}

int dynstr_vappendf(dynstr_t s, const char *format, va_list ap)
{
    if (!s || !format)
        return -1;
    return vappend(s, format, ap);
}

int dynstr_appendf(dynstr_t s, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int rc = dynstr_vappendf(s, format, ap);
    va_end(ap);
    return rc;
}

const char *dynstr_cstr(dynstr_t s)
{
    return s ? s->data : nullptr;
}

uint32_t dynstr_len(dynstr_t s)
{
    return s ? s->len : 0;
}

int dynstr_isdynstring(const void *p)
{
    int pool = __atomic_load_n(&g_readyDynstrPool, __ATOMIC_RELAXED);
    return p && pool != kNotReady && memm_isvalidobjfrompool(pool, p);
}

int dynstr_strcmp(dynstr_t a, dynstr_t b)
{
    return compare(dynstr_cstr(a), dynstr_cstr(b), false);
}

int dynstr_strcmpi(dynstr_t a, dynstr_t b)
{
    return compare(dynstr_cstr(a), dynstr_cstr(b), true);
}

int dynstr_strcmp2(dynstr_t a, const char *b)
{
    return compare(dynstr_cstr(a), b, false);
}

int dynstr_strcmpi2(dynstr_t a, const char *b)
{
    return compare(dynstr_cstr(a), b, true);
}

char *dynstr_strncpy(char *buf, dynstr_t src, uint32_t count)
{
    if (!buf)
        return buf;
    uint32_t n = src ? (src->len < count ? src->len : count) : 0;
    if (n)
        memcpy(buf, src->data, n);
    buf[n] = '\0';
    return buf;
}

int dynstr_getint32(dynstr_t s, int32_t *out)
{
    long v = 0;
    if (!out || parseWhole(dynstr_cstr(s), &v) != 0 || v < INT32_MIN || v > INT32_MAX)
        return -1;
    *out = static_cast<int32_t>(v);
    return 0;
}

int dynstr_getlong(dynstr_t s, long *out)
{
    long v = 0;
    if (!out || parseWhole(dynstr_cstr(s), &v) != 0)
        return -1;
    *out = v;
    return 0;
}

char *dynstr_strdup(dynstr_t s)
{
    if (!s)
        return nullptr;
    char *copy = newStorage(s->len + 1, kCopyTag, nullptr);
    if (copy)
        memcpy(copy, s->data, s->len + 1);
    return copy;
}

void dynstr_strfree(char *copy)
{
    // The tag is read only once the byte before `copy` is known to begin
    // character storage.
    uintptr_t p = reinterpret_cast<uintptr_t>(copy);
    char *storage = reinterpret_cast<char *>(p - 1);
    if (p > 1 && isCharStorage(storage) && storage[0] == kCopyTag)
        charFree(storage);
}

}  // extern "C"
