#include "plugin/Registration.h"

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/TypeLibrary.h"
#include "core/Resources.h"
#include "texture/Color.h"
#include "texture/GrayScale.h"
#include "texture/LoadImage.h"

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
    {ColorOperator::Type, "Docs/Operators/Texture/Color.md"},
    {LoadImage::Type, "Docs/Operators/Texture/Load Image.md"},
    {GrayScale::Type, "Docs/Operators/Texture/Grayscale.md"},
};

void RegisterOperator(const Row& row)
{
    const std::string path = row.document;
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(row.type(), path, Resources::ReadText(path)));
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
    for (const Row& row : operators)
        RegisterOperator(row);
    RegisterImageImporter();
}

} // namespace Varkle
