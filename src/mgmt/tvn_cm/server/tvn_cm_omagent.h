#pragma once
// Registration of the service with the OM agent and the table from OM
// operation code to command handler.
//
// Start-up calls tvn_cm_omagent::initRpcServer() once; teardown calls
// tvn_cm_omagent::clear_processors() after the service's RPC server has
// stopped. Every OM command then reaches rpcServerMsgHandle (or TlvMsgHandle
// for the message-queue road) on one of the agent's own threads.
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <new>

class tvn_cm_ombase;

class tvn_cm_omagent {
public:
    // 0, or the code of the first step that failed (each failure is logged).
    static int32_t initRpcServer();
    // Stops the agent's serving threads, then deletes every prototype.
    static void clear_processors();

    // The table takes ownership of the prototype and returns true, unless
    // the prototype is empty or its code is already taken (the first
    // registration of a code wins): then nothing is entered, the prototype
    // stays the caller's and the result is false.
    static bool Register_Processor(tvn_cm_ombase* processor);
    // A fresh handler for one command (the caller deletes it), or nullptr.
    static tvn_cm_ombase* Get_Processor(unsigned long long opcode);

    // Number of codes in the table (for diagnostics and tests).
    static size_t processor_count();

private:
    static int32_t register_all_processors();
    static int32_t Proto_CM_RegCfg();
    // Owns the prototypes, so a process that ends without clearing the
    // table does not leave them behind.
    static std::map<unsigned long long, std::unique_ptr<tvn_cm_ombase>> m_processors;
};

// One instantiation per command class. A failed allocation registers
// nothing and reports nothing. T must derive from tvn_cm_ombase.
template <class T>
void tvn_omagent_register_processor(unsigned long opcode) {
    T* prototype = new (std::nothrow) T(static_cast<unsigned long long>(opcode));
    if (prototype == nullptr) return;
    // A refused prototype is unreachable; free it rather than leak it.
    if (!tvn_cm_omagent::Register_Processor(prototype)) delete prototype;
}

// The command registration list, in table order (om_itf), and the
// antivirus commands made at run time; initRpcServer calls both, in that
// order.
void tvn_cm_register_all_commands();
void Init_Av_Processor();

// Registers the service's system functions with the OM agent
// (OMM_AgentRegSysInfo, one call each). 0 or the first failing code.
int32_t OmmAgentRegFunc();

// Entry of the agent's RPC module for one received command.
void rpcServerMsgHandle(void* rpcContext, const void* data, unsigned int length);
// Same road for a command delivered through the message queue.
void TlvMsgHandle(void* msg);
