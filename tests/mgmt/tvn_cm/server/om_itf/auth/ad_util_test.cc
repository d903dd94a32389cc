// The AD family's fixed tables and character rules.
#include <gtest/gtest.h>

#include "auth/tvn_omitf_auth_util.h"
#include "auth/tvn_omitf_auth_vocab.h"

namespace {

using namespace tvn_auth;

TEST(AdTables, JoinErrorsTranslateAndUnknownOnesAre14) {
    const std::pair<int32_t, uint32_t> rows[] = {
        {0, 0},       {-5014, 1},  {-5019, 1},   {-5050, 2},   {-5051, 3},   {-5043, 4},  {-5045, 5},
        {-12008, 5},  {-5012, 6},  {-5046, 6},   {-5047, 7},   {-11006, 7},  {-12010, 9}, {-12011, 10},
        {-11047, 11}, {-11048, 12}, {-11049, 13}, {-11052, 15}, {-5085, 16}, {-11064, 17}, {-1, 14},
        {-5026, 14},  {1, 14},
    };
    for (auto [code, om] : rows) EXPECT_EQ(translate_join_error(code), om) << code;
    // tvn_om has a hint for every code the table (or its fallback) gives.
    auto hinted = [](uint32_t om) {
        for (const auto& h : kJoinHints)
            if (h.om_code == om) return true;
        return false;
    };
    for (const auto& row : kJoinErrors) EXPECT_TRUE(hinted(row.om_code)) << row.om_code;
    EXPECT_TRUE(hinted(AD_JOIN_ERROR_OTHER));
}

TEST(AdTables, RunningStates6And7FoldTo3And2) {
    const std::pair<uint32_t, uint32_t> rows[] = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {6, 3}, {7, 2}, {5, 5}};
    for (auto [state, shown] : rows) EXPECT_EQ(fold_join_state(state), shown) << state;
}

TEST(AdChecks, NetbiosNameCharacters) {
    for (std::string_view ok : {"NAS01", "nas-01_x", "A.B~!$%^&'{}`"}) EXPECT_TRUE(valid_nbname(ok)) << ok;
    for (char bad : std::string_view("@#*()=+[]|;:,<>\\/?\"\t\x7f"))
        EXPECT_FALSE(valid_nbname(std::string("NAS") + bad)) << int(bad);
    EXPECT_FALSE(valid_nbname("NA\xc3\xa9"));
}

TEST(AdChecks, HostNamesAndDomains) {
    const std::pair<std::string, host_check> hosts[] = {
        {"dc1.corp.example.com", HOST_OK}, {"a_b", HOST_OK},        {std::string(256, 'a'), HOST_TOO_LONG},
        {"", HOST_EMPTY},                  {"  ", HOST_EMPTY},      {"a..b", HOST_BAD_DOTS},
        {"a_.b", HOST_BAD_DOTS},           {"a._b", HOST_BAD_DOTS}, {"a b", HOST_BAD_CHAR},
        {"a;b", HOST_BAD_CHAR},
    };
    for (const auto& [name, want] : hosts) EXPECT_EQ(check_hostname(name), want) << name;
    for (std::string_view ok : {"corp.example.com", "a-b.c", "x"}) EXPECT_TRUE(valid_domain_name(ok)) << ok;
    for (std::string_view bad : {"", "a..b", "-a.com", "a-.com", "a_b.com", ".a", "a."})
        EXPECT_FALSE(valid_domain_name(bad)) << bad;
}

TEST(AdChecks, AddressListsAndCredentials) {
    EXPECT_EQ(split_array("[\"10.0.0.1\"]"), std::vector<std::string>{"10.0.0.1"});
    EXPECT_EQ(split_array("[10.0.0.1, 10.0.0.2]").size(), 2u);
    EXPECT_TRUE(split_array("[]").empty());
    EXPECT_EQ(split_list(" a, ,b "), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(valid_ip("::1"));
    EXPECT_FALSE(valid_ip("10.0.0.256"));
    std::string a = random_credential(), b = random_credential();
    EXPECT_EQ(a.size(), 8u);
    EXPECT_NE(a, b);
}

}  // namespace
