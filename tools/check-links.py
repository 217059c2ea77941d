#!/usr/bin/env python3
"""Every relative link of the README and the pages it leads to names a file or folder that exists.

    python3 tools/check-links.py [page.md...]

Without pages: README.md, docs/*.md and every README.md below the checkout. Prints each link that
leads nowhere, as page:line: target, and exits 1 if there is one."""
import glob
import os
import re
import sys

top = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# [text](target) and ![alt](target); a target ends at a blank or the closing parenthesis.
LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)(?:\s+\"[^\"]*\")?\)")
# Code spans and indented or fenced code hold no links.
CODE_SPAN = re.compile(r"`[^`]*`")


def pages():
    found = [os.path.join(top, "README.md")] + sorted(glob.glob(os.path.join(top, "docs", "*.md")))
    # The build folders (Wine prefixes among them) and hidden ones are not walked into.
    for folder, subfolders, files in os.walk(top):
        subfolders[:] = sorted(d for d in subfolders if not d.startswith(("build", ".")))
        path = os.path.join(folder, "README.md")
        if "README.md" in files and path not in found:
            found.append(path)
    return found


def broken_links(page):
    broken = []
    fenced = False
    with open(page, encoding="utf-8") as text:
        for number, line in enumerate(text, 1):
            if line.lstrip().startswith("```"):
                fenced = not fenced
                continue
            if fenced or line.startswith("    "):
                continue
            for target in LINK.findall(CODE_SPAN.sub("", line)):
                if re.match(r"^[a-z]+:", target) or target.startswith("#"):
                    continue
                path = target.split("#", 1)[0]
                if not os.path.exists(os.path.join(os.path.dirname(page), path)):
                    broken.append((number, target))
    return broken


def main(arguments):
    checked = [os.path.abspath(a) for a in arguments] or pages()
    failed = False
    for page in checked:
        for number, target in broken_links(page):
            print(f"{os.path.relpath(page, top)}:{number}: {target}")
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
