#pragma once

#include <optional>

namespace CLI
{
class App;
}

namespace Varkle
{

/// Reads the arguments; the commands' callbacks store what they found. Returns an exit status when there is nothing
/// more to do: help or the version was printed, or an argument was wrong, which was said.
std::optional<int> ReadCommandLine(CLI::App& app, int argc, char** argv);

} // namespace Varkle
