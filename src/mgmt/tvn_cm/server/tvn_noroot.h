#pragma once
// Privilege module: drops root for the unprivileged user
// "VantorProtocolUser" when the node asks for it, keeping only the
// capabilities the service needs.
//
// The drop is wanted when /KSD/conf/unroot_flag exists; NeedUnroot can veto
// it from the universal configuration, section "UNROOT" of
// /KSD/conf/tvn_cm/product.ini:
//   unroot=0       keep root ("Universal config no unroot, current key:0.")
//   version=N      the unroot protocol version of the node; it must equal
//                  TVN_CM_UNROOT_VERSION ("1"), else root is kept
// A missing file, section or key does not veto.
#include <cstdint>
#include <sys/capability.h>

#include "ps_module.h"

#define TVN_CM_UNROOT_FLAG "/KSD/conf/unroot_flag"
#define TVN_CM_UNROOT_VERSION "1"
#define TVN_CM_PROTOCOL_USER "VantorProtocolUser"

// id 1025, name "tvn_cm", init = RemoveRoot.
extern ps_module g_cmNoRoot;

// What the service keeps as "VantorProtocolUser":
//   CAP_CHOWN, CAP_FOWNER, CAP_FSETID       owners and modes of share roots and
//                                           of the files it writes for peers
//   CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH   configuration, key and share folders
//                                           owned by root or by tenants' users
//   CAP_NET_ADMIN                           netlink to the kernel protocol services
//   CAP_NET_RAW                             binding probe sockets to the service
//                                           routing domain (SO_BINDTODEVICE)
//   CAP_IPC_LOCK                            locking pages (attribute "mlockall")
//   CAP_SYS_NICE                            thread strategies (priorities, CPU binding)
// CAP_SETUID and CAP_SETGID are needed only to change user and are gone after.
extern const cap_value_t TVN_CM_USER_CAPS[];
extern const int TVN_CM_USER_CAPS_NUM;

int32_t RemoveRoot();
bool NeedUnroot();
int32_t TvnLanchWithoutRoot();
int32_t SetCapByRoot();
int32_t ChangeToVantorProtocolUser();
int32_t SetCapForVantorProtocolUser();
