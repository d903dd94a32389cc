#include "sim_join.h"

#include <fmt/format.h>

#include <chrono>
#include <ctime>

#include "sim_result.h"

namespace tvn::sim {

int64_t sim_wall_clock_ms() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

namespace {

std::string iso_time(int64_t ms) {
    std::time_t secs = static_cast<std::time_t>(ms / 1000);
    std::tm tm{};
    gmtime_r(&secs, &tm);
    char buf[32];
    std::strftime(buf, sizeof(buf), "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buf;
}

const char* outcome_text(int32_t code) {
    switch (code) {
        case SIM_JOIN_BAD_CREDENTIALS: return "unknown account or wrong password";
        case SIM_JOIN_NO_RIGHT: return "account may not join computers to the domain";
        case SIM_JOIN_NO_DOMAIN: return "domain not found";
        default: return "join failed";
    }
}

}  // namespace

int32_t join_machine::judge(uint32_t tenant_id, const std::string& account,
                            const std::string& password, std::string& fqdn) {
    std::string configured = conf_.tenant_value(tenant_id, "fqdn");
    std::optional<domain_rec> dom =
        configured.empty() ? dir_.first_domain() : dir_.domain_by_name(configured);
    fqdn = dom ? dom->fqdn : configured;
    if (!dom) return SIM_JOIN_NO_DOMAIN;
    // A bare account name is looked for in the joined domain.
    const std::string qualified =
        account.find('\\') == std::string::npos && account.find('@') == std::string::npos
            ? dom->nbname + "\\" + account
            : account;
    auto acc = dir_.account_by_name(qualified, account_scope::domain, false);
    if (!acc || acc->indom != dom->indom || acc->password != password)
        return SIM_JOIN_BAD_CREDENTIALS;
    if (!acc->can_join) return SIM_JOIN_NO_RIGHT;
    return SIM_OK;
}

int32_t join_machine::start_join(uint32_t tenant_id, const std::string& account,
                                 const std::string& password) {
    std::string fqdn;
    const int32_t outcome = judge(tenant_id, account, password, fqdn);
    return start(tenant_id, true, account, fqdn, outcome);
}

int32_t join_machine::start_leave(uint32_t tenant_id, const std::string& account) {
    return start(tenant_id, false, account, {}, SIM_OK);
}

int32_t join_machine::start(uint32_t tenant_id, bool join, const std::string& account,
                            const std::string& fqdn, int32_t outcome) {
    sim_txn tx(db_);
    if (!tx.ok()) return SIM_ERR_IO;
    join_status now;
    bool failed = false;
    if (int32_t rc = advance(tenant_id, now, failed); rc != SIM_OK) return rc;
    if (now.state == JOIN_STATE_JOINING || now.state == JOIN_STATE_LEAVING)
        return SIM_JOIN_IN_PROGRESS;
    if (join && now.state == JOIN_STATE_JOINED) return SIM_JOIN_ALREADY_JOINED;
    if (!join && now.state != JOIN_STATE_JOINED) return SIM_JOIN_NOT_JOINED;

    const uint32_t target =
        join && outcome == SIM_OK ? JOIN_STATE_JOINED : JOIN_STATE_NOT_JOINED;
    sim_stmt st = db_.prepare(
        "INSERT INTO join_state(tenant_id, state, errcode, account, fqdn, version, target_state, "
        "target_errcode, due_ms) VALUES(?1, ?2, ?3, ?4, ?5, 0, ?6, ?7, ?8) "
        "ON CONFLICT(tenant_id) DO UPDATE SET state = ?2, errcode = ?3, account = ?4, "
        "fqdn = CASE WHEN ?5 = '' THEN fqdn ELSE ?5 END, target_state = ?6, "
        "target_errcode = ?7, due_ms = ?8");
    if (!st) return SIM_ERR_IO;
    st.bind(1, tenant_id)
        .bind(2, static_cast<uint32_t>(join ? JOIN_STATE_JOINING : JOIN_STATE_LEAVING))
        .bind(3, 0)
        .bind(4, account)
        .bind(5, fqdn)
        .bind(6, target)
        .bind(7, outcome)
        .bind(8, clock_() + static_cast<int64_t>(run_ms_));
    if (st.run() != SQLITE_DONE) return SIM_ERR_IO;
    return tx.commit();
}

int32_t join_machine::advance(uint32_t tenant_id, join_status& out, bool& finished_with_error) {
    finished_with_error = false;
    sim_stmt sel = db_.prepare(
        "SELECT state, errcode, account, fqdn, version, target_state, target_errcode, due_ms "
        "FROM join_state WHERE tenant_id = ?");
    if (!sel) return SIM_ERR_IO;
    int rc = sel.bind(1, tenant_id).step();
    if (rc == SQLITE_DONE) {
        out = join_status{};
        return SIM_OK;
    }
    if (rc != SQLITE_ROW) return SIM_ERR_IO;
    out.state = sel.u32(0);
    out.errcode = sel.i32(1);
    out.account = sel.text(2);
    out.fqdn = sel.text(3);
    out.version = sel.u64(4);
    const uint32_t target = sel.u32(5);
    const int32_t target_err = sel.i32(6);
    const int64_t due = sel.i64(7);
    const bool running = out.state == JOIN_STATE_JOINING || out.state == JOIN_STATE_LEAVING;
    if (!running || clock_() < due) return SIM_OK;

    sim_stmt upd = db_.prepare(
        "UPDATE join_state SET state = ?, errcode = ?, version = version + 1, due_ms = 0 "
        "WHERE tenant_id = ?");
    if (!upd || upd.bind(1, target).bind(2, target_err).bind(3, tenant_id).run() != SQLITE_DONE)
        return SIM_ERR_IO;
    out.state = target;
    out.errcode = target_err;
    out.version += 1;
    if (target_err != SIM_OK) {
        // The refusal is what the diagnose service reports afterwards.
        finished_with_error = true;
        sim_stmt ev = db_.prepare(
            "INSERT INTO auth_event(tenant_id, domain_type, occur_time, user_name, error_code, "
            "error_msg) VALUES(?, 1, ?, ?, ?, ?)");
        if (!ev || ev.bind(1, tenant_id)
                           .bind(2, iso_time(clock_()))
                           .bind(3, out.account)
                           .bind(4, target_err)
                           .bind(5, fmt::format("join {} failed: {}", out.fqdn,
                                                outcome_text(target_err)))
                           .run() != SQLITE_DONE)
            return SIM_ERR_IO;
    }
    return SIM_OK;
}

int32_t join_machine::state(uint32_t tenant_id, join_status& out) {
    sim_txn tx(db_);
    if (!tx.ok()) return SIM_ERR_IO;
    bool failed = false;
    if (int32_t rc = advance(tenant_id, out, failed); rc != SIM_OK) return rc;
    return tx.commit();
}

}  // namespace tvn::sim
