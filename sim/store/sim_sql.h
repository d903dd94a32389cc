#pragma once
// Small helpers for statements assembled at run time (lists with optional
// filters): a WHERE clause with its bound values, kept in step.
#include <cstdint>
#include <string>
#include <vector>

#include "sim_db.h"

namespace tvn::sim {

class sql_where {
public:
    // Appends "AND (clause)"; the clause's '?' take `values` in order.
    template <class... V>
    sql_where& add(const std::string& clause, V&&... values) {
        if (!sql_.empty()) sql_ += " AND ";
        sql_ += '(';
        sql_ += clause;
        sql_ += ')';
        (push(std::forward<V>(values)), ...);
        return *this;
    }
    // " WHERE ..." or "".
    std::string sql() const { return sql_.empty() ? std::string() : " WHERE " + sql_; }
    std::vector<sql_value>& values() { return values_; }
    const std::vector<sql_value>& values() const { return values_; }
    template <class V>
    void push(V&& v) {
        if constexpr (std::is_integral_v<std::decay_t<V>>)
            values_.emplace_back(static_cast<int64_t>(v));
        else
            values_.emplace_back(std::string(std::forward<V>(v)));
    }

private:
    std::string sql_;
    std::vector<sql_value> values_;
};

// An identifier of all ones (and, for store-assigned identifiers, 0) is the
// callers' way of saying "any".
inline bool is_any_id(uint64_t id) { return id == 0 || id == UINT64_MAX; }

}  // namespace tvn::sim
