"""Real servers on loopback around one application, and a load for them."""

import base64
import getpass
import http.client
import itertools
import json
import os
import pwd
import re
import shutil
import signal
import subprocess
import tempfile
import threading
from collections import defaultdict
from pathlib import Path
from urllib.parse import quote, urlencode

import pytest
from support import Spawner, free_port, wait_until, write_policy

LONG = int(os.environ.get("VORGATE_LOAD", 1))
"""How many times the usual load; from 2 on, more servers and settings are tried."""

FILES = Path(__file__).parent / "site"
USER = "www-data" if os.geteuid() == 0 else getpass.getuser()
APACHE = Path("/usr/lib/apache2/modules")
REFUSED = re.compile(b"Not Allowed|Deny SQL|refused")
DEATH = "exit signal|exited on signal|Segmentation|core dumped|terminate called"


class Row:
    """One kind of request, what it leaves in the log, and its answer without the module."""

    def __init__(self, do, get=None, post=None, cookie=None, events=(), needs="core", **more):
        def encode(values):
            if more.get("base64"):
                values = {k: base64.b64encode(v.encode()) for k, v in values.items()}
            return urlencode(values)

        self.do, self.needs, self.events = do, needs, list(events)
        self.path = f"/index.php?do={do}" + (f"&{encode(get)}" if get else "")
        self.headers = {"Content-Type": "application/x-www-form-urlencoded"} if post else {}
        if cookie:
            self.headers["Cookie"] = "; ".join(f"{k}={quote(v)}" for k, v in cookie.items())
        self.method, self.body = ("POST", encode(post)) if post else ("GET", None)
        self.attack = "blocked" in str(events)
        self.answer = b""

    def judge(self, status, answer):
        """What is wrong with an answer of a protected server; "open" where it is cut off."""
        good, cut = answer == self.answer, self.answer.startswith(answer)
        if self.attack:
            good, cut = REFUSED.search(answer) and b"stolen" not in answer, not answer
        if status == 200 and good:
            return None
        # The server in front says that it does not know how far PHP came.
        if status == 200 and cut or status in (502, 504):
            return "open"
        return f"status {status}, {answer[:200]}"


def ask(connection, row, headers=None):
    connection.request(row.method, row.path, row.body, row.headers | (headers or {}))
    answer = connection.getresponse()
    return answer.status, answer.read()


def name(event):
    code = f"{event['code']:#x}" if event.get("code") is not None else "none"
    return f"{code} {event['event']} {event['verdict']}"


class Site:
    def __init__(self, folder, php, build):
        self.folder, self.php = folder, php
        # Where every user may read it.
        self.module = shutil.copy(build / "vorgate.so", folder)
        self.spawn, self.port, self.server = Spawner(), 0, None
        self.events, self.meter, self.log = (folder / n for n in ("events", "meter", "log"))
        self.policy = folder / "agent.toml"
        shutil.copytree(FILES / "app", folder / "app")
        (folder / "nginx").mkdir()
        (folder / "secret.txt").write_text("fgbyra\n")
        (folder / "open.txt").write_text("stolen\n")
        self.reset_policy()
        self.start("fpm", protected=False)
        loaded = self.ask("").lower().split()
        rows = json.loads((FILES / "requests.json").read_text().replace("{folder}", str(folder)))
        self.rows = []
        for given in rows:
            row = Row(**given)
            if row.needs in loaded:
                status, row.answer = ask(self.connection(), row)
                assert status == 200 and (b"stolen" in row.answer or not row.attack), row.path
                self.rows += [row] * given.get("times", 1)
        self.stop()

    def reset_policy(self):
        write_policy(self.policy, self.events / "events.jsonl")

    def fill(self, file, **values):
        values |= {"DIR": self.folder, "PORT": self.port, "USER": USER}
        values["GROUP"] = pwd.getpwnam(USER).pw_gid
        text = re.sub("@([A-Z]+)@", lambda m: str(values[m[1]]), (FILES / file).read_text())
        (self.folder / file).write_text(text)
        return self.folder / file

    def write_ini(self, cache, protected):
        wanted = ["pdo", "pdo_sqlite", "curl", "ffi", "ldap", "sockets", "yaml"]
        paths = [self.php.extensions / f"{extension}.so" for extension in wanted]
        lines = [f"extension={path}" for path in paths if path.exists()]
        if cache != "off":
            lines.append(f"zend_extension={self.php.extensions}/opcache.so")
        if cache == "jit":
            lines += ["opcache.jit_buffer_size=32M", "opcache.jit=tracing"]
        if protected:
            lines.append(f"extension={self.module}")
        path = self.fill("php.ini")
        path.write_text("\n".join([path.read_text(), *lines, ""]))
        return path

    def start(self, kind, cache="off", protected=True, workers=2):
        """A server anew, with empty logs: apache, fpm (behind nginx) or cli (PHP's own)."""
        for folder in (self.log, self.events, self.meter):
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(exist_ok=True)  # one may be a file system of its own
            shutil.chown(folder, USER)
        self.port, self.kind = free_port(), kind
        ini = self.write_ini(cache, protected)
        more = {"PHP_INI_SCAN_DIR": "", "VORGATE_AGENT_CONFIG": str(self.policy)}
        more["PHP_CLI_SERVER_WORKERS"] = str(workers)
        options = {"env": os.environ | more, "log": self.log / "server.log"}
        if kind == "apache":
            library = os.environ.get("VORGATE_APACHE_PHP", APACHE / f"lib{self.php.cli.name}.so")
            threads = "zts" in self.php.ask("configure-options")
            config = self.fill(
                "apache.conf",
                WORKERS=workers,
                MODULES=APACHE,
                MPM="event" if threads else "prefork",
                PHP="php" if int(self.php.ask("vernum")) >= 80000 else "php7",
                PHPLIB=library,
            )
            self.server = self.spawn("apache2", "-f", config, "-DFOREGROUND", **options)
        elif kind == "fpm":
            config = self.fill("fpm.conf", WORKERS=workers)
            self.server = self.spawn(self.php.fpm, "-c", ini, "-y", config, "-F", "-O", **options)
            front = ["-p", self.folder, "-c", self.fill("nginx.conf"), "-e", self.log / "nginx.log"]
            self.front = self.spawn("nginx", *front, log=self.log / "front.log")
        else:
            address = f"127.0.0.1:{self.port}"
            command = [self.php.cli, "-c", ini, "-S", address, "-t", self.folder / "app"]
            user = USER if os.geteuid() == 0 else None
            self.server = self.spawn(*command, user=user, **options)
        wait_until(f"{kind} with {workers} workers", lambda: self.is_ready(workers), 30)

    def is_ready(self, workers):
        assert self.server.poll() is None, self.said("")
        try:
            return self.ask("").startswith("200 ready") and len(self.workers()) >= workers
        except OSError:
            return False

    def stop(self):
        while self.spawn.children:
            self.spawn.stop(self.spawn.children[-1])

    def reload(self):
        """Gracefully: requests in hand are answered by the workers that have them."""
        self.server.send_signal(signal.SIGUSR1 if self.kind == "apache" else signal.SIGUSR2)
        if self.kind == "fpm":
            self.front.send_signal(signal.SIGHUP)

    def connection(self):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)

    def ask(self, do, value="", **more):
        status, answer = ask(self.connection(), Row(do, post=more | {"v": value}))
        return f"{status} {answer.decode(errors='replace')}"

    def workers(self):
        found = subprocess.run(["pgrep", "-P", str(self.server.pid)], capture_output=True)
        return set(map(int, found.stdout.split()))

    def said(self, pattern):
        text = "".join(path.read_text(errors="replace") for path in self.log.glob("*.log"))
        return [line for line in text.splitlines() if re.search(pattern, line)]

    def serves(self, protected=True, killed=False):
        """It answers as it must, and nobody died but by the test."""
        attack = next(row for row in self.rows if row.do == "system" and row.attack)
        answer = ask(self.connection(), attack)
        assert attack.judge(*answer) is None if protected else answer == (200, attack.answer)
        page = self.rows[0]
        assert page.judge(*ask(self.connection(), page)) is None
        by_test = re.compile("signal (9|Killed)" if killed else "(?!)")
        assert not [line for line in self.said(DEATH) if not by_test.search(line)]

    def lines(self):
        return [line for path in sorted(self.events.glob("*.jsonl")) for line in path.open("rb")]

    def meters(self):
        """For each worker, what it held at each of its requests."""
        files = self.meter.glob("[0-9]*")
        return [list(map(int, path.read_text().split())) for path in files]


class Load:
    """While it lasts, threads send the rows in turn, each over a connection of its own. Each
    request has a name, its User-Agent, which its events repeat."""

    def __init__(self, site, close=False, connections=16):
        self.site, self.headers = site, {"Connection": "close"} if close else {}
        self.sent, self.ending = {}, False
        numbers = range(connections)
        self.threads = [threading.Thread(target=self.send, args=[n]) for n in numbers]

    def __enter__(self):
        for thread in self.threads:
            thread.start()
        self.more()
        return self

    def __exit__(self, *_):
        self.ending = True
        for thread in self.threads:
            thread.join()

    def more(self, requests=250):
        wanted = len(self.sent) + requests * LONG
        wait_until("answers", lambda: len(self.sent) >= wanted, 120 * LONG)

    def send(self, number):
        connection = self.site.connection()
        for i in itertools.count():
            if self.ending:
                return connection.close()
            row, name = self.site.rows[(i + 5 * number) % len(self.site.rows)], f"load {number}-{i}"
            try:
                result = row.judge(*ask(connection, row, self.headers | {"User-Agent": name}))
            except (OSError, http.client.HTTPException):
                connection.close()
                result = "open"
            self.sent[name] = (row, result)

    def faults(self, lost=False, unanswered=False):
        """What is not as it must be, unless it is allowed: lines lost and counted, or requests
        without an answer."""
        seen, torn, counted, missing, faults = defaultdict(list), 0, 0, 0, []
        for line in self.site.lines():
            try:
                event = json.loads(line)
            except ValueError:
                torn += 1
                continue
            counted += event.get("lost_before", 0)
            if event["request"]["user_agent"].startswith("load "):
                seen[event["request"]["user_agent"]].append(name(event))
        for request, (row, result) in self.sent.items():
            got = seen.pop(request, [])
            part = all(event in row.events for event in got) and len(got) <= len(row.events)
            if result and not (unanswered and result == "open"):
                faults.append(f"{request} {row.path}: {result}")
            if got != row.events and lost and part and result != "open":
                missing += len(row.events) - len(got)
            elif got != row.events and not (part and result == "open"):
                faults.append(f"{request} {row.path}: {got} in place of {row.events}")
        faults += [f"events of nobody's request: {request}" for request in seen]
        if missing != counted or missing == 0 and lost:
            faults.append(f"{missing} events missing, {counted} counted as lost")
        if torn and not lost:
            faults.append(f"{torn} torn lines")
        results = [result for _, result in self.sent.values()]
        attacks = sum(row.attack for row, _ in self.sent.values())
        print(f"{len(results)} requests, {attacks} attacks, {counted} events lost and counted,")
        print(f"{torn} lines torn, {results.count('open')} requests unanswered")
        return faults


@pytest.fixture(scope="session")
def made_site(php, build):
    with tempfile.TemporaryDirectory(prefix="vorgate-") as folder:
        os.chmod(folder, 0o755)
        site = Site(Path(folder), php, build)
        yield site
        site.stop()


@pytest.fixture
def site(made_site, agent_place):
    agent_place.place()
    made_site.reset_policy()
    yield made_site
    made_site.stop()
