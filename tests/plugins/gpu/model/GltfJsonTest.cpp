#include "model/GltfJson.h"
#include "model/Base64.h"
#include "model/GltfMaker.h"
#include "support/Catch.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

std::optional<std::string> Decode(std::string_view text)
{
    const std::optional<std::vector<unsigned char>> bytes = DecodeBase64(text);
    if (!bytes)
        return std::nullopt;
    return std::string(bytes->begin(), bytes->end());
}

LiftedJson Lift(const std::string& text)
{
    return LiftDataUris(text, SurveyJson(text));
}

} // namespace

TEST_CASE("Base64 is decoded with and without padding")
{
    CHECK(Decode("") == "");
    CHECK(Decode("QQ==") == "A");
    CHECK(Decode("QQ") == "A");
    CHECK(Decode("QUI=") == "AB");
    CHECK(Decode("QUI") == "AB");
    CHECK(Decode("QUJD") == "ABC");
    CHECK(Decode("QUJDREVGRw==") == "ABCDEFG");
    CHECK(Decode("+/8=") == "\xfb\xff");
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += char(i);
    CHECK(Decode(EncodeBase64(all)) == all);
}

TEST_CASE("What is no base64 is not decoded")
{
    for (const std::string text : {"Q", "QUJDR", "QUJD\n", "QU JD", "QU=D", "QUJD====", "Q===", "QU_-", "QUJ\xc3"})
    {
        INFO(text);
        CHECK_FALSE(Decode(text));
    }
}

TEST_CASE("A survey counts what parsing would cost")
{
    const JsonSurvey survey = SurveyJson(
        R"({ "nodes": [{}, {"children": [0, 1]}], "materials": [{}, {"a": {}}, {}], "buffers": [{}], "x": "[[[\"{{," })");
    CHECK(survey.depth == 4);
    CHECK(survey.objects == 8);
    CHECK(survey.rareElements == 4);
    CHECK(survey.buffers == 1);
    CHECK(survey.values == 19);
}

TEST_CASE("A survey bears text that is no JSON")
{
    for (const std::string text :
         {"", "\"", "\"\\", "]]]}}}[", "{\"a\":\"\\\\\\\"", "::,,:\"uri\":", "\"uri\":\"data:"})
    {
        INFO(text);
        CHECK(SurveyJson(text).depth <= 1);
        CHECK(Lift(text).contents.empty());
    }
    CHECK(SurveyJson(std::string(1000, '[')).depth == 1000);
}

TEST_CASE("A survey finds the one buffer that names no file")
{
    const std::string text =
        R"({"nodes": [{"byteLength": 1}], "buffers": [{"name": "a", "byteLength" : 80 }], "x": {}})";
    CHECK(SurveyJson(text).plainBuffer == PlainBuffer{text.find("\"name\""), 80});
    CHECK(SurveyJson(R"({"buffers":[{"extras":{"uri":"x","byteLength":1},"byteLength":4}]})").plainBuffer ==
          PlainBuffer{13, 4});
    for (const std::string members :
         {"", R"("byteLength": 4, "uri": "x")", R"("byteLength": 4, "\u0075ri": "x")", R"("byteLength": 4.0)",
          R"("byteLength": 4e1)", R"("byteLength": -4)", R"("byteLength": "4")", R"("byteLength": 4, "byteLength": 8)",
          R"("byteLength": 99999999999999999999)", R"("byteLength": 4}, {"byteLength": 4)", R"("byteLength": )"})
    {
        INFO(members);
        CHECK_FALSE(SurveyJson("{\"buffers\": [{" + members + "}]}").plainBuffer);
    }
    CHECK_FALSE(SurveyJson(R"({"buffers":[{"byteLength":4)").plainBuffer);
    CHECK_FALSE(SurveyJson(R"({"buffers":[{"byteLength":)").plainBuffer);
    CHECK_FALSE(SurveyJson(R"({"meshes":[{"byteLength":4}]})").plainBuffer);
}

TEST_CASE("A buffer gets the URI under which its contents are found")
{
    const std::string text = R"({"buffers":[{"byteLength":4}]})";
    CHECK(NameLifted(text, *SurveyJson(text).plainBuffer, 12) ==
          R"({"buffers":[{"uri":"data:embedded-12","byteLength":4}]})");
}

TEST_CASE("Data URIs are lifted out of the JSON text, whatever their media type")
{
    const LiftedJson lifted = Lift(R"({"uri": "data:a/b;base64,QUI=", "x": [{"uri":"data:;base64,QUJD"}], "y": 1})");
    CHECK(lifted.text == R"({"uri": "data:embedded-0", "x": [{"uri":"data:embedded-1"}], "y": 1})");
    REQUIRE(lifted.contents.size() == 2);
    CHECK(lifted.contents[0] == std::vector<unsigned char>{'A', 'B'});
    CHECK(lifted.contents[1] == std::vector<unsigned char>{'A', 'B', 'C'});
}

TEST_CASE("What is no data URI in base64, or no member named uri, stays in the JSON text")
{
    for (const std::string text :
         {R"({"uri": "data:image/png,QUJD"})", R"({"uri": "data:image/png;base64,Q!"})", R"({"uri": "picture.png"})",
          R"({"uri": "data:image/png;base64,"})", R"({"uri": "data:image/png;base64,Q\u0055JD"})",
          R"({"name": "data:image/png;base64,QUJD"})", R"(["uri", "data:image/png;base64,QUJD"])",
          R"({"x": "uri", "data:image/png;base64,QUJD": 1})", R"({"uri": ["data:image/png;base64,QUJD"]})"})
    {
        INFO(text);
        const LiftedJson lifted = Lift(text);
        CHECK(lifted.text.empty());
        CHECK(lifted.contents.empty());
    }
}

TEST_CASE("Lifted contents are found by their names, also behind a folder")
{
    std::vector<std::vector<unsigned char>> contents(11);
    CHECK(FindLifted(contents, "data:embedded-0") == &contents[0]);
    CHECK(FindLifted(contents, "/some/folder/data:embedded-10") == &contents[10]);
    for (const std::string path : {"data:embedded-11", "data:embedded-", "data:embedded--1", "data:embedded-0x",
                                   "data:embedded-99999999999999999999", "data:embedded-0/", "embedded-0", ""})
    {
        INFO(path);
        CHECK(FindLifted(contents, path) == nullptr);
    }
}
