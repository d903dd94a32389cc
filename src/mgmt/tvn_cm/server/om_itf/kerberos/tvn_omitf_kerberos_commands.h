#pragma once
// Handler classes of the Kerberos commands, by the names the command
// table registers them under.
#include "kerberos/tvn_omitf_kerberos_realm.h"
#include "kerberos/tvn_omitf_kerberos_service.h"
