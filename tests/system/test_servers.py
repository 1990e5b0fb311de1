"""Under load each attack leaves exactly its events and is refused, each ordinary request has
the answer that it has without the module, to the byte, and no worker dies or grows."""

import pytest
from servers import LONG, Load
from support import wait_until

pytestmark = pytest.mark.servers


@pytest.mark.parametrize("cache", ["off", "on"] + ["jit"] * (LONG > 1))
@pytest.mark.parametrize("kind", ["apache", "fpm", "cli"])
def test_load(site, kind, cache):
    site.start(kind, cache)
    workers, requests = site.workers(), 500 * LONG

    def all_have_worked():
        assert workers <= site.workers()  # what a page starts may be there too
        lengths = list(map(len, site.meters()))
        return len(lengths) > 1 and min(lengths) > 1000 + requests

    with Load(site) as load:
        wait_until("work for each worker", all_have_worked, 300 * LONG)
    assert load.faults() == []
    site.serves()
    growth = [(len(held) - 1000, held[-1] - held[1000]) for held in site.meters()]
    print("After its 1,000th request, requests and bytes taken of each worker:", growth)
    # PHP's own server loses some bytes of its own in each request that reads $_SERVER.
    each = 160 if kind == "cli" else 1
    assert [taken for n, taken in growth if taken > 16384 + each * n] == []
