"""cellslot-fleet with gateways over a broker: what it shows, and what it sends."""

import base64
import json
import os
import pathlib
import pty
import select
import shutil
import signal
import socket
import subprocess
import sys
import threading
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from brokers import CLUSTER_PORTS, LIMIT_S, Cluster, waitUntil  # noqa: E402
from fleet_case import FLEET, FleetCase, runTests  # noqa: E402
from mqtt_client import CONNACK, CONNECT, REFUSED, SUBACK, SUBSCRIBE, packet  # noqa: E402
from gateways import NO_SIM, POOR, STREAM, Gateway, offline, online, slotStatus, utc  # noqa: E402


def agree(command):
    return {"status": "done", "text": f"{command['do']} was executed", "exit": 0}


class WithGateways(FleetCase):
    """Three gateways that say they are well."""

    def setUp(self):
        self.gateways = {}
        for name in self.names:
            self.connect(name).publishState()

    def connect(self, name, answer=None, **options):
        if name in self.gateways:
            self.gateways[name].end()
        self.gateways[name] = Gateway(self.broker, name, answer, **options)
        return self.gateways[name]

    def tearDown(self):
        for gateway in self.gateways.values():
            gateway.end()

    def watch(self):
        """cellslot-fleet watch, its keyboard, and whether its screen has shown some bytes so far."""
        master, slave = pty.openpty()
        process = subprocess.Popen([str(FLEET), "watch", "--conf", str(self.conf)], stdin=slave, stdout=slave,
                                   stderr=slave, env={**os.environ, "TERM": "xterm", "LINES": "24", "COLUMNS": "80"})
        self.addCleanup(process.kill)
        os.close(slave)
        seen = b""

        def read(part):
            nonlocal seen
            seen += os.read(master, 65536)
            return part in seen
        return process, master, read

    def everybody(self, answer):
        return [self.connect(name, answer) for name in self.names]


class Shows(WithGateways):
    def test_Status_ListsTheWorstFirst(self):
        first, second, third = (self.gateways[name] for name in self.names)
        second.publishState(offline(), slotStatus(secondsAgo=7300))
        third.publishState(None, slotStatus(state="not_connected", problems=[NO_SIM]))
        first.publishState(None, slotStatus(problems=[POOR], quality="poor"))
        text = self.ask("status")
        positions = [text.index(name) for name in ("pump-2", "pump-3", "pump-1")]
        self.assertEqual(positions, sorted(positions))
        self.assertIn("The modem detects no SIM card.", text)
        self.assertIn("-> insert it", text)
        self.assertIn("3 gateways: 1 offline, 1 with an error, 1 with a warning", text)

    def test_SilentGateway_IsOfflineWithSinceWhen(self):
        self.gateways["pump-1"].publishState(online(secondsAgo=2300, every=900), slotStatus(secondsAgo=9000))
        self.gateways["pump-2"].publishState(online(secondsAgo=2200, every=900), slotStatus(secondsAgo=9000))
        text = self.ask("status", "--state", "offline")
        self.assertIn("No sign of life since", text)
        self.assertIn("38 min ago", text)
        self.assertIn("1 of 3 gateways: 1 offline", text)

    def test_Filters_Choose(self):
        first, second, third = (self.gateways[name] for name in self.names)
        first.publishState(None, slotStatus(operator="Vodafone", quality="poor", firmware="20.00.403"))
        second.publishState(None, slotStatus(state="not_connected", problems=[NO_SIM]))

        def chosen(*words):
            return [gateway["name"] for gateway in self.askJson("status", *words)["gateways"]]
        self.assertEqual(chosen("pump-[13]"), ["pump-1", "pump-3"])
        self.assertEqual(chosen("--operator", "voda"), ["pump-1"])
        self.assertEqual(chosen("--signal", "poor"), ["pump-1"])
        self.assertEqual(chosen("--firmware", "20.00.402"), ["pump-2", "pump-3"])
        self.assertEqual(chosen("--state", "not_connected"), ["pump-2"])
        self.assertEqual(chosen("--state", "error"), ["pump-2"])
        self.assertEqual(chosen("--state", "connected", "--signal", "fair"), ["pump-3"])
        self.assertEqual(chosen("--signal", "good"), [])

    def test_UnknownState_IsSaid(self):
        for words in (["status"], ["send", "reload", "--yes"]):
            text = self.ask(*words, "--state", "ofline", status=2)
            self.assertIn("no state is called 'ofline'; expected offline, ", text)

    def test_UnknownName_IsSaid(self):
        self.assertIn("knows no gateway pump-9", self.ask("status", "pump-9", status=2))
        self.assertIn("knows no gateway pump-9", self.ask("show", "pump-9", status=2))

    def test_Json_HasAllThatTheGatewaySaid(self):
        said = json.loads(slotStatus())
        self.gateways["pump-1"].publishState(None, json.dumps(said))
        gateway = self.askJson("show", "pump-1")
        self.assertEqual(gateway["slots"], [{"time": said["time"], **said["slots"][0]}])
        self.assertEqual((gateway["name"], gateway["online"], gateway["state"]), ("pump-1", True, "connected"))
        self.assertEqual(gateway["availability"]["every_seconds"], 900)

    def test_Metrics_AreWhatPrometheusTakes(self):
        text = self.ask("status", "--metrics")
        self.assertIn('cellslot_gateway_online{gateway="pump-1"} 1\n', text)
        self.assertIn('cellslot_session_connected{gateway="pump-3",slot="1"} 1\n', text)
        if shutil.which("promtool"):
            result = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True,
                                    check=False)
            self.assertEqual((result.returncode, result.stdout + result.stderr), (0, ""))

    def test_RemovedState_IsGone(self):
        gateway = self.gateways["pump-3"]
        for topic in ("availability", "slot/1/status"):
            gateway.say(topic, "", retain=True)
        self.assertEqual([each["name"] for each in self.askJson("status")["gateways"]], ["pump-1", "pump-2"])

    def test_Rubbish_IsLeftOut(self):
        gateway = self.gateways["pump-2"]
        for rubbish in ("", "{", "[]", "null", '{"online":"yes"}', '{"time":"x","slots":[{}]}', "[" * 30000,
                        '{"time":"%s","slots":[{"state":"\\u001b[2J"}]}' % utc()):
            gateway.say("availability", rubbish or "{}", retain=True)
            gateway.say("slot/2/status", rubbish or "{}", retain=True)
        text = self.ask("status", "pump-2")
        self.assertNotIn("\x1b", text)
        self.assertRegex(text, r"Not used: \d+ messages that no agent would send")
        self.assertIn("1 of 3 gateways", text)

    def test_Watch_ShowsChangesUntilQ(self):
        process, master, read = self.watch()
        waitUntil(lambda: read(b"3 gateways: 3 well"), "the first screen")
        self.gateways["pump-1"].publishState(None, slotStatus(state="not_connected", problems=[NO_SIM]))
        waitUntil(lambda: read(b"detects no SIM"), "the change")
        os.write(master, b"q")
        self.assertEqual(process.wait(LIMIT_S), 0)
        os.close(master)

    def test_WatchWithoutTerminal_SaysWhatToUse(self):
        self.assertIn("use cellslot-fleet status in scripts", self.ask("watch", status=1))

    def test_Monitoring_SeesStatesAndMayNotCommand(self):
        conf = self.configure("monitoring")
        self.assertIn("3 gateways", self.ask("status", conf=conf))


class Events(WithGateways):
    def test_Follow_ShowsEachEventOnce(self):
        # It has begun to listen when its session is there: it then waits for what comes.
        self.ask("events", "--session", "follower")
        process = self.start("events", "--follow", "--session", "follower", "pump-1", "--json")
        self.addCleanup(process.kill)
        gateway = self.gateways["pump-1"]
        gateway.event(text="lost", kind="lost", seconds=90)
        repeated = gateway.number
        gateway.number -= 1
        gateway.event(text="lost", kind="lost", seconds=90)
        self.assertEqual(gateway.number, repeated)
        self.gateways["pump-2"].event(text="of another")
        gateway.event(text="last")
        lines = [json.loads(process.stdout.readline()) for _ in range(2)]
        self.assertEqual([line["text"] for line in lines], ["lost", "last"])
        self.assertEqual(lines[0]["id"], f"{STREAM}-{repeated}")
        self.assertEqual((lines[0]["gateway"], lines[0]["slot"]), ("pump-1", 1))
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(LIMIT_S), 0)
        process.stdout.close()
        process.stderr.close()

    def test_Session_ShowsWhatCameMeanwhile(self):
        self.assertEqual(self.ask("events", "--session", "night"), "")
        for number in range(3):
            self.gateways["pump-1"].event(text=f"event {number}")
        text = self.ask("events", "--session", "night")
        self.assertEqual([line.rsplit(": ", 1)[1] for line in text.splitlines()], ["event 0", "event 1", "event 2"])
        self.assertEqual(self.ask("events", "--session", "night"), "")

    def test_SessionOnceAskedForMessages_ShowsNoneWithoutThem(self):
        self.ask("events", "--session", "private", "--sms")
        self.gateways["pump-1"].say("slot/1/sms", json.dumps({"id": f"{STREAM}-900", "time": utc(), "from": "+49",
                                                              "text": "secret"}))
        self.gateways["pump-1"].event(text="last")
        text = self.ask("events", "--session", "private")
        self.assertIn("last", text)
        self.assertNotIn("secret", text)

    def test_WithoutFollowOrSession_SaysWhatToUse(self):
        self.assertIn("--follow", self.ask("events", status=2))


class Sends(WithGateways):
    def test_OneGateway_IsAskedAndAnswers(self):
        gateway = self.connect("pump-1", agree)
        self.assertEqual(self.ask("send", "pump-1", "data", "off"), "pump-1: done: data was executed\n")
        command, = gateway.commands
        self.assertEqual((command["do"], command["args"], command["by"]),
                         ("data", {"slot": 1, "want": "off"}, "anna@desk"))

    def test_EveryForm_Arrives(self):
        gateway = self.connect("pump-1", agree)
        file = self.folder / "new.conf"
        file.write_text("CM_APN=internet\n")
        forms = [(["reload"], {"slot": 1}), (["sms", "+4912345", "two words"],
                                              {"slot": 1, "to": "+4912345", "text": "two words"}),
                 (["at", "AT+CSQ"], {"slot": 1, "command": "AT+CSQ"}), (["doctor"], {}),
                 (["history", "--since", "24h", "--view", "outages"], {"since": "24h", "view": "outages"}),
                 (["config", file, "--confirm", "60", "-p", "2"],
                  {"slot": 2, "file": "CM_APN=internet\n", "confirm_seconds": 60})]
        for words, _ in forms:
            self.ask("send", "pump-1", *words)
        self.assertEqual([command["args"] for command in gateway.commands], [args for _, args in forms])

    def test_Output_IsShownAndPartsArePutTogether(self):
        parts = [{"output": "first\n", "part": 1, "parts": 2, "exit": 0},
                 {"output": "second\n", "part": 2, "parts": 2, "exit": 0}]
        self.connect("pump-1", lambda command: parts)
        self.assertEqual(self.ask("send", "pump-1", "doctor"), "pump-1: done: as asked\nfirst\nsecond\n")

    def test_Report_IsSaved(self):
        archive = bytes(range(256)) * 300
        halves = [archive[:40000], archive[40000:]]
        self.connect("pump-1", lambda command: [
            {"output": base64.b64encode(half).decode(), "encoding": "base64", "part": number + 1, "parts": 2}
            for number, half in enumerate(halves)])
        file = self.folder / "report.tar.gz"
        self.ask("send", "pump-1", "report", "--output", file)
        self.assertEqual(file.read_bytes(), archive)
        self.assertIn("--output FILE", self.ask("send", "pump-1", "report", status=2))

    def test_FileThatCannotBeWritten_DoesNotEndTheOthers(self):
        self.everybody(lambda command: {"status": "done", "text": "as asked", "output": "x"})
        folder = self.folder / "answers"
        (folder / "pump-2").mkdir(parents=True, exist_ok=True)
        text = self.ask("send", "*", "doctor", "--yes", "--output", folder, status=1)
        self.assertIn("pump-2: done: as asked (not saved: ", text)
        self.assertIn("3 gateways: 3 done", text)
        self.assertEqual((folder / "pump-1").read_text(), "x")
        self.assertEqual((folder / "pump-3").read_text(), "x")

    def test_SeveralGateways_AreSummedUp(self):
        self.everybody(agree)
        text = self.ask("send", "*", "reload", "--yes")
        self.assertEqual(sorted(text.splitlines()[:3]), [f"{name}: done: reload was executed" for name in self.names])
        self.assertEqual(text.splitlines()[-1], "3 gateways: 3 done")

    def test_Terminal_ShowsHowFarItIsAndAPipeDoesNot(self):
        self.everybody(agree)
        self.ask("send", "*", "reload", "--yes")  # says that nothing is at standard error
        master, slave = pty.openpty()
        process = subprocess.Popen([str(FLEET), "send", "*", "reload", "--yes", "--wave", "1", "--conf", str(self.conf)],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=slave, text=True)
        out, _ = process.communicate(timeout=LIMIT_S)
        os.close(slave)
        shown = os.read(master, 65536).decode()
        os.close(master)
        self.assertIn("0 of 3, 0 failed, 1 out", shown)
        self.assertIn("2 of 3, 0 failed, 1 out", shown)
        self.assertTrue(shown.endswith("\r\x1b[K"), shown[-40:])
        self.assertNotIn("[", out)

    def test_SeveralGatewaysWithoutConsent_AreNotAsked(self):
        gateways = self.everybody(agree)
        self.assertIn("use --yes in scripts", self.ask("send", "*", "reload", status=2))
        self.assertIn("name the gateways", self.ask("send", "reload", status=2))
        self.ask("send", "*", "reload", "--dry-run")
        # A command that arrives later shows that none was under way.
        self.ask("send", "pump-1", "doctor")
        self.assertEqual([[command["do"] for command in gateway.commands] for gateway in gateways],
                         [["doctor"], [], []])

    def test_Failures_StopTheNextWave(self):
        gateways = self.everybody(lambda command: {"status": "refused", "text": "not allowed"})
        text = self.ask("send", "*", "reload", "--yes", "--wave", "1", "--stop-on", "2", "failures", status=1)
        self.assertIn("3 gateways: 2 failed, 1 not asked", text)
        self.assertIn("Not asked: pump-3", text)
        self.assertEqual([len(gateway.commands) for gateway in gateways], [1, 1, 0])

    def test_AnswerOfAnotherGateway_DoesNotCount(self):
        forger = self.connect("pump-2", agree)

        def answer(command):
            forger.result(command, text="forged")
            return agree(command)
        self.connect("pump-1", answer)
        self.connect("pump-3", agree)
        text = self.ask("send", "pump-1", "pump-3", "reload", "--yes")
        self.assertNotIn("forged", text)

    def test_GatewayThatIsAway_GetsItLater(self):
        # An agent's session is kept while it is away.
        self.gateways["pump-1"].end()
        away = self.keep("pump-1")
        away.end()
        process = self.start("send", "pump-1", "reload")
        back = self.keep("pump-1")
        self.addCleanup(back.end)
        out, err = process.communicate(timeout=LIMIT_S)
        self.assertEqual((process.returncode, out), (0, "pump-1: done: reload was executed\n"), err)

    def keep(self, name):
        gateway = Gateway(self.broker, name, agree, keepsSession=True)
        del self.gateways[name]
        self.gateways[name] = gateway
        return gateway

    def test_Interrupt_SaysWhatIsStillOut(self):
        arrived = []
        self.connect("pump-1", lambda command: arrived.append(command))
        self.connect("pump-2", agree)
        process = self.start("send", "pump-1", "pump-2", "reload", "--yes", "--wave", "1")
        waitUntil(lambda: arrived, "the command")
        process.send_signal(signal.SIGINT)
        out, _ = process.communicate(timeout=LIMIT_S)
        self.assertEqual(process.returncode, 1)
        self.assertIn("2 gateways: 1 without an answer so far, 1 not asked", out)
        self.assertRegex(out, "Still out, .*: pump-1\n")

    def test_WrongWords_AreExplained(self):
        for words, part in ((["pump-1"], "the command is missing"), (["pump-1", "docter"], "'docter' is not a command"),
                            (["pump-1", "data"], "data on|off|auto"),
                            (["pump-1", "data", "yes"], "on off auto"), (["pump-9", "reload"], "no gateway pump-9"),
                            (["pump-1", "config", "/nowhere"], "/nowhere")):
            text = self.ask("send", *words, status=1 if words[-1] == "/nowhere" else 2)
            self.assertIn(part, text)


class RefusingBroker:
    """Takes a client without TLS, and refuses its first subscriptions."""

    def __init__(self, refusals):
        self.refusals, self.asked = refusals, 0
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def port(self):
        return self.listener.getsockname()[1]

    def _serve(self):
        connection, _ = self.listener.accept()
        with connection, connection.makefile("rb") as stream:
            while head := stream.read(2):
                body = stream.read(head[1])
                if head[0] >> 4 == CONNECT:
                    connection.sendall(packet(CONNACK, 0, bytes(2)))
                elif head[0] >> 4 == SUBSCRIBE:
                    self.asked += 1
                    granted = REFUSED if self.asked <= self.refusals else 0
                    connection.sendall(packet(SUBACK, 0, body[:2] + bytes([granted])))

    def end(self):
        self.listener.close()
        self.thread.join(LIMIT_S)


class BrokerThatRefuses(FleetCase):
    def status(self, refusals, status=0):
        broker = RefusingBroker(refusals)
        self.addCleanup(broker.end)
        conf = self.folder / "refusing.conf"
        conf.write_text(f"BROKER=127.0.0.1:{broker.port()}\nTLS=no\n")
        return self.ask("status", "--json", conf=conf, status=status), broker

    def test_BusyCluster_IsAskedAgainForWhatItRefused(self):
        text, broker = self.status(3)
        self.assertEqual(json.loads(text)["gateways"], [])
        # Two filters, and one again that was refused twice.
        self.assertEqual(broker.asked, 5)

    def test_UserThatMayNotRead_IsSaid(self):
        text, broker = self.status(1000, status=5)
        self.assertIn("does not allow this user to read cellslot/1/", text)
        self.assertGreater(broker.asked, 4)


class BrokerThatGoes(WithGateways):
    def test_NoBroker_IsSaidInWords(self):
        self.assertIn("no connection to the broker", self.ask("status", "--broker", "localhost:1", status=1))

    def test_FollowWithoutBroker_SaysThatNothingIsShown(self):
        process = self.start("events", "--follow")
        self.addCleanup(process.kill)

        def isShown():
            self.gateways["pump-1"].event(text="first")
            return select.select([process.stdout], [], [], 0.2)[0]
        waitUntil(isShown, "that it listens")
        self.broker.restart()
        self.assertIn("nothing comes from the broker", process.stderr.readline())
        self.assertIn("connected to the broker again", process.stderr.readline())
        self.gateways["pump-2"].end()
        self.connect("pump-2").event(text="second")
        while "second" not in (line := process.stdout.readline()):
            self.assertIn("first", line)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(LIMIT_S), 0)
        process.stdout.close()
        process.stderr.close()

    def test_WatchAfterALoss_DoesNotShowWhatTheBrokerForgot(self):
        process, master, read = self.watch()
        waitUntil(lambda: read(b"3 gateways: 3 well"), "the first screen")
        self.broker.end()
        waitUntil(lambda: read(b"! no connection: "), "the loss")
        self.broker.forget()
        self.broker.start()
        self.connect("pump-1").publishState()
        waitUntil(lambda: read(b"1 gateway: 1 well"), "the gateways that are gone")
        os.write(master, b"q")
        self.assertEqual(process.wait(LIMIT_S), 0)
        os.close(master)

    def test_RestartWhileWaiting_TheAnswerStillComes(self):
        arrived = []
        self.connect("pump-1", lambda command: arrived.append(command))
        process = self.start("send", "pump-1", "reload")
        waitUntil(lambda: arrived, "the command")
        self.broker.restart()
        self.gateways["pump-1"].end()
        # It has executed the command before, and says so.
        self.gateways["pump-1"] = Gateway(self.broker, "pump-1", lambda command: {
            "status": "repeated", "text": "it was there before; what came of it: done: as asked"})
        out, err = process.communicate(timeout=LIMIT_S)
        self.assertIn("nothing comes from the broker", err)
        self.assertEqual((process.returncode, out), (0, "pump-1: repeated: it was there before; what came of it: done: as asked\n"), err)


class ClusterShows(Shows):
    brokerClass = Cluster


class ClusterSends(Sends):
    brokerClass = Cluster


class ClusterEvents(Events):
    brokerClass = Cluster


class ClusterLosesNodes(WithGateways):
    brokerClass = Cluster

    def test_FiveLosses_NoStateIsLost(self):
        brokers = ",".join(f"localhost:{port}" for port in CLUSTER_PORTS)
        self.gateways["pump-2"].publishState(None, slotStatus(state="not_connected", problems=[NO_SIM]))
        for gateway in self.gateways.values():
            gateway.end()
        self.gateways = {}
        for round in range(5):
            self.broker.waitWhole()
            self.broker.lose(round % 3)
            self.broker.waitReady()
            self.assertIn("3 gateways: 1 with an error, 2 well", self.ask("status", "--broker", brokers))
            self.broker.bringBack(round % 3)
            port = CLUSTER_PORTS[round % 3]
            self.assertIn("3 gateways: 1 with an error, 2 well",
                          self.ask("status", "--broker", f"localhost:{port}"))


del WithGateways, FleetCase

if __name__ == "__main__":
    runTests()
