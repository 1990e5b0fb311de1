#ifndef VORGATE_ENGINE_NOTICES_H
#define VORGATE_ENGINE_NOTICES_H

// What a visitor sees of a blocked call. Each text is handed to the engine's
// printf as the format: it must not hold a "%".

// Compilation of a file.
inline constexpr const char* file_include_deny =
    "<br/>File Include Not Allowed @VARNO 2020-2030<br/>";
// Watched functions but for file creation, and compilation of strings.
inline constexpr const char* error_report =
    "<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>";
// Watched functions that create files.
inline constexpr const char* create_file = "<br/>Create File Not Allowed @VARNO 2020-2030<br/>";
// Queries.
inline constexpr const char* sql_injection = "<br/>Deny SQL injection Attack @VARNO 2020-2030<br/>";

#endif  // VORGATE_ENGINE_NOTICES_H
