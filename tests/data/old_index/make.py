#!/usr/bin/env python3
"""Makes the indexes of this directory anew: an index of files/ as each schema version stored it.

    tests/data/old_index/make.py build/release/codetext

The program writes 3.2.0 in both layouts. The older versions are the `code_chunks` layout with what
later versions added taken away; no program that wrote them is at hand. Their pages are small, so
that the files are.
"""

import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
PAGE_BYTES = 512


def make_index(program, name, layout, change="", json_name="table.json"):
    """Indexes a copy of files/, and changes the database that it became."""
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder) / "root"
        shutil.copytree(HERE / "files", root)
        (root / "table.json").rename(root / json_name)
        subprocess.run([program, "index", "--layout", layout, root], check=True)
        shutil.copyfile(root / ".codetext/index/code.db", HERE / name)
    db = sqlite3.connect(HERE / name, isolation_level=None)
    # WAL again at the end: the page size cannot be changed within it.
    db.executescript(change + f"""PRAGMA journal_mode = DELETE; PRAGMA page_size = {PAGE_BYTES};
                                  VACUUM; PRAGMA journal_mode = WAL;""")
    db.close()


TO_3_1_0 = """
    DROP INDEX files_by_text_on_disk;
    DROP TABLE skipped_files;
    UPDATE meta SET value = '3.1.0' WHERE key = 'schema_version';
    PRAGMA user_version = 2;
"""
TO_3_0_0 = TO_3_1_0 + """
    ALTER TABLE files DROP COLUMN text_on_disk;
    UPDATE files SET path = 'table.json', language = 'json' WHERE path = 'table.txt';
    UPDATE meta SET value = '3.0.0' WHERE key = 'schema_version';
    PRAGMA user_version = 1;
"""


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    for layout in "compressed", "code_chunks":
        make_index(program, f"3.2.0-{layout}.db", layout)
    make_index(program, "3.1.0.db", "code_chunks", TO_3_1_0)
    # The program would leave a large JSON file on disk, as 3.0.0 did not.
    make_index(program, "3.0.0.db", "code_chunks", TO_3_0_0, json_name="table.txt")


if __name__ == "__main__":
    main()
