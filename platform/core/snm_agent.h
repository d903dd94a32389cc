#pragma once
// Node-management agent of the platform: its module for the process shell
// and its initialisation call.
#include <cstdint>
#include <string>

#include "ps_module.h"

// id 2, name "snm_agent"; init, activate and finish are the agent's own
// (stand-ins named "snm_agent_init", "snm_agent_activate", "snm_agent_finish").
extern ps_module g_module_snm_agent;

// 0, or -1 when injected; -22 for an empty configuration path or name.
int32_t MgmtSnmInit(uint32_t proc_id, uint32_t flag, const char* cfg_path, const char* name);

namespace tvn {
// What the last successful MgmtSnmInit was given (for tests).
struct snm_registration {
    uint32_t proc_id = 0;
    uint32_t flag = 0;
    std::string cfg_path;
    std::string name;
};
snm_registration snm_last_registration();
}  // namespace tvn
