#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

namespace {

// The store's order for a sort key of the sort item.
bool list_type_of(const std::string& key, TvnUserMappingListType& out) {
    static const std::pair<const char*, TvnUserMappingListType> kKeys[] = {
        {"ID", TVN_LIST_DEFAULT},     {"FROMIDENTITY", TVN_BYFROMIDENTITY}, {"TOIDENTITY", TVN_BYTOIDENTITY},
        {"MAPPINGTYPE", TVN_MAPPINGTYPE}, {"PRIORITY", TVN_BYPRIORITY},
    };
    for (const auto& [name, type] : kKeys)
        if (key == name) {
            out = type;
            return true;
        }
    return false;
}

}  // namespace

int tvn_omitf_user_mapping_list_rule::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    rule_filter filter;
    if (int32_t rc = read_rule_filter(req, filter)) return rc;

    tvn_user_mapping_rule_list_req list;
    apply_rule_filter(filter, tenant, list);
    list.set_offset(0);
    list.set_list_num(100);

    std::string text;
    tvn_omitf::item_read got = tvn_omitf::read_text(req, vocab::rule_sort.id, text);
    if (got != tvn_omitf::ITEM_READ_ABSENT) {
        tvn::query_sort sort;
        TvnUserMappingListType type = TVN_LIST_DEFAULT;
        if (got != tvn_omitf::ITEM_READ_OK || tvn::parse_query_sort(text, sort) != tvn::QUERY_COND_OK ||
            !list_type_of(sort.key, type)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, UM_ERR_QUERY_COND, "get user mapping querycondition sort err");
            return UM_ERR_QUERY_COND;
        }
        list.set_list_type(type);
        list.set_sort_type(sort.descending ? TVN_USER_MAPPING_DESCEND : TVN_USER_MAPPING_ASCEND);
    }
    got = tvn_omitf::read_text(req, vocab::rule_range.id, text);
    if (got != tvn_omitf::ITEM_READ_ABSENT) {
        tvn::query_range range;
        if (got != tvn_omitf::ITEM_READ_OK || tvn::parse_query_range(text, range) != tvn::QUERY_COND_OK) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, UM_ERR_QUERY_COND, "user mapping querycondition range is null");
            return UM_ERR_QUERY_COND;
        }
        list.set_offset(range.offset);
        list.set_list_num(range.limit);
    }

    auto api = open_store();
    if (!api) return UM_ERR_NOMEM;
    tvn_user_mapping_rule_list_rsp reply;
    if (int32_t rc = call_store(*api, &tvn_store_user_mapping_api::list_user_mapping_rule, "list_user_mapping_rule",
                                list, reply))
        return rc;
    return answer_page(rsp, reply.user_mapping_info(), rule_items, "rules");
}
