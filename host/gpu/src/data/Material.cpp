#include "Varkle/Gpu/Material.h"

namespace Varkle
{

// Here rather than in the header, so that the class's type information lies in this library only.
Material::~Material() = default;

} // namespace Varkle
