#pragma once
// Handler classes of the SSL certificate commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_update_sslcert = tvn_omitf_placeholder;
using tvn_omitf_update_ldap_sslcert = tvn_omitf_placeholder;
