#include "material/UnlitMaterial.h"

#include <memory>

namespace Varkle
{

UnlitMaterialOperator::UnlitMaterialOperator() = default;

UnlitMaterialOperator::~UnlitMaterialOperator() = default;

const ObjectType* UnlitMaterialOperator::Type()
{
    static const ObjectType type("Varkle.Material.UnlitMaterial", Operator::Type(),
                                 [] { return new UnlitMaterialOperator; });
    return &type;
}

void UnlitMaterialOperator::Execute(ExecutionContext&)
{
    const auto material = std::make_shared<UnlitMaterial>();
    material->SetBaseColor(baseColor.Value().ToVec4());
    if (baseColorTexture.HasTexture())
        material->SetBaseColorTexture(baseColorTexture.GetTexture());
    materialOutput.Activate(material);
}

} // namespace Varkle
