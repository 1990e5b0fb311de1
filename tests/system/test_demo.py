"""The demonstration, as a person starts it."""

import os
import re
import subprocess

import pytest
import requests

from support import AGENT, wait_until

pytestmark = pytest.mark.demo

UNPROTECTED = r"""
. "$0/scripts/lib.sh"
. "$0/demo/servers.sh"
begin
data=$1 php=$(php-config --php-binary)
start_surroundings
start_application twice 0 "$php"
run_child "$php" "$0/demo/run.php" "$0/demo/requests.php" "$url" "$url" "$data/none.jsonl"
"""
# With a place of its own for the agent, where something stands already.
SERVE = 'mount --bind "$1" /usr/local/lib && exec env -u VORGATE_AGENT_CLAIMED "$0" --serve 0'


def test_it_fails_where_nothing_protects(root, scratch):
    ended = subprocess.run(
        ["bash", "-c", UNPROTECTED, root, scratch], capture_output=True, text=True
    )
    attacks = (root / "demo/requests.php").read_text().count("'attack' =>")
    assert ended.returncode == 1, ended.stdout + ended.stderr
    assert re.search(f"^0 of {attacks} attacks stopped, 0 of ", ended.stdout, re.M)


@pytest.mark.skipif(os.geteuid() != 0, reason="a place of its own for the agent needs root")
def test_serve_shows_an_attack_and_leaves_no_trace(root, scratch, spawn):
    place = scratch / "lib/vlib64" / AGENT
    place.parent.mkdir(parents=True)
    place.symlink_to("somewhere")
    command = ("unshare", "-m", "bash", "-c", SERVE, root / "demo.sh", scratch / "lib")
    demo = spawn(*command, log=scratch / "said")

    def shown(pattern):
        said = (scratch / "said").read_text()
        assert demo.poll() is None, said
        return re.search(pattern, said)

    url = wait_until("it is built and serves", lambda: shown(r"http://[0-9.:]+"), 900)[0]
    assert "uid=" not in requests.get(f"{url}/lookup.php?host=localhost;id").text
    event = r"blocked +0x20011 command_execution +getent hosts localhost;id"
    wait_until("it shows the attack", lambda: shown(event))
    demo.terminate()
    assert demo.wait() == 0
    assert os.listdir(place.parent) == [AGENT] and os.readlink(place) == "somewhere"
    with pytest.raises(requests.ConnectionError):
        requests.get(url)
