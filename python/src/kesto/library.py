"""Loading libkesto_ctype and starting it once per process.

The library keeps its state (configuration, logging, open jobs, the command
tables) for the whole process and expects one call at a time, so a process
holds one started library; every Session of the process shares it.
"""
from __future__ import annotations

import ctypes
import ctypes.util
import json
import os
import pathlib
import threading
from typing import Optional

from .errors import KestoError

_SONAME = "libkesto_ctype.so.1"


def find_library(explicit: Optional[str] = None) -> str:
    """The path of the library to load, or a KestoError naming where it looked."""
    tried = []
    for candidate in (explicit, os.environ.get("KESTO_LIBRARY")):
        if candidate:
            if os.path.exists(candidate):
                return candidate
            tried.append(candidate)
    found = ctypes.util.find_library("kesto_ctype")
    if found:
        return found
    tried.append("the system's library path")
    # A package installed from a checkout, or run from one, finds the build.
    here = pathlib.Path(__file__).resolve()
    for parent in here.parents:
        for name in (_SONAME, "libkesto_ctype.so"):
            built = parent / "build" / name
            if built.exists():
                return str(built)
    tried.append("build/ of a checkout above " + str(here.parent))
    raise KestoError("load", "libkesto_ctype was not found (tried: " + ", ".join(tried) + ")")


class Library:
    """One started library: its ctypes handle, its verdict texts and log folder."""

    _lock = threading.Lock()
    _started: Optional["Library"] = None

    def __init__(self, path: str, workdir: pathlib.Path, pass_text: str, error_text: str, quiet: bool):
        self.path = path
        self.workdir = workdir
        self.pass_text = pass_text
        self.error_text = error_text
        self.log_dir = workdir / "log"
        self.call_lock = threading.Lock()
        self.dll = ctypes.CDLL(path, mode=ctypes.RTLD_GLOBAL)
        for name in ("process", "orig_process"):
            fn = getattr(self.dll, name)
            fn.argtypes = [ctypes.c_char_p]
            fn.restype = ctypes.c_char_p
        self.dll.init.restype = ctypes.c_bool
        self.dll.init_log.argtypes = [ctypes.c_int]
        self.dll.init_log.restype = ctypes.c_bool
        self._start(quiet)

    @classmethod
    def start(cls, path: Optional[str], workdir: Optional[str], pass_text: str, error_text: str,
              quiet: bool) -> "Library":
        with cls._lock:
            if cls._started is not None:
                lib = cls._started
                if workdir and pathlib.Path(workdir).resolve() != lib.workdir:
                    raise KestoError("start", "this process already runs the library in " + str(lib.workdir)
                                     + "; one library per process (use one worker process per library)")
                return lib
            folder = pathlib.Path(workdir) if workdir else None
            if folder is None:
                import tempfile
                folder = pathlib.Path(tempfile.mkdtemp(prefix="kesto-"))
            folder = folder.resolve()
            folder.mkdir(parents=True, exist_ok=True)
            cls._started = Library(find_library(path), folder, pass_text, error_text, quiet)
            return cls._started

    def _start(self, quiet: bool) -> None:
        (self.workdir / "jobs").mkdir(exist_ok=True)
        config = {
            "log_path": str(self.log_dir),
            "gmsg_pass": self.pass_text,
            "gmsg_error": self.error_text,
            "job_library": str(self.workdir / "jobs"),
        }
        (self.workdir / "config.json").write_text(json.dumps(config, indent=2))
        here = os.getcwd()
        os.chdir(self.workdir)  # the library reads ./config.json
        try:
            ok = self.dll.init()
        finally:
            os.chdir(here)
        if not ok:
            raise KestoError("init", "the library could not read " + str(self.workdir / "config.json"))
        if quiet:
            _keep_log_off_stderr()
        self.dll.init_log(0)
        self.dll.init_func_map()
        self.dll.init_orig_func_map()

    def process(self, request: str) -> str:
        with self.call_lock:
            reply = self.dll.process(request.encode("utf-8"))
        return "" if reply is None else reply.decode("utf-8", errors="replace")

    def call_export(self, name: str, request: str) -> str:
        fn = getattr(self.dll, name)
        fn.argtypes = [ctypes.c_char_p]
        fn.restype = ctypes.c_char_p
        with self.call_lock:
            reply = fn(request.encode("utf-8"))
        return "" if reply is None else reply.decode("utf-8", errors="replace")

    def error_log_size(self) -> int:
        return sum(p.stat().st_size for p in self._error_logs())

    def error_records_since(self, size: int) -> str:
        """The ERROR records written since the log held `size` bytes."""
        text = b"".join(p.read_bytes() for p in self._error_logs())
        lines = text[size:].decode("utf-8", errors="replace").splitlines()
        return "\n".join(line for line in lines if line.strip())

    def _error_logs(self):
        if not self.log_dir.is_dir():
            return []
        return sorted(self.log_dir.glob("ERROR_*." + str(os.getpid()) + ".txt"))


def _keep_log_off_stderr() -> None:
    """The library copies every log record to standard error; a quiet session
    keeps only fatal ones there (the log files still get everything)."""
    try:
        glog = ctypes.CDLL("libglog.so.1")
        set_stderr_logging = glog["_ZN6google16SetStderrLoggingEi"]
        set_stderr_logging.argtypes = [ctypes.c_int]
        set_stderr_logging(3)
    except (OSError, AttributeError):
        pass
