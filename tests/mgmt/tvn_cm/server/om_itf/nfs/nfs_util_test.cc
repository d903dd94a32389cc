// The NFS commands' shared logic, without any other process.
#include "nfs/tvn_omitf_nfs_util.h"

#include <gtest/gtest.h>

#include <string>

#include "talvane_store_nfs.pb.h"

namespace {

using namespace tvn_nfs;

constexpr const char* kDefaultTail =
    "sec=unix,ntfsunixsec=fail,v4aclpreserve=enable,chownmode=restricted,"
    "accesskrb5=na,accesskrb5i=na,accesskrb5p=na";

TEST(NfsUtilIds, ObjectIdsFsidsDtreesAndTenants) {
    struct {
        const char* text;
        bool object_id, fsid, dtree, tenant;
    } const cases[] = {
        {"1", true, true, true, true},
        {"0", false, true, true, true},
        {"4294967295", true, true, true, true},
        {"4294967296", true, false, false, false},
        {"18446744073709551615", true, false, false, false},
        {"18446744073709551616", false, false, false, false},
        {"-1", false, false, false, false},
        {"+1", false, false, false, false},
        {" 1", false, false, false, false},
        {"1a", false, false, false, false},
        {"0x10", false, false, false, false},
        {"", false, false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        uint64_t id = 0, fsid = 0, dtree = 0;
        uint32_t tenant = 0;
        EXPECT_EQ(parse_object_id(c.text, id), c.object_id);
        EXPECT_EQ(parse_fsid(c.text, fsid), c.fsid);
        EXPECT_EQ(parse_filter_dtree(c.text, dtree), c.dtree);
        EXPECT_EQ(parse_tenant_id(c.text, tenant), c.tenant);
    }
    uint64_t dtree = 0;
    // A filter's dtree id is judged on its first 64 characters only.
    std::string long_text = std::string(63, '0') + "7" + "garbage";
    ASSERT_TRUE(parse_filter_dtree(long_text, dtree));
    EXPECT_EQ(dtree, 7u);
    EXPECT_EQ(dtree_at_fsid(0, 7), "0@7");
    EXPECT_EQ(dtree_at_fsid(18446744073709551615ull, 4294967295ull), "18446744073709551615@4294967295");
}

TEST(NfsUtilIds, FileSystemNameLookupCodes) {
    EXPECT_EQ(NfsConvertErrorCode(static_cast<int32_t>(0xBFFE6FD9u)), static_cast<int32_t>(0xBFFE6FD9u));
    EXPECT_EQ(NfsConvertErrorCode(static_cast<int32_t>(0xBFFE6FA9u)), static_cast<int32_t>(0xBFFE6FA9u));
    EXPECT_EQ(NfsConvertErrorCode(static_cast<int32_t>(0xBFFE6FD2u)), static_cast<int32_t>(0xBFFE6FD2u));
    for (int32_t other : {-1, -3, 1, 0x7fffffff, static_cast<int32_t>(0xBFFE6FDAu)})
        EXPECT_EQ(NfsConvertErrorCode(other), -14078) << other;
}

TEST(NfsUtilAudit, ListsBecomeMasks) {
    struct {
        const char* text;
        int32_t rc;
        uint32_t mask;
    } const cases[] = {
        {"[2,3]", 0, 0x3},
        {"[1]", 0, 0x7FF},
        {"[0]", 0, 0x0},
        {"[0,2]", -5, 0},
        {"[2,1]", -5, 0},
        {"[0,0]", -5, 0},
        {"[9]", 0, 0x200},
        {"[10]", 0, 0x400},
        {"[11]", 0, 0x80},
        {"[12]", 0, 0x100},
        {"[2,3,4,5,6,7,8,9,10,11,12]", 0, 0x7FF},
        {"[ 4 , 5 ]", 0, 0xC},
        {"4,5", 0, 0xC},
        {"[3,3]", 0, 0x2},
        // Indexes outside the table are let through and add nothing.
        {"[13]", 0, 0},
        {"[-1,2]", 0, 0x1},
        {"[2147483648]", 0, 0},
        {"[]", -22, 0},
        {"", -22, 0},
        {"[ ]", -22, 0},
        {"[2,]", -22, 0},
        {"[a]", -22, 0},
        {"[2.5]", -22, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        uint32_t mask = 0xdead;
        EXPECT_EQ(parse_audit_items(c.text, mask), c.rc);
        EXPECT_EQ(mask, c.rc == 0 ? c.mask : 0xdeadu);
    }
}

TEST(NfsUtilAudit, MasksReadBackAsLists) {
    EXPECT_EQ(audit_items_text(0), "[0]");
    EXPECT_EQ(audit_items_text(0x7FF), "[1]");
    EXPECT_EQ(audit_items_text(0x3), "[2,3]");
    EXPECT_EQ(audit_items_text(0x200 | 0x80), "[9,11]");
    for (const char* list : {"[2,3]", "[4,9,12]", "[1]", "[0]", "[5]"}) {
        uint32_t mask = 0;
        ASSERT_EQ(parse_audit_items(list, mask), 0);
        EXPECT_EQ(audit_items_text(mask), list);
    }
}

TEST(NfsUtilOptions, CreateListFollowsTheWordOrderAndDefaults) {
    struct {
        const char* name;
        auth_options opts;
        std::string want;
    } const cases[] = {
        {"only squash flags at 0", {.all_squash = 0, .root_squash = 0},
         std::string("sync,all_squash,root_squash,ro,insecure,") + kDefaultTail},
        {"only squash flags at 1", {.all_squash = 1, .root_squash = 1},
         std::string("sync,no_all_squash,no_root_squash,ro,insecure,") + kDefaultTail},
        {"anonymous id 1000", {.all_squash = 0, .root_squash = 0, .anon_id = 1000},
         std::string("sync,all_squash,root_squash,ro,insecure,anonuid=1000,anongid=1000,") + kDefaultTail},
        {"anonymous id not set", {.all_squash = 0, .root_squash = 0, .anon_id = 65534},
         std::string("sync,all_squash,root_squash,ro,insecure,") + kDefaultTail},
        {"charset not set", {.all_squash = 0, .root_squash = 0, .charset = 65535},
         std::string("sync,all_squash,root_squash,ro,insecure,") + kDefaultTail},
        {"every option",
         {.access = 1, .all_squash = 1, .root_squash = 0, .secure = 0, .charset = 3, .anon_id = 0,
          .chown_mode = 1, .v4acl = 1, .ntfs_unix_sec = 1, .sec_type = 2, .krb5 = 0, .krb5i = 1,
          .krb5p = 5},
         "sync,no_all_squash,root_squash,rw,secure,chs=3,anonuid=0,anongid=0,sec=none:unix,"
         "ntfsunixsec=ignore,v4aclpreserve=disable,chownmode=unrestricted,accesskrb5=ro,"
         "accesskrb5i=rw,accesskrb5p=na"},
        {"no access, security none", {.access = 5, .all_squash = 0, .root_squash = 1, .sec_type = 1},
         "sync,all_squash,no_root_squash,na,insecure,sec=none,ntfsunixsec=fail,"
         "v4aclpreserve=enable,chownmode=restricted,accesskrb5=na,accesskrb5i=na,accesskrb5p=na"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(build_create_options(c.opts), c.want);
    }
}

TEST(NfsUtilOptions, ModifySendsOnlyTheGivenWordsInItsOrder) {
    struct {
        const char* name;
        auth_options opts;
        int32_t rc;
        std::string want;
    } const cases[] = {
        {"access only", {.access = 1}, 0, "rw"},
        {"write mode", {.write_mode = 1}, 0, "async"},
        {"anonymous id", {.anon_id = 7}, 0, "anonuid=7,anongid=7"},
        {"kerberos before secure", {.secure = 0, .krb5p = 1}, 0, "accesskrb5p=rw,secure"},
        {"all of them",
         {.access = 0, .write_mode = 0, .all_squash = 0, .root_squash = 1, .secure = 1, .charset = 65535,
          .anon_id = 65534, .chown_mode = 0, .v4acl = 1, .ntfs_unix_sec = 0, .sec_type = 0, .krb5 = 5,
          .krb5i = 0, .krb5p = 1},
         0,
         "sync,all_squash,no_root_squash,ro,accesskrb5=na,accesskrb5i=ro,accesskrb5p=rw,insecure,"
         "chs=65535,anonuid=65534,anongid=65534,sec=unix,ntfsunixsec=fail,v4aclpreserve=disable,"
         "chownmode=restricted"},
        {"nothing", {}, -14043, "untouched"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string out = "untouched";
        EXPECT_EQ(build_modify_options(c.opts, out), c.rc);
        EXPECT_EQ(out, c.want);
    }
}

TEST(NfsUtilOptions, ValueSetsOfEveryItem) {
    struct {
        uint32_t item;
        std::vector<uint32_t> good, bad;
        int32_t bad_rc;
    } const cases[] = {
        {65, {0, 1, 5}, {2, 3, 4, 6, 4294967295u}, -14042},
        {66, {0, 1}, {2}, -14042},
        {68, {0, 1}, {2}, -14042},
        {69, {0, 1}, {2}, -14042},
        {70, {0, 1}, {2}, -14042},
        {71, {0, 65535, 4294967295u}, {}, 0},
        {72, {0, 65534, 4294967294u}, {4294967295u}, -7},
        {73, {0, 1}, {2}, -14042},
        {74, {0, 1}, {2}, -14042},
        {75, {0, 1}, {2}, -14042},
        {77, {0, 1, 2}, {3, 100}, -14042},
        {78, {0, 1, 5}, {2}, -14042},
        {79, {0, 1, 5}, {4}, -14042},
        {80, {0, 1, 5}, {6}, -14042},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.item);
        for (uint32_t v : c.good) EXPECT_EQ(check_option(c.item, v), 0) << v;
        for (uint32_t v : c.bad) {
            std::string why;
            EXPECT_EQ(check_option(c.item, v, &why), c.bad_rc) << v;
            EXPECT_FALSE(why.empty());
        }
    }
    std::string why;
    check_option(65, 2, &why);
    EXPECT_EQ(why, "OM unixAccessVal: 2 is invalid.");
    check_option(68, 9, &why);
    EXPECT_EQ(why, "All_Squash flag invalid.");
    check_option(72, 4294967295u, &why);
    EXPECT_EQ(why, "anonymous id out of range.");
}

TEST(NfsUtilOptions, ListsReadBackIntoItems) {
    // Whatever create writes, get reads back as the same items.
    const auth_options written[] = {
        {.access = 1, .all_squash = 1, .root_squash = 0, .secure = 0, .charset = 3, .anon_id = 1000,
         .chown_mode = 1, .v4acl = 1, .ntfs_unix_sec = 1, .sec_type = 2, .krb5 = 0, .krb5i = 1, .krb5p = 5},
        {.access = 5, .all_squash = 0, .root_squash = 1, .sec_type = 1},
        {.all_squash = 0, .root_squash = 0},
    };
    for (const auto& w : written) {
        auth_options want{.access = w.access.value_or(0), .write_mode = 0, .all_squash = w.all_squash,
                          .root_squash = w.root_squash, .secure = w.secure.value_or(1),
                          .charset = w.charset.value_or(65535), .anon_id = w.anon_id.value_or(65534),
                          .chown_mode = w.chown_mode.value_or(0), .v4acl = w.v4acl.value_or(0),
                          .ntfs_unix_sec = w.ntfs_unix_sec.value_or(0), .sec_type = w.sec_type.value_or(0),
                          .krb5 = w.krb5.value_or(5), .krb5i = w.krb5i.value_or(5), .krb5p = w.krb5p.value_or(5)};
        std::string list = build_create_options(w);
        SCOPED_TRACE(list);
        EXPECT_EQ(parse_options(list), want);
    }
    // The store's own default list, words in another order, unknown words.
    auth_options d = parse_options("ro,sync,no_all_squash,root_squash");
    EXPECT_EQ(d.access, 0u);
    EXPECT_EQ(d.all_squash, 1u);
    EXPECT_EQ(d.root_squash, 0u);
    EXPECT_EQ(d.secure, 1u);
    EXPECT_EQ(d.krb5p, 5u);
    auth_options m = parse_options("async,rw,wdelay,fsid=9,,sec=krb5,accesskrb5i=rw,anonuid=x");
    EXPECT_EQ(m.write_mode, 1u);
    EXPECT_EQ(m.access, 1u);
    EXPECT_EQ(m.sec_type, 0u);
    EXPECT_EQ(m.krb5i, 1u);
    EXPECT_EQ(m.anon_id, 65534u);
    EXPECT_EQ(parse_options(""), parse_options("sync"));
}

TEST(NfsUtilHosts, OnlyPlainNamesMustResolve) {
    struct {
        const char* name;
        bool host;
    } const cases[] = {
        {"client1", true},
        {"client1.example.com", true},
        {"localhost", true},
        {"*", false},
        {"*.example.com", false},
        {"host?", false},
        {"@netgroup", false},
        {"192.168.1.10", false},
        {"192.168.1.0/24", false},
        {"192.168.1.0/255.255.255.0", false},
        {"fe80::1", false},
        {"2001:db8::/32", false},
        {"", false},
    };
    for (const auto& c : cases) EXPECT_EQ(access_name_is_host(c.name), c.host) << c.name;
}

TEST(NfsUtilAnswer, PageGuardStopsBeforeTheLimit) {
    EXPECT_TRUE(ack_has_room(0));
    EXPECT_TRUE(ack_has_room(57344 - 2408));
    EXPECT_FALSE(ack_has_room(57344 - 2407));
    EXPECT_FALSE(ack_has_room(57344));
}

TEST(NfsUtilAnswer, ShareItems) {
    mul_vstore_nfs_share s;
    s.set_share_id(12);
    s.set_fsid(7);
    s.set_tenant_id(3);
    s.set_path("/fs1/a");
    s.set_comment("docs");
    s.set_share_status(0);
    s.set_alias("/fs1/a");
    s.set_charset_id(2);
    s.set_lock_strategy(1);
    s.set_audit_item(0x3);
    s.set_snapshot_switch(1);
    s.set_freeze(0);
    s.set_dtreeid(0);
    s.set_fsname("fs1");
    s.set_fhbytealignmentsupport(1);
    std::vector<answer_item> want = {
        {0, 3, "16401"},  {1, 2, "12"},     {2, 2, "/fs1/a"},  {9, 2, "docs"},   {64, 2, "/fs1/a"},
        {65, 2, "7"},     {98, 2, "fs1"},   {99, 2, "0@7"},    {89, 2, "1"},     {90, 2, "2"},
        {93, 5, "true"},  {91, 5, "false"}, {101, 5, "true"},  {4090, 3, "3"},   {92, 2, "[2,3]"},
    };
    EXPECT_EQ(share_answer_items(s), want);
}

TEST(NfsUtilAnswer, PermissionItemsDecodeTheOptionList) {
    mul_vstore_nfs_share_permission a;
    a.set_auth_id(5);
    a.set_share_id(12);
    a.set_path("/fs1/a");
    a.set_hostname("client1");
    a.set_options("sync,no_all_squash,no_root_squash,rw,secure,anonuid=1000,anongid=1000,sec=none,"
                  "ntfsunixsec=ignore,v4aclpreserve=enable,chownmode=restricted,accesskrb5=rw,"
                  "accesskrb5i=ro,accesskrb5p=na");
    a.set_tenant_id(0);
    a.set_vpcid("vpc-1");
    a.set_priority(4);
    std::vector<answer_item> want = {
        {0, 3, "16402"}, {1, 2, "5"},       {2, 2, "client1"}, {4, 2, "12"},     {64, 2, "/fs1/a"},
        {65, 3, "1"},    {66, 3, "0"},      {68, 3, "1"},      {69, 3, "1"},     {70, 3, "0"},
        {71, 3, "65535"}, {72, 3, "1000"},  {73, 3, "0"},      {74, 3, "0"},     {75, 3, "1"},
        {77, 3, "1"},    {78, 3, "1"},      {79, 3, "0"},      {80, 3, "5"},     {81, 2, "vpc-1"},
        {82, 3, "4"},    {4090, 3, "0"},
    };
    EXPECT_EQ(auth_answer_items(a), want);
}

TEST(NfsUtilOplog, CreateParameterText) {
    struct {
        const char* name;
        create_share_oplog log;
        bool alias_feature;
        std::string want;
    } const cases[] = {
        {"defaults", {.path = "/fs1/a"}, false, "/fs1/a,0,0,0,,,,,,,,,,,,1"},
        {"description and charset", {.path = "/fs1/a", .description_given = true, .charset_id = 2,
                                     .snapshot_switch = 0},
         false, "/fs1/a,1,2,0,,,,,,,,,,,,0"},
        {"alias feature", {.path = "/fs1/a", .alias = "a"}, true, "/fs1/a,0,0,0,a" + std::string(12, ',') + "1"},
        {"path of 100", {.path = std::string(100, 'p')}, false, std::string(100, 'p') + ",0,0,0,,,,,,,,,,,,1"},
        {"path of 101", {.path = std::string(101, 'p')}, false,
         std::string(97, 'p') + "...,0,0,0,,,,,,,,,,,,1"},
        {"alias of 101", {.path = "/a", .alias = std::string(101, 'n')}, true,
         "/a,0,0,0," + std::string(97, 'n') + "..." + std::string(12, ',') + "1"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(create_share_oplog_params(c.log, c.alias_feature), c.want);
    }
    EXPECT_EQ(oplog_with_result("/fs1/a,0", -14073), "/fs1/a,0,-14073");
}

}  // namespace
