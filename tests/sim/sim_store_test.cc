// The stand-ins' data layer, called directly: identifiers, uniqueness,
// paging, filters, configuration pairs, seed data and schema migration.
#include <gtest/gtest.h>
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <set>

#include "sim_nfs_options.h"
#include "sim_result.h"
#include "sim_seed.h"
#include "sim_test_util.h"

using namespace tvn::sim;
using sim_test::store_fixture;

namespace {

class sim_nfs_store : public store_fixture {};

TEST_F(sim_nfs_store, IdentifiersStartAtOneAndAreNeverReused) {
    EXPECT_EQ(add_share("/fs1/a"), 1u);
    EXPECT_EQ(add_share("/fs1/b"), 2u);
    std::string desc;
    ASSERT_EQ(store_->nfs.del_share(2, 0, desc), 0) << desc;
    EXPECT_EQ(add_share("/fs1/c"), 3u);

    tvn_nfs_create_auth_req a;
    a.set_share_id(1);
    uint64_t auth_id = 0;
    ASSERT_EQ(store_->nfs.create_auth(a, auth_id, desc), 0) << desc;
    EXPECT_EQ(auth_id, 1u);
}

TEST_F(sim_nfs_store, DuplicatesAreRefusedWithTextPerTenant) {
    add_share("/fs1/a", 0);
    struct {
        const char* what;
        tvn_nfs_add_share_req req;
        int32_t rc;
        const char* text;
    } cases[] = {
        {"same path, same tenant", sim_test::add_req("/fs1/a", 0), SIM_ERR_EXIST, "/fs1/a"},
        {"same path, other tenant", sim_test::add_req("/fs1/a", 1, 101), SIM_OK, "success"},
        {"no leading slash", sim_test::add_req("fs1/x", 0), SIM_ERR_INVALID, "must begin"},
        {"empty path", sim_test::add_req("", 0), SIM_ERR_INVALID, "must begin"},
    };
    tvn_nfs_add_share_req same_alias = sim_test::add_req("/fs1/other", 0);
    same_alias.set_alias("/fs1/a");
    for (auto& c : cases) {
        uint64_t id = 0;
        std::string desc;
        EXPECT_EQ(store_->nfs.add_share(c.req, id, desc), c.rc) << c.what;
        EXPECT_NE(desc.find(c.text), std::string::npos) << c.what << ": " << desc;
    }
    uint64_t id = 0;
    std::string desc;
    EXPECT_EQ(store_->nfs.add_share(same_alias, id, desc), SIM_ERR_EXIST);
    EXPECT_NE(desc.find("name"), std::string::npos) << desc;
}

// What a real store could not keep: a file system that is not there or is
// another tenant's, a path leaving its file system, bytes a C string or a
// log line cannot carry. Nothing refused is stored.
TEST_F(sim_nfs_store, SharesOutsideTheirTenantsFileSystemsAreRefused) {
    using namespace std::string_literals;
    auto with_alias = [](tvn_nfs_add_share_req r, const std::string& alias) {
        r.set_alias(alias);
        return r;
    };
    const struct {
        const char* what;
        tvn_nfs_add_share_req req;
        int32_t rc;
    } cases[] = {
        {"unknown file system", sim_test::add_req("/fs9/a", 0, 9), SIM_ERR_NOT_FOUND},
        {"another tenant's file system", sim_test::add_req("/vs1_fs1/a", 0, 101), SIM_ERR_ACCESS},
        {"tenant 0's file system from tenant 1", sim_test::add_req("/fs1/a", 1, 1), SIM_ERR_ACCESS},
        {"'..' inside", sim_test::add_req("/fs1/../etc", 0), SIM_ERR_INVALID},
        {"'..' at the end", sim_test::add_req("/fs1/a/..", 0), SIM_ERR_INVALID},
        {"'..' alone", sim_test::add_req("/..", 0), SIM_ERR_INVALID},
        {"NUL in the path", sim_test::add_req("/fs1/a\0b"s, 0), SIM_ERR_INVALID},
        {"newline in the path", sim_test::add_req("/fs1/a\nforged line", 0), SIM_ERR_INVALID},
        {"escape sequence in the path", sim_test::add_req("/fs1/\x1b[31mred", 0), SIM_ERR_INVALID},
        {"DEL in the path", sim_test::add_req("/fs1/a\x7f", 0), SIM_ERR_INVALID},
        {"control character in the name", with_alias(sim_test::add_req("/fs1/n", 0), "n\tame"),
         SIM_ERR_INVALID},
    };
    for (const auto& c : cases) {
        uint64_t id = 0;
        std::string desc;
        EXPECT_EQ(store_->nfs.add_share(c.req, id, desc), c.rc) << c.what << ": " << desc;
        EXPECT_EQ(desc.find('\n'), std::string::npos) << c.what << ": the reply text is one line";
    }
    for (uint32_t tenant : {0u, 1u}) {
        uint32_t count = 99;
        std::string desc;
        ASSERT_EQ(store_->nfs.count_shares(sim_test::count_req(tenant), count, desc), 0) << desc;
        EXPECT_EQ(count, 0u) << "tenant " << tenant;
    }

    // Dots that are no '..' component are ordinary names.
    for (const char* path : {"/fs1/a..b", "/fs1/...", "/fs1/.hidden"}) EXPECT_NE(add_share(path), 0u) << path;
    EXPECT_NE(add_share("/vs1_fs1/a", 1, 101), 0u);
}

TEST_F(sim_nfs_store, GetModifyDeleteStayInsideTheTenant) {
    const uint64_t id = add_share("/fs1/a", 1, 101, "first");
    mul_vstore_nfs_share s;
    std::string desc;
    EXPECT_EQ(store_->nfs.get_share(id, 0, &s, desc), SIM_ERR_NOT_FOUND);
    ASSERT_EQ(store_->nfs.get_share(id, 1, &s, desc), 0);
    EXPECT_EQ(s.fsname(), "vs1_fs1");  // from the seeded file systems
    EXPECT_EQ(s.comment(), "first");
    EXPECT_TRUE(s.IsInitialized());

    tvn_nfs_mod_share_req m;
    m.set_share_id(id);
    m.set_tenant_id(1);
    m.set_audit_item(3);
    ASSERT_EQ(store_->nfs.mod_share(m, desc), 0) << desc;
    ASSERT_EQ(store_->nfs.get_share(id, 1, &s, desc), 0);
    EXPECT_EQ(s.audit_item(), 3u);
    EXPECT_EQ(s.comment(), "first") << "fields not in the request stay";
    EXPECT_EQ(s.version(), 1u) << "a change moves the version on";

    m.set_tenant_id(0);
    EXPECT_EQ(store_->nfs.mod_share(m, desc), SIM_ERR_NOT_FOUND);
    EXPECT_EQ(store_->nfs.del_share(id, 0, desc), SIM_ERR_NOT_FOUND);
    EXPECT_EQ(store_->nfs.del_share(id, 1, desc), 0);
    EXPECT_EQ(store_->nfs.get_share(id, 1, &s, desc), SIM_ERR_NOT_FOUND);
}

TEST_F(sim_nfs_store, DeletingAShareTakesItsPermissions) {
    const uint64_t id = add_share("/fs1/a");
    tvn_nfs_create_auth_req a;
    a.set_share_id(id);
    uint64_t auth_id = 0;
    std::string desc;
    ASSERT_EQ(store_->nfs.create_auth(a, auth_id, desc), 0);
    ASSERT_EQ(store_->nfs.del_share(id, 0, desc), 0);
    mul_vstore_nfs_share_permission p;
    EXPECT_EQ(store_->nfs.get_auth(auth_id, 0, &p, desc), SIM_ERR_NOT_FOUND);
}

// Every page walk must visit each share exactly once, in order.
struct walk_case {
    const char* name;
    bool has_list_type;
    TvnNFSListType list_type;
    TvnNfsShareSortType sort;
    bool by_cursor;
};

class sim_share_paging : public store_fixture,
                          public ::testing::WithParamInterface<walk_case> {};

TEST_P(sim_share_paging, WalksEveryShareOnceInOrder) {
    const walk_case& c = GetParam();
    // Paths sort differently from identifiers: the number is reversed.
    constexpr int kShares = 257;
    for (int i = 0; i < kShares; ++i) add_share(fmt::format("/fs1/s{:04}", (kShares - i) * 7 % 1000));
    add_share("/fs1/other-tenant", 1, 101);

    std::vector<mul_vstore_nfs_share> seen;
    tvn_nfs_show_share_req req = sim_test::show_req();
    if (c.has_list_type) req.set_list_type(c.list_type);
    req.set_sort_type(c.sort);
    req.set_count(10);
    for (int page = 0; page < 100; ++page) {
        tvn_nfs_show_share_rsp rsp;
        std::string desc;
        ASSERT_EQ(store_->nfs.show_share(req, &rsp, desc), 0) << desc;
        for (const auto& s : rsp.share_info()) seen.push_back(s);
        if (rsp.share_info_size() < 10) break;
        if (c.by_cursor) {
            req.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_VALID);
            req.mutable_next_share_id()->set_shareid(rsp.share_info(9).share_id());
            req.set_offset(999999);  // ignored while the cursor is valid
        } else {
            req.set_offset(req.offset() + 10);
        }
    }
    ASSERT_EQ(seen.size(), static_cast<size_t>(kShares));
    std::set<uint64_t> ids;
    for (const auto& s : seen) ids.insert(s.share_id());
    EXPECT_EQ(ids.size(), seen.size()) << "a share was repeated";

    const bool by_path = c.has_list_type && c.list_type == TVN_NFSBYSHAREPATH;
    const bool descending = c.sort == TVN_NFS_SHARE_SORT_DESCEND;
    auto key_less = [&](const mul_vstore_nfs_share& a, const mul_vstore_nfs_share& b) {
        return by_path ? a.path() < b.path() : a.share_id() < b.share_id();
    };
    for (size_t i = 1; i < seen.size(); ++i) {
        if (descending)
            EXPECT_TRUE(key_less(seen[i], seen[i - 1])) << "at " << i;
        else
            EXPECT_TRUE(key_less(seen[i - 1], seen[i])) << "at " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    sim_orders, sim_share_paging,
    ::testing::Values(
        walk_case{"id_default_offset", false, TVN_NFSLISTDEFAULT, TVN_NFS_SHARE_SORT_DEFAULT, false},
        walk_case{"id_desc_offset", true, TVN_NFSBYSHAREID, TVN_NFS_SHARE_SORT_DESCEND, false},
        walk_case{"path_asc_offset", true, TVN_NFSBYSHAREPATH, TVN_NFS_SHARE_SORT_ASCEND, false},
        walk_case{"path_desc_offset", true, TVN_NFSBYSHAREPATH, TVN_NFS_SHARE_SORT_DESCEND, false},
        walk_case{"id_asc_cursor", true, TVN_NFSBYSHAREID, TVN_NFS_SHARE_SORT_ASCEND, true},
        walk_case{"id_desc_cursor", true, TVN_NFSBYSHAREID, TVN_NFS_SHARE_SORT_DESCEND, true},
        walk_case{"path_asc_cursor", true, TVN_NFSBYSHAREPATH, TVN_NFS_SHARE_SORT_ASCEND, true},
        walk_case{"path_desc_cursor", true, TVN_NFSBYSHAREPATH, TVN_NFS_SHARE_SORT_DESCEND, true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(sim_nfs_store, OffsetCountsFromOneAndZeroCountIsTheDefaultPage) {
    for (int i = 0; i < 150; ++i) add_share(fmt::format("/fs1/p{}", i));
    tvn_nfs_show_share_req req = sim_test::show_req();
    tvn_nfs_show_share_rsp rsp;
    std::string desc;
    req.set_offset(0);
    ASSERT_EQ(store_->nfs.show_share(req, &rsp, desc), 0);
    ASSERT_EQ(rsp.share_info_size(), static_cast<int>(nfs_store::kDefaultPage));
    EXPECT_EQ(rsp.share_info(0).share_id(), 1u) << "offset 0 is the same as 1";
    rsp.Clear();
    req.set_offset(3);
    req.set_count(2);
    ASSERT_EQ(store_->nfs.show_share(req, &rsp, desc), 0);
    ASSERT_EQ(rsp.share_info_size(), 2);
    EXPECT_EQ(rsp.share_info(0).share_id(), 3u);
}

TEST_F(sim_nfs_store, CursorOnAVanishedShareIsRefusedWhenSortedByPath) {
    const uint64_t a = add_share("/fs1/a");
    add_share("/fs1/b");
    std::string desc;
    ASSERT_EQ(store_->nfs.del_share(a, 0, desc), 0);
    tvn_nfs_show_share_req req = sim_test::show_req();
    req.set_list_type(TVN_NFSBYSHAREPATH);
    req.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_VALID);
    req.mutable_next_share_id()->set_shareid(a);
    tvn_nfs_show_share_rsp rsp;
    EXPECT_EQ(store_->nfs.show_share(req, &rsp, desc), SIM_ERR_NOT_FOUND);
    // By identifier the position is known without the share.
    req.set_list_type(TVN_NFSBYSHAREID);
    ASSERT_EQ(store_->nfs.show_share(req, &rsp, desc), 0);
    EXPECT_EQ(rsp.share_info_size(), 1);
}

TEST_F(sim_nfs_store, FiltersSelectAndCountsAgreeWithLists) {
    add_share("/fs1/alpha", 0, 1, "finance data");
    add_share("/fs1/beta", 0, 1, "hr");
    add_share("/fs2/alpha2", 0, 2, "finance archive");
    tvn_nfs_add_share_req dt = sim_test::add_req("/fs2/dtree_share", 0, 2);
    dt.set_dtreeid(5);
    uint64_t dt_id = 0;
    std::string desc;
    ASSERT_EQ(store_->nfs.add_share(dt, dt_id, desc), 0);
    add_share("/fs1/alpha", 1, 101);  // another tenant: never counted

    struct filter_case {
        const char* name;
        std::function<void(tvn_nfs_show_share_req&, tvn_nfs_get_share_count_req&)> set;
        int expected;
    };
    const filter_case cases[] = {
        {"none", [](auto&, auto&) {}, 4},
        {"fsid", [](auto& l, auto& c) { l.set_fsid(2); c.set_fsid(2); }, 2},
        {"path contains", [](auto& l, auto& c) { l.set_path("alpha"); c.set_path("alpha"); }, 2},
        {"description contains",
         [](auto& l, auto& c) { l.set_comment("finance"); c.set_comment("finance"); }, 2},
        {"dtree", [](auto& l, auto& c) { l.set_dtreeid(5); c.set_dtreeid(5); }, 1},
        {"dtree all ones is any",
         [](auto& l, auto& c) { l.set_dtreeid(UINT64_MAX); c.set_dtreeid(UINT64_MAX); }, 4},
        {"share id", [](auto& l, auto& c) { l.set_share_id(2); c.set_share_id(2); }, 1},
        {"share id all ones is any",
         [](auto& l, auto& c) { l.set_share_id(UINT64_MAX); c.set_share_id(UINT64_MAX); }, 4},
        {"invalid share id matches none",
         [](auto& l, auto& c) { l.set_share_id(UINT64_MAX - 1); c.set_share_id(UINT64_MAX - 1); },
         0},
        {"fsid and path",
         [](auto& l, auto& c) { l.set_fsid(1); l.set_path("alpha"); c.set_fsid(1); c.set_path("alpha"); },
         1},
    };
    for (const auto& c : cases) {
        tvn_nfs_show_share_req l = sim_test::show_req();
        tvn_nfs_get_share_count_req n = sim_test::count_req();
        c.set(l, n);
        l.set_count(1000);
        tvn_nfs_show_share_rsp rsp;
        uint32_t count = 0;
        ASSERT_EQ(store_->nfs.show_share(l, &rsp, desc), 0) << c.name;
        ASSERT_EQ(store_->nfs.count_shares(n, count, desc), 0) << c.name;
        EXPECT_EQ(rsp.share_info_size(), c.expected) << c.name;
        EXPECT_EQ(count, static_cast<uint32_t>(c.expected)) << c.name;
    }
}

TEST_F(sim_nfs_store, ListOnlyFiltersByIdsNamesAndFlags) {
    add_share("/fs1/a");
    add_share("/fs1/b");
    tvn_nfs_add_share_req c = sim_test::add_req("/fs1/c");
    c.set_charset_id(3);
    c.set_fhbytealignmentsupport(1);
    uint64_t id = 0;
    std::string desc;
    ASSERT_EQ(store_->nfs.add_share(c, id, desc), 0);

    auto count_of = [&](std::function<void(tvn_nfs_show_share_req&)> set) {
        tvn_nfs_show_share_req l = sim_test::show_req();
        set(l);
        tvn_nfs_show_share_rsp rsp;
        EXPECT_EQ(store_->nfs.show_share(l, &rsp, desc), 0) << desc;
        return rsp.share_info_size();
    };
    EXPECT_EQ(count_of([](auto& l) {
                  l.set_filter_param_type(FILTER_PARAM_BY_ID);
                  l.add_filter_params("1");
                  l.add_filter_params("3");
                  l.add_filter_params("junk");
              }),
              2);
    EXPECT_EQ(count_of([](auto& l) {
                  l.set_filter_param_type(FILTER_PARAM_BY_NAME);
                  l.add_filter_params("/fs1/b");
              }),
              1);
    EXPECT_EQ(count_of([](auto& l) {
                  l.set_filter_param_type(FILTER_PARAM_BY_ID);
                  l.add_filter_params("junk");
              }),
              0);
    EXPECT_EQ(count_of([](auto& l) { l.set_charset_id(3); }), 1);
    EXPECT_EQ(count_of([](auto& l) { l.set_fhbytealignmentsupport(1); }), 1);
    EXPECT_EQ(count_of([](auto& l) { l.set_version(0); }), 3);
}

TEST_F(sim_nfs_store, LookupsByNameAndByClient) {
    const uint64_t id = add_share("/fs1/named", 1, 101);
    uint64_t found = 0;
    std::string desc;
    ASSERT_EQ(store_->nfs.share_id_by_name(1, "/fs1/named", found, desc), 0);
    EXPECT_EQ(found, id);
    EXPECT_EQ(store_->nfs.share_id_by_name(0, "/fs1/named", found, desc), SIM_ERR_NOT_FOUND);

    tvn_nfs_create_auth_req a;
    a.set_share_id(id);
    a.set_tenant_id(1);
    a.set_hostname("Client1");
    uint64_t auth_id = 0;
    ASSERT_EQ(store_->nfs.create_auth(a, auth_id, desc), 0);
    ASSERT_EQ(store_->nfs.auth_id_by_client(1, id, "client1", found, desc), 0);
    EXPECT_EQ(found, auth_id);
    EXPECT_EQ(store_->nfs.auth_id_by_client(1, id, "client2", found, desc), SIM_ERR_NOT_FOUND);
}

TEST_F(sim_nfs_store, PermissionDefaultsDuplicatesAndMerge) {
    const uint64_t id = add_share("/fs1/a");
    tvn_nfs_create_auth_req a;  // only the share: "*" read-only
    a.set_share_id(id);
    uint64_t auth_id = 0;
    std::string desc;
    ASSERT_EQ(store_->nfs.create_auth(a, auth_id, desc), 0) << desc;
    mul_vstore_nfs_share_permission p;
    ASSERT_EQ(store_->nfs.get_auth(auth_id, 0, &p, desc), 0);
    EXPECT_EQ(p.hostname(), "*");
    EXPECT_EQ(p.options(), "ro,sync,no_all_squash,root_squash");
    EXPECT_EQ(p.options_freeze(), "ro,sync,no_all_squash,root_squash");
    EXPECT_EQ(p.path(), "/fs1/a");
    EXPECT_EQ(p.auth_type(), NFS_CLIENT_ANY);
    EXPECT_TRUE(p.IsInitialized());

    EXPECT_EQ(store_->nfs.create_auth(a, auth_id, desc), SIM_ERR_EXIST);
    EXPECT_NE(desc.find("already"), std::string::npos);
    a.set_share_id(999);
    EXPECT_EQ(store_->nfs.create_auth(a, auth_id, desc), SIM_ERR_NOT_FOUND);

    tvn_nfs_modify_auth_req m;
    m.set_auth_id(p.auth_id());
    m.set_options("rw,");
    m.set_opts_flag(1063);
    ASSERT_EQ(store_->nfs.modify_auth(m, desc), 0) << desc;
    ASSERT_EQ(store_->nfs.get_auth(p.auth_id(), 0, &p, desc), 0);
    EXPECT_EQ(p.options(), "rw,sync,no_all_squash,root_squash");
    EXPECT_EQ(p.opts_flag(), 1063u);
}

TEST_F(sim_nfs_store, PermissionListsSortFilterAndCountAlike) {
    const uint64_t s1 = add_share("/fs1/a");
    const uint64_t s2 = add_share("/fs1/b");
    struct { uint64_t share; const char* host; const char* options; } grants[] = {
        {s1, "client2", "rw,sync"}, {s1, "192.0.2.21", "ro,sync"}, {s1, "@ng_all", "rw,async"},
        {s2, "client1", "ro,async"}, {s2, "*", "na,sync"},
    };
    std::string desc;
    for (const auto& g : grants) {
        tvn_nfs_create_auth_req a;
        a.set_share_id(g.share);
        a.set_hostname(g.host);
        a.set_options(g.options);
        uint64_t id = 0;
        ASSERT_EQ(store_->nfs.create_auth(a, id, desc), 0) << desc;
    }
    struct list_case {
        const char* name;
        std::function<void(tvn_nfs_show_auth_req&, tvn_nfs_get_auth_count_req&)> set;
        std::vector<std::string> hosts;  // in list order
    };
    const list_case cases[] = {
        {"by id", [](auto&, auto&) {}, {"client2", "192.0.2.21", "@ng_all", "client1", "*"}},
        {"name ascending", [](auto& l, auto&) { l.set_sort_type(TVN_NFS_AUTH_NAME_SORT_ASCEND); },
         {"*", "192.0.2.21", "@ng_all", "client1", "client2"}},
        {"name descending",
         [](auto& l, auto&) { l.set_sort_type(TVN_NFS_AUTH_NAME_SORT_DESCEND); },
         {"client2", "client1", "@ng_all", "192.0.2.21", "*"}},
        {"share", [=](auto& l, auto& c) { l.set_share_id(s2); c.set_share_id(s2); },
         {"client1", "*"}},
        {"client contains", [](auto& l, auto& c) { l.set_hostname("CLIENT"); c.set_hostname("CLIENT"); },
         {"client2", "client1"}},
        {"option words", [](auto& l, auto& c) { l.set_options("rw"); c.set_options("rw"); },
         {"client2", "@ng_all"}},
        {"two option words",
         [](auto& l, auto& c) { l.set_options("ro,async"); c.set_options("ro,async"); },
         {"client1"}},
        {"share path", [](auto& l, auto& c) { l.set_path("/fs1/b"); c.set_path("/fs1/b"); },
         {"client1", "*"}},
    };
    for (const auto& c : cases) {
        tvn_nfs_show_auth_req l = sim_test::show_auth_req();
        tvn_nfs_get_auth_count_req n = sim_test::auth_count_req();
        c.set(l, n);
        tvn_nfs_show_auth_rsp rsp;
        uint32_t count = 0;
        ASSERT_EQ(store_->nfs.show_auth(l, &rsp, desc), 0) << c.name << desc;
        ASSERT_EQ(store_->nfs.count_auths(n, count, desc), 0) << c.name;
        std::vector<std::string> hosts;
        for (const auto& p : rsp.auth_info()) hosts.push_back(p.hostname());
        EXPECT_EQ(hosts, c.hosts) << c.name;
        EXPECT_EQ(count, c.hosts.size()) << c.name;
    }
    // Cursor paging by name: one at a time through all five.
    tvn_nfs_show_auth_req l = sim_test::show_auth_req();
    l.set_sort_type(TVN_NFS_AUTH_NAME_SORT_ASCEND);
    l.set_count(1);
    std::vector<std::string> walked;
    for (int i = 0; i < 10; ++i) {
        tvn_nfs_show_auth_rsp rsp;
        ASSERT_EQ(store_->nfs.show_auth(l, &rsp, desc), 0);
        if (rsp.auth_info_size() == 0) break;
        walked.push_back(rsp.auth_info(0).hostname());
        l.mutable_next_auth_id()->set_flag(TVN_NFS_AUTH_ID_FIELD_VALID);
        l.mutable_next_auth_id()->set_authid(rsp.auth_info(0).auth_id());
    }
    EXPECT_EQ(walked, (std::vector<std::string>{"*", "192.0.2.21", "@ng_all", "client1", "client2"}));
}

// ---- option lists and client classes ----------------------------------------

TEST(sim_nfs_options, MergeReplacesByCategoryAndKeepsTheRest) {
    struct { const char* stored; const char* change; const char* merged; } cases[] = {
        {"sync,all_squash,root_squash,ro,insecure", "rw,", "sync,all_squash,root_squash,rw,insecure"},
        {"sync,ro", "async,no_root_squash,", "async,ro,no_root_squash"},
        {"ro,anonuid=1000,anongid=1000", "anonuid=5,anongid=5", "ro,anonuid=5,anongid=5"},
        {"ro,sec=unix,accesskrb5=na", "accesskrb5i=rw,sec=none", "ro,sec=none,accesskrb5=na,accesskrb5i=rw"},
        {"ro,,sync,", "", "ro,sync"},
        {"", "ro,rw", "rw"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(merge_export_options(c.stored, c.change), c.merged) << c.stored << " + " << c.change;
}

TEST(sim_nfs_options, ClientKinds) {
    struct { const char* name; nfs_client_kind kind; } cases[] = {
        {"*", NFS_CLIENT_ANY},          {"@ng", NFS_CLIENT_NETGROUP},
        {"192.0.2.0/24", NFS_CLIENT_NETWORK}, {"10.0.0.1", NFS_CLIENT_IP},
        {"fe80::1", NFS_CLIENT_IP},     {"client1", NFS_CLIENT_HOST},
        {"*.corp.example.com", NFS_CLIENT_HOST},
    };
    for (const auto& c : cases) EXPECT_EQ(classify_nfs_client(c.name).kind, c.kind) << c.name;
    EXPECT_LT(classify_nfs_client("10.0.0.1").priority, classify_nfs_client("*").priority);
}

// ---- configuration pairs ------------------------------------------------------

class sim_conf_store : public store_fixture {
protected:
    void set(uint32_t tenant, const std::vector<std::pair<std::string, std::string>>& pairs,
             const std::string& family = "") {
        tvn_settenant_cfg_req req;
        for (const auto& [k, v] : pairs) {
            auto* p = req.add_config();
            p->set_tenant_id(tenant);
            p->set_key(k);
            p->set_value(v);
        }
        std::string desc;
        ASSERT_EQ(store_->conf.set_tenant(req, family, desc), 0) << desc;
    }
    std::vector<std::string> keys(uint32_t tenant, std::vector<std::string> want = {},
                                  const std::string& family = "") {
        tvn_gettenant_cfg_rsp rsp;
        EXPECT_EQ(store_->conf.get_tenant(tenant, want, family, &rsp), 0);
        std::vector<std::string> out;
        for (const auto& p : rsp.config()) out.push_back(p.key() + "=" + p.value());
        return out;
    }
};

TEST_F(sim_conf_store, GetReturnsOnePairPerKeySetInTheOrderAsked) {
    set(0, {{"fqdn", "corp.example.com"}, {"ddns_ttl", "60"}});
    set(1, {{"fqdn", "other.example.com"}});
    EXPECT_EQ(keys(0, {"ddns_ttl", "nosuch", "fqdn"}),
              (std::vector<std::string>{"ddns_ttl=60", "fqdn=corp.example.com"}));
    EXPECT_EQ(keys(1), (std::vector<std::string>{"fqdn=other.example.com"}));
    set(0, {{"fqdn", "changed"}});
    EXPECT_EQ(keys(0, {"fqdn"}), (std::vector<std::string>{"fqdn=changed"}));
}

TEST_F(sim_conf_store, FamiliesAndLikeDeletion) {
    set(0, {{"ldap_base_dn", "dc=corp"}, {"ldap_port", "389"}}, "ldap");
    set(0, {{"DNS_DOM0", "a"}, {"DNS_DOM1", "b"}, {"DNS_IP", "192.0.2.53"}});
    EXPECT_EQ(keys(0, {}, "ldap"),
              (std::vector<std::string>{"ldap_base_dn=dc=corp", "ldap_port=389"}));
    int deleted = 0;
    std::string desc;
    ASSERT_EQ(store_->conf.del_tenant_like(0, "DNS_DOM%", deleted, desc), 0);
    EXPECT_EQ(deleted, 2);
    ASSERT_EQ(store_->conf.del_tenant_like(0, "dns_ip", deleted, desc), 0);
    EXPECT_EQ(deleted, 0) << "keys are case-sensitive";
    EXPECT_EQ(keys(0, {"DNS_DOM0", "DNS_IP"}), (std::vector<std::string>{"DNS_IP=192.0.2.53"}));
}

TEST(sim_like_match, Wildcards) {
    struct { const char* p; const char* t; bool m; } cases[] = {
        {"abc", "abc", true}, {"abc", "abcd", false}, {"a%", "abcd", true}, {"%d", "abcd", true},
        {"a_c", "abc", true}, {"a_c", "ac", false},  {"%b%", "abc", true}, {"%", "", true},
        {"a%c%e", "abcde", true}, {"a%c%e", "abcdf", false}, {"ABC", "abc", false},
    };
    for (const auto& c : cases) EXPECT_EQ(like_match(c.p, c.t), c.m) << c.p << " ~ " << c.t;
}

TEST_F(sim_conf_store, AWriteWithABadPairWritesNothing) {
    tvn_settenant_cfg_req req;
    auto* good = req.add_config();
    good->set_tenant_id(0);
    good->set_key("fqdn");
    good->set_value("x");
    auto* bad = req.add_config();
    bad->set_tenant_id(0);
    bad->set_key("");
    bad->set_value("y");
    std::string desc;
    EXPECT_EQ(store_->conf.set_tenant(req, "", desc), SIM_ERR_INVALID);
    EXPECT_TRUE(keys(0).empty());
}

TEST_F(sim_conf_store, TenantsComeAndGo) {
    EXPECT_TRUE(store_->conf.tenant_exists(0));
    EXPECT_TRUE(store_->conf.tenant_exists(1));  // seeded
    EXPECT_FALSE(store_->conf.tenant_exists(7));
    tvn_tenant_cfg_mgr_req req;
    req.set_tenant_id(7);
    std::string desc;
    ASSERT_EQ(store_->conf.add_tenant(req, desc), 0);
    EXPECT_TRUE(store_->conf.tenant_exists(7));
    ASSERT_EQ(store_->conf.del_tenant(req, desc), 0);
    EXPECT_FALSE(store_->conf.tenant_exists(7));
}

// ---- seed and schema ------------------------------------------------------------

class sim_seed : public store_fixture {};

TEST_F(sim_seed, DefaultSeedIsWrittenOnceAndDocumentedContentIsThere) {
    EXPECT_TRUE(store_->seeded_now());
    auto fs = store_->inv.fs_by_name(0, "fs2");
    ASSERT_TRUE(fs);
    EXPECT_EQ(fs->fsid, 2u);
    EXPECT_EQ(store_->inv.file_systems(0).size(), 3u);
    auto alice = store_->dir.account_by_name("CORP\\alice", account_scope::any);
    ASSERT_TRUE(alice);
    EXPECT_EQ(alice->sid(), "S-1-5-21-1111111111-2222222222-3333333333-1101");
    reopen();
    EXPECT_FALSE(store_->seeded_now());
}

TEST_F(sim_seed, AFileReplacesTheSeedButKeepsShares) {
    add_share("/fs1/kept");
    const std::string file = root_.root() + "/seed.json";
    std::ofstream(file) << R"({"file_systems": [{"id": 42, "name": "big"}],
                               "domains": [{"indom": 3, "nbname": "LAB", "fqdn": "lab.test",
                                            "sid": "S-1-5-21-9"}],
                               "accounts": [{"domain": "LAB", "name": "op", "id": 7, "rid": 7,
                                             "password": "pw", "can_join": true}]})";
    store_.reset();
    ASSERT_EQ(open_store(file), 0) << err_;
    EXPECT_FALSE(store_->inv.fs_by_name(0, "fs1"));
    EXPECT_EQ(store_->inv.fs_by_name(0, "big")->fsid, 42u);
    EXPECT_TRUE(store_->dir.account_by_name("LAB\\op", account_scope::domain));
    mul_vstore_nfs_share s;
    std::string desc;
    EXPECT_EQ(store_->nfs.get_share(1, 0, &s, desc), 0) << "shares are not seed data";
}

TEST_F(sim_seed, ABadSeedIsRefusedWholeAndNamesTheFault) {
    struct { const char* text; const char* fault; } cases[] = {
        {"not json", "not valid JSON"},
        {R"({"file_systems": [{"name": "x"}]})", "file_systems[0]"},
        {R"({"file_systems": [{"id": "one", "name": "x"}]})", "wrong type"},
        {R"({"accounts": [{"domain": "NOPE", "name": "x", "id": 1}]})", "NOPE"},
        {R"({"hosts": [{"name": "a", "ip": "1.2.3.4"}, {"name": "a", "ip": "1.2.3.4"}]})",
         "hosts[1]"},
        {R"({"accounts": [{"name": "u", "id": 5, "groups": ["nosuch"]}]})", "nosuch"},
    };
    for (const auto& c : cases) {
        std::string err;
        EXPECT_NE(apply_seed(store_->db, c.text, err), 0) << c.text;
        EXPECT_NE(err.find(c.fault), std::string::npos) << c.text << ": " << err;
        EXPECT_TRUE(store_->inv.fs_by_name(0, "fs1")) << "the old seed stays: " << c.text;
    }
}

TEST(sim_db_schema, OlderLayoutsAreMigratedAndKeepTheirData) {
    tvn_test::scoped_sysroot root;
    const std::string path = sim_test::db_path();
    std::string err;
    {
        sim_db db;
        ASSERT_EQ(db.open(path, false, err, 1), 0) << err;
        sim_read r(db);
        EXPECT_EQ(db.schema_version(), 1);
        ASSERT_EQ(db.exec("INSERT INTO global_config(key, value) VALUES('k', 'v')"), SQLITE_OK);
    }
    sim_db db;
    ASSERT_EQ(db.open(path, false, err), 0) << err;
    sim_read r(db);
    EXPECT_EQ(db.schema_version(), sim_db::schema_version_latest());
    sim_stmt st = db.prepare("SELECT value FROM global_config WHERE key = 'k'");
    ASSERT_EQ(st.step(), SQLITE_ROW);
    EXPECT_EQ(st.text(0), "v");
    EXPECT_TRUE(db.prepare("SELECT count(*) FROM auth_event")) << "version 2 table exists";
}

TEST(sim_db_schema, ANewerLayoutIsRefused) {
    tvn_test::scoped_sysroot root;
    const std::string path = sim_test::db_path();
    std::string err;
    {
        sim_db db;
        ASSERT_EQ(db.open(path, false, err), 0);
        sim_read r(db);
        ASSERT_EQ(db.exec("UPDATE schema_version SET version = 99"), SQLITE_OK);
    }
    sim_db db;
    EXPECT_EQ(db.open(path, false, err), SIM_ERR_IO);
    EXPECT_NE(err.find("newer"), std::string::npos) << err;
}

}  // namespace
