#pragma once
// Checks and conversions the AD domain commands share. None of them logs:
// the commands log at their own call sites.
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "talvane_store_conf.pb.h"
#include "tvn_auth_api.h"
#include "tvn_store_conf_api.h"

namespace tvn_auth {

// The NetBIOS name rule: 7-bit printable ASCII without any of
// @#*()=+[]|;:,<>\/?" .
bool valid_nbname(std::string_view name);
// An IPv4 or IPv6 address.
bool valid_ip(std::string_view text);
// A DNS name (search domain): labels of letters, digits and '-', not
// starting or ending with '-', joined by single dots; at most 255.
bool valid_domain_name(std::string_view name);

// The host-name check of a look-up, in its order; 0 or which rule failed.
enum host_check : int {
    HOST_OK = 0,
    HOST_TOO_LONG,
    HOST_EMPTY,
    HOST_BAD_DOTS,  // "_.", "._" or ".."
    HOST_BAD_CHAR,
};
host_check check_hostname(std::string_view name);

// Comma-separated words, each trimmed of blanks; empty words dropped.
std::vector<std::string> split_list(std::string_view text);
// An address array as the management plane sends it: "[a,b]", "[\"a\"]" or
// plain "a,b".
std::vector<std::string> split_array(std::string_view text);
std::string join_list(const std::vector<std::string>& words);

// Case-insensitive equality.
bool same_key(std::string_view a, std::string_view b);

// The pairs of a get answer by key.
std::map<std::string, std::string> pairs_by_key(const tvn_gettenant_cfg_rsp& rsp);

// A request's tenant item: 0 when absent; -1 when unreadable or empty; -22
// when not all digits or beyond 32 bits. `text` receives what was read.
int32_t read_ad_tenant(void* msg, uint32_t& tenant, std::string& text);

// 8 random printable characters: the stand-in credentials of a leave on
// the secondary side of a multi-DC pair.
std::string random_credential();

// Clients of the store and of the authentication daemon on this node
// (nullptr when they cannot be made).
std::unique_ptr<tvn_store_conf_api> new_conf_api();
std::unique_ptr<tvn_auth_api> new_auth_api();

// The verdict of a daemon reply whatever it calls it.
template <class Rsp>
int32_t reply_status(const Rsp& r) {
    if constexpr (requires { r.status().result(); })
        return r.status().result();
    else if constexpr (requires { static_cast<int32_t>(r.status()); })
        return static_cast<int32_t>(r.status());
    else if constexpr (requires { r.result(); })
        return static_cast<int32_t>(r.result());
    else
        return 0;
}

}  // namespace tvn_auth
