"""What goes wrong around the module. PHP serves on, protected if it can be; what cannot be
written is counted. docs/reliability.md has the outcomes."""

import itertools
import os
import re
import signal
import subprocess
from contextlib import contextmanager, suppress

import pytest
from servers import LONG, Load, name
from support import as_root, read_events, wait_until

pytestmark = pytest.mark.faults


def on(*kinds):
    settings = [(kind, "off") for kind in kinds]
    if LONG > 1:
        settings = itertools.product(["apache", "fpm"], ["off", "on"])
    return pytest.mark.parametrize("setting", settings, ids="-".join)


def test_no_library(site, agent_place):
    agent_place.clear()
    site.start("fpm", workers=1)
    site.serves(protected=False)
    assert site.said("libmessage_queue_linux.so: cannot open")
    agent_place.place()  # appears while it serves
    site.serves()


def test_unreadable_library(site, agent_place):
    as_root("chmod", "000", str(agent_place.path))
    site.start("cli")  # FPM opens it as root, before it makes workers
    site.serves(protected=False)
    assert site.said("libmessage_queue_linux.so: cannot open .*Permission denied")


@pytest.mark.parametrize(
    "factory", ["int nothing() { return 0; }", "void* create_php_help() { return nullptr; }"]
)
def test_wrong_library(site, agent_place, scratch, factory):
    library = scratch / "library.so"
    compiler = ["g++", "-shared", "-fPIC", "-x", "c++", "-", "-o", str(library)]
    subprocess.run(compiler, input=f'extern "C" {factory}', text=True, check=True)
    agent_place.place(library)
    site.start("fpm", workers=1)
    site.serves(protected=False)
    assert not site.said("create_php_help")  # the agent's tool says it


@contextmanager
def load(site, setting, close=False, **allowed):
    """A server under load that is as it must be afterwards."""
    site.start(*setting)
    with Load(site, close) as load:
        yield load
        load.more()
    assert load.faults(**allowed) == []
    site.serves(killed="unanswered" in allowed)


@contextmanager
def lossy(site, setting):
    with load(site, setting, lost=True) as running:
        yield running
        running.more()
    assert site.said("cannot write the event log")


@on("fpm")
def test_broken_policy(site, setting):
    def said():
        return len(site.said("agent.toml:1:15: .*file refused"))

    with load(site, setting) as running:
        wait_until("workers with a policy", lambda: len(site.meters()) > 1)
        site.policy.write_text('enforcement = "blok"\n')
        wait_until("a message of each process", lambda: said() >= len(site.meters()), 20)
        running.more()
    assert said() == len(site.meters())


@on("fpm")
def test_log_gone(site, setting):
    away = site.folder / "away"
    with lossy(site, setting) as running:
        site.events.rename(away)
        running.more()
        away.rename(site.events)


@on("apache")
def test_log_read_only(site, setting):
    def change(mode):
        subprocess.run(["chmod", "-R", mode, site.events], check=True)

    with lossy(site, setting) as running:
        change("a-w")
        running.more()
        change("u+w")


@on("fpm")
def test_log_full(site, setting):
    mount = ["mount", "-t", "tmpfs", "-o", "size=16m,mode=777", "vorgate", site.events]
    if subprocess.run(mount).returncode != 0:
        pytest.skip("no right to mount a small file system")
    filler = site.events / "filler"
    try:
        with lossy(site, setting) as running:
            with filler.open("wb", buffering=0) as file, pytest.raises(OSError):
                while True:
                    file.write(bytes(1 << 16))
            running.more()
            filler.unlink()
    finally:
        subprocess.run(["umount", "-l", site.events], check=True)


@on("apache")
def test_log_rotated(site, setting):
    with load(site, setting) as running:
        for number in range(3):
            (site.events / "events.jsonl").rename(site.events / f"events.{number}.jsonl")
            running.more()


@on("apache", "fpm")
def test_killed_workers(site, setting):
    with load(site, setting, unanswered=True) as running:

        def kill():
            for worker in list(site.workers())[:1]:
                with suppress(ProcessLookupError):  # by the kill before
                    os.kill(worker, signal.SIGKILL)
                running.more(20)
            return [result for _, result in running.sent.values()].count("open") >= 4 * LONG

        wait_until("requests that a kill cut off", kill, 120 * LONG)


@on("apache", "fpm")
def test_graceful_restart(site, setting):
    before = set()
    with load(site, setting, close=True) as running:
        for _ in range(2):
            before |= site.workers()
            site.reload()
            running.more()
    wait_until("new workers only", lambda: site.workers() and not before & site.workers())


TEN = "a" * (10 << 20)
MANY = {f"p{i}": "x" for i in range(10000)}
RAN, COMMAND = ["0x0 execution_record logged"], ["0x20011 command_execution blocked"]


@pytest.mark.parametrize("setting", [("fpm", "off")] + [("apache", "on")] * (LONG > 1))
def test_extremes(site, setting):
    """One worker serves them all."""
    site.start(*setting, workers=1)
    worker = site.ask("pid")

    def leaves(wanted, events, do, value, **more):
        for log in site.events.glob("*"):
            log.unlink()
        answer = site.ask(do, value, **more)
        assert re.match(wanted, answer), (do, answer[:500])
        seen = read_events(site.events / "events.jsonl")
        assert list(map(name, seen)) == events if events is not None else seen, (do, value[:50])

    # The script ends inside a watched call.
    leaves("200 left$", [], "hard", "exit")
    for fault in ("time", "memory", "throw", "include"):
        leaves("500 $", [], "hard", fault)

    # Sizes: a deep stack, many parameters, long values and long programs.
    leaves("200 x$", RAN, "deep", "x")
    leaves("200 (?!stolen)", COMMAND, "deep", 'x;echo sto""len')
    leaves("200 10001 x$", RAN, "many", "x", **MANY)
    leaves("200 10001 (?!x)", COMMAND, "many", 'x;echo sto""len', **MANY)
    leaves(f"200 {len(TEN)} <.php ", [], "big", TEN)
    path = str(site.folder / "app/part.php")
    leaves(r"200 \d+ <br/>Command", ["0x20012 file_read blocked"], "big", TEN + path)
    leaves("200 1$", RAN, "long", "")
    code = ["0x40000 code_execution blocked"]
    leaves("200 (?!stolen)", code, "code", f'return "sto"."len";#{TEN}')

    # Bytes that are no text, in each string argument of the watched functions.
    for value in (
        b"\0",
        b"a\0b\0",
        b"\xff\xfe\x80",
        b"\xc3(\0\xed\xa0\x80",
        b"http://\0\xff/",
        b"\0!php/object\xff",
    ):
        leaves("200 62$", None, "torture", value)
    site.serves()
    assert site.ask("pid") == worker
