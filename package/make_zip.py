#!/usr/bin/env python3
"""make_zip.py FOLDER TIME TARGET: packs the files of a folder. TIME is in seconds since 1970. The same files and time
give the same bytes.
"""
import pathlib
import sys
import time
import zipfile


def main(folder, seconds, target):
    folder = pathlib.Path(folder)
    moment = time.gmtime(int(seconds))[:6]
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED) as packed:
        for file in sorted(folder.rglob("*")):
            if file.is_file():
                entry = zipfile.ZipInfo(file.relative_to(folder).as_posix(), moment)
                entry.compress_type = zipfile.ZIP_DEFLATED
                entry.external_attr = 0o644 << 16
                packed.writestr(entry, file.read_bytes())


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
