// The Kerberos family's checks that need no daemon.
#include <gtest/gtest.h>

#include "kerberos/tvn_omitf_kerberos_util.h"

namespace {

using namespace tvn_krb;

TEST(KerberosUtil, DomainNameRule) {
    const struct {
        std::string name;
        name_fault want;
    } rows[] = {
        {"nfs.corp.example.com", name_fault::none},
        {"a_b-c.D9", name_fault::none},
        {std::string(255, 'a'), name_fault::none},
        {std::string(256, 'a'), name_fault::too_long},
        {"", name_fault::empty},
        {"a_.b", name_fault::bad_dots},
        {"a._b", name_fault::bad_dots},
        {"a..b", name_fault::bad_dots},
        {"nfs/host", name_fault::bad_char},
        {"h\xc3\xa9te", name_fault::bad_char},
    };
    for (const auto& r : rows) EXPECT_EQ(check_domain_name(r.name), r.want) << r.name;
}

TEST(KerberosUtil, EncryptListAndAddresses) {
    EXPECT_EQ(normalize_encrypt_list("AES128,DES3,"), "AES128,DES3");
    EXPECT_EQ(normalize_encrypt_list("AES256"), "AES256");
    for (const char* bad : {"aes128", "", ",", "AES128,,DES", "AES128 ,DES", "AES128,,", "DES4"})
        EXPECT_FALSE(normalize_encrypt_list(bad)) << bad;
    for (const char* ip : {"192.0.2.1", "2001:db8::1", "::1"}) EXPECT_TRUE(is_ip_address(ip)) << ip;
    for (const char* ip : {"", "192.0.2", "192.0.2.256", "kdc", "1.2.3.4 "}) EXPECT_FALSE(is_ip_address(ip)) << ip;
}

TEST(KerberosUtil, Utf8CutNeverSplitsACharacter) {
    EXPECT_EQ(cut_utf8("abc", 3), "abc");
    EXPECT_EQ(cut_utf8("abcd", 3), "abc...");
    // "é" is two bytes: a cut inside it drops the whole character.
    EXPECT_EQ(cut_utf8("ab\xc3\xa9z", 3), "ab...");
    EXPECT_EQ(cut_utf8("ab\xc3\xa9z", 4), "ab\xc3\xa9...");
}

TEST(KerberosUtil, CacheClearRequestLayout) {
    std::string r = cache_clear_request(cache_type_code("user"), 0x01020304, "alice");
    ASSERT_EQ(r.size(), 69u);
    EXPECT_EQ(r[0], 2);
    EXPECT_EQ(r.substr(1, 4), std::string("\x04\x03\x02\x01", 4));
    EXPECT_EQ(r.substr(5, 6), std::string("alice\0", 6));
    EXPECT_EQ(cache_type_code("tickets"), 0);
}

}  // namespace
