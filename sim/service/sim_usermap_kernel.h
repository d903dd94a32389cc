#pragma once
// The kernel channels of the user-mapping commands, answered by the kernel
// agent's channel dispatch:
//
//   "appdata": the 280-byte cache request (tenant u32, selector u32, rule
//   id u64, uid u64, SID text of 256 bytes, host byte order). Selectors 0-3 clear
//   all of the tenant's, by rule, by uid, by SID and answer the number
//   dropped; 4 and 5 show the entry of a SID or uid as "key=value" lines
//   (rule, win, sid, unix, uid), -2 when nothing is cached.
//
//   "ShowSecurityDescInfo": a command string, fields joined with '|' (a
//   '|', ';' or ' ' inside a field is escaped with a backslash):
//     getacl|TENANT|FSID|PATH|OFFSET|COUNT|NAMES|TYPE
//     getperm|TENANT|FSID|USERTYPE|USER|PATH
//   The path is a path inside the file system's folder, $TVN_SYSROOT/fs/
//   <file system name>; the answer reads that file's owner, group, mode and
//   POSIX ACL. -2 for an unknown file system, file or user, -22 for a
//   malformed string.
#include <cstdint>
#include <string>

#include "sim_store.h"

namespace tvn::sim {

int32_t usermap_cache_channel(sim_store& store, const std::string& request, std::string& reply);
int32_t security_desc_channel(sim_store& store, const std::string& request, std::string& reply);

}  // namespace tvn::sim
