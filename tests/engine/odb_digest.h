// A geometry digest of a layer for comparing jobs across a save: every
// feature in order with its coordinates in nanometres, symbol name,
// polarity, orientation, body and attributes by name, hashed.
#pragma once
#include "engine/model/model.h"

#include <functional>
#include <sstream>
#include <string>

namespace kesto::test {

inline std::string describe_feature(const Layer& layer, const Feature& f)
{
    std::ostringstream out;
    auto pt = [&out](const Point& p) { out << ' ' << p.x << ',' << p.y; };
    out << static_cast<int>(f.kind) << (f.polarity == Polarity::Negative ? 'N' : 'P') << " d" << f.dcode;
    pt(f.a);
    if (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) pt(f.b);
    if (f.kind == FeatureKind::Arc) { pt(f.c); out << (f.cw ? " cw" : " ccw"); }
    if (f.kind == FeatureKind::Pad || f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode)
        out << " o" << f.angle << (f.mirror ? "m" : "") << " r" << f.resize;
    if (f.symbol >= 0) {
        const Symbol& s = layer.symbols.at(f.symbol);
        out << " $" << s.name << '/' << static_cast<int>(s.family);
        for (double p : s.p) out << ':' << p;
    }
    if (f.kind == FeatureKind::Surface)
        for (const Contour& c : layer.surfaces.at(f.body).contours) {
            out << (c.island ? " I" : " H");
            pt(c.start);
            for (const Segment& s : c.segments) {
                pt(s.end);
                if (s.arc) { pt(s.centre); out << (s.cw ? 'Y' : 'N'); }
            }
        }
    if (f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode) {
        const Text& t = layer.texts.at(f.body);
        out << " '" << t.text << "' " << t.font << ' ' << t.xsize << 'x' << t.ysize << ' ' << t.width_factor << ' '
            << t.version << ' ' << t.barcode;
    }
    if (f.attributes)
        for (const AttributeValue& v : layer.attribute_sets.at(f.attributes - 1))
            out << " ." << layer.attribute_names.at(v.name) << '=' << v.value;
    out << " #" << f.id;
    return out.str();
}

inline std::string layer_digest(const Layer& layer)
{
    std::size_t hash = layer.features.size();
    for (const Feature& f : layer.features)
        hash = hash * 1000003u ^ std::hash<std::string>()(describe_feature(layer, f));
    return std::to_string(layer.features.size()) + ":" + std::to_string(hash);
}

} // namespace kesto::test
