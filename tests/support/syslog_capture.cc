#include "syslog_capture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {
std::mutex g_mutex;
std::vector<zvtest::SyslogLine> g_lines;
bool g_echo = false;

// Whole lines, however long: the tests check that nothing is cut.
void capture(int priority, const char *fmt, va_list ap)
{
    va_list again;
    va_copy(again, ap);
    int length = vsnprintf(nullptr, 0, fmt, ap);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0)
        vsnprintf(&text[0], text.size() + 1, fmt, again);
    va_end(again);
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.push_back({priority, text});
    if (g_echo)
        fprintf(stderr, "syslog(%d): %s\n", priority, text.c_str());
}
}  // namespace

namespace zvtest {

std::vector<SyslogLine> syslogLines()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_lines;
}

std::vector<std::string> syslogTexts()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<std::string> out;
    for (const auto &l : g_lines)
        out.push_back(l.text);
    return out;
}

void syslogClear()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.clear();
}

void syslogEcho(bool on)
{
    g_echo = on;
}

}  // namespace zvtest

extern "C" void syslog(int priority, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    capture(priority, fmt, ap);
    va_end(ap);
}

// Fortified builds of the C library route syslog here.
extern "C" void __syslog_chk(int priority, int, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    capture(priority, fmt, ap);
    va_end(ap);
}
