#include "GraphOptions.h"

#include "Console.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/Graphics.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>
#include <sys/resource.h>

namespace Varkle
{

namespace
{

constexpr long long lastFrame = 1'000'000'000'000; // far from where a double's time would lose frames

bool ReadWhole(std::string_view text, long long& number)
{
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), number);
    return code == std::errc() && end == text.data() + text.size();
}

Status ApplySet(GraphSession& session, const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
        return Error{fmt::format("--set {}: it must have the form KEY.PARAMETER=VALUE.", Quoted(text))};
    const Status status = session.SetParameter(text.substr(0, equals), text.substr(equals + 1));
    if (!status)
        return Error{fmt::format("--set {}: {}.", Quoted(text), status.GetError().message)};
    return Ok();
}

Status CheckOperatorKeys(const GraphOptions& options, const Graph& graph)
{
    for (const std::string& key : options.operators)
    {
        if (graph.Find(key))
            continue;
        std::vector<std::string> known;
        for (const std::unique_ptr<Operator>& op : graph.GetOperators())
            known.push_back(op->GetKey());
        return Error{fmt::format("--operator {}: there is no such operator in {}{}.", Quoted(key),
                                 Printable(options.graph), Suggestion(key, known))};
    }
    return Ok();
}

// A driver that works without a GPU keeps what would be the GPU's memory in one file without a name, and crashes where
// the user's limit on file sizes keeps that from growing. A few pictures must fit.
Status CheckFileSizeLimit()
{
    constexpr rlim_t least = 64 << 20;
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur >= least || Graphics::GetAdapterInfo().type != "CPU")
        return Ok();
    return Error{
        fmt::format("The limit on file sizes (ulimit -f) is {} KiB. The adapter \"{}\" counts the memory that it "
                    "uses in place of a GPU's against it and needs {} KiB or more.",
                    limit.rlim_cur >> 10, Graphics::GetAdapterInfo().name, least >> 10),
        true};
}

} // namespace

void AddDocumentOptions(CLI::App& command, std::string& graph, std::vector<std::string>& set)
{
    command.add_option("graph", graph, "The graph document to run")->required()->type_name("GRAPH");
    command.add_option("--set", set, "Set a parameter for this run (repeatable)")
        ->type_name("KEY.PARAMETER=VALUE")
        ->allow_extra_args(false);
}

void AddGraphOptions(CLI::App& command, GraphOptions& options)
{
    AddDocumentOptions(command, options.graph, options.set);
    command.add_option("--frames", options.frames, "The first N frames, or frames A..B (default 1)")
        ->type_name("N|A..B");
    command.add_option("--operator", options.operators, "An operator to run for (repeatable)")
        ->type_name("KEY")
        ->allow_extra_args(false);
}

Result<FrameRange> ReadFrameRange(const std::string& text)
{
    FrameRange range;
    const std::size_t dots = text.find("..");
    const std::string_view view = text;
    if (dots == std::string::npos)
    {
        long long count = 0;
        if (!ReadWhole(view, count) || count < 1)
            return Error{fmt::format("--frames {}: it must be a number of frames from 1 on, or A..B.", Quoted(text))};
        range.last = count - 1;
    }
    else if (!ReadWhole(view.substr(0, dots), range.first) || !ReadWhole(view.substr(dots + 2), range.last) ||
             range.first < 0)
        return Error{fmt::format("--frames {}: a range must be two whole numbers A..B from 0 on.", Quoted(text))};
    if (range.last < range.first)
        return Error{fmt::format("--frames {}: the range ends before it begins.", Quoted(text))};
    if (range.last > lastFrame)
        return Error{
            fmt::format("--frames {}: the last frame that there is has the number {}.", Quoted(text), lastFrame)};
    return range;
}

std::string CheckFrameCount(const std::string& text)
{
    long long count = 0;
    if (ReadWhole(text, count) && count >= 1 && count <= lastFrame)
        return {};
    return fmt::format("{}: it must be a whole number from 1 to {}", Quoted(text), lastFrame);
}

Status StartGraphics(const CommonOptions& common)
{
    // Drivers that fail print what only their developers understand, and our error says what to do. Those who debug
    // the drivers have asked to hear them.
    HeldStandardError held;
    const Status started = Graphics::Start(common.adapter);
    if (started || std::getenv("VK_LOADER_DEBUG"))
        held.PassOn();
    return started ? CheckFileSizeLimit() : started;
}

Result<GraphDocument> ReadDocument(const std::string& path)
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Load(path, errors);
    if (errors.empty())
        errors = document.Check();
    if (!errors.empty())
        return Error{JoinErrors(errors), errors[0].machine};
    return document;
}

Result<GraphSession> BuildGraph(GraphDocument document, const std::vector<std::string>& set)
{
    Result<GraphSession> session = GraphSession::Build(std::move(document));
    if (!session)
        return session;
    if (const Status applied = ApplySettings(*session, set); !applied)
        return applied.GetError();
    return session;
}

Status ApplySettings(GraphSession& session, const std::vector<std::string>& set)
{
    for (const std::string& text : set)
    {
        if (Status status = ApplySet(session, text); !status)
            return status;
    }
    return Ok();
}

Result<GraphSession> OpenGraph(const GraphOptions& options, const CommonOptions& common)
{
    Result<GraphDocument> document = ReadDocument(options.graph);
    if (!document)
        return document.GetError();
    if (const Status started = StartGraphics(common); !started)
        return started.GetError();
    Result<GraphSession> session = BuildGraph(std::move(*document), options.set);
    if (!session)
        return session;
    if (const Status known = CheckOperatorKeys(options, session->GetGraph()); !known)
        return known.GetError();
    return session;
}

} // namespace Varkle
