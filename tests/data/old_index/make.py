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


def make_index(program, name, layout, change=lambda root: None):
    """Indexes a copy of files/ and gives the database that it became."""
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder) / "root"
        shutil.copytree(HERE / "files", root)
        change(root)
        subprocess.run([program, "index", "--layout", layout, root], check=True)
        target = HERE / name
        shutil.copyfile(root / ".codetext/index/code.db", target)
        return sqlite3.connect(target, isolation_level=None)


def to_3_1_0(db):
    db.execute("DROP INDEX files_by_text_on_disk")
    db.execute("DROP TABLE skipped_files")
    db.execute("UPDATE meta SET value = '3.1.0' WHERE key = 'schema_version'")
    db.execute("PRAGMA user_version = 2")


def to_3_0_0(db):
    to_3_1_0(db)
    db.execute("ALTER TABLE files DROP COLUMN text_on_disk")
    db.execute("UPDATE files SET path = 'table.json', language = 'json' WHERE path = 'table.txt'")
    db.execute("UPDATE meta SET value = '3.0.0' WHERE key = 'schema_version'")
    db.execute("PRAGMA user_version = 1")


def shrink(db):
    """WAL again at the end: the page size cannot be changed within it."""
    db.execute("PRAGMA journal_mode = DELETE")
    db.execute(f"PRAGMA page_size = {PAGE_BYTES}")
    db.execute("VACUUM")
    db.execute("PRAGMA journal_mode = WAL")
    db.close()


def as_plain_text(root):
    """The program would leave a large JSON file on disk, as 3.0.0 did not."""
    (root / "table.json").rename(root / "table.txt")


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    shrink(make_index(program, "3.2.0-compressed.db", "compressed"))
    shrink(make_index(program, "3.2.0-code_chunks.db", "code_chunks"))
    db = make_index(program, "3.1.0.db", "code_chunks")
    to_3_1_0(db)
    shrink(db)
    db = make_index(program, "3.0.0.db", "code_chunks", as_plain_text)
    to_3_0_0(db)
    shrink(db)


if __name__ == "__main__":
    main()
