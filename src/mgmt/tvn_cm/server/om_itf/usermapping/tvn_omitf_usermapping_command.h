#pragma once
// Base of the user-mapping command classes: the common command base, plus
// the tenant read every command starts with, the clients of the rule store
// and the lookup service, the rule-id read and the rule filter of lists and
// counts. Every helper that logs is a member of the template, so its lines
// count against the command class's own rate limit.
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "common/tvn_omitf_command.h"
#include "common/tvn_omitf_items.h"
#include "common/tvn_query_cond.h"
#include "talvane_store_user_mapping.pb.h"
#include "tvn_auth_api.h"
#include "tvn_fault.h"
#include "tvn_log.h"
#include "tvn_omitf_usermapping_kchan.h"
#include "tvn_omitf_usermapping_util.h"
#include "tvn_omitf_usermapping_vocab.h"
#include "tvn_store_user_mapping_api.h"

namespace tvn_usermapping {

using tvn_omitf::answer_item;
using tvn_omitf::item_reader;
using tvn_omitf::TYPE_BOOL;
using tvn_omitf::TYPE_ENUM;
using tvn_omitf::TYPE_STRING;
using tvn_omitf::TYPE_UNSIGNED;

inline constexpr unsigned UM_STORE_TIMEOUT_MS = 30000;
inline constexpr unsigned UM_LOOKUP_TIMEOUT_MS = 30000;
inline constexpr uint32_t UM_RULE_OBJ_TYPE = 16480;

// Operation-log events (success, failure).
inline constexpr uint64_t OPLOG_ADD_RULE_OK = 0x200F40470001ULL, OPLOG_ADD_RULE_FAIL = 0x200F40470002ULL;
inline constexpr uint64_t OPLOG_MODIFY_RULE_OK = 0x200F40470003ULL, OPLOG_MODIFY_RULE_FAIL = 0x200F40470004ULL;
inline constexpr uint64_t OPLOG_DELETE_RULE_OK = 0x200F40470005ULL, OPLOG_DELETE_RULE_FAIL = 0x200F40470006ULL;
inline constexpr uint64_t OPLOG_CLEAR_CACHE_OK = 0x200F40470007ULL, OPLOG_CLEAR_CACHE_FAIL = 0x200F40470008ULL;

// The items of one rule in an answer.
inline std::vector<answer_item> rule_items(const tvn_user_mapping_rule& r) {
    return {
        {tvn_omitf::ITEM_ID, TYPE_STRING, std::to_string(r.rule_id())},
        {vocab::rule_from.id, TYPE_STRING, r.from_account()},
        {vocab::rule_to.id, TYPE_STRING, r.to_identity()},
        {vocab::rule_type.id, TYPE_ENUM, std::to_string(static_cast<uint32_t>(r.mapping_type()))},
        {vocab::rule_priority.id, TYPE_UNSIGNED, std::to_string(r.rule_priority())},
        {tvn_om_common::kTenant.id, TYPE_UNSIGNED, std::to_string(r.tenant_id())},
    };
}

// The conditions of a rule list or count.
struct rule_filter {
    std::optional<std::string> from;
    std::optional<std::string> to;
    uint32_t type = UM_TYPE_DEFAULT;
};

// Puts the tenant and the filter into a list or a count request.
template <class Req>
void apply_rule_filter(const rule_filter& f, uint32_t tenant, Req& req) {
    req.set_tenant_id(tenant);
    if (f.from) req.set_from_name_like(*f.from);
    if (f.to) req.set_to_name_like(*f.to);
    const auto type = static_cast<TvnUserMappingType>(f.type);
    if constexpr (requires { req.set_mappingtype(type); })
        req.set_mappingtype(type);
    else
        req.set_mapping_type(type);
}

}  // namespace tvn_usermapping

template <class Derived>
class tvn_omitf_usermapping_command : public tvn_omitf_command<Derived> {
public:
    using tvn_omitf_command<Derived>::tvn_omitf_command;

protected:
    // Item 4090 (absent: tenant 0), then the tenant-existence check. A class
    // may name its own invalid-tenant text (kTenantText).
    int32_t read_tenant(void* req, uint32_t& tenant) {
        using namespace tvn_usermapping;
        int32_t rc = 0;
        if constexpr (requires { Derived::kTenantText; })
            rc = item_reader(req).tenant(tenant, TVN_OM_FAIL(UM_ERR_ITEM, "Get tenantid is failed."),
                                         TVN_OM_FAIL(UM_ERR_INVALID, Derived::kTenantText));
        else
            rc = item_reader(req).tenant(tenant, TVN_OM_FAIL(UM_ERR_ITEM, "Get tenantid is failed."),
                                         TVN_OM_FAIL(UM_ERR_INVALID, "TenantId is invalid, TenantId:%s."));
        if (rc != 0) return rc;
        return tvn_omitf::tvn_cm_check_tenant_exist(tenant);
    }

    // Item 1: a rule id (-25010 when absent or not a 64-bit number).
    int32_t read_rule_id(void* req, uint32_t tenant, uint64_t& id) {
        std::string text;
        tvn_omitf::item_read got = tvn_omitf::read_text(req, tvn_omitf::ITEM_ID, text);
        if (got == tvn_omitf::ITEM_READ_ABSENT) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_usermapping::UM_ERR_RULE_ID, "TenantId(%3u), ruleid is null.",
                    tenant);
            return tvn_usermapping::UM_ERR_RULE_ID;
        }
        if (got != tvn_omitf::ITEM_READ_OK || !tvn_usermapping::parse_rule_id(text, id)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_usermapping::UM_ERR_RULE_ID, "TenantId(%3u), ruleid invalid.",
                    tenant);
            return tvn_usermapping::UM_ERR_RULE_ID;
        }
        return 0;
    }

    // Item 33, optional: FROMIDENTITY and TOIDENTITY (a text the identity
    // holds), MAPPINGTYPE (0 to 3). -3110 when unreadable or unknown.
    int32_t read_rule_filter(void* req, tvn_usermapping::rule_filter& out) {
        using namespace tvn_usermapping;
        std::string text;
        tvn_omitf::item_read got = tvn_omitf::read_text(req, vocab::rule_filter.id, text);
        if (got == tvn_omitf::ITEM_READ_ABSENT) return 0;
        tvn::query_filter filter;
        bool ok = got == tvn_omitf::ITEM_READ_OK &&
                  tvn::parse_query_filter(text, {"FROMIDENTITY", "TOIDENTITY", "MAPPINGTYPE"}, filter) ==
                      tvn::QUERY_COND_OK;
        for (const auto& [key, value] : filter) {
            if (!ok) break;
            if (key == "FROMIDENTITY") out.from = value;
            else if (key == "TOIDENTITY") out.to = value;
            else ok = tvn_omitf::parse_dec_u32(value, out.type) && out.type <= UM_TYPE_DEFAULT;
        }
        if (!ok) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, UM_ERR_QUERY_COND, "get user mapping querycondition filter err");
            return UM_ERR_QUERY_COND;
        }
        return 0;
    }

    std::unique_ptr<tvn_store_user_mapping_api> open_store() {
        std::unique_ptr<tvn_store_user_mapping_api> api;
        if (!tvn::fail_at("tvn_store_user_mapping_api"))
            api.reset(new (std::nothrow) tvn_store_user_mapping_api("127.0.0.1"));
        if (!api)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_usermapping::UM_ERR_NOMEM,
                    "New tvn_store_user_mapping_api failed.");
        return api;
    }
    std::unique_ptr<tvn_auth_api> open_lookup() {
        std::unique_ptr<tvn_auth_api> api(new (std::nothrow) tvn_auth_api("127.0.0.1", false, 1));
        if (!api)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_usermapping::UM_ERR_NOMEM, "New tvn_auth_api failed.");
        return api;
    }

    // One call of the rule store; its non-zero result is passed through.
    template <class Req, class Rsp>
    int32_t call_store(tvn_store_user_mapping_api& api,
                       int32_t (tvn_store_user_mapping_api::*method)(const Req&, Rsp&, int), const char* name,
                       const Req& request, Rsp& reply) {
        int32_t rc = (api.*method)(request, reply,
                                   static_cast<int>(tvn_omitf::rpc_timeout_ms(tvn_usermapping::UM_STORE_TIMEOUT_MS)));
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent %s rpc call is failed.", name);
            return rc;
        }
        if (reply.result() != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, reply.result(), "OMAgent rsp.result fail.");
            return reply.result();
        }
        return 0;
    }

    // One call of the lookup service; its non-zero status is passed through.
    template <class Req, class Rsp>
    int32_t call_lookup(tvn_auth_api& api, int32_t (tvn_auth_api::*method)(const Req&, Rsp&, int), const char* name,
                        const Req& request, Rsp& reply) {
        int32_t rc = (api.*method)(request, reply,
                                   static_cast<int>(tvn_omitf::rpc_timeout_ms(tvn_usermapping::UM_LOOKUP_TIMEOUT_MS)));
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent %s rpc call is failed.", name);
            return rc;
        }
        if (reply.status() != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, reply.status(), "OMAgent %s is failed, rc =%d.", name,
                    reply.status());
            return reply.status();
        }
        return 0;
    }

    // An identity for the operation log (cut to fit; logged when it cannot be).
    std::string oplog_identity(const std::string& text) {
        auto cut = tvn_usermapping::trim_utf8(text, tvn_usermapping::UM_OPLOG_IDENTITY_MAX);
        if (cut) return *cut;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0, "Trim_utf8_str failed.");
        return text.substr(0, tvn_usermapping::UM_OPLOG_IDENTITY_MAX - 3) + "...";
    }

    // Items 64 (file system id) and 66 (path) of an ACL or permission
    // request, the path checked.
    int32_t read_fs_path(void* req, uint64_t& fsid, std::string& path) {
        using namespace tvn_usermapping;
        item_reader in(req);
        std::string text;
        if (int32_t rc = in.need(vocab::acl_fsid, text, TVN_OM_FAIL(UM_ERR_FSID, "Fsid is null."),
                                 TVN_OM_FAIL(UM_ERR_FSID, "Fsid(%s) is invalid.")))
            return rc;
        if (!tvn_omitf::parse_dec_u64(text, fsid)) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_FSID, "Fsid(%s) is invalid."), text);
        if (int32_t rc = in.need(vocab::acl_path, path, TVN_OM_FAIL(UM_ERR_INVALID, "Path is null."),
                                 TVN_OM_FAIL(UM_ERR_INVALID, "Get path failed.")))
            return rc;
        std::string failed = check_path(path);
        if (!failed.empty()) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, UM_ERR_INVALID, "ErrCondition:%s.", failed.c_str());
            return UM_ERR_INVALID;
        }
        return 0;
    }

    // Hands the command string to the security-descriptor display and
    // answers its text as item 65.
    int32_t show_security_desc(void** rsp, const std::string& cmdstr) {
        using namespace tvn_usermapping;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Acl cmdstr(%s).", cmdstr.c_str());
        std::string text;
        int32_t rc = ShowSecurityDescInfo(cmdstr, text, UM_KERNEL_TIMEOUT_MS);
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Execute error, ret is: %d.", rc);
            return rc;
        }
        return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, {{vocab::acl_text.id, TYPE_STRING, text}});
    }

    // Asks the kernel for one cached mapping and answers it.
    int32_t answer_cache(void** rsp, const tvn_usermapping::cache_request& request) {
        using namespace tvn_usermapping;
        std::string text;
        int32_t rc = kernel_appdata_send(&request, sizeof request, text, UM_KERNEL_TIMEOUT_MS);
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Get userMapping cache failed(%d).", rc);
            return rc;
        }
        return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, cache_answer_items(text));
    }
};
