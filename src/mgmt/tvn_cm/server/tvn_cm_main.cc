#include "tvn_cm_main.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <google/protobuf/stubs/common.h>

#include "dpax.h"
#include "platform_init.h"
#include "snm_agent.h"
#include "tvn_cm_event_engine.h"
#include "tvn_cm_omagent.h"
#include "tvn_cm_server.h"
#include "tvn_once_launch.h"

namespace {

constexpr uint32_t kPlatformProcId = 59;

std::atomic<bool> g_support_nas{false};

int32_t module_ok() { return 0; }
int32_t module_activate(ps_module*) { return 0; }
int32_t module_spare_arg(void*) { return 0; }

}  // namespace

ps_module g_tvncm_ps_module = {
    1017, "tvn_cm", nullptr, tvn_cm_main, module_ok, module_activate, module_ok, module_spare_arg,
    nullptr, nullptr, nullptr,
};

void TvnSetSupportNasFlag(bool supported) { g_support_nas.store(supported); }
bool TvnGetSupportNasFlag() { return g_support_nas.load(); }

void TvnCmSetSupprotNasFlag() {
    if (EA_GenerateProductIni(TVN_CM_RULE_INI, 0) != 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "Ea Initial Failed.");
        return;
    }
    char text[64] = {0};
    int32_t ret = CST_GetItemFromFile(TVN_CM_PRODUCT_INI, "GLOBAL", "IsSupportNas", text, sizeof(text));
    if (ret == 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, ret,
                         "When start process tvn_cm, read global config(whether support nas) failed(ret %d).", ret);
        return;
    }
    unsigned long long value = std::strtoull(text, nullptr, 10);
    bool supported = value != 0;
    TvnSetSupportNasFlag(supported);
    NasSetSupportNasFlag(supported);
    TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "When start process tvn_cm, read support flag(%llu-%d) success.",
                     value, supported ? 1 : 0);
}

int32_t Tvn_Cm_Startup_Preparation() {
    int32_t rc = DBG_DiagnoseAgentInit(kPlatformProcId, "tvn_cm");
    if (rc != 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Diagnose agent init failed ret=%d.", rc);
        return rc;
    }
    rc = TvnCloseDpucDataPipe();
    if (rc != 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Close dpuc data pipe failed ret=%d.", rc);
        return rc;
    }
    rc = Tvn_Cm_Netlink_StartService();
    if (rc != 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Start netlink service failed ret=%d.", rc);
        return rc;
    }
    rc = TvnLogInit(TVN_CM_LOG_MODULE, TVN_LOG_INFO, "/var/log/platform");
    if (rc != 0) {
        std::fprintf(stderr, "Init Log Error, rc = %d\n", rc);
        dplog_rc(TVN_CM_LOG_MODULE, TVN_LOG_ERROR, rc, "Init Log Error, rc = %d", rc);
        return rc;
    }
    return 0;
}

int32_t initInfrastructure() {
    int32_t rc = dpax_log_init();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "dpax_log_init failed");
        return rc;
    }
    rc = dpax_Init();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "dpax init failed");
        return rc;
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Start init osax.");
    rc = osax_init();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Osax init failed.ret(%d).", rc);
        return rc;
    }
    rc = dp_mm_pool_init();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "dp_mm_pool_init failed");
        return rc;
    }
    rc = dp_shm_pool_init();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Init dpumm failed,ret(%d).", rc);
        return rc;
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Start init IOD.");
    rc = IOD_Init();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Init iod failed,ret(%d).", rc);
        return rc;
    }
    return 0;
}

int32_t InitDependComponent() {
    int32_t rc = dplog_init();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "dplog init fail.");
        TvnLogFini();
        return rc;
    }
    rc = initInfrastructure();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Init infrastructure failed, ret(%d).", rc);
        return rc;
    }
    rc = MgmtSnmInit(kPlatformProcId, 0, "/opt/pl/config/tvn_cm.cfg", "tvn_cm");
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "tvn_cm Initial SNM Failed.");
        return rc;
    }
    rc = dra_proc_id_set(static_cast<uint32_t>(::getpid()));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "tvn_cm set proc id Failed:%d.", rc);
        return rc;
    }
    rc = NET_initUcLinkModule(0);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "tvn_cm Initial initUcLinkModule Failed:%d.", rc);
        return rc;
    }
    rc = TvnCmFmInit();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "tvn_cm Initial feature manager Failed:%d.", rc);
        return rc;
    }
    return 0;
}

// ---- stop handler ---------------------------------------------------------

namespace {

// The handler touches nothing but these atomics and write(2); they must not
// hide a lock.
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

// A stop was asked for in this cycle; kept so that a stop that comes before
// the server is up still ends the start-up.
std::atomic<bool> g_stop_asked{false};
// Write end the handler may use; -1 once teardown has taken it back.
std::atomic<int> g_stop_wfd{-1};
// Handlers between reading g_stop_wfd and finishing their write.
std::atomic<int> g_stop_writers{0};

int g_stop_pipe[2] = {-1, -1};  // owned by install/remove
std::thread g_stop_watcher;

// The server the watcher may stop: published only once start_listening has
// returned, so a stop never meets the server half made.
std::mutex g_serve_mutex;
tvn_cm_server* g_served = nullptr;

constexpr char kStopByte = 1;
constexpr char kQuitByte = 0;

void stop_signal_handler(int sig) {
    // SIGABRT from outside is caught and ignored.
    if (sig != SIGINT && sig != SIGTERM) return;
    int saved = errno;
    g_stop_asked.store(true);
    // Counted before the descriptor is read: teardown takes the descriptor
    // first and then waits for the count to drain, so it never closes a pipe
    // a handler is about to write to.
    g_stop_writers.fetch_add(1);
    int fd = g_stop_wfd.load();
    if (fd >= 0) {
        char b = kStopByte;
        (void)!::write(fd, &b, 1);
    }
    g_stop_writers.fetch_sub(1);
    errno = saved;
}

void stop_watcher() {
    bool stopped = false;
    for (;;) {
        char b = kQuitByte;
        ssize_t n = ::read(g_stop_pipe[0], &b, 1);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0 || b == kQuitByte) return;
        tvn_cm_server* server = nullptr;
        {
            std::lock_guard<std::mutex> lock(g_serve_mutex);
            server = g_served;
        }
        // Not serving yet: start-up sees g_stop_asked before it starts. Once
        // serving has ended, later stops have nothing left to stop.
        if (server == nullptr || stopped) continue;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Stop signal received, stop the cm rpc server.");
        // The server keeps a stop that lands before it binds; asking again
        // costs nothing and does not rely on it.
        do {
            (void)server->stop_listening();
        } while (!server->wait_listening_for(std::chrono::milliseconds(100)));
        stopped = true;
    }
}

}  // namespace

int32_t tvn_cm_install_stop_handler() {
    if (g_stop_pipe[0] >= 0) return 0;
    if (::pipe2(g_stop_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return -errno;
    // Reads block in the watcher; writes never block in the handler.
    int flags = ::fcntl(g_stop_pipe[0], F_GETFL);
    (void)::fcntl(g_stop_pipe[0], F_SETFL, flags & ~O_NONBLOCK);
    try {
        g_stop_watcher = std::thread(stop_watcher);
    } catch (const std::exception&) {
        ::close(g_stop_pipe[0]);
        ::close(g_stop_pipe[1]);
        g_stop_pipe[0] = g_stop_pipe[1] = -1;
        return -11;
    }
    g_stop_asked.store(false);
    g_stop_wfd.store(g_stop_pipe[1]);
    struct sigaction sa {};
    sa.sa_handler = stop_signal_handler;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    for (int sig : {SIGINT, SIGTERM, SIGABRT}) (void)::sigaction(sig, &sa, nullptr);
    return 0;
}

int32_t tvn_cm_start_serving(tvn_cm_server& server) {
    std::lock_guard<std::mutex> lock(g_serve_mutex);
    if (g_stop_asked.load()) return 1;
    int32_t rc = server.start_listening();
    if (rc == 0) g_served = &server;
    return rc;
}

void tvn_cm_remove_stop_handler() {
    if (g_stop_pipe[0] < 0) return;
    {
        std::lock_guard<std::mutex> lock(g_serve_mutex);
        g_served = nullptr;
    }
    // The handler stays installed: a signal during teardown asks for what is
    // already happening, and the default action would cut the teardown short.
    g_stop_wfd.store(-1);
    bool drained = false;
    for (int i = 0; i < 1000 && !(drained = g_stop_writers.load() == 0); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    char b = kQuitByte;
    // The write end never blocks; a pipe full of stop bytes empties as the
    // watcher reads them.
    for (int i = 0; i < 1000 && ::write(g_stop_pipe[1], &b, 1) != 1; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (g_stop_watcher.joinable()) g_stop_watcher.join();
    if (!drained) {
        // A handler stuck mid-write keeps the pipe: two descriptors lost
        // rather than a write to whatever reuses their numbers.
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "Stop pipe still in use, left open.");
    } else {
        ::close(g_stop_pipe[0]);
        ::close(g_stop_pipe[1]);
    }
    g_stop_pipe[0] = g_stop_pipe[1] = -1;
}

// ---- the service module's init ---------------------------------------------

namespace {

int32_t run_service() {
    // 1. Support flag (never fails the start).
    TvnCmSetSupprotNasFlag();

    // 2. Diagnose agent, kernel channels, service log.
    if (Tvn_Cm_Startup_Preparation() != 0) return 1;

    // 3. One instance per node.
    tvn_once_launch guard("proto_tvn_cm");
    if (!guard.check()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 1, "the cm exe run failed, the process has running.");
        TvnLogFini();
        return 1;
    }

    // 4. No fast bins: the service's many small, long-lived allocations
    // fragment them.
    (void)::mallopt(M_MXFAST, 0);

    // 5. Platform.
    if (InitDependComponent() != 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 1, "Init dependent component failed.");
        TvnLogFini();
        return 1;
    }

    // 6. OM command table and the agent's entry.
    if (tvn_cm_omagent::initRpcServer() != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 1, "Register rpc failed.");
        TvnLogFini();
        return 1;
    }

    // 7. Key-management client, trace points, background jobs.
    if (int32_t rc = TvnInitKMCAClient(); rc != 0)
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Init kmc client failed, rc(%d).", rc);
    if (int32_t rc = tvnRegNasTracePoint(); rc != 0)
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Register trace point failed, rc(%d).", rc);
    tvn_cm_event_engine& engine = tvn_cm_event_engine::instance();
    if (int32_t rc = engine.start_work(); rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "start cm event engine failed, rc(%d).", rc);
        tvn_cm_omagent::clear_processors();
        TvnLogFini();
        return 1;
    }

    // 8. SIGINT and SIGTERM stop the server; SIGABRT is ignored.
    bool handler = true;
    if (int32_t rc = tvn_cm_install_stop_handler(); rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Install stop handler failed, rc(%d).", rc);
        handler = false;
    }

    // 9. Serve until stopped.
    tvn_cm_server& server = tvn_cm_server::instance();
    int32_t serving = handler ? tvn_cm_start_serving(server) : -1;
    if (serving == 0) {
        server.wait_listening();
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "cm exe start the rpc server success");
    } else if (serving == 1) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Stop asked before the cm rpc server started.");
    }

    // 10. Teardown, in reverse.
    tvn_cm_remove_stop_handler();
    tvn_cm_omagent::clear_processors();
    engine.stop_work();
    TvnLogFini();
    google::protobuf::ShutdownProtobufLibrary();
    guard.release();
    dplog_destroy();
    return 1;
}

}  // namespace

int32_t tvn_cm_main() {
    try {
        return run_service();
    } catch (const std::exception& e) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 1, "tvn_cm main failed: %s.", e.what());
    } catch (...) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 1, "tvn_cm main failed.");
    }
    return 1;
}
