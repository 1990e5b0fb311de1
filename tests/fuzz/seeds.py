"""Writes the texts of the tests' tables as seeds, a folder for each target: seeds.py FOLDER"""

import json
import pathlib
import sys

TESTS = pathlib.Path(__file__).parents[1]
TABLES = {
    "calls": ["unit/data/detectors.json"],
    "policy": ["data/agent/polic*.jsonl", "data/sql/rule_faults.jsonl"],
    "sql": ["data/sql/*.jsonl"],
}
FIRST = ("query", "text", "match", "policy", "values")  # in this order, before all others


def texts(value):
    if isinstance(value, str):
        yield value
    elif isinstance(value, dict):
        names = sorted(value, key=lambda name: (*FIRST, name).index(name))
        yield from (text for name in names for text in texts(value[name]))
    elif isinstance(value, list):
        yield from (text for element in value for text in texts(element))


for target, patterns in TABLES.items():
    folder = pathlib.Path(sys.argv[1], target)
    folder.mkdir(parents=True, exist_ok=True)
    files = [file for pattern in patterns for file in sorted(TESTS.glob(pattern))]
    lines = [line.strip().strip(",") for file in files for line in file.open(encoding="utf-8")]
    for number, line in enumerate(line for line in lines if line.startswith("{")):
        ends = "".join(text.replace("\\", "\\\\") + "\\\n" for text in texts(json.loads(line)))
        choices = bytes(99) + bytes([number % 256]) if target == "calls" else b""
        (folder / str(number)).write_bytes(ends.encode() + choices)
