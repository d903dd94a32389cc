#pragma once
// The OM agent stand-in: the agent (OMM_*), its RPC module (rpcInitWork,
// regRpcEntrySet, endRpcCall) and the answers of the RPC road.
//
// Commands arrive on a ZeroMQ ROUTER at $TVN_OM_ENDPOINT (default
// tcp://127.0.0.1:6107). A client sends one frame, an encoded OmMessage,
// from a REQ socket (or a DEALER with an empty delimiter frame) and receives
// one frame, an encoded OmReply. A DEALER that sends the two frames "queue"
// and the message (after the delimiter) reaches the message-queue road
// (MSG_ClientInit) instead of the RPC entry. Commands are served on the
// agent's own threads, several at once. Anything else that arrives is
// answered with OM_CALL_END and result -1; when more than 4096 commands
// wait for a thread the newest is answered with OM_CALL_END and -16.
//
// Change notifications are published on a PUB socket at $TVN_OM_EVENTS
// (default tcp://127.0.0.1:6108), one encoded OmMessage a frame.
//
// Each call below fails with -1 when $TVN_FAIL_AT names it; for
// OMM_AgentRegSysInfo the name may also be that of one kind
// ("OMM_AGENT_REG_SYS_MALLOC", ...).
#include <cstddef>
#include <cstdint>
#include <string>

#include "tvn_om_sys.h"

enum OMM_AGENT_REG_SYS_TYPE : uint32_t {
    OMM_AGENT_REG_SYS_LOG = 0,
    OMM_AGENT_REG_SYS_SLEEP,
    OMM_AGENT_REG_SYS_MALLOC,
    OMM_AGENT_REG_SYS_FREE,
    OMM_AGENT_REG_SYS_LOCAL_TIME,
    OMM_AGENT_REG_SYS_TIME,
    OMM_AGENT_REG_SYS_LOCAL_NID,
    OMM_AGENT_REG_SYS_CREATE_THREAD,
    OMM_AGENT_REG_SYS_BUTT
};

// Registers one system function (fn is the function of that kind's type in
// tvn_om_sys.h).
int32_t OMM_AgentRegSysInfo(uint32_t type, void* fn);
// Starts the agent: binds the notification endpoint. -1 when it cannot.
int32_t OMM_AGENTInit();
void OMM_AGENTExit();
// Publishes a change notification (the object stays the caller's).
int32_t OMAgent_NotifyMsgObj(void* obj);

// The RPC module. rpcInitWork binds the command endpoint and starts the
// serving threads (the configuration file is accepted and not read by the
// stand-in); -1 when the endpoint cannot be bound or it already runs.
using RPC_ENTRY_FN = void (*)(void* rpcContext, const void* data, unsigned int length);
int32_t rpcInitWork(const char* conf_file);
int32_t regRpcEntrySet(RPC_ENTRY_FN fn);
// Stops serving: waits for the commands in progress, closes the endpoint.
void rpcExitWork();

// Answers of the RPC road, one per call; a second answer fails. A call left
// without an answer when the entry returns is closed with -1.
int32_t endRpcCall(int32_t result, void* rpcContext);
int32_t OMAgent_AckMsgObj(void* rpcContext, void* obj);
int32_t OMAgent_PostErrAck(void* rpcContext, uint64_t opcode, int32_t result);

namespace tvn::om {

// Endpoints the agent actually bound (a port 0 in the configured endpoint
// resolves to the one the system chose); "" when not bound.
std::string bound_command_endpoint();
std::string bound_events_endpoint();

// Serves one command on the calling thread, through the RPC entry (or the
// queue road), as the endpoint would; *reply gets the encoded OmReply.
// For tests and fuzzing. -1 when no entry is installed on that road.
int32_t invoke_local(const void* data, size_t length, bool queue_road, std::string* reply);

}  // namespace tvn::om
