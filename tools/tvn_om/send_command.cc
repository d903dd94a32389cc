// tvn_om send OPCODE [ITEM:TYPE=VALUE ...]: any command, item by item.
#include <set>
#include <sstream>

#include "tvn_om_cli.h"

namespace {

std::string send_help() {
    return "Usage: tvn_om send OPCODE [ITEM:TYPE=VALUE ...] [--json] [--timeout MS]\n"
           "\n"
           "Sends one OM command and prints the agent's reply.\n"
           "\n"
           "  OPCODE  the command's operation code, decimal or 0x-hexadecimal\n"
           "  ITEM    item id (unsigned 32-bit); TYPE one of\n"
           "            s   string          u   unsigned 32-bit\n"
           "            b   boolean (true or false)\n"
           "            e   enumeration (unsigned 32-bit)\n"
           "            s8  string of the second kind\n"
           "          Item 0 (message type) is sent as u=0 unless given.\n"
           "\n"
           "Example: tvn_om send 0xd40114000 64:s=/fs1/share1 65:s=7\n";
}

// One ITEM:TYPE=VALUE word into the request; "" or the problem.
std::string add_item(tvn_om::om_request& req, const std::string& word, std::set<uint32_t>& seen) {
    size_t colon = word.find(':');
    size_t eq = colon == std::string::npos ? std::string::npos : word.find('=', colon);
    if (colon == std::string::npos || eq == std::string::npos) return "item '" + word + "' is not ITEM:TYPE=VALUE";
    std::string id_text = word.substr(0, colon), type = word.substr(colon + 1, eq - colon - 1),
                value = word.substr(eq + 1);
    uint32_t id = 0;
    if (!tvn_om::parse_u32(id_text, id)) return "item id '" + id_text + "' is not an unsigned 32-bit number";
    if (!seen.insert(id).second) return "item " + id_text + " is given twice";
    if (type == "s") {
        req.str(id, value);
    } else if (type == "s8") {
        req.str8(id, value);
    } else if (type == "u" || type == "e") {
        uint32_t number = 0;
        if (!tvn_om::parse_u32(value, number))
            return "item " + id_text + ": '" + value + "' is not an unsigned 32-bit number";
        type == "u" ? req.u32(id, number) : req.enumeration(id, number);
    } else if (type == "b") {
        if (value != "true" && value != "false") return "item " + id_text + ": a boolean is true or false";
        req.flag(id, value == "true");
    } else {
        return "item " + id_text + ": unknown type '" + type + "' (s, u, b, e or s8)";
    }
    return "";
}

int run_send(const tvn_om::global_options& opts, const std::vector<std::string>& args) {
    std::vector<std::string> words;
    for (const auto& a : args)
        if (a != "--") words.push_back(a);
    if (words.empty()) return tvn_om::usage_error("send needs an OPCODE", send_help());
    uint64_t opcode = 0;
    if (!tvn_om::parse_u64(words[0], opcode))
        return tvn_om::usage_error("OPCODE '" + words[0] + "' is not a decimal or 0x-hexadecimal number",
                                   send_help());
    tvn_om::om_request req(opcode);
    std::set<uint32_t> seen;
    for (size_t i = 1; i < words.size(); ++i) {
        std::string problem = add_item(req, words[i], seen);
        if (!problem.empty()) return tvn_om::usage_error(problem, send_help());
    }
    return tvn_om::send_and_print(opts, req.message());
}

tvn_om::group_registrar root_group({}, "Sends OM commands to the OM agent of a running tvn_cm and prints the answer.");
tvn_om::command_registrar send_command({{"send"}, "Send any command, item by item", send_help, run_send});

}  // namespace
