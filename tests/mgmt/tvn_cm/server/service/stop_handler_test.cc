// SIGINT and SIGTERM end the service at whatever moment of start-up,
// serving or teardown they arrive: never lost, never fatal once the handler
// is in place, never written into a pipe that teardown has closed.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>
#include <set>
#include <thread>

#include "cm_test_client.h"
#include "service_test_util.h"
#include "tvn_cm_main.h"
#include "tvn_cm_server.h"

namespace {

using namespace std::chrono_literals;

// Runs `body` in a forked child (signals and the server singleton are the
// process's) and returns its exit code, 128 + signal when a signal ended it,
// -1 when it did not end in time.
int in_child(const std::function<int()>& body) {
    pid_t pid = ::fork();
    if (pid == 0) {
        int rc = 99;
        try {
            rc = body();
        } catch (...) {
        }
        ::_exit(rc);
    }
    if (pid < 0) return -2;
    int status = 0;
    if (!tvn_test::wait_child(pid, status, 30s)) return -1;
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -3;
}

bool port_free(int port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return false;
    int one = 1;
    (void)::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool free = ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0;
    ::close(fd);
    return free;
}

// True once the server answers a request: past binding, in its loop.
bool answering() {
    cm_test_client client;
    return eventually([&] { return client.cm_state(300) == 0; }, 20s);
}

class StopHandlerTest : public ::testing::Test {
protected:
    tvn_test::scoped_sysroot root_;
};

TEST_F(StopHandlerTest, ASignalBeforeTheServerIsUpIsKeptAndStartsNothing) {
    const struct {
        int sig;
        bool stops;
    } rows[] = {{SIGTERM, true}, {SIGINT, true}, {SIGABRT, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.sig);
        int rc = in_child([&] {
            if (tvn_cm_install_stop_handler() != 0) return 10;
            ::raise(row.sig);
            tvn_cm_server& server = tvn_cm_server::instance();
            int32_t started = tvn_cm_start_serving(server);
            if (row.stops) {
                if (started != 1) return 11;
                if (!server.wait_listening_for(0ms)) return 12;
                if (!port_free(tvn_cm_server::LISTEN_PORT)) return 13;
            } else {
                // Ignored: serving begins, and a real stop still ends it.
                if (started != 0) return 14;
                if (!answering()) return 16;
                ::raise(SIGTERM);
                if (!server.wait_listening_for(20s)) return 15;
                server.wait_listening();
            }
            tvn_cm_remove_stop_handler();
            return 0;
        });
        EXPECT_EQ(rc, 0);
    }
}

// A stop between bind and loop: the server core's teardown runs from two
// threads at once there, and only one of them may close the context.
TEST_F(StopHandlerTest, AStopRacingTheStartEndsServingEveryTime) {
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        int rc = in_child([] {
            if (tvn_cm_install_stop_handler() != 0) return 10;
            tvn_cm_server& server = tvn_cm_server::instance();
            std::thread stopper([] { ::kill(::getpid(), SIGTERM); });
            int32_t started = tvn_cm_start_serving(server);
            stopper.join();
            if (started == 0) {
                if (!server.wait_listening_for(20s)) return 20;
                server.wait_listening();
            } else if (started != 1) {
                return 21;
            }
            tvn_cm_remove_stop_handler();
            if (!port_free(tvn_cm_server::LISTEN_PORT)) return 22;
            return started == 0 ? 0 : 1;
        });
        // 0: the stop reached a server that had started; 1: it came first.
        EXPECT_TRUE(rc == 0 || rc == 1) << rc;
    }
}

TEST_F(StopHandlerTest, SignalsThroughTeardownNeitherEndTheProcessNorWriteIntoReusedDescriptors) {
    int rc = in_child([] {
        if (tvn_cm_install_stop_handler() != 0) return 10;
        tvn_cm_server& server = tvn_cm_server::instance();
        if (tvn_cm_start_serving(server) != 0) return 11;
        if (!answering()) return 12;

        std::atomic<bool> storm{true};
        std::atomic<long> sent{0};
        std::thread storm_thread([&] {
            for (int i = 0; storm.load(); ++i) {
                ::kill(::getpid(), i % 2 ? SIGINT : SIGTERM);
                sent.fetch_add(1);
                // Thousands a second, yet the process still gets to run: a
                // storm with no pause only measures how loaded the machine is.
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        });
        bool ended = server.wait_listening_for(20s);
        if (ended) server.wait_listening();
        tvn_cm_remove_stop_handler();

        // The lowest free numbers: those the stop pipe had, in all likelihood.
        int reused[2] = {-1, -1};
        int result = 0;
        if (!ended) {
            result = 30;
        } else if (::pipe2(reused, O_NONBLOCK) != 0) {
            result = 31;
        } else {
            long until = sent.load() + 2000;
            tvn_test::eventually([&] { return sent.load() >= until; }, 20s);
            storm.store(false);
            storm_thread.join();
            char b;
            if (::read(reused[0], &b, 1) != -1 || errno != EAGAIN) result = 32;
        }
        if (storm_thread.joinable()) {
            storm.store(false);
            storm_thread.join();
        }
        return result;
    });
    EXPECT_EQ(rc, 0);
}

// The real binary, signalled at milestones of its start-up.
class StopBinaryTest : public ::testing::Test {
protected:
    std::string path(const std::string& abs) const { return root_.path(abs); }
    bool logged(const std::string& text) const {
        return read_text(path("/var/log/platform/tvn_cm.log")).find(text) != std::string::npos;
    }
    bool lock_is_free() const {
        int fd = ::open(path("/KSD/component/protocol/proto_tvn_cm.pid").c_str(), O_RDWR);
        if (fd < 0) return true;
        bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
        ::close(fd);
        return free;
    }

    tvn_test::scoped_sysroot root_;
};

TEST_F(StopBinaryTest, SigtermAtEachMomentOfStartUpEndsItInTime) {
    const struct {
        const char* after;   // signalled once this is in the service log; "" at once
        std::set<int> ends;  // before the handler is in place the default action may end it
    } rows[] = {
        {"", {0, 128 + SIGTERM}},
        {"Start init IOD.", {0, 128 + SIGTERM}},
        {"The cm rpc server wait listening.", {0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.after);
        ::unlink(path("/var/log/platform/tvn_cm.log").c_str());
        cm_process p(root_.root(), {"-l", "1", "-v", "1"});
        ASSERT_TRUE(p.started());
        if (*row.after != '\0') {
            ASSERT_TRUE(eventually([&] { return logged(row.after) || !p.running(); }, 20s) && p.running())
                << read_text(path("/var/log/platform/tvn_cm.log"));
        }
        p.signal(SIGTERM);
        ASSERT_TRUE(p.wait_exit(20s)) << "tvn_cm did not end";
        EXPECT_TRUE(row.ends.count(p.exit_code())) << p.exit_code();
        EXPECT_TRUE(lock_is_free());
    }
}

TEST_F(StopBinaryTest, StopsRepeatedUntilTheEndLetTheTeardownFinish) {
    cm_process p(root_.root(), {"-l", "1", "-v", "1"});
    ASSERT_TRUE(eventually([&] { return logged("The cm rpc server wait listening.") || !p.running(); }, 20s));
    ASSERT_TRUE(p.running()) << read_text(path("/var/log/platform/tvn_cm.log"));
    // Signals keep coming while it tears down, up to the moment it is gone.
    EXPECT_TRUE(eventually(
        [&] {
            if (!p.running()) return true;
            p.signal(SIGTERM);
            return false;
        },
        20s, 1ms));
    ASSERT_TRUE(p.wait_exit(5s));
    EXPECT_EQ(p.exit_code(), 0);
    EXPECT_TRUE(logged("cm exe start the rpc server success"));
    EXPECT_TRUE(lock_is_free());
}

}  // namespace
