// Test programs define their own syslog(3), which takes the place of the C
// library's for every module of the process; the lines are kept here.
#pragma once

#include <string>
#include <vector>

namespace zvtest {

struct SyslogLine {
    int priority;
    std::string text;
};

// Everything written since the last clear, in order.
std::vector<SyslogLine> syslogLines();
// Only the texts, for EXPECT_THAT(..., ElementsAre(...)).
std::vector<std::string> syslogTexts();
void syslogClear();
// Copies every captured line to stderr as well (debugging aid).
void syslogEcho(bool on);

}  // namespace zvtest
