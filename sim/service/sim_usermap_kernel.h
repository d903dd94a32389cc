#pragma once
// The kernel channels of the user-mapping commands, as the kernel agent
// answers them through kagent_pum:
//
//   module "usermap_cache", command "appdata", value: the 280-byte cache
//   request as hexadecimal text (tenant u32, selector u32, rule id u64,
//   uid u64, SID text of 256 bytes, host byte order). Selectors 0-3 clear
//   all of the tenant's, by rule, by uid, by SID and answer the number
//   dropped; 4 and 5 show the entry of a SID or uid as "key=value" lines
//   (rule, win, sid, unix, uid), -2 when nothing is cached.
//
//   module "secdesc", command "ShowSecurityDescInfo", value: a command
//   string, fields joined with '|' (a '|', ';' or ' ' inside a field is
//   escaped with a backslash):
//     getacl|TENANT|FSID|PATH|OFFSET|COUNT|NAMES|TYPE
//     getperm|TENANT|FSID|USERTYPE|USER|PATH
//   The path is a path inside the file system's folder, $TVN_SYSROOT/fs/
//   <file system name>; the answer reads that file's owner, group, mode and
//   POSIX ACL. -2 for an unknown file system, file or user, -22 for a
//   malformed string.
#include "sim_store.h"
#include "talvane_kagent.pb.h"

namespace tvn::sim {

// True when the request was one of these channels' (and is answered).
bool usermap_kernel_answer(sim_store& store, const tvn_ka_pum_req& req, tvn_ka_pum_rsp* rsp);

}  // namespace tvn::sim
