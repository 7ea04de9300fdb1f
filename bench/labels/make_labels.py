#!/usr/bin/python3
"""Picks short interface labels (2 to 10 Chinese characters) from the Simplified and Traditional Chinese
translations installed on this system, as a measuring set for bench/labels.

Usage: make_labels.py DOMAIN... > labels.tsv   (DOMAIN: a gettext domain such as gtk30 or iso_3166-1)
Each output line: script (Hans or Hant), tab, label. Up to 60 labels per domain and script, picked by a hash of the
label so that the choice does not depend on the order of the catalogue.
"""
import hashlib
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
import catalogues  # noqa: E402

LOCALES = {"Hans": "zh_CN", "Hant": "zh_TW"}
LABEL = re.compile(r"^[\u4e00-\u9fff]{2,10}$")


def messages(locale, domain):
    found = []
    for block in catalogues.entries(locale, domain + ".mo"):
        m = re.search(r'^msgstr "(.*)"$', block, re.M)
        if m and "msgstr[" not in block:
            found.append(m.group(1))
    return found


for domain in sys.argv[1:]:
    for script, locale in LOCALES.items():
        labels = sorted({t for t in messages(locale, domain) if LABEL.match(t)},
                        key=lambda t: hashlib.sha1(t.encode()).hexdigest())
        for label in labels[:60]:
            print(script + "\t" + label)
