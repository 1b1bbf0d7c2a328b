#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Makes every single call of a small pack to the system fail in turn, and looks at what is left.

  tools/campaign faults [--short] [--kind KIND …] [--audio MODE …] [--program FILE] [--jobs N] [--verbose]

Whatever fails, a pack ends within ten seconds by an exit code of its own; says "Saved" only with a whole zip that holds
every copy that has a packed line, the same bytes as without the fault; says "Failed: …" or ": not packed: …" with a
sentence else; has a line for every clip it found, and a line on standard error where it could not look; leaves nothing
beside the old zip or the whole new one; and never touches a clip.
Without --short every call of every kind fails with every error, about half an hour on two processors.
"""
import argparse
import collections
import concurrent.futures
import errno
import hashlib
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PATIENCE = 10  # seconds

# What each kind of call can meet. "+": every later call of the kind, too.
ERRORS = {
    "open": ["EACCES", "EIO", "ENOENT", "EMFILE", "ENOMEM", "EMFILE+", "EACCES+"],
    "read": ["EIO", "EINTR", "short", "end", "EIO+", "short+", "end+"],
    "write": ["ENOSPC", "EIO", "EFBIG", "EINTR", "short", "ENOSPC+", "EIO+", "short+"],
    "list": ["EIO", "EACCES", "ENOMEM", "EIO+"],
    "make": ["ENOSPC", "EACCES", "EROFS", "ENOSPC+"],
    "rename": ["EIO", "EACCES", "ENOSPC", "EIO+"],
    "sync": ["EIO", "ENOSPC", "EINVAL", "EIO+"],
    "remove": ["EIO", "EBUSY", "EIO+"],
    "close": ["EIO", "ENOSPC", "EINTR", "EIO+"],
    "truncate": ["EIO", "ENOSPC", "EINTR", "EIO+"],
    "look": ["EACCES", "EIO", "ENOENT", "EIO+"],
    "lock": ["EINTR", "ENOLCK", "EWOULDBLOCK", "ENOLCK+", "EWOULDBLOCK+"],
    "thread": ["EAGAIN", "EAGAIN+"],
    "allocate": ["ENOMEM", "ENOMEM+"],
}
# Nothing is lost by these: the pack must come out as if nothing had happened.
HARMLESS = {("read", "EINTR"), ("read", "short"), ("read", "short+"), ("write", "EINTR"), ("write", "short"),
            ("write", "short+"), ("sync", "EINVAL"), ("thread", "EAGAIN"), ("close", "EINTR")}
# What is needed to clear up, too: with none of it to be had things may stay, for the next pack to remove.
CLEARING = {"open", "list", "remove"}
# Words that no person should have to read.
RAW = re.compile(r"std::|No error|bad_alloc|basic_string|filesystem error|what\(\)|terminate called|_M_|Success|vector::|mutex")
PACKED = re.compile(r"^(.*)\.mov \d\d:\d\d:\d\d[:;]\d\d \d+ frames, ")
REFUSED = re.compile(r"^(.*): not packed: .+\.$")


def make_card(folder):
    """Three small clips, of each container and with each kind of sound."""
    def clip(path, codec, *options, tracks=1):
        path = os.path.join(folder, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        sound = ["-f", "lavfi", "-i", "sine=frequency=300:sample_rate=48000:duration=0.4"]
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i",
                        "testsrc2=size=64x64:rate=25:duration=0.4", *sound, "-map", "0:v", *["-map", "1:a"] * tracks,
                        "-c:v", codec, "-timecode", "01:00:00:00", *options, path], check=True)
    clip("A001/C1.mov", "mpeg4", "-c:a", "pcm_s24le", tracks=2)
    clip("A001/C2.mp4", "mpeg4", "-c:a", "aac")
    clip("C3.mxf", "mpeg2video", "-c:a", "pcm_s16le")


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def tree(folder):
    """Every file below a folder with its digest."""
    return {os.path.relpath(os.path.join(base, name), folder): digest(os.path.join(base, name))
            for base, _, names in os.walk(folder) for name in names}


def copies(path):
    """The digests of a whole zip's copies by their places, and the lines of its report."""
    with zipfile.ZipFile(path) as archive:
        if archive.testzip() is not None:
            raise zipfile.BadZipFile("a check sum is wrong")
        found, lines = {}, 0
        for name in archive.namelist():
            place = name.partition("/")[2]
            if place.endswith(".mov"):
                found[place[:-4]] = hashlib.sha256(archive.read(name)).hexdigest()
            elif place.endswith(".csv"):
                lines = len(archive.read(name).decode("utf-8-sig").splitlines()) - 1
        return found, lines


class Campaign:
    def __init__(self, options, card, folder, audio):
        self.options, self.card, self.folder, self.audio = options, card, folder, audio
        self.originals = tree(card)
        os.makedirs(folder)
        self.old = os.path.join(folder, "old.zip")
        with zipfile.ZipFile(self.old, "w") as archive:
            archive.writestr("earlier/earlier.txt", "earlier")
        place = os.path.join(folder, "count")
        result = self.run(place, {"FAULT_COUNTS": os.path.join(folder, "counts")})
        self.clips = [PACKED.match(line).group(1) for line in result.stdout.splitlines()[:-1]]
        if len(self.clips) != len(self.originals):
            sys.exit("The pack does not work even without faults: " + result.stdout + result.stderr)
        self.copies, _ = copies(os.path.join(place, "P.zip"))
        with open(os.path.join(folder, "counts")) as lines:
            self.counts = {kind: int(count) for kind, count in map(str.split, lines)}
        shutil.rmtree(place)

    def run(self, place, environment):
        os.makedirs(place)
        shutil.copy(self.old, os.path.join(place, "P.zip"))
        return subprocess.run([self.options.program, "--pack", os.path.join(place, "P.zip"), "--audio", self.audio,
                               self.card], timeout=PATIENCE, capture_output=True, text=True, errors="replace",
                              stdin=subprocess.DEVNULL,
                              env={**os.environ, "LD_PRELOAD": self.options.library, **environment})

    def attempt(self, kind, error, call):
        """What is wrong after a pack with this fault, in words; and how it ended."""
        place = os.path.join(self.folder, f"{kind}-{error}-{call}")
        number = error.rstrip("+")
        environment = {"FAULT_KIND": kind, "FAULT_CALL": str(call),
                       "FAULT_ERROR": str(getattr(errno, number, number)), "FAULT_ON": "1" if "+" in error else ""}
        try:
            result = self.run(place, environment)
            wrong = list(self.judge(kind, error, place, result))
            said = (result.stdout.splitlines() or ["nothing"])[-1]
            ending = said.split(":")[0].split(" ")[0]
            text = f"exit code {result.returncode}\n{result.stdout}{result.stderr}"
        except subprocess.TimeoutExpired:
            wrong, ending, text = ["hangs"], "hangs", ""
        shutil.rmtree(place, ignore_errors=True)
        return wrong, ending, text

    def judge(self, kind, error, place, result):
        lines = result.stdout.splitlines()
        said = result.stdout + result.stderr
        if result.returncode not in (0, 1):
            yield f"ends with {result.returncode}"
            return
        raw = RAW.search(said)
        if raw:
            yield f"speaks of {raw.group()}"
        if said and not said.endswith("\n"):
            yield "leaves a line unfinished"
        last = lines.pop() if lines else ""
        packed = [match.group(1) for match in map(PACKED.match, lines) if match]
        refused = [match.group(1) for match in map(REFUSED.match, lines) if match]
        if len(packed) + len(refused) != len(lines):
            yield "says something else: " + " | ".join(lines)
        saved = last.startswith("Saved ")
        if not saved and not re.fullmatch(r"Failed: .+\.", last):
            yield f"ends with the line {last!r}"
        zip_path = os.path.join(place, "P.zip")
        try:
            isOld = digest(zip_path) == digest(self.old)
            held, reported = copies(zip_path)
        except (OSError, zipfile.BadZipFile) as refusal:
            yield f"leaves no whole zip: {refusal}"
            return
        if saved:
            missing = set(self.clips) - set(packed) - set(refused)
            warned = "Clips may be missing." in result.stderr
            if isOld:
                yield "says Saved and leaves the old zip"
            elif sorted(held) != sorted(packed):
                yield f"holds {sorted(held)} and says {sorted(packed)}"
            elif any(self.copies[name] != held[name] for name in packed):
                yield "holds other bytes than without the fault"
            elif reported != len(lines):
                yield f"reports {reported} clips of {len(lines)}"
            if missing and not warned and "CARD: no such file or folder." not in result.stderr:
                yield "loses a clip without a word"
            if len(packed) + len(refused) > len(self.clips):
                yield "has too many lines"
            if (result.returncode == 0) != (not refused and not warned):
                yield f"says Saved and ends with {result.returncode}"
        else:
            if not isOld and sorted(held) != sorted(packed):
                yield "says Failed and leaves half a zip"
            if result.returncode != 1:
                yield f"says Failed and ends with {result.returncode}"
        if (kind, error) in HARMLESS and "grants no thread" not in last and (not saved or refused):
            yield "makes something of nothing: " + said
        left = sorted(set(os.listdir(place)) - {"P.zip"})
        if left and not (error.endswith("+") and kind in CLEARING):
            yield f"leaves {left}"
        if tree(self.card) != self.originals:
            yield "touches the clips"

    def cases(self):
        chance = random.Random(1)
        for kind in self.options.kind:
            count = self.counts[kind]
            for error in ERRORS[kind]:
                calls = list(range(1, count + 3))  # threads make more or fewer
                if self.options.short:
                    most = 10 if kind == "allocate" else 4
                    calls = sorted(chance.sample(calls, min(len(calls), most)))
                for call in calls:
                    yield kind, error, call


def main():
    parser = argparse.ArgumentParser(prog="tools/campaign faults", description=__doc__.splitlines()[0])
    parser.add_argument("--short", action="store_true", help="a few calls of each kind instead of all")
    parser.add_argument("--kind", action="append", choices=ERRORS, help="only these kinds of call")
    parser.add_argument("--audio", action="append", choices=["lossless", "compressed", "none"])
    parser.add_argument("--program", default=os.path.join(TOP, "build/release/ferrowick"))
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--verbose", action="store_true", help="show what the program says")
    options = parser.parse_args()
    options.kind = options.kind or list(ERRORS)
    options.library = os.path.join(os.path.dirname(options.program), "libferrowick-faults.so")

    findings = collections.defaultdict(list)
    runs = 0
    with tempfile.TemporaryDirectory(prefix="ferrowick-faults-") as folder:
        make_card(os.path.join(folder, "CARD"))
        for audio in options.audio or ["lossless", "compressed"]:
            campaign = Campaign(options, os.path.join(folder, "CARD"), os.path.join(folder, audio), audio)
            endings = collections.defaultdict(collections.Counter)
            with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
                cases = list(campaign.cases())
                for case, (wrong, ending, text) in zip(cases, pool.map(lambda case: campaign.attempt(*case), cases)):
                    runs += 1
                    endings[case[0]][ending] += 1
                    for what in wrong:
                        findings[audio, case[0], case[1], what].append((case[2], text))
            for kind, counter in endings.items():
                print(f"{audio:10} {kind:8} {campaign.counts[kind]:6} calls:",
                      ", ".join(f"{count} {ending}" for ending, count in counter.most_common()), flush=True)
    for (audio, kind, error, what), places in findings.items():
        calls = [call for call, _ in places]
        print(f"FOUND {audio} {kind} {error}: {what}, {len(calls)} times, calls {calls[:8]}")
        if options.verbose:
            print("  " + places[0][1].strip().replace("\n", "\n  "))
    print(f"{runs} packs, {sum(map(len, findings.values()))} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
