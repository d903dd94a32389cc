#pragma once
// Base of every OM command handler. One object serves exactly one command:
// the table keeps a prototype per operation code and clones it
// (create_instance) for each command received, so a handler keeps its
// per-command state in plain members and shares nothing mutable.
#include <cstdint>
#include <new>

class tvn_cm_ombase {
public:
    explicit tvn_cm_ombase(unsigned long long opcode);
    virtual ~tvn_cm_ombase();
    tvn_cm_ombase(const tvn_cm_ombase&) = delete;
    tvn_cm_ombase& operator=(const tvn_cm_ombase&) = delete;

    // Given by each command class.
    // A new object of the same class built with the same code (nullptr when
    // the allocation fails).
    virtual tvn_cm_ombase* create_instance() = 0;
    // The command's change notification as a new message object, or nullptr
    // when the command has none or it cannot be made.
    virtual void* create_async_notify_msg() = 0;
    // Serves the command. req is the decoded request (not owned). On success
    // *rsp receives a new answer object (ownership passes to the caller) or
    // stays empty, and the result is 0; else a non-zero error code.
    virtual int ommsg_deal(void* req, void** rsp) = 0;
    // Writes the command's operation log for the result of ommsg_deal;
    // number is handed through from the dispatcher.
    virtual void oplog_send(int result, unsigned int number) = 0;

    // Defaults a class may override.
    virtual void set_sessionkey(unsigned long long key);
    virtual unsigned long long get_opcode();
    virtual bool need_forwarding(void* msg);
    // Writes the local node id (its 16-bit value sign-extended) and returns 0.
    virtual int get_forwarding_node(int& node);
    virtual int get_forwarding_retry();
    virtual int get_forwarding_timeout();

    // Does nothing: a class that writes an operation log calls
    // tvn_send_operation from its oplog_send.
    void send_operation(unsigned int number, unsigned long long event_id,
                        unsigned long long tenant_id, const char* params);
    // Publishes create_async_notify_msg() on the agent's notification
    // endpoint. 0, -6 when there is no message, else the agent's code.
    int send_async_notify();

    unsigned long long get_sessionkey() const { return m_sessionkey; }

protected:
    unsigned long long m_opcode;
    unsigned long long m_sessionkey = 0;
};

// Gives a command class its create_instance:
//   class tvn_omitf_x : public tvn_cm_omcommand<tvn_omitf_x> { ... };
// The class needs a constructor taking the operation code.
template <class Derived>
class tvn_cm_omcommand : public tvn_cm_ombase {
public:
    using tvn_cm_ombase::tvn_cm_ombase;
    tvn_cm_ombase* create_instance() override { return new (std::nothrow) Derived(get_opcode()); }
};
