#pragma once
// Base of the Kerberos command classes: the common command base, plus the
// tenant read, the store and configuration-store clients and the checks
// every realm and name command shares, each logging at the command's own
// site.
#include <cstdint>
#include <memory>
#include <string>

#include "common/tvn_omitf_command.h"
#include "talvane_store_conf.pb.h"
#include "talvane_store_kerberos.pb.h"
#include "tvn_log.h"
#include "tvn_omitf_kerberos_util.h"
#include "tvn_omitf_kerberos_vocab.h"
#include "tvn_store_conf_api.h"
#include "tvn_store_kerberos_api.h"

namespace tvn_krb {
std::unique_ptr<TvnStoreKerberosApi> new_kerberos_api();
std::unique_ptr<tvn_store_conf_api> new_conf_api();
}  // namespace tvn_krb

template <class Derived>
class tvn_omitf_kerberos_command : public tvn_omitf_command<Derived> {
public:
    using tvn_omitf_command<Derived>::tvn_omitf_command;

protected:
    uint32_t m_tenant = 0;

    // Item 4090: absent is tenant 0; unreadable -1, not a tenant id -22.
    int32_t read_tenant(void* req) {
        int32_t rc = tvn_omitf::item_reader(req).tenant(
            m_tenant, TVN_OM_FAIL(tvn_krb::KRB_ERR_ITEM, "Get tenant id error."),
            TVN_OM_FAIL(tvn_krb::KRB_ERR_INVALID, "TenantId is invalid, TenantId:%s."));
        if (rc != 0) return rc;
        return tvn_omitf::tvn_cm_check_tenant_exist(m_tenant);
    }

    // One call of the Kerberos store (10000 ms); a refusal is logged with
    // `refused` ("Add Kerberos realm config failed.").
    template <class Req, class Rsp>
    int32_t call_store(int32_t (TvnStoreKerberosApi::*method)(const Req&, Rsp&, int), const char* method_name,
                       const Req& request, Rsp& reply, const char* refused) {
        auto api = tvn_krb::new_kerberos_api();
        if (!api) return tvn_krb::KRB_ERR_NOMEM;
        int32_t rc = this->call(*api, method, method_name, request, reply, tvn_krb::KRB_STORE_TIMEOUT_MS);
        if (rc != 0) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s", refused);
        return rc;
    }

    // One tenant setting of the configuration store.
    int32_t set_setting(const char* key, const std::string& value, unsigned timeout_ms) {
        auto api = tvn_krb::new_conf_api();
        if (!api) return tvn_krb::KRB_ERR_NOMEM;
        tvn_settenant_cfg_req req;
        auto* pair = req.add_config();
        pair->set_tenant_id(m_tenant);
        pair->set_key(key);
        pair->set_value(value);
        tvn_conf_common_rsp rsp;
        return this->call(*api, &tvn_store_conf_api::set_tenant_config, "set_tenant_config", req, rsp, timeout_ms);
    }
    // The value of a tenant setting; `found` false when none is stored.
    int32_t get_setting(const char* key, std::string& value, bool& found) {
        auto api = tvn_krb::new_conf_api();
        if (!api) return tvn_krb::KRB_ERR_NOMEM;
        tvn_gettenant_cfg_req req;
        req.set_tenant_id(m_tenant);
        req.add_key(key);
        tvn_gettenant_cfg_rsp rsp;
        int32_t rc = this->call(*api, &tvn_store_conf_api::get_tenant_config, "get_tenant_config", req, rsp,
                                tvn_krb::KRB_STORE_TIMEOUT_MS);
        if (rc != 0) return rc;
        found = false;
        for (const auto& pair : rsp.config())
            if (pair.key() == key && !pair.value().empty()) {
                value = pair.value();
                found = true;
            }
        return 0;
    }

    // A name by the domain-name rule; `code` when it fails.
    int32_t check_name(const std::string& name, int32_t code) {
        switch (tvn_krb::check_domain_name(name)) {
            case tvn_krb::name_fault::none: return 0;
            case tvn_krb::name_fault::too_long:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, code, "Check name length invalid: %s.", name.c_str());
                break;
            case tvn_krb::name_fault::empty:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, code, "Check name null invalid.");
                break;
            case tvn_krb::name_fault::bad_dots:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, code, "Check _. ._ or .. name invalid: %s.", name.c_str());
                break;
            case tvn_krb::name_fault::bad_char:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, code, "Check name contain invalid character: %s.",
                        name.c_str());
                break;
        }
        return code;
    }

    // The range of a list (item `id`): at most 100 entries; absent is the
    // first 100. -22 when malformed or larger.
    int32_t read_range(void* req, uint32_t id, uint32_t& offset, uint32_t& limit) {
        offset = 0;
        limit = tvn_krb::KRB_PAGE_MAX;
        std::string text;
        auto got = tvn_omitf::read_text(req, id, text);
        if (got == tvn_omitf::ITEM_READ_ABSENT) return 0;
        tvn::query_range range;
        if (got != tvn_omitf::ITEM_READ_OK || tvn::parse_query_range(text, range) != tvn::QUERY_COND_OK ||
            range.limit > tvn_krb::KRB_PAGE_MAX) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_krb::KRB_ERR_INVALID, "%s Param range is invalid.",
                    Derived::kName);
            return tvn_krb::KRB_ERR_INVALID;
        }
        offset = range.offset;
        limit = range.limit;
        return 0;
    }

    // An answer of one record.
    int32_t answer(void** rsp, const std::vector<tvn_omitf::answer_item>& items) {
        int32_t rc = tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, items);
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s build reply failed.", Derived::kName);
            return tvn_krb::KRB_ERR_REPLY;
        }
        return 0;
    }
    // A list answer, one record per entry.
    template <class Entries, class ItemsOf>
    int32_t answer_list(void** rsp, const Entries& entries, ItemsOf items_of, const char* noun) {
        int32_t rc = this->answer_page(rsp, entries, items_of, noun);
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s build reply failed.", Derived::kName);
            return tvn_krb::KRB_ERR_REPLY;
        }
        return 0;
    }
    tvn_omitf::answer_item tenant_item() const {
        return {TVN_OM_ITEM_VSTORE_ID, tvn_omitf::TYPE_STRING, std::to_string(m_tenant)};
    }
};

// A command class of the family that only reads, and one that changes
// something and writes an operation log from the members given after its
// base.
#define TVN_KRB_COMMAND(Cls, Base)                 \
    class Cls : public Base<Cls> {                 \
    public:                                        \
        static constexpr const char* kName = #Cls; \
        using Base<Cls>::Base;                     \
                                                   \
    private:                                       \
        int deal(void* req, void** rsp) override;  \
    };
#define TVN_KRB_CHANGING_COMMAND(Cls, Base, ...)                   \
    class Cls : public Base<Cls> {                                 \
    public:                                                        \
        static constexpr const char* kName = #Cls;                 \
        using Base<Cls>::Base;                                     \
        void oplog_send(int result, unsigned int number) override; \
                                                                   \
    private:                                                       \
        int deal(void* req, void** rsp) override;                  \
        __VA_ARGS__                                                \
    };
