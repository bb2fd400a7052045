// A panel of the sample job's board, its drill layer exported as Gerber:
// one flash per hole of each placed board, as many as the board's features
// file has pad records, and gerbv draws both boards alike with nothing
// between them.
#include "engine/api/exchange.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"
#include "engine/gerber_gerbv.h"
#include "support/test_support.h"

#include <archive.h>
#include <archive_entry.h>
#include <cairo.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace kesto;

namespace {

const std::string kSample = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";

// One file of the sample archive, as stored.
std::string sample_file(const std::string& suffix)
{
    archive* a = archive_read_new();
    archive_read_support_filter_all(a);
    archive_read_support_format_all(a);
    std::string out;
    if (archive_read_open_filename(a, kSample.c_str(), 1 << 16) == ARCHIVE_OK) {
        archive_entry* e;
        while (archive_read_next_header(a, &e) == ARCHIVE_OK) {
            const std::string name = archive_entry_pathname(e);
            if (name.size() < suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
                continue;
            char buf[1 << 16];
            for (la_ssize_t n; (n = archive_read_data(a, buf, sizeof buf)) > 0;) out.append(buf, size_t(n));
            break;
        }
    }
    archive_read_free(a);
    return out;
}

} // namespace

TEST(PanelOfTheSample, DrillExportHasEveryBoardsHolesAndGerbvDrawsThemAlike)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(kSample, job, error)) << error;
    std::string drill;
    for (const MatrixRow& r : job.rows)
        if (r.context == "BOARD" && r.type == "DRILL") drill = r.name;
    ASSERT_FALSE(drill.empty());
    const std::string board = job.steps.begin()->first;

    // The board's profile spans x -167.005..0, y 0..134.112 mm about its
    // datum: placed at (187.005, 20) and 180 mm further right, the boards
    // cover 20..187.005 and 200..367.005 by 20..154.112.
    job.name = "sample_panel";
    Step& panel = job.steps["panel2"];
    panel.name = "panel2";
    job.columns.push_back({int(job.columns.size()) + 1, "panel2", 0});
    for (const MatrixRow& r : job.rows) panel.layers[r.name].units = Units::Mm;
    StepRepeat row;
    row.step = board;
    row.origin = {Coord(187.005 * kNmPerMm), 20 * kNmPerMm};
    row.dx = 180 * kNmPerMm;
    row.nx = 2, row.ny = 1;
    panel.repeats = {row};
    store::add_job(job);
    test::TempDir dir;
    std::vector<KESTO::API::translate_report> reports;
    const bool exported = KESTO::API::export_gerber("sample_panel", "panel2", drill, dir / "drill.gbr", {}, reports);
    store::remove_job("sample_panel");
    ASSERT_TRUE(exported);

    // Pad records of the board's drill features file.
    std::istringstream records(sample_file("steps/" + board + "/layers/" + drill + "/features"));
    int pads = 0;
    for (std::string line; std::getline(records, line);) pads += line.rfind("P ", 0) == 0;
    ASSERT_GT(pads, 100);
    std::ifstream in(dir / "drill.gbr");
    std::stringstream text;
    text << in.rdbuf();
    int flashes = 0;
    for (std::size_t at = text.str().find("D03*"); at != std::string::npos; at = text.str().find("D03*", at + 1)) ++flashes;
    EXPECT_EQ(flashes, 2 * pads);

    if (!have_gerbv()) GTEST_SKIP() << "gerbv is not installed";
    // 5 pixels a millimetre (127 dpi), so the two boards lie a whole 900
    // pixels apart; a 380 x 170 mm window from the origin.
    const std::string command = "/usr/bin/gerbv -x png -B 0 --dpi=127 --origin=0x0 --window_inch=" +
                                std::to_string(380 / 25.4) + "x" + std::to_string(170 / 25.4) +
                                " -b '#000000' -f '#FFFFFFFF' -o '" + (dir / "drill.png") + "' '" + (dir / "drill.gbr") +
                                "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    cairo_surface_t* png = cairo_image_surface_create_from_png((dir / "drill.png").c_str());
    ASSERT_EQ(cairo_surface_status(png), CAIRO_STATUS_SUCCESS);
    const int w = cairo_image_surface_get_width(png), h = cairo_image_surface_get_height(png);
    // Lit pixels in a band of columns [x0, x1) mm.
    auto lit = [&](double x0, double x1) {
        long n = 0;
        for (int r = 0; r < h; ++r) {
            const auto* line = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(png) +
                                                                      r * cairo_image_surface_get_stride(png));
            for (int c = std::max(0, int(x0 * 5)); c < std::min(w, int(x1 * 5)); ++c) n += ((line[c] >> 8) & 0xff) > 127;
        }
        return n;
    };
    const long first = lit(20, 190), second = lit(200, 370);
    EXPECT_GT(first, 1000);
    // gerbv snaps apertures to whole pixels: the same board a whole number
    // of pixels along draws the same.
    EXPECT_NEAR(double(second), double(first), 0.001 * double(first));
    EXPECT_EQ(lit(0, 19.5), 0);
    EXPECT_EQ(lit(188, 199.5), 0);
    EXPECT_EQ(lit(368, 380), 0);
    cairo_surface_destroy(png);
}
