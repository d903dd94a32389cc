// Built by ctest with -Werror: must NOT compile, because the format has
// fewer conversions than arguments.
#include "tvn_log.h"
void f() { TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0, "no conversion here", 42); }
