#include <random>

#include "ps_test_fixture.h"

namespace {

class AttrsTest : public ShellTest {
protected:
    int32_t parse_text(const std::string& text) { return ps_attrs_parse(write_file("attrs.ini", text).c_str()); }
    static int64_t base_i(const char* name) { return ps_get_i_attr(ps_attrs_get(&g_module_ps_base, name)); }
    static std::string base_s(const char* name) { return ps_get_s_attr(ps_attrs_get(&g_module_ps_base, name)); }
};

TEST_F(AttrsTest, LinesSetTheirRowsByTheFirstFormThatMatches) {
    struct row {
        std::string text;
        const char* name;
        std::string want;  // string rows; for integer rows the decimal text
    };
    const row rows[] = {
        {"[base]\nthread_pool_num = 8 ; comment\n", "thread_pool_num", "8"},
        {"[base]\nprocess_name=\"a;b\"\n", "process_name", "a;b"},
        {"[base]\nprocess_name=a;b\n", "process_name", "a"},
        {"[base]\nprocess_name='x#y'\n", "process_name", "x#y"},
        {"[base]\nprocess_name=  spaced out  \n", "process_name", "spaced out"},
        {"  \t[ base ]\n\t  mlockall=0x10\n", "mlockall", "0"},
        {"[base]\nnopreempt=-3\n", "nopreempt", "-3"},
        {"[base]\nthread_pool_num=99999999999999999999999\n", "thread_pool_num", "9223372036854775807"},
        {"[base]\nthread_pool_num=\n", "thread_pool_num", "0"},
        // An opening quote without its close: the value runs to the end.
        {"[base]\nprocess_name=\"open\n", "process_name", "open"},
        // Quotes only count right after the separator.
        {"[base]\nprocess_name = \"a;b\"\n", "process_name", "\"a"},
        {"[base]\nlog_output_dir=/var/log/x # trailing\n", "log_output_dir", "/var/log/x"},
        {"[base]\nthread_strategy_backgroud=2:0-3\n", "thread_strategy_backgroud", "2:0-3"},
        // A section header without its bracket still opens the section.
        {"[base\nprocess_name=nobracket\n", "process_name", "nobracket"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        ps_reset_for_test();
        ASSERT_EQ(parse_text(r.text), 0);
        const ps_attr* a = ps_attrs_get(&g_module_ps_base, r.name);
        ASSERT_NE(a, nullptr);
        if (a->type == PS_ATTR_STRING)
            EXPECT_EQ(base_s(r.name), r.want);
        else
            EXPECT_EQ(std::to_string(base_i(r.name)), r.want);
    }
}

TEST_F(AttrsTest, LinesThatSetNothing) {
    const std::string texts[] = {
        "process_name=before_section\n",             // no module yet
        "[tvn_cm]\nprocess_name=twin\n",             // first "tvn_cm" has no table
        "[nosuch]\nprocess_name=unknown_module\n",   // unknown module
        "[base]\nprocess_name\n",                    // missing "="
        "[base]\n=value_without_name\n",
        "[base]\n; process_name=comment\n# process_name=comment\n",
        "[base]\nprocess_name=;only comment\n",
        "[base]\nno_such_attr=1\n",
        "[base]\n[]\nprocess_name=empty_section\n",
        "[base]\nprocess_name=this value is far too long for thirty-two bytes\n",
        "",
    };
    for (const std::string& t : texts) {
        SCOPED_TRACE(t);
        ps_reset_for_test();
        EXPECT_EQ(parse_text(t), 0);
        EXPECT_EQ(base_s("process_name"), "");
    }
    EXPECT_TRUE(logged("PS ignore line because of module=NULL: process_name=before_section"));
    EXPECT_TRUE(logged("PS module [nosuch] is not found."));
    EXPECT_TRUE(logged("PS Ps_set_s_attr failed value = this value is far too long for thirty-two bytes, ret = 34."));
}

TEST_F(AttrsTest, SectionsAreLookedUpWholeAndTheFirstNameWins) {
    EXPECT_EQ(process_get_module_by_name("base"), &g_module_ps_base);
    EXPECT_EQ(process_get_module_by_name("tvn_cm"), &ps_test::g_twin);
    EXPECT_EQ(process_get_module_by_name("bas"), nullptr);
    EXPECT_EQ(process_get_module_by_name("base2"), nullptr);
    EXPECT_EQ(process_get_module_by_name(nullptr), nullptr);
    EXPECT_TRUE(logged("PS module name [(null)] is NULL."));

    ASSERT_EQ(parse_text("[probe]\ncount=12\nenabled=1\nlabel=\"hi there\"\n[base]\nmlockall=0\n"), 0);
    EXPECT_EQ(ps_get_i_attr(ps_attrs_get(&ps_test::g_probe, "count")), 12);
    EXPECT_TRUE(ps_get_b_attr(ps_attrs_get(&ps_test::g_probe, "enabled")));
    EXPECT_STREQ(ps_test::g_probe_text, "hi there");
    EXPECT_TRUE(logged("PS attr module=probe, name=count, value=12"));

    // Booleans are numbers: "true" reads as 0.
    ASSERT_EQ(parse_text("[probe]\nenabled=true\n"), 0);
    EXPECT_FALSE(ps_get_b_attr(ps_attrs_get(&ps_test::g_probe, "enabled")));
}

TEST_F(AttrsTest, LongLinesArriveInPiecesOf319) {
    // The second piece of a long line is parsed as a line of its own.
    std::string filler(319 - 1, 'x');
    std::string text = "[base]\n#" + filler + "process_name=piece\n" + "count" + std::string(990, 'y') + "\n";
    ASSERT_EQ(parse_text(text), 0);
    EXPECT_EQ(base_s("process_name"), "piece");

    ps_reset_for_test();
    std::string long_value(1000, 'v');
    ASSERT_EQ(parse_text("[base]\nlog_output_dir=" + long_value + "\nmlockall=0\nnopreempt=5\n"), 0);
    // At most 256 characters are taken, and 256 do not fit the 256-byte
    // buffer with its NUL: the row is refused and left empty.
    EXPECT_EQ(base_s("log_output_dir"), "");
    EXPECT_EQ(base_i("nopreempt"), 5);
}

TEST_F(AttrsTest, GarbageNeverCrashesAndLeavesKnownLinesWorking) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 50; ++round) {
        std::string text;
        size_t len = rng() % 4000;
        for (size_t i = 0; i < len; ++i) text.push_back(static_cast<char>(rng() & 0xff));
        // Bias towards the characters the parser reacts to.
        for (size_t i = 0; i < len / 20; ++i) text[rng() % len] = "[]=\"';#\n \0"[rng() % 10];
        text += "\n[base]\nnopreempt=4\n";
        ps_reset_for_test();
        ASSERT_EQ(parse_text(text), 0);
        EXPECT_EQ(base_i("nopreempt"), 4);
    }
}

TEST_F(AttrsTest, AFolderOrNothingAsTheFile) {
    EXPECT_EQ(ps_attrs_parse(nullptr), 0);
    EXPECT_EQ(ps_attrs_parse(""), 0);
    EXPECT_TRUE(logged("PS There is no config file specified"));
    EXPECT_EQ(ps_attrs_parse(root().c_str()), 0);  // a folder reads as empty
}

TEST_F(AttrsTest, GettersServeTheirOwnTypeAndLogAMismatch) {
    const ps_attr* name = ps_attrs_get(&g_module_ps_base, "process_name");
    const ps_attr* pool = ps_attrs_get(&g_module_ps_base, "thread_pool_num");
    ASSERT_NE(name, nullptr);
    ASSERT_NE(pool, nullptr);
    EXPECT_STREQ(ps_get_s_attr(pool), "");
    EXPECT_TRUE(logged("PS Unmathed entry type 1 != 3"));
    (void)ps_get_i_attr(name);
    EXPECT_TRUE(logged("PS Unmathed entry type 3 != 1"));
    EXPECT_EQ(ps_attrs_get(nullptr, "x"), nullptr);
    EXPECT_EQ(ps_attrs_get(&ps_test::g_twin, "process_name"), nullptr);
    EXPECT_EQ(ps_attrs_get(&g_module_ps_base, nullptr), nullptr);
    EXPECT_EQ(ps_attrs_get(&g_module_ps_base, "thread_strategy_background"), nullptr);
    EXPECT_NE(ps_attrs_get(&g_module_ps_base, "thread_strategy_backgroud"), nullptr);
}

TEST_F(AttrsTest, TheBaseTableIsCompleteAndInOrder) {
    const char* names[] = {"process_name", "mlockall", "nopreempt", "thread_pool_num", "log_output_dir",
                           "thread_strategy_default", "thread_strategy_critical", "thread_strategy_ctrl",
                           "thread_strategy_manage", "thread_strategy_io", "thread_strategy_backgroud"};
    const uint32_t types[] = {3, 1, 1, 1, 3, 3, 3, 3, 3, 3, 3};
    const uint32_t sizes[] = {32, 0, 0, 0, 256, 320, 320, 320, 320, 320, 320};
    size_t i = 0;
    for (const ps_attr* row = ps_base_attr_table; row->name != nullptr && row->name[0] != '\0'; ++row, ++i) {
        ASSERT_LT(i, std::size(names));
        EXPECT_STREQ(row->name, names[i]);
        EXPECT_EQ(row->type, types[i]);
        EXPECT_EQ(row->size, sizes[i]);
        EXPECT_EQ(row->reserved, nullptr);
        EXPECT_NE(row->print, nullptr);
    }
    EXPECT_EQ(i, std::size(names));
}

}  // namespace
