#include "tvn_cm_omagent.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <exception>
#include <new>

#include "tvn_cm_ombase.h"
#include "tvn_cm_util.h"
#include "tvn_log.h"
#include "tvn_msgobj.h"
#include "tvn_om_msg.h"
#include "tvn_omm_agent.h"

std::map<unsigned long long, std::unique_ptr<tvn_cm_ombase>> tvn_cm_omagent::m_processors;

namespace {

constexpr const char* kModule = TVN_LOG_MODULE_CM;
constexpr const char* kRpcConfFile = "../conf/ccm_conf.xml";
constexpr const char* kMsgClientName = "MSG_CLIENT_PROTO_CM";
constexpr uint32_t kServingThreads = 8;

// ---- the service's system functions, handed to the message layer and the agent ----

void sys_log(int level, const char* text) { TVN_LOG(kModule, level, 0, "%s", text); }

void sys_sleep(uint32_t milliseconds) { ::usleep(static_cast<useconds_t>(milliseconds) * 1000); }

void* sys_malloc(size_t size) { return std::malloc(size); }

void sys_free(void* block) { std::free(block); }

int32_t sys_localtime(struct tm* out) {
    if (out == nullptr) return -1;
    time_t now = ::time(nullptr);
    return ::localtime_r(&now, out) != nullptr ? 0 : -1;
}

uint64_t sys_gettime() { return static_cast<uint64_t>(::time(nullptr)); }

int32_t sys_local_nid(uint32_t* nid) { return tvn_cm_get_local_nid(nid); }

int32_t sys_create_thread(pthread_t* thread, void* (*entry)(void*), void* arg, const char* name) {
    if (thread == nullptr || entry == nullptr) return -1;
    int rc = ::pthread_create(thread, nullptr, entry, arg);
    if (rc != 0) return -rc;
    if (name != nullptr) {
        char short_name[16] = {};
        for (size_t i = 0; i + 1 < sizeof(short_name) && name[i] != '\0'; ++i) short_name[i] = name[i];
        ::pthread_setname_np(*thread, short_name);
    }
    return 0;
}

int32_t msg_cfg(MSG_CFG_S* cfg) {
    if (cfg == nullptr) return -1;
    cfg->worker_threads = kServingThreads;
    return 0;
}

// The two roads answer through different calls; the dispatch is the same.
struct answer_road {
    void* handle;
    int32_t (*ack)(void* handle, void* obj);
    int32_t (*err_ack)(void* handle, uint64_t opcode, int32_t result);
};

int32_t rpc_ack(void* ctx, void* obj) { return OMAgent_AckMsgObj(ctx, obj); }
int32_t rpc_err_ack(void* ctx, uint64_t opcode, int32_t result) {
    return OMAgent_PostErrAck(ctx, opcode, result);
}
int32_t rpc_end(void* ctx, int32_t result) { return endRpcCall(result, ctx); }
int32_t queue_ack(void* msg, void* obj) { return MSG_AckMsgObj(msg, obj); }
int32_t queue_err_ack(void* msg, uint64_t opcode, int32_t result) {
    return MSG_PostErrAck(msg, opcode, result);
}
int32_t queue_end(void* msg, int32_t result) { return MSG_EndMsg(msg, result); }

// Operation code of record 0 and the message type (item 0 of record 0).
void read_command_head(void* req, uint64_t& opcode, uint32_t& type) {
    opcode = 0;
    type = 0;
    MSGOBJ_GetOpcode(req, 0, &opcode);
    MSGOBJ_GetItemUnsigned(req, 0, TVN_OM_ITEM_MSG_TYPE, &type);
    MSGOBJ_ClearLastError(req);
}

int call_handler(tvn_cm_ombase* handler, void* req, void** answer) {
    // A handler's exception must not unwind into the agent's thread.
    try {
        return handler->ommsg_deal(req, answer);
    } catch (const std::bad_alloc&) {
        return -6;
    } catch (...) {
        return -1;
    }
}

// Steps 4 to 7 of the road: find the handler, serve, log, answer. Destroys req.
void serve_command(void* req, uint64_t opcode, uint32_t type, const answer_road& road,
                   int32_t (*end)(void*, int32_t)) {
    tvn_cm_ombase* handler = tvn_cm_omagent::Get_Processor(opcode);
    if (handler == nullptr) {
        TVN_LOG(kModule, TVN_LOG_ERROR, 0, "Get_Processor fail, opcode: %llu.",
                static_cast<unsigned long long>(opcode));
        end(road.handle, 0);
        MSGOBJ_Destroy(req);
        return;
    }
    void* answer = nullptr;
    int result = call_handler(handler, req, &answer);
    // The operation log is written whatever the outcome; the message type
    // is the number the record starts with.
    try {
        handler->oplog_send(result, type);
    } catch (...) {
    }
    delete handler;

    if (result == 0 && answer != nullptr) {
        MSGOBJ_SetOpcode(answer, 0, opcode);
        if (road.ack(road.handle, answer) != 0)
            TVN_LOG(kModule, TVN_LOG_ERROR, -1, "Send OMAgent_AckMsgObj to OM fail, opcode: %llu.",
                    static_cast<unsigned long long>(opcode));
    } else {
        TVN_LOG(kModule, TVN_LOG_ERROR, result, "Ommsg_deal fail, opcode: %llu, pAckMsgObj:%p.",
                static_cast<unsigned long long>(opcode), answer);
        if (road.err_ack(road.handle, opcode, result) != 0)
            TVN_LOG(kModule, TVN_LOG_ERROR, -1, "OMAgent_PostErrAck fail.");
    }
    if (answer != nullptr) MSGOBJ_Destroy(answer);
    MSGOBJ_Destroy(req);
}

// Undoes what a failed start-up left running, so no thread or socket
// outlives the failure.
void stop_agent() {
    rpcExitWork();
    OMM_AGENTExit();
    MSG_ClientExit();
}

int32_t init_server_handle() {
    int32_t ret = regRpcEntrySet(rpcServerMsgHandle);
    if (ret != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Register rpc server handle failed,ret(%d).", ret);
        return ret;
    }
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "TVN_CM rpc server handle set");
    return 0;
}

}  // namespace

bool tvn_cm_omagent::Register_Processor(tvn_cm_ombase* processor) {
    if (processor == nullptr) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -1, "OMAgent param processor is NULL.");
        return false;
    }
    unsigned long long opcode = processor->get_opcode();
    if (m_processors.find(opcode) != m_processors.end()) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -1, "processor OpCode conflict. OpCode:%llu", opcode);
        return false;
    }
    m_processors.emplace(opcode, std::unique_ptr<tvn_cm_ombase>(processor));
    return true;
}

tvn_cm_ombase* tvn_cm_omagent::Get_Processor(unsigned long long opcode) {
    auto it = m_processors.find(opcode);
    if (it == m_processors.end()) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -1, "can not find processor. OpCode:%llu", opcode);
        return nullptr;
    }
    if (it->second == nullptr) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -1, "processor is NULL. OpCode:%llu", opcode);
        return nullptr;
    }
    return it->second->create_instance();
}

size_t tvn_cm_omagent::processor_count() { return m_processors.size(); }

void tvn_cm_omagent::clear_processors() {
    // No command may be reaching for a prototype while they go.
    stop_agent();
    m_processors.clear();
}

int32_t tvn_cm_omagent::register_all_processors() {
    tvn_cm_register_all_commands();
    Init_Av_Processor();
    return 0;
}

int32_t OmmAgentRegFunc() {
    struct reg {
        uint32_t type;
        void* fn;
        const char* failure;
    };
    const reg regs[] = {
        {OMM_AGENT_REG_SYS_LOG, reinterpret_cast<void*>(&sys_log), "Msg_RegisterLogIntfFunc failed."},
        {OMM_AGENT_REG_SYS_SLEEP, reinterpret_cast<void*>(&sys_sleep), "Msg_RegisterSleepFunc failed."},
        {OMM_AGENT_REG_SYS_MALLOC, reinterpret_cast<void*>(&sys_malloc), "OMM_AGENT_REG_SYS_MALLOC failed."},
        {OMM_AGENT_REG_SYS_FREE, reinterpret_cast<void*>(&sys_free), "OMM_AGENT_REG_SYS_FREE failed."},
        {OMM_AGENT_REG_SYS_LOCAL_TIME, reinterpret_cast<void*>(&sys_localtime),
         "OMM_AGENT_REG_SYS_LOCAL_TIME failed."},
        {OMM_AGENT_REG_SYS_TIME, reinterpret_cast<void*>(&sys_gettime), "OMM_AGENT_REG_SYS_TIME failed."},
        {OMM_AGENT_REG_SYS_LOCAL_NID, reinterpret_cast<void*>(&sys_local_nid),
         "OMM_AGENT_REG_SYS_LOCAL_NID failed."},
        {OMM_AGENT_REG_SYS_CREATE_THREAD, reinterpret_cast<void*>(&sys_create_thread),
         "OMM_AGENT_REG_SYS_CREATE_THREAD failed."},
    };
    for (const reg& r : regs) {
        int32_t ret = OMM_AgentRegSysInfo(r.type, r.fn);
        if (ret != 0) {
            TVN_LOG(kModule, TVN_LOG_ERROR, ret, "%s", r.failure);
            return ret;
        }
    }
    return 0;
}

int32_t tvn_cm_omagent::Proto_CM_RegCfg() {
    int32_t ret = Msg_RegisterCfgFunc(msg_cfg);
    if (ret != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Msg_RegisterCfgFunc failed.");
        return ret;
    }
    if ((ret = Msg_RegisterSleepFunc(sys_sleep)) != 0 || (ret = Msg_RegisterMallocFunc(sys_malloc)) != 0 ||
        (ret = Msg_RegisterFreeFunc(sys_free)) != 0 || (ret = Msg_RegisterLogIntfFunc(sys_log)) != 0 ||
        (ret = Msg_RegisterLocaltimeFunc(sys_localtime)) != 0 ||
        (ret = Msg_RegisterGettimeFunc(sys_gettime)) != 0 ||
        (ret = Msg_RegisterGetLocalNid(sys_local_nid)) != 0 ||
        (ret = Msg_RegisterCreateThreadFunc(sys_create_thread)) != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Msg_RegisterFunc failed.");
        return ret;
    }
    if ((ret = MSG_MemManageInit()) != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "MSG_MemManageInit failed.");
        return ret;
    }
    if ((ret = MSG_ClientInit(kMsgClientName, TlvMsgHandle)) != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "MSG_ClientInit failed.");
        return ret;
    }
    if ((ret = MSG_RegisterPID(TVN_CM_MODULE_ID)) != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "MSG_RegisterPID failed, ret(%d).", ret);
        return ret;
    }
    if ((ret = OmmAgentRegFunc()) != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Omm agent reg func failed, ret(%d).", ret);
        return ret;
    }
    if ((ret = OMM_AGENTInit()) != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Omm agent init failed, ret(%d).", ret);
        return ret;
    }
    return 0;
}

int32_t tvn_cm_omagent::initRpcServer() {
    int32_t ret = register_all_processors();
    if (ret != 0) return ret;

    ret = Proto_CM_RegCfg();
    if (ret != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Register2OM failed.");
        stop_agent();
        return ret;
    }

    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Start init Rpc module.");
    ret = rpcInitWork(kRpcConfFile);
    if (ret != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Init rpcmodule failed, ret(%d).", ret);
        stop_agent();
        return ret;
    }

    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Start init ServerHandle.");
    ret = init_server_handle();
    if (ret != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, ret, "Init handler failed, ret(%d).", ret);
        stop_agent();
        return ret;
    }

    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Start cm rpc server success.");
    return 0;
}

void rpcServerMsgHandle(void* rpcContext, const void* data, unsigned int length) {
    if (rpcContext == nullptr) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -1, "Rpc dst get failed, rpcContext is null.");
        return;
    }
    void* req = nullptr;
    uint32_t err = MSGOBJ_Decode(TVN_CM_MODULE_ID, data, length, &req);
    if (err != 0 || req == nullptr) {
        TVN_LOG(kModule, TVN_LOG_ERROR, static_cast<int32_t>(err), "MSGOBJ_Decode fail.");
        endRpcCall(-1, rpcContext);
        return;
    }
    uint64_t opcode = 0;
    uint32_t type = 0;
    read_command_head(req, opcode, type);
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Recieve rpc msg, pcode:%llu, type:%u.",
            static_cast<unsigned long long>(opcode), type);
    serve_command(req, opcode, type, answer_road{rpcContext, rpc_ack, rpc_err_ack}, rpc_end);
}

void TlvMsgHandle(void* msg) {
    if (msg == nullptr) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -1, "TlvMsgHandle parameter is null.");
        return;
    }
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Recive one message.");
    const void* body = nullptr;
    uint32_t length = 0;
    if (MSG_GetMsgInfo(msg, &body, &length) != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -1, "MSG_GetMsgInfo fail.");
        MSG_EndMsg(msg, -1);
        return;
    }
    void* req = nullptr;
    uint32_t err = MSGOBJ_Decode(TVN_CM_MODULE_ID, body, length, &req);
    if (err != 0 || req == nullptr) {
        TVN_LOG(kModule, TVN_LOG_ERROR, static_cast<int32_t>(err), "MSGOBJ_Decode fail.");
        MSG_EndMsg(msg, -1);
        return;
    }
    uint64_t opcode = 0;
    uint32_t type = 0;
    read_command_head(req, opcode, type);
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Opcode:%llu, type:%u.", static_cast<unsigned long long>(opcode),
            type);
    serve_command(req, opcode, type, answer_road{msg, queue_ack, queue_err_ack}, queue_end);
}
