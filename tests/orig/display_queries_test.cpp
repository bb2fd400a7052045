// The viewer's queries and drawings of symbols and panels, as a host sends them.
#include "orig/jobs_host.h"

#include <gtest/gtest.h>

using namespace kesto::test;

namespace {

TEST(DisplayQueries, SymbolsAndPanelPicturesOfABoard)
{
    TempDir dir;
    in_fresh_process(dir.path(), [&] {
        start_library();
        call(R"({"func":"JOB_CREATE","paras":{"job":"q"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"q","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"q","step":"pcb","layer":"top","index":1}})");
        call(R"({"func":"ADD_PAD","paras":[{"job":"q","step":"pcb","symbol":"rect2000x1000","location_x":5,
            "location_y":5,"layers":["top"]}]})");

        EXPECT_EQ(call(R"({"func":"GET_SPECIAL_SYMBOL_NAMES","paras":{"jobname":"q"}})"),
                  "{\"func\":\"GET_SPECIAL_SYMBOL_NAMES\",\"paras\":{\"names\":[]}}\n");
        EXPECT_EQ(call(R"({"func":"GET_SYMBOLS","paras":{"jobname":"q","stepname":"pcb","layername":"top"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"LAYER_BOX","paras":{"job":"q","step":"pcb","layers":["top"]}})"), "OK");
        EXPECT_EQ(call(R"({"func":"BBOX","paras":{"jobname":"q","stepname":"pcb"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"GET_SYMBOL_NAME","paras":{"jobname":"q","stepname":"pcb","layername":"top",
            "points":[{"ix":5000000,"iy":5000000}]}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"BBOX","paras":{"jobname":"q","stepname":"pcb","Xmin":"left"}})"), "ERROR");

        // A symbol alone fills the canvas: its middle is drawn, the corners of the canvas are not.
        call(R"({"func":"SET_DRAW_COLOR","paras":{"red":255,"green":255,"blue":255,"alpha":255}})");
        EXPECT_EQ(call(R"({"func":"DRAW_SYMBOL","paras":{"jobname":"q","symbol_name":"r1000",
            "symbol_color":{"red":0,"green":255,"blue":0,"alpha":255}}})"),
                  "OK")
            << "no canvas yet: nothing drawn, still the pass text";
        call(R"({"func":"OUTPUT_PICTURE","paras":[{"size":100,"job":"q","step":"pcb","picpath":".","picname":"pad.png",
            "layers":["top"],"xmin":0,"ymin":0,"xmax":10,"ymax":10}]})");
        call(R"({"func":"DRAW_SYMBOL","paras":{"jobname":"q","symbol_name":"r1000",
            "symbol_color":{"red":0,"green":255,"blue":0,"alpha":255}}})");
        EXPECT_EQ(call(R"({"func":"SAVE_IMG","paras":{"savepath":"symbol.png"}})"), "OK");
        EXPECT_EQ(read_file("symbol.png").substr(1, 3), "PNG");
        EXPECT_EQ(read_file("pad.png").substr(1, 3), "PNG");

        EXPECT_EQ(call(R"({"func":"DRAW_PANEL_PICTURE","paras":{"step":"pcb","layer":"top","path":"panel.png"}})"), "OK");
        EXPECT_EQ(read_file("panel.png").substr(1, 3), "PNG");
    });
}

} // namespace
