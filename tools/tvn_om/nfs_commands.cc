// tvn_om nfs share ... and tvn_om nfs client ...: the NFS share and client
// permission commands with named options and readable tables. Codes,
// options and value words come from the NFS family's declarations.
#include <map>
#include <span>

#include "family_cli.h"
#include "nfs/tvn_omitf_nfs_vocab.h"

namespace {

namespace vocab = tvn_nfs::vocab;
using tvn_om::om_request;
using tvn_om::option_parser;
using tvn_om::text_of;
using tvn_om_vocab::item_def;

// The permission options a create and a modify may give, one unsigned item
// each (the write mode is modify's alone).
const item_def* const kClientOptions[] = {
    &vocab::client_access, &vocab::client_all_squash, &vocab::client_root_squash, &vocab::client_secure,
    &vocab::client_charset, &vocab::client_anon_id, &vocab::client_chown, &vocab::client_v4acl,
    &vocab::client_ntfs_unix_sec, &vocab::client_sec, &vocab::client_krb5, &vocab::client_krb5i,
    &vocab::client_krb5p,
};

// The switches a share create and modify both take.
std::string add_share_switches(const option_parser& p, om_request& req) {
    for (const item_def* item : {&vocab::share_snapshot, &vocab::share_freeze, &vocab::share_fh_alignment})
        if (auto problem = tvn_om::add_switch(p, *item, req); !problem.empty()) return problem;
    return "";
}

option_parser& share_switch_options(option_parser& p) {
    return tvn_om::item_option(tvn_om::item_option(tvn_om::item_option(p, vocab::share_snapshot),
                                                   vocab::share_freeze),
                               vocab::share_fh_alignment);
}

// An enumeration given as its decimal number.
std::string add_enum(const option_parser& p, const item_def& item, om_request& req) {
    std::string name(item.key);
    if (!p.has(name)) return "";
    uint32_t v = 0;
    if (!tvn_om::parse_u32(p.get(name), v)) return "--" + name + " is not a number";
    req.enumeration(item.id, v);
    return "";
}

// What a list or count request ends with: the page of a list, the vStore.
std::string add_list_tail(const option_parser& p, bool list, const std::map<std::string, std::string>& sort_keys,
                          om_request& req) {
    if (list)
        if (auto problem = tvn_om::add_paging(p, sort_keys, req); !problem.empty()) return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

// ---- readable views ----------------------------------------------------------------

// "name=on" or "name=off" for a switch the record carries, else "".
std::string switch_text(const OmRecord& rec, const item_def& item) {
    const OmItem* found = tvn_om::find_item(rec, item.id);
    if (found == nullptr) return "";
    return std::string(item.key) + "=" + (tvn_om::item_value_text(*found) == "true" ? "on" : "off");
}

void print_shares(const om_request&, const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, vocab::share_id.id) == nullptr) continue;
        std::string fs = text_of(rec, vocab::share_fsid.id);
        std::string fsname = text_of(rec, vocab::share_fs_name.id);
        if (!fsname.empty()) fs += " (" + fsname + ")";
        std::string dtree = text_of(rec, vocab::share_dtree.id);
        if (size_t at = dtree.find('@'); at != std::string::npos) dtree = dtree.substr(0, at);
        std::string switches;
        for (std::string part : {switch_text(rec, vocab::share_snapshot), switch_text(rec, vocab::share_freeze),
                                 switch_text(rec, vocab::share_fh_alignment),
                                 tvn_om::find_item(rec, vocab::share_audit.id) != nullptr
                                     ? "audit=" + text_of(rec, vocab::share_audit.id)
                                     : ""})
            if (!part.empty()) switches += (switches.empty() ? "" : " ") + part;
        rows.push_back({text_of(rec, vocab::share_id.id), text_of(rec, vocab::share_path.id), fs, dtree,
                        text_of(rec, vocab::share_description.id), switches});
    }
    tvn_om::print_table(out, {"SHARE ID", "PATH", "FILE SYSTEM", "DTREE", "DESCRIPTION", "SWITCHES"}, rows);
    if (rows.size() != 1) out << rows.size() << " shares\n";
}

// The word of a number item in a record, or the number when it has none.
std::string word_text(const OmRecord& rec, const item_def& item) {
    std::string number = text_of(rec, item.id);
    uint32_t n = 0;
    if (tvn_om::parse_u32(number, n))
        if (auto w = item.word_of(n); !w.empty()) return std::string(w);
    return number;
}

void print_clients(const om_request&, const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, vocab::client_id.id) == nullptr) continue;
        std::string share = text_of(rec, vocab::client_share_id.id);
        if (!text_of(rec, vocab::client_share_name.id).empty())
            share += " (" + text_of(rec, vocab::client_share_name.id) + ")";
        std::string squash = std::string(text_of(rec, vocab::client_all_squash.id) == "0" ? "all_squash" : "no_all_squash") +
                             "," + (text_of(rec, vocab::client_root_squash.id) == "0" ? "root_squash" : "no_root_squash");
        std::string anon = text_of(rec, vocab::client_anon_id.id);
        if (!anon.empty() && anon != vocab::client_anon_id.fallback) squash += ",anon=" + anon;
        std::string security = "sec=" + word_text(rec, vocab::client_sec);
        security += text_of(rec, vocab::client_secure.id) == "0" ? ",secure" : ",insecure";
        security += ",krb5=" + word_text(rec, vocab::client_krb5) + "/" + word_text(rec, vocab::client_krb5i) + "/" +
                    word_text(rec, vocab::client_krb5p);
        rows.push_back({text_of(rec, vocab::client_id.id), text_of(rec, vocab::client_name.id), share,
                        word_text(rec, vocab::client_access), word_text(rec, vocab::client_write_mode), squash,
                        security});
    }
    tvn_om::print_table(out, {"CLIENT ID", "CLIENT", "SHARE", "ACCESS", "WRITE", "SQUASH", "SECURITY"}, rows);
    if (rows.size() != 1) out << rows.size() << " clients\n";
}

// ---- shares -------------------------------------------------------------------------

// A share by id or by name.
std::string add_share_ref(const option_parser& p, om_request& req) {
    if (p.has("id") == p.has("name")) return "give either --id or --name";
    if (p.has("id")) req.str(vocab::share_id.id, p.get("id"));
    if (p.has("name")) req.str(vocab::share_path.id, p.get("name"));
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser share_create_parser() {
    option_parser p("tvn_om nfs share create --path PATH (--fsid ID | --fs-name NAME) [options]");
    tvn_om::item_option(p, vocab::share_path, true);
    for (const item_def* item : {&vocab::share_fsid, &vocab::share_fs_name, &vocab::share_dtree,
                                 &vocab::share_description, &vocab::share_charset})
        tvn_om::item_option(p, *item);
    return tvn_om::vstore_option(share_switch_options(p));
}

std::string share_create_build(const option_parser& p, om_request& req) {
    for (const item_def* item :
         {&vocab::share_path, &vocab::share_fsid, &vocab::share_fs_name, &vocab::share_dtree, &vocab::share_description})
        tvn_om::add_text(p, *item, req);
    if (auto problem = add_enum(p, vocab::share_charset, req); !problem.empty()) return problem;
    if (auto problem = add_share_switches(p, req); !problem.empty()) return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser share_ref_parser(const std::string& verb) {
    option_parser p("tvn_om nfs share " + verb + " (--id ID | --name NAME) [--vstore ID]");
    p.option("id", "ID", "share id").option("name", "NAME", "share name (its path)");
    return tvn_om::vstore_option(p);
}

option_parser share_modify_parser() {
    option_parser p("tvn_om nfs share modify (--id ID | --name NAME) [options]");
    p.option("id", "ID", "share id").option("name", "NAME", "share name (its path)");
    for (const item_def* item : {&vocab::share_description, &vocab::share_charset, &vocab::share_lock,
                                 &vocab::share_audit})
        tvn_om::item_option(p, *item);
    return tvn_om::vstore_option(share_switch_options(p));
}

std::string share_modify_build(const option_parser& p, om_request& req) {
    if (auto problem = add_share_ref(p, req); !problem.empty()) return problem;
    tvn_om::add_text(p, vocab::share_description, req);
    for (const item_def* item : {&vocab::share_charset, &vocab::share_lock})
        if (auto problem = add_enum(p, *item, req); !problem.empty()) return problem;
    if (p.has(std::string(vocab::share_audit.key))) {
        std::string list = p.get(std::string(vocab::share_audit.key));
        if (list.empty() || list.front() != '[') list = "[" + list + "]";
        req.str(vocab::share_audit.id, list);
    }
    return add_share_switches(p, req);
}

option_parser share_list_parser(bool list) {
    option_parser p(list ? "tvn_om nfs share list [filters] [--offset N --limit N] [--sort path|id [--desc]] [--after ID]"
                         : "tvn_om nfs share count [filters]");
    p.option("path", "TEXT", "shares whose path holds the text")
        .option("description", "TEXT", "shares whose description holds the text")
        .option("fsid", "ID", "shares of a file system")
        .option("dtree", "ID", "shares of a dtree")
        .option("share-id", "ID", "the share of an id");
    if (list) tvn_om::paging_options(p.option("fs-name", "NAME", "shares of a file system by name"), "share", "path|id");
    return tvn_om::vstore_option(p);
}

std::string share_list_build(const option_parser& p, om_request& req, bool list) {
    std::vector<std::pair<std::string, std::string>> conditions;
    for (auto [opt, key] : {std::pair{"path", "SHAREPATH"}, {"description", "DESCRIPTION"}, {"fsid", "FSID"},
                            {"dtree", "DTREEID"}, {"share-id", "ID"}, {"fs-name", "FSNAME"}})
        if (p.has(opt)) conditions.emplace_back(key, p.get(opt));
    // The count insists on a condition item; an empty one counts every share.
    if (!conditions.empty() || !list) req.str(tvn_om_common::kQuery.id, tvn_om::filter_json(conditions));
    return add_list_tail(p, list, {{"path", "SHAREPATH"}, {"id", "ID"}}, req);
}

// ---- client permissions ---------------------------------------------------------------

option_parser client_create_parser() {
    option_parser p("tvn_om nfs client create --client NAME (--share-id ID | --share-name NAME) "
                    "--all-squash yes|no --root-squash yes|no [options]");
    tvn_om::item_option(p, vocab::client_name, true);
    tvn_om::item_option(p, vocab::client_share_id);
    tvn_om::item_option(p, vocab::client_share_name);
    for (const item_def* o : kClientOptions)
        tvn_om::item_option(p, *o, o == &vocab::client_all_squash || o == &vocab::client_root_squash);
    return tvn_om::vstore_option(p);
}

std::string client_create_build(const option_parser& p, om_request& req) {
    for (const item_def* item : {&vocab::client_name, &vocab::client_share_id, &vocab::client_share_name})
        tvn_om::add_text(p, *item, req);
    if (auto problem = tvn_om::add_number_options(p, kClientOptions, req); !problem.empty()) return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser client_delete_parser() {
    option_parser p("tvn_om nfs client delete (--id ID | --client NAME --share-name NAME) [--vstore ID]");
    p.option("id", "ID", "client permission id");
    tvn_om::item_option(p, vocab::client_name);
    tvn_om::item_option(p, vocab::client_share_name);
    return tvn_om::vstore_option(p);
}

std::string client_delete_build(const option_parser& p, om_request& req) {
    if (p.has("id")) req.str(vocab::client_id.id, p.get("id"));
    else if (!p.has("client") || !p.has("share-name")) return "give --id, or --client and --share-name";
    for (const item_def* item : {&vocab::client_name, &vocab::client_share_name}) tvn_om::add_text(p, *item, req);
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser client_get_parser() {
    option_parser p("tvn_om nfs client get --id ID [--vstore ID]");
    p.option("id", "ID", "client permission id", true);
    return tvn_om::vstore_option(p);
}

std::string client_get_build(const option_parser& p, om_request& req) {
    req.str(vocab::client_id.id, p.get("id"));
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser client_modify_parser() {
    option_parser p("tvn_om nfs client modify --id ID [options]");
    p.option("id", "ID", "client permission id", true);
    tvn_om::item_option(p, vocab::client_write_mode);
    for (const item_def* o : kClientOptions) tvn_om::item_option(p, *o);
    return tvn_om::vstore_option(p);
}

std::string client_modify_build(const option_parser& p, om_request& req) {
    req.str(vocab::client_id.id, p.get("id"));
    const item_def* const write_mode[] = {&vocab::client_write_mode};
    if (auto problem = tvn_om::add_number_options(p, write_mode, req); !problem.empty()) return problem;
    if (auto problem = tvn_om::add_number_options(p, kClientOptions, req); !problem.empty()) return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser client_list_parser(bool list) {
    option_parser p(list ? "tvn_om nfs client list [filters] [--offset N --limit N] [--sort name|access [--desc]] [--after ID]"
                         : "tvn_om nfs client count [filters]");
    p.option("client", "TEXT", "permissions whose client holds the text")
        .option("share-id", "ID", "permissions of a share")
        .option("share-name", "NAME", "permissions of a share by name")
        .option("access", tvn_om_vocab::value_hint(vocab::client_access), "permissions of an access")
        .option("type", "N", "permissions of a type");
    if (list) tvn_om::paging_options(p, "permission", "name|access");
    return tvn_om::vstore_option(p);
}

std::string client_list_build(const option_parser& p, om_request& req, bool list) {
    std::vector<std::pair<std::string, std::string>> conditions;
    if (p.has("client")) conditions.emplace_back("NAME", p.get("client"));
    if (p.has("share-id")) conditions.emplace_back("PARENTID", p.get("share-id"));
    if (p.has("share-name")) conditions.emplace_back("SHARENAME", p.get("share-name"));
    if (p.has("access")) {
        uint32_t v = 0;
        if (!tvn_om::word_or_number(p.get("access"), vocab::client_access, v))
            return "--access is not " + tvn_om_vocab::value_hint(vocab::client_access);
        conditions.emplace_back("ACCESSVAL", std::to_string(v));
    }
    if (p.has("type")) conditions.emplace_back("AUTHTYPE", p.get("type"));
    if (!conditions.empty()) req.str(tvn_om_common::kQuery.id, tvn_om::filter_json(conditions));
    return add_list_tail(p, list, {{"name", "NAME"}, {"access", "ACCESSVAL"}}, req);
}

// ---- the command table ---------------------------------------------------------------

using tvn_om::family_command;
const auto& F = vocab::family;

const tvn_om::group_registrar nfs_group({"nfs"}, std::string(F.title));
const tvn_om::group_registrar share_group({"nfs", "share"}, "NFS shares: create, delete, get, modify, list, count");
const tvn_om::group_registrar client_group({"nfs", "client"},
                                           "NFS client permissions: create, delete, get, modify, list, count");

const tvn_om::command_registrar share_create(family_command(
    F, vocab::share_create, share_create_parser, share_create_build,
    tvn_om::print_changed("share", "created", vocab::share_id.id, vocab::share_path.id)));
const tvn_om::command_registrar share_delete(family_command(
    F, vocab::share_delete, [] { return share_ref_parser("delete"); }, add_share_ref,
    tvn_om::print_changed("share", "deleted", vocab::share_id.id, vocab::share_path.id)));
const tvn_om::command_registrar share_get(family_command(
    F, vocab::share_get, [] { return share_ref_parser("get"); }, add_share_ref, print_shares));
const tvn_om::command_registrar share_modify(family_command(
    F, vocab::share_modify, share_modify_parser, share_modify_build,
    tvn_om::print_changed("share", "modified", vocab::share_id.id, vocab::share_path.id)));
const tvn_om::command_registrar share_list(family_command(
    F, vocab::share_list, [] { return share_list_parser(true); },
    [](const option_parser& p, om_request& r) { return share_list_build(p, r, true); }, print_shares));
const tvn_om::command_registrar share_count(family_command(
    F, vocab::share_count, [] { return share_list_parser(false); },
    [](const option_parser& p, om_request& r) { return share_list_build(p, r, false); }, tvn_om::print_count));

const tvn_om::command_registrar client_create(family_command(
    F, vocab::client_create, client_create_parser, client_create_build,
    tvn_om::print_changed("client permission", "created", vocab::client_id.id, vocab::client_name.id)));
const tvn_om::command_registrar client_delete(family_command(
    F, vocab::client_delete, client_delete_parser, client_delete_build,
    tvn_om::print_changed("client permission", "deleted", vocab::client_id.id, vocab::client_name.id)));
const tvn_om::command_registrar client_get(family_command(F, vocab::client_get, client_get_parser,
                                                          client_get_build, print_clients));
const tvn_om::command_registrar client_modify(family_command(
    F, vocab::client_modify, client_modify_parser, client_modify_build,
    tvn_om::print_changed("client permission", "modified", vocab::client_id.id, vocab::client_name.id)));
const tvn_om::command_registrar client_list(family_command(
    F, vocab::client_list, [] { return client_list_parser(true); },
    [](const option_parser& p, om_request& r) { return client_list_build(p, r, true); }, print_clients));
const tvn_om::command_registrar client_count(family_command(
    F, vocab::client_count, [] { return client_list_parser(false); },
    [](const option_parser& p, om_request& r) { return client_list_build(p, r, false); }, tvn_om::print_count));

}  // namespace
