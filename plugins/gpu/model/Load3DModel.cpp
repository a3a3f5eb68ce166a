#include "model/Load3DModel.h"

#include "model/GltfLoading.h"

namespace Varkle
{

Load3DModel::Load3DModel()
{
    filePath.SetEditorType(StringParameter::EditorType::FilePath);
}

Load3DModel::~Load3DModel() = default;

const ObjectType* Load3DModel::Type()
{
    static const ObjectType type("Varkle.Model.Load3DModel", Operator::Type(), [] { return new Load3DModel; });
    return &type;
}

void Load3DModel::Execute(ExecutionContext&)
{
    if (filePath.Value().empty())
        modelOutput.Activate(Model());
    else if (const std::shared_ptr<Model> model = LoadFromFile(filePath.Value()))
        modelOutput.Activate(*model);
}

} // namespace Varkle
