#pragma once
// Base of the command classes of every family: the start and end log lines
// with the time a command took, a sibling-daemon call with its logs, the
// page of a list request and a list answer, the operation log and the
// change notification.
//
// A command class names itself (static constexpr kName, the text of its
// start and end lines) and implements deal():
//
//   class tvn_omitf_x_get : public tvn_omitf_command<tvn_omitf_x_get> {
//   public:
//       static constexpr const char* kName = "tvn_omitf_x_get";
//       using tvn_omitf_command::tvn_omitf_command;
//   private:
//       int deal(void* req, void** rsp) override;
//   };
//
// Every helper here that logs is a member of this template, so its log
// lines count against the command class's own rate limit, never against a
// budget shared by all commands.
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "common/tvn_omitf_items.h"
#include "common/tvn_query_cond.h"
#include "tvn_cm_ombase.h"
#include "tvn_cm_util.h"
#include "tvn_log.h"
#include "tvn_msgobj.h"

namespace tvn_omitf {

// The verdict inside a daemon's reply: a status record, or the reply's own
// result field.
template <class Rsp>
int32_t reply_result(const Rsp& reply) {
    if constexpr (requires { reply.status().result(); })
        return reply.status().result();
    else if constexpr (requires { reply.result(); })
        return reply.result();
    else
        return 0;
}

// The page of a list request: items 24 (range), 23 (sort) and 1 (the
// cursor, the last record of the previous page).
struct page_request {
    uint32_t offset = 1;  // the daemons count from 1
    uint32_t count = 0;   // 0: the daemon's default page
    std::optional<tvn::query_sort> sort;
    std::optional<uint64_t> after;
};

// What a list answer may hold: a record more is added only while the
// answer stays below this size.
inline constexpr size_t TVN_OM_ACK_SIZE_LIMIT = 57344;
inline constexpr size_t TVN_OM_ACK_RECORD_RESERVE = 2408;
inline bool ack_has_room(size_t current_size) {
    return current_size + TVN_OM_ACK_RECORD_RESERVE <= TVN_OM_ACK_SIZE_LIMIT;
}

// A failed command's operation-log parameters: "," and the code appended.
inline std::string oplog_with_result(std::string params, int32_t result) {
    return params + "," + std::to_string(result);
}

inline constexpr uint32_t ITEM_ID = 1;
inline constexpr uint32_t ITEM_SORT = 23;
inline constexpr uint32_t ITEM_RANGE = 24;

}  // namespace tvn_omitf

template <class Derived>
class tvn_omitf_command : public tvn_cm_omcommand<Derived> {
public:
    using tvn_cm_omcommand<Derived>::tvn_cm_omcommand;
    ~tvn_omitf_command() override {
        if (m_notify != nullptr) MSGOBJ_Destroy(m_notify);
    }

    // Every command logs its start, and its end with the time it took.
    int ommsg_deal(void* req, void** rsp) override {
        const auto begin = std::chrono::steady_clock::now();
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "%s start, opcode: %llu.", Derived::kName, this->get_opcode());
        int rc = req == nullptr || rsp == nullptr ? -1 : deal(req, rsp);
        long long cost_us =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin).count();
        if (rc != 0)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s end, rc(%d), cost(%lld)us.", Derived::kName, rc, cost_us);
        else
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "%s end, rc(%d), cost(%lld)us.", Derived::kName, rc, cost_us);
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

    // One call of a sibling daemon through its client wrapper, named by its
    // method for the log. 0 when the daemon did it; else the transport's
    // code or the daemon's verdict.
    template <class Api, class Req, class Rsp, class Timeout>
    int32_t call(Api& api, int32_t (Api::*method)(const Req&, Rsp&, Timeout), const char* method_name,
                 const Req& request, Rsp& reply, unsigned timeout_ms) {
        int32_t rc = (api.*method)(request, reply, static_cast<Timeout>(tvn_omitf::rpc_timeout_ms(timeout_ms)));
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent %s rpc call is failed.", method_name);
            return rc;
        }
        int32_t result = tvn_omitf::reply_result(reply);
        if (result != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, result, "OMAgent %s is failed, rc =%d.", method_name, result);
            return result;
        }
        return 0;
    }

    // Range, sort and cursor of a list request. `text` is the buffer of the
    // command's item reads: an unreadable cursor is logged with the last
    // text read, as the command's own reads would. 0, range_code for a
    // malformed range or sort, cursor_code for a cursor that is not an
    // identifier (cursor_name names it in the log: "Share_id", "Auth_id").
    int32_t read_page(void* req, const char* cursor_name, int32_t range_code, int32_t cursor_code, std::string& text,
                      tvn_omitf::page_request& page) {
        using namespace tvn_omitf;
        item_read got = read_text(req, ITEM_RANGE, text);
        if (got == ITEM_READ_ABSENT) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "no range , use default value.");
        } else {
            tvn::query_range range;
            if (got != ITEM_READ_OK || tvn::parse_query_range(text, range) != tvn::QUERY_COND_OK ||
                range.offset == std::numeric_limits<uint32_t>::max()) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, range_code, "%s Param range is invalid.", Derived::kName);
                return range_code;
            }
            page.offset = range.offset + 1;
            page.count = range.limit;
        }

        got = read_text(req, ITEM_SORT, text);
        if (got != ITEM_READ_ABSENT) {
            tvn::query_sort sort;
            if (got != ITEM_READ_OK || tvn::parse_query_sort(text, sort) != tvn::QUERY_COND_OK) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, range_code, "%s Param sort is invalid.", Derived::kName);
                return range_code;
            }
            page.sort = std::move(sort);
        }

        got = read_text(req, ITEM_ID, text);
        if (got != ITEM_READ_ABSENT) {
            uint64_t last = 0;
            if (got != ITEM_READ_OK || !parse_object_id(text, last)) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, cursor_code, "%s(%s) is null or invalid.", cursor_name,
                        text.c_str());
                return cursor_code;
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
        void* ack = tvn_omitf::new_message(tvn_omitf::TVN_OM_MSG_ITEMS);
        if (ack == nullptr) return -6;
        const uint32_t total = static_cast<uint32_t>(entries.size());
        for (uint32_t i = 0; i < total; ++i) {
            size_t size = MSGOBJ_GetSize(ack);
            if (!tvn_omitf::ack_has_room(size)) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0,
                        "msg obj size may over, current: %llu, only get %u of %u %s",
                        static_cast<unsigned long long>(size), i, total, noun);
                break;
            }
            MSGOBJ_SetOpcode(ack, i, this->get_opcode());
            int32_t rc = tvn_omitf::write_items(ack, i, items_of(entries[static_cast<int>(i)]));
            if (rc != 0) {
                MSGOBJ_Destroy(ack);
                return rc;
            }
        }
        *rsp = ack;
        return 0;
    }

    // Writes the command's operation-log record: the success event, or the
    // failure event with "," and the code after the parameters.
    static void send_oplog(unsigned int number, int result, uint64_t ok_event, uint64_t fail_event, uint32_t tenant,
                           std::string params) {
        if (result != 0) params = tvn_omitf::oplog_with_result(std::move(params), result);
        tvn_send_operation(number, result == 0 ? ok_event : fail_event, tenant, params);
    }

    // A changing command makes its notification before it changes anything,
    // so that a notification it could not make leaves nothing half-done.
    int32_t prepare_notify(uint64_t opcode, uint32_t obj_type) {
        m_notify = tvn_omitf::new_notify_message(opcode, obj_type);
        return m_notify != nullptr ? 0 : -6;
    }
    // Publishes the prepared notification, naming the changed object when
    // id is given. A notification the agent fails to publish is logged and
    // does not undo the change.
    void notify_change(const std::string& id = "") {
        if (m_notify != nullptr && !id.empty())
            tvn_omitf::write_items(m_notify, 0, {{tvn_omitf::ITEM_ID, tvn_omitf::TYPE_STRING, id}});
        int rc = this->send_async_notify();
        if (rc != 0)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Send async notify msg failed, opcode: %llu.",
                    this->get_opcode());
    }

private:
    void* m_notify = nullptr;
};
