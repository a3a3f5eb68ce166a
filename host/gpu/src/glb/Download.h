#pragma once

#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/Image.h"
#include "Varkle/Gpu/Texture.h"

#include <cstddef>
#include <map>
#include <span>
#include <utility>
#include <vector>

namespace Varkle::Glb
{

/// Returns bytes of the GPU as the numbers that they are; what is left over at the end is dropped.
template<class T>
std::span<const T> As(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const T*>(bytes.data()), bytes.size() / sizeof(T)};
}

/// Fetches buffers and textures from the GPU, all in one go and each once.
class Download
{
public:
    Download() = default;
    Download(const Download&) = delete;
    Download& operator=(const Download&) = delete;
    ~Download();

    void Add(const Buffer& buffer);
    void Add(const Texture& texture);

    /// Waits until all have arrived. False when the device is lost, or was since a buffer was made.
    bool Run();

    /// Returns what a buffer holds, nothing for an empty handle. Valid while this object lives.
    std::span<const std::byte> GetBytes(const Buffer& buffer) const;
    /// Returns what a texture shows; an invalid image for one that can't be read.
    Image GetImage(const Texture& texture) const;

private:
    struct ReadBack
    {
        Buffer source;
        wgpu::Buffer mapped; // stays so: nothing is copied that goes to a file anyway
        std::span<const std::byte> bytes;
    };

    bool ReadBuffers();
    void ReadTextures();

    std::map<WGPUBuffer, ReadBack> buffers;
    std::vector<std::pair<Texture, Image>> textures;
    unsigned long generation = 0;
};

} // namespace Varkle::Glb
