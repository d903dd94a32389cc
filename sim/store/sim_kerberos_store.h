#pragma once
// The Kerberos stores of the store daemon: realms (unique per tenant by
// name), Kerberos services on the tenant's logical interfaces with their
// SPNs, and imported keytabs with the principals they hold. Tables of their
// own, made on first use. A LIF is named "lif<port id>" after the
// inventory's interface.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim_db.h"
#include "sim_directory.h"
#include "sim_inventory.h"
#include "talvane_store_kerberos.pb.h"

namespace tvn::sim {

// One principal of a keytab entry ("nfs/host.example.com@EXAMPLE.COM").
struct keytab_entry {
    std::string principal;
    uint32_t kvno = 0;
    uint16_t enctype = 0;
};
// The entries of an MIT keytab file (version 0x502); nullopt when the bytes
// are not one.
std::optional<std::vector<keytab_entry>> parse_keytab(const std::string& bytes);

struct lif_name_rec {
    std::string name;
    uint64_t id = 0;
    std::string ip;
};

class kerberos_store {
public:
    kerberos_store(sim_db& db, directory& dir, inventory& inv) : db_(db), dir_(dir), inv_(inv) {}

    // Creates the tables when missing. 0 or SIM_ERR_IO.
    int32_t init(std::string& err);

    int32_t add_realm(const mul_kerberos_realm_config& realm, std::string& desc);
    int32_t modify_realm(const KerberosModifyRealmConfigReq& req, std::string& desc);
    int32_t del_realm(uint32_t tenant_id, const std::string& name, std::string& desc);
    int32_t list_realms(const KerberosListRealmConfigReq& req, KerberosListRealmConfigRsp* rsp);
    uint32_t realm_count(uint32_t tenant_id);

    // Enable checks the account (its directory's join right and password).
    int32_t enable_service(const KerberosChangeServiceConfigReq& req, std::string& desc);
    int32_t disable_service(const KerberosChangeServiceConfigReq& req, std::string& desc);
    // Services of a tenant, by LIF name, SPN and realm when given.
    std::vector<mul_kerberos_service_config> services(uint32_t tenant_id, const std::string& lif,
                                                      const std::string& spn, const std::string& realm, uint32_t offset,
                                                      uint32_t limit);
    uint32_t service_count(uint32_t tenant_id, const std::string& realm);

    // Reads the keytab at `path` (under the system root) and keeps its
    // principals against the service's LIF and SPN.
    int32_t import_keytab(const KerberosImportKeytabReq& req, std::string& desc);
    std::vector<keytab_entry> keytab_principals(uint32_t tenant_id, const std::string& spn);

    // The tenant's LIFs whose name holds `filter` and whose address is `ip`
    // when given.
    std::vector<lif_name_rec> lifs(uint32_t tenant_id, const std::string& filter, const std::string& ip);

private:
    int32_t check_account(const std::string& name, const std::string& password, std::string& desc);

    sim_db& db_;
    directory& dir_;
    inventory& inv_;
};

}  // namespace tvn::sim
