#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/PictureMemory.h"
#include "Varkle/Gpu/Texture.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Writes textures to picture files, and other files, while later frames are already being rendered: pixels are read
/// back, encoded on all cores and written in the background. Only so many pictures are under way at once, and no more
/// when they take the memory that there is for them. What has not been written when it goes, or when it is stopped, is
/// not written any more; a file that has been begun is completed. Main thread only.
class FrameWriter
{
public:
    /// Takes the bytes of files whose path is empty, on a background thread.
    using Sink = std::function<Status(std::string_view bytes)>;

    explicit FrameWriter(std::stop_token stop, Sink sink = {}, std::uint64_t memoryBudget = PictureMemoryBudget);
    ~FrameWriter();
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;

    /// Starts writing a texture; waits first while too much is under way.
    void Write(const Texture& texture, ImageFormat format, std::string path);

    /// Starts writing a file that is encoded already.
    void Write(std::vector<std::uint8_t> bytes, std::string path);

    /// Waits until everything has been written, or it is stopped, and returns the failure of the earliest write that
    /// failed.
    Status Finish();

    /// True when something could not be written.
    bool HasFailed() const;

private:
    struct Work;
    struct File;

    File Begin(std::string path);
    void WaitForRoom(std::uint64_t bytes);
    void WaitOnce() const;
    static void Encode(const std::shared_ptr<Work>& work, const Image& image, ImageFormat format, const File& file);
    static void Save(const std::shared_ptr<Work>& work, const std::vector<std::uint8_t>& bytes, const File& file);

    std::shared_ptr<Work> work; // what is in the background may outlive the writer
    std::uint64_t budget;       // bytes
};

} // namespace Varkle
