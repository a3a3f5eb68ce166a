#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Image.h"
#include "Varkle/Gpu/Ports.h"
#include "texture/SaveNames.h"

#include <filesystem>

namespace Varkle
{

/// Writes a texture to an image file when its Save button is pressed. The pixels are read back, encoded and written
/// while the graph runs on; the log tells how it ended.
class SaveImage final : public Operator
{
public:
    SaveImage();
    ~SaveImage() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

    /// True exactly while Save is triggered: a new texture or another name is no reason to write a file.
    bool Outdated() const override { return save.IsTriggered(); }

    /// Returns the path for the next file and uses up its number, or an empty path after logging why there is none.
    std::filesystem::path NextFilePath();

private:
    SaveNames GetNames() const;
    ImageFormat GetFormat() const;

    TextureInput textureInput{this, "Texture Input"};
    StringParameter folder{ParameterScope(this), "Folder", ""};
    StringParameter fileName{ParameterScope(this), "File Name", "image"};
    EnumParameter format{ParameterScope(this), "Format"};
    EnumParameter numbering{ParameterScope(this), "Numbering"};
    TriggerParameter save{ParameterScope(this), "Save", false};
    SaveNames counted; // for its counter, which lives as long as the operator
};

} // namespace Varkle
