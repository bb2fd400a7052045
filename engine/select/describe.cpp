#include "engine/select/describe.h"

#include "engine/api/display.h"
#include "engine/api/selection.h"
#include "engine/api/symbol_names.h"
#include "engine/edit/layer_edit.h"
#include "engine/select/filter.h"

namespace kesto::select {

KESTO::API::featureInfo describe(const Layer& layer, const std::string& layer_name, size_t position,
                                 const geom::OutlineContext& context)
{
    using KESTO::API::to_working_unit;
    const Feature& f = layer.features[position];
    KESTO::API::featureInfo info;
    info.layername = layer_name;
    info.feature_index = static_cast<int>(position);
    info.type = type_bit(f.kind);
    info.polarity = f.polarity == Polarity::Positive ? "positive" : "negative";
    info.angle = f.angle;
    info.mirror = f.mirror;
    if (f.symbol >= 0 && static_cast<size_t>(f.symbol) < layer.symbols.size()) {
        const Symbol& s = layer.symbols[static_cast<size_t>(f.symbol)];
        info.symbolname = KESTO::API::working_symbol_name(s);
        info.D = to_working_unit(static_cast<long long>(s.p[0]));
    }
    const Coord width = line_width(layer, f);
    info.linewidth = info.srclinewidth = static_cast<int>(width);
    switch (f.kind) {
    case FeatureKind::Arc:
        info.XC = to_working_unit(f.c.x);
        info.YC = to_working_unit(f.c.y);
        info.CW = f.cw ? "Y" : "N";
        [[fallthrough]];
    case FeatureKind::Line:
        info.XS = to_working_unit(f.a.x);
        info.YS = to_working_unit(f.a.y);
        info.XE = to_working_unit(f.b.x);
        info.YE = to_working_unit(f.b.y);
        break;
    default:
        info.X = to_working_unit(f.a.x);
        info.Y = to_working_unit(f.a.y);
        break;
    }
    if (f.kind == FeatureKind::Surface && f.body < layer.surfaces.size())
        for (const Contour& c : layer.surfaces[f.body].contours) ++(c.island ? info.Icnt : info.Hcnt);
    if ((f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode) && f.body < layer.texts.size()) {
        info.text = info.realtext = layer.texts[f.body].text;
        info.font = layer.texts[f.body].font;
    }
    const Box box = geom::feature_box(layer, f, context);
    if (!box.empty()) {
        info.xsize = to_working_unit(box.xmax - box.xmin);
        info.ysize = to_working_unit(box.ymax - box.ymin);
    }
    for (const auto& a : edit::attributes_of(layer, f)) info.attributes.emplace_back(a.first, a.second);
    return info;
}

} // namespace kesto::select
