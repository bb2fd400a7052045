"""A Session: the library started in a working folder, one typed method per
command family, errors raised as KestoError."""
from __future__ import annotations

import json
import os
import threading
from typing import Any, Callable, Dict, Iterable, List, Optional, Sequence, Union

from .errors import KestoError
from .library import Library
from .records import CheckReport, Layer, Matrix

Paras = Union[Dict[str, Any], List[Dict[str, Any]]]


class Session:
    """The library of this process, started in `workdir` (a new temporary
    folder when none is given). Its log files go to `workdir/log`, jobs named
    without a folder to `workdir/jobs`.

    `progress`, when given, is called with (done, total) while long commands
    (checks, big jobs, exports) run, from a thread of the session's own.
    """

    def __init__(self, workdir: Optional[str] = None, library: Optional[str] = None, quiet: bool = True,
                 progress: Optional[Callable[[float, float], None]] = None):
        if progress is not None:
            _watch_progress(progress)
        self._lib = Library.start(library, workdir, "OK", "ERROR", quiet)

    @property
    def workdir(self) -> str:
        return str(self._lib.workdir)

    @property
    def log_dir(self) -> str:
        return str(self._lib.log_dir)

    # ------------------------------------------------------------ raw access
    def process(self, request: Union[str, Dict[str, Any]]) -> str:
        """Any request through the library's `process`, its reply text as it stands."""
        text = request if isinstance(request, str) else json.dumps(request)
        return self._lib.process(text)

    def call(self, command: str, paras: Paras) -> Any:
        """A command through `process`: True for the pass text, the reply's
        "paras" (or the whole document) for JSON; KestoError for the error text."""
        size = self._lib.error_log_size()
        reply = self.process({"func": command, "paras": paras})
        return self._interpret(command, reply, size)

    def call_export(self, name: str, request: Union[str, Dict[str, Any]]) -> Any:
        """A handler by its export name, with the request as that handler
        reads it (the exported-only handlers read their keys at the top)."""
        size = self._lib.error_log_size()
        text = request if isinstance(request, str) else json.dumps(request)
        return self._interpret(name, self._lib.call_export(name, text), size)

    def _interpret(self, command: str, reply: str, error_log_size: int) -> Any:
        text = reply.strip()
        if text == self._lib.pass_text:
            return True
        if text == self._lib.error_text or not text:
            raise KestoError(command, self._lib.error_records_since(error_log_size), reply)
        try:
            document = json.loads(text)
        except ValueError:
            return text  # a reply text of its own (messages some commands answer)
        if isinstance(document, dict) and "paras" in document and "func" in document:
            return document["paras"]
        return document

    # ------------------------------------------------------------------ jobs
    def create_job(self, job: str, path: str = "") -> None:
        self.call("CREATE_JOB", {"path": path, "job": job})

    def open_job(self, path: str, job: str) -> None:
        """Opens the job `job` from the folder `path` (a job folder, or an
        archive job.tgz / .tar / .zip in it). Raises when it is not open after."""
        self.call("OPEN_JOB", [{"path": os.path.abspath(path)}, {"job": job}])
        if not self.is_job_open(job):
            raise KestoError("OPEN_JOB", "the job " + job + " could not be opened from " + path)

    def is_job_open(self, job: str) -> bool:
        return bool(self.call("IS_JOB_OPENED", {"jobname": job}).get("status"))

    def save_job(self, job: str) -> None:
        self.call("JOB_SAVE", [{"job": job}])

    def close_job(self, job: str) -> bool:
        return bool(self.call("CLOSE_JOB", {"jobname": job}).get("status"))

    def create_step(self, job: str, step: str, index: int = 1) -> None:
        self.call("CREATE_STEP", {"jobname": job, "stepname": step, "index": index})

    def matrix(self, job: str) -> Matrix:
        paras = self.call("GET_MATRIX", {"job": job})
        return Matrix(steps=[str(s) for s in paras.get("steps", [])],
                      layers=[Layer.from_json(info) for info in paras.get("info", [])])

    def set_units(self, inch: bool) -> None:
        self.call("SET_UNITS", [{"units": "inch" if inch else "mm"}])

    # -------------------------------------------------------- data exchange
    def identify(self, path: str) -> Dict[str, Any]:
        """What a file is: format, units, number format, zeroes."""
        self.call("FILE_TRANSLATE_INIT", {"jobname": ""})
        return self.call("FILE_IDENTIFY", {"pathname": os.path.abspath(path)})

    def translate(self, path: str, job: str, step: str, layer: str) -> None:
        """A Gerber or Excellon file into a layer of the job (identified first)."""
        self.call("FILE_TRANSLATE", {"path": os.path.abspath(path), "job": job, "step": step, "layer": layer,
                                     "parameters": {"format": "None"}})

    def import_files(self, paths: Iterable[str], job: str, step: str = "pcb") -> List[str]:
        """A new job holding one layer per file, named after the files."""
        self.create_job(job)
        self.create_step(job, step)
        self.call("FILE_TRANSLATE_INIT", {"jobname": job})
        names = []
        for path in paths:
            name = _layer_name(path, names)
            self.translate(path, job, step, name)
            names.append(name)
        return names

    def export_gerber(self, job: str, step: str, layer: str, filename: str, unit: str = "mm",
                      digits: Sequence[int] = (4, 6)) -> None:
        self.call("LAYER_EXPORT", {"job": job, "step": step, "layer": layer, "filename": os.path.abspath(filename),
                                   "type": 0, "unit": unit, "numberFormatL": digits[0], "numberFormatR": digits[1]})

    def export_excellon(self, job: str, step: str, layer: str, filename: str, unit: str = "mm",
                        digits: Sequence[int] = (3, 3)) -> None:
        self.call("LAYER_EXPORT", {"job": job, "step": step, "layer": layer, "filename": os.path.abspath(filename),
                                   "type": 1, "unit": unit, "num_format1": digits[0], "num_format2": digits[1],
                                   "zeros_omitted": "leading"})

    def picture(self, job: str, step: str, layers: Sequence[str], path: str, size: int = 1000,
                box: Optional[Sequence[float]] = None) -> str:
        """A PNG of the layers, stacked in the order given; `box` is
        (xmin, ymin, xmax, ymax) in the working unit, the step's extent when None."""
        folder, name = os.path.split(os.path.abspath(path))
        paras: Dict[str, Any] = {"size": size, "job": job, "step": step, "picpath": folder, "picname": name,
                                 "layers": list(layers)}
        if box is not None:
            paras.update(dict(zip(("xmin", "ymin", "xmax", "ymax"), map(float, box))))
        self.call("OUTPUT_PICTURE", [paras])
        return os.path.join(folder, name)

    # --------------------------------------------------------------- layers
    def feature_count(self, job: str, step: str, layer: str) -> int:
        reply = self.call("GET_LAYER_FEATURE_COUNT", [{"jobName": job, "stepName": step, "layerName": layer}])
        return int(reply["featureNum"])

    def drill_tools(self, job: str, step: str, layer: str) -> Any:
        return self.call("GET_DRILL_INFO", {"jobname": job, "stepname": step, "layername": layer})

    # --------------------------------------------------------------- checks
    # The tests a CAM engineer runs on every drill layer; the library itself
    # runs only what a request names.
    DRILL_TESTS = {"hole_size": True, "extra_holes": True, "hole_seperation": True, "missing_hole": True,
                   "npth_to_rout": True, "power_ground_short": True, "use_pth": True, "use_npth": True,
                   "use_via": True}

    def drill_check(self, job: str, step: str, layers: Sequence[str],
                    ranges: Optional[List[Dict[str, Any]]] = None, **switches: Any) -> CheckReport:
        """The drill analysis of the drill layers, with every test switched on
        unless a keyword switches it off; `ranges` gives per category
        {"name", "RedLv", "YellowLv", "GreenLv"} in micrometres."""
        paras: Dict[str, Any] = {"job": job, "step": step, "layers": list(layers)}
        paras.update(self.DRILL_TESTS)
        paras.update(switches)
        if ranges is not None:
            paras["ranges"] = {"rangesList": ranges}
        return CheckReport("drill", _as_dict(self.call("DRILL_CHECK", [paras])))

    def signal_layer_check(self, job: str, step: str, layers: Sequence[str], **keys: Any) -> CheckReport:
        paras: Dict[str, Any] = {"job": job, "step": step, "layers": list(layers)}
        paras.update(keys)
        return CheckReport("signal", _as_dict(self.call("SIGNAL_LAYER_CHECK", [paras])))

    def analysis_page(self, uuid: str, analysis_type: int, items: Dict[str, Sequence[str]], level: int = 4,
                      count: int = 50, page: int = 0) -> List[Dict[str, Any]]:
        """One page of a stored analysis run (1 signal, 2 drill, 3 mask, 4 silk,
        5 board drill): for each layer, its check items' findings at `level`
        (1..3 for lv1..lv3 worst first, 4 for all levels), `count` a page.
        An empty list once the pages are exhausted."""
        layers = [{"layer": layer, "subfilter": [{"item": item, "level": level, "count": count} for item in names]}
                  for layer, names in items.items()]
        paras = {"uuid": uuid, "analysis_type": analysis_type, "page": page, "filter": layers}
        reply = self._lib.call_export("get_jw_analysis_result", json.dumps(paras))
        return json.loads(reply) if reply.strip() else []

    # ------------------------------------------------------------- editing
    def undo(self, job: str, step: str) -> None:
        self.call("UNDO", {"jobname": job, "stepname": step})


def _as_dict(value: Any) -> Dict[str, Any]:
    return value if isinstance(value, dict) else {"reply": value}


def _layer_name(path: str, taken: List[str]) -> str:
    base = os.path.basename(path).lower()
    for ext in (".gbr", ".ger", ".gtl", ".gbl", ".gto", ".gbo", ".gts", ".gbs", ".drl", ".xln", ".txt", ".nc"):
        if base.endswith(ext):
            base = base[: -len(ext)]
            break
    name = "".join(c if c.isalnum() or c in "-_+" else "_" for c in base) or "layer"
    candidate, n = name, 2
    while candidate in taken:
        candidate, n = name + "_" + str(n), n + 1
    return candidate


_progress_lock = threading.Lock()
_progress_started = False


def _watch_progress(callback: Callable[[float, float], None]) -> None:
    """The library writes "progress DONE TOTAL" lines to KESTO_PROGRESS_FD;
    a thread of ours reads them and calls back."""
    global _progress_started
    with _progress_lock:
        if _progress_started or "KESTO_PROGRESS_FD" in os.environ:
            return
        read_end, write_end = os.pipe()
        os.set_inheritable(write_end, False)
        os.environ["KESTO_PROGRESS_FD"] = str(write_end)
        _progress_started = True

    def pump() -> None:
        with os.fdopen(read_end, "r") as lines:
            for line in lines:
                parts = line.split()
                if len(parts) == 3 and parts[0] == "progress":
                    try:
                        callback(float(parts[1]), float(parts[2]))
                    except Exception:  # a host's callback must not stop the pump
                        pass

    threading.Thread(target=pump, name="kesto-progress", daemon=True).start()
