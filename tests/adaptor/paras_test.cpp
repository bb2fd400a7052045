// The paras reader and the handler frame: how keys are matched, converted and
// defaulted, and how failures become the error text.
#include "adaptor/handler.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace kesto::adaptor;

namespace {

Json::Value parse(const char* text)
{
    Json::Value root;
    EXPECT_TRUE(parse_request(text, root));
    return root;
}

TEST(Paras, ElementsLastOccurrenceWinsAndUnknownKeysAreIgnored)
{
    std::string step, job;
    std::vector<std::string> layers;
    double dx = 0;
    int n = 0;
    read_elements(parse(R"([{"step":"a","x":1},{"step":"b","layers":["l1","l2"]},{"offset_x":2.5,"n":10.7,"job":7}])"),
                  {{"step", step}, {"layers", layers}, {"offset_x", dx}, {"n", n}, {"job", job}});
    EXPECT_EQ(step, "b");
    EXPECT_EQ(layers, (std::vector<std::string>{"l1", "l2"}));
    EXPECT_DOUBLE_EQ(dx, 2.5);
    EXPECT_EQ(n, 10) << "a real read as an int truncates";
    EXPECT_EQ(job, "7");
}

TEST(Paras, ElementsRefuseWhatJsoncppCannotIndex)
{
    int n = 0;
    EXPECT_ANY_THROW(read_elements(parse(R"({"n":1})"), {{"n", n}}));
    EXPECT_ANY_THROW(read_elements(parse(R"([{"n":"10"}])"), {{"n", n}}));
    EXPECT_ANY_THROW(read_elements(parse(R"([[1]])"), {{"n", n}}));
    // Nothing to walk: defaults stay.
    EXPECT_NO_THROW(read_elements(Json::Value(), {{"n", n}}));
    EXPECT_NO_THROW(read_elements(parse("{}"), {{"n", n}}));
    EXPECT_NO_THROW(read_elements(parse("[null,{}]"), {{"n", n}}));
    EXPECT_EQ(n, 0);
}

TEST(Paras, MembersPointsAndNestedRecords)
{
    std::vector<KESTO::API::point> points;
    KESTO::API::point origin;
    Json::Value raw;
    bool flag = true;
    read_members(parse(R"({"points":[{"ix":1,"iy":-2},{"ix":2000000000,"iy":4}],"origin":{"ix":5},"raw":{"k":[1]},"flag":0})"),
                 {{"points", points}, {"origin", origin}, {"raw", raw}, {"flag", flag}});
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[0].iy, -2);
    EXPECT_EQ(points[1].ix, 2000000000);
    EXPECT_EQ(origin.ix, 5);
    EXPECT_EQ(origin.iy, 0);
    EXPECT_EQ(raw["k"][0].asInt(), 1);
    EXPECT_FALSE(flag);
    EXPECT_ANY_THROW(read_members(parse(R"([{"flag":true}])"), {{"flag", flag}}));
    EXPECT_ANY_THROW(read_members(parse(R"({"origin":{"ix":3000000000}})"), {{"origin", origin}}))
        << "coordinates are 32-bit";
}

TEST(Paras, PositionalAndDirectReading)
{
    const Json::Value paras = parse(R"([{"path":"/jobs"},{"job":"j1"}])");
    EXPECT_EQ(element_member(paras, 0, "path").asString(), "/jobs");
    EXPECT_EQ(element_member(paras, 1, "job").asString(), "j1");
    EXPECT_TRUE(element_member(paras, 2, "job").isNull());
    EXPECT_ANY_THROW(element_member(parse(R"({"path":"x"})"), 0, "path"));
    std::string absent = "x";
    read_direct(parse(R"({"a":1})"), "b", absent);
    EXPECT_EQ(absent, "");
}

TEST(Handler, RunsTheBodyWithDefaultsOnBadTextAndCatchesEverything)
{
    int calls = 0;
    std::string job = "untouched";
    auto run = [&](const char* request, Form form) {
        return handle("probe", request, form, {{"job", job}}, [&] {
            ++calls;
            if (job == "throw") throw std::runtime_error("engine failure");
            return pass();
        });
    };
    EXPECT_EQ(run("not json", Form::Elements), pass());
    EXPECT_EQ(job, "") << "bad text leaves every key at its empty value";
    EXPECT_EQ(run(R"({"paras":[{"job":"throw"}]})", Form::Elements), error());
    EXPECT_EQ(run(R"({"paras":{"job":"j"}})", Form::Elements), error()) << "an object is no array";
    EXPECT_EQ(run(R"({"paras":{"job":"j"}})", Form::Members), pass());
    EXPECT_EQ(run("not json", Form::Members), error()) << "the second table refuses bad text";
    EXPECT_EQ(run("", Form::ElementsLogged), error()) << "so do the checks";
    EXPECT_EQ(calls, 3);
}

// A key the request never names is empty, 0, 0.0 or false, whatever the
// handler's variable held before, call after call; only a fallback declared
// with the key differs.
TEST(Handler, KeysThatNeverOccurTakeTheirEmptyValueOrDeclaredFallback)
{
    int dcode = -1;
    double scale = 1;
    bool inside = true, nets = false;
    std::string text = "kept";
    std::vector<int> order{3};
    auto run = [&](const char* request, Form form) {
        return handle("probe", request, form,
                      {{"dcode", dcode}, {"scale", scale}, {"inside", inside}, {"text", text}, {"order", order},
                       {"nets", nets, true}},
                      [] { return pass(); });
    };
    for (Form form : {Form::Elements, Form::ElementsLogged}) {
        ASSERT_EQ(run(R"({"paras":[{"other":1}]})", form), pass());
        EXPECT_EQ(dcode, 0);
        EXPECT_EQ(scale, 0.0);
        EXPECT_FALSE(inside);
        EXPECT_EQ(text, "");
        EXPECT_TRUE(order.empty());
        EXPECT_TRUE(nets) << "the declared fallback";
        ASSERT_EQ(run(R"({"paras":[{"dcode":12,"nets":false,"text":"t"}]})", form), pass());
        EXPECT_EQ(dcode, 12);
        EXPECT_FALSE(nets);
    }
    // A second call does not inherit the first one's values.
    ASSERT_EQ(run(R"({"paras":{"scale":2}})", Form::Members), pass());
    EXPECT_EQ(dcode, 0);
    EXPECT_EQ(text, "");
    EXPECT_EQ(scale, 2.0);
    EXPECT_TRUE(nets);
}

TEST(Reply, JsonRepliesAreCompactAndOutliveTheCall)
{
    Json::Value paras;
    paras["status"] = true;
    char* first = reply_json("OPEN_JOB", paras);
    EXPECT_STREQ(first, "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
    char* page = keep("page", ReplyBuffer::AnalysisPage);
    EXPECT_STREQ(first, "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n") << "another buffer leaves it";
    EXPECT_STREQ(page, "page");
}

} // namespace
