#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""How many terminals the client in Python identifies in a second, on one connection.

  bench/python_client.py LAUTHD SOURCES

Operations: identify, one request after the other; identify_many, requests sent ahead. The daemon has the
catalogue of the sources and the registry, and its terminals are those of examples/terminals.tsv.
"""

import pathlib
import subprocess
import sys
import tempfile
import time

LAUTHD, SOURCES = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.insert(0, str(SOURCES / "python"))

import byod  # noqa: E402

COUNT = 20000
ROUNDS = 5


def terminals():
    with open(SOURCES / "examples" / "terminals.tsv", encoding="utf-8") as file:
        for line in file:
            if not line.startswith(("#", "mac")):
                yield byod.FingerPrint.of(*line.rstrip("\n").split("\t")[:3])


def measure(name, identify, fingerprints):
    best = 0.0
    for _ in range(ROUNDS):
        start = time.perf_counter()
        answers = identify(fingerprints)
        best = max(best, len(answers) / (time.perf_counter() - start))
        assert sum(answer.known for answer in answers) > len(answers) / 2
    print(f"{name:14} {best:8.0f} identifications a second")


def main():
    some = list(terminals())
    fingerprints = (some * (COUNT // len(some) + 1))[:COUNT]
    with tempfile.TemporaryDirectory() as folder:
        path = f"{folder}/socket"
        daemon = subprocess.Popen([LAUTHD, "--socket", path, "--no-database", "--rules",
                                   str(SOURCES / "rules")])
        try:
            while not pathlib.Path(path).exists():
                time.sleep(0.05)
            with byod.Client(path, timeout=60) as client:
                client.counts()
                measure("identify", lambda those: [client.identify_fingerprint(f) for f in those],
                        fingerprints)
                measure("identify_many", lambda those: list(client.identify_many(those)),
                        fingerprints)
        finally:
            daemon.terminate()
            daemon.wait()


if __name__ == "__main__":
    main()
