#!/usr/bin/env python3
"""Word spaces of Latin text, which CER (white space removed) cannot see.

Usage: python3 spaces.py truth.jsonl predictions.jsonl [--by group|degradation|...] [--json out.json]

The characters of truth and prediction (white space removed, line by line joined with line breaks) are aligned by
edit distance. Every place between two neighbouring characters of one truth line is a boundary; it is scored when
both characters are Latin (not Han, kana, hangul or full-width marks: Chinese text has no word spaces to lose) and
both were aligned to neighbouring characters of one predicted line. At such a boundary the truth has a run of n
spaces (n >= 0) and the prediction m:
  missing  n > 0, m == 0   ("Tessary turns" read "Tessaryturns")
  extra    n == 0, m > 0   ("__init__ (self" for "__init__(self")
  run      n > 0, m > 0, n != m   (aligned code: "x    = 1" read "x = 1")
Leading indentation is not a boundary (indent.py scores it). The rate is (missing + extra) / truth spaces, counting
one per run of spaces.
"""
import argparse
import json
import unicodedata
from collections import Counter, defaultdict


def latin(c):
    if c == "\n":
        return False
    if unicodedata.east_asian_width(c) in ("W", "F"):
        return False
    return True


def tokens(text):
    """The non-space characters of text and, before each, how many spaces stand between it and the character before
    it on the same line (None at the start of a line)."""
    chars, gaps = [], []
    for line in text.split("\n"):
        line = line.rstrip()
        run = None
        for c in line:
            if c.isspace():
                run = run + 1 if run is not None else None
                continue
            chars.append(c)
            gaps.append(run)
            run = 0
        chars.append("\n")
        gaps.append(None)
    return chars, gaps


def alignment(a, b):
    """Pairs (i, j) of aligned positions (equal or substituted) of a minimal edit script turning a into b."""
    n, m = len(a), len(b)
    rows = [list(range(m + 1))]
    for i in range(1, n + 1):
        prev, cur = rows[-1], [i] + [0] * m
        ai = a[i - 1]
        for j in range(1, m + 1):
            cur[j] = min(prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + (ai != b[j - 1]))
        rows.append(cur)
    pairs, i, j = [], n, m
    while i > 0 and j > 0:
        if rows[i][j] == rows[i - 1][j - 1] + (a[i - 1] != b[j - 1]):
            pairs.append((i - 1, j - 1))
            i, j = i - 1, j - 1
        elif rows[i][j] == rows[i - 1][j] + 1:
            i -= 1
        else:
            j -= 1
    return pairs[::-1]


def count(truth_text, predicted_text):
    tc, tg = tokens(truth_text)
    pc, pg = tokens(predicted_text)
    to = dict(alignment(tc, pc))
    c = Counter()
    for i in range(1, len(tc)):
        if tg[i] is None or not (latin(tc[i - 1]) and latin(tc[i])):
            continue
        j = to.get(i)
        if j is None or to.get(i - 1) != j - 1 or pg[j] is None:
            continue
        n, m = tg[i], pg[j]
        c["boundaries"] += 1
        c["spaces"] += n > 0
        c["missing"] += n > 0 and m == 0
        c["extra"] += n == 0 and m > 0
        c["run"] += n > 0 and m > 0 and n != m
    return c


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("truth")
    ap.add_argument("predictions")
    ap.add_argument("--by", default="group")
    ap.add_argument("--json")
    a = ap.parse_args()
    truth = [json.loads(l) for l in open(a.truth, encoding="utf-8") if l.strip()]
    preds = {}
    for l in open(a.predictions, encoding="utf-8"):
        if l.strip():
            p = json.loads(l)
            preds[p["file"]] = p.get("text") or ""
    acc = defaultdict(Counter)
    for row in truth:
        c = count(row["text"], preds.get(row["file"], ""))
        key = row.get(a.by) or ("code" if row.get("kind") == "code" else row.get("lang"))
        acc[str(key)] += c
        acc["ALL"] += c
    order = ["zh-Hans", "zh-Hant", "en", "mixed", "code"]
    keys = sorted((k for k in acc if k != "ALL"), key=lambda k: (order.index(k) if k in order else 99, k)) + ["ALL"]
    print(f"| {a.by} | word spaces | missing | extra | wrong run | rate |")
    print("|---|---:|---:|---:|---:|---:|")
    out = {}
    for k in keys:
        c = acc[k]
        rate = (c["missing"] + c["extra"]) / max(1, c["spaces"])
        out[k] = dict(c, rate=rate)
        print(f"| {k} | {c['spaces']} | {c['missing']} | {c['extra']} | {c['run']} | {rate:.2%} |")
    if a.json:
        with open(a.json, "w", encoding="utf-8") as f:
            json.dump(out, f, indent=1)


if __name__ == "__main__":
    main()
