#!/usr/bin/env python3
"""`cry roots`. CRY_TOOL names the program."""

import re
import time
import unittest
from pathlib import Path

from peers import blocks_of, der_of
from pki_fixture import fingerprint
from tool import ToolTest, run


class Roots(ToolTest):
    def test_CountIsThatOfTheList(self):
        answer = run("roots", "--json").json()
        self.assertEqual(answer["count"], len(answer["roots"]))
        self.assertEqual(run("roots", "--count").text, f"{answer['count']}\n")
        self.assertEqual(run("roots", "--count", "--json").json()["count"], answer["count"])
        self.assertNotIn("roots", run("roots", "--count", "--json").json())

    def test_ListIsWhatThePlaceHolds(self):
        answer = run("roots", "--json").json()
        place = Path(answer["source"])
        if not answer["source"] or not place.is_file():
            self.skipTest("the roots are in no single file")
        held = {fingerprint(der_of(block)) for block in blocks_of(place.read_text(errors="replace"))}
        self.assertEqual({each["sha256"] for each in answer["roots"]}, held)
        self.assertEqual(answer["changed"], time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(place.stat().st_mtime)))

    def test_TextEndsWithTheSource(self):
        answer, result = run("roots", "--json").json(), run("roots")
        self.assertEqual((result.code, result.err), (0, b""))
        self.assertHarmless(result.out)
        if answer["source"]:
            self.assertRegex(result.text, rf"\n{answer['count']} roots? from {re.escape(answer['source'])}, last changed {answer['changed']}, ")
        self.assertEqual(result.text.count("   SHA-256  "), answer["count"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
