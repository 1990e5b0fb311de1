Yearly report

Staff   {{ $staff }}
Sick    {{ figure('cat ../private/salaries.csv') }}
