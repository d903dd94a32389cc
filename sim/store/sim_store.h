#pragma once
// Everything the stand-ins keep, behind one open database.
#include <cstdint>
#include <memory>
#include <string>

#include "sim_conf_store.h"
#include "sim_db.h"
#include "sim_directory.h"
#include "sim_inventory.h"
#include "sim_join.h"
#include "sim_nfs_store.h"

namespace tvn::sim {

struct sim_store_options {
    std::string db_path;       // the database file
    bool durable = false;      // fsync each commit (survive a power cut too)
    std::string seed_file;     // replaces the built-in seed when set
    bool no_seed = false;      // start with empty seed tables
    uint32_t join_ms = 1000;   // how long a join or leave runs
    sim_clock_fn clock = sim_wall_clock_ms;
};

class sim_store {
public:
    sim_store() = default;
    sim_store(const sim_store&) = delete;
    sim_store& operator=(const sim_store&) = delete;

    // Opens, migrates and seeds. 0, or a code of sim_result.h with `err`.
    int32_t open(const sim_store_options& options, std::string& err);
    // Whether open() wrote a seed (first start, or a seed file given).
    bool seeded_now() const { return seeded_now_; }

    sim_db db;
    nfs_store nfs{db};
    conf_store conf{db};
    directory dir{db};
    inventory inv{db};
    std::unique_ptr<join_machine> join;

private:
    bool seeded_now_ = false;
};

}  // namespace tvn::sim
