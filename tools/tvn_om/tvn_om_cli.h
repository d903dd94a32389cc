#pragma once
// The command table of tvn_om and what a command needs to build a request,
// send it and print the reply.
//
// A command family adds its named commands in a source file of its own:
//
//   static tvn_om::group_registrar nfs_group({"nfs"}, "NFS shares and client permissions");
//   static tvn_om::command_registrar nfs_share_list(
//       {{"nfs", "share", "list"}, "List NFS shares", list_help, run_list});
//
// Groups in a path that nobody registered are made with an empty summary.
#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "om_agent.pb.h"

namespace tvn_om {

// Exit statuses.
inline constexpr int kExitOk = 0;       // ack with result 0
inline constexpr int kExitReply = 1;    // any other reply
inline constexpr int kExitUsage = 2;    // the command line is wrong
inline constexpr int kExitTimeout = 3;  // no reply within --timeout

// Options every command accepts, anywhere on the line.
struct global_options {
    bool json = false;
    int64_t timeout_ms = 60000;
    bool timeout_given = false;
    std::string endpoint;  // --endpoint, else $TVN_OM_ENDPOINT, else the default
    std::string events;    // --events, else $TVN_OM_EVENTS, else the default
};

// A command runs with its own arguments (after its name) and returns the
// exit status.
using run_fn = std::function<int(const global_options&, const std::vector<std::string>& args)>;
using help_fn = std::function<std::string()>;

struct command_info {
    std::vector<std::string> path;  // {"nfs", "share", "create"}
    std::string summary;            // one line, shown in the group's help
    help_fn help;                   // full usage text of --help
    run_fn run;
};

void register_command(command_info info);
void register_group(const std::vector<std::string>& path, const std::string& summary);

struct command_registrar {
    explicit command_registrar(command_info info) { register_command(std::move(info)); }
};
struct group_registrar {
    group_registrar(const std::vector<std::string>& path, const std::string& summary) {
        register_group(path, summary);
    }
};


// A request: record 0 with the command's code and item 0 (message type) 0.
class om_request {
public:
    explicit om_request(uint64_t opcode, uint32_t msg_type = 0);
    om_request& str(uint32_t id, const std::string& value);
    om_request& str8(uint32_t id, const std::string& value);
    om_request& u32(uint32_t id, uint32_t value);
    om_request& flag(uint32_t id, bool value);
    om_request& enumeration(uint32_t id, uint32_t value);
    bool has(uint32_t id) const;
    const OmMessage& message() const { return msg_; }
    OmMessage& message() { return msg_; }

private:
    OmItem* item(uint32_t id);
    OmMessage msg_;
};

// Prints the readable view of a reply's answer (the header line is printed
// before it). nullptr prints every record as an item table.
using answer_printer = std::function<void(const OmReply& reply, std::ostream& out)>;

// Sends the request, prints the reply (JSON or readable) and returns the
// exit status.
int send_and_print(const global_options& opts, const OmMessage& request,
                   const answer_printer& printer = nullptr);

// Output helpers for readable views.
const OmItem* find_item(const OmRecord& record, uint32_t id);
std::string item_type_name(const OmItem& item);  // "string", "u32", "bool", "enum", "string8"
std::string item_value_text(const OmItem& item);
std::string hex(uint64_t value);                  // "0x..."
void print_table(std::ostream& out, const std::vector<std::string>& headers,
                 const std::vector<std::vector<std::string>>& rows);
void print_records(std::ostream& out, const OmMessage& msg);
// The JSON form of a reply (request_opcode stands in when the reply has
// none) or of a notification ({"records": [...]}).
std::string reply_json(const OmReply& reply, uint64_t request_opcode);
std::string message_json(const OmMessage& msg);

// Named options of a command: --name VALUE and --flag. Unknown options,
// a missing value or a missing required option are usage errors.
class option_parser {
public:
    explicit option_parser(std::string synopsis);
    option_parser& option(const std::string& name, const std::string& value_name, const std::string& help,
                          bool required = false);
    option_parser& flag(const std::string& name, const std::string& help);
    // kExitOk, or kExitUsage after printing the problem and the usage.
    int parse(const std::vector<std::string>& args);
    bool has(const std::string& name) const;
    std::string get(const std::string& name, const std::string& fallback = "") const;
    const std::vector<std::string>& positional() const { return positional_; }
    std::string help() const;

private:
    struct spec {
        std::string name, value_name, help;
        bool required = false, is_flag = false;
    };
    std::string synopsis_;
    std::vector<spec> specs_;
    std::map<std::string, std::string> values_;
    std::vector<std::string> positional_;
};

// Prints "tvn_om: <problem>" and the usage text to stderr; returns kExitUsage.
int usage_error(const std::string& problem, const std::string& usage);

// Number parsing for command lines: decimal or 0x-hexadecimal.
bool parse_u64(const std::string& text, uint64_t& value);
bool parse_u32(const std::string& text, uint32_t& value);

// Runs the command line (without the program name).
int run_cli(const std::vector<std::string>& args);

}  // namespace tvn_om
