#pragma once

#include "Varkle/Core/Graph.h"

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace Varkle::Testing
{

/// Does whatever the test wants while it executes.
class Worker final : public Operator
{
public:
    explicit Worker(std::function<void()> given) : work(std::move(given)) {}
    void Execute(ExecutionContext&) override { work(); }

private:
    std::function<void()> work;
};

/// Does the work as an operator with that key.
inline void RunAs(std::string_view key, std::function<void()> work)
{
    Graph graph;
    graph.Add(std::make_unique<Worker>(std::move(work)), key);
    graph.Run();
}

} // namespace Varkle::Testing
