#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"

#include <string>

namespace Varkle
{

/// Loads a 3D model from a glTF file.
class Load3DModel final : public Operator
{
public:
    Load3DModel();
    ~Load3DModel() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

    void SetFilePath(const std::string& newPath) { filePath.SetValue(newPath); }

private:
    ModelOutput modelOutput{this, "Model Output"};
    StringParameter filePath{ParameterScope(this), "File Path", ""};
};

} // namespace Varkle
