// Selection filter and display switches: each changes one value of the
// engine's filter or display parameters and hands the whole record back.
#include "adaptor/handler.h"
#include "engine/api/display.h"
#include "engine/api/edit.h"
#include "engine/api/selection.h"
#include "adaptor/records_json.h"

using namespace kesto::adaptor;

namespace {

// Reads one value, then changes it in the engine's whole record (fetched
// with `get`, handed back with `set`) so that every other setting is kept.
template <class Record, class Get, class Set, class Change>
char* change_record(Trace trace, const char* request, Keys keys, Get get, Set set, Change&& change)
{
    return handle(trace, request, Form::Elements, keys, [&] {
        Record record;
        get(record);
        change(record);
        set(record);
        return pass();
    });
}

template <class Change>
char* change_filter(Trace trace, const char* request, Keys keys, Change&& change)
{
    return change_record<KESTO::API::select_info>(trace, request, keys, KESTO::API::get_select_param,
                                                  KESTO::API::set_select_param, change);
}

template <class Change>
char* change_display(Trace trace, const char* request, Keys keys, Change&& change)
{
    return change_record<KESTO::API::show_param>(trace, request, keys, KESTO::API::get_show_para,
                                                 KESTO::API::set_show_para, change);
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
    return change_display("set_units", request, {{"units", units}},
                          [&](KESTO::API::show_param& p) { change_unit(units, p, "set_unit"); });
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
