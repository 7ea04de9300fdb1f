#!/usr/bin/python3
"""Picks source snippets from this machine (Python, shell, C headers, JSON/YAML) for tessary-code-corpus: 2 to 25
lines with their indentation, each with the look it is drawn in. Deterministic for a seed.

Usage: make_snippets.py COUNT SEED > snippets.jsonl
"""
import glob, json, random, sys

count, seed = int(sys.argv[1]), int(sys.argv[2])
rng = random.Random(seed)
sources = {
    "python": glob.glob("/usr/lib/python3/dist-packages/**/*.py", recursive=True),
    "shell": glob.glob("/usr/share/**/*.sh", recursive=True) + glob.glob("/usr/share/bash-completion/completions/*"),
    "c": glob.glob("/usr/include/**/*.h", recursive=True),
    "data": glob.glob("/usr/share/**/*.json", recursive=True) + glob.glob("/usr/share/**/*.y*ml", recursive=True),
}
sources = {kind: sorted(files) for kind, files in sources.items() if files}


def snippet(path):
    try:
        lines = open(path, encoding="utf-8").read().split("\n")
    except (UnicodeDecodeError, OSError):
        return None
    size = rng.choice([2, 3, 3, 4, 4, 5, 6, 8, 10, 12, 16, 20, 25])
    if len(lines) < size + 2:
        return None
    start = rng.randrange(len(lines) - size)
    picked = [line.expandtabs(4).rstrip() for line in lines[start:start + size]]
    while picked and not picked[0].strip():
        picked.pop(0)
        start += 1
    while picked and not picked[-1].strip():
        picked.pop()
    written = [line for line in picked if line.strip()]
    if len(written) < 2 or any(len(line) > 80 or not line.isascii() for line in picked):
        return None
    indents = {len(line) - len(line.lstrip()) for line in written}
    if len(indents) < 2 and rng.random() < 0.7:
        return None
    return start + 1, "\n".join(picked)


made = 0
while made < count:
    kind = rng.choice(sorted(sources))
    path = rng.choice(sources[kind])
    found = snippet(path)
    if not found:
        continue
    first, code = found
    made += 1
    print(json.dumps({
        "file": "images/code-%03d.png" % made, "source": path, "kind": kind, "code": code,
        "font": rng.choice(["DejaVu Sans Mono", "Noto Sans Mono CJK SC"]), "font_px": rng.randint(12, 18),
        "theme_index": rng.randrange(5), "hinting": rng.choice(["full", "vertical"]),
        "line_height": round(rng.uniform(1.1, 1.45), 2), "margin": rng.randint(3, 12),
        "gutter_from": first if rng.random() < 0.2 else 0}))
