#pragma once
// Query conditions of the list and count commands. The management plane sends
// the filter, sort and range of a list as JSON texts in their own items:
//
//   filter  {"SHAREPATH": "/fs1/a", "FSID": "7"}   one member per condition,
//           the value a string (a whole number stands for its decimal text)
//   range   {"offset": 0, "limit": 100}           exactly these two members,
//           integers from 0 to 4294967295
//   sort    {"sortKey": "ID", "sortType": 1}      sortType 1 = descending,
//           any other integer or absent = ascending
//
// The parsers only judge the form of the text; each command decides what a
// failure means for it (its own error code for a malformed item, its
// "unknown condition" code for a filter key it does not know).
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tvn {

enum : int32_t {
    QUERY_COND_OK = 0,
    // Not JSON, not an object, a member of the wrong type, a missing or
    // unknown member of range or sort, a repeated member, a value out of range.
    QUERY_COND_MALFORMED = -1,
    // A filter key that is not in the command's list.
    QUERY_COND_UNKNOWN_KEY = -2,
};

// One filter condition: key and value text, in the order of the JSON text.
using query_filter = std::vector<std::pair<std::string, std::string>>;

struct query_sort {
    std::string key;
    bool descending = false;
};

struct query_range {
    uint32_t offset = 0;
    uint32_t limit = 0;
};

// Why a parse failed, for the command's log line: the offending key for
// QUERY_COND_UNKNOWN_KEY, a short reason otherwise.
struct query_cond_error {
    std::string key;
    std::string reason;
};

// Parses a filter. With known_keys given, a key outside that list ends the
// parse with QUERY_COND_UNKNOWN_KEY (the key is reported in err->key); keys
// are compared exactly (the management plane sends them in capitals).
int32_t parse_query_filter(std::string_view text, query_filter& out,
                           query_cond_error* err = nullptr);
int32_t parse_query_filter(std::string_view text, std::initializer_list<std::string_view> known_keys,
                           query_filter& out, query_cond_error* err = nullptr);

int32_t parse_query_sort(std::string_view text, query_sort& out, query_cond_error* err = nullptr);

int32_t parse_query_range(std::string_view text, query_range& out, query_cond_error* err = nullptr);

// The texts tvn_om and the tests send: the inverse of the parsers above.
std::string make_query_filter(const query_filter& filter);
std::string make_query_sort(const query_sort& sort);
std::string make_query_range(const query_range& range);

}  // namespace tvn
