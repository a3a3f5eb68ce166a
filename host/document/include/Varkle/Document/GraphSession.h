#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Document/DocumentEdit.h"
#include "Varkle/Document/DocumentQuery.h"
#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Gpu/Image.h"
#include "Varkle/Gpu/Texture.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

struct SessionState;

/// Runs a graph document: makes its operators, connects them, and goes from frame to frame, evaluating expressions.
/// This is the interface for programs that embed the library. Nothing here prints, ends the process or touches signals;
/// errors come back as values, what operators have to say goes to the log (LogListener). Plug-ins must be loaded before
/// (Plugin::Load) and stay loaded as long as the session lives. Main thread only.
class VARKLE_API GraphSession
{
public:
    /// Reads, checks and builds a document. The error holds one line for everything that is wrong with it, or says that
    /// there is no GPU device to be had. Graphics::Start, called before, chooses the adapter.
    static Result<GraphSession> Load(const std::string& path);
    /// Does the same with a document in memory; see GraphDocument::Parse.
    static Result<GraphSession> Parse(std::string_view text, const std::string& name = "document",
                                      const std::filesystem::path& folder = {});
    /// Does the same with a document that was read before.
    static Result<GraphSession> Build(GraphDocument document);

    GraphSession(GraphSession&&) noexcept;
    GraphSession& operator=(GraphSession&&) noexcept;
    /// Waits as Finish does, so that what operators started (pictures that are being saved) is done when it goes.
    ~GraphSession();

    /// Sets a parameter from now on, replacing its value or expression: `target` is "key.Parameter", e.g.
    /// "soft.Radius", and `value` is what stands in a document: `12`, `[640, 360]`, `"8 + sin(time)"` (with its
    /// quotes), `"Average"`. Text that is no JSON is taken as a string, so that `Average` works too; for a String
    /// parameter all that is no JSON string is. A parameter that the operator would create after other settings keeps
    /// the value until it does. After an error all is as before.
    Status SetParameter(std::string_view target, std::string_view value);

    /// Makes the running graph what another document says, e.g. the same file after it was edited. The error holds one
    /// line for everything that is wrong with the document, as in Load, and nothing has changed then.
    ///
    /// An operator whose key and type are the same stays the object that it is, with its outputs and its window, and
    /// does not run again unless its parameters or connections really change. Parameters that are no longer mentioned
    /// return to what a new operator has; those that are mentioned as before are left alone, so that a trigger which
    /// fired does not fire again. What is in the graph and not in the document goes. What SetParameter set stays in
    /// force over the document, for the key that the operator had then, also when the operator goes and comes back.
    /// Expressions that changed, and another frame rate, count from the next frame that is gone to. An operator can't
    /// call this while it executes.
    Status Update(GraphDocument document);

    /// Follows a change that was made on a document like the session's own (DocumentHistory gives them, for undoing
    /// too), as Update does. What an edit does not concern costs nothing: a value that changes among thousands of
    /// operators takes the time of one. An operator that is renamed stays the object that it is, and what SetParameter
    /// set of it stays in force.
    Status Apply(const DocumentChange& change);
    /// Does an edit to the session's document and follows it. What SetParameter set is no part of the document.
    Result<DocumentChange> Apply(const DocumentEdit& edit);

    /// Goes to a frame: sets the clock (time = frame / frameRate), evaluates the expressions and runs every operator
    /// that is outdated then. Frames may be visited in any order. When earlier frames started more background work than
    /// the machine has finished (pictures that are saved on every frame), or the GPU is more than two frames behind, it
    /// waits for some of it first, so that memory stays bounded.
    void GoToFrame(long long frame);
    /// Does the same for the operators with these keys, what feeds them, and the operators without outputs and what
    /// feeds those. An unknown key is an error, and nothing runs.
    Status GoToFrame(long long frame, const std::vector<std::string>& keys);

    /// Does the same for these operators and what feeds them, and no others. They belong to the graph.
    void GoToFrameFor(long long frame, const std::vector<Operator*>& targets);

    /// Returns the keys of the operators with an output that feeds nothing, in document order: what one looks at by
    /// default.
    std::vector<std::string> GetDefaultOutputs() const;

    /// True when a parameter of the operator has an expression that changes with the frame, or a trigger that fires by
    /// one. False when there is no such operator.
    bool IsAnimated(std::string_view key) const;

    /// Returns the files that parameters name at the moment and that do not exist (see the function of that name for
    /// documents).
    std::vector<MissingFile> FindMissingFiles() const;

    /// Returns the texture that an operator's output carries; empty when there is none.
    Texture GetTexture(std::string_view key) const;
    /// Returns that texture's pixels, waiting for the GPU; an invalid image when there is none.
    Image ReadPixels(std::string_view key) const;

    /// Runs what is pending between frames: finished background work, read-backs, GPU events. GoToFrame does so too.
    static void Pump();
    /// Waits until all background work and read-backs are done, and runs what they hand to the main thread.
    static void Finish();

    /// Returns the state of every operator as the JSON object that `varkle inspect` prints, with the lines logged.
    std::string Inspect(const std::vector<LogLine>& log = {}) const;

    Graph& GetGraph();
    const Graph& GetGraph() const;
    const GraphDocument& GetDocument() const;
    long long GetFrame() const;
    double GetFrameRate() const;

private:
    explicit GraphSession(std::unique_ptr<SessionState> state);
    std::unique_ptr<SessionState> state;
};

} // namespace Varkle
