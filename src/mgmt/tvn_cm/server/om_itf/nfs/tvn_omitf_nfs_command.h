#pragma once
// Base of the NFS command classes: the start and end log lines with the
// time a command took, and what every share and permission command reads
// the same way (a share named by identifier or by name).
#include <sys/time.h>

#include <cstdint>
#include <string>

#include "tvn_cm_ombase.h"
#include "tvn_log.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_items.h"
#include "tvn_omitf_nfs_util.h"

class tvn_store_nfs_api;

namespace tvn_nfs {

// A share as a request names it: item 1 (its identifier) or, without it,
// item 64 (its name).
struct share_ref {
    uint64_t id = 0;
    std::string name;
    bool by_name = false;
};

// Reads item 1, else item 64. -14074 when item 1 is not an identifier or
// neither item is given; empty_name_code (when non-zero) for an empty name.
int32_t read_share_ref(void* msg, share_ref& ref, int32_t empty_name_code);
// Turns a share named by name into its identifier (-14020 on failure).
int32_t resolve_share_ref(tvn_store_nfs_api& api, uint32_t tenant, share_ref& ref);

class command_timer {
public:
    void start(const char* name, unsigned long long opcode);
    void end(const char* name, int result);

private:
    struct timeval begin_ {};
};

}  // namespace tvn_nfs

template <class Derived>
class tvn_omitf_nfs_command : public tvn_cm_omcommand<Derived> {
public:
    using tvn_cm_omcommand<Derived>::tvn_cm_omcommand;
    ~tvn_omitf_nfs_command() override {
        if (m_notify != nullptr) MSGOBJ_Destroy(m_notify);
    }

    // The notification prepared by the command (nullptr for reading
    // commands and for a command that changed nothing); the caller owns it.
    void* create_async_notify_msg() override {
        void* msg = m_notify;
        m_notify = nullptr;
        return msg;
    }
    // Reading commands change nothing and write no operation log.
    void oplog_send(int, unsigned int) override {}

protected:
    // A changing command makes its notification before it changes anything,
    // so that a notification it could not make leaves nothing half-done.
    int32_t prepare_notify(uint64_t opcode, uint32_t obj_type) {
        m_notify = tvn_nfs::new_notify_message(opcode, obj_type);
        return m_notify != nullptr ? 0 : tvn_nfs::NFS_ERR_NOMEM;
    }
    // Publishes the prepared notification, naming the changed object when
    // id is given. A notification the agent fails to publish is logged and
    // does not undo the change.
    void notify_change(const std::string& id = "") {
        if (m_notify != nullptr && !id.empty())
            tvn_nfs::write_items(m_notify, 0, {{tvn_nfs::ITEM_ID, tvn_nfs::TYPE_STRING, id}});
        int rc = this->send_async_notify();
        if (rc != 0)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Send async notify msg failed, opcode: %llu.",
                    this->get_opcode());
    }

    tvn_nfs::command_timer m_timer;

private:
    void* m_notify = nullptr;
};
