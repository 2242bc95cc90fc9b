"""The schemas of the messages: what the programs make is valid by them, and what is not a message is
not. Uses Debian's python3-jsonschema and python3-yaml.

    schemas_test.py MESSAGE_SAMPLES SCHEMAS ASYNCAPI
"""
import copy
import json
import subprocess
import sys
import unittest
from pathlib import Path

import jsonschema
import yaml

PROGRAM, SCHEMAS, ASYNCAPI = (Path(argument) for argument in sys.argv[1:4])
NAMES = ("availability", "status", "event", "sms", "command", "result")


def schema(name):
    return json.loads((SCHEMAS / f"{name}.json").read_text(encoding="utf-8"))


def validator(name):
    return jsonschema.Draft202012Validator(schema(name))


def samples():
    printed = subprocess.run([str(PROGRAM)], check=True, capture_output=True, text=True).stdout
    for line in printed.splitlines():
        name, message = line.split(" ", 1)
        yield name, json.loads(message)


class Schemas(unittest.TestCase):
    def test_each_schema_is_one(self):
        self.assertEqual(sorted(path.stem for path in SCHEMAS.glob("*.json")), sorted(NAMES))
        for name in NAMES:
            jsonschema.Draft202012Validator.check_schema(schema(name))

    def test_what_the_programs_make_is_valid(self):
        seen = set()
        for name, message in samples():
            seen.add(name)
            errors = [error.message[:200] for error in validator(name).iter_errors(message)]
            self.assertEqual(errors, [], f"{name} {str(message)[:200]}")
        self.assertEqual(seen, set(NAMES))

    def test_each_field_that_is_required_is_missed(self):
        for name, message in samples():
            for field in schema(name)["required"]:
                broken = copy.deepcopy(message)
                del broken[field]
                self.assertFalse(validator(name).is_valid(broken), f"{name} without {field}")

    def test_the_programs_make_no_field_without_a_description(self):
        for name, message in samples():
            self.check_described(name, schema(name), message)

    def check_described(self, where, described, value):
        if isinstance(value, list):
            for each in value:
                self.check_described(where, described.get("items", {}), each)
        if not isinstance(value, dict) or "properties" not in described:
            return
        for key, inner in value.items():
            self.assertIn(key, described["properties"], where)
            self.check_described(f"{where}.{key}", described["properties"][key], inner)

    def test_wrong_messages_are_refused(self):
        time = "2026-11-22T12:00:00Z"
        command = {"id": "a", "by": "b", "deadline": time, "do": "data", "args": {"slot": 1, "want": "on"}}
        self.assertTrue(validator("command").is_valid(command))
        wrong = [
            ("command", {**command, "id": "a b"}),
            ("command", {**command, "by": ""}),
            ("command", {**command, "do": "format"}),
            ("command", {**command, "args": {"slot": 4, "want": "on"}}),
            ("command", {**command, "args": {"slot": 1, "want": "of"}}),
            ("command", {**command, "args": {"slot": 1, "want": "on", "text": "x"}}),
            ("command", {key: value for key, value in command.items() if key != "args"}),
            ("availability", {"online": False, "time": time}),
            ("availability", {"online": True, "time": time}),
            ("availability", {"online": False, "time": "22.11.2026", "reason": "lost"}),
            ("event", {"id": "1f0c9a2b-0", "time": time, "kind": "cell", "text": "x"}),
            ("event", {"id": "1f0c9a2b-1", "time": time, "kind": "signal"}),
            ("event", {"id": "1f0c9a2b-1", "time": time, "kind": "dropped", "text": "x"}),
            ("status", {"time": time, "slots": []}),
        ]
        for name, message in wrong:
            self.assertFalse(validator(name).is_valid(message), f"{name} {message}")


class AsyncApi(unittest.TestCase):
    def setUp(self):
        self.document = yaml.safe_load(ASYNCAPI.read_text(encoding="utf-8"))

    def test_every_kind_has_a_channel_with_its_schema(self):
        references = set()
        for message in self.document["components"]["messages"].values():
            references.add(message["payload"]["schema"]["$ref"])
        self.assertEqual(references, {f"schemas/{name}.json" for name in NAMES})
        addresses = {channel["address"].split("/")[-1] for channel in self.document["channels"].values()}
        self.assertEqual(addresses, set(NAMES))

    def test_every_reference_inside_leads_somewhere(self):
        for reference in self.references(self.document):
            if not reference.startswith("#/"):
                self.assertTrue((ASYNCAPI.parent / reference).is_file(), reference)
                continue
            target = self.document
            for step in reference[2:].split("/"):
                self.assertIn(step, target, reference)
                target = target[step]

    def references(self, value):
        if isinstance(value, dict):
            if "$ref" in value:
                yield value["$ref"]
            for inner in value.values():
                yield from self.references(inner)
        elif isinstance(value, list):
            for inner in value:
                yield from self.references(inner)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
