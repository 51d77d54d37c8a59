#!/usr/bin/python3
"""check-layers must find what it is there to find, and nothing else."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).with_name("check-layers")


def check(files):
    """Runs check-layers on a tree of {path below src/: text}; returns (exit code, output)."""
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            path = Path(root, "src", name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        run = subprocess.run([sys.executable, CHECK, root], capture_output=True, text=True)
        assert not run.stderr or not files, run.stderr
        return run.returncode, run.stdout


class CheckLayers(unittest.TestCase):
    def assert_faults(self, files, *expected):
        code, output = check(files)
        self.assertEqual(code, 1, output)
        self.assertEqual(len(output.splitlines()), len(expected), output)
        for text in expected:
            self.assertIn(text, output)

    def assert_clean(self, files):
        self.assertEqual(check(files)[0], 0, check(files)[1])

    def test_arrows_of_the_table_are_accepted(self):
        self.assert_clean({
            "base/A.h": "#pragma once\n",
            "base/A.cpp": '#include "A.h"\n#include <base/nothing.h>\n',
            "platform/linux/B.cpp": '#include "base/A.h"\n#include "platform/B.h"\n',
            "app/main/main.cpp": '#include "platform/linux/B.h"\n#include "ui/Panel.h"\n',
            "cli/main/main.cpp": '#include "platform/absent/B.h"\n#include "mcp/Server.h"\n',
        })

    def test_wrong_arrows_are_named_with_their_line(self):
        self.assert_faults(
            {"base/A.h": '#pragma once\n#include "settings/S.h"\n',
             "app/Controller.cpp": '#include "platform/linux/B.h"\n',
             "cli/main/main.cpp": '#include "ui/Panel.h"\n#include "app/Controller.h"\n',
             "odd/O.cpp": ""},
            "src/base/A.h:2: base/ must not include settings/",
            "src/app/Controller.cpp:1: app/ must not include platform/linux/",
            "src/cli/main/main.cpp:1: cli/ must not include ui/",
            "src/cli/main/main.cpp:2: cli/ must not include app/",
            "src/odd/O.cpp: the folder odd/ has no place")

    def test_a_cycle_within_a_layer_is_found(self):
        self.assert_faults(
            {"base/text/T.h": '#include "base/json/J.h"\n',
             "base/json/J.h": '#include "base/log/L.h"\n',
             "base/log/L.h": '#include "base/text/T.h"\n'},
            "folders include each other")

    def test_system_calls_belong_to_the_platform(self):
        faults = {
            "getenv": 'auto home = std::getenv("HOME");',
            "system clock": "return std::chrono::system_clock::now();",
            "steady clock": "f(std::chrono::steady_clock::now);",
            "time": "auto t = time(nullptr);",
            "sleep": "{ sleep(1); }",
            "sleep_for": "std::this_thread::sleep_for(1s);",
            "rand": "int n = 1'000 + rand();",
            "random_device": "std::random_device device;",
        }
        for name, line in faults.items():
            with self.subTest(name):
                self.assert_faults({"audio/A.cpp": f"\n{line}\n"},
                                   "src/audio/A.cpp:2: asks the system")
                self.assert_clean({"platform/linux/A.cpp": line})

    def test_conditional_compilation_belongs_to_the_platform(self):
        for line in "#if 1", "# ifdef __linux__", "#ifndef GUARD":
            self.assert_faults({"base/A.h": f"#pragma once\n{line}\n#endif\n"}, "src/base/A.h:2")
            self.assert_clean({"platform/A.h": f"{line}\n#endif\n"})

    def test_comments_texts_and_our_own_names_are_left_alone(self):
        self.assert_clean({"base/A.cpp": """
            // getenv() is not called here, nor std::this_thread::sleep_for.
            /* #if
            #if 0 */
            const char* text = "rand() and \\" system_clock::now()";
            const char* raw = R"x(steady_clock::now() ")x";
            asio::awaitable<void> Scheduler::sleep(Duration duration) {
                co_await scheduler_.sleep(duration);
                co_await other->sleep(duration);
                operand(brand(runtime(0)));
            }
            asio::awaitable<void> sleep(Duration duration);
        """})

    def test_a_tree_without_sources_is_no_success(self):
        self.assertEqual(check({})[0], 1)


unittest.main()
