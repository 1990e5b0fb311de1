#ifndef VORGATE_TOOL_EVENT_WORDS_H
#define VORGATE_TOOL_EVENT_WORDS_H

// What events mean, in words for people.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "agent/categories.h"
#include "agent/policy.h"
#include "tool/event_reader.h"

namespace vorgate::agent::tool {

// English sentences; the same pointers for the life of the program.
struct EventWords {
  const char* event;   // the name in the log
  const char* title;   // what to call it in a heading
  const char* what;    // what happened
  const char* why;     // why that is a finding; of a record: why there is a line at all
  const char* remedy;  // what to change in the application
};

// The last ones are for an event of another name.
extern const std::array<EventWords, 19> all_words;
const EventWords& words_for(std::string_view event);

// What a category covers, by its name; "" for none.
const char* category_words(std::string_view category);
// What a verdict means: did the call take place?
struct VerdictWords {
  const char* verdict;
  const char* words;
};
extern const std::array<VerdictWords, 3> all_verdicts;
const char* verdict_words(std::string_view verdict);
// The label of a request's text.
const char* request_text_label(RequestText text);

// "query_injection/sql": category and event in one short name.
std::string category_and_event(const LoggedEvent& event);

// Who sent the request, as the policy sees it: the address, else the peer's text as
// it stands. May be empty.
std::string client_of(const LoggedEvent& event, const Policy& policy);

// The calls that led to the event, outermost first, each "function(arguments)": from
// the stack trace, else from the call chain or function in the event itself.
std::vector<std::string> calls_of(const LoggedEvent& event);

// The request's values that the subject holds, or that hold it: "host" (GET or POST)
// and the like, with the value.
struct Source {
  std::string place;  // "parameter" or "cookie"
  std::string name;
  std::string value;
};
std::vector<Source> sources_of(const LoggedEvent& event);

// An [[allow]] entry that exempts exactly the requests of this kind: this page, on
// this virtual host, from this client. Tried on the event itself.
struct AllowSnippet {
  std::string text;                   // TOML; empty when no entry can do it
  std::vector<std::string> warnings;  // what it leaves open, or why there is none
};
AllowSnippet allow_snippet(const LoggedEvent& event, const Policy& policy);

// A text of a URL without its %XX; a plus sign is a blank in queries and forms alone.
std::string url_decoded(std::string_view text, bool plus_is_blank = true);

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_EVENT_WORDS_H
