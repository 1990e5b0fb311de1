#ifndef VORGATE_DETECTORS_FINDING_H
#define VORGATE_DETECTORS_FINDING_H

// The frame that all detectors share. A detector reads:
//   - no reporting object: allow;
//   - its own tests, before or after
//   - open_record: false for an exempt request: allow;
//   - report_finding: one event, and the verdict.

#include "request/http_info.h"
#include "vorgate/php_help.h"

struct Finding {
  vorgate::EventCode code;
  vorgate::BlockCategory category;
  const char* kind;     // s1 of the event
  const char* detail;   // s2
  const char* target;   // s3
  const char* subject;  // s4
};

enum class CallStack { without, with };

bool has_reporting_object();

// Fills the record of the current request, unless the agent exempts the request:
// answers false then.
bool open_record(HttpInfo& info, CallStack stack);

// What the agent wants done about a category: 0 is to report only.
int block_mode(vorgate::BlockCategory category);

// Asks the policy, sends the event and answers whether to block: on any mode but
// 0.
bool report_finding(const Finding& finding, HttpInfo& info);

// Sends the event as one of the given mode, without asking.
void send_finding(const Finding& finding, int mode, HttpInfo& info);

// Sends the plain record of a call in which nothing was found.
void report_plain(const char* kind, const char* detail, const char* target, const char* subject,
                  HttpInfo& info);

#endif  // VORGATE_DETECTORS_FINDING_H
