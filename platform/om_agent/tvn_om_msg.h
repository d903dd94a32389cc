#pragma once
// Message layer of the OM agent library (stand-in): configuration, system
// functions, the client that receives commands through the message queue,
// and the answers sent back on that road.
//
// Each call fails with -1 when $TVN_FAIL_AT names it (see tvn_fault.h).
#include <cstdint>

#include "tvn_om_sys.h"

// The layer's configuration, filled by the client's configuration function.
// Every figure bounds what one local caller, however hostile, can make the
// agent hold or do; 0 in the derived fields picks the figure noted.
struct MSG_CFG_S {
    uint32_t worker_threads = 8;  // threads serving commands (both roads), 1..64
    uint32_t max_msg_bytes = 1u << 20;  // a larger frame drops its connection
    uint32_t max_queued_jobs = 1024;    // waiting commands; beyond: answered -16
    uint32_t max_queued_bytes = 16u << 20;  // bytes of waiting commands; beyond: -16
    uint32_t max_wait_ms = 30000;  // a command that waited longer is answered -62, never run
    uint32_t client_threads = 0;   // serving threads one connection may hold (0: half)
    uint32_t client_queued_jobs = 0;  // waiting commands of one connection (0: a quarter)
    uint32_t max_connections = 0;  // open connections (0: descriptor soft limit minus a reserve)
    uint32_t handshake_ms = 5000;  // a connection without a finished handshake is closed
};
using MSG_CFG_FN = int32_t (*)(MSG_CFG_S* cfg);

int32_t Msg_RegisterCfgFunc(MSG_CFG_FN fn);
int32_t Msg_RegisterSleepFunc(OM_SYS_SLEEP_FN fn);
int32_t Msg_RegisterMallocFunc(OM_SYS_MALLOC_FN fn);
int32_t Msg_RegisterFreeFunc(OM_SYS_FREE_FN fn);
int32_t Msg_RegisterLogIntfFunc(OM_SYS_LOG_FN fn);
int32_t Msg_RegisterLocaltimeFunc(OM_SYS_LOCALTIME_FN fn);
int32_t Msg_RegisterGettimeFunc(OM_SYS_GETTIME_FN fn);
int32_t Msg_RegisterGetLocalNid(OM_SYS_LOCAL_NID_FN fn);
int32_t Msg_RegisterCreateThreadFunc(OM_SYS_CREATE_THREAD_FN fn);

// Reads the configuration through the registered function. Fails when no
// configuration function was registered or it fails.
int32_t MSG_MemManageInit();

// Receives one queued message; the message is valid only during the call.
using MSG_RECV_FN = void (*)(void* msg);
// Starts the client of the given name; queued commands are handed to fn.
int32_t MSG_ClientInit(const char* name, MSG_RECV_FN fn);
int32_t MSG_RegisterPID(uint32_t pid);
void MSG_ClientExit();

// The body (an encoded OmMessage) of a queued message.
int32_t MSG_GetMsgInfo(void* msg, const void** body, uint32_t* length);

// Answers of the queue road, one per message: the acknowledgement with an
// answer object, an error acknowledgement, or the message closed with a
// result. A second answer to the same message fails.
int32_t MSG_AckMsgObj(void* msg, void* obj);
int32_t MSG_PostErrAck(void* msg, uint64_t opcode, int32_t result);
int32_t MSG_EndMsg(void* msg, int32_t result);
