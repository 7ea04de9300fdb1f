#!/usr/bin/python3
"""Picks prose for bench/screens from what this system has installed: long messages of the Simplified and
Traditional Chinese translations (many of them mixed with English words, paths and numbers) and paragraphs of the
English documentation under /usr/share/doc.

Usage: make_screens.py [COUNT_PER_GROUP [SALT [short]]] > screens.tsv
A SALT picks other messages (and so other sizes, fonts and themes) than the default set, to look beyond it; "short"
takes single short messages (a line or two, where a line's script has few characters to go by) instead of pairs.
Each output line: group (zh-Hans, zh-Hant, mixed, en), tab, script (Hans, Hant, Latn), tab, source, tab, text (paragraphs
separated by a backslash and n).
Choices go by a hash of the text, never by the order of a catalogue or directory, so the set is the same on every
machine with the same packages.
"""
import gzip
import hashlib
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
import catalogues  # noqa: E402

LOCALES = {"Hans": "zh_CN", "Hant": "zh_TW"}
HAN = re.compile(r"[\u4e00-\u9fff]")
LATIN_WORD = re.compile(r"[A-Za-z]{2,}")
# Markup, format directives and escapes are not what a screen shows.
UNSHOWN = re.compile(r"[%<>\\{}\t_&]|\$\w|\.\.\.$")


SALT = sys.argv[2] if len(sys.argv) > 2 else ""
SHORT = sys.argv[3:] == ["short"]


def key(text, salt=""):
    return hashlib.sha1((salt + text).encode()).hexdigest()


def messages(locale, domain):
    found = []
    for block in catalogues.entries(locale, domain):
        if "msgstr[" in block or "#, fuzzy" in block:
            continue
        m = re.search(r'^msgstr ((?:".*"\n?)+)', block, re.M)
        if m:
            text = "".join(re.findall(r'"(.*)"', m.group(1)))
            found.append(text.replace('\\"', '"'))
    return found


def chinese(per_group):
    picked = {"zh-Hans": [], "zh-Hant": [], "mixed": []}
    for script, locale in LOCALES.items():
        folder = "/usr/share/locale/%s/LC_MESSAGES" % locale
        candidates = []
        for domain in sorted(os.listdir(folder)):
            if not domain.endswith(".mo"):
                continue
            for text in set(messages(locale, domain)):
                text = " ".join(text.split())
                shortest, longest, han = (8, 24, 4) if SHORT else (24, 160, 12)
                if not shortest <= len(text) <= longest or UNSHOWN.search(text) or len(HAN.findall(text)) < han:
                    continue
                group = "mixed" if LATIN_WORD.search(text) else "zh-" + script
                candidates.append((key(text, SALT), group, domain, text))
        candidates.sort()
        # Two messages a screen, as two paragraphs: a dialog's text, a page or a chat holds more than one.
        wanted = {"zh-" + script: per_group, "mixed": per_group // 2}
        pending = {}
        for _, group, domain, text in candidates:
            if wanted.get(group, 0) == 0:
                continue
            if SHORT:
                wanted[group] -= 1
                picked[group].append((script, "gettext:" + domain, text))
                continue
            if group not in pending:
                pending[group] = (domain, text)
                continue
            first_domain, first = pending.pop(group)
            wanted[group] -= 1
            picked[group].append((script, "gettext:" + first_domain + "+" + domain, first + "\\n" + text))
    return picked


def english(count):
    paragraphs = []
    for top in sorted(os.listdir("/usr/share/doc")):
        folder = os.path.join("/usr/share/doc", top)
        if not os.path.isdir(folder):
            continue
        for name in sorted(os.listdir(folder)):
            if not re.match(r"README(\.md)?(\.gz)?$", name):
                continue
            path = os.path.join(folder, name)
            try:
                raw = gzip.open(path, "rt") if name.endswith(".gz") else open(path)
                text = raw.read()
            except (OSError, UnicodeDecodeError):
                continue
            for paragraph in re.split(r"\n\s*\n", text):
                lines = paragraph.strip().splitlines()
                # Prose only: no lists, headings, tables, code or addresses.
                if len(lines) < 2 or any(re.match(r"\s*([-*#|>=+]|\d+\.|\s{4})", l) for l in lines):
                    continue
                prose = " ".join(" ".join(lines).split())
                if 120 <= len(prose) <= 420 and not re.search(r"[<>{}\[\]|@`_*\\]|https?:", prose):
                    paragraphs.append((key(prose, SALT), "doc:" + top + "/" + name, prose))
    paragraphs.sort()
    return [("Latn", source, text) for _, source, text in paragraphs[:count]]


per_group = int(sys.argv[1]) if len(sys.argv) > 1 else 24
groups = chinese(per_group)
groups["en"] = english(per_group // 2)
for group, entries in groups.items():
    for script, source, text in entries:
        print("\t".join((group, script, source, text)))
