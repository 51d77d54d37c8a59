#!/usr/bin/python3
"""Installs the build into a temporary folder and looks at it as the system's own tools do.

    test_installation.py CMAKE BUILD_FOLDER [TEST...]
"""

import configparser
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CMAKE, BUILD = sys.argv[1:3]
ID = "com.quillet.Quillet"


def run(*command, **options):
    """The output of a command, whose status the caller checks."""
    return subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=60, **options)


def entry(path):
    parser = configparser.ConfigParser(interpolation=None, strict=True)
    parser.optionxform = str
    parser.read(path, encoding="utf-8")
    return parser


class Installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = Path(cls.folder.name)
        cls.usr = cls.root / "usr"
        done = run(CMAKE, "--install", BUILD, "--prefix", str(cls.usr))
        if done.returncode:
            raise AssertionError(done.stdout)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def accepted(self, *command, **options):
        done = run(*command, **options)
        self.assertEqual((done.returncode, done.stdout.strip()), (0, ""), command)

    def test_desktop_files_are_valid_and_lead_to_programs(self):
        desktop = self.usr / f"share/applications/{ID}.desktop"
        self.accepted("desktop-file-validate", str(desktop))
        metainfo = self.usr / f"share/metainfo/{ID}.metainfo.xml"
        checked = run("appstreamcli", "validate", "--no-net", str(metainfo))
        self.assertEqual(checked.returncode, 0, checked.stdout)
        sections = entry(desktop)
        actions = sections["Desktop Entry"]["Actions"].rstrip(";").split(";")
        self.assertEqual({f"Desktop Action {action}" for action in actions},
                         set(sections.sections()) - {"Desktop Entry"})
        for section in sections.values():
            if "Exec" in section:
                words = section["Exec"].split()
                self.assertTrue(os.access(self.usr / "bin" / words[0], os.X_OK), section["Exec"])
                help_of_command = run(str(self.usr / "bin/quillet"), *words[1:], "--help")
                self.assertEqual(help_of_command.returncode, 0, section["Exec"])

    def test_the_bus_the_unit_and_the_icons_go_by_the_same_name(self):
        service = entry(self.usr / f"share/dbus-1/services/{ID}.service")["D-BUS Service"]
        self.assertEqual(service["Name"], ID)
        unit = entry(self.usr / "lib/systemd/user" / service["SystemdService"])["Service"]
        self.assertEqual(unit["BusName"], ID)
        self.assertEqual(unit["ExecStart"], service["Exec"])
        icons = self.usr / "share/icons/hicolor"
        for size in 16, 32, 48, 256:
            header = (icons / f"{size}x{size}/apps/{ID}.png").read_bytes()[:24]
            self.assertEqual(int.from_bytes(header[16:20], "big"), size)
        for icon in f"scalable/apps/{ID}.svg", f"symbolic/apps/{ID}-symbolic.svg":
            self.assertTrue((icons / icon).is_file(), icon)

    def test_manual_pages_are_clean_and_name_every_option(self):
        for page in "quillet", "quillet-app":
            path = str(self.usr / f"share/man/man1/{page}.1.gz")
            self.accepted("sh", "-c", 'man --warnings -l "$1" >/dev/null', "sh", path,
                          env={**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8"})
        shown = run("man", "-l", path, env={**os.environ, "MANWIDTH": "200", "MAN_KEEP_FORMATTING": ""})
        options = re.findall(r"^ +(?:-\w,)?(--[\w-]+)",
                             run(str(self.usr / "bin/quillet-app"), "--help").stdout, re.MULTILINE)
        self.assertIn("--open", options)
        for option in options:
            self.assertIn(option, shown.stdout)

    def test_shells_read_their_completions(self):
        shells = {"bash": ("share/bash-completion/completions/quillet", ["bash", "-n"]),
                  "zsh": ("share/zsh/vendor-completions/_quillet", ["zsh", "-n"]),
                  "fish": ("share/fish/vendor_completions.d/quillet.fish",
                           ["fish", "--no-execute"])}
        for shell, (path, check) in shells.items():
            with self.subTest(shell):
                self.accepted(*check, str(self.usr / path))

    def completed(self, line):
        """What bash offers for the last word of a command line."""
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _quillet; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        path = self.usr / "share/bash-completion/completions/quillet"
        done = run("bash", "-c", script, "bash", str(path), *line, cwd=self.usr / "share")
        return done.stdout.split()

    def test_bash_completes_commands_options_choices_and_files(self):
        self.assertEqual(self.completed(["quillet", "hist"]), ["history"])
        self.assertEqual(self.completed(["quillet", "history", "se"]), ["search"])
        self.assertEqual(self.completed(["quillet", "history", "search", "--li"]), ["--limit"])
        self.assertEqual(self.completed(["quillet", "toggle", "--mode", "tr"]), ["translate"])
        self.assertEqual(self.completed(["quillet", "open", "know"]), ["knowledge"])
        self.assertEqual(self.completed(["quillet", "transcribe", "icon"]), ["icons"])
        self.assertEqual(self.completed(["quillet", "status", "icon"]), [])

    def test_fish_completes_them_too(self):
        path = self.usr / "share/fish/vendor_completions.d/quillet.fish"

        def completed(line):
            done = run("fish", "--no-config", "-c", f"source {path}; complete -C '{line}'",
                       env={**os.environ, "HOME": str(self.root)})
            return {part.split("\t")[0] for part in done.stdout.splitlines()}
        self.assertIn("history", completed("quillet hi"))
        self.assertIn("search", completed("quillet history "))
        self.assertNotIn("search", completed("quillet "))
        self.assertIn("translate", completed("quillet toggle --mode "))
        self.assertIn("knowledge", completed("quillet open k"))
        self.assertIn("--limit", completed("quillet history list --li"))

    def test_installed_programs_find_each_other(self):
        quillet = str(self.usr / "bin/quillet")
        self.assertEqual(sorted(os.listdir(self.usr / "bin")), ["quillet", "quillet-app"])
        self.assertRegex(run(quillet, "--version").stdout, r"^quillet \d+\.\d+\.\d+\n$")
        done = run(quillet, "transcribe", "/nowhere/talk.ogg",
                   env={**os.environ, "HOME": str(self.root)})
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("/nowhere/talk.ogg", done.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=1)
