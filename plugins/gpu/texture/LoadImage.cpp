#include "texture/LoadImage.h"

#include "texture/ImageLoading.h"

namespace Varkle
{

LoadImage::LoadImage()
{
    path.SetEditorType(StringParameter::EditorType::FilePath);
}

LoadImage::~LoadImage() = default;

const ObjectType* LoadImage::Type()
{
    static const ObjectType type("Varkle.Texture.LoadImage", Operator::Type(), [] { return new LoadImage; });
    return &type;
}

void LoadImage::Execute(ExecutionContext&)
{
    if (const std::optional<Texture> texture = LoadTextureFromFile(path.Value()))
        textureOutput.Activate(*texture);
}

} // namespace Varkle
