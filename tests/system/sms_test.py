#!/usr/bin/env python3
"""Messages through the built daemon and the simulated modem's storage. Run inside
scripts/private_namespace.sh."""

import collections
import os
import pathlib
import random
import unittest

from daemon_test import DaemonTest
from gateway import waitUntil

SPOOL = pathlib.Path("/tmp/sms")
ALPHABET = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ 0123456789 .,:;!?+-*/=()%&"
MESSAGES = 200
FILES = 50
ATTEMPT_S = 5


def received():
    """(sender, text) of each file in /recv/, with its number of occurrences."""
    found = collections.Counter()
    for path in (SPOOL / "recv").glob("sms_msg_*"):
        text = path.read_text()
        head, _, message = text.partition("MSG=")
        sender = head.splitlines()[0].removeprefix("FROM=")
        found[(sender, message)] += 1
    return found


def submitted(slot):
    return slot.order(op="dump")["state"]["sms"]["sent"]


class SmsTest(DaemonTest):
    def setUp(self):
        super().setUp()
        seed = int(os.environ.get("CELLSLOT_SEED", random.randrange(1 << 32)))
        print(f"seed {seed}", flush=True)
        self.random = random.Random(seed)

    def text(self, length):
        # No blank at the ends, because the files do not keep blanks there.
        return "x" + "".join(self.random.choice(ALPHABET) for _ in range(length - 2)) + "x"


class Receiving(SmsTest):
    def makeMessages(self):
        """Orders for the modem in random order, and the expected messages."""
        orders, expected = [], collections.Counter()
        for number in range(MESSAGES):
            # Two senders use every reference.
            sender = ("+12025550123", "+12025550145")[number % 2]
            if number % 4 < 2:
                text = self.text(self.random.randrange(2, 150))
                orders.append({"from": sender, "text": text})
                expected[(sender, text)] += 1
                continue
            total = self.random.randrange(2, 5)
            parts = [self.text(self.random.randrange(2, 140)) for _ in range(total)]
            reference = 1 + number // 4
            for index, part in enumerate(parts, 1):
                order = {"from": sender, "text": part, "reference": reference, "part": index,
                         "total": total, "coding": "gsm7"}
                orders.append(order)
                # Networks deliver parts twice. All parts twice would be two messages.
                if index > 1 and self.random.randrange(8) == 0:
                    orders.append(dict(order))
            # A joined message has the digits of its sender, by which its parts were compared.
            expected[(sender.lstrip("+"), "".join(parts))] += 1
        self.random.shuffle(orders)
        return orders, expected

    def test_twoHundredMessages_areEachFoundOnceWithTheirText(self):
        slot = self.connectedSlot(scenario={"sms": {"capacity": 255}})
        orders, expected = self.makeMessages()
        for order in orders:
            # More than the modem can store: the network keeps the rest and delivers it later.
            slot.order(op="inject-sms", **order)
        waitUntil(lambda: sum(received().values()) >= MESSAGES,
                  lambda: f"{sum(received().values())} of {MESSAGES} messages are there")
        found = received()
        self.assertEqual((expected - found, found - expected),
                         (collections.Counter(), collections.Counter()), "missing, too many")
        # It counts files: each part, and then the joined message.
        slot.waitFor("_SMS_RECV", str(len(orders) + MESSAGES // 2))

    def test_aMessageInThreeParts_isJoined(self):
        slot = self.connectedSlot()
        for part, text in ((3, "three"), (1, "one "), (2, "two ")):
            slot.order(op="inject-sms", text=text, reference=7, part=part, total=3,
                       **{"from": "+12025550123"})
        waitUntil(lambda: received() == {("12025550123", "one two three"): 1}, received)
        self.assertEqual(list((SPOOL / "recv_parts").iterdir()), [])


class Sending(SmsTest):
    def test_fiftyFiles_areEachSentOnce(self):
        slot = self.connectedSlot(fast=4)
        texts = [f"{number} " + self.text(self.random.randrange(2, 300)) for number in range(FILES)]
        waitUntil((SPOOL / "send").is_dir, lambda: "no spool")
        for number, text in enumerate(texts):
            draft = SPOOL / "draft"
            draft.write_text(f"TO=+1 (202) 555-0123\nMSG={text}\n")
            draft.rename(SPOOL / "send" / f"message{number}")
        waitUntil(lambda: len(list((SPOOL / "send_ok").iterdir())) == FILES,
                  lambda: f"{len(list((SPOOL / 'send_ok').iterdir()))} of {FILES} files are sent")
        joined = collections.defaultdict(dict)
        single = []
        for message in submitted(slot):
            if message.get("total", 0) > 1:
                joined[message["reference"]][message["part"]] = message["text"]
            else:
                single.append(message["text"])
        for parts in joined.values():
            single.append("".join(parts[index] for index in sorted(parts)))
        self.assertEqual(sorted(single), sorted(texts))
        slot.waitFor("_SMS_SENT", str(FILES))
        self.assertEqual(list((SPOOL / "send_fail").iterdir()), [])

    def test_hostileFileNames_areSentAndExecuteNothing(self):
        slot = self.connectedSlot(fast=4)
        names = ["a;touch pwned", "$(touch pwned)", "`touch pwned`", "with blank", "quote'\"", "-rf",
                 "n" * 255, "new\nline"]
        for name in names:
            (SPOOL / "send" / name).write_text(f"TO=12025550123\nMSG={names.index(name)}\n")
        waitUntil(lambda: len(list((SPOOL / "send_ok").iterdir())) == len(names),
                  lambda: f"{len(submitted(slot))} of {len(names)} are sent")
        self.assertEqual(sorted(message["text"] for message in submitted(slot)),
                         [str(index) for index in range(len(names))])
        for folder in (pathlib.Path("/"), pathlib.Path("/tmp"), SPOOL, pathlib.Path.cwd()):
            self.assertFalse((folder / "pwned").exists(), folder)

    def test_messageThatTheNetworkRefuses_endsInSendFailAfterThreeAttempts(self):
        slot = self.connectedSlot(fast=4)
        slot.order(op="fault", prefix="AT+CMGS", stage="data", kind="cms", number=500)
        (SPOOL / "send" / "message").write_text("TO=12025550123\nMSG=never\n")
        waitUntil(lambda: len(list((SPOOL / "send_fail").iterdir())) == 1, lambda: "not given up")
        slot.waitFor("_SMS_SENT_FAIL", "1")
        self.assertEqual(list((SPOOL / "send").iterdir()), [])
        self.assertEqual(submitted(slot), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
