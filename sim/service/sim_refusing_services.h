#pragma once
// Store services that share the daemon's endpoint but whose data the
// stand-in does not keep: every call is answered "not supported" (-95)
// rather than left to time out.
#include "sim_service_base.h"
#include "talvane_store_cifs.pb.h"

namespace tvn::sim {

using sim_cifs_store_service = sim_service<tvn_store_cifs_service>;

}  // namespace tvn::sim
