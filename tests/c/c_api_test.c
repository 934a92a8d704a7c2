/* The exported interface as a C host drives it, with nothing but a C library
 * beneath: start and stop with the pools' limits, a log line as this C
 * library renders it, and threads answering offers from shared pools. It
 * needs no C++ library, so it runs on every target, also on musl, where no
 * C++ library (hence no GoogleTest) is built and the tool's tests and the
 * consumer example check parsing, printing, answers and the bus reply.
 * Prints "c_api: every check passed" or the failed checks. */
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>

#include "zvsdp.h"
#include "zvubus.h"

static int failures;

#define CHECK(cond)                                                                 \
    do {                                                                            \
        if (!(cond)) {                                                              \
            fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond);      \
            ++failures;                                                             \
        }                                                                           \
    } while (0)

#define CHECK_RC(want, call)                                                                         \
    do {                                                                                             \
        uint32_t got_ = (call);                                                                      \
        if (got_ != (want)) {                                                                        \
            fprintf(stderr, "%s:%d: %s: %u, wanted %u\n", __FILE__, __LINE__, #call, got_, (want)); \
            ++failures;                                                                              \
        }                                                                                            \
    } while (0)

#define CHECK_TEXT(want, got)                                                                    \
    do {                                                                                         \
        if (strcmp((want), (got)) != 0) {                                                        \
            fprintf(stderr, "%s:%d: got\n%s\nwanted\n%s\n", __FILE__, __LINE__, (got), (want));  \
            ++failures;                                                                          \
        }                                                                                        \
    } while (0)

/* One pool unit: the threads below need three sessions each. */
enum { kUnit = 16, kThreads = 4, kRounds = 300 };

static const char kOffer[] =
    "v=0\r\n"
    "o=- 3912345678 3912345678 IN IP4 198.51.100.7\r\n"
    "s=call\r\n"
    "c=IN IP4 198.51.100.7\r\n"
    "t=0 0\r\n"
    "m=audio 40376 RTP/AVP 8 0 18 101 13\r\n"
    "a=rtpmap:8 PCMA/8000\r\n"
    "a=rtpmap:18 G729/8000\r\n"
    "a=fmtp:18 annexb=no\r\n"
    "a=rtpmap:101 telephone-event/8000\r\n"
    "a=fmtp:101 0-16\r\n"
    "a=ptime:20\r\n"
    "m=video 0 RTP/AVP 34\r\n"
    "m=audio 30000 RTP/AVP 97 98 101\r\n"
    "a=rtpmap:97 AMR-WB/16000\r\n"
    "a=fmtp:97 mode-set=0,1,2;octet-align=1\r\n"
    "a=rtpmap:98 AMR/8000\r\n"
    "a=fmtp:98 mode-set=0,2,4,7;max-red=100\r\n"
    "a=rtpmap:101 telephone-event/8000\r\n";

/* The local media with the offer's AMR parameters merged in: mode sets
 * intersected, the smaller max-red. */
static const char kAnswer[] =
    "m=audio 5004 RTP/AVP 106 8 96\n"
    "a=rtpmap:106 AMR/8000\n"
    "a=rtpmap:96 telephone-event/8000\n"
    "a=fmtp:106 mode-set=0,2;channels=1;mode-change-capability=0;max-red=100\n"
    "a=fmtp:96 0-15\n"
    "a=ptime:20\n";

/* ---- the library's log lines, taken in place of the C library's syslog ---- */

static char g_logLine[2048];
static int g_logPriority = -1;

static void keepLine(int priority, const char *format, va_list ap)
{
    g_logPriority = priority;
    vsnprintf(g_logLine, sizeof g_logLine, format, ap);
}

void syslog(int priority, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    keepLine(priority, format, ap);
    va_end(ap);
}

/* glibc's fortified builds call this instead. */
void __syslog_chk(int priority, int flag, const char *format, ...);
void __syslog_chk(int priority, int flag, const char *format, ...)
{
    va_list ap;
    (void)flag;
    va_start(ap, format);
    keepLine(priority, format, ap);
    va_end(ap);
}

/* ---- helpers -------------------------------------------------------------- */

/* Local capabilities: AMR, PCMA and telephone events, 20 ms. */
static CSdp *localCapabilities(void)
{
    CSdp *local = NULL;
    CMedia *media = NULL;
    CPayload *payload = NULL;
    CHECK_RC(ZVSDP_RC_OK, zvSdpConstruct(&local));
    CHECK_RC(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(local, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &media));
    CHECK_RC(ZVSDP_RC_OK, zvSdpMediaSetPort(media, 5004));
    CHECK_RC(ZVSDP_RC_OK, zvSdpMediaAddDynamicPayloadBasedOnName(media, "AMR", &payload));
    CHECK_RC(ZVSDP_RC_OK, zvSdpPayloadAddFmtp(payload, "mode-set=0,1,2;max-red=200"));
    CHECK_RC(ZVSDP_RC_OK, zvSdpMediaAddStaticPayloadType(media, ZVSDP_PT_PCMA, NULL));
    CHECK_RC(ZVSDP_RC_OK, zvSdpMediaAddTelephoneEvent(media, &payload));
    CHECK_RC(ZVSDP_RC_OK, zvSdpPayloadAddFmtp(payload, "0-15"));
    CHECK_RC(ZVSDP_RC_OK, zvSdpMediaAddAttrPtime(media, 20, NULL));
    return local;
}

/* Parse, answer, print and release once; 1 when the answer is kAnswer. */
static int answerOnce(CSdp *local)
{
    CSdp *remote = NULL, *answer = NULL;
    char text[1024] = "";
    uint32_t length = sizeof text - 1;
    uint32_t rc = zvSdpConstructFromString(kOffer, &remote);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpConstruct(&answer);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpHelperBuildNewCapabilitiesBasedOnLocalRemoteCapabilities(remote, local, answer, 1);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpFilterTelephoneEventsForAdvertisedCodecs(answer);
    if (rc == ZVSDP_RC_OK)
        rc = zvSdpToString(answer, text, &length);
    if (remote)
        zvSdpDestruct(&remote);
    if (answer)
        zvSdpDestruct(&answer);
    return rc == ZVSDP_RC_OK && length == strlen(kAnswer) && memcmp(text, kAnswer, length) == 0;
}

/* ---- the checks ----------------------------------------------------------- */

static void startAndStop(void)
{
    CSdp *sessions[kUnit + 1];
    uint32_t count = 0;
    uint32_t rc;
    CSdp *session = NULL;

    CHECK_RC(ZVSDP_RC_NOT_ALLOWED, zvSdpConstruct(&session));
    CHECK_RC(ZVSDP_RC_NOT_ALLOWED, zvSdpConstructFromString(kOffer, &session));
    CHECK_RC(ZVSDP_RC_OK, zvSdpAppInit(kUnit));

    /* The pool holds exactly kUnit sessions, and a stop gives them all back. */
    while (count <= kUnit && (rc = zvSdpConstruct(&sessions[count])) == ZVSDP_RC_OK)
        ++count;
    CHECK(count == kUnit);
    CHECK_RC(ZVSDP_RC_NO_RESOURCE, rc);
    zvSdpAppDestroy();
    CHECK_RC(ZVSDP_RC_NOT_ALLOWED, zvSdpConstruct(&session));
    CHECK_RC(ZVSDP_RC_OK, zvSdpAppInit(kUnit));
    for (count = 0; count < kUnit; ++count)
        CHECK_RC(ZVSDP_RC_OK, zvSdpConstruct(&sessions[count]));
    for (count = 0; count < kUnit; ++count)
        CHECK_RC(ZVSDP_RC_OK, zvSdpDestruct(&sessions[count]));

    /* A read-only session refuses changes until made read-write again. */
    CMedia *media = NULL;
    CHECK_RC(ZVSDP_RC_OK, zvSdpConstruct(&session));
    CHECK_RC(ZVSDP_RC_OK, zvSdpAppSetReadOnly(session));
    CHECK_RC(ZVSDP_RC_NOT_ALLOWED, zvSdpAddMediaDescriptor(session, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &media));
    CHECK_RC(ZVSDP_RC_OK, zvSdpAppSetReadWrite(session));
    CHECK_RC(ZVSDP_RC_OK, zvSdpAddMediaDescriptor(session, ZVSDP_MT_AUDIO, ZVSDP_TP_RTPAVP, &media));
    CHECK_RC(ZVSDP_RC_OK, zvSdpDestruct(&session));
    CHECK(session == NULL);
}

/* A log line is the library's text with this C library's rendering of %p. */
static void logLine(void)
{
    CSdp *session = NULL;
    char nullPointer[32];
    snprintf(nullPointer, sizeof nullPointer, "%p", (void *)NULL);
    zvSdpSetTraceLevel(3);
    g_logLine[0] = '\0';
    CHECK_RC(ZVSDP_RC_INVALID, zvSdpConstructFromString(NULL, &session));
    zvSdpSetTraceLevel(0);
    CHECK(g_logPriority == LOG_DEBUG);
    const char *text = strstr(g_logLine, " - ");
    char want[256];
    snprintf(want, sizeof want, " - Invalid parameter detected: &objHndl=%p ; &sdpBuffer=%s ; sdpBuffer length=0 bytes",
             (void *)&session, nullPointer);
    CHECK(strncmp(g_logLine, "[ZVSDP::API]    :D: zvSdpConstructFromString:", 45) == 0);
    CHECK(text != NULL);
    if (text)
        CHECK_TEXT(want, text);
}

static CSdp *g_sharedLocal;

static void *answerLoop(void *arg)
{
    int *wrong = arg;
    for (int i = 0; i < kRounds; ++i)
        *wrong += !answerOnce(g_sharedLocal);
    return NULL;
}

/* Threads share the pools, the class locks and one local session. */
static void threads(void)
{
    pthread_t thread[kThreads];
    int wrong[kThreads] = {0};
    g_sharedLocal = localCapabilities();
    for (int i = 0; i < kThreads; ++i)
        CHECK(pthread_create(&thread[i], NULL, answerLoop, &wrong[i]) == 0);
    for (int i = 0; i < kThreads; ++i) {
        pthread_join(thread[i], NULL);
        CHECK(wrong[i] == 0);
    }
    zvSdpDestruct(&g_sharedLocal);
}

int main(void)
{
    /* The bus object is served inside the process, so that no bus daemon is
     * needed, whichever bus libraries the library is built against. */
    CHECK(zvUbusUseInProcess() == 0);
    startAndStop();
    logLine();
    threads();
    zvSdpAppDestroy();
    if (failures) {
        printf("c_api: %d checks failed\n", failures);
        return 1;
    }
    printf("c_api: every check passed\n");
    return 0;
}
