// The thread server's start/stop contract and the smart client socket
// against loopback listeners.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tvn_smart_socket.h"
#include "tvn_test_wait.h"
#include "tvn_thread_server.h"

namespace {

// A job that rests in long naps until told to end.
class napping_job : public tvn_thread_server {
public:
    ~napping_job() override {
        refuse_interrupt = false;
        stop_thread_server();
    }
    bool interupt_thread_work() override {
        ++interrupts;
        if (refuse_interrupt) return false;
        quit = true;
        stop_resting();
        return true;
    }
    void run_thread_job() override {
        ++runs;
        while (!quit) take_a_rest(60000);
        quit = false;
    }
    std::atomic<bool> quit{false};
    std::atomic<bool> refuse_interrupt{false};
    std::atomic<int> runs{0};
    std::atomic<int> interrupts{0};
};

using tvn_test::eventually;

TEST(ThreadServer, StartTwiceMakesOneThreadAndStopWakesTheRest) {
    napping_job job;
    EXPECT_EQ(job.stop_thread_server(), 1);  // never started
    EXPECT_EQ(job.start_thread_server(), 1);
    EXPECT_EQ(job.start_thread_server(), 1);
    EXPECT_TRUE(job.is_server_start());
    ASSERT_TRUE(eventually([&] { return job.runs == 1; }));
    // The job sleeps for a minute unless the interrupt hook wakes it.
    EXPECT_EQ(job.stop_thread_server(), 1);
    EXPECT_FALSE(job.is_server_start());
    EXPECT_EQ(job.runs.load(), 1);
}

TEST(ThreadServer, ARefusedInterruptLeavesTheJobRunning) {
    napping_job job;
    ASSERT_EQ(job.start_thread_server(), 1);
    job.refuse_interrupt = true;
    EXPECT_EQ(job.stop_thread_server(), 0);
    EXPECT_TRUE(job.is_server_start());
    job.refuse_interrupt = false;
    EXPECT_EQ(job.stop_thread_server(), 1);
    EXPECT_FALSE(job.is_server_start());
    EXPECT_EQ(job.interrupts.load(), 2);
}

TEST(ThreadServer, RestartsAfterAStop) {
    napping_job job;
    for (int round = 1; round <= 3; ++round) {
        ASSERT_EQ(job.start_thread_server(), 1);
        ASSERT_TRUE(eventually([&] { return job.runs == round; }));
        ASSERT_EQ(job.stop_thread_server(), 1);
    }
}

TEST(ThreadServer, InterruptCutsARestShort) {
    napping_job job;
    std::atomic<bool> rested{false};
    std::thread sleeper([&] {
        job.take_a_rest(60000);
        rested = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    job.interrupt();
    sleeper.join();
    EXPECT_TRUE(rested);
    EXPECT_TRUE(job.interruption_requested());
    job.take_a_rest(60000);  // returns at once while interrupted
}

// A loopback TCP listener on a kernel-chosen port.
class listener {
public:
    listener() {
        fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof(sa));
        ::listen(fd_, 4);
        socklen_t len = sizeof(sa);
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&sa), &len);
        port_ = ntohs(sa.sin_port);
    }
    ~listener() { close(); }
    void close() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }
    unsigned short port() const { return port_; }

private:
    int fd_ = -1;
    unsigned short port_ = 0;
};

TEST(SmartSocket, ConnectsToAListeningPeer) {
    listener peer;
    tvn_smart_socket_cli cli;
    ASSERT_EQ(cli.init("127.0.0.1", peer.port(), tvn_smart_socket_cli::TYPE_STREAM, true), 0);
    EXPECT_GE(cli.get_socket(), 0);
    EXPECT_EQ(cli.bind_src("127.0.0.1"), 0);
    EXPECT_EQ(cli.connect_nonblock(2000), 0);
    cli.fini();
    EXPECT_EQ(cli.get_socket(), -1);
}

TEST(SmartSocket, ARefusedConnectionFails) {
    listener peer;
    const unsigned short port = peer.port();
    peer.close();
    tvn_smart_socket_cli cli;
    ASSERT_EQ(cli.init("127.0.0.1", port, tvn_smart_socket_cli::TYPE_STREAM, true), 0);
    const int rc = cli.connect_nonblock(2000);
    // Loopback may refuse at once or after the handshake starts.
    EXPECT_TRUE(rc == -13 || rc == -1) << rc;
}

TEST(SmartSocket, BadArgumentsFail) {
    tvn_smart_socket_cli cli;
    EXPECT_NE(cli.init("127.0.0.1", 1, 3, true), 0);
    EXPECT_NE(cli.init("", 1, tvn_smart_socket_cli::TYPE_STREAM, true), 0);  // resolves to nothing
    ASSERT_EQ(cli.init("127.0.0.1", 1, tvn_smart_socket_cli::TYPE_DGRAM, true), 0);
    EXPECT_EQ(cli.bind_src(""), -6);
    EXPECT_EQ(cli.bind_src("192.0.2.1"), -5);  // not an address of this host
}

}  // namespace
