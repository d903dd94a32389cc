// Method ids select the handler on the peer; they must equal what a peer
// built on Boost computes, and no two methods that share a server may collide.
#include <map>
#include <set>
#include <string>
#include <vector>

#include <boost/functional/hash.hpp>
#include <boost/version.hpp>
#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include "talvane_util.h"

namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;

const std::vector<std::string>& schema_files() {
    static const std::vector<std::string> files = {TVN_PROTO_FILES};
    return files;
}

// Which daemon serves a service, by where its schema belongs.
std::string server_of(const std::string& file) {
    if (file == "talvane_auth.proto" || file == "talvane_lookup.proto" || file == "talvane_diagnose.proto")
        return "auth:6103";
    if (file == "talvane_kagent.proto") return "kagent:6105";
    if (file == "talvane_cm.proto" || file == "talvane_failover.proto") return "cm:6106";
    return "store:6102";
}

// Literal ids: the peers' ids do not move with the Boost installed here
// (from 1.81 on, hash_range is a different function altogether). The full
// 64-bit hash is pinned; the wire carries its low 32 bits.
TEST(MethodId, KnownValues) {
    const struct {
        std::string name;
        uint64_t hash;
    } rows[] = {
        {"tvn_kagent_service.kagent_pum", 0xffe89e6bf58cac05ULL},
        {"tvn_cm_service.get_cm_state", 0x0c165cb8155ff133ULL},
        {"tvn_cm_service.get_sslcert_files", 0x4a311f7892671981ULL},
        {"tvn_failover_service.get_ip_info", 0x9ec60b985292fd54ULL},
        {"tvn_store_nfs_service.add_vpc", 0x61e95e02fc07e42aULL},
        {"tvn_store_nfs_service.add_share", 0x89ae7107ed9f6ee6ULL},
        {"tvn_store_cifs_service.add_share", 0xc1df12cc8ebaa262ULL},
        {"tvn_store_conf_service.get_global_config", 0xafe4fb6781a2a346ULL},
        {"tvn_auth_service.auth_via_raw_ntlm", 0xd475ff78cabea408ULL},
        {"tvn_diagnose_service.join_domain", 0xe0129f4129793c2aULL},
        {"TvnStoreKerberosRealmService.AddKerberosRealmConfig", 0x0765bc35425a358dULL},
        {"TvnStoreWindowsUserMgmtService.AddWindowsUser", 0x5c922c3e613c8097ULL},
        // Bytes above 0x7f are taken unsigned, whatever the signedness of char.
        {"\xff", 0x218afd2f8d0539e2ULL},
        {"caf\xc3\xa9", 0xa2b47a23de14cd9eULL},
        {"a", 0x3d38188654ef1dbfULL},
        {"", 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(talvane_util::hash_string(row.name), row.hash) << row.name;
        EXPECT_EQ(talvane_util::method_id(row.name), static_cast<uint32_t>(row.hash)) << row.name;
    }
    EXPECT_EQ(talvane_util::method_id("tvn_kagent_service.kagent_pum"), 0xf58cac05u);
    EXPECT_EQ(talvane_util::method_id("tvn_cm_service.get_cm_state"), 0x155ff133u);
}

TEST(MethodId, LiteralNamesAreMethodsOfTheSchemas) {
    // A renamed method would leave a literal above pinning nothing.
    for (const char* name : {"tvn_kagent_service.kagent_pum", "tvn_cm_service.get_cm_state",
                             "tvn_store_nfs_service.add_vpc", "tvn_diagnose_service.join_domain",
                             "TvnStoreKerberosRealmService.AddKerberosRealmConfig"})
        EXPECT_NE(DescriptorPool::generated_pool()->FindMethodByName(name), nullptr) << name;
}

TEST(MethodId, EveryMethodMatchesBoostAndNoneCollideOnOneServer) {
    ASSERT_FALSE(schema_files().empty());
    std::map<std::string, std::map<uint32_t, std::string>> ids_by_server;
    size_t methods = 0;
    for (const auto& name : schema_files()) {
        const FileDescriptor* file = DescriptorPool::generated_pool()->FindFileByName(name);
        ASSERT_NE(file, nullptr) << name << " is not linked";
        for (int s = 0; s < file->service_count(); ++s) {
            const auto* service = file->service(s);
            for (int m = 0; m < service->method_count(); ++m) {
                const std::string& full = service->method(m)->full_name();
                ++methods;
#if BOOST_VERSION < 108100
                // The Boost the peers were built with; names are ASCII, so the
                // signedness of its char hashing does not show.
                EXPECT_EQ(talvane_util::hash_string(full), boost::hash_range(full.begin(), full.end()))
                    << full;
#endif
                auto& ids = ids_by_server[server_of(name)];
                auto [it, fresh] = ids.emplace(talvane_util::method_id(full), full);
                EXPECT_TRUE(fresh) << full << " collides with " << it->second;
            }
        }
    }
    EXPECT_GT(methods, 0u);
}

}  // namespace
