"""vorgate-agent: what check, try, status, tail and explain say, and how they end."""

import getpass
import gzip
import json
import os
import re
import subprocess
import time
from datetime import datetime, timezone
from pathlib import Path

import pytest

from log_lines import event
from support import AGENT, wait_until, write_policy

pytestmark = pytest.mark.tool
CASES = json.loads((Path(__file__).parents[1] / "data/tool/try.json").read_text())["cases"]
USER = getpass.getuser()


@pytest.fixture
def tool(build):
    def run(status, *arguments, locale="C.UTF-8", **options):
        """What it says, if it ends with this status."""
        command = [build / "vorgate-agent", *arguments]
        options |= {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT, "text": True}
        ended = subprocess.run(command, env={**os.environ, "LC_ALL": locale}, **options)
        assert ended.returncode == status, ended.stdout
        return ended.stdout

    return run


@pytest.fixture
def log(scratch, monkeypatch):
    """The place of the event log of a policy, $VORGATE_AGENT_CONFIG."""
    (scratch / "log").mkdir()
    log = scratch / "log/events.jsonl"
    write_policy(scratch / "policy.toml", log, more='trusted_proxies = ["192.0.2.9"]')
    monkeypatch.setenv("VORGATE_AGENT_CONFIG", str(scratch / "policy.toml"))
    return log


def says(said, *patterns):
    for pattern in patterns:
        found = re.search(pattern.lstrip("!"), said, re.M)
        assert bool(found) != pattern.startswith("!"), f"{pattern} in: {said}"


DOUBTFUL = """[modes]
file_access = "block"
[[allow]]
server_name = "a"
[[allow]]
server_name = "b"
client = "10.0.0.1"
[[allow]]
client = "::/0\""""
DOUBTS = ["^warning: .*:2:1: the modes do not count", "^warning: .*:3:1: .*Host header"]
DOUBTS += ["!^warning: .*policy:5:", "^warning: .*:8:1: this entry exempts every request"]


@pytest.mark.parametrize(
    "policy, status, patterns",
    [
        (DOUBTFUL, 0, DOUBTS),
        ('[scripts]\non_timeout = "block"', 0, ["^warning: .*:2:14: it stops nothing"]),
        ('enforcement = "blok"', 1, ["policy:1:15: unknown value; write"]),
        ('[sql]\nrules = ["FOLDER/none"]', 1, ["^[^:]+none: .*; put the rule file there"]),
        ('[sql]\nrules = ["FOLDER/sql"]', 1, [r"^[^:]+sql:\d+:\d+: .+; "]),
    ],
)
def test_check_reads_the_policy_as_the_agent_does(tool, scratch, policy, status, patterns):
    (scratch / "sql").write_text('[[rule]]\nname = "a"\n')
    (scratch / "policy").write_text(policy.replace("FOLDER", str(scratch)))
    says(tool(status, "check", "--user", USER, scratch / "policy"), *patterns)


def test_check_looks_at_rights_and_places(tool, scratch, log):
    policy, check = scratch / "policy.toml", ("check", "--user", USER)
    says(tool(0, *check), "!^warning")
    policy.chmod(0o666)
    says(tool(0, *check), "^warning: .*chmod go-w ")
    tool(1, *check, "--strict")
    log.parent.rmdir()
    says(tool(0, *check), f"^warning: .*/log: .* folder is missing.* install -d -o {USER} ")
    if os.geteuid() == 0:
        scratch.chmod(0o700)
        says(tool(0, "check", "--user", "nobody"), "^warning: .*user nobody cannot read it")
    policy.unlink()
    says(tool(2, *check, policy), "no such file")


def test_try_answers_as_php_would(build, scratch):
    policy = scratch / "policy.toml"
    policy.write_text(
        'enforcement = "block"\ntrusted_proxies = ["10.0.0.1"]\n'
        '[[allow]]\nuri_prefix = "/admin"\n[[allow]]\nclient = "192.0.2.99"\n'
    )
    wrong = []
    for arguments, status, name, text in CASES:
        command = [build / "vorgate-agent", "try", "--json", "--policy", policy, *arguments]
        ended = subprocess.run(command, capture_output=True)
        said = json.loads(ended.stdout or "{}")
        seen = said.get("event") or {}
        as_wanted = (ended.returncode, seen.get("event")) == (status, name)
        as_wanted &= (said.get("answer") == "blocked") == (status == 1)
        as_wanted &= bool(ended.stderr) == (status == 2)
        if not as_wanted or text not in f"{seen.get('detail')} {seen.get('subject')}":
            wrong.append([arguments, ended.returncode, said, ended.stderr])
    assert not wrong


def test_try_takes_a_whole_request_and_tells_a_person(tool, scratch):
    (scratch / "request").write_text(
        "POST /run?a=b HTTP/1.1\r\nHost: shop.example:8080\r\nCookie: k=v\r\n"
        "Content-Type: application/x-www-form-urlencoded\r\n\r\nc=id%3Bwho\r\n"
    )
    request = ("--request", scratch / "request", "--policy", scratch / "none.toml")
    said = tool(1, "try", "system", "id;who", *request)
    says(said, "POST /run.*, to shop.example,", "would be reported, and goes on")
    says(tool(0, "try", "system", "uname -a", *request), "goes on")
    (scratch / "bad").write_text("enforcement = 1")
    says(tool(2, "try", "system", "id", "--policy", scratch / "bad"), "correct it first")


def test_status(tool, log, build, php, scratch, spawn):
    day = datetime.now(timezone.utc).date()
    lines = [event(0, time=f"{day}T00:00:00.000001Z"), event(1, time="2001-01-01T00:00:00.000001Z")]
    lines += [event(3, time=f"{day}T00:00:01.000001Z", lost_before=3), f'{{"time":"{day}T00"\n']
    log.write_text("".join(lines))

    def start(*options):
        code = "echo 1; sleep(99);"
        child = spawn(php.cli, "-n", *options, "-r", code, stdout=subprocess.PIPE)
        child.stdout.read(1)
        return f"^problem: php.* of {USER} .*[ ,(]{child.pid}[,)].* runs without the module"

    def status(library):
        policy = scratch / "policy.toml"
        return tool(1, "status", "--user", USER, "--library", library, "--policy", policy)

    protected, unprotected = start("-d", f"extension={build}/vorgate.so"), start()
    says(
        status(build / AGENT),
        *(f"^agent +loads +{build}/", unprotected, "!" + protected),
        *("^events +2 +command_execution: 1 blocked, 1 reported", "^events +1 +torn or foreign"),
        "^problem: .*: 3 events of today could not be written",
    )
    says(status(scratch / "none.so"), "^problem: .*/none.so: .* missing")
    says(status(log), r"^problem: .*/events.jsonl: PHP cannot load the agent \(.+\); ")


@pytest.mark.parametrize("factory", ["other", "create_php_help"])
def test_a_library_without_an_agent_is_named(tool, log, scratch, factory):
    library, code = scratch / "agent.so", f'extern "C" void* {factory}() {{ return nullptr; }}'
    compiler = ["g++", "-shared", "-fPIC", "-x", "c++", "-", "-o", library]
    subprocess.run(compiler, input=code, text=True, check=True)
    reason = "has no function" if factory == "other" else "answers that there is no agent"
    options = ("--user", USER, "--library", library)
    says(tool(1, "status", *options), f"^problem: {library}: .*{reason}.*; ")
    says(tool(0, "check", *options), f"^warning: {library}: .*{reason}.*; ")


def test_the_manual_page_names_every_option(tool, root):
    page = (root / "packaging/vorgate-agent.8").read_text()
    commands = re.findall(r"^  ([a-z]+)", tool(0, "--help").partition("Subcommands:")[2], re.M)
    helps = "".join(tool(0, command, "--help") for command in commands)
    options = set(re.findall(r"^  (?:-[a-z],)?--([a-z-]+)", helps, re.M)) - {"help"}
    assert len(options) > 20
    assert [option for option in options if f"Fl -{option}" not in page] == []


def line(number, subject, verdict="blocked", **more):
    """An event of system(), 15 seconds after the one before."""
    name = "execution_record" if verdict == "logged" else "command_execution"
    request = {"request_uri": "/a.php?c=id", "query_string": "c=id", "remote_addr": "192.0.2.9"}
    request |= {"forwarded_for": "198.51.100.4", "stack_trace": "system(id)\nmain\\run(a\n->b)\n"}
    return event(3 * number, request, subject=subject, verdict=verdict, event=name, **more)


@pytest.fixture
def hostile_log(log):
    log.write_text(
        line(1, "id")
        + line(2, "ls", "logged")
        + '{"time":"2026-01-05T00:0\nnot an event\n'
        + line(3, "\x1b]0;x\x07\x9b2J\u202etxt.exe\0café\r\n", "reported")
        + line(4, "a\ufffd", raw={"subject": "Yf8="})
        + line(5, "cut")[:100]
    )
    return log


def test_tail_shows_hostile_events_as_text(tool, hostile_log):
    said = tool(0, "tail")
    assert "3 events shown; 1 plain records left out (--all shows them); 3 lines are no" in said
    hostile = r"\x1b]0;x\x07\u{9b}2J\u{202e}txt.exe\x00café\r\n 198.51.100.4 GET /a.php?c=id"
    assert hostile in said and r"a\xff" in said
    assert not re.search("[\x1b\x9b\u202e]", said)
    assert r"caf\u{e9}" in tool(0, "tail", locale="C")


def test_tail_selects(tool, hostile_log):
    packed = hostile_log.with_suffix(".gz")
    packed.write_bytes(gzip.compress(hostile_log.read_bytes()))
    late = ["--verdict", "reported", "-c", "command_execution", "--since", "2026-01-05T00:00:40"]
    says(tool(0, "tail", "--all", hostile_log), "4 events")
    says(tool(0, "tail", *late), "1 event shown")
    says(tool(0, "tail", "--since", "1m"), "0 events")
    says(tool(0, "tail", "-n", "1"), "1 event shown")
    says(tool(0, "tail", packed), "3 events")
    says(tool(2, "tail", "--since", "yesterday"), "write 15m")


def test_explain(tool, hostile_log):
    offset = re.findall(r"^(\d+) ", tool(0, "tail"), re.M)[1]
    assert r"\u{202e}txt.exe" in tool(0, "explain", offset)
    says(
        tool(0, "explain", "--line", "1"),
        '^server_name = "www.example.org"\nuri_prefix = "/a.php"\nclient = "198.51.100.4"\n',
        r"└─ main\\run\(a\\n->b\)(.|\n)*   └─ system\(id\)   <- stopped here",
        'parameter "c" has exactly this value',
    )
    assert r"a\xff" in tool(0, "explain", "--last")
    assert "no event begins at byte 7" in tool(2, "explain", "7")
    assert "command_execution (0x20011)" in tool(0, "explain", "-", input=line(1, "id"))
    tool(2, "explain", "--line", "3")


def test_tail_follows_a_log_that_is_rotated(build, log, scratch, spawn):
    log.write_text(line(6, "before"))
    command = (build / "vorgate-agent", "tail", "--follow", log)
    spawn("stdbuf", "-oL", *command, log=scratch / "said", stderr=None)

    def shown(text):
        wait_until(f"{text} is shown", lambda: text in (scratch / "said").read_text(), 30)

    shown("before")
    with log.open("a") as writer:
        writer.write(line(7, "in-pieces")[:90])
        writer.flush()
        time.sleep(0.5)
        writer.write(line(7, "in-pieces")[90:])
    shown("in-pieces")
    log.rename(f"{log}.1")
    with open(f"{log}.1", "a") as old:
        old.write(line(8, "late-in-old"))
    log.write_text(line(9, "first-in-new"))
    shown("first-in-new")
    shown("late-in-old")
    log.write_text(line(10, "x"))
    shown(" x ")
    assert len((scratch / "said").read_text().splitlines()) == 5
