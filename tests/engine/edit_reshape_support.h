// A job with one step and metric layers to resize and reshape in.
#pragma once
#include "engine/api/edit.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kesto::test {

constexpr Coord mm = kNmPerMm;

class ReshapeJob : public ::testing::Test {
protected:
    void SetUp() override
    {
        Job job;
        job.name = "shapes";
        for (const char* name : {"top", "bot"}) {
            MatrixRow row;
            row.name = name;
            job.rows.push_back(row);
        }
        Step step;
        step.name = "pcb";
        for (const char* name : {"top", "bot"}) step.layers[name].units = Units::Mm;
        job.steps["pcb"] = step;
        store::add_job(job);
    }
    void TearDown() override { store::remove_job("shapes"); }

    Job& job() { return *store::find_job("shapes"); }
    Layer& top() { return job().steps["pcb"].layers["top"]; }

    std::int32_t symbol(const char* name) { return edit::symbol_index(top(), odb::parse_symbol_name(name, Units::Mm)); }
    const std::string& symbol_name(const Feature& f) { return top().symbols.at(static_cast<size_t>(f.symbol)).name; }

    Feature& pad(const char* sym, Coord x, Coord y, bool selected = true, double angle = 0)
    {
        Feature f;
        f.kind = FeatureKind::Pad;
        f.symbol = symbol(sym);
        f.a = {x, y};
        f.angle = angle;
        f.selected = selected;
        top().features.push_back(f);
        return top().features.back();
    }
    Feature& line(const char* sym, Point a, Point b, bool selected = true)
    {
        Feature f;
        f.kind = FeatureKind::Line;
        f.symbol = symbol(sym);
        f.a = a;
        f.b = b;
        f.selected = selected;
        top().features.push_back(f);
        return top().features.back();
    }
    Feature& arc(const char* sym, Point a, Point b, Point c, bool cw, bool selected = true)
    {
        Feature& f = line(sym, a, b, selected);
        f.kind = FeatureKind::Arc;
        f.c = c;
        f.cw = cw;
        return f;
    }
    // A surface of straight-edged islands, each given by its corners.
    Feature& surface(std::vector<std::vector<Point>> islands, bool selected = true,
                     Polarity polarity = Polarity::Positive)
    {
        Surface body;
        for (auto& corners : islands) {
            Contour c;
            c.start = corners.front();
            for (size_t i = 1; i <= corners.size(); ++i) c.segments.push_back(Segment{corners[i % corners.size()]});
            body.contours.push_back(c);
        }
        top().surfaces.push_back(body);
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = static_cast<std::uint32_t>(top().surfaces.size() - 1);
        f.selected = selected;
        f.polarity = polarity;
        top().features.push_back(f);
        return top().features.back();
    }
    static std::vector<Point> square(Coord x, Coord y, Coord side)
    {
        return {{x, y}, {x, y + side}, {x + side, y + side}, {x + side, y}};
    }

    double area_mm2(const Feature& f)
    {
        return geom::area(geom::feature_outline(top(), f, geom::context_of(job()))) / double(mm) / double(mm);
    }
    Box box_of(const Feature& f) { return geom::box_of(geom::feature_outline(top(), f, geom::context_of(job()))); }

    KESTO::Op::OpPara para(int sel_type = 0)
    {
        KESTO::Op::OpPara p;
        p.job = "shapes";
        p.step = "pcb";
        p.layers = {"top"};
        p.sel_type = sel_type;
        return p;
    }
};

} // namespace kesto::test
