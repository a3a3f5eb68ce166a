#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

#include <string>
#include <vector>

namespace Varkle
{

/// Moves, rotates and scales the picture inside a texture.
class TransformTexture final : public Operator
{
public:
    TransformTexture();
    ~TransformTexture() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    void RebuildSampler();

    TextureInput textureInput{this, "Texture Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput}};
    EnumParameter tilingModeX{ParameterScope(this), "Tiling Mode X"};
    EnumParameter tilingModeY{ParameterScope(this), "Tiling Mode Y"};
    Transform3DParameter transform{ParameterScope(this), "Transform", glm::mat4(1.0f)};
    FullScreenPass pass{"Transform.wgsl"};
    wgpu::Sampler sampler;
};

/// Returns the names of what fills the space beside the picture.
const std::vector<std::string>& TilingModeNames();

} // namespace Varkle
