#pragma once
// The NFS commands' end-to-end tests: their operation codes, the shared
// local node, tvn_om runs and direct access to the store for setting up and
// checking what it holds.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "talvane_store_nfs.pb.h"
#include "tvn_store_nfs_api.h"
#include "tvn_test_node.h"

namespace nfs_test {

using namespace std::chrono_literals;
using tvn_test::eventually;
using tvn_test::node_options;
using tvn_test::tool_run;
using nfs_node = tvn_test::node;
using om_answer = tvn_test::om_reply;
using request = tvn_test::om_request;

inline constexpr int kRpcTimeoutMs = tvn_test::kNodeRpcTimeoutMs;

// Operation codes.
inline constexpr uint64_t kShareCreate = 0xd40114000ULL, kShareDelete = 0xd40116000ULL,
                          kShareGet = 0xd40110000ULL, kShareModify = 0xd40112000ULL,
                          kShareList = 0xd4011c000ULL, kShareCount = 0xd4011e000ULL;
inline constexpr uint64_t kAuthCreate = 0xd40194000ULL, kAuthDelete = 0xd40196000ULL,
                          kAuthGet = 0xd40190000ULL, kAuthModify = 0xd40192000ULL,
                          kAuthList = 0xd4019c000ULL, kAuthCount = 0xd4019e000ULL;
// The second code of each share command.
inline constexpr uint64_t kShareCreate2 = 0xd88c64000ULL, kShareDelete2 = 0xd88c66000ULL,
                          kShareGet2 = 0xd88c60000ULL, kShareModify2 = 0xd88c62000ULL,
                          kShareList2 = 0xd88c6c000ULL, kShareCount2 = 0xd88c6e000ULL;

// Runs tvn_om with the given arguments; its exit status and output.
inline tool_run run_tvn_om(const std::string& /*root*/, const std::vector<std::string>& args) {
    return tvn_test::run_tool("tvn_om", args);
}

// Direct access to the store for setting up and checking what it holds.
class store {
public:
    store() : api_("127.0.0.1", false) {}

    uint64_t add_share(const std::string& path, uint64_t fsid = 1, uint32_t tenant = 0) {
        tvn_nfs_add_share_req req;
        tvn_nfs_add_share_rsp rsp;
        req.set_fsid(fsid);
        req.set_tenant_id(tenant);
        req.set_path(path);
        req.set_alias(path);
        req.set_comment("");
        req.set_dtreeid(0);
        if (api_.add_share(req, rsp, 10000) != 0 || rsp.status().result() != 0) return 0;
        return rsp.share_id();
    }
    std::optional<mul_vstore_nfs_share> share(uint64_t id, uint32_t tenant = 0) {
        tvn_nfs_get_share_req req;
        tvn_nfs_get_share_rsp rsp;
        req.set_share_id(id);
        req.set_tenant_id(tenant);
        if (api_.get_share(req, rsp, 10000) != 0 || rsp.status().result() != 0) return std::nullopt;
        return rsp.share_info();
    }
    std::optional<mul_vstore_nfs_share_permission> auth(uint64_t id, uint32_t tenant = 0) {
        tvn_nfs_get_auth_req req;
        tvn_nfs_get_auth_rsp rsp;
        req.set_auth_id(id);
        req.set_tenant_id(tenant);
        if (api_.get_auth(req, rsp, 10000) != 0 || rsp.status().result() != 0) return std::nullopt;
        return rsp.auth_info();
    }
    uint32_t share_count(uint32_t tenant = 0) {
        tvn_nfs_get_share_count_req req;
        tvn_nfs_get_share_count_rsp rsp;
        req.set_fsid(~0ULL);
        req.set_tenant_id(tenant);
        req.set_path("");
        if (api_.get_share_count(req, rsp, 10000) != 0) return ~0u;
        return rsp.count();
    }

private:
    tvn_store_nfs_api api_;
};

}  // namespace nfs_test
