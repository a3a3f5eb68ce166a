#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/MeshComputePass.h"

namespace Varkle
{

/// Makes a number of copies of a mesh, each one step further along a transform, as one mesh.
class CopyMesh final : public Operator
{
public:
    CopyMesh();
    ~CopyMesh() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    void UploadMatrices(unsigned copies);

    MeshInput meshInput{this, "Mesh Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
    IntParameter count{ParameterScope(this), "Count", 2};
    Transform3DParameter stepTransform{ParameterScope(this), "Step Transform", glm::mat4(1.0f)};
    MeshComputePass vertexPass{"CopyMesh.wgsl"};
    MeshComputePass indexPass{"CopyMeshIndices.wgsl"};
    Buffer missingNormals{MakePlaceholder(12)};
    Buffer unusedNormals{MakePlaceholder(12)}; // a buffer can't be read and written in one pass
    Buffer missingTangents{MakePlaceholder(16)};
    Buffer unusedTangents{MakePlaceholder(16)};
    Buffer transforms; // a matrix for each copy
    Buffer normalMatrices;
    unsigned matrixCount = 0;
};

} // namespace Varkle
