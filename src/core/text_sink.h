// Appends text into a caller's buffer of fixed size, cutting where it ends:
// the result is the whole text cut to size - 1 characters and terminated.
#pragma once

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

namespace zv {

class TextSink {
public:
    TextSink(char *buffer, uint32_t size) : buf_(buffer), size_(size), len_(0)
    {
        if (size_)
            buf_[0] = '\0';
    }

    void append(const char *text, size_t n)
    {
        if (size_ == 0)
            return;
        size_t room = size_ - 1 - len_;
        if (n > room)
            n = room;
        memcpy(buf_ + len_, text, n);
        len_ += n;
        buf_[len_] = '\0';
    }

    void append(const char *text) { append(text, strlen(text)); }

    void appendChar(char c)
    {
        if (len_ + 1 < size_) {
            buf_[len_++] = c;
            buf_[len_] = '\0';
        }
    }

    void appendf(const char *format, ...) __attribute__((format(printf, 2, 3)))
    {
        if (size_ == 0 || len_ + 1 >= size_)
            return;
        va_list ap;
        va_start(ap, format);
        int n = vsnprintf(buf_ + len_, size_ - len_, format, ap);
        va_end(ap);
        if (n > 0)
            len_ += static_cast<size_t>(n) < size_ - len_ ? static_cast<size_t>(n) : size_ - 1 - len_;
    }

    // "%d" of value, without the cost of a printf call: written in place
    // when it fits, else cut like any other text.
    void appendInt(int value)
    {
        // Unsigned arithmetic, so that INT_MIN needs no special case.
        unsigned magnitude = value < 0 ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);
        size_t width = value < 0 ? 2 : 1;
        for (unsigned rest = magnitude; rest >= 10u; rest /= 10u)
            ++width;
        if (len_ + width >= size_) {
            char digits[12];
            char *end = digits + sizeof digits;
            char *p = end;
            do {
                *--p = static_cast<char>('0' + magnitude % 10u);
                magnitude /= 10u;
            } while (magnitude);
            if (value < 0)
                *--p = '-';
            append(p, static_cast<size_t>(end - p));
            return;
        }
        char *p = buf_ + len_ + width;
        *p = '\0';
        do {
            *--p = static_cast<char>('0' + magnitude % 10u);
            magnitude /= 10u;
        } while (magnitude);
        if (value < 0)
            *--p = '-';
        len_ += width;
    }

    uint32_t length() const { return static_cast<uint32_t>(len_); }

    // A sink for the next piece, of at most `limit` bytes with its
    // terminator, writing in place; take() then counts what it wrote.
    TextSink piece(uint32_t limit)
    {
        size_t room = size_ == 0 ? 0 : size_ - len_;
        return TextSink(buf_ + len_, room < limit ? static_cast<uint32_t>(room) : limit);
    }
    void take(const TextSink &piece) { len_ += piece.len_; }

private:
    char *buf_;
    uint32_t size_;
    size_t len_;
};

}  // namespace zv
