"""Disks that can be filled: a small file system of a bench's own, and a limit on what its files may hold.

A file system can be mounted in a name space of one's own by root, and by anyone where the system lets users have name
spaces. The limit on file sizes works everywhere; it stands in where nothing can be mounted.
"""

import os
import pathlib
import resource
import subprocess

import harness

DISK_BYTES = 1 << 16
MOUNTING = 'mount -t tmpfs -o size="$1" none "$2" && shift 2 && exec "$@"'


def small_disk(folder):
    """The command behind which a process has a small disk of its own on the folder; None where that is not possible."""
    folder.mkdir()
    for unshare in (["unshare", "--mount"], ["unshare", "--mount", "--map-root-user"]):
        prefix = [harness.need("unshare"), *unshare[1:], "sh", "-c", MOUNTING, "sh", str(DISK_BYTES), str(folder)]
        if subprocess.run([*prefix, "true"], capture_output=True, check=False).returncode == 0:
            return prefix
    return None


def seen_by(bench, path):
    """The path by which others reach what the bench has at this path."""
    return pathlib.Path(f"/proc/{bench.process.pid}/root{path}")


def take(bench, folder, size):
    """Takes so many bytes of the disk of the bench."""
    (seen_by(bench, folder) / "filler").write_bytes(bytes(size))


def clear(bench, folder):
    """Gives the room back."""
    (seen_by(bench, folder) / "filler").unlink()


def limit_files(bench, size):
    """Lets no write of the bench go beyond so many bytes of a file; None: no limit."""
    hard = resource.prlimit(bench.process.pid, resource.RLIMIT_FSIZE)[1]
    resource.prlimit(bench.process.pid, resource.RLIMIT_FSIZE, (hard if size is None else size, hard))


def start_small(size):
    """What limits the files of a process from its start on, for the new process to call."""
    hard = resource.getrlimit(resource.RLIMIT_FSIZE)[1]
    return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, hard))


def without_override():
    """The command behind which a process may write only what its files' modes let it write: root otherwise may all."""
    if os.geteuid() != 0:
        return []
    return [harness.need("setpriv"), "--bounding-set=-dac_override,-dac_read_search"]
