#pragma once
// The words of a command family, declared once: its items (id, type, option
// name, meaning, value words, default), its commands (operation codes and
// the class that serves them) and its result codes with their meanings.
//
// The handlers read their items through these declarations, tvn_om builds
// its options, value words, tables and error meanings from them, and the
// family's README carries the tables `tvn_om vocab FAMILY` prints (a test
// keeps the two equal). So a code or an item changes in one place.
//
// Header-only and free of the service's libraries, so that tvn_om can use
// it without linking the server.
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tvn_om_vocab {

// Item types of the OM message objects.
enum class item_type : uint32_t {
    string = 2,
    unsigned32 = 3,
    boolean = 5,
    enumeration = 6,
    string8 = 8,
};

constexpr std::string_view type_name(item_type t) {
    switch (t) {
        case item_type::string: return "string";
        case item_type::unsigned32: return "unsigned";
        case item_type::boolean: return "boolean";
        case item_type::enumeration: return "enumeration";
        case item_type::string8: return "string8";
    }
    return "?";
}

// One named value of a numbered item ("rw" is 1).
struct word {
    std::string_view text;
    uint32_t value;
};

struct item_def {
    uint32_t id;
    item_type type;
    // The command-line option of tvn_om ("" when tvn_om never sends it)
    // and what it is.
    std::string_view key;
    std::string_view meaning;
    // Which records carry it in a family where one id means different
    // things ("share", "client"); "" for every record of the family.
    std::string_view scope = {};
    // The values a number may take, by name; empty when any number in
    // [min, max] is good.
    std::span<const word> words = {};
    // What the command takes when the item is absent ("" none).
    std::string_view fallback = {};
    uint32_t min = 0;
    uint32_t max = UINT32_MAX;

    // The name of a value, or "" when it has none.
    constexpr std::string_view word_of(uint32_t value) const {
        for (const auto& w : words)
            if (w.value == value) return w.text;
        return {};
    }
    // The value of a name.
    constexpr std::optional<uint32_t> value_of(std::string_view text) const {
        for (const auto& w : words)
            if (w.text == text) return w.value;
        return std::nullopt;
    }
    // Whether a number is one of the item's values.
    constexpr bool allows(uint32_t value) const {
        if (!words.empty()) return !word_of(value).empty();
        return value >= min && value <= max;
    }
    constexpr bool is_number() const {
        return type == item_type::unsigned32 || type == item_type::enumeration || type == item_type::boolean;
    }
};

struct command_def {
    // tvn_om's words for it after the family's name ("share create").
    std::string_view words;
    // The class that serves it.
    std::string_view handler;
    // Operation codes; the second is 0 when the command has one.
    uint64_t code;
    uint64_t second_code = 0;
    std::string_view summary = {};
};

struct error_def {
    int32_t code;
    std::string_view name;
    std::string_view meaning;
};

struct family_def {
    std::string_view name;  // "nfs": the folder and the README's place
    std::string_view title;
    std::span<const item_def> items;
    std::span<const command_def> commands;
    std::span<const error_def> errors;
    // The word operators type after tvn_om ("ad" for the "auth" folder);
    // empty: the folder's name.
    std::string_view group = {};

    constexpr std::string_view cli_group() const { return group.empty() ? name : group; }

    constexpr const item_def* item(std::string_view key, std::string_view scope = {}) const {
        for (const auto& i : items)
            if (i.key == key && (scope.empty() || i.scope.empty() || i.scope == scope)) return &i;
        return nullptr;
    }
    constexpr const command_def* command(std::string_view words) const {
        for (const auto& c : commands)
            if (c.words == words) return &c;
        return nullptr;
    }
    constexpr const error_def* error(int32_t code) const {
        for (const auto& e : errors)
            if (e.code == code) return &e;
        return nullptr;
    }
};

// "ro|rw|na" for an item with value words, "N" for another number, "TEXT"
// for text.
inline std::string value_hint(const item_def& item) {
    if (!item.words.empty()) {
        std::string out;
        for (const auto& w : item.words) {
            if (!out.empty()) out += '|';
            out += w.text;
        }
        return out;
    }
    return item.is_number() ? "N" : "TEXT";
}

}  // namespace tvn_om_vocab

// An error_def whose name is the constant's own name.
#define TVN_OM_ERROR(constant, meaning) ::tvn_om_vocab::error_def{constant, #constant, meaning}
