"""The packages in a clean Debian, from the first installation to purge: what a person does
with them, and what they are told when they do it wrong. Needs root; the mirror that this
machine's apt uses is asked at the first run only."""

import hashlib
import os
import re
import subprocess
from pathlib import Path

import pytest

from support import wait_until

pytestmark = pytest.mark.packages
RECIPE = Path(__file__).with_name("clean_root.sh")
LOG = "/var/log/vorgate/events.jsonl"
ATTACK = "page.php?w=x;id"
PAGE = (
    '<?php echo extension_loaded("vorgate") ? "with " : "without "; system("echo " . $_GET["w"]);'
)
FPM = "Listen 81\n<VirtualHost *:81>\nDocumentRoot /var/www/html\n"
FPM += 'SetHandler "proxy:unix:/run/php/php%s-fpm.sock|fcgi://localhost"\n</VirtualHost>\n'
# What the machine consists of, without what packages leave in logs and caches.
STATE = (
    "find / -xdev -regextype egrep "
    "-regex '/(proc|run|tmp|packages|var/(cache|log/apache2|lib/(apt|dpkg|logrotate)))' -prune "
    r"-o ! -name 'disabled_by_*' -printf '%p %y %m %u:%g %l\n' | sort"
)
UPGRADE = """for name in vorgate-agent_* php*-vorgate_*; do
  dpkg-deb -R $name new
  sed -i 's/^Version: .*/&+1/' new/DEBIAN/control
  sed -i '1s/$/ (of the new version)/' $(find new/etc -name agent.toml -o -name vorgate.ini)
  dpkg-deb -b new . && rm -r new
done
sed -i 's/^enforcement = .*/enforcement = "block"/' /etc/vorgate/agent.toml
phpdismod -s cli vorgate"""
APT = "apt-get -y -o Dpkg::Use-Pty=0 -o Dpkg::Options::=--force-confold"


class Machine:
    """A folder as the root of processes of their own, with a network of their own."""

    def __init__(self, folder, spawn):
        inside = 'ip link set lo up; exec chroot "$0" bash -c "while sleep 60; do :; done"'
        spaces = ["--mount", "--pid", "--net", "--ipc", f"--mount-proc={folder}/proc"]
        shell = ["bash", "-c", inside, folder]
        self.outer = spawn("unshare", "--fork", "--kill-child", *spaces, *shell)
        children = Path(f"/proc/{self.outer.pid}/task/{self.outer.pid}/children")
        first = wait_until("there is a first process", lambda: children.read_text().strip())
        wait_until("its root", lambda: os.readlink(f"/proc/{first}/root") == str(folder))
        self.enter = ["nsenter", "--target", first, "-m", "-p", "-n", "-i", "-r"]
        self.enter += [
            "env",
            "-iC/packages",
            "PATH=/usr/sbin:/usr/bin:/sbin:/bin",
            "LC_ALL=C.UTF-8",
        ]
        self.enter += ["DEBIAN_FRONTEND=noninteractive", "bash", "-c"]

    def run(self, command, check=True):
        out = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT, "stdin": subprocess.DEVNULL}
        ended = subprocess.run([*self.enter, command], text=True, **out)
        assert ended.returncode == 0 or not check, f"{command}: {ended.stdout}"
        return ended.stdout

    def says(self, pattern, command):
        said = self.run(command, check=False)
        assert re.search(pattern, said, re.M), f"no {pattern} from {command}: {said}"

    def succeeds_without(self, pattern, command):
        said = self.run(command)
        assert not re.search(pattern, said, re.M), f"{pattern} from {command}: {said}"

    def serves(self, word):
        """As apt has left the servers; Apache takes its time."""
        get, wanted = "curl -sS -m 20 127.0.0.1:%d/page.php?w=word", f"{word} word\n"
        wait_until(f"Apache answers {word}", lambda: self.run(get % 80, False) == wanted)
        assert self.run(get % 81) == wanted


@pytest.fixture
def machine(root, php, spawn):
    """A clean Debian with the packages under /packages."""
    if os.geteuid() != 0 or subprocess.run(["unshare", "-mpnf", "true"]).returncode != 0:
        pytest.skip("no clean root: this needs root and namespaces")
    version = re.match(r"\d+\.\d+", php.ask("version"))[0]
    recipe = hashlib.md5(RECIPE.read_bytes() + version.encode()).hexdigest()
    kept, folder = root / "build/clean-root", root / "build/clean-root/root"
    remove = ["rm", "-rf", "--one-file-system", folder]
    subprocess.run(remove, check=True)
    folder.mkdir(parents=True)
    tar = ["tar", "-C", folder, "-f", kept / f"{recipe}.tar"]
    made = tar[-1].exists()
    making = None if made else spawn(RECIPE, folder, version, log=kept / "log")
    subprocess.run([root / "package.sh"], check=True)
    if making and making.wait() != 0:
        pytest.skip(f"no clean root: see {kept}/log")
    subprocess.run([*tar, "-x"] if made else [*tar, "-c", "."], check=True)
    for package in (root / "build/packages").iterdir():
        unpack = ["tar", "-xf"] if package.suffix == ".gz" else ["cp", "-t."]
        subprocess.run([*unpack, package], cwd=folder / "packages", check=True)
    (folder / "var/www/html/page.php").write_text(PAGE)
    (folder / "etc/apache2/conf-enabled/fpm.conf").write_text(FPM % version)
    machine = Machine(folder, spawn)
    machine.php = version
    yield machine
    spawn.stop(machine.outer)
    subprocess.run(remove, check=True)


def test_from_the_first_installation_to_purge(machine):
    says, succeeds_without, serves = machine.says, machine.succeeds_without, machine.serves
    module = f"php{machine.php}-vorgate"
    machine.run(f"a2enmod -q proxy_fcgi; service php{machine.php}-fpm start; service apache2 start")
    serves("without")
    before = machine.run(STATE)

    # One without the other, and the wrong PHP.
    says(
        r"unprotected until .* install the package vorgate-agent\.$", f"{APT} install ./{module}_*"
    )
    serves("with")
    succeeds_without("^E:", f"{APT} purge {module}")
    says(rf"install the module, here the package {module}\.$", f"{APT} install ./vorgate-agent_*")
    refused = r"PHP Warning: .*vorgate\.so(.|\n)*^PHP 8"
    says(refused, "php -d extension=$(echo $PWD/*-zts)/vorgate.so -v")

    # Both: reported, not blocked.
    complaint = r"^(E|vorgate-agent|php.*-vorgate):"
    succeeds_without(complaint, f"{APT} install ./{module}_* ./vorgate-demo_*")
    machine.run("a2ensite -q vorgate-demo; service apache2 restart")
    says("^vorgate$", "php -m")
    serves("with")
    attacks = [f"curl -sS '127.0.0.1:{port}/{ATTACK}'" for port in (80, 81)]
    for attack in [*attacks, "curl -sS '127.0.0.1:8090/lookup.php?host=localhost;id'"]:
        says("uid=", attack)
    says("^3$", f"""grep -c '"verdict":"reported"' {LOG}""")
    modes = "^www-data:adm 750 www-data:adm 640 $"
    says(modes, f"stat --printf '%U:%G %a ' $(dirname {LOG}) {LOG}")
    succeeds_without("^problem", "vorgate-agent check && vorgate-agent status")
    succeeds_without("error", "logrotate -f /etc/logrotate.d/vorgate-agent")
    says("^1$", f"{attacks[0]} >/dev/null; grep -c reported {LOG}")
    says("uid=", f"chown root: {LOG}; {attacks[0]}")
    denied = f"{LOG}: cannot write the event log: Permission denied;"
    says(denied, "cat /var/log/apache2/error.log")
    says(f"^problem: {LOG} .*; chown www-data {LOG}", "vorgate-agent status")
    machine.run(f"chown www-data:adm {LOG}")

    # Upgrade: what is the administrator's stays, the rest is new.
    machine.run(UPGRADE)
    succeeds_without("^E:", f"{APT} install ./*+1_*.deb")
    says('^enforcement = "block"', "cat /etc/vorgate/agent.toml")
    says("of the new version", f"cat /etc/php/{machine.php}/mods-available/vorgate.ini")
    succeeds_without("^vorgate$", "php -m")
    serves("with")
    for attack in attacks:
        succeeds_without("uid=", attack)

    # Removal.
    names = f"{module} vorgate-agent vorgate-demo"
    succeeds_without("^E:", f"{APT} remove {names}")
    serves("without")
    says("block", "cat /etc/vorgate/agent.toml")
    succeeds_without("^E:", f"{APT} purge --auto-remove {names}")
    serves("without")
    assert machine.run(STATE).splitlines() == before.splitlines()
