#include "engine/drc/signal_rules.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace kesto::drc {

const std::vector<SignalRule>& signal_rules()
{
    static const std::vector<SignalRule> rules = {
        {"spacing", CheckSpacing, &spacing_rule},
        {"drill", CheckDrill, &drill_rule},
        {"rings", CheckDrill, &ring_rule},
        {"rout", CheckRout, &rout_rule},
        {"widths", CheckSize, &width_rule},
        {"slivers", CheckSliver, &sliver_rule},
        {"stubs", CheckStubs, &stub_rule},
        {"neckdown", CheckBottleneck, &neckdown_rule},
        {"inconsistent widths", CheckSize, &inconsistent_width_rule},
        {"cad spacing", CheckSpacing, &cad_spacing_rule},
        {"smd pitch", CheckSmd, &smd_pitch_rule},
        {"toeprint spacing", CheckSmd, &toeprint_spacing_rule},
        {"shaved pads", CheckSmd, &shaved_pad_rule},
        {"shaved lines", CheckSize, &shaved_line_rule},
        {"texts", CheckSize, &text_rule},
        {"pad connections", -1, &pad_connection_rule},
        {"local spacing", CheckSpacing, &local_spacing_rule},
    };
    return rules;
}

SignalLayerRun analyse_signal_layer(Job& job, Step& step, const std::string& layer, const SignalLimits& limits,
                                    const std::vector<int>& checks, const LevelLimits& levels,
                                    KESTO::COMMON::progress_value<int>* progress)
{
    using clock = std::chrono::steady_clock;
    SignalLayerRun run;
    auto asked = [&](int check) { return std::find(checks.begin(), checks.end(), check) != checks.end(); };
    std::vector<const SignalRule*> rules;
    for (const SignalRule& r : signal_rules())
        if (r.check < 0 || asked(r.check)) rules.push_back(&r);
    if (progress) progress->total += int(rules.size()) + 1;

    auto cpu_ms = [] { return 1000.0 * double(std::clock()) / CLOCKS_PER_SEC; };
    const auto t0 = clock::now();
    const double c0 = cpu_ms();
    ContextOptions options;
    options.nets = true;
    options.holes = asked(CheckDrill) || asked(CheckRout) || asked(CheckSpacing);
    options.mask = asked(CheckSpacing);
    std::unique_ptr<LayerContext> ctx = build_layer_context(job, step, layer, options);
    if (!ctx) {
        run.notes.push_back("layer " + layer + " is not a layer of step " + step.name);
        return run;
    }
    run.found = true;
    run.family_ms["context"] = std::chrono::duration<double, std::milli>(clock::now() - t0).count();
    run.family_cpu_ms["context"] = cpu_ms() - c0;
    if (progress) ++progress->done;

    Findings findings(ctx->name, levels);
    const RuleInput in{*ctx, limits, levels, findings, asked(CheckSelectedOnly)};
    for (const SignalRule* r : rules) {
        if (progress && progress->cancel) {
            run.notes.push_back("cancelled before the " + std::string(r->family) + " rules");
            break;
        }
        const auto t = clock::now();
        const double c = cpu_ms();
        r->run(in);
        run.family_ms[r->family] += std::chrono::duration<double, std::milli>(clock::now() - t).count();
        run.family_cpu_ms[r->family] += cpu_ms() - c;
        if (progress) ++progress->done;
    }
    run.result = findings.take(limits.sort_spacing);
    return run;
}

} // namespace kesto::drc
