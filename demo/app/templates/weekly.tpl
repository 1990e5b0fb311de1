Weekly report

Staff   {{ $staff }}
Sick    {{ $sick }}
Present {{ $staff - $sick }}
