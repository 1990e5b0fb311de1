#!/usr/bin/env python3
"""Adds up what the runners wrote: tally.py FILE=STATUS...

FILE is a report in JUnit's form, STATUS the exit status of the runner that should have
written it. Prints why tests were left out, and one line with the numbers. Exit status: 0
nothing failed; 1 something did.
"""

import re
import sys
from pathlib import Path
from xml.etree import ElementTree

passed = failed = skipped = 0
for argument in sys.argv[1:]:
    file, status = argument.rsplit("=", 1)
    bad = 0
    if Path(file).exists():
        for case in ElementTree.parse(file).iter("testcase"):
            output = case.findtext("system-out") or ""
            # PHP's runner has tests of its own to leave out in what is one test here.
            reasons = re.findall(r"^SKIP .*reason: (.*)$", output, re.M)
            left_out = case.find("skipped")
            if left_out is not None:
                told = re.search(r"^\S+: Skipped\n(.*)", output, re.M)
                reasons = reasons or [told[1] if told else left_out.get("message")]
            elif case.find("failure") is not None or case.find("error") is not None:
                bad += 1
            else:
                passed += 1
            for reason in reasons:
                print(f"left out: {case.get('name')}: {reason}")
            skipped += len(reasons)
    # A runner that ends badly without a failed test has not run them all.
    failed += bad or status != "0"
print(f"{passed} passed, {failed} failed, {skipped} skipped")
sys.exit(failed > 0)
