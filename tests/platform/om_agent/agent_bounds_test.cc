// What a hostile local caller can make the agent hold or do: oversized
// frames, a queue full by bytes, commands that waited too long, one
// connection hogging the serving threads, a subscriber flooding the feed,
// and idle connections under a low descriptor limit.
#include <arpa/inet.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "om_agent.pb.h"
#include "tvn_msgobj.h"
#include "tvn_om_endpoint.h"
#include "tvn_om_msg.h"
#include "tvn_omm_agent.h"
#include "tvn_test_node.h"
#include "tvn_test_files.h"
#include "tvn_test_net.h"
#include "tvn_test_process.h"
#include "tvn_test_wait.h"

namespace {

using namespace std::chrono_literals;

using tvn_test::eventually;
using tvn_test::scoped_env;

enum : uint64_t { kAck = 1, kBlock = 2, kCount = 3, kNotify = 4 };

MSG_CFG_S g_cfg;
std::mutex g_mutex;
std::condition_variable g_cv;
bool g_released = false;
int g_blocked = 0;
int g_max_blocked = 0;
std::atomic<int> g_counted{0};

int32_t cfg_fn(MSG_CFG_S* cfg) {
    *cfg = g_cfg;
    return 0;
}

void entry(void* ctx, const void* data, unsigned int length) {
    void* req = nullptr;
    if (MSGOBJ_Decode(666, data, length, &req) != 0) {
        endRpcCall(-1, ctx);
        return;
    }
    uint64_t op = 0;
    MSGOBJ_GetOpcode(req, 0, &op);
    MSGOBJ_Destroy(req);
    if (op == kBlock) {
        std::unique_lock<std::mutex> lock(g_mutex);
        g_max_blocked = std::max(g_max_blocked, ++g_blocked);
        g_cv.notify_all();
        g_cv.wait_for(lock, 10s, [] { return g_released; });
        --g_blocked;
    } else if (op == kCount) {
        ++g_counted;
    } else if (op == kAck) {
        void* ans = MSGOBJ_Create(1, 4091);
        MSGOBJ_SetOpcode(ans, 0, op);
        MSGOBJ_SetItemString(ans, 0, 64, "pong");
        OMAgent_AckMsgObj(ctx, ans);
        MSGOBJ_Destroy(ans);
        return;
    } else if (op == kNotify) {
        void* n = MSGOBJ_Create(1, 4091);
        MSGOBJ_SetOpcode(n, 0, 0xD00C90034ULL);
        MSGOBJ_SetItemUnsigned(n, 0, 0, 16401);
        OMAgent_NotifyMsgObj(n);
        MSGOBJ_Destroy(n);
    }
    endRpcCall(0, ctx);
}

std::string command(uint64_t opcode, size_t padding = 0) {
    tvn_test::om_request r(opcode);
    if (padding > 0) r.s(64, std::string(padding, 'x'));
    return r.message().SerializeAsString();
}

int result_of(const std::string& bytes) {
    OmReply r;
    return r.ParseFromString(bytes) ? r.result() : 12345;
}

int port_of(const std::string& endpoint) { return std::stoi(endpoint.substr(endpoint.rfind(':') + 1)); }

long rss_kb() { return tvn_test::memory_kb(0, "VmRSS"); }

class AgentBounds : public ::testing::Test {
protected:
    void start(const MSG_CFG_S& cfg) {
        g_cfg = cfg;
        g_released = false;
        g_blocked = g_max_blocked = 0;
        g_counted = 0;
        ASSERT_EQ(Msg_RegisterCfgFunc(cfg_fn), 0);
        ASSERT_EQ(MSG_MemManageInit(), 0);
        ASSERT_EQ(MSG_ClientInit("MSG_CLIENT_TEST", [](void*) {}), 0);
        ASSERT_EQ(OMM_AGENTInit(), 0);
        ASSERT_EQ(rpcInitWork("../conf/ccm_conf.xml"), 0);
        ASSERT_EQ(regRpcEntrySet(entry), 0);
        endpoint_ = tvn::om::bound_command_endpoint();
        started_ = true;
    }
    void TearDown() override {
        release();
        if (started_) {
            rpcExitWork();
            OMM_AGENTExit();
            MSG_ClientExit();
        }
    }
    static void release() {
        std::lock_guard<std::mutex> lock(g_mutex);
        g_released = true;
        g_cv.notify_all();
    }
    static bool blocked_at_least(int n) {
        return eventually([n] {
            std::lock_guard<std::mutex> lock(g_mutex);
            return g_blocked >= n;
        });
    }
    int call(const std::string& bytes, int64_t ms = 10000) {
        std::string reply;
        int rc = tvn::om::call(endpoint_, bytes, ms, &reply);
        return rc == 0 ? result_of(reply) : 1000 + rc;
    }
    // One DEALER connection with several commands in flight.
    struct dealer {
        dealer(zmq::context_t& ctx, const std::string& ep) : sock(ctx, zmq::socket_type::dealer) {
            sock.set(zmq::sockopt::linger, 0);
            sock.set(zmq::sockopt::rcvtimeo, 10000);
            sock.connect(ep);
        }
        void send(const std::string& body) {
            sock.send(zmq::message_t(), zmq::send_flags::sndmore);
            sock.send(zmq::buffer(body), zmq::send_flags::none);
        }
        int receive() {
            std::vector<zmq::message_t> parts;
            if (!zmq::recv_multipart(sock, std::back_inserter(parts)) || parts.size() != 2) return 99999;
            return result_of(parts[1].to_string());
        }
        zmq::socket_t sock;
    };

    scoped_env ep_{"TVN_OM_ENDPOINT", "tcp://127.0.0.1:0"};
    scoped_env ev_{"TVN_OM_EVENTS", "tcp://127.0.0.1:0"};
    std::string endpoint_;
    bool started_ = false;
    zmq::context_t ctx_;
};

TEST_F(AgentBounds, AFrameOverTheLimitDropsItsConnectionAndServingGoesOn) {
    MSG_CFG_S cfg;
    cfg.max_msg_bytes = 64 * 1024;
    start(cfg);
    EXPECT_EQ(call(command(kCount, 128 * 1024), 1000), 1000 - 3);
    EXPECT_EQ(g_counted.load(), 0);
    EXPECT_EQ(call(command(kCount, 32 * 1024)), 0);
    EXPECT_EQ(g_counted.load(), 1);
}

TEST_F(AgentBounds, AQueueFullByBytesAnswersBusy) {
    MSG_CFG_S cfg;
    cfg.worker_threads = 1;
    cfg.max_queued_bytes = 10 * 1024;
    start(cfg);
    dealer d(ctx_, endpoint_);
    d.send(command(kBlock));
    ASSERT_TRUE(blocked_at_least(1));
    // Two 4 KiB commands fit in 10 KiB; the third does not, though the
    // count is far from its limit.
    for (int i = 0; i < 3; ++i) d.send(command(kCount, 4096));
    EXPECT_EQ(d.receive(), -16);
    release();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(d.receive(), 0);
    EXPECT_EQ(g_counted.load(), 2);
}

TEST_F(AgentBounds, ACommandThatWaitedPastTheAgeLimitIsAnsweredExpiredAndNeverRun) {
    MSG_CFG_S cfg;
    cfg.worker_threads = 1;
    cfg.max_wait_ms = 200;
    start(cfg);
    dealer d(ctx_, endpoint_);
    d.send(command(kBlock));
    ASSERT_TRUE(blocked_at_least(1));
    d.send(command(kCount));
    EXPECT_EQ(d.receive(), -62);  // answered while the thread is still held
    release();
    EXPECT_EQ(d.receive(), 0);
    EXPECT_EQ(call(command(kCount)), 0);
    EXPECT_EQ(g_counted.load(), 1);
}

TEST_F(AgentBounds, OneConnectionHoldsAtMostItsShareOfTheThreads) {
    MSG_CFG_S cfg;
    cfg.worker_threads = 4;
    cfg.client_threads = 2;
    start(cfg);
    dealer hog(ctx_, endpoint_);
    for (int i = 0; i < 6; ++i) hog.send(command(kBlock));
    ASSERT_TRUE(blocked_at_least(2));
    // Another caller is served while the hog's commands wait for its share.
    EXPECT_EQ(call(command(kCount), 5000), 0);
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        EXPECT_EQ(g_max_blocked, 2);
    }
    release();
    for (int i = 0; i < 6; ++i) EXPECT_EQ(hog.receive(), 0);
}

TEST_F(AgentBounds, HandshakeLessConnectionsAreClosed) {
    MSG_CFG_S cfg;
    cfg.handshake_ms = 300;
    start(cfg);
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port_of(endpoint_)));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)), 0);
    timeval tv{10, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof(tv));
    char buf[256];
    ssize_t n = 0;
    while ((n = ::recv(fd, buf, sizeof(buf), 0)) > 0) {
    }
    EXPECT_EQ(n, 0) << "the agent should have closed the silent connection";
    ::close(fd);
}

// Idle peers that finished their handshake hold descriptors for good; above
// the connection limit the quietest are closed, so commands still find room.
TEST_F(AgentBounds, IdleConnectionsUnderALowDescriptorLimitLeaveRoomForCommands) {
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit low = saved;
    low.rlim_cur = 256;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    start(MSG_CFG_S{});
    // The peers are a program of their own: a fork of this multi-threaded
    // process only execs. Their "ready" comes through a pipe, because while
    // they connect this process has no descriptor to spare and the wait must
    // open nothing.
    const std::string path = tvn_test::bin_path("tvn_test_zmq_peers");
    const std::string port = std::to_string(port_of(endpoint_));
    char idle[] = "idle", count[] = "300";
    char* argv[] = {const_cast<char*>(path.c_str()), idle, const_cast<char*>(port.c_str()), count, nullptr};
    int out[2];
    ASSERT_EQ(::pipe(out), 0);
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::dup2(out[1], STDOUT_FILENO);
        ::execv(path.c_str(), argv);
        ::_exit(127);
    }
    ::close(out[1]);
    pollfd ready{out[0], POLLIN, 0};
    char word[5] = {};
    const bool started = ::poll(&ready, 1, 30000) == 1 && ::read(out[0], word, sizeof(word)) == 5;
    ::close(out[0]);
    EXPECT_TRUE(started && std::string(word, 5) == "ready") << "the peers did not connect";
    int answered = 0;
    for (int i = 0; started && i < 7; ++i) answered += call(command(kCount), 5000) == 0 ? 1 : 0;
    EXPECT_EQ(answered, 7);
    ::kill(child, SIGKILL);
    int status = 0;
    tvn_test::wait_child(child, status);
    ::setrlimit(RLIMIT_NOFILE, &saved);
}

// Subscriptions are never kept: a subscriber sending hundreds of thousands
// of distinct ones, and others sending oversized ones, leave the process's
// memory where it was, and notifications still flow.
TEST_F(AgentBounds, ASubscriberFloodLeavesTheFeedsMemoryBounded) {
    start(MSG_CFG_S{});
    std::string events = tvn::om::bound_events_endpoint();
    zmq::socket_t sub(ctx_, zmq::socket_type::sub);
    sub.set(zmq::sockopt::linger, 0);
    sub.set(zmq::sockopt::subscribe, "");
    sub.set(zmq::sockopt::rcvtimeo, 100);
    sub.connect(events);
    auto notified = [&] {
        zmq::message_t got;
        return eventually([&] {
            EXPECT_EQ(call(command(kNotify)), 0);
            return sub.recv(got, zmq::recv_flags::none).has_value();
        });
    };
    ASSERT_TRUE(notified());
    const long before = rss_kb();
    tvn_test::process flood({tvn_test::bin_path("tvn_test_zmq_peers"), "flood", events});
    ASSERT_EQ(flood.wait(30s), 0) << flood.err();
    ASSERT_TRUE(notified());
    const long after = rss_kb();
    EXPECT_LT(after - before, 32 * 1024) << "RSS before " << before << " kB, after " << after << " kB";
}

// On a Unix socket the file's mode is the only gate on who may send
// commands: the folder is the owner's alone and so is the socket, and the
// operator's tool reaches the agent through it.
TEST_F(AgentBounds, AnIpcEndpointIsTheOwnersAloneAndServesTvnOm) {
    tvn_test::temp_dir root("tvn_om_ipc");
    const std::string folder = root.path() + "/om";
    const std::string endpoint = "ipc://" + folder + "/om.sock";
    scoped_env ipc("TVN_OM_ENDPOINT", endpoint.c_str());
    start(MSG_CFG_S{});
    EXPECT_EQ(endpoint_, endpoint);

    struct stat st {};
    ASSERT_EQ(::lstat(folder.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    ASSERT_EQ(::lstat((folder + "/om.sock").c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    tvn_test::process om({tvn_test::bin_path("tvn_om"), "send", std::to_string(kAck), "--json", "--timeout", "10000"},
                         {.env = {{"TVN_OM_ENDPOINT", endpoint}}, .clean_tvn_env = true, .merge_err = true});
    EXPECT_EQ(om.wait(20s), 0) << om.out();
    EXPECT_NE(om.out().find("\"ack\""), std::string::npos) << om.out();
    EXPECT_NE(om.out().find("pong"), std::string::npos) << om.out();
}

}  // namespace
