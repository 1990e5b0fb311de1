// Web shells of PHP, by family and by idiom, in code that is about to run: what eval is
// given, which is what a shell's client sends, or what a dropper has unpacked. The
// first rule that matches gives the family, its meta entry "name".
//
// A false alarm stops an application, a miss leaves what was there before. So a rule
// asks for what no template or framework writes: request data that is run as it came,
// a family's own names, or several unlikely things at once. YARA follows a pattern for
// 4 KiB at most; loops that count cost it far more memory and time than those that do
// not.
//
// "Request data", below, is a superglobal of the request, a header or the body; perhaps
// behind decoders and casts, but not behind anything that would check it.

private rule request_data
{
  strings:
    $global = /\$\{?["']?_(GET|POST|REQUEST|COOKIE|FILES)\b/
    $header = /\$_SERVER\s*\[\s*["']HTTP_/
    $body = "php://input" nocase
    $headers = /getallheaders\s*\(/ nocase
  condition:
    any of them
}

// --- Families ---------------------------------------------------------------------

rule chopper
{
  meta:
    name = "china-chopper"
    description = "what the client of a one-line shell sends: markers around the answer"
  strings:
    $open = /(echo|print)[\s(]*["']->\|["']/ nocase
    $close = /["']\|<-["']/
    $start = /@ini_set\("display_errors",\s?"0"\);@set_time_limit\(0\);@set_magic_quotes_runtime\(0\);/ nocase
  condition:
    ($open and $close) or $start
}

rule antsword
{
  meta:
    name = "antsword"
    description = "the client's frame around its code: functions that encode and print the answer"
  strings:
    $encode = /function\s+asenc\s*\(/
    $output = /function\s+asoutput\s*\(/
    $error = "ERROR://"
  condition:
    2 of them
}

rule behinder
{
  meta:
    name = "behinder"
    description = "a shell whose body is encrypted with a key in the session, or what its client sends"
  strings:
    $key = /\$_SESSION\s*\[\s*["']k["']\s*\]/
    $body = "php://input" nocase
    $open = /openssl_(en|de)crypt\s*\(|\$\w+\[\$i\]\s*\^\s*\$key\[/ nocase
    $invoke = /function\s+__invoke\s*\(\s*\$\w+\s*\)\s*\{\s*@?eval\s*\(/ nocase
    $answer = /\$result\s*\[\s*["']status["']\s*\]\s*=\s*base64_encode\s*\(\s*["']success["']/ nocase
    $sent = /encrypt\s*\(\s*json_encode\s*\(\s*\$result/ nocase
  condition:
    ($key and (($body and $open) or $answer or $invoke)) or ($answer and $sent) or ($body and $invoke)
}

rule godzilla
{
  meta:
    name = "godzilla"
    description = "the client's own XOR, or the functions of what it sends"
  strings:
    $xor = /\$K\s*\[\s*\$i\s*\+\s*1\s*&\s*15\s*\]/ nocase
    $name = "$payloadName"
    $run = /function\s+run\s*\(\s*\$pms\s*\)/
    $parameters = /function\s+formatParameter\s*\(/
    $basics = /function\s+getBasicsInfo\s*\(/
    $bypass = /function\s+bypass_open_basedir\s*\(/
  condition:
    ($xor and ($name or request_data)) or 2 of ($run, $parameters, $basics, $bypass)
}

rule weevely
{
  meta:
    name = "weevely"
    description = "an agent that cuts its code out of the request between two keys"
  strings:
    $between = /preg_match\s*\(\s*["']\/\$kh\(\.\+\)\$kf\// nocase
    $unpack = /@?eval\s*\(\s*@?gzuncompress\s*\(\s*@?x\s*\(\s*@?base64_decode\s*\(/ nocase
  condition:
    any of them
}

rule c99
{
  meta:
    name = "c99"
    description = "the c99 shell and its offspring: functions of its own"
  strings:
    $function = /function\s+c99(sh)?_?(buff_prepare|sess_put|getupdate|exit|fsearch|getsource|ftpbrutecheck|sqlquery|sql_query)\s*\(/ nocase
    $title = /\$(c99sh_|sh_?name\s*=\s*["']c99)/ nocase
    $exit = /\bc99shexit\s*\(/ nocase
  condition:
    any of them
}

rule r57
{
  meta:
    name = "r57"
    description = "the r57 shell: its name in code that takes commands from the request"
  strings:
    $name = /\br57_?(shell|pwd|cmd|bind|back_connect)/ nocase
    $work = /\b(shell_exec|passthru|system|popen|proc_open)\s*\(/ nocase
  condition:
    $name and $work and request_data
}

rule b374k
{
  meta:
    name = "b374k"
    description = "the b374k shell: its name in code that takes requests"
  strings:
    $name = "b374k" nocase
    $password = /\$GLOBALS\s*\[\s*["'](pass|shell_password|cipher_key)["']\s*\]/
    $work = /\b(eval|shell_exec|passthru|system|popen|proc_open|gzinflate)\s*\(/ nocase
  condition:
    $name and $work and ($password or request_data)
}

rule wso
{
  meta:
    name = "wso"
    description = "the WSO shell and its offspring: functions of its own"
  strings:
    $ex = /\bwsoEx\s*\(/ nocase
    $header = /\bwsoHeader\s*\(/ nocase
    $cookie = /\bWSOsetcookie\s*\(/ nocase
    $manager = /function\s+action(FilesMan|SecInfo|SafeMode|Bruteforce|RC)\s*\(/
    $version = /["']WSO_VERSION["']/
    $default = /\$default_action\s*=\s*["']FilesMan["']/
  condition:
    2 of them
}

rule p0wny
{
  meta:
    name = "p0wny"
    description = "a shell of one page: its features, each a function"
  strings:
    $shell = /function\s+featureShell\s*\(/
    $hint = /function\s+featureHint\s*\(/
    $upload = /function\s+featureUpload\s*\(/
    $download = /function\s+featureDownload\s*\(/
  condition:
    2 of them
}

rule alfa
{
  meta:
    name = "alfa"
    description = "the Alfa shell: functions of its own"
  strings:
    $ex = /function\s+alfaEx\s*\(/ nocase
    $head = /function\s+alfa(head|footer|MakePwd|GetCwd|cgi|connect)\s*\(/ nocase
    $data = /["']ALFA_DATA/
  condition:
    $ex or ($head and $data)
}

rule staged_loader
{
  meta:
    name = "staged-loader"
    description = "code that is read from a socket, length first, and run"
  strings:
    $socket = /\b(fsockopen|pfsockopen|stream_socket_client|socket_connect)\b/ nocase
    $length = /\bunpack\s*\(\s*["']N(len)?["']/ nocase
    $run = /(^|[^\w>:$])(eval\s*\(\s*\$|create_function\s*\(\s*["']{2}\s*,\s*\$)/ nocase
  condition:
    all of them
}

// --- Idioms -----------------------------------------------------------------------

rule eval_of_request
{
  meta:
    name = "eval-of-request"
    description = "request data run as code: the shell of one line"
  strings:
    $eval = /(^|[^\w>:$])eval[\s@("'?>.]*((base64_decode|gzinflate|gzuncompress|gzdecode|str_rot13|strrev|urldecode|rawurldecode|hex2bin|convert_uudecode|stripslashes|trim|end|implode|join|current|reset)[\s@(]+)*(\$\{?["']?_(GET|POST|REQUEST|COOKIE|FILES)\b|\$_SERVER\s*\[\s*["']HTTP_|file_get_contents[\s(]+["']php:\/\/input|end[\s(]+getallheaders)/ nocase
    $assert = /(^|[^\w>:$])assert[\s@(]+((base64_decode|gzinflate|gzuncompress|gzdecode|str_rot13|strrev|urldecode|rawurldecode|hex2bin|stripslashes|trim|end|current|reset)[\s@(]+)*(\$\{?["']?_(GET|POST|REQUEST|COOKIE)\b|\$_SERVER\s*\[\s*["']HTTP_)[^;=<>!&|?,)]{0,64}\)+\s*(;|\?>)/ nocase
  condition:
    any of them
}

rule command_of_request
{
  meta:
    name = "command-of-request"
    description = "request data run as a shell command"
  strings:
    $call = /(^|[^\w>:$])(system|passthru|shell_exec|exec|popen|proc_open|pcntl_exec)[\s@(]+((base64_decode|gzinflate|gzuncompress|str_rot13|strrev|urldecode|rawurldecode|hex2bin|stripslashes|trim|strval)[\s@(]+)*["']{0,2}[\s.]*(\$\{?["']?_(GET|POST|REQUEST|COOKIE)\b|\$_SERVER\s*\[\s*["']HTTP_)/ nocase
    $quoted = /(\b(echo|print|return|die\()\s*|\$\w+\s*=\s*)@?`\s*\{?\$\{?_(GET|POST|REQUEST|COOKIE)\b/ nocase
  condition:
    any of them
}

rule callable_of_request
{
  meta:
    name = "callable-of-request"
    description = "a function that the request names, called with request data"
  strings:
    $call = /\$\{?["']?_(GET|POST|REQUEST|COOKIE)["']?\}?\s*[\[{][^\[\]{};]+[\]}]\s*\([\s@]*(\$\{?["']?_(GET|POST|REQUEST|COOKIE)\b|\$_SERVER\s*\[\s*["']HTTP_)/
    $both = /(call_user_func|call_user_func_array|forward_static_call|array_map|register_shutdown_function|iterator_apply)[\s(]+@?\$_(GET|POST|REQUEST|COOKIE)\s*\[[^\[\];]+\]\s*,[\s@]*(array\s*\(|\[)?\s*\$_(GET|POST|REQUEST|COOKIE)/ nocase
    $named = /(call_user_func|call_user_func_array|forward_static_call|array_map|register_shutdown_function|iterator_apply|ReflectionFunction)[\s(]+["'](assert|system|passthru|exec|shell_exec|popen|create_function|eval)["']\s*\)?\s*(,|->\s*invoke(Args)?\s*\()[\s@]*(array\s*\(|\[)?[\s@]*\$\{?_(GET|POST|REQUEST|COOKIE)/ nocase
    $sorted = /(usort|uasort|uksort|array_walk|array_walk_recursive|array_filter|array_reduce|array_udiff)[\s(]+@?(array\s*\(|\[)?\s*\$_(GET|POST|REQUEST|COOKIE)[^;,(]*,\s*["'](assert|system|passthru|exec|shell_exec|popen)["']/ nocase
  condition:
    any of them
}

rule regexp_eval
{
  meta:
    name = "regexp-eval"
    description = "request data, or text behind a decoder, run by the e modifier of a regular expression"
  strings:
    $replace = /preg_(replace|filter)[\s@(]+["']([\/#~|@!,])[^"'\n]{0,64}[\/#~|@!,][imsxu]{0,4}e[imsxu]{0,4}["']\s*,[\s@]*((base64_decode|gzinflate|gzuncompress|str_rot13|strrev|urldecode|hex2bin|stripslashes)[\s@(]+)*\$\{?_(GET|POST|REQUEST|COOKIE)\b/ nocase
    $decoded = /preg_(replace|filter)[\s@(]+["']([\/#~|@!,])[^"'\n]{0,64}[\/#~|@!,][imsxu]{0,4}e[imsxu]{0,4}["']\s*,[\s@]*["']?@?(eval|assert|base64_decode|gzinflate|gzuncompress|str_rot13)[\s@(]+/ nocase
    $escaped = /preg_(replace|filter)[\s@(]+["']([\/#~|@!,])[^"'\n]{0,64}[\/#~|@!,][imsxu]{0,4}e[imsxu]{0,4}["']\s*,[\s@]*["']\\x65\\x76\\x61\\x6c/ nocase
  condition:
    any of them
}

rule created_function
{
  meta:
    name = "created-function"
    description = "a function made of request data, or of text behind decoders"
  strings:
    $request = /(^|[^\w>:$])create_function[\s(]+["'][^"'\n]{0,64}["']\s*,[\s@]*((base64_decode|gzinflate|gzuncompress|str_rot13|strrev|urldecode|hex2bin|stripslashes)[\s@(]+)*["']?[\s.]*(\$\{?_(GET|POST|REQUEST|COOKIE)\b|\$_SERVER\s*\[\s*["']HTTP_)/ nocase
    $decoded = /(^|[^\w>:$])create_function[\s(]+["'][^"'\n]{0,64}["']\s*,[\s@]*["']?(eval[\s@("'?>.]+)?((base64_decode|gzinflate|gzuncompress|str_rot13|strrev|hex2bin)[\s@(]+)+["'$\\]/ nocase
  condition:
    any of them
}

rule layered_decoder
{
  meta:
    name = "layered-decoder"
    description = "text behind two and more decoders, run as code"
  strings:
    $eval = /(^|[^\w>:$])(eval|assert)[\s@("'?>.]+((base64_decode|gzinflate|gzuncompress|gzdecode|str_rot13|strrev|urldecode|rawurldecode|hex2bin|convert_uudecode)[\s@(]+){2,}["'$]/ nocase
  condition:
    any of them
}

rule split_name
{
  meta:
    name = "split-name"
    description = "the name of a dangerous function put together from pieces, where request data is at hand"
  strings:
    $assert = /["'](as["']\s*\.\s*["']s(["']\s*\.\s*["'])?e(["']\s*\.\s*["'])?r(["']\s*\.\s*["'])?t|ass["']\s*\.\s*["']e(["']\s*\.\s*["'])?r(["']\s*\.\s*["'])?t|asse["']\s*\.\s*["']r(["']\s*\.\s*["'])?t|asser["']\s*\.\s*["']t)/ nocase
    $base64 = /["'](ba["']\s*\.\s*["']se(["']\s*\.\s*["'])?6|bas["']\s*\.\s*["']e(["']\s*\.\s*["'])?6|base["']\s*\.\s*["']6|base6["']\s*\.\s*["']4|base64["']\s*\.\s*["']_|base64_["']\s*\.\s*["']d|base64_de["']\s*\.\s*["']c)/ nocase
    $create = /["'](cr["']\s*\.\s*["']eate(["']\s*\.\s*["'])?_|cre["']\s*\.\s*["']ate(["']\s*\.\s*["'])?_|crea["']\s*\.\s*["']te(["']\s*\.\s*["'])?_|creat["']\s*\.\s*["']e(["']\s*\.\s*["'])?_|create["']\s*\.\s*["']_f|create_["']\s*\.\s*["']fu)/ nocase
    $shell = /["'](sys["']\s*\.\s*["']tem|syst["']\s*\.\s*["']em|pass["']\s*\.\s*["']thru|shell["']\s*\.\s*["']_exec|shell_["']\s*\.\s*["']exec|she["']\s*\.\s*["']ll_)/ nocase
    $called = /\$\w+\s*\([\s@]*(\$\w+\s*\([\s@]*)*(\$\{?["']?_(GET|POST|REQUEST|COOKIE)\b|\$_SERVER\s*\[\s*["']HTTP_)/
  condition:
    any of ($assert, $base64, $create, $shell) and $called
}

rule escaped_name
{
  meta:
    name = "escaped-name"
    description = "the name of a dangerous function written in escapes, where request data is at hand"
  strings:
    $hex = /["'](\\x65\\x76\\x61\\x6c|\\x61\\x73\\x73\\x65\\x72\\x74|\\x62\\x61\\x73\\x65\\x36\\x34|\\x73\\x79\\x73\\x74\\x65\\x6d)/ nocase
    $octal = /["'](\\145\\166\\141\\154|\\141\\163\\163\\145\\162\\164|\\142\\141\\163\\145\\66\\64|\\163\\171\\163\\164\\145\\155)/
  condition:
    any of them and request_data
}

rule remote_code
{
  meta:
    name = "remote-code"
    description = "a script fetched from another server and run"
  strings:
    $eval = /(^|[^\w>:$])(eval|assert)[\s@("'?>.]+((base64_decode|gzinflate|gzuncompress|str_rot13)[\s@(]+)*(file_get_contents|implode|join)[\s@(]+(["']{2}\s*,\s*file[\s@(]+)?((base64_decode|str_rot13|strrev|hex2bin)[\s@(]+["']|["'](https?|ftp):\/\/)/ nocase
  condition:
    any of them
}

rule dropper
{
  meta:
    name = "dropper"
    description = "a file whose name and text are request data"
  strings:
    $put = /(^|[^\w>:$])file_put_contents[\s(]+((base64_decode|urldecode|hex2bin|trim)[\s@(]+)*\$_(GET|POST|REQUEST|COOKIE)\s*\[[^\[\];]+\][\s)]*,[\s@]*((base64_decode|urldecode|hex2bin|stripslashes|gzinflate|gzuncompress|trim)[\s@(]+)*(\$_(GET|POST|REQUEST|COOKIE)\b|file_get_contents[\s@(]+(\$_(GET|POST|REQUEST|COOKIE)\b|["']php:\/\/input))/ nocase
    $write = /(^|[^\w>:$])f(write|puts)[\s(]+@?fopen[\s(]+\$_(GET|POST|REQUEST|COOKIE)\s*\[[^\[\];]+\]\s*,\s*["'][waxc]b?\+?["']\s*\)\s*,[\s@]*((base64_decode|urldecode|hex2bin|stripslashes)[\s@(]+)*\$_(GET|POST|REQUEST|COOKIE)\b/ nocase
  condition:
    any of them
}

rule reverse_shell
{
  meta:
    name = "reverse-shell"
    description = "a command interpreter behind a socket to another host"
  strings:
    $socket = /\b(fsockopen|pfsockopen|stream_socket_client|socket_connect)\s*\(/ nocase
    $start = /(^|[^\w>:$])(proc_open|shell_exec|passthru|system|popen|exec)\s*\(/ nocase
    $interactive = /\/(ba|da|z|k)?sh\s+-i\b/
    $interpreter = /["'](\/bin\/(ba|da|z|k)?sh|cmd(\.exe)?|powershell(\.exe)?)["']/ nocase
    $pump = /\bstream_select\s*\(|while\s*\(\s*!\s*feof\s*\(\s*\$(sock|s|fp)\b/ nocase
    $device = /\/(ba|da|z|k)?sh\s+-(i|c\s+["'\\]{0,4}\w{0,4}sh\s+-i)\s*[^"';\n]{0,32}>&?\s*\/dev\/tcp\//
  condition:
    ($socket and $start and ($interactive or ($interpreter and $pump))) or ($start and $device)
}

rule mailer
{
  meta:
    name = "mailer"
    description = "mail sent without an end to a list of addresses in the request"
  strings:
    $list = /explode[\s(]+["'](\\r)?\\n["']\s*,[\s@]*((trim|stripslashes|urldecode|base64_decode)[\s(]+)*\$_(POST|REQUEST)\s*\[\s*["'](e-?mails?|emaillist|email_list|mail_?list|recipients?|maillist|to|target|list)["']/ nocase
    $mail = /(^|[^\w>:$])@?mail\s*\(/ nocase
    $endless = /set_time_limit\s*\(\s*0|["']max_execution_time["']\s*,\s*["']?0/ nocase
    $sender = /From:\s*["'<\s.{]*\$/ nocase
  condition:
    all of them
}

rule command_console
{
  meta:
    name = "command-console"
    description = "a page that runs the command of its own form, and looks after files"
  strings:
    $taken = /\$(cmd|command|exec|execute|shellcmd|xcmd|komut|komenda|perintah)\s*=\s*[^;$]{0,40}\$_(GET|POST|REQUEST|COOKIE)\b/ nocase
    $run = /(^|[^\w>:$])(system|passthru|shell_exec|exec|popen|proc_open)[\s(]+\$(cmd|command|exec|execute|shellcmd|xcmd|komut|komenda|perintah)\b/ nocase
    $list = /\b(opendir|scandir|readdir)\s*\(/ nocase
    $upload = /\b(move_uploaded_file|copy)\s*\([\s@]*\$_FILES\b/ nocase
    $remove = /(^|[^\w>:$])(unlink|rmdir|chmod)[\s(]+/ nocase
  condition:
    $taken and $run and 2 of ($list, $upload, $remove)
}

// --- Large scripts ------------------------------------------------------------------
// Asked for scripts of more than 5120 bytes only, beside all of the above.

rule all_in_one : large
{
  meta:
    name = "all-in-one"
    description = "many ways to run a command beside a file manager, all for the request"
  strings:
    $system = /(^|[^\w>:$])@?system\s*\(\s*\$/ nocase
    $passthru = /(^|[^\w>:$])@?passthru\s*\(\s*\$/ nocase
    $shell_exec = /(^|[^\w>:$])@?shell_exec\s*\(\s*\$/ nocase
    $exec = /(^|[^\w>:$])@?exec\s*\(\s*\$/ nocase
    $popen = /(^|[^\w>:$])@?popen\s*\(\s*\$/ nocase
    $proc_open = /(^|[^\w>:$])@?proc_open\s*\(\s*\$/ nocase
    $list = /\b(opendir|scandir|readdir)\s*\(/ nocase
    $upload = /\b(move_uploaded_file|copy)\s*\([\s@]*\$_FILES\b/ nocase
    $remove = /(^|[^\w>:$])@?(unlink|rmdir)\s*\(/ nocase
    $mode = /(^|[^\w>:$])@?chmod\s*\(/ nocase
    $rename = /(^|[^\w>:$])@?rename\s*\(/ nocase
    $eval = /(^|[^\w>:$])@?eval\s*\(\s*\$/ nocase
    $facts = /\b(php_uname|posix_getpwuid|disk_free_space|get_current_user)\s*\(/ nocase
    $disabled = /["']disable_functions["']/ nocase
  condition:
    request_data and 3 of ($system, $passthru, $shell_exec, $exec, $popen, $proc_open) and
    4 of ($list, $upload, $remove, $mode, $rename, $eval, $facts, $disabled)
}
