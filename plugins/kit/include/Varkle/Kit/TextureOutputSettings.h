#pragma once

#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Ports.h"

#include <memory>
#include <string>
#include <vector>

namespace Varkle
{

/// Owns the parameters with which a user chooses the size and the channels of a texture operator's output, or lets them
/// follow an input, and turns them into the frame buffer that the operator renders into. An operator holds one as a
/// member behind its inputs and its output and calls Update at the start of each Execute.
class TextureOutputSettings
{
public:
    /// Creates "Output Format" (only with inputs to follow), "Texture Type" and "Texture Size". The inputs are not
    /// owned.
    TextureOutputSettings(Operator* owner, const std::vector<TextureInput*>& followed);

    /// Copies size and type from the input that "Output Format" follows, when that carries a texture, and recomputes
    /// the frame buffer format.
    void Update();

    /// Returns "Texture Size" in pixels, unclamped.
    glm::ivec2 GetFrameBufferSize() const { return textureSize.Value(); }
    void SetFrameBufferSize(glm::ivec2 size) { textureSize.SetValue(size); }

    FrameBufferFormat GetFrameBufferFormat() const { return format; }
    /// Sets "Texture Type" to the row of that format, or to RGBA when there is none.
    void SetFrameBufferFormat(wgpu::TextureFormat newFormat);

    /// Returns a fresh frame buffer of the current size and format.
    FrameBuffer CreateFrameBuffer() const { return AllocateFrameBuffer(GetFrameBufferSize(), format); }

private:
    std::vector<TextureInput*> inputs;
    std::unique_ptr<EnumParameter> outputFormat; // null without inputs to follow
    EnumParameter textureType;
    Vector2IntParameter textureSize;
    FrameBufferFormat format;
};

/// Returns the names of "Output Format" for a number of inputs: none; "Copy Input", "Manual"; "Copy Input A",
/// "Copy Input B", ..., "Manual". Only the first 8 inputs can be followed.
std::vector<std::string> GetTextureSettingNames(unsigned inputCount);

/// Returns a format that no operator's output has, so that a pipeline that was built for it is rebuilt at the first
/// use: Update never asks for a depth attachment.
FrameBufferFormat InitialFrameBufferFormat();

} // namespace Varkle
