#pragma once
// The domain join state of each tenant.
//
// A join or leave is accepted at once and then "runs" for a fixed time: the
// state is 2 (join running) or 3 (leave running) until it is due, then
// becomes 1 (joined) or 0 (not joined) with the outcome's error code. The
// outcome is decided when the operation is accepted, from the directory:
//   - the tenant's domain is its "fqdn" configuration pair, or the first
//     domain of the directory when the tenant has none; an unknown domain
//     ends in 0 with -5050;
//   - the account ("name", "DOMAIN\name" or "name@fqdn") must be a user of
//     that domain with the right to join computers and the given password:
//     an unknown account or a wrong password ends in 0 with -5014, an
//     account without the right in 0 with -5019.
// A leave always succeeds. Progress is computed when the state is read, from
// a due time kept in the database, so it survives a restart of the process.
#include <cstdint>
#include <string>

#include "sim_conf_store.h"
#include "sim_db.h"
#include "sim_directory.h"

namespace tvn::sim {

enum join_state_value : uint32_t {
    JOIN_STATE_NOT_JOINED = 0,
    JOIN_STATE_JOINED = 1,
    JOIN_STATE_JOINING = 2,
    JOIN_STATE_LEAVING = 3,
};

struct join_status {
    uint32_t state = JOIN_STATE_NOT_JOINED;
    int32_t errcode = 0;
    std::string account;
    std::string fqdn;
    uint64_t version = 0;
};

// Milliseconds of wall-clock time (the due time must mean something after a
// restart); tests substitute their own.
using sim_clock_fn = int64_t (*)();
int64_t sim_wall_clock_ms();

class join_machine {
public:
    join_machine(sim_db& db, directory& dir, conf_store& conf, uint32_t run_ms,
                 sim_clock_fn clock = sim_wall_clock_ms)
        : db_(db), dir_(dir), conf_(conf), run_ms_(run_ms), clock_(clock) {}

    // 0 when accepted; -5057 while an operation runs; -5077 when already
    // joined; SIM_ERR_IO.
    int32_t start_join(uint32_t tenant_id, const std::string& account,
                       const std::string& password);
    // 0 when accepted; -5057 while an operation runs; -5026 when not joined.
    int32_t start_leave(uint32_t tenant_id, const std::string& account);
    // The state now (finishing an operation that is due). SIM_ERR_IO or 0.
    int32_t state(uint32_t tenant_id, join_status& out);
    // Time an operation takes.
    uint32_t run_ms() const { return run_ms_; }

    // The outcome a join with these credentials would have (0 or a join
    // error code) and the domain it would join.
    int32_t judge(uint32_t tenant_id, const std::string& account, const std::string& password,
                  std::string& fqdn);

private:
    int32_t start(uint32_t tenant_id, bool join, const std::string& account,
                  const std::string& fqdn, int32_t outcome);
    // Under the open transaction: finishes a due operation; reads the row.
    int32_t advance(uint32_t tenant_id, join_status& out, bool& finished_with_error);

    sim_db& db_;
    directory& dir_;
    conf_store& conf_;
    const uint32_t run_ms_;
    const sim_clock_fn clock_;
};

}  // namespace tvn::sim
