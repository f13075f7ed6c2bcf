#!/usr/bin/env python3
"""Checks that every keyed message of Resources/Messages.txt appears in Sources/ exactly.

Adjacent C string literals are joined first, as the compiler joins them. Lists every message
with its state; exits 1 when one is missing or differs (a message whose key is found with
another text is reported with the text the sources hold).
Usage: Tools/check-messages.py [ROOT]
"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
literal = re.compile(r'"((?:[^"\\\n]|\\.)*)"(\s*"(?:[^"\\\n]|\\.)*")*')


def joined_literals(text):
    for match in literal.finditer(text):
        parts = re.findall(r'"((?:[^"\\\n]|\\.)*)"', match.group(0))
        yield "".join(parts).replace('\\"', '"').replace("\\\\", "\\")


texts = set()
for path in sorted((root / "Sources").rglob("*")):
    if path.suffix in (".cpp", ".h"):
        texts.update(joined_literals(path.read_text(encoding="utf-8", errors="replace")))
by_key = {}
for text in texts:
    if text.startswith("@kelstr_"):
        by_key.setdefault(text.split(" ", 1)[0], []).append(text)

failed = 0
checked = 0
for line in (root / "Resources" / "Messages.txt").read_text(encoding="utf-8").splitlines():
    if line.startswith("#-"):
        print("not built  " + line[2:].strip())
        continue
    if not line.strip() or line.startswith("#"):
        continue
    checked += 1
    if line in texts:
        print("ok         " + line)
        continue
    failed += 1
    found = by_key.get(line.split(" ", 1)[0])
    if found:
        print("DIFFERS    " + line + "\n   sources: " + " | ".join(sorted(found)))
    else:
        print("MISSING    " + line)
print("check-messages: %d of %d messages as listed" % (checked - failed, checked))
sys.exit(1 if failed else 0)
