// Command table, dispatch, global options and output of tvn_om.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <iostream>
#include <memory>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tvn_om_cli.h"
#include "vocab.h"
#include "tvn_om_endpoint.h"

namespace tvn_om {

namespace {

struct node {
    std::string summary;
    command_info command;  // run set for a command, empty for a group
    std::map<std::string, std::unique_ptr<node>> children;
};

node& root() {
    static node r;
    return r;
}

node& node_at(const std::vector<std::string>& path) {
    node* n = &root();
    for (const auto& name : path) {
        auto& child = n->children[name];
        if (!child) child = std::make_unique<node>();
        n = child.get();
    }
    return *n;
}


std::string join(const std::vector<std::string>& parts) {
    std::string out;
    for (const auto& p : parts) out += (out.empty() ? "" : " ") + p;
    return out;
}

const char* kGlobalHelp =
    "Options (accepted anywhere on the line):\n"
    "  --json              print the reply as JSON\n"
    "  --timeout MS        wait at most MS milliseconds for the reply (default 60000)\n"
    "  --endpoint URL      the OM agent's command endpoint (default $TVN_OM_ENDPOINT or\n"
    "                      tcp://127.0.0.1:6107)\n"
    "  --events URL        the OM agent's notification endpoint (default $TVN_OM_EVENTS or\n"
    "                      tcp://127.0.0.1:6108)\n"
    "  -h, --help          show help for the command or group\n"
    "\n"
    "Exit status: 0 ack with result 0, 1 any other reply, 2 usage error,\n"
    "3 no reply within the time-out.\n";

std::string group_help(const std::vector<std::string>& path, const node& n) {
    std::ostringstream out;
    out << "Usage: tvn_om " << (path.empty() ? "" : join(path) + " ") << "COMMAND [ARGS...] [OPTIONS]\n";
    if (!n.summary.empty()) out << "\n" << n.summary << "\n";
    out << "\nCommands:\n";
    size_t width = 0;
    for (const auto& [name, child] : n.children) width = std::max(width, name.size());
    for (const auto& [name, child] : n.children) {
        std::string summary = child->command.run ? child->command.summary : child->summary;
        out << "  " << name << std::string(width - name.size() + 2, ' ') << summary << "\n";
    }
    out << "\n" << kGlobalHelp;
    return out.str();
}

bool is_help(const std::string& a) { return a == "--help" || a == "-h"; }

// Takes the global options out of the line. kExitOk or kExitUsage.
int take_global_options(std::vector<std::string>& args, global_options& opts) {
    std::vector<std::string> rest;
    bool literal = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (literal) {
            rest.push_back(a);
            continue;
        }
        if (a == "--") {
            literal = true;
            rest.push_back(a);
            continue;
        }
        auto value_of = [&](const std::string& name, std::string& out) -> int {
            if (a == name) {
                if (i + 1 >= args.size()) return usage_error(name + " needs a value", "");
                out = args[++i];
                return 1;
            }
            if (a.rfind(name + "=", 0) == 0) {
                out = a.substr(name.size() + 1);
                return 1;
            }
            return 0;
        };
        std::string value;
        int got = 0;
        if (a == "--json") {
            opts.json = true;
        } else if ((got = value_of("--timeout", value)) != 0) {
            if (got == kExitUsage) return kExitUsage;
            uint64_t ms = 0;
            if (!parse_u64(value, ms) || ms > 86400000ULL)
                return usage_error("--timeout takes milliseconds, a number from 0 to 86400000", "");
            opts.timeout_ms = static_cast<int64_t>(ms);
            opts.timeout_given = true;
        } else if ((got = value_of("--endpoint", value)) != 0) {
            if (got == kExitUsage) return kExitUsage;
            opts.endpoint = value;
        } else if ((got = value_of("--events", value)) != 0) {
            if (got == kExitUsage) return kExitUsage;
            opts.events = value;
        } else {
            rest.push_back(a);
        }
    }
    args.swap(rest);
    if (opts.endpoint.empty()) opts.endpoint = tvn::om::command_endpoint();
    if (opts.events.empty()) opts.events = tvn::om::events_endpoint();
    return kExitOk;
}

nlohmann::ordered_json item_json(const OmItem& item) {
    nlohmann::ordered_json j;
    j["type"] = item_type_name(item);
    switch (item.value_case()) {
        case OmItem::kStr: j["value"] = item.str(); break;
        case OmItem::kStr8: j["value"] = item.str8(); break;
        case OmItem::kU32: j["value"] = item.u32(); break;
        case OmItem::kEnumeration: j["value"] = item.enumeration(); break;
        case OmItem::kFlag: j["value"] = item.flag(); break;
        default: j["value"] = nullptr; break;
    }
    return j;
}

nlohmann::ordered_json records_json(const OmMessage& msg) {
    nlohmann::ordered_json records = nlohmann::ordered_json::array();
    for (const auto& rec : msg.record()) {
        nlohmann::ordered_json r;
        r["opcode"] = hex(rec.opcode());
        r["items"] = nlohmann::ordered_json::object();
        for (const auto& item : rec.item()) r["items"][std::to_string(item.id())] = item_json(item);
        records.push_back(std::move(r));
    }
    return records;
}

std::string dump(const nlohmann::ordered_json& j) {
    // Texts come from the service: bad UTF-8 is replaced, never thrown.
    return j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

const char* kind_name(OmReplyKind kind) {
    switch (kind) {
        case OM_ACK: return "ack";
        case OM_ERR_ACK: return "err_ack";
        default: return "call_end";
    }
}

}  // namespace

void register_command(command_info info) {
    node& n = node_at(info.path);
    n.summary = info.summary;
    n.command = std::move(info);
}

void register_group(const std::vector<std::string>& path, const std::string& summary) {
    node_at(path).summary = summary;
}

om_request::om_request(uint64_t opcode, uint32_t msg_type) {
    auto* rec = msg_.add_record();
    rec->set_opcode(opcode);
    u32(0, msg_type);
}

OmItem* om_request::item(uint32_t id) {
    auto* rec = msg_.mutable_record(0);
    for (auto& it : *rec->mutable_item())
        if (it.id() == id) return &it;
    OmItem* it = rec->add_item();
    it->set_id(id);
    return it;
}

om_request& om_request::str(uint32_t id, const std::string& value) {
    item(id)->set_str(value);
    return *this;
}
om_request& om_request::str8(uint32_t id, const std::string& value) {
    item(id)->set_str8(value);
    return *this;
}
om_request& om_request::u32(uint32_t id, uint32_t value) {
    item(id)->set_u32(value);
    return *this;
}
om_request& om_request::flag(uint32_t id, bool value) {
    item(id)->set_flag(value);
    return *this;
}
om_request& om_request::enumeration(uint32_t id, uint32_t value) {
    item(id)->set_enumeration(value);
    return *this;
}
bool om_request::has(uint32_t id) const {
    for (const auto& it : msg_.record(0).item())
        if (it.id() == id) return true;
    return false;
}

const OmItem* find_item(const OmRecord& record, uint32_t id) {
    for (const auto& it : record.item())
        if (it.id() == id) return &it;
    return nullptr;
}

std::string item_type_name(const OmItem& item) {
    switch (item.value_case()) {
        case OmItem::kStr: return "string";
        case OmItem::kU32: return "u32";
        case OmItem::kFlag: return "bool";
        case OmItem::kEnumeration: return "enum";
        case OmItem::kStr8: return "string8";
        default: return "none";
    }
}

std::string item_value_text(const OmItem& item) {
    switch (item.value_case()) {
        case OmItem::kStr: return item.str();
        case OmItem::kStr8: return item.str8();
        case OmItem::kU32: return std::to_string(item.u32());
        case OmItem::kEnumeration: return std::to_string(item.enumeration());
        case OmItem::kFlag: return item.flag() ? "true" : "false";
        default: return "";
    }
}

std::string hex(uint64_t value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

void print_table(std::ostream& out, const std::vector<std::string>& headers,
                 const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> width(headers.size(), 0);
    for (size_t c = 0; c < headers.size(); ++c) width[c] = headers[c].size();
    for (const auto& row : rows)
        for (size_t c = 0; c < row.size() && c < width.size(); ++c) width[c] = std::max(width[c], row[c].size());
    auto line = [&](const std::vector<std::string>& cells) {
        std::string text = " ";
        for (size_t c = 0; c < width.size(); ++c) {
            std::string cell = c < cells.size() ? cells[c] : "";
            text += " " + cell;
            if (c + 1 < width.size()) text += std::string(width[c] - cell.size() + 1, ' ');
        }
        out << text << "\n";
    };
    line(headers);
    for (const auto& row : rows) line(row);
}

void print_records(std::ostream& out, const OmMessage& msg) {
    for (int i = 0; i < msg.record_size(); ++i) {
        const OmRecord& rec = msg.record(i);
        out << "record " << i << " (opcode " << hex(rec.opcode()) << ")\n";
        std::vector<std::vector<std::string>> rows;
        for (const auto& item : rec.item())
            rows.push_back({std::to_string(item.id()), item_type_name(item), item_value_text(item)});
        print_table(out, {"ITEM", "TYPE", "VALUE"}, rows);
    }
}

std::string reply_json(const OmReply& reply, uint64_t request_opcode) {
    nlohmann::ordered_json j;
    j["kind"] = kind_name(reply.kind());
    j["result"] = reply.result();
    j["opcode"] = hex(reply.has_opcode() ? reply.opcode() : request_opcode);
    j["records"] = reply.has_answer() ? records_json(reply.answer()) : nlohmann::ordered_json::array();
    return dump(j);
}

std::string message_json(const OmMessage& msg) {
    nlohmann::ordered_json j;
    j["records"] = records_json(msg);
    return dump(j);
}

int send_and_print(const global_options& opts, const OmMessage& request, const answer_printer& printer) {
    std::string bytes;
    if (!request.SerializeToString(&bytes)) {
        std::cerr << "tvn_om: the request cannot be encoded\n";
        return kExitUsage;
    }
    std::string raw;
    int32_t rc = tvn::om::call(opts.endpoint, bytes, opts.timeout_ms, &raw);
    if (rc == -3) {
        std::cerr << "tvn_om: no reply from " << opts.endpoint << " within " << opts.timeout_ms << " ms\n";
        return kExitTimeout;
    }
    if (rc != 0) {
        std::cerr << "tvn_om: cannot use the endpoint " << opts.endpoint << "\n";
        return kExitUsage;
    }
    OmReply reply;
    if (!reply.ParseFromString(raw)) {
        std::cerr << "tvn_om: the reply cannot be decoded (" << raw.size() << " bytes)\n";
        return kExitReply;
    }
    uint64_t request_opcode = request.record_size() > 0 ? request.record(0).opcode() : 0;
    if (opts.json) {
        std::cout << reply_json(reply, request_opcode) << "\n";
    } else {
        std::cout << kind_name(reply.kind()) << ", result " << reply.result();
        if (reply.result() < 0) {
            std::string meaning = error_meaning(reply.result(), request_opcode);
            if (!meaning.empty()) std::cout << " (" << meaning << ")";
        }
        std::cout << ", opcode " << hex(reply.has_opcode() ? reply.opcode() : request_opcode) << "\n";
        if (reply.has_answer()) {
            if (printer)
                printer(reply, std::cout);
            else
                print_records(std::cout, reply.answer());
        }
    }
    std::cout.flush();
    return (reply.kind() == OM_ACK && reply.result() == 0) ? kExitOk : kExitReply;
}

option_parser::option_parser(std::string synopsis) : synopsis_(std::move(synopsis)) {}

option_parser& option_parser::option(const std::string& name, const std::string& value_name,
                                     const std::string& help, bool required) {
    specs_.push_back({name, value_name, help, required, false});
    return *this;
}

option_parser& option_parser::flag(const std::string& name, const std::string& help) {
    specs_.push_back({name, "", help, false, true});
    return *this;
}

int option_parser::parse(const std::vector<std::string>& args) {
    values_.clear();
    positional_.clear();
    bool literal = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (literal || a.size() < 3 || a.rfind("--", 0) != 0) {
            if (a == "--" && !literal) {
                literal = true;
                continue;
            }
            positional_.push_back(a);
            continue;
        }
        std::string name = a.substr(2), value;
        bool inline_value = false;
        if (size_t eq = name.find('='); eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            inline_value = true;
        }
        auto it = std::find_if(specs_.begin(), specs_.end(), [&](const spec& s) { return s.name == name; });
        if (it == specs_.end()) return usage_error("unknown option --" + name, help());
        if (it->is_flag) {
            if (inline_value) return usage_error("--" + name + " takes no value", help());
            values_[name] = "true";
            continue;
        }
        if (!inline_value) {
            if (i + 1 >= args.size()) return usage_error("--" + name + " needs a value", help());
            value = args[++i];
        }
        if (values_.count(name) != 0) return usage_error("--" + name + " given twice", help());
        values_[name] = value;
    }
    for (const auto& s : specs_)
        if (s.required && values_.count(s.name) == 0) return usage_error("--" + s.name + " is required", help());
    return kExitOk;
}

bool option_parser::has(const std::string& name) const { return values_.count(name) != 0; }

std::string option_parser::get(const std::string& name, const std::string& fallback) const {
    auto it = values_.find(name);
    return it != values_.end() ? it->second : fallback;
}

std::string option_parser::help() const {
    std::ostringstream out;
    out << "Usage: " << synopsis_ << "\n";
    if (!specs_.empty()) {
        out << "\nOptions:\n";
        std::vector<std::pair<std::string, std::string>> lines;
        size_t width = 0;
        for (const auto& s : specs_) {
            std::string left = "--" + s.name + (s.is_flag ? "" : " " + s.value_name);
            width = std::max(width, left.size());
            lines.emplace_back(left, s.help + (s.required ? " (required)" : ""));
        }
        for (const auto& [left, text] : lines)
            out << "  " << left << std::string(width - left.size() + 2, ' ') << text << "\n";
    }
    out << "\n" << kGlobalHelp;
    return out.str();
}

int usage_error(const std::string& problem, const std::string& usage) {
    std::cerr << "tvn_om: " << problem << "\n";
    if (!usage.empty()) std::cerr << "\n" << usage;
    return kExitUsage;
}

bool parse_u64(const std::string& text, uint64_t& value) {
    if (text.empty()) return false;
    int base = 10;
    std::string digits = text;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        digits = text.substr(2);
    }
    if (digits.empty()) return false;
    auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    return ec == std::errc() && end == digits.data() + digits.size();
}

bool parse_u32(const std::string& text, uint32_t& value) {
    uint64_t v = 0;
    if (!parse_u64(text, v) || v > 0xFFFFFFFFULL) return false;
    value = static_cast<uint32_t>(v);
    return true;
}

int run_cli(const std::vector<std::string>& in) {
    std::vector<std::string> args = in;
    global_options opts;
    if (take_global_options(args, opts) != kExitOk) return kExitUsage;

    std::vector<std::string> path;
    node* n = &root();
    size_t i = 0;
    while (!n->command.run) {
        if (i >= args.size()) {
            if (path.empty()) return usage_error("a command is needed", group_help(path, *n));
            return usage_error("'" + join(path) + "' needs a command", group_help(path, *n));
        }
        if (is_help(args[i])) {
            std::cout << group_help(path, *n);
            return kExitOk;
        }
        auto it = n->children.find(args[i]);
        if (it == n->children.end())
            return usage_error("unknown command '" + join(path) + (path.empty() ? "" : " ") + args[i] + "'",
                               group_help(path, *n));
        path.push_back(args[i++]);
        n = it->second.get();
    }
    std::vector<std::string> rest(args.begin() + static_cast<long>(i), args.end());
    auto dashdash = std::find(rest.begin(), rest.end(), "--");
    if (std::any_of(rest.begin(), dashdash, is_help)) {
        std::cout << (n->command.help ? n->command.help() : "Usage: tvn_om " + join(path) + "\n");
        return kExitOk;
    }
    return n->command.run(opts, rest);
}

}  // namespace tvn_om
