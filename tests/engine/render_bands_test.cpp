// A layer drawn in bands on several threads gives the very pixels of the
// same layer drawn whole on one: a real board, antialiased or not, a
// negative layer with clear features, and outlined features on top.
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"
#include "engine/render/canvas.h"
#include "engine/render/layer_shapes.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace kesto::render {
namespace {

std::vector<unsigned char> picture(int threads, bool antialias, bool negative, const std::vector<Shape>& shapes,
                                   const std::vector<Shape>& marked, const Box& box)
{
    Canvas canvas = make_canvas(997, 811); // odd sizes: bands of unequal height
    canvas.antialias = antialias;
    canvas.threads = threads;
    zoom_to_box(canvas, box, 0.01);
    draw_layer(canvas, shapes, {0.9, 0.5, 0.2, 0.8}, negative, marked);
    cairo_surface_flush(canvas.surface.get());
    const unsigned char* data = cairo_image_surface_get_data(canvas.surface.get());
    return std::vector<unsigned char>(data, data + std::size_t(cairo_image_surface_get_stride(canvas.surface.get())) *
                                                       std::size_t(canvas.height));
}

TEST(RenderBands, EveryThreadCountGivesTheSinglePicture)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    const Layer& copper = job.steps.at("step").layers.at("layer-1");
    const auto context = geom::context_of(job);
    const auto shapes = layer_shapes(copper, context);
    ASSERT_GT(shapes.size(), 1000u);
    // A clear shape cut through the middle, and every tenth shape outlined.
    std::vector<Shape> mixed = shapes;
    for (size_t i = 0; i < mixed.size(); i += 7) mixed[i].dark = false;
    std::vector<Shape> marked;
    for (size_t i = 0; i < shapes.size(); i += 10) marked.push_back(shapes[i]);
    const Box box = geom::layer_box(copper, context);

    for (bool antialias : {true, false})
        for (bool negative : {false, true}) {
            const auto whole = picture(1, antialias, negative, mixed, marked, box);
            const auto blank = picture(1, antialias, negative, {}, {}, box);
            size_t drawn = 0;
            for (size_t i = 0; i < whole.size(); ++i) drawn += whole[i] != blank[i];
            ASSERT_GT(drawn, whole.size() / 20) << "the board is drawn";
            for (int threads : {2, 3, 7}) {
                const auto banded = picture(threads, antialias, negative, mixed, marked, box);
                EXPECT_TRUE(banded == whole) << threads << " threads, antialias " << antialias << ", negative " << negative;
            }
        }
}

} // namespace
} // namespace kesto::render
