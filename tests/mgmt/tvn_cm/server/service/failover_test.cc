#include <fcntl.h>
#include <sys/stat.h>

#include "service_test_util.h"
#include "tvn_failover_service.h"

namespace {

const char* kData = R"({
  "local_node": "ctrl-b",
  "nodes": [
    {"name": "ctrl-a", "id": 0, "state": 1, "zone": "zone-1",
     "static_ips": [{"ip": "192.168.1.10", "subnet": "mgmt", "status": 1},
                    {"ip": "fd00::0:10", "subnet": "mgmt6", "status": 0}]},
    {"name": "ctrl-b", "id": 1, "state": 2, "zone": "zone-1"},
    {"name": "ctrl-c", "zone": "zone-2", "future_member": true}
  ],
  "service_ips": [
    {"ip": "10.10.0.5", "subnet": "data-a", "zone": "zone-1", "node": "ctrl-a"},
    {"ip": "10.10.0.6", "subnet": "data-a"}
  ]
})";

class FailoverTest : public ServiceTest {
protected:
    std::string data_file() const { return path(tvn_failover_data::FILE_PATH); }
    void write_data(const std::string& text) {
        write_text(data_file(), text);
        // Rewrites within one clock tick must still be seen as changes.
        struct timespec times[2] = {{0, UTIME_OMIT}, {++stamp_, 0}};
        ::utimensat(AT_FDCWD, data_file().c_str(), times, 0);
    }
    tvn_get_ip_info_rsp ip_info(const std::string& ip) {
        tvn_get_ip_info_req req;
        req.set_ip(ip);
        tvn_get_ip_info_rsp rsp;
        service.get_ip_info(controller_, &req, &rsp, &done);
        return rsp;
    }
    tvn_get_node_list_rsp node_list(const std::string& zone) {
        tvn_get_node_list_req req;
        req.set_zone_name(zone);
        tvn_get_node_list_rsp rsp;
        service.get_node_list(controller_, &req, &rsp, &done);
        return rsp;
    }
    tvn_get_node_info_rsp node_info(const std::string& name) {
        tvn_get_node_info_req req;
        req.set_node_name(name);
        tvn_get_node_info_rsp rsp;
        service.get_node_info(controller_, &req, &rsp, &done);
        return rsp;
    }
    tvn_get_node_name_rsp node_name() {
        tvn_get_node_name_req req;
        tvn_get_node_name_rsp rsp;
        service.get_node_name(controller_, &req, &rsp, &done);
        return rsp;
    }

    tvn_failover_data data;
    tvn_failover_serviceimp service{data};
    counting_closure done;

private:
    google::protobuf::RpcController* controller_ = nullptr;
    time_t stamp_ = 1000000;
};

TEST_F(FailoverTest, WithoutTheFileEveryAnswerIsEmptyAndNonZero) {
    auto ip = ip_info("10.10.0.5");
    EXPECT_EQ(ip.result(), TVN_FAILOVER_NO_DATA);
    EXPECT_FALSE(ip.has_node_name());
    auto list = node_list("zone-1");
    EXPECT_EQ(list.result(), TVN_FAILOVER_NO_DATA);
    EXPECT_EQ(list.node_name_size(), 0);
    auto info = node_info("ctrl-a");
    EXPECT_EQ(info.result(), TVN_FAILOVER_NO_DATA);
    EXPECT_EQ(info.node_id(), 4294967295u);
    EXPECT_EQ(info.ip_list_size(), 0);
    auto name = node_name();
    EXPECT_EQ(name.result(), TVN_FAILOVER_NO_DATA);
    EXPECT_FALSE(name.has_node_name());
    EXPECT_EQ(done.runs, 4);
}

TEST_F(FailoverTest, AnswersComeFromTheFile) {
    write_data(kData);
    auto ip = ip_info("10.10.0.5");
    EXPECT_EQ(ip.result(), 0);
    EXPECT_EQ(ip.subnet_name(), "data-a");
    EXPECT_EQ(ip.zone_name(), "zone-1");
    EXPECT_EQ(ip.node_name(), "ctrl-a");
    // A node's static address names that node and its zone.
    ip = ip_info("192.168.1.10");
    EXPECT_EQ(ip.result(), 0);
    EXPECT_EQ(ip.subnet_name(), "mgmt");
    EXPECT_EQ(ip.node_name(), "ctrl-a");
    EXPECT_EQ(ip.zone_name(), "zone-1");
    // Addresses match in canonical form.
    EXPECT_EQ(ip_info("fd00:0000::10").node_name(), "ctrl-a");
    EXPECT_EQ(ip_info("10.10.0.7").result(), TVN_FAILOVER_NOT_FOUND);
    EXPECT_EQ(ip_info("not-an-ip").result(), -22);
    EXPECT_EQ(ip_info("").result(), -22);

    auto list = node_list("zone-1");
    EXPECT_EQ(list.result(), 0);
    ASSERT_EQ(list.node_name_size(), 2);
    EXPECT_EQ(list.node_name(0), "ctrl-a");
    EXPECT_EQ(list.node_name(1), "ctrl-b");
    EXPECT_EQ(node_list("zone-9").result(), TVN_FAILOVER_NOT_FOUND);
    EXPECT_EQ(node_list("").result(), -22);

    auto info = node_info("ctrl-a");
    EXPECT_EQ(info.result(), 0);
    EXPECT_EQ(info.node_state(), 1u);
    EXPECT_EQ(info.node_id(), 0u);
    EXPECT_TRUE(info.has_node_id());
    EXPECT_EQ(info.node_zone(), "zone-1");
    ASSERT_EQ(info.ip_list_size(), 2);
    EXPECT_EQ(info.ip_list(0).ip_name(), "192.168.1.10");
    EXPECT_EQ(info.ip_list(0).ip_status(), 1u);
    EXPECT_EQ(info.ip_list(1).ip_name(), "fd00::10");
    EXPECT_EQ(info.ip_list(1).subnet_name(), "mgmt6");
    info = node_info("ctrl-c");
    EXPECT_EQ(info.result(), 0);
    EXPECT_FALSE(info.has_node_id());
    EXPECT_EQ(info.node_id(), 4294967295u);
    EXPECT_EQ(node_info("ctrl-z").result(), TVN_FAILOVER_NOT_FOUND);

    auto name = node_name();
    EXPECT_EQ(name.result(), 0);
    EXPECT_EQ(name.node_name(), "ctrl-b");
}

TEST_F(FailoverTest, WithoutALocalNodeTheLocalNodeIdPicksIt) {
    write_data(R"({"nodes": [{"name": "n0", "id": 0}, {"name": "n7", "id": 7}]})");
    ::setenv("TVN_NODE_ID", "7", 1);
    EXPECT_EQ(node_name().node_name(), "n7");
    ::setenv("TVN_NODE_ID", "3", 1);
    EXPECT_EQ(node_name().result(), TVN_FAILOVER_NOT_FOUND);
    ::setenv("TVN_FAIL_AT", "GetLocalNodeId", 1);
    EXPECT_EQ(node_name().result(), -1);
}

TEST_F(FailoverTest, ChangesAreSeenOnRefreshAndABadFileIsNoData) {
    write_data(kData);
    EXPECT_EQ(ip_info("10.10.0.5").node_name(), "ctrl-a");
    EXPECT_FALSE(data.refresh());  // unchanged: not read again
    uint64_t loads = data.loads();

    write_data(R"({"service_ips": [{"ip": "10.10.0.5", "node": "ctrl-b"}]})");
    EXPECT_EQ(ip_info("10.10.0.5").node_name(), "ctrl-a");  // until refreshed
    EXPECT_TRUE(data.refresh());
    EXPECT_EQ(ip_info("10.10.0.5").node_name(), "ctrl-b");
    EXPECT_EQ(data.loads(), loads + 1);

    write_data("{ not json");
    EXPECT_TRUE(data.refresh());
    EXPECT_EQ(ip_info("10.10.0.5").result(), TVN_FAILOVER_NO_DATA);
    EXPECT_TRUE(logged("is not usable: not valid JSON."));

    ::unlink(data_file().c_str());
    EXPECT_TRUE(data.refresh());
    EXPECT_EQ(node_name().result(), TVN_FAILOVER_NO_DATA);

    // A folder in the file's place.
    ASSERT_EQ(tvn::make_dirs(data_file()), 0);
    EXPECT_TRUE(data.refresh());
    EXPECT_EQ(node_name().result(), TVN_FAILOVER_NO_DATA);
}

TEST(FailoverParse, MalformedContentIsRefusedWithAReason) {
    const std::pair<const char*, const char*> rows[] = {
        {"", "not valid JSON"},
        {"[]", "not a JSON object"},
        {"\"text\"", "not a JSON object"},
        {R"({"nodes": {}})", "\"nodes\" is not an array"},
        {R"({"nodes": [1]})", "a node is not an object"},
        {R"({"nodes": [{"id": 1}]})", "missing \"name\""},
        {R"({"nodes": [{"name": 5}]})", "\"name\" is not a string"},
        {R"({"nodes": [{"name": ""}]})", "is empty or repeated"},
        {R"({"nodes": [{"name": "a"}, {"name": "a"}]})", "is empty or repeated"},
        {R"({"nodes": [{"name": "a", "id": -1}]})", "\"id\" is not a number"},
        {R"({"nodes": [{"name": "a", "id": 4294967295}]})", "\"id\" is not a number"},
        {R"({"nodes": [{"name": "a", "id": 1.5}]})", "\"id\" is not a number"},
        {R"({"nodes": [{"name": "a", "static_ips": [{"ip": "1.2.3.4"}]}]})", "missing \"subnet\""},
        {R"({"nodes": [{"name": "a", "static_ips": [{"ip": "1.2.3.999", "subnet": "s"}]}]})", "is not an IP address"},
        {R"({"nodes": [{"name": "a", "static_ips": [7]}]})", "a static IP is not an object"},
        {R"({"service_ips": [{"subnet": "s"}]})", "missing \"ip\""},
        {R"({"service_ips": [{"ip": "1.2.3.4", "zone": 1}]})", "\"zone\" is not a string"},
        {R"({"local_node": 3})", "\"local_node\" is not a string"},
        {"{\"local_node\": \"\xff\xfe\"}", "not valid JSON"},
    };
    for (auto [text, reason] : rows) {
        SCOPED_TRACE(text);
        tvn_failover_snapshot snap;
        std::string error;
        EXPECT_EQ(tvn_failover_data::parse(text, snap, error), -22);
        EXPECT_NE(error.find(reason), std::string::npos) << error;
        EXPECT_FALSE(snap.loaded);
    }
    tvn_failover_snapshot snap;
    std::string error;
    ASSERT_EQ(tvn_failover_data::parse("{}", snap, error), 0);
    EXPECT_TRUE(snap.loaded);
    EXPECT_TRUE(snap.nodes.empty());
}

}  // namespace
