// Format parameters as the answerer needs them: the AMR parameters that
// RFC 4867 negotiates and the telephone events of RFC 4733, read leniently
// because real offers write them in every style.
#include <string.h>
#include <strings.h>

#include "answer.h"

namespace zv {
namespace answer {

namespace {

bool keyIs(Span key, const char *word)
{
    size_t n = strlen(word);
    return key.n == n && strncasecmp(key.p, word, n) == 0;
}

// Calls piece(text) for every piece of a list cut at each separator, blanks
// trimmed.
template <typename F>
void forEachPiece(Span list, char separator, F piece)
{
    const char *p = list.p, *end = list.p + list.n;
    while (p < end) {
        const char *stop = static_cast<const char *>(memchr(p, separator, static_cast<size_t>(end - p)));
        if (!stop)
            stop = end;
        piece(trimmed(span(p, static_cast<size_t>(stop - p))));
        p = stop + 1;
    }
}

// Calls item(key, value) for every "key=value" of a ';'-separated list, with
// blanks trimmed and quotes taken off the value.
template <typename F>
void forEachItem(Span params, F item)
{
    forEachPiece(params, ';', [&](Span piece) {
        const char *eq = static_cast<const char *>(memchr(piece.p, '=', piece.n));
        if (!eq)
            return;
        Span key = trimmed(span(piece.p, static_cast<size_t>(eq - piece.p)));
        Span value = trimmed(span(eq + 1, static_cast<size_t>(piece.p + piece.n - eq - 1)));
        if (value.n >= 2 && value.p[0] == '"' && value.p[value.n - 1] == '"')
            value = trimmed(span(value.p + 1, value.n - 2));
        item(key, value);
    });
}

uint8_t flag(Span value)
{
    int32_t n = number(value);
    return n == 1 ? 1 : 0;
}

void setEvent(EventSet *set, int32_t event)
{
    set->bits[event >> 5] |= 1u << (event & 31);
}

}  // namespace

void parseAmr(Span params, bool wideBand, AmrParams *out)
{
    memset(out, 0, sizeof *out);
    out->interleaving = -1;
    out->maxRed = -1;
    const int32_t highest = wideBand ? 8 : 7;
    forEachItem(params, [&](Span key, Span value) {
        if (keyIs(key, "mode-set")) {
            out->hasModeSet = true;
            out->modes = 0;
            forEachPiece(value, ',', [&](Span mode) {
                int32_t n = number(mode);
                if (n >= 0 && n <= highest)
                    out->modes = static_cast<uint16_t>(out->modes | (1u << n));
            });
        } else if (keyIs(key, "octet-align")) {
            out->octetAlign = flag(value);
        } else if (keyIs(key, "crc")) {
            out->crc = flag(value);
        } else if (keyIs(key, "robust-sorting")) {
            out->robustSorting = flag(value);
        } else if (keyIs(key, "interleaving")) {
            out->interleaving = number(value);
        } else if (keyIs(key, "mode-change-period")) {
            out->modeChangePeriod = number(value) == 2 ? 2 : 0;
        } else if (keyIs(key, "mode-change-capability")) {
            int32_t n = number(value);
            out->modeChangeCapability = n == 1 || n == 2 ? static_cast<uint8_t>(n) : 0;
        } else if (keyIs(key, "mode-change-neighbor")) {
            out->modeChangeNeighbor = flag(value);
        } else if (keyIs(key, "max-red")) {
            out->maxRed = number(value);
        }
    });
    // Each of these works on octet-aligned payloads only (RFC 4867 8.1).
    if (out->crc || out->robustSorting || out->interleaving >= 0)
        out->octetAlign = 1;
}

void parseEvents(Span params, bool present, EventSet *out)
{
    memset(out, 0, sizeof *out);
    params = trimmed(params);
    if (!present || params.n == 0) {
        out->bits[0] = 0xFFFF;  // 0-15, RFC 4733's default
        return;
    }
    forEachPiece(params, ',', [&](Span item) {
        const char *dash = static_cast<const char *>(memchr(item.p, '-', item.n));
        int32_t first = number(trimmed(dash ? span(item.p, static_cast<size_t>(dash - item.p)) : item));
        int32_t last = dash ? number(trimmed(span(dash + 1, static_cast<size_t>(item.p + item.n - dash - 1)))) : first;
        if (first < 0 || last < first || last > 255)
            return;
        for (int32_t e = first; e <= last; ++e)
            setEvent(out, e);
    });
}

CodecKind kindOf(Span name, uint32_t clock)
{
    if (keyIs(name, "telephone-event"))
        return kEvent;
    if (keyIs(name, "CN"))
        return kComfortNoise;
    if (keyIs(name, "AMR") && clock == 8000)
        return kAmrNb;
    if (keyIs(name, "AMR-WB") && clock == 16000)
        return kAmrWb;
    return kPlain;
}

}  // namespace answer
}  // namespace zv
