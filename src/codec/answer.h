// The RFC 3264 answerer inside: an offered media section as the two readers
// (offer text, stack message) see it, and the builder that turns each one
// into the answer's text, straight into the caller's buffer.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "zvsdp.h"

namespace zv {
namespace answer {

// A piece of the offer, never copied: it points into the offer text or into
// the stack message, both of which outlive the answer call.
struct Span {
    const char *p;
    uint32_t n;
};

inline Span span(const char *p, size_t n)
{
    return Span{p, static_cast<uint32_t>(n)};
}
Span spanOf(const char *text);  // the whole C text ("" for NULL)

inline bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

// Without blanks at either end.
inline Span trimmed(Span s)
{
    while (s.n && isBlank(*s.p)) {
        ++s.p;
        --s.n;
    }
    while (s.n && isBlank(s.p[s.n - 1]))
        --s.n;
    return s;
}

// Directions as bits of what the side that wrote the line does.
constexpr uint8_t kDirInactive = 0;
constexpr uint8_t kDirSend = 1;
constexpr uint8_t kDirRecv = 2;
constexpr uint8_t kDirSendRecv = 3;
constexpr uint8_t kDirNone = 0xFF;  // no direction attribute
// The direction a flag attribute names, or kDirNone.
uint8_t directionOf(Span name);

// Formats of one m-line that are looked at for serving; an offer lists a
// dozen at most, and formats past these are answered as absent.
constexpr uint32_t kMaxFormats = 64;

struct OfferFormat {
    int32_t pt;         // RTP payload type 0..127, or -1 (not a number, too large)
    Span name;          // rtpmap encoding name; n == 0: no rtpmap
    int32_t clock;      // rtpmap clock rate, -1 when the rtpmap has none
    int32_t channels;   // rtpmap channels, 0 when the rtpmap has none
    Span fmtp;          // parameters of the first fmtp line for pt
    bool hasFmtp;
    bool conflict;      // two rtpmap or fmtp lines disagree: no codec is sure
};

struct OfferMedia {
    Span type;
    Span proto;
    int32_t port;            // -1 when the port is not a number 0..65535
    Span firstFormat;        // n == 0: the m-line has no format
    uint32_t formatCount;    // formats kept in `formats`
    uint8_t direction;       // kDirNone when the section has none
    bool hasConnection;      // a c= line of its own...
    bool nullConnection;     // ...whose address is 0.0.0.0 (RFC 2543 hold)
    OfferFormat formats[kMaxFormats];

    // Empties the record for the m-line that starts a new section.
    void reset();
    // The format of pt among those kept, or NULL.
    OfferFormat *format(int32_t pt);
    // An rtpmap or fmtp line for pt: the first one counts, a second that
    // says something else makes the format unusable.
    void addRtpmap(int32_t pt, Span name, int32_t clock, int32_t channels);
    void addFmtp(int32_t pt, Span params);
};

// What the session level says to every media without a word of its own.
struct OfferSession {
    uint8_t direction = kDirNone;
    bool nullConnection = false;
};

// Reads "<pt> <params>" of an fmtp value: false when it starts with no
// payload number.
bool splitFmtp(Span value, int32_t *pt, Span *params);
// Reads "<pt> <name>/<clock>[/<channels>]" of an rtpmap value.
bool splitRtpmap(Span value, int32_t *pt, Span *name, int32_t *clock, int32_t *channels);
// An address that is the RFC 2543 way of holding a call.
bool isNullAddress(Span address);
// A decimal number of at most 9 digits, or -1.
int32_t number(Span text);

// Parameters of an AMR or AMR-WB payload that RFC 4867 negotiates.
struct AmrParams {
    uint16_t modes;          // bit n: mode n; only meaningful with hasModeSet
    bool hasModeSet;
    uint8_t octetAlign;      // crc, robust-sorting and interleaving imply it
    uint8_t crc;
    uint8_t robustSorting;
    int32_t interleaving;    // -1 absent
    uint8_t modeChangePeriod;      // 0 absent
    uint8_t modeChangeCapability;  // 0 absent
    uint8_t modeChangeNeighbor;    // 0 absent
    int32_t maxRed;                // -1 absent
};
// Reads an AMR fmtp leniently: blanks around items, quoted values, keys in
// any case; unknown keys and bad mode numbers are passed over.
void parseAmr(Span params, bool wideBand, AmrParams *out);

// RFC 4733 events 0..255.
struct EventSet {
    uint32_t bits[8];
};
// "0-15,32" and the like; no text means the default 0-15.
void parseEvents(Span params, bool present, EventSet *out);

enum CodecKind : uint8_t { kPlain, kAmrNb, kAmrWb, kEvent, kComfortNoise };
CodecKind kindOf(Span name, uint32_t clock);

struct LocalCodec {
    Span name;
    uint32_t clock;
    uint32_t channels;  // at least 1
    Span fmtp;          // n == 0: none
    CodecKind kind;
    AmrParams amr;      // kAmrNb, kAmrWb
    EventSet events;    // kEvent
};

// Payloads of the local media that are looked at; a gateway offers ten.
constexpr uint32_t kMaxLocalCodecs = 32;

struct LocalMedia {
    CMedia *media;
    uint32_t port;
    uint32_t mediaType;   // ZvSdpMediaType
    uint32_t transport;   // ZvSdpTransportProtocol
    bool serves;          // supported, with a port
    uint8_t direction;    // kDirSendRecv when it has none
    uint32_t count;
    LocalCodec codecs[kMaxLocalCodecs];
};

class Builder;

// The two readers: 0, or 5 when not one m= line can be read.
uint32_t readText(const char *text, size_t length, Builder &builder);
uint32_t readMessage(struct RvSdpMsg *message, Builder &builder);

// The local media and the output: one per answer call, on the caller's stack.
class Builder {
public:
    Builder(char *buffer, uint32_t size);

    // Takes the local session (exactly one media) and, for a complete body,
    // writes v=, o=, s= and c=. 0, 5 (session values unusable), 8 (no
    // local media) or 12 (more than one).
    uint32_t start(CSdp *local, const ZvSdpAnswerSession *session);
    bool wantsBody() const { return body_; }
    // The offer's t= and r= lines, echoed into a complete body as RFC 3264
    // asks; endHeader writes "t=0 0" when the offer had none.
    void timeLine(Span startStop);
    void timeLine(uint64_t start, uint64_t stop);
    void repeatLine(Span text);
    void endHeader();
    // Answers one offered m-line.
    void media(const OfferMedia &offered, const OfferSession &session);
    // 0 with the text's length, or rc (the buffer then holds ""): 5 with the
    // whole text's length when the buffer is too small for it.
    uint32_t finish(uint32_t rc, uint32_t *length);

    // Write primitives, also for the readers' numbers.
    void put(const char *p, size_t n);
    void put(Span s) { put(s.p, s.n); }
    void put(const char *text);
    void putChar(char c) { put(&c, 1); }
    void putUint(uint64_t value);

private:
    uint32_t readLocal(CSdp *local);
    void reject(const OfferMedia &offered, const char *why);
    void localAttributes();

    char *buf_;
    uint32_t size_;
    size_t len_;
    bool body_;
    bool timeWritten_;
    bool served_;
    uint32_t index_;  // m-lines answered so far
    LocalMedia local_;
};

}  // namespace answer
}  // namespace zv
