// The base module: memory locking, thread strategies, the platform thread
// pool and signal handling, with the attribute table that drives them.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/mman.h>

#include "dpax.h"
#include "process_internal.h"
#include "process_shell.h"

namespace {

char g_process_name[32];
char g_log_output_dir[256];
char g_thread_strategy[DPAX_THREAD_CLASS_NUM][320];

// Read once; -1 until then.
std::atomic<int64_t> g_nopreempt_cache{-1};

uint32_t* g_signal_list = nullptr;
uint32_t g_signal_count = 0;
// 0: install the platform's signal handling (default), 1: do not.
std::atomic<int> g_signal_switch{0};

constexpr ps_attr int_row(const char* name) {
    return ps_attr{PS_ATTR_INT, name, ps_set_i_attr, nullptr, ps_prt_i_attr, {.i = 0}, 0};
}
ps_attr str_row(const char* name, char* buf, uint32_t size) {
    ps_attr row{PS_ATTR_STRING, name, ps_set_s_attr, nullptr, ps_prt_s_attr, {.i = 0}, size};
    row.value.s = buf;
    return row;
}

int32_t base_init();
int32_t base_finish() {
    ps_internal::free_signal_list();
    return 0;
}
int32_t base_activate(ps_module*) { return 0; }
int32_t base_spare() { return 0; }
int32_t base_spare_arg(void*) { return 0; }

const char* const kStrategyKeys[DPAX_THREAD_CLASS_NUM] = {
    "thread_strategy_default", "thread_strategy_critical", "thread_strategy_ctrl",
    "thread_strategy_manage",  "thread_strategy_io",
    // The platform's key, spelling included.
    "thread_strategy_backgroud",
};

}  // namespace

ps_attr ps_base_attr_table[] = {
    str_row("process_name", g_process_name, sizeof(g_process_name)),
    int_row("mlockall"),
    int_row("nopreempt"),
    int_row("thread_pool_num"),
    str_row("log_output_dir", g_log_output_dir, sizeof(g_log_output_dir)),
    str_row(kStrategyKeys[0], g_thread_strategy[0], sizeof(g_thread_strategy[0])),
    str_row(kStrategyKeys[1], g_thread_strategy[1], sizeof(g_thread_strategy[1])),
    str_row(kStrategyKeys[2], g_thread_strategy[2], sizeof(g_thread_strategy[2])),
    str_row(kStrategyKeys[3], g_thread_strategy[3], sizeof(g_thread_strategy[3])),
    str_row(kStrategyKeys[4], g_thread_strategy[4], sizeof(g_thread_strategy[4])),
    str_row(kStrategyKeys[5], g_thread_strategy[5], sizeof(g_thread_strategy[5])),
    ps_attr{0, nullptr, nullptr, nullptr, nullptr, {.i = 0}, 0},
};

ps_module g_module_ps_base = {
    0, "base", nullptr, base_init, base_finish, base_activate, base_spare, base_spare_arg,
    ps_base_attr_table, nullptr, nullptr,
};

namespace {

int64_t base_int(const char* name) { return ps_get_i_attr(ps_attrs_get(&g_module_ps_base, name)); }

int32_t base_init() {
    if (base_int("mlockall") > 0) {
        int ret = ::mlockall(MCL_CURRENT | MCL_FUTURE);
        if (ret != 0) {
            PS_LOG(3, "PS Mlockall fail ret %d, errno %d", ret, errno);
            return 1;
        }
        dpax_set_instant_map_flag(true);
    }
    ps_init_thread_strategy();
    // The main thread's name is the process's name in ps and top: only a
    // configured process name replaces it.
    (void)dpax_thrd_setcurthreadinfo(ps_get_process_name()[0] != '\0' ? ps_get_process_name() : nullptr);
    int64_t pool = base_int("thread_pool_num");
    if (pool > 0) (void)dpax_thread_pool_create(pool > 4096 ? 4096u : static_cast<uint32_t>(pool));
    (void)dpax_symbol_init();

    int32_t rc = 0;
    if (g_signal_list != nullptr && g_signal_count > 0)
        rc = dpax_exception_init_with_list(g_signal_list, g_signal_count);
    else if (g_signal_switch.load() == 0)
        rc = dpax_exception_init();
    if (rc != 0) {
        PS_LOG(3, "PS process init signal fail code:%d", rc);
        return 1;
    }
    return 0;
}

}  // namespace

int32_t ps_set_thread_strategy(uint32_t thread_class, const char* text) {
    if (thread_class >= DPAX_THREAD_CLASS_NUM || text == nullptr) return -22;
    const char* colon = std::strchr(text, ':');
    if (colon == nullptr) {
        PS_LOG(3, "PS Invalid bind info in thread strategy:%s", text);
        return -22;
    }
    dpax_thread_strategy strategy{};
    strategy.policy = std::strtoll(text, nullptr, 10);
    std::strncpy(strategy.bind_info, colon + 1, sizeof(strategy.bind_info) - 1);
    return dpax_initThreadStrategy(thread_class, &strategy);
}

void ps_init_thread_strategy() {
    for (uint32_t c = 0; c < DPAX_THREAD_CLASS_NUM; ++c)
        if (g_thread_strategy[c][0] != '\0') (void)ps_set_thread_strategy(c, g_thread_strategy[c]);
}

int32_t ps_signal_init_with_list(const uint32_t* list, uint32_t count) {
    if (list == nullptr || count == 0) {
        PS_LOG(3, "PS parm is invaild, sigList is null or num is not bigger than 0(%u).", count);
        return -1;  // all bits set
    }
    ps_internal::free_signal_list();
    auto* copy = static_cast<uint32_t*>(std::malloc(sizeof(uint32_t) * count));
    if (copy == nullptr) {
        PS_LOG(3, "PS malloc failed, size().");
        return -1;
    }
    std::memcpy(copy, list, sizeof(uint32_t) * count);
    g_signal_list = copy;
    g_signal_count = count;
    return 0;
}

void ps_signal_switch_on() {
    g_signal_switch.store(0);
    PS_LOG(6, "PS Use process signal.");
}

void ps_signal_switch_off() {
    g_signal_switch.store(1);
    PS_LOG(6, "PS Not use process signal.");
}

const char* ps_get_process_name() { return g_process_name; }
const char* ps_get_log_output_dir() { return g_log_output_dir; }

int64_t ps_get_nopreemt_flag() {
    int64_t cached = g_nopreempt_cache.load();
    if (cached == -1) {
        cached = base_int("nopreempt");
        g_nopreempt_cache.store(cached);
    }
    return cached;
}

namespace ps_internal {

const uint32_t* signal_list(uint32_t& count) {
    count = g_signal_count;
    return g_signal_list;
}

bool signal_switch_on() { return g_signal_switch.load() == 0; }

void free_signal_list() {
    std::free(g_signal_list);
    g_signal_list = nullptr;
    g_signal_count = 0;
}

void reset_base() {
    free_signal_list();
    g_signal_switch.store(0);
    g_nopreempt_cache.store(-1);
    for (ps_attr* row = ps_base_attr_table; row->name != nullptr; ++row) {
        if (row->type == PS_ATTR_STRING)
            row->value.s[0] = '\0';
        else
            row->value.i = 0;
    }
}

}  // namespace ps_internal
