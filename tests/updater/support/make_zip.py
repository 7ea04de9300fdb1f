#!/usr/bin/env python3
"""Writes a zip archive with entries exactly as described, including ones no archiver would make on purpose.

Usage: make_zip.py ZIP ENTRIES_JSON
ENTRIES_JSON is a list of {"name": "Tessary.app/../x", "data": "text", "mode": 0o100644} where mode carries the
Unix file type bits (0o120000 symbolic link with the target as data, 0o020000 character device, 0o040000 folder).
"""
import json
import sys
import zipfile

archive_path, entries_path = sys.argv[1:3]
with open(entries_path, encoding="utf-8") as f:
    entries = json.load(f)
with zipfile.ZipFile(archive_path, "w", zipfile.ZIP_DEFLATED) as archive:
    for entry in entries:
        info = zipfile.ZipInfo(entry["name"], date_time=(2024, 1, 1, 0, 0, 0))
        info.create_system = 3  # Unix, so that the mode below is read
        info.external_attr = (entry.get("mode", 0o100644) & 0xFFFF) << 16
        info.compress_type = zipfile.ZIP_DEFLATED
        archive.writestr(info, entry.get("data", "").encode("utf-8"))
