// The user-mapping checks that need no other process: names, paths, the
// operation-log cut and the kernel request strings.
#include <gtest/gtest.h>

#include "usermapping/tvn_omitf_usermapping_util.h"
#include "usermapping/tvn_omitf_usermapping_vocab.h"

namespace {

using namespace tvn_usermapping;

TEST(UserMappingChecks, WindowsAndUnixNames) {
    struct row {
        bool windows;
        std::string name;
        int32_t code;
        const char* text;
    } rows[] = {
        {true, "CORP\\alice", 0, ""},
        {true, "alice", 0, ""},
        {true, "A\\B\\c", UM_ERR_INVALID, "Delimiter count:2 greater than 1."},
        {true, "", UM_ERR_WIN_NAME_LEN, "Win username is invalid, need shorter 256 and longer than 0."},
        {true, std::string(257, 'a'), UM_ERR_WIN_NAME_LEN, "Win username is invalid, need shorter 256 and longer than 0."},
        {true, "CORP\\a@b", UM_ERR_INVALID, "Win username includes invalid charcter(\"/[]<>+:;,?*|=@)"},
        {true, "a\"b", UM_ERR_INVALID, "Win username includes invalid charcter(\"/[]<>+:;,?*|=@)"},
        {true, "a\tb", UM_ERR_INVALID, "Win username includes ctrl char."},
        {false, "x$", 0, ""},
        {false, "_svc.backup-1", 0, ""},
        {false, "$x", UM_ERR_INVALID, "The unix user name can't begin with - or $"},
        {false, "-x", UM_ERR_INVALID, "The unix user name can't begin with - or $"},
        {false, std::string(65, 'a'), UM_ERR_INVALID, "The unix user name is too long."},
        {false, std::string(64, 'a'), 0, ""},
        {false, "", UM_ERR_INVALID, "Check unix user name contain invalid character."},
        {false, "a b", UM_ERR_INVALID, "Check unix user name contain invalid character."},
    };
    for (const auto& r : rows) {
        name_problem p = r.windows ? check_windows_name(r.name) : check_unix_name(r.name);
        EXPECT_EQ(p.code, r.code) << r.name;
        EXPECT_EQ(p.text, r.text) << r.name;
    }
}

TEST(UserMappingChecks, PathConditions) {
    const std::string kBadSep =
        "(((path[i] == TVN_SEMICOLON_CHA) || (path[i] == TVN_SPACE_CHA) || (path[i] == '|')) && "
        "(path[i - 1] != TVN_BIAS_CHA))";
    struct row {
        std::string path;
        std::string failed;
    } rows[] = {
        {"/dir/file", ""},
        {"/a\\;b\\ c\\|d", ""},
        {"", "(path.empty() || (path.length() > TVN_MAX_PATH))"},
        {"/" + std::string(4096, 'a'), "(path.empty() || (path.length() > TVN_MAX_PATH))"},
        {"dir", "(path.at(0) != TVN_RODS_CHA)"},
        {"/a//b", "(std::string::npos != path.find(\"//\"))"},
        {"/a;b", kBadSep},
        {"/a b", kBadSep},
        {"/a|b", kBadSep},
    };
    for (const auto& r : rows) EXPECT_EQ(check_path(r.path), r.failed) << r.path;
}

TEST(UserMappingChecks, OperationLogCutKeepsWholeCharacters) {
    const std::string e_acute = "\xC3\xA9";  // two bytes
    std::string mixed = std::string(252, 'a') + e_acute + "tail";
    struct row {
        std::string in;
        std::optional<std::string> out;
    } rows[] = {
        {"short", "short"},
        {std::string(256, 'x'), std::string(256, 'x')},
        {std::string(300, 'x'), std::string(253, 'x') + "..."},
        // The cut would split the two-byte character: it goes whole.
        {mixed, std::string(252, 'a') + "..."},
        {std::string(300, '\x80'), std::nullopt},
    };
    for (const auto& r : rows) {
        auto got = trim_utf8(r.in, UM_OPLOG_IDENTITY_MAX);
        EXPECT_EQ(got, r.out) << r.in.size();
        if (got) {
            EXPECT_LE(got->size(), UM_OPLOG_IDENTITY_MAX);
        }
    }
}

TEST(UserMappingChecks, KernelRequests) {
    EXPECT_EQ(acl_cmdstr(1, {7, "/a\\;b", 2, 10, false, 1}), "getacl|1|7|/a\\;b|2|10|0|1");
    EXPECT_EQ(perm_cmdstr(0, {3, 0, "CORP\\bob", "/d"}), "getperm|0|3|0|CORP\\bob|/d");
    cache_request r;
    EXPECT_TRUE(set_cache_sid(r, "S-1-5-21-1"));
    EXPECT_STREQ(r.sid, "S-1-5-21-1");
    EXPECT_FALSE(set_cache_sid(r, std::string(UM_CACHE_SID_LEN, '1')));
    auto items = cache_answer_items("rule=3\nwin=CORP\\bob\nbogus=1\nuid=2002\n");
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].id, vocab::answer_rule_id.id);
    EXPECT_EQ(items[2].value, "2002");
}

}  // namespace
