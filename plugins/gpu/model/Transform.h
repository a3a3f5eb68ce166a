#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Gpu/Ports.h"

namespace Varkle
{

/// Will move, rotate and scale a model. It has nothing to set yet and publishes nothing; it keeps the type and the
/// ports for graphs that have it.
class TransformModel final : public Operator
{
public:
    ~TransformModel() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    ModelInput modelInput{this, "Model Input"};
    ModelOutput modelOutput{this, "Model Output"};
};

} // namespace Varkle
