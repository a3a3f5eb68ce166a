#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"

namespace Varkle
{

/// Creates a material that reacts to light the way real surfaces do: the metallic-roughness material of glTF 2.0.
class PbrMaterial final : public Operator
{
public:
    PbrMaterial();
    ~PbrMaterial() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MaterialOutput materialOutput{this, "Material Output"};
    TextureInput baseColorTexture{this, "Base Color Texture"};
    TextureInput metallicRoughnessTexture{this, "Metallic Roughness Texture"};
    TextureInput normalTexture{this, "Normal Texture"};
    TextureInput occlusionTexture{this, "Occlusion Texture"};
    TextureInput emissiveTexture{this, "Emissive Texture"};
    ColorParameter baseColor{ParameterScope(this), "Base Color", {1, 1, 1, 1}};
    FloatParameter metallic{ParameterScope(this), "Metallic", 1.0};
    FloatParameter roughness{ParameterScope(this), "Roughness", 1.0};
    FloatParameter normalScale{ParameterScope(this), "Normal Scale", 1.0};
    FloatParameter occlusionStrength{ParameterScope(this), "Occlusion Strength", 1.0};
    ColorParameter emissive{ParameterScope(this), "Emissive", {0, 0, 0, 1}};
    EnumParameter alphaMode{ParameterScope(this), "Alpha Mode"};
    FloatParameter alphaCutoff{ParameterScope(this), "Alpha Cutoff", 0.5};
    BoolParameter doubleSided{ParameterScope(this), "Double Sided", false};
};

} // namespace Varkle
