#pragma once
// Where the OM agent serves commands and publishes notifications, shared by
// the agent and its clients.
#include <cstdint>
#include <string>

namespace tvn::om {

inline constexpr const char* kDefaultCommandEndpoint = "tcp://127.0.0.1:6107";
inline constexpr const char* kDefaultEventsEndpoint = "tcp://127.0.0.1:6108";

// $TVN_OM_ENDPOINT when set and not empty, else the default.
std::string command_endpoint();
// $TVN_OM_EVENTS when set and not empty, else the default.
std::string events_endpoint();

// One command to an agent: sends the encoded OmMessage and waits up to
// timeout_ms for the encoded OmReply. 0, -3 when no reply came in time,
// -1 when the endpoint cannot be used. queue_road selects the agent's
// message-queue road.
int32_t call(const std::string& endpoint, const std::string& request, int64_t timeout_ms,
             std::string* reply, bool queue_road = false);

}  // namespace tvn::om
