#include "engine/drc/mask_silk_rules.h"

#include "engine/drc/drill_analysis.h"
#include "engine/drc/feature_shapes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kesto::drc {

namespace {

int row_of(const Job& job, const std::string& name)
{
    for (std::size_t i = 0; i < job.rows.size(); ++i)
        if (job.rows[i].name.size() == name.size() &&
            std::equal(name.begin(), name.end(), job.rows[i].name.begin(),
                       [](char a, char b) { return std::tolower(unsigned(a)) == std::tolower(unsigned(b)); }))
            return int(i);
    return -1;
}

// The nearest board row of a type, searching both ways; ties go upwards.
std::string nearest_row(const Job& job, const std::string& layer, bool (*fits)(const MatrixRow&))
{
    const int here = row_of(job, layer);
    if (here < 0) return "";
    for (int d = 1; d < int(job.rows.size()); ++d)
        for (int k : {here - d, here + d})
            if (k >= 0 && k < int(job.rows.size()) && iequals(job.rows[std::size_t(k)].context, "BOARD") &&
                fits(job.rows[std::size_t(k)]))
                return job.rows[std::size_t(k)].name;
    return "";
}

} // namespace

std::string copper_below(const Job& job, const std::string& layer)
{
    return nearest_row(job, layer, [](const MatrixRow& r) { return is_copper_type(r.type); });
}

std::string mask_beside(const Job& job, const std::string& layer)
{
    return nearest_row(job, layer, [](const MatrixRow& r) { return iequals(r.type, "SOLDER_MASK"); });
}

PadKind pad_kind(const LayerContext& copper, std::uint32_t piece)
{
    const std::int32_t h = copper.land_of[piece];
    if (h >= 0) {
        switch (copper.holes[std::size_t(h)].cls) {
        case HoleClass::Via: return PadKind::Via;
        case HoleClass::Npth: return PadKind::Npth;
        case HoleClass::Pth: return PadKind::Pth;
        }
    }
    return copper.pieces[piece].role == CopperRole::Smd ? PadKind::Smd : PadKind::Undrilled;
}

MaskSilkRun analyse_mask_layer(Job& job, Step& step, const std::string& layer, const MaskLimits& limits,
                               const LevelLimits& levels)
{
    MaskSilkRun run;
    ContextOptions plain;
    plain.nets = plain.holes = plain.mask = false;
    std::unique_ptr<LayerContext> mask = build_layer_context(job, step, layer, plain);
    if (!mask) {
        run.notes.push_back("layer " + layer + " is not a layer of step " + step.name);
        return run;
    }
    run.found = true;
    std::unique_ptr<LayerContext> copper;
    run.copper = copper_below(job, mask->name);
    if (!run.copper.empty()) {
        ContextOptions options;
        options.mask = false;
        copper = build_layer_context(job, step, run.copper, options);
    }
    if (!copper) run.notes.push_back("no copper layer lies under " + mask->name + ": only opening-to-opening rules ran");

    Findings findings(mask->name, levels);
    MaskInput in{*mask, copper.get(), limits, levels, findings, std::vector<std::int32_t>(mask->pieces.size(), -1)};
    mask_ring_rule(in);
    mask_bridge_rule(in);
    mask_coverage_rule(in);
    mask_exposure_rule(in);
    run.result = findings.take(true);
    return run;
}

MaskSilkRun analyse_silk_layer(Job& job, Step& step, const std::string& layer, const SilkLimits& limits,
                               const LevelLimits& levels)
{
    MaskSilkRun run;
    ContextOptions plain;
    plain.nets = plain.holes = plain.mask = false;
    std::unique_ptr<LayerContext> silk = build_layer_context(job, step, layer, plain);
    if (!silk) {
        run.notes.push_back("layer " + layer + " is not a layer of step " + step.name);
        return run;
    }
    run.found = true;
    std::unique_ptr<LayerContext> mask, copper;
    const std::string mask_name = mask_beside(job, silk->name);
    if (!mask_name.empty()) mask = build_layer_context(job, step, mask_name, plain);
    run.copper = copper_below(job, silk->name);
    if (!run.copper.empty()) {
        ContextOptions options;
        options.nets = options.mask = false;
        copper = build_layer_context(job, step, run.copper, options);
    }
    Findings findings(silk->name, levels);
    const SilkInput in{*silk, mask.get(), copper.get(), limits, levels, findings};
    silk_clearance_rule(in);
    silk_width_rule(in);
    silk_spacing_rule(in);
    run.result = findings.take(true);
    return run;
}

} // namespace kesto::drc
