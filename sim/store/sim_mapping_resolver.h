#pragma once
// How the stand-in maps an account to the other side: the tenant's rules in
// the order they are tried, then the directory.
//
//   Windows to Unix (type 0): the name is a domain account ("DOMAIN\name",
//   "name@fqdn" or a bare name). Each rule of type 0 whose from pattern
//   matches "NETBIOS\name" (domain and account compared without case) gives
//   a Unix name; the first whose Unix account exists wins. Without one, the
//   local Unix account of the same name, else the domain account's own id.
//   Unix to Windows (type 1): the name is a local Unix account. Each rule of
//   type 1 whose from pattern matches the name (compared exactly) gives a
//   Windows name, looked up as above; the first that exists wins. Without
//   one, the domain account of the same name, else the Unix account's own
//   SID (S-1-22-1-uid).
//   Kerberos to Unix (type 2): the principal is matched as given; rules only.
//
// A pattern's '*' stands for any run of characters (the first '*' only);
// a '*' in the to identity is replaced by what it matched (by the whole
// account name when the from pattern has none). A from pattern without a
// domain means the tenant's domain.
#include <cstdint>
#include <optional>
#include <string>

#include "sim_directory.h"
#include "sim_store.h"

namespace tvn::sim {

struct mapping_outcome {
    int32_t status = 0;       // 0, or SIM_ERR_NOT_FOUND
    uint64_t rule_id = 0;     // 0: the directory
    std::optional<account_rec> win;
    std::optional<account_rec> unix_account;
    std::string mapped_name;  // the other side's full name
    uint32_t ad_us = 0;       // time spent in domain look-ups
};

// type: 0 Windows to Unix, 1 Unix to Windows, 2 Kerberos to Unix.
// `remember` records a mapping found in the kernel's cache.
mapping_outcome resolve_mapping(sim_store& store, uint32_t tenant, const std::string& name, uint32_t type,
                                bool remember);

// What a pattern's '*' matched, or nullopt when the name does not match.
std::optional<std::string> match_pattern(const std::string& pattern, const std::string& name, bool ignore_case);

}  // namespace tvn::sim
