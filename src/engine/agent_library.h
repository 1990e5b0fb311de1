#ifndef VORGATE_ENGINE_AGENT_LIBRARY_H
#define VORGATE_ENGINE_AGENT_LIBRARY_H

// The library that the agent's object comes from.

// The opened library of the agent, null while there is none. Written at module
// start-up, and under the lock of CCommonUtil::init.
extern void* hMod;

// Opens the agent's library. On failure the loader's own words go to PHP's error
// log, and the answer is null.
void* getMessageQueueHandle();

// Opens it into hMod; at module start-up.
void load_message_queue_md();

#endif  // VORGATE_ENGINE_AGENT_LIBRARY_H
