// The store wrappers are header-only; compiling them all here makes a
// header that no longer matches its schema fail in this library's build
// rather than in a caller's.
#include "tvn_store_cifs_api.h"
#include "tvn_store_conf_api.h"
#include "tvn_store_kerberos_api.h"
#include "tvn_store_nfs_api.h"
#include "tvn_store_user_mapping_api.h"
#include "tvn_store_windows_user_api.h"
