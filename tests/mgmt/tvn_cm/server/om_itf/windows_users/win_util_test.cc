// The pieces of the Windows account commands that decide on their own: the
// privilege list, the SID-prefix rule and the system's text encryption.
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "windows_users/tvn_omitf_windows_user_util.h"
#include "tvn_text_crypt.h"

namespace {

TEST(WinPrivileges, ListSyntaxAndBits) {
    struct row {
        const char* text;
        bool ok;
        uint64_t bits;
    } rows[] = {
        {"[]", true, 0},          {"[0]", true, 1},        {" [ 0 , 5 ] ", true, 0x21},
        {"[2,1]", true, 6},       {"[6]", false, 0},       {"[1,1]", false, 0},
        {"0,1", false, 0},        {"[1,]", false, 0},      {"[,1]", false, 0},
        {"[-1]", false, 0},       {"[1] x", false, 0},     {"[0001]", false, 0},
        {"", false, 0},           {"[1", false, 0},
    };
    for (const auto& r : rows) {
        uint64_t bits = 99;
        EXPECT_EQ(tvn_win::is_valid_privileges(r.text, &bits), r.ok) << r.text;
        if (r.ok) {
            EXPECT_EQ(bits, r.bits) << r.text;
            uint64_t again = 0;
            EXPECT_TRUE(tvn_win::is_valid_privileges(tvn_win::privileges_text(bits), &again));
            EXPECT_EQ(again, bits);
        }
    }
}

TEST(WinSidPrefix, Form) {
    for (const char* good : {"S-1-5-21-1", "S-1-5-21-1-2-3", "S-1-5-21-4294967295-0-12"})
        EXPECT_FALSE(tvn_win::isSidPrefixInvalid(good)) << good;
    for (const char* bad : {"", "S-1-5-21", "S-1-5-21-", "S-1-5-32-1", "S-1-5-21-1-2-3-4", "S-1-5-21-4294967296",
                            "S-1-5-21-1--2", "S-1-5-21-a", "s-1-5-21-1"})
        EXPECT_TRUE(tvn_win::isSidPrefixInvalid(bad)) << bad;
}

TEST(TextCrypt, RoundTripUnderAPrivateKeyAndRefusesAlteredText) {
    const std::string root = std::filesystem::temp_directory_path() / ("tvn_crypt_" + std::to_string(::getpid()));
    std::filesystem::create_directories(root);
    ::setenv("TVN_SYSROOT", root.c_str(), 1);

    std::string a, b;
    ASSERT_EQ(tvn::tvn_encrypt_text("P@ss word", a), 0);
    ASSERT_EQ(tvn::tvn_encrypt_text("P@ss word", b), 0);
    EXPECT_NE(a, b);  // a fresh nonce each time
    EXPECT_EQ(a.find_first_not_of("0123456789abcdef"), std::string::npos);
    struct stat st {};
    ASSERT_EQ(::stat((root + tvn::TEXT_KEY_FILE).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    SecString plain;
    ASSERT_EQ(tvn::tvn_decrypt_text(a, plain), 0);
    EXPECT_EQ(plain, "P@ss word");
    std::string altered = a;
    altered[30] = altered[30] == '0' ? '1' : '0';
    for (const std::string& bad : {altered, a.substr(0, 20), std::string("zz") + a.substr(2), a + "0"})
        EXPECT_NE(tvn::tvn_decrypt_text(bad, plain), 0);

    ::unsetenv("TVN_SYSROOT");
    std::filesystem::remove_all(root);
}

}  // namespace
