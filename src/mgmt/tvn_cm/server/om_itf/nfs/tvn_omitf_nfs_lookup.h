#pragma once
// What the NFS commands ask other daemons besides their own store call:
// a share or permission by name (store), a file system by name (kernel
// agent) and whether a client's host name resolves (lookup service).
#include <cstdint>
#include <memory>
#include <string>

#include "common/tvn_omitf_items.h"
#include "tvn_log.h"

class tvn_store_nfs_api;

namespace tvn_nfs {

inline constexpr unsigned NFS_STORE_TIMEOUT_MS = 30000;
inline constexpr unsigned NFS_READ_TIMEOUT_MS = 10000;

using tvn_omitf::rpc_timeout_ms;

// One store client for one command, on 127.0.0.1; nullptr when it cannot
// be allocated.
std::unique_ptr<tvn_store_nfs_api> new_store_api();

// The share of a name within a tenant. 0, or NFS_ERR_SHARE_NAME for any
// failure (transport, store verdict, or an answer without an id).
int32_t share_id_by_name(const tvn::log_here& here, tvn_store_nfs_api& api, uint32_t tenant, const std::string& name,
                         uint64_t& share_id);

// The permission of a client on a share. 0, or NFS_ERR_SHARE_ID.
int32_t auth_id_by_access_name(const tvn::log_here& here, tvn_store_nfs_api& api, uint32_t tenant, uint64_t share_id,
                               const std::string& access_name, uint64_t& auth_id);

// The file system of a name within a tenant, asked of the kernel agent as
// its "fs" module command "get_fsid_by_name" with the value
// "<tenant>:<name>"; the answer's value is the decimal id. 0, or the
// transport's or the kernel agent's own code (the caller maps it with
// NfsConvertErrorCode).
int32_t fsid_by_name(const tvn::log_here& here, uint32_t tenant, const std::string& name, uint64_t& fsid);

// Whether a host name resolves within a tenant (lookup service). 0 when it
// resolves to at least one address, else the transport's or the lookup's
// code (-2 when it answered without an address).
int32_t host_resolves(uint32_t tenant, const std::string& name);

}  // namespace tvn_nfs
