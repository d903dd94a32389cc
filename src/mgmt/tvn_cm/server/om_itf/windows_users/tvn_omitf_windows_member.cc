#include "tvn_omitf_windows_member.h"

namespace tvn_win {

using U = TvnOmitfWindowsUserUtil;
using tvn_omitf::on_fail;

int32_t read_member_ref(const tvn::log_here& here, void* req, member_ref& out) {
    tvn_omitf::item_reader in(req);
    const on_fail no_member{WIN_ERR_INVALID, "Member name null.", here};
    std::optional<std::string> sid;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(here, req, out.tenant)) != 0 ||
        (rc = U::DecodeName(here, req, vocab::member_group, "Group name null.", out.group)) != 0 ||
        (rc = in.need(vocab::member_name, out.member, no_member, no_member)) != 0 ||
        (rc = in.take(vocab::member_sid, sid, on_fail{WIN_ERR_INVALID, "Get member sid failed.", here})) != 0 ||
        (rc = U::GetGroupMemberAccountType(here, req, out.type)) != 0)
        return rc;
    // Domain names carry their domain ("CORP\alice"), so only the length
    // and emptiness of the local name rule apply to a member name.
    if (out.member.empty() || out.member.size() > kNameMax) return tvn_omitf::fail(no_member);
    if (sid) out.sid = *sid;
    return 0;
}

}  // namespace tvn_win
