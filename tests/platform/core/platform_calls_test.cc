#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include <gmock/gmock.h>

#include "core_test_util.h"
#include "dpax.h"
#include "sa_cert.h"
#include "snm_agent.h"
#include "tvn_test_process.h"

namespace {

using tvn_test::wait_child;

using ::testing::ElementsAre;
using PlatformTest = CoreTest;

TEST_F(PlatformTest, EveryStandInFailsWhenNamedAndIsJournaled) {
    using fn = int32_t (*)();
    const std::pair<const char*, fn> calls[] = {
        {"osax_init", osax_init},
        {"dp_mm_pool_init", dp_mm_pool_init},
        {"dp_shm_pool_init", dp_shm_pool_init},
        {"IOD_Init", IOD_Init},
        {"dpax_log_init", dpax_log_init},
        {"dpax_Init", dpax_Init},
        {"TvnCloseDpucDataPipe", TvnCloseDpucDataPipe},
        {"Tvn_Cm_Netlink_StartService", Tvn_Cm_Netlink_StartService},
        {"TvnInitKMCAClient", TvnInitKMCAClient},
        {"tvnRegNasTracePoint", tvnRegNasTracePoint},
        {"TvnCmFmInit", TvnCmFmInit},
        {"dpax_symbol_init", dpax_symbol_init},
    };
    for (auto [name, call] : calls) {
        SCOPED_TRACE(name);
        ::unsetenv("TVN_FAIL_AT");
        EXPECT_EQ(call(), 0);
        ::setenv("TVN_FAIL_AT", (std::string("x,") + name).c_str(), 1);
        EXPECT_EQ(call(), -1);
    }
    ::setenv("TVN_FAIL_AT", "dra_proc_id_set,NET_initUcLinkModule,DBG_DiagnoseAgentInit,MgmtSnmInit", 1);
    EXPECT_EQ(dra_proc_id_set(42), -1);
    EXPECT_EQ(NET_initUcLinkModule(0), -1);
    EXPECT_EQ(DBG_DiagnoseAgentInit(59, "tvn_cm"), -1);
    EXPECT_EQ(MgmtSnmInit(59, 0, "/opt/pl/config/tvn_cm.cfg", "tvn_cm"), -1);
    ::unsetenv("TVN_FAIL_AT");
    EXPECT_EQ(dra_proc_id_set(42), 0);
    EXPECT_EQ(dra_proc_id_get(), 42u);
    EXPECT_EQ(MgmtSnmInit(59, 0, "/opt/pl/config/tvn_cm.cfg", "tvn_cm"), 0);
    EXPECT_EQ(tvn::snm_last_registration().cfg_path, "/opt/pl/config/tvn_cm.cfg");
    EXPECT_EQ(MgmtSnmInit(59, 0, "", "tvn_cm"), -22);
    EXPECT_EQ(DBG_DiagnoseAgentInit(59, nullptr), -22);

    auto journal = tvn::platform_journal();
    ASSERT_GE(journal.size(), 2u);
    EXPECT_EQ(journal[0], "osax_init=0");
    EXPECT_EQ(journal[1], "osax_init=-1");
    EXPECT_NE(platform_log().find("Stand-in osax_init returns -1."), std::string::npos);
}

TEST_F(PlatformTest, TheNodeAgentModuleIsItsOwn) {
    EXPECT_EQ(g_module_snm_agent.id, 2u);
    EXPECT_STREQ(g_module_snm_agent.name, "snm_agent");
    EXPECT_EQ(g_module_snm_agent.init(), 0);
    EXPECT_EQ(g_module_snm_agent.activate(&g_module_snm_agent), 0);
    EXPECT_EQ(g_module_snm_agent.finish(), 0);
    ::setenv("TVN_FAIL_AT", "snm_agent_init", 1);
    EXPECT_EQ(g_module_snm_agent.init(), -1);
    EXPECT_THAT(tvn::platform_journal(), ElementsAre("snm_agent_init=0", "snm_agent_activate=0",
                                                     "snm_agent_finish=0", "snm_agent_init=-1"));
}

TEST_F(PlatformTest, LocalNodeIdComesFromTheEnvironment) {
    const std::pair<const char*, int32_t> rows[] = {
        {"0", 0}, {"17", 0}, {"65534", 0}, {"65535", -22}, {"-1", -22}, {"+3", -22}, {"3x", -22}, {"", 0}, {"x", -22},
    };
    for (auto [text, rc] : rows) {
        SCOPED_TRACE(text);
        ::setenv("TVN_NODE_ID", text, 1);
        uint32_t id = 999;
        EXPECT_EQ(GetLocalNodeId(&id), rc);
        if (rc == 0) {
            EXPECT_EQ(id, std::string(text).empty() ? 0u : std::stoul(text));
        }
    }
    ::unsetenv("TVN_NODE_ID");
    uint32_t id = 999;
    EXPECT_EQ(GetLocalNodeId(&id), 0);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(GetLocalNodeId(nullptr), -22);
    ::setenv("TVN_FAIL_AT", "GetLocalNodeId", 1);
    EXPECT_EQ(GetLocalNodeId(&id), -1);
}

TEST_F(PlatformTest, ProductIniIsGeneratedFromDefaultsAndRules) {
    // No rule file: the defaults alone.
    ASSERT_EQ(EA_GenerateProductIni(TVN_CM_RULE_INI, 0), 0);
    char value[32];
    EXPECT_NE(CST_GetItemFromFile(TVN_CM_PRODUCT_INI, "GLOBAL", "IsSupportNas", value, sizeof(value)), 0);
    EXPECT_STREQ(value, "1");

    // Rules add and override defaults, but never what product.ini already has.
    write_text(path(TVN_CM_PRODUCT_INI), "[FEATURE]\nalias=0\n");
    write_text(path(TVN_CM_RULE_INI),
               "[GLOBAL]\nIsSupportNas = 0\n[FEATURE]\nalias=1\naudit_log=1\nno_value\n; x=1\n[]\nlost=1\n");
    ASSERT_EQ(EA_GenerateProductIni(TVN_CM_RULE_INI, 0), 0);
    EXPECT_NE(CST_GetItemFromFile(TVN_CM_PRODUCT_INI, "GLOBAL", "IsSupportNas", value, sizeof(value)), 0);
    EXPECT_STREQ(value, "0");
    EXPECT_FALSE(TvnCmFmIsSupport("alias"));
    EXPECT_TRUE(TvnCmFmIsSupport("audit_log"));
    EXPECT_FALSE(TvnCmFmIsSupport("lost"));
    EXPECT_EQ(CST_GetItemFromFile(TVN_CM_PRODUCT_INI, "FEATURE", "missing", value, sizeof(value)), 0);
    EXPECT_EQ(CST_GetItemFromFile(TVN_CM_PRODUCT_INI, "GLOBAL", "IsSupportNas", value, 1), 0);

    ::setenv("TVN_FAIL_AT", "CST_GetItemFromFile,EA_GenerateProductIni", 1);
    EXPECT_EQ(CST_GetItemFromFile(TVN_CM_PRODUCT_INI, "GLOBAL", "IsSupportNas", value, sizeof(value)), 0);
    EXPECT_EQ(EA_GenerateProductIni(TVN_CM_RULE_INI, 0), -1);
    EXPECT_EQ(EA_GenerateProductIni(nullptr, 0), -22);
}

TEST_F(PlatformTest, FeaturesAreNonZeroNumbersInTheFeatureSection) {
    write_text(path(TVN_CM_PRODUCT_INI), "[FEATURE]\na=1\nb=0\nc=0x10\nd=yes\ne=\nf=-2\n[OTHER]\ng=1\n");
    const std::pair<const char*, bool> rows[] = {{"a", true},  {"b", false}, {"c", true},  {"d", false},
                                                 {"e", false}, {"f", true},  {"g", false}, {"", false}};
    for (auto [name, want] : rows) EXPECT_EQ(TvnCmFmIsSupport(name), want) << name;
    EXPECT_FALSE(TvnCmFmIsSupport(nullptr));
}

TEST_F(PlatformTest, ThreadPoolRunsJobsAndDrainsOnDestroy) {
    EXPECT_EQ(dpax_thread_pool_submit([](void*) {}, nullptr), -1);  // no pool yet
    ASSERT_EQ(dpax_thread_pool_create(3), 0);
    EXPECT_EQ(dpax_thread_pool_create(2), -17);
    EXPECT_EQ(dpax_thread_pool_size(), 3u);
    static std::atomic<int> ran{0};
    ran = 0;
    for (int i = 0; i < 50; ++i) ASSERT_EQ(dpax_thread_pool_submit([](void*) { ++ran; }, nullptr), 0);
    dpax_thread_pool_destroy();
    EXPECT_EQ(ran.load(), 50);
    EXPECT_EQ(dpax_thread_pool_size(), 0u);
    EXPECT_EQ(dpax_thread_pool_create(0), -22);
}

TEST_F(PlatformTest, ThreadStrategiesAreKeptPerClass) {
    dpax_reset_thread_strategies();
    dpax_thread_strategy s{};
    s.policy = 2;
    std::snprintf(s.bind_info, sizeof(s.bind_info), "0-3");
    EXPECT_EQ(dpax_initThreadStrategy(5, &s), 0);
    EXPECT_EQ(dpax_initThreadStrategy(6, &s), -22);
    EXPECT_EQ(dpax_initThreadStrategy(0, nullptr), -22);
    dpax_thread_strategy out{};
    ASSERT_EQ(dpax_get_thread_strategy(5, &out), 0);
    EXPECT_EQ(out.policy, 2);
    EXPECT_STREQ(out.bind_info, "0-3");
    EXPECT_EQ(dpax_get_thread_strategy(4, &out), -61);
}

TEST_F(PlatformTest, AFatalSignalIsLoggedWithItsStackAndStillKills) {
    ASSERT_EQ(dplog_init(), 0);
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        const uint32_t list[] = {SIGUSR1};
        if (dpax_exception_init_with_list(list, 1) != 0) _exit(2);
        ::raise(SIGUSR1);
        _exit(3);
    }
    int status = 0;
    ASSERT_TRUE(wait_child(pid, status)) << "the child did not end";
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGUSR1);
    EXPECT_NE(platform_log().find("dpax exception: signal " + std::to_string(SIGUSR1) + ", stack follows"),
              std::string::npos);

    const uint32_t bad[] = {SIGKILL};
    EXPECT_EQ(dpax_exception_init_with_list(bad, 1), -22);
    EXPECT_EQ(dpax_exception_init_with_list(nullptr, 1), -22);
}

TEST_F(PlatformTest, CertificateRunFoldersMustBePlainAbsolutePaths) {
    sa_cert_files files;
    for (const char* run : {"", "run", "/a/../b", "/..", "/a/.."})
        EXPECT_EQ(SA_GetCertFiles(1, 0, 0, run, &files), SA_CERT_BAD_ARG) << run;
    EXPECT_EQ(SA_GetCertFiles(1, 2, 0, "/run", &files), SA_CERT_BAD_ARG);  // type
    EXPECT_EQ(SA_GetCertFiles(tvn::SA_MODULE_LDAPS_NFS, 0, 0, "/run", &files), SA_CERT_BAD_ARG);
    EXPECT_EQ(SA_GetCertFiles(1, 0, 0, "/run/a..b", &files), SA_CERT_NOT_FOUND);  // allowed, just no set
    EXPECT_EQ(SA_DelCertFiles(7, "0", "/run"), SA_CERT_BAD_ARG);
    EXPECT_EQ(tvn::sa_cert_dir(3, 9), path("/KSD/conf/tvn_cm/cert/ftps/9"));
    EXPECT_EQ(tvn::sa_cert_dir(0, 9), "");
}

// A peer names the run folder, and whoever can write below /run can plant
// links there: a copy replaces a link under its name instead of writing
// through it, a linked folder on the way is refused, and nothing lands
// outside /run.
TEST_F(PlatformTest, CertificateCopiesNeverFollowPlantedLinks) {
    const std::string set = tvn::sa_cert_dir(1, 0);
    write_text(set + "/server.key", "KEY");
    write_text(set + "/server.crt", "CRT");
    write_text(set + "/ca.crt", "CA");
    const std::string victim = path("/victim");
    const std::string elsewhere = path("/elsewhere");
    write_text(victim, "precious");
    write_text(elsewhere + "/https_0.key", "theirs");
    ASSERT_EQ(::mkdir(path("/run").c_str(), 0755), 0);
    ASSERT_EQ(::mkdir(path("/run/certs").c_str(), 0700), 0);
    ASSERT_EQ(::symlink(victim.c_str(), path("/run/certs/https_0.key").c_str()), 0);
    ASSERT_EQ(::symlink(elsewhere.c_str(), path("/run/linked").c_str()), 0);

    sa_cert_files files;
    ASSERT_EQ(SA_GetCertFiles(1, 0, 0, "/run/certs", &files), SA_CERT_OK);
    EXPECT_EQ(read_text(victim), "precious");
    struct stat st {};
    ASSERT_EQ(::lstat(path("/run/certs/https_0.key").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(read_text(path("/run/certs/https_0.key")), "KEY");

    EXPECT_LT(SA_GetCertFiles(1, 0, 0, "/run/linked", &files), 0);
    EXPECT_LT(SA_GetCertFiles(1, 0, 0, "/run/linked/deeper", &files), 0);
    EXPECT_EQ(SA_GetCertFiles(1, 0, 0, "/tmp/certs", &files), SA_CERT_BAD_ARG);
    EXPECT_EQ(SA_GetCertFiles(1, 0, 0, "/run/ce\nrts", &files), SA_CERT_BAD_ARG);
    EXPECT_LT(SA_DelCertFiles(1, "0", "/run/linked"), 0);
    EXPECT_EQ(read_text(elsewhere + "/https_0.key"), "theirs") << "deleted or written through the folder link";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(elsewhere), {}), 1);
    EXPECT_FALSE(std::filesystem::exists(path("/tmp/certs")));
}

}  // namespace
