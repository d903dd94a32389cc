// What the commands put on the wire: a store of the test's own records the
// requests tvn_cm sends it, so each field can be checked as sent.
#include <mutex>
#include <thread>

#include "nfs_node.h"
#include "tvn_msg_rpc_server.h"

namespace {

using namespace nfs_test;

class recording_store : public tvn_store_nfs_service {
public:
    void get_share_count(google::protobuf::RpcController*, const tvn_nfs_get_share_count_req* req,
                         tvn_nfs_get_share_count_rsp* rsp, google::protobuf::Closure* done) override {
        keep(last_count_, *req);
        rsp->mutable_status()->set_result(0);
        rsp->mutable_status()->set_desc("");
        rsp->set_count(0);
        if (done != nullptr) done->Run();
    }
    void show_share(google::protobuf::RpcController*, const tvn_nfs_show_share_req* req,
                    tvn_nfs_show_share_rsp* rsp, google::protobuf::Closure* done) override {
        keep(last_show_, *req);
        rsp->mutable_status()->set_result(0);
        rsp->mutable_status()->set_desc("");
        if (done != nullptr) done->Run();
    }
    void show_auth(google::protobuf::RpcController*, const tvn_nfs_show_auth_req* req, tvn_nfs_show_auth_rsp* rsp,
                   google::protobuf::Closure* done) override {
        keep(last_show_auth_, *req);
        rsp->mutable_status()->set_result(0);
        rsp->mutable_status()->set_desc("");
        if (done != nullptr) done->Run();
    }
    void modify_auth(google::protobuf::RpcController*, const tvn_nfs_modify_auth_req* req, tvn_nfs_common_rsp* rsp,
                     google::protobuf::Closure* done) override {
        keep(last_modify_auth_, *req);
        rsp->set_result(0);
        rsp->set_desc("");
        if (done != nullptr) done->Run();
    }
    void add_share(google::protobuf::RpcController*, const tvn_nfs_add_share_req* req, tvn_nfs_add_share_rsp* rsp,
                   google::protobuf::Closure* done) override {
        keep(last_add_, *req);
        rsp->mutable_status()->set_result(0);
        rsp->mutable_status()->set_desc("");
        rsp->set_share_id(42);
        if (done != nullptr) done->Run();
    }
    void mod_share(google::protobuf::RpcController*, const tvn_nfs_mod_share_req* req, tvn_nfs_common_rsp* rsp,
                   google::protobuf::Closure* done) override {
        keep(last_mod_, *req);
        rsp->set_result(0);
        rsp->set_desc("");
        if (done != nullptr) done->Run();
    }

    template <class T>
    T last(const T& slot) {
        std::lock_guard<std::mutex> lock(mutex_);
        return slot;
    }
    tvn_nfs_show_share_req last_show_;
    tvn_nfs_show_auth_req last_show_auth_;
    tvn_nfs_get_share_count_req last_count_;
    tvn_nfs_modify_auth_req last_modify_auth_;
    tvn_nfs_add_share_req last_add_;
    tvn_nfs_mod_share_req last_mod_;

private:
    template <class T>
    void keep(T& slot, const T& req) {
        std::lock_guard<std::mutex> lock(mutex_);
        slot = req;
    }
    std::mutex mutex_;
};

class NfsRequests : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(server_.init(2), 0);
        server_.register_service(&store_);
        serving_ = std::thread([this] { server_.start(tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", 6102)); });
        node_ = std::make_unique<nfs_node>(node_options{.store_daemons = ""});
        ASSERT_TRUE(node_->start());
    }
    void TearDown() override {
        if (HasFailure()) std::cerr << node_->logs().substr(0, 20000) << "\n";
        node_.reset();
        server_.stop();
        if (serving_.joinable()) serving_.join();
        server_.unregister();
    }

    recording_store store_;
    tvn_msg_rpc_server server_;
    std::thread serving_;
    std::unique_ptr<nfs_node> node_;
};

constexpr uint64_t kAll = ~0ULL;

TEST_F(NfsRequests, ShareListRequestFollowsItsPresetsAndItems) {
    ASSERT_TRUE(node_->call(request(kShareList)).ok());
    auto show = store_.last(store_.last_show_);
    EXPECT_EQ(show.count(), 0u);
    EXPECT_EQ(show.offset(), 1u);
    EXPECT_EQ(show.fsid(), kAll);
    EXPECT_EQ(show.dtreeid(), kAll);
    EXPECT_EQ(show.share_id(), kAll);
    EXPECT_EQ(show.path(), "");
    EXPECT_EQ(show.comment(), "");
    EXPECT_EQ(show.sort_type(), TVN_NFS_SHARE_SORT_DEFAULT);
    EXPECT_EQ(show.list_type(), TVN_NFSBYSHAREPATH);
    EXPECT_EQ(show.next_share_id().flag(), TVN_NFS_SHARE_ID_FIELD_INVALID);
    EXPECT_EQ(show.tenant_id(), 0u);

    struct {
        const char* name;
        request req;
        std::function<void(const tvn_nfs_show_share_req&)> check;
    } const cases[] = {
        {"range offset 0 is the store's 1", request(kShareList).s(24, R"({"offset": 0, "limit": 25})"),
         [](const auto& r) {
             EXPECT_EQ(r.offset(), 1u);
             EXPECT_EQ(r.count(), 25u);
         }},
        {"range offset 9", request(kShareList).s(24, R"({"offset": 9, "limit": 1})"),
         [](const auto& r) { EXPECT_EQ(r.offset(), 10u); }},
        {"cursor", request(kShareList).s(1, "77"),
         [](const auto& r) {
             EXPECT_EQ(r.next_share_id().flag(), TVN_NFS_SHARE_ID_FIELD_VALID);
             EXPECT_EQ(r.next_share_id().shareid(), 77u);
         }},
        {"sort by id descending", request(kShareList).s(23, R"({"sortKey": "ID", "sortType": 1})"),
         [](const auto& r) {
             EXPECT_EQ(r.list_type(), TVN_NFSBYSHAREID);
             EXPECT_EQ(r.sort_type(), TVN_NFS_SHARE_SORT_DESCEND);
         }},
        {"sort by path ascending", request(kShareList).s(23, R"({"sortKey": "SHAREPATH", "sortType": 0})"),
         [](const auto& r) {
             EXPECT_EQ(r.list_type(), TVN_NFSBYSHAREPATH);
             EXPECT_EQ(r.sort_type(), TVN_NFS_SHARE_SORT_ASCEND);
         }},
        {"filters", request(kShareList).s(22, R"({"FSID": 7, "DTREEID": "3", "DESCRIPTION": "d", "SHAREPATH": "/p"})")
                        .s(4090, "4"),
         [](const auto& r) {
             EXPECT_EQ(r.fsid(), 7u);
             EXPECT_EQ(r.dtreeid(), 3u);
             EXPECT_EQ(r.comment(), "d");
             EXPECT_EQ(r.path(), "/p");
             EXPECT_EQ(r.tenant_id(), 4u);
         }},
        {"share name is the path", request(kShareList).s(22, R"({"SHARENAME": "/named"})"),
         [](const auto& r) { EXPECT_EQ(r.path(), "/named"); }},
        {"id that is no number matches nothing", request(kShareList).s(22, R"({"ID": "12x"})"),
         [](const auto& r) { EXPECT_EQ(r.share_id(), kAll - 1); }},
        {"id", request(kShareList).s(22, R"({"ID": "12"})"), [](const auto& r) { EXPECT_EQ(r.share_id(), 12u); }},
        {"dtree of 70 characters judged on 64", request(kShareList).s(22, R"({"DTREEID": ")" + std::string(63, '0') + "5xxxxxx\"}"),
         [](const auto& r) { EXPECT_EQ(r.dtreeid(), 5u); }},
    };
    for (const auto& c : cases) {
        om_answer a = node_->call(c.req);
        ASSERT_TRUE(a.ok()) << c.name << ": " << a.result();
        c.check(store_.last(store_.last_show_));
    }
}

TEST_F(NfsRequests, PermissionListAndModifyRequests) {
    ASSERT_TRUE(node_->call(request(kAuthList)
                                .s(22, R"({"NAME": "client", "PARENTID": "5", "ACCESSVAL": "1", "AUTHTYPE": "2"})")
                                .s(24, R"({"offset": 0, "limit": 3})")
                                .s(23, R"({"sortKey": "NAME", "sortType": 1})")
                                .s(1, "9"))
                    .ok());
    auto show = store_.last(store_.last_show_auth_);
    EXPECT_EQ(show.hostname(), "client");
    EXPECT_EQ(show.share_id(), 5u);
    EXPECT_EQ(show.options(), "rw");
    EXPECT_EQ(show.authtype(), 2u);
    EXPECT_EQ(show.offset(), 1u);
    EXPECT_EQ(show.count(), 3u);
    EXPECT_EQ(show.sort_type(), TVN_NFS_AUTH_NAME_SORT_DESCEND);
    EXPECT_EQ(show.next_auth_id().flag(), TVN_NFS_AUTH_ID_FIELD_VALID);
    EXPECT_EQ(show.next_auth_id().authid(), 9u);

    ASSERT_TRUE(node_->call(request(kAuthList)).ok());
    show = store_.last(store_.last_show_auth_);
    EXPECT_EQ(show.sort_type(), TVN_NFS_AUTH_SORT_DEFAULT);
    EXPECT_EQ(show.next_auth_id().flag(), TVN_NFS_AUTH_ID_FIELD_INVALID);
    EXPECT_FALSE(show.has_share_id());

    struct {
        std::function<void(request&)> items;
        const char* options;
    } const cases[] = {
        {[](request& r) { r.u(65, 1); }, "rw"},
        {[](request& r) { r.u(72, 1000).u(66, 0); }, "sync,anonuid=1000,anongid=1000"},
        {[](request& r) { r.u(73, 1).u(80, 0).u(70, 1); }, "accesskrb5p=ro,insecure,chownmode=unrestricted"},
    };
    for (const auto& c : cases) {
        request r(kAuthModify);
        r.s(1, "31").s(4090, "2");
        c.items(r);
        ASSERT_TRUE(node_->call(r).ok()) << c.options;
        auto mod = store_.last(store_.last_modify_auth_);
        EXPECT_EQ(mod.auth_id(), 31u);
        EXPECT_EQ(mod.options(), c.options);
        EXPECT_EQ(mod.opts_flag(), 1063u);
        EXPECT_EQ(mod.tenant_id(), 2u);
    }
}

TEST_F(NfsRequests, ShareCreateAndModifyRequests) {
    ASSERT_TRUE(node_->call(request(kShareCreate).s(64, "/fs1/w").s(65, "7")).ok());
    auto add = store_.last(store_.last_add_);
    EXPECT_EQ(add.path(), "/fs1/w");
    EXPECT_EQ(add.alias(), "/fs1/w");
    EXPECT_EQ(add.fsid(), 7u);
    EXPECT_EQ(add.dtreeid(), 0u);
    EXPECT_EQ(add.comment(), "");
    EXPECT_EQ(add.snapshot_switch(), 0u);
    EXPECT_EQ(add.fhbytealignmentsupport(), 0u);
    EXPECT_EQ(add.audit_item(), 0u);
    // Without the store's ids, the answer names the request's.
    om_answer a = node_->call(request(kShareCreate).s(64, "/fs1/x").s(65, "7").b(93, true).u(101, 1).b(91, true));
    ASSERT_TRUE(a.ok());
    EXPECT_EQ(a.str(0, 99), "0@7");
    add = store_.last(store_.last_add_);
    EXPECT_EQ(add.snapshot_switch(), 1u);
    EXPECT_EQ(add.fhbytealignmentsupport(), 1u);
    EXPECT_EQ(add.freeze(), 1u);

    // Only the given fields change.
    ASSERT_TRUE(node_->call(request(kShareModify).s(1, "42").s(92, "[4,5]").e(89, 1)).ok());
    auto mod = store_.last(store_.last_mod_);
    EXPECT_EQ(mod.share_id(), 42u);
    EXPECT_EQ(mod.audit_item(), 0xCu);
    EXPECT_EQ(mod.lock_strategy(), 1);
    EXPECT_FALSE(mod.has_comment());
    EXPECT_FALSE(mod.has_charset_id());
    EXPECT_FALSE(mod.has_snapshot_switch());
}

}  // namespace
