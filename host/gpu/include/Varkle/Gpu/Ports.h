#pragma once

#include "Varkle/Core/DataPorts.h"
#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Material.h"
#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Model.h"
#include "Varkle/Gpu/Texture.h"

#include <memory>

// The inputs and outputs that carry GPU data between operators. An input yields what the output that feeds it carries
// now; HasX is false when nothing is connected or that output carries nothing.

namespace Varkle
{

/// Carries a texture out of an operator.
class VARKLE_API TextureOutput final : public DataOutput
{
public:
    using DataOutput::DataOutput;
    ~TextureOutput() override;

    /// Publishes a texture to the operators downstream: they are outdated, also when it is the texture from before,
    /// since what it shows may be new. An empty texture is published as nothing (Clear).
    void Activate(const Texture& newTexture);
    /// Returns the texture, empty when there is none.
    const Texture& GetTexture() const { return texture; }

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    const ObjectType* GetInputType() const override;
    std::string_view GetDataTypeName() const override { return "Texture"; }

private:
    void ClearData() override { texture = {}; }
    Texture texture;
};

/// Takes a texture into an operator.
class VARKLE_API TextureInput final : public DataInput
{
public:
    using DataInput::DataInput;
    ~TextureInput() override;

    bool HasTexture() const;
    /// Returns the texture, empty when there is none.
    Texture GetTexture() const;
    /// Returns the texture, or the default one (1 by 1, transparent black) when there is none.
    Texture GetTextureOrDefault() const;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Texture"; }
};

/// Is what a mesh connection carries.
class VARKLE_API MeshData
{
public:
    MeshData() = default;
    explicit MeshData(Mesh carriedMesh) : mesh(std::move(carriedMesh)) {}
    const Mesh& GetMesh() const { return mesh; }

private:
    Mesh mesh;
};

/// Carries a mesh out of an operator.
class VARKLE_API MeshOutput final : public DataOutput
{
public:
    using DataOutput::DataOutput;
    ~MeshOutput() override;

    /// Publishes a mesh, be it one without anything. One that is not complete is left out: what was published before
    /// stays. The log says already why the GPU could not make it.
    void Activate(Mesh newMesh);
    /// Returns what was published, an empty mesh when there is none.
    const MeshData& GetMeshData() const { return data; }

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    const ObjectType* GetInputType() const override;
    std::string_view GetDataTypeName() const override { return "Mesh"; }

private:
    void ClearData() override { data = {}; }
    MeshData data;
};

/// Takes a mesh into an operator.
class VARKLE_API MeshInput final : public DataInput
{
public:
    using DataInput::DataInput;
    ~MeshInput() override;

    bool HasMesh() const;
    /// Returns what the connection carries, an empty mesh when there is none.
    MeshData GetMeshData() const;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Mesh"; }
};

/// Is what a material connection carries.
class VARKLE_API MaterialData
{
public:
    MaterialData() = default;
    explicit MaterialData(std::shared_ptr<Material> carriedMaterial) : material(std::move(carriedMaterial)) {}
    const std::shared_ptr<Material>& GetMaterial() const { return material; }

private:
    std::shared_ptr<Material> material;
};

/// Carries a material out of an operator.
class VARKLE_API MaterialOutput final : public DataOutput
{
public:
    using DataOutput::DataOutput;
    ~MaterialOutput() override;

    /// Publishes a material; null is published as nothing (Clear).
    void Activate(std::shared_ptr<Material> newMaterial);
    /// Returns what was published, null inside when there is none.
    const MaterialData& GetMaterialData() const { return data; }

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    const ObjectType* GetInputType() const override;
    std::string_view GetDataTypeName() const override { return "Material"; }

private:
    void ClearData() override { data = {}; }
    MaterialData data;
};

/// Takes a material into an operator.
class VARKLE_API MaterialInput final : public DataInput
{
public:
    using DataInput::DataInput;
    ~MaterialInput() override;

    bool HasMaterial() const;
    /// Returns what the connection carries, null inside when there is none.
    MaterialData GetMaterialData() const;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Material"; }
};

/// Carries a model out of an operator.
class VARKLE_API ModelOutput final : public DataOutput
{
public:
    using DataOutput::DataOutput;
    ~ModelOutput() override;

    /// Publishes a model, be it one without nodes.
    void Activate(const Model& newModel);
    /// Returns what was published, an empty model when there is none.
    const Model& GetModel() const { return model; }

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    const ObjectType* GetInputType() const override;
    std::string_view GetDataTypeName() const override { return "Model"; }

private:
    void ClearData() override { model = {}; }
    Model model;
};

/// Takes a model into an operator.
class VARKLE_API ModelInput final : public DataInput
{
public:
    using DataInput::DataInput;
    ~ModelInput() override;

    bool HasModel() const;
    /// Returns the model, an empty one when there is none.
    Model GetModel() const;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Model"; }
};

} // namespace Varkle
