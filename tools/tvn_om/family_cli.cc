#include "family_cli.h"

#include <nlohmann/json.hpp>

namespace tvn_om {

namespace {

std::string request_text(const om_request& request, uint32_t id) {
    if (request.message().record_size() == 0) return {};
    const OmItem* item = find_item(request.message().record(0), id);
    return item != nullptr ? item_value_text(*item) : std::string();
}

}  // namespace

bool word_or_number(const std::string& text, const item_def& item, uint32_t& out) {
    if (auto v = item.value_of(text)) {
        out = *v;
        return true;
    }
    return parse_u32(text, out);
}

option_parser& item_option(option_parser& p, const item_def& item, bool required) {
    return p.option(std::string(item.key), tvn_om_vocab::value_hint(item), std::string(item.meaning), required);
}

std::string add_number_options(const option_parser& p, std::span<const item_def* const> items, om_request& req) {
    for (const item_def* o : items) {
        std::string name(o->key);
        if (!p.has(name)) continue;
        uint32_t value = 0;
        if (!word_or_number(p.get(name), *o, value))
            return "--" + name + ": '" + p.get(name) + "' is not " + tvn_om_vocab::value_hint(*o);
        req.u32(o->id, value);
    }
    return "";
}

std::string add_switch(const option_parser& p, const item_def& item, om_request& req) {
    std::string name(item.key);
    if (!p.has(name)) return "";
    uint32_t value = 0;
    if (!word_or_number(p.get(name), item, value) || value > 1)
        return "--" + name + ": '" + p.get(name) + "' is not on or off";
    req.flag(item.id, value == 1);
    return "";
}

void add_text(const option_parser& p, const item_def& item, om_request& req) {
    std::string name(item.key);
    if (p.has(name)) req.str(item.id, p.get(name));
}

option_parser& vstore_option(option_parser& p) {
    return p.option("vstore", "ID", "vStore (tenant) id; default the system vStore 0");
}

void add_vstore(const option_parser& p, om_request& req) {
    if (p.has("vstore")) req.str(4090, p.get("vstore"));
}

std::string filter_json(const std::vector<std::pair<std::string, std::string>>& conditions) {
    nlohmann::ordered_json j = nlohmann::ordered_json::object();
    for (const auto& [key, value] : conditions) j[key] = value;
    return j.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string add_paging(const option_parser& p, const std::map<std::string, std::string>& sort_keys,
                       om_request& req) {
    if (p.has("offset") || p.has("limit")) {
        uint32_t offset = 0, limit = 100;
        if (p.has("offset") && !parse_u32(p.get("offset"), offset)) return "--offset is not a number";
        if (p.has("limit") && !parse_u32(p.get("limit"), limit)) return "--limit is not a number";
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

option_parser& paging_options(option_parser& p, const std::string& noun, const std::string& sort_keys) {
    return p.option("offset", "N", "skip the first N " + noun + "s")
        .option("limit", "N", "at most N " + noun + "s (default 100 with --offset)")
        .option("sort", sort_keys, "order of the list")
        .flag("desc", "descending order")
        .option("after", "ID", "continue after this " + noun + " (cursor)");
}

std::string text_of(const OmRecord& rec, uint32_t id) {
    const OmItem* item = find_item(rec, id);
    return item != nullptr ? item_value_text(*item) : "";
}

command_info family_command(const tvn_om_vocab::family_def& family, const tvn_om_vocab::command_def& command,
                            parser_fn parser, build_fn build, view_fn view) {
    command_info info;
    info.path = {std::string(family.cli_group())};
    std::string words(command.words);
    for (size_t start = 0; start < words.size();) {
        size_t space = words.find(' ', start);
        if (space == std::string::npos) space = words.size();
        info.path.push_back(words.substr(start, space - start));
        start = space + 1;
    }
    info.summary = std::string(command.summary);
    info.help = [parser] { return parser().help(); };
    const uint64_t opcode = command.code;
    info.run = [parser, opcode, build, view](const global_options& opts, const std::vector<std::string>& args) {
        option_parser p = parser();
        if (int rc = p.parse(args); rc != kExitOk) return rc;
        if (!p.positional().empty()) return usage_error("unexpected argument '" + p.positional()[0] + "'", p.help());
        om_request req(opcode);
        std::string problem = build(p, req);
        if (!problem.empty()) return usage_error(problem, p.help());
        return send_and_print(opts, req.message(),
                              [&req, &view](const OmReply& reply, std::ostream& out) { view(req, reply, out); });
    };
    return info;
}

void print_count(const om_request&, const OmReply& reply, std::ostream& out) {
    for (const auto& rec : reply.answer().record())
        if (find_item(rec, 10) != nullptr) out << "count: " << text_of(rec, 10) << "\n";
}

view_fn print_changed(std::string noun, std::string verb, uint32_t id_item, uint32_t name_item) {
    return [noun, verb, id_item, name_item](const om_request& request, const OmReply& reply, std::ostream& out) {
        std::string id, name;
        for (const auto& rec : reply.answer().record()) {
            if (id.empty()) id = text_of(rec, id_item);
            if (name.empty() && name_item != 0) name = text_of(rec, name_item);
        }
        if (id.empty()) id = request_text(request, id_item);
        if (name.empty() && name_item != 0) name = request_text(request, name_item);
        out << noun;
        if (!id.empty()) out << " " << id;
        if (!name.empty()) out << " (" << name << ")";
        out << " " << verb << "\n";
    };
}

}  // namespace tvn_om
