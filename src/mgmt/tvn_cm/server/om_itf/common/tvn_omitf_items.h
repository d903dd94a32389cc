#pragma once
// Reading the request items and writing the answer items of every command
// family. A read tells "not given" apart from "given but unreadable",
// because commands answer the two differently.
//
// The item_reader reads an item as its declaration (tvn_om_vocab) says,
// checks it against the declared values and stores it; a command states
// what it answers for a missing or a bad item with TVN_OM_FAIL, which also
// places the log line at the command's own call site:
//
//   tvn_omitf::item_reader in(req);
//   if (int32_t rc = in.need(vocab::share_path, m_path,
//                            TVN_OM_FAIL(NFS_ERR_NO_SHARE_PATH, "No share path in the parameters."),
//                            TVN_OM_FAIL(NFS_ERR_GET_SHARE_PATH, "Get share_path is failed.")))
//       return rc;
//   if (int32_t rc = in.take(vocab::share_description, m_description,
//                            TVN_OM_FAIL(NFS_ERR_ITEM, "Get description is failed.")))
//       return rc;
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/tvn_om_vocab.h"
#include "tvn_log.h"

namespace tvn_omitf {

using tvn_om_vocab::item_def;

// Item types of the OM message objects.
enum om_item_type : uint32_t {
    TYPE_STRING = 2,
    TYPE_UNSIGNED = 3,
    TYPE_BOOL = 5,
    TYPE_ENUM = 6,
    TYPE_STRING8 = 8,
};

// Message-object constructor arguments of answers and notifications.
inline constexpr uint32_t TVN_OM_MSG_RECORDS = 1;
inline constexpr uint32_t TVN_OM_MSG_ITEMS = 4091;

enum item_read : int32_t {
    ITEM_READ_OK = 0,
    ITEM_READ_ABSENT = 1,  // the message has no such item
    ITEM_READ_FAILED = 2,  // present, but not readable as asked
};

// ---- plain reads of record 0 -------------------------------------------------

// A string item. An item of another type reads as ITEM_READ_FAILED: the
// request does not say what the text was meant to be.
item_read read_text(void* msg, uint32_t item, std::string& out);
// A number given as an unsigned or an enumeration item.
item_read read_number(void* msg, uint32_t item, uint32_t& out);
// A number given as an unsigned item only.
item_read read_unsigned(void* msg, uint32_t item, uint32_t& out);
// A switch: a number that must be 0 or 1, or a boolean.
item_read read_switch(void* msg, uint32_t item, uint32_t& out);
// A number given as a number (enumeration or unsigned) or as its decimal
// text.
item_read read_decimal(void* msg, uint32_t item, uint32_t& out);
// The item as its declared type reads: text for strings, read_decimal for
// enumerations, read_unsigned for unsigned items, read_switch for booleans.
item_read read_declared(void* msg, const item_def& item, uint32_t& out);

// Decimal digits only, 0 to 4294967295.
bool parse_dec_u32(std::string_view text, uint32_t& out);
// Decimal digits only, 0 to 2^64 - 1.
bool parse_dec_u64(std::string_view text, uint64_t& out);
// An object identifier: decimal digits only, 1 to 2^64 - 1.
bool parse_object_id(std::string_view text, uint64_t& out);

// ---- one-line reads ----------------------------------------------------------

// What a command answers for an item problem: its code and the log line
// (a printf format that may take the item's text as its one %s), logged at
// the place TVN_OM_FAIL is written.
struct on_fail {
    int32_t code;
    const char* text;
    tvn::log_here here;
};
#define TVN_OM_FAIL(code, text) (::tvn_omitf::on_fail{(code), (text), TVN_HERE})

// Logs a failure at its site and returns its code.
int32_t fail(const on_fail& f, std::string_view value = {});

class item_reader {
public:
    explicit item_reader(void* msg) : msg_(msg) {}

    // A required item: `absent` when it is not given, `bad` when it is
    // unreadable or outside its declared values. (An empty text is read:
    // what emptiness means is the command's to say.)
    int32_t need(const item_def& item, std::string& out, const on_fail& absent, const on_fail& bad);
    int32_t need(const item_def& item, uint32_t& out, const on_fail& absent, const on_fail& bad);
    // An optional item: absent leaves `out` as it is and returns 0. A text
    // item may be empty.
    int32_t take(const item_def& item, std::optional<std::string>& out, const on_fail& bad);
    int32_t take(const item_def& item, std::optional<uint32_t>& out, const on_fail& bad);
    int32_t take(const item_def& item, std::string& out, const on_fail& bad);
    int32_t take(const item_def& item, uint32_t& out, const on_fail& bad);
    // An optional text item that must parse (an identifier, a number sent
    // as text): `bad` when it is unreadable or does not parse.
    template <class T>
    int32_t take_parsed(const item_def& item, std::optional<T>& out, const on_fail& bad,
                        bool (*parse)(std::string_view, T&)) {
        std::optional<std::string> text;
        if (int32_t rc = take(item, text, bad)) return rc;
        if (!text) return 0;
        T value{};
        if (!parse(*text, value)) return fail(bad, *text);
        out = value;
        return 0;
    }

    // The tenant of item 4090: absent is tenant 0; `unreadable` when the
    // item cannot be read as text, `invalid` for text that is not a vStore
    // id.
    int32_t tenant(uint32_t& out, const on_fail& unreadable, const on_fail& invalid);

    void* msg() const { return msg_; }

private:
    void* msg_;
};

// The tenant text of item 4090: digits of a vStore identifier.
bool parse_tenant_id(std::string_view text, uint32_t& out);

// ---- answers -----------------------------------------------------------------

// One answer item as text, in the form the message-item writers take it.
struct answer_item {
    uint32_t id;
    uint32_t type;
    std::string value;
    bool operator==(const answer_item&) const = default;
};

// Writes items into one record of an answer. 0, or -1.
int32_t write_items(void* ack, uint32_t record, const std::vector<answer_item>& items);
// Answers with one record of these items (*rsp gets the message object).
// 0, or -6 / -1 with nothing answered.
int32_t answer_record(void** rsp, uint32_t size, const std::vector<answer_item>& items);
// A new message object with one record of the given operation code, or
// nullptr (logged "tvn_MSGOBJ_Create failed").
void* new_message(uint32_t items, uint64_t opcode = 0);
// A change notification: one record of the given operation code and item 0
// the object type. nullptr when it cannot be made ($TVN_FAIL_AT naming
// "tvn_MSGOBJ_Create" makes it fail, to exercise that road).
void* new_notify_message(uint64_t opcode, uint32_t obj_type);

// ---- calls -------------------------------------------------------------------

// The time-out of a call: the given one, or $TVN_CM_RPC_TIMEOUT_MS when set
// to a positive number (lets tests see a daemon that is down without
// waiting for the full time-out).
unsigned rpc_timeout_ms(unsigned normal_ms);

// The service's check that a tenant exists. Tenants are created and deleted
// by the platform, which already refuses commands for unknown ones; this is
// the hook for a stricter check and accepts every id.
int32_t tvn_cm_check_tenant_exist(uint32_t tenant);

}  // namespace tvn_omitf
