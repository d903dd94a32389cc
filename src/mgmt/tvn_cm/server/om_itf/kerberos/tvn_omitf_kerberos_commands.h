#pragma once
// Handler classes of the Kerberos commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using TvnOmitfKerberosChangeServiceConf = tvn_omitf_placeholder;
using TvnOmitfKerberosGetServiceConf = tvn_omitf_placeholder;
using TvnOmitfKerberosGetLifCount = tvn_omitf_placeholder;
using TvnOmitfKerberosListServiceConf = tvn_omitf_placeholder;
using TvnOmitfKerberosAddRealmConfig = tvn_omitf_placeholder;
using TvnOmitfKerberosDelRealmConfig = tvn_omitf_placeholder;
using TvnOmitfKerberosModifyRealmConfig = tvn_omitf_placeholder;
using TvnOmitfKerberosGetRealmConfig = tvn_omitf_placeholder;
using TvnOmitfKerberosListRealmConfig = tvn_omitf_placeholder;
using TvnOmitfKerberosGetRealmConfigCount = tvn_omitf_placeholder;
using TvnOmitfKerberosModifyEncryptType = tvn_omitf_placeholder;
using TvnOmitfKerberosGetEncyptType = tvn_omitf_placeholder;
using TvnOmitfKerberosImportKeytab = tvn_omitf_placeholder;
using TvnOmitfKerberosClearServiceCache = tvn_omitf_placeholder;
using TvnOmitfKerberosListAvailableLif = tvn_omitf_placeholder;
using TvnOmitfKerberosListAvailableLifCount = tvn_omitf_placeholder;
using tvn_omitf_kerberos_modify_cache_size = tvn_omitf_placeholder;
using tvn_omitf_kerberos_get_cache_size = tvn_omitf_placeholder;
