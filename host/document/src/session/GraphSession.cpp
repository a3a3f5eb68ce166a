#include "Varkle/Document/GraphSession.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Tasks.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/PictureMemory.h"
#include "Varkle/Gpu/Ports.h"
#include "document/DocumentCheck.h"
#include "session/GraphSessionState.h"
#include "session/Inspect.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <new>
#include <thread>
#include <utility>

namespace Varkle
{

namespace
{

constexpr std::chrono::milliseconds patience(20); // the end of work that hands nothing over wakes nobody

std::size_t CountWork()
{
    return Tasks::CountWork() + Graphics::CountReadBacks();
}

// Waits until all read-backs and pieces of work are done, or what is left is little enough.
template<class Predicate>
void FinishUntil(Predicate isLittle)
{
    while (CountWork() > 0 && !isLittle())
    {
        if (Graphics::HasReadBacks())
            Graphics::WaitForReadBack(patience);
        else
            Tasks::WaitForMainThreadTasks(patience);
        Tasks::RunMainThreadTasks();
    }
}

} // namespace

void WaitForBacklog()
{
    // Keeps all cores busy, and lets a live graph save some pictures at once without being held up.
    const std::size_t most = std::max(16U, 2 * std::thread::hardware_concurrency());
    FinishUntil([&] { return CountWork() <= most && GetPictureMemory() <= PictureMemoryBudget; });
    // With the one that comes now, three: the GPU always has one to go on with.
    constexpr std::size_t mostFrames = 2;
    while (!Graphics::WaitForFrames(mostFrames, patience))
        Tasks::RunMainThreadTasks();
}

SessionState::~SessionState()
{
    try
    {
        if (runs)
            GraphSession::Finish();
    }
    catch (const std::bad_alloc&) // a picture that came back found no room: it is lost, and what made it is gone
    {
        LogError("The memory is used up: pictures that were under way are lost.");
    }
}

std::string SessionState::UnknownOperator(std::string_view key) const
{
    std::vector<std::string> known;
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
        known.push_back(op->GetKey());
    return "there is no operator " + Quoted(key) + Suggestion(key, known);
}

Result<GraphSession> GraphSession::Load(const std::string& path)
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Load(path, errors);
    if (!errors.empty())
        return Error{JoinErrors(errors), errors[0].machine};
    return Build(std::move(document));
}

Result<GraphSession> GraphSession::Parse(std::string_view text, const std::string& name,
                                         const std::filesystem::path& folder)
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Parse(text, name, folder, errors);
    if (!errors.empty())
        return Error{JoinErrors(errors)};
    return Build(std::move(document));
}

Result<GraphSession> GraphSession::Build(GraphDocument document)
{
    if (const std::vector<DocumentError> errors = CheckDeclared(document); !errors.empty())
        return Error{JoinErrors(errors)};
    if (const Status started = Graphics::Start(); !started)
        return started.GetError();
    auto state = std::make_unique<SessionState>(std::move(document));
    state->Build();
    if (!state->errors.empty())
        return Error{JoinErrors(state->errors)};
    return GraphSession(std::move(state));
}

GraphSession::GraphSession(std::unique_ptr<SessionState> built) : state(std::move(built)) {}
GraphSession::GraphSession(GraphSession&&) noexcept = default;
GraphSession& GraphSession::operator=(GraphSession&&) noexcept = default;
GraphSession::~GraphSession() = default;

Status GraphSession::SetParameter(std::string_view target, std::string_view value)
{
    return state->SetParameter(target, value);
}

Status GraphSession::Update(GraphDocument document)
{
    return state->Update(std::move(document));
}

Status GraphSession::Apply(const DocumentChange& change)
{
    return state->Apply(change);
}

Result<DocumentChange> GraphSession::Apply(const DocumentEdit& edit)
{
    return state->Apply(edit);
}

void GraphSession::GoToFrame(long long frame)
{
    state->GoToFrame(frame);
    state->graph.Run();
    Graphics::EndFrame();
}

Status GraphSession::GoToFrame(long long frame, const std::vector<std::string>& keys)
{
    const auto unknown = std::ranges::find_if(keys, [&](const std::string& key) { return !state->graph.Find(key); });
    if (unknown != keys.end())
        return Error{state->UnknownOperator(*unknown)};
    state->GoToFrame(frame);
    std::vector<Operator*> targets;
    targets.reserve(keys.size());
    for (const std::string& key : keys)
        targets.push_back(state->graph.Find(key));
    for (const std::unique_ptr<Operator>& op : state->graph.GetOperators())
    {
        if (op->GetOutputs().empty())
            targets.push_back(op.get());
    }
    state->graph.Run(targets);
    Graphics::EndFrame();
    return Ok();
}

void GraphSession::GoToFrameFor(long long frame, const std::vector<Operator*>& targets)
{
    state->GoToFrame(frame);
    state->graph.Run(targets);
}

std::vector<std::string> GraphSession::GetDefaultOutputs() const
{
    const auto feedsNothing = [](const DataOutput* output) { return output->GetConnections().empty(); };
    std::vector<std::string> keys;
    for (const std::unique_ptr<Operator>& op : state->graph.GetOperators())
    {
        if (std::ranges::any_of(op->GetOutputs(), feedsNothing))
            keys.push_back(op->GetKey());
    }
    return keys;
}

bool GraphSession::IsAnimated(std::string_view key) const
{
    const Operator* const op = state->graph.Find(key);
    return op && state->IsAnimated(*op);
}

std::vector<MissingFile> GraphSession::FindMissingFiles() const
{
    return state->FindMissingFiles();
}

Texture GraphSession::GetTexture(std::string_view key) const
{
    const Operator* const op = state->graph.Find(key);
    if (!op || op->GetOutputs().empty())
        return {};
    const auto* const output = dynamic_cast<const TextureOutput*>(op->GetOutputs()[0]);
    return output ? output->GetTexture() : Texture();
}

Image GraphSession::ReadPixels(std::string_view key) const
{
    const Texture texture = GetTexture(key);
    if (!texture)
        return {};
    Image image;
    bool done = false;
    texture.ReadPixelsAsync(
        [&](Image pixels)
        {
            image = std::move(pixels);
            done = true;
        });
    while (!done && Graphics::WaitForReadBack(std::chrono::seconds(1)))
    {
    }
    return image;
}

void GraphSession::Pump()
{
    if (Graphics::IsStarted())
    {
        Graphics::ProcessEvents();
        Graphics::TrimPools();
    }
    Tasks::RunMainThreadTasks();
}

void GraphSession::Finish()
{
    FinishUntil([] { return false; });
}

std::string GraphSession::Inspect(const std::vector<LogLine>& log) const
{
    return InspectGraph(state->graph, state->frame, log);
}

Graph& GraphSession::GetGraph()
{
    return state->graph;
}

const Graph& GraphSession::GetGraph() const
{
    return state->graph;
}

const GraphDocument& GraphSession::GetDocument() const
{
    return state->document;
}

long long GraphSession::GetFrame() const
{
    return state->frame;
}

double GraphSession::GetFrameRate() const
{
    return state->document.GetFrameRate();
}

} // namespace Varkle
