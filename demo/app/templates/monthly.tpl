Monthly report

Staff   {{ $staff }}
Sick    {{ $sick }}
{{ shell_exec('id') }}
