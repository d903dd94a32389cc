#pragma once
// Items and result codes that every command family shares: the message type
// and object type, the tenant, the query items of lists and counts, and the
// codes of the messaging layer, the OM agent and the sibling daemons that a
// command hands back unchanged. A family's own meaning of a code comes first
// where the two differ.
#include "tvn_om_vocab.h"

namespace tvn_om_common {

using tvn_om_vocab::item_def;
using tvn_om_vocab::item_type;

inline constexpr item_def kMsgType{0, item_type::unsigned32, "", "message type (requests); object type (answers)"};
inline constexpr item_def kTenant{4090, item_type::string, "vstore", "vStore (tenant) id, decimal; absent: 0"};
inline constexpr item_def kCount{10, item_type::unsigned32, "", "count (count answers)"};
inline constexpr item_def kQuery{22, item_type::string, "", "query condition, JSON object of KEY: value"};
inline constexpr item_def kSort{23, item_type::string, "sort", "sort, JSON {\"sortKey\": KEY, \"sortType\": 0|1}"};
inline constexpr item_def kRange{24, item_type::string, "", "range, JSON {\"offset\": N, \"limit\": N}"};

inline constexpr item_def items[] = {kMsgType, kCount, kQuery, kSort, kRange, kTenant};

inline constexpr tvn_om_vocab::error_def errors[] = {
    {-1, "TVN_OM_ERR_ITEM", "an item could not be read or written, or the message is unreadable"},
    {-2, "ENOENT", "not found (sibling daemon)"},
    {-3, "TVN_MSG_TIMEOUT", "no answer from the sibling daemon within the time-out"},
    {-5, "EIO", "invalid parameter (tenant id text, range or combination); daemon: database error"},
    {-6, "ENOMEM", "out of memory (client or message could not be made)"},
    {-16, "EBUSY", "the OM agent is busy: too many commands waiting"},
    {-17, "EEXIST", "already exists (sibling daemon)"},
    {-22, "EINVAL", "invalid parameter"},
    {-23, "TVN_OM_ERR_CONTEXT", "the messaging context was terminated"},
    {-95, "EOPNOTSUPP", "command or call not supported by this build"},
    {-113, "EHOSTUNREACH", "peer unreachable (sibling daemon)"},
    {-2001, "TVN_MSG_ERR_ADDR", "messaging: bad or unset address"},
    {-2002, "TVN_MSG_ERR_CONTEXT", "messaging: context could not be made"},
    {-2003, "TVN_MSG_ERR_SOCKET", "messaging: socket could not be made"},
    {-2004, "TVN_MSG_ERR_BIND", "messaging: bind failed"},
    {-2005, "TVN_MSG_ERR_CONNECT", "messaging: connect failed"},
    {-2006, "TVN_MSG_ERR_SEND", "messaging: send failed"},
    {-2007, "TVN_MSG_ERR_RECEIVE", "messaging: receive failed"},
    {-2008, "TVN_MSG_ERR_POLL", "messaging: poll failed"},
    {-2009, "TVN_MSG_ERR_EMPTY_REPLY", "messaging: empty reply"},
    {-2015, "TVN_MSG_ERR_REQUEST_FORMAT", "messaging: request could not be serialised"},
    {-2016, "TVN_MSG_ERR_RESPONSE_FORMAT", "messaging: reply could not be parsed"},
    {-2018, "TVN_MSG_ERR_NOT_OPEN", "messaging: client not open"},
    {-2019, "TVN_MSG_ERR_NO_CONTROLLER", "messaging: no controller"},
    {-2021, "TVN_MSG_ERR_THREAD_START", "messaging: worker thread could not start"},
    {-2022, "TVN_MSG_ERR_NO_CONNECTION", "messaging: no connection for the request"},
    {-2031, "TVN_MSG_ERR_NO_CHANNEL", "messaging: no channel"},
    {-5014, "DIR_ERR_LOGON", "directory: unknown account or wrong password"},
    {-5019, "DIR_ERR_NO_JOIN_RIGHT", "directory: the account may not join computers"},
    {-5026, "DIR_ERR_NOT_JOINED", "directory: not joined to a domain"},
    {-5050, "DIR_ERR_DOMAIN_UNKNOWN", "directory: domain unknown"},
    {-5057, "DIR_ERR_JOIN_RUNNING", "directory: a join or leave is running"},
    {-5077, "DIR_ERR_ALREADY_JOINED", "directory: already joined"},
};

inline constexpr tvn_om_vocab::family_def family{"common", "Items and codes of every family", items, {}, errors};

}  // namespace tvn_om_common
