#ifndef VORGATE_AGENT_SQL_SQL_INJECTION_H
#define VORGATE_AGENT_SQL_SQL_INJECTION_H

#include <string_view>

#include "agent/sql/sql_lexer.h"

namespace vorgate::sql {

// Was a request's value injected into this query? It was if it occurs in the
// query and is more there than data: if it reaches over the borders of a single
// literal, number or identifier, or opens or closes a comment. Lists of numbers,
// dates, sort columns and the like are data too; docs/sql-tests.md has them all.
//
//   query    the SQL text, any bytes; of query_limit bytes: cut there.
//   values   "name=value" pairs joined by "&", not encoded. A value starts after
//            the first "=" since the last "&", and ends before any later "&" or at
//            the end: every reading is tried, and every change that applications
//            usually make (escapes, upper and lower case, tags taken out, ...).
//   dialect  how the server reads the query. Automatic: every reading counts that
//            makes sense of the whole query.
//
// Any thread. The work is bounded, whatever is asked. May throw std::bad_alloc.
bool is_injected(std::string_view query, std::string_view values,
                 Dialect dialect = Dialect::automatic);

}  // namespace vorgate::sql

#endif  // VORGATE_AGENT_SQL_SQL_INJECTION_H
