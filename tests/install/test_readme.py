#!/usr/bin/env python3
"""The test of README can fail: each time, one thing in README is wrong.

    test_readme.py BUILD
"""
import sys
import tempfile
import unittest
from pathlib import Path

import readme_test

BUILD = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else sys.exit(__doc__)
README = (readme_test.ROOT / "README.md").read_text()


class Readme(unittest.TestCase):
    def broken(self, right, wrong, message):
        self.assertIn(right, README)
        with tempfile.TemporaryDirectory() as work:
            with self.assertRaises(readme_test.Broken) as caught:
                readme_test.follow(README.replace(right, wrong, 1), BUILD, Path(work))
        self.assertIn(message, str(caught.exception))

    def test_finds_an_installation_from_another_folder(self):
        self.broken("--install build/run", "--install build/walk", "'cmake --install build/walk")

    def test_finds_a_c_program_that_does_not_compile(self):
        self.broken("    pbBufferRelease( data );\n", "    pbBufferRelase( data );\n", "'cc -std=c99 hash.c")

    def test_finds_a_c_program_with_another_result(self):
        self.broken('"abc", 3', '"abc", 2', "'./hash' prints")

    def test_finds_a_package_that_pkg_config_does_not_know(self):
        self.broken("cc -std=c99 hash.c -o hash $(pkg-config --cflags --libs cry-libraries-cry)",
                    "cc -std=c99 hash.c -o hash $(pkg-config --cflags --libs cry)", "Package cry was not found")

    def test_finds_a_cpp_program_that_is_not_the_example(self):
        self.broken("pb::Runtime runtime(", "pb::Runtime guard(", "is not examples/hash.cpp")

    def test_finds_a_part_that_is_not_in_the_example(self):
        self.broken("CRY_X509_STACK_TRUST_MODE_SYSTEM", "CRY_X509_STACK_TRUST_MODE_FIXED", "no part of examples/stack.cpp")

    def test_finds_a_verdict_that_is_another_one(self):
        self.broken("accepted: the chain ends at CN=Example ec root", "accepted: the chain ends at CN=Example rsa root", "'./stack examples/chain")

    def test_finds_a_cpp_program_that_does_not_compile(self):
        self.broken("c++ -std=c++20", "c++ -std=c++14", "'c++ -std=c++14")

    def test_finds_a_target_that_the_cmake_package_does_not_have(self):
        self.broken("hash PRIVATE cry::cry", "hash PRIVATE cry::sob", "'cmake -G Ninja -B build' ends with 1")

    def test_finds_a_file_that_is_not_there(self):
        self.broken("`examples/hash.c`", "`examples/sum.c`", "there is no examples/sum.c")

    def test_finds_another_text_than_is_shown(self):
        self.broken("│  issuer       CN=Example ec intermediate", "│  issuer       CN=Example ec root", "'./run verify --no-system")

    def test_finds_a_command_that_fails(self):
        self.broken("--out release.sig release.txt", "--out release.sig release.tar", "'cry signature make")

    def test_finds_a_session_that_is_gone(self):
        self.broken("$ cry signature check", "cry signature check", "no command begins with 'cry signature check '")


if __name__ == "__main__":
    unittest.main()
