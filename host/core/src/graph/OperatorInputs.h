#pragma once

#include "Varkle/Core/Operator.h"

#include <vector>

namespace Varkle
{

/// Calls `visit` with each input of an operator, elements of lists in their place.
template<class Visit>
void ForEachInput(const Operator& op, const Visit& visit)
{
    for (Object* const object : op.GetInputs())
    {
        if (auto* const input = dynamic_cast<DataInput*>(object))
            visit(*input);
        else if (const auto* const list = dynamic_cast<const DataInputList*>(object))
        {
            for (DataInput* const element : list->GetInputs())
                visit(*element);
        }
    }
}

/// Calls `visit` with each operator that feeds `op` directly, once for each connection, in the order of the inputs.
template<class Visit>
void ForEachSource(const Operator& op, const Visit& visit)
{
    ForEachInput(op,
                 [&](const DataInput& input)
                 {
                     if (const DataOutput* const output = input.GetConnection())
                         visit(*output->GetOperator());
                 });
}

/// Calls `visit` with each operator that `op` feeds directly, once for each connection.
template<class Visit>
void ForEachTarget(const Operator& op, const Visit& visit)
{
    for (const DataOutput* const output : op.GetOutputs())
    {
        for (const DataInput* const input : output->GetConnections())
            visit(*input->GetOperator());
    }
}

} // namespace Varkle
