#include "texture/SineWave.h"

#include <glm/gtc/constants.hpp>
#include <glm/matrix.hpp>

namespace Varkle
{

SineWave::SineWave()
{
    shape.SetPossibleValues({"Flat", "Concentric", "Radial"}, {});
}

SineWave::~SineWave() = default;

const ObjectType* SineWave::Type()
{
    static const ObjectType type("Varkle.Texture.SineWave", Operator::Type(), [] { return new SineWave; });
    return &type;
}

void SineWave::Execute(ExecutionContext&)
{
    settings.Update();
    pass.SetFormat(settings.GetFrameBufferFormat());

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    const float heightPerWidth = float(frameBuffer.GetHeight()) / float(frameBuffer.GetWidth());
    pass.GetUniform("transform").SetMat4(glm::inverse(transform.Value()));
    pass.GetUniform("viewport").SetVec2(glm::two_pi<float>() * glm::vec2(1.0f, heightPerWidth));
    pass.GetUniform("offset").SetFloat(float(offset.Value()));
    pass.GetUniform("amplitude").SetFloat(float(amplitude.Value()));
    pass.GetUniform("frequency").SetFloat(float(frequency.Value()));
    pass.GetUniform("phase").SetFloat(float(phase.Value()));
    pass.GetUniform("shape").SetInt(int(shape.GetIndexOr(0)));
    pass.GetUniform("alphaSignal").SetFloat(alpha.Value() ? 1.0f : 0.0f);

    if (pass.Draw(frameBuffer, {}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
