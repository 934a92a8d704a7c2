// An offerer's judgement of an answer (RFC 3264, RFC 4733, RFC 4867),
// written apart from the library's answerer and sharing none of its code:
// it reads both texts with its own reader and lists what an offerer would
// object to.
#pragma once

#include <string>
#include <vector>

namespace rfc3264 {

// The m= lines an SDP reader finds in the text (type, port and transport
// present); 0 means the text is not SDP at all.
size_t mediaLineCount(const std::string &text);

// Whether the text has an m=audio line.
bool hasAudio(const std::string &text);

// The defects of `answer` as an answer to `offer` from an answerer whose
// capabilities are the single media of `local`; empty when there is none.
std::vector<std::string> judge(const std::string &offer, const std::string &answer, const std::string &local);

}  // namespace rfc3264
