#include "Registration.h"

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Kit/Registration.h"
#include "Varkle/Kit/ShaderCache.h"
#include "model/Load3DModel.h"
#include "texture/LoadImage.h"

#include <span>

namespace Varkle
{

namespace
{

// Sources that shaders include by name.
void RegisterIncludes()
{
    ShaderCache::AddInclude("Noise/PSRD2.wgsl", "Shaders/Noise/psrdnoise2.wgsl");
    ShaderCache::AddInclude("Noise/PSRD3.wgsl", "Shaders/Noise/psrdnoise3.wgsl");
    ShaderCache::AddInclude("Random.wgsl", "Shaders/Random.wgsl");
}

void RegisterModelImporter()
{
    FileImportRegistry::Get().RegisterImporter({".gltf", ".glb"}, Load3DModel::Type(),
                                               [](Operator& op, const std::filesystem::path& path)
                                               { static_cast<Load3DModel&>(op).SetFilePath(path.string()); });
}

void RegisterImageImporter()
{
    FileImportRegistry::Get().RegisterImporter(
        {".png", ".jpg", ".jpeg", ".bmp", ".tga", ".gif", ".pic", ".pnm", ".ppm", ".pgm", ".hdr", ".psd"},
        LoadImage::Type(),
        [](Operator& op, const std::filesystem::path& path) { static_cast<LoadImage&>(op).SetPath(path.string()); });
}

} // namespace

void RegisterOperatorsAndImporters()
{
    RegisterIncludes();
    for (const OperatorRow& row : std::span(operatorRows, operatorRowCount))
    {
        RegisterOperator(row);
        if (row.type == Load3DModel::Type)
            RegisterModelImporter();
    }
    RegisterImageImporter();
}

} // namespace Varkle
