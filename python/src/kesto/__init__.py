"""kesto: a Python host for libkesto_ctype, the PCB CAM command library.

    from kesto import Session
    s = Session()
    s.open_job("/data/jobs", "sample_design")
    print(s.drill_check("sample_design", "step", ["drill"]).counts())
"""
from .errors import KestoError
from .records import CheckReport, Layer, Matrix
from .session import Session

__all__ = ["Session", "KestoError", "CheckReport", "Layer", "Matrix"]
__version__ = "1.0.0"
