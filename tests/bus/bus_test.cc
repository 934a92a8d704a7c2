// The codec query bus object, seen from a bus client: its "get" reply decoded
// from the bytes a client receives and printed as a client prints it, and its
// registration (and failure when the bus refuses the object).
//
// Each case runs in-process, and also on a private bus daemon of its own when
// the tree is built against the gateway's libubus and ZVSDP_TEST_UBUSD and
// ZVSDP_TEST_UBUS name its ubusd and ubus programs. A daemon case reads the
// reply from another process (forked before the library starts a thread), and
// checks it against what the gateway's ubus client prints.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

extern "C" {
#include <libubox/blobmsg.h>
#include <libubus.h>
}

#include "zvsdp.h"
#include "zvubus.h"

extern char **environ;

namespace {

constexpr char kObjectName[] = "zvpbx.media.codec";
constexpr auto kBackWithin = std::chrono::seconds(2);
using Bytes = std::vector<unsigned char>;
using Members = std::vector<std::pair<std::string, uint32_t>>;
using Clock = std::chrono::steady_clock;

const Members kExpected = {
    {"telephone-event", 96}, {"G726-16", 97}, {"G726-24", 98},   {"G726-32", 99},          {"G726-40", 100},
    {"G729D", 101},          {"G729E", 102},  {"GSM-EFR", 103},  {"H263-1998", 104},       {"T38", 105},
    {"AMR", 106},            {"AMR-WB", 107}, {"telephone-event", 108}, {"ILBC", 109}};

Bytes requestOf(void (*fill)(struct blob_buf *))
{
    struct blob_buf b;
    memset(&b, 0, sizeof b);
    blob_buf_init(&b, 0);
    fill(&b);
    const auto *p = reinterpret_cast<const unsigned char *>(b.head);
    Bytes out(p, p + blob_raw_len(b.head));
    blob_buf_free(&b);
    return out;
}

// Each member must be a table holding just the int32 "payloadType".
Members decode(const Bytes &reply)
{
    Members out;
    if (reply.size() < sizeof(struct blob_attr))
        return out;
    const auto *root = reinterpret_cast<const struct blob_attr *>(reply.data());
    EXPECT_EQ(reply.size(), blob_raw_len(root));
    struct blob_attr *member, *field;
    size_t rem, frem;
    blob_for_each_attr(member, root, rem)
    {
        EXPECT_EQ(BLOBMSG_TYPE_TABLE, blobmsg_type(member)) << blobmsg_name(member);
        int fields = 0;
        blobmsg_for_each_attr(field, member, frem)
        {
            EXPECT_STREQ("payloadType", blobmsg_name(field));
            EXPECT_EQ(BLOBMSG_TYPE_INT32, blobmsg_type(field));
            if (++fields == 1)
                out.emplace_back(blobmsg_name(member), blobmsg_get_u32(field));
        }
        EXPECT_EQ(1, fields) << blobmsg_name(member);
    }
    return out;
}

std::string json(const Bytes &reply)
{
    char *text = zvUbusFormatJson(reply.data(), reply.size(), 1);
    std::string out = text ? text : "(damaged)";
    zvUbusFree(text);
    return out;
}

const char *envPath(const char *name)
{
    const char *value = getenv(name);
    return value && *value ? value : nullptr;
}

// All len bytes through read or write, which may move fewer per call.
template <class Byte, class Io>
bool whole(Io io, int fd, Byte *p, size_t len)
{
    while (len > 0) {
        ssize_t n = io(fd, p, len);
        if (n <= 0)
            return false;
        p += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

bool readAll(int fd, void *data, size_t len)
{
    return whole(read, fd, static_cast<char *>(data), len);
}

bool writeAll(int fd, const void *data, size_t len)
{
    return whole(write, fd, static_cast<const char *>(data), len);
}

bool accepts(const std::string &socketPath)
{
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    strncpy(addr.sun_path, socketPath.c_str(), sizeof addr.sun_path - 1);
    const bool ok = connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) == 0;
    close(fd);
    return ok;
}

// The gateway's ubusd on a socket of its own.
class PrivateDaemon {
public:
    ~PrivateDaemon() { stop(); }

    bool start(const std::string &socketPath)
    {
        socket_ = socketPath;
        const char *ubusd = envPath("ZVSDP_TEST_UBUSD");
        char *argv[] = {const_cast<char *>(ubusd), const_cast<char *>("-s"), const_cast<char *>(socket_.c_str()),
                        nullptr};
        if (posix_spawn(&pid_, ubusd, nullptr, nullptr, argv, environ) != 0) {
            pid_ = -1;
            return false;
        }
        for (int i = 0; i < 500; ++i) {
            if (accepts(socket_))
                return true;
            usleep(10 * 1000);
        }
        return false;
    }

    void stop()
    {
        if (pid_ <= 0)
            return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    std::string socket_;
    pid_t pid_ = -1;
};

// Another process that makes bus calls, and registrations, when told to.
// It is forked before the library starts any thread in this process.
class Peer {
public:
    ~Peer() { quit(); }

    void start(const std::string &socketPath)
    {
        // Close-on-exec, so that the daemon and the client started later do
        // not keep the pipes open past the peer's end.
        int down[2], up[2];
        if (pipe2(down, O_CLOEXEC) != 0 || pipe2(up, O_CLOEXEC) != 0)
            return;
        pid_ = fork();
        if (pid_ == 0) {
            close(down[1]);
            close(up[0]);
            serve(down[0], up[1], socketPath);
        }
        close(down[0]);
        close(up[1]);
        to_ = down[1];
        from_ = up[0];
    }

    // zvUbusCall of "get" from the other process.
    int call(const Bytes &request, Bytes *reply)
    {
        const char op = 'C';
        const uint32_t len = static_cast<uint32_t>(request.size());
        int32_t status = -1;
        uint32_t replyLen = 0;
        if (!writeAll(to_, &op, 1) || !writeAll(to_, &len, sizeof len) || !writeAll(to_, request.data(), len) ||
            !readAll(from_, &status, sizeof status) || !readAll(from_, &replyLen, sizeof replyLen))
            return -1;
        reply->assign(replyLen, 0);
        return readAll(from_, reply->data(), replyLen) ? status : -1;
    }

    // zvSdpBusInit in the other process, on its own connection.
    int registerObject()
    {
        const char op = 'R';
        int32_t status = -1;
        if (!writeAll(to_, &op, 1) || !readAll(from_, &status, sizeof status))
            return -1;
        return status;
    }

    void quit()
    {
        if (pid_ <= 0)
            return;
        close(to_);
        close(from_);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    [[noreturn]] static void serve(int in, int out, const std::string &socketPath)
    {
        char op;
        while (readAll(in, &op, 1)) {
            int32_t status;
            if (op == 'C') {
                uint32_t len = 0;
                if (!readAll(in, &len, sizeof len))
                    break;
                Bytes request(len);
                if (!readAll(in, request.data(), len))
                    break;
                void *reply = nullptr;
                size_t replyLen = 0;
                status = zvUbusCall(socketPath.c_str(), kObjectName, "get", len ? request.data() : nullptr, len, 3000,
                                    &reply, &replyLen);
                const uint32_t n = static_cast<uint32_t>(replyLen);
                writeAll(out, &status, sizeof status);
                writeAll(out, &n, sizeof n);
                writeAll(out, reply, n);
                zvUbusFree(reply);
            } else {
                status = zvUbusSetSocket(socketPath.c_str());
                if (status == 0)
                    status = static_cast<int32_t>(zvSdpBusInit());
                writeAll(out, &status, sizeof status);
            }
        }
        _exit(0);
    }

    pid_t pid_ = -1;
    int to_ = -1;
    int from_ = -1;
};

enum class Where { InProcess, Daemon };

void PrintTo(Where where, std::ostream *os)
{
    *os << (where == Where::InProcess ? "in-process" : "daemon");
}

class BusTest : public ::testing::TestWithParam<Where> {
protected:
    void SetUp() override
    {
        if (GetParam() == Where::InProcess) {
            ASSERT_EQ(0, zvUbusUseInProcess());
            return;
        }
        if (!zvUbusHasDaemon())
            GTEST_SKIP() << "built with the bundled libubus, which reaches no bus daemon";
        if (!envPath("ZVSDP_TEST_UBUSD") || !envPath("ZVSDP_TEST_UBUS"))
            GTEST_SKIP() << "ZVSDP_TEST_UBUSD and ZVSDP_TEST_UBUS do not name a ubusd and ubus to run against";
        const char *tmp = envPath("TMPDIR");
        std::string pattern = std::string(tmp ? tmp : "/tmp") + "/zvsdp-bus-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(&pattern[0]));
        dir_ = pattern;
        socket_ = dir_ + "/ubus.sock";
        peer_.start(socket_);
        ASSERT_TRUE(daemon_.start(socket_));
        ASSERT_EQ(0, zvUbusSetSocket(socket_.c_str()));
    }

    void TearDown() override
    {
        peer_.quit();
        daemon_.stop();
        if (!dir_.empty()) {
            unlink(socket_.c_str());
            rmdir(dir_.c_str());
        }
    }

    bool onDaemon() const { return GetParam() == Where::Daemon; }

    int get(const Bytes &request, Bytes *reply)
    {
        if (onDaemon())
            return peer_.call(request, reply);
        void *data = nullptr;
        size_t len = 0;
        int status = zvUbusInvoke(kObjectName, "get", request.empty() ? nullptr : request.data(), request.size(),
                                  &data, &len);
        reply->assign(static_cast<unsigned char *>(data), static_cast<unsigned char *>(data) + (data ? len : 0));
        zvUbusFree(data);
        return status;
    }

    Bytes callGet(const Bytes &request = {})
    {
        Bytes reply;
        EXPECT_EQ(UBUS_STATUS_OK, get(request, &reply));
        return reply;
    }

    // Polls "get" from the other process until it answers; how long that took.
    Clock::duration untilAnswered(Bytes *reply)
    {
        const auto start = Clock::now();
        while (get({}, reply) != UBUS_STATUS_OK && Clock::now() - start < 4 * kBackWithin)
            usleep(20 * 1000);
        return Clock::now() - start;
    }

    // What the gateway's ubus client prints for "get".
    std::string clientPrints()
    {
        const std::string command =
            std::string("'") + envPath("ZVSDP_TEST_UBUS") + "' -s '" + socket_ + "' call " + kObjectName + " get";
        FILE *in = popen(command.c_str(), "r");
        std::string out;
        char chunk[512];
        size_t n;
        while (in && (n = fread(chunk, 1, sizeof chunk, in)) > 0)
            out.append(chunk, n);
        if (in)
            pclose(in);
        return out;
    }

    std::string dir_, socket_;
    Peer peer_;
    PrivateDaemon daemon_;
};

TEST_P(BusTest, ListsTheDynamicTypesInAscendingOrderAsJsonWhateverTheRequest)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    const Bytes plain = callGet();
    EXPECT_EQ(kExpected, decode(plain));  // equal names stay two members; static types never appear
    // The first member byte for byte: extended table of 48 bytes holding an
    // extended big-endian int32 of 24.
    const Bytes first = {0x82, 0, 0, 0x30, 0, 0x0f, 't', 'e', 'l', 'e', 'p', 'h', 'o', 'n', 'e', '-',
                         'e', 'v', 'e', 'n', 't', 0, 0, 0, 0x85, 0, 0, 0x18, 0, 0x0b, 'p', 'a',
                         'y', 'l', 'o', 'a', 'd', 'T', 'y', 'p', 'e', 0, 0, 0, 0, 0, 0, 0x60};
    ASSERT_GT(plain.size(), 4 + first.size());
    EXPECT_EQ(first, Bytes(plain.begin() + 4, plain.begin() + 4 + first.size()));
    // Printed as a bus client prints it.
    const std::string text = json(plain);
    EXPECT_EQ(0u, text.find("{\n\t\"telephone-event\": {\n\t\t\"payloadType\": 96\n\t},\n\t\"G726-16\": {"));
    EXPECT_NE(std::string::npos, text.find("\t\"telephone-event\": {\n\t\t\"payloadType\": 108\n\t},"));
    EXPECT_EQ("\t\"ILBC\": {\n\t\t\"payloadType\": 109\n\t}\n}", text.substr(text.rfind("\n\t\"ILBC\"") + 1));
    if (onDaemon()) {
        EXPECT_EQ(text + "\n", clientPrints());
    }

    EXPECT_EQ(plain, callGet(requestOf([](struct blob_buf *b) {
                  blobmsg_add_string(b, "encoding_name", "AMR");
                  blobmsg_add_u32(b, "payload_id", 106);
              })));
    EXPECT_EQ(plain, callGet(requestOf([](struct blob_buf *b) { blobmsg_add_u32(b, "payload_id", 0); })));
    if (!onDaemon()) {
        // Well framed, but its member is no blobmsg attribute at all (the
        // daemon's client library would not send it).
        EXPECT_EQ(plain, callGet({0x00, 0x00, 0x00, 0x0c, 0x05, 0x00, 0x00, 0x08, 0xde, 0xad, 0xbe, 0xef}));
    }
}

TEST_P(BusTest, CoversExactly96To127AndCutsNamesTo19Characters)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    ZvSdpCodecEntry *t38 = nullptr, *ilbc = nullptr;
    for (ZvSdpCodecEntry &row : zvSdpCodecTable) {
        if (strcmp(row.encodingName, "T38") == 0)
            t38 = &row;
        if (strcmp(row.encodingName, "ILBC") == 0)
            ilbc = &row;
    }
    ASSERT_TRUE(t38 && ilbc);
    const ZvSdpCodecEntry savedT38 = *t38, savedIlbc = *ilbc;
    // The table changes only while no handler runs.
    zvUbusLockDispatch();
    t38->payloadType = 95;
    ilbc->payloadType = 127;
    ilbc->encodingName = "ABCDEFGHIJKLMNOPQRST";  // 20 characters
    zvUbusUnlockDispatch();
    Members members = decode(callGet());
    ASSERT_EQ(13u, members.size());
    EXPECT_EQ(std::make_pair(std::string("ABCDEFGHIJKLMNOPQRS"), 127u), members.back());
    zvUbusLockDispatch();
    ilbc->encodingName = "ABCDEFGHIJKLMNOPQRS";  // 19 fit whole
    zvUbusUnlockDispatch();
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRS", decode(callGet()).back().first);
    zvUbusLockDispatch();
    *t38 = savedT38;
    *ilbc = savedIlbc;
    zvUbusUnlockDispatch();
}

TEST_P(BusTest, RegistersAgainAndFailsWith8WhenTheBusRefusesIt)
{
    zvUbusFailNextAdd(UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_EQ(ZVSDP_RC_MISSING, zvSdpBusInit());
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    zvSdpBusDestroy();
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    EXPECT_EQ(kExpected, decode(callGet()));
    // The place holds once the object is registered.
    EXPECT_EQ(UBUS_STATUS_INVALID_COMMAND, onDaemon() ? zvUbusUseInProcess() : zvUbusSetSocket(nullptr));
}

INSTANTIATE_TEST_SUITE_P(Bus, BusTest, ::testing::Values(Where::InProcess, Where::Daemon),
                         [](const ::testing::TestParamInfo<Where> &info) {
                             return info.param == Where::InProcess ? "InProcess" : "Daemon";
                         });

// The cases that only a daemon has.
class BusDaemonTest : public BusTest {};

TEST_P(BusDaemonTest, ObjectIsBackWithin2sOfADaemonRestartAndNotReportedWhileAway)
{
    ASSERT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    daemon_.stop();
    EXPECT_EQ(ZVSDP_RC_MISSING, zvSdpBusInit());
    ASSERT_TRUE(daemon_.start(socket_));
    Bytes reply;
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(untilAnswered(&reply));
    RecordProperty("back_after_ms", static_cast<int>(took.count()));
    EXPECT_LT(took, kBackWithin) << took.count() << " ms";
    EXPECT_EQ(kExpected, decode(reply));
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
}

// A host with a loop of its own: it dispatches its context on its thread
// and reconnects it itself, as ubus_auto_connect would.
class Host {
public:
    explicit Host(const std::string &socketPath) : socket_(socketPath)
    {
        ctx_ = ubus_connect(socket_.c_str());
        if (ctx_)
            ctx_->connection_lost = [](struct ubus_context *) { lost_ = true; };
    }

    ~Host()
    {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        if (ctx_)
            ubus_free(ctx_);
    }

    struct ubus_context *context() const { return ctx_; }
    std::mutex &bus() { return bus_; }
    void run() { thread_ = std::thread([this] { loop(); }); }

private:
    void loop()
    {
        while (!stop_) {
            struct pollfd pfd = {ctx_->sock.fd, POLLIN, 0};
            if (!lost_)
                poll(&pfd, 1, 20);
            else
                usleep(20 * 1000);
            std::lock_guard<std::mutex> held(bus_);
            if (lost_) {
                if (ubus_reconnect(ctx_, socket_.c_str()) == UBUS_STATUS_OK)
                    lost_ = false;
                else
                    ctx_->sock.fd = -1;
            } else if (pfd.revents) {
                ubus_handle_event(ctx_);
            }
        }
    }

    std::string socket_;
    struct ubus_context *ctx_ = nullptr;
    std::thread thread_;
    std::mutex bus_;
    std::atomic<bool> stop_{false};
    static std::atomic<bool> lost_;
};

std::atomic<bool> Host::lost_{false};

TEST_P(BusDaemonTest, RegistersOnTheHostsContextWhichBringsItBackAfterARestart)
{
    Host host(socket_);
    ASSERT_NE(nullptr, host.context());
    {
        std::lock_guard<std::mutex> held(host.bus());
        ASSERT_EQ(0, zvUbusSetContext(host.context()));
        ASSERT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    }
    host.run();
    EXPECT_EQ(kExpected, decode(callGet()));
    daemon_.stop();
    ASSERT_TRUE(daemon_.start(socket_));
    Bytes reply;
    EXPECT_LT(untilAnswered(&reply), kBackWithin);
    EXPECT_EQ(kExpected, decode(reply));
    std::lock_guard<std::mutex> held(host.bus());
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
}

TEST_P(BusDaemonTest, NameHeldByASecondProcessIsNotReportedAsOursUntilItLeaves)
{
    ASSERT_EQ(0, peer_.registerObject());
    EXPECT_EQ(ZVSDP_RC_MISSING, zvSdpBusInit());
    EXPECT_EQ(ZVSDP_RC_NO_RESOURCE, zvSdpAppInit(8));
    peer_.quit();
    const auto start = Clock::now();
    while (zvSdpBusInit() != ZVSDP_RC_OK && Clock::now() - start < kBackWithin)
        usleep(20 * 1000);
    EXPECT_EQ(ZVSDP_RC_OK, zvSdpBusInit());
    EXPECT_NE(std::string::npos, clientPrints().find("\"payloadType\": 109"));
}

INSTANTIATE_TEST_SUITE_P(Bus, BusDaemonTest, ::testing::Values(Where::Daemon),
                         [](const ::testing::TestParamInfo<Where> &) { return "Daemon"; });

}  // namespace
