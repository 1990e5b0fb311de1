#ifndef VORGATE_AGENT_EVENT_SINK_H
#define VORGATE_AGENT_EVENT_SINK_H

#include <optional>
#include <string>

#include "vorgate/php_help.h"

namespace vorgate::agent {

// What one call of send_event or send_upload said. The pointers are the
// caller's; null counts as empty.
struct Event {
  std::optional<unsigned int> code;  // none for an upload
  const char* kind;
  const char* detail;
  const char* target;
  const char* subject;
  bool allowed;
  const IPhpHelp::MQ_HttpInfo* info;
  bool is_script_upload = false;  // of an upload: one that creates what a server would run
};

// Where the agent's events go. Any thread.
class EventSink {
 public:
  EventSink() = default;
  EventSink(const EventSink&) = delete;
  EventSink& operator=(const EventSink&) = delete;

  // Takes one event. `path` is the event log of the policy in force. Disturbs nobody,
  // whatever becomes of the event.
  virtual void record(const std::string& path, const Event& event) noexcept = 0;

 protected:
  ~EventSink() = default;
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_EVENT_SINK_H
