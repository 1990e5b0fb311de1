#ifndef VORGATE_ENGINE_CHANNEL_H
#define VORGATE_ENGINE_CHANNEL_H

// The way out of the module: the agent's library and the records handed to it.

#include "request/http_info.h"
#include "vorgate/php_help.h"

// The opened library of the agent, null while there is none. Written at module
// start-up, and under the lock of CCommonUtil::init.
extern void* hMod;

// Opens the agent's library. On failure the loader's own words go to PHP's error
// log, and the answer is null.
void* getMessageQueueHandle();

// Opens it into hMod; at module start-up.
void load_message_queue_md();

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
