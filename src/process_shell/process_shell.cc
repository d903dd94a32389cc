// Start-up, module passes, exit flag and the active-times counter.
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <unistd.h>

#include "dpax.h"
#include "process_internal.h"
#include "process_shell.h"
#include "tvn_sysroot.h"

namespace {

std::atomic<uint8_t> g_exit_flag{0};
std::atomic<int32_t> g_exit_code{0};
std::atomic<uint8_t> g_init_done{0};
std::mutex g_main_mutex;
std::condition_variable g_main_cond;
std::atomic<uint64_t> g_active_times{0};

// Path of the active-times file, formatted once.
char g_active_path[256];
bool g_active_path_ready = false;
bool g_active_path_failed = false;

uint64_t now_ns() {
    struct timespec ts {};
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

size_t topo_size() {
    size_t n = 0;
    while (ps_module_topo[n].module != nullptr) ++n;
    return n;
}

void link_module(size_t i, size_t n) {
    ps_module* m = ps_module_topo[i].module;
    m->prev = i > 0 ? ps_module_topo[i - 1].module : nullptr;
    m->next = i + 1 < n ? ps_module_topo[i + 1].module : nullptr;
}

const char* active_times_path() {
    if (g_active_path_ready) return g_active_path;
    if (g_active_path_failed) return nullptr;
    const char* name = ps_get_process_name();
    unsigned long lsid = static_cast<unsigned long>(ps_get_lsid());
    int n = std::snprintf(g_active_path, sizeof(g_active_path), "%s/osax/process_%s_%lu.ini", "/etc", name, lsid);
    if (n < 0 || static_cast<size_t>(n) >= sizeof(g_active_path)) {
        PS_LOG(3, "PS Snprintf_s failed, dir(%s), process(%s), lsid(%lu).", "/etc", name, lsid);
        g_active_path[0] = '\0';
        g_active_path_failed = true;
        return nullptr;
    }
    g_active_path_ready = true;
    return g_active_path;
}

void read_active_times() {
    const char* path = active_times_path();
    if (path == nullptr) return;
    char text[32];
    int32_t ret = dpax_ini_read_item(path, "PROCESS", "active_times", text, sizeof(text));
    uint64_t value = 0;
    if (ret == 0) {
        char* end = nullptr;
        errno = 0;
        unsigned long long v = std::strtoull(text, &end, 10);
        // A damaged counter counts again from 0 rather than from garbage.
        if (errno != 0 || end == text || *end != '\0')
            ret = -22;
        else
            value = v;
    }
    if (ret != 0) PS_LOG(3, "PS Read init_times cfg file faild! ret = %d", ret);
    g_active_times.store(value);
}

void save_active_times() {
    const char* path = active_times_path();
    if (path == nullptr) return;
    uint64_t value = g_active_times.fetch_add(1) + 1;
    char text[32];
    std::snprintf(text, sizeof(text), "%lu", static_cast<unsigned long>(value));
    int32_t ret = dpax_ini_write_item(path, "PROCESS", "active_times", text);
    if (ret != 0) PS_LOG(3, "PS save file faild! ret = %d", ret);
}

int32_t init_modules() {
    size_t n = topo_size();
    for (size_t i = 0; i < n; ++i) {
        ps_module* m = ps_module_topo[i].module;
        link_module(i, n);
        uint64_t start = now_ns();
        int32_t status = m->init != nullptr ? m->init() : 0;
        PS_LOG(6, "PS Init module: %s end, status: %d, time: %lu", m->name != nullptr ? m->name : "", status,
               static_cast<unsigned long>(now_ns() - start));
        if (status != 0) {
            PS_LOG(3, "PS process init modules failed: %d", status);
            return 1;
        }
    }
    return 0;
}

int32_t activate_modules() {
    size_t n = topo_size();
    for (size_t i = 0; i < n; ++i) {
        ps_module* m = ps_module_topo[i].module;
        link_module(i, n);
        int32_t status = m->activate != nullptr ? m->activate(m) : 0;
        if (status != 0) {
            PS_LOG(3, "PS Activate module: %s end, status: %d", m->name != nullptr ? m->name : "", status);
            return status;
        }
    }
    return 0;
}

int32_t ps_init(int argc, char** argv) {
    int32_t rc = ps_parse_params(argc, argv);
    if (rc != 0) {
        PS_LOG(3, "PS process parser params fail: %d", rc);
        return 1;
    }
    std::string osax = tvn::sysroot_path("/etc/osax");
    if (::access(osax.c_str(), F_OK) != 0) {
        int err = tvn::make_dirs(osax, 0755);
        if (err != 0) {
            PS_LOG(3, "PS Execute [%s] faied, error_n is %d", osax.c_str(), -err);
            PS_LOG(3, "PS process create dir fail: %d", 1);
        }
    }
    read_active_times();
    for (size_t i = 0; ps_module_topo[i].module != nullptr; ++i) ps_attrs_dump(ps_module_topo[i].module);

    if (init_modules() != 0) return 1;
    process_set_init_done();
    if (process_get_exit()) {
        PS_LOG(3, "PS Exit flag is set, exit code %d", process_get_exit_code());
        return 1;
    }
    if (int32_t status = activate_modules(); status != 0) return status;
    save_active_times();
    return 0;
}

}  // namespace

int32_t ps_main(int argc, char** argv) {
    int32_t rc = ps_init(argc, argv);
    if (rc != 0) {
        PS_LOG(3, "PS process init fail code:%d", rc);
        return 1;
    }
    std::unique_lock<std::mutex> lock(g_main_mutex);
    while (g_exit_flag.load() == 0) g_main_cond.wait(lock);
    int32_t code = g_exit_code.load();
    PS_LOG(6, "PS Exit flag is set, exiting process, exit code %d", code);
    lock.unlock();
    PS_LOG(3, "PS process exit error code: %d", code);
    return code;
}

ps_module* process_get_module_by_name(const char* name) {
    if (name == nullptr) {
        PS_LOG(7, "PS module name [%s] is NULL.", "(null)");
        return nullptr;
    }
    for (size_t i = 0; ps_module_topo[i].module != nullptr; ++i) {
        ps_module* m = ps_module_topo[i].module;
        if (m->name != nullptr && std::strcmp(m->name, name) == 0) return m;
    }
    PS_LOG(7, "PS module [%s] is not found.", name);
    return nullptr;
}

int32_t process_finish_modules() {
    for (size_t i = topo_size(); i-- > 0;) {
        ps_module* m = ps_module_topo[i].module;
        const char* name = m->name != nullptr ? m->name : "";
        PS_LOG(6, "PS Finish module: %s start", name);
        int32_t status = m->finish != nullptr ? m->finish() : 0;
        PS_LOG(6, "PS Finish module: %s end, status: %d", name, status);
        if (status != 0) return status;
    }
    return 0;
}

void process_set_exit(int32_t code) {
    g_exit_code.store(code);
    g_exit_flag.store(1);
}
bool process_get_exit() { return g_exit_flag.load() != 0; }
void process_set_exit_code(int32_t code) { g_exit_code.store(code); }
int32_t process_get_exit_code() { return g_exit_code.load(); }
std::condition_variable& process_get_main_cond() { return g_main_cond; }
std::mutex& process_get_main_mutex() { return g_main_mutex; }

void process_request_exit(int32_t code) {
    std::lock_guard<std::mutex> lock(g_main_mutex);
    process_set_exit(code);
    g_main_cond.notify_all();
}

void process_set_init_done() { g_init_done.store(1); }
bool process_is_init_done() { return g_init_done.load() != 0; }

uint64_t ps_get_active_success_times() { return g_active_times.load(); }

void ps_log_flush(int32_t /*code*/) { dplog_destroy(); }

void ps_exit(int32_t code) {
    dpax_dump_stack();
    ps_log_flush(code);
    std::fflush(stdout);
    ::_exit(0);
}

namespace ps_internal {

void reset_state() {
    g_exit_flag.store(0);
    g_exit_code.store(0);
    g_init_done.store(0);
    g_active_times.store(0);
    g_active_path[0] = '\0';
    g_active_path_ready = false;
    g_active_path_failed = false;
}

void reset_all() {
    reset_params();
    reset_base();
    reset_state();
}

}  // namespace ps_internal
