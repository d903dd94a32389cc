#pragma once
// Access to the protobuf form of a message object, for the agent itself
// (answers and notifications are sent as their OmMessage).
#include "om_agent.pb.h"

namespace tvn::om {

// The object's message, or nullptr when obj is not a message object.
const OmMessage* msgobj_message(const void* obj);

// Checks the rules a received message must keep: at least one record,
// every item with a value, no item id twice within a record.
bool msgobj_valid(const OmMessage& msg);

}  // namespace tvn::om
