#!/usr/bin/env python3
"""The description of the messages, docs/fleet/asyncapi.yaml: valid by AsyncAPI's own schema, from its package
@asyncapi/specs. tests/unit/mqtt/schemas_test.py compares the messages with it."""

import copy
import json
import os
import pathlib
import unittest

import jsonschema
import yaml

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/fleet/asyncapi.yaml"
SCHEMA = pathlib.Path(os.environ["CELLSLOT_ASYNCAPI"], "3.0.0-without-$id.json")


def schemaOfDescriptions():
    """Debian's jsonschema takes the description of a field "$id" for an "$id"."""
    return json.loads(SCHEMA.read_text(encoding="utf-8"), object_hook=lambda it: {
        key: value for key, value in it.items() if key != "$id" or isinstance(value, str)})


class Description(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.document = yaml.safe_load(DOCUMENT.read_text(encoding="utf-8"))
        cls.validator = jsonschema.Draft7Validator(schemaOfDescriptions())

    def errors(self, document):
        return [f"{list(error.absolute_path)}: {error.message[:300]}" for error in self.validator.iter_errors(document)]

    def assertRefused(self, what, change):
        broken = copy.deepcopy(self.document)
        change(broken)
        self.assertNotEqual(broken, self.document, what)
        self.assertNotEqual(self.errors(broken), [], what)

    def test_document_isValid(self):
        self.assertEqual(self.document["asyncapi"], "3.0.0")
        self.assertEqual(self.errors(self.document), [])

    def test_brokenDocuments_areNot(self):
        for what, change in {
                "no title": lambda it: it["info"].pop("title"),
                "another version": lambda it: it.update(asyncapi="2.6.0"),
                "a key that there is not": lambda it: it.update(topics={}),
                "a server without a protocol": lambda it: it["servers"]["broker"].pop("protocol"),
                "a server's host that is no text": lambda it: it["servers"]["broker"].update(host=8883),
                "an address that is no text": lambda it: it["channels"]["event"].update(address=1),
                "messages as a list": lambda it: it["channels"]["event"].update(messages=[]),
                "an unknown action": lambda it: it["operations"]["sayEvent"].update(action="publish"),
                "an operation without a channel": lambda it: it["operations"]["sayEvent"].pop("channel"),
                "a reply as a text": lambda it: it["operations"]["takeCommand"].update(reply="result"),
                "slots as numbers": lambda it: it["components"]["parameters"]["slot"].update(enum=[1, 2, 3]),
                "a message with a key that there is not":
                    lambda it: it["components"]["messages"]["sms"].update(schema={}),
        }.items():
            self.assertRefused(what, change)


if __name__ == "__main__":
    unittest.main(verbosity=2)
