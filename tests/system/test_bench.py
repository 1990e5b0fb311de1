"""The benchmark runs, and the one cost that every call of every page pays is within its
target. Instructions alone are judged: they hardly vary, times do."""

import re
import subprocess

import pytest


@pytest.mark.bench
def test_the_benchmark_runs_and_an_unwatched_call_costs_next_to_nothing(root):
    table = subprocess.run([root / "bench/run.sh", "--quick"], stdout=subprocess.PIPE, text=True)
    assert table.returncode == 0
    assert re.search("^internal call.* instructions .*: held", table.stdout, re.M), table.stdout
