// The real tvn_cm binary: start-up, serving on 127.0.0.1:6106, stop, the
// single-instance lock and every start-up failure point.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <set>
#include <nlohmann/json.hpp>
#include <zmq.h>

#include "cm_test_client.h"
#include "service_test_util.h"

// The OM framework's own registration step is what fails at start-up step 6.
#define TVN_TEST_REGISTER_FAIL_POINT "rpcInitWork"

namespace {

using namespace std::chrono_literals;
using tvn_test::scoped_sysroot;

const char* const kUsage =
    "Usage: [options] \n\nOptions: \n-l | --lsid        process id\n-v | --version        process "
    "version\n-f | --file        config file\n-s | --startType   start type:s/r for start/restart\nYou "
    "must supply lsid and version at least\nwith appropriate extensions for the file formats.\n\n";

class BinaryTest : public ::testing::Test {
protected:
    void SetUp() override { root_.emplace(); }
    void TearDown() override { root_.reset(); }

    std::string root() const { return root_->root(); }
    std::string path(const std::string& abs) const { return root() + abs; }
    std::string logs() const {
        return read_text(path("/var/log/platform/tvn_cm.log")) + read_text(path("/var/log/platform/process_shell.log"));
    }
    bool logged(const std::string& text) const { return logs().find(text) != std::string::npos; }
    std::string pid_file() const { return path("/KSD/component/protocol/proto_tvn_cm.pid"); }
    bool lock_is_free() const {
        int fd = ::open(pid_file().c_str(), O_RDWR);
        if (fd < 0) return true;
        bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
        ::close(fd);
        return free;
    }
    // Waits until the process answers on 6106 (or has ended).
    static bool serving(cm_process& p, cm_test_client& client) {
        return eventually([&] { return !p.running() || client.cm_state(300) == 0; }, 20000ms) && p.running();
    }
    // Every run ends with status 0, whatever happened.
    static void expect_clean_end(cm_process& p, std::chrono::milliseconds limit = 20000ms) {
        ASSERT_TRUE(p.wait_exit(limit)) << "tvn_cm did not end";
        EXPECT_EQ(p.exit_code(), 0);
    }

private:
    std::optional<scoped_sysroot> root_;
};

TEST_F(BinaryTest, ServesStopsOnSigtermAndLetsTheLockGo) {
    write_text(path("/KSD/conf/tvn_cm/failover.json"), R"({"local_node": "node-x"})");
    // Junk in the attribute file does not stop the start.
    std::string attrs = root() + "/attrs.ini";
    write_text(attrs, std::string("\x01\xff[base\nprocess_name=\"tvn_cm\"\n=\n[x]\n", 31) + std::string(1000, 'z') + "\n");
    cm_process p(root(), {"-l", "1", "-v", "1", "-f", attrs}, {{"TVN_NODE_ID", "4"}});
    cm_test_client client;
    ASSERT_TRUE(serving(p, client)) << logs();

    tvn_get_cluster_info_req info_req;
    info_req.set_info_type(GET_NODE_ID);
    tvn_get_cluster_info_rsp info_rsp;
    ASSERT_EQ(client.call(client.cm(), &tvn_cm_service_Stub::get_cluster_info, info_req, info_rsp), 0);
    EXPECT_EQ(info_rsp.result(), 0);
    EXPECT_EQ(info_rsp.node_id(), 4u);

    tvn_alarm_req alarm;
    alarm.set_alarm_id(0xabc);
    alarm.set_alarm_type(3);
    alarm.add_args("fs1");
    alarm.add_args("share1");
    tvn_alarm_rsp alarm_rsp;
    ASSERT_EQ(client.call(client.cm(), &tvn_cm_service_Stub::cm_send_alarm, alarm, alarm_rsp), 0);
    EXPECT_EQ(alarm_rsp.status(), 0);
    auto line = nlohmann::json::parse(read_text(path("/var/log/platform/alarm.jsonl")));
    EXPECT_EQ(line["text"], "fs1,share1");
    EXPECT_EQ(line["id"], "0xabc");

    tvn_get_node_name_req name_req;
    tvn_get_node_name_rsp name_rsp;
    ASSERT_EQ(client.call(client.failover(), &tvn_failover_service_Stub::get_node_name, name_req, name_rsp), 0);
    EXPECT_EQ(name_rsp.node_name(), "node-x");

    EXPECT_EQ(read_text(pid_file()), std::to_string(p.pid()) + "\n");
    EXPECT_FALSE(lock_is_free());

    // The platform was brought up in the start-up's order.
    std::vector<std::string> calls;
    std::istringstream platform(read_text(path("/var/log/platform/process_shell.log")));
    for (std::string l; std::getline(platform, l);) {
        auto at = l.find("Stand-in ");
        if (at != std::string::npos) calls.push_back(l.substr(at + 9, l.find(' ', at + 9) - at - 9));
    }
    const std::vector<std::string> order = {
        "dpax_symbol_init", "dpax_exception_init", "snm_agent_init", "EA_GenerateProductIni",
        "CST_GetItemFromFile", "DBG_DiagnoseAgentInit", "TvnCloseDpucDataPipe", "Tvn_Cm_Netlink_StartService",
        "dpax_log_init", "dpax_Init", "osax_init", "dp_mm_pool_init", "dp_shm_pool_init", "IOD_Init",
        "MgmtSnmInit", "dra_proc_id_set", "NET_initUcLinkModule", "TvnCmFmInit", "TvnInitKMCAClient",
        "tvnRegNasTracePoint"};
    auto it = calls.begin();
    for (const auto& want : order) {
        it = std::find(it, calls.end(), want);
        ASSERT_NE(it, calls.end()) << want << " missing or out of order in " << ::testing::PrintToString(calls);
    }
    // Both logs are open while it serves.
    std::set<std::string> open_files;
    for (const auto& fd : std::filesystem::directory_iterator("/proc/" + std::to_string(p.pid()) + "/fd")) {
        std::error_code ec;
        open_files.insert(std::filesystem::read_symlink(fd.path(), ec).string());
    }
    EXPECT_TRUE(open_files.count(path("/var/log/platform/tvn_cm.log")));
    EXPECT_TRUE(open_files.count(path("/var/log/platform/process_shell.log")));

    // A second instance is refused and leaves the first's file alone.
    {
        cm_process second(root(), {"-l", "1", "-v", "1"});
        expect_clean_end(second);
        EXPECT_TRUE(logged("the cm exe run failed, the process has running."));
        EXPECT_TRUE(logged("Flock file (" + pid_file() + ") failed, errno(11)."));
        EXPECT_EQ(read_text(pid_file()), std::to_string(p.pid()) + "\n");
        EXPECT_EQ(client.cm_state(), 0);
    }

    // SIGABRT from outside is ignored.
    p.signal(SIGABRT);
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(p.running());
    EXPECT_EQ(client.cm_state(), 0);

    p.signal(SIGTERM);
    expect_clean_end(p, 10000ms);
    EXPECT_TRUE(lock_is_free());
    EXPECT_TRUE(logged("cm exe start the rpc server success"));
    EXPECT_TRUE(logged("PS Init module: tvn_cm end, status: 1"));
    EXPECT_TRUE(logged("PS process init fail code:1"));
    // The last line of each log was written in full before the end.
    std::string service_log = read_text(path("/var/log/platform/tvn_cm.log"));
    ASSERT_FALSE(service_log.empty());
    EXPECT_EQ(service_log.back(), '\n');
}

TEST_F(BinaryTest, SigintStopsItToo) {
    cm_process p(root(), {"--lsid", "2", "--version", "1", "--startType", "r"});
    cm_test_client client;
    ASSERT_TRUE(serving(p, client)) << logs();
    p.signal(SIGINT);
    expect_clean_end(p, 10000ms);
    EXPECT_TRUE(lock_is_free());
}

TEST_F(BinaryTest, EachStartUpFailurePointEndsStartUpWithItsOwnText) {
    const std::pair<const char*, const char*> rows[] = {
        {"dpax_exception_init", "PS process init signal fail code:-1"},
        {"snm_agent_init", "PS Init module: snm_agent end, status: -1"},
        {"DBG_DiagnoseAgentInit", "Diagnose agent init failed ret=-1."},
        {"TvnCloseDpucDataPipe", "Close dpuc data pipe failed ret=-1."},
        {"Tvn_Cm_Netlink_StartService", "Start netlink service failed ret=-1."},
        {"dplog_init", "dplog init fail."},
        {"dpax_log_init", "dpax_log_init failed"},
        {"dpax_Init", "dpax init failed"},
        {"osax_init", "Osax init failed.ret(-1)."},
        {"dp_mm_pool_init", "dp_mm_pool_init failed"},
        {"dp_shm_pool_init", "Init dpumm failed,ret(-1)."},
        {"IOD_Init", "Init iod failed,ret(-1)."},
        {"MgmtSnmInit", "tvn_cm Initial SNM Failed."},
        {"dra_proc_id_set", "tvn_cm set proc id Failed:-1."},
        {"NET_initUcLinkModule", "tvn_cm Initial initUcLinkModule Failed:-1."},
        {"TvnCmFmInit", "tvn_cm Initial feature manager Failed:-1."},
        {TVN_TEST_REGISTER_FAIL_POINT, "Register rpc failed."},
        {"tvn_cm_event_engine", "start cm event engine failed, rc(-1)."},
    };
    for (auto [point, text] : rows) {
        SCOPED_TRACE(point);
        ::unlink(path("/var/log/platform/tvn_cm.log").c_str());
        ::unlink(path("/var/log/platform/process_shell.log").c_str());
        cm_process p(root(), {"-l", "1", "-v", "1"}, {{"TVN_FAIL_AT", point}});
        expect_clean_end(p);
        EXPECT_TRUE(logged(text)) << logs();
        EXPECT_TRUE(logged("PS process init fail code:1")) << logs();
        EXPECT_FALSE(logged("The cm rpc server wait listening."));
        EXPECT_TRUE(lock_is_free());
    }
}

TEST_F(BinaryTest, PlatformFailuresAreSummedUpByTheirStep) {
    cm_process p(root(), {"-l", "1", "-v", "1"}, {{"TVN_FAIL_AT", "osax_init"}});
    expect_clean_end(p);
    EXPECT_TRUE(logged("Start init osax."));
    EXPECT_TRUE(logged("Init infrastructure failed, ret(-1)."));
    EXPECT_TRUE(logged("Init dependent component failed."));
    EXPECT_FALSE(logged("Start init IOD."));
}

TEST_F(BinaryTest, SomeFailuresAreLoggedAndStartUpCarriesOn) {
    const std::pair<const char*, const char*> rows[] = {
        {"EA_GenerateProductIni", "Ea Initial Failed."},
        {"CST_GetItemFromFile", "When start process tvn_cm, read global config(whether support nas) failed(ret 0)."},
        {"TvnInitKMCAClient", "Init kmc client failed, rc(-1)."},
    };
    for (auto [point, text] : rows) {
        SCOPED_TRACE(point);
        cm_process p(root(), {"-l", "1", "-v", "1"}, {{"TVN_FAIL_AT", point}});
        cm_test_client client;
        ASSERT_TRUE(serving(p, client)) << logs();
        EXPECT_TRUE(logged(text)) << logs();
        p.signal(SIGTERM);
        expect_clean_end(p, 10000ms);
    }
    EXPECT_TRUE(logged("When start process tvn_cm, read support flag(1-1) success."));
}

TEST_F(BinaryTest, AServiceLogThatCannotBeOpenedEndsStartUp) {
    ASSERT_EQ(tvn::make_dirs(path("/var/log/platform/tvn_cm.log")), 0);  // a folder in its place
    cm_process p(root(), {"-l", "1", "-v", "1"});
    expect_clean_end(p);
    EXPECT_NE(read_text(p.err_file()).find("Init Log Error, rc = -21"), std::string::npos) << read_text(p.err_file());
    EXPECT_TRUE(logged("PS process init fail code:1"));
}

// A supervisor may start the service with any umask; what the start-up
// creates (logs, lock, configuration, folders) is never group- or
// world-writable all the same.
TEST_F(BinaryTest, NothingItCreatesIsWritableByOthersEvenUnderUmask000) {
    const mode_t old_mask = ::umask(0);
    cm_process p(root(), {"-l", "1", "-v", "1"});
    ::umask(old_mask);
    cm_test_client client;
    ASSERT_TRUE(serving(p, client)) << logs();
    p.stop();
    size_t checked = 0;
    for (const auto& e : std::filesystem::recursive_directory_iterator(root())) {
        const std::string name = e.path().filename().string();
        // The test's own capture of standard output and error.
        if (e.path().parent_path() == root() && (name.rfind("stdout.", 0) == 0 || name.rfind("stderr.", 0) == 0))
            continue;
        struct stat st {};
        ASSERT_EQ(::lstat(e.path().c_str(), &st), 0) << e.path();
        if (S_ISLNK(st.st_mode)) continue;
        EXPECT_EQ(st.st_mode & (S_IWGRP | S_IWOTH), 0u) << e.path() << " mode " << std::oct << (st.st_mode & 07777);
        ++checked;
    }
    EXPECT_GE(checked, 5u) << "the start-up should have made its logs, lock and folders";
}

// Any local process can connect to 127.0.0.1:6106. A frame far beyond any
// request drops its connection before it is read, so the service never holds
// it (its peak resident size stays put), and it goes on answering.
TEST_F(BinaryTest, AnOversizedFrameOnTheRpcPortIsDroppedUnread) {
    cm_process p(root(), {"-l", "1", "-v", "1"});
    cm_test_client client;
    ASSERT_TRUE(serving(p, client)) << logs();
    const long peak_before = tvn_test::memory_kb(p.pid(), "VmHWM");
    ASSERT_GT(peak_before, 0);

    constexpr size_t kBig = 64u << 20;
    void* ctx = zmq_ctx_new();
    void* dealer = zmq_socket(ctx, ZMQ_DEALER);
    int linger = 0;
    zmq_setsockopt(dealer, ZMQ_LINGER, &linger, sizeof(linger));
    ASSERT_EQ(zmq_socket_monitor(dealer, "inproc://tvn-big-frame", ZMQ_EVENT_DISCONNECTED), 0);
    void* monitor = zmq_socket(ctx, ZMQ_PAIR);
    zmq_setsockopt(monitor, ZMQ_LINGER, &linger, sizeof(linger));
    ASSERT_EQ(zmq_connect(monitor, "inproc://tvn-big-frame"), 0);
    ASSERT_EQ(zmq_connect(dealer, "tcp://127.0.0.1:6106"), 0);
    {
        std::string big(kBig, 'x');
        EXPECT_EQ(zmq_send(dealer, "", 0, ZMQ_SNDMORE), 0);
        EXPECT_EQ(zmq_send(dealer, big.data(), big.size(), 0), static_cast<int>(kBig));
    }
    // Dropped: the service closes the connection. Read whole: nothing is
    // closed, and after the wait the frame has long been taken in.
    zmq_pollitem_t item{monitor, 0, ZMQ_POLLIN, 0};
    EXPECT_EQ(zmq_poll(&item, 1, 10000), 1) << "the connection was not dropped";
    zmq_close(monitor);
    zmq_close(dealer);
    zmq_ctx_term(ctx);

    EXPECT_EQ(client.cm_state(5000), 0) << "the server stopped answering";
    const long peak_after = tvn_test::memory_kb(p.pid(), "VmHWM");
    EXPECT_LT(peak_after - peak_before, static_cast<long>(kBig / 1024 / 4))
        << "peak resident size before " << peak_before << " kB, after " << peak_after << " kB";
    p.stop();
}

TEST_F(BinaryTest, ATakenPortEndsItCleanly) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(6106);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
    ASSERT_EQ(::listen(fd, 1), 0);
    cm_process p(root(), {"-l", "1", "-v", "1"});
    expect_clean_end(p);
    ::close(fd);
    EXPECT_TRUE(logged("The cm rpc port is already used."));
    EXPECT_TRUE(logged("The cm rpc server run thread job stop."));
    EXPECT_TRUE(lock_is_free());
}

TEST_F(BinaryTest, BadCommandLinesPrintTheUsageAndEndWithZero) {
    const std::vector<std::string> rows[] = {
        {"-l", "1"}, {}, {"-x"}, {"-l", "1", "-v"}, {"-l", "one", "-v", "1"}, {"--lsid=1", "--version", "-1"},
    };
    for (const auto& args : rows) {
        SCOPED_TRACE(::testing::PrintToString(args));
        cm_process p(root(), args);
        expect_clean_end(p, 10000ms);
        EXPECT_EQ(read_text(p.err_file()), kUsage);
        EXPECT_EQ(read_text(p.out_file()), "");
    }
    EXPECT_TRUE(logged("PS Lack of params 0x1, see usage for more info"));
    EXPECT_FALSE(logged("PS Init module"));
}

}  // namespace
