"""What the tests of the page share: a gateway with a connected modem, and the page's server."""

import pathlib
import shutil
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))

from gateway import LIMIT_S, Slot, freshHost, waitUntil  # noqa: E402,F401
from history_stub import makeProgram  # noqa: E402
from web_server import Server, Stream  # noqa: E402

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
        cls.slot.waitConnected()

    def makeHistory(self, *script):
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        return makeProgram(folder, *script)

    def serve(self, **options):
        server = Server(**options)
        self.addCleanup(server.end)
        return server

    def read(self, server, count=1):
        """As many readers of the stream, which have got the status."""
        streams = []
        for _ in range(count):
            streams.append(Stream(server.port))
            self.addCleanup(streams[-1].close)
        for stream in streams:
            stream.readUntil(b"event: status\ndata: {")
        return streams


def runTests():
    unittest.main(verbosity=2)
