#include "common/tvn_query_cond.h"

#include <gtest/gtest.h>

namespace {

using tvn::query_filter;

struct filter_case {
    const char* text;
    int32_t rc;
    query_filter want;
    const char* bad_key = "";
};

TEST(QueryCondFilter, ParsesOrFailsEveryForm) {
    const filter_case cases[] = {
        {R"({"SHAREPATH": "/fs1/a", "FSID": "7"})", 0, {{"SHAREPATH", "/fs1/a"}, {"FSID", "7"}}},
        // Members keep the order in which they were sent.
        {R"({"FSID": "7", "DESCRIPTION": "x", "ID": "3"})", 0, {{"FSID", "7"}, {"DESCRIPTION", "x"}, {"ID", "3"}}},
        {R"({"FSID": 7})", 0, {{"FSID", "7"}}},
        {R"({"FSID": 18446744073709551615})", 0, {{"FSID", "18446744073709551615"}}},
        {R"({"FSID": -3})", 0, {{"FSID", "-3"}}},
        {R"({"NAME": ""})", 0, {{"NAME", ""}}},
        {R"({})", 0, {}},
        {R"(  {"NAME" : "a b"}  )", 0, {{"NAME", "a b"}}},
        {R"({"FSID": 1.5})", tvn::QUERY_COND_MALFORMED, {}, "FSID"},
        {R"({"FSID": true})", tvn::QUERY_COND_MALFORMED, {}, "FSID"},
        {R"({"FSID": null})", tvn::QUERY_COND_MALFORMED, {}, "FSID"},
        {R"({"FSID": ["7"]})", tvn::QUERY_COND_MALFORMED, {}, "FSID"},
        {R"({"FSID": {"v": "7"}})", tvn::QUERY_COND_MALFORMED, {}, "FSID"},
        {R"({"FSID": "7", "FSID": "8"})", tvn::QUERY_COND_MALFORMED, {}, "FSID"},
        {R"(["FSID", "7"])", tvn::QUERY_COND_MALFORMED, {}},
        {R"("FSID")", tvn::QUERY_COND_MALFORMED, {}},
        {R"(7)", tvn::QUERY_COND_MALFORMED, {}},
        {"", tvn::QUERY_COND_MALFORMED, {}},
        {"{", tvn::QUERY_COND_MALFORMED, {}},
        {R"({"FSID": "7"} trailing)", tvn::QUERY_COND_MALFORMED, {}},
        {R"({"FSID": "7",})", tvn::QUERY_COND_MALFORMED, {}},
        {R"({'FSID': '7'})", tvn::QUERY_COND_MALFORMED, {}},
        {"{\"FSID\": \"\xff\xfe\"}", tvn::QUERY_COND_MALFORMED, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        query_filter got{{"stale", "entry"}};
        tvn::query_cond_error err;
        EXPECT_EQ(tvn::parse_query_filter(c.text, got, &err), c.rc);
        if (c.rc == 0) {
            EXPECT_EQ(got, c.want);
        } else {
            EXPECT_EQ(err.key, c.bad_key);
            EXPECT_FALSE(err.reason.empty());
            // A failed parse leaves the caller's conditions alone.
            EXPECT_EQ(got, (query_filter{{"stale", "entry"}}));
        }
    }
}

TEST(QueryCondFilter, KeyOutsideTheCommandsListIsUnknownCondition) {
    struct {
        const char* text;
        int32_t rc;
        const char* bad_key;
    } const cases[] = {
        {R"({"SHAREPATH": "/a", "FSID": "7"})", 0, ""},
        {R"({"SHAREPATH": "/a", "OWNER": "x"})", tvn::QUERY_COND_UNKNOWN_KEY, "OWNER"},
        // Keys are compared exactly.
        {R"({"sharepath": "/a"})", tvn::QUERY_COND_UNKNOWN_KEY, "sharepath"},
        // A malformed text is reported as such even when a key is unknown too.
        {R"({"OWNER": 1.5})", tvn::QUERY_COND_MALFORMED, "OWNER"},
        {R"({"OWNER": "x")", tvn::QUERY_COND_MALFORMED, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        query_filter got;
        tvn::query_cond_error err;
        EXPECT_EQ(tvn::parse_query_filter(c.text, {"SHAREPATH", "FSID", "ID"}, got, &err), c.rc);
        EXPECT_EQ(err.key, c.bad_key);
    }
}

TEST(QueryCondRange, OffsetAndLimitExactlyWithinUnsigned32) {
    struct {
        const char* text;
        int32_t rc;
        uint32_t offset, limit;
    } const cases[] = {
        {R"({"offset": 0, "limit": 100})", 0, 0, 100},
        {R"({"limit": 5, "offset": 10})", 0, 10, 5},
        {R"({"offset": 4294967295, "limit": 4294967295})", 0, 4294967295u, 4294967295u},
        {R"({"offset": 0, "limit": 0})", 0, 0, 0},
        {R"({"offset": 4294967296, "limit": 1})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"offset": -1, "limit": 1})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"offset": 1.0, "limit": 1})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"offset": "0", "limit": 1})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"offset": true, "limit": 1})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"offset": 0})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"limit": 0})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"offset": 0, "limit": 1, "page": 2})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"offset": 0, "limit": 1, "offset": 2})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"({"Offset": 0, "limit": 1})", tvn::QUERY_COND_MALFORMED, 0, 0},
        {R"([0, 100])", tvn::QUERY_COND_MALFORMED, 0, 0},
        {"offset=0", tvn::QUERY_COND_MALFORMED, 0, 0},
        {"", tvn::QUERY_COND_MALFORMED, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        tvn::query_range got{7, 7};
        EXPECT_EQ(tvn::parse_query_range(c.text, got), c.rc);
        if (c.rc == 0) {
            EXPECT_EQ(got.offset, c.offset);
            EXPECT_EQ(got.limit, c.limit);
        } else {
            EXPECT_EQ(got.offset, 7u);
            EXPECT_EQ(got.limit, 7u);
        }
    }
}

TEST(QueryCondSort, OnlySortTypeOneIsDescending) {
    struct {
        const char* text;
        int32_t rc;
        const char* key;
        bool descending;
    } const cases[] = {
        {R"({"sortKey": "ID", "sortType": 1})", 0, "ID", true},
        {R"({"sortKey": "ID", "sortType": 0})", 0, "ID", false},
        {R"({"sortKey": "ID", "sortType": 2})", 0, "ID", false},
        {R"({"sortKey": "ID", "sortType": -1})", 0, "ID", false},
        {R"({"sortKey": "ID", "sortType": 4294967297})", 0, "ID", false},
        {R"({"sortKey": "SHAREPATH"})", 0, "SHAREPATH", false},
        {R"({"sortType": 1, "sortKey": "ID"})", 0, "ID", true},
        {R"({"sortKey": "ID", "sortType": "1"})", tvn::QUERY_COND_MALFORMED, "", false},
        {R"({"sortKey": "ID", "sortType": 1.0})", tvn::QUERY_COND_MALFORMED, "", false},
        {R"({"sortKey": 3})", tvn::QUERY_COND_MALFORMED, "", false},
        {R"({"sortType": 1})", tvn::QUERY_COND_MALFORMED, "", false},
        {R"({"sortKey": "ID", "order": "desc"})", tvn::QUERY_COND_MALFORMED, "", false},
        {R"({"sortKey": "ID", "sortKey": "NAME"})", tvn::QUERY_COND_MALFORMED, "", false},
        {R"("ID")", tvn::QUERY_COND_MALFORMED, "", false},
        {"", tvn::QUERY_COND_MALFORMED, "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        tvn::query_sort got{"untouched", true};
        EXPECT_EQ(tvn::parse_query_sort(c.text, got), c.rc);
        if (c.rc == 0) {
            EXPECT_EQ(got.key, c.key);
            EXPECT_EQ(got.descending, c.descending);
        } else {
            EXPECT_EQ(got.key, "untouched");
        }
    }
}

// The texts tvn_om builds must read back as what it meant.
TEST(QueryCondMake, BuiltTextsParseBackUnchanged) {
    query_filter filter{{"SHAREPATH", "/fs1/\"quoted\"\\dir"}, {"FSID", "7"}};
    query_filter got_filter;
    ASSERT_EQ(tvn::parse_query_filter(tvn::make_query_filter(filter), got_filter), 0);
    EXPECT_EQ(got_filter, filter);

    for (bool descending : {false, true}) {
        tvn::query_sort got_sort;
        ASSERT_EQ(tvn::parse_query_sort(tvn::make_query_sort({"ID", descending}), got_sort), 0);
        EXPECT_EQ(got_sort.key, "ID");
        EXPECT_EQ(got_sort.descending, descending);
    }

    tvn::query_range got_range;
    ASSERT_EQ(tvn::parse_query_range(tvn::make_query_range({0, 4294967295u}), got_range), 0);
    EXPECT_EQ(got_range.offset, 0u);
    EXPECT_EQ(got_range.limit, 4294967295u);
}

}  // namespace
