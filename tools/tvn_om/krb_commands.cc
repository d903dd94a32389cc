// tvn_om krb ...: Kerberos realms, services on LIFs, keytabs, LIFs,
// encryption types, the GSS cache size and the kernel's Kerberos caches.
// Items, codes and value words come from the Kerberos family's
// declarations; the account password is never an argument.
#include <termios.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "family_cli.h"
#include "kerberos/tvn_omitf_kerberos_vocab.h"

namespace {

namespace vocab = tvn_krb::vocab;
using tvn_om::om_request;
using tvn_om::option_parser;
using tvn_om::text_of;
using tvn_om_vocab::item_def;

const auto& F = vocab::family;

option_parser with(option_parser p, std::initializer_list<std::pair<const item_def*, bool>> items) {
    for (auto [item, required] : items) tvn_om::item_option(p, *item, required);
    return tvn_om::vstore_option(p);
}

std::string add_texts(const option_parser& p, std::initializer_list<const item_def*> items, om_request& req) {
    for (const item_def* item : items) tvn_om::add_text(p, *item, req);
    tvn_om::add_vstore(p, req);
    return "";
}

// One record's items as "key: value" lines, in the order given.
tvn_om::view_fn print_fields(std::vector<const item_def*> items) {
    return [items](const om_request&, const OmReply& reply, std::ostream& out) {
        for (const auto& rec : reply.answer().record())
            for (const item_def* item : items)
                if (tvn_om::find_item(rec, item->id) != nullptr) {
                    std::string v = text_of(rec, item->id);
                    uint32_t n = 0;
                    if (!item->words.empty() && tvn_om::parse_u32(v, n) && !item->word_of(n).empty())
                        v = std::string(item->word_of(n));
                    out << (item->key.empty() ? std::string(item->meaning) : std::string(item->key)) << ": " << v
                        << "\n";
                }
    };
}

tvn_om::view_fn print_rows(std::vector<std::string> headers, std::vector<const item_def*> items, std::string noun) {
    return [headers, items, noun](const om_request&, const OmReply& reply, std::ostream& out) {
        std::vector<std::vector<std::string>> rows;
        for (const auto& rec : reply.answer().record()) {
            if (tvn_om::find_item(rec, items.front()->id) == nullptr) continue;
            std::vector<std::string> row;
            for (const item_def* item : items) {
                std::string v = text_of(rec, item->id);
                uint32_t n = 0;
                if (!item->words.empty() && tvn_om::parse_u32(v, n) && !item->word_of(n).empty())
                    v = std::string(item->word_of(n));
                row.push_back(v);
            }
            rows.push_back(std::move(row));
        }
        tvn_om::print_table(out, headers, rows);
        out << rows.size() << " " << noun << "\n";
    };
}

// "<noun> <name> <verb>", the name from the answer or else the request.
tvn_om::view_fn print_done(std::string noun, std::string verb, uint32_t name_item) {
    return [noun, verb, name_item](const om_request& request, const OmReply& reply, std::ostream& out) {
        std::string name;
        for (const auto& rec : reply.answer().record())
            if (tvn_om::find_item(rec, name_item) != nullptr) name = text_of(rec, name_item);
        if (name.empty())
            for (const auto& rec : request.message().record())
                if (tvn_om::find_item(rec, name_item) != nullptr) name = text_of(rec, name_item);
        out << noun << " " << name << " " << verb << "\n";
    };
}

// {"offset": N, "limit": N} from --offset/--limit into item `id`.
std::string add_range(const option_parser& p, uint32_t id, om_request& req) {
    if (!p.has("offset") && !p.has("limit")) return "";
    uint32_t offset = 0, limit = 100;
    if ((p.has("offset") && !tvn_om::parse_u32(p.get("offset"), offset)) ||
        (p.has("limit") && !tvn_om::parse_u32(p.get("limit"), limit)))
        return "--offset and --limit take numbers";
    req.str(id, "{\"offset\": " + std::to_string(offset) + ", \"limit\": " + std::to_string(limit) + "}");
    return "";
}
option_parser& range_options(option_parser& p) {
    return p.option("offset", "N", "skip the first N").option("limit", "N", "at most N (up to 100)");
}

// ---- realms ------------------------------------------------------------------------

const item_def* const kRealmItems[] = {&vocab::realm_name,   &vocab::realm_kdc_ip,    &vocab::realm_port,
                                       &vocab::realm_vendor, &vocab::realm_ad_server, &vocab::realm_ad_ip};

option_parser realm_parser(const std::string& verb, bool add) {
    option_parser p("tvn_om krb realm " + verb + " --name NAME" +
                    (add ? " --kdc-ip IP --vendor windows|non-windows" : "") + " [options]");
    return with(p, {{&vocab::realm_name, true},
                    {&vocab::realm_kdc_ip, add},
                    {&vocab::realm_port, false},
                    {&vocab::realm_vendor, add},
                    {&vocab::realm_ad_server, false},
                    {&vocab::realm_ad_ip, false}});
}
std::string realm_build(const option_parser& p, om_request& req) {
    add_texts(p, {&vocab::realm_name, &vocab::realm_kdc_ip, &vocab::realm_ad_server, &vocab::realm_ad_ip}, req);
    static const item_def* const numbers[] = {&vocab::realm_port, &vocab::realm_vendor};
    return tvn_om::add_number_options(p, numbers, req);
}
option_parser realm_name_parser(const std::string& verb, bool required) {
    return with(option_parser("tvn_om krb realm " + verb + " --name NAME [--vstore ID]"),
                {{&vocab::realm_name, required}});
}
std::string realm_name_build(const option_parser& p, om_request& req) {
    return add_texts(p, {&vocab::realm_name}, req);
}

const tvn_om::group_registrar krb_group({"krb"}, std::string(F.title));
const tvn_om::group_registrar realm_group({"krb", "realm"}, "Kerberos realms: add, modify, delete, show, list, count");
const tvn_om::group_registrar service_group({"krb", "service"}, "Kerberos on LIFs: enable, disable, show, list, count");
const tvn_om::group_registrar keytab_group({"krb", "keytab"}, "Keytab files: import");
const tvn_om::group_registrar lif_group({"krb", "lif"}, "LIFs Kerberos may use: list, count");
const tvn_om::group_registrar enctypes_group({"krb", "enctypes"}, "Allowed encryption types: show, set");
const tvn_om::group_registrar cache_size_group({"krb", "cache-size"}, "GSS cache size: show, set");
const tvn_om::group_registrar cache_group({"krb", "cache"}, "Kernel Kerberos caches (spn, user, context): clear");

const tvn_om::command_registrar realm_add(tvn_om::family_command(
    F, vocab::realm_add, [] { return realm_parser("add", true); }, realm_build,
    print_done("realm", "added", vocab::realm_name.id)));
const tvn_om::command_registrar realm_modify(tvn_om::family_command(
    F, vocab::realm_modify, [] { return realm_parser("modify", false); }, realm_build,
    print_done("realm", "modified", vocab::realm_name.id)));
const tvn_om::command_registrar realm_delete(tvn_om::family_command(
    F, vocab::realm_delete, [] { return realm_name_parser("delete", true); }, realm_name_build,
    print_done("realm", "deleted", vocab::realm_name.id)));
const tvn_om::command_registrar realm_show(tvn_om::family_command(
    F, vocab::realm_show, [] { return realm_name_parser("show", false); }, realm_name_build,
    print_fields({std::begin(kRealmItems), std::end(kRealmItems)})));
const tvn_om::command_registrar realm_list(tvn_om::family_command(
    F, vocab::realm_list,
    [] {
        option_parser p("tvn_om krb realm list [--offset N] [--limit N] [--vstore ID]");
        return tvn_om::vstore_option(range_options(p));
    },
    [](const option_parser& p, om_request& req) {
        tvn_om::add_vstore(p, req);
        return add_range(p, vocab::realm_range.id, req);
    },
    print_rows({"NAME", "KDC", "PORT", "VENDOR", "AD SERVER", "AD IP"},
               {std::begin(kRealmItems), std::end(kRealmItems)}, "realms")));
const tvn_om::command_registrar realm_count(tvn_om::family_command(
    F, vocab::realm_count,
    [] {
        option_parser p("tvn_om krb realm count [--vstore ID]");
        tvn_om::vstore_option(p);
        return p;
    },
    [](const option_parser& p, om_request& req) { return add_texts(p, {}, req); }, tvn_om::print_count));

// ---- services ----------------------------------------------------------------------

// The account password: from a file, from standard input, or typed at the
// terminal without echo. Never from the command line.
// Overwrites a secret before its buffer goes back to the allocator.
void wipe(std::string& secret) {
    volatile char* p = secret.data();
    for (size_t i = 0; i < secret.size(); ++i) p[i] = 0;
    secret.clear();
}

bool read_password(const option_parser& p, std::string& out) {
    std::string line;
    if (p.has("password-file")) {
        std::ifstream in(p.get("password-file"));
        if (!in || !std::getline(in, line)) return false;
    } else if (p.has("password-stdin") || !::isatty(STDIN_FILENO)) {
        if (!std::getline(std::cin, line)) return false;
    } else {
        termios old{};
        ::tcgetattr(STDIN_FILENO, &old);
        termios quiet = old;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        std::cerr << "Password: " << std::flush;
        ::tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
        bool got = static_cast<bool>(std::getline(std::cin, line));
        ::tcsetattr(STDIN_FILENO, TCSANOW, &old);
        std::cerr << "\n";
        if (!got) return false;
    }
    out.swap(line);
    return true;
}

option_parser service_change_parser(bool enable) {
    option_parser p(std::string("tvn_om krb service ") + (enable ? "enable" : "disable") + " --lif NAME" +
                    (enable ? " --spn SPN --account NAME" : " [--account NAME]") +
                    " [--password-file FILE | --password-stdin] [--overwrite on|off] [--vstore ID]");
    p.option("password-file", "FILE", "read the account password from FILE")
        .flag("password-stdin", "read the account password from standard input");
    return with(p, {{&vocab::service_lif, true},
                    {&vocab::service_spn, enable},
                    {&vocab::service_account, enable},
                    {&vocab::service_overwrite, false}});
}
tvn_om::build_fn service_change_build(bool enable) {
    return [enable](const option_parser& p, om_request& req) -> std::string {
        req.u32(vocab::service_switch.id, enable ? 1 : 0);
        add_texts(p, {&vocab::service_lif, &vocab::service_spn, &vocab::service_account}, req);
        if (auto problem = tvn_om::add_switch(p, vocab::service_overwrite, req); !problem.empty()) return problem;
        if (!enable && !p.has("account")) return "";
        std::string password;
        if (!read_password(p, password)) return "no password could be read";
        req.str(vocab::service_password.id, password);
        wipe(password);
        return "";
    };
}
constexpr tvn_om_vocab::command_def kEnable{"service enable", vocab::service_change.handler, vocab::service_change.code,
                                            0, "Enable Kerberos on a LIF"};
constexpr tvn_om_vocab::command_def kDisable{"service disable", vocab::service_change.handler,
                                             vocab::service_change.code, 0, "Disable Kerberos on a LIF"};
const item_def* const kServiceItems[] = {&vocab::service_lif, &vocab::service_spn, &vocab::service_realm};

const tvn_om::command_registrar service_enable(tvn_om::family_command(
    F, kEnable, [] { return service_change_parser(true); }, service_change_build(true),
    print_done("Kerberos on LIF", "enabled", vocab::service_lif.id)));
const tvn_om::command_registrar service_disable(tvn_om::family_command(
    F, kDisable, [] { return service_change_parser(false); }, service_change_build(false),
    print_done("Kerberos on LIF", "disabled", vocab::service_lif.id)));
const tvn_om::command_registrar service_show(tvn_om::family_command(
    F, vocab::service_show,
    [] {
        return with(option_parser("tvn_om krb service show --lif NAME [--vstore ID]"), {{&vocab::service_lif, true}});
    },
    [](const option_parser& p, om_request& req) { return add_texts(p, {&vocab::service_lif}, req); },
    print_fields({std::begin(kServiceItems), std::end(kServiceItems)})));
const tvn_om::command_registrar service_list(tvn_om::family_command(
    F, vocab::service_list,
    [] {
        option_parser p("tvn_om krb service list [--lif NAME | --spn SPN] [--realm NAME] [--offset N] [--limit N]");
        return with(range_options(p),
                    {{&vocab::service_lif, false}, {&vocab::service_spn, false}, {&vocab::service_realm, false}});
    },
    [](const option_parser& p, om_request& req) {
        add_texts(p, {&vocab::service_lif, &vocab::service_spn, &vocab::service_realm}, req);
        return add_range(p, tvn_om_common::kRange.id, req);
    },
    print_rows({"LIF", "SPN", "REALM"}, {std::begin(kServiceItems), std::end(kServiceItems)}, "services")));
const tvn_om::command_registrar service_count(tvn_om::family_command(
    F, vocab::service_count,
    [] {
        return with(option_parser("tvn_om krb service count [--realm NAME] [--vstore ID]"),
                    {{&vocab::service_realm, false}});
    },
    [](const option_parser& p, om_request& req) { return add_texts(p, {&vocab::service_realm}, req); },
    tvn_om::print_count));

// ---- keytabs, LIFs -----------------------------------------------------------------

const tvn_om::command_registrar keytab_import(tvn_om::family_command(
    F, vocab::keytab_import,
    [] {
        return with(option_parser("tvn_om krb keytab import --spn SPN --lif NAME --path FILE [--vstore ID]"),
                    {{&vocab::keytab_spn, true}, {&vocab::keytab_lif, true}, {&vocab::keytab_path, true}});
    },
    [](const option_parser& p, om_request& req) {
        return add_texts(p, {&vocab::keytab_spn, &vocab::keytab_lif, &vocab::keytab_path}, req);
    },
    print_fields({&vocab::keytab_dir})));

option_parser lif_parser(bool list) {
    option_parser p(list ? "tvn_om krb lif list [--name TEXT] [--offset N] [--limit N] [--vstore ID]"
                         : "tvn_om krb lif count [--name TEXT] [--vstore ID]");
    p.option("name", "TEXT", "LIFs whose name holds the text");
    if (list) range_options(p);
    tvn_om::vstore_option(p);
    return p;
}
std::string lif_build(const option_parser& p, om_request& req, bool list) {
    if (p.has("name")) req.str(tvn_om_common::kQuery.id, tvn_om::filter_json({{"lifName", p.get("name")}}));
    tvn_om::add_vstore(p, req);
    return list ? add_range(p, tvn_om_common::kRange.id, req) : "";
}
constexpr item_def kLifId{1, tvn_om_vocab::item_type::string, "id", "LIF id"};
const tvn_om::command_registrar lif_list(tvn_om::family_command(
    F, vocab::lif_list, [] { return lif_parser(true); },
    [](const option_parser& p, om_request& req) { return lif_build(p, req, true); },
    print_rows({"LIF", "ID"}, {&vocab::service_lif, &kLifId}, "LIFs")));
const tvn_om::command_registrar lif_count(tvn_om::family_command(
    F, vocab::lif_count, [] { return lif_parser(false); },
    [](const option_parser& p, om_request& req) { return lif_build(p, req, false); }, tvn_om::print_count));

// ---- settings and caches -----------------------------------------------------------

option_parser vstore_only(const std::string& usage) {
    option_parser p(usage);
    tvn_om::vstore_option(p);
    return p;
}
std::string vstore_build(const option_parser& p, om_request& req) { return add_texts(p, {}, req); }

const tvn_om::command_registrar enctypes_show(tvn_om::family_command(
    F, vocab::enctypes_show, [] { return vstore_only("tvn_om krb enctypes show [--vstore ID]"); }, vstore_build,
    print_fields({&vocab::encrypt_list})));
const tvn_om::command_registrar enctypes_set(tvn_om::family_command(
    F, vocab::enctypes_set,
    [] {
        return with(option_parser("tvn_om krb enctypes set --types LIST [--vstore ID]"),
                    {{&vocab::encrypt_list, true}});
    },
    [](const option_parser& p, om_request& req) { return add_texts(p, {&vocab::encrypt_list}, req); },
    print_fields({&vocab::encrypt_list})));
const tvn_om::command_registrar cache_size_show(tvn_om::family_command(
    F, vocab::cache_size_show, [] { return vstore_only("tvn_om krb cache-size show [--vstore ID]"); }, vstore_build,
    print_fields({&vocab::cache_size})));
const tvn_om::command_registrar cache_size_set(tvn_om::family_command(
    F, vocab::cache_size_set,
    [] {
        return with(option_parser("tvn_om krb cache-size set --size 20..100 [--vstore ID]"),
                    {{&vocab::cache_size, true}});
    },
    [](const option_parser& p, om_request& req) {
        static const item_def* const size[] = {&vocab::cache_size};
        tvn_om::add_vstore(p, req);
        return tvn_om::add_number_options(p, size, req);
    },
    print_fields({&vocab::cache_size})));
const tvn_om::command_registrar cache_clear(tvn_om::family_command(
    F, vocab::cache_clear,
    [] {
        return with(option_parser("tvn_om krb cache clear --type spn|user|context [--name NAME] [--vstore ID]"),
                    {{&vocab::cache_type, true}, {&vocab::cache_name, false}});
    },
    [](const option_parser& p, om_request& req) {
        return add_texts(p, {&vocab::cache_type, &vocab::cache_name}, req);
    },
    tvn_om::print_count));

}  // namespace
