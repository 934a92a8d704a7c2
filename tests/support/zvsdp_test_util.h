// Helpers shared by the object and codec tests: pools looked up by name,
// live-record counts of the string and list pools, and log-line matching.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "memm.h"
#include "syslog_capture.h"
#include "zvcommon.h"
#include "zvsdp.h"

namespace zvtest {

// Every pool handle that carries `name` (the character storage of strings
// is spread over several pools of one name).
inline std::vector<int> poolsNamed(const char *name)
{
    std::vector<int> out;
    for (int h = 0; h < MEMM_MAX_POOLS; ++h) {
        const char *n = memm_poolname(h);
        if (n && std::string(n) == name)
            out.push_back(h);
    }
    return out;
}

// The one pool of that name, or MEMM_POOL_NONE.
inline int poolNamed(const char *name)
{
    std::vector<int> pools = poolsNamed(name);
    return pools.size() == 1 ? pools[0] : MEMM_POOL_NONE;
}

struct PoolStats {
    uint32_t inUse = 0, available = 0, capacity = 0;
};

inline PoolStats statsOf(int pool)
{
    PoolStats s;
    memm_get_stats(pool, &s.inUse, &s.available, &s.capacity);
    return s;
}

// Records in use over every pool of that name.
inline uint32_t liveRecords(const char *name)
{
    uint32_t total = 0;
    for (int h : poolsNamed(name))
        total += statsOf(h).inUse;
    return total;
}

// Objects of the four classes in use.
inline uint32_t inUse(const char *pool) { return statsOf(poolNamed(pool)).inUse; }

inline uint32_t liveObjects()
{
    return inUse("zvsdpsdpobj") + inUse("zvsdpmediaobj") + inUse("zvsdppayloadobj") + inUse("zvsdpattrobj");
}

// Dynamic strings, their character storage and list records/nodes in use:
// an operation that leaks any of them moves this count.
inline uint32_t liveStringsAndLists()
{
    return liveRecords("zvdynstr") + liveRecords("zvchars") + liveRecords("zvllist");
}

// The function and text of a line in the library's format, or empty strings
// when the line has another shape. The line number is only checked to be
// numeric: it moves with every edit.
struct LogLine {
    std::string tag, letter, function, text;
};

inline LogLine parseLog(const std::string &line)
{
    // "<tag padded to 16>:<letter>: <function>:<line> - <text>"; the tag
    // itself holds colons, so find the letter field after its padding.
    size_t close = line.find(']');
    if (close == std::string::npos)
        return {};
    size_t colon = line.find(':', close);
    if (colon == std::string::npos || colon + 3 > line.size() || line[colon + 2] != ':' ||
        line.compare(colon + 3, 1, " ") != 0)
        return {};
    LogLine l;
    l.tag = line.substr(0, colon);
    l.letter = line.substr(colon + 1, 1);
    size_t fnStart = colon + 4;
    size_t fnEnd = line.find(':', fnStart);
    size_t dash = line.find(" - ", fnStart);
    if (fnEnd == std::string::npos || dash == std::string::npos || fnEnd > dash)
        return {};
    std::string number = line.substr(fnEnd + 1, dash - fnEnd - 1);
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos)
        return {};
    l.function = line.substr(fnStart, fnEnd - fnStart);
    l.text = line.substr(dash + 3);
    return l;
}

// The text with every "0x<hex digits>" printed by %p replaced by "PTR".
inline std::string maskPointers(const std::string &text)
{
    std::string out;
    for (size_t i = 0; i < text.size();) {
        if (text.compare(i, 2, "0x") == 0 && i + 2 < text.size() && isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            out += "PTR";
            i += 2;
            while (i < text.size() && isxdigit(static_cast<unsigned char>(text[i])))
                ++i;
        } else {
            out += text[i++];
        }
    }
    return out;
}

// "tag|letter|function|text" of each captured line, for ElementsAre.
inline std::vector<std::string> logEntries()
{
    std::vector<std::string> out;
    for (const std::string &line : syslogTexts()) {
        LogLine l = parseLog(line);
        out.push_back(l.tag + "|" + l.letter + "|" + l.function + "|" + l.text);
    }
    return out;
}

// One line as logEntries() shows it; the tag is padded as the library pads it.
inline std::string logEntry(std::string tag, char letter, const std::string &function, const std::string &text)
{
    if (tag.size() < 16)
        tag.resize(16, ' ');
    return tag + "|" + letter + "|" + function + "|" + text;
}

inline std::string dynText(struct dynstr_s *s)
{
    const char *t = dynstr_cstr(s);
    return t ? t : "<null>";
}

}  // namespace zvtest
