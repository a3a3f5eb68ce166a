#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/MeshComputePass.h"

namespace Varkle
{

/// Moves, rotates and scales a mesh, and turns its normals and tangents along.
class TransformMesh final : public Operator
{
public:
    TransformMesh();
    ~TransformMesh() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshInput meshInput{this, "Mesh Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
    Transform3DParameter transform{ParameterScope(this), "Transform", glm::mat4(1.0f)};
    MeshComputePass pass{"TransformMesh.wgsl"};
    Buffer missingNormals{MakePlaceholder(12)};
    Buffer unusedNormals{MakePlaceholder(12)}; // a buffer can't be read and written in one pass
    Buffer missingTangents{MakePlaceholder(16)};
    Buffer unusedTangents{MakePlaceholder(16)};
};

} // namespace Varkle
