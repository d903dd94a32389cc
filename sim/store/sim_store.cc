#include "sim_store.h"

#include "sim_result.h"
#include "sim_seed.h"

namespace tvn::sim {

int32_t sim_store::open(const sim_store_options& options, std::string& err) {
    int32_t rc = db.open(options.db_path, options.durable, err);
    if (rc != SIM_OK) return rc;
    if (!options.no_seed) {
        rc = ensure_seed(db, options.seed_file, seeded_now_, err);
        if (rc != SIM_OK) {
            db.close();
            return rc;
        }
    }
    join = std::make_unique<join_machine>(db, dir, conf, options.join_ms, options.clock);
    return SIM_OK;
}

}  // namespace tvn::sim
