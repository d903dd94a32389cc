#pragma once
// Result codes of the stand-in daemons. They travel in the replies' own
// result fields; the service hands them to the operator unchanged, so they
// are kept few and stable (negative errno values where one fits).
#include <cstdint>

namespace tvn::sim {

enum sim_result : int32_t {
    SIM_OK = 0,
    SIM_ERR_NOT_FOUND = -2,       // no such record
    SIM_ERR_IO = -5,              // the database failed; nothing was changed
    SIM_ERR_NOMEM = -6,
    SIM_ERR_ACCESS = -13,         // the record belongs to another tenant
    SIM_ERR_BUSY = -16,           // another operation on the same object runs
    SIM_ERR_EXIST = -17,          // duplicate (same tenant and path, name, ...)
    SIM_ERR_INVALID = -22,        // a field of the request is not acceptable
    SIM_ERR_NOT_SUPPORTED = -95,  // the stand-in does not offer this call
    SIM_ERR_UNREACHABLE = -113,   // a connectivity check found no such peer

    // Domain join outcomes, in the authentication daemon's own range.
    SIM_JOIN_BAD_CREDENTIALS = -5014,   // unknown account or wrong password
    SIM_JOIN_NO_RIGHT = -5019,          // the account may not join computers
    SIM_JOIN_NOT_JOINED = -5026,        // leave asked while not joined
    SIM_JOIN_NO_DOMAIN = -5050,         // the configured domain is unknown
    SIM_JOIN_IN_PROGRESS = -5057,       // a join or leave is running
    SIM_JOIN_ALREADY_JOINED = -5077,    // join asked while joined
};

}  // namespace tvn::sim
