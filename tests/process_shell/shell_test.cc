#include <sys/capability.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "ps_test_fixture.h"
#include "tvn_test_process.h"

namespace {

using tvn_test::wait_child;

using ::testing::ElementsAre;

class PassesTest : public ShellTest {
protected:
    // Ends a successful start-up from another thread, as a module would.
    void exit_after_activate(int32_t code) {
        ps_test::module_hooks().activate = [this, code](const std::string& name) {
            if (name == "tail") stopper_ = std::thread([code] { process_request_exit(code); });
            return 0;
        };
    }
    void TearDown() override {
        if (stopper_.joinable()) stopper_.join();
        ShellTest::TearDown();
    }
    std::string active_file(const std::string& process, unsigned lsid) const {
        return root() + "/etc/osax/process_" + process + "_" + std::to_string(lsid) + ".ini";
    }
    std::thread stopper_;
};

TEST_F(PassesTest, ASuccessfulStartRunsInitThenActivateAndWaitsForTheExitFlag) {
    exit_after_activate(7);
    ::setenv("TVN_FAIL_AT", "", 1);
    EXPECT_EQ(run_main({"-l", "3", "-v", "1"}), 7);
    EXPECT_THAT(ps_test::calls(), ElementsAre("init:tvn_cm", "init:probe", "init:tail", "activate:tvn_cm",
                                              "activate:probe", "activate:tail"));
    EXPECT_TRUE(process_is_init_done());
    EXPECT_EQ(ps_test::g_probe.prev, &ps_test::g_twin);
    EXPECT_EQ(ps_test::g_probe.next, &ps_test::g_tail);
    EXPECT_EQ(g_module_ps_base.prev, nullptr);
    EXPECT_EQ(ps_test::g_tail.next, nullptr);
    EXPECT_TRUE(logged("PS Init module: base end, status: 0, time: "));
    EXPECT_TRUE(logged("PS Init module: probe end, status: 0, time: "));
    EXPECT_TRUE(logged("PS Exit flag is set, exiting process, exit code 7"));
    EXPECT_TRUE(logged("PS process exit error code: 7"));
    EXPECT_FALSE(logged("PS Activate module"));
}

TEST_F(PassesTest, AFailingInitStopsThePassThere) {
    ps_test::module_hooks().init = [](const std::string& name) { return name == "probe" ? 5 : 0; };
    EXPECT_EQ(run_main({"-l", "3", "-v", "1"}), 1);
    EXPECT_THAT(ps_test::calls(), ElementsAre("init:tvn_cm", "init:probe"));
    EXPECT_FALSE(process_is_init_done());
    EXPECT_TRUE(logged("PS Init module: probe end, status: 5, time: "));
    EXPECT_TRUE(logged("PS process init modules failed: 5"));
    EXPECT_TRUE(logged("PS process init fail code:1"));
    EXPECT_EQ(ps_get_active_success_times(), 0u);
}

TEST_F(PassesTest, AFailingActivateStopsThePassWithItsStatus) {
    ps_test::module_hooks().activate = [](const std::string& name) { return name == "probe" ? -9 : 0; };
    EXPECT_EQ(run_main({"-l", "3", "-v", "1"}), 1);
    EXPECT_THAT(ps_test::calls(), ElementsAre("init:tvn_cm", "init:probe", "init:tail", "activate:tvn_cm",
                                              "activate:probe"));
    EXPECT_TRUE(process_is_init_done());
    EXPECT_TRUE(logged("PS Activate module: probe end, status: -9"));
    EXPECT_TRUE(logged("PS process init fail code:-9"));
}

TEST_F(PassesTest, AnExitAskedForDuringInitSkipsActivation) {
    ps_test::module_hooks().init = [](const std::string& name) {
        if (name == "tail") process_set_exit(3);
        return 0;
    };
    EXPECT_EQ(run_main({"-l", "3", "-v", "1"}), 1);
    EXPECT_TRUE(logged("PS Exit flag is set, exit code 3"));
    for (const auto& c : ps_test::calls()) EXPECT_EQ(c.rfind("activate:", 0), std::string::npos) << c;
}

TEST_F(PassesTest, ActiveTimesCountSuccessfulStartsOnly) {
    const std::string file = active_file("counter", 5);
    std::string attrs = write_file("a.ini", "[base]\nprocess_name=counter\n");
    std::vector<std::string> args = {"-l", "5", "-v", "1", "-f", attrs};

    // Missing file: 0, written back as 1.
    exit_after_activate(0);
    EXPECT_EQ(run_main(args), 0);
    stopper_.join();
    EXPECT_TRUE(logged("PS Read init_times cfg file faild! ret = -2"));
    EXPECT_EQ(ps_get_active_success_times(), 1u);
    EXPECT_NE(read_text(file).find("active_times=1"), std::string::npos) << read_text(file);

    for (uint64_t want = 2; want <= 4; ++want) {
        ps_reset_for_test();
        ps_test::reset();
        exit_after_activate(0);
        EXPECT_EQ(run_main(args), 0);
        stopper_.join();
        EXPECT_EQ(ps_get_active_success_times(), want);
    }

    // A failed start reads the counter but does not count.
    ps_reset_for_test();
    ps_test::reset();
    ps_test::module_hooks().activate = [](const std::string&) { return 1; };
    EXPECT_EQ(run_main(args), 1);
    EXPECT_EQ(ps_get_active_success_times(), 4u);
    EXPECT_NE(read_text(file).find("active_times=4"), std::string::npos);

    // Another lsid keeps its own count; a damaged file starts again from 0.
    ps_reset_for_test();
    ps_test::reset();
    std::string other = active_file("counter", 6);
    tvn::make_parent_dirs(other);
    std::ofstream(other) << "[PROCESS]\nactive_times=lots\n";
    exit_after_activate(0);
    EXPECT_EQ(run_main({"-l", "6", "-v", "1", "-f", attrs}), 0);
    stopper_.join();
    EXPECT_EQ(ps_get_active_success_times(), 1u);
    EXPECT_NE(read_text(file).find("active_times=4"), std::string::npos);
}

TEST_F(PassesTest, AnUnwritableCounterIsNotFatal) {
    // /etc/osax as a file: the folder cannot be made and nothing is written.
    ASSERT_EQ(tvn::make_dirs(root() + "/etc"), 0);
    write_file("etc/osax", "not a folder");
    exit_after_activate(0);
    EXPECT_EQ(run_main({"-l", "1", "-v", "1"}), 0);
    EXPECT_TRUE(logged("PS save file faild! ret = "));
    EXPECT_TRUE(logged("PS Read init_times cfg file faild! ret = "));
}

TEST_F(PassesTest, TheOsaxFolderIsMadeWhenMissing) {
    ps_test::module_hooks().init = [](const std::string&) { return 1; };
    EXPECT_EQ(run_main({"-l", "1", "-v", "1"}), 1);
    EXPECT_EQ(::access((root() + "/etc/osax").c_str(), F_OK), 0);
}

TEST_F(PassesTest, FinishWalksBackwardsAndStopsAtTheFirstFailure) {
    EXPECT_EQ(process_finish_modules(), 0);
    EXPECT_THAT(ps_test::calls(), ElementsAre("finish:tail", "finish:probe", "finish:tvn_cm"));
    EXPECT_TRUE(logged("PS Finish module: base start"));
    EXPECT_TRUE(logged("PS Finish module: base end, status: 0"));

    ps_test::reset();
    ps_test::module_hooks().finish = [](const std::string& name) { return name == "probe" ? 6 : 0; };
    EXPECT_EQ(process_finish_modules(), 6);
    EXPECT_THAT(ps_test::calls(), ElementsAre("finish:tail", "finish:probe"));
    EXPECT_TRUE(logged("PS Finish module: probe end, status: 6"));
}

TEST_F(PassesTest, ExitFlagAndCodeAreSeparate) {
    EXPECT_FALSE(process_get_exit());
    process_set_exit_code(12);
    EXPECT_FALSE(process_get_exit());
    EXPECT_EQ(process_get_exit_code(), 12);
    process_set_exit(13);
    EXPECT_TRUE(process_get_exit());
    EXPECT_EQ(process_get_exit_code(), 13);
}

class BaseTest : public ShellTest {
protected:
    static std::vector<std::string> exception_calls() {
        std::vector<std::string> out;
        for (const auto& c : tvn::platform_journal())
            if (c.rfind("dpax_exception", 0) == 0) out.push_back(c);
        return out;
    }
};

TEST_F(BaseTest, SignalHandlingFollowsTheListAndTheSwitch) {
    ASSERT_EQ(g_module_ps_base.init(), 0);
    EXPECT_THAT(exception_calls(), ElementsAre("dpax_exception_init=0"));

    tvn::platform_journal_clear();
    const uint32_t list[] = {SIGUSR2, SIGSEGV};
    ASSERT_EQ(ps_signal_init_with_list(list, 2), 0);
    ASSERT_EQ(g_module_ps_base.init(), 0);
    EXPECT_THAT(exception_calls(), ElementsAre("dpax_exception_init_with_list=0"));
    ASSERT_EQ(g_module_ps_base.finish(), 0);  // frees the list
    uint32_t count = 9;
    EXPECT_EQ(ps_internal::signal_list(count), nullptr);
    EXPECT_EQ(count, 0u);

    tvn::platform_journal_clear();
    ps_signal_switch_off();
    ASSERT_EQ(g_module_ps_base.init(), 0);
    EXPECT_TRUE(exception_calls().empty());
    EXPECT_TRUE(logged("PS Not use process signal."));
    ps_signal_switch_on();
    EXPECT_TRUE(logged("PS Use process signal."));

    EXPECT_EQ(ps_signal_init_with_list(nullptr, 3), -1);
    EXPECT_EQ(ps_signal_init_with_list(list, 0), -1);
    EXPECT_TRUE(logged("PS parm is invaild, sigList is null or num is not bigger than 0(0)."));
    ::signal(SIGUSR2, SIG_DFL);
}

TEST_F(BaseTest, AFailedSignalSetUpFailsTheBaseModule) {
    ::setenv("TVN_FAIL_AT", "dpax_exception_init", 1);
    EXPECT_EQ(run_main({"-l", "1", "-v", "1"}), 1);
    EXPECT_TRUE(logged("PS process init signal fail code:-1"));
    EXPECT_TRUE(logged("PS Init module: base end, status: 1"));
    EXPECT_TRUE(ps_test::calls().empty());
}

TEST_F(BaseTest, ThreadStrategiesAndPoolComeFromTheAttributes) {
    std::string attrs = write_file("a.ini",
                                   "[base]\nthread_pool_num=3\nthread_strategy_default=1:0-1\n"
                                   "thread_strategy_backgroud=2:3\nthread_strategy_io=nocolon\n");
    ASSERT_EQ(parse({"-l", "1", "-v", "1", "-f", attrs}), 0);
    ASSERT_EQ(g_module_ps_base.init(), 0);
    dpax_thread_strategy s{};
    ASSERT_EQ(dpax_get_thread_strategy(0, &s), 0);
    EXPECT_EQ(s.policy, 1);
    EXPECT_STREQ(s.bind_info, "0-1");
    ASSERT_EQ(dpax_get_thread_strategy(5, &s), 0);
    EXPECT_EQ(s.policy, 2);
    EXPECT_STREQ(s.bind_info, "3");
    EXPECT_EQ(dpax_get_thread_strategy(4, &s), -61);
    EXPECT_TRUE(logged("PS Invalid bind info in thread strategy:nocolon"));
    EXPECT_EQ(dpax_thread_pool_size(), 3u);
    EXPECT_EQ(ps_set_thread_strategy(6, "1:2"), -22);
}

TEST_F(BaseTest, NopreemptIsReadOnce) {
    std::string attrs = write_file("a.ini", "[base]\nnopreempt=2\n");
    ASSERT_EQ(parse({"-l", "1", "-v", "1", "-f", attrs}), 0);
    EXPECT_EQ(ps_get_nopreemt_flag(), 2);
    ps_set_i_attr(ps_attrs_get(&g_module_ps_base, "nopreempt"), "9");
    EXPECT_EQ(ps_get_nopreemt_flag(), 2);
}

TEST_F(BaseTest, AFailedMlockallFailsTheBaseModule) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer turns mlockall into a no-op that succeeds";
#endif
    std::string attrs = write_file("a.ini", "[base]\nmlockall=1\n");
    ASSERT_EQ(parse({"-l", "1", "-v", "1", "-f", attrs}), 0);
    // In a child without the right to lock memory, so the test never locks
    // this process's pages.
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        cap_t caps = cap_get_proc();
        cap_value_t lock = CAP_IPC_LOCK;
        cap_set_flag(caps, CAP_EFFECTIVE, 1, &lock, CAP_CLEAR);
        cap_set_flag(caps, CAP_PERMITTED, 1, &lock, CAP_CLEAR);
        cap_set_proc(caps);
        cap_free(caps);
        struct rlimit none {0, 0};
        ::setrlimit(RLIMIT_MEMLOCK, &none);
        _exit(g_module_ps_base.init() == 1 && !dpax_get_instant_map_flag() ? 0 : 1);
    }
    int status = 0;
    ASSERT_TRUE(wait_child(pid, status)) << "the child did not end";
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(logged("PS Mlockall fail ret -1, errno "));
}

}  // namespace
