#pragma once
// The authentication daemon's world: AD domains with their users, groups
// and domain controllers, local Unix accounts, hosts and netgroups, plus the
// daemon's own settings and event records. All of it lives in the stand-ins'
// database; nothing is ever asked of a real directory or of outside DNS.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim_db.h"

namespace tvn::sim {

struct domain_rec {
    uint32_t indom = 0;
    std::string nbname;
    std::string fqdn;
    std::string sid;
};

// Account passwords are stored encrypted with the system's text encryption
// (AES-256-GCM under the node key, behind an "enc:" tag), so the stand-in
// domain's own copy of a secret is never in the database in plain text and
// a plain-text scan of the system root still proves the service leaked
// none. An empty password is stored empty. Databases made before keep
// "hex:"-tagged hex or untagged values; both still read. A value that does
// not decrypt (another node's key) reads as it is.
// 0, or the encryption's code.
int32_t encode_directory_secret(std::string_view plain, std::string& stored);
std::string decode_directory_secret(std::string_view stored);

struct account_rec {
    int64_t account_id = 0;
    uint32_t indom = 0;  // 0: a local Unix account
    std::string name;
    bool is_group = false;
    uint32_t rid = 0;
    uint64_t iid = 0;  // uid or gid
    std::string primary_group;
    std::string description;
    std::string password;
    bool can_join = false;
    domain_rec domain;  // empty for a local account

    bool is_domain() const { return indom != 0; }
    // Domain accounts: the domain SID and the RID. Local accounts carry the
    // well-known Unix-id SIDs S-1-22-1-uid and S-1-22-2-gid.
    std::string sid() const;
    // "CORP\alice" for a domain account, "alice" for a local one.
    std::string full_name() const;
};

struct dc_rec {
    std::string hostname;
    std::string fqdn;
    std::string site;
    uint32_t priority = 0;
    uint32_t weight = 0;
    bool writeable = false;
    bool primedc = false;
    bool closest = false;
    bool alived = false;
    std::string ip;
};

enum class account_scope { any, domain, local };

struct auth_event_rec {
    std::string occur_time;
    std::string user_name;
    int32_t error_code = 0;
    std::string error_msg;
};

struct conn_view_rec {
    uint32_t tenant_id = 0;
    uint32_t controller_id = 0;
    uint32_t dns_status = 0, ad_status = 0, ldap_status = 0, nis_status = 0;
};

class directory {
public:
    explicit directory(sim_db& db) : db_(db) {}

    std::optional<domain_rec> domain_by_name(const std::string& name);  // NetBIOS or FQDN
    std::optional<domain_rec> domain_by_sid(const std::string& sid);
    std::optional<domain_rec> domain_by_indom(uint32_t indom);
    std::optional<domain_rec> first_domain();

    // "DOMAIN\name", "name@fqdn" or a bare name (searched in `scope`).
    // `want_group`: only users (false), only groups (true), or either.
    std::optional<account_rec> account_by_name(const std::string& name, account_scope scope,
                                               std::optional<bool> want_group = std::nullopt);
    std::optional<account_rec> account_by_sid(const std::string& sid);
    std::optional<account_rec> account_by_id(uint64_t iid, bool is_group, account_scope scope);
    std::vector<account_rec> groups_of(const account_rec& account);
    std::optional<account_rec> primary_group_of(const account_rec& account);

    std::vector<dc_rec> controllers(uint32_t indom);

    // Addresses of a host name: the host table, the domain controllers, and
    // "localhost"; an address given as a name resolves to itself.
    std::vector<std::string> resolve(const std::string& name);
    std::vector<std::string> reverse(const std::string& ip);
    // A peer counts as reachable when it is 127.0.0.1/localhost or a host or
    // domain controller of the tables (by name or address).
    bool reachable(const std::string& address);

    // Members of a netgroup (host names); nullopt when there is no such group.
    std::optional<std::vector<std::string>> netgroup(const std::string& name);

    // The daemon's own settings per tenant (host name, lock-out, features).
    std::string setting(uint32_t tenant_id, const std::string& key, const std::string& fallback);
    int32_t set_setting(uint32_t tenant_id, const std::string& key, const std::string& value);

    int32_t add_event(uint32_t tenant_id, uint32_t domain_type, const auth_event_rec& ev);
    std::vector<auth_event_rec> events(uint32_t tenant_id, uint32_t domain_type);

    int32_t put_conn_view(const conn_view_rec& view, bool remove);
    std::vector<conn_view_rec> conn_views(uint32_t tenant_id);

private:
    sim_db& db_;
};

}  // namespace tvn::sim
