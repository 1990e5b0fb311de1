#ifndef VORGATE_ENGINE_CHANNEL_H
#define VORGATE_ENGINE_CHANNEL_H

// The way out of the module: the agent's object and the records handed to it.

#include "request/http_info.h"
#include "vorgate/php_help.h"

// The agent's object; null while there is none. A thread that sees it sees complete
// word tables too.
IPhpHelp* reporting_object();

// Makes `out` point at the texts of `in`, field by field. Valid while `in` lives
// unchanged.
void conv_to_mqhttpinfo(IPhpHelp::MQ_HttpInfo& out, HttpInfo& in);

// CCommonUtil::init and release of the one engine. The second is exported and
// called by nothing in the module.
void message_queue_init();
extern "C" int message_queue_release();

#endif  // VORGATE_ENGINE_CHANNEL_H
