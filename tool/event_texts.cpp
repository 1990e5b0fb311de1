#include "tool/event_words.h"

namespace vorgate::agent::tool {

constexpr std::array<EventWords, 19> all_words{{
    {event_name::command_execution, "Command from the request",
     "A shell command that the request had shaped, or phpinfo, was called.",
     "A value of the request is the command, holds it, or stands in it with characters that "
     "mean something to a shell; or the call stack shows that evaluated code made the call.",
     "Start the program without a shell and with a list of arguments (proc_open with an array), "
     "or let the request choose among commands that the application spells out. To quote a value "
     "(escapeshellarg) keeps the shell from reading it, but leaves the finding."},
    {event_name::code_execution, "Code from the request", "PHP code was about to be evaluated.",
     "The code is a value of the request, or a constructor on the call stack was given text that "
     "begins with eval(.",
     "Remove the evaluation: compute the result, or choose from a fixed list of functions."},
    {event_name::web_shell, "Web shell",
     "Code that looks like a web shell was about to be evaluated.",
     "The agent knows the code as one of a family of web shells.",
     "Treat the machine as broken into: find the file or request that brought the code, and "
     "when it first came."},
    {event_name::script_unscanned, "Script not scanned",
     "Code was about to be evaluated whose scan for web shells took too long.",
     "A scan that is given up has found nothing, and the code may have been made to last so long.",
     "Look at the code. If it is an ordinary one, raise scripts.time_limit_ms; scripts.on_timeout "
     "= \"block\" stops such code."},
    {event_name::request_named_connection, "Connection to a host from the request",
     "The application was about to connect to a host that the request names.",
     "A value of the request is the host's name.",
     "Let the request choose an entry of a fixed list of hosts by a name of its own; a host that "
     "the request spells out is a finding even where the list has it."},
    {event_name::sql_injection, "SQL injection",
     "A query that the request had changed was sent to a "
     "database.",
     "A value of the request became more than a value in the query, or the query itself has "
     "the shape of an attack.",
     "Use prepared statements with bound parameters for every value."},
    {event_name::ldap_injection, "LDAP injection",
     "A search filter that the request had changed was sent "
     "to a directory.",
     "A value of the request with parentheses, a star or a backslash stands in the filter.",
     "Pass each value through ldap_escape with LDAP_ESCAPE_FILTER."},
    {event_name::xml_external_entity, "XML external entity",
     "An XML document with an external entity was parsed.",
     "The document declares an entity that stands in a file or at a URL.",
     "Parse without LIBXML_NOENT and LIBXML_DTDLOAD; refuse documents with a DOCTYPE."},
    {event_name::file_include, "Inclusion of a file from the request",
     "A file that the request names, or one that no application includes, was about to be "
     "run as PHP.",
     "The path is a value of the request, or holds a place or wrapper that attacks use.",
     "Let the request choose an entry of a fixed list of files by a name that is not the path, "
     "and turn allow_url_include off."},
    {event_name::file_read, "Reading of a file from the request",
     "A file that the request names by its whole path was about to be read.",
     "A value of the request holds the whole path.",
     "Look the file up by a name of a fixed form, below one folder, and check realpath."},
    {event_name::request_forgery, "Request forgery",
     "The application was about to fetch a URL that the request names.",
     "A value of the request holds the whole URL.",
     "Let the request name what it wants, and build the URL in the application. A URL that the "
     "request spells out is a finding even where its host is an allowed one."},
    {event_name::deserialisation_chain, "Object chain",
     "Reading serialised data led to a command or to code.",
     "The call stack shows a destructor or wake-up method inside unserialize.",
     "Do not give data from outside to unserialize: use json_decode, or allowed_classes."},
    {event_name::deserialisation_file_create, "Object chain that creates a file",
     "Reading serialised data was about to create a file.",
     "The call stack shows a destructor or wake-up method inside unserialize.",
     "Do not give data from outside to unserialize: use json_decode, or allowed_classes."},
    {event_name::yaml_object, "Object in YAML",
     "A YAML document with a PHP object was about to be read.",
     "The document holds !php/object and is a value of the request.",
     "Refuse documents with !php/ in them. yaml.decode_php = 0 keeps their objects from being "
     "made, but leaves the finding."},
    {event_name::execution_record, "Command or code, nothing found",
     "An ordinary command or evaluation took place.",
     "Nothing was found. The line is the record that it happened.", ""},
    {event_name::connection_record, "Connection, nothing found",
     "An ordinary connection was opened.",
     "Nothing was found. The line is the record that it happened.", ""},
    {event_name::script_upload, "Script uploaded",
     "A request that uploads files was about to create a file that the server would run.",
     "The request carries a file, and the name of the new one ends like a script's.",
     "Keep uploads where no script is run, under names of the application's own; "
     "uploads.refused_endings in the policy says which endings count."},
    {event_name::file_create, "File created or overwritten",
     "A file was about to be created or overwritten.",
     "Nothing was found. The line is the record that it happened.", ""},
    {event_name::unknown, "Unknown event",
     "The module reported something that this tool has no name for.",
     "The number of the event is newer than this tool, or the line was not written by the "
     "local agent.",
     "Compare the versions of the module, the agent and this tool."},
}};
static_assert(all_words.back().event != nullptr, "one for each name");

const std::array<VerdictWords, 3> all_verdicts{{
    {event_verdict::blocked, "The call was stopped: it did not take place."},
    {event_verdict::reported,
     "The call was let go: it took place. The policy only reports this category."},
    {event_verdict::logged, "The call was let go: nothing was found in it."},
}};

}  // namespace vorgate::agent::tool
