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
// the stopping. After remove the handler stays in place but does nothing.
int32_t tvn_cm_install_stop_handler();
void tvn_cm_remove_stop_handler();
// Starts the server unless a stop has been asked for since install; from
// then on a stop reaches it. 0 serving has begun; 1 a stop came first and
// nothing was started; otherwise start_listening's code.
class tvn_cm_server;
int32_t tvn_cm_start_serving(tvn_cm_server& server);

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
