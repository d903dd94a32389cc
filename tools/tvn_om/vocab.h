#pragma once
// The command families tvn_om knows, read from the declarations the
// service's handlers use: error meanings, the family of an operation code,
// and the tables of a family's README.
#include <cstdint>
#include <span>
#include <string>

#include "common/tvn_om_vocab.h"

namespace tvn_om {

// Every family, the shared one ("common") first.
std::span<const tvn_om_vocab::family_def* const> families();
const tvn_om_vocab::family_def* family(const std::string& name);
// The family that serves an operation code, or nullptr.
const tvn_om_vocab::family_def* family_of(uint64_t opcode);

// The meaning of a result code: the family of the command first, then the
// codes every family shares, then any family that knows it. "" when none.
std::string error_meaning(int32_t code, uint64_t opcode = 0);

// The README tables of a family: its commands, its items and its codes.
std::string vocab_markdown(const tvn_om_vocab::family_def& family);

}  // namespace tvn_om
