#include "snm_agent.h"

#include <mutex>

#include "platform_init.h"

namespace {

std::mutex g_mutex;
tvn::snm_registration g_last;

int32_t snm_init() { return tvn::platform_call("snm_agent_init"); }
int32_t snm_finish() { return tvn::platform_call("snm_agent_finish"); }
int32_t snm_activate(ps_module*) { return tvn::platform_call("snm_agent_activate"); }
int32_t snm_spare() { return 0; }
int32_t snm_spare_arg(void*) { return 0; }

}  // namespace

ps_module g_module_snm_agent = {
    2, "snm_agent", nullptr, snm_init, snm_finish, snm_activate, snm_spare, snm_spare_arg,
    nullptr, nullptr, nullptr,
};

int32_t MgmtSnmInit(uint32_t proc_id, uint32_t flag, const char* cfg_path, const char* name) {
    if (cfg_path == nullptr || *cfg_path == '\0' || name == nullptr || *name == '\0') return -22;
    if (int32_t rc = tvn::platform_call("MgmtSnmInit"); rc != 0) return rc;
    std::lock_guard<std::mutex> lock(g_mutex);
    g_last = {proc_id, flag, cfg_path, name};
    return 0;
}

namespace tvn {
snm_registration snm_last_registration() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_last;
}
}  // namespace tvn
