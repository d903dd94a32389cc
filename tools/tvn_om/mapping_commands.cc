// tvn_om mapping ...: user mapping rules, a tried mapping, name checks,
// the mapping caches, and the ACL and effective permission of a path.
// Codes, options and value words come from the user-mapping family's
// declarations (the family is "usermapping"; its operator group "mapping").
#include <map>
#include <span>

#include <fmt/format.h>

#include "family_cli.h"
#include "usermapping/tvn_omitf_usermapping_vocab.h"

namespace {

namespace vocab = tvn_usermapping::vocab;
using tvn_om::om_request;
using tvn_om::option_parser;
using tvn_om::text_of;
using tvn_om_vocab::item_def;

// A command of the group, with an optional positional argument (its name
// in `positional`, "" for none) that the build receives.
using build_with_arg = std::function<std::string(const option_parser&, const std::string& arg, om_request&)>;

tvn_om::command_info mapping_command(const tvn_om_vocab::command_def& command, tvn_om::parser_fn parser,
                                     std::string positional, build_with_arg build, tvn_om::view_fn view) {
    tvn_om::command_info info = tvn_om::family_command(
        vocab::family, command, parser, [](const option_parser&, om_request&) { return std::string(); }, view);
    const uint64_t opcode = command.code;
    info.run = [parser, positional, opcode, build, view](const tvn_om::global_options& opts,
                                                           const std::vector<std::string>& args) {
        option_parser p = parser();
        if (int rc = p.parse(args); rc != tvn_om::kExitOk) return rc;
        const auto& pos = p.positional();
        if (pos.size() > (positional.empty() ? 0u : 1u))
            return tvn_om::usage_error("unexpected argument '" + pos.back() + "'", p.help());
        if (!positional.empty() && pos.empty()) return tvn_om::usage_error("give " + positional, p.help());
        om_request req(opcode);
        std::string problem = build(p, pos.empty() ? "" : pos[0], req);
        if (!problem.empty()) return tvn_om::usage_error(problem, p.help());
        return tvn_om::send_and_print(opts, req.message(),
                                      [&req, &view](const OmReply& reply, std::ostream& out) { view(req, reply, out); });
    };
    return info;
}

std::string add_numbers(const option_parser& p, std::initializer_list<const item_def*> items, om_request& req) {
    return tvn_om::add_number_options(p, std::span<const item_def* const>(items.begin(), items.size()), req);
}

// ---- views ----------------------------------------------------------------------

void print_rules(const om_request&, const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, vocab::rule_from.id) == nullptr) continue;
        std::string type = text_of(rec, vocab::rule_type.id);
        uint32_t n = 0;
        if (tvn_om::parse_u32(type, n) && vocab::rule_type.allows(n)) type = vocab::rule_type.word_of(n);
        rows.push_back({text_of(rec, vocab::rule_id.id), text_of(rec, vocab::rule_priority.id), type,
                        text_of(rec, vocab::rule_from.id), text_of(rec, vocab::rule_to.id)});
    }
    tvn_om::print_table(out, {"RULE ID", "PRIORITY", "TYPE", "FROM", "TO"}, rows);
    if (rows.size() != 1) out << rows.size() << " rules\n";
}

// "label: value" for each item of the answer that is there.
tvn_om::view_fn print_fields(std::vector<std::pair<std::string, uint32_t>> fields) {
    return [fields](const om_request&, const OmReply& reply, std::ostream& out) {
        for (const auto& rec : reply.answer().record())
            for (const auto& [label, id] : fields)
                if (tvn_om::find_item(rec, id) != nullptr) out << label << ": " << text_of(rec, id) << "\n";
    };
}

const auto print_mapping = print_fields({{"rule", vocab::answer_rule_id.id},
                                         {"windows", vocab::answer_win_name.id},
                                         {"sid", vocab::answer_sid.id},
                                         {"unix", vocab::answer_unix_name.id},
                                         {"uid", vocab::answer_uid.id},
                                         {"gids", vocab::answer_gids.id},
                                         {"ad lookup us", vocab::answer_ad_elapsed.id},
                                         {"ldap lookup us", vocab::answer_ldap_elapsed.id},
                                         {"nis lookup us", vocab::answer_nis_elapsed.id}});

void print_text(const om_request&, const OmReply& reply, std::ostream& out) {
    for (const auto& rec : reply.answer().record())
        if (tvn_om::find_item(rec, vocab::acl_text.id) != nullptr) out << text_of(rec, vocab::acl_text.id);
}

// ---- rules ---------------------------------------------------------------------

option_parser rule_parser(const std::string& synopsis, bool with_id, bool required_fields) {
    option_parser p(synopsis);
    if (with_id) tvn_om::item_option(p, vocab::rule_id, true);
    if (with_id && !required_fields && synopsis.find("modify") == std::string::npos) return tvn_om::vstore_option(p);
    tvn_om::item_option(p, vocab::rule_from, required_fields);
    tvn_om::item_option(p, vocab::rule_to, required_fields);
    tvn_om::item_option(p, vocab::rule_type, required_fields);
    tvn_om::item_option(p, vocab::rule_priority);
    return tvn_om::vstore_option(p);
}

std::string rule_build(const option_parser& p, const std::string&, om_request& req) {
    for (const item_def* item : {&vocab::rule_id, &vocab::rule_from, &vocab::rule_to}) tvn_om::add_text(p, *item, req);
    if (auto problem = add_numbers(p, {&vocab::rule_type, &vocab::rule_priority}, req); !problem.empty())
        return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser rule_list_parser(bool list) {
    option_parser p(list ? "tvn_om mapping rule list [filters] [--offset N --limit N] "
                           "[--sort id|from|to|type|priority [--desc]]"
                         : "tvn_om mapping rule count [filters]");
    p.option("from", "TEXT", "rules whose from account holds the text")
        .option("to", "TEXT", "rules whose to identity holds the text")
        .option("type", tvn_om_vocab::value_hint(vocab::rule_type), "rules of a mapping type");
    if (list)
        p.option("offset", "N", "first rule of the page, from 0")
            .option("limit", "N", "rules on the page (default 100)")
            .option("sort", "KEY", "id|from|to|type|priority")
            .flag("desc", "sort descending");
    return tvn_om::vstore_option(p);
}

std::string rule_list_build(const option_parser& p, om_request& req, bool list) {
    std::vector<std::pair<std::string, std::string>> conditions;
    if (p.has("from")) conditions.emplace_back("FROMIDENTITY", p.get("from"));
    if (p.has("to")) conditions.emplace_back("TOIDENTITY", p.get("to"));
    if (p.has("type")) {
        uint32_t v = 0;
        if (!tvn_om::word_or_number(p.get("type"), vocab::rule_type, v))
            return "--type is not " + tvn_om_vocab::value_hint(vocab::rule_type);
        conditions.emplace_back("MAPPINGTYPE", std::to_string(v));
    }
    if (!conditions.empty()) req.str(vocab::rule_filter.id, tvn_om::filter_json(conditions));
    if (list) {
        static const std::map<std::string, std::string> kSort = {{"id", "ID"},
                                                                 {"from", "FROMIDENTITY"},
                                                                 {"to", "TOIDENTITY"},
                                                                 {"type", "MAPPINGTYPE"},
                                                                 {"priority", "PRIORITY"}};
        if (p.has("sort") || p.has("desc")) {
            auto it = kSort.find(p.get("sort", "id"));
            if (it == kSort.end()) return "--sort is not id|from|to|type|priority";
            req.str(vocab::rule_sort.id,
                    fmt::format(R"({{"sortKey": "{}", "sortType": {}}})", it->second, p.has("desc") ? 1 : 0));
        }
        if (p.has("offset") || p.has("limit")) {
            uint32_t offset = 0, limit = 100;
            if ((p.has("offset") && !tvn_om::parse_u32(p.get("offset"), offset)) ||
                (p.has("limit") && !tvn_om::parse_u32(p.get("limit"), limit)))
                return "--offset and --limit take numbers";
            req.str(vocab::rule_range.id, fmt::format(R"({{"offset": {}, "limit": {}}})", offset, limit));
        }
    }
    tvn_om::add_vstore(p, req);
    return "";
}

// ---- trying, verifying, caches -------------------------------------------------

option_parser try_parser() {
    option_parser p("tvn_om mapping try NAME --to unix|windows [--provider WORD] [--vstore ID]");
    tvn_om::item_option(p, vocab::try_direction, true);
    tvn_om::item_option(p, vocab::try_provider);
    return tvn_om::vstore_option(p);
}

std::string try_build(const option_parser& p, const std::string& name, om_request& req) {
    req.str(vocab::try_name.id, name);
    tvn_om::add_vstore(p, req);
    return add_numbers(p, {&vocab::try_direction, &vocab::try_provider}, req);
}

option_parser verify_parser() {
    option_parser p("tvn_om mapping verify NAME --kind windows|unix [--vstore ID]");
    tvn_om::item_option(p, vocab::verify_kind, true);
    return tvn_om::vstore_option(p);
}

std::string verify_build(const option_parser& p, const std::string& name, om_request& req) {
    req.str(vocab::verify_name.id, name);
    tvn_om::add_vstore(p, req);
    return add_numbers(p, {&vocab::verify_kind}, req);
}

option_parser cache_parser(const std::string& synopsis, std::initializer_list<const item_def*> items) {
    option_parser p(synopsis);
    for (const item_def* item : items) tvn_om::item_option(p, *item);
    return tvn_om::vstore_option(p);
}

std::string cache_build(const option_parser& p, const std::string&, om_request& req) {
    for (const item_def* item : {&vocab::cache_name, &vocab::cache_rule, &vocab::cache_sid}) tvn_om::add_text(p, *item, req);
    tvn_om::add_vstore(p, req);
    return add_numbers(p, {&vocab::cache_uid}, req);
}

// ---- ACL and permission ------------------------------------------------------------

option_parser acl_parser() {
    option_parser p("tvn_om mapping acl PATH --fsid ID [--offset N] [--count N] [--names on|off] "
                    "[--acl-type access|default] [--vstore ID]");
    tvn_om::item_option(p, vocab::acl_fsid, true);
    for (const item_def* item : {&vocab::acl_offset, &vocab::acl_count, &vocab::acl_names, &vocab::acl_type})
        tvn_om::item_option(p, *item);
    return tvn_om::vstore_option(p);
}

std::string acl_build(const option_parser& p, const std::string& path, om_request& req) {
    req.str(vocab::acl_path.id, path);
    tvn_om::add_text(p, vocab::acl_fsid, req);
    tvn_om::add_vstore(p, req);
    if (auto problem = tvn_om::add_switch(p, vocab::acl_names, req); !problem.empty()) return problem;
    return add_numbers(p, {&vocab::acl_offset, &vocab::acl_count, &vocab::acl_type}, req);
}

option_parser perm_parser() {
    option_parser p("tvn_om mapping perm PATH --fsid ID --user NAME [--user-type windows|unix] [--vstore ID]");
    tvn_om::item_option(p, vocab::acl_fsid, true);
    tvn_om::item_option(p, vocab::perm_user, true);
    tvn_om::item_option(p, vocab::perm_user_type);
    return tvn_om::vstore_option(p);
}

std::string perm_build(const option_parser& p, const std::string& path, om_request& req) {
    req.str(vocab::acl_path.id, path);
    tvn_om::add_text(p, vocab::acl_fsid, req);
    tvn_om::add_text(p, vocab::perm_user, req);
    tvn_om::add_vstore(p, req);
    // A name with a domain is a Windows name unless told otherwise.
    if (!p.has("user-type")) {
        req.u32(vocab::perm_user_type.id, p.get("user").find('\\') != std::string::npos ? 0 : 1);
        return "";
    }
    return add_numbers(p, {&vocab::perm_user_type}, req);
}

// ---- the command table ---------------------------------------------------------------

const tvn_om::group_registrar mapping_group({"mapping"}, std::string(vocab::family.title));
const tvn_om::group_registrar rule_group({"mapping", "rule"}, "Mapping rules: add, modify, delete, show, list, count");
const tvn_om::group_registrar cache_group({"mapping", "cache"}, "Mapping caches: show, show-unix, clear");

const tvn_om::command_registrar rule_add(mapping_command(
    vocab::rule_add,
    [] { return rule_parser("tvn_om mapping rule add --from NAME --to NAME --type WORD [--priority N]", false, true); },
    "", rule_build, tvn_om::print_changed("rule", "added", vocab::rule_id.id, vocab::rule_from.id)));
const tvn_om::command_registrar rule_modify(mapping_command(
    vocab::rule_modify,
    [] { return rule_parser("tvn_om mapping rule modify --id ID [--from NAME] [--to NAME] [--type WORD] [--priority N]", true, false); },
    "", rule_build, tvn_om::print_changed("rule", "modified", vocab::rule_id.id, vocab::rule_from.id)));
const tvn_om::command_registrar rule_delete(mapping_command(
    vocab::rule_delete, [] { return rule_parser("tvn_om mapping rule delete --id ID [--vstore ID]", true, false); }, "",
    rule_build, tvn_om::print_changed("rule", "deleted", vocab::rule_id.id, vocab::rule_from.id)));
const tvn_om::command_registrar rule_show(mapping_command(
    vocab::rule_show, [] { return rule_parser("tvn_om mapping rule show --id ID [--vstore ID]", true, false); }, "",
    rule_build, print_rules));
const tvn_om::command_registrar rule_list(mapping_command(
    vocab::rule_list, [] { return rule_list_parser(true); }, "",
    [](const option_parser& p, const std::string&, om_request& r) { return rule_list_build(p, r, true); },
    print_rules));
const tvn_om::command_registrar rule_count(mapping_command(
    vocab::rule_count, [] { return rule_list_parser(false); }, "",
    [](const option_parser& p, const std::string&, om_request& r) { return rule_list_build(p, r, false); },
    tvn_om::print_count));
const tvn_om::command_registrar try_mapping(mapping_command(vocab::try_mapping, try_parser, "NAME", try_build,
                                                            print_mapping));
const tvn_om::command_registrar verify(mapping_command(
    vocab::verify, verify_parser, "NAME", verify_build,
    print_fields({{"resolves", vocab::verify_resolved.id},
                  {"name", vocab::verify_full_name.id},
                  {"sid", vocab::verify_sid.id},
                  {"id", vocab::verify_id.id}})));
const tvn_om::command_registrar cache_show(mapping_command(
    vocab::cache_show,
    [] { return cache_parser("tvn_om mapping cache show (--sid SID | --name DOMAIN\\NAME) [--vstore ID]",
                             {&vocab::cache_sid, &vocab::cache_name}); },
    "", cache_build, print_mapping));
const tvn_om::command_registrar cache_show_unix(mapping_command(
    vocab::cache_show_unix,
    [] { return cache_parser("tvn_om mapping cache show-unix (--uid N | --name NAME) [--vstore ID]",
                             {&vocab::cache_uid, &vocab::cache_name}); },
    "", cache_build, print_mapping));
const tvn_om::command_registrar cache_clear(mapping_command(
    vocab::cache_clear,
    [] { return cache_parser("tvn_om mapping cache clear [--rule ID | --uid N | --sid SID] [--vstore ID]",
                             {&vocab::cache_rule, &vocab::cache_uid, &vocab::cache_sid}); },
    "", cache_build, [](const om_request&, const OmReply& reply, std::ostream& out) {
        for (const auto& rec : reply.answer().record())
            if (tvn_om::find_item(rec, 10) != nullptr) out << "cleared: " << text_of(rec, 10) << "\n";
    }));
const tvn_om::command_registrar acl(mapping_command(vocab::acl, acl_parser, "PATH", acl_build, print_text));
const tvn_om::command_registrar perm(mapping_command(vocab::perm, perm_parser, "PATH", perm_build, print_text));

}  // namespace
