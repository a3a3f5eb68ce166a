#include "DocumentBench.h"

#include "Registration.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/DocumentEdit.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Document/JsonLayout.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Varkle::Bench
{

namespace
{

// A color, then filters in chains of ten, one in five of them with an expression.
std::string MakeDocument(int operators)
{
    std::string text = R"({ "format": "varkle-graph", "version": 1, "operators": [
{ "key": "op0", "type": "Varkle.Texture.Color", "parameters": { "Color": "#ff8000" } })";
    for (int i = 1; i < operators; ++i)
    {
        const std::string source = "op" + std::to_string(i % 10 == 0 ? 0 : i - 1);
        const std::string radius = i % 5 == 0 ? R"-("8 + 6 * sin(time)")-" : std::to_string(i % 7);
        text += ",\n{ \"key\": \"op" + std::to_string(i) +
                "\", \"type\": \"Varkle.Texture.Blur\", \"parameters\": { \"Radius\": " + radius +
                ", \"Texture Size\": [64, 64] }, \"inputs\": { \"Texture Input\": \"" + source +
                "\" }, \"position\": [" + std::to_string(i % 10 * 200) + ", " + std::to_string(i / 10 * 80) + "] }";
    }
    return text + "\n] }\n";
}

GraphDocument Read(const std::string& text)
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Parse(text, "bench", {}, errors);
    if (!errors.empty())
        throw std::runtime_error(JoinErrors(errors));
    return document;
}

GraphSession Open(const std::string& text)
{
    Result<GraphSession> session = GraphSession::Parse(text);
    if (!session)
        throw std::runtime_error(session.GetError().message);
    return std::move(*session);
}

void Require(const Status& status)
{
    if (!status)
        throw std::runtime_error(status.GetError().message);
}

// An edit that sets a number, another one each time.
class Turn
{
public:
    explicit Turn(int operators) : key("op" + std::to_string(operators - 1)) {}

    DocumentEdit Next() { return SetParameter{key, "Radius", JsonNumber(double(++count % 100)), {}, 0}; }

    // Returns a text with that number.
    std::string NextText(const std::string& text)
    {
        std::string changed = text;
        const std::size_t at = changed.find("\"Radius\": ", changed.find("\"" + key + "\"")) + 10;
        return changed.replace(at, changed.find(',', at) - at, std::to_string(++count % 100));
    }

private:
    std::string key;
    int count = 0;
};

constexpr int many = 1000;
constexpr int few = 2;

void MeasureEdits(const std::string& name, const Effort& effort)
{
    GraphSession large = Open(MakeDocument(many));
    GraphSession small = Open(MakeDocument(few));
    Turn turnLarge(many);
    Turn turnSmall(few);
    const auto edit = [](GraphSession& session, Turn& turn)
    {
        if (const auto change = session.Apply(turn.Next()); !change)
            throw std::runtime_error(change.GetError().message);
    };
    Compare(
        name, effort, Measured::Cpu, [&] { edit(large, turnLarge); }, [&] { edit(small, turnSmall); });
}

void MeasureTexts(const std::string& name, const Effort& effort)
{
    const std::string text = MakeDocument(many);
    GraphSession session = Open(text);
    Turn turn(many);
    Effort less = effort; // each takes milliseconds
    less.passesForCpu = std::min(effort.passesForCpu, 5);
    Compare(
        name, less, Measured::Cpu, [&] { Require(session.Update(Read(turn.NextText(text)))); }, [&] { Read(text); });
}

void MeasureChecks(const std::string& name, const Effort& effort)
{
    const GraphDocument document = Read(MakeDocument(many));
    Effort less = effort;
    less.passesForCpu = std::min(effort.passesForCpu, 2);
    Compare(
        name, less, Measured::Cpu, [&] { document.Check(); }, [&] { document.ToText(); });
}

} // namespace

void MeasureDocuments(const Effort& effort, std::string_view filter)
{
    const std::pair<std::string, void (*)(const std::string&, const Effort&)> lines[] = {
        {"one number of 1,000 operators / of 2, edited", MeasureEdits},
        {"1,000 operators, read and followed / read", MeasureTexts},
        {"1,000 operators, checked / written", MeasureChecks},
    };
    if (!TypeLibrary::Get().Find("Varkle.Texture.Blur"))
        RegisterOperatorsAndImporters();
    for (const auto& [name, measure] : lines)
    {
        if (name.find(filter) != std::string::npos)
            measure(name, effort);
    }
}

} // namespace Varkle::Bench
