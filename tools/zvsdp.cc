// zvsdp: what the library makes of SDP, from the command line.
//
//   zvsdp answer [--keep-unmatched] [--filter-dtmf] [-v LEVEL] OFFER LOCAL
//   zvsdp answer --rfc3264 [--body ADDRESS] [-v LEVEL] OFFER LOCAL
//   zvsdp parse [-v LEVEL] FILE
//   zvsdp mirror [-v LEVEL] FILE
//   zvsdp codecs [--json] [-s SOCKET]
//   zvsdp serve [-s SOCKET]
//
// Exit status: 0 success, 1 a library call failed, 2 usage or unreadable file.
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <libubus.h>

#include "rvsdp.h"
#include "zvcommon.h"
#include "zvsdp.h"
#include "zvubus.h"

namespace {

constexpr uint32_t kPoolUnit = 8;
constexpr const char *kCodecObject = "zvpbx.media.codec";
constexpr size_t kMaxInput = 64 * 1024;  // the parser reads 1023 characters of it, the answer all
constexpr int kCallTimeoutMs = 5000;
bool g_verbose = false;

struct Options {
    const char *command = nullptr;
    const char *files[2] = {nullptr, nullptr};
    int fileCount = 0;
    bool keepUnmatched = false;
    bool filterDtmf = false;
    bool rfc3264 = false;
    const char *bodyAddress = nullptr;
    bool json = false;
    bool help = false;
    long level = -1;
    const char *socket = nullptr;  // the bus daemon's; NULL: libubus's default
};

int usage(FILE *out)
{
    fputs("usage: zvsdp answer [--keep-unmatched] [--filter-dtmf] [-v LEVEL] OFFER LOCAL\n"
          "       zvsdp answer --rfc3264 [--body ADDRESS] [-v LEVEL] OFFER LOCAL\n"
          "       zvsdp parse [-v LEVEL] FILE\n"
          "       zvsdp mirror [-v LEVEL] FILE\n"
          "       zvsdp codecs [--json] [-s SOCKET]\n"
          "       zvsdp serve [-s SOCKET]\n"
          "       zvsdp --help | --version\n"
          "FILE '-' reads standard input. -v LEVEL (0-4) sets every module's trace level\n"
          "and copies the library's log lines to standard error. -s SOCKET names the\n"
          "bus daemon's socket (default: libubus's).\n",
          out);
    return out == stdout ? 0 : 2;
}

int failed(const char *function, uint32_t rc)
{
    fprintf(stderr, "zvsdp: %s: %s (%u)\n", function, zvPbxGetErrorString(rc), rc);
    return 1;
}

// The whole file (or standard input) as one NUL-terminated text; NULL and a
// message when it cannot be read.
char *readText(const char *path)
{
    FILE *in = strcmp(path, "-") == 0 ? stdin : fopen(path, "rb");
    if (!in) {
        fprintf(stderr, "zvsdp: %s: cannot be read\n", path);
        return nullptr;
    }
    char *text = static_cast<char *>(malloc(kMaxInput + 1));
    size_t n = text ? fread(text, 1, kMaxInput, in) : 0;
    bool bad = !text || ferror(in);
    if (in != stdin)
        fclose(in);
    if (bad) {
        fprintf(stderr, "zvsdp: %s: cannot be read\n", path);
        free(text);
        return nullptr;
    }
    text[n] = '\0';
    return text;
}

bool parseArgs(int argc, char **argv, Options *o)
{
    o->command = argv[1];
    for (int i = 2; i < argc; ++i) {
        const char *a = argv[i];
        if (!strcmp(a, "--keep-unmatched") && !strcmp(o->command, "answer")) {
            o->keepUnmatched = true;
        } else if (!strcmp(a, "--filter-dtmf") && !strcmp(o->command, "answer")) {
            o->filterDtmf = true;
        } else if (!strcmp(a, "--rfc3264") && !strcmp(o->command, "answer")) {
            o->rfc3264 = true;
        } else if (!strcmp(a, "--body") && !strcmp(o->command, "answer") && i + 1 < argc) {
            o->bodyAddress = argv[++i];
        } else if (!strcmp(a, "--json") && !strcmp(o->command, "codecs")) {
            o->json = true;
        } else if (!strcmp(a, "-s") && i + 1 < argc &&
                   (!strcmp(o->command, "codecs") || !strcmp(o->command, "serve"))) {
            o->socket = argv[++i];
        } else if (!strcmp(a, "--help") || !strcmp(a, "-h")) {
            o->help = true;
        } else if (!strcmp(a, "-v") && i + 1 < argc) {
            char *end = nullptr;
            o->level = strtol(argv[++i], &end, 10);
            if (*end || o->level < 0 || o->level > 4)
                return false;
        } else if (a[0] == '-' && a[1] != '\0') {
            return false;
        } else if (o->fileCount < 2) {
            o->files[o->fileCount++] = a;
        } else {
            return false;
        }
    }
    if (o->help)
        return true;
    // The RFC 3264 answer has rules of its own; the capability builder's
    // options do not apply to it.
    if (o->bodyAddress && !o->rfc3264)
        return false;
    if (o->rfc3264 && (o->keepUnmatched || o->filterDtmf))
        return false;
    int wanted = !strcmp(o->command, "answer") ? 2 : !strcmp(o->command, "codecs") || !strcmp(o->command, "serve") ? 0 : 1;
    return o->fileCount == wanted;
}

// Parses a file into a session; 0 and the session, or the exit status.
int parseFile(const char *path, CSdp **session)
{
    char *text = readText(path);
    if (!text)
        return 2;
    uint32_t rc = zvSdpConstructFromString(text, session);
    free(text);
    return rc == ZVSDP_RC_OK ? 0 : failed("zvSdpConstructFromString", rc);
}

void release(CSdp **session)
{
    if (*session)
        zvSdpDestruct(session);
}

int printSession(CSdp *session)
{
    char text[4096];
    uint32_t length = sizeof text;
    uint32_t rc = zvSdpToString(session, text, &length);
    if (rc != ZVSDP_RC_OK)
        return failed("zvSdpToString", rc);
    fwrite(text, 1, length, stdout);
    return 0;
}

int commandParse(const Options &o)
{
    CSdp *session = nullptr;
    int status = parseFile(o.files[0], &session);
    if (status == 0)
        status = printSession(session);
    release(&session);
    return status;
}

int commandMirror(const Options &o)
{
    CSdp *session = nullptr;
    int status = parseFile(o.files[0], &session);
    if (status != 0)
        return status;
    RvSdpMsg msg;
    rvSdpMsgConstruct(&msg);  // destructible whether or not the mirror gets to parse
    uint32_t rc = zvSdpAppGetRvSdp(session, &msg);
    if (rc == ZVSDP_RC_OK) {
        char text[8192];
        int n = rvSdpMsgEncodeToBuf(&msg, text, sizeof text);
        if (n >= 0 && n < static_cast<int>(sizeof text))
            fwrite(text, 1, static_cast<size_t>(n), stdout);
        else
            status = failed("rvSdpMsgEncodeToBuf", ZVSDP_RC_EXTERNAL);
    } else {
        status = failed("zvSdpAppGetRvSdp", rc);
    }
    rvSdpMsgDestruct(&msg);
    release(&session);
    return status;
}

// The RFC 3264 answer of the offer text against the local capabilities.
int commandAnswerRfc3264(const Options &o)
{
    char *offer = readText(o.files[0]);
    if (!offer)
        return 2;
    CSdp *local = nullptr;
    int status = parseFile(o.files[1], &local);
    ZvSdpAnswerSession session = {"-", "0", "0", o.bodyAddress, nullptr, "-"};
    char small[4096];
    char *text = small;
    uint32_t length = sizeof small;
    uint32_t rc = ZVSDP_RC_OK;
    if (status == 0) {
        rc = zvSdpHelperAnswerOffer(offer, local, o.bodyAddress ? &session : nullptr, text, &length);
        // Too small a buffer: the library says how much the answer needs.
        if (rc == ZVSDP_RC_INVALID && length >= sizeof small && (text = static_cast<char *>(malloc(length + 1)))) {
            length += 1;
            rc = zvSdpHelperAnswerOffer(offer, local, o.bodyAddress ? &session : nullptr, text, &length);
        }
        if (!text) {
            text = small;
            rc = ZVSDP_RC_NO_RESOURCE;
        }
        if (rc == ZVSDP_RC_OK)
            fwrite(text, 1, length, stdout);
        else
            status = failed("zvSdpHelperAnswerOffer", rc);
    }
    if (text != small)
        free(text);
    release(&local);
    free(offer);
    return status;
}

int commandAnswer(const Options &o)
{
    if (o.rfc3264)
        return commandAnswerRfc3264(o);
    CSdp *remote = nullptr, *local = nullptr, *answer = nullptr;
    int status = parseFile(o.files[0], &remote);
    if (status == 0)
        status = parseFile(o.files[1], &local);
    uint32_t rc = ZVSDP_RC_OK;
    if (status == 0 && (rc = zvSdpConstruct(&answer)) != ZVSDP_RC_OK)
        status = failed("zvSdpConstruct", rc);
    if (status == 0) {
        rc = zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local, answer,
                                                                          o.keepUnmatched ? 0 : 1);
        if (rc != ZVSDP_RC_OK)
            status = failed("zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities", rc);
    }
    if (status == 0 && o.filterDtmf && (rc = zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer)) != ZVSDP_RC_OK)
        status = failed("zvSdpFilterTelephoneEventsForAdvertisedCodecs", rc);
    if (status == 0)
        status = printSession(answer);
    release(&remote);
    release(&local);
    release(&answer);
    return status;
}

const char *mediaWord(uint32_t type)
{
    return type == ZVSDP_MT_AUDIO ? "audio" : type == ZVSDP_MT_VIDEO ? "video" : "image";
}

int commandCodecs(const Options &o)
{
    if (!o.json) {
        printf("%-4s %-3s %3s %-16s %-5s %6s %2s %7s %5s\n", "row", "dyn", "pt", "name", "media", "clock", "ch",
               "bitrate", "ptime");
        for (int i = 0; i < ZVSDP_CODEC_TABLE_ROWS; ++i) {
            const ZvSdpCodecEntry &row = zvSdpCodecTable[i];
            printf("%-4d %-3u %3u %-16s %-5s %6u %2u %7u %5u\n", i, row.isDynamic, row.payloadType,
                   row.encodingName, mediaWord(row.mediaType), row.clockRate, row.channels, row.bitRate,
                   row.defaultPtime);
        }
        return 0;
    }
    // As a bus client sees it: the "get" reply. With the gateway's libubus
    // the object is asked over the bus (another process serves it); with the
    // bundled subset, of the in-process registry zvSdpAppInit put it in.
    void *reply = nullptr;
    size_t length = 0;
    const char *call = "zvUbusCall";
    int bus;
    if (zvUbusHasDaemon()) {
        bus = zvUbusCall(o.socket, kCodecObject, "get", nullptr, 0, kCallTimeoutMs, &reply, &length);
    } else {
        call = "zvUbusInvoke";
        bus = zvUbusInvoke(kCodecObject, "get", nullptr, 0, &reply, &length);
    }
    if (bus != 0) {
        fprintf(stderr, "zvsdp: %s: %s (%d)\n", call, ubus_strerror(bus), bus);
        zvUbusFree(reply);
        return 1;
    }
    char *json = zvUbusFormatJson(reply, length, 1);
    zvUbusFree(reply);
    if (!json) {
        fprintf(stderr, "zvsdp: zvUbusFormatJson: reply cannot be read\n");
        return 1;
    }
    printf("%s\n", json);
    zvUbusFree(json);
    return 0;
}

void setTraceLevels(const Options &o)
{
    if (o.level < 0)
        return;
    g_verbose = true;
    zvSdpSetTraceLevel(static_cast<uint32_t>(o.level));
    zvSdpHelperSetTraceLevel(static_cast<uint32_t>(o.level));
}

// Registers the codec object on the bus and serves it (on libzvubus's own
// connection and thread) until SIGINT or SIGTERM.
int commandServe(const Options &o)
{
    if (!zvUbusHasDaemon()) {
        fprintf(stderr, "zvsdp: serve: built with the bundled libubus, which reaches no bus daemon\n");
        return 1;
    }
    // Blocked before the library starts its thread, which then keeps them
    // blocked too, so that sigwait below takes them.
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGINT);
    sigaddset(&stop, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);
    int bus = zvUbusSetSocket(o.socket);
    if (bus != 0) {
        fprintf(stderr, "zvsdp: zvUbusSetSocket: %s (%d)\n", ubus_strerror(bus), bus);
        return 1;
    }
    uint32_t rc = zvSdpAppInit(kPoolUnit);
    if (rc != ZVSDP_RC_OK)
        return failed("zvSdpAppInit", rc);
    setTraceLevels(o);
    printf("zvsdp: serving %s\n", kCodecObject);
    fflush(stdout);
    int signal = 0;
    while (sigwait(&stop, &signal) != 0) {
    }
    zvSdpAppDestroy();
    return 0;
}

}  // namespace

// The library logs through syslog(3); the tool shows those lines on
// standard error instead, and only when asked to with -v.
namespace {
void echoLogLine(const char *format, va_list ap)
{
    if (!g_verbose)
        return;
    vfprintf(stderr, format, ap);
    fputc('\n', stderr);
}
}  // namespace

extern "C" void syslog(int, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    echoLogLine(format, ap);
    va_end(ap);
}

// A library built with _FORTIFY_SOURCE on glibc calls this instead of syslog.
extern "C" void __syslog_chk(int, int, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    echoLogLine(format, ap);
    va_end(ap);
}

int main(int argc, char **argv)
{
    if (argc < 2)
        return usage(stderr);
    if (!strcmp(argv[1], "--help") || !strcmp(argv[1], "-h"))
        return usage(stdout);
    if (!strcmp(argv[1], "--version")) {
        printf("zvsdp 1.0.0\n");
        return 0;
    }
    Options o;
    const char *commands[] = {"answer", "parse", "mirror", "codecs", "serve"};
    bool known = false;
    for (const char *c : commands)
        known = known || !strcmp(argv[1], c);
    if (!known) {
        fprintf(stderr, "zvsdp: unknown command '%s'\n", argv[1]);
        return usage(stderr);
    }
    if (!parseArgs(argc, argv, &o))
        return usage(stderr);
    if (o.help)
        return usage(stdout);
    if (!strcmp(o.command, "serve"))
        return commandServe(o);

    // Nothing else needs the bus daemon: the codec object stays in-process.
    zvUbusUseInProcess();
    uint32_t rc = zvSdpAppInit(kPoolUnit);
    if (rc != ZVSDP_RC_OK)
        return failed("zvSdpAppInit", rc);
    setTraceLevels(o);
    int status;
    if (!strcmp(o.command, "answer"))
        status = commandAnswer(o);
    else if (!strcmp(o.command, "parse"))
        status = commandParse(o);
    else if (!strcmp(o.command, "mirror"))
        status = commandMirror(o);
    else
        status = commandCodecs(o);
    zvSdpAppDestroy();
    return status;
}
