// The file-system name look-up through the kernel agent, with a kernel
// agent of the test's own that answers the codes the stand-in never gives.
#include <mutex>
#include <thread>

#include "nfs_node.h"
#include "talvane_kagent.pb.h"
#include "tvn_msg_rpc_server.h"

namespace {

using namespace nfs_test;

class fake_kagent : public tvn_kagent_service {
public:
    void kagent_pum(google::protobuf::RpcController*, const tvn_ka_pum_req* req, tvn_ka_pum_rsp* rsp,
                    google::protobuf::Closure* done) override {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            asked_.push_back(req->module() + " " + req->cmdstr() + " " + req->value());
        }
        std::string name = req->value().substr(req->value().find(':') + 1);
        if (name == "fsA") {
            rsp->set_result(0);
            rsp->set_value("3");
        } else if (name == "not_ready") {
            rsp->set_result(static_cast<int32_t>(0xBFFE6FD9u));
        } else if (name == "no_pair") {
            rsp->set_result(static_cast<int32_t>(0xBFFE6FA9u));
        } else if (name == "alternate") {
            rsp->set_result(static_cast<int32_t>(0xBFFE6FD2u));
        } else if (name == "garbled") {
            rsp->set_result(0);
            rsp->set_value("three");
        } else {
            rsp->set_result(-5);
        }
        if (done != nullptr) done->Run();
    }
    std::vector<std::string> asked() {
        std::lock_guard<std::mutex> lock(mutex_);
        return asked_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> asked_;
};

class NfsFsLookup : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(server_.init(2), 0);
        server_.register_service(&kagent_);
        serving_ = std::thread([this] { server_.start(tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", 6105)); });
        node_ = std::make_unique<nfs_node>(node_options{.side_daemons = "auth"});
        ASSERT_TRUE(node_->start());
    }
    void TearDown() override {
        if (HasFailure()) std::cerr << node_->logs().substr(0, 20000) << "\n";
        node_.reset();
        server_.stop();
        if (serving_.joinable()) serving_.join();
        server_.unregister();
    }

    fake_kagent kagent_;
    tvn_msg_rpc_server server_;
    std::thread serving_;
    std::unique_ptr<nfs_node> node_;
};

TEST_F(NfsFsLookup, NameBecomesFsidAndThreeCodesPassThrough) {
    struct {
        const char* name;
        int32_t want;
    } const cases[] = {
        {"fsA", 0},
        {"not_ready", static_cast<int32_t>(0xBFFE6FD9u)},
        {"no_pair", static_cast<int32_t>(0xBFFE6FA9u)},
        {"alternate", static_cast<int32_t>(0xBFFE6FD2u)},
        {"unknown", -14078},
        {"garbled", -14078},
    };
    for (const auto& c : cases) {
        om_answer created = node_->call(request(kShareCreate).s(64, std::string("/fs/") + c.name).s(98, c.name));
        EXPECT_EQ(created.result(), c.want) << c.name;
        if (c.want == 0) {
            EXPECT_EQ(created.str(0, 65), "3");
            EXPECT_EQ(created.str(0, 99), "0@3");
        }
        om_answer listed = node_->call(request(kShareList).s(22, std::string(R"({"FSNAME": ")") + c.name + "\"}"));
        EXPECT_EQ(listed.result(), c.want) << "list " << c.name;
    }
    // The name is asked within the command's tenant.
    node_->call(request(kShareCreate).s(64, "/fs/t7").s(98, "fsA").s(4090, "7"));
    auto asked = kagent_.asked();
    ASSERT_FALSE(asked.empty());
    EXPECT_EQ(asked.front(), "fs get_fsid_by_name 0:fsA");
    EXPECT_EQ(asked.back(), "fs get_fsid_by_name 7:fsA");
}

}  // namespace
