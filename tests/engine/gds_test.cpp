// GDSII artwork read into a layer: a hand-assembled stream whose polygons
// are worked out on paper, through the engine operation a host reaches.
#include "engine/api/gds.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <polyclipping/clipper.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using namespace kesto;
namespace api = KESTO::API;

namespace {

// One record: length, type, data type, then the body.
struct Stream {
    std::string bytes;
    void record(int type, int data_type, const std::string& body = "")
    {
        const std::size_t n = body.size() + 4;
        bytes += char(n >> 8), bytes += char(n & 0xff), bytes += char(type), bytes += char(data_type);
        bytes += body;
    }
    static std::string i2(int v) { return {char((v >> 8) & 0xff), char(v & 0xff)}; }
    static std::string i4(std::int32_t v)
    {
        const auto u = std::uint32_t(v);
        return {char(u >> 24), char((u >> 16) & 0xff), char((u >> 8) & 0xff), char(u & 0xff)};
    }
    void xy(std::initializer_list<std::pair<int, int>> points)
    {
        std::string body;
        for (auto [x, y] : points) body += i4(x) + i4(y);
        record(0x10, 3, body);
    }
    void name(int type, const std::string& s) { record(type, 6, s.size() % 2 ? s + '\0' : s); }
};

// A library in nanometre database units (user unit 1e-3, database unit 1e-9
// metre, as the usual excess-64 reals): TOP holds a 1 mm square at the
// origin, a flush 0.1 mm wide path from (2, 0) to (4, 0) mm, and CELL (a 1 x
// 2 mm rectangle at its origin) placed at (10, 0) mm turned 90 degrees.
std::string library()
{
    Stream s;
    s.record(0x00, 2, Stream::i2(600));
    s.record(0x01, 2, std::string(24, '\0'));
    s.name(0x02, "LIB");
    s.record(0x03, 5, std::string("\x3E\x41\x89\x37\x4B\xC6\xA7\xEF\x39\x44\xB8\x2F\xA0\x9B\x5A\x54", 16));
    s.record(0x05, 2, std::string(24, '\0'));
    s.name(0x06, "TOP");
    s.record(0x08, 0);
    s.record(0x0D, 2, Stream::i2(1));
    s.record(0x0E, 2, Stream::i2(0));
    s.xy({{0, 0}, {1000000, 0}, {1000000, 1000000}, {0, 1000000}, {0, 0}});
    s.record(0x11, 0);
    s.record(0x09, 0);
    s.record(0x0D, 2, Stream::i2(2));
    s.record(0x0E, 2, Stream::i2(0));
    s.record(0x21, 2, Stream::i2(0));
    s.record(0x0F, 3, Stream::i4(100000));
    s.xy({{2000000, 0}, {4000000, 0}});
    s.record(0x11, 0);
    s.record(0x0A, 0);
    s.name(0x12, "CELL");
    s.record(0x1A, 1, Stream::i2(0));
    s.record(0x1C, 5, std::string("\x42\x5A\x00\x00\x00\x00\x00\x00", 8)); // 90.0
    s.xy({{10000000, 0}});
    s.record(0x11, 0);
    s.record(0x0C, 0); // a label
    s.xy({{0, 0}});
    s.record(0x11, 0);
    s.record(0x07, 0);
    s.record(0x05, 2, std::string(24, '\0'));
    s.name(0x06, "CELL");
    s.record(0x08, 0);
    s.xy({{0, 0}, {1000000, 0}, {1000000, 2000000}, {0, 2000000}, {0, 0}});
    s.record(0x11, 0);
    s.record(0x07, 0);
    s.record(0x04, 0);
    return s.bytes;
}

// The box and area of a surface feature, from its contours' points.
struct Measure {
    double xmin = 1e300, ymin = 1e300, xmax = -1e300, ymax = -1e300, area = 0;
};
Measure measure(const Layer& layer, const Feature& f)
{
    Measure m;
    for (const Contour& c : layer.surfaces.at(f.body).contours) {
        ClipperLib::Path p{{c.start.x, c.start.y}};
        for (const Segment& s : c.segments) p.push_back({s.end.x, s.end.y});
        for (const auto& q : p) {
            m.xmin = std::min(m.xmin, double(q.X)), m.xmax = std::max(m.xmax, double(q.X));
            m.ymin = std::min(m.ymin, double(q.Y)), m.ymax = std::max(m.ymax, double(q.Y));
        }
        m.area += std::abs(ClipperLib::Area(p)) * (c.island ? 1 : -1);
    }
    return m;
}

} // namespace

TEST(Gds, PolygonsPathsAndPlacedCellsBecomeSurfaces)
{
    test::TempDir dir;
    test::write_file(dir / "art.gds", library());
    Job job;
    job.name = "gds";
    job.steps["pcb"].name = "pcb";
    store::add_job(job);
    std::vector<std::string> notes;
    ASSERT_TRUE(api::add_gds("gds", "pcb", "art", dir / "art.gds", notes));
    Job& j = *store::find_job("gds");
    const Layer& layer = *store::find_layer(j, *store::find_step(j, "pcb"), "art");
    ASSERT_EQ(layer.features.size(), 3u);
    const double mm = 1e6, mm2 = 1e12;
    const Measure square = measure(layer, layer.features[0]);
    EXPECT_NEAR(square.area, 1 * mm2, 1e6);
    EXPECT_NEAR(square.xmax, 1 * mm, 1);
    const Measure path = measure(layer, layer.features[1]);
    EXPECT_NEAR(path.area, 0.2 * mm2, 1e6) << "2 mm by 0.1 mm, flush ends";
    EXPECT_NEAR(path.xmin, 2 * mm, 1);
    EXPECT_NEAR(path.ymax, 0.05 * mm, 1);
    const Measure cell = measure(layer, layer.features[2]);
    EXPECT_NEAR(cell.area, 2 * mm2, 1e6);
    EXPECT_NEAR(cell.xmin, 8 * mm, 1) << "turned 90 degrees: x from 10 - 2 to 10";
    EXPECT_NEAR(cell.xmax, 10 * mm, 1);
    EXPECT_NEAR(cell.ymax, 1 * mm, 1);
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_NE(notes[0].find("1 texts left out"), std::string::npos);

    // The edit can be undone; what is not GDSII changes nothing.
    ASSERT_TRUE(store::undo(j, "pcb"));
    EXPECT_TRUE(store::find_layer(j, *store::find_step(j, "pcb"), "art")->features.empty());
    test::write_file(dir / "cut.gds", library().substr(0, 120));   // inside the first XY record
    test::write_file(dir / "short.gds", library().substr(0, 101)); // between records
    test::write_file(dir / "text.gds", "%!PS-Adobe\n");
    EXPECT_FALSE(api::add_gds("gds", "pcb", "art", dir / "cut.gds", notes));
    EXPECT_NE(notes.at(0).find("runs past the end"), std::string::npos);
    EXPECT_FALSE(api::add_gds("gds", "pcb", "art", dir / "short.gds", notes));
    EXPECT_NE(notes.at(0).find("cut short"), std::string::npos);
    EXPECT_FALSE(api::add_gds("gds", "pcb", "art", dir / "text.gds", notes));
    EXPECT_FALSE(api::add_gds("gds", "pcb", "art", dir / "absent.gds", notes));
    EXPECT_FALSE(api::add_gds("nojob", "pcb", "art", dir / "art.gds", notes));
    EXPECT_TRUE(store::find_layer(j, *store::find_step(j, "pcb"), "art")->features.empty());
    store::remove_job("gds");
}
