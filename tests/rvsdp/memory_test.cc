#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "rvsdp.h"
#include "rvsdp_test_util.h"

using rvtest::Parsed;

namespace {

// Repeats `line` to fill `size` bytes (the last copy cut short).
std::string fill(const std::string &line, size_t size, const std::string &head = "") {
    std::string out = head;
    while (out.size() < size) out += line;
    out.resize(size);
    return out;
}

// The densest texts for each kind of item: these decide whether the record's
// own storage is enough for any text of up to 1023 bytes.
std::vector<std::string> densestTexts(size_t size) {
    std::string fullMLine = "m=a 0 b";
    for (int i = 0; i < RVSDP_MAX_FORMATS; ++i) fullMLine += " 0";
    std::string shortMedia;
    for (int i = 0; i < RVSDP_MAX_MEDIA; ++i) shortMedia += "m=a 0 b\n";
    // Every media description there may be, sharing the rest as formats.
    std::string spread;
    size_t perMedia = (size - RVSDP_MAX_MEDIA * 8) / 2 / RVSDP_MAX_MEDIA + 1;
    for (int i = 0; i < RVSDP_MAX_MEDIA; ++i) {
        spread += "m=a 0 b";
        for (size_t f = 0; f < perMedia; ++f) spread += " 0";
        spread += "\n";
    }
    spread.resize(size);
    return {
        spread,
        fill("a=x\n", size),
        fill("a=x:\n", size),
        fill("a=rtpmap:0 x\n", size),
        fill("a=rtpmap:0 x/1/2\n", size),
        fill("a=fmtp:0\n", size),
        fill("m=a 0 b\n", size),
        fill(" 0", size, "m=a 0 b"),
        fill(fullMLine + "\n", size),
        fill("t=0 0\n", size),
        fill("r=x\n", size, "t=0 0\n"),
        fill("c=I I x\n", size),
        fill("b=A:1\n", size),
        fill("e=x\n", size),
        fill("a=x\n", size, shortMedia),
        fill(" 0", size, shortMedia + "m=a 0 b"),
        fill("c=I I x\n", size, shortMedia),
        fill("b=A:1\n", size, shortMedia),
        fill("a=rtpmap:0 x\n", size, shortMedia),
        fill("a=x\r\n", size),
        fill("a=x\n", size, "v=0\no=a b c d e f\ns=" + std::string(200, 's') + "\n"),
    };
}

}  // namespace

TEST(RvSdpManager, ConstructIsCounted) {
    EXPECT_EQ(RvSdpMgrConstruct(), 0);
    EXPECT_EQ(RvSdpMgrConstruct(), 0);
    EXPECT_EQ(RvSdpMgrDestruct(), 0);
    EXPECT_EQ(RvSdpMgrDestruct(), 0);
    EXPECT_EQ(RvSdpMgrDestruct(), RVSDP_ERROR);
    EXPECT_EQ(RvSdpMgrConstruct(), 0);  // start and stop may be repeated
    EXPECT_EQ(RvSdpMgrDestruct(), 0);
}

TEST(RvSdpMemory, DestructIsSafeOnAnyStateAndTwice) {
    RvSdpMsg m;
    memset(&m, 0, sizeof m);
    rvSdpMsgDestruct(&m);  // zero-filled, never constructed
    rvSdpMsgDestruct(nullptr);

    uint32_t len = 5;
    int status = 0;
    EXPECT_EQ(rvSdpMsgConstructParse(&m, "junk!", &len, &status), nullptr);
    EXPECT_EQ(status, RVSDP_PARSE_NOT_SDP);
    rvSdpMsgDestruct(&m);
    rvSdpMsgDestruct(&m);

    std::string big = fill("a=xxxxxxxx:yyyyyyyy\n", 100000);
    len = uint32_t(big.size());
    rvSdpMsgConstructParse(&m, big.data(), &len, &status);
    EXPECT_GT(rvSdpMsgGetHeapSize(&m), 0u);
    rvSdpMsgDestruct(&m);  // the sanitizer's leak check holds us to this
    EXPECT_EQ(rvSdpMsgGetHeapSize(&m), 0u);
    rvSdpMsgDestruct(&m);
    // A destructed message reads as empty, not as stale items.
    EXPECT_EQ(rvSdpMsgGetNumOfMediaDescr(&m), 0u);
    EXPECT_EQ(rvSdpMsgGetAttributeList(&m), nullptr);
}

TEST(RvSdpMemory, TextsUpTo1023BytesNeverUseTheHeap) {
    for (size_t size : {size_t(300), size_t(RVSDP_NOHEAP_TEXT_LEN)}) {
        for (const std::string &text : densestTexts(size)) {
            Parsed p(text);
            EXPECT_NE(p.status, RVSDP_PARSE_NOT_SDP) << text.substr(0, 40);
            EXPECT_EQ(rvSdpMsgGetHeapSize(&p.msg), 0u) << text.substr(0, 40);
        }
    }
    // Random mixtures of short lines.
    const char *pieces[] = {"a=x\n", "m=a 0 b", " 0", " t38", "\n", "a=rtpmap:0 x/1\n", "t=0 0\n",
                            "r=x\n", "c=I I x\n", "b=A:1\n", "a=fmtp:0\n", "\r\n", "e=\n",
                            "a=x:\n", "i=\n"};
    std::mt19937 rng(1234);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        while (text.size() < RVSDP_NOHEAP_TEXT_LEN)
            text += pieces[rng() % (sizeof pieces / sizeof pieces[0])];
        text.resize(RVSDP_NOHEAP_TEXT_LEN);
        Parsed p(text);
        ASSERT_EQ(rvSdpMsgGetHeapSize(&p.msg), 0u) << text;
    }
}

TEST(RvSdpMemory, HeapGrowsWithinTheDocumentedBound) {
    for (size_t size : {size_t(1024), size_t(5000), size_t(200000)}) {
        for (const std::string &text : densestTexts(size)) {
            Parsed p(text);
            size_t heap = rvSdpMsgGetHeapSize(&p.msg);
            EXPECT_LE(heap, RVSDP_HEAP_PER_BYTE * size + RVSDP_CHUNK_SIZE) << text.substr(0, 40);
        }
    }
    // One long line beyond the chunk size gets storage of its own.
    Parsed p("a=x:" + std::string(RVSDP_MAX_LINE_LEN - 4, 'v') + "\n" + fill("a=x\n", 2000));
    EXPECT_EQ(p.status, RVSDP_OK);
    EXPECT_EQ(rvSdpListGetSize(rvSdpMsgGetAttributeList(&p.msg)), 501u);
    EXPECT_EQ(strlen(rvSdpAttributeGetValue(
                  static_cast<RvSdpAttribute *>(rvSdpListGetFirst(rvSdpMsgGetAttributeList(&p.msg))))),
              size_t(RVSDP_MAX_LINE_LEN - 4));
}
