#include "texture/ImageLoading.h"

namespace Varkle
{

namespace
{

std::optional<Texture> ImageToTexture(const Image& image)
{
    const Texture texture = Texture::FromImage(image, false);
    if (!texture)
        return std::nullopt;
    return texture;
}

} // namespace

std::optional<Texture> LoadTextureFromFile(const std::string& path)
{
    return ImageToTexture(Image::LoadFromFile(path));
}

std::optional<Texture> LoadTextureFromMemory(const unsigned char* data, unsigned long size)
{
    return ImageToTexture(Image::LoadFromMemory(data, size));
}

} // namespace Varkle
