#include "Varkle/Run/Exporter.h"

#include "Varkle/Core/PendingFile.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"
#include "export/ExportTarget.h"
#include "export/Process.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

namespace Varkle
{

namespace
{

// Returns an operator that feeds this one and carries nothing, or null.
const Operator* FindSilentSource(const Operator& op)
{
    for (const Object* const port : op.GetInputs())
    {
        const auto* const input = dynamic_cast<const DataInput*>(port);
        const DataOutput* const source = input ? input->GetConnection() : nullptr;
        if (source && !CarriesSomething(*source))
            return source->GetOperator();
    }
    return nullptr;
}

// Tells why a file that an operator reads is of no use; nothing when it can be read.
std::string DescribeFile(const std::filesystem::path& path)
{
    std::error_code code;
    if (std::filesystem::is_directory(path, code))
        return fmt::format("{} is a folder", Quoted(path.string()));
    if (access(path.c_str(), R_OK) == 0)
        return {};
    if (errno == ENOENT)
        return fmt::format("there is no file {}", Quoted(path.string()));
    return fmt::format("the file {} can't be opened: {}", Quoted(path.string()), std::strerror(errno));
}

// Returns why an operator carries nothing as far as the files that it reads tell.
std::string FindCause(const Operator& op)
{
    for (const std::filesystem::path& path : op.GetFilesRead())
    {
        if (const std::string problem = DescribeFile(path); !problem.empty())
            return ", since " + problem;
    }
    return {};
}

std::string DescribeNothing(const ExportTarget& target, const Operator& op, long long frame)
{
    const Operator* root = nullptr; // from where on nothing comes down to the operator
    for (const Operator* source = FindSilentSource(op); source; source = FindSilentSource(*source))
        root = source;
    const std::string hint =
        root ? fmt::format(", and neither does {}, which it depends on", Quoted(root->GetKey())) : std::string();
    return fmt::format("The operator {} carries nothing after frame {}{}{}: {}.", Quoted(target.GetKey()), frame, hint,
                       FindCause(root ? *root : op), target.DescribeGap());
}

// Returns the keys of what is written, sorted, each once.
std::vector<std::string> FindKeys(const ExportOptions& options, const GraphSession& session)
{
    std::vector<std::string> keys = options.operators.empty() ? session.GetDefaultOutputs() : options.operators;
    std::ranges::sort(keys);
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    return keys;
}

} // namespace

struct Exporter::State
{
    State(GraphSession& exported, ExportOptions asked) : session(exported), options(std::move(asked)) {}

    bool IsOver(const FrameWriter& writer) const
    {
        return options.stop.stop_requested() || Graphics::IsLost() || writer.HasFailed() ||
               std::ranges::any_of(targets, &ExportTarget::HasFailed);
    }
    Status WriteFrame(long long frame, FrameWriter& writer, const ExportEvents& events);
    Status FinishFiles(FrameWriter& writer);

    GraphSession& session;
    ExportOptions options;
    std::vector<std::string> keys;
    std::vector<ExportTarget> targets; // one for each key
    std::vector<ExportedOutput> outputs;
};

Status Exporter::State::WriteFrame(long long frame, FrameWriter& writer, const ExportEvents& events)
{
    for (ExportTarget& target : targets)
    {
        const Operator& op = *session.GetGraph().Find(target.GetKey());
        const Result<bool> written = target.Write(op, frame, writer);
        if (!written)
            return written.GetError();
        if (*written)
            continue;
        target.CountEmptyFrame();
        if (target.Describe().emptyFrames == 1 && events.carriesNothing)
            events.carriesNothing(DescribeNothing(target, op, frame));
    }
    return Ok();
}

// Waits until all files are complete. Returns the first failure.
Status Exporter::State::FinishFiles(FrameWriter& writer)
{
    Status written = writer.Finish();
    for (ExportTarget& target : targets)
    {
        Status finished = target.Finish();
        if (written)
            written = std::move(finished);
    }
    return written;
}

Exporter::Exporter(std::unique_ptr<State> prepared) : state(std::move(prepared)) {}
Exporter::Exporter(Exporter&&) noexcept = default;
Exporter& Exporter::operator=(Exporter&&) noexcept = default;
Exporter::~Exporter() = default;

Result<Exporter> Exporter::Create(GraphSession& session, ExportOptions options)
{
    auto state = std::make_unique<State>(session, std::move(options));
    state->keys = FindKeys(state->options, session);
    for (const std::string& key : state->keys)
    {
        const Operator* const op = session.GetGraph().Find(key);
        if (!op)
            return Error{fmt::format("There is no operator {}.", Quoted(key))};
        Result<ExportTarget> target =
            ExportTarget::Make(state->options, *op, state->keys.size() > 1, session.GetFrameRate());
        if (!target)
            return target.GetError();
        state->outputs.push_back(target->Describe());
        state->targets.push_back(std::move(*target));
    }
    return Exporter(std::move(state));
}

Status Exporter::Run(const ExportEvents& events)
{
    const FrameRange& frames = state->options.frames;
    FrameWriter writer(state->options.stop, state->options.takeFile);
    Status encoded = Ok();
    for (long long frame = frames.first; frame <= frames.last && encoded && !state->IsOver(writer); ++frame)
    {
        const TraceSpan span("frame", fmt::format("frame {}", frame));
        state->session.GoToFrame(frame, state->keys);
        encoded = state->WriteFrame(frame, writer, events);
        if (events.progress)
            events.progress(frame - frames.first + 1);
    }
    Status written = state->FinishFiles(writer);
    if (!state->options.stop.stop_requested())
        GraphSession::Finish();
    std::ranges::transform(state->targets, state->outputs.begin(), &ExportTarget::Describe);
    return encoded ? written : encoded;
}

const std::vector<ExportedOutput>& Exporter::GetOutputs() const
{
    return state->outputs;
}

void Exporter::EndAll()
{
    Process::KillAll();
    PendingFile::RemoveAll();
}

} // namespace Varkle
