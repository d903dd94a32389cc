// tvn_om nfs share ... and tvn_om nfs client ...: the NFS share and client
// permission commands with named options and readable tables.
#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <sstream>

#include "tvn_om_cli.h"

namespace {

using tvn_om::global_options;
using tvn_om::om_request;
using tvn_om::option_parser;

// Operation codes (the first of the two each command is registered under).
constexpr uint64_t kShareCreate = 0xd40114000ULL;
constexpr uint64_t kShareDelete = 0xd40116000ULL;
constexpr uint64_t kShareGet = 0xd40110000ULL;
constexpr uint64_t kShareModify = 0xd40112000ULL;
constexpr uint64_t kShareList = 0xd4011c000ULL;
constexpr uint64_t kShareCount = 0xd4011e000ULL;
constexpr uint64_t kClientCreate = 0xd40194000ULL;
constexpr uint64_t kClientDelete = 0xd40196000ULL;
constexpr uint64_t kClientGet = 0xd40190000ULL;
constexpr uint64_t kClientModify = 0xd40192000ULL;
constexpr uint64_t kClientList = 0xd4019c000ULL;
constexpr uint64_t kClientCount = 0xd4019e000ULL;

// ---- error meanings ------------------------------------------------------------

struct meaning_registrar {
    meaning_registrar() {
        const std::pair<int32_t, const char*> own[] = {
            {-14001, "the share path could not be read"},
            {-14020, "no share of that name (or neither share id nor share name given)"},
            {-14040, "the client name is empty or longer than 255 characters"},
            {-14042, "an NFS client option is missing or outside its values"},
            {-14043, "nothing to modify: no NFS client option given"},
            {-14053, "the client's host name does not resolve"},
            {-14073, "no share path given"},
            {-14074, "share or client permission id missing or invalid"},
            {-14075, "client permission id invalid"},
            {-14078, "file system or dtree id invalid, or file system name not found"},
            {-14082, "unknown or malformed query condition"},
            {static_cast<int32_t>(0xBFFE6FD9u), "hyper pair is not ready"},
            {static_cast<int32_t>(0xBFFE6FA9u), "hyper pair does not exist"},
            {static_cast<int32_t>(0xBFFE6FD2u), "file system remotely copied data alternately"},
        };
        for (const auto& [code, text] : own) tvn_om::register_error_meaning(code, text);
        // Codes every family uses; another family may have said it already.
        const std::pair<int32_t, const char*> common[] = {
            {-1, "an item could not be read or written"},
            {-3, "no answer from the daemon in time"},
            {-5, "invalid parameter (tenant id text, range or combination)"},
            {-6, "out of memory"},
            {-7, "anonymous id out of range"},
            {-22, "invalid parameter"},
        };
        for (const auto& [code, text] : common)
            if (tvn_om::error_meaning(code).empty()) tvn_om::register_error_meaning(code, text);
    }
} meanings;

// ---- option values -------------------------------------------------------------

// A value given as one of its words or as the number itself.
bool word_or_number(const std::string& text, const std::map<std::string, uint32_t>& words, uint32_t& out) {
    auto it = words.find(text);
    if (it != words.end()) {
        out = it->second;
        return true;
    }
    return tvn_om::parse_u32(text, out);
}

const std::map<std::string, uint32_t> kOnOff = {{"on", 1}, {"off", 0}, {"yes", 1}, {"no", 0}};
const std::map<std::string, uint32_t> kAccess = {{"ro", 0}, {"rw", 1}, {"na", 5}};
const std::map<std::string, uint32_t> kYes0 = {{"yes", 0}, {"no", 1}};
const std::map<std::string, uint32_t> kWriteMode = {{"sync", 0}, {"async", 1}};
const std::map<std::string, uint32_t> kChown = {{"restricted", 0}, {"unrestricted", 1}};
const std::map<std::string, uint32_t> kV4Acl = {{"enable", 0}, {"disable", 1}};
const std::map<std::string, uint32_t> kNtfsUnix = {{"fail", 0}, {"ignore", 1}};
const std::map<std::string, uint32_t> kSec = {{"unix", 0}, {"none", 1}, {"none:unix", 2}};

// A named option that becomes one unsigned item.
struct number_option {
    const char* name;
    const char* value_name;
    const char* help;
    uint32_t item;
    const std::map<std::string, uint32_t>* words;
};

const number_option kClientOptions[] = {
    {"access", "ro|rw|na", "access of the client", 65, &kAccess},
    {"all-squash", "yes|no", "map every user to the anonymous user", 68, &kYes0},
    {"root-squash", "yes|no", "map root to the anonymous user", 69, &kYes0},
    {"secure", "yes|no", "require a privileged source port", 70, &kYes0},
    {"charset", "N", "character set id (65535: not set)", 71, nullptr},
    {"anon-id", "N", "anonymous user and group id (65534: not set)", 72, nullptr},
    {"chown", "restricted|unrestricted", "chown mode", 73, &kChown},
    {"v4acl-preserve", "enable|disable", "keep NFSv4 ACLs", 74, &kV4Acl},
    {"ntfs-unix-sec", "fail|ignore", "NTFS/Unix security operations", 75, &kNtfsUnix},
    {"sec", "unix|none|none:unix", "security type", 77, &kSec},
    {"krb5", "ro|rw|na", "access with Kerberos 5", 78, &kAccess},
    {"krb5i", "ro|rw|na", "access with Kerberos 5i", 79, &kAccess},
    {"krb5p", "ro|rw|na", "access with Kerberos 5p", 80, &kAccess},
};

// Adds the numbered options that were given. "" or the problem.
std::string add_number_options(const option_parser& p, const number_option* begin, const number_option* end,
                               om_request& req) {
    for (const number_option* o = begin; o != end; ++o) {
        if (!p.has(o->name)) continue;
        uint32_t value = 0;
        bool ok = o->words != nullptr ? word_or_number(p.get(o->name), *o->words, value)
                                      : tvn_om::parse_u32(p.get(o->name), value);
        if (!ok) return "--" + std::string(o->name) + ": '" + p.get(o->name) + "' is not " + o->value_name;
        req.u32(o->item, value);
    }
    return "";
}

// A switch item sent as a boolean.
std::string add_switch(const option_parser& p, const char* name, uint32_t item, om_request& req) {
    if (!p.has(name)) return "";
    uint32_t value = 0;
    if (!word_or_number(p.get(name), kOnOff, value) || value > 1)
        return "--" + std::string(name) + ": '" + p.get(name) + "' is not on or off";
    req.flag(item, value == 1);
    return "";
}

// The switches a share create and modify both take.
std::string add_share_switches(const option_parser& p, om_request& req) {
    for (auto [name, item] : {std::pair{"snapshot", 93u}, {"freeze", 91u}, {"fh-alignment", 101u}})
        if (auto problem = add_switch(p, name, item, req); !problem.empty()) return problem;
    return "";
}

void add_vstore(const option_parser& p, om_request& req) {
    if (p.has("vstore")) req.str(4090, p.get("vstore"));
}

std::string filter_json(const std::vector<std::pair<std::string, std::string>>& conditions) {
    nlohmann::ordered_json j = nlohmann::ordered_json::object();
    for (const auto& [key, value] : conditions) j[key] = value;
    return j.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

// --offset/--limit, --sort/--desc and --after of the list commands.
std::string add_paging(const option_parser& p, const std::map<std::string, std::string>& sort_keys,
                       om_request& req) {
    if (p.has("offset") || p.has("limit")) {
        uint32_t offset = 0, limit = 100;
        if (p.has("offset") && !tvn_om::parse_u32(p.get("offset"), offset)) return "--offset is not a number";
        if (p.has("limit") && !tvn_om::parse_u32(p.get("limit"), limit)) return "--limit is not a number";
        nlohmann::ordered_json j;
        j["offset"] = offset;
        j["limit"] = limit;
        req.str(24, j.dump());
    }
    if (p.has("sort") || p.has("desc")) {
        std::string key = p.get("sort", sort_keys.begin()->first);
        auto it = sort_keys.find(key);
        if (it == sort_keys.end()) return "--sort: '" + key + "' is not a sort key";
        nlohmann::ordered_json j;
        j["sortKey"] = it->second;
        if (p.has("desc")) j["sortType"] = 1;
        req.str(23, j.dump());
    }
    if (p.has("after")) req.str(1, p.get("after"));
    return "";
}

// The options add_paging reads; `noun` names one record of the list.
option_parser& paging_options(option_parser& p, const std::string& noun, const std::string& sort_keys) {
    return p.option("offset", "N", "skip the first N " + noun + "s")
        .option("limit", "N", "at most N " + noun + "s (default 100 with --offset)")
        .option("sort", sort_keys, "order of the list")
        .flag("desc", "descending order")
        .option("after", "ID", "continue after this " + noun + " (cursor)");
}

// What a list or count request ends with: the page of a list, the vStore.
std::string add_list_tail(const option_parser& p, bool list, const std::map<std::string, std::string>& sort_keys,
                          om_request& req) {
    if (list)
        if (auto problem = add_paging(p, sort_keys, req); !problem.empty()) return problem;
    add_vstore(p, req);
    return "";
}

// ---- readable views ----------------------------------------------------------------

std::string text_of(const OmRecord& rec, uint32_t id) {
    const OmItem* item = tvn_om::find_item(rec, id);
    return item != nullptr ? tvn_om::item_value_text(*item) : "";
}

// "name=on" or "name=off" for a switch the record carries, else "".
std::string switch_text(const OmRecord& rec, uint32_t id, const char* name) {
    const OmItem* item = tvn_om::find_item(rec, id);
    if (item == nullptr) return "";
    return std::string(name) + "=" + (tvn_om::item_value_text(*item) == "true" ? "on" : "off");
}

void print_shares(const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, 1) == nullptr) continue;
        std::string fs = text_of(rec, 65);
        std::string fsname = text_of(rec, 98);
        if (!fsname.empty()) fs += " (" + fsname + ")";
        std::string dtree = text_of(rec, 99);
        if (size_t at = dtree.find('@'); at != std::string::npos) dtree = dtree.substr(0, at);
        std::string switches;
        for (std::string part : {switch_text(rec, 93, "snapshot"), switch_text(rec, 91, "freeze"),
                                 switch_text(rec, 101, "fh-align"),
                                 tvn_om::find_item(rec, 92) != nullptr ? "audit=" + text_of(rec, 92) : ""})
            if (!part.empty()) switches += (switches.empty() ? "" : " ") + part;
        rows.push_back({text_of(rec, 1), text_of(rec, 64), fs, dtree, text_of(rec, 9), switches});
    }
    tvn_om::print_table(out, {"SHARE ID", "PATH", "FILE SYSTEM", "DTREE", "DESCRIPTION", "SWITCHES"}, rows);
    if (rows.size() != 1) out << rows.size() << " shares\n";
}

std::string access_word(const std::string& number) {
    if (number == "0") return "ro";
    if (number == "1") return "rw";
    if (number == "5") return "na";
    return number;
}

void print_clients(const OmReply& reply, std::ostream& out) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& rec : reply.answer().record()) {
        if (tvn_om::find_item(rec, 1) == nullptr) continue;
        if (tvn_om::find_item(rec, 2) == nullptr) {
            // An answer that only names the permission (create, modify, delete).
            rows.push_back({text_of(rec, 1), "", "", "", "", "", ""});
            continue;
        }
        std::string share = text_of(rec, 4);
        if (!text_of(rec, 64).empty()) share += " (" + text_of(rec, 64) + ")";
        std::string squash = std::string(text_of(rec, 68) == "0" ? "all_squash" : "no_all_squash") + "," +
                             (text_of(rec, 69) == "0" ? "root_squash" : "no_root_squash");
        if (text_of(rec, 72) != "65534" && !text_of(rec, 72).empty()) squash += ",anon=" + text_of(rec, 72);
        static const char* const kSecWords[] = {"unix", "none", "none:unix"};
        std::string sec = text_of(rec, 77);
        uint32_t sec_n = 0;
        std::string security = "sec=" + (tvn_om::parse_u32(sec, sec_n) && sec_n < 3 ? std::string(kSecWords[sec_n]) : sec);
        security += text_of(rec, 70) == "0" ? ",secure" : ",insecure";
        security += ",krb5=" + access_word(text_of(rec, 78)) + "/" + access_word(text_of(rec, 79)) + "/" +
                    access_word(text_of(rec, 80));
        rows.push_back({text_of(rec, 1), text_of(rec, 2), share, access_word(text_of(rec, 65)),
                        text_of(rec, 66) == "1" ? "async" : "sync", squash, security});
    }
    tvn_om::print_table(out, {"CLIENT ID", "CLIENT", "SHARE", "ACCESS", "WRITE", "SQUASH", "SECURITY"}, rows);
    if (rows.size() != 1) out << rows.size() << " clients\n";
}

void print_count(const OmReply& reply, std::ostream& out) {
    for (const auto& rec : reply.answer().record())
        if (tvn_om::find_item(rec, 10) != nullptr) out << "count: " << text_of(rec, 10) << "\n";
}

// ---- commands ---------------------------------------------------------------------

using parser_fn = std::function<option_parser()>;
using build_fn = std::function<std::string(const option_parser&, om_request&)>;

// A command: its option parser, how its options become items, and its view.
tvn_om::command_info make_command(std::vector<std::string> path, std::string summary, parser_fn parser,
                                  uint64_t opcode, build_fn build, tvn_om::answer_printer printer) {
    tvn_om::command_info info;
    info.path = std::move(path);
    info.summary = std::move(summary);
    info.help = [parser] { return parser().help(); };
    info.run = [parser, opcode, build, printer](const global_options& opts, const std::vector<std::string>& args) {
        option_parser p = parser();
        if (int rc = p.parse(args); rc != tvn_om::kExitOk) return rc;
        if (!p.positional().empty()) return tvn_om::usage_error("unexpected argument '" + p.positional()[0] + "'", p.help());
        om_request req(opcode);
        std::string problem = build(p, req);
        if (!problem.empty()) return tvn_om::usage_error(problem, p.help());
        return tvn_om::send_and_print(opts, req.message(), printer);
    };
    return info;
}

option_parser& vstore_option(option_parser& p) {
    return p.option("vstore", "ID", "vStore (tenant) id; default the system vStore 0");
}

// Share by id or by name.
std::string add_share_ref(const option_parser& p, om_request& req) {
    if (p.has("id") == p.has("name")) return "give either --id or --name";
    if (p.has("id")) req.str(1, p.get("id"));
    if (p.has("name")) req.str(64, p.get("name"));
    add_vstore(p, req);
    return "";
}

option_parser share_create_parser() {
    option_parser p("tvn_om nfs share create --path PATH (--fsid ID | --fs-name NAME) [options]");
    p.option("path", "PATH", "share path, also the share's name", true)
        .option("fsid", "ID", "file system id")
        .option("fs-name", "NAME", "file system name (instead of --fsid)")
        .option("dtree", "ID", "dtree id; default 0, the file system's root")
        .option("description", "TEXT", "description")
        .option("charset", "N", "character set id")
        .option("snapshot", "on|off", "show the snapshot directory")
        .option("freeze", "on|off", "freeze the share")
        .option("fh-alignment", "on|off", "file-handle byte alignment");
    return vstore_option(p);
}

std::string share_create_build(const option_parser& p, om_request& req) {
    req.str(64, p.get("path"));
    if (p.has("fsid")) req.str(65, p.get("fsid"));
    if (p.has("fs-name")) req.str(98, p.get("fs-name"));
    if (p.has("dtree")) req.str(99, p.get("dtree"));
    if (p.has("description")) req.str(9, p.get("description"));
    if (p.has("charset")) {
        uint32_t v = 0;
        if (!tvn_om::parse_u32(p.get("charset"), v)) return "--charset is not a number";
        req.enumeration(90, v);
    }
    if (auto problem = add_share_switches(p, req); !problem.empty()) return problem;
    add_vstore(p, req);
    return "";
}

option_parser share_ref_parser(const std::string& verb) {
    option_parser p("tvn_om nfs share " + verb + " (--id ID | --name NAME) [--vstore ID]");
    p.option("id", "ID", "share id").option("name", "NAME", "share name (its path)");
    return vstore_option(p);
}

option_parser share_modify_parser() {
    option_parser p("tvn_om nfs share modify (--id ID | --name NAME) [options]");
    p.option("id", "ID", "share id")
        .option("name", "NAME", "share name (its path)")
        .option("description", "TEXT", "description")
        .option("charset", "N", "character set id")
        .option("lock", "N", "lock strategy")
        .option("snapshot", "on|off", "show the snapshot directory")
        .option("audit-items", "LIST", "audit items, e.g. 2,3 (0 none, 1 all)")
        .option("freeze", "on|off", "freeze the share")
        .option("fh-alignment", "on|off", "file-handle byte alignment");
    return vstore_option(p);
}

std::string share_modify_build(const option_parser& p, om_request& req) {
    if (auto problem = add_share_ref(p, req); !problem.empty()) return problem;
    if (p.has("description")) req.str(9, p.get("description"));
    for (auto [name, item] : {std::pair{"charset", 90u}, {"lock", 89u}}) {
        if (!p.has(name)) continue;
        uint32_t v = 0;
        if (!tvn_om::parse_u32(p.get(name), v)) return "--" + std::string(name) + " is not a number";
        req.enumeration(item, v);
    }
    if (p.has("audit-items")) {
        std::string list = p.get("audit-items");
        if (list.empty() || list.front() != '[') list = "[" + list + "]";
        req.str(92, list);
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
    if (list) paging_options(p.option("fs-name", "NAME", "shares of a file system by name"), "share", "path|id");
    return vstore_option(p);
}

std::string share_list_build(const option_parser& p, om_request& req, bool list) {
    std::vector<std::pair<std::string, std::string>> conditions;
    for (auto [opt, key] : {std::pair{"path", "SHAREPATH"}, {"description", "DESCRIPTION"}, {"fsid", "FSID"},
                            {"dtree", "DTREEID"}, {"share-id", "ID"}, {"fs-name", "FSNAME"}})
        if (p.has(opt)) conditions.emplace_back(key, p.get(opt));
    // The count insists on a condition item; an empty one counts every share.
    if (!conditions.empty() || !list) req.str(22, filter_json(conditions));
    return add_list_tail(p, list, {{"path", "SHAREPATH"}, {"id", "ID"}}, req);
}

option_parser client_create_parser() {
    option_parser p("tvn_om nfs client create --client NAME (--share-id ID | --share-name NAME) "
                    "--all-squash yes|no --root-squash yes|no [options]");
    p.option("client", "NAME", "host name, address, network, @netgroup or *", true)
        .option("share-id", "ID", "share id")
        .option("share-name", "NAME", "share name (instead of --share-id)");
    for (const auto& o : kClientOptions)
        p.option(o.name, o.value_name, o.help, std::string(o.name) == "all-squash" || std::string(o.name) == "root-squash");
    return vstore_option(p);
}

std::string client_create_build(const option_parser& p, om_request& req) {
    req.str(2, p.get("client"));
    if (p.has("share-id")) req.str(4, p.get("share-id"));
    if (p.has("share-name")) req.str(64, p.get("share-name"));
    if (auto problem = add_number_options(p, std::begin(kClientOptions), std::end(kClientOptions), req);
        !problem.empty())
        return problem;
    add_vstore(p, req);
    return "";
}

option_parser client_delete_parser() {
    option_parser p("tvn_om nfs client delete (--id ID | --client NAME --share-name NAME) [--vstore ID]");
    p.option("id", "ID", "client permission id")
        .option("client", "NAME", "the client of the permission")
        .option("share-name", "NAME", "the share of the permission");
    return vstore_option(p);
}

std::string client_delete_build(const option_parser& p, om_request& req) {
    if (p.has("id")) req.str(1, p.get("id"));
    else if (!p.has("client") || !p.has("share-name")) return "give --id, or --client and --share-name";
    if (p.has("client")) req.str(2, p.get("client"));
    if (p.has("share-name")) req.str(64, p.get("share-name"));
    add_vstore(p, req);
    return "";
}

option_parser client_get_parser() {
    option_parser p("tvn_om nfs client get --id ID [--vstore ID]");
    p.option("id", "ID", "client permission id", true);
    return vstore_option(p);
}

option_parser client_modify_parser() {
    option_parser p("tvn_om nfs client modify --id ID [options]");
    p.option("id", "ID", "client permission id", true).option("write-mode", "sync|async", "write mode");
    for (const auto& o : kClientOptions) p.option(o.name, o.value_name, o.help);
    return vstore_option(p);
}

std::string client_modify_build(const option_parser& p, om_request& req) {
    req.str(1, p.get("id"));
    if (p.has("write-mode")) {
        uint32_t v = 0;
        if (!word_or_number(p.get("write-mode"), kWriteMode, v)) return "--write-mode is not sync or async";
        req.u32(66, v);
    }
    if (auto problem = add_number_options(p, std::begin(kClientOptions), std::end(kClientOptions), req);
        !problem.empty())
        return problem;
    add_vstore(p, req);
    return "";
}

option_parser client_list_parser(bool list) {
    option_parser p(list ? "tvn_om nfs client list [filters] [--offset N --limit N] [--sort name|access [--desc]] [--after ID]"
                         : "tvn_om nfs client count [filters]");
    p.option("client", "TEXT", "permissions whose client holds the text")
        .option("share-id", "ID", "permissions of a share")
        .option("share-name", "NAME", "permissions of a share by name")
        .option("access", "ro|rw|na", "permissions of an access")
        .option("type", "N", "permissions of a type");
    if (list) paging_options(p, "permission", "name|access");
    return vstore_option(p);
}

std::string client_list_build(const option_parser& p, om_request& req, bool list) {
    std::vector<std::pair<std::string, std::string>> conditions;
    if (p.has("client")) conditions.emplace_back("NAME", p.get("client"));
    if (p.has("share-id")) conditions.emplace_back("PARENTID", p.get("share-id"));
    if (p.has("share-name")) conditions.emplace_back("SHARENAME", p.get("share-name"));
    if (p.has("access")) {
        uint32_t v = 0;
        if (!word_or_number(p.get("access"), kAccess, v)) return "--access is not ro, rw or na";
        conditions.emplace_back("ACCESSVAL", std::to_string(v));
    }
    if (p.has("type")) conditions.emplace_back("AUTHTYPE", p.get("type"));
    if (!conditions.empty()) req.str(22, filter_json(conditions));
    return add_list_tail(p, list, {{"name", "NAME"}, {"access", "ACCESSVAL"}}, req);
}

const tvn_om::group_registrar nfs_group({"nfs"}, "NFS shares and client permissions");
const tvn_om::group_registrar share_group({"nfs", "share"}, "NFS shares: create, delete, get, modify, list, count");
const tvn_om::group_registrar client_group({"nfs", "client"},
                                           "NFS client permissions: create, delete, get, modify, list, count");

const tvn_om::command_registrar share_create(make_command(
    {"nfs", "share", "create"}, "Create an NFS share", share_create_parser, kShareCreate, share_create_build,
    print_shares));
const tvn_om::command_registrar share_delete(make_command(
    {"nfs", "share", "delete"}, "Delete an NFS share", [] { return share_ref_parser("delete"); }, kShareDelete,
    add_share_ref, print_shares));
const tvn_om::command_registrar share_get(make_command(
    {"nfs", "share", "get"}, "Show one NFS share", [] { return share_ref_parser("get"); }, kShareGet, add_share_ref,
    print_shares));
const tvn_om::command_registrar share_modify(make_command(
    {"nfs", "share", "modify"}, "Change an NFS share", share_modify_parser, kShareModify, share_modify_build,
    print_shares));
const tvn_om::command_registrar share_list(make_command(
    {"nfs", "share", "list"}, "List NFS shares", [] { return share_list_parser(true); }, kShareList,
    [](const option_parser& p, om_request& r) { return share_list_build(p, r, true); }, print_shares));
const tvn_om::command_registrar share_count(make_command(
    {"nfs", "share", "count"}, "Count NFS shares", [] { return share_list_parser(false); }, kShareCount,
    [](const option_parser& p, om_request& r) { return share_list_build(p, r, false); }, print_count));

const tvn_om::command_registrar client_create(make_command(
    {"nfs", "client", "create"}, "Give a client access to an NFS share", client_create_parser, kClientCreate,
    client_create_build, print_clients));
const tvn_om::command_registrar client_delete(make_command(
    {"nfs", "client", "delete"}, "Remove a client permission", client_delete_parser, kClientDelete,
    client_delete_build, print_clients));
const tvn_om::command_registrar client_get(make_command(
    {"nfs", "client", "get"}, "Show one client permission", client_get_parser, kClientGet,
    [](const option_parser& p, om_request& r) {
        r.str(1, p.get("id"));
        add_vstore(p, r);
        return std::string();
    },
    print_clients));
const tvn_om::command_registrar client_modify(make_command(
    {"nfs", "client", "modify"}, "Change a client permission", client_modify_parser, kClientModify,
    client_modify_build, print_clients));
const tvn_om::command_registrar client_list(make_command(
    {"nfs", "client", "list"}, "List client permissions", [] { return client_list_parser(true); }, kClientList,
    [](const option_parser& p, om_request& r) { return client_list_build(p, r, true); }, print_clients));
const tvn_om::command_registrar client_count(make_command(
    {"nfs", "client", "count"}, "Count client permissions", [] { return client_list_parser(false); },
    kClientCount, [](const option_parser& p, om_request& r) { return client_list_build(p, r, false); },
    print_count));

}  // namespace
