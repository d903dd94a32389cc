#pragma once
// The realm commands: add, modify, delete, show, list and count.
#include <optional>
#include <string>

#include "tvn_omitf_kerberos_command.h"

namespace tvn_krb {

// A realm as the add and modify commands read it.
struct realm_fields {
    std::string name;
    std::optional<std::string> kdc_ip, ad_server, ad_ip;
    std::optional<uint32_t> port, vendor;
};

// The realm's answer items (64 to 69) of a show and a list.
std::vector<tvn_omitf::answer_item> realm_items(const mul_kerberos_realm_config& realm);

}  // namespace tvn_krb

// What add and modify share: reading and checking the realm's items.
template <class Derived>
class tvn_omitf_kerberos_realm_command : public tvn_omitf_kerberos_command<Derived> {
public:
    using tvn_omitf_kerberos_command<Derived>::tvn_omitf_kerberos_command;

protected:
    tvn_krb::realm_fields m_realm;

    // The name, then KDC address, port, vendor, AD server and AD address;
    // `add` makes the KDC address and the vendor required.
    int32_t read_realm(void* req, bool add) {
        using namespace tvn_krb;
        namespace v = tvn_krb::vocab;
        tvn_omitf::item_reader in(req);
        int32_t rc = 0;
        if ((rc = this->read_tenant(req)) != 0) return rc;
        if ((rc = read_realm_name(req, m_realm.name)) != 0) return rc;
        if (add) {
            std::string kdc;
            if ((rc = in.need(v::realm_kdc_ip, kdc, TVN_OM_FAIL(KRB_ERR_ADDRESS, "KDC ip is null."),
                              TVN_OM_FAIL(KRB_ERR_ADDRESS, "KDC ip invalid."))) != 0)
                return rc;
            m_realm.kdc_ip = kdc;
            uint32_t vendor = 0;
            if ((rc = in.need(v::realm_vendor, vendor, TVN_OM_FAIL(KRB_ERR_VENDOR, "Vendor is null."),
                              TVN_OM_FAIL(KRB_ERR_VENDOR, "Vendor invalid: %s."))) != 0)
                return rc;
            m_realm.vendor = vendor;
        } else {
            if ((rc = in.take(v::realm_kdc_ip, m_realm.kdc_ip, TVN_OM_FAIL(KRB_ERR_ADDRESS, "KDC ip invalid."))) != 0 ||
                (rc = in.take(v::realm_vendor, m_realm.vendor, TVN_OM_FAIL(KRB_ERR_VENDOR, "Vendor invalid: %s."))) !=
                    0)
                return rc;
        }
        if (m_realm.kdc_ip && !is_ip_address(*m_realm.kdc_ip))
            return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_ADDRESS, "KDC ip invalid: %s."), *m_realm.kdc_ip);
        if ((rc = in.take(v::realm_port, m_realm.port, TVN_OM_FAIL(KRB_ERR_PORT, "Port invalid."))) != 0 ||
            (rc = in.take(v::realm_ad_server, m_realm.ad_server,
                          TVN_OM_FAIL(KRB_ERR_AD_SERVER, "AD server name invalid."))) != 0 ||
            (rc = in.take(v::realm_ad_ip, m_realm.ad_ip, TVN_OM_FAIL(KRB_ERR_ADDRESS, "AD ip invalid."))) != 0)
            return rc;
        if (m_realm.ad_server && (m_realm.ad_server->size() > KRB_NAME_MAX || !host_name_chars(*m_realm.ad_server)))
            return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_AD_SERVER, "AD server name invalid: %s."), *m_realm.ad_server);
        // An empty AD address says "none"; anything else must be an address.
        if (m_realm.ad_ip && !m_realm.ad_ip->empty() && !is_ip_address(*m_realm.ad_ip))
            return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_ADDRESS, "AD ip invalid: %s."), *m_realm.ad_ip);
        return 0;
    }

    // Item 64 by the realm-name rule (the domain-name rule); -42005.
    int32_t read_realm_name(void* req, std::string& name) {
        namespace v = tvn_krb::vocab;
        int32_t rc =
            tvn_omitf::item_reader(req).need(v::realm_name, name, TVN_OM_FAIL(tvn_krb::KRB_ERR_NAME, "Name invalid."),
                                             TVN_OM_FAIL(tvn_krb::KRB_ERR_NAME, "Name invalid."));
        if (rc != 0) return rc;
        return this->check_name(name, tvn_krb::KRB_ERR_NAME);
    }

    // "name,kdcIp" for the operation log.
    std::string realm_oplog() const { return m_realm.name + (m_realm.kdc_ip ? "," + *m_realm.kdc_ip : std::string()); }
};

TVN_KRB_CHANGING_COMMAND(TvnOmitfKerberosAddRealmConfig, tvn_omitf_kerberos_realm_command)
TVN_KRB_CHANGING_COMMAND(TvnOmitfKerberosModifyRealmConfig, tvn_omitf_kerberos_realm_command)
TVN_KRB_CHANGING_COMMAND(TvnOmitfKerberosDelRealmConfig, tvn_omitf_kerberos_realm_command)
TVN_KRB_COMMAND(TvnOmitfKerberosGetRealmConfig, tvn_omitf_kerberos_realm_command)
TVN_KRB_COMMAND(TvnOmitfKerberosListRealmConfig, tvn_omitf_kerberos_realm_command)
TVN_KRB_COMMAND(TvnOmitfKerberosGetRealmConfigCount, tvn_omitf_kerberos_realm_command)
