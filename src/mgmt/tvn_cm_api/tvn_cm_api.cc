// tvn_cm_api is header-only; this unit keeps it compiled with the library.
#include "tvn_cm_api.h"
