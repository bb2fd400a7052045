#include "engine/api/display.h"

#include "engine/model/model.h"
#include "engine/render/canvas.h"

#include <cmath>

namespace KESTO {
namespace API {
namespace {

struct Display {
    show_param param;
    color draw_colour{255, 255, 255, 255};
    kesto::render::Canvas canvas;
};

Display& display()
{
    static auto* d = new Display();
    return *d;
}

} // namespace

void get_show_para(show_param& out) { out = display().param; }
void set_show_para(const show_param& param) { display().param = param; }

bool working_unit_is_inch() { return display().param.Units == 1; }

double to_working_unit(long long nm)
{
    return static_cast<double>(nm) / (working_unit_is_inch() ? kesto::kNmPerInch : kesto::kNmPerMm);
}

long long from_working_unit(double value)
{
    return std::llround(value * (working_unit_is_inch() ? kesto::kNmPerInch : kesto::kNmPerMm));
}

void set_draw_color(int red, int green, int blue, int alpha) { display().draw_colour = color{red, green, blue, alpha}; }
color get_draw_color() { return display().draw_colour; }

bool init_canvas(int width, int height)
{
    display().canvas = kesto::render::make_canvas(width, height);
    return kesto::render::valid(display().canvas);
}

void get_Canvas_Size(int& width, int& height)
{
    width = display().canvas.width;
    height = display().canvas.height;
}

} // namespace API
} // namespace KESTO
