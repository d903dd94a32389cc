// tvn_sim's Kerberos store, called directly: the keytab reader and what an
// import keeps.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "krb_keytab.h"
#include "sim_kerberos_store.h"
#include "sim_result.h"
#include "sim_store.h"
#include "tvn_sysroot.h"
#include "tvn_test_files.h"

namespace {

using namespace tvn::sim;
using krb_test::keytab_bytes;

TEST(SimKerberosKeytab, ReadsEntriesAndRefusesWhatIsNotAKeytab) {
    std::string hole = keytab_bytes({{{"nfs", "a.example"}, "EX"}});
    std::string tail = keytab_bytes({{{"host", "b.example"}, "EX", 7}}).substr(2);
    hole += std::string("\xff\xff\xff\xfc", 4) + "xxxx" + tail;  // a removed entry of 4 bytes, then b
    auto entries = parse_keytab(hole);
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), 2u);
    EXPECT_EQ((*entries)[0].principal, "nfs/a.example@EX");
    EXPECT_EQ((*entries)[0].kvno, 3u);
    EXPECT_EQ((*entries)[1].principal, "host/b.example@EX");
    EXPECT_EQ((*entries)[1].kvno, 7u) << "the 32-bit version wins";
    EXPECT_EQ((*entries)[1].enctype, 18);

    const std::string good = keytab_bytes({{{"nfs", "a.example"}, "EX"}});
    const std::string not_keytabs[] = {
        "",
        "not a keytab",
        std::string("\x05\x01", 2) + good.substr(2),  // version 0x501
        std::string("\x05\x02", 2),                   // no entry
        good.substr(0, good.size() - 1),              // cut short
        std::string("\x05\x02\x00\x00\x10\x00", 6),   // an entry longer than the file
        std::string("\x05\x02\xff\xff\xff\x00", 6),   // a hole longer than the file
    };
    for (const auto& bytes : not_keytabs) EXPECT_FALSE(parse_keytab(bytes)) << bytes.size() << " bytes";
}

TEST(SimKerberosKeytab, ImportKeepsThePrincipalsOfAKeytabHoldingTheSpn) {
    tvn_test::temp_dir root("krb_store");
    tvn_test::scoped_env sysroot("TVN_SYSROOT", root.path().c_str());
    sim_store store;
    std::string err;
    sim_store_options o;
    o.db_path = root.path() + "/store.db";
    ASSERT_EQ(store.open(o, err), SIM_OK) << err;
    kerberos_store krb(store.db, store.dir, store.inv);
    ASSERT_EQ(krb.init(err), SIM_OK) << err;

    std::filesystem::create_directories(root.path() + "/kt");
    std::ofstream(root.path() + "/kt/a.keytab", std::ios::binary)
        << keytab_bytes({{{"nfs", "a.example"}, "EX"}, {{"host", "a.example"}, "EX"}});
    std::ofstream(root.path() + "/kt/junk") << "junk";

    auto import = [&](const std::string& spn, const std::string& path) {
        KerberosImportKeytabReq req;
        req.mutable_service_info()->set_tenant_id(0);
        req.mutable_service_info()->set_lif_name("lif1");
        req.mutable_service_info()->set_spn(spn);
        req.set_keytab_path(path);
        std::string desc;
        return krb.import_keytab(req, desc);
    };
    EXPECT_EQ(import("a.example", "/kt/junk"), SIM_ERR_INVALID);
    EXPECT_EQ(import("a.example", "/kt/none"), SIM_ERR_NOT_FOUND);
    EXPECT_EQ(import("a.example", "kt/a.keytab"), SIM_ERR_INVALID) << "relative path";
    EXPECT_EQ(import("b.example", "/kt/a.keytab"), SIM_ERR_NOT_FOUND);
    EXPECT_TRUE(krb.keytab_principals(0, "a.example").empty());

    for (const char* spn : {"a.example", "nfs/a.example", "nfs/a.example@EX"})
        EXPECT_EQ(import(spn, "/kt/a.keytab"), SIM_OK) << spn;
    auto kept = krb.keytab_principals(0, "a.example");
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[1].principal, "host/a.example@EX");
    EXPECT_EQ(import("a.example", "/kt/a.keytab"), SIM_OK);
    EXPECT_EQ(krb.keytab_principals(0, "a.example").size(), 2u) << "a second import replaces the first";
}

}  // namespace
