#pragma once
// The service module: tvn_cm_main brings the service up inside the process
// shell's init pass, serves until it is told to stop, and tears down.
#include <cstdint>

#include "dplog.h"
#include "ps_module.h"
#include "tvn_log.h"

// id 1017, name "tvn_cm", init = tvn_cm_main.
extern ps_module g_tvncm_ps_module;

// Always 1: on a failed start and on an orderly stop alike (the supervisor
// restarts the process rather than reading a status).
int32_t tvn_cm_main();

void TvnCmSetSupprotNasFlag();
int32_t Tvn_Cm_Startup_Preparation();
int32_t InitDependComponent();
int32_t initInfrastructure();

// Whether this node supports NAS, as read at start-up.
void TvnSetSupportNasFlag(bool supported);
bool TvnGetSupportNasFlag();

// The stop handler: SIGINT and SIGTERM stop the RPC server, SIGABRT is
// ignored. The handler itself only writes to a pipe; a watcher thread does
// the stopping.
int32_t tvn_cm_install_stop_handler();
void tvn_cm_remove_stop_handler();

// Log module of the service in the platform log.
constexpr uint32_t TVN_CM_LOG_MODULE = 666;

// Before the service log is open (and after it is closed) a message goes to
// the platform log instead, so start-up failures are never lost.
#define TVN_CM_EARLY_LOG(module_name, level, err_code, ...)                 \
    do {                                                                    \
        if (TvnLogIsOpen())                                                 \
            TVN_LOG(module_name, level, err_code, __VA_ARGS__);             \
        else                                                                \
            dplog_rc(TVN_CM_LOG_MODULE, level, err_code, __VA_ARGS__);      \
    } while (0)
