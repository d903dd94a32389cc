#pragma once
// What every family's named commands share: options made from the items'
// declarations, value words, paging and filter items, the vStore option,
// the command made from its declaration, and the views of a count and of a
// change.
//
// A family's source declares its commands from its vocabulary:
//
//   const tvn_om::command_registrar share_get(tvn_om::family_command(
//       vocab::family, vocab::share_get, share_ref_parser, add_share_ref, print_shares));
#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "common/tvn_om_vocab.h"
#include "tvn_om_cli.h"

namespace tvn_om {

using tvn_om_vocab::item_def;

// The value of an option: one of the item's words or the number itself.
bool word_or_number(const std::string& text, const item_def& item, uint32_t& out);

// Declares an item's option (--key, its value hint and meaning).
option_parser& item_option(option_parser& p, const item_def& item, bool required = false);
// Adds every numbered item whose option was given as an unsigned item.
// "" or the problem.
std::string add_number_options(const option_parser& p, std::span<const item_def* const> items, om_request& req);
// A switch item (on/off) sent as a boolean.
std::string add_switch(const option_parser& p, const item_def& item, om_request& req);
// The text of an option sent as a string item, when given.
void add_text(const option_parser& p, const item_def& item, om_request& req);

// --vstore, sent as item 4090.
option_parser& vstore_option(option_parser& p);
void add_vstore(const option_parser& p, om_request& req);

// A query condition item: a JSON object of the conditions, in order.
std::string filter_json(const std::vector<std::pair<std::string, std::string>>& conditions);
// --offset/--limit, --sort/--desc and --after of a list; sort_keys maps the
// option's words to the family's sort keys.
option_parser& paging_options(option_parser& p, const std::string& noun, const std::string& sort_keys);
std::string add_paging(const option_parser& p, const std::map<std::string, std::string>& sort_keys,
                       om_request& req);

// Item text of a record ("" when absent).
std::string text_of(const OmRecord& rec, uint32_t id);

// A reply's view, given the request that was sent.
using view_fn = std::function<void(const om_request& request, const OmReply& reply, std::ostream& out)>;
using parser_fn = std::function<option_parser()>;
using build_fn = std::function<std::string(const option_parser&, om_request&)>;

// A command from its declaration: the path is the family's name and the
// command's words, the summary and code are the declared ones.
command_info family_command(const tvn_om_vocab::family_def& family, const tvn_om_vocab::command_def& command,
                            parser_fn parser, build_fn build, view_fn view);

// "count: N" from item 10.
void print_count(const om_request& request, const OmReply& reply, std::ostream& out);
// What a create, modify or delete changed: "<noun> <id> (<name>) <verb>",
// the id from the answer's item id_item or else the request's, the name
// from the answer's or the request's name_item.
view_fn print_changed(std::string noun, std::string verb, uint32_t id_item, uint32_t name_item);

}  // namespace tvn_om
