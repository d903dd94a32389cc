// tvn_om ad ...: the AD domain commands (settings, join and leave, domain
// controllers, DNS resolver, security settings, connectivity tests,
// look-ups, sessions). Codes, options and words come from the family's
// declarations. A password is never an argument: it is read without echo
// from the terminal, or from standard input or a file when an option says so.
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <thread>

#include "auth/tvn_omitf_auth_vocab.h"
#include "family_cli.h"
#include "tvn_om_endpoint.h"

namespace {

namespace vocab = tvn_auth::vocab;
using tvn_om::om_request;
using tvn_om::option_parser;
using tvn_om::text_of;
using tvn_om_vocab::item_def;

tvn_om::command_info ad_command(const tvn_om_vocab::command_def& c, tvn_om::parser_fn parser,
                                tvn_om::build_fn build, tvn_om::view_fn view) {
    return tvn_om::family_command(vocab::family, c, std::move(parser), std::move(build), std::move(view));
}

option_parser with_vstore(option_parser p) { return tvn_om::vstore_option(p); }

std::string vstore_only(const option_parser& p, om_request& req) {
    tvn_om::add_vstore(p, req);
    return "";
}

// An enumeration option, by word or number.
std::string add_enum(const option_parser& p, const item_def& item, om_request& req) {
    std::string name(item.key);
    if (!p.has(name)) return "";
    uint32_t v = 0;
    if (!tvn_om::word_or_number(p.get(name), item, v)) return "--" + name + " is not " + tvn_om_vocab::value_hint(item);
    req.enumeration(item.id, v);
    return "";
}

// "name: value" lines of the items a record holds.
void print_fields(std::ostream& out, const OmRecord& rec, std::initializer_list<std::pair<const char*, uint32_t>> fields) {
    for (auto [label, id] : fields)
        if (tvn_om::find_item(rec, id) != nullptr) out << label << ": " << text_of(rec, id) << "\n";
}

void print_done(const om_request&, const OmReply&, std::ostream&) {}

const char* state_text(uint32_t state) {
    switch (state) {
        case tvn_auth::AD_STATE_NOT_JOINED: return "not joined";
        case tvn_auth::AD_STATE_JOINED: return "joined";
        case tvn_auth::AD_STATE_JOINING: return "join running";
        case tvn_auth::AD_STATE_LEAVING: return "leave running";
        default: return "unknown";
    }
}

const char* join_hint(uint32_t code) {
    for (const auto& h : tvn_auth::kJoinHints)
        if (h.om_code == code) return h.meaning;
    return "unknown error";
}

// ---- show and set -------------------------------------------------------------------

void print_ad(const om_request&, const OmReply& reply, std::ostream& out) {
    for (const auto& rec : reply.answer().record()) {
        print_fields(out, rec, {{"fqdn", vocab::ad_fqdn.id}, {"ou", vocab::ad_ou.id},
                                {"netbios-name", vocab::ad_nbname.id}, {"site", vocab::ad_site.id},
                                {"ntlm-level", vocab::ad_ntlm.id}, {"ddns", vocab::ad_ddns.id},
                                {"ddns-ttl", vocab::ad_ddns_ttl.id}, {"forwarding", vocab::ad_forwarding.id},
                                {"domain-cache", vocab::ad_dom_cache.id}, {"sid-history", vocab::ad_sid_history.id},
                                {"consistent-switch", vocab::ad_consistent.id},
                                {"session-threshold", vocab::ad_session_threshold.id}});
        uint32_t state = 0, error = 0;
        if (tvn_om::parse_u32(text_of(rec, vocab::ad_op.id), state))
            out << "join state: " << state << " (" << state_text(state) << ")\n";
        if (tvn_om::parse_u32(text_of(rec, vocab::ad_join_error.id), error) && error != 0)
            out << "last join error: " << error << " (" << join_hint(error) << ")\n";
    }
}

const item_def* const kSetNumbers[] = {&vocab::ad_ntlm, &vocab::ad_ddns_ttl, &vocab::ad_consistent,
                                       &vocab::ad_session_threshold};
const item_def* const kSetSwitches[] = {&vocab::ad_ddns, &vocab::ad_forwarding, &vocab::ad_dom_cache,
                                        &vocab::ad_sid_history};
const item_def* const kSetTexts[] = {&vocab::ad_fqdn, &vocab::ad_ou, &vocab::ad_nbname, &vocab::ad_site};

option_parser set_parser() {
    option_parser p("tvn_om ad set [--fqdn NAME] [--ou OU] [--netbios-name NAME] [--site SITE] [switches and numbers]");
    for (std::span<const item_def* const> group : {std::span<const item_def* const>(kSetTexts),
                                                   std::span<const item_def* const>(kSetNumbers),
                                                   std::span<const item_def* const>(kSetSwitches)})
        for (const item_def* i : group) tvn_om::item_option(p, *i);
    return tvn_om::vstore_option(p);
}

std::string set_build(const option_parser& p, om_request& req) {
    for (const item_def* i : kSetTexts) tvn_om::add_text(p, *i, req);
    if (auto problem = tvn_om::add_number_options(p, kSetNumbers, req); !problem.empty()) return problem;
    for (const item_def* i : kSetSwitches)
        if (auto problem = tvn_om::add_switch(p, *i, req); !problem.empty()) return problem;
    tvn_om::add_vstore(p, req);
    return "";
}

// ---- join and leave -------------------------------------------------------------------

// Reads a line without echo from the terminal.
bool read_from_terminal(std::string& out) {
    int fd = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return false;
    termios old{};
    bool restore = tcgetattr(fd, &old) == 0;
    if (restore) {
        termios quiet = old;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(fd, TCSAFLUSH, &quiet);
    }
    static constexpr char kPrompt[] = "Administrator password: ";
    (void)!write(fd, kPrompt, sizeof kPrompt - 1);
    char c = 0;
    while (read(fd, &c, 1) == 1 && c != '\n') out += c;
    (void)!write(fd, "\n", 1);
    if (restore) tcsetattr(fd, TCSAFLUSH, &old);
    close(fd);
    return true;
}

// The password: from --password-file, from standard input with
// --password-stdin, else from the terminal. "" or the problem.
std::string read_password(const option_parser& p, std::string& out) {
    if (p.has("password-file")) {
        std::ifstream in(p.get("password-file"));
        if (!in) return "cannot read " + p.get("password-file");
        std::getline(in, out);
    } else if (p.has("password-stdin")) {
        std::getline(std::cin, out);
    } else if (!read_from_terminal(out)) {
        return "no terminal to read the password from: use --password-stdin or --password-file";
    }
    if (!out.empty() && out.back() == '\r') out.pop_back();
    return out.empty() ? "the password is empty" : "";
}

option_parser join_parser(const std::string& verb) {
    option_parser p("tvn_om ad " + verb + " --account NAME [--password-stdin | --password-file FILE]" +
                    (verb == "join" ? " [--overwrite on|off]" : "") + " [--wait]");
    tvn_om::item_option(p, vocab::ad_account, true);
    p.flag("password-stdin", "read the password from standard input")
        .option("password-file", "FILE", "read the password from the first line of FILE")
        .flag("wait", "follow the operation until it ends");
    if (verb == "join") tvn_om::item_option(p, vocab::ad_overwrite);
    return tvn_om::vstore_option(p);
}

// One command sent, its reply decoded; the transport's exit status on failure.
int exchange(const tvn_om::global_options& opts, const om_request& req, OmReply& reply) {
    std::string bytes, raw;
    req.message().SerializeToString(&bytes);
    int32_t rc = tvn::om::call(opts.endpoint, bytes, opts.timeout_ms, &raw);
    if (rc == -3) return tvn_om::kExitTimeout;
    if (rc != 0 || !reply.ParseFromString(raw)) return tvn_om::kExitReply;
    return tvn_om::kExitOk;
}

// Follows the join state until no operation runs; prints the outcome.
int wait_for_join(const tvn_om::global_options& opts, const option_parser& p, uint32_t op) {
    om_request get(vocab::ad_get.code);
    tvn_om::add_vstore(p, get);
    const bool tty = isatty(STDERR_FILENO) != 0;
    const auto start = std::chrono::steady_clock::now();
    uint32_t last = ~0u;
    for (;;) {
        OmReply reply;
        if (int rc = exchange(opts, get, reply); rc != tvn_om::kExitOk) {
            std::cerr << "tvn_om: the join state could not be read\n";
            return rc;
        }
        uint32_t state = 0, error = 0;
        if (reply.result() != 0 || reply.answer().record_size() == 0 ||
            !tvn_om::parse_u32(text_of(reply.answer().record(0), vocab::ad_op.id), state)) {
            std::cerr << "tvn_om: the join state could not be read (result " << reply.result() << ")\n";
            return tvn_om::kExitReply;
        }
        tvn_om::parse_u32(text_of(reply.answer().record(0), vocab::ad_join_error.id), error);
        double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (state == tvn_auth::AD_STATE_JOINING || state == tvn_auth::AD_STATE_LEAVING) {
            if (tty)
                std::cerr << "\r" << state_text(state) << " (state " << state << "), " << static_cast<int>(secs)
                          << " s" << std::flush;
            else if (state != last)
                std::cerr << state_text(state) << " (state " << state << ")\n";
            last = state;
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            continue;
        }
        if (tty && last != ~0u) std::cerr << "\n";
        std::cout << state_text(state) << " (state " << state << ")\n";
        const bool wanted = state == (op == tvn_auth::AD_OP_JOIN ? tvn_auth::AD_STATE_JOINED : tvn_auth::AD_STATE_NOT_JOINED);
        if (error != 0) std::cout << "join error " << error << ": " << join_hint(error) << "\n";
        return wanted && error == 0 ? tvn_om::kExitOk : tvn_om::kExitReply;
    }
}

tvn_om::command_info join_command(const std::string& verb, uint32_t op) {
    tvn_om::command_info info;
    info.path = {"ad", verb};
    info.summary = op == tvn_auth::AD_OP_JOIN ? "Join the domain (the password is never an argument)"
                                              : "Leave the domain";
    info.help = [verb] { return join_parser(verb).help(); };
    info.run = [verb, op](const tvn_om::global_options& opts, const std::vector<std::string>& args) {
        option_parser p = join_parser(verb);
        if (int rc = p.parse(args); rc != tvn_om::kExitOk) return rc;
        if (!p.positional().empty()) return tvn_om::usage_error("unexpected argument '" + p.positional()[0] + "'", p.help());
        om_request req(vocab::ad_modify.code);
        tvn_om::add_text(p, vocab::ad_account, req);
        if (auto problem = tvn_om::add_switch(p, vocab::ad_overwrite, req); !problem.empty())
            return tvn_om::usage_error(problem, p.help());
        std::string password;
        if (auto problem = read_password(p, password); !problem.empty()) return tvn_om::usage_error(problem, p.help());
        req.str(vocab::ad_password.id, password);
        explicit_bzero(password.data(), password.size());
        req.u32(vocab::ad_op.id, op);
        tvn_om::add_vstore(p, req);
        int rc = tvn_om::send_and_print(opts, req.message(), [](const OmReply&, std::ostream&) {});
        // The request's copy of the password goes as soon as it is sent.
        for (auto& item : *req.message().mutable_record(0)->mutable_item())
            if (item.id() == vocab::ad_password.id) explicit_bzero(item.mutable_str()->data(), item.str().size());
        if (rc != tvn_om::kExitOk || !p.has("wait")) return rc;
        return wait_for_join(opts, p, op);
    };
    return info;
}

// ---- domain controllers ------------------------------------------------------------------

void print_dcs(const om_request&, const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    auto yes = [](const std::string& v) { return v == "true" ? "yes" : "no"; };
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, vocab::dc_name.id) == nullptr) continue;
        rows.push_back({text_of(rec, vocab::dc_name.id), text_of(rec, vocab::dc_fqdn.id), text_of(rec, vocab::dc_ip.id),
                        text_of(rec, vocab::dc_site.id), text_of(rec, vocab::dc_priority.id),
                        text_of(rec, vocab::dc_weight.id), yes(text_of(rec, vocab::dc_writeable.id)),
                        yes(text_of(rec, vocab::dc_primedc.id)), yes(text_of(rec, vocab::dc_alived.id))});
    }
    tvn_om::print_table(out, {"NAME", "FQDN", "ADDRESS", "SITE", "PRIORITY", "WEIGHT", "WRITEABLE", "PDC", "ALIVE"}, rows);
}

option_parser dc_list_parser() {
    option_parser p("tvn_om ad dc list [--mode cache|detect-one|detect-all] [--ip ADDRESS]");
    tvn_om::item_option(p, vocab::dc_mode);
    tvn_om::item_option(p, vocab::dc_ip);
    return tvn_om::vstore_option(p);
}

std::string dc_list_build(const option_parser& p, om_request& req) {
    const item_def* const mode[] = {&vocab::dc_mode};
    if (auto problem = tvn_om::add_number_options(p, mode, req); !problem.empty()) return problem;
    tvn_om::add_text(p, vocab::dc_ip, req);
    tvn_om::add_vstore(p, req);
    return "";
}

// A command of some text options and the vStore.
tvn_om::parser_fn texts_parser(std::string synopsis, std::vector<const item_def*> items, bool required = false) {
    return [synopsis, items, required] {
        option_parser p(synopsis);
        for (const item_def* i : items) tvn_om::item_option(p, *i, required);
        return tvn_om::vstore_option(p);
    };
}
tvn_om::build_fn texts_build(std::vector<const item_def*> items) {
    return [items](const option_parser& p, om_request& req) {
        for (const item_def* i : items) tvn_om::add_text(p, *i, req);
        tvn_om::add_vstore(p, req);
        return std::string();
    };
}

// "label: value" of fixed items of the first record.
tvn_om::view_fn print_items(std::vector<std::pair<const char*, uint32_t>> fields) {
    return [fields](const om_request&, const OmReply& reply, std::ostream& out) {
        for (const auto& rec : reply.answer().record())
            for (auto [label, id] : fields)
                if (tvn_om::find_item(rec, id) != nullptr) out << label << ": " << text_of(rec, id) << "\n";
    };
}

// ---- connectivity, look-ups, sessions --------------------------------------------------------

tvn_om::view_fn print_rows(std::vector<std::string> headers, std::vector<uint32_t> ids) {
    return [headers, ids](const om_request&, const OmReply& reply, std::ostream& out) {
        std::vector<std::vector<std::string>> rows;
        for (const auto& rec : reply.answer().record()) {
            std::vector<std::string> row;
            bool any = false;
            for (uint32_t id : ids) {
                row.push_back(text_of(rec, id));
                any = any || !row.back().empty();
            }
            if (any) rows.push_back(row);
        }
        tvn_om::print_table(out, headers, rows);
    };
}

option_parser lookup_account_parser() {
    option_parser p("tvn_om ad lookup account (--name NAME | --sid SID) [--source local|ad|...|all]");
    for (const item_def* i : {&vocab::acct_name, &vocab::acct_sid, &vocab::acct_dest}) tvn_om::item_option(p, *i);
    return tvn_om::vstore_option(p);
}
std::string lookup_account_build(const option_parser& p, om_request& req) {
    if (p.has("name") == p.has("sid")) return "give either --name or --sid";
    tvn_om::add_text(p, vocab::acct_name, req);
    tvn_om::add_text(p, vocab::acct_sid, req);
    return add_enum(p, vocab::acct_dest, req) + vstore_only(p, req);
}

option_parser lookup_host_parser() {
    option_parser p("tvn_om ad lookup host (--name HOST | --ip ADDRESS) [--source dns|...]");
    for (const item_def* i : {&vocab::host_name, &vocab::host_ip, &vocab::host_dest}) tvn_om::item_option(p, *i);
    return tvn_om::vstore_option(p);
}
std::string lookup_host_build(const option_parser& p, om_request& req) {
    if (p.has("name") == p.has("ip")) return "give either --name or --ip";
    tvn_om::add_text(p, vocab::host_name, req);
    tvn_om::add_text(p, vocab::host_ip, req);
    return add_enum(p, vocab::host_dest, req) + vstore_only(p, req);
}

option_parser source_parser() {
    option_parser p("tvn_om ad source (--name DOMAIN\\\\NAME | --sid SID) [--type user|group]");
    for (const item_def* i : {&vocab::src_name, &vocab::src_sid, &vocab::src_type}) tvn_om::item_option(p, *i);
    return tvn_om::vstore_option(p);
}
std::string source_build(const option_parser& p, om_request& req) {
    tvn_om::add_text(p, vocab::src_name, req);
    tvn_om::add_text(p, vocab::src_sid, req);
    return add_enum(p, vocab::src_type, req) + vstore_only(p, req);
}

option_parser test_parser(const std::string& what, std::vector<const item_def*> items) {
    option_parser p("tvn_om ad test " + what + " [options]");
    for (const item_def* i : items) tvn_om::item_option(p, *i);
    return tvn_om::vstore_option(p);
}
std::string test_build(const option_parser& p, om_request& req) {
    for (const item_def* i : {&vocab::test_fqdn, &vocab::test_address}) tvn_om::add_text(p, *i, req);
    const item_def* const numbers[] = {&vocab::test_node, &vocab::test_port};
    if (auto problem = tvn_om::add_number_options(p, numbers, req); !problem.empty()) return problem;
    return vstore_only(p, req);
}

option_parser security_set_parser() {
    option_parser p("tvn_om ad security set [--ntlm-level 0-6] [--session-key-cache on|off]");
    tvn_om::item_option(p, vocab::sec_ntlm);
    tvn_om::item_option(p, vocab::sec_session_key_cache);
    return tvn_om::vstore_option(p);
}
std::string security_set_build(const option_parser& p, om_request& req) {
    if (auto problem = add_enum(p, vocab::sec_ntlm, req); !problem.empty()) return problem;
    if (auto problem = tvn_om::add_switch(p, vocab::sec_session_key_cache, req); !problem.empty()) return problem;
    return vstore_only(p, req);
}

// ---- the command table -----------------------------------------------------------------------

const auto done = print_done;
const tvn_om::group_registrar ad_group({"ad"}, std::string(vocab::family.title));
const tvn_om::group_registrar dc_group({"ad", "dc"}, "Domain controllers");
const tvn_om::group_registrar pref_group({"ad", "pref-dc"}, "The preferred domain controller: show, set, delete");
const tvn_om::group_registrar dns_group({"ad", "dns"}, "DNS servers and search domains: show, set, delete");
const tvn_om::group_registrar test_group({"ad", "test"}, "Connectivity tests: ad, dns, ldap, nis");
const tvn_om::group_registrar lookup_group({"ad", "lookup"}, "Look-ups: account, host");
const tvn_om::group_registrar security_group({"ad", "security"}, "NTLM security settings: show, set");

const tvn_om::command_registrar r_show(ad_command(vocab::ad_get, [] { return with_vstore(option_parser("tvn_om ad show [--vstore ID]")); }, vstore_only, print_ad));
const tvn_om::command_registrar r_set(ad_command(vocab::ad_modify, set_parser, set_build, done));
const tvn_om::command_registrar r_join(join_command("join", tvn_auth::AD_OP_JOIN));
const tvn_om::command_registrar r_leave(join_command("leave", tvn_auth::AD_OP_LEAVE));
const tvn_om::command_registrar r_dc(ad_command(vocab::dc_list, dc_list_parser, dc_list_build, print_dcs));
const tvn_om::command_registrar r_pref_show(ad_command(vocab::pref_dc_get, [] { return with_vstore(option_parser("tvn_om ad pref-dc show [--vstore ID]")); }, vstore_only, print_items({{"preferred dc", vocab::pref_dc_name.id}})));
const tvn_om::command_registrar r_pref_set(ad_command(vocab::pref_dc_set, texts_parser("tvn_om ad pref-dc set --name DC", {&vocab::pref_dc_name}, true), texts_build({&vocab::pref_dc_name}), done));
const tvn_om::command_registrar r_pref_delete(ad_command(vocab::pref_dc_delete, [] { return with_vstore(option_parser("tvn_om ad pref-dc delete [--vstore ID]")); }, vstore_only, done));
const tvn_om::command_registrar r_dns_show(ad_command(vocab::dns_get, [] { return with_vstore(option_parser("tvn_om ad dns show [--vstore ID]")); }, vstore_only, print_items({{"servers", vocab::dns_servers.id}, {"domains", vocab::dns_domains.id}})));
const tvn_om::command_registrar r_dns_set(ad_command(vocab::dns_set, texts_parser("tvn_om ad dns set [--servers A,B,C] [--domains D1,D2]", {&vocab::dns_servers, &vocab::dns_domains}), texts_build({&vocab::dns_servers, &vocab::dns_domains}), done));
const tvn_om::command_registrar r_dns_delete(ad_command(vocab::dns_delete, [] { return with_vstore(option_parser("tvn_om ad dns delete [--vstore ID]")); }, vstore_only, done));
const tvn_om::command_registrar r_refresh(ad_command(
    vocab::refresh, [] { option_parser p("tvn_om ad refresh --what dc|domain-cache|ddns|config-cache"); tvn_om::item_option(p, vocab::update_what, true); return tvn_om::vstore_option(p); },
    [](const option_parser& p, om_request& req) { return add_enum(p, vocab::update_what, req) + vstore_only(p, req); }, done));
const auto elapsed_view = print_items({{"elapsed ms", vocab::test_elapsed.id}});
const tvn_om::command_registrar r_test_ad(ad_command(vocab::test_ad, [] { return test_parser("ad", {&vocab::test_fqdn, &vocab::test_node}); }, test_build, elapsed_view));
const tvn_om::command_registrar r_test_dns(ad_command(vocab::test_dns, [] { return test_parser("dns", {&vocab::test_address}); }, test_build, elapsed_view));
const tvn_om::command_registrar r_test_ldap(ad_command(vocab::test_ldap, [] { return test_parser("ldap", {&vocab::test_address, &vocab::test_port}); }, test_build, elapsed_view));
const tvn_om::command_registrar r_test_nis(ad_command(vocab::test_nis, [] { return test_parser("nis", {&vocab::test_address}); }, test_build, elapsed_view));
const tvn_om::command_registrar r_lookup_account(ad_command(vocab::lookup_account, lookup_account_parser, lookup_account_build,
    print_items({{"name", vocab::acct_name.id}, {"sid", vocab::acct_sid.id}, {"id", vocab::acct_id.id}, {"group", vocab::acct_is_group.id}, {"domain", vocab::acct_domain.id}, {"domain sid", vocab::acct_domain_sid.id}})));
const tvn_om::command_registrar r_lookup_host(ad_command(vocab::lookup_host, lookup_host_parser, lookup_host_build,
    print_rows({"NAME", "ADDRESS"}, {vocab::host_name.id, vocab::host_ip.id})));
const tvn_om::command_registrar r_source(ad_command(vocab::ad_source, source_parser, source_build,
    print_items({{"name", vocab::src_name.id}, {"sid", vocab::src_sid.id}, {"type", vocab::src_type.id}, {"id", vocab::src_id.id}})));
const tvn_om::command_registrar r_sessions(ad_command(vocab::sessions, [] { return with_vstore(option_parser("tvn_om ad sessions [--vstore ID]")); }, vstore_only,
    print_rows({"PEER", "SESSION"}, {vocab::session_ip.id, vocab::session_info.id})));
const tvn_om::command_registrar r_sec_show(ad_command(vocab::security_get, [] { return with_vstore(option_parser("tvn_om ad security show [--vstore ID]")); }, vstore_only,
    print_items({{"ntlm-level", vocab::sec_ntlm.id}, {"session-key-cache", vocab::sec_session_key_cache.id}})));
const tvn_om::command_registrar r_sec_set(ad_command(vocab::security_set, security_set_parser, security_set_build, done));

}  // namespace
