#include "model/Transform.h"

namespace Varkle
{

TransformModel::~TransformModel() = default;

const ObjectType* TransformModel::Type()
{
    static const ObjectType type("Varkle.Model.Transform", Operator::Type(), [] { return new TransformModel; });
    return &type;
}

void TransformModel::Execute(ExecutionContext&) {}

} // namespace Varkle
