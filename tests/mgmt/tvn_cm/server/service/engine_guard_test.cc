#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>

#include "service_test_util.h"
#include "tvn_cm_event_engine.h"
#include "tvn_failover_service_data.h"
#include "tvn_once_launch.h"

namespace {

using EngineTest = ServiceTest;

TEST_F(EngineTest, JobsRunPeriodicallyUntilStopped) {
    tvn_cm_event_engine engine;
    std::atomic<int> fast{0};
    std::atomic<int> slow{0};
    ASSERT_EQ(engine.add_job("fast", 5, [&] { ++fast; }), 0);
    ASSERT_EQ(engine.add_job("slow", 3600000, [&] { ++slow; }), 0);
    ASSERT_EQ(engine.start_work(), 0);
    EXPECT_EQ(engine.start_work(), 0);  // already running
    EXPECT_TRUE(engine.is_working());
    EXPECT_TRUE(eventually([&] { return fast.load() >= 3; }));
    engine.stop_work();
    EXPECT_FALSE(engine.is_working());
    int after = fast.load();
    EXPECT_EQ(engine.job_runs("fast"), static_cast<uint64_t>(after));
    EXPECT_EQ(slow.load(), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(fast.load(), after);  // nothing runs after stop_work returned
    engine.stop_work();             // twice is fine

    // And it can start again.
    ASSERT_EQ(engine.start_work(), 0);
    EXPECT_TRUE(eventually([&] { return fast.load() > after; }));
}

TEST_F(EngineTest, AJobThatThrowsIsLoggedAndKeepsItsPlace) {
    tvn_cm_event_engine engine;
    std::atomic<int> runs{0};
    ASSERT_EQ(engine.add_job("thrower", 5, [&] {
        ++runs;
        throw std::runtime_error("boom");
    }), 0);
    ASSERT_EQ(engine.start_work(), 0);
    EXPECT_TRUE(eventually([&] { return runs.load() >= 2; }));
    engine.stop_work();
    EXPECT_TRUE(logged("Event job thrower failed: boom."));
}

TEST_F(EngineTest, JobsAreCheckedAndStartCanBeMadeToFail) {
    tvn_cm_event_engine engine;
    EXPECT_EQ(engine.add_job("", 10, [] {}), -22);
    EXPECT_EQ(engine.add_job("a", 0, [] {}), -22);
    EXPECT_EQ(engine.add_job("a", 10, nullptr), -22);
    EXPECT_EQ(engine.add_job("a", 10, [] {}), 0);
    EXPECT_EQ(engine.add_job("a", 10, [] {}), -22);
    ::setenv("TVN_FAIL_AT", "tvn_cm_event_engine", 1);
    EXPECT_EQ(engine.start_work(), -1);
    EXPECT_FALSE(engine.is_working());
}

TEST_F(EngineTest, TheServiceEngineRefreshesTheFailoverData) {
    tvn_cm_event_engine& engine = tvn_cm_event_engine::instance();
    EXPECT_EQ(&engine, &tvn_cm_event_engine::instance());
    uint64_t before = engine.job_runs("failover_data_refresh");
    uint64_t loads = tvn_failover_data::instance().loads();
    ASSERT_EQ(engine.start_work(), 0);
    // One period is 2 s; allow several.
    EXPECT_TRUE(eventually([&] { return engine.job_runs("failover_data_refresh") > before; },
                           std::chrono::milliseconds(15000)));
    engine.stop_work();
    // The first look of this process (or at this new root) reads the file.
    EXPECT_GT(tvn_failover_data::instance().loads(), loads);
}

using GuardTest = ServiceTest;

TEST_F(GuardTest, TheFirstHoldsTheLockAndTheSecondIsRefused) {
    const std::string pid_file = path("/KSD/component/protocol/proto_tvn_cm.pid");
    {
        tvn_once_launch first("proto_tvn_cm");
        EXPECT_EQ(first.pid_file(), pid_file);
        ASSERT_TRUE(first.check());
        EXPECT_TRUE(first.check());  // asking again keeps the lock
        const std::string mine = std::to_string(::getpid()) + "\n";
        EXPECT_EQ(read_text(pid_file), mine);

        // A second open of the file cannot lock it, also within one process.
        tvn_once_launch second("proto_tvn_cm");
        EXPECT_FALSE(second.check());
        EXPECT_EQ(read_text(pid_file), mine);
        EXPECT_TRUE(logged("Flock file (" + pid_file + ") failed, errno(11)."));

        struct stat st {};
        ASSERT_EQ(::stat(pid_file.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
    }
    // Released with the guard: anyone may lock it now.
    int fd = ::open(pid_file.c_str(), O_RDWR);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
    ::close(fd);

    // What a previous run left behind is replaced, not appended to.
    write_text(pid_file, "999999999\nstale\n");
    tvn_once_launch again("proto_tvn_cm");
    ASSERT_TRUE(again.check());
    EXPECT_EQ(read_text(pid_file), std::to_string(::getpid()) + "\n");
}

TEST_F(GuardTest, FailuresToOpenAreLogged) {
    tvn_once_launch unnamed("");
    EXPECT_FALSE(unnamed.check());
    EXPECT_TRUE(logged("PID file name is empty."));

    // The run folder's place is taken by a file.
    write_text(path("/KSD/component/protocol"), "");
    tvn_once_launch guard("proto_tvn_cm");
    EXPECT_FALSE(guard.check());
    EXPECT_TRUE(logged("Open file (" + guard.pid_file() + ") failed, errno(20)."));
}

// Whoever can write the run folder can plant a link or a FIFO under the
// PID file's name; the guard refuses it instead of truncating the target
// or hanging on the FIFO.
TEST_F(GuardTest, APlantedLinkOrFifoIsRefusedAndItsTargetKept) {
    const std::string victim = path("/victim");
    tvn_once_launch probe("proto_tvn_cm");
    const std::string pid_file = probe.pid_file();
    (void)::mkdir(path("/KSD").c_str(), 0755);
    (void)::mkdir(path("/KSD/component").c_str(), 0755);
    ASSERT_EQ(::mkdir(path("/KSD/component/protocol").c_str(), 0755), 0);
    const struct {
        const char* what;
        int (*plant)(const char* target, const char* at);
    } cases[] = {
        {"link", [](const char* target, const char* at) { return ::symlink(target, at); }},
        {"fifo", [](const char*, const char* at) { return ::mkfifo(at, 0600); }},
    };
    for (const auto& c : cases) {
        write_text(victim, "precious\n");
        ::unlink(pid_file.c_str());
        ASSERT_EQ(c.plant(victim.c_str(), pid_file.c_str()), 0) << c.what;
        tvn_once_launch guard("proto_tvn_cm");
        EXPECT_FALSE(guard.check()) << c.what;
        EXPECT_EQ(read_text(victim), "precious\n") << c.what;
        EXPECT_TRUE(logged("Open file (" + pid_file + ") failed")) << c.what;
    }
}

}  // namespace
