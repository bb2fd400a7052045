"""Batch runs: one pipeline over many jobs, on a Dask distributed cluster.

    python -m kesto.batch PIPELINE.json JOB [JOB ...] [--workers N]
                          [--scheduler ADDRESS] [--out FOLDER] [--serial]

A JOB is an ODB++ job folder (it holds matrix/), an archive of one
(.tgz, .tar.gz, .tar, .zip), or a folder of Gerber and Excellon files, which
becomes a job with one step "pcb" and a layer per file. A folder holding none
of these but jobs of its own is searched one level down.

The pipeline is a JSON object:

    {"step": "pcb",                       the step to work on (default: the job's first)
     "steps": [
       {"op": "matrix"},                  the matrix rows
       {"op": "feature_counts"},          features per layer
       {"op": "drill_check", "layers": "drill"},
       {"op": "signal_layer_check", "layers": "signal"},
       {"op": "picture", "layers": "all", "size": 800},
       {"op": "export", "layers": "all"}  Gerber, and Excellon for drill layers
     ]}

"layers" is a list of names, a matrix layer type ("signal", "drill",
"solder_mask", ...) or "all". Each job runs in a worker process holding one
library of its own (one thread per worker: the library takes one call at a
time). Pictures and exports are written under FOLDER/<job>/ on the worker's
disk, so on a real cluster FOLDER must be a folder every worker shares. The
results come back through Dask and are written to FOLDER/report.json and
FOLDER/summary.csv.
"""
from __future__ import annotations

import argparse
import csv
import json
import os
import sys
import time
from typing import Any, Dict, List, Optional

from .errors import KestoError

_ARCHIVES = (".tar.gz", ".tgz", ".tar", ".zip")
_DRAWINGS = (".gbr", ".ger", ".gtl", ".gbl", ".gto", ".gbo", ".gts", ".gbs", ".gtp", ".gbp", ".gko", ".gm1",
             ".drl", ".xln", ".exc", ".nc")

_session = None


def find_jobs(paths: List[str]) -> List[str]:
    """The jobs named by the command line, in a stable order."""
    found: List[str] = []
    for path in paths:
        path = os.path.abspath(path)
        if _job_kind(path):
            found.append(path)
        elif os.path.isdir(path):
            found.extend(os.path.join(path, n) for n in sorted(os.listdir(path))
                         if _job_kind(os.path.join(path, n)))
    return found


def _job_kind(path: str) -> Optional[str]:
    if os.path.isdir(path):
        if os.path.isdir(os.path.join(path, "matrix")):
            return "odb"
        if any(n.lower().endswith(_DRAWINGS) for n in os.listdir(path)):
            return "files"
        return None
    if os.path.isfile(path) and path.lower().endswith(_ARCHIVES):
        return "archive"
    return None


def _stem(path: str) -> str:
    base = os.path.basename(path.rstrip("/"))
    for ext in _ARCHIVES:
        if base.lower().endswith(ext):
            return base[: -len(ext)]
    return base


def _worker_session(out: str):
    """The library of this worker process, started on first use."""
    global _session
    if _session is None:
        from .library import Library
        from .session import Session
        if Library._started is not None:  # a serial run inside a host that already has one
            _session = Session()
        else:
            _session = Session(workdir=os.path.join(out, ".work", "%s-%d" % (os.uname().nodename, os.getpid())))
    return _session


def _layers(wanted: Any, matrix) -> List[str]:
    if wanted is None or wanted == "all":
        return matrix.layer_names()
    if isinstance(wanted, str):
        return [layer.name for layer in matrix.by_type(wanted)]
    return [str(name) for name in wanted]


def run_job(source: str, pipeline: Dict[str, Any], out: str) -> Dict[str, Any]:
    """Runs the pipeline on one job; never raises: a failure is in the result."""
    started = time.monotonic()
    result: Dict[str, Any] = {"job": _stem(source), "source": source, "ok": True, "error": "", "steps": []}
    try:
        s = _worker_session(out)
        kind = _job_kind(source)
        if kind == "files":
            job = "".join(c if c.isalnum() or c in "-_" else "_" for c in _stem(source).lower())
            files = [os.path.join(source, n) for n in sorted(os.listdir(source)) if n.lower().endswith(_DRAWINGS)]
            s.import_files(files, job, "pcb")
        elif kind in ("odb", "archive"):
            # A stored job keeps its own name; a worker holds one job at a time.
            job = _stem(source)
            s.open_job(os.path.dirname(source.rstrip("/")), job)
        else:
            raise KestoError("batch", "not a job: " + source)
        try:
            matrix = s.matrix(job)
            step = pipeline.get("step") or (matrix.steps[0] if matrix.steps else "pcb")
            folder = os.path.join(out, result["job"])
            for op in pipeline.get("steps", []):
                result["steps"].append(_run_op(s, job, step, matrix, op, folder))
        finally:
            s.close_job(job)
    except KestoError as e:
        result["ok"] = False
        result["error"] = str(e)
    except Exception as e:  # a worker reports, it does not die
        result["ok"] = False
        result["error"] = "%s: %s" % (type(e).__name__, e)
    result["seconds"] = round(time.monotonic() - started, 3)
    return result


def _run_op(s, job: str, step: str, matrix, op: Dict[str, Any], folder: str) -> Dict[str, Any]:
    name = op.get("op", "")
    layers = _layers(op.get("layers"), matrix)
    if name == "matrix":
        return {"op": name, "steps": matrix.steps,
                "layers": [{"name": l.name, "type": l.type, "context": l.context} for l in matrix.layers]}
    if name == "feature_counts":
        return {"op": name, "counts": {l: s.feature_count(job, step, l) for l in layers}}
    if name in ("drill_check", "signal_layer_check"):
        keys = {k: v for k, v in op.items() if k not in ("op", "layers")}
        if not layers:
            return {"op": name, "findings": {}, "total": 0}
        report = getattr(s, name)(job, step, layers, **keys)
        return {"op": name, "findings": report.counts(), "total": report.total()}
    if name == "picture":
        os.makedirs(folder, exist_ok=True)
        path = os.path.join(folder, op.get("name", "picture.png"))
        s.picture(job, step, layers, path, int(op.get("size", 800)))
        return {"op": name, "file": os.path.relpath(path, os.path.dirname(folder)), "bytes": os.path.getsize(path)}
    if name == "export":
        os.makedirs(folder, exist_ok=True)
        written = []
        drills = {l.name for l in matrix.by_type("drill")}
        for layer in layers:
            if layer in drills:
                path = os.path.join(folder, layer + ".drl")
                s.export_excellon(job, step, layer, path)
            else:
                path = os.path.join(folder, layer + ".gbr")
                s.export_gerber(job, step, layer, path)
            written.append(os.path.basename(path))
        return {"op": name, "files": written}
    raise KestoError("batch", "unknown pipeline step " + json.dumps(op))


def run(sources: List[str], pipeline: Dict[str, Any], out: str, workers: int = 2,
        scheduler: Optional[str] = None, serial: bool = False, show_progress: Optional[bool] = None) -> List[Dict[str, Any]]:
    """Runs the pipeline over the jobs and returns the results in job order."""
    os.makedirs(out, exist_ok=True)
    out = os.path.abspath(out)
    bar = _Bar(len(sources), sys.stderr.isatty() if show_progress is None else show_progress)
    if serial:
        results = []
        for source in sources:
            results.append(run_job(source, pipeline, out))
            bar.step()
        bar.close()
        return results
    from distributed import Client, LocalCluster, as_completed
    cluster = None
    if scheduler:
        client = Client(scheduler)
    else:
        cluster = LocalCluster(n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None)
        client = Client(cluster)
    try:
        futures = [client.submit(run_job, source, pipeline, out, pure=False) for source in sources]
        order = {f.key: i for i, f in enumerate(futures)}
        results: List[Optional[Dict[str, Any]]] = [None] * len(futures)
        for future in as_completed(futures):
            results[order[future.key]] = future.result()
            bar.step()
        bar.close()
        return [r for r in results if r is not None]
    finally:
        client.close()
        if cluster is not None:
            cluster.close()


def write_reports(results: List[Dict[str, Any]], out: str) -> None:
    with open(os.path.join(out, "report.json"), "w") as f:
        json.dump({"jobs": results}, f, indent=1)
    with open(os.path.join(out, "summary.csv"), "w", newline="") as f:
        w = csv.writer(f)
        w.writerow(["job", "ok", "seconds", "layers", "features", "findings", "error"])
        for r in results:
            layers = features = findings = ""
            for step in r["steps"]:
                if step["op"] == "matrix":
                    layers = len(step["layers"])
                elif step["op"] == "feature_counts":
                    features = sum(step["counts"].values())
                elif "total" in step:
                    findings = (findings or 0) + step["total"]
            w.writerow([r["job"], r["ok"], r["seconds"], layers, features, findings, r["error"]])


class _Bar:
    def __init__(self, total: int, on: bool):
        self.total, self.done, self.on = total, 0, on and total > 0

    def step(self) -> None:
        self.done += 1
        if self.on:
            filled = 30 * self.done // self.total
            sys.stderr.write("\r  [%s%s] %d/%d jobs" % ("#" * filled, "." * (30 - filled), self.done, self.total))
            sys.stderr.flush()

    def close(self) -> None:
        if self.on:
            sys.stderr.write("\n")


def main(argv: Optional[List[str]] = None) -> int:
    parser = argparse.ArgumentParser(prog="python -m kesto.batch", description=__doc__.split("\n")[0])
    parser.add_argument("pipeline", help="the pipeline, a JSON file")
    parser.add_argument("jobs", nargs="+", help="job folders, archives, folders of Gerber/Excellon files")
    parser.add_argument("--workers", type=int, default=os.cpu_count() or 2, help="local worker processes")
    parser.add_argument("--scheduler", help="a running Dask scheduler's address (tcp://host:8786)")
    parser.add_argument("--out", default="kesto-batch", help="where reports, pictures and exports go")
    parser.add_argument("--serial", action="store_true", help="run in this process, one job after another")
    args = parser.parse_args(argv)
    with open(args.pipeline) as f:
        pipeline = json.load(f)
    sources = find_jobs(args.jobs)
    if not sources:
        print("kesto.batch: no jobs found in " + " ".join(args.jobs), file=sys.stderr)
        return 2
    results = run(sources, pipeline, args.out, args.workers, args.scheduler, args.serial)
    write_reports(results, os.path.abspath(args.out))
    failed = sum(not r["ok"] for r in results)
    print("%d jobs, %d failed; report in %s" % (len(results), failed, os.path.join(args.out, "report.json")))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
