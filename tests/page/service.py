# SPDX-License-Identifier: Apache-2.0
"""A recognition server with a small collection of made-up music, and sounds to ask it about."""
import base64
import json
import os
import re
import struct
import subprocess
import wave
from pathlib import Path

TOOL = os.environ.get("TARN_SERVER", "")
MAKE_COLLECTION = os.environ.get("TARN_MAKE_COLLECTION", "")

PIECES = 4
SECONDS = 50
EXCERPT_START = 12
# Markup, a mark that turns the direction of what follows, control characters, and 64 KiB of them.
HOSTILE_TITLE = "<img src=x onerror=\"document.title='harmed'\">\u202egnitfil\u0007\x1b[31m " + "lang" * 16384
HOSTILE_ALBUM = "</bdi><script>document.title='harmed'</script>\u2066 of lies"


def run(*words, **options):
    return subprocess.run(words, check=True, capture_output=True, text=True, **options).stdout


def replaced(blob, old, new):
    """A blob (docs/formats/blob.md) with another text in the field that is old."""
    count = blob[0]
    offsets = struct.unpack_from(f"<{count + 1}I", blob, 1)
    fields = [blob[begin:end] for begin, end in zip(offsets, offsets[1:])]
    fields[fields.index(old)] = new
    at = 1 + 4 * (count + 1)
    header = bytes([count])
    for field in [*fields, b""]:
        header += struct.pack("<I", at)
        at += len(field)
    return header + b"".join(fields)


class Service:
    """The server as a process, which can be stopped and started again at the same port."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.catalogue = self.folder / "catalogue"
        self.accounts = self.folder / "accounts"
        self.process = None
        self.address = "127.0.0.1:0"
        music = self.folder / "music"
        files = run(MAKE_COLLECTION, music, str(PIECES), str(SECONDS)).splitlines()
        self.excerpt(files[2], "music/copy.mp3", 0, SECONDS)
        run(TOOL, "add", "--catalogue", self.catalogue, music)
        self.code = re.search(r"access code (\w{80})", run(TOOL, "account", "add", "--accounts", self.accounts))[1]
        self.known = [self.excerpt(path, f"known {i}.wav", EXCERPT_START, 30) for i, path in enumerate(files)]
        self.encoded = self.excerpt(files[0], "known.mp3", EXCERPT_START, 30)
        rows = [line.split("\t") for line in run(TOOL, "list", "--catalogue", self.catalogue).splitlines()]
        by_path = {row[6]: {"artist": row[3], "title": row[4]} for row in rows if len(row) > 6}
        self.pieces = [by_path[path] for path in files]
        [other] = run(MAKE_COLLECTION, self.folder / "other", "1", "35", "77").splitlines()
        self.unknown = self.excerpt(other, "unknown.wav", 2, 31)
        self.short = self.excerpt(files[0], "short.wav", 5, 4)
        self.long = self.join("long.wav", [self.known[0], self.unknown, self.known[1], self.known[2]])
        self.make_hostile(self.pieces[3])

    def excerpt(self, path, name, start, seconds):
        made = self.folder / name
        part = ("-ss", str(start), "-t", str(seconds))
        run("ffmpeg", "-v", "error", *part, "-i", path, "-ac", "2", "-ar", "44100", made)
        return made

    def join(self, name, paths):
        with wave.open(str(self.folder / name), "wb") as whole:
            for path in paths:
                with wave.open(str(path)) as part:
                    if path == paths[0]:
                        whole.setparams(part.getparams())
                    whole.writeframes(part.readframes(part.getnframes()))
        return self.folder / name

    def make_hostile(self, piece):
        """Gives the last piece a title and an album that mean harm, in the records that answers carry."""
        lines = [json.loads(line) for line in run(TOOL, "export", "--catalogue", self.catalogue).splitlines()]
        [line] = [each for each in lines if each["title"] == piece["title"]]
        for member, old, new in (("track_records", line["title"], HOSTILE_TITLE),
                                 ("album_records", line["album"], HOSTILE_ALBUM)):
            blob = replaced(base64.b64decode(line[member]), old.encode(), new.encode())
            line[member] = base64.b64encode(blob).decode()
        changed = self.folder / "changed.json"
        changed.write_text(json.dumps(line) + "\n", encoding="utf-8")
        run(TOOL, "import", "--catalogue", self.catalogue, changed)

    def serve(self):
        words = [TOOL, "serve", "--catalogue", self.catalogue, "--accounts", self.accounts, "--listen", self.address]
        self.process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.address = self.process.stdout.readline().split()[-1]

    def stop(self):
        if self.process is not None:
            self.process.terminate()
            self.process.wait()
            self.process.stdout.close()
            self.process = None

    @property
    def url(self):
        return f"http://{self.address}/"
