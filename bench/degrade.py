#!/usr/bin/python3
"""Writes the degraded twin of a screen-text corpus: each image gets one of the degradations of
../shared/ocr-corpus-hard (chosen by a hash of its file name, made the same way with ImageMagick) and keeps its
truth, with "degradation" added.

Usage: degrade.py CORPUS_DIR OUT_DIR [WAY...]
With WAYs (jpeg, small, frac, contrast, chrome) every image gets one of those only.
"""
import hashlib, json, os, subprocess, sys

source_dir, out_dir, only = sys.argv[1], sys.argv[2], sys.argv[3:]
ways = {"jpeg": None, "small": ["-filter", "Lanczos", "-resize", "72%"],
        "frac": ["-filter", "Triangle", "-resize", "125%"], "contrast": ["+level", "30%,78%"], "chrome": None}
os.makedirs(os.path.join(out_dir, "images"), exist_ok=True)
with open(os.path.join(out_dir, "truth.jsonl"), "w") as truth:
    for line in open(os.path.join(source_dir, "truth.jsonl")):
        row = json.loads(line)
        source, target = os.path.join(source_dir, row["file"]), os.path.join(out_dir, row["file"])
        chosen = sorted(only or ways)
        way = chosen[int(hashlib.sha1(row["file"].encode()).hexdigest(), 16) % len(chosen)]
        if way == "jpeg":
            jpeg = subprocess.run(["convert", source, "-quality", "55", "jpg:-"], capture_output=True, check=True)
            subprocess.run(["convert", "jpg:-", target], input=jpeg.stdout, check=True)
        elif way == "chrome":
            ground = subprocess.run(["convert", source, "-format", "%[pixel:p{0,0}]", "info:"], capture_output=True,
                                    text=True, check=True).stdout
            subprocess.run(["convert", source, "-bordercolor", ground, "-border", "7", "-bordercolor", "#9a9a9a",
                            "-border", "1", "-bordercolor", "#e8e8ec", "-border", "12", target], check=True)
        else:
            subprocess.run(["convert", source] + ways[way] + [target], check=True)
        row["degradation"] = way
        truth.write(json.dumps(row, ensure_ascii=False) + "\n")
