"""What the tests of the whole system call; conftest.py has their fixtures."""

import json
import os
import signal
import socket
import subprocess
import time
from pathlib import Path

import pytest

AGENT = "libmessage_queue_linux.so"
PLACE = Path("/usr/local/lib/vlib64", AGENT)


def as_root(*command):
    sudo = [] if os.access(PLACE.parents[1], os.W_OK) else ["sudo", "--"]
    subprocess.run([*sudo, *command], check=True)


def wait_until(what, condition, seconds=120):
    """Returns what the condition gives, once it is true."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if result := condition():
            return result
        time.sleep(0.05)
    pytest.fail(f"waited {seconds} seconds, and still not: {what}")


def read_events(log):
    """The events of a log, in JSON Lines; none where there is no log."""
    lines = Path(log).read_bytes().splitlines() if Path(log).exists() else []
    return [json.loads(line) for line in lines]


def write_policy(path, log, enforcement="block", more=""):
    quoted = json.dumps(str(log))
    Path(path).write_text(f'enforcement = "{enforcement}"\n{more}\n[log]\npath = {quoted}\n')


def free_port():
    """A port of the loopback that nobody uses."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


class Spawner:
    """Starts processes that live no longer than the test, each with what it starts."""

    def __init__(self):
        self.children = []

    def __call__(self, *command, user=None, log=os.devnull, **options):
        other = ["--reuid", user, "--regid", user, "--init-groups"] if user else []
        guard = ["setpriv", *other, "--pdeathsig", "KILL", "--"]
        guard += map(str, command)
        with open(log, "ab") as file:
            streams = {"stdin": subprocess.DEVNULL, "stdout": file, "stderr": subprocess.STDOUT}
            child = subprocess.Popen(guard, start_new_session=True, **streams | options)
        self.children.append(child)
        return child

    def stop(self, child):
        """Ends it and all that it started; its exit status."""
        for number in (signal.SIGTERM, signal.SIGKILL):
            try:
                os.killpg(child.pid, number)
                child.wait(20)
            except (ProcessLookupError, subprocess.TimeoutExpired):
                pass
        self.children.remove(child)
        return child.wait()
