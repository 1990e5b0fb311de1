#ifndef VORGATE_AGENT_EVENT_JSON_H
#define VORGATE_AGENT_EVENT_JSON_H

#include <cstdint>
#include <string>

#include "agent/event_sink.h"

namespace vorgate::agent {

// The event as one line of JSON with its line end, stamped with the time and the
// calling thread. ASCII only: everything else is escaped, so no text from the
// network can steer a terminal or upset a reader.
//
// No byte is lost. A text that is valid UTF-8 stands as it is; any other stands
// with U+FFFD in place of the bad bytes, and "raw" holds the base64 of its exact
// bytes under its name ("subject", "request.cookie").
//   lost_before  events that this process could not write since its last line;
//                named in the line when above 0.
// May throw std::bad_alloc. Any thread.
std::string event_line(const Event& event, std::uint32_t lost_before);

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_EVENT_JSON_H
