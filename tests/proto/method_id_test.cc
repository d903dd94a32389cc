// Method ids select the handler on the peer; they must equal what a peer
// built on Boost computes, and no two methods that share a server may collide.
#include <map>
#include <set>
#include <string>
#include <vector>

#include <boost/functional/hash.hpp>
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

TEST(MethodId, KnownValue) {
    // Computed independently with boost::hash_range.
    const std::string name = "tvn_kagent_service.kagent_pum";
    EXPECT_EQ(talvane_util::hash_string(name), boost::hash_range(name.begin(), name.end()));
    EXPECT_EQ(talvane_util::hash_string(""), 0u);
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
                EXPECT_EQ(talvane_util::hash_string(full), boost::hash_range(full.begin(), full.end()))
                    << full;
                auto& ids = ids_by_server[server_of(name)];
                auto [it, fresh] = ids.emplace(talvane_util::method_id(full), full);
                EXPECT_TRUE(fresh) << full << " collides with " << it->second;
            }
        }
    }
    EXPECT_GT(methods, 0u);
}

}  // namespace
