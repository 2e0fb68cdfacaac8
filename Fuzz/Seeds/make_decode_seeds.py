#!/usr/bin/env python3
"""Writes the seeds of FuzzDecode: the shortest of the tests' sample frames of each protocol."""
import pathlib

here = pathlib.Path(__file__).parent
links = {1: 0, 12: 1, 113: 2, 276: 3, 105: 4, 127: 5, 0: 6}  # the order of the links in Targets/Decode.h
(here / "Decode").mkdir(exist_ok=True)
for file in sorted((here / "../../Tests/Golden/Dissection").glob("*.frames")):
    lines = [line.split() for line in file.read_text().splitlines() if line and not line.startswith("#")]
    link, data = min(lines, key=lambda line: len(line[1]))
    (here / "Decode" / file.stem).write_bytes(bytes([links[int(link)]]) + bytes.fromhex(data))
