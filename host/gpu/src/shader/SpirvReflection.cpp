#include "shader/SpirvReflection.h"

#include "Varkle/Core/Text.h"

#include <spirv_cross/spirv_cross_c.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Varkle
{

namespace
{

// The highest number of a set or binding that is taken seriously; WebGPU's own limits are lower.
constexpr std::uint32_t maxNumber = 999;

struct DestroyContext
{
    void operator()(spvc_context context) const { spvc_context_destroy(context); }
};
using Context = std::unique_ptr<std::remove_pointer_t<spvc_context>, DestroyContext>;

std::uint32_t RoundUp(std::uint32_t alignment, std::uint32_t value)
{
    return (value + alignment - 1) / alignment * alignment;
}

ShaderStage StageOf(SpvExecutionModel model)
{
    switch (model)
    {
    case SpvExecutionModelVertex:
        return ShaderStage::Vertex;
    case SpvExecutionModelFragment:
        return ShaderStage::Fragment;
    case SpvExecutionModelGLCompute:
        return ShaderStage::Compute;
    default:
        return ShaderStage::None; // geometry and the like, which WebGPU does not have
    }
}

std::optional<ScalarType> ScalarOf(spvc_type type)
{
    switch (spvc_type_get_basetype(type))
    {
    case SPVC_BASETYPE_FP32:
        return ScalarType::Float;
    case SPVC_BASETYPE_INT32:
        return ScalarType::Int;
    case SPVC_BASETYPE_UINT32:
        return ScalarType::UInt;
    case SPVC_BASETYPE_FP16:
        return ScalarType::Half;
    case SPVC_BASETYPE_BOOLEAN:
        return ScalarType::Bool;
    default:
        return std::nullopt;
    }
}

/// The WGSL name of a storage texture's format; empty for formats that WebGPU does not store.
std::string_view StorageFormatName(SpvImageFormat format)
{
    switch (format)
    {
    case SpvImageFormatRgba8:
        return "rgba8unorm";
    case SpvImageFormatRgba8Snorm:
        return "rgba8snorm";
    case SpvImageFormatRgba8ui:
        return "rgba8uint";
    case SpvImageFormatRgba8i:
        return "rgba8sint";
    case SpvImageFormatRgba16ui:
        return "rgba16uint";
    case SpvImageFormatRgba16i:
        return "rgba16sint";
    case SpvImageFormatRgba16f:
        return "rgba16float";
    case SpvImageFormatR32ui:
        return "r32uint";
    case SpvImageFormatR32i:
        return "r32sint";
    case SpvImageFormatR32f:
        return "r32float";
    case SpvImageFormatRg32ui:
        return "rg32uint";
    case SpvImageFormatRg32i:
        return "rg32sint";
    case SpvImageFormatRg32f:
        return "rg32float";
    case SpvImageFormatRgba32ui:
        return "rgba32uint";
    case SpvImageFormatRgba32i:
        return "rgba32sint";
    case SpvImageFormatRgba32f:
        return "rgba32float";
    default:
        return {};
    }
}

std::optional<TextureDimension> DimensionOf(spvc_type image)
{
    const bool arrayed = spvc_type_get_image_arrayed(image);
    switch (spvc_type_get_image_dimension(image))
    {
    case SpvDim1D:
        return arrayed ? std::nullopt : std::optional(TextureDimension::D1);
    case SpvDim2D:
        return arrayed ? TextureDimension::D2Array : TextureDimension::D2;
    case SpvDim3D:
        return TextureDimension::D3;
    case SpvDimCube:
        return arrayed ? TextureDimension::CubeArray : TextureDimension::Cube;
    default:
        return std::nullopt;
    }
}

/// The alignment that WGSL gives the same type: what the size of a struct around it is rounded up to.
std::uint32_t AlignmentOf(const UniformMember& member)
{
    std::uint32_t alignment = 1;
    for (const UniformMember& part : member.members)
        alignment = std::max(alignment, AlignmentOf(part));
    if (!member.members.empty())
        return alignment;
    return (member.scalar == ScalarType::Half ? 2 : 4) * (member.rows == 3 ? 4 : member.rows);
}

/// The length of an array; a runtime-sized one counts one element.
std::uint32_t ArrayLength(spvc_type type, unsigned dimension)
{
    return std::max(spvc_type_get_array_dimension(type, dimension), 1u);
}

struct ResourceKind
{
    spvc_resource_type type;
    BindingKind binding;
};

constexpr ResourceKind bindable[] = {{SPVC_RESOURCE_TYPE_UNIFORM_BUFFER, BindingKind::UniformBuffer},
                                     {SPVC_RESOURCE_TYPE_STORAGE_BUFFER, BindingKind::StorageBuffer},
                                     {SPVC_RESOURCE_TYPE_SEPARATE_IMAGE, BindingKind::Texture},
                                     {SPVC_RESOURCE_TYPE_SEPARATE_SAMPLERS, BindingKind::Sampler},
                                     {SPVC_RESOURCE_TYPE_STORAGE_IMAGE, BindingKind::StorageTexture}};

struct UnbindableResource
{
    spvc_resource_type type;
    const char* message;
};

constexpr UnbindableResource unbindable[] = {
    {SPVC_RESOURCE_TYPE_SAMPLED_IMAGE,
     "WebGPU has no combined image samplers; declare a texture and a sampler in their place."},
    {SPVC_RESOURCE_TYPE_PUSH_CONSTANT, "WebGPU has no push constants; use a uniform block in their place."},
    {SPVC_RESOURCE_TYPE_SUBPASS_INPUT, "WebGPU has no subpass inputs."},
    {SPVC_RESOURCE_TYPE_ATOMIC_COUNTER, "WebGPU has no atomic counters; use a storage buffer in their place."},
    {SPVC_RESOURCE_TYPE_ACCELERATION_STRUCTURE, "WebGPU has no acceleration structures."}};

/// Reads one entry point with a compiler of its own.
class EntryReader
{
public:
    explicit EntryReader(spvc_compiler entryCompiler) : compiler(entryCompiler) {}

    /// Adds what the entry point, which `reflection` lists last already, declares.
    Status Read(ShaderReflection& reflection);

private:
    std::vector<spvc_reflected_resource> Resources(spvc_resource_type type) const;
    Status ReadBindings(ShaderStage stage, std::vector<ShaderBinding>& bindings) const;
    Status ReadBinding(const spvc_reflected_resource& resource, ShaderBinding& binding) const;
    Status ReadBuffer(const spvc_reflected_resource& resource, ShaderBinding& binding) const;
    Status ReadTexture(const spvc_reflected_resource& resource, ShaderBinding& binding) const;
    Status ReadStorageTexture(const spvc_reflected_resource& resource, ShaderBinding& binding) const;
    void ReadComparisons(std::vector<ShaderBinding>& bindings) const;
    Status ReadVertexInputs(std::vector<VertexInput>& inputs) const;
    std::uint32_t CountFragmentOutputs() const;

    Status ReadMembers(spvc_type type, UniformMember& layout) const;
    Result<UniformMember> ReadMember(spvc_type parent, unsigned index) const;
    Status ReadElement(spvc_type parent, unsigned index, UniformMember& member) const;

    std::string NameOf(const spvc_reflected_resource& resource) const;
    std::uint32_t Decoration(const spvc_reflected_resource& resource, SpvDecoration decoration) const;
    bool HasDecoration(const spvc_reflected_resource& resource, SpvDecoration decoration) const;

    spvc_compiler compiler;
    spvc_resources resources = nullptr;
};

std::vector<spvc_reflected_resource> EntryReader::Resources(spvc_resource_type type) const
{
    const spvc_reflected_resource* list = nullptr;
    std::size_t count = 0;
    if (spvc_resources_get_resource_list_for_type(resources, type, &list, &count) != SPVC_SUCCESS)
        return {};
    return {list, list + count};
}

std::string EntryReader::NameOf(const spvc_reflected_resource& resource) const
{
    const std::string name = spvc_compiler_get_name(compiler, resource.id);
    return name.empty() ? resource.name : name; // the latter is the block's name
}

std::uint32_t EntryReader::Decoration(const spvc_reflected_resource& resource, SpvDecoration decoration) const
{
    return spvc_compiler_get_decoration(compiler, resource.id, decoration);
}

bool EntryReader::HasDecoration(const spvc_reflected_resource& resource, SpvDecoration decoration) const
{
    return spvc_compiler_has_decoration(compiler, resource.id, decoration);
}

// ---- Layouts of blocks ----

Status EntryReader::ReadMembers(spvc_type type, UniformMember& layout) const
{
    std::uint32_t end = 0;
    for (unsigned i = 0; i < spvc_type_get_num_member_types(type); ++i)
    {
        Result<UniformMember> member = ReadMember(type, i);
        if (!member)
            return member.GetError();
        end = std::max(end, member->offset + member->size);
        layout.members.push_back(std::move(*member));
    }
    layout.size = RoundUp(AlignmentOf(layout), end);
    return Ok();
}

/// Reads what is left of a member when its array dimensions are taken away.
Status EntryReader::ReadElement(spvc_type parent, unsigned index, UniformMember& member) const
{
    const spvc_type type = spvc_compiler_get_type_handle(compiler, spvc_type_get_member_type(parent, index));
    if (spvc_type_get_basetype(type) == SPVC_BASETYPE_STRUCT)
        return ReadMembers(type, member);

    const auto scalar = ScalarOf(type);
    if (!scalar)
        return Error{"The member " + Quoted(member.name) + " has a type that WebGPU does not have in buffers."};
    member.scalar = *scalar;
    member.columns = spvc_type_get_columns(type);
    member.rows = spvc_type_get_vector_size(type);
    member.size = (*scalar == ScalarType::Half ? 2 : 4) * member.rows;
    if (member.columns == 1)
        return Ok();

    const spvc_type_id parentId = spvc_type_get_base_type_id(parent);
    if (spvc_compiler_has_member_decoration(compiler, parentId, index, SpvDecorationRowMajor))
        return Error{"The matrix " + Quoted(member.name) + " is stored by rows; declare it column_major."};
    unsigned stride = 0;
    spvc_compiler_type_struct_member_matrix_stride(compiler, parent, index, &stride);
    member.columnStride = stride;
    member.size = stride * member.columns;
    return Ok();
}

Result<UniformMember> EntryReader::ReadMember(spvc_type parent, unsigned index) const
{
    UniformMember member;
    member.name = spvc_compiler_get_member_name(compiler, spvc_type_get_base_type_id(parent), index);
    const Status read = ReadElement(parent, index, member);
    if (!read)
        return read.GetError();

    // Of an array of arrays only the outermost stride is stored; the inner ones follow, since nothing pads between
    // them.
    const spvc_type type = spvc_compiler_get_type_handle(compiler, spvc_type_get_member_type(parent, index));
    const unsigned dimensions = spvc_type_get_num_array_dimensions(type); // the innermost comes first
    unsigned outerStride = 0;
    if (dimensions > 0)
        spvc_compiler_type_struct_member_array_stride(compiler, parent, index, &outerStride);
    std::uint32_t stride = outerStride;
    for (unsigned i = 0; i < dimensions; ++i)
    {
        if (!spvc_type_array_dimension_is_literal(type, i))
            return Error{"The length of the array " + Quoted(member.name) +
                         " is not known before the pipeline is made."};
        if (i + 1 < dimensions)
            stride /= ArrayLength(type, i);
    }
    for (unsigned i = 0; i < dimensions; ++i)
    {
        if (i > 0)
        {
            UniformMember outer;
            outer.name = std::exchange(member.name, {});
            outer.scalar = member.scalar;
            outer.members.push_back(std::move(member));
            member = std::move(outer);
        }
        member.arrayLength = ArrayLength(type, i);
        member.arrayStride = stride;
        stride *= member.arrayLength;
        member.size = stride;
    }

    unsigned offset = 0;
    if (spvc_compiler_type_struct_member_offset(compiler, parent, index, &offset) != SPVC_SUCCESS)
        return Error{"The member " + Quoted(member.name) + " has no offset."};
    member.offset = offset;
    return member;
}

// ---- Bindings ----

Status EntryReader::ReadBuffer(const spvc_reflected_resource& resource, ShaderBinding& binding) const
{
    UniformMember layout;
    Status read = ReadMembers(spvc_compiler_get_type_handle(compiler, resource.base_type_id), layout);
    if (!read)
        return read;
    binding.minSize = layout.size;
    if (binding.kind == BindingKind::UniformBuffer)
    {
        layout.name = binding.name;
        binding.layout = std::move(layout);
        return Ok();
    }

    const SpvDecoration* decorations = nullptr;
    std::size_t count = 0;
    spvc_compiler_get_buffer_block_decorations(compiler, resource.id, &decorations, &count);
    if (std::find(decorations, decorations + count, SpvDecorationNonWritable) != decorations + count)
        binding.kind = BindingKind::ReadOnlyStorageBuffer;
    return Ok();
}

Status EntryReader::ReadTexture(const spvc_reflected_resource& resource, ShaderBinding& binding) const
{
    const spvc_type image = spvc_compiler_get_type_handle(compiler, resource.type_id);
    const auto dimension = DimensionOf(image);
    if (!dimension)
        return Error{"WebGPU has no textures of this dimension."};
    binding.textureDimension = *dimension;
    if (binding.kind == BindingKind::StorageTexture)
        return ReadStorageTexture(resource, binding);

    binding.multisampled = spvc_type_get_image_multisampled(image);
    const spvc_type sampled = spvc_compiler_get_type_handle(compiler, spvc_type_get_image_sampled_type(image));
    const auto scalar = ScalarOf(sampled);
    if (scalar == ScalarType::Int)
        binding.sampleKind = TextureSampleKind::Int;
    else if (scalar == ScalarType::UInt)
        binding.sampleKind = TextureSampleKind::UInt;
    else if (binding.multisampled)
        binding.sampleKind = TextureSampleKind::UnfilterableFloat;
    return Ok();
}

Status EntryReader::ReadStorageTexture(const spvc_reflected_resource& resource, ShaderBinding& binding) const
{
    const spvc_type image = spvc_compiler_get_type_handle(compiler, resource.type_id);
    binding.storageFormat = StorageFormatName(spvc_type_get_image_storage_format(image));
    if (binding.storageFormat.empty())
        return Error{"WebGPU has no storage textures of this format."};
    binding.storageAccess = HasDecoration(resource, SpvDecorationNonWritable)   ? "read"
                            : HasDecoration(resource, SpvDecorationNonReadable) ? "write"
                                                                                : "read_write";
    return Ok();
}

Status EntryReader::ReadBinding(const spvc_reflected_resource& resource, ShaderBinding& binding) const
{
    switch (binding.kind)
    {
    case BindingKind::Sampler:
        return Ok();
    case BindingKind::Texture:
    case BindingKind::StorageTexture:
        return ReadTexture(resource, binding);
    default:
        return ReadBuffer(resource, binding);
    }
}

Status EntryReader::ReadBindings(ShaderStage stage, std::vector<ShaderBinding>& bindings) const
{
    for (const UnbindableResource& kind : unbindable)
        for (const spvc_reflected_resource& resource : Resources(kind.type))
            return Error{"Variable " + Quoted(NameOf(resource)) + ": " + kind.message};

    for (const ResourceKind& kind : bindable)
    {
        for (const spvc_reflected_resource& resource : Resources(kind.type))
        {
            ShaderBinding binding;
            binding.name = NameOf(resource);
            if (Decoration(resource, SpvDecorationDescriptorSet) > maxNumber ||
                Decoration(resource, SpvDecorationBinding) > maxNumber)
                return Error{"Variable " + Quoted(binding.name) + ": Its set or binding is more than " +
                             std::to_string(maxNumber) + "."};
            binding.group = int(Decoration(resource, SpvDecorationDescriptorSet));
            binding.binding = int(Decoration(resource, SpvDecorationBinding));
            binding.kind = kind.binding;
            const Status read = ReadBinding(resource, binding);
            if (!read)
                return Error{"Variable " + Quoted(binding.name) + ": " + read.GetError().message};
            binding.stages = binding.IsWritable() ? WithoutStage(stage, ShaderStage::Vertex) : stage;
            bindings.push_back(std::move(binding));
        }
    }
    return Ok();
}

/// Finds out which textures and samplers depth comparisons use. SPIR-V's types do not say it, the code does, and
/// SPIRV-Cross looks at the code only when it translates it; what it translates to is of no interest.
void EntryReader::ReadComparisons(std::vector<ShaderBinding>& bindings) const
{
    const std::vector<spvc_reflected_resource> samplers = Resources(SPVC_RESOURCE_TYPE_SEPARATE_SAMPLERS);
    if (samplers.empty())
        return;
    const std::vector<spvc_reflected_resource> textures = Resources(SPVC_RESOURCE_TYPE_SEPARATE_IMAGE);
    const char* text = nullptr;
    spvc_compiler_compile(compiler, &text);

    const auto find = [&](const spvc_reflected_resource& resource) -> ShaderBinding&
    {
        const int group = int(Decoration(resource, SpvDecorationDescriptorSet));
        const int number = int(Decoration(resource, SpvDecorationBinding));
        return *std::find_if(bindings.begin(), bindings.end(),
                             [&](const ShaderBinding& binding)
                             { return binding.group == group && binding.binding == number; });
    };
    for (const spvc_reflected_resource& sampler : samplers)
        find(sampler).comparisonSampler = spvc_compiler_variable_is_depth_or_compare(compiler, sampler.id);
    for (const spvc_reflected_resource& texture : textures)
        if (spvc_compiler_variable_is_depth_or_compare(compiler, texture.id))
            find(texture).sampleKind = TextureSampleKind::Depth;
}

// ---- What goes in and out ----

Status EntryReader::ReadVertexInputs(std::vector<VertexInput>& inputs) const
{
    for (const spvc_reflected_resource& resource : Resources(SPVC_RESOURCE_TYPE_STAGE_INPUT))
    {
        const spvc_type type = spvc_compiler_get_type_handle(compiler, resource.type_id);
        const auto scalar = ScalarOf(type);
        if (!scalar)
            return Error{"Vertex input " + Quoted(NameOf(resource)) + " has a type that WebGPU does not have there."};
        const auto location = int(Decoration(resource, SpvDecorationLocation));
        // A matrix takes a location for each column.
        for (int column = 0; column < int(spvc_type_get_columns(type)); ++column)
            inputs.push_back({location + column, NameOf(resource), *scalar, spvc_type_get_vector_size(type)});
    }
    std::sort(inputs.begin(), inputs.end(),
              [](const VertexInput& a, const VertexInput& b) { return a.location < b.location; });
    return Ok();
}

std::uint32_t EntryReader::CountFragmentOutputs() const
{
    std::uint32_t count = 0;
    for (const spvc_reflected_resource& resource : Resources(SPVC_RESOURCE_TYPE_STAGE_OUTPUT))
    {
        const spvc_type type = spvc_compiler_get_type_handle(compiler, resource.type_id);
        const std::uint32_t length = spvc_type_get_num_array_dimensions(type) > 0 ? ArrayLength(type, 0) : 1;
        count = std::max(count, Decoration(resource, SpvDecorationLocation) + length);
    }
    return count;
}

// ---- Putting it together ----

/// Adds a binding, or the stages of one that is there already.
Status Merge(ShaderBinding binding, std::vector<ShaderBinding>& bindings)
{
    const auto place = std::lower_bound(bindings.begin(), bindings.end(), binding,
                                        [](const ShaderBinding& a, const ShaderBinding& b)
                                        { return std::pair(a.group, a.binding) < std::pair(b.group, b.binding); });
    if (place == bindings.end() || place->group != binding.group || place->binding != binding.binding)
    {
        bindings.insert(place, std::move(binding));
        return Ok();
    }

    const ShaderStage stages = place->stages | binding.stages;
    const std::string name = binding.name;
    binding.stages = place->stages;
    binding.name = place->name; // each module may have its own name for it
    binding.layout.name = place->layout.name;
    if (binding != *place)
        return Error{"The variables " + Quoted(place->name) + " and " + Quoted(name) + " both use group " +
                     std::to_string(place->group) + ", binding " + std::to_string(place->binding) +
                     ", and differ in type."};
    place->stages = stages;
    return Ok();
}

Status EntryReader::Read(ShaderReflection& reflection)
{
    const EntryPoint& entry = reflection.entryPoints.back();
    if (spvc_compiler_create_shader_resources(compiler, &resources) != SPVC_SUCCESS)
        return Error{"The resources of the entry point " + Quoted(entry.name) + " cannot be listed."};

    const bool first = reflection.FindEntryPoint(entry.stage) == &entry;
    if (first && entry.stage == ShaderStage::Vertex)
    {
        Status inputs = ReadVertexInputs(reflection.vertexInputs);
        if (!inputs)
            return inputs;
    }
    if (first && entry.stage == ShaderStage::Fragment)
        reflection.fragmentOutputs = CountFragmentOutputs();

    std::vector<ShaderBinding> bindings;
    Status read = ReadBindings(entry.stage, bindings);
    if (!read)
        return read;
    ReadComparisons(bindings);
    for (ShaderBinding& binding : bindings)
    {
        Status merged = Merge(std::move(binding), reflection.bindings);
        if (!merged)
            return merged;
    }
    return Ok();
}

/// Makes a compiler for one entry point, or for the module's first one when `entry` is null.
spvc_compiler MakeCompiler(spvc_context context, spvc_parsed_ir ir, const spvc_entry_point* entry)
{
    spvc_compiler compiler = nullptr;
    spvc_compiler_options options = nullptr;
    // The back end and its options matter to ReadComparisons only; Vulkan's GLSL has separate textures and samplers.
    const bool made =
        spvc_context_create_compiler(context, SPVC_BACKEND_GLSL, ir, SPVC_CAPTURE_MODE_COPY, &compiler) ==
            SPVC_SUCCESS &&
        spvc_compiler_create_compiler_options(compiler, &options) == SPVC_SUCCESS &&
        spvc_compiler_options_set_bool(options, SPVC_COMPILER_OPTION_GLSL_VULKAN_SEMANTICS, SPVC_TRUE) ==
            SPVC_SUCCESS &&
        spvc_compiler_install_compiler_options(compiler, options) == SPVC_SUCCESS &&
        (!entry || spvc_compiler_set_entry_point(compiler, entry->name, entry->execution_model) == SPVC_SUCCESS);
    return made ? compiler : nullptr;
}

Status ReadModule(const std::vector<std::uint32_t>& words, std::size_t index, ShaderReflection& reflection)
{
    if (words.empty())
        return Error{"It is empty."};
    spvc_context created = nullptr;
    if (spvc_context_create(&created) != SPVC_SUCCESS)
        return Error{"There is no memory to read it."};
    const Context context(created);
    const auto libraryError = [&]
    { return Error{"It cannot be read: " + std::string(spvc_context_get_last_error_string(context.get()))}; };

    spvc_parsed_ir ir = nullptr;
    if (spvc_context_parse_spirv(context.get(), words.data(), words.size(), &ir) != SPVC_SUCCESS)
        return libraryError();
    const spvc_compiler module = MakeCompiler(context.get(), ir, nullptr);
    const spvc_entry_point* entries = nullptr;
    std::size_t count = 0;
    if (!module || spvc_compiler_get_entry_points(module, &entries, &count) != SPVC_SUCCESS)
        return libraryError();
    for (std::size_t i = 0; i < count; ++i)
    {
        const ShaderStage stage = StageOf(entries[i].execution_model);
        if (stage == ShaderStage::None)
            continue;
        const spvc_compiler compiler = MakeCompiler(context.get(), ir, &entries[i]);
        if (!compiler)
            return libraryError();
        reflection.entryPoints.push_back({entries[i].name, stage, index});
        Status read = EntryReader(compiler).Read(reflection);
        if (!read)
            return read;
    }
    return Ok();
}

} // namespace

Result<ShaderReflection> ReflectSpirv(const std::vector<std::vector<std::uint32_t>>& modules)
{
    ShaderReflection reflection;
    for (std::size_t i = 0; i < modules.size(); ++i)
    {
        const Status read = ReadModule(modules[i], i, reflection);
        if (!read)
            return Error{"SPIR-V module " + std::to_string(i + 1) + " of " + std::to_string(modules.size()) + ": " +
                         read.GetError().message};
    }
    return reflection;
}

} // namespace Varkle
