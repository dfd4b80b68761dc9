"""Compares the tables of records in a page with the layout that the compiler is asked for.

usage: record_tables.py PAGE RECORDS_DEF
"""

import re
import sys


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as page:
        written = set()
        record = ""
        for line in page:
            heading = re.match(r"##+ (?:`(\w+)` \((\d+) bytes\))?", line)
            row = re.match(r"\| (\d+) \| (\d+|L) \| `(\w+)` \|", line)
            if heading:
                record = heading[1]
                if record:
                    written.add(("SIZE", record, heading[2]))
            elif row and record:
                kind = ("FLEXIBLE",) if row[2] == "L" else ("FIELD",)
                written.add(kind + (record, row[3], row[1]) + (() if row[2] == "L" else (row[2],)))
    with open(sys.argv[2], encoding="utf-8") as definitions:
        found = re.findall(r"^(SIZE|FIELD|FLEXIBLE)\((.*)\)$", definitions.read(), re.MULTILINE)
        actual = {(kind, *arguments.split(", ")) for kind, arguments in found}
    if len(actual) < 40 or written != actual:
        sys.exit(f"only in the page: {sorted(written - actual)}\nmissing there: {sorted(actual - written)}")


main()
