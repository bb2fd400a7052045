// Every export sent what careless or hostile hosts send, each call in a child
// process of its own: nothing may crash, hang or answer anything but the
// pass text, the error text or JSON. And every command reaches the library's
// own handler, whatever else in the process carries the same name.
#include "hostile/hostile_support.h"

#include <glog/logging.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <set>
#include <sstream>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Decoys: this program defines every handler name itself and exports it, as a
// host or another library in the host may (the C library defines login). The
// library must still reach its own handlers.
#define KESTO_DECOY(handler) \
    extern "C" __attribute__((visibility("default"), used)) char* handler(const char*) \
    { \
        return const_cast<char*>("decoy " #handler); \
    }
#define KESTO_DECOY_ROW(command, handler) KESTO_DECOY(handler)
KESTO_FIRST_TABLE(KESTO_DECOY_ROW)
KESTO_SECOND_TABLE(KESTO_DECOY_ROW)
KESTO_EXPORT_ONLY(KESTO_DECOY)
#undef KESTO_DECOY_ROW
#undef KESTO_DECOY

namespace {

using namespace kesto::test;

struct Command {
    std::string command; // "" for the export-only handlers
    std::string handler;
};

std::vector<Command> all_commands()
{
    std::vector<Command> out;
#define KESTO_LIST_ROW(command, handler) out.push_back({command, #handler});
#define KESTO_LIST_FN(handler) out.push_back({"", #handler});
    KESTO_FIRST_TABLE(KESTO_LIST_ROW)
    KESTO_SECOND_TABLE(KESTO_LIST_ROW)
    KESTO_EXPORT_ONLY(KESTO_LIST_FN)
#undef KESTO_LIST_ROW
#undef KESTO_LIST_FN
    return out;
}

void* library()
{
    static void* handle = dlopen(KESTO_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    return handle;
}

// The library's own definition of an export, not this program's decoy.
Handler own(const std::string& name) { return reinterpret_cast<Handler>(dlsym(library(), name.c_str())); }

void start_with_board()
{
    kesto::test::write_file("config.json", R"({"log_path":"./log","gmsg_pass":"OK","gmsg_error":"ERROR","job_library":"./jobs"})");
    ASSERT_TRUE(init());
    FLAGS_minloglevel = google::GLOG_FATAL; // thousands of refusals would flood the log
    FLAGS_stderrthreshold = google::GLOG_FATAL;
    init_func_map();
    ASSERT_STREQ(init_orig_func_map(), "OK");
    // A small board for the commands to work on: two layers, a pad and a line.
    ASSERT_STREQ(process(R"({"func":"JOB_CREATE","paras":{"job":"board"}})"), "OK");
    process(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
    process(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","step":"pcb","layer":"top","index":1}})");
    process(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","step":"pcb","layer":"bot","index":2}})");
    ASSERT_STREQ(process(R"({"func":"ADD_PAD","paras":[{"job":"board","step":"pcb","layer":"top","symbol":"r500",
        "location_x":1,"location_y":1,"layers":["top"]}]})"), "OK");
    ASSERT_STREQ(process(R"({"func":"ADD_LINE","paras":[{"job":"board","step":"pcb","layer":"top","symbol":"r200",
        "start_x":1,"start_y":1,"end_x":5,"end_y":1,"layers":["top","bot"]}]})"), "OK");
}

// Hostile "paras" members: the board's names where names go, and beyond
// that numbers past what any length can be, negative counts and indexes,
// long names and paths that climb out of the job library.
std::string hostile_members(const std::string& number)
{
    std::string m = R"("job":"board","jobname":"board","step":"pcb","stepname":"pcb","layer":"top","layername":"top",)"
                    R"("layers":["top","bot"],"layernames":["top"],"path":"../../..","src_job":"../x","dst_job":"..",)"
                    R"("symbol":"r1e300","clickbox":[{"ix":1e300,"iy":-1e300}],"points":[{"ix":-1,"iy":9e18}],)";
    for (const char* key : {"start_x", "start_y", "end_x", "end_y", "x", "y", "location_x", "location_y", "offset_x",
                            "offset_y", "center_x", "center_y", "margin", "size", "width", "angle", "index",
                            "feature_index", "featureindex", "number", "radius", "scale", "distance", "value",
                            "tolerance", "nx", "ny", "dx", "dy", "x_scale", "y_scale", "resize", "line_width"})
        m += std::string("\"") + key + "\":" + number + ",";
    return m + R"("name":")" + std::string(100000, 'n') + "\"";
}

std::vector<std::string> bad_requests(const std::string& command)
{
    const std::string func = "\"func\":\"" + command + "\"";
    std::vector<std::string> r = {
        "",
        "not json",
        "{\"func\":",
        "[1,2,3]",
        "{" + func + "}",
        "{" + func + ",\"paras\":\"x\"}",
        "{" + func + ",\"paras\":[1,\"a\",null,[]]}",
        "{" + func + R"(,"paras":{"job":5,"step":[],"layer":{},"layers":"top","path":7,"index":"x"}})",
        "{" + func + R"(,"paras":[{"job":5},{"step":[]},{"layers":"top"},{"index":"x"}]})",
    };
    // Both layouts of "paras", since a command reads only one of them.
    r.push_back("{" + func + ",\"paras\":{" + hostile_members("1e300") + "}}");
    r.push_back("{" + func + ",\"paras\":[{" + hostile_members("-1e300") + "}]}");
    r.push_back("{" + func + ",\"paras\":{" + hostile_members("-1") + "}}");
    r.push_back("{" + func + ",\"paras\":[{" + hostile_members("9223372036854775807") + "}]}");
    return r;
}

TEST(HostileExports, EveryExportIsTheLibrarysOwnDefinition)
{
    ASSERT_NE(library(), nullptr);
    Dl_info frame{};
    ASSERT_NE(dladdr(dlsym(library(), "process"), &frame), 0);
    ASSERT_NE(std::string(frame.dli_fname).find("libkesto_ctype.so"), std::string::npos) << frame.dli_fname;
    for (const Command& c : all_commands()) {
        const Handler h = own(c.handler);
        ASSERT_NE(h, nullptr) << c.handler;
        Dl_info info{};
        ASSERT_NE(dladdr(reinterpret_cast<void*>(h), &info), 0) << c.handler;
        EXPECT_EQ(info.dli_fbase, frame.dli_fbase) << c.handler << " lives in " << info.dli_fname;
    }
}

// No reference inside the library to one of its exports goes through the
// dynamic linker, where a same-named definition elsewhere could win.
TEST(HostileExports, NoHandlerIsBoundAtLoadTime)
{
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen("readelf -rW '" KESTO_LIBRARY "'", "r"), pclose);
    ASSERT_TRUE(pipe);
    // The symbol each relocation names: the fifth column ("offset info type
    // value name [+ addend]"), without a version.
    std::set<std::string> bound;
    char line[4096];
    while (std::fgets(line, sizeof line, pipe.get())) {
        std::istringstream fields(line);
        std::string offset, info, type, value, name;
        if (fields >> offset >> info >> type >> value >> name) bound.insert(name.substr(0, name.find('@')));
    }
    ASSERT_FALSE(bound.empty());
    for (const Command& c : all_commands())
        EXPECT_EQ(bound.count(c.handler), 0u) << c.handler << " is bound by the dynamic linker";
}

TEST(HostileExports, EveryCommandThroughProcessReachesItsOwnHandler)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_with_board();
        // Login first: the C library's login(3) once took its place.
        const Outcome login = call_in_child(&process, R"({"func":"LOGIN","paras":{"user":"u","password":"p"}})");
        EXPECT_TRUE(answered_cleanly(login, "LOGIN"));
        for (const Command& c : all_commands()) {
            if (c.command.empty()) continue;
            const std::string request = "{\"func\":\"" + c.command + "\",\"paras\":{}}";
            EXPECT_TRUE(answered_cleanly(call_in_child(&process, request.c_str()), c.command));
        }
    });
}

TEST(HostileExports, EveryExportAnswersBadRequestsCleanly)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_with_board();
        for (const Command& c : all_commands()) {
            const Handler h = own(c.handler);
            EXPECT_TRUE(answered_cleanly(call_in_child(h, nullptr), c.handler + " given no text"));
            for (const std::string& request : bad_requests(c.command.empty() ? c.handler : c.command))
                EXPECT_TRUE(answered_cleanly(call_in_child(h, request.c_str()), c.handler + " given " + request.substr(0, 120)));
        }
    });
}

TEST(HostileExports, TheFrameAnswersBadRequestsCleanly)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_with_board();
        const std::string deep = "{\"func\":\"OPEN_JOB\",\"paras\":" + std::string(5000, '[') + std::string(5000, ']') + "}";
        std::vector<std::string> requests = bad_requests("SEL_MOVE");
        requests.push_back(deep);
        requests.push_back(std::string(1 << 20, '['));
        requests.push_back("{\"func\":\"" + std::string(100000, 'X') + "\"}");
        requests.push_back("{\"func\":\"NO_SUCH_COMMAND\",\"paras\":[]}");
        requests.push_back("{\"Func\":\"SEL_MOVE\"}");
        for (Handler h : {&process, &orig_process}) {
            EXPECT_TRUE(answered_cleanly(call_in_child(h, nullptr), "no text"));
            for (const std::string& request : requests)
                EXPECT_TRUE(answered_cleanly(call_in_child(h, request.c_str()), request.substr(0, 120)));
        }
    });
}

} // namespace
