#pragma once
// Store services that share the daemon's endpoint but whose data the
// stand-in does not keep: every call is answered "not supported" (-95)
// rather than left to time out.
#include "sim_service_base.h"
#include "talvane_store_cifs.pb.h"
#include "talvane_store_user_mapping.pb.h"
#include "vstore_windows_user.pb.h"

namespace tvn::sim {

using sim_cifs_store_service = sim_service<tvn_store_cifs_service>;
using sim_user_mapping_store_service = sim_service<tvn_store_user_mapping_service>;
using sim_windows_user_store_service = sim_service<TvnStoreWindowsUserMgmtService>;

}  // namespace tvn::sim
