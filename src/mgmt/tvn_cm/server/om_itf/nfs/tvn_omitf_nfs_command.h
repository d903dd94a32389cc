#pragma once
// Base of the NFS command classes: the start and end log lines with the
// time a command took, the store client and call every command makes the
// same way, the answers, and what every share and permission command reads
// the same way (a share named by identifier or by name, the page of a list).
//
// A command class names itself (static constexpr kName, the text of its
// start and end lines) and implements deal(). The helpers that log are
// members of this template, so each command keeps its own log call sites
// and with them its own rate limit.
#include <sys/time.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "common/tvn_query_cond.h"
#include "tvn_cm_ombase.h"
#include "tvn_cm_util.h"
#include "tvn_log.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_items.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_util.h"
#include "tvn_store_nfs_api.h"

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
// The share as the operator named it, for the operation log.
std::string share_ref_oplog(const share_ref& ref);

// The audit-log file-system check a share delete and modify run before the
// store call. Audit logs of a file system live in shares, and removing or
// changing a share never needs their consent: the check only records that
// the feature is off, and returns 0.
int32_t audit_log_fs_check();

// The store's verdict in a reply: a status record, or the common reply's
// own result.
template <class Rsp>
int32_t store_result(const Rsp& reply) {
    return reply.status().result();
}
inline int32_t store_result(const tvn_nfs_common_rsp& reply) { return reply.result(); }

// The page of a list request: items 24 (range), 23 (sort) and 1 (the
// cursor, the last record of the previous page).
struct page_request {
    uint32_t offset = 1;  // the store counts from 1
    uint32_t count = 0;   // 0: the store's default page
    std::optional<tvn::query_sort> sort;
    std::optional<uint64_t> after;
};

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

    // Every command logs its start, and its end with the time it took.
    int ommsg_deal(void* req, void** rsp) override {
        m_timer.start(Derived::kName, this->get_opcode());
        int rc = req == nullptr || rsp == nullptr ? tvn_nfs::NFS_ERR_ITEM : deal(req, rsp);
        m_timer.end(Derived::kName, rc);
        return rc;
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
    // The command itself; req and rsp are not null.
    virtual int deal(void* req, void** rsp) = 0;

    // The store client of this command, or nullptr (logged).
    std::unique_ptr<tvn_store_nfs_api> open_store() {
        auto api = tvn_nfs::new_store_api();
        if (!api)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_nfs::NFS_ERR_NOMEM, "New tvn_store_nfs_api failed.");
        return api;
    }

    // One call of the store, named by its method for the log. 0 when the
    // store did it; else the transport's code or the store's verdict.
    template <class Req, class Rsp>
    int32_t call_store(tvn_store_nfs_api& api, int32_t (tvn_store_nfs_api::*method)(const Req&, Rsp&, uint32_t),
                       const char* method_name, const Req& request, Rsp& reply) {
        int32_t rc = (api.*method)(request, reply, tvn_nfs::rpc_timeout_ms(tvn_nfs::NFS_STORE_TIMEOUT_MS));
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent %s rpc call is failed.", method_name);
            return rc;
        }
        int32_t result = tvn_nfs::store_result(reply);
        if (result != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, result, "OMAgent %s is failed, rc =%d.", method_name, result);
            return result;
        }
        return 0;
    }

    // Range, sort and cursor of a list request. `text` is the buffer of the
    // command's item reads: an unreadable cursor is logged with the last
    // text read, as the command's own reads would. 0, -5 for a malformed
    // range or sort, -14074 for a cursor that is not an identifier
    // (cursor_name names it in the log: "Share_id", "Auth_id").
    int32_t read_page(void* req, const char* cursor_name, std::string& text, tvn_nfs::page_request& page) {
        using namespace tvn_nfs;
        item_read got = read_text(req, ITEM_RANGE, text);
        if (got == ITEM_READ_ABSENT) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "no range , use default value.");
        } else {
            tvn::query_range range;
            if (got != ITEM_READ_OK || tvn::parse_query_range(text, range) != tvn::QUERY_COND_OK ||
                range.offset == std::numeric_limits<uint32_t>::max()) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "%s Param range is invalid.",
                        Derived::kName);
                return NFS_ERR_PARAM_RANGE;
            }
            page.offset = range.offset + 1;
            page.count = range.limit;
        }

        got = read_text(req, ITEM_SORT, text);
        if (got != ITEM_READ_ABSENT) {
            tvn::query_sort sort;
            if (got != ITEM_READ_OK || tvn::parse_query_sort(text, sort) != tvn::QUERY_COND_OK) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "%s Param sort is invalid.",
                        Derived::kName);
                return NFS_ERR_PARAM_RANGE;
            }
            page.sort = std::move(sort);
        }

        got = read_text(req, ITEM_ID, text);
        if (got != ITEM_READ_ABSENT) {
            uint64_t last = 0;
            if (got != ITEM_READ_OK || !parse_object_id(text, last)) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "%s(%s) is null or invalid.",
                        cursor_name, text.c_str());
                return NFS_ERR_SHARE_ID;
            }
            page.after = last;
        }
        return 0;
    }

    // A list answer: one record per entry (the items `items_of` gives), as
    // many as fit into one answer; `noun` names the entries in the log of a
    // page cut short.
    template <class Entries, class ItemsOf>
    int32_t answer_page(void** rsp, const Entries& entries, ItemsOf items_of, const char* noun) {
        void* ack = tvn_nfs::new_message(tvn_nfs::NFS_MSG_ITEMS);
        if (ack == nullptr) return tvn_nfs::NFS_ERR_NOMEM;
        const uint32_t total = static_cast<uint32_t>(entries.size());
        for (uint32_t i = 0; i < total; ++i) {
            size_t size = MSGOBJ_GetSize(ack);
            if (!tvn_nfs::ack_has_room(size)) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0,
                        "msg obj size may over, current: %llu, only get %u of %u %s",
                        static_cast<unsigned long long>(size), i, total, noun);
                break;
            }
            MSGOBJ_SetOpcode(ack, i, this->get_opcode());
            int32_t rc = tvn_nfs::write_items(ack, i, items_of(entries.Get(static_cast<int>(i))));
            if (rc != 0) {
                MSGOBJ_Destroy(ack);
                return rc;
            }
        }
        *rsp = ack;
        return 0;
    }

    // Writes the command's operation-log record: the success event, or the
    // failure event with the code after the parameters.
    static void send_oplog(unsigned int number, int result, uint64_t ok_event, uint64_t fail_event,
                           uint32_t tenant, std::string params) {
        if (result != 0) params = tvn_nfs::oplog_with_result(std::move(params), result);
        tvn_send_operation(number, result == 0 ? ok_event : fail_event, tenant, params);
    }

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

private:
    tvn_nfs::command_timer m_timer;
    void* m_notify = nullptr;
};
