#include "Varkle/Gpu/Ports.h"

namespace Varkle
{

namespace
{

/// Returns the output that feeds an input, or null when there is none or it carries nothing. Connections are made by
/// GetInputType, so that the class of the output is known.
template<class Output>
const Output* FindActiveOutput(const DataInput& input)
{
    const DataOutput* output = input.GetConnection();
    return output && output->IsActive() ? static_cast<const Output*>(output) : nullptr;
}

} // namespace

// Textures

TextureOutput::~TextureOutput() = default;

const ObjectType* TextureOutput::Type()
{
    static const ObjectType s_type("Varkle.TextureOutput", Object::Type(), {});
    return &s_type;
}

const ObjectType* TextureOutput::GetInputType() const
{
    return TextureInput::Type();
}

void TextureOutput::Activate(const Texture& newTexture)
{
    if (!newTexture)
        return Clear();
    texture = newTexture;
    Publish();
}

TextureInput::~TextureInput() = default;

const ObjectType* TextureInput::Type()
{
    static const ObjectType s_type("Varkle.TextureInput", Object::Type(), [] { return new TextureInput; });
    return &s_type;
}

bool TextureInput::HasTexture() const
{
    return FindActiveOutput<TextureOutput>(*this) != nullptr;
}

Texture TextureInput::GetTexture() const
{
    const TextureOutput* output = FindActiveOutput<TextureOutput>(*this);
    return output ? output->GetTexture() : Texture();
}

Texture TextureInput::GetTextureOrDefault() const
{
    return HasTexture() ? GetTexture() : GetDefaultTexture();
}

// Meshes

MeshOutput::~MeshOutput() = default;

const ObjectType* MeshOutput::Type()
{
    static const ObjectType s_type("Varkle.MeshOutput", Object::Type(), {});
    return &s_type;
}

const ObjectType* MeshOutput::GetInputType() const
{
    return MeshInput::Type();
}

void MeshOutput::Activate(Mesh newMesh)
{
    if (!newMesh.IsComplete())
        return;
    data = MeshData(std::move(newMesh));
    Publish();
}

MeshInput::~MeshInput() = default;

const ObjectType* MeshInput::Type()
{
    static const ObjectType s_type("Varkle.MeshInput", Object::Type(), [] { return new MeshInput; });
    return &s_type;
}

bool MeshInput::HasMesh() const
{
    return FindActiveOutput<MeshOutput>(*this) != nullptr;
}

MeshData MeshInput::GetMeshData() const
{
    const MeshOutput* output = FindActiveOutput<MeshOutput>(*this);
    return output ? output->GetMeshData() : MeshData();
}

// Materials

MaterialOutput::~MaterialOutput() = default;

const ObjectType* MaterialOutput::Type()
{
    static const ObjectType s_type("Varkle.MaterialOutput", Object::Type(), {});
    return &s_type;
}

const ObjectType* MaterialOutput::GetInputType() const
{
    return MaterialInput::Type();
}

void MaterialOutput::Activate(std::shared_ptr<Material> newMaterial)
{
    if (!newMaterial)
        return Clear();
    data = MaterialData(std::move(newMaterial));
    Publish();
}

MaterialInput::~MaterialInput() = default;

const ObjectType* MaterialInput::Type()
{
    static const ObjectType s_type("Varkle.MaterialInput", Object::Type(), [] { return new MaterialInput; });
    return &s_type;
}

bool MaterialInput::HasMaterial() const
{
    return FindActiveOutput<MaterialOutput>(*this) != nullptr;
}

MaterialData MaterialInput::GetMaterialData() const
{
    const MaterialOutput* output = FindActiveOutput<MaterialOutput>(*this);
    return output ? output->GetMaterialData() : MaterialData();
}

// Models

ModelOutput::~ModelOutput() = default;

const ObjectType* ModelOutput::Type()
{
    static const ObjectType s_type("Varkle.ModelOutput", Object::Type(), {});
    return &s_type;
}

const ObjectType* ModelOutput::GetInputType() const
{
    return ModelInput::Type();
}

void ModelOutput::Activate(const Model& newModel)
{
    model = newModel;
    Publish();
}

ModelInput::~ModelInput() = default;

const ObjectType* ModelInput::Type()
{
    static const ObjectType s_type("Varkle.ModelInput", Object::Type(), [] { return new ModelInput; });
    return &s_type;
}

bool ModelInput::HasModel() const
{
    return FindActiveOutput<ModelOutput>(*this) != nullptr;
}

Model ModelInput::GetModel() const
{
    const ModelOutput* output = FindActiveOutput<ModelOutput>(*this);
    return output ? output->GetModel() : Model();
}

} // namespace Varkle
