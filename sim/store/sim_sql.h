#pragma once
// Small helpers of the store's statements: a WHERE clause with its bound
// values, kept in step (lists with optional filters), and the code and text
// a store call ends with.
#include <cstdint>
#include <string>
#include <vector>

#include "sim_db.h"
#include "sim_result.h"

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

// A call that failed in the database: SIM_ERR_IO with the database's
// message in `desc`, after "database error while <what>: " when `what` is
// given.
inline int32_t io_failure(sim_db& db, std::string& desc) {
    desc = db.errmsg();
    return SIM_ERR_IO;
}
inline int32_t io_failure(sim_db& db, const char* what, std::string& desc) {
    desc = std::string("database error while ") + what + ": " + db.errmsg();
    return SIM_ERR_IO;
}

// A call that did what it was asked.
inline int32_t success(std::string& desc) {
    desc = "success";
    return SIM_OK;
}

// Runs a prepared statement once per element of `items`, `bind` binding the
// element's parameters (it returns the statement). False at the first run
// that fails.
template <class Items, class Bind>
bool run_each(sim_stmt& st, const Items& items, Bind bind) {
    for (const auto& item : items) {
        st.reset();
        if (bind(st, item).run() != SQLITE_DONE) return false;
    }
    return true;
}

// An identifier of all ones (and, for store-assigned identifiers, 0) is the
// callers' way of saying "any".
inline bool is_any_id(uint64_t id) { return id == 0 || id == UINT64_MAX; }

}  // namespace tvn::sim
