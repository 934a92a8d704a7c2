// The offerer's side of RFC 3264: what it expects of an answer, judged on the
// two texts alone. Deliberately plain and separate from the library: its own
// line reader, its own table of static payload types, its own parameter
// readers.
#include "rfc3264_checker.h"

#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

namespace rfc3264 {

namespace {

std::string lower(std::string s)
{
    for (char &c : s)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return s;
}

std::string trim(const std::string &s)
{
    size_t b = s.find_first_not_of(" \t");
    if (b == std::string::npos)
        return "";
    size_t e = s.find_last_not_of(" \t");
    return s.substr(b, e - b + 1);
}

std::vector<std::string> words(const std::string &s)
{
    std::vector<std::string> out;
    std::istringstream in(s);
    std::string w;
    while (in >> w)
        out.push_back(w);
    return out;
}

std::vector<std::string> split(const std::string &s, char sep)
{
    std::vector<std::string> out;
    size_t start = 0;
    for (;;) {
        size_t end = s.find(sep, start);
        out.push_back(trim(s.substr(start, end == std::string::npos ? std::string::npos : end - start)));
        if (end == std::string::npos)
            return out;
        start = end + 1;
    }
}

// A decimal number, or -1.
long num(const std::string &s)
{
    if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != std::string::npos)
        return -1;
    return std::strtol(s.c_str(), nullptr, 10);
}

struct Codec {
    std::string name;  // lower case
    long clock = -1;
    long channels = 1;
    bool operator==(const Codec &o) const { return name == o.name && clock == o.clock && channels == o.channels; }
    bool operator!=(const Codec &o) const { return !(*this == o); }
};

struct Section {
    std::string type, proto;
    long port = -1;
    std::vector<std::string> formats;
    std::multimap<long, Codec> rtpmaps;
    std::map<long, std::vector<std::string>> fmtps;
    std::vector<std::string> lines;  // every line after the m-line
    std::vector<std::string> directions;
    bool hasConnection = false;
    std::string connection;
};

struct Description {
    std::vector<std::string> directions;
    std::string connection;
    std::vector<Section> media;
};

bool isDirection(const std::string &s)
{
    return s == "sendrecv" || s == "sendonly" || s == "recvonly" || s == "inactive";
}

Description read(const std::string &text)
{
    Description d;
    Section *current = nullptr;
    bool skipping = false;
    std::string line;
    auto flush = [&]() {
        std::string t = trim(line);
        line.clear();
        if (t.size() < 2 || t[1] != '=')
            return;
        char kind = t[0];
        std::string v = t.substr(2);
        if (kind == 'm') {
            std::vector<std::string> w = words(v);
            skipping = w.size() < 3;
            if (skipping)
                return;
            d.media.emplace_back();
            current = &d.media.back();
            current->type = w[0];
            current->port = num(w[1].substr(0, w[1].find('/')));
            if (current->port > 65535)
                current->port = -1;
            current->proto = w[2];
            current->formats.assign(w.begin() + 3, w.end());
            return;
        }
        if (skipping)
            return;
        if (current)
            current->lines.push_back(t);
        if (kind == 'c') {
            std::vector<std::string> w = words(v);
            std::string address = w.size() >= 3 ? w[2] : "";
            if (current) {
                current->hasConnection = true;
                current->connection = address;
            } else {
                d.connection = address;
            }
            return;
        }
        if (kind != 'a')
            return;
        size_t colon = v.find(':');
        std::string name = trim(v.substr(0, colon));
        std::string value = colon == std::string::npos ? "" : v.substr(colon + 1);
        if (colon == std::string::npos && isDirection(name)) {
            (current ? current->directions : d.directions).push_back(name);
            return;
        }
        if (!current)
            return;
        std::vector<std::string> w = words(value);
        if (name == "rtpmap" && w.size() >= 2 && num(w[0]) >= 0) {
            std::vector<std::string> parts = split(w[1], '/');
            Codec c;
            c.name = lower(parts[0]);
            c.clock = parts.size() >= 2 ? num(parts[1]) : -1;
            c.channels = parts.size() >= 3 ? num(parts[2]) : 1;
            current->rtpmaps.emplace(num(w[0]), c);
        } else if (name == "fmtp" && !w.empty() && num(w[0]) >= 0) {
            size_t at = value.find(w[0]) + w[0].size();
            current->fmtps[num(w[0])].push_back(trim(value.substr(at)));
        }
    };
    for (char c : text) {
        if (c == '\r' || c == '\n')
            flush();
        else
            line += c;
    }
    flush();
    return d;
}

// RFC 3551's static payload types.
bool staticCodec(long pt, Codec *out)
{
    static const std::map<long, Codec> table = {
        {0, {"pcmu", 8000, 1}},    {3, {"gsm", 8000, 1}},     {4, {"g723", 8000, 1}},   {5, {"dvi4", 8000, 1}},
        {6, {"dvi4", 16000, 1}},   {7, {"lpc", 8000, 1}},     {8, {"pcma", 8000, 1}},   {9, {"g722", 8000, 1}},
        {10, {"l16", 44100, 2}},   {11, {"l16", 44100, 1}},   {12, {"qcelp", 8000, 1}}, {13, {"cn", 8000, 1}},
        {14, {"mpa", 90000, 1}},   {15, {"g728", 8000, 1}},   {16, {"dvi4", 11025, 1}}, {17, {"dvi4", 22050, 1}},
        {18, {"g729", 8000, 1}},   {25, {"celb", 90000, 1}},  {26, {"jpeg", 90000, 1}}, {28, {"nv", 90000, 1}},
        {31, {"h261", 90000, 1}},  {32, {"mpv", 90000, 1}},   {33, {"mp2t", 90000, 1}}, {34, {"h263", 90000, 1}},
    };
    auto it = table.find(pt);
    if (it == table.end())
        return false;
    *out = it->second;
    return true;
}

// The one codec a section gives a payload number, if it gives one.
bool codecOf(const Section &s, long pt, Codec *out)
{
    auto range = s.rtpmaps.equal_range(pt);
    if (range.first == range.second)
        return pt < 96 && staticCodec(pt, out);
    for (auto it = range.first; it != range.second; ++it)
        if (it->second != range.first->second)
            return false;
    *out = range.first->second;
    return out->clock > 0 && out->channels > 0;
}

std::string fmtpOf(const Section &s, long pt)
{
    auto it = s.fmtps.find(pt);
    return it == s.fmtps.end() || it->second.empty() ? "" : it->second[0];
}

bool hasFmtp(const Section &s, long pt)
{
    return s.fmtps.count(pt) != 0;
}

bool isEvent(const Codec &c) { return c.name == "telephone-event"; }
bool isNoise(const Codec &c) { return c.name == "cn"; }
bool isAmr(const Codec &c) { return (c.name == "amr" && c.clock == 8000) || (c.name == "amr-wb" && c.clock == 16000); }

struct Amr {
    bool restricted = false;
    std::set<long> modes;
    long octetAlign = 0;
    bool hasCapability = false;
    std::string capability;
};

Amr amrOf(const std::string &fmtp)
{
    Amr a;
    for (const std::string &item : split(fmtp, ';')) {
        size_t eq = item.find('=');
        if (eq == std::string::npos)
            continue;
        std::string key = lower(trim(item.substr(0, eq)));
        std::string value = trim(item.substr(eq + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = trim(value.substr(1, value.size() - 2));
        if (key == "mode-set") {
            a.restricted = true;
            for (const std::string &m : split(value, ','))
                if (num(m) >= 0)
                    a.modes.insert(num(m));
        } else if (key == "octet-align") {
            a.octetAlign = num(value) == 1 ? 1 : 0;
        } else if (key == "mode-change-capability") {
            a.hasCapability = true;
            a.capability = value;
        }
    }
    return a;
}

std::set<long> allModes(const Codec &c)
{
    std::set<long> all;
    for (long m = 0; m <= (c.name == "amr" ? 7 : 8); ++m)
        all.insert(m);
    return all;
}

std::set<long> modesOf(const Amr &a, const Codec &c)
{
    return a.restricted ? a.modes : allModes(c);
}

bool subset(const std::set<long> &a, const std::set<long> &b)
{
    for (long x : a)
        if (!b.count(x))
            return false;
    return true;
}

bool meet(const std::set<long> &a, const std::set<long> &b)
{
    for (long x : a)
        if (b.count(x))
            return true;
    return false;
}

// RFC 4733 events; no fmtp means 0-15.
std::set<long> eventsOf(const Section &s, long pt)
{
    std::set<long> out;
    std::string text = fmtpOf(s, pt);
    if (!hasFmtp(s, pt) || text.empty()) {
        for (long e = 0; e <= 15; ++e)
            out.insert(e);
        return out;
    }
    for (const std::string &item : split(text, ',')) {
        size_t dash = item.find('-');
        long first = num(trim(item.substr(0, dash)));
        long last = dash == std::string::npos ? first : num(trim(item.substr(dash + 1)));
        for (long e = first; first >= 0 && e <= last && e <= 255; ++e)
            out.insert(e);
    }
    return out;
}

struct LocalCodec {
    Codec codec;
    long pt;
};

std::vector<LocalCodec> localCodecs(const Section &local)
{
    std::vector<LocalCodec> out;
    for (const std::string &f : local.formats) {
        Codec c;
        if (num(f) >= 0 && codecOf(local, num(f), &c))
            out.push_back({c, num(f)});
    }
    return out;
}

const LocalCodec *findLocal(const std::vector<LocalCodec> &local, const Codec &c)
{
    for (const LocalCodec &l : local)
        if (l.codec == c)
            return &l;
    return nullptr;
}

// Whether an offered AMR payload could be answered by the local one.
bool amrFits(const Section &offered, long pt, const Section &localSection, const LocalCodec &local)
{
    Amr o = amrOf(fmtpOf(offered, pt));
    Amr l = amrOf(fmtpOf(localSection, local.pt));
    return o.octetAlign == l.octetAlign && meet(modesOf(o, local.codec), modesOf(l, local.codec));
}

// The checker's own view of whether a stream could be served: some offered
// codec other than telephone-event and CN that the local side has.
bool servable(const Section &offered, const Section &localSection, const std::vector<LocalCodec> &local)
{
    if (offered.port <= 0 || localSection.port <= 0 || lower(offered.type) != lower(localSection.type) ||
        lower(offered.proto) != lower(localSection.proto))
        return false;
    for (const std::string &f : offered.formats) {
        Codec c;
        if (num(f) < 0 || num(f) > 127 || !codecOf(offered, num(f), &c) || isEvent(c) || isNoise(c))
            continue;
        const LocalCodec *l = findLocal(local, c);
        if (l && (!isAmr(c) || amrFits(offered, num(f), localSection, *l)))
            return true;
    }
    return false;
}

std::string effectiveDirection(const Description &d, const Section &s)
{
    std::string dir = !s.directions.empty() ? s.directions.back()
                      : !d.directions.empty() ? d.directions.back()
                                              : "sendrecv";
    std::string address = s.hasConnection ? s.connection : d.connection;
    if (address == "0.0.0.0")  // an RFC 2543 hold: nothing is received
        dir = dir == "sendrecv" ? "sendonly" : dir == "recvonly" ? "inactive" : dir;
    return dir;
}

bool directionFits(const std::string &offered, const std::string &answered)
{
    if (offered == "sendonly")
        return answered == "recvonly" || answered == "inactive";
    if (offered == "recvonly")
        return answered == "sendonly" || answered == "inactive";
    if (offered == "inactive")
        return answered == "inactive";
    return true;
}

}  // namespace

size_t mediaLineCount(const std::string &text)
{
    return read(text).media.size();
}

bool hasAudio(const std::string &text)
{
    for (const Section &s : read(text).media)
        if (lower(s.type) == "audio")
            return true;
    return false;
}

std::vector<std::string> judge(const std::string &offerText, const std::string &answerText,
                               const std::string &localText)
{
    std::vector<std::string> defects;
    Description offer = read(offerText), answer = read(answerText), localSdp = read(localText);
    if (localSdp.media.size() != 1)
        return {"the local capabilities must hold one media"};
    const Section &localSection = localSdp.media[0];
    std::vector<LocalCodec> local = localCodecs(localSection);
    if (answer.media.size() != offer.media.size())
        defects.push_back(std::to_string(answer.media.size()) + " m-lines answer " +
                          std::to_string(offer.media.size()) + " offered ones");
    size_t firstServable = offer.media.size();
    for (size_t i = 0; i < offer.media.size() && firstServable == offer.media.size(); ++i)
        if (servable(offer.media[i], localSection, local))
            firstServable = i;

    bool served = false;
    for (size_t i = 0; i < offer.media.size() && i < answer.media.size(); ++i) {
        const Section &o = offer.media[i], &a = answer.media[i];
        auto bad = [&](const std::string &what) { defects.push_back("m-line " + std::to_string(i + 1) + ": " + what); };
        if (lower(a.type) != lower(o.type))
            bad("media type " + a.type + " answers " + o.type);
        if (lower(a.proto) != lower(o.proto))
            bad("transport " + a.proto + " answers " + o.proto);
        if (a.formats.empty())
            bad("no format");
        if (a.port == 0) {
            if (!o.formats.empty() && (a.formats.size() != 1 || a.formats[0] != o.formats[0]))
                bad("rejected without the first offered format alone");
            if (!a.lines.empty())
                bad("rejected line with lines of its own");
            if (i == firstServable)
                bad("rejects a stream the local capabilities serve");
            continue;
        }
        if (a.port < 0)
            bad("no usable port");
        if (o.port == 0)
            bad("answers a stream the offer rejected");
        if (lower(o.type) != lower(localSection.type) || lower(o.proto) != lower(localSection.proto))
            bad("serves another media type or transport than the local one");
        if (served)
            bad("a second served stream");
        if (i != firstServable)
            bad("serves a stream other than the first one that can be served");
        served = true;

        std::set<long> listed, voiceRates;
        std::vector<std::pair<long, Codec>> events;
        for (const std::string &f : a.formats) {
            long pt = num(f);
            if (pt < 0 || pt > 127) {
                bad("format " + f + " is no payload type");
                continue;
            }
            if (!listed.insert(pt).second)
                bad("payload " + f + " listed twice");
            bool offered = false;
            for (const std::string &of : o.formats)
                offered = offered || num(of) == pt;
            if (!offered)
                bad("payload " + f + " is not offered");
            Codec oc, ac;
            if (!codecOf(o, pt, &oc)) {
                bad("payload " + f + " names no single codec in the offer");
                continue;
            }
            if (!codecOf(a, pt, &ac) || ac != oc)
                bad("payload " + f + " is another codec than in the offer");
            const LocalCodec *l = findLocal(local, oc);
            if (!l) {
                bad("codec " + oc.name + "/" + std::to_string(oc.clock) + " is not a local one");
                continue;
            }
            if (isEvent(oc)) {
                events.emplace_back(pt, oc);
                if (!subset(eventsOf(a, pt), eventsOf(o, pt)) || !subset(eventsOf(a, pt), eventsOf(localSection, l->pt)))
                    bad("telephone events beyond those of both sides");
                continue;
            }
            if (!isNoise(oc))
                voiceRates.insert(oc.clock);
            if (!isAmr(oc))
                continue;
            Amr oa = amrOf(fmtpOf(o, pt)), aa = amrOf(fmtpOf(a, pt)), la = amrOf(fmtpOf(localSection, l->pt));
            if (oa.restricted && !aa.restricted)
                bad("AMR without mode-set answers a restricted mode-set");
            if (!subset(modesOf(aa, oc), modesOf(oa, oc)) || !subset(modesOf(aa, oc), modesOf(la, oc)))
                bad("AMR modes beyond those of both sides");
            if (aa.restricted && aa.modes.empty())
                bad("AMR with an empty mode-set");
            if (aa.octetAlign != oa.octetAlign || aa.octetAlign != la.octetAlign)
                bad("AMR octet-align differs between the sides");
            if (aa.hasCapability && aa.capability != "1" && aa.capability != "2")
                bad("AMR mode-change-capability=" + aa.capability);
        }
        for (const auto &e : events)
            if (!voiceRates.count(e.second.clock))
                bad("telephone-event at " + std::to_string(e.second.clock) + " beside no codec of that rate");
        if (voiceRates.empty())
            bad("served without a codec");
        for (const auto &f : a.fmtps)
            if (!listed.count(f.first))
                bad("fmtp for payload " + std::to_string(f.first) + " that is not listed");
        if (a.directions.size() > 1)
            bad("more than one direction");
        std::string answered = a.directions.empty() ? (answer.directions.empty() ? "sendrecv" : answer.directions.back())
                                                    : a.directions[0];
        std::string offered = effectiveDirection(offer, o);
        if (!directionFits(offered, answered))
            bad(answered + " answers " + offered);
    }
    return defects;
}

}  // namespace rfc3264
