#pragma once

#include "Varkle/Core/Operator.h"

#include <cstddef>

namespace Varkle
{

/// Is what is noted of an operator besides its ports and parameters.
struct Operator::State
{
    Graph* graph = nullptr;
    unsigned long structureVersion = 0;
    unsigned long executionCount = 0;
    std::chrono::nanoseconds executionTime{0};
    std::vector<std::filesystem::path> filesRead;

    bool complete = false; // its constructors are done and its destruction has not begun
    bool executed = false;
    bool dirty = false;
    bool inputChanged = false;
    bool parameterChanged = false;

    bool structureChanged = false; // and nobody was told yet
    int structureHeld = 0;         // changes that belong together are under way

    // The graph's book-keeping.
    std::size_t rank = 0;         // position in dependency order
    unsigned long visited = 0;    // the last search that came by
    unsigned long selectedIn = 0; // the last selection of operators to run that it was part of
    bool pending = false;         // waits to be asked whether it is outdated
};

} // namespace Varkle
