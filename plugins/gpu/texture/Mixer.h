#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

#include <map>
#include <memory>
#include <string>

namespace Varkle
{

/// Layers any number of textures on top of each other, the first at the bottom, each with its own opacity. An input and
/// the bundle that holds its opacity have the same key.
class Mixer final : public Operator
{
public:
    Mixer();
    ~Mixer() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    void RebuildPipeline();
    void RebuildUniformGroup();
    void PrepareUniforms(std::size_t count);

    void InputAdded(DataInput& input);
    void InputRemoving(DataInput& input);
    ParameterBundle* BundleOf(const DataInput& input);
    void FillBundle(ParameterBundle& bundle);
    void DiscardBundle(ParameterBundle& bundle);
    float OpacityOf(const DataInput& input) const;

    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {}};
    DataInputList textureInputs;
    ParameterBundleList opacityBundles;
    std::map<std::string, std::unique_ptr<FloatParameter>> opacities; // by the bundle's key
    Shader shader;
    Buffer quad{MakeFullScreenQuad()};
    UniformBuffer uniforms; // a block for each input
    RenderPipeline pipeline;
    wgpu::BindGroup uniformGroup;
    FrameBufferFormat pipelineFormat{InitialFrameBufferFormat()};
};

} // namespace Varkle
