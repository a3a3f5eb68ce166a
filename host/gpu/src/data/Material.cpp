#include "Varkle/Gpu/Material.h"

namespace Varkle
{

// Here rather than in the header, so that the classes' type information lies in this library only.
Material::~Material() = default;
UnlitMaterial::~UnlitMaterial() = default;
GltfPbrMaterial::~GltfPbrMaterial() = default;

} // namespace Varkle
