// Selection filter and display switches: each changes one value of the
// engine's filter or display parameters and hands the whole record back.
#include "adaptor/handler.h"
#include "engine/api/display.h"
#include "engine/api/edit.h"
#include "engine/api/selection.h"
#include "adaptor/records_json.h"

using namespace kesto::adaptor;

namespace {

// Reads one value, then changes it in the current filter and stores it back.
template <class Change>
char* change_filter(Trace trace, const char* request, Keys keys, Change&& change)
{
    return handle(trace, request, Form::Elements, keys, [&] {
        KESTO::API::select_info info;
        KESTO::API::get_select_param(info);
        change(info);
        KESTO::API::set_select_param(info);
        return pass();
    });
}

template <class Change>
char* change_display(Trace trace, const char* request, Keys keys, Change&& change)
{
    return handle(trace, request, Form::Elements, keys, [&] {
        KESTO::API::show_param param;
        KESTO::API::get_show_para(param);
        change(param);
        KESTO::API::set_show_para(param);
        return pass();
    });
}

} // namespace

KESTO_HANDLER(filter_set_feat_types)
{
    int types = 0;
    return change_filter(__func__, request, {{"featuretypes", types}},
                         [&](KESTO::API::select_info& f) { f.featuretypes = types; });
}

KESTO_HANDLER(filter_set_include_syms)
{
    bool has_symbols = false;
    std::vector<std::string> symbols;
    return change_filter(__func__, request, {{"has_symbols", has_symbols}, {"symbols", symbols}},
                         [&](KESTO::API::select_info& f) {
                             f.has_symbols = has_symbols;
                             f.symbols = symbols;
                         });
}

KESTO_HANDLER(filter_set_atr)
{
    int logic = 0;
    std::vector<std::string> values;
    return change_filter(__func__, request, {{"logic", logic}, {"attributes_value", values}},
                         [&](KESTO::API::select_info& f) {
                             f.attributes_flag = logic;
                             f.attributes_value = values;
                         });
}

// "units": 0 or "mm", 1 or "inch"; another value leaves the unit as it was.
// Logged under the name hosts have always seen.
KESTO_HANDLER(set_unit)
{
    Json::Value units;
    return change_display("set_units", request, {{"units", units}}, [&](KESTO::API::show_param& p) {
        const int choice = unit_choice(units);
        if (choice < 0) LOG(ERROR) << "set_unit: unknown unit '" << units.asString() << "'";
        else p.Units = choice;
    });
}

KESTO_HANDLER(set_display_widths)
{
    int width = 0;
    return change_display(__func__, request, {{"width", width}},
                          [&](KESTO::API::show_param& p) { p.display_widths = width; });
}

KESTO_HANDLER(set_display_text)
{
    int disp = 0;
    return change_display(__func__, request, {{"disp", disp}},
                          [&](KESTO::API::show_param& p) { p.display_text = disp; });
}

KESTO_HANDLER(set_display_profile)
{
    int mode = 0;
    return change_display("set_display_text", request, {{"mode", mode}},
                          [&](KESTO::API::show_param& p) { p.profile = mode != 0; });
}

KESTO_HANDLER(set_negative_data)
{
    int mode = 0;
    return change_display(__func__, request, {{"mode", mode}},
                          [&](KESTO::API::show_param& p) { p.negative_data = mode != 0; });
}

// Snapping is the viewer's own business; the command has never done anything.
KESTO_HANDLER(set_snap_features) { return error(); }

namespace {

using LayerOperation = void (*)(const std::string&, const std::string&, const std::string&);

char* on_layer(Trace trace, const char* request, LayerOperation operation)
{
    std::string job, step, layer;
    return handle(trace, request, Form::Elements, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        operation(job, step, layer);
        return pass();
    });
}

} // namespace

KESTO_HANDLER(select_features_by_filter) { return on_layer(__func__, request, KESTO::API::select_features); }
KESTO_HANDLER(unselect_features_by_filter) { return on_layer(__func__, request, KESTO::API::unselect_features); }
// Its first record has always named the unselect command.
KESTO_HANDLER(highlight_features_by_filter)
{
    return on_layer({"unselect_features_by_filter", __func__}, request, KESTO::API::highlight_features);
}
KESTO_HANDLER(unhighlight_features_by_filter) { return on_layer(__func__, request, KESTO::API::unhighlight_features); }
