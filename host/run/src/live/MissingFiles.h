#pragma once

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Log.h"

#include <filesystem>
#include <set>
#include <unordered_map>

namespace Varkle
{

/// Tells the log of files that operators want to read and that are not there, where the operators are silent about it.
class MissingFiles
{
public:
    /// Looks at what the operators read that executed since the last call.
    void Look(const Graph& graph);
    /// Begins anew with another graph.
    void Clear() { operators.clear(); }

private:
    struct Seen
    {
        unsigned long executions = 0;
        std::set<std::filesystem::path> missing;
    };
    std::unordered_map<const Operator*, Seen> operators;
    std::set<const Operator*> spoke; // while they executed, since the last look
    LogListener listener{[this](const LogLine&)
                         {
                             if (const Operator* const op = Operator::Executing())
                                 spoke.insert(op); // on the main thread: elsewhere none executes
                         }};
};

} // namespace Varkle
