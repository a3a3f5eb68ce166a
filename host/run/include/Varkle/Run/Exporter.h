#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Gpu/SceneRenderer.h"

#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Is a range of frames, both ends included.
struct FrameRange
{
    long long first = 0;
    long long last = 0;
    long long Count() const { return last - first + 1; }
};

/// Says what an Exporter writes.
struct ExportOptions
{
    /// The keys of the operators whose outputs are written; empty for GraphSession::GetDefaultOutputs.
    std::vector<std::string> operators = {};
    /// The frames that are run and written, in this order. Those before the first are not run.
    FrameRange frames = {};
    /// Names the files (OutputPattern); empty for "{key}.glb" for meshes and models and "{key}.png" for the rest. The
    /// extension says how a thing is written: a texture, or a picture of a mesh, a model or a material, as .png, .jpg,
    /// .bmp or .tga; all frames of one as a video, .mp4 (H.264, over black) or .webm (VP9 with alpha), which the
    /// program ffmpeg makes; a mesh or a model as .glb. "-" hands the file of one operator and one frame, .png or .glb,
    /// to `takeFile`.
    std::string output = {};
    /// How meshes, models and materials are seen in pictures.
    SceneView view = {};
    /// Takes the bytes of the file for the output "-"; called once, on a thread of its own. Its error is Run's.
    std::function<Status(std::string_view bytes)> takeFile = {};
    /// Ends the run when it is asked to stop, also while it waits for the GPU, a disk or ffmpeg.
    std::stop_token stop = {};
};

/// Tells about what is written for one operator.
struct ExportedOutput
{
    enum class Kind
    {
        Texture, ///< a picture for each frame
        Drawing, ///< a picture of a mesh, a model or a material for each frame
        Shape,   ///< a .glb for each frame
    };

    std::string key;
    Kind kind = Kind::Texture;
    bool isVideo = false;      ///< all pictures are one file
    bool hasPictures = false;  ///< a frame had a picture: without one there is no video
    long long emptyFrames = 0; ///< after which the operator carried nothing
};

/// Tells the caller of Exporter::Run what happens; called on the main thread, by Run. Either may be empty. What they
/// throw leaves Run; the exporter may then go.
struct ExportEvents
{
    /// Says how many frames were run so far.
    std::function<void(long long done)> progress = {};
    /// Says, once for each operator, that it carries nothing after a frame, why as far as is known (a file that is not
    /// there), and what that means for its files.
    std::function<void(const std::string& message)> carriesNothing = {};
};

/// Runs frames of a graph and writes what operators carry to files: pictures, videos, models. Reading back, encoding
/// and writing go on while later frames are run, as far as memory allows (PictureMemoryBudget). Files appear under
/// their names when they are complete and replace files of those names then; an operator that carries nothing replaces
/// none. Main thread only. Nothing is printed, and no signal is touched.
class VARKLE_API Exporter
{
public:
    /// Prepares to write the outputs of a session, which must outlive the exporter. The error says why that can't be
    /// done: an output that can't be written so, several for one file (those begin with `output "..."`), no ffmpeg, a
    /// video whose file can't be made. An unknown operator is one, too.
    static Result<Exporter> Create(GraphSession& session, ExportOptions options);

    Exporter(Exporter&&) noexcept;
    Exporter& operator=(Exporter&&) noexcept;
    /// Ends what is under way: files that are not complete go.
    ~Exporter();

    /// Runs the frames and writes their files; once. The error is that of the first file that could not be written,
    /// which ends the run. No error when it was stopped or the device was lost (Graphics::IsLost, the log says why):
    /// files that are complete stay, videos go.
    Status Run(const ExportEvents& events = {});

    /// Returns what is written, sorted by key; up to date after Run.
    const std::vector<ExportedOutput>& GetOutputs() const;

    /// Ends the helping programs (ffmpeg) of all exporters and removes files that are not complete, for a process that
    /// is about to end without waiting for its threads; see PendingFile::RemoveAll. May be called from any thread.
    static void EndAll();

private:
    struct VARKLE_LOCAL State;
    explicit Exporter(std::unique_ptr<State> state);
    std::unique_ptr<State> state;
};

} // namespace Varkle
