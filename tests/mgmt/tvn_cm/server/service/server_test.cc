#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "cm_test_client.h"
#include "service_test_util.h"
#include "tvn_cm_server.h"

namespace {

// Serves the real server object of this process on 6106.
class CmServerTest : public ServiceTest {
protected:
    void TearDown() override {
        server().stop_listening();
        // Joined only once it has ended, so a stuck server fails the test
        // instead of hanging it.
        if (server().wait_listening_for(std::chrono::milliseconds(10000))) server().wait_listening();
        ServiceTest::TearDown();
    }
    static tvn_cm_server& server() { return tvn_cm_server::instance(); }
};

TEST_F(CmServerTest, ServesBothServicesUntilStopped) {
    ::setenv("TVN_NODE_ID", "3", 1);
    write_text(path("/KSD/conf/tvn_cm/failover.json"), R"({"local_node": "here"})");
    ASSERT_EQ(server().start_listening(), 0);
    EXPECT_EQ(server().start_listening(), 0);  // already serving: left alone

    cm_test_client client;
    ASSERT_EQ(client.open_rc(), 0);
    ASSERT_TRUE(eventually([&] { return client.cm_state(500) == 0; }));

    tvn_get_cluster_info_req info_req;
    info_req.set_info_type(GET_NODE_ID);
    tvn_get_cluster_info_rsp info_rsp;
    ASSERT_EQ(client.call(client.cm(), &tvn_cm_service_Stub::get_cluster_info, info_req, info_rsp), 0);
    EXPECT_EQ(info_rsp.result(), 0);
    EXPECT_EQ(info_rsp.node_id(), 3u);

    tvn_get_node_name_req name_req;
    tvn_get_node_name_rsp name_rsp;
    ASSERT_EQ(client.call(client.failover(), &tvn_failover_service_Stub::get_node_name, name_req, name_rsp), 0);
    EXPECT_EQ(name_rsp.result(), 0);
    EXPECT_EQ(name_rsp.node_name(), "here");

    EXPECT_FALSE(server().wait_listening_for(std::chrono::milliseconds(0)));
    EXPECT_EQ(server().stop_listening(), 0);
    ASSERT_TRUE(server().wait_listening_for(std::chrono::milliseconds(10000)));
    server().wait_listening();
    EXPECT_EQ(server().last_result(), 0);
    EXPECT_TRUE(logged("The cm rpc server wait listening."));
    EXPECT_TRUE(logged("The cm rpc server run thread job stop."));
    EXPECT_FALSE(server().is_server_start());

    // And serves again after a stop.
    ASSERT_EQ(server().start_listening(), 0);
    EXPECT_TRUE(eventually([&] { return client.cm_state(500) == 0; }));
}

TEST_F(CmServerTest, AStopBeforeServingEndsItAtOnce) {
    server().stop_listening();
    ASSERT_EQ(server().start_listening(), 0);
    ASSERT_TRUE(server().wait_listening_for(std::chrono::milliseconds(10000)));
    server().wait_listening();
    EXPECT_EQ(server().last_result(), 0);
}

TEST_F(CmServerTest, ATakenPortEndsServingWithItsOwnMessage) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(6106);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0) << "6106 is busy on this machine";
    ASSERT_EQ(::listen(fd, 1), 0);

    ASSERT_EQ(server().start_listening(), 0);
    ASSERT_TRUE(server().wait_listening_for(std::chrono::milliseconds(10000)));
    server().wait_listening();
    ::close(fd);
    EXPECT_EQ(server().last_result(), -2004);
    EXPECT_TRUE(logged("The cm rpc server run thread job failed."));
    EXPECT_TRUE(logged("The cm rpc port is already used."));
}

}  // namespace
