"""Plain records for the library's JSON replies."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Dict, List


@dataclass
class Layer:
    """One row of a job's matrix."""
    name: str
    context: str = ""
    type: str = ""
    polarity: str = ""
    row: int = 0
    extra: Dict[str, Any] = field(default_factory=dict)

    @staticmethod
    def from_json(info: Dict[str, Any]) -> "Layer":
        known = {"name", "context", "type", "polarity", "row"}
        lower = {k.lower(): v for k, v in info.items()}
        return Layer(
            name=str(lower.get("name", "")),
            context=str(lower.get("context", "")),
            type=str(lower.get("type", lower.get("layer_type", ""))),
            polarity=str(lower.get("polarity", "")),
            row=int(lower.get("row", 0) or 0),
            extra={k: v for k, v in info.items() if k.lower() not in known},
        )


@dataclass
class Matrix:
    """A job's steps and layers in matrix order."""
    steps: List[str]
    layers: List[Layer]

    def layer_names(self) -> List[str]:
        return [layer.name for layer in self.layers]

    def by_type(self, kind: str) -> List[Layer]:
        return [layer for layer in self.layers if layer.type.lower() == kind.lower()]


@dataclass
class CheckReport:
    """A check's whole result as the library writes it: per layer, per
    check item, the findings of each level (lv1 worst)."""
    kind: str
    raw: Dict[str, Any]

    @property
    def uuid(self) -> str:
        """The run's analysis uuid, for paging it (Session.analysis_page)."""
        return str(self.raw.get("analysis_uuid", ""))

    def layers(self) -> List[str]:
        return [str(entry.get("layer", "")) for entry in self.raw.get("analysis_result", [])]

    def items(self, layer: str) -> List[Dict[str, Any]]:
        for entry in self.raw.get("analysis_result", []):
            if entry.get("layer") == layer:
                return list(entry.get("result", []))
        return []

    def counts(self) -> Dict[str, Dict[str, int]]:
        """Findings per layer and check item, over all levels."""
        return {layer: {str(item.get("check_item", "")): sum(int(item.get("lv%dcount" % n, 0)) for n in range(1, 5))
                        for item in self.items(layer)}
                for layer in self.layers()}

    def findings(self, layer: str, item: str, level: int) -> List[Dict[str, Any]]:
        """The findings of one check item at one level (1 worst)."""
        for entry in self.items(layer):
            if entry.get("check_item") == item:
                return list(entry.get("lv%dfeatures" % level, []))
        return []

    def total(self) -> int:
        return sum(sum(per.values()) for per in self.counts().values())
