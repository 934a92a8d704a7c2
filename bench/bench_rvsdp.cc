// Call-setup costs of the SDP stack: parsing a phone's offer, encoding it,
// and parsing the media-only text the gateway prints itself.
//
//   bench_rvsdp [benchmark flags]     the benchmarks
//   bench_rvsdp --one-parse [file]    one warm-up parse of the file (default:
//                                     corpus/gateway.sdp), then one parse in
//                                     zvbench_rvsdp_parse (for callgrind's
//                                     --toggle-collect)
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <string.h>

#include <string>

#include "rvsdp.h"

namespace {

// An offer as a SIP phone sends it, about 600 bytes.
const char kOffer[] =
    "v=0\r\n"
    "o=user1 53655765 2353687637 IN IP4 192.0.2.10\r\n"
    "s=Talk\r\n"
    "c=IN IP4 192.0.2.10\r\n"
    "t=0 0\r\n"
    "m=audio 4000 RTP/AVP 96 97 9 8 0 18 101\r\n"
    "b=TIAS:64000\r\n"
    "a=rtcp:4001 IN IP4 192.0.2.10\r\n"
    "a=sendrecv\r\n"
    "a=rtpmap:96 AMR-WB/16000\r\n"
    "a=fmtp:96 octet-align=1;mode-change-capability=2\r\n"
    "a=rtpmap:97 AMR/8000/1\r\n"
    "a=fmtp:97 mode-set=0,2,5,7;octet-align=1\r\n"
    "a=rtpmap:9 G722/8000\r\n"
    "a=rtpmap:8 PCMA/8000\r\n"
    "a=rtpmap:0 PCMU/8000\r\n"
    "a=rtpmap:18 G729/8000\r\n"
    "a=fmtp:18 annexb=no\r\n"
    "a=rtpmap:101 telephone-event/8000\r\n"
    "a=fmtp:101 0-15\r\n"
    "a=ptime:20\r\n"
    "m=image 0 udptl t38\r\n"
    "a=T38FaxVersion:0\r\n"
    "a=T38MaxBitRate:14400\r\n";

const char kMediaOnly[] =
    "m=audio 0 RTP/AVP 8 101\n"
    "a=rtpmap:101 telephone-event/8000\n"
    "a=fmtp:101 0-15\n"
    "a=sendrecv\n"
    "a=ptime:20\n"
    "m=image 0 udptl t38\n";

void parse(benchmark::State &state, const char *text) {
    const uint32_t size = static_cast<uint32_t>(strlen(text));
    RvSdpMsg msg;
    for (auto _ : state) {
        uint32_t length = size;
        int status;
        benchmark::DoNotOptimize(rvSdpMsgConstructParse(&msg, text, &length, &status));
        if (status != RVSDP_OK) state.SkipWithError("parse failed");
        rvSdpMsgDestruct(&msg);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
}

void BM_ParseOffer(benchmark::State &state) { parse(state, kOffer); }
BENCHMARK(BM_ParseOffer);

void BM_ParseMediaOnly(benchmark::State &state) { parse(state, kMediaOnly); }
BENCHMARK(BM_ParseMediaOnly);

void BM_EncodeOffer(benchmark::State &state) {
    RvSdpMsg msg;
    rvSdpMsgConstructParse(&msg, kOffer, nullptr, nullptr);
    char buf[1024];
    for (auto _ : state) {
        int n = rvSdpMsgEncodeToBuf(&msg, buf, sizeof buf);
        benchmark::DoNotOptimize(n);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            rvSdpMsgEncodeToBuf(&msg, nullptr, 0));
    rvSdpMsgDestruct(&msg);
}
BENCHMARK(BM_EncodeOffer);

// Reading what the object model reads: every format, rtpmap and fmtp.
void BM_WalkOffer(benchmark::State &state) {
    RvSdpMsg msg;
    rvSdpMsgConstructParse(&msg, kOffer, nullptr, nullptr);
    for (auto _ : state) {
        long sum = 0;
        RvSdpList *media = rvSdpMsgGetMediaDescrList(&msg);
        for (void *it = rvSdpListGetFirst(media); it; it = rvSdpListGetNext(media, it)) {
            auto *d = static_cast<RvSdpMediaDescr *>(it);
            for (int i = 0; i < rvSdpMediaDescrGetNumOfPayloads(d); ++i) {
                int pt = rvSdpMediaDescrGetPayload(d, i);
                size_t n = rvSdpGetNumOfSpecialAttr(d, RVSDP_SPEC_ATTR_RTPMAP);
                for (size_t k = 0; k < n; ++k) {
                    RvSdpRtpMap *r = rvSdpGetSpecialAttr(d, k, RVSDP_SPEC_ATTR_RTPMAP);
                    if (rvSdpRtpMapGetPayload(r) == pt) sum += rvSdpRtpMapGetClockRate(r);
                }
                sum += static_cast<long>(rvSdpGetNumOfSpecialAttr(d, RVSDP_SPEC_ATTR_FMTP));
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    rvSdpMsgDestruct(&msg);
}
BENCHMARK(BM_WalkOffer);

}  // namespace

extern "C" __attribute__((noinline)) int zvbench_rvsdp_parse(RvSdpMsg *msg, const char *text, uint32_t length) {
    int status = RVSDP_ERROR;
    rvSdpMsgConstructParse(msg, text, &length, &status);
    return status;
}

int main(int argc, char **argv) {
    if (argc >= 2 && strcmp(argv[1], "--one-parse") == 0) {
        std::string path = argc >= 3 ? argv[2] : ZVSDP_BENCH_CORPUS "/gateway.sdp";
        FILE *f = fopen(path.c_str(), "rb");
        if (!f) {
            fprintf(stderr, "bench_rvsdp: cannot read %s\n", path.c_str());
            return 2;
        }
        std::string text;
        char buf[4096];
        for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;) text.append(buf, n);
        fclose(f);
        static RvSdpMsg msg;
        const uint32_t length = static_cast<uint32_t>(text.size());
        uint32_t warm = length;
        rvSdpMsgConstructParse(&msg, text.c_str(), &warm, nullptr);  // warm-up, not collected
        rvSdpMsgDestruct(&msg);
        int status = zvbench_rvsdp_parse(&msg, text.c_str(), length);
        printf("%s: %u bytes, status %d, %zu media\n", path.c_str(), length, status,
               rvSdpMsgGetNumOfMediaDescr(&msg));
        rvSdpMsgDestruct(&msg);
        return status == RVSDP_OK ? 0 : 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
