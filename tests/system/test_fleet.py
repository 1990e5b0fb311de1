"""The shipped configurations of rsyslog carry every event to another host, whole, while the
log is rotated and the receiver is killed. Kafka's is only read."""

import getpass
import grp
import os
import re
import subprocess
import sys

import pytest

import log_lines
from support import AGENT, free_port, wait_until, write_policy

pytestmark = pytest.mark.fleet
PROCESSES, EACH = 5, 10000
TOTAL = PROCESSES * EACH
PIECE = b'{"time":"a piece that a kill has left'
GROUP = grp.getgrgid(os.getegid()).gr_name


def configure(root, folder, name, port=9092):
    """The shipped file with this test's places in it."""
    text = (root / f"packaging/rsyslog/vorgate-{name}.conf").read_text()
    (folder / f"spool-{name}").mkdir()
    text = re.sub("/var/log/vorgate(-fleet|)/", rf"{folder}/log\1/", text)
    text = text.replace("/var/spool/rsyslog/", f"{folder}/spool-{name}/")
    text = re.sub(r'"([a-z]+\.example\.net|0\.0\.0\.0)', '"127.0.0.1', text)
    text = re.sub("2514|6379", str(port), text.replace('"adm"', f'"{GROUP}"'))
    (folder / f"{name}.conf").write_text(
        f'global(workDirectory="{folder}/spool-{name}" processInternalMessages="on")\n{text}\n'
        f'action(type="omfile" file="{folder}/{name}.messages")\n'
    )
    return ["rsyslogd", "-n", "-iNONE", "-f", folder / f"{name}.conf"]


def rotate(root, folder):
    text = (root / "packaging/logrotate/vorgate").read_text()
    text = re.sub("su .*", f"su {getpass.getuser()} {GROUP}", text)
    (folder / "rotate").write_text(text.replace("/var/log/vorgate/", f"{folder}/log/"))
    state = folder / "rotate.state"
    subprocess.run(["logrotate", "--force", "--state", state, folder / "rotate"], check=True)


def contents(folder, pattern):
    return b"".join(file.read_bytes() for file in folder.glob(pattern))


class Relp:
    def __init__(self, root, folder, port, spawn):
        self.folder, self.spawn = folder, spawn
        self.command = configure(root, folder, "central", port)

    def start(self):
        return self.spawn(*self.command)

    def read(self):
        return contents(self.folder, "log-fleet/*/events.jsonl")

    def count(self):
        return self.read().count(b"\n")


class Redis:
    def __init__(self, root, folder, port, spawn):
        self.folder, self.port, self.spawn = folder, port, spawn

    def ask(self, *command):
        client = ["redis-cli", "-s", self.folder / "redis", *command]
        return subprocess.run(client, capture_output=True).stdout

    def start(self):
        options = f"--port 0 --bind 127.0.0.1 --unixsocket {self.folder}/redis --dir {self.folder}"
        options += f" --logfile {self.folder}/redis.messages --appendonly yes --appendfsync always"
        server = self.spawn("redis-server", *options.split(), "--save", "")
        # While it reads its file it refuses, and the sender does not hear that.
        wait_until("Redis is there", lambda: self.ask("ping") == b"PONG\n")
        self.ask("config", "set", "port", str(self.port))
        return server

    def read(self):
        return self.ask("lrange", "vorgate:events", "0", "-1")

    def count(self):
        return int(self.ask("llen", "vorgate:events"))


@pytest.mark.parametrize("name, receiving", [("relp", Relp), ("redis", Redis)])
def test_every_event_arrives_whole(root, build, scratch, spawn, name, receiving):
    port, log = free_port(), scratch / "log/events.jsonl"
    log.parent.mkdir()
    write_policy(scratch / "policy.toml", log, "report")
    way = receiving(root, scratch, port, spawn)
    sending = configure(root, scratch, name, port)

    def wait(what, count, number):
        wait_until(what, lambda: count() >= number)

    def written():
        return contents(scratch, "log/*").count(b"\n")

    receiver = way.start()
    policy = {"VORGATE_AGENT_CONFIG": str(scratch / "policy.toml")}
    options = {"env": {**os.environ, **policy}, "stdin": subprocess.PIPE}
    command = [sys.executable, log_lines.__file__, build / AGENT]
    writers = [spawn(*command, i, EACH, **options) for i in range(PROCESSES)]
    # The sender has much to tell when it starts, some of it rotated: it does not stop for
    # breath where the receiver is killed.
    wait("events are written", written, TOTAL // 4)
    rotate(root, scratch)
    sender = spawn(*sending)
    for kill in range(3):
        wait("events come", way.count, way.count() + TOTAL // 20)
        receiver.kill()
        receiver.wait()
        for file in scratch.glob("log-fleet/*/events.jsonl"):
            with file.open("ab") as torn:
                torn.write(PIECE)
        if kill == 0:
            rotate(root, scratch)
            wait("events are written while nobody receives", written, TOTAL // 2)
        receiver = way.start()
    wait("events come again", way.count, TOTAL // 2)
    for writer in writers:
        writer.stdin.close()  # they wait for it before their last fifth
    rotate(root, scratch)
    assert [writer.wait() for writer in writers] == [0] * PROCESSES

    sent = set(contents(scratch, "log/*").splitlines())
    assert len(sent) == TOTAL
    wait("every event has arrived", way.count, TOTAL)
    wait_until("every event has arrived", lambda: sent <= set(way.read().split(b"\n")))
    arrived = [line for line in way.read().split(b"\n") if line and not line.endswith(PIECE)]
    print(f"{name}: {TOTAL} events sent, {TOTAL} arrived, {len(arrived) - TOTAL} twice")
    assert not set(arrived) - sent, "lines arrived that nobody sent"
    assert b"execute_command" not in contents(scratch, "*.messages"), "in the host's other logs too"
    assert [spawn.stop(sender), spawn.stop(receiver)] == [0, 0]


def test_rsyslog_reads_the_configuration_for_kafka(root, scratch):
    command = [*configure(root, scratch, "kafka"), "-N1"]
    read = subprocess.run(command, capture_output=True, text=True)
    assert read.returncode == 0, read.stderr
