// The transforms (exports that hosts call by name) and pictures, on the
// demonstration board.
#include "orig/jobs_host.h"

#include <boost/filesystem.hpp>

using namespace kesto::test;
namespace fs = boost::filesystem;

namespace {

const std::string kBoard = std::string(KESTO_SOURCE_DIR) + "/examples/board";

} // namespace

TEST(ExchangeTransforms, FolderOfFilesBecomesASavedJobAndLayersGoOutAgain)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        fs::create_directories("in");
        for (const char* name : {"demo-top.gbr", "demo-drill.drl", "demo-outline.gbr"})
            fs::copy_file(kBoard + "/" + name, std::string("in/") + name);
        write_file("in/README.txt", "not a Gerber file\n");
        EXPECT_EQ(std::string(gbr2odb_transform(R"({"paras":[{"path":"in","job":"demo","targetDir":"",
                          "output_layers":["demo-top.gbr","demo-drill.drl","readme.txt"]}]})")),
                  "OK");
        EXPECT_EQ(matrix_of("demo_transform"), "col orig\n1 demo-drill.drl BOARD DRILL\n2 demo-top.gbr BOARD SIGNAL\n");
        EXPECT_TRUE(fs::exists("jobs/demo_transform/matrix/matrix"));
        EXPECT_EQ(call(R"({"func":"CLOSE_JOB","paras":{"jobname":"demo_transform"}})"), "{\"status\":true}\n");

        fs::create_directories("out");
        EXPECT_EQ(std::string(odb2other_transform(R"({"paras":[{"path":"","job":"demo_transform","type":1,
                          "targetDir":"out","step":"orig","layer":"demo-drill.drl"}]})")),
                  "OK");
        const std::string drill = read_file("out/demo_transform_demo-drill.drl_transform");
        EXPECT_NE(drill.find("M48"), std::string::npos) << drill;
        // Mirrored about x = 25 on the way out: the pads of the 50 mm board stay on it.
        EXPECT_EQ(std::string(odb2other_transform(R"({"paras":[{"path":"","job":"demo_transform","type":0,
                          "targetDir":"out","step":"orig","layer":"demo-top.gbr","mirror":true,"mirrorpointX":25}]})")),
                  "OK");
        EXPECT_NE(read_file("out/demo_transform_demo-top.gbr_transform").find("%FS"), std::string::npos);
        EXPECT_EQ(std::string(odb2other_transform(R"({"paras":[{"path":"","job":"demo_transform","type":0,
                          "targetDir":"out","step":"orig","layer":"demo-top.gbr","electrodesSurface":true}]})")),
                  "ERROR");
        // Turned a quarter on the way in: the drill layer's holes keep their count and sizes.
        EXPECT_EQ(std::string(gbr2odb_transform(R"({"paras":[{"path":"in","job":"turned","angle":90,
                          "output_layers":["demo-drill.drl"]}]})")),
                  "OK");
        EXPECT_EQ(call(R"({"func":"GET_DRILL_INFO","paras":{"jobname":"turned_transform","stepname":"orig",
                          "layername":"demo-drill.drl"}})"),
                  call(R"({"func":"GET_DRILL_INFO","paras":{"jobname":"demo_transform","stepname":"orig",
                          "layername":"demo-drill.drl"}})"));
        // A second run cannot make the same job again.
        EXPECT_EQ(std::string(gbr2odb_transform(R"({"paras":[{"path":"in","job":"demo"}]})")), "ERROR");
        EXPECT_EQ(std::string(gbr2odb_transform(R"({"paras":[{"path":"no-such-folder","job":"other"}]})")), "ERROR");
    });
}

TEST(ExchangeTransforms, StackPicturesGiveEachLayerItsColour)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"CREATE_JOB","paras":{"path":"","job":"b"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        for (const char* layer : {"top", "bottom"})
            call(std::string(R"({"func":"FILE_TRANSLATE","paras":{"path":")") + kBoard + "/demo-" + layer +
                 R"(.gbr","job":"b","step":"pcb","layer":")" + layer + R"("}})");
        EXPECT_EQ(call(R"({"func":"SET_DRAW_COLOR","paras":{"red":0,"green":255,"blue":0,"alpha":255}})"), "OK");
        const std::string box = R"("size":100,"job":"b","step":"pcb","xmin":0,"ymin":0,"xmax":50,"ymax":50,"picpath":".")";
        EXPECT_EQ(call(R"({"func":"OUTPUT_PICTURE","paras":[{)" + box + R"(,"picname":"one.png","layers":["bottom"]}]})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"OUTPUT_PICTURE","paras":[{)" + box +
                       R"(,"picname":"stack.png","layers":["bottom","top"]}]})"),
                  "OK");
        // The host's colour is kept for the next single-layer picture.
        EXPECT_EQ(call(R"({"func":"OUTPUT_PICTURE","paras":[{)" + box + R"(,"picname":"again.png","layers":["bottom"]}]})"),
                  "OK");
        EXPECT_EQ(read_file("again.png"), read_file("one.png"));
        EXPECT_NE(read_file("stack.png"), read_file("one.png"));
    });
}
