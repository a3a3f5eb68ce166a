#include "Registration.h"

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Shader.h"
#include "Varkle/Kit/Resources.h"
#include "material/PbrMaterial.h"
#include "material/UnlitMaterial.h"
#include "mesh/Copy.h"
#include "mesh/CreateAttribute.h"
#include "mesh/Cube.h"
#include "mesh/Distance.h"
#include "mesh/Move.h"
#include "mesh/Noise.h"
#include "mesh/NoiseAttribute.h"
#include "mesh/SetMaterial.h"
#include "mesh/Sphere.h"
#include "mesh/Transform.h"
#include "model/Load3DModel.h"
#include "model/Transform.h"
#include "texture/Blend.h"
#include "texture/Blur.h"
#include "texture/ChannelShuffle.h"
#include "texture/Color.h"
#include "texture/ColorCorrect.h"
#include "texture/ColorRamp.h"
#include "texture/CrossFader.h"
#include "texture/Displace.h"
#include "texture/EdgeDetect.h"
#include "texture/GrayScale.h"
#include "texture/LoadImage.h"
#include "texture/LookupUV.h"
#include "texture/Mixer.h"
#include "texture/Noise.h"
#include "texture/Resize.h"
#include "texture/SaveImage.h"
#include "texture/SineWave.h"
#include "texture/Transform.h"
#include "window/Window.h"
#include "window/WindowInfo.h"

#include <string>

namespace Varkle
{

namespace
{

struct Row
{
    const ObjectType* (*type)();
    const char* document;
};

// In the order in which the host lists them.
constexpr Row operators[] = {
    {WindowOperator::Type, "Docs/Operators/IO/System/Window.md"},
    {WindowInfo::Type, "Docs/Operators/IO/System/Window Info.md"},
    {PbrMaterial::Type, "Docs/Operators/Material/PBR Material.md"},
    {UnlitMaterialOperator::Type, "Docs/Operators/Material/Unlit Material.md"},
    {Cube::Type, "Docs/Operators/Mesh/Cube.md"},
    {CopyMesh::Type, "Docs/Operators/Mesh/Copy.md"},
    {CreateAttribute::Type, "Docs/Operators/Mesh/Create Attribute.md"},
    {MeshDistance::Type, "Docs/Operators/Mesh/Distance.md"},
    {MeshNoise::Type, "Docs/Operators/Mesh/Noise.md"},
    {NoiseAttribute::Type, "Docs/Operators/Mesh/Noise Attribute.md"},
    {MeshMove::Type, "Docs/Operators/Mesh/Move.md"},
    {Sphere::Type, "Docs/Operators/Mesh/Sphere.md"},
    {SetMaterial::Type, "Docs/Operators/Mesh/Set Material.md"},
    {TransformMesh::Type, "Docs/Operators/Mesh/Transform.md"},
    {Load3DModel::Type, "Docs/Operators/Model/Load 3D Model.md"},
    {TransformModel::Type, "Docs/Operators/Model/Transform.md"},
    {ColorCorrect::Type, "Docs/Operators/Texture/Color Correct.md"},
    {Blend::Type, "Docs/Operators/Texture/Blend.md"},
    {Blur::Type, "Docs/Operators/Texture/Blur.md"},
    {ChannelShuffle::Type, "Docs/Operators/Texture/Channel Shuffle.md"},
    {ColorRamp::Type, "Docs/Operators/Texture/Color Ramp.md"},
    {ColorOperator::Type, "Docs/Operators/Texture/Color.md"},
    {CrossFader::Type, "Docs/Operators/Texture/Cross Fader.md"},
    {Displace::Type, "Docs/Operators/Texture/Displace.md"},
    {EdgeDetect::Type, "Docs/Operators/Texture/Edge Detect.md"},
    {LoadImage::Type, "Docs/Operators/Texture/Load Image.md"},
    {SaveImage::Type, "Docs/Operators/Texture/Save Image.md"},
    {GrayScale::Type, "Docs/Operators/Texture/Grayscale.md"},
    {LookupUV::Type, "Docs/Operators/Texture/Lookup UV.md"},
    {Mixer::Type, "Docs/Operators/Texture/Mixer.md"},
    {Noise::Type, "Docs/Operators/Texture/Noise.md"},
    {Resize::Type, "Docs/Operators/Texture/Resize.md"},
    {SineWave::Type, "Docs/Operators/Texture/Sine Wave.md"},
    {TransformTexture::Type, "Docs/Operators/Texture/Transform.md"},
};

// Sources that shaders include by name.
void RegisterIncludes()
{
    Shader::AddIncludableFile("Noise/PSRD2.wgsl", std::string(Resources::ReadText("Shaders/Noise/psrdnoise2.wgsl")));
    Shader::AddIncludableFile("Noise/PSRD3.wgsl", std::string(Resources::ReadText("Shaders/Noise/psrdnoise3.wgsl")));
    Shader::AddIncludableFile("Random.wgsl", std::string(Resources::ReadText("Shaders/Random.wgsl")));
}

void RegisterOperator(const Row& row)
{
    const std::string path = row.document;
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(row.type(), path, Resources::ReadText(path)));
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
    for (const Row& row : operators)
    {
        RegisterOperator(row);
        if (row.type == Load3DModel::Type)
            RegisterModelImporter();
    }
    RegisterImageImporter();
}

} // namespace Varkle
