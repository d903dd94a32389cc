#pragma once
// Handler classes of the local Windows user and group commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using TvnOmitfWindowsCreateUser = tvn_omitf_placeholder;
using TvnOmitfWindowsDeleteUser = tvn_omitf_placeholder;
using TvnOmitfWindowsQueryUser = tvn_omitf_placeholder;
using TvnOmitfWindowsModifyUser = tvn_omitf_placeholder;
using TvnOmitfWindowsListUser = tvn_omitf_placeholder;
using CmOmitfWindowsCountUser = tvn_omitf_placeholder;
using TvnOmitfSetWindowsUserSecurityPolicy = tvn_omitf_placeholder;
using TvnOmitfGetWindowsUserSecurityPolicy = tvn_omitf_placeholder;
using TvnOmitfWindowsCreateGroup = tvn_omitf_placeholder;
using TvnOmitfWindowsDeleteGroup = tvn_omitf_placeholder;
using TvnOmitfWindowsGetGroup = tvn_omitf_placeholder;
using TvnOmitfWindowsModifyGroup = tvn_omitf_placeholder;
using TvnOmitfWindowsListGroup = tvn_omitf_placeholder;
using TvnOmitfWindowsCountGroup = tvn_omitf_placeholder;
using TvnOmitfWindowsAddGroupMember = tvn_omitf_placeholder;
using TvnOmitfWindowsRemoveGroupMember = tvn_omitf_placeholder;
using TvnOmitfWindowsQueryGroupMember = tvn_omitf_placeholder;
using CmOmitfWindowsCountGroupMember = tvn_omitf_placeholder;
