#!/usr/bin/env bash
# Writes the degraded twin of a corpus: each image gets one of the degradations of ../shared/ocr-corpus-hard
# (chosen by a hash of its file name) and keeps its truth, with "degradation" added.
# Usage: bench/code/degrade.sh CORPUS_DIR OUT_DIR
set -euo pipefail
in=$1 out=$2
mkdir -p "$out/images"
: >"$out/truth.jsonl"
while IFS= read -r entry; do
    file=$(jq -r .file <<<"$entry")
    kinds=(jpeg small frac contrast chrome)
    kind=${kinds[$((0x$(md5sum <<<"$file" | cut -c1-6) % 5))]}
    case $kind in
    jpeg) convert "$in/$file" -quality 55 jpg:- | convert jpg:- "$out/$file" ;;
    small) convert "$in/$file" -filter Lanczos -resize 72% "$out/$file" ;;
    frac) convert "$in/$file" -filter Triangle -resize 125% "$out/$file" ;;
    contrast) convert "$in/$file" +level 30%,78% "$out/$file" ;;
    chrome)
        ground=$(convert "$in/$file" -format '%[pixel:p{0,0}]' info:)
        convert "$in/$file" -bordercolor "$ground" -border 7 -bordercolor '#9a9a9a' -border 1 \
            -bordercolor '#e8e8ec' -border 12 "$out/$file"
        ;;
    esac
    jq -c --arg d "$kind" '. + {degradation: $d}' <<<"$entry" >>"$out/truth.jsonl"
done <"$in/truth.jsonl"
