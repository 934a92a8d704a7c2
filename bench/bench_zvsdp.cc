// What an answer costs the gateway: the stack's parse, the object model's
// parse, negotiation, printing and the whole cycle the host runs per offer,
// and the RFC 3264 answer that stands in for that cycle, on the offers in
// corpus/. Every case also reports the heap allocations it
// makes per operation; where osip2 is installed its parse + print of the same
// texts runs alongside as the baseline.
//
//   bench_zvsdp [benchmark flags]      the benchmarks
//   bench_zvsdp --one-cycle [offer]    one warm-up cycle, then one cycle in
//                                      zvbench_measured_cycle (for callgrind's
//                                      --toggle-collect)
//   bench_zvsdp --one-osip [offer]     the same for osip2 in zvbench_measured_osip
//   bench_zvsdp --one-answer [offer]   the same for the RFC 3264 answer from the
//                                      offer text in zvbench_measured_answer
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "rvsdp.h"
#include "zvsdp.h"
#include "zvubus.h"

#ifdef ZVSDP_HAVE_OSIP2
#include <osipparser2/osip_parser.h>
#include <osipparser2/sdp_message.h>
#endif

// ---- heap allocation count ---------------------------------------------------
// The executable's definitions take the place of the C library's for every
// shared library of the process, ours included.
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);
void __libc_free(void *);
}

namespace {
// Relaxed atomics: the benchmark library's own threads allocate too.
unsigned long g_allocations;

inline void counted()
{
    __atomic_add_fetch(&g_allocations, 1, __ATOMIC_RELAXED);
}

unsigned long allocations()
{
    return __atomic_load_n(&g_allocations, __ATOMIC_RELAXED);
}
}  // namespace

extern "C" {
void *malloc(size_t size)
{
    counted();
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size)
{
    counted();
    return __libc_calloc(count, size);
}

void *realloc(void *p, size_t size)
{
    counted();
    return __libc_realloc(p, size);
}

void *memalign(size_t alignment, size_t size)
{
    counted();
    return __libc_memalign(alignment, size);
}

void *aligned_alloc(size_t alignment, size_t size)
{
    counted();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void **out, size_t alignment, size_t size)
{
    counted();
    void *p = __libc_memalign(alignment, size);
    if (!p)
        return 12;  // ENOMEM
    *out = p;
    return 0;
}

void free(void *p)
{
    __libc_free(p);
}
}  // extern "C"

namespace {

// ---- corpus ------------------------------------------------------------------

struct Offer {
    std::string name;
    std::string text;
};

std::vector<Offer> loadCorpus()
{
    static const char *const kNames[] = {"basic", "gateway", "audio_video", "many_attributes"};
    std::vector<Offer> offers;
    for (const char *name : kNames) {
        std::string path = std::string(ZVSDP_BENCH_CORPUS) + "/" + name + ".sdp";
        FILE *f = fopen(path.c_str(), "rb");
        if (!f) {
            fprintf(stderr, "bench_zvsdp: cannot read %s\n", path.c_str());
            exit(1);
        }
        std::string text;
        char chunk[512];
        size_t n;
        while ((n = fread(chunk, 1, sizeof chunk, f)) > 0)
            text.append(chunk, n);
        fclose(f);
        offers.push_back({name, text});
    }
    return offers;
}

// ---- the host's side ---------------------------------------------------------

CSdp *g_local;  // the local capabilities, built once

// One audio stream as a gateway offers it: both AMR bands, G.711, G.729 and
// telephone events at both clock rates.
void buildLocal()
{
    zvUbusUseInProcess();  // the bus object needs no daemon here
    if (zvSdpAppInit(16) != ZVSDP_RC_OK || zvSdpConstruct(&g_local) != ZVSDP_RC_OK) {
        fprintf(stderr, "bench_zvsdp: initialisation failed\n");
        exit(1);
    }
    CMedia *audio = nullptr;
    zvSdpAddMediaDescriptor(g_local, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &audio);
    zvSdpMediaSetPort(audio, 16000);
    zvSdpMediaAddPayload(audio, 107, "AMR-WB", 16000, 1, "mode-set=0,1,2;octet-align=1", nullptr);
    zvSdpMediaAddPayload(audio, 106, "AMR", 8000, 1, "mode-set=0,2,4,7;octet-align=1", nullptr);
    zvSdpMediaAddPayload(audio, 8, "PCMA", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddPayload(audio, 0, "PCMU", 8000, 1, nullptr, nullptr);
    zvSdpMediaAddPayload(audio, 18, "G729", 8000, 1, "annexb=no", nullptr);
    zvSdpMediaAddPayload(audio, 96, "telephone-event", 8000, 1, "0-15", nullptr);
    zvSdpMediaAddPayload(audio, 108, "telephone-event", 16000, 1, "0-15", nullptr);
    zvSdpMediaAddAttribute(audio, "ptime", "20", nullptr);
    zvSdpMediaAddAttribute(audio, "sendrecv", nullptr, nullptr);
}

// The answer's text for one offer: 0, or the failing step's result code.
uint32_t fullCycle(const char *offer, char *answer, uint32_t *length)
{
    CSdp *remote = nullptr;
    CSdp *reply = nullptr;
    uint32_t rc = zvSdpConstructFromString(offer, &remote);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpConstruct(&reply);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, g_local, reply, 1);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpFilterTelephoneEventsForAdvertisedCodecs(reply);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpToString(reply, answer, length);
    if (reply)
        zvSdpDestruct(&reply);
    if (remote)
        zvSdpDestruct(&remote);
    return rc;
}

// The RFC 3264 answer of the offer text, which the host sends as it is.
uint32_t rfc3264Answer(const char *offer, char *answer, uint32_t *length)
{
    return zvSdpHelperAnswerOffer(offer, g_local, nullptr, answer, length);
}

// Reports allocations per iteration; call after the timed loop.
void reportAllocations(benchmark::State &state, unsigned long before)
{
    state.counters["allocs/op"] =
        benchmark::Counter(static_cast<double>(allocations() - before), benchmark::Counter::kAvgIterations);
}

// ---- cases -------------------------------------------------------------------

void stackParse(benchmark::State &state, const Offer *offer)
{
    RvSdpMsg msg;
    unsigned long before = allocations();
    for (auto _ : state) {
        uint32_t length = static_cast<uint32_t>(offer->text.size());
        int status = 0;
        benchmark::DoNotOptimize(rvSdpMsgConstructParse(&msg, offer->text.c_str(), &length, &status));
        if (status != RVSDP_OK)
            state.SkipWithError("parse failed");
        rvSdpMsgDestruct(&msg);
    }
    reportAllocations(state, before);
}

void constructFromString(benchmark::State &state, const Offer *offer)
{
    unsigned long before = allocations();
    for (auto _ : state) {
        CSdp *session = nullptr;
        if (zvSdpConstructFromString(offer->text.c_str(), &session) != ZVSDP_RC_OK)
            state.SkipWithError("zvSdpConstructFromString failed");
        zvSdpDestruct(&session);
    }
    reportAllocations(state, before);
}

// Negotiation alone: the offer is parsed once, each answer is built and freed.
void negotiate(benchmark::State &state, const Offer *offer)
{
    CSdp *remote = nullptr;
    if (zvSdpConstructFromString(offer->text.c_str(), &remote) != ZVSDP_RC_OK) {
        state.SkipWithError("zvSdpConstructFromString failed");
        return;
    }
    unsigned long before = allocations();
    for (auto _ : state) {
        CSdp *reply = nullptr;
        zvSdpConstruct(&reply);
        if (zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, g_local, reply, 1) != 0)
            state.SkipWithError("negotiation failed");
        zvSdpDestruct(&reply);
    }
    reportAllocations(state, before);
    zvSdpDestruct(&remote);
}

void toString(benchmark::State &state, const Offer *offer)
{
    CSdp *session = nullptr;
    if (zvSdpConstructFromString(offer->text.c_str(), &session) != ZVSDP_RC_OK) {
        state.SkipWithError("zvSdpConstructFromString failed");
        return;
    }
    char text[1024];
    unsigned long before = allocations();
    for (auto _ : state) {
        uint32_t length = sizeof text;
        zvSdpToString(session, text, &length);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    reportAllocations(state, before);
    zvSdpDestruct(&session);
}

// One answer per iteration into a buffer as large as a printed session:
// call(buffer, &length) is the host's work being measured.
template <class Call>
void answerEach(benchmark::State &state, const char *failure, Call call)
{
    char answer[1024];
    for (auto _ : state) {
        uint32_t length = sizeof answer;
        if (call(answer, &length) != ZVSDP_RC_OK)
            state.SkipWithError(failure);
        benchmark::DoNotOptimize(length);
    }
}

// The host's whole work per offer on one path (fullCycle, rfc3264Answer),
// with the heap calls it made.
template <uint32_t (*work)(const char *, char *, uint32_t *)>
void perOffer(benchmark::State &state, const Offer *offer)
{
    unsigned long before = allocations();
    answerEach(state, "answer failed",
               [offer](char *answer, uint32_t *length) { return work(offer->text.c_str(), answer, length); });
    reportAllocations(state, before);
}

// Host threads answering at once, each on sessions of its own against the
// one shared local session: cycles per second of all threads together,
// against wall time.
void hostThreads(benchmark::State &state, const Offer *offer)
{
    answerEach(state, "cycle failed",
               [offer](char *answer, uint32_t *length) { return fullCycle(offer->text.c_str(), answer, length); });
    state.SetItemsProcessed(state.iterations());
}

// The same from a stack message the host parsed once.
void answerMessage(benchmark::State &state, const Offer *offer)
{
    RvSdpMsg msg;
    uint32_t size = static_cast<uint32_t>(offer->text.size());
    int status = 0;
    rvSdpMsgConstructParse(&msg, offer->text.c_str(), &size, &status);
    unsigned long before = allocations();
    answerEach(state, "answer failed", [&msg](char *answer, uint32_t *length) {
        return zvSdpHelperAnswerRvOffer(&msg, g_local, nullptr, answer, length);
    });
    reportAllocations(state, before);
    rvSdpMsgDestruct(&msg);
}

#ifdef ZVSDP_HAVE_OSIP2
// osip2's parse + print, which is all its SDP support does.
int osipParsePrint(const char *text)
{
    sdp_message_t *sdp = nullptr;
    if (sdp_message_init(&sdp) != 0)
        return -1;
    int rc = sdp_message_parse(sdp, text);
    char *out = nullptr;
    if (rc == 0)
        rc = sdp_message_to_str(sdp, &out);
    osip_free(out);
    sdp_message_free(sdp);
    return rc;
}

void osipParse(benchmark::State &state, const Offer *offer)
{
    unsigned long before = allocations();
    for (auto _ : state)
        if (osipParsePrint(offer->text.c_str()) != 0)
            state.SkipWithError("osip2 failed");
    reportAllocations(state, before);
}
#endif

const Offer *findOffer(const std::vector<Offer> &offers, const char *name)
{
    for (const Offer &o : offers)
        if (o.name == name)
            return &o;
    fprintf(stderr, "bench_zvsdp: no offer named %s in the corpus\n", name);
    exit(2);
}

}  // namespace

// The single measured operation of --one-cycle / --one-osip; not inlined, so
// that callgrind can collect exactly it.
extern "C" __attribute__((noinline)) uint32_t zvbench_measured_cycle(const char *offer, char *answer,
                                                                    uint32_t *length)
{
    return fullCycle(offer, answer, length);
}

extern "C" __attribute__((noinline)) uint32_t zvbench_measured_answer(const char *offer, char *answer,
                                                                     uint32_t *length)
{
    return rfc3264Answer(offer, answer, length);
}

#ifdef ZVSDP_HAVE_OSIP2
extern "C" __attribute__((noinline)) int zvbench_measured_osip(const char *offer)
{
    return osipParsePrint(offer);
}
#endif

int main(int argc, char **argv)
{
    static std::vector<Offer> offers = loadCorpus();
    buildLocal();
#ifdef ZVSDP_HAVE_OSIP2
    parser_init();
#endif

    if (argc >= 2 && strcmp(argv[1], "--one-answer") == 0) {
        const Offer *offer = findOffer(offers, argc >= 3 ? argv[2] : "gateway");
        char answer[1024];
        uint32_t length = sizeof answer;
        rfc3264Answer(offer->text.c_str(), answer, &length);  // warm-up
        length = sizeof answer;
        unsigned long before = allocations();
        uint32_t rc = zvbench_measured_answer(offer->text.c_str(), answer, &length);
        unsigned long after = allocations();
        printf("%s: RFC 3264 answer rc %u, %lu heap allocations, answer:\n%.*s", offer->name.c_str(), rc,
               after - before, static_cast<int>(length), answer);
        return rc == 0 ? 0 : 1;
    }
    if (argc >= 2 && (strcmp(argv[1], "--one-cycle") == 0 || strcmp(argv[1], "--one-osip") == 0)) {
        const Offer *offer = findOffer(offers, argc >= 3 ? argv[2] : "gateway");
        bool osip = strcmp(argv[1], "--one-osip") == 0;
        char answer[1024];
        uint32_t length = sizeof answer;
        unsigned long before = 0, after = 0;
        uint32_t rc = 0;
        if (!osip) {
            fullCycle(offer->text.c_str(), answer, &length);  // warm-up
            length = sizeof answer;
            before = allocations();
            rc = zvbench_measured_cycle(offer->text.c_str(), answer, &length);
            after = allocations();
            printf("%s: full cycle rc %u, %lu heap allocations, answer:\n%.*s", offer->name.c_str(), rc,
                   after - before, static_cast<int>(length), answer);
        } else {
#ifdef ZVSDP_HAVE_OSIP2
            osipParsePrint(offer->text.c_str());  // warm-up
            before = allocations();
            rc = static_cast<uint32_t>(zvbench_measured_osip(offer->text.c_str()));
            after = allocations();
            printf("%s: osip2 parse + print rc %d, %lu heap allocations\n", offer->name.c_str(),
                   static_cast<int>(rc), after - before);
#else
            fprintf(stderr, "bench_zvsdp: built without osip2\n");
            return 2;
#endif
        }
        return rc == 0 ? 0 : 1;
    }

    for (const Offer &o : offers) {
        benchmark::RegisterBenchmark(("stack_parse/" + o.name).c_str(), stackParse, &o);
        benchmark::RegisterBenchmark(("construct_from_string/" + o.name).c_str(), constructFromString, &o);
        benchmark::RegisterBenchmark(("negotiate/" + o.name).c_str(), negotiate, &o);
        benchmark::RegisterBenchmark(("to_string/" + o.name).c_str(), toString, &o);
        benchmark::RegisterBenchmark(("full_cycle/" + o.name).c_str(), perOffer<fullCycle>, &o);
        if (o.name == "gateway")
            benchmark::RegisterBenchmark(("host_threads/" + o.name).c_str(), hostThreads, &o)
                ->Threads(1)
                ->Threads(2)
                ->Threads(4)
                ->UseRealTime();
        benchmark::RegisterBenchmark(("answer_rfc3264/" + o.name).c_str(), perOffer<rfc3264Answer>, &o);
        benchmark::RegisterBenchmark(("answer_rfc3264_message/" + o.name).c_str(), answerMessage, &o);
#ifdef ZVSDP_HAVE_OSIP2
        benchmark::RegisterBenchmark(("osip2_parse_print/" + o.name).c_str(), osipParse, &o);
#endif
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    zvSdpDestruct(&g_local);
    zvSdpAppDestroy();
    return 0;
}
