#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"

#include <string>

namespace Varkle
{

/// Loads an image file into a texture.
class LoadImage final : public Operator
{
public:
    LoadImage();
    ~LoadImage() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

    void SetPath(const std::string& newPath) { path.SetValue(newPath); }

private:
    StringParameter path{ParameterScope(this), "Path", ""};
    TextureOutput textureOutput{this, "Texture Output"};
};

} // namespace Varkle
