"""What the tests of the page share: a gateway with a connected modem, and the page's server."""

import pathlib
import shutil
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))

from gateway import Slot, freshHost, waitUntil  # noqa: E402
from history_stub import makeProgram  # noqa: E402
from web_server import Server  # noqa: E402

CONFIG = pathlib.Path("/etc/cellslot/web.conf")


class WebCase(unittest.TestCase):
    """A server beside one modem; a test that changes the modem puts it back."""

    scenario = {}

    @classmethod
    def setUpClass(cls):
        freshHost()
        CONFIG.parent.mkdir(exist_ok=True)
        CONFIG.unlink(missing_ok=True)
        cls.slot = Slot(1, cls.scenario)
        cls.addClassCleanup(cls.slot.end)
        cls.slot.configure()
        cls.slot.startSim()
        cls.slot.startDaemon()
        cls.slot.waitConnected(60)

    def makeHistory(self, *script):
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        return makeProgram(folder, *script)

    def serve(self, **options):
        server = Server(**options)
        self.addCleanup(server.end)
        return server


def runTests():
    unittest.main(verbosity=2)
