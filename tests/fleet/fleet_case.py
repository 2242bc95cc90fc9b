"""What the tests of cellslot-fleet share: a broker, gateways and the program."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from brokers import LIMIT_S, Cluster, Keys, Mosquitto, waitUntil  # noqa: E402,F401

BIN = pathlib.Path(os.environ.get("CELLSLOT_BIN", pathlib.Path(__file__).resolve().parents[2] / "build/debug/bin"))
FLEET = BIN / "cellslot-fleet"


class FleetCase(unittest.TestCase):
    """A broker of contrib/ with the gateways named."""

    brokerClass = Mosquitto
    names = ("pump-1", "pump-2", "pump-3")
    addresses = ()  # of the broker
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.keys = Keys(addresses=cls.addresses)
        cls.addClassCleanup(cls.keys.end)
        cls.broker = cls.brokerClass(cls.keys, cls.names)
        cls.broker.start()
        cls.addClassCleanup(cls.broker.end)
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="desk."))
        cls.conf = cls.configure("operator")

    @classmethod
    def configure(cls, operator):
        pair = cls.keys.operator(operator)
        file = cls.folder / f"{operator}.conf"
        file.write_text(f"BROKER=localhost:{cls.broker.operatorPort}\nCA_FILE={pair[1]}\nCERT_FILE={pair[3]}\n"
                        f"KEY_FILE={pair[5]}\nNAME=anna@desk\n")
        return file

    def start(self, *words, conf=None, **options):
        options.setdefault("stdin", subprocess.DEVNULL)
        return subprocess.Popen([str(FLEET), *map(str, words), "--conf", str(conf or self.conf)],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)

    def ask(self, *words, status=0, **options):
        """What the program prints. With a status other than 0: what it says is wrong."""
        process = self.start(*words, **options)
        out, err = process.communicate(timeout=LIMIT_S)
        self.assertEqual(process.returncode, status, out + err)
        if status == 0:
            self.assertEqual(err, "")
        return out if status == 0 else out + err

    def askJson(self, *words):
        return json.loads(self.ask(*words, "--json"))


def runTests():
    assert os.environ.get("CELLSLOT_PRIVATE_NAMESPACE") == "1", "run it in scripts/private_namespace.sh"
    unittest.main(verbosity=2)
