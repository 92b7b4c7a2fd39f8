#!/usr/bin/env python3
"""make_msi.py SETUP PROVIDER VERSION TIME TARGET: makes the package for Windows Installer out of brivelnox_setup.exe and
Brivelnox.tsp.

VERSION has four numbers, TIME is in seconds since 1970. The same files, version and time give the same bytes. Needs
wixl and msibuild (packages wixl and msitools).
"""
import hashlib
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import uuid

SOURCE = "brivelnox.wxs"
UPGRADE_CODE = uuid.UUID("6D1B1F0A-5C1E-4E51-9B0C-3B7E5B7C5A10")

# A program among the installed files (18), in the installation's script (1024), as the system (2048), on failure (256).
UNDO_TYPE = 18 + 256 + 1024 + 2048
# The first place behind InstallInitialize: in one transaction with the new version, and before its files.
REMOVE_OLD_SEQUENCE = 1501

# The property set of the summary, and the types of a point in time and of a text in it.
SUMMARY_FORMAT = bytes.fromhex("e0859ff2f94f6810ab9108002b27b3d9")
TIME_TYPE, TEXT_TYPE = 64, 30
PACKAGE_CODE_PROPERTY = 9
SECONDS_TO_1970 = 11644473600


def code_text(code):
    return "{" + str(code).upper() + "}"


def make(folder, version, product_code, target):
    """Windows Installer compares three numbers only, so the last one takes the third place."""
    major, minor, _, build = version.split(".")
    values = {"Version": f"{major}.{minor}.{build}", "ProductCode": product_code, "UpgradeCode": UPGRADE_CODE}
    subprocess.run(["wixl", "-a", "x64", *(word for name, value in values.items() for word in ("-D", f"{name}={value}")),
                    "-o", target, SOURCE], cwd=folder, check=True)


def complete(version, target):
    """What wixl leaves out, or writes as Windows Installer does not take it."""
    changes = [f"UPDATE `CustomAction` SET `Type`={UNDO_TYPE} WHERE `Action`='{name}'"
               for name in ("UndoInstall", "UndoRemove")]
    changes.append(f"UPDATE `InstallExecuteSequence` SET `Sequence`={REMOVE_OLD_SEQUENCE} "
                   "WHERE `Action`='RemoveExistingProducts'")
    changes.append(f"UPDATE `File` SET `Version`='{version}', `Language`='1033'")
    subprocess.run(["msibuild", target, *(word for change in changes for word in ("-q", change))], check=True)


def fix_summary(time, package_code, target):
    """Writes the times and the package's code over those of this moment."""
    data = bytearray(target.read_bytes())
    format_at = data.index(SUMMARY_FORMAT)
    section = format_at + len(SUMMARY_FORMAT) + 4
    _, count = struct.unpack_from("<II", data, section)
    filetime = struct.pack("<Q", (time + SECONDS_TO_1970) * 10_000_000)
    for number, offset in struct.iter_unpack("<II", data[section + 8:section + 8 + count * 8]):
        at = section + offset
        kind, = struct.unpack_from("<I", data, at)
        if kind == TIME_TYPE:
            data[at + 4:at + 12] = filetime
        elif kind == TEXT_TYPE and number == PACKAGE_CODE_PROPERTY:
            text = code_text(package_code).encode()
            if not re.fullmatch(rb"\{[0-9A-F-]{36}\}", data[at + 8:at + 8 + len(text)]):
                sys.exit("make_msi: the package's code is not where it should be")
            data[at + 8:at + 8 + len(text)] = text
    target.write_bytes(data)


def main(setup, provider, version, time, target):
    time = int(time)
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        contents = hashlib.sha256(f"{version} {time}".encode())
        for file in (setup, provider):
            copy = pathlib.Path(shutil.copy(file, work))
            # The installed files get this time.
            os.utime(copy, (time, time))
            contents.update(copy.read_bytes())
        # wixl looks for files beside it.
        shutil.copy(pathlib.Path(__file__).with_name(SOURCE), work)
        made = work / "made.msi"
        # A version is a product, a set of bytes a package.
        make(work, version, uuid.uuid5(UPGRADE_CODE, version), made)
        complete(version, made)
        fix_summary(time, uuid.uuid5(UPGRADE_CODE, contents.hexdigest()), made)
        shutil.copyfile(made, target)


if __name__ == "__main__":
    if len(sys.argv) != 6:
        sys.exit(__doc__)
    main(*sys.argv[1:])
