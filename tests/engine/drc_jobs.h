// Hand-built jobs for the drill analysis tests: one step "pcb", layers in
// matrix order, coordinates given in micrometres.
#pragma once
#include "engine/model/model.h"

#include <string>

namespace kesto::test {

inline Coord um(double v) { return Coord(v * 1000); }

struct JobBuilder {
    Job job;

    explicit JobBuilder(const std::string& name)
    {
        job.name = name;
        job.steps["pcb"].name = "pcb";
        job.columns.push_back({1, "pcb", 1});
    }

    Layer& layer(const std::string& name, const std::string& type, const std::string& start = "",
                 const std::string& end = "")
    {
        MatrixRow row;
        row.row = int(job.rows.size()) + 1;
        row.name = name;
        row.context = "BOARD";
        row.type = type;
        row.start_name = start;
        row.end_name = end;
        job.rows.push_back(row);
        return job.steps["pcb"].layers[name];
    }

    static int symbol(Layer& l, SymbolFamily family, double w_um, double h_um, const std::string& name)
    {
        for (std::size_t i = 0; i < l.symbols.size(); ++i)
            if (l.symbols[i].name == name) return int(i);
        Symbol s;
        s.family = family;
        s.p[0] = double(um(w_um));
        s.p[1] = double(um(h_um));
        s.name = name;
        l.symbols.push_back(s);
        return int(l.symbols.size() - 1);
    }
    static int round(Layer& l, double d_um) { return symbol(l, SymbolFamily::Round, d_um, d_um, "r" + std::to_string(int(d_um))); }

    static std::uint32_t pad(Layer& l, int sym, double x, double y)
    {
        Feature f;
        f.kind = FeatureKind::Pad;
        f.symbol = sym;
        f.a = {um(x), um(y)};
        l.features.push_back(f);
        return std::uint32_t(l.features.size() - 1);
    }
    static std::uint32_t line(Layer& l, int sym, double x1, double y1, double x2, double y2)
    {
        Feature f;
        f.kind = FeatureKind::Line;
        f.symbol = sym;
        f.a = {um(x1), um(y1)};
        f.b = {um(x2), um(y2)};
        l.features.push_back(f);
        return std::uint32_t(l.features.size() - 1);
    }
    static void attribute(Layer& l, std::uint32_t feature, const std::string& name, const std::string& value)
    {
        std::uint32_t n = 0;
        while (n < l.attribute_names.size() && l.attribute_names[n] != name) ++n;
        if (n == l.attribute_names.size()) l.attribute_names.push_back(name);
        Feature& f = l.features[feature];
        if (f.attributes == 0) {
            l.attribute_sets.emplace_back();
            f.attributes = std::uint32_t(l.attribute_sets.size());
        }
        l.attribute_sets[f.attributes - 1].push_back({n, value});
    }
};

} // namespace kesto::test
