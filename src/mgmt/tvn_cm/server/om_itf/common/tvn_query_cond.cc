#include "tvn_query_cond.h"

#include <algorithm>
#include <set>

#include <nlohmann/json.hpp>

namespace tvn {

namespace {

using json = nlohmann::ordered_json;

int32_t fail(query_cond_error* err, int32_t code, std::string reason, std::string key = {}) {
    if (err != nullptr) {
        err->reason = std::move(reason);
        err->key = std::move(key);
    }
    return code;
}

// Parses text that must be one JSON object. A member named twice is refused:
// the plain parser would silently keep the last one, and a condition that
// says two things is not one the operator meant.
int32_t parse_object(std::string_view text, json& out, query_cond_error* err) {
    std::set<std::string> seen;
    bool repeated = false;
    std::string repeated_key;
    json::parser_callback_t cb = [&](int depth, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::key && depth == 1 && parsed.is_string()) {
            const auto& key = parsed.get_ref<const std::string&>();
            if (!seen.insert(key).second && !repeated) {
                repeated = true;
                repeated_key = key;
            }
        }
        return true;
    };
    out = json::parse(text.begin(), text.end(), cb, /*allow_exceptions=*/false);
    if (out.is_discarded()) return fail(err, QUERY_COND_MALFORMED, "not JSON");
    if (!out.is_object()) return fail(err, QUERY_COND_MALFORMED, "not an object");
    if (repeated) return fail(err, QUERY_COND_MALFORMED, "member repeated", repeated_key);
    return QUERY_COND_OK;
}

// An integer member from 0 to 4294967295.
bool get_u32(const json& value, uint32_t& out) {
    if (value.is_number_unsigned()) {
        auto v = value.get<uint64_t>();
        if (v > UINT32_MAX) return false;
        out = static_cast<uint32_t>(v);
        return true;
    }
    if (value.is_number_integer()) {  // signed: only non-negative values fit
        auto v = value.get<int64_t>();
        if (v < 0 || v > static_cast<int64_t>(UINT32_MAX)) return false;
        out = static_cast<uint32_t>(v);
        return true;
    }
    return false;
}

}  // namespace

int32_t parse_query_filter(std::string_view text, query_filter& out, query_cond_error* err) {
    json doc;
    if (int32_t rc = parse_object(text, doc, err); rc != QUERY_COND_OK) return rc;
    query_filter filter;
    filter.reserve(doc.size());
    for (auto it = doc.begin(); it != doc.end(); ++it) {
        const json& value = it.value();
        if (value.is_string()) {
            filter.emplace_back(it.key(), value.get<std::string>());
        } else if (value.is_number_unsigned()) {
            filter.emplace_back(it.key(), std::to_string(value.get<uint64_t>()));
        } else if (value.is_number_integer()) {
            filter.emplace_back(it.key(), std::to_string(value.get<int64_t>()));
        } else {
            // Fractions, booleans, null, arrays and objects have no single
            // text a condition could compare with.
            return fail(err, QUERY_COND_MALFORMED, "value is not a string or whole number", it.key());
        }
    }
    out = std::move(filter);
    return QUERY_COND_OK;
}

int32_t parse_query_filter(std::string_view text, std::initializer_list<std::string_view> known_keys,
                           query_filter& out, query_cond_error* err) {
    query_filter filter;
    if (int32_t rc = parse_query_filter(text, filter, err); rc != QUERY_COND_OK) return rc;
    for (const auto& [key, value] : filter) {
        if (std::find(known_keys.begin(), known_keys.end(), key) == known_keys.end())
            return fail(err, QUERY_COND_UNKNOWN_KEY, "unknown condition", key);
    }
    out = std::move(filter);
    return QUERY_COND_OK;
}

int32_t parse_query_sort(std::string_view text, query_sort& out, query_cond_error* err) {
    json doc;
    if (int32_t rc = parse_object(text, doc, err); rc != QUERY_COND_OK) return rc;
    query_sort sort;
    bool have_key = false;
    for (auto it = doc.begin(); it != doc.end(); ++it) {
        const json& value = it.value();
        if (it.key() == "sortKey") {
            if (!value.is_string()) return fail(err, QUERY_COND_MALFORMED, "sortKey is not a string", it.key());
            sort.key = value.get<std::string>();
            have_key = true;
        } else if (it.key() == "sortType") {
            // Only 1 means descending; every other whole number is ascending.
            if (value.is_number_unsigned())
                sort.descending = value.get<uint64_t>() == 1;
            else if (value.is_number_integer())
                sort.descending = false;
            else
                return fail(err, QUERY_COND_MALFORMED, "sortType is not a whole number", it.key());
        } else {
            return fail(err, QUERY_COND_MALFORMED, "unknown member", it.key());
        }
    }
    if (!have_key) return fail(err, QUERY_COND_MALFORMED, "sortKey missing", "sortKey");
    out = std::move(sort);
    return QUERY_COND_OK;
}

int32_t parse_query_range(std::string_view text, query_range& out, query_cond_error* err) {
    json doc;
    if (int32_t rc = parse_object(text, doc, err); rc != QUERY_COND_OK) return rc;
    query_range range;
    bool have_offset = false;
    bool have_limit = false;
    for (auto it = doc.begin(); it != doc.end(); ++it) {
        if (it.key() == "offset") {
            if (!get_u32(it.value(), range.offset))
                return fail(err, QUERY_COND_MALFORMED, "offset is not an integer from 0 to 4294967295", it.key());
            have_offset = true;
        } else if (it.key() == "limit") {
            if (!get_u32(it.value(), range.limit))
                return fail(err, QUERY_COND_MALFORMED, "limit is not an integer from 0 to 4294967295", it.key());
            have_limit = true;
        } else {
            return fail(err, QUERY_COND_MALFORMED, "unknown member", it.key());
        }
    }
    if (!have_offset) return fail(err, QUERY_COND_MALFORMED, "offset missing", "offset");
    if (!have_limit) return fail(err, QUERY_COND_MALFORMED, "limit missing", "limit");
    out = range;
    return QUERY_COND_OK;
}

std::string make_query_filter(const query_filter& filter) {
    json doc = json::object();
    for (const auto& [key, value] : filter) doc[key] = value;
    return doc.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string make_query_sort(const query_sort& sort) {
    json doc = json::object();
    doc["sortKey"] = sort.key;
    if (sort.descending) doc["sortType"] = 1;
    return doc.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string make_query_range(const query_range& range) {
    json doc = json::object();
    doc["offset"] = range.offset;
    doc["limit"] = range.limit;
    return doc.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace tvn
