#!/usr/bin/python3
"""Lists the images of a screen-text corpus whose reading holds characters only the other Chinese script writes (by
app/recognition/ScriptVariants.inc): a Simplified image (script Hans, or group zh-Hans) read with Traditional-only
forms its truth does not hold, or the reverse. Compared per image, not per line, so that lines the recogniser joined
or split are not missed.

Usage: script_purity.py TRUTH.jsonl PREDICTIONS.jsonl
"""
import json, os, re, sys

table = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app", "recognition", "ScriptVariants.inc")
only = {name: set(entry[0] for entry in body.split())
        for name, body in re.findall(r'constexpr char (\w+)\[\] = R"\((.*?)\)"', open(table).read(), re.S)}
truth = {row["file"]: row for row in map(json.loads, open(sys.argv[1]))}
flipped = 0
for prediction in map(json.loads, open(sys.argv[2])):
    row = truth.get(prediction["file"])
    if row is None:
        continue
    script = row.get("script") or {"zh-Hans": "Hans", "zh-Hant": "Hant"}.get(row["group"])
    other = only["traditionalOnly"] if script == "Hans" else only["simplifiedOnly"] if script == "Hant" else set()
    wrong = "".join(c for c in prediction["text"] if c in other and c not in row["text"])
    if wrong:
        flipped += 1
        print(row["group"], prediction["file"], row.get("font_px"), row.get("degradation", ""), wrong, "|",
              row["text"][:40].replace("\n", " "), "->", prediction["text"][:40].replace("\n", " "))
print("images with the other script's forms:", flipped, file=sys.stderr)
