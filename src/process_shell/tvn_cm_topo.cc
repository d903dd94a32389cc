// Modules of tvn_cm in init and activate order (finish runs in reverse).
// Two carry the name "tvn_cm": a lookup by name finds the first, the
// privilege module, which has no attributes.
#include "process_shell.h"
#include "snm_agent.h"
#include "tvn_cm_main.h"
#include "tvn_noroot.h"

ps_module_topo_entry ps_module_topo[] = {
    {0, &g_module_ps_base},
    {1025, &g_cmNoRoot},
    {2, &g_module_snm_agent},
    {1017, &g_tvncm_ps_module},
    {0, nullptr},
};
