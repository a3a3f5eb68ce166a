#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Texture.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Varkle
{

/// Writes textures to picture files, and other files, while later frames are already being rendered: pixels are read
/// back, encoded on all cores and written in the background. Memory stays bounded, since only so many pictures are
/// under way at once. Finish must be called before it goes.
class FrameWriter
{
public:
    /// Stands for standard output in place of a path.
    static constexpr const char* StandardOutput = "-";

    /// Starts writing a texture; waits first while too many are under way.
    void Write(const Texture& texture, ImageFormat format, std::string path);

    /// Starts writing a file that is encoded already.
    void Write(std::vector<std::uint8_t> bytes, std::string path);

    /// Waits until everything has been written and returns the failure of the earliest write that failed.
    Status Finish();

    /// True when something could not be written.
    bool HasFailed() const { return failure.has_value(); }

private:
    struct File
    {
        std::string path;
        long long number; // in the order of Write: pictures may overtake each other while they are encoded
    };

    void WaitForRoom();
    void WaitForFewerThan(int count);
    void Encode(const Image& image, ImageFormat format, const File& file);
    void Save(const std::vector<std::uint8_t>& bytes, const File& file);
    void Done(const File& file, const Status& status);

    long long started = 0;
    int underWay = 0;
    std::optional<Error> failure;
    long long failedNumber = 0;
};

} // namespace Varkle
