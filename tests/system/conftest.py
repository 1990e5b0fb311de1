"""What the tests of the whole system share.

They judge the build in VORGATE_BUILD (build/php where it is not set) with the PHP of
VORGATE_PHP_CONFIG. Tests that put an agent at its place are run by scripts/agent-place.
"""

import os
import shutil
import subprocess
import tempfile
from pathlib import Path
from types import SimpleNamespace

import pytest

from support import AGENT, PLACE, Spawner, as_root

pytest_plugins = ["servers"]
ROOT = Path(__file__).parents[2]


@pytest.fixture(scope="session")
def root():
    return ROOT


@pytest.fixture(scope="session")
def build():
    folder = Path(os.environ.get("VORGATE_BUILD", ROOT / "build/php")).resolve()
    if not (folder / "vorgate.so").exists():
        pytest.fail(f"no module in {folder}: cmake --preset php && cmake --build --preset php")
    return folder


@pytest.fixture(scope="session")
def php():
    """The programs of one PHP; None for those that it was built without."""
    config = os.environ.get("VORGATE_PHP_CONFIG", "php-config")

    def ask(option):
        return subprocess.check_output([config, f"--{option}"], text=True).strip()

    cli = Path(ask("php-binary"))
    folders = os.pathsep.join([str(cli.parent), str(cli.parents[1] / "sbin")])
    other = {name: cli.name.replace("php", f"php-{name}") for name in ("cgi", "fpm")}
    programs = {name: shutil.which(file, path=folders) for name, file in other.items()}
    extensions = Path(ask("extension-dir"))
    return SimpleNamespace(
        cli=cli, config=config, api=ask("phpapi"), extensions=extensions, ask=ask, **programs
    )


@pytest.fixture
def scratch():
    """A folder that every user may enter; a server's workers may be another user's."""
    with tempfile.TemporaryDirectory(prefix="vorgate-") as folder:
        os.chmod(folder, 0o755)
        yield Path(folder)


@pytest.fixture
def spawn():
    spawner = Spawner()
    yield spawner
    for child in reversed(spawner.children.copy()):
        spawner.stop(child)


@pytest.fixture
def agent_place(build):
    """The one place where the module looks for its agent: empty before and after the test."""
    if not os.environ.get("VORGATE_AGENT_CLAIMED"):
        pytest.fail(f"{PLACE} is not claimed: run pytest by scripts/agent-place")

    def clear():
        as_root("rm", "-f", str(PLACE))

    def place(library=build / AGENT):
        # All at once: a PHP that runs keeps the file that it has mapped.
        as_root("install", "-D", "-m", "755", str(library), f"{PLACE}.vorgate-new")
        as_root("mv", "-fT", f"{PLACE}.vorgate-new", str(PLACE))

    clear()
    yield SimpleNamespace(path=PLACE, place=place, clear=clear)
    clear()
