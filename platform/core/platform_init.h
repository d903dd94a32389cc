#pragma once
// Stand-ins for the platform libraries the service initialises at start-up:
// OS abstraction, memory pools, I/O dispatcher, process registry, link
// module, diagnose agent, product configuration, node identity, features.
// Each call that can fail honours TVN_FAIL_AT with its own name (the
// function name) and then fails with -1; CST_GetItemFromFile then reports
// failure (0).
#include <cstdint>
#include <string>
#include <vector>

int32_t osax_init();
int32_t dp_mm_pool_init();
int32_t dp_shm_pool_init();
int32_t IOD_Init();
// Registers this process with the platform's process registry.
int32_t dra_proc_id_set(uint32_t proc_id);
uint32_t dra_proc_id_get();
int32_t NET_initUcLinkModule(uint32_t flag);
int32_t DBG_DiagnoseAgentInit(uint32_t proc_id, const char* name);

// Kernel-side channels of the service (data-plane pipe, netlink service).
int32_t TvnCloseDpucDataPipe();
int32_t Tvn_Cm_Netlink_StartService();

// Key-management client and trace points.
int32_t TvnInitKMCAClient();
int32_t tvnRegNasTracePoint();

// Writes "product.ini" beside the rule file: built-in defaults ([GLOBAL]
// IsSupportNas=1) overlaid with the rule file's items (when it exists); an
// item already in product.ini is kept. 0, or a negative code.
int32_t EA_GenerateProductIni(const char* rule_path, uint32_t flag);

// Reads one item of an INI file (path under the system root). Non-zero on
// success, 0 on failure (missing file, section or key, value too long).
int32_t CST_GetItemFromFile(const char* path, const char* section, const char* key, char* value,
                            uint32_t size);

// The local node id: $TVN_NODE_ID (decimal, default 0). 0, -22 when the
// variable is not a decimal number below 65535, -1 when injected.
int32_t GetLocalNodeId(uint32_t* node_id);

// Support flag of the NAS base runtime.
void NasSetSupportNasFlag(bool supported);
bool NasGetSupportNasFlag();

// Feature manager: a feature ("alias", "audit_log", ...) is supported when
// section "FEATURE" of /KSD/conf/tvn_cm/product.ini holds its key with a
// non-zero number. Read on every test, so a change needs no restart.
int32_t TvnCmFmInit();
bool TvnCmFmIsSupport(const char* feature);

#define TVN_CM_PRODUCT_INI "/KSD/conf/tvn_cm/product.ini"
#define TVN_CM_RULE_INI "/KSD/conf/tvn_cm/rule.ini"

namespace tvn {
// Every stand-in call goes through here: it is noted in the journal and in
// the platform log (level 7), and fails with -1 when TVN_FAIL_AT names it.
int32_t platform_call(const char* name);
// Names of the stand-in calls made so far, in order, with their results
// ("osax_init=0"); for tests and diagnostics.
std::vector<std::string> platform_journal();
void platform_journal_clear();
}  // namespace tvn
