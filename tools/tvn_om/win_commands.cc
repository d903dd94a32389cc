// tvn_om win user|group|member|policy ...: the local Windows account
// commands with named options and readable tables. Codes, options and value
// words come from the family's declarations. A password is never an
// argument: it is read without echo from the terminal, or from standard
// input or a file when an option says so.
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <span>

#include "family_cli.h"
#include "windows_users/tvn_omitf_windows_users_vocab.h"

namespace {

namespace vocab = tvn_win::vocab;
using tvn_om::om_request;
using tvn_om::option_parser;
using tvn_om::text_of;
using tvn_om_vocab::item_def;

// Overwrites a secret before its memory goes.
void wipe(std::string& s) {
    volatile char* p = s.data();
    for (size_t i = 0; i < s.size(); ++i) p[i] = 0;
    s.clear();
}

// One line of a stream without its line end.
bool read_line(std::istream& in, std::string& out) {
    if (!std::getline(in, out)) return false;
    if (!out.empty() && out.back() == '\r') out.pop_back();
    return true;
}

// The password: from --password-file, from standard input with
// --password-stdin, else typed at the terminal without echo.
std::string read_password(const option_parser& p, std::string& out) {
    if (p.has("password-file")) {
        std::ifstream in(p.get("password-file"));
        if (!in || !read_line(in, out)) return "cannot read the password file";
        return "";
    }
    if (p.has("password-stdin") || !::isatty(STDIN_FILENO)) {
        if (!read_line(std::cin, out)) return "no password on standard input";
        return "";
    }
    termios old{};
    ::tcgetattr(STDIN_FILENO, &old);
    termios quiet = old;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    std::fputs("Password: ", stderr);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    bool ok = read_line(std::cin, out);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &old);
    std::fputs("\n", stderr);
    return ok ? "" : "no password typed";
}

option_parser& password_options(option_parser& p, bool modify) {
    if (modify) p.flag("password", "set a new password (typed without echo)");
    return p.flag("password-stdin", "read the password from standard input")
        .option("password-file", "FILE", "read the password from the first line of FILE");
}

std::string add_password(const option_parser& p, om_request& req) {
    std::string secret;
    std::string problem = read_password(p, secret);
    if (problem.empty()) req.str(vocab::user_password.id, secret);
    wipe(secret);
    return problem;
}

// Text options sent as they are, a switch, a privilege list.
std::string add_common(const option_parser& p, std::span<const item_def* const> texts, const item_def* enabled,
                       om_request& req) {
    for (const item_def* item : texts) tvn_om::add_text(p, *item, req);
    if (enabled != nullptr)
        if (auto problem = tvn_om::add_switch(p, *enabled, req); !problem.empty()) return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

// A user or group by name or by RID.
option_parser ref_parser(const std::string& synopsis, const item_def& name, const item_def& rid) {
    option_parser p(synopsis);
    tvn_om::item_option(p, name);
    tvn_om::item_option(p, rid);
    return tvn_om::vstore_option(p);
}

std::string add_ref(const option_parser& p, const item_def& name, const item_def& rid, const item_def& by,
                    om_request& req) {
    const std::string n(name.key), r(rid.key);
    if (p.has(n) == p.has(r)) return "give either --" + n + " or --" + r;
    if (p.has(n)) req.str(name.id, p.get(n)).enumeration(by.id, 0);
    else req.str(rid.id, p.get(r)).enumeration(by.id, 1);
    tvn_om::add_vstore(p, req);
    return "";
}

// Filters of a list or count: --prefix and the command's own.
std::string add_filters(const option_parser& p, const std::vector<std::pair<std::string, std::string>>& keys,
                        bool list, const std::map<std::string, std::string>& sort_keys, om_request& req,
                        std::vector<std::pair<std::string, std::string>> conditions = {}) {
    for (const auto& [opt, key] : keys)
        if (p.has(opt)) conditions.emplace_back(key, p.get(opt));
    if (!conditions.empty()) req.str(tvn_om_common::kQuery.id, tvn_om::filter_json(conditions));
    if (list)
        if (auto problem = tvn_om::add_paging(p, sort_keys, req); !problem.empty()) return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

// ---- views ----------------------------------------------------------------------

void print_users(const om_request&, const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, vocab::user_sid.id) == nullptr) continue;
        rows.push_back({text_of(rec, vocab::user_name.id), text_of(rec, vocab::user_rid.id),
                        text_of(rec, vocab::user_sid.id), text_of(rec, vocab::user_enabled.id) == "true" ? "yes" : "no",
                        text_of(rec, vocab::user_privileges.id), text_of(rec, vocab::user_desc.id)});
    }
    tvn_om::print_table(out, {"NAME", "RID", "SID", "ENABLED", "PRIVILEGES", "DESCRIPTION"}, rows);
    if (rows.size() != 1) out << rows.size() << " users\n";
}

void print_groups(const om_request&, const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, vocab::group_sid.id) == nullptr) continue;
        uint32_t type = 0;
        tvn_om::parse_u32(text_of(rec, vocab::group_type.id), type);
        rows.push_back({text_of(rec, vocab::group_name.id), text_of(rec, vocab::group_rid.id),
                        text_of(rec, vocab::group_sid.id), std::string(vocab::group_type.word_of(type)),
                        text_of(rec, vocab::group_privileges.id), text_of(rec, vocab::group_desc.id)});
    }
    tvn_om::print_table(out, {"NAME", "RID", "SID", "TYPE", "PRIVILEGES", "DESCRIPTION"}, rows);
    if (rows.size() != 1) out << rows.size() << " groups\n";
}

void print_members(const om_request& request, const OmReply& reply, std::ostream& out) {
    if (request.has(vocab::member_user.id)) return print_groups(request, reply, out);
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record())
        rows.push_back({text_of(rec, vocab::member_name.id), text_of(rec, vocab::member_sid.id),
                        text_of(rec, vocab::member_rid.id)});
    tvn_om::print_table(out, {"MEMBER", "SID", "RID"}, rows);
    if (rows.size() != 1) out << rows.size() << " members\n";
}

void print_policy(const om_request&, const OmReply& reply, std::ostream& out) {
    if (reply.answer().record_size() == 0) return;
    const auto& rec = reply.answer().record(0);
    std::vector<std::vector<std::string>> rows;
    for (const auto& k : vocab::kPolicyKeys)
        if (tvn_om::find_item(rec, k.item->id) != nullptr) rows.push_back({k.key, text_of(rec, k.item->id)});
    rows.push_back({vocab::kSidPrefixKey, text_of(rec, vocab::pol_sid_prefix.id)});
    tvn_om::print_table(out, {"KEY", "VALUE"}, rows);
}

// ---- users ----------------------------------------------------------------------

const item_def* const kUserTexts[] = {&vocab::user_name, &vocab::user_rid, &vocab::user_desc, &vocab::user_privileges};
const item_def* const kUserModifyTexts[] = {&vocab::user_new_name, &vocab::user_desc, &vocab::user_privileges};

option_parser user_create_parser() {
    option_parser p("tvn_om win user create --name NAME [--rid RID] [options]  (password typed, or "
                    "--password-stdin / --password-file FILE)");
    tvn_om::item_option(p, vocab::user_name, true);
    for (const item_def* item : {&vocab::user_rid, &vocab::user_desc, &vocab::user_enabled, &vocab::user_privileges})
        tvn_om::item_option(p, *item);
    return tvn_om::vstore_option(password_options(p, false));
}

std::string user_create_build(const option_parser& p, om_request& req) {
    if (auto problem = add_common(p, kUserTexts, &vocab::user_enabled, req); !problem.empty()) return problem;
    return add_password(p, req);
}

option_parser user_modify_parser() {
    option_parser p = ref_parser("tvn_om win user modify (--name NAME | --rid RID) [options]", vocab::user_name,
                                 vocab::user_rid);
    for (const item_def* item : {&vocab::user_new_name, &vocab::user_desc, &vocab::user_enabled, &vocab::user_privileges})
        tvn_om::item_option(p, *item);
    return password_options(p, true);
}

std::string user_modify_build(const option_parser& p, om_request& req) {
    if (auto problem = add_ref(p, vocab::user_name, vocab::user_rid, vocab::user_by, req); !problem.empty())
        return problem;
    if (auto problem = add_common(p, kUserModifyTexts, &vocab::user_enabled, req); !problem.empty()) return problem;
    if (p.has("password") || p.has("password-stdin") || p.has("password-file")) return add_password(p, req);
    return "";
}

option_parser list_parser(const std::string& noun, bool list, const std::string& extra) {
    option_parser p("tvn_om win " + noun + (list ? " list" : " count") + " [--prefix TEXT]" + extra +
                    (list ? " [--offset N --limit N] [--sort name|rid [--desc]]" : ""));
    p.option("prefix", "TEXT", noun + "s whose name starts with the text").option("rid", "RID", "the " + noun + " of a RID");
    if (list) tvn_om::paging_options(p, noun, "name|rid");
    return tvn_om::vstore_option(p);
}

const std::map<std::string, std::string> kSortKeys = {{"name", "NAME"}, {"rid", "RID"}};

// ---- members ----------------------------------------------------------------------

option_parser member_parser(const std::string& verb) {
    option_parser p("tvn_om win member " + verb + " --group NAME --member NAME [--type user|group|ad-user|ad-group]");
    tvn_om::item_option(p, vocab::member_group, true);
    tvn_om::item_option(p, vocab::member_name, true);
    tvn_om::item_option(p, vocab::member_sid);
    tvn_om::item_option(p, vocab::member_type);
    return tvn_om::vstore_option(p);
}

std::string member_build(const option_parser& p, om_request& req) {
    for (const item_def* item : {&vocab::member_group, &vocab::member_name, &vocab::member_sid})
        tvn_om::add_text(p, *item, req);
    if (p.has("type")) {
        uint32_t type = 0;
        if (!tvn_om::word_or_number(p.get("type"), vocab::member_type, type))
            return "--type is not " + tvn_om_vocab::value_hint(vocab::member_type);
        req.enumeration(vocab::member_type.id, type);
    }
    tvn_om::add_vstore(p, req);
    return "";
}

option_parser member_list_parser(bool list) {
    option_parser p(list ? "tvn_om win member list (--group NAME [--prefix TEXT] [--type KIND] | --user NAME) "
                           "[--offset N --limit N]"
                         : "tvn_om win member count --group NAME [--prefix TEXT] [--type KIND]");
    tvn_om::item_option(p, vocab::member_group, !list);
    if (list) {
        tvn_om::item_option(p, vocab::member_user);
        p.option("offset", "N", "skip the first N").option("limit", "N", "at most N (default 100)");
    }
    tvn_om::item_option(p, vocab::member_type);
    p.option("prefix", "TEXT", "members whose name starts with the text");
    return tvn_om::vstore_option(p);
}

std::string member_list_build(const option_parser& p, om_request& req, bool list) {
    if (list && p.has("group") == p.has("user")) return "give either --group or --user";
    tvn_om::add_text(p, vocab::member_user, req);
    if (auto problem = member_build(p, req); !problem.empty()) return problem;
    return add_filters(p, {{"prefix", "NAME"}}, list, kSortKeys, req);
}

// ---- policy -------------------------------------------------------------------------

option_parser policy_set_parser() {
    option_parser p("tvn_om win policy set [--passwd-min-length N ...] [--sid-prefix S-1-5-21-...]");
    for (const auto& k : vocab::kPolicyKeys) tvn_om::item_option(p, *k.item);
    tvn_om::item_option(p, vocab::pol_sid_prefix);
    return tvn_om::vstore_option(p);
}

std::string policy_set_build(const option_parser& p, om_request& req) {
    std::vector<const item_def*> numbers;
    for (const auto& k : vocab::kPolicyKeys) numbers.push_back(k.item);
    if (auto problem = tvn_om::add_number_options(p, numbers, req); !problem.empty()) return problem;
    tvn_om::add_text(p, vocab::pol_sid_prefix, req);
    tvn_om::add_vstore(p, req);
    return "";
}

// ---- the command table ----------------------------------------------------------------

const auto& F = vocab::family;

tvn_om::command_info cmd(const tvn_om_vocab::command_def& c, tvn_om::parser_fn parser, tvn_om::build_fn build,
                         tvn_om::view_fn view) {
    return tvn_om::family_command(F, c, std::move(parser), std::move(build), std::move(view));
}

const tvn_om::group_registrar win_group({"win"}, std::string(F.title));
const tvn_om::group_registrar user_group({"win", "user"}, "local Windows users: create, modify, delete, show, list, count");
const tvn_om::group_registrar group_group({"win", "group"}, "local Windows groups: create, modify, delete, show, list, count");
const tvn_om::group_registrar member_group({"win", "member"}, "group memberships: add, remove, list, count");
const tvn_om::group_registrar policy_group({"win", "policy"}, "local account policy: show, set");

const tvn_om::command_registrar user_create(cmd(vocab::user_create, user_create_parser, user_create_build, print_users));
const tvn_om::command_registrar user_modify(
    cmd(vocab::user_modify, user_modify_parser, user_modify_build,
        tvn_om::print_changed("user", "modified", vocab::user_rid.id, vocab::user_name.id)));
const tvn_om::command_registrar user_delete(cmd(
    vocab::user_delete,
    [] { return ref_parser("tvn_om win user delete (--name NAME | --rid RID)", vocab::user_name, vocab::user_rid); },
    [](const option_parser& p, om_request& r) { return add_ref(p, vocab::user_name, vocab::user_rid, vocab::user_by, r); },
    tvn_om::print_changed("user", "deleted", vocab::user_rid.id, vocab::user_name.id)));
const tvn_om::command_registrar user_show(cmd(
    vocab::user_show,
    [] { return ref_parser("tvn_om win user show (--name NAME | --rid RID)", vocab::user_name, vocab::user_rid); },
    [](const option_parser& p, om_request& r) { return add_ref(p, vocab::user_name, vocab::user_rid, vocab::user_by, r); },
    print_users));
const tvn_om::command_registrar user_list(cmd(
    vocab::user_list, [] { return list_parser("user", true, ""); },
    [](const option_parser& p, om_request& r) {
        return add_filters(p, {{"prefix", "NAME"}, {"rid", "RID"}}, true, kSortKeys, r);
    },
    print_users));
const tvn_om::command_registrar user_count(cmd(
    vocab::user_count, [] { return list_parser("user", false, ""); },
    [](const option_parser& p, om_request& r) {
        return add_filters(p, {{"prefix", "NAME"}, {"rid", "RID"}}, false, kSortKeys, r);
    },
    tvn_om::print_count));

const item_def* const kGroupTexts[] = {&vocab::group_name, &vocab::group_rid, &vocab::group_desc,
                                       &vocab::group_privileges};
const item_def* const kGroupModifyTexts[] = {&vocab::group_new_name, &vocab::group_desc, &vocab::group_privileges};

const tvn_om::command_registrar group_create(cmd(
    vocab::group_create,
    [] {
        option_parser p("tvn_om win group create --name NAME [--rid RID] [--description TEXT] [--privileges LIST]");
        tvn_om::item_option(p, vocab::group_name, true);
        for (const item_def* item : {&vocab::group_rid, &vocab::group_desc, &vocab::group_privileges})
            tvn_om::item_option(p, *item);
        return tvn_om::vstore_option(p);
    },
    [](const option_parser& p, om_request& r) { return add_common(p, kGroupTexts, nullptr, r); }, print_groups));
const tvn_om::command_registrar group_modify(cmd(
    vocab::group_modify,
    [] {
        option_parser p = ref_parser("tvn_om win group modify (--name NAME | --rid RID) [options]", vocab::group_name,
                                     vocab::group_rid);
        for (const item_def* item : {&vocab::group_new_name, &vocab::group_desc, &vocab::group_privileges})
            tvn_om::item_option(p, *item);
        return p;
    },
    [](const option_parser& p, om_request& r) {
        if (auto problem = add_ref(p, vocab::group_name, vocab::group_rid, vocab::group_by, r); !problem.empty())
            return problem;
        return add_common(p, kGroupModifyTexts, nullptr, r);
    },
    tvn_om::print_changed("group", "modified", vocab::group_rid.id, vocab::group_name.id)));
const tvn_om::command_registrar group_delete(cmd(
    vocab::group_delete,
    [] { return ref_parser("tvn_om win group delete (--name NAME | --rid RID)", vocab::group_name, vocab::group_rid); },
    [](const option_parser& p, om_request& r) {
        return add_ref(p, vocab::group_name, vocab::group_rid, vocab::group_by, r);
    },
    tvn_om::print_changed("group", "deleted", vocab::group_rid.id, vocab::group_name.id)));
const tvn_om::command_registrar group_show(cmd(
    vocab::group_show,
    [] { return ref_parser("tvn_om win group show (--name NAME | --rid RID)", vocab::group_name, vocab::group_rid); },
    [](const option_parser& p, om_request& r) {
        return add_ref(p, vocab::group_name, vocab::group_rid, vocab::group_by, r);
    },
    print_groups));
const tvn_om::command_registrar group_list(cmd(
    vocab::group_list, [] { return list_parser("group", true, " [--type builtin|created]").option("type", "KIND", "builtin or created"); },
    [](const option_parser& p, om_request& r) {
        std::vector<std::pair<std::string, std::string>> type;
        if (p.has("type")) {
            auto value = vocab::group_type.value_of(p.get("type"));
            if (!value) return std::string("--type is not builtin|created");
            type.emplace_back("TYPE", std::to_string(*value));
        }
        return add_filters(p, {{"prefix", "NAME"}, {"rid", "RID"}}, true, kSortKeys, r, std::move(type));
    },
    print_groups));
const tvn_om::command_registrar group_count(cmd(
    vocab::group_count, [] { return list_parser("group", false, ""); },
    [](const option_parser& p, om_request& r) {
        return add_filters(p, {{"prefix", "NAME"}, {"rid", "RID"}}, false, kSortKeys, r);
    },
    tvn_om::print_count));

const tvn_om::command_registrar member_add(cmd(vocab::member_add, [] { return member_parser("add"); }, member_build,
                                               tvn_om::print_changed("member", "added", vocab::member_sid.id,
                                                                     vocab::member_name.id)));
const tvn_om::command_registrar member_remove(cmd(vocab::member_remove, [] { return member_parser("remove"); },
                                                  member_build,
                                                  tvn_om::print_changed("member", "removed", vocab::member_sid.id,
                                                                        vocab::member_name.id)));
const tvn_om::command_registrar member_list(cmd(
    vocab::member_list, [] { return member_list_parser(true); },
    [](const option_parser& p, om_request& r) { return member_list_build(p, r, true); }, print_members));
const tvn_om::command_registrar member_count(cmd(
    vocab::member_count, [] { return member_list_parser(false); },
    [](const option_parser& p, om_request& r) { return member_list_build(p, r, false); }, tvn_om::print_count));

const tvn_om::command_registrar policy_set(cmd(vocab::policy_set, policy_set_parser, policy_set_build,
                                               [](const om_request&, const OmReply&, std::ostream& out) {
                                                   out << "policy set\n";
                                               }));
const tvn_om::command_registrar policy_show(cmd(
    vocab::policy_show,
    [] {
        option_parser p("tvn_om win policy show [--vstore ID]");
        tvn_om::vstore_option(p);
        return p;
    },
    [](const option_parser& p, om_request& r) {
        tvn_om::add_vstore(p, r);
        return std::string();
    },
    print_policy));

}  // namespace
