#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Packs damaged clips and holds the program to what it promises, whatever a file says: exit code 0 or 1, one line a
clip with a sentence for every one that isn't packed, a zip that can be read, nothing left beside it, at most 10 s of
processor time and 300 MB of memory a clip, and no complaint of the address and undefined-behaviour sanitizers.

Clip number K of a seed is the same on every run. What fails is kept in build/campaigns/damage/failures with its number.
"""
import argparse
import csv
import io
import os
import random
import resource
import shutil
import subprocess
import sys
import tempfile
import time
import zipfile
from pathlib import Path

from damaging import mxf, quicktime

TOP = Path(__file__).resolve().parents[2]
WORK = TOP / "build/campaigns/damage"
MODES = ["lossless", "compressed", "none"]
MOST_SECONDS = 10  # of processor time, a clip
MOST_MEMORY = 300  # MB, a clip
MOST_WAITING = 120  # seconds, a batch: longer is a hang
MOST_OUTPUT = 1 << 30  # bytes, a file

TONES = ["-f", "lavfi", "-i", "sine=r=48000", "-f", "lavfi", "-i", "sine=f=880:r=48000"]
PICTURE = ["-f", "lavfi", "-i", "color=c=gray:s=16x16:r=25"]
BROADCAST = ["-f", "lavfi", "-i", "color=c=gray:s=16x16:r=30000/1001"]
REEL = ["-timecode", "01:00:00:00"]
FRAGMENTS = ["-movflags", "+frag_keyframe+empty_moov", "-g", "5"]
# Name, and what ffmpeg makes it with. Every one has a picture and timecode, so that undamaged it packs.
SEEDS = {
    "pcm.mov": PICTURE + TONES + ["-t", "0.3", "-map", "0", "-map", "1", "-map", "2", "-c:v", "mpeg4", "-c:a:0",
                                  "pcm_s24le", "-c:a:1", "pcm_s16be", "-ar", "12000", *REEL],
    "long.mov": PICTURE + TONES + ["-t", "6", "-map", "0", "-map", "1", "-c:v", "mpeg4", "-c:a", "pcm_u8", "-ar",
                                   "8000", *REEL],
    "first.mov": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-map", "2", "-c:v", "mpeg4", "-c:a", "aac",
                                    "-movflags", "+faststart", *REEL],
    "float.mov": PICTURE + TONES + ["-t", "0.2", "-map", "0", "-map", "1", "-c:v", "mpeg4", "-c:a", "pcm_f32le", *REEL],
    "aac.mov": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-map", "2", "-c:v", "mpeg4", "-c:a", "aac",
                                  *REEL],
    "late.mov": PICTURE + ["-itsoffset", "1"] + TONES + ["-t", "2", "-map", "0", "-map", "1", "-c:v", "mpeg4", "-c:a",
                                                         "aac", *REEL],
    "aac.mp4": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-c:v", "libx264", "-c:a", "aac", *REEL],
    "alac.mov": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-c:v", "mpeg4", "-c:a", "alac", "-ar", "16000",
                                   *REEL],
    "ima.mov": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-map", "2", "-c:v", "mpeg4", "-c:a:0",
                                  "adpcm_ima_qt", "-c:a:1", "pcm_alaw", "-ar", "8000", *REEL],
    "more.mp4": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-map", "2", "-c:v", "libx264", "-c:a:0",
                                   "libopus", "-c:a:1", "flac", "-strict", "-2", *REEL],
    "dolby.mp4": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-map", "2", "-c:v", "libx264", "-c:a:0", "ac3",
                                    "-c:a:1", "eac3", *REEL],
    "layer3.mp4": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-c:v", "libx264", "-c:a", "libmp3lame", *REEL],
    "fragments.mov": PICTURE + TONES + ["-t", "1", "-map", "0", "-map", "1", "-c:v", "libx264", "-c:a", "pcm_s16le",
                                        "-ar", "8000", *REEL, *FRAGMENTS],
    "fragments.mp4": PICTURE + TONES + ["-t", "2", "-map", "0", "-map", "1", "-c:v", "libx264", "-c:a", "aac", *REEL,
                                        *FRAGMENTS],
    "hybrid.mov": PICTURE + TONES + ["-t", "2", "-map", "0", "-map", "1", "-c:v", "libx264", "-c:a", "aac", *REEL,
                                     "-g", "5", "-movflags", "+frag_keyframe"],
    "op1a.mxf": BROADCAST + TONES + ["-t", "0.3", "-map", "0", "-map", "1", "-map", "2", "-c:v", "mpeg2video", "-c:a",
                                     "pcm_s16le", "-timecode", "01:00:00;00"],
    "wide.mxf": PICTURE + TONES + ["-t", "0.4", "-map", "0", "-map", "1", "-c:v", "mpeg2video", "-c:a", "pcm_s24le",
                                   *REEL],
    "atom.mxf": TONES + ["-t", "0.4", "-map", "0", "-c:a", "pcm_s16le", *REEL, "-f", "mxf_opatom"],
    "d10.mxf": ["-f", "lavfi", "-i", "color=s=720x608:r=25", *TONES, "-t", "0.16", "-map", "0", "-map", "1", "-c:v",
                "mpeg2video", "-g", "1", "-b:v", "30M", "-minrate", "30M", "-maxrate", "30M", "-bufsize", "1.2M",
                "-rc_init_occupancy", "1.2M", "-intra_vlc", "1", "-non_linear_quant", "1", "-dc", "10", "-qmin", "1",
                "-qmax", "12", "-ps", "1", "-flags", "+ildct+ilme+low_delay", "-pix_fmt", "yuv422p", "-c:a", "pcm_s16le",
                *REEL, "-f", "mxf_d10"],
}


def seeds():
    """The undamaged clips, made when they are not there yet."""
    folder = WORK / "seeds"
    folder.mkdir(parents=True, exist_ok=True)
    clips = []
    for name, arguments in SEEDS.items():
        clip = folder / name
        if not clip.exists():
            made = folder / ("new-" + name)
            subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments, str(made)], check=True)
            if name.endswith(".mxf"):
                made.write_bytes(mxf.shrunk(made.read_bytes()))
            made.rename(clip)
        clips.append((name, clip.read_bytes()))
    return clips


def write_clip(folder, clips, seed, number):
    """Writes damaged clip `number` and returns its path."""
    chance = random.Random(f"{seed}/{number}")
    name, data = chance.choice(clips)
    damage = (mxf if name.endswith(".mxf") else quicktime).damage
    damaged, grown = damage(data, chance)
    path = folder / f"{number:08d}-{name}"
    path.write_bytes(damaged)
    if grown and grown > len(damaged):
        os.truncate(path, grown)  # sparse: it takes no room
    return path


class Run:
    """One run of the program over some clips, and what is wrong with it."""

    def __init__(self, program, mode, cards, expected, sanitized):
        self.wrong = []
        with tempfile.TemporaryDirectory(prefix="out-", dir=cards.parent) as out:
            self.pack(program, mode, cards, Path(out), sanitized)
            self.judge(Path(out), expected, sanitized)

    def pack(self, program, mode, cards, out, sanitized):
        environment = dict(os.environ, LC_ALL="C.UTF-8", ASAN_OPTIONS="exitcode=66:allocator_may_return_null=0:"
                           "max_allocation_size_mb=2048:quarantine_size_mb=16:malloc_context_size=8",
                           UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:exitcode=66")

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (MOST_OUTPUT, MOST_OUTPUT))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            if not sanitized:
                resource.setrlimit(resource.RLIMIT_AS, (16 << 30, 16 << 30))

        logs = [cards.parent / f"{cards.name}.{kind}" for kind in ("stdout", "stderr")]
        with open(logs[0], "wb") as stdout, open(logs[1], "wb") as stderr:
            process = subprocess.Popen([program, "--pack", out / "p.zip", "--audio", mode, cards], stdout=stdout,
                                       stderr=stderr, stdin=subprocess.DEVNULL, env=environment, preexec_fn=limit)
            start = time.monotonic()
            while True:
                found, status, usage = os.wait4(process.pid, os.WNOHANG)
                if found:
                    break
                if time.monotonic() - start > MOST_WAITING:
                    process.kill()
                    _, status, usage = os.wait4(process.pid, 0)
                    self.wrong.append("hangs")
                    break
                time.sleep(0.004)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.code = process.returncode
        self.seconds = usage.ru_utime + usage.ru_stime
        self.memory = usage.ru_maxrss / 1000
        self.output, self.errors = [log.read_text(errors="replace") for log in logs]
        for log in logs:
            log.unlink()

    def judge(self, out, expected, sanitized):
        fail = self.wrong.append
        for word in ("Sanitizer", "runtime error", "terminate called"):
            if word in self.errors:
                line = next(line for line in self.errors.splitlines() if word in line)
                fail("complaint: " + line.split("==")[-1].strip()[:150])
                break
        if self.code not in (0, 1):
            fail(f"exit code {self.code}")
        if self.wrong:
            return
        if not sanitized and self.seconds > MOST_SECONDS:
            fail(f"takes {self.seconds:.1f} s")
        if not sanitized and self.memory > MOST_MEMORY:
            fail(f"takes {self.memory:.0f} MB")
        lines = self.output.splitlines()
        packed = []
        for name in expected:
            stem = name.rsplit(".", 1)[0]
            own = [line for line in lines if f"/{stem}" in line]
            if len(own) != 1:
                fail(f"{len(own)} lines for {name}")
            elif ": not packed: " in own[0]:
                reason = own[0].split(": not packed: ", 1)[1]
                if not reason.endswith(".") or not reason[0].isupper() or "std::" in reason or len(reason) < 12 \
                        or "memory" in reason:
                    fail(f"no sentence: {reason}")
            else:
                packed.append(stem)
        if len(lines) != len(expected) + 1 or not lines[-1].startswith("Saved "):
            fail(f"ends with {lines[-1] if lines else 'nothing'}")
        if self.code != (0 if len(packed) == len(expected) else 1):
            fail(f"exit code {self.code} with {len(packed)} of {len(expected)} packed")
        if [path.name for path in out.iterdir()] != ["p.zip"]:
            fail("leaves " + ", ".join(path.name for path in out.iterdir()))
        if not self.wrong:
            self.judge_zip(out / "p.zip", packed, expected)

    def judge_zip(self, path, packed, expected):
        with zipfile.ZipFile(path) as archive:
            bad = archive.testzip()
            if bad:
                self.wrong.append(f"zip: {bad} is damaged")
            movies = [info for info in archive.infolist() if info.filename.endswith(".mov")]
            if sorted(Path(info.filename).stem for info in movies) != sorted(packed):
                self.wrong.append(f"zip: {len(movies)} movies for {len(packed)} packed clips")
            report = next(name for name in archive.namelist() if name.endswith(".csv"))
            rows = list(csv.reader(io.TextIOWrapper(archive.open(report), "utf-8", newline="")))
            if len(rows) != len(expected) + 1:
                self.wrong.append(f"report: {len(rows) - 1} rows for {len(expected)} clips")
        self.packed = len(packed)


class Campaign:
    def __init__(self, options):
        self.options, self.clips = options, seeds()
        self.failures, self.packed, self.runs = [], 0, 0
        self.slowest, self.largest = (0, ""), (0, "")
        self.room = Path(tempfile.mkdtemp(prefix="damage-", dir="/dev/shm" if os.path.isdir("/dev/shm") else None))

    def programs(self, batch):
        """What the clips of a batch go through: (program, mode, sanitized). Batches take turns at the slow one."""
        found = [(self.options.plain, mode, False) for mode in MODES]
        modes = MODES if self.options.all_modes else [MODES[batch % len(MODES)]]
        if self.options.sanitized:
            found += [(self.options.sanitized, mode, True) for mode in modes]
        return found

    def run_batch(self, batch, numbers):
        cards = self.room / "cards"
        cards.mkdir()
        paths = [write_clip(cards, self.clips, self.options.seed, number) for number in numbers]
        for program, mode, sanitized in self.programs(batch):
            run = Run(program, mode, cards, [path.name for path in paths], sanitized)
            self.runs += 1
            self.packed += getattr(run, "packed", 0)
            if run.wrong:
                self.isolate(paths, program, mode, sanitized, run)
            elif not sanitized and len(paths) > 1 and run.seconds > self.slowest[0]:
                self.slowest = (run.seconds, f"the batch from {numbers[0]}, {mode}")
            if not run.wrong and not sanitized and run.memory > self.largest[0]:
                self.largest = (run.memory, f"the batch from {numbers[0]}, {mode}")
        shutil.rmtree(cards)

    def isolate(self, paths, program, mode, sanitized, whole):
        """Packs the clips of a failed batch one by one."""
        found = False
        single = self.room / "single"
        for path in paths:
            single.mkdir()
            os.link(path, single / path.name)
            run = Run(program, mode, single, [path.name], sanitized)
            shutil.rmtree(single)
            if run.wrong:
                found = True
                self.report(path, mode, sanitized, run)
        slow_together = all(wrong.startswith("takes ") and wrong.endswith(" s") for wrong in whole.wrong)
        if not found and not slow_together:
            self.report(paths[0], mode, sanitized, whole)

    def report(self, path, mode, sanitized, run):
        kept = WORK / "failures"
        kept.mkdir(parents=True, exist_ok=True)
        if path.stat().st_blocks * 512 < 4 << 20:
            subprocess.run(["cp", "--sparse=always", path, kept / path.name], check=True)
        kind = "sanitized " if sanitized else ""
        text = f"{path.name} {kind}{mode}: {'; '.join(run.wrong)}"
        (kept / f"{path.name}.{mode}{'.sanitized' if sanitized else ''}.txt").write_text(
            f"{text}\n{run.output}\n{run.errors}\n")
        self.failures.append(text)
        print("FAILED", text, flush=True)

    def run(self):
        start = time.monotonic()
        last = self.options.first + self.options.count
        for batch, first in enumerate(range(self.options.first, last, self.options.batch)):
            self.run_batch(batch, range(first, min(first + self.options.batch, last)))
            if batch % 20 == 19:
                print(f"{first - self.options.first + self.options.batch} clips, {len(self.failures)} failures, "
                      f"{time.monotonic() - start:.0f} s", flush=True)
        shutil.rmtree(self.room, ignore_errors=True)
        print(f"{self.options.count} damaged clips in {self.runs} packs: {self.packed} copies made, "
              f"{len(self.failures)} failures, {time.monotonic() - start:.0f} s. Most for a whole batch: "
              f"{self.slowest[0]:.1f} s ({self.slowest[1]}), {self.largest[0]:.0f} MB ({self.largest[1]}).")
        return 1 if self.failures else 0


def main():
    sys.setrecursionlimit(20_000)  # boxes are nested deep, and again
    parser = argparse.ArgumentParser(prog="tools/campaign damage", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("count", type=int, help="how many damaged clips")
    parser.add_argument("--seed", default="1")
    parser.add_argument("--first", type=int, default=0, help="number of the first clip of the seed")
    parser.add_argument("--batch", type=int, default=50, help="clips a pack")
    parser.add_argument("--plain", default=TOP / "build/release/ferrowick", help="the program that is measured")
    parser.add_argument("--sanitized", default=TOP / "build/asan/ferrowick",
                        help="the program under the sanitizers; empty for none")
    parser.add_argument("--all-modes", action="store_true",
                        help="every clip in every mode under the sanitizers too, not in one of them")
    options = parser.parse_args()
    if not Path(options.plain).exists() or options.sanitized and not Path(options.sanitized).exists():
        parser.error("build the programs first: tools/build release; tools/build asan ferrowick "
                     "-DFERROWICK_WINDOW=OFF")
    return Campaign(options).run()


if __name__ == "__main__":
    sys.exit(main())
