#pragma once
// Seed data: the file systems, tenants, controllers, interfaces, AD
// directory, hosts and netgroups the stand-ins start with. Written on the
// first start of an empty database; a seed file (same JSON layout as
// default_seed_json()) replaces it. Applying a seed replaces those tables
// only: shares, permissions, configuration pairs and join states stay.
#include <cstdint>
#include <string>

#include "sim_db.h"

namespace tvn::sim {

// The built-in seed, as JSON text.
const std::string& default_seed_json();

// Validates and writes a seed in one transaction. 0, SIM_ERR_INVALID (with
// the offending member named in `err`) or SIM_ERR_IO.
int32_t apply_seed(sim_db& db, const std::string& json_text, std::string& err);

// Seeds the database unless it was seeded before: with the file when
// `seed_file` is not empty (a file given is applied even to a database
// seeded before), else with the built-in seed. `applied` tells whether a
// seed was written.
int32_t ensure_seed(sim_db& db, const std::string& seed_file, bool& applied, std::string& err);

}  // namespace tvn::sim
