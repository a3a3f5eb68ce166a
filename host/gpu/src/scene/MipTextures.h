#pragma once

#include "Varkle/Gpu/Texture.h"

#include <map>
#include <memory>
#include <utility>
#include <vector>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

/// Says what the values of a texture stand for.
enum class TexelKind
{
    Color, ///< sRGB-encoded: decoded before they are filtered
    Plain, ///< taken as they are
};

/// Makes copies of textures that can be sampled from any distance: with mip levels, and with colors that the GPU
/// decodes before it filters. A copy is kept as long as its texture lives, and after that used for another one of its
/// size.
class MipTextures
{
public:
    /// Returns the view of a texture's copy. Null for an empty texture, for one with integers or depth, and when the
    /// GPU can't make it.
    wgpu::TextureView Get(const Texture& texture, TexelKind kind);
    /// Says that a picture of other things comes: the copies that are not asked for until the next call of Age are not
    /// needed any more.
    void BeginContent();
    /// Lets go of copies that were not needed for a while. To be called once a picture.
    void Age();

private:
    struct Copy
    {
        std::weak_ptr<const void> source; // the texture that it shows
        wgpu::Texture texture;
        wgpu::TextureView view;
        std::vector<wgpu::TextureView> levels;    // from the largest
        std::vector<wgpu::BindGroup> levelGroups; // by level: reads the one before
        bool needed = true;
        unsigned age = 0; // pictures since it was needed
    };
    using Key = std::pair<const void*, TexelKind>; // the first may have gone, and something else lie there

    Copy Take(const Texture& texture, TexelKind kind);
    static Copy Make(const wgpu::TextureDescriptor& descriptor);
    static void Fill(const Copy& copy, const Texture& texture);

    std::map<Key, Copy> copies;
};

} // namespace Varkle
