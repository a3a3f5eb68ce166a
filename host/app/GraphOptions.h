#pragma once

#include "Command.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Run/Exporter.h"

#include <string>
#include <vector>

namespace Varkle
{

/// Holds the options of commands that run a graph.
struct GraphOptions
{
    std::string graph;
    std::string frames = "1";
    std::vector<std::string> operators;
    std::vector<std::string> set;
};

/// Adds the options to a command.
void AddGraphOptions(CLI::App& command, GraphOptions& options);

/// Adds the argument for the document and --set, for commands that take no other of these options.
void AddDocumentOptions(CLI::App& command, std::string& graph, std::vector<std::string>& set);

/// Reads "N" (the first N frames) or "A..B".
Result<FrameRange> ReadFrameRange(const std::string& text);

/// Checks a number of frames that is not to be a range. Returns what is wrong with it, behind its option's name.
std::string CheckFrameCount(const std::string& text);

/// Starts the GPU as the options ask for.
Status StartGraphics(const CommonOptions& common);

/// Reads and checks a document. The error tells everything that is wrong with it.
Result<GraphDocument> ReadDocument(const std::string& path);

/// Builds the graph of a document with the parameters of --set. The GPU must have been started.
Result<GraphSession> BuildGraph(GraphDocument document, const std::vector<std::string>& set);

/// Sets the parameters of --set.
Status ApplySettings(GraphSession& session, const std::vector<std::string>& set);

/// Reads and checks the document, starts the GPU and builds the graph with the parameters of --set.
Result<GraphSession> OpenGraph(const GraphOptions& options, const CommonOptions& common);

} // namespace Varkle
