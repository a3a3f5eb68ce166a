// Windows in documents: what is read, kept, ignored and saved. No window opens here.

#include "Varkle/Core/Plugin.h"
#include "Varkle/Document/GraphSession.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <map>
#include <nlohmann/json.hpp>

using namespace Varkle;
using Json = nlohmann::json;

namespace
{

using Lines = std::vector<std::string>;

std::string WindowWith(const std::string& parameters)
{
    return R"({ "key": "show", "type": "Varkle.IO.System.Window", "parameters": {)" + parameters + "} }";
}

std::string InfoWith(const std::string& parameters)
{
    return R"({ "key": "info", "type": "Varkle.IO.System.WindowInfo", "parameters": {)" + parameters + "} }";
}

Result<GraphSession> Parse(const std::string& operators)
{
    return GraphSession::Parse(R"({ "format": "varkle-graph", "version": 1, "operators": [)" + operators + "] }");
}

// Holds the plug-in and a session.
struct WindowSession
{
    explicit WindowSession(const std::string& operators)
    {
        Result<GraphSession> parsed = Parse(operators);
        if (!parsed)
            FAIL(parsed.GetError().message);
        session = std::make_unique<GraphSession>(std::move(*parsed));
    }

    // Returns an operator's parameters by their names, as inspection shows them.
    std::map<std::string, Json> Inspect(const std::string& key) const
    {
        std::map<std::string, Json> parameters;
        const Json inspected = Json::parse(session->Inspect());
        for (const Json& op : inspected.at("operators"))
        {
            if (op.at("key") != key)
                continue;
            for (const Json& parameter : op.at("parameters"))
                parameters[parameter.at("name")] = parameter;
        }
        return parameters;
    }

    Json Value(const std::string& key, const std::string& name) const { return Inspect(key).at(name).at("value"); }

    std::string ToText() const { return GraphDocument::FromGraph(session->GetGraph(), 60, "/folder").ToText(); }

    Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    std::unique_ptr<GraphSession> session;
};

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_CASE("A document's Window is never opened by a session, and Window Info reports what was asked")
{
    const LogRecorder log;
    const WindowSession windows(WindowWith(R"("Open": true, "Size": [640, "frame + 360"], "Position": [-7, 8])") + "," +
                                InfoWith(R"("Window": "show")"));
    windows.session->GoToFrame(2);
    CHECK(windows.Value("show", "Open") == true);
    CHECK(windows.Value("info", "Open") == false);
    CHECK(windows.Value("info", "Resolution") == Json({640, 362}));
    CHECK(windows.Value("info", "Logical Size") == Json({640, 362}));
    CHECK(windows.Value("info", "Position") == Json({-7, 8}));
    CHECK(windows.Value("info", "DPI Scale") == 1);
    CHECK(windows.Value("info", "Refresh Rate") == 60);
    CHECK(windows.Value("info", "Window") == "show");
    windows.session->GoToFrame(3);
    CHECK(windows.Value("info", "Resolution") == Json({640, 363}));
    CHECK(log.lines.empty());
}

TEST_CASE("Inspection marks what Window Info writes, and shows the labels of Window's size unit")
{
    const WindowSession windows(WindowWith(R"("Size Unit": "Logical")") + "," + InfoWith(""));
    windows.session->GoToFrame(0);
    Lines written;
    for (const auto& [name, parameter] : windows.Inspect("info"))
    {
        if (parameter.value("output", false))
            written.push_back(name);
    }
    CHECK(written == Lines{"DPI Scale", "Fullscreen", "Logical Size", "Minimized", "Open", "Position", "Refresh Rate",
                           "Resolution"}); // in the order of the alphabet
    CHECK(windows.Value("info", "Window") == nullptr);
    CHECK(windows.Inspect("show").at("Size Unit") ==
          Json::parse(R"({ "name": "Size Unit", "type": "Enum", "value": "Logical", "values": ["Physical", "Logical"],
                           "labels": ["Physical pixels", "Logical pixels"] })"));
}

TEST_CASE("Values of Window Info that stand in a document are ignored, and not saved")
{
    const LogRecorder log;
    const WindowSession windows(WindowWith("") + "," +
                                InfoWith(R"("Resolution": [1, 2], "Position": [3, 4], "DPI Scale": 5, "Open": true,
"Fullscreen": true, "Minimized": true, "Refresh Rate": 6, "Logical Size": [7, 8], "Window": null)"));
    const auto check = [&]
    {
        for (const char* const name : {"Resolution", "Logical Size", "Position"})
            CHECK(windows.Value("info", name) == Json({0, 0}));
        for (const char* const name : {"DPI Scale", "Refresh Rate"})
            CHECK(windows.Value("info", name) == 0);
        for (const char* const name : {"Open", "Fullscreen", "Minimized"})
            CHECK(windows.Value("info", name) == false);
    };
    check();
    windows.session->GoToFrame(0);
    check();
    CHECK(log.lines.empty());
    CHECK_FALSE(windows.session->SetParameter("info.Open", "true"));

    const std::string saved = windows.session->GetDocument().ToText();
    for (const char* const name : {"Resolution", "Logical Size", "Refresh Rate", "DPI Scale", "Minimized"})
        CHECK_FALSE(Contains(saved, name));
}

TEST_CASE("A document of a graph with windows holds what was asked and the reference, and gives the same bytes again")
{
    const WindowSession windows(
        R"({ "key": "c", "type": "Varkle.Texture.Color" }, { "key": "stage.1", "type": "Varkle.IO.System.Window",
"parameters": { "Open": true, "Size": [640, 361], "Size Unit": "Logical", "Title": "Stage", "Transparent": true },
"inputs": { "Texture Input": "c" } },)" +
        InfoWith(R"("Window": "stage.1")"));
    windows.session->GoToFrame(0);
    const std::string saved = windows.ToText();
    CHECK(Contains(saved, R"("Open": true,)"));
    CHECK(Contains(saved, R"("Size": [640, 361],)"));
    CHECK(Contains(saved, R"("Size Unit": "Logical",)"));
    CHECK(Contains(saved, R"("Title": "Stage",)"));
    CHECK(Contains(saved, R"("Texture Input": "c")"));
    CHECK(Contains(saved, R"(      "parameters": {
        "Window": "stage.1"
      })")); // and nothing else of Window Info's
    const Result<GraphSession> again = GraphSession::Parse(saved, "saved", "/folder");
    REQUIRE(again);
    CHECK(again->GetDocument().ToText() == saved);
    CHECK(GraphDocument::FromGraph(again->GetGraph(), 60, "/folder").ToText() == saved);
}

TEST_CASE("A Window Info may stand in front of its Window, and is then a frame behind")
{
    const WindowSession windows(InfoWith(R"("Window": "show")") + "," + WindowWith(R"("Position": ["10 + frame", 0])"));
    windows.session->GoToFrame(0);
    CHECK(windows.Value("info", "Window") == "show");
    windows.session->GoToFrame(1);
    CHECK(windows.Value("info", "Position") == Json({10, 0}));
    windows.session->GoToFrame(2);
    CHECK(windows.Value("info", "Position") == Json({11, 0}));
}

TEST_CASE(
    "A Window Info that refers to another kind of operator, or to none that there is, is an error of the document")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    const Result<GraphSession> other =
        Parse(R"({ "key": "c", "type": "Varkle.Texture.Color" },)" + InfoWith(R"("Window": "c")"));
    REQUIRE_FALSE(other);
    CHECK(Contains(other.GetError().message,
                   R"(operator "info": parameter "Window" can't refer to the operator "c", which is a )"
                   "Varkle.Texture.Color"));
    const Result<GraphSession> missing = Parse(WindowWith("") + "," + InfoWith(R"("Window": "shwo")"));
    REQUIRE_FALSE(missing);
    CHECK(Contains(missing.GetError().message, R"(operator "info": parameter "Window" refers to "shwo")"));
    const Result<GraphSession> itself = Parse(InfoWith(R"("Window": "info")"));
    CHECK_FALSE(itself);
}

TEST_CASE("A Window's size unit that has no meaning is kept in the document and counts as physical")
{
    const WindowSession windows(WindowWith(R"("Size Unit": "Furlong", "Size": [300, 200])") + "," +
                                InfoWith(R"("Window": "show")"));
    windows.session->GoToFrame(0);
    CHECK(windows.Value("show", "Size Unit") == "Furlong");
    CHECK(windows.Value("info", "Resolution") == Json({300, 200}));
    CHECK(Contains(windows.ToText(), R"("Size Unit": "Furlong")"));
}
