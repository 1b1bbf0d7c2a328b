# SPDX-License-Identifier: GPL-3.0-or-later
"""Ends packs by signals at random moments, then packs again in the same place.

    tools/campaign kills [N] [--seed SEED] [--program FILE]

After the first pack, the zip must be the old one or the whole new one, and a polite signal must have left nothing.
After the second, nothing may be there that was not before, but the zip; what is a person's, and what is another living
pack's, must be untouched. Prints how far the packs had come, and every finding; exit code 1 when there is one.
"""
import argparse
import collections
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import zipfile
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
MODES = ["lossless", "compressed", "none"]


def make_card(folder):
    """A card of 24 clips, one that is none, and one of each name twice."""
    sample = TOP / "build/sample"
    subprocess.run([TOP / "tools/sample-card", sample], check=True, stdout=subprocess.DEVNULL)
    clips = sorted(sample.glob("*/**/*.mov")) + sorted(sample.glob("*/**/*.MP4"))
    for number in range(24):
        clip = clips[number % len(clips)]
        target = folder / f"A{number // 8:03}/CLIP/C{number:03}{clip.suffix}"
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(clip, target)
    (folder / "A000/CLIP/C001.braw").write_bytes(b"no movie")
    shutil.copyfile(clips[0], folder / "A000/CLIP/C002.qt")


class Reference:
    """What an undisturbed pack prints and holds."""

    def __init__(self, program, card, mode, place):
        started = time.monotonic()
        self.code, self.lines = run(command(program, card, mode, place / "Reference.zip"))
        self.seconds = time.monotonic() - started
        self.lines.pop()
        self.entries = entries(place / "Reference.zip")


def command(program, card, mode, target):
    return [str(program), "--pack", str(target), "--audio", mode, str(card)]


def run(words):
    done = subprocess.run(words, capture_output=True, text=True)
    return done.returncode, done.stdout.splitlines()


def entries(path):
    """What is in a zip below its one top folder, with the check sums; None when it is damaged."""
    try:
        with zipfile.ZipFile(path) as archive:
            if archive.testzip() is not None:
                return None
            names = archive.namelist()
            roots = {name.split("/")[0] for name in names}
            inside = sorted(name.partition("/")[2] for name in names)
            return inside if roots == {path.stem} else None
    except (OSError, zipfile.BadZipFile):
        return None


def states(process):
    """The states of a process's threads, as the system names them by letters; none where one has just ended."""
    try:
        return [path.read_text().rpartition(")")[2].split()[0] for path in Path(f"/proc/{process}/task").glob("*/stat")]
    except OSError:
        return [""]


class Trial:
    def __init__(self, program, card, references, generator, place):
        self.program, self.card, self.random, self.place = program, card, generator, place
        self.mode = generator.choice(MODES)
        self.reference = references[self.mode]
        self.findings = []
        self.target = place / "Day 1.zip"
        self.file = self.target
        self.neighbour = None

    def expect(self, condition, text):
        if not condition:
            self.findings.append(text)

    def prepare(self):
        """What may be there before: an older zip, a link to one, a person's things, another pack at work."""
        if self.random.random() < 0.2:
            (self.place / "store").mkdir()
            self.file = self.place / "store/real"
            self.target.symlink_to("store/real")
        if self.random.random() < 0.6:
            with zipfile.ZipFile(self.file, "w") as archive:
                archive.writestr("older", "pack")
        if self.random.random() < 0.4:
            (self.file.parent / "Day 1").mkdir()
            (self.file.parent / "Day 1/mine.mov").write_bytes(b"a person's")
            (self.file.parent / ".ferrowick-mine").write_bytes(b"a person's")
        self.old = self.file.read_bytes() if self.file.exists() else None
        self.before = self.listing()
        if self.random.random() < 0.15:
            self.neighbour = subprocess.Popen(
                command(self.program, self.card, self.mode, self.file.parent / "Other.zip"),
                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            while not (self.file.parent / "Other").exists() and self.neighbour.poll() is None:
                pass
            time.sleep(self.random.random() * self.reference.seconds / 2)
            self.neighbour.send_signal(signal.SIGSTOP)
            while self.neighbour.poll() is None and any(state != "T" for state in states(self.neighbour.pid)):
                time.sleep(0.001)  # each thread stops in its own time

    def listing(self):
        """All files and folders, without those of the other pack."""
        return {str(path.relative_to(self.place)) for path in self.place.rglob("*")}

    def others(self):
        if self.neighbour is None:
            return set()
        return {str(path.relative_to(self.place)) for path in (self.file.parent / "Other").rglob("*")}

    def wait_for_moment(self, pack):
        """Before the first clip, after any of them, or after the last; the lines heard until then."""
        count = len(self.reference.lines)
        kind = self.random.random()
        wanted = 0 if kind < 0.25 else count if kind < 0.55 else self.random.randrange(1, count)
        heard = []
        while len(heard) < wanted and (line := pack.stdout.readline()):
            heard.append(line.rstrip("\n"))
        time.sleep(self.random.random() * self.reference.seconds * (0.1 if wanted else 0.05))
        return heard

    def first(self):
        """A pack that is ended; what it was at then."""
        present = self.listing()
        pack = subprocess.Popen(command(self.program, self.card, self.mode, self.target), stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True)
        heard = self.wait_for_moment(pack)
        kinds = [[signal.SIGKILL]] * 5 + [[signal.SIGINT], [signal.SIGTERM], [signal.SIGHUP],
                                          [signal.SIGTERM, signal.SIGKILL]]
        sent = self.random.choice(kinds)
        for number in sent:
            pack.send_signal(number)
            if number != sent[-1]:
                time.sleep(self.random.random() * 0.02)
        lines = heard + pack.communicate()[0].splitlines()
        code = pack.returncode
        is_saved = bool(lines) and lines[-1].startswith("Saved ")
        self.expect(-code in sent or code == self.reference.code, f"exit code {code} after {sent}")
        told = lines[:-1] if is_saved else lines
        self.expect(told == self.reference.lines[:len(told)], f"lines: {told[-3:]}")
        self.expect(code < 0 or is_saved, f"ended with {code} without a zip")
        left = self.listing() - present
        is_old = (self.file.read_bytes() if self.file.exists() else None) == self.old
        if is_saved or not is_old:
            self.expect(self.entries() == self.reference.entries, "the zip is neither the old nor a whole new one")
        self.expect(not is_saved or not is_old, "saved, but not there")
        left -= {str(self.file.relative_to(self.place))}
        if signal.SIGKILL not in sent or code >= 0:
            self.expect(not left, f"left after {sent}: {sorted(left)[:5]}")
        how = "+".join(number.name for number in sent)
        if code >= 0:
            return how, "after its end"
        if not is_old:
            return how, "with the new zip in place"
        if len(told) == len(self.reference.lines):
            return how, "at the archive"
        return how, "between clips" if told or left else "before its first clip"

    def entries(self):
        if not self.file.exists():
            return None
        # The archive's root is the name that was asked for, which a link's own file does not have.
        named = self.place / "look" / self.target.name
        named.parent.mkdir()
        os.link(self.file, named)
        found = entries(named)
        shutil.rmtree(named.parent)
        return found

    def second(self):
        if self.random.random() < 0.25:
            self.target = self.file.parent / "Day 2.zip"
            self.file = self.target
        others = self.others()
        code, lines = run(command(self.program, self.card, self.mode, self.target))
        self.expect(code == self.reference.code, f"second pack: exit code {code}, {lines[-1:]}")
        self.expect(lines[:-1] == self.reference.lines, f"second pack: lines {lines}")
        self.expect(self.entries() == self.reference.entries, "second pack: its zip")
        self.expect(self.others() == others, "the other pack's files")
        if self.neighbour is not None:
            self.neighbour.send_signal(signal.SIGCONT)
            self.expect(self.neighbour.wait() == self.reference.code, "the other pack's exit code")
            other = self.file.parent / "Other.zip"
            self.expect(entries(other) == self.reference.entries, "the other pack's zip")
            other.unlink(missing_ok=True)
        made = {str(path.relative_to(self.place))
                for path in (self.file, self.place / "Day 1.zip", self.place / "store/real") if path.exists()}
        now = self.listing()
        self.expect(now - self.before <= made, f"left behind: {sorted(now - self.before - made)[:5]}")
        self.expect(self.before <= now, f"gone: {sorted(self.before - now)[:5]}")


def main():
    parser = argparse.ArgumentParser(prog="tools/campaign kills")
    parser.add_argument("trials", nargs="?", type=int, default=200)
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    parser.add_argument("--program", type=Path, default=TOP / "build/release/ferrowick")
    arguments = parser.parse_args()
    # Shells have background jobs ignore some signals, which the packs would take over.
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.default_int_handler)
    generator = random.Random(arguments.seed)
    stages = collections.Counter()
    found = 0
    with tempfile.TemporaryDirectory(prefix="ferrowick-kills-") as name:
        base = Path(name)
        make_card(base / "card")
        references = {mode: Reference(arguments.program, base / "card", mode, base) for mode in MODES}
        for number in range(arguments.trials):
            place = base / "place"
            place.mkdir()
            trial = Trial(arguments.program, base / "card", references, generator, place)
            trial.prepare()
            stages[trial.first()] += 1
            trial.second()
            for finding in trial.findings:
                print(f"trial {number}, {trial.mode}: {finding}")
            found += bool(trial.findings)
            shutil.rmtree(place)
    for (how, stage), count in sorted(stages.items()):
        print(f"{count:5}  {how} {stage}")
    print(f"{arguments.trials} packs ended (seed {arguments.seed}): findings in {found}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
